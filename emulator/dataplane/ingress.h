// Reception: is the frame let in, and into which VLAN.
#pragma once

#include "dataplane/bytes.h"
#include "dataplane/passage.h"

#include <algorithm>

namespace dataplane {

// --- The port ---

template <typename Narrator> Stop enter_port(Passage<Narrator>& passage) {
    const Port& port = passage.port;
    const size_t length = passage.frame.bytes.size();
    const PortIndex index = passage.frame.port;
    passage.narrator.say(StepKind::received, index, static_cast<uint32_t>(length));
    if (length < shortest_frame) return Stop::too_short;
    if (length > longest_frame) return Stop::too_long;
    if (!port.is_enabled) return Stop::port_disabled;
    if (port.type != PortType::ether && passage.state.is_bound[index] == 0) return Stop::port_not_ether;
    if constexpr (Narrator::tells) tell_link(passage, index);
    if (passage.state.is_up[index] == 0) return Stop::port_down;

    if (port.breaks_loops) passage.narrator.say(StepKind::kept, number_of(KeptSetting::loop_breaker), index);
    if (port.is_in_lag) passage.narrator.say(StepKind::kept, number_of(KeptSetting::link_aggregation), index);
    if (port.has_ip_interface) passage.narrator.say(StepKind::kept, number_of(KeptSetting::ip_interface), index);
    return Stop::none;
}

// --- The destination: local entries and reserved addresses ---

// Whether link_frame forward lets frames to this address pass; the kinds are the last byte of the address.
inline bool is_lifted(const Port& port, Mac destination) {
    const uint32_t kind = destination & 0xf;
    return is_reserved(destination) && kind < 8 && (port.forwarded_link_frames >> kind & 1U) != 0;
}

template <typename Narrator> void take_for_switch(Passage<Narrator>& passage) {
    passage.narrator.say(StepKind::taken_by_switch, no_port);
    Output& output = passage.outcome.outputs.emplace_back();
    output.kind = OutputKind::delivered;
}

// Takes the frame where a local entry says so; whether it goes on is another matter.
template <typename Narrator> Stop judge_destination(Passage<Narrator>& passage, LocalAction& action) {
    const Mac destination = passage.headers.destination;
    const LocalEntry* entry = passage.configuration.filters->locals.find(passage.frame.port, destination);
    const bool passes = is_lifted(passage.port, destination);
    action = entry != nullptr ? entry->action : LocalAction::discard;
    const auto assumption = action == LocalAction::local_learning ? Assumption::local_learning : Assumption::none;
    if (entry != nullptr) passage.narrator.assume(assumption, StepKind::local_entry, number_of(action));
    if (entry != nullptr && action != LocalAction::discard) take_for_switch(passage);
    if (passes) passage.narrator.say(StepKind::link_frame_lifted, static_cast<uint32_t>(destination & 0xf));
    if (passes) return Stop::none;
    if (is_reserved(destination)) return Stop::reserved_address;
    return entry != nullptr && action == LocalAction::discard ? Stop::local_discard : Stop::none;
}

// --- Tags ---

// Of a frame without a tag that counts: whether one begins that is not looked at.
template <typename Narrator> void tell_untagged(const Passage<Narrator>& passage) {
    const std::span<const uint8_t> bytes = passage.frame.bytes;
    const uint16_t type = passage.headers.ether_type;
    const bool has_tag = bytes.size() >= shortest_tagged_frame;
    const uint32_t vid = has_tag ? big_endian_16(&bytes[14]) & 0xfffU : 0;
    if (has_tag && type == passage.port.tag_type && !passage.port.looks_at_tags)
        passage.narrator.assume(Assumption::tags_not_looked_at, StepKind::tag_ignored, type, vid);
    else if (has_tag && type == passage.port.tag_type)
        passage.narrator.assume(Assumption::tags_not_looked_at, StepKind::priority_tag_ignored, type);
    else if (has_tag && (type == 0x8100 || type == 0x88a8 || type == 0x9100))
        passage.narrator.say(StepKind::other_tag, type);
    passage.narrator.say(StepKind::untagged, type);
}

template <typename Narrator> Stop judge_tag(const Passage<Narrator>& passage) {
    const Headers& headers = passage.headers;
    const Port& port = passage.port;
    if (headers.is_cut) return Stop::too_short;
    if (headers.tag == TagKind::vlan)
        passage.narrator.say(StepKind::tag_recognised, port.tag_type, headers.tag_vid, headers.priority);
    else if (headers.tag == TagKind::priority)
        passage.narrator.say(StepKind::priority_tag, port.tag_type, 0, headers.priority);
    else if constexpr (Narrator::tells)
        tell_untagged(passage);
    if (headers.tag != TagKind::vlan && !port.accepts_untagged) return Stop::untagged_refused;
    return headers.tag_vid == 4095 ? Stop::reserved_vid : Stop::none;
}

// --- The VLAN ---

// The VLAN of a frame that names none: by protocol group, else by untagged membership, else the port's PVID; 0: none.
template <typename Narrator> uint32_t vid_of_untagged(const Passage<Narrator>& passage) {
    const UntaggedVlans& untagged = passage.configuration.vlans->untagged[passage.frame.port];
    const uint16_t type = passage.headers.ether_type;
    const auto found =
        std::lower_bound(untagged.by_type.begin(), untagged.by_type.end(), type,
                         [](const UntaggedVlans::ByType& entry, uint16_t wanted) { return entry.ether_type < wanted; });
    if (found != untagged.by_type.end() && found->ether_type == type) {
        passage.narrator.say(StepKind::vlan_by_protgroup, found->vid, found->protgroup, type);
        return found->vid;
    }
    if (untagged.vid != 0) {
        passage.narrator.say(StepKind::vlan_by_membership, untagged.vid);
        return untagged.vid;
    }
    if (passage.port.pvid != 0) passage.narrator.say(StepKind::vlan_by_pvid, passage.port.pvid);
    return passage.port.pvid;
}

template <typename Narrator> Stop assign_vlan(Passage<Narrator>& passage) {
    uint32_t vid = passage.headers.tag_vid;
    if (passage.headers.tag == TagKind::vlan)
        passage.narrator.say(StepKind::vlan_by_tag, vid);
    else
        vid = vid_of_untagged(passage);
    if (vid == 0) return Stop::no_vlan;
    passage.vlan = passage.configuration.vlans->find(vid);
    if (passage.vlan == nullptr) return Stop::unknown_vlan;

    passage.outcome.vid = passage.vlan->vid;
    if (passage.vlan->detects_loops) passage.narrator.say(StepKind::kept, number_of(KeptSetting::loop_detection), vid);
    passage.member = passage.vlan->find_member(passage.frame.port);
    if (passage.member == nullptr && passage.port.filters_ingress) return Stop::not_a_member;
    passage.narrator.say(passage.member != nullptr ? StepKind::member : StepKind::let_in, vid);
    return Stop::none;
}

} // namespace dataplane
