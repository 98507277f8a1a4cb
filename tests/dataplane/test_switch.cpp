#include "dataplane/test_switch.h"
#include "dataplane/bytes.h"

#include <algorithm>
#include <stdexcept>

namespace dataplane_test {

using namespace dataplane;

// --- Parts ---

Port& Parts::add_port(int32_t number) {
    Port& port = ports.ports.emplace_back();
    port.number = number;
    port.type = PortType::ether;
    port.is_enabled = true;
    for (Mac last = 0; last < 16; ++last)
        filters.locals.put(index_of(number), reserved_base + last) = {LocalAction::discard, true};
    vlans.untagged.resize(ports.ports.size());
    return port;
}

Vlan& Parts::add_vlan(uint16_t vid) {
    Vlan& vlan = vlans.vlans.emplace_back();
    vlan.vid = vid;
    vlan.name = std::to_string(vid);
    vlans.place.at(vid) = static_cast<uint16_t>(vlans.vlans.size());
    return vlan;
}

Member& Parts::add_member(uint16_t vid, int32_t port) {
    std::vector<Member>& members = vlan(vid).members;
    const PortIndex index = index_of(port);
    const auto place = std::find_if(members.begin(), members.end(), [&](const Member& m) { return m.port > index; });
    Member& added = *members.insert(place, Member{});
    added.port = index;
    return added;
}

Member& Parts::add_tagged(uint16_t vid, int32_t port, uint16_t tag_type) {
    Member& added = add_member(vid, port);
    added.is_tagged = true;
    added.tag_type = tag_type;
    return added;
}

Member& Parts::add_untagged(uint16_t vid, int32_t port) {
    vlans.untagged.at(index_of(port)).vid = vid;
    return add_member(vid, port);
}

Member& Parts::add_for_protgroup(uint16_t vid, int32_t port, uint16_t protgroup) {
    Member& added = add_member(vid, port);
    added.protgroup = protgroup;
    std::vector<UntaggedVlans::ByType>& by_type = vlans.untagged.at(index_of(port)).by_type;
    const auto place = std::find(vlans.protgroups.begin(), vlans.protgroups.end(), protgroup);
    for (const uint16_t type : vlans.protgroup_types.at(static_cast<size_t>(place - vlans.protgroups.begin())))
        by_type.push_back({type, vid, protgroup});
    std::sort(by_type.begin(), by_type.end(),
              [](const auto& one, const auto& other) { return one.ether_type < other.ether_type; });
    return added;
}

Member& Parts::member(uint16_t vid, int32_t port) {
    for (Member& member : vlan(vid).members)
        if (member.port == index_of(port)) return member;
    throw std::out_of_range("no such member");
}

void Parts::add_protgroup(uint16_t protgroup, std::vector<uint16_t> types) {
    std::sort(types.begin(), types.end());
    vlans.protgroups.push_back(protgroup);
    vlans.protgroup_types.push_back(std::move(types));
}

void Parts::add_static(uint16_t vid, Mac mac, int32_t port, uint8_t flags) {
    filters.statics.put(vid, mac) = {index_of(port), flags, false};
}
void Parts::add_static_discard(uint16_t vid, Mac mac) {
    filters.statics.put(vid, mac) = {no_port, 4, false};
}
void Parts::add_own_address(uint16_t vid, Mac mac, int32_t port) {
    filters.statics.put(vid, mac) = {index_of(port), 0, true};
}
void Parts::add_local(int32_t port, Mac mac, LocalAction action) {
    filters.locals.put(index_of(port), mac) = {action, false};
}

void Parts::bind_list(uint16_t vid, int32_t port, int32_t list, Marking marking, std::vector<Rule> rules) {
    member(vid, port).list = static_cast<int32_t>(lists.lists.size());
    lists.lists.push_back(std::make_shared<const List>(List{list, marking, Matcher(std::move(rules))}));
}

Mirror& Parts::add_mirror(uint16_t number, MirrorSource source, int32_t source_port, uint16_t source_vid,
                          int32_t destination) {
    Mirror& mirror = mirrors.mirrors.emplace_back();
    mirror.number = number;
    mirror.source = source;
    mirror.source_port = index_of(source_port);
    mirror.source_vid = source_vid;
    mirror.destination = index_of(destination);
    return mirror;
}

Stream& Parts::add_stream(int32_t port, int32_t stream, std::initializer_list<uint8_t> queues) {
    Stream& added = qos.streams.emplace_back();
    added.index = static_cast<uint16_t>((port - 1) * 256 + stream);
    added.port = index_of(port);
    for (const uint8_t queue : queues)
        added.queues.at(queue).exists = true;
    qos.place.at(added.index) = static_cast<uint16_t>(qos.streams.size());
    return added;
}

Configuration Parts::compile() const {
    return {std::make_shared<const Ports>(ports),     std::make_shared<const Vlans>(vlans),
            std::make_shared<const Filters>(filters), std::make_shared<const Lists>(lists),
            std::make_shared<const Mirrors>(mirrors), std::make_shared<const Qos>(qos)};
}

// --- Frames ---

Bytes bytes_of(const Output& output, const Bytes& received) {
    Bytes bytes(output.head.begin(), output.head.begin() + output.head_length);
    bytes.insert(bytes.end(), received.begin() + output.skip, received.end());
    return bytes;
}

Bytes operator+(const Bytes& one, const Bytes& other) {
    Bytes both = one;
    both.insert(both.end(), other.begin(), other.end());
    return both;
}

Bytes from_hex(const std::string& text) {
    std::string digits;
    std::copy_if(text.begin(), text.end(), std::back_inserter(digits), [](char c) { return c != ' ' && c != ':'; });
    Bytes bytes;
    for (size_t at = 0; at + 1 < digits.size(); at += 2)
        bytes.push_back(static_cast<uint8_t>(std::stoul(digits.substr(at, 2), nullptr, 16)));
    return bytes;
}

Bytes mac_bytes(Mac mac) {
    Bytes bytes;
    for (int shift = 40; shift >= 0; shift -= 8)
        bytes.push_back(static_cast<uint8_t>(mac >> shift));
    return bytes;
}

namespace {

void put_16(Bytes& bytes, uint32_t value) {
    bytes.push_back(static_cast<uint8_t>(value >> 8));
    bytes.push_back(static_cast<uint8_t>(value));
}
void put_32(Bytes& bytes, uint32_t value) {
    put_16(bytes, value >> 16);
    put_16(bytes, value & 0xffff);
}

} // namespace

Bytes tag(uint16_t tag_type, uint16_t vid, uint8_t priority, bool drop_eligible) {
    Bytes bytes;
    put_16(bytes, tag_type);
    put_16(bytes, static_cast<uint32_t>(priority) << 13 | (drop_eligible ? 0x1000U : 0U) | vid);
    return bytes;
}

Bytes frame_of(Mac destination, Mac source, const Bytes& tags, uint16_t ether_type, const Bytes& payload) {
    Bytes bytes = mac_bytes(destination) + mac_bytes(source) + tags;
    put_16(bytes, ether_type);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    if (bytes.size() < 60) bytes.resize(60);
    return bytes;
}

Bytes packet_of(const Ipv4& fields) {
    const uint32_t header_words = 5U + fields.options;
    Bytes bytes{static_cast<uint8_t>(0x40 | header_words), fields.tos};
    put_16(bytes, header_words * 4 + 8);
    put_16(bytes, 1);
    put_16(bytes, fields.fragment);
    bytes.push_back(64);
    bytes.push_back(fields.protocol);
    put_16(bytes, 0);
    put_32(bytes, fields.source);
    put_32(bytes, fields.destination);
    bytes.resize(header_words * 4, 1);
    put_16(bytes, fields.source_port);
    put_16(bytes, fields.destination_port);
    put_32(bytes, 0x00080000);
    return bytes;
}

// --- TestSwitch ---

void TestSwitch::apply() {
    Configuration next = parts.compile();
    adopt(state, is_applied_ ? &configuration : nullptr, next);
    configuration = std::move(next);
    is_applied_ = true;
}

const Outcome& TestSwitch::send(int32_t port, const Bytes& bytes, Nanoseconds time) {
    if (!is_applied_) apply();
    received_ = bytes;
    forward_told(configuration, state, {configuration.ports->find(port), bytes, time}, outcome);
    return outcome;
}

Bytes TestSwitch::sent_on(int32_t port) const {
    const PortIndex index = configuration.ports->find(port);
    const auto is_there = [&](const Output& output) { return output.port == index; };
    if (std::count_if(outcome.outputs.begin(), outcome.outputs.end(), is_there) != 1) return {};
    return bytes_of(*std::find_if(outcome.outputs.begin(), outcome.outputs.end(), is_there), received_);
}

std::vector<int32_t> TestSwitch::ports_sent_on() const {
    std::vector<int32_t> numbers;
    for (const Output& output : outcome.outputs)
        numbers.push_back(output.port == no_port ? -1 : configuration.ports->ports[output.port].number);
    std::sort(numbers.begin(), numbers.end());
    return numbers;
}

const Step* TestSwitch::step(StepKind kind) const {
    const auto found =
        std::find_if(outcome.steps.begin(), outcome.steps.end(), [&](const Step& s) { return s.kind == kind; });
    return found != outcome.steps.end() ? &*found : nullptr;
}

} // namespace dataplane_test
