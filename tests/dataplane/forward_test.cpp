// What becomes of a frame: each rule of the road, with what it decides on and off.
#include "dataplane/test_switch.h"

#include <gtest/gtest.h>

using namespace dataplane;
using namespace dataplane_test;

namespace {

constexpr Mac anna = 0x020000000001;
constexpr Mac berta = 0x020000000002;
constexpr Mac group = 0x01005e000001;
constexpr uint16_t arp = 0x0806;

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

} // namespace
