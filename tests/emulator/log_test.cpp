// The log of calls.
#include "child_process.h"
#include "switch_test.h"

#include <sys/wait.h>
#include <unistd.h>

#include "platform/qual.h"

namespace {

class Log : public SwitchTest {
protected:
    std::string calls() const { return ask("SELECT call FROM call_log ORDER BY id"); }
};

TEST_F(Log, has_calls_and_answers_as_transcripts_do) {
    refusal(brgfdb_create_port, 5, 2, 1);
    refusal(brgfdb_create_port, 5, 2, 1);
    refusal(brgfdb_create_lfil, 5, some_mac, 4, 1);
    int32_t vid = -1;
    refusal(brgfdb_create_vlan, "a \"b\"\n\xff", &vid);
    uint32_t found = 0;
    refusal(brgfdb_get_vid, "a", &found);
    refusal(brgfdb_get_vid, "a \"b\"\n\xff", &found);
    refusal(brgfdb_add_port_to_vlan, 1U, 5, 1, 0x88a8U, 0, uint16_t{0});
    refusal(brgfdb_create_stream, 0);
    StreamInfo info{};
    refusal(brgfdb_get_stream_info, 0, &info);
    brgfdb_clear_fdb();
    brgfdb_clear_fdb_vlan(4000);
    qual_register("vlan", "a", 1);
    EXPECT_EQ(calls(), "brgfdb_create_port(5, 2, 1)\n"
                       "brgfdb_create_port(5, 2, 1) = -1 status 1202\n"
                       "brgfdb_create_lfil(5, 00:11:22:33:44:55, 4, 1)\n"
                       "brgfdb_create_vlan(\"a \\\"b\\\"\\n\\xff\", -1) = 0 vid 1\n"
                       "brgfdb_get_vid(\"a\") = -1 status 103\n"
                       "brgfdb_get_vid(\"a \\\"b\\\"\\n\\xff\") = 0 vid 1\n"
                       "brgfdb_add_port_to_vlan(1, 5, 1, 0x88a8, 0, 0)\n"
                       "brgfdb_create_stream(0)\n"
                       "brgfdb_get_stream_info(0) = 0 type 0\n"
                       "brgfdb_clear_fdb()\n"
                       "brgfdb_clear_fdb_vlan(4000) = -1\n"
                       "qual_register(\"vlan\", \"a\", 1)");
}

TEST_F(Log, names_process_and_sentence) {
    const Finished finished = run_tool({"create", "vlan", "a b\"c\\d\n\t\x01{x*3}#'\xff"});
    run_tool({"create", "vlan", ""});
    run_tool({"create", "vlan", "plain{", "vid", "20"});
    EXPECT_EQ(ask("SELECT DISTINCT sentence FROM call_log WHERE call LIKE 'brgfdb%' ORDER BY id"),
              "create vlan \"a b\\\"c\\\\d\\n\\t\\x01\\x7bx*3}#'\\xff\"\n"
              "create vlan \"\"\n"
              "create vlan \"plain\\x7b\" vid 20");
    EXPECT_EQ(ask("SELECT pid FROM call_log LIMIT 1"), std::to_string(finished.pid));
    EXPECT_EQ(ask("SELECT count(*) FROM call_log WHERE julianday('now') - julianday(at) NOT BETWEEN -1 AND 1"), "0");
}

TEST_F(Log, cuts_what_is_very_long) {
    run_tool({"create", "vlan", std::string(100'000, 'x')});
    EXPECT_EQ(ask("SELECT call LIKE 'brgfdb_create_vlan(\"xxx%xxx... = -1 status 1403', length(call) < 5000,"
                  " sentence LIKE 'create vlan xxx%xxx...', length(sentence) < 2000 FROM call_log"),
              "1|1|1|1");
}

TEST_F(Log, keeps_the_latest_calls) {
    refusal(brgfdb_create_port, 1, 2, 1);
    set_limit("calls", 10);
    for (int32_t port = 2; port <= 200; ++port)
        refusal(brgfdb_delete_port, port);
    EXPECT_EQ(ask("SELECT max(id), count(*) < 10 + 64, count(*) >= 10 FROM call_log"), "200|1|1");
    set_limit("calls", 0);
    for (int32_t port = 2; port <= 200; ++port)
        refusal(brgfdb_delete_port, port);
    EXPECT_EQ(ask("SELECT max(id), count(*) <= 64 FROM call_log"), "399|1"); // ids go on
}

// Pids come again, and in containers they are alike: they do not tell one sentence from the next.
TEST_F(Log, tells_processes_apart) {
    run_tool({"create", "vlan", "sales"});
    run_tool({"create", "vlan", "office"});
    run_copy([] {
        int32_t status = 0;
        brgfdb_delete_vlan(1, &status);
        if (fork() == 0) {
            brgfdb_delete_vlan(2, &status);
            _exit(0);
        }
        wait(nullptr);
    });
    EXPECT_EQ(ask("SELECT count(DISTINCT run) FROM call_log"), "4");
    EXPECT_EQ(ask("SELECT count(DISTINCT run), count(DISTINCT pid), count(*) FROM call_log"
                  " WHERE sentence = 'create vlan sales'"),
              "1|1|2");
    EXPECT_EQ(ask("SELECT count(*) FROM call_log WHERE run BETWEEN 0 AND 1 << 48"), "6");
}

// A limit that was lowered by much makes no sentence wait; the file becomes smaller in the end.
TEST_F(Log, is_pruned_a_little_at_a_time_and_gives_its_room_back) {
    refusal(brgfdb_create_port, 1, 2, 1);
    emulator::store::close();
    ask("WITH RECURSIVE number (n) AS (SELECT 2 UNION ALL SELECT n + 1 FROM number WHERE n < 20000)"
        " INSERT INTO call_log SELECT n, '', 1, 1, 'a sentence', 'a call of some length, as calls are' FROM number");
    const auto size_before = std::filesystem::file_size(store);
    set_limit("calls", 100);
    for (int32_t call = 0; call < 128; ++call)
        refusal(brgfdb_delete_port, 9);
    EXPECT_EQ(ask("SELECT count(*) > 10000 FROM call_log"), "1");
    for (int32_t call = 0; call < 64 * 20; ++call)
        refusal(brgfdb_delete_port, 9);
    EXPECT_EQ(ask("SELECT count(*) < 164 FROM call_log"), "1");
    EXPECT_LT(std::filesystem::file_size(store), size_before / 2);
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Log, has_refused_calls_but_none_of_what_they_did) {
    refusal(brgfdb_create_port, 1, 1, 1);
    int32_t vid = 10;
    refusal(brgfdb_create_vlan, "sales", &vid);
    refusal(brgfdb_add_port_to_vlan, 10U, 1, 1, 0x8100U, 0, uint16_t{0});
    ask("INSERT INTO learned_entry VALUES (10, '00:11:22:33:44:55', 1);"
        "UPDATE limits SET in_use = 2, value = 1 WHERE name = 'fdb_entries'");
    // It forgets the learned entry first, then finds that the database is full.
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 0, uint8_t{4}, 0), status::fdb_full);
    EXPECT_EQ(ask("SELECT count(*) FROM learned_entry"), "1");
    EXPECT_EQ(ask("SELECT call FROM call_log ORDER BY id DESC LIMIT 1"),
              "brgfdb_create_sfil(10, 00:11:22:33:44:55, 0, 0x04, 0) = -1 status 2002");
    EXPECT_EQ(find_contradiction(), "");
}

} // namespace
