#include "dataplane/random_switch.h"
#include "dataplane/bytes.h"

#include <algorithm>
#include <array>
#include <stdexcept>

namespace dataplane_test {

using namespace dataplane;

namespace {

constexpr std::array<int32_t, 10> port_numbers{1, 2, 3, 4, 5, 10, 11, 101, 102, 164};
constexpr std::array<uint16_t, 9> vids{1, 2, 20, 30, 4093, 4094, 4096, 5000, 8191};
constexpr std::array<uint16_t, 5> tag_types{0x8100, 0x88a8, 0x9100, 0x0800, 0x8100};
constexpr std::array<uint16_t, 7> ether_types{0x0800, 0x0806, 0x86dd, 0x8100, 0x88a8, 46, 0xffff};
constexpr std::array<uint16_t, 3> protgroups{0, 7, 65535};

Mac random_mac(Random& random) {
    switch (random.below(12)) {
    case 0: return 0xffffffffffff;
    case 1: return reserved_base + random.below(18);
    case 2: return 0x01005e000000 + random.below(3);
    case 3: return 0;
    case 4: return random.bits_64() & 0xffffffffffff;
    default: return 0x020000000000 + random.below(12);
    }
}

// --- Ports ---

void set_policer(Random& random, Port& port) {
    constexpr std::array<uint8_t, 4> colors{0, 1, 2, discards_excess};
    constexpr std::array<uint32_t, 4> bursts{1, 80, 32000, 0x7fffffff};
    constexpr std::array<uint32_t, 5> rates{0, 1, 64000, 100'000'000, 0xffffffff};
    port.policers[random.below(class_count)] = {random.one_of(rates), random.one_of(bursts), random.one_of(colors)};
}

void set_link(Random& random, Port& port) {
    constexpr std::array modes{LinkMode::none, LinkMode::all, LinkMode::any};
    constexpr std::array depends{LinkDepend::none, LinkDepend::vlan, LinkDepend::ports};
    port.link_mode = random.one_of(modes);
    port.link_depend = random.one_of(depends);
    port.link_depend_ports = random.one_in(4) ? random.bits() : random.below(32);
}

void change_port(Random& random, Port& port) {
    constexpr std::array types{PortType::none, PortType::virtual_interface, PortType::ether};
    const auto toss = [&] { return random.one_in(2); };
    switch (random.below(19)) {
    case 0: port.type = random.one_of(types); break;
    case 1: port.is_enabled = toss(); break;
    case 2: port.accepts_untagged = toss(); break;
    case 3: port.filters_ingress = toss(); break;
    case 4: port.looks_at_tags = toss(); break;
    case 5: port.looks_at_priority_tags = toss(); break;
    case 6: port.edits_priority = toss(); break;
    case 7: port.ignores_fdb = toss(); break;
    case 8: port.counts_gap = toss(); break;
    case 9: port.is_in_lag = toss(); break;
    case 10: port.has_ip_interface = toss(); break;
    case 11: port.breaks_loops = toss(); break;
    case 12: port.tag_type = random.one_of(tag_types); break;
    case 13: port.pvid = toss() ? random.one_of(vids) : uint16_t{0}; break;
    case 14: port.aging = toss() ? 60 + random.below(300) : random.bits(); break;
    case 15:
        port.default_stream = static_cast<uint8_t>(random.below(4));
        port.default_class = static_cast<uint8_t>(random.below(8));
        port.default_color = static_cast<uint8_t>(random.below(3));
        break;
    case 16:
        port.class_of_priority[random.below(8)] = static_cast<uint8_t>(random.below(8));
        port.forwarded_link_frames = static_cast<uint8_t>(random.below(16));
        break;
    case 17: set_policer(random, port); break;
    default: set_link(random, port); break;
    }
}

// --- VLANs ---

void change_vlan(Random& random, Vlan& vlan) {
    switch (random.below(4)) {
    case 0: vlan.learns = !random.one_in(3); break;
    case 1: vlan.ignores_fdb = random.one_in(3); break;
    case 2: vlan.detects_loops = random.one_in(2); break;
    default: vlan.learning_limit = random.one_in(2) ? 0 : 2 + random.below(6); break;
    }
}

void add_member(Random& random, Parts& parts, uint16_t vid, int32_t port) {
    const PortIndex index = parts.index_of(port);
    if (parts.vlan(vid).find_member(index) != nullptr) return;
    if (vid < first_local_vid && random.one_in(2)) {
        parts.add_tagged(vid, port, random.one_of(tag_types));
        return;
    }
    UntaggedVlans& untagged = parts.vlans.untagged.at(index);
    const uint16_t protgroup = random.one_of(protgroups);
    const bool is_taken = std::any_of(untagged.by_type.begin(), untagged.by_type.end(),
                                      [&](const auto& entry) { return entry.protgroup == protgroup; });
    if (!is_taken && random.one_in(3))
        parts.add_for_protgroup(vid, port, protgroup).tag_type = random.one_of(tag_types);
    else if (untagged.vid == 0)
        parts.add_untagged(vid, port);
}

void remove_member(Random& random, Parts& parts, Vlan& vlan) {
    if (vlan.members.empty()) return;
    const uint32_t chosen = random.below(static_cast<uint32_t>(vlan.members.size()));
    const auto place = vlan.members.begin() + static_cast<ptrdiff_t>(chosen);
    UntaggedVlans& untagged = parts.vlans.untagged.at(place->port);
    if (untagged.vid == vlan.vid) untagged.vid = 0;
    std::erase_if(untagged.by_type, [&](const auto& entry) { return entry.vid == vlan.vid; });
    vlan.members.erase(place);
}

// --- Lists ---

FieldMatch random_field_match(Random& random) {
    FieldMatch match;
    match.field = static_cast<Field>(random.below(field_count));
    const uint32_t widest = widest_value(match.field);
    constexpr std::array<uint32_t, 6> masks{0xffffffff, 0xffffffff, 0xffff00ff, 0xf0, 0, 0xffffff00};
    match.mask = random.one_of(masks);
    const uint32_t one = (random.one_in(2) ? random.below(64) : random.bits()) & widest & match.mask;
    const uint32_t other = random.one_in(2) ? one : random.bits() & widest & match.mask;
    match.low = std::min(one, other);
    match.high = std::max(one, other);
    return match;
}

std::vector<Rule> random_rules(Random& random) {
    std::vector<Rule> rules(random.one_in(4) ? random.below(60) : random.below(5));
    for (size_t place = 0; place < rules.size(); ++place) {
        Rule& rule = rules[place];
        rule.line = static_cast<int32_t>(place + 1);
        rule.stream = static_cast<uint8_t>(random.below(4));
        rule.traffic_class = static_cast<uint8_t>(random.below(8));
        rule.color = static_cast<uint8_t>(random.below(3));
        for (uint32_t left = random.below(4); left > 0; --left)
            rule.matches.push_back(random_field_match(random));
    }
    return rules;
}

void bind_random_list(Random& random, Parts& parts, Vlan& vlan) {
    if (vlan.members.empty()) return;
    Member& member = vlan.members[random.below(static_cast<uint32_t>(vlan.members.size()))];
    constexpr std::array markings{Marking::normal, Marking::dot1p, Marking::dscp};
    constexpr std::array<uint8_t, 4> widths{0, 1, 2, 4};
    const Marking marking = random.one_of(markings);
    const auto number = static_cast<int32_t>(parts.lists.lists.size()) + 1;
    parts.bind_list(vlan.vid, parts.ports.ports[member.port].number, number, marking, random_rules(random));
    for (ExtractionPoint& point : member.extraction) {
        point.offset = static_cast<uint16_t>(random.one_in(8) ? random.bits() : random.below(70));
        point.width = random.one_of(widths);
    }
}

// --- Mirrors and streams ---

void add_random_mirror(Random& random, Parts& parts, uint16_t number) {
    constexpr std::array sources{MirrorSource::received, MirrorSource::received_in_vlan, MirrorSource::sent,
                                 MirrorSource::sent_in_vlan, MirrorSource::vlan};
    const MirrorSource source = random.one_of(sources);
    const int32_t port = random.one_of(parts.ports.ports).number;
    const int32_t destination = random.one_of(parts.ports.ports).number;
    if (port == destination) return;
    Mirror& mirror = parts.add_mirror(number, source, port, 0, destination);
    const bool has_vlan = source != MirrorSource::received && source != MirrorSource::sent;
    if (source == MirrorSource::vlan) mirror.source_port = no_port;
    if (has_vlan) mirror.source_vid = random.one_of(vids);
    mirror.is_filtered = random.one_in(3);
    mirror.stream = static_cast<uint8_t>(random.below(4));
    mirror.traffic_class = static_cast<uint8_t>(random.below(8));
    mirror.color = static_cast<uint8_t>(random.below(3));
    mirror.adds_tag = random.one_in(2);
    mirror.tag_type = random.one_of(tag_types);
    mirror.tag_vid = random.one_of(vids);
}

TosEntry random_tos_entry(Random& random) {
    constexpr std::array<uint32_t, 5> masks{0xff, 0xff, 0xfc, 0, 0xffffffff};
    const uint32_t mask = random.one_of(masks);
    const uint32_t value = random.one_in(8) ? random.below(300) : 0xb8 & mask;
    return {static_cast<uint8_t>(random.below(8)), value, mask};
}

void add_random_stream(Random& random, Parts& parts) {
    const auto port = static_cast<int32_t>(1 + random.below(4));
    const auto number = static_cast<int32_t>(random.below(4));
    if (parts.index_of(port) == no_port || parts.qos.find(static_cast<uint32_t>((port - 1) * 256 + number)) != nullptr)
        return;
    Stream& stream = parts.add_stream(port, number, {static_cast<uint8_t>(random.below(8))});
    for (uint32_t left = random.below(4); left > 0; --left)
        stream.tos_map.push_back(random_tos_entry(random));
}

void change_filters(Random& random, Parts& parts) {
    const uint16_t vid = random.one_of(parts.vlans.vlans).vid;
    const int32_t port = random.one_of(parts.ports.ports).number;
    const Mac mac = random_mac(random);
    constexpr std::array actions{LocalAction::local, LocalAction::both, LocalAction::local_learning,
                                 LocalAction::discard};
    switch (random.below(7)) {
    case 0: parts.add_static(vid, mac, port, static_cast<uint8_t>(random.below(6))); break;
    case 1: parts.add_static_discard(vid, mac); break;
    case 2: parts.add_own_address(vid, mac, port); break;
    case 3: parts.filters.statics.erase(vid, mac); break;
    case 4: parts.add_local(port, mac, random.one_of(actions)); break;
    case 5: parts.filters.locals.erase(parts.index_of(port), mac); break;
    default: parts.filters.learned_room = random.one_in(2) ? random.below(12) : 1'000'000; break;
    }
}

} // namespace

Parts random_parts(Random& random) {
    Parts parts;
    for (const int32_t number : port_numbers)
        if (random.one_in(2)) parts.add_port(number);
    if (parts.ports.ports.empty()) parts.add_port(3);
    for (const uint16_t protgroup : protgroups)
        parts.add_protgroup(protgroup,
                            {static_cast<uint16_t>(0x0800 + protgroup % 5), static_cast<uint16_t>(protgroup)});
    for (const uint16_t vid : vids)
        if (random.one_in(2)) parts.add_vlan(vid);
    if (parts.vlans.vlans.empty()) parts.add_vlan(20);
    for (const Vlan& vlan : std::vector<Vlan>(parts.vlans.vlans))
        for (const Port& port : parts.ports.ports)
            if (!random.one_in(3)) add_member(random, parts, vlan.vid, port.number);
    for (uint32_t left = random.below(40); left > 0; --left)
        change_parts(random, parts);
    for (uint32_t left = random.below(10); left > 0; --left)
        add_random_stream(random, parts);
    for (uint16_t number = 1; number <= 4; ++number)
        if (random.one_in(2)) add_random_mirror(random, parts, number);
    return parts;
}

void change_parts(Random& random, Parts& parts) {
    Vlan& vlan = parts.vlans.vlans[random.below(static_cast<uint32_t>(parts.vlans.vlans.size()))];
    switch (random.below(9)) {
    case 0: change_vlan(random, vlan); break;
    case 1: add_member(random, parts, vlan.vid, random.one_of(parts.ports.ports).number); break;
    case 2: remove_member(random, parts, vlan); break;
    case 3: change_filters(random, parts); break;
    case 4:
        if (parts.lists.lists.size() < 8) bind_random_list(random, parts, vlan);
        break;
    case 5: add_random_stream(random, parts); break;
    default:
        change_port(random, parts.ports.ports[random.below(static_cast<uint32_t>(parts.ports.ports.size()))]);
        break;
    }
}

// --- Frames ---

namespace {

Bytes random_tags(Random& random, const Parts& parts) {
    Bytes tags;
    while (random.one_in(2) && tags.size() < 12) {
        const uint16_t vid = random.one_in(4) ? static_cast<uint16_t>(random.below(4096))
                                              : static_cast<uint16_t>(random.one_of(parts.vlans.vlans).vid & 0xfff);
        // One after the other: the order of arguments is the compiler's.
        const uint16_t type = random.one_of(tag_types);
        const bool is_of_priority = random.one_in(6);
        const auto priority = static_cast<uint8_t>(random.below(8));
        const bool is_drop_eligible = random.one_in(3);
        tags = tags + tag(type, is_of_priority ? uint16_t{0} : vid, priority, is_drop_eligible);
    }
    return tags;
}

Bytes random_packet(Random& random) {
    Ipv4 fields;
    fields.source = random.below(64);
    fields.destination = random.below(64);
    fields.tos = static_cast<uint8_t>(random.one_in(2) ? 0xb8 : random.below(256));
    fields.protocol = static_cast<uint8_t>(random.one_in(4) ? random.below(256) : 6 + 11 * random.below(2));
    fields.source_port = static_cast<uint16_t>(random.below(64));
    fields.destination_port = static_cast<uint16_t>(random.below(64));
    fields.fragment = static_cast<uint16_t>(random.one_in(3) ? random.bits() : 0);
    fields.options = static_cast<uint8_t>(random.one_in(3) ? random.below(11) : 0);
    return packet_of(fields);
}

} // namespace

Bytes random_frame(Random& random, const Parts& parts) {
    const Mac destination = random_mac(random);
    const Mac source = random_mac(random);
    const Bytes tags = random_tags(random, parts);
    const uint16_t type = random.one_in(2) ? uint16_t{0x0800} : random.one_of(ether_types);
    Bytes bytes = frame_of(destination, source, tags, type, random_packet(random));
    if (random.one_in(8)) bytes.resize(random.below(static_cast<uint32_t>(bytes.size()) + 1));
    if (random.one_in(8) && !bytes.empty())
        bytes[random.below(static_cast<uint32_t>(bytes.size()))] = static_cast<uint8_t>(random.bits());
    if (random.one_in(64)) bytes.resize(1500 + random.below(60));
    return bytes;
}

// --- What holds ---

namespace {

void require(bool holds, const char* what) {
    if (!holds) throw std::logic_error(what);
}

void check_output(const Configuration& configuration, const State& state, const Frame& frame, const Outcome& outcome,
                  const Output& output) {
    require(output.head_length <= output.head.size(), "a head has room for its bytes");
    require(output.skip <= frame.bytes.size(), "an output skips no more than there is");
    require(output.head_length + frame.bytes.size() - output.skip >= shortest_frame, "what leaves is a frame");
    require(output.traffic_class < class_count && output.color < color_count, "an output has a class and a color");
    require((output.kind == OutputKind::mirrored) == (output.mirror != 0), "only copies of mirrors name one");
    require(outcome.verdict != Verdict::dropped || output.mirror != 0, "a dropped frame has copies only");
    if (output.port == no_port) return require(output.kind == OutputKind::delivered, "the switch itself takes frames");
    const Port& port = configuration.ports->ports.at(output.port);
    require(port.is_enabled && state.is_up.at(output.port) != 0, "frames leave on ports that are enabled and up");
    if (output.mirror != 0) return;
    require(output.port != frame.port, "frames do not go back");
    const Vlan* vlan = configuration.vlans->find(outcome.vid);
    require(vlan != nullptr && vlan->find_member(output.port) != nullptr, "frames leave on members");
}

void check_steps(const Outcome& outcome) {
    require(!outcome.steps.empty(), "a told frame has steps");
    const Step& last = outcome.steps.back();
    const bool is_dropped = outcome.verdict == Verdict::dropped;
    require(last.kind == (is_dropped ? StepKind::dropped : StepKind::done), "the last step tells the end");
    require(last.a == (is_dropped ? number_of(outcome.reason) : number_of(outcome.verdict)), "and agrees with it");
    const auto count = [&](StepKind kind) {
        return static_cast<size_t>(std::count_if(outcome.steps.begin(), outcome.steps.end(),
                                                 [&](const Step& step) { return step.kind == kind; }));
    };
    const auto copies = static_cast<size_t>(std::count_if(outcome.outputs.begin(), outcome.outputs.end(),
                                                          [](const Output& output) { return output.mirror != 0; }));
    require(count(StepKind::mirrored) == copies, "each copy is told");
    const auto delivered = static_cast<size_t>(std::count_if(
        outcome.outputs.begin(), outcome.outputs.end(), [](const Output& output) { return output.port == no_port; }));
    require(count(StepKind::sent) + delivered + copies == outcome.outputs.size(), "each output is told");
}

} // namespace

void check_outcome(const Configuration& configuration, const State& state, const Frame& frame, const Outcome& outcome) {
    const bool is_dropped = outcome.verdict == Verdict::dropped;
    require(is_dropped == (outcome.reason != DropReason::none), "a dropped frame, and no other, has a reason");
    require(outcome.outputs.size() + (is_dropped ? 1 : 0) >= 1, "each frame has an output or is dropped");
    require(outcome.traffic_class < class_count && outcome.color < color_count, "a frame has a class and a color");
    require(outcome.vid == 0 || configuration.vlans->find(outcome.vid) != nullptr, "the VLAN exists");
    const bool is_forwarded = outcome.verdict == Verdict::forwarded || outcome.verdict == Verdict::flooded;
    require(!is_forwarded || outcome.is_classified, "forwarded frames have been classified");
    for (const Output& output : outcome.outputs)
        check_output(configuration, state, frame, outcome, output);
    for (size_t place = 1; place < outcome.outputs.size(); ++place)
        for (size_t other = 0; other < place; ++other)
            require(outcome.outputs[place].mirror != outcome.outputs[other].mirror ||
                        outcome.outputs[place].port != outcome.outputs[other].port,
                    "each port sends a frame once, and each mirror copies it once");
    check_steps(outcome);
    uint64_t learned = 0;
    for (const Vlan& vlan : configuration.vlans->vlans)
        learned += state.learned.size_of(vlan.vid);
    require(learned == state.learned.size(), "learned entries are counted by VLAN");
}

bool have_same_outcome(const Outcome& one, const Outcome& other) {
    const auto are_same = [](const Output& a, const Output& b) {
        return a.port == b.port && a.kind == b.kind && a.mirror == b.mirror && a.stream == b.stream &&
               a.traffic_class == b.traffic_class && a.color == b.color && a.has_queue == b.has_queue &&
               a.stream_index == b.stream_index && a.head_length == b.head_length && a.skip == b.skip &&
               a.head == b.head;
    };
    return one.verdict == other.verdict && one.reason == other.reason && one.vid == other.vid &&
           one.is_classified == other.is_classified && one.stream == other.stream &&
           one.traffic_class == other.traffic_class && one.color == other.color &&
           std::equal(one.outputs.begin(), one.outputs.end(), other.outputs.begin(), other.outputs.end(), are_same);
}

bool are_same(const State& one, const State& other) {
    if (one.learned.size() != other.learned.size() || one.is_up != other.is_up) return false;
    bool is_same = true;
    one.learned.for_each([&](uint32_t vid, Mac mac, const LearnedEntry& entry) {
        const LearnedEntry* its = other.learned.peek(vid, mac);
        is_same = is_same && its != nullptr && its->port == entry.port && its->seen == entry.seen;
    });
    const auto are_same_buckets = [](const auto& a, const auto& b) {
        return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](const Bucket& c, const Bucket& d) {
            return c.tokens == d.tokens && c.filled == d.filled && c.is_started == d.is_started;
        });
    };
    return is_same && std::equal(one.buckets.begin(), one.buckets.end(), other.buckets.begin(), other.buckets.end(),
                                 are_same_buckets);
}

} // namespace dataplane_test
