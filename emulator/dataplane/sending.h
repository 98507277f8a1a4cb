// Where a frame goes, and how it looks when it leaves.
#pragma once

#include "dataplane/bytes.h"
#include "dataplane/passage.h"

#include <algorithm>

namespace dataplane {

constexpr uint8_t addresses_length = 12;
constexpr uint8_t tag_length = 4;

inline uint16_t tag_control(uint32_t priority, bool drop_eligible, uint32_t vid) {
    return static_cast<uint16_t>(priority << 13 | (drop_eligible ? 0x1000U : 0U) | vid);
}

// Has the output begin with the addresses and no tag. The frame's own bytes go on behind `skip`.
inline void begin_head(Output& output, std::span<const uint8_t> bytes, size_t skip) {
    std::copy_n(bytes.begin(), addresses_length, output.head.begin());
    output.head_length = addresses_length;
    output.skip = static_cast<uint16_t>(skip);
}

// Puts a tag behind the addresses, in front of one that is there.
inline void put_tag(Output& output, uint16_t tag_type, uint16_t control) {
    auto* const tag = output.head.begin() + addresses_length;
    std::copy_backward(tag, output.head.begin() + output.head_length,
                       output.head.begin() + output.head_length + tag_length);
    put_big_endian_16(&output.head[addresses_length], tag_type);
    put_big_endian_16(&output.head[addresses_length + 2], control);
    output.head_length = static_cast<uint8_t>(output.head_length + tag_length);
}

// --- Classes of an output ---

// dscp: the first entry of the ToS map of the rule's stream on the sending port, else the class of the rule.
template <typename Narrator>
uint8_t class_at(const Passage<Narrator>& passage, const Stream* stream, PortIndex sending) {
    if (!passage.is_class_by_tos || stream == nullptr) return passage.outcome.traffic_class;
    const uint8_t tos = passage.headers.tos;
    for (const TosEntry& entry : stream->tos_map) {
        if ((tos & entry.mask) != entry.value) continue;
        passage.narrator.assume(Assumption::tosmap_of_sending_port, StepKind::class_by_tos, tos, entry.entry, sending);
        return entry.entry;
    }
    return passage.outcome.traffic_class;
}

// The stream of that number on the sending port; null: it has none.
template <typename Narrator> const Stream* stream_at(const Passage<Narrator>& passage, PortIndex sending) {
    const int32_t number = passage.port_at(sending).number;
    if (number < 1 || number > 4) return nullptr;
    const uint32_t index = (static_cast<uint32_t>(number) - 1) * 256 + passage.outcome.stream;
    const Stream* stream = passage.configuration.qos->find(index);
    return stream != nullptr && stream->port == sending ? stream : nullptr;
}

template <typename Narrator> void choose_queue(const Passage<Narrator>& passage, Output& output, const Stream* stream) {
    output.has_queue = stream != nullptr && stream->queues[output.traffic_class].exists;
    if (output.has_queue) output.stream_index = stream->index;
    if (output.has_queue)
        passage.narrator.say(StepKind::queued, output.port, output.stream_index, output.traffic_class);
    else
        passage.narrator.say(StepKind::best_effort, output.port, output.stream, output.traffic_class);
}

// --- Tags of an output ---

// Whether frames of the VLAN leave the member with a tag.
template <typename Narrator> bool leaves_tagged(const Passage<Narrator>& passage, const Member& member) {
    if (passage.vlan->vid >= first_local_vid) return false;
    if (member.is_tagged || !member.protgroup) return member.is_tagged;
    return !passage.configuration.vlans->protgroup_has(*member.protgroup, passage.headers.ether_type);
}

template <typename Narrator> uint8_t priority_at(const Passage<Narrator>& passage, const Output& output) {
    const uint8_t priority = passage.headers.priority;
    if (!passage.port_at(output.port).edits_priority) return priority;
    passage.narrator.assume(Assumption::cosedit_at_sending_port, StepKind::priority_edited, output.port, priority,
                            output.traffic_class);
    return output.traffic_class;
}

template <typename Narrator> void make_head(const Passage<Narrator>& passage, const Member& member, Output& output) {
    const bool is_tagged = passage.headers.tag != TagKind::none;
    const uint16_t vid = passage.vlan->vid;
    if (!leaves_tagged(passage, member)) {
        passage.narrator.say(StepKind::sent, output.port);
        if (is_tagged) begin_head(output, passage.frame.bytes, addresses_length + tag_length);
        return;
    }
    const auto assumption = member.is_tagged ? Assumption::none : Assumption::protgroup_others_tagged;
    passage.narrator.assume(assumption, StepKind::sent, output.port, vid, member.tag_type);
    if (passage.headers.drop_eligible)
        passage.narrator.assume(Assumption::drop_eligible_kept, StepKind::drop_eligible_kept, output.port);
    const uint8_t priority = priority_at(passage, output);
    begin_head(output, passage.frame.bytes, is_tagged ? addresses_length + tag_length : addresses_length);
    put_tag(output, member.tag_type, tag_control(priority, passage.headers.drop_eligible, vid));
}

// --- Outputs ---

// Sends on a member that is enabled and up. A port without an interface hands the frame to the switch itself.
template <typename Narrator> void send(Passage<Narrator>& passage, const Member& member, OutputKind kind) {
    Output& output = passage.outcome.outputs.emplace_back();
    const Port& port = passage.port_at(member.port);
    const bool has_interface = port.type == PortType::ether || passage.state.is_bound[member.port] != 0;
    const Stream* stream = stream_at(passage, member.port);
    output.port = member.port;
    output.kind = has_interface ? kind : OutputKind::delivered;
    output.stream = passage.outcome.stream;
    output.color = passage.outcome.color;
    output.traffic_class = class_at(passage, stream, member.port);
    make_head(passage, member, output);
    if (port.is_in_lag) passage.narrator.say(StepKind::kept, number_of(KeptSetting::link_aggregation), member.port);
    if (has_interface)
        choose_queue(passage, output, stream);
    else
        passage.narrator.assume(Assumption::ports_without_interface, StepKind::taken_by_switch, member.port);
}

template <typename Narrator> Stop send_to(Passage<Narrator>& passage, PortIndex destination) {
    if (destination == passage.frame.port) return Stop::same_port;
    const Member* member = passage.vlan->find_member(destination);
    if (member == nullptr) return Stop::egress_not_a_member;
    if (!passage.port_at(destination).is_enabled) return Stop::egress_disabled;
    if constexpr (Narrator::tells) tell_link(passage, destination);
    if (passage.state.is_up[destination] == 0) return Stop::egress_down;
    send(passage, *member, OutputKind::forwarded);
    passage.outcome.verdict =
        passage.outcome.outputs.back().kind == OutputKind::delivered ? Verdict::delivered : Verdict::forwarded;
    return Stop::none;
}

template <typename Narrator> Stop flood(Passage<Narrator>& passage) {
    const size_t count_before = passage.outcome.outputs.size();
    for (const Member& member : passage.vlan->members) {
        if (member.port == passage.frame.port) continue;
        if (!passage.port_at(member.port).is_enabled) {
            passage.narrator.say(StepKind::not_sent_disabled, member.port);
            continue;
        }
        if constexpr (Narrator::tells) tell_link(passage, member.port);
        if (passage.state.is_up[member.port] == 0)
            passage.narrator.say(StepKind::not_sent_down, member.port);
        else
            send(passage, member, OutputKind::flooded);
    }
    if (passage.outcome.outputs.size() == count_before) return Stop::nobody_to_send_to;
    passage.outcome.verdict = Verdict::flooded;
    return Stop::none;
}

// --- Where to ---

template <typename Narrator> Stop obey_static_entry(Passage<Narrator>& passage, const StaticEntry& entry) {
    const uint32_t vid = passage.vlan->vid;
    if (!entry.is_of_system) {
        passage.narrator.say(StepKind::static_entry, vid, entry.port, entry.flags);
        if (entry.flags != 0)
            passage.narrator.say(StepKind::kept, number_of(KeptSetting::static_entry_flags), entry.flags);
        return send_to(passage, entry.port);
    }
    passage.narrator.assume(Assumption::own_address_to_switch, StepKind::own_address, vid, entry.port);
    if (!passage.is_taken_by_switch()) take_for_switch(passage);
    passage.outcome.verdict = Verdict::delivered;
    return Stop::none;
}

template <typename Narrator> Stop look_up_learned(Passage<Narrator>& passage) {
    const uint32_t vid = passage.vlan->vid;
    const Mac destination = passage.headers.destination;
    if (is_group(destination)) {
        passage.narrator.say(StepKind::group_address);
        return flood(passage);
    }
    const LearnedEntry* learned =
        passage.state.learned.find(*passage.configuration.ports, vid, destination, passage.frame.time);
    if (learned == nullptr) {
        passage.narrator.say(StepKind::unknown_address, vid);
        return flood(passage);
    }
    const auto assumption = learned->is_stored ? Assumption::learned_seen_at_start : Assumption::none;
    passage.narrator.assume(assumption, StepKind::learned_entry, vid, learned->port);
    return send_to(passage, learned->port);
}

template <typename Narrator> Stop forward_in_vlan(Passage<Narrator>& passage) {
    constexpr uint8_t discards = 4;
    const Vlan& vlan = *passage.vlan;
    const StaticEntry* entry = passage.configuration.filters->statics.find(vlan.vid, passage.headers.destination);
    if (entry != nullptr && (entry->port == no_port || entry->flags == discards)) {
        passage.narrator.say(StepKind::static_entry, vlan.vid, no_port, entry->flags);
        return Stop::static_discard;
    }
    if (passage.port.ignores_fdb || vlan.ignores_fdb) {
        if (passage.port.ignores_fdb) passage.narrator.say(StepKind::fdb_ignored_by_port);
        if (vlan.ignores_fdb) passage.narrator.say(StepKind::fdb_ignored_by_vlan, vlan.vid);
        return flood(passage);
    }
    return entry != nullptr ? obey_static_entry(passage, *entry) : look_up_learned(passage);
}

} // namespace dataplane
