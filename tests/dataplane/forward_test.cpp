// What becomes of a frame: each rule of the road, with what it decides on and off.
#include "dataplane/stations.h"
#include "dataplane/test_switch.h"

#include <gtest/gtest.h>

using namespace dataplane;
using namespace dataplane_test;

namespace {

constexpr Mac group = 0x01005e000001;

const Bytes untagged = frame_of(berta, anna, {}, arp);
const Bytes in_vlan_20 = frame_of(berta, anna, tag(0x8100, 20, 5), arp);

// Ports 1 to 4 and 101; VLAN 10 untagged on 1 and 2, VLAN 20 tagged on 1, 2 and 3.
class Forward : public testing::Test {
protected:
    Forward() {
        for (const int32_t number : {1, 2, 3, 4, 101})
            parts.add_port(number);
        parts.add_vlan(10);
        parts.add_vlan(20);
        parts.add_untagged(10, 1);
        parts.add_untagged(10, 2);
        for (const int32_t number : {1, 2, 3})
            parts.add_tagged(20, number);
    }

    void expect_dropped(DropReason reason) const {
        EXPECT_EQ(device.outcome.verdict, Verdict::dropped);
        EXPECT_STREQ(word_of(device.outcome.reason), word_of(reason));
        EXPECT_TRUE(device.outcome.outputs.empty());
        ASSERT_FALSE(device.outcome.steps.empty());
        EXPECT_EQ(device.outcome.steps.back().kind, StepKind::dropped);
    }
    void expect_sent(Verdict verdict, const std::vector<int32_t>& ports) const {
        EXPECT_STREQ(word_of(device.outcome.verdict), word_of(verdict));
        EXPECT_EQ(device.outcome.reason, DropReason::none);
        EXPECT_EQ(device.ports_sent_on(), ports);
        ASSERT_FALSE(device.outcome.steps.empty());
        EXPECT_EQ(device.outcome.steps.back().kind, StepKind::done);
    }

    TestSwitch device;
    Parts& parts = device.parts;
};

// --- Reception ---

TEST_F(Forward, FramesWithoutAWholeHeaderAreTooShort) {
    for (size_t length = 0; length < 14; ++length) {
        device.send(1, Bytes(length, 0xff));
        expect_dropped(DropReason::too_short);
    }
    device.send(1, Bytes(14, 0xff));
    expect_sent(Verdict::flooded, {2});
}

TEST_F(Forward, FramesOfMoreThan1536BytesAreTooLong) {
    device.send(1, Bytes(1536, 0xff));
    expect_sent(Verdict::flooded, {2});
    for (const size_t length : {size_t{1537}, size_t{2000}, size_t{100000}}) {
        device.send(1, Bytes(length, 0xff));
        expect_dropped(DropReason::too_long);
        EXPECT_EQ(device.outcome.steps.back().assumption, Assumption::longest_received);
    }
}

TEST_F(Forward, AFrameThatEndsInItsTagIsTooShort) {
    for (size_t length = 14; length < 18; ++length) {
        device.send(1, Bytes(in_vlan_20.begin(), in_vlan_20.begin() + static_cast<ptrdiff_t>(length)));
        expect_dropped(DropReason::too_short);
    }
    device.send(1, Bytes(in_vlan_20.begin(), in_vlan_20.begin() + 18));
    expect_sent(Verdict::flooded, {2, 3});
    EXPECT_EQ(device.sent_on(3).size(), 18U);
}

TEST_F(Forward, DisabledPortsReceiveNothing) {
    parts.port(1).is_enabled = false;
    device.send(1, untagged);
    expect_dropped(DropReason::port_disabled);
    parts.port(1).is_enabled = true;
    device.apply();
    device.send(1, untagged);
    expect_sent(Verdict::flooded, {2});
}

TEST_F(Forward, PortsWithoutAnInterfaceReceiveNothingUnlessBound) {
    for (const PortType type : {PortType::none, PortType::virtual_interface}) {
        parts.port(1).type = type;
        device.apply();
        device.state.is_bound[0] = 0;
        device.send(1, untagged);
        expect_dropped(DropReason::port_not_ether);
        device.state.is_bound[0] = 1;
        device.send(1, untagged);
        expect_sent(Verdict::flooded, {2});
    }
}

TEST_F(Forward, PortsWithoutACarrierReceiveAndSendNothing) {
    device.apply();
    device.state.has_carrier[1] = 0;
    refresh_links(device.state, device.configuration);
    device.send(2, untagged);
    expect_dropped(DropReason::port_down);
    device.send(1, untagged);
    expect_dropped(DropReason::nobody_to_send_to);
    EXPECT_TRUE(device.has_step(StepKind::not_sent_down));
}

TEST_F(Forward, WhatAPortKeepsWithoutEffectIsTold) {
    parts.port(3).breaks_loops = true;
    parts.port(3).is_in_lag = true;
    parts.port(3).has_ip_interface = true;
    parts.port(2).is_in_lag = true;
    parts.vlan(20).detects_loops = true;
    device.send(3, in_vlan_20);
    expect_sent(Verdict::flooded, {1, 2});
    std::vector<std::pair<uint32_t, uint32_t>> kept;
    for (const Step& step : device.outcome.steps)
        if (step.kind == StepKind::kept) kept.emplace_back(step.a, step.b);
    const std::vector<std::pair<uint32_t, uint32_t>> expected{{number_of(KeptSetting::loop_breaker), 2},
                                                              {number_of(KeptSetting::link_aggregation), 2},
                                                              {number_of(KeptSetting::ip_interface), 2},
                                                              {number_of(KeptSetting::loop_detection), 20},
                                                              {number_of(KeptSetting::link_aggregation), 1}};
    EXPECT_EQ(kept, expected);
}

// --- Reserved addresses and local entries ---

TEST_F(Forward, ReservedAddressesAreNotForwarded) {
    for (Mac last = 0; last < 16; ++last) {
        device.send(1, frame_of(reserved_base + last, anna, {}, 0x88cc));
        expect_dropped(DropReason::reserved_address);
        EXPECT_TRUE(device.has_step(StepKind::local_entry));
    }
    device.send(1, frame_of(reserved_base + 16, anna, {}, 0x88cc));
    expect_sent(Verdict::flooded, {2});
    device.send(1, frame_of(reserved_base - 0x10000, anna, {}, 0x88cc));
    expect_sent(Verdict::flooded, {2});
}

TEST_F(Forward, ReservedAddressesAreNotForwardedWhereThePortHasNoEntries) {
    parts.filters.locals.clear();
    device.send(1, frame_of(reserved_base + 14, anna, {}, 0x88cc));
    expect_dropped(DropReason::reserved_address);
    EXPECT_FALSE(device.has_step(StepKind::local_entry));
}

TEST_F(Forward, LinkFrameForwardLiftsOneKind) {
    for (const uint32_t kind : {0U, 2U, 3U}) {
        parts.port(1).forwarded_link_frames = static_cast<uint8_t>(1U << kind);
        device.apply();
        for (Mac last = 0; last < 16; ++last) {
            device.send(1, frame_of(reserved_base + last, anna, {}, 0x88cc));
            if (last != kind) {
                expect_dropped(DropReason::reserved_address);
                continue;
            }
            expect_sent(Verdict::flooded, {2});
            ASSERT_TRUE(device.has_step(StepKind::link_frame_lifted));
            EXPECT_EQ(device.step(StepKind::link_frame_lifted)->a, kind);
        }
        device.send(2, frame_of(reserved_base + kind, anna, {}, 0x88cc));
        expect_dropped(DropReason::reserved_address);
    }
}

TEST_F(Forward, LocalEntriesDiscardOnTheirPort) {
    parts.add_local(1, berta, LocalAction::discard);
    device.send(1, untagged);
    expect_dropped(DropReason::local_discard);
    device.send(2, untagged);
    expect_sent(Verdict::flooded, {1});
}

TEST_F(Forward, LocalEntriesDeliverToTheSwitch) {
    parts.add_local(1, berta, LocalAction::local);
    device.send(1, untagged);
    expect_sent(Verdict::delivered, {-1});
    EXPECT_EQ(device.outcome.outputs[0].kind, OutputKind::delivered);
    EXPECT_EQ(bytes_of(device.outcome.outputs[0], untagged), untagged);
    EXPECT_EQ(device.state.learned.size(), 0U);
    EXPECT_EQ(device.outcome.vid, 0);
}

TEST_F(Forward, LocalLearningDeliversAndLearns) {
    parts.add_local(1, berta, LocalAction::local_learning);
    device.send(1, untagged);
    expect_sent(Verdict::delivered, {-1});
    ASSERT_EQ(device.state.learned.size(), 1U);
    EXPECT_EQ(device.state.learned.peek(10, anna)->port, 0);
    EXPECT_EQ(device.step(StepKind::local_entry)->assumption, Assumption::local_learning);

    parts.port(1).accepts_untagged = false;
    device.apply();
    device.send(1, frame_of(berta, berta, {}, arp));
    expect_sent(Verdict::delivered, {-1});
    EXPECT_EQ(device.state.learned.size(), 1U);
    ASSERT_TRUE(device.has_step(StepKind::not_forwarded));
    EXPECT_EQ(device.step(StepKind::not_forwarded)->a, number_of(DropReason::untagged_refused));

    device.send(1, frame_of(berta, berta, tag(0x8100, 99), arp));
    expect_sent(Verdict::delivered, {-1});
    EXPECT_EQ(device.step(StepKind::not_forwarded)->a, number_of(DropReason::unknown_vlan));
}

TEST_F(Forward, BothDeliversAndForwards) {
    parts.add_local(1, berta, LocalAction::both);
    device.send(1, untagged);
    expect_sent(Verdict::flooded, {-1, 2});
    parts.port(2).is_enabled = false;
    device.apply();
    device.send(1, untagged);
    expect_sent(Verdict::delivered, {-1});
    EXPECT_EQ(device.step(StepKind::not_forwarded)->a, number_of(DropReason::nobody_to_send_to));
}

TEST_F(Forward, BothForwardsNoReservedAddress) {
    parts.filters.locals.put(0, reserved_base + 14) = {LocalAction::both, false};
    device.send(1, frame_of(reserved_base + 14, anna, {}, 0x88cc));
    expect_sent(Verdict::delivered, {-1});
    EXPECT_EQ(device.step(StepKind::not_forwarded)->a, number_of(DropReason::reserved_address));
}

// --- Tags ---

TEST_F(Forward, TagonlyRefusesFramesWithoutAVlan) {
    const Bytes priority_tagged = frame_of(berta, anna, tag(0x8100, 0, 7), arp);
    device.send(1, untagged);
    expect_sent(Verdict::flooded, {2});
    device.send(1, priority_tagged);
    expect_sent(Verdict::flooded, {2});
    parts.port(1).accepts_untagged = false;
    device.apply();
    device.send(1, untagged);
    expect_dropped(DropReason::untagged_refused);
    device.send(1, priority_tagged);
    expect_dropped(DropReason::untagged_refused);
    device.send(1, in_vlan_20);
    expect_sent(Verdict::flooded, {2, 3});
}

TEST_F(Forward, Id4095IsReserved) {
    device.send(1, frame_of(berta, anna, tag(0x8100, 4095), arp));
    expect_dropped(DropReason::reserved_vid);
    device.send(1, frame_of(berta, anna, tag(0x8100, 4094), arp));
    expect_dropped(DropReason::unknown_vlan);
}

TEST_F(Forward, ATagOfAnotherTypeIsPayload) {
    const Bytes of_provider = frame_of(berta, anna, tag(0x88a8, 20), arp);
    device.send(1, of_provider);
    expect_sent(Verdict::flooded, {2});
    EXPECT_EQ(device.outcome.vid, 10);
    EXPECT_EQ(device.sent_on(2), of_provider);
    EXPECT_TRUE(device.has_step(StepKind::other_tag));
    EXPECT_EQ(device.step(StepKind::untagged)->a, 0x88a8U);

    parts.port(1).tag_type = 0x88a8;
    device.apply();
    device.send(1, of_provider);
    expect_sent(Verdict::flooded, {2, 3});
    EXPECT_EQ(device.outcome.vid, 20);
    EXPECT_EQ(device.sent_on(2),
              in_vlan_20.size() == of_provider.size() ? frame_of(berta, anna, tag(0x8100, 20), arp) : Bytes{});
    device.send(1, in_vlan_20);
    EXPECT_EQ(device.outcome.vid, 10);
}

TEST_F(Forward, OnlyTheOuterTagIsTakenOff) {
    const Bytes twice = frame_of(berta, anna, tag(0x8100, 20, 3) + tag(0x8100, 30, 1), arp);
    parts.add_untagged(20, 4);
    device.send(1, twice);
    expect_sent(Verdict::flooded, {2, 3, 4});
    EXPECT_EQ(device.sent_on(2), twice);
    Bytes once = twice;
    once.erase(once.begin() + 12, once.begin() + 16);
    EXPECT_EQ(device.sent_on(4), once);
}

TEST_F(Forward, IgnoretagMakesTheTagPayload) {
    parts.port(1).looks_at_tags = false;
    device.send(1, in_vlan_20);
    expect_sent(Verdict::flooded, {2});
    EXPECT_EQ(device.outcome.vid, 10);
    EXPECT_EQ(device.sent_on(2), in_vlan_20);
    ASSERT_TRUE(device.has_step(StepKind::tag_ignored));
    EXPECT_EQ(device.step(StepKind::tag_ignored)->b, 20U);
    EXPECT_EQ(device.step(StepKind::tag_ignored)->assumption, Assumption::tags_not_looked_at);
    parts.port(1).accepts_untagged = false;
    device.apply();
    device.send(1, in_vlan_20);
    expect_dropped(DropReason::untagged_refused);
}

TEST_F(Forward, APriorityTagIsTakenOffUnlessIgnored) {
    const Bytes priority_tagged = frame_of(berta, anna, tag(0x8100, 0, 7), arp);
    device.send(1, priority_tagged);
    expect_sent(Verdict::flooded, {2});
    EXPECT_EQ(device.outcome.vid, 10);
    Bytes without = priority_tagged;
    without.erase(without.begin() + 12, without.begin() + 16);
    EXPECT_EQ(device.sent_on(2), without);
    EXPECT_EQ(device.step(StepKind::priority_tag)->c, 7U);

    parts.port(1).looks_at_priority_tags = false;
    device.apply();
    device.send(1, priority_tagged);
    EXPECT_EQ(device.sent_on(2), priority_tagged);
    EXPECT_TRUE(device.has_step(StepKind::priority_tag_ignored));
    EXPECT_EQ(device.step(StepKind::untagged)->a, 0x8100U);
    device.send(1, in_vlan_20);
    EXPECT_EQ(device.outcome.vid, 20);
}

TEST_F(Forward, ThePriorityOfAPriorityTagIsKept) {
    parts.member(10, 2).is_tagged = true;
    device.send(1, frame_of(berta, anna, tag(0x8100, 0, 7, true), arp));
    EXPECT_EQ(device.sent_on(2), frame_of(berta, anna, tag(0x8100, 10, 7, true), arp));
    EXPECT_EQ(device.step(StepKind::drop_eligible_kept)->assumption, Assumption::drop_eligible_kept);
}

// --- VLANs ---

TEST_F(Forward, UntaggedFramesBelongToTheUntaggedMembership) {
    device.send(1, untagged);
    expect_sent(Verdict::flooded, {2});
    EXPECT_EQ(device.outcome.vid, 10);
    EXPECT_TRUE(device.has_step(StepKind::vlan_by_membership));
    device.send(3, untagged);
    expect_dropped(DropReason::no_vlan);
}

TEST_F(Forward, ThePvidServesWhereNoMembershipDoes) {
    parts.port(1).pvid = 20;
    parts.port(3).pvid = 20;
    device.send(3, untagged);
    expect_sent(Verdict::flooded, {1, 2});
    EXPECT_EQ(device.outcome.vid, 20);
    EXPECT_EQ(device.step(StepKind::vlan_by_pvid)->a, 20U);
    device.send(1, untagged);
    EXPECT_EQ(device.outcome.vid, 10);
    parts.port(3).pvid = 21;
    device.apply();
    device.send(3, untagged);
    expect_dropped(DropReason::unknown_vlan);
    EXPECT_EQ(device.outcome.vid, 0);
}

TEST_F(Forward, ProtocolGroupsComeFirst) {
    parts.add_protgroup(7, {0x86dd, 0x0806, 0x9000});
    parts.add_for_protgroup(20, 4, 7);
    parts.port(4).pvid = 10;
    for (const uint16_t type : {uint16_t{0x0806}, uint16_t{0x86dd}, uint16_t{0x9000}}) {
        device.send(4, frame_of(berta, anna, {}, type));
        EXPECT_EQ(device.outcome.vid, 20);
        EXPECT_EQ(device.step(StepKind::vlan_by_protgroup)->b, 7U);
        EXPECT_EQ(device.step(StepKind::vlan_by_protgroup)->c, type);
    }
    for (const uint16_t type : {uint16_t{0x0800}, uint16_t{0x0807}, uint16_t{0xffff}, uint16_t{0}}) {
        device.send(4, frame_of(berta, anna, {}, type));
        EXPECT_EQ(device.outcome.vid, 10);
    }
    // Behind a priority tag, too; a tag with an id says itself.
    device.send(4, frame_of(berta, anna, tag(0x8100, 0), 0x86dd));
    EXPECT_EQ(device.outcome.vid, 20);
}

TEST_F(Forward, OnlyIngfilRefusesFramesOfVlansThatThePortIsNotIn) {
    device.send(4, in_vlan_20);
    expect_sent(Verdict::flooded, {1, 2, 3});
    EXPECT_TRUE(device.has_step(StepKind::let_in));
    EXPECT_TRUE(device.has_step(StepKind::not_learned_member));
    EXPECT_EQ(device.state.learned.size(), 0U);
    parts.port(4).filters_ingress = true;
    parts.port(1).filters_ingress = true;
    device.apply();
    device.send(4, in_vlan_20);
    expect_dropped(DropReason::not_a_member);
    EXPECT_EQ(device.outcome.vid, 20);
    device.send(1, in_vlan_20);
    expect_sent(Verdict::flooded, {2, 3});
}

TEST_F(Forward, LocalVlansLeaveWithoutATag) {
    parts.add_vlan(5000);
    parts.add_untagged(5000, 3);
    parts.add_untagged(5000, 4).is_tagged = true;
    device.send(3, untagged);
    expect_sent(Verdict::flooded, {4});
    EXPECT_EQ(device.sent_on(4), untagged);
    EXPECT_EQ(device.outcome.vid, 5000);
}

// --- Learning ---

TEST_F(Forward, UnknownAddressesAreFlooded) {
    device.send(1, in_vlan_20);
    expect_sent(Verdict::flooded, {2, 3});
    EXPECT_EQ(device.outcome.vid, 20);
    EXPECT_EQ(device.sent_on(2), in_vlan_20);
}

TEST_F(Forward, LearnedAddressesAreNot) {
    device.send(3, frame_of(anna, berta, tag(0x8100, 20), arp));
    device.send(1, in_vlan_20);
    expect_sent(Verdict::forwarded, {3});
}

TEST_F(Forward, EachVlanLearnsForItself) {
    device.send(2, frame_of(anna, berta, {}, arp));
    device.send(1, in_vlan_20);
    expect_sent(Verdict::flooded, {2, 3});
}

TEST_F(Forward, AddressesMove) {
    device.send(3, frame_of(anna, berta, tag(0x8100, 20), arp));
    device.send(2, frame_of(anna, berta, tag(0x8100, 20), arp));
    ASSERT_TRUE(device.has_step(StepKind::moved));
    EXPECT_EQ(device.step(StepKind::moved)->b, 2U);
    EXPECT_EQ(device.state.learned.size(), 1U);
    device.send(1, in_vlan_20);
    expect_sent(Verdict::forwarded, {2});
}

TEST_F(Forward, OnlyHostsAreLearned) {
    for (const Mac source : {Mac{0}, group, Mac{0xffffffffffff}}) {
        device.send(1, frame_of(berta, source, {}, arp));
        expect_sent(Verdict::flooded, {2});
        EXPECT_TRUE(device.has_step(StepKind::not_learned_source));
    }
    EXPECT_EQ(device.state.learned.size(), 0U);
}

TEST_F(Forward, LearningCanBeOff) {
    parts.vlan(20).learns = false;
    device.send(1, in_vlan_20);
    EXPECT_TRUE(device.has_step(StepKind::not_learned_off));
    EXPECT_EQ(device.state.learned.size(), 0U);
    device.send(1, untagged);
    EXPECT_EQ(device.state.learned.size(), 1U);
}

TEST_F(Forward, StaticAddressesAreNotLearned) {
    parts.add_static(20, anna, 3);
    device.send(1, in_vlan_20);
    expect_sent(Verdict::flooded, {2, 3});
    EXPECT_TRUE(device.has_step(StepKind::not_learned_static));
    EXPECT_EQ(device.state.learned.size(), 0U);
}

TEST_F(Forward, DroppedFramesTeachNothing) {
    parts.port(1).accepts_untagged = false;
    device.send(1, untagged);
    EXPECT_EQ(device.state.learned.size(), 0U);
    device.send(1, frame_of(reserved_base, anna, tag(0x8100, 20), arp));
    EXPECT_EQ(device.state.learned.size(), 0U);
}

TEST_F(Forward, AVlanLearnsUpToItsLimit) {
    parts.vlan(20).learning_limit = 2;
    for (Mac host = 1; host <= 3; ++host)
        device.send(1, frame_of(berta, anna + 16 * host, tag(0x8100, 20), arp));
    expect_sent(Verdict::flooded, {2, 3});
    ASSERT_TRUE(device.has_step(StepKind::not_learned_limit));
    EXPECT_EQ(device.step(StepKind::not_learned_limit)->b, 2U);
    EXPECT_EQ(device.state.learned.size_of(20), 2U);
    // Known ones are refreshed and move all the same, and other VLANs have limits of their own.
    device.send(3, frame_of(berta, anna + 16, tag(0x8100, 20), arp));
    EXPECT_TRUE(device.has_step(StepKind::moved));
    device.send(1, untagged);
    EXPECT_TRUE(device.has_step(StepKind::learned));
    EXPECT_EQ(device.state.learned.size_of(10), 1U);
    EXPECT_EQ(device.state.learned.size(), 3U);
}

TEST_F(Forward, AFullTableFloodsAndLearnsNoMore) {
    parts.filters.learned_room = 2;
    for (Mac host = 1; host <= 3; ++host)
        device.send(1, frame_of(berta, anna + 16 * host, tag(0x8100, 20), arp));
    expect_sent(Verdict::flooded, {2, 3});
    EXPECT_TRUE(device.has_step(StepKind::not_learned_full));
    EXPECT_EQ(device.state.learned.size(), 2U);
}

TEST_F(Forward, AddressesComeOfAgeByTheirPort) {
    constexpr Nanoseconds second = 1'000'000'000;
    parts.port(3).aging = 60;
    const Bytes answer = frame_of(anna, berta, tag(0x8100, 20), arp);
    device.send(3, answer);
    device.send(3, answer, 10 * second);
    EXPECT_TRUE(device.has_step(StepKind::refreshed));
    device.send(1, in_vlan_20, 70 * second);
    expect_sent(Verdict::forwarded, {3});
    device.send(1, in_vlan_20, 70 * second + 1);
    expect_sent(Verdict::flooded, {2, 3});
    EXPECT_EQ(device.state.learned.peek(20, berta), nullptr);
    device.send(3, answer, 70 * second + 2);
    EXPECT_TRUE(device.has_step(StepKind::learned));
}

// Even where more have come of age than one frame looks at.
TEST_F(Forward, OldAddressesCountForNoLimit) {
    constexpr Nanoseconds age = 300'000'000'000;
    parts.vlan(20).learning_limit = 2;
    parts.filters.learned_room = 202;
    for (Mac host = 0; host < 200; ++host)
        device.send(1, frame_of(berta, anna + 16 * host, {}, arp));
    for (Mac host = 0; host < 2; ++host)
        device.send(1, frame_of(berta, anna + 16 * host, tag(0x8100, 20), arp), 1);
    const Bytes new_in_20 = frame_of(berta, anna + 8, tag(0x8100, 20), arp);
    device.send(1, new_in_20, age + 1);
    EXPECT_TRUE(device.has_step(StepKind::not_learned_limit));
    device.send(1, new_in_20, age + 2);
    EXPECT_TRUE(device.has_step(StepKind::learned));
    EXPECT_EQ(device.state.learned.size_of(20), 1U);
    EXPECT_EQ(device.state.learned.size(), 1U);
}

// --- Where to ---

TEST_F(Forward, GroupAddressesAreFlooded) {
    device.send(1, frame_of(group, anna, tag(0x8100, 20), arp));
    expect_sent(Verdict::flooded, {2, 3});
    EXPECT_TRUE(device.has_step(StepKind::group_address));
}

TEST_F(Forward, StaticEntriesNameThePort) {
    parts.add_static(20, berta, 3, 1);
    parts.add_static(20, group, 2);
    device.send(1, in_vlan_20);
    expect_sent(Verdict::forwarded, {3});
    EXPECT_EQ(device.step(StepKind::static_entry)->c, 1U);
    EXPECT_EQ(device.step(StepKind::kept)->a, number_of(KeptSetting::static_entry_flags));
    device.send(1, frame_of(group, anna, tag(0x8100, 20), arp));
    expect_sent(Verdict::forwarded, {2});
    EXPECT_FALSE(device.has_step(StepKind::kept));
    device.send(1, untagged); // of another VLAN
    expect_sent(Verdict::flooded, {2});
}

TEST_F(Forward, StaticEntriesDiscard) {
    parts.add_static_discard(20, berta);
    parts.add_static(20, group, 3, 4);
    device.send(1, in_vlan_20);
    expect_dropped(DropReason::static_discard);
    device.send(1, frame_of(group, anna, tag(0x8100, 20), arp));
    expect_dropped(DropReason::static_discard);
    parts.port(1).ignores_fdb = true;
    device.apply();
    device.send(1, in_vlan_20);
    expect_dropped(DropReason::static_discard);
}

TEST_F(Forward, FramesToAPortsOwnAddressEndAtTheSwitch) {
    parts.add_own_address(20, berta, 2);
    device.send(1, in_vlan_20);
    expect_sent(Verdict::delivered, {-1});
    EXPECT_EQ(device.step(StepKind::own_address)->b, 1U);
    parts.add_local(1, berta, LocalAction::both);
    device.apply();
    device.send(1, in_vlan_20);
    expect_sent(Verdict::delivered, {-1});
    EXPECT_EQ(device.outcome.outputs.size(), 1U);
}

TEST_F(Forward, IgnorefdbFloods) {
    parts.add_static(20, berta, 3);
    parts.add_own_address(20, anna, 1);
    device.send(1, in_vlan_20);
    expect_sent(Verdict::forwarded, {3});
    parts.port(1).ignores_fdb = true;
    device.apply();
    device.send(1, in_vlan_20);
    expect_sent(Verdict::flooded, {2, 3});
    EXPECT_TRUE(device.has_step(StepKind::fdb_ignored_by_port));
    EXPECT_FALSE(device.has_step(StepKind::fdb_ignored_by_vlan));
    device.send(2, in_vlan_20);
    expect_sent(Verdict::forwarded, {3});
    parts.port(1).ignores_fdb = false;
    parts.vlan(20).ignores_fdb = true;
    device.apply();
    device.send(2, in_vlan_20);
    expect_sent(Verdict::flooded, {1, 3});
    EXPECT_TRUE(device.has_step(StepKind::fdb_ignored_by_vlan));
    EXPECT_FALSE(device.has_step(StepKind::fdb_ignored_by_port));
    device.send(2, frame_of(anna, berta, tag(0x8100, 20), arp));
    expect_sent(Verdict::flooded, {1, 3});
}

TEST_F(Forward, FramesDoNotGoBackOnTheirPort) {
    parts.add_static(20, berta, 1);
    device.send(1, in_vlan_20);
    expect_dropped(DropReason::same_port);
}

TEST_F(Forward, FramesLeaveOnMembersOnly) {
    parts.add_static(20, berta, 4);
    device.send(1, in_vlan_20);
    expect_dropped(DropReason::egress_not_a_member);
}

TEST_F(Forward, FramesLeaveOnEnabledPortsOnly) {
    parts.add_static(20, berta, 3);
    parts.port(3).is_enabled = false;
    device.send(1, in_vlan_20);
    expect_dropped(DropReason::egress_disabled);
    device.send(1, frame_of(group, anna, tag(0x8100, 20), arp));
    expect_sent(Verdict::flooded, {2});
    EXPECT_EQ(device.step(StepKind::not_sent_disabled)->a, 2U);
}

TEST_F(Forward, FramesLeaveOnPortsThatAreUpOnly) {
    parts.add_static(20, berta, 3);
    device.apply();
    device.state.has_carrier[2] = 0;
    refresh_links(device.state, device.configuration);
    device.send(1, in_vlan_20);
    expect_dropped(DropReason::egress_down);
    device.send(1, frame_of(group, anna, tag(0x8100, 20), arp));
    expect_sent(Verdict::flooded, {2});
    EXPECT_EQ(device.step(StepKind::not_sent_down)->a, 2U);
}

TEST_F(Forward, SomebodyHasToBeThere) {
    parts.add_vlan(30);
    parts.add_tagged(30, 1);
    device.send(1, frame_of(berta, anna, tag(0x8100, 30), arp));
    expect_dropped(DropReason::nobody_to_send_to);
}

TEST_F(Forward, PortsWithoutAnInterfaceTakeFramesForTheSwitch) {
    parts.port(3).type = PortType::virtual_interface;
    parts.add_static(20, berta, 3);
    device.send(1, in_vlan_20);
    expect_sent(Verdict::delivered, {3});
    EXPECT_EQ(device.outcome.outputs[0].kind, OutputKind::delivered);
    EXPECT_EQ(device.step(StepKind::taken_by_switch)->a, 2U);
    device.send(1, frame_of(group, anna, tag(0x8100, 20), arp));
    expect_sent(Verdict::flooded, {2, 3});
    EXPECT_EQ(device.outcome.outputs[0].kind, OutputKind::flooded);
    EXPECT_EQ(device.outcome.outputs[1].kind, OutputKind::delivered);
    device.state.is_bound[2] = 1;
    device.send(1, in_vlan_20);
    expect_sent(Verdict::forwarded, {3});
    EXPECT_EQ(device.outcome.outputs[0].kind, OutputKind::forwarded);
}

// --- Tags of what leaves ---

TEST_F(Forward, EachMemberHasItsTag) {
    parts.add_untagged(20, 4);
    parts.member(20, 3).tag_type = 0x88a8;
    const Bytes received = frame_of(berta, anna, tag(0x8100, 20, 5, true), arp, Bytes(50, 7));
    device.send(1, received);
    EXPECT_EQ(device.sent_on(2), received);
    EXPECT_EQ(device.sent_on(3), frame_of(berta, anna, tag(0x88a8, 20, 5, true), arp, Bytes(50, 7)));
    EXPECT_EQ(device.sent_on(4), frame_of(berta, anna, {}, arp, Bytes(50, 7)));
    device.send(4, frame_of(berta, anna, {}, arp, Bytes(50, 7)));
    EXPECT_EQ(device.sent_on(2), frame_of(berta, anna, tag(0x8100, 20), arp, Bytes(50, 7)));
    EXPECT_EQ(device.sent_on(3), frame_of(berta, anna, tag(0x88a8, 20), arp, Bytes(50, 7)));
}

TEST_F(Forward, AProtocolGroupLeavesUntaggedForItsTypes) {
    parts.add_protgroup(7, {0x86dd, 0x0806});
    parts.add_for_protgroup(20, 4, 7).tag_type = 0x9100;
    device.send(1, frame_of(berta, anna, tag(0x8100, 20), 0x86dd, Bytes(50, 7)));
    EXPECT_EQ(device.sent_on(4), frame_of(berta, anna, {}, 0x86dd, Bytes(50, 7)));
    device.send(1, frame_of(berta, anna, tag(0x8100, 20, 2), 0x0800, Bytes(50, 7)));
    EXPECT_EQ(device.sent_on(4), frame_of(berta, anna, tag(0x9100, 20, 2), 0x0800, Bytes(50, 7)));
    std::vector<Assumption> assumptions;
    for (const Step& step : device.outcome.steps)
        if (step.kind == StepKind::sent) assumptions.push_back(step.assumption);
    EXPECT_EQ(assumptions.back(), Assumption::protgroup_others_tagged);
}

TEST_F(Forward, CoseditWritesTheClassAsPriority) {
    parts.port(1).default_class = 3;
    device.send(1, in_vlan_20);
    EXPECT_EQ(device.sent_on(2), in_vlan_20);
    parts.port(2).edits_priority = true;
    device.apply();
    device.send(1, in_vlan_20);
    EXPECT_EQ(device.sent_on(2), frame_of(berta, anna, tag(0x8100, 20, 3), arp));
    EXPECT_EQ(device.sent_on(3), in_vlan_20);
    EXPECT_EQ(device.step(StepKind::priority_edited)->b, 5U);
    EXPECT_EQ(device.step(StepKind::priority_edited)->c, 3U);
}

} // namespace
