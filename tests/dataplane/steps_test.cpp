// What a told frame says, step by step with all numbers: each kind of step at least once. Ports stand as their index,
// which is one less than the number, but for port 101, whose is 4; !13 is the assumption that a step leans on.
#include "dataplane/stations.h"
#include "dataplane/test_switch.h"

#include <gtest/gtest.h>

using namespace dataplane;
using namespace dataplane_test;

namespace {

std::string text_of(const Step& step) {
    if (step.kind == StepKind::done) return std::string("done ") + word_of(static_cast<Verdict>(step.a));
    std::string text = word_of(step.kind);
    std::vector<uint32_t> numbers{step.a, step.b, step.c};
    while (!numbers.empty() && numbers.back() == 0)
        numbers.pop_back();
    for (const uint32_t number : numbers)
        text += " " + std::to_string(number);
    if (step.assumption != Assumption::none) text += " !" + std::to_string(number_of(step.assumption));
    return text;
}

// Ports 1 to 4 and 101; VLAN 10 untagged on 1 and 2, VLAN 20 tagged on 1, 2 and 3.
class Steps : public testing::Test {
protected:
    Steps() {
        for (const int32_t number : {1, 2, 3, 4, 101})
            parts.add_port(number);
        parts.add_vlan(10);
        parts.add_vlan(20);
        parts.add_untagged(10, 1);
        parts.add_untagged(10, 2);
        for (const int32_t number : {1, 2, 3})
            parts.add_tagged(20, number);
        Port& first = parts.port(1);
        first.default_stream = 2;
        first.default_class = 3;
        first.default_color = 1;
    }

    // The steps, separated by commas.
    std::string told(int32_t port, const Bytes& frame, Nanoseconds time = 0) {
        device.apply();
        device.send(port, frame, time);
        std::string text;
        for (const Step& step : device.outcome.steps)
            text += (text.empty() ? "" : ", ") + text_of(step);
        return text;
    }
    // Likewise, from behind the step of that kind on.
    std::string told_from(StepKind kind, int32_t port, const Bytes& frame, Nanoseconds time = 0) {
        const std::string text = told(port, frame, time);
        const size_t begin = text.find(std::string(", ") + word_of(kind));
        return begin != std::string::npos ? text.substr(begin + 2) : "not in: " + text;
    }

    TestSwitch device;
    Parts& parts = device.parts;
};

const Bytes in_20 = frame_of(berta, anna, tag(0x8100, 20, 5), arp);
const Bytes plain = frame_of(berta, anna, {}, arp);

TEST_F(Steps, OfAFloodedFrame) {
    EXPECT_EQ(told(1, frame_of(berta, anna, tag(0x8100, 20, 5, true), arp)),
              "received 0 60, tag_recognised 33024 20 5, vlan_by_tag 20, member 20, learned 20 !4, no_list, "
              "class_by_default 2 3 1, unknown_address 20, sent 1 20 33024, drop_eligible_kept 1 !14, best_effort 1 2 "
              "3, sent 2 20 33024, drop_eligible_kept 2 !14, best_effort 2 2 3, done flooded");
    EXPECT_EQ(told(1, plain), "received 0 60, untagged 2054, vlan_by_membership 10, member 10, learned 10 !4, no_list, "
                              "class_by_default 2 3 1, unknown_address 10, sent 1, best_effort 1 2 3, done flooded");
}

TEST_F(Steps, OfWhatIsLearned) {
    EXPECT_EQ(told_from(StepKind::member, 3, frame_of(anna, berta, tag(0x8100, 20), arp)),
              "member 20, learned 20 2 !4, no_list, class_by_default, unknown_address 20, sent 0 20 33024, "
              "best_effort, sent 1 20 33024, best_effort 1, done flooded");
    EXPECT_EQ(told_from(StepKind::member, 1, in_20),
              "member 20, learned 20 !4, no_list, class_by_default 2 3 1, learned_entry 20 2, sent 2 20 33024, "
              "best_effort 2 2 3, done forwarded");
    EXPECT_EQ(told_from(StepKind::member, 1, in_20),
              "member 20, refreshed 20, no_list, class_by_default 2 3 1, learned_entry 20 2, sent 2 20 33024, "
              "best_effort 2 2 3, done forwarded");
    EXPECT_EQ(told_from(StepKind::member, 2, in_20), "member 20, moved 20 !4, no_list, class_by_default, learned_entry "
                                                     "20 2, sent 2 20 33024, best_effort 2, done forwarded");
    device.state.learned.put_stored(20, berta, 2, 0);
    EXPECT_EQ(told_from(StepKind::no_list, 2, in_20),
              "no_list, class_by_default, learned_entry 20 2 !27, sent 2 20 33024, best_effort 2, done forwarded");
    EXPECT_EQ(told_from(StepKind::member, 1, frame_of(anna, Mac{0}, tag(0x8100, 20), arp)),
              "member 20, not_learned_source, no_list, class_by_default 2 3 1, learned_entry 20 1, sent 1 20 33024, "
              "best_effort 1 2 3, done forwarded");
    EXPECT_EQ(told_from(StepKind::let_in, 4, frame_of(anna, carla, tag(0x8100, 20), arp)),
              "let_in 20, not_learned_member 20, no_list, class_by_default, learned_entry 20 1, sent 1 20 33024, "
              "best_effort 1, done forwarded");
    parts.add_static(20, carla, 3, 1);
    EXPECT_EQ(told_from(StepKind::member, 1, frame_of(carla, carla, tag(0x8100, 20), arp)),
              "member 20, not_learned_static 20, no_list, class_by_default 2 3 1, static_entry 20 2 1, kept 4 1, sent "
              "2 20 33024, best_effort 2 2 3, done forwarded");
    parts.vlan(10).learning_limit = 1;
    told(1, plain);
    EXPECT_EQ(told_from(StepKind::member, 1, frame_of(anna, carla, {}, arp)),
              "member 10, not_learned_limit 10 1, no_list, class_by_default 2 3 1, learned_entry 10, dropped 15");
    parts.vlan(10).learning_limit = 0;
    parts.filters.learned_room = 1;
    EXPECT_EQ(told_from(StepKind::member, 1, frame_of(anna, carla, {}, arp)),
              "member 10, not_learned_full, no_list, class_by_default 2 3 1, learned_entry 10, dropped 15");
    parts.vlan(10).learns = false;
    EXPECT_EQ(told_from(StepKind::member, 1, frame_of(anna, carla, {}, arp)),
              "member 10, not_learned_off 10, no_list, class_by_default 2 3 1, learned_entry 10, dropped 15");
}

TEST_F(Steps, OfTags) {
    EXPECT_EQ(told(1, frame_of(berta, anna, tag(0x8100, 0, 6), arp)),
              "received 0 60, priority_tag 33024 0 6, vlan_by_membership 10, member 10, learned 10 !4, no_list, "
              "class_by_default 2 3 1, unknown_address 10, sent 1, best_effort 1 2 3, done flooded");
    EXPECT_EQ(told_from(StepKind::other_tag, 1, frame_of(berta, anna, tag(0x88a8, 20, 6), arp)),
              "other_tag 34984, untagged 34984, vlan_by_membership 10, member 10, refreshed 10, no_list, "
              "class_by_default 2 3 1, unknown_address 10, sent 1, best_effort 1 2 3, done flooded");
    parts.port(1).looks_at_priority_tags = false;
    EXPECT_EQ(
        told(1, frame_of(berta, anna, tag(0x8100, 0, 6), arp)),
        "received 0 60, priority_tag_ignored 33024 !2, untagged 33024, vlan_by_membership 10, member 10, refreshed 10, "
        "no_list, class_by_default 2 3 1, unknown_address 10, sent 1, best_effort 1 2 3, done flooded");
    parts.port(1).looks_at_tags = false;
    EXPECT_EQ(told(1, in_20),
              "received 0 60, tag_ignored 33024 20 !2, untagged 33024, vlan_by_membership 10, member 10, refreshed 10, "
              "no_list, class_by_default 2 3 1, unknown_address 10, sent 1, best_effort 1 2 3, done flooded");
}

TEST_F(Steps, OfTheVlan) {
    parts.port(3).pvid = 20;
    EXPECT_EQ(told(3, frame_of(anna, berta, {}, arp)),
              "received 2 60, untagged 2054, vlan_by_pvid 20, member 20, learned 20 2 !4, no_list, class_by_default, "
              "unknown_address 20, sent 0 20 33024, best_effort, sent 1 20 33024, best_effort 1, done flooded");
    parts.add_protgroup(7, {arp});
    parts.add_vlan(30);
    parts.add_for_protgroup(30, 1, 7);
    parts.add_for_protgroup(30, 2, 7).tag_type = 0x9100;
    EXPECT_EQ(told(1, plain),
              "received 0 60, untagged 2054, vlan_by_protgroup 30 7 2054, member 30, learned 30 !4, no_list, "
              "class_by_default 2 3 1, unknown_address 30, sent 1, best_effort 1 2 3, done flooded");
    EXPECT_EQ(told(1, frame_of(berta, anna, tag(0x8100, 30), 0x86dd)),
              "received 0 60, tag_recognised 33024 30, vlan_by_tag 30, member 30, refreshed 30, no_list, "
              "class_by_default 2 3 1, unknown_address 30, sent 1 30 37120 !12, best_effort 1 2 3, done flooded");
}

TEST_F(Steps, OfDestinations) {
    parts.add_local(1, carla, LocalAction::both);
    EXPECT_EQ(
        told(1, frame_of(carla, anna, {}, arp)),
        "received 0 60, local_entry 2, taken_by_switch 65535, untagged 2054, vlan_by_membership 10, member 10, learned "
        "10 !4, no_list, class_by_default 2 3 1, unknown_address 10, sent 1, best_effort 1 2 3, done flooded");
    parts.add_local(2, carla, LocalAction::local_learning);
    EXPECT_EQ(told(2, frame_of(carla, anna, {}, arp)),
              "received 1 60, local_entry 3 !3, taken_by_switch 65535, untagged 2054, vlan_by_membership 10, member "
              "10, moved 10 !4, done delivered");
    parts.port(1).forwarded_link_frames = 1U << 2;
    EXPECT_EQ(told(1, frame_of(0x0180c2000002, anna, {}, arp)),
              "received 0 60, local_entry 4, link_frame_lifted 2, untagged 2054, vlan_by_membership 10, member 10, "
              "moved 10 1 !4, no_list, class_by_default 2 3 1, group_address, sent 1, best_effort 1 2 3, done flooded");
    parts.add_own_address(20, berta, 3);
    EXPECT_EQ(told_from(StepKind::own_address, 1, in_20),
              "own_address 20 2 !10, taken_by_switch 65535, done delivered");
    parts.add_static_discard(10, berta);
    EXPECT_EQ(told_from(StepKind::static_entry, 1, plain), "static_entry 10 65535 4, dropped 14");
    parts.port(1).ignores_fdb = true;
    parts.vlan(20).ignores_fdb = true;
    EXPECT_EQ(told_from(StepKind::fdb_ignored_by_port, 1, in_20),
              "fdb_ignored_by_port, fdb_ignored_by_vlan 20, sent 1 20 33024, best_effort 1 2 3, sent 2 20 33024, "
              "best_effort 2 2 3, done flooded");
}

TEST_F(Steps, OfClasses) {
    Rule rule;
    rule.line = 12;
    rule.stream = 5;
    rule.traffic_class = 6;
    rule.color = 2;
    rule.matches.push_back({Field::priority, 3, 7});
    parts.bind_list(20, 1, 44, Marking::dot1p, {rule});
    parts.port(1).class_of_priority = {7, 6, 5, 4, 3, 2, 1, 0};
    parts.add_stream(2, 5, {2});
    EXPECT_EQ(told_from(StepKind::list_matched, 1, in_20),
              "list_matched 44 12, class_by_rule 5 6 2, class_by_priority 5 2 !6, unknown_address 20, sent 1 20 33024, "
              "queued 1 261 2, sent 2 20 33024, best_effort 2 5 2, done flooded");
    EXPECT_EQ(told_from(StepKind::list_not_matched, 1, frame_of(berta, anna, tag(0x8100, 20, 1), arp)),
              "list_not_matched 44, class_by_default 2 3 1, unknown_address 20, sent 1 20 33024, best_effort 1 2 3, "
              "sent 2 20 33024, best_effort 2 2 3, done flooded");
    parts.bind_list(20, 3, 45, Marking::dscp, {rule});
    parts.add_stream(1, 5, {4}).tos_map = {{4, 0xb8, 0xfc}};
    Ipv4 fields;
    fields.tos = 0xb9;
    parts.port(1).edits_priority = true;
    EXPECT_EQ(told_from(StepKind::list_matched, 3,
                        frame_of(0x01005e000001, berta, tag(0x8100, 20, 5), 0x0800, packet_of(fields))),
              "list_matched 45 12, class_by_rule 5 6 2 !20, group_address, class_by_tos 185 4 !7, sent 0 20 33024, "
              "priority_edited 0 5 4 !13, queued 0 5 4, sent 1 20 33024, best_effort 1 5 6, done flooded");
}

TEST_F(Steps, OfPolicers) {
    parts.port(1).policers[3] = {64000, 100, 2};
    EXPECT_EQ(told_from(StepKind::class_by_default, 1, plain),
              "class_by_default 2 3 1, counted 3 64 !9, within_rate 3 64000 !8, unknown_address 10, sent 1, "
              "best_effort 1 2 3, done flooded");
    EXPECT_EQ(told_from(StepKind::class_by_default, 1, plain),
              "class_by_default 2 3 1, counted 3 64 !9, recolored 3 64000 2, unknown_address 10, sent 1, best_effort 1 "
              "2 3, done flooded");
    parts.port(1).policers[3].excess = discards_excess;
    EXPECT_EQ(told_from(StepKind::class_by_default, 1, plain),
              "class_by_default 2 3 1, counted 3 64 !9, over_rate 3 64000, dropped 13");
}

TEST_F(Steps, OfPortsThatDoNotSend) {
    parts.port(2).is_enabled = false;
    Port& logical = parts.port(101);
    logical.link_depend = LinkDepend::ports;
    logical.link_depend_ports = 0x2;
    logical.link_mode = LinkMode::any;
    parts.add_tagged(20, 101);
    parts.port(3).type = PortType::virtual_interface;
    EXPECT_EQ(told_from(StepKind::unknown_address, 1, in_20),
              "unknown_address 20, not_sent_disabled 1, sent 2 20 33024, taken_by_switch 2 !11, link_dependency 4 2 2, "
              "not_sent_down 4, done flooded");
    logical.link_mode = LinkMode::none;
    logical.link_depend = LinkDepend::vlan;
    EXPECT_EQ(told(101, in_20), "received 4 60, link_dependency 4 1 !18, link_mode_unset 4 !19, dropped 4");
    parts.port(2).is_enabled = true;
    EXPECT_EQ(told(101, in_20),
              "received 4 60, link_dependency 4 1 !18, link_mode_unset 4 !19, tag_recognised 33024 20 5, vlan_by_tag "
              "20, member 20, moved 20 !4, no_list, class_by_default, unknown_address 20, sent 0 20 33024, "
              "best_effort, sent 1 20 33024, best_effort 1, sent 2 20 33024, taken_by_switch 2 !11, done flooded");
}

TEST_F(Steps, OfMirrors) {
    Mirror& mirror = parts.add_mirror(3, MirrorSource::received, 1, 0, 4);
    mirror.adds_tag = true;
    mirror.tag_type = 0x88a8;
    mirror.tag_vid = 99;
    parts.add_stream(4, 2, {3});
    EXPECT_EQ(told_from(StepKind::mirrored, 1, plain),
              "mirrored 3 3, copy_tagged 3 99 34984 !16, copy_best_effort 3 3 !26, done flooded");
    parts.mirrors.mirrors[0].tag_vid = first_local_vid;
    EXPECT_EQ(told_from(StepKind::mirrored, 1, frame_of(berta, anna, tag(0x8100, 77), arp)),
              "mirrored 3 3 !15, copy_tagged 3 !17, dropped 11");
    parts.port(4).is_enabled = false;
    EXPECT_EQ(told_from(StepKind::not_mirrored, 1, plain), "not_mirrored 3 2, done flooded");
}

TEST_F(Steps, OfSettingsThatAreKept) {
    Port& port = parts.port(2);
    port.breaks_loops = port.is_in_lag = port.has_ip_interface = true;
    parts.vlan(20).detects_loops = true;
    parts.add_static(20, berta, 3, 9);
    EXPECT_EQ(told(2, in_20), "received 1 60, kept 0 1, kept 1 1, kept 2 1, tag_recognised 33024 20 5, vlan_by_tag 20, "
                              "kept 3 20, member 20, learned 20 1 !4, no_list, class_by_default, static_entry 20 2 9, "
                              "kept 4 9, sent 2 20 33024, best_effort 2, done forwarded");
    EXPECT_EQ(told_from(StepKind::group_address, 1, frame_of(0x01005e000001, berta, tag(0x8100, 20), arp)),
              "group_address, sent 1 20 33024, kept 1 1, best_effort 1 2 3, sent 2 20 33024, best_effort 2 2 3, done "
              "flooded");
}

TEST_F(Steps, EndWithWhatBecameOfTheFrame) {
    EXPECT_EQ(told(1, Bytes(13)), "received 0 13, dropped 1");
    EXPECT_EQ(told(1, Bytes(1537)), "received 0 1537, dropped 2 !1");
    parts.port(1).filters_ingress = true;
    parts.add_vlan(40);
    EXPECT_EQ(told(1, frame_of(berta, anna, tag(0x8100, 40), arp)),
              "received 0 60, tag_recognised 33024 40, vlan_by_tag 40, dropped 12");
    told(3, frame_of(anna, berta, tag(0x8100, 20), arp));
    EXPECT_EQ(told_from(StepKind::learned_entry, 1, in_20),
              "learned_entry 20 2, sent 2 20 33024, best_effort 2 2 3, done forwarded");
    EXPECT_EQ(told(1, frame_of(0x0180c200000e, anna, {}, arp)), "received 0 60, local_entry 4, dropped 6");
}

} // namespace
