// Many processes at once: each waits its turn, and no accepted change is lost.
#include "child_process.h"
#include "switch_test.h"

namespace {

class Crowd : public SwitchTest {};

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
