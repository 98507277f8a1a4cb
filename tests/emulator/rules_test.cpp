// Classification lists and their rules.
#include "switch_test.h"

namespace {

class Rules : public SwitchTest {
protected:
    Rules() { refusal(brgfdb_create_classify_profile, 1); }

    static ClassifyRule rule(uint32_t marking = 0) {
        ClassifyRule rule{};
        rule.marking = marking;
        return rule;
    }
    static int32_t add(int32_t list, int32_t line, const ClassifyRule& rule) {
        return refusal(brgfdb_add_classify_action_to_profile, list, line, &rule);
    }
    std::string lines() const { return ask("SELECT group_concat(line, ' ') FROM classify_rule WHERE list = 1"); }
};

TEST_F(Rules, are_in_lists) {
    EXPECT_EQ(refusal(brgfdb_create_classify_profile, 1), status::profile_exists);
    EXPECT_EQ(refusal(brgfdb_create_classify_profile, 0), 9001);
    EXPECT_EQ(add(2, 1, rule()), status::no_profile);
    EXPECT_EQ(add(1, 1, rule()), 0);
    EXPECT_EQ(refusal(brgfdb_delete_classify_profile, 1), status::profile_has_action);
    EXPECT_EQ(refusal(brgfdb_rem_classify_action_from_profile, 1, 1), 0);
    EXPECT_EQ(refusal(brgfdb_delete_classify_profile, 1), 0);
    EXPECT_EQ(refusal(brgfdb_delete_classify_profile, 1), status::no_profile);
}

TEST_F(Rules, get_the_line_after_the_last_then_the_lowest_free_one) {
    EXPECT_EQ(add(1, 0, rule()), 0);
    EXPECT_EQ(add(1, 5, rule()), 0);
    EXPECT_EQ(add(1, 0, rule()), 0);
    EXPECT_EQ(lines(), "1 5 6");
    set_limit("rules_per_clslist", 6);
    EXPECT_EQ(add(1, 0, rule()), 0);
    EXPECT_EQ(lines(), "1 2 5 6");
    EXPECT_EQ(add(1, 7, rule()), status::too_many_actions);
    EXPECT_EQ(add(1, -1, rule()), 9001);
    EXPECT_EQ(add(1, 0, rule()), 0);
    EXPECT_EQ(add(1, 0, rule()), 0);
    EXPECT_EQ(add(1, 0, rule()), status::too_many_actions);
}

TEST_F(Rules, take_the_place_of_the_one_in_their_line) {
    ClassifyRule first = rule();
    first.present = rule_field::tos;
    first.tos = {.low = 3, .high = 0, .mask = 0xff, .is_range = 0};
    EXPECT_EQ(add(1, 4, first), 0);
    ClassifyRule second = rule();
    second.stream = 255;
    EXPECT_EQ(add(1, 4, second), 0);
    EXPECT_EQ(ask("SELECT line, stream FROM classify_rule"), "4|255");
    EXPECT_EQ(ask("SELECT count(*) FROM classify_match"), "0");
}

TEST_F(Rules, of_a_list_have_one_marking) {
    EXPECT_EQ(add(1, 1, rule(2)), 0);
    EXPECT_EQ(add(1, 2, rule(1)), status::profile_has_other_mode);
    EXPECT_EQ(add(1, 0, rule(0)), status::profile_has_other_mode);
    EXPECT_EQ(add(1, 1, rule(1)), 0); // alone, so that it can be replaced
    EXPECT_EQ(ask("SELECT marking FROM classify_list"), "1");
    EXPECT_EQ(refusal(brgfdb_rem_classify_all_from_profile, 1), 0);
    EXPECT_EQ(ask("SELECT marking FROM classify_list"), "NULL");
    EXPECT_EQ(add(1, 1, rule(0)), 0);
    EXPECT_EQ(add(1, 1, rule(3)), 9001);
}

TEST_F(Rules, are_removed_by_line_or_all) {
    EXPECT_EQ(refusal(brgfdb_rem_classify_all_from_profile, 1), status::no_action);
    EXPECT_EQ(refusal(brgfdb_rem_classify_all_from_profile, 2), status::no_profile);
    EXPECT_EQ(refusal(brgfdb_rem_classify_action_from_profile, 2, 1), status::no_profile);
    for (const int32_t line : {1, 2, 3})
        add(1, line, rule());
    EXPECT_EQ(refusal(brgfdb_rem_classify_action_from_profile, 1, 2), 0);
    EXPECT_EQ(refusal(brgfdb_rem_classify_action_from_profile, 1, 2), status::no_action);
    EXPECT_EQ(lines(), "1 3");
    EXPECT_EQ(refusal(brgfdb_rem_classify_all_from_profile, 1), 0);
    EXPECT_EQ(lines(), "NULL");
}

// Each slot with its own numbers, so that none can be taken for another.
TEST_F(Rules, keep_every_field) {
    ClassifyRule full = rule(1);
    full.stream = 255;
    full.traffic_class = 7;
    full.color = 2;
    full.present = 0x0f0001ff;
    full.cos = {.low = 3, .high = 7, .mask = 0xff, .is_range = 1};
    full.vid = {.low = 4095, .high = 0, .mask = 0xffff, .is_range = 0};
    full.ether_type = {.low = 0x0800, .high = 0, .mask = 0xfff0, .is_range = 0};
    full.tos = {.low = 0, .high = 8, .mask = 0xff, .is_range = 1};
    full.protocol = {.low = 17, .high = 0, .mask = 0xff, .is_range = 0};
    full.source_address = {.low = 0x0a000001, .high = 0xffffffff, .mask = 0xffffffff, .is_range = 1};
    full.destination_address = {.low = 0xc0a80100, .high = 0, .mask = 0xffffff00, .is_range = 0};
    full.source_port = {.low = 1024, .high = 65535, .mask = 0xffff, .is_range = 1};
    full.destination_port = {.low = 0, .high = 0, .mask = 0, .is_range = 0};
    full.extraction[0] = {.value = 0xf0, .mask = 0xf0};
    full.extraction[1] = {.value = 1, .mask = 0xffffffff};
    full.extraction[2] = {.value = 2, .mask = 3};
    full.extraction[3] = {.value = 0, .mask = 0};
    EXPECT_EQ(add(1, 9, full), 0);
    EXPECT_EQ(ask("SELECT stream, traffic_class, color FROM classify_rule"), "255|7|2");
    EXPECT_EQ(
        ask("SELECT field, low, high, mask FROM classify_match ORDER BY field"),
        "cos|3|7|255\nda|3232235776|NULL|4294967040\ndp|0|NULL|0\netype|2048|NULL|65520\next1|240|NULL|240\n"
        "ext2|1|NULL|4294967295\next3|2|NULL|3\next4|0|NULL|0\nprot|17|NULL|255\nsa|167772161|4294967295|4294967295\n"
        "sp|1024|65535|65535\ntos|0|8|255\nvid|4095|NULL|65535");
}

TEST_F(Rules, that_contradict_themselves_are_refused) {
    ClassifyRule unknown_field = rule();
    unknown_field.present = 0x200;
    EXPECT_EQ(add(1, 1, unknown_field), 9001);
    ClassifyRule slot_without_bit = rule();
    slot_without_bit.tos.mask = 1;
    EXPECT_EQ(add(1, 1, slot_without_bit), 9001);
    ClassifyRule range_downwards = rule();
    range_downwards.present = rule_field::tos;
    range_downwards.tos = {.low = 8, .high = 3, .mask = 0xff, .is_range = 1};
    EXPECT_EQ(add(1, 1, range_downwards), 9001);
    ClassifyRule high_without_range = rule();
    high_without_range.present = rule_field::tos;
    high_without_range.tos = {.low = 3, .high = 8, .mask = 0xff, .is_range = 0};
    EXPECT_EQ(add(1, 1, high_without_range), 9001);
    ClassifyRule color = rule();
    color.color = 3;
    EXPECT_EQ(add(1, 1, color), 9001);
    EXPECT_EQ(lines(), "NULL");
    EXPECT_EQ(ask("SELECT marking FROM classify_list"), "NULL");
}

TEST_F(Rules, fill_the_memory_of_their_list) {
    ClassifyRule range = rule();
    range.present = rule_field::tos | rule_field::cos;
    range.tos = {.low = 3, .high = 8, .mask = 0xff, .is_range = 1};
    set_limit("words_per_clslist", 7); // a rule of four words, one of one, and half of another
    EXPECT_EQ(add(1, 1, range), 0);
    EXPECT_EQ(add(1, 2, rule()), 0);
    EXPECT_EQ(add(1, 3, range), status::no_memory_in_profile);
    EXPECT_EQ(add(1, 1, range), 0);
    refusal(brgfdb_create_classify_profile, 2);
    EXPECT_EQ(add(2, 1, range), 0); // another list has its own
}

} // namespace
