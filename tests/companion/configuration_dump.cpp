#include "configuration_dump.h"

#include <map>
#include <sstream>

using namespace dataplane;

namespace {

template <typename... Values> void put(std::ostream& out, const Values&... values) {
    ((out << ' ' << +values), ...);
}

template <typename Enumeration> int as_number(Enumeration value) {
    return static_cast<int>(value);
}

void dump_ports(std::ostream& out, const Ports& ports) {
    for (const Port& port : ports.ports) {
        out << "port";
        put(out, port.number, port.ether, as_number(port.type), port.is_enabled, port.accepts_untagged,
            port.filters_ingress, port.looks_at_tags, port.looks_at_priority_tags, port.edits_priority,
            port.ignores_fdb, port.counts_gap, port.is_in_lag, port.has_ip_interface, port.breaks_loops, port.tag_type,
            port.pvid, port.aging, port.default_stream, port.default_class, port.default_color,
            port.forwarded_link_frames, as_number(port.link_mode), as_number(port.link_depend), port.link_depend_ports);
        for (const uint8_t number : port.class_of_priority)
            put(out, number);
        for (const Policer& policer : port.policers)
            put(out, policer.rate, policer.burst, policer.excess);
        out << "\n";
    }
}

void dump_vlans(std::ostream& out, const Vlans& vlans) {
    for (const Vlan& vlan : vlans.vlans) {
        out << "vlan " << vlan.name;
        put(out, vlan.vid, vlan.learns, vlan.ignores_fdb, vlan.detects_loops, vlan.learning_limit,
            vlans.find(vlan.vid) == &vlan);
        for (const Member& member : vlan.members) {
            out << "\n  member";
            put(out, member.port, member.is_tagged, member.tag_type, member.protgroup.value_or(0),
                member.protgroup.has_value(), member.list);
            for (const ExtractionPoint& point : member.extraction)
                put(out, point.offset, point.width);
        }
        out << "\n";
    }
    for (const UntaggedVlans& untagged : vlans.untagged) {
        out << "untagged";
        put(out, untagged.vid);
        for (const auto& type : untagged.by_type)
            put(out, type.ether_type, type.vid, type.protgroup);
        out << "\n";
    }
    for (size_t i = 0; i < vlans.protgroups.size(); ++i) {
        out << "protgroup";
        put(out, vlans.protgroups[i]);
        for (const uint16_t type : vlans.protgroup_types.at(i))
            put(out, type);
        out << "\n";
    }
}

void dump_filters(std::ostream& out, const Filters& filters) {
    std::map<uint64_t, StaticEntry> statics;
    filters.statics.for_each(
        [&](uint32_t vid, Mac mac, const StaticEntry& entry) { statics[address_key(vid, mac)] = entry; });
    for (const auto& [key, entry] : statics) {
        out << "static " << std::hex << key << std::dec;
        put(out, entry.port, entry.flags, entry.is_of_system);
        out << "\n";
    }
    std::map<uint64_t, LocalEntry> locals;
    filters.locals.for_each(
        [&](uint32_t port, Mac mac, const LocalEntry& entry) { locals[address_key(port, mac)] = entry; });
    for (const auto& [key, entry] : locals) {
        out << "local " << std::hex << key << std::dec;
        put(out, as_number(entry.action), entry.is_of_system);
        out << "\n";
    }
    out << "room " << filters.learned_room << "\n";
}

void dump_lists(std::ostream& out, const Lists& lists) {
    for (const auto& list : lists.lists) {
        out << "list";
        put(out, list->number, as_number(list->marking));
        for (const Rule& rule : list->matcher.rules()) {
            out << "\n  rule";
            put(out, rule.line, rule.stream, rule.traffic_class, rule.color);
            for (const FieldMatch& match : rule.matches)
                put(out, as_number(match.field), match.low, match.high, match.mask);
        }
        out << "\n";
    }
}

void dump_mirrors(std::ostream& out, const Mirrors& mirrors) {
    for (const Mirror& mirror : mirrors.mirrors) {
        out << "mirror";
        put(out, mirror.number, as_number(mirror.source), mirror.source_port, mirror.source_vid, mirror.destination,
            mirror.is_filtered, mirror.stream, mirror.traffic_class, mirror.color, mirror.adds_tag, mirror.tag_type,
            mirror.tag_vid);
        out << "\n";
    }
}

void dump_queue(std::ostream& out, const Queue& queue) {
    out << "\n  queue";
    put(out, queue.exists, queue.length, queue.priority, queue.ratio);
    for (const DropPolicy& policy : queue.drop)
        put(out, policy.min_threshold, policy.min_drop, policy.max_threshold, policy.max_drop);
}

void dump_qos(std::ostream& out, const Qos& qos) {
    for (const Stream& stream : qos.streams) {
        out << "stream";
        put(out, stream.index, stream.port, stream.is_strict, stream.priority, stream.min_rate, stream.min_burst,
            stream.max_rate, stream.max_burst, qos.find(stream.index) == &stream);
        for (const TosEntry& entry : stream.tos_map)
            put(out, entry.entry, entry.value, entry.mask);
        for (const Queue& queue : stream.queues)
            dump_queue(out, queue);
        out << "\n";
    }
    for (const EtherShaper& shaper : qos.shapers) {
        out << "shaper";
        put(out, shaper.ether, shaper.rate, shaper.burst);
        out << "\n";
    }
}

} // namespace

std::string dump(const Configuration& configuration) {
    std::ostringstream out;
    dump_ports(out, *configuration.ports);
    dump_vlans(out, *configuration.vlans);
    dump_filters(out, *configuration.filters);
    dump_lists(out, *configuration.lists);
    dump_mirrors(out, *configuration.mirrors);
    dump_qos(out, *configuration.qos);
    return out.str();
}
