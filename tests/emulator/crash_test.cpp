// Processes that are killed: what they were told is kept, and nothing is half made.
#include "child_process.h"
#include "random_calls.h"
#include "switch_test.h"

#include <ctime>

namespace {

class Crash : public SwitchTest {
protected:
    std::mt19937 random{std::random_device{}()};

    // A moment between now and some milliseconds from now.
    void let_some_time_pass(uint32_t longest_ms) {
        const timespec pause{.tv_sec = 0, .tv_nsec = static_cast<long>(random() % (longest_ms * 1'000'000U))};
        nanosleep(&pause, nullptr);
    }

    // The VLANs that the logged calls have made: what a process did is logged with its effect, or neither is there.
    std::string find_difference_from_log() const {
        return ask("WITH made AS (SELECT substr(call, instr(call, ' = 0 vid ') + 9) + 0 AS vid, id FROM call_log"
                   "  WHERE call LIKE 'brgfdb_create_vlan(%) = 0 vid %'),"
                   " deleted AS (SELECT substr(call, 20) + 0 AS vid, id FROM call_log"
                   "  WHERE call LIKE 'brgfdb_delete_vlan(%)'),"
                   " expected AS (SELECT vid FROM made WHERE NOT EXISTS"
                   "  (SELECT 1 FROM deleted WHERE deleted.vid = made.vid AND deleted.id > made.id))"
                   "SELECT vid FROM (SELECT vid FROM expected EXCEPT SELECT vid FROM vlan)"
                   " UNION ALL SELECT vid FROM (SELECT vid FROM vlan EXCEPT SELECT vid FROM expected)");
    }
};

TEST_F(Crash, leaves_no_call_half_made) {
    for (int round = 0; round < 60; ++round) {
        std::vector<Running> processes;
        for (int number = 0; number < 4; ++number)
            processes.emplace_back([seed = random()] {
                std::mt19937 calls(static_cast<uint32_t>(seed));
                for (;;)
                    make_random_call(calls);
            });
        let_some_time_pass(20);
        for (Running& process : processes)
            process.kill();
        for (Running& process : processes)
            EXPECT_EQ(process.wait().errors, "");
        if (round % 10 != 9) continue;
        ASSERT_EQ(find_contradiction(), "") << "round " << round;
        ASSERT_EQ(find_difference_from_log(), "") << "round " << round;
    }
    EXPECT_EQ(ask("SELECT count(*) > 100 FROM call_log"), "1");
}

// From the very first one on, which makes the store.
TEST_F(Crash, takes_no_accepted_sentence_back) {
    std::vector<std::string> accepted;
    for (int number = 0; number < 60; ++number) {
        const std::string name = "v" + std::to_string(number);
        Running tool = start_tool({"create", "vlan", name});
        let_some_time_pass(number < 10 ? 20 : 6);
        tool.kill();
        if (tool.wait().is_accepted()) accepted.push_back(name);
    }
    const Finished last = run_tool({"create", "vlan", "last"});
    EXPECT_TRUE(last.is_accepted()) << last.errors;
    for (const std::string& name : accepted)
        EXPECT_EQ(ask("SELECT count(*) FROM vlan WHERE name = '" + name + "'"), "1") << name;
    EXPECT_EQ(find_difference_from_log(), "");
    EXPECT_EQ(find_contradiction(), "");
}

} // namespace
