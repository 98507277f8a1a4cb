// What records say before anybody has filled them: what is made reads as a switch, a frame or an outcome that was told
// nothing yet.
#include "dataplane/egress.h"
#include "dataplane/forward.h"

#include <gtest/gtest.h>

using namespace dataplane;

namespace {

TEST(Records, APortIsAsItWasCreated) {
    const Port port;
    EXPECT_EQ(port.number, 0);
    EXPECT_EQ(port.ether, 0);
    EXPECT_EQ(port.type, PortType::none);
    EXPECT_FALSE(port.is_enabled);
    EXPECT_TRUE(port.accepts_untagged);
    EXPECT_FALSE(port.filters_ingress);
    EXPECT_TRUE(port.looks_at_tags);
    EXPECT_TRUE(port.looks_at_priority_tags);
    EXPECT_FALSE(port.edits_priority || port.ignores_fdb || port.counts_gap);
    EXPECT_FALSE(port.is_in_lag || port.has_ip_interface || port.breaks_loops);
    EXPECT_EQ(port.tag_type, 0x8100);
    EXPECT_EQ(port.pvid, 0);
    EXPECT_EQ(port.aging, 300U);
    EXPECT_EQ(port.default_stream, 0);
    EXPECT_EQ(port.default_class, 0);
    EXPECT_EQ(port.default_color, 0);
    EXPECT_EQ(port.class_of_priority, (std::array<uint8_t, 8>{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(port.forwarded_link_frames, 0);
    EXPECT_EQ(port.link_mode, LinkMode::none);
    EXPECT_EQ(port.link_depend, LinkDepend::none);
    EXPECT_EQ(port.link_depend_ports, 0U);
    EXPECT_EQ(port.policers.size(), 8U);
    EXPECT_EQ(port.policers[7].rate, 0U);
    EXPECT_EQ(port.policers[7].burst, 0U);
    EXPECT_EQ(port.policers[7].excess, 0);
}

TEST(Records, AVlanAndItsMembers) {
    const Vlan vlan;
    EXPECT_EQ(vlan.vid, 0);
    EXPECT_TRUE(vlan.learns);
    EXPECT_FALSE(vlan.ignores_fdb || vlan.detects_loops);
    EXPECT_EQ(vlan.learning_limit, 0U);
    const Member member;
    EXPECT_EQ(member.port, 0);
    EXPECT_FALSE(member.is_tagged);
    EXPECT_EQ(member.tag_type, 0x8100);
    EXPECT_EQ(member.protgroup, std::nullopt);
    EXPECT_EQ(member.list, -1);
    EXPECT_EQ(member.extraction.size(), 4U);
    EXPECT_EQ(member.extraction[3].width, 0);
    EXPECT_EQ(UntaggedVlans().vid, 0);
    EXPECT_EQ(vid_count, 8192U);
    EXPECT_EQ(first_local_vid, 4096U);
}

TEST(Records, EntriesAndMirrors) {
    EXPECT_EQ(StaticEntry().port, no_port);
    EXPECT_EQ(StaticEntry().flags, 0);
    EXPECT_FALSE(StaticEntry().is_of_system);
    EXPECT_EQ(LocalEntry().action, LocalAction::discard);
    EXPECT_FALSE(LocalEntry().is_of_system);
    EXPECT_EQ(Filters().learned_room, 0U);
    EXPECT_EQ(List().number, 0);
    EXPECT_EQ(List().marking, Marking::normal);
    const Mirror mirror;
    EXPECT_EQ(mirror.number, 0);
    EXPECT_EQ(mirror.source, MirrorSource::received);
    EXPECT_EQ(mirror.source_port, no_port);
    EXPECT_EQ(mirror.source_vid, 0);
    EXPECT_EQ(mirror.destination, no_port);
    EXPECT_FALSE(mirror.is_filtered || mirror.adds_tag);
    EXPECT_EQ(mirror.stream, 0);
    EXPECT_EQ(mirror.traffic_class, 0);
    EXPECT_EQ(mirror.color, 0);
    EXPECT_EQ(mirror.tag_type, 0x8100);
    EXPECT_EQ(mirror.tag_vid, 0);
}

TEST(Records, QualityOfService) {
    EXPECT_TRUE(DropPolicy().is_tail_drop());
    for (const DropPolicy& other :
         {DropPolicy{99, 0, 0, 0}, DropPolicy{100, 1, 0, 0}, DropPolicy{100, 0, 1, 0}, DropPolicy{100, 0, 0, 1}})
        EXPECT_FALSE(other.is_tail_drop());
    const Queue queue;
    EXPECT_FALSE(queue.exists);
    EXPECT_EQ(queue.length, 0U);
    EXPECT_EQ(queue.priority, 0U);
    EXPECT_EQ(queue.ratio, 1U);
    EXPECT_EQ(queue.drop.size(), 3U);
    const Stream stream;
    EXPECT_EQ(stream.index, 0);
    EXPECT_EQ(stream.port, no_port);
    EXPECT_FALSE(stream.is_strict);
    EXPECT_EQ(stream.priority, 0U);
    EXPECT_EQ(stream.min_rate + stream.min_burst + stream.max_rate + stream.max_burst, 0U);
    EXPECT_FALSE(stream.is_shaped());
    EXPECT_EQ(stream.queues.size(), 8U);
    EXPECT_EQ(TosEntry().entry, 0);
    EXPECT_EQ(TosEntry().value + TosEntry().mask, 0U);
    EXPECT_EQ(EtherShaper().ether, 0);
    EXPECT_EQ(EtherShaper().rate + EtherShaper().burst, 0U);
    Stream shaped;
    shaped.max_rate = 1;
    EXPECT_TRUE(shaped.is_shaped());
}

TEST(Records, ShapersAndStreamsAreFoundByTheirNumbers) {
    Qos qos;
    qos.shapers = {{2, 10, 1}, {5, 20, 1}};
    EXPECT_EQ(qos.find_shaper(1), nullptr);
    EXPECT_EQ(qos.find_shaper(2)->rate, 10U);
    EXPECT_EQ(qos.find_shaper(3), nullptr);
    EXPECT_EQ(qos.find_shaper(5)->rate, 20U);
    EXPECT_EQ(qos.find_shaper(6), nullptr);
    qos.streams.resize(2);
    qos.place[0] = 2;
    qos.place[1023] = 1;
    EXPECT_EQ(qos.find(0), &qos.streams[1]);
    EXPECT_EQ(qos.find(1023), &qos.streams[0]);
    EXPECT_EQ(qos.find(1), nullptr);
    EXPECT_EQ(qos.find(1024), nullptr);
    Vlans vlans;
    vlans.vlans.resize(1);
    vlans.place[8191] = 1;
    EXPECT_EQ(vlans.find(8191), &vlans.vlans[0]);
    EXPECT_EQ(vlans.find(8190), nullptr);
    EXPECT_EQ(vlans.find(8192), nullptr);
    vlans.protgroups = {3, 7};
    vlans.protgroup_types = {{0x0800, 0x0806}, {0x86dd}};
    EXPECT_TRUE(vlans.protgroup_has(3, 0x0806));
    EXPECT_TRUE(vlans.protgroup_has(7, 0x86dd));
    EXPECT_FALSE(vlans.protgroup_has(3, 0x86dd));
    EXPECT_FALSE(vlans.protgroup_has(5, 0x86dd));
    EXPECT_FALSE(vlans.protgroup_has(8, 0x86dd));
}

TEST(Records, AFrameAndItsHeaders) {
    EXPECT_EQ(Frame().port, 0);
    EXPECT_EQ(Frame().time, 0);
    EXPECT_EQ(shortest_frame, 14U);
    EXPECT_EQ(shortest_tagged_frame, 18U);
    EXPECT_EQ(longest_frame, 1536U);
    const Headers headers;
    EXPECT_EQ(headers.destination + headers.source, 0U);
    EXPECT_EQ(headers.tag, TagKind::none);
    EXPECT_FALSE(headers.is_cut || headers.drop_eligible || headers.is_ipv4 || headers.has_ports);
    EXPECT_EQ(headers.tag_vid + headers.priority + headers.ether_type + headers.tos + headers.protocol, 0);
    EXPECT_EQ(headers.payload_at, 14);
    EXPECT_EQ(headers.source_ip + headers.destination_ip, 0U);
    EXPECT_EQ(headers.source_port + headers.destination_port, 0);
    EXPECT_EQ(counted_bytes(0, false), 64U);
    EXPECT_EQ(counted_bytes(60, false), 64U);
    EXPECT_EQ(counted_bytes(61, false), 65U);
    EXPECT_EQ(counted_bytes(61, true), 85U);
}

TEST(Records, AnOutcome) {
    const Output output;
    EXPECT_EQ(output.port, no_port);
    EXPECT_EQ(output.kind, OutputKind::forwarded);
    EXPECT_FALSE(output.has_queue);
    EXPECT_EQ(output.mirror + output.stream + output.traffic_class + output.color + output.stream_index, 0);
    EXPECT_EQ(output.head_length + output.skip, 0);
    EXPECT_EQ(output.head.size(), 32U);
    const Step step;
    EXPECT_EQ(step.kind, StepKind::received);
    EXPECT_EQ(step.assumption, Assumption::none);
    EXPECT_EQ(step.a + step.b + step.c, 0U);
    const Outcome outcome;
    EXPECT_EQ(outcome.verdict, Verdict::dropped);
    EXPECT_EQ(outcome.reason, DropReason::none);
    EXPECT_FALSE(outcome.is_classified);
    EXPECT_EQ(outcome.vid + outcome.stream + outcome.traffic_class + outcome.color, 0);
}

TEST(Records, QueuesAndWhatLeavesThem) {
    const EgressOptions options;
    EXPECT_EQ(options.seed, 0U);
    EXPECT_EQ(options.line_rate, 100'000'000U);
    EXPECT_EQ(options.most_frames, 262'144U);
    const QueueName name;
    EXPECT_TRUE(name.is_best_effort);
    EXPECT_EQ(name.port + name.stream_index + name.traffic_class, 0);
    const Departure departure;
    EXPECT_EQ(departure.time + departure.waited, 0);
    EXPECT_EQ(departure.handle + departure.queue + departure.next, 0U);
    EXPECT_EQ(Count().frames + Count().bytes, 0U);
    const QueueView view;
    EXPECT_TRUE(view.exists);
    EXPECT_EQ(view.length + view.fill + view.frames + view.highest_fill, 0U);
    EXPECT_EQ(view.full.size() + view.early.size(), 6U);
    const EgressSink sink;
    EXPECT_TRUE(sink.context == nullptr && sink.send == nullptr && sink.drop == nullptr);
}

TEST(Records, WhatTheSwitchRemembers) {
    const LearnedEntry entry;
    EXPECT_EQ(entry.port, no_port);
    EXPECT_FALSE(entry.is_stored);
    EXPECT_EQ(entry.seen + entry.checked_at, 0);
    const Bucket bucket;
    EXPECT_EQ(bucket.tokens, 0U);
    EXPECT_EQ(bucket.filled, 0);
    EXPECT_FALSE(bucket.is_started);
    EXPECT_EQ(Learned().size() + Learned().size_of(5), 0U);
    EXPECT_FALSE(Learned().has_changes());
    EXPECT_EQ(Learned().check_count(), 0U);
}

TEST(Records, ARuleAndItsFields) {
    const Rule rule;
    EXPECT_EQ(rule.line + rule.stream + rule.traffic_class + rule.color, 0);
    const FieldMatch match;
    EXPECT_EQ(match.field, Field::destination_ip);
    EXPECT_EQ(match.low + match.high, 0U);
    EXPECT_EQ(match.mask, 0xffffffffU);
    EXPECT_EQ(FieldValues().present, 0);
    for (size_t number = 0; number < field_count; ++number) {
        const auto field = static_cast<Field>(number);
        const bool is_byte = field == Field::tos || field == Field::protocol || field == Field::priority;
        const bool is_short = field == Field::destination_port || field == Field::source_port || field == Field::vid ||
                              field == Field::ether_type;
        EXPECT_EQ(widest_value(field), is_byte ? 0xffU : is_short ? 0xffffU : 0xffffffffU) << number;
    }
    EXPECT_EQ(number_of(Field::extraction_4) + 1, field_count);
}

TEST(Records, Addresses) {
    constexpr uint8_t bytes[] = {0x01, 0x80, 0xc2, 0x00, 0x00, 0x0f};
    EXPECT_EQ(mac_of(bytes), 0x0180c200000fU);
    EXPECT_TRUE(is_group(0x010000000000));
    EXPECT_FALSE(is_group(0x020000000001));
    EXPECT_TRUE(is_reserved(0x0180c2000000));
    EXPECT_TRUE(is_reserved(0x0180c200000f));
    EXPECT_FALSE(is_reserved(0x0180c2000010));
    EXPECT_FALSE(is_reserved(0x0180c1ffffff));
    const uint64_t key = address_key(8191, 0xffffffffffff);
    EXPECT_EQ(scope_of_key(key), 8191U);
    EXPECT_EQ(mac_of_key(key), 0xffffffffffffU);
}

} // namespace
