// Classification, marking, policing, and the queue that a frame would join.
#include "dataplane/stations.h"
#include "dataplane/test_switch.h"

#include <gtest/gtest.h>

using namespace dataplane;
using namespace dataplane_test;

namespace {

// Port 1 receives, ports 2 and 101 send; VLAN 20, tagged.
class Classes : public testing::Test {
protected:
    Classes() {
        for (const int32_t number : {1, 2, 101})
            parts.add_port(number);
        parts.add_vlan(20);
        for (const int32_t number : {1, 2, 101})
            parts.add_tagged(20, number);
        Port& port = parts.port(1);
        port.default_stream = 9;
        port.default_class = 1;
        port.default_color = 2;
    }

    static Rule rule(int32_t line, uint8_t stream, uint8_t traffic_class, uint8_t color,
                     std::vector<FieldMatch> matches) {
        return {line, stream, traffic_class, color, std::move(matches)};
    }
    void expect_class(uint8_t stream, uint8_t traffic_class, uint8_t color) const {
        EXPECT_TRUE(device.outcome.is_classified);
        EXPECT_EQ(device.outcome.stream, stream);
        EXPECT_EQ(device.outcome.traffic_class, traffic_class);
        EXPECT_EQ(device.outcome.color, color);
    }
    void expect_default() const { expect_class(9, 1, 2); }

    // Whether one rule with this match applies to the frame.
    bool is_matched(const FieldMatch& match, const Bytes& bytes) {
        TestSwitch other;
        other.parts = parts;
        other.parts.bind_list(20, 1, 5, Marking::normal, {rule(3, 4, 5, 0, {match})});
        other.send(1, bytes);
        return other.outcome.stream == 4;
    }

    TestSwitch device;
    Parts& parts = device.parts;
    const Bytes udp = frame_of(berta, anna, tag(0x8100, 20, 6), 0x0800, packet_of({}));
};

TEST_F(Classes, WithoutAListThePortsDefaultHolds) {
    device.send(1, udp);
    expect_default();
    EXPECT_TRUE(device.has_step(StepKind::no_list));
    EXPECT_TRUE(device.has_step(StepKind::class_by_default));
}

TEST_F(Classes, TheFirstMatchingLineHolds) {
    parts.bind_list(20, 1, 5, Marking::normal,
                    {rule(1, 1, 1, 1, {{Field::priority, 5, 5}}), rule(7, 4, 5, 0, {{Field::priority, 6, 6}}),
                     rule(8, 8, 6, 1, {})});
    device.send(1, udp);
    expect_class(4, 5, 0);
    EXPECT_EQ(device.step(StepKind::list_matched)->a, 5U);
    EXPECT_EQ(device.step(StepKind::list_matched)->b, 7U);
    device.send(1, frame_of(berta, anna, tag(0x8100, 20, 5), 0x0800));
    expect_class(1, 1, 1);
    device.send(1, frame_of(berta, anna, tag(0x8100, 20, 4), 0x0800));
    expect_class(8, 6, 1);
}

TEST_F(Classes, WithoutAMatchThePortsDefaultHolds) {
    parts.bind_list(20, 1, 5, Marking::normal, {rule(1, 1, 1, 1, {{Field::priority, 5, 5}})});
    device.send(1, udp);
    expect_default();
    EXPECT_EQ(device.step(StepKind::list_not_matched)->a, 5U);
}

TEST_F(Classes, AListIsThatOfThePortInTheVlan) {
    parts.bind_list(20, 2, 5, Marking::normal, {rule(1, 1, 1, 1, {})});
    device.send(1, udp);
    expect_default();
    device.send(2, udp);
    expect_class(1, 1, 1);
}

TEST_F(Classes, RulesLookAtEachField) {
    Ipv4 fields;
    fields.source = 0x0a010203;
    fields.destination = 0xc0a80105;
    fields.tos = 0xb8;
    fields.protocol = 6;
    fields.source_port = 1234;
    fields.destination_port = 80;
    const Bytes tcp = frame_of(berta, anna, tag(0x8100, 20, 6), 0x0800, packet_of(fields));
    const std::vector<FieldMatch> right{{Field::destination_ip, 0xc0a80105, 0xc0a80105},
                                        {Field::source_ip, 0x0a010203, 0x0a010203},
                                        {Field::tos, 0xb8, 0xb8, 0xff},
                                        {Field::protocol, 6, 6, 0xff},
                                        {Field::destination_port, 80, 80, 0xffff},
                                        {Field::source_port, 1234, 1234, 0xffff},
                                        {Field::vid, 20, 20, 0xffff},
                                        {Field::priority, 6, 6, 0xff},
                                        {Field::ether_type, 0x0800, 0x0800, 0xffff}};
    for (FieldMatch match : right) {
        EXPECT_TRUE(is_matched(match, tcp));
        ++match.low;
        ++match.high;
        EXPECT_FALSE(is_matched(match, tcp));
        match.low -= 2;
        EXPECT_TRUE(is_matched(match, tcp));
    }
}

TEST_F(Classes, OptionsStandBeforeThePorts) {
    Ipv4 fields;
    fields.options = 3;
    const FieldMatch match{Field::destination_port, 2000, 2000};
    EXPECT_TRUE(is_matched(match, frame_of(berta, anna, tag(0x8100, 20), 0x0800, packet_of(fields))));
}

TEST_F(Classes, LaterFragmentsHaveNoPorts) {
    Ipv4 fields;
    const FieldMatch port{Field::destination_port, 0, 0xffff};
    const FieldMatch address{Field::destination_ip, 0, 0xffffffff};
    for (const uint16_t fragment : {uint16_t{0}, uint16_t{0x2000}, uint16_t{0x4000}, uint16_t{1}, uint16_t{0x3fff}}) {
        fields.fragment = fragment;
        const Bytes bytes = frame_of(berta, anna, tag(0x8100, 20), 0x0800, packet_of(fields));
        EXPECT_EQ(is_matched(port, bytes), (fragment & 0x1fff) == 0);
        EXPECT_TRUE(is_matched(address, bytes));
    }
}

TEST_F(Classes, OnlyTcpAndUdpHavePorts) {
    const FieldMatch port{Field::source_port, 0, 0xffff};
    for (uint32_t protocol = 0; protocol <= 0xff; ++protocol) {
        Ipv4 fields;
        fields.protocol = static_cast<uint8_t>(protocol);
        const Bytes bytes = frame_of(berta, anna, tag(0x8100, 20), 0x0800, packet_of(fields));
        EXPECT_EQ(is_matched(port, bytes), protocol == 6 || protocol == 17) << protocol;
    }
}

TEST_F(Classes, WhatIsNoWholeIpv4HeaderHasNoAddresses) {
    const FieldMatch any{Field::source_ip, 0, 0xffffffff};
    Bytes bytes = frame_of(berta, anna, tag(0x8100, 20), 0x0800, packet_of({}));
    EXPECT_TRUE(is_matched(any, bytes));
    bytes[18] = 0x65; // version 6
    EXPECT_FALSE(is_matched(any, bytes));
    bytes[18] = 0x44; // four words
    EXPECT_FALSE(is_matched(any, bytes));
    bytes[18] = 0x4f; // 15 words, with 42 bytes there
    EXPECT_FALSE(is_matched(any, bytes));
    bytes[18] = 0x45;
    bytes[21] = 19; // a total length of less than the header
    bytes[20] = 0;
    EXPECT_FALSE(is_matched(any, bytes));
    bytes[21] = 20;
    EXPECT_TRUE(is_matched(any, bytes));
    EXPECT_FALSE(is_matched({Field::source_port, 0, 0xffff}, bytes)); // they would lie behind the packet
    bytes[21] = 23;
    EXPECT_FALSE(is_matched({Field::source_port, 0, 0xffff}, bytes));
    bytes[21] = 24;
    EXPECT_TRUE(is_matched({Field::source_port, 0, 0xffff}, bytes));
    bytes[17] = 1; // another Ethernet type
    EXPECT_FALSE(is_matched(any, bytes));
}

TEST_F(Classes, APacketThatTheFrameCutsHasWhatIsThere) {
    const Bytes whole = frame_of(berta, anna, tag(0x8100, 20), 0x0800, packet_of({}));
    for (size_t length = 18; length < whole.size(); ++length) {
        const Bytes cut(whole.begin(), whole.begin() + static_cast<ptrdiff_t>(length));
        EXPECT_EQ(is_matched({Field::source_ip, 0, 0xffffffff}, cut), length >= 38) << length;
        EXPECT_EQ(is_matched({Field::source_port, 0, 0xffff}, cut), length >= 42) << length;
    }
}

TEST_F(Classes, ExtractionPointsCountFromTheFirstByteReceived) {
    Bytes bytes = udp;
    bytes[50] = 0x12;
    bytes[51] = 0x34;
    bytes[52] = 0x56;
    bytes[53] = 0x78;
    const std::vector<std::pair<ExtractionPoint, uint32_t>> points{{{50, 1}, 0x12},       {{50, 2}, 0x1234},
                                                                   {{50, 4}, 0x12345678}, {{53, 1}, 0x78},
                                                                   {{12, 2}, 0x8100},     {{0, 4}, 0x02000000}};
    constexpr std::array fields{Field::extraction_1, Field::extraction_2, Field::extraction_3, Field::extraction_4};
    for (size_t point = 0; point < fields.size(); ++point) {
        for (const auto& [where, value] : points) {
            parts.member(20, 1).extraction = {};
            parts.member(20, 1).extraction[point] = where;
            EXPECT_TRUE(is_matched({fields[point], value, value}, bytes));
            EXPECT_FALSE(is_matched({fields[point], value + 1, value + 1}, bytes));
            EXPECT_FALSE(is_matched({fields[(point + 1) % 4], value, value}, bytes));
        }
    }
}

TEST_F(Classes, AnExtractionPointBehindTheEndMatchesNothing) {
    const FieldMatch any{Field::extraction_1, 0, 0xffffffff};
    const auto length = static_cast<uint16_t>(udp.size());
    for (const uint8_t width : {uint8_t{1}, uint8_t{2}, uint8_t{4}}) {
        parts.member(20, 1).extraction[0] = {static_cast<uint16_t>(length - width), width};
        EXPECT_TRUE(is_matched(any, udp));
        parts.member(20, 1).extraction[0] = {static_cast<uint16_t>(length - width + 1), width};
        EXPECT_FALSE(is_matched(any, udp));
        parts.member(20, 1).extraction[0] = {0xffff, width};
        EXPECT_FALSE(is_matched(any, udp));
    }
    parts.member(20, 1).extraction[0] = {0, 0};
    EXPECT_FALSE(is_matched(any, udp));
}

TEST_F(Classes, RulesWithExtractionPointsLeanOnAnAssumption) {
    parts.member(20, 1).extraction[0] = {0, 1};
    parts.bind_list(20, 1, 5, Marking::normal, {rule(1, 1, 1, 1, {{Field::extraction_1, 2, 2}})});
    device.send(1, udp);
    EXPECT_EQ(device.step(StepKind::list_matched)->assumption, Assumption::extraction_from_start);
    parts.bind_list(20, 1, 5, Marking::normal, {rule(1, 1, 1, 1, {{Field::ether_type, 0, 0xffff}})});
    device.apply();
    device.send(1, udp);
    EXPECT_EQ(device.step(StepKind::list_matched)->assumption, Assumption::none);
}

// --- Marking ---

TEST_F(Classes, Dot1pTakesTheClassOfThePriority) {
    parts.port(1).class_of_priority = {7, 6, 5, 4, 3, 2, 0, 1};
    parts.bind_list(20, 1, 5, Marking::dot1p, {rule(1, 3, 4, 1, {})});
    device.send(1, udp);
    expect_class(3, 0, 1);
    device.send(1, frame_of(berta, anna, tag(0x8100, 20, 1), 0x0800));
    expect_class(3, 6, 1);
    EXPECT_EQ(device.step(StepKind::class_by_priority)->b, 6U);
}

TEST_F(Classes, DscpTakesTheClassOfTheSendingPortsToSMap) {
    Ipv4 fields;
    fields.tos = 0xb9;
    const Bytes bytes = frame_of(berta, anna, tag(0x8100, 20), 0x0800, packet_of(fields));
    parts.bind_list(20, 1, 5, Marking::dscp, {rule(1, 3, 4, 1, {})});
    parts.add_stream(2, 3, {4, 6}).tos_map = {{2, 0xb8, 0xff}, {6, 0xb8, 0xfc}, {7, 0, 0}};
    device.send(1, bytes);
    expect_class(3, 4, 1);
    ASSERT_EQ(device.outcome.outputs.size(), 2U);
    EXPECT_EQ(device.outcome.outputs[0].traffic_class, 6);
    EXPECT_TRUE(device.outcome.outputs[0].has_queue);
    EXPECT_EQ(device.outcome.outputs[1].traffic_class, 4); // has no such stream
    EXPECT_EQ(device.step(StepKind::class_by_tos)->a, 0xb9U);
    EXPECT_EQ(device.step(StepKind::class_by_tos)->b, 6U);
    EXPECT_EQ(device.step(StepKind::class_by_rule)->assumption, Assumption::dscp_on_reception);

    // What is no IPv4 packet, and what no entry knows, has the class of the rule.
    device.send(1, frame_of(berta, anna, tag(0x8100, 20), 0x0806));
    EXPECT_EQ(device.outcome.outputs[0].traffic_class, 4);
    parts.qos.streams[0].tos_map.pop_back();
    device.apply();
    device.send(1, udp);
    EXPECT_EQ(device.outcome.outputs[0].traffic_class, 4);
}

TEST_F(Classes, OnlyDscpListsLookAtToS) {
    parts.add_stream(2, 9, {}).tos_map = {{7, 0, 0}};
    device.send(1, udp);
    EXPECT_EQ(device.outcome.outputs[0].traffic_class, 1);
    parts.bind_list(20, 1, 5, Marking::normal, {rule(1, 9, 4, 1, {})});
    device.apply();
    device.send(1, udp);
    EXPECT_EQ(device.outcome.outputs[0].traffic_class, 4);
}

TEST_F(Classes, CoseditWritesTheClassOfTheSendingPort) {
    parts.bind_list(20, 1, 5, Marking::dscp, {rule(1, 3, 4, 1, {})});
    parts.add_stream(2, 3, {}).tos_map = {{7, 0, 0}};
    parts.port(2).edits_priority = true;
    device.send(1, udp);
    EXPECT_EQ(device.sent_on(2), frame_of(berta, anna, tag(0x8100, 20, 7), 0x0800, packet_of({})));
}

// --- Queues ---

TEST_F(Classes, AFrameJoinsTheQueueOfItsStreamAndClass) {
    parts.port(1).default_stream = 255;
    parts.add_stream(2, 255, {1, 2});
    device.send(1, udp);
    ASSERT_EQ(device.outcome.outputs.size(), 2U);
    EXPECT_TRUE(device.outcome.outputs[0].has_queue);
    EXPECT_EQ(device.outcome.outputs[0].stream_index, 511);
    EXPECT_EQ(device.outcome.outputs[0].stream, 255);
    EXPECT_EQ(device.outcome.outputs[0].color, 2);
    EXPECT_FALSE(device.outcome.outputs[1].has_queue); // port 101 has no streams
    EXPECT_EQ(device.step(StepKind::queued)->b, 511U);
    EXPECT_TRUE(device.has_step(StepKind::best_effort));
    parts.port(1).default_class = 3;
    device.apply();
    device.send(1, udp);
    EXPECT_FALSE(device.outcome.outputs[0].has_queue);
    EXPECT_EQ(device.outcome.outputs[0].stream_index, 0);
}

TEST_F(Classes, AStreamOfAnotherPortIsNoQueue) {
    parts.add_stream(2, 9, {1}).port = parts.index_of(1);
    device.send(1, udp);
    EXPECT_FALSE(device.outcome.outputs[0].has_queue);
}

// --- Policing ---

TEST_F(Classes, WhatExceedsTheRateIsDiscarded) {
    parts.port(1).policers[1] = {64000, 128, discards_excess};
    device.send(1, udp);
    EXPECT_EQ(device.outcome.verdict, Verdict::flooded);
    expect_default();
    EXPECT_EQ(device.step(StepKind::within_rate)->b, 64000U);
    device.send(1, udp);
    EXPECT_EQ(device.outcome.verdict, Verdict::flooded);
    device.send(1, udp);
    EXPECT_EQ(device.outcome.verdict, Verdict::dropped);
    EXPECT_EQ(device.outcome.reason, DropReason::policed);
    EXPECT_TRUE(device.has_step(StepKind::over_rate));
    // 64 bytes at 64 kbit/s are 8 ms.
    device.send(1, udp, 7'999'999);
    EXPECT_EQ(device.outcome.verdict, Verdict::dropped);
    device.send(1, udp, 8'000'000);
    EXPECT_EQ(device.outcome.verdict, Verdict::flooded);
    device.send(1, udp, 8'000'000);
    EXPECT_EQ(device.outcome.verdict, Verdict::dropped);
}

TEST_F(Classes, WhatExceedsTheRateIsRecolored) {
    parts.port(1).default_color = 0;
    parts.port(1).policers[1] = {64000, 80, 1};
    device.send(1, udp);
    expect_class(9, 1, 0);
    device.send(1, udp);
    expect_class(9, 1, 1);
    EXPECT_EQ(device.outcome.outputs[0].color, 1);
    EXPECT_EQ(device.step(StepKind::recolored)->c, 1U);
}

TEST_F(Classes, APolicerIsThatOfThePortAndClass) {
    parts.port(1).policers[2] = {64000, 1, discards_excess};
    parts.port(2).policers[1] = {64000, 1, discards_excess};
    device.send(1, udp);
    EXPECT_EQ(device.outcome.verdict, Verdict::flooded);
    EXPECT_FALSE(device.has_step(StepKind::within_rate));
    parts.port(1).default_class = 2;
    device.apply();
    device.send(1, udp);
    EXPECT_EQ(device.outcome.reason, DropReason::policed);
}

TEST_F(Classes, FrameGapCounts20BytesMore) {
    for (const bool counts_gap : {false, true}) {
        parts.port(1).counts_gap = counts_gap;
        parts.port(1).policers[1] = {64000, counts_gap ? 84U : 64U, discards_excess};
        device.apply();
        device.send(1, Bytes(udp.begin(), udp.begin() + 60));
        EXPECT_EQ(device.outcome.verdict, Verdict::flooded);
        --parts.port(1).policers[1].burst;
        device.apply();
        device.send(1, Bytes(udp.begin(), udp.begin() + 60));
        EXPECT_EQ(device.outcome.reason, DropReason::policed);
    }
}

TEST_F(Classes, FramesCountWithTheirFcsAndAtLeastAs64Bytes) {
    EXPECT_EQ(counted_bytes(14, false), 64U);
    EXPECT_EQ(counted_bytes(60, false), 64U);
    EXPECT_EQ(counted_bytes(61, false), 65U);
    EXPECT_EQ(counted_bytes(1514, false), 1518U);
    EXPECT_EQ(counted_bytes(1514, true), 1538U);
}

TEST_F(Classes, APolicedFrameHasBeenLearnedFrom) {
    parts.port(1).policers[1] = {64000, 1, discards_excess};
    device.send(1, udp);
    EXPECT_EQ(device.outcome.reason, DropReason::policed);
    EXPECT_EQ(device.state.learned.size(), 1U);
}

} // namespace
