// Copies for mirrors: of all five sources, filtered and tagged.
#include "dataplane/stations.h"
#include "dataplane/test_switch.h"

#include <gtest/gtest.h>

using namespace dataplane;
using namespace dataplane_test;

namespace {

// VLANs 20 and 30, tagged on ports 1 to 3; port 4, in no VLAN, has the copies.
class Mirrors : public testing::Test {
protected:
    Mirrors() {
        for (const int32_t number : {1, 2, 3, 4})
            parts.add_port(number);
        for (const uint16_t vid : {uint16_t{20}, uint16_t{30}}) {
            parts.add_vlan(vid);
            for (const int32_t number : {1, 2, 3})
                parts.add_tagged(vid, number);
        }
    }
    Bytes copy(const Bytes& received) const {
        for (const Output& output : device.outcome.outputs)
            if (output.kind == OutputKind::mirrored) return bytes_of(output, received);
        return {};
    }
    bool is_copied(int32_t port, const Bytes& bytes) {
        device.send(port, bytes);
        const Bytes copied = copy(bytes);
        EXPECT_EQ(!copied.empty(), device.has_step(StepKind::mirrored));
        return !copied.empty();
    }
    uint32_t why_skipped(int32_t port, const Bytes& bytes) {
        EXPECT_FALSE(is_copied(port, bytes));
        return device.has_step(StepKind::not_mirrored) ? device.step(StepKind::not_mirrored)->b : 99;
    }

    TestSwitch device;
    Parts& parts = device.parts;
    const Bytes in_20 = frame_of(berta, anna, tag(0x8100, 20, 5), arp, Bytes(50, 1));
    const Bytes in_30 = frame_of(berta, anna, tag(0x8100, 30, 5), arp, Bytes(50, 1));
};

TEST_F(Mirrors, OfWhatAPortReceives) {
    parts.add_mirror(1, MirrorSource::received, 1, 0, 4);
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(copy(in_20), in_20);
    EXPECT_EQ(device.outcome.outputs.back().port, 3);
    EXPECT_EQ(device.outcome.outputs.back().mirror, 1);
    EXPECT_EQ(device.ports_sent_on(), (std::vector<int32_t>{2, 3, 4}));
    EXPECT_FALSE(is_copied(2, in_20));
}

TEST_F(Mirrors, OfWhatAPortReceivesInAVlan) {
    parts.add_mirror(2, MirrorSource::received_in_vlan, 1, 30, 4);
    EXPECT_TRUE(is_copied(1, in_30));
    EXPECT_FALSE(is_copied(1, in_20));
    EXPECT_FALSE(is_copied(2, in_30));
}

TEST_F(Mirrors, OfWhatAPortSends) {
    parts.member(20, 2).tag_type = 0x88a8;
    parts.add_mirror(1, MirrorSource::sent, 2, 0, 4);
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(copy(in_20), frame_of(berta, anna, tag(0x88a8, 20, 5), arp, Bytes(50, 1)));
    EXPECT_EQ(copy(in_20), bytes_of(device.outcome.outputs[0], in_20));
    EXPECT_FALSE(is_copied(3, frame_of(anna, berta, tag(0x8100, 20), arp))); // goes to port 1 alone
    EXPECT_FALSE(is_copied(2, in_20));
}

TEST_F(Mirrors, OfWhatAPortSendsInAVlan) {
    parts.add_mirror(1, MirrorSource::sent_in_vlan, 2, 30, 4);
    EXPECT_TRUE(is_copied(1, in_30));
    EXPECT_FALSE(is_copied(1, in_20));
}

TEST_F(Mirrors, OfAVlan) {
    parts.add_mirror(1, MirrorSource::vlan, 0, 30, 4);
    parts.mirrors.mirrors[0].source_port = no_port;
    EXPECT_TRUE(is_copied(1, in_30));
    EXPECT_TRUE(is_copied(2, in_30));
    EXPECT_EQ(copy(in_30), in_30);
    EXPECT_FALSE(is_copied(1, in_20));
}

TEST_F(Mirrors, OfFramesThatAreDroppedLater) {
    parts.add_mirror(1, MirrorSource::received, 1, 0, 4);
    const Bytes reserved = frame_of(reserved_base, anna, {}, arp);
    EXPECT_TRUE(is_copied(1, reserved));
    EXPECT_EQ(device.outcome.verdict, Verdict::dropped);
    EXPECT_EQ(device.outcome.outputs.size(), 1U);
    EXPECT_EQ(device.step(StepKind::mirrored)->assumption, Assumption::mirrors_copy_dropped);
    EXPECT_TRUE(is_copied(1, frame_of(berta, anna, tag(0x8100, 99), arp)));
    parts.port(1).is_enabled = false;
    device.apply();
    EXPECT_FALSE(is_copied(1, in_20));
}

TEST_F(Mirrors, OfAVlanCopyWhatIngfilDrops) {
    parts.add_mirror(1, MirrorSource::vlan, 0, 20, 4);
    parts.vlan(20).members.erase(parts.vlan(20).members.begin());
    parts.port(1).filters_ingress = true;
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(device.outcome.reason, DropReason::not_a_member);
}

TEST_F(Mirrors, EachCopiesOnceAndNoCopyIsCopied) {
    parts.add_mirror(1, MirrorSource::received, 1, 0, 4);
    parts.add_mirror(2, MirrorSource::sent, 4, 0, 3);
    parts.add_mirror(3, MirrorSource::vlan, 0, 20, 1);
    parts.add_mirror(4, MirrorSource::sent, 3, 0, 4);
    device.send(1, in_20);
    EXPECT_EQ(device.ports_sent_on(), (std::vector<int32_t>{1, 2, 3, 4, 4}));
    std::vector<uint16_t> mirrors;
    for (const Output& output : device.outcome.outputs)
        if (output.mirror != 0) mirrors.push_back(output.mirror);
    EXPECT_EQ(mirrors, (std::vector<uint16_t>{1, 3, 4}));
}

TEST_F(Mirrors, ATagStandsInFrontOfAllOthers) {
    Mirror& mirror = parts.add_mirror(1, MirrorSource::received, 1, 0, 4);
    mirror.adds_tag = true;
    mirror.tag_type = 0x88a8;
    mirror.tag_vid = 77;
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(copy(in_20), frame_of(berta, anna, tag(0x88a8, 77, 5) + tag(0x8100, 20, 5), arp, Bytes(50, 1)));
    EXPECT_EQ(device.step(StepKind::copy_tagged)->assumption, Assumption::mirror_tag_priority);
    const Bytes without_tag = frame_of(berta, anna, {}, arp, Bytes(50, 1));
    EXPECT_TRUE(is_copied(1, without_tag));
    EXPECT_EQ(copy(without_tag), frame_of(berta, anna, tag(0x88a8, 77), arp, Bytes(50, 1)));
    // A local id never stands in a tag.
    parts.mirrors.mirrors[0].tag_vid = 4096;
    device.apply();
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(copy(in_20), in_20);
    EXPECT_EQ(device.step(StepKind::copy_tagged)->assumption, Assumption::mirror_local_id);
}

TEST_F(Mirrors, CopiesOfDroppedFramesHaveTheTagToo) {
    Mirror& mirror = parts.add_mirror(1, MirrorSource::received, 1, 0, 4);
    mirror.adds_tag = true;
    mirror.tag_vid = 77;
    parts.vlan(20).members.erase(parts.vlan(20).members.begin());
    parts.port(1).filters_ingress = true;
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(copy(in_20), frame_of(berta, anna, tag(0x8100, 77, 5) + tag(0x8100, 20, 5), arp, Bytes(50, 1)));
    EXPECT_EQ(device.step(StepKind::mirrored)->assumption, Assumption::mirrors_copy_dropped);
    EXPECT_EQ(device.step(StepKind::copy_tagged)->assumption, Assumption::mirror_tag_priority);
    EXPECT_EQ(device.step(StepKind::copy_tagged)->b, 77U);
    EXPECT_EQ(device.step(StepKind::copy_tagged)->c, 0x8100U);
}

TEST_F(Mirrors, CopiesJoinNoQueueThatIsThereForThem) {
    parts.add_mirror(1, MirrorSource::received, 1, 0, 4);
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(device.step(StepKind::copy_best_effort), nullptr);
    Stream& stream = parts.add_stream(4, 0, {});
    device.apply();
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(device.step(StepKind::copy_best_effort), nullptr);
    stream.queues[0].exists = true;
    device.apply();
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_FALSE(device.outcome.outputs.back().has_queue);
    EXPECT_EQ(device.step(StepKind::copy_best_effort)->assumption, Assumption::copies_are_best_effort);
}

TEST_F(Mirrors, ATagStandsInFrontOfTheOneThatTheFrameLeftWith) {
    Mirror& mirror = parts.add_mirror(1, MirrorSource::sent, 2, 0, 4);
    mirror.adds_tag = true;
    mirror.tag_vid = 77;
    parts.port(2).edits_priority = true;
    parts.port(1).default_class = 3;
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(copy(in_20), frame_of(berta, anna, tag(0x8100, 77, 3) + tag(0x8100, 20, 3), arp, Bytes(50, 1)));
    parts.member(20, 2).is_tagged = false;
    device.apply();
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_EQ(copy(in_20), frame_of(berta, anna, tag(0x8100, 77, 5), arp, Bytes(50, 1)));
}

TEST_F(Mirrors, AFilterWantsStreamClassAndColor) {
    Mirror& mirror = parts.add_mirror(1, MirrorSource::received, 1, 0, 4);
    mirror.is_filtered = true;
    mirror.stream = 3;
    mirror.traffic_class = 4;
    mirror.color = 1;
    Port& port = parts.port(1);
    port.default_stream = 3;
    port.default_class = 4;
    port.default_color = 1;
    EXPECT_TRUE(is_copied(1, in_20));
    for (uint8_t* wanted : {&mirror.stream, &mirror.traffic_class, &mirror.color}) {
        ++*wanted;
        device.apply();
        EXPECT_EQ(why_skipped(1, in_20), number_of(MirrorSkip::other_class));
        --*wanted;
    }
    device.apply();
    EXPECT_EQ(why_skipped(1, frame_of(reserved_base, anna, {}, arp)), number_of(MirrorSkip::not_classified));
    mirror.is_filtered = false;
    device.apply();
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_TRUE(is_copied(1, frame_of(reserved_base, anna, {}, arp)));
    const Output& copied = device.outcome.outputs.back();
    EXPECT_EQ(copied.stream + copied.traffic_class + copied.color, 0) << "not those of the frame before";
}

TEST_F(Mirrors, AFilterOfWhatIsSentWantsTheClassOfTheSendingPort) {
    Mirror& mirror = parts.add_mirror(1, MirrorSource::sent, 2, 0, 4);
    mirror.is_filtered = true;
    mirror.traffic_class = 7;
    parts.bind_list(20, 1, 1, Marking::dscp, {Rule{1, 0, 2, 0, {}}});
    parts.add_stream(2, 0, {}).tos_map = {{7, 0, 0}};
    EXPECT_TRUE(is_copied(1, frame_of(berta, anna, tag(0x8100, 20), 0x0800, packet_of({}))));
    EXPECT_EQ(why_skipped(1, in_20), number_of(MirrorSkip::other_class));
}

TEST_F(Mirrors, TheDestinationHasToBeEnabledAndUp) {
    parts.add_mirror(1, MirrorSource::received, 1, 0, 4);
    parts.port(4).is_enabled = false;
    EXPECT_EQ(why_skipped(1, in_20), number_of(MirrorSkip::disabled));
    parts.port(4).is_enabled = true;
    device.apply();
    device.state.has_carrier[3] = 0;
    refresh_links(device.state, device.configuration);
    EXPECT_EQ(why_skipped(1, in_20), number_of(MirrorSkip::down));
}

TEST_F(Mirrors, CopiesJoinNoQueue) {
    parts.port(1).default_stream = 3;
    parts.add_stream(2, 3, {0});
    parts.add_stream(4, 3, {0});
    parts.add_mirror(1, MirrorSource::sent, 2, 0, 4);
    EXPECT_TRUE(is_copied(1, in_20));
    EXPECT_TRUE(device.outcome.outputs.front().has_queue);
    EXPECT_FALSE(device.outcome.outputs.back().has_queue);
    EXPECT_EQ(device.outcome.outputs.back().stream_index, 0);
    EXPECT_EQ(device.outcome.outputs.back().stream, 3);
}

} // namespace
