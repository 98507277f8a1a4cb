// What is shown of classification lists.
#include "switch_test.h"

namespace {

class Display : public SwitchTest {
protected:
    static std::string show(int32_t list) {
        testing::internal::CaptureStdout();
        const int32_t status = refusal(brgfdb_disp_classify, list);
        const std::string text = testing::internal::GetCapturedStdout();
        return status == 0 ? text : text + std::to_string(status);
    }
};

TEST_F(Display, is_refused_where_there_is_nothing) {
    EXPECT_EQ(show(0), "112");
    EXPECT_EQ(show(1), "109");
    refusal(brgfdb_create_classify_profile, 1);
    EXPECT_EQ(show(1), "110");
    EXPECT_EQ(show(0), "110");
}

TEST_F(Display, is_a_table_with_one_rule_a_line) {
    for (const int32_t list : {3, 12, 40})
        refusal(brgfdb_create_classify_profile, list);
    ClassifyRule rule{};
    rule.marking = 2;
    refusal(brgfdb_add_classify_action_to_profile, 12, 7, &rule);
    rule.marking = 0;
    refusal(brgfdb_add_classify_action_to_profile, 3, 12345, &rule);
    rule.stream = 255;
    rule.traffic_class = 7;
    rule.color = 2;
    rule.present = rule_field::destination_address | rule_field::source_address | rule_field::tos |
                   rule_field::source_port | rule_field::ether_type | rule_field::first_extraction |
                   rule_field::first_extraction << 2;
    rule.destination_address = {.low = 0xc0a80100, .high = 0, .mask = 0xffffff00, .is_range = 0};
    rule.source_address = {.low = 0x0a000001, .high = 0x0a0000ff, .mask = 0xffffffff, .is_range = 1};
    rule.tos = {.low = 0x10, .high = 0, .mask = 0xf0, .is_range = 0};
    rule.source_port = {.low = 1024, .high = 65535, .mask = 0xffff, .is_range = 1};
    rule.ether_type = {.low = 0x0800, .high = 0, .mask = 0xffff, .is_range = 0};
    rule.extraction[0] = {.value = 0xf0, .mask = 0xf0};
    rule.extraction[2] = {.value = 1, .mask = 0xffffffff};
    refusal(brgfdb_add_classify_action_to_profile, 3, 1, &rule);

    EXPECT_EQ(show(12), "clslist 12: 1 rule, marking dscp\n"
                        "line  class      da  sa  tos  prot  dp  sp  vid  cos  etype  ext\n"
                        "   7  1/0/green  *   *   *    *     *   *   *    *    *      *\n");
    EXPECT_EQ(
        show(0),
        "clslist 3: 2 rules, marking normal\n"
        " line  class      da              sa                   tos    prot  dp  sp          vid  cos  etype  ext\n"
        "    1  256/7/red  192.168.1.0/24  10.0.0.1-10.0.0.255  16/f0  *     *   1024-65535  *    *    0800   "
        "f0/f0,,1\n"
        "12345  1/0/green  *               *                    *      *     *   *           *    *    *      *\n"
        "\n"
        "clslist 12: 1 rule, marking dscp\n"
        "line  class      da  sa  tos  prot  dp  sp  vid  cos  etype  ext\n"
        "   7  1/0/green  *   *   *    *     *   *   *    *    *      *\n"
        "\n"
        "clslist 40: no rules\n");
}

TEST_F(Display, shows_a_mask_that_is_no_prefix_in_hex) {
    refusal(brgfdb_create_classify_profile, 1);
    ClassifyRule rule{};
    rule.present = rule_field::destination_address | rule_field::source_address;
    rule.destination_address = {.low = 0, .high = 0, .mask = 0x00ff00ff, .is_range = 0};
    rule.source_address = {.low = 0, .high = 0, .mask = 0, .is_range = 0};
    refusal(brgfdb_add_classify_action_to_profile, 1, 1, &rule);
    EXPECT_EQ(show(1), "clslist 1: 1 rule, marking normal\n"
                       "line  class      da              sa         tos  prot  dp  sp  vid  cos  etype  ext\n"
                       "   1  1/0/green  0.0.0.0/ff00ff  0.0.0.0/0  *    *     *   *   *    *    *      *\n");
}

TEST_F(Display, goes_on_for_thousands_of_rules) {
    refusal(brgfdb_create_classify_profile, 1);
    ask("WITH RECURSIVE number (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number WHERE n < 5000) "
        "INSERT INTO classify_rule SELECT 1, n, 0, 0, 0 FROM number; UPDATE classify_list SET marking = 0");
    const std::string text = show(1);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 5002);
    EXPECT_EQ(text.find("..."), std::string::npos);
    const std::string logged = ask("SELECT call FROM call_log ORDER BY id DESC LIMIT 1");
    EXPECT_EQ(logged.substr(0, 60), "brgfdb_disp_classify(1) = 0 prints \"clslist 1: 5000 rules, m");
    EXPECT_EQ(logged.substr(logged.size() - 4), "\"...");
}

} // namespace
