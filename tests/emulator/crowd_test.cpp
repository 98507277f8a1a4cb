// Many processes at once: each waits its turn, and no accepted change is lost.
#include "child_process.h"
#include "core/turn.h"
#include "platform/qual.h"
#include "switch_test.h"

#include <sched.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <ctime>
#include <fstream>

namespace {

class Crowd : public SwitchTest {
protected:
    // Looks into the kernel's list of locks until so many processes wait for one on the store.
    void wait_until_queued(size_t count) const {
        struct stat found {};
        ASSERT_EQ(stat(store.c_str(), &found), 0);
        const std::string inode = ":" + std::to_string(found.st_ino) + " ";
        for (size_t queued = 0; queued < count; sched_yield()) {
            queued = 0;
            std::ifstream locks("/proc/locks");
            for (std::string line; std::getline(locks, line);)
                if (line.find("->") != std::string::npos && line.find(inode) != std::string::npos) ++queued;
        }
    }
};

// Makes 50 VLANs with a static entry each, and takes every other one away again. Ends the process at a refusal.
void configure_own_part(int32_t number) {
    for (int32_t i = 0; i < 50; ++i) {
        int32_t status = 0;
        int32_t vid = 1 + number * 50 + i;
        const auto uvid = static_cast<uint32_t>(vid);
        uint32_t found = 0;
        const std::string name = std::to_string(number) + "-" + std::to_string(i);
        bool is_taken = brgfdb_create_vlan(name.c_str(), &vid, &status) == 0 &&
                        brgfdb_create_sfil(uvid, some_mac, 0, 4, 0, &status) == 0 &&
                        brgfdb_get_vid(name.c_str(), &found, &status) == 0 && found == uvid;
        if (i % 2 == 1) is_taken = is_taken && brgfdb_delete_vlan(uvid, &status) == 0;
        if (!is_taken) _exit(1);
    }
}

TEST_F(Crowd, of_sixteen_processes_loses_nothing) {
    std::vector<Running> processes;
    for (int32_t number = 0; number < 16; ++number)
        processes.emplace_back([number] { configure_own_part(number); });
    for (Running& process : processes) {
        const Finished finished = process.wait();
        EXPECT_EQ(finished.status, 0);
        EXPECT_EQ(finished.errors, "");
    }
    EXPECT_EQ(ask("SELECT count(*), sum(vid % 2) FROM vlan"), "400|400");
    EXPECT_EQ(ask("SELECT count(*) FROM static_entry"), "400");
    EXPECT_EQ(ask("SELECT count(*), count(DISTINCT pid) FROM call_log"), "2800|16");
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Crowd, of_sixteen_first_sentences_makes_one_switch) {
    std::vector<Running> tools;
    for (int number = 0; number < 16; ++number)
        tools.push_back(start_tool({"create", "vlan", "v" + std::to_string(number)}));
    for (Running& tool : tools) {
        const Finished finished = tool.wait();
        EXPECT_TRUE(finished.is_accepted()) << finished.output;
        EXPECT_EQ(finished.errors, "");
    }
    EXPECT_EQ(ask("SELECT count(*), min(vid), max(vid) FROM vlan"), "16|1|16");
    EXPECT_EQ(ask("SELECT count(*) FROM qualifier"), "16");
    EXPECT_EQ(find_contradiction(), "");
}

// The lock is held until the tools are waiting for it or have not begun: none can have done its work before.
TEST_F(Crowd, waits_for_whoever_holds_the_lock) {
    run_tool({"create", "vlan", "first"});
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(store.c_str(), &database), SQLITE_OK);
    sqlite3_busy_timeout(database, 3'600'000); // who waits looks in now and then
    ASSERT_EQ(sqlite3_exec(database, "BEGIN IMMEDIATE; INSERT INTO vlan (vid, name) VALUES (5, 'held')", nullptr,
                           nullptr, nullptr),
              SQLITE_OK);
    std::vector<Running> tools;
    for (int number = 0; number < 4; ++number)
        tools.push_back(start_tool({"create", "vlan", "v" + std::to_string(number)}));
    EXPECT_EQ(ask("SELECT count(*) FROM vlan"), "1");
    ASSERT_EQ(sqlite3_exec(database, "COMMIT", nullptr, nullptr, nullptr), SQLITE_OK);
    sqlite3_close(database);
    for (Running& tool : tools)
        EXPECT_TRUE(tool.wait().is_accepted());
    EXPECT_EQ(ask("SELECT vid FROM vlan ORDER BY vid"), "1\n5\n6\n7\n8\n9");
}

// The turn of this process, taken as a call takes it. To be called in a copy of the process.
void hold_turn_and_stop() {
    if (emulator::store::take_turn() != 0) _exit(1);
    raise(SIGSTOP);
    _exit(0);
}

void wait_until_stopped(pid_t process) {
    int status = 0;
    ASSERT_EQ(waitpid(process, &status, WUNTRACED), process);
    ASSERT_TRUE(WIFSTOPPED(status));
}

// All who come wait in the queue behind it, and get their turn in whatever way it ends.
TEST_F(Crowd, goes_on_when_the_holder_is_killed_or_goes_on) {
    run_tool({"create", "vlan", "first"});
    for (const int signal : {SIGKILL, SIGCONT}) {
        Running holder(hold_turn_and_stop);
        wait_until_stopped(holder.pid());
        std::vector<Running> tools;
        for (int number = 0; number < 8; ++number)
            tools.push_back(start_tool({"create", "clslist", std::to_string(signal * 100 + number)}));
        wait_until_queued(tools.size());
        tools[3].kill();
        tools[3].wait();
        holder.kill(signal);
        holder.wait();
        for (size_t number = 0; number < tools.size(); ++number)
            EXPECT_TRUE(number == 3 || tools[number].wait().is_accepted()) << number;
    }
}

// Its turn may be the next one, and it does not take it.
TEST_F(Crowd, passes_by_a_process_that_was_stopped_while_it_waited) {
    run_tool({"create", "vlan", "first"});
    Running holder(hold_turn_and_stop);
    wait_until_stopped(holder.pid());
    Running stopped = start_tool({"create", "vlan", "stopped"});
    wait_until_queued(1);
    stopped.kill(SIGSTOP);
    wait_until_stopped(stopped.pid());
    std::vector<Running> tools;
    for (int number = 0; number < 4; ++number)
        tools.push_back(start_tool({"create", "vlan", "v" + std::to_string(number)}));
    wait_until_queued(4);
    holder.kill(SIGKILL);
    holder.wait();
    for (Running& tool : tools)
        EXPECT_TRUE(tool.wait().is_accepted());
    stopped.kill(SIGCONT);
    EXPECT_TRUE(stopped.wait().is_accepted());
}

// A holder that hangs. A sentence gives up once for all of its calls (looking the protocol up, adding the rule). What
// the other processes of the switch are to be told of an accepted change is not lost: that waits on, having said so.
TEST_F(Crowd, gives_up_once_on_a_holder_that_hangs_but_loses_nothing) {
    run_tool({"create", "clslist", "1"});
    Running holder(hold_turn_and_stop);
    wait_until_stopped(holder.pid());
    int complaints[2];
    ASSERT_EQ(pipe(complaints), 0);
    Running teller([&] {
        dup2(complaints[1], STDERR_FILENO);
        _exit(qual_register("vlan", "sales", -1) == 0 ? 0 : 1);
    });
    close(complaints[1]);
    timespec before{};
    clock_gettime(CLOCK_MONOTONIC, &before);
    const Finished finished = run_tool({"add", "classify", "1/0/green", "normal", "x", "x", "x", "tcp", "x", "x", "x",
                                        "x", "x", "x", "to", "clslist", "1"});
    timespec after{};
    clock_gettime(CLOCK_MONOTONIC, &after);
    EXPECT_GE(after.tv_sec - before.tv_sec, emulator::longest_wait);
    const std::string complaint =
        "emuswitch: " + store.string() + ": locked by another process for 20 seconds; end that process, or try again\n";
    EXPECT_NE(finished.output.find("<errcode>9102</errcode>"), std::string::npos) << finished.output;
    EXPECT_EQ(finished.errors, complaint);

    std::string told(complaint.size(), ' ');
    EXPECT_EQ(read(complaints[0], told.data(), told.size()), static_cast<ssize_t>(told.size()));
    EXPECT_EQ(told, complaint);
    close(complaints[0]);
    holder.kill(SIGKILL);
    holder.wait();
    EXPECT_EQ(teller.wait().status, 0);
    EXPECT_EQ(ask("SELECT name FROM qualifier"), "sales");
    EXPECT_EQ(ask("SELECT call FROM call_log ORDER BY id"),
              "brgfdb_create_classify_profile(1)\nqual_register(\"vlan\", \"sales\", -1)");
}

TEST_F(Crowd, gives_up_on_a_lock_that_stays) {
    run_tool({"create", "vlan", "first"});
    sqlite3* database = nullptr;
    ASSERT_EQ(sqlite3_open(store.c_str(), &database), SQLITE_OK);
    ASSERT_EQ(sqlite3_exec(database, "BEGIN IMMEDIATE", nullptr, nullptr, nullptr), SQLITE_OK);
    const Finished finished = run_tool({"create", "vlan", "second"});
    sqlite3_close(database);
    EXPECT_NE(finished.output.find("<errcode>9102</errcode>"), std::string::npos) << finished.output;
    EXPECT_EQ(finished.errors, "emuswitch: " + store.string() +
                                   ": locked by another process for 20 seconds; end that process, or try again\n");
    EXPECT_EQ(ask("SELECT name FROM vlan"), "first");
}

} // namespace
