// The words that programs read: they are a contract, so each stands here once more, in the order of its number.
#include "dataplane/outcome.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>

using namespace dataplane;

namespace {

template <typename Enumeration> std::string words_up_to(Enumeration last) {
    std::string words;
    for (uint32_t number = 0; number <= number_of(last); ++number)
        words += std::string(word_of(static_cast<Enumeration>(number))) + " ";
    return words;
}

TEST(Words, Verdicts) {
    EXPECT_EQ(words_up_to(Verdict::dropped), "forwarded flooded delivered dropped ");
}

TEST(Words, ReasonsOfDrops) {
    EXPECT_EQ(words_up_to(DropReason::port_missing),
              "none too_short too_long port_disabled port_down port_not_ether reserved_address local_discard "
              "untagged_refused reserved_vid no_vlan unknown_vlan not_a_member policed static_discard "
              "same_port egress_not_a_member egress_disabled egress_down nobody_to_send_to queue_full red "
              "no_buffer queue_removed port_missing ");
}

TEST(Words, Steps) {
    EXPECT_EQ(
        words_up_to(StepKind::done),
        "received link_dependency link_mode_unset tag_recognised priority_tag tag_ignored priority_tag_ignored "
        "other_tag untagged "
        "link_frame_lifted local_entry taken_by_switch not_forwarded vlan_by_tag vlan_by_protgroup "
        "vlan_by_membership vlan_by_pvid member let_in list_matched list_not_matched no_list "
        "class_by_rule class_by_priority class_by_tos class_by_default counted within_rate recolored over_rate "
        "learned moved refreshed not_learned_off not_learned_limit not_learned_full not_learned_source "
        "not_learned_static not_learned_member fdb_ignored_by_port fdb_ignored_by_vlan group_address "
        "static_entry own_address learned_entry unknown_address sent drop_eligible_kept not_sent_disabled "
        "not_sent_down "
        "priority_edited queued best_effort mirrored not_mirrored copy_tagged copy_best_effort kept dropped done ");
}

TEST(Words, KindsOfOutputs) {
    EXPECT_EQ(words_up_to(OutputKind::mirrored), "forwarded flooded delivered mirrored ");
}

TEST(Words, KeptSettings) {
    EXPECT_EQ(words_up_to(KeptSetting::static_entry_flags),
              "loop_breaker link_aggregation ip_interface loop_detection static_entry_flags ");
}

TEST(Words, ReasonsOfMirrors) {
    EXPECT_EQ(words_up_to(MirrorSkip::down), "not_classified other_class disabled down ");
}

// The numbers are those of docs/forwarding.md, in its order from 0 on.
TEST(Words, NumbersOfAssumptions) {
    constexpr Assumption in_order[] = {
        Assumption::none,
        Assumption::longest_received,
        Assumption::tags_not_looked_at,
        Assumption::local_learning,
        Assumption::learning_before_policing,
        Assumption::extraction_from_start,
        Assumption::priority_by_cosmap,
        Assumption::tosmap_of_sending_port,
        Assumption::policer_keeps_color,
        Assumption::frames_count_with_fcs,
        Assumption::own_address_to_switch,
        Assumption::ports_without_interface,
        Assumption::protgroup_others_tagged,
        Assumption::cosedit_at_sending_port,
        Assumption::drop_eligible_kept,
        Assumption::mirrors_copy_dropped,
        Assumption::mirror_tag_priority,
        Assumption::mirror_local_id,
        Assumption::link_of_vlan,
        Assumption::link_mode_unset,
        Assumption::dscp_on_reception,
        Assumption::streams_share_evenly,
        Assumption::minimum_rate_first,
        Assumption::best_effort_last,
        Assumption::line_rate,
        Assumption::early_drops_linear,
        Assumption::copies_are_best_effort,
        Assumption::learned_seen_at_start,
    };
    for (uint32_t number = 0; number < std::size(in_order); ++number)
        EXPECT_EQ(number_of(in_order[number]), number);
}

} // namespace
