// What holds whatever is called.
#include "random_calls.h"
#include "switch_test.h"

#include <thread>

namespace {

class Invariants : public SwitchTest {};

TEST_F(Invariants, hold_after_thousands_of_random_calls) {
    std::mt19937 random(20240501);
    for (int round = 0; round < 20; ++round) {
        for (int i = 0; i < 500; ++i)
            make_random_call(random);
        ASSERT_EQ(find_contradiction(), "") << "round " << round;
        // A mirror is complete while it is enabled, and a learned address has no static entry beside it.
        ASSERT_EQ(ask("SELECT count(*) FROM static_entry JOIN learned_entry USING (vid, mac)"), "0");
        ASSERT_EQ(ask("SELECT count(*) FROM classify_list WHERE (marking IS NULL) <>"
                      " (list NOT IN (SELECT list FROM classify_rule))"),
                  "0");
        ASSERT_EQ(ask("SELECT count(*) FROM vlan_member WHERE NOT EXISTS"
                      " (SELECT 1 FROM static_entry s WHERE s.vid = vlan_member.vid AND s.port = vlan_member.port AND"
                      "  of_system = 1)"),
                  "0");
    }
    // Most kinds of calls were taken now and then, or the test says little.
    EXPECT_EQ(ask("SELECT count(DISTINCT substr(call, 1, instr(call, '('))) >= 30 FROM call_log"
                  " WHERE call NOT LIKE '% = -1%'"),
              "1");
}

TEST_F(Invariants, hold_with_several_threads) {
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (uint32_t seed = 1; seed <= 4; ++seed)
        threads.emplace_back([seed] {
            std::mt19937 random(seed);
            for (int i = 0; i < 300; ++i)
                make_random_call(random);
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(find_contradiction(), "");
}

} // namespace
