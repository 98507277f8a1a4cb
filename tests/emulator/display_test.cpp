// What is shown of classification lists.
#include "child_process.h"
#include "switch_test.h"

#include <iterator>
#include <sstream>

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

// A bound of the field has pulled the value down; the word that is shown is pulled down in the same way.
TEST_F(Display, shows_words_that_bring_about_the_same_rule) {
    const auto add = [](const std::string& line, const std::vector<std::string>& fields) {
        std::vector<std::string> words{"add", "classify", "1/0/green", "normal"};
        words.insert(words.end(), fields.begin(), fields.end());
        words.insert(words.end(), {"to", "clslist", "1", "line", line});
        EXPECT_TRUE(run_tool(words).is_accepted());
    };
    refusal(brgfdb_create_classify_profile, 1);
    add("1", {"10.0.0.0/8", "10.1.2.3-10.1.2.9/31", "-8", "17", "80/ff00", "1024-70000", "5000/1001", "9/8",
              "86dd-88a8/fff0", "ff/f0,,1"});
    const std::string shown = show(1);
    const std::string row = shown.substr(shown.rfind("\n", shown.size() - 2) + 1);
    std::istringstream fields(row);
    std::vector<std::string> words{std::istream_iterator<std::string>(fields), {}};
    ASSERT_EQ(words.size(), 12U) << row;
    EXPECT_EQ(words[9], "8/8");
    add("2", {words.begin() + 2, words.end()});
    EXPECT_EQ(ask("SELECT field, low, high, mask FROM classify_match WHERE line = 1 EXCEPT "
                  "SELECT field, low, high, mask FROM classify_match WHERE line = 2"),
              "");
    EXPECT_EQ(ask("SELECT count(*) FROM classify_match"), "22"); // one of the ten words holds two extractions
}

// What no call can have stored shows that the file is damaged, and is said to be.
TEST_F(Display, is_refused_where_the_store_is_damaged) {
    refusal(brgfdb_create_classify_profile, 1);
    ClassifyRule rule{};
    rule.present = rule_field::vid;
    rule.vid = {.low = 10, .high = 0, .mask = 0xfff, .is_range = 0};
    refusal(brgfdb_add_classify_action_to_profile, 1, 1, &rule);
    emulator::store::close();
    const struct {
        const char* change;
        const char* undo;
        const char* reason;
    } damages[] = {
        {"classify_rule SET color = 100", "classify_rule SET color = 0", "color cannot be 100"},
        {"classify_rule SET stream = 9223372036854775807", "classify_rule SET stream = 0",
         "stream cannot be 9223372036854775807"},
        {"classify_rule SET traffic_class = -1", "classify_rule SET traffic_class = 0", "traffic_class cannot be -1"},
        {"classify_list SET marking = 127", "classify_list SET marking = 0", "marking cannot be 127"},
        {"classify_match SET mask = -5", "classify_match SET mask = 4095", "mask cannot be -5"},
        {"classify_match SET field = 'dsap'", "classify_match SET field = 'vid'", "field cannot be this text"},
    };
    for (const auto& damage : damages) {
        ask(std::string("PRAGMA ignore_check_constraints = ON; UPDATE ") + damage.change);
        const Finished finished = run_tool({"show", "clslist", "all"});
        EXPECT_NE(finished.output.find("<errcode>9103</errcode>"), std::string::npos) << finished.output;
        EXPECT_EQ(finished.errors, "emuswitch: " + store.string() + ": damaged (" + damage.reason +
                                       "); move it away, the next sentence makes an empty switch\n");
        ask(std::string("UPDATE ") + damage.undo);
    }
    EXPECT_EQ(show(1).substr(0, 10), "clslist 1:");
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
