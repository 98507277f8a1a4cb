// Which stream, class and color a frame has, and whether its port's policer lets it pass.
#pragma once

#include "dataplane/bytes.h"
#include "dataplane/passage.h"
#include "dataplane/policer.h"

namespace dataplane {

inline void set_field(FieldValues& values, Field field, uint32_t value) {
    values.value[number_of(field)] = value;
    values.present = static_cast<uint16_t>(values.present | 1U << number_of(field));
}

// What stands at an extraction point; a point that the frame ends before has no value.
inline void extract(FieldValues& values, Field field, const ExtractionPoint& point, std::span<const uint8_t> bytes) {
    if (point.width == 0 || size_t{point.offset} + point.width > bytes.size()) return;
    uint32_t value = 0;
    for (const uint8_t byte : bytes.subspan(point.offset, point.width))
        value = value << 8 | byte;
    set_field(values, field, value);
}

template <typename Narrator> FieldValues field_values(const Passage<Narrator>& passage) {
    const Headers& headers = passage.headers;
    FieldValues values;
    if (headers.is_ipv4) {
        set_field(values, Field::destination_ip, headers.destination_ip);
        set_field(values, Field::source_ip, headers.source_ip);
        set_field(values, Field::tos, headers.tos);
        set_field(values, Field::protocol, headers.protocol);
    }
    if (headers.has_ports) {
        set_field(values, Field::destination_port, headers.destination_port);
        set_field(values, Field::source_port, headers.source_port);
    }
    set_field(values, Field::vid, passage.vlan->vid);
    set_field(values, Field::priority, headers.priority);
    set_field(values, Field::ether_type, headers.ether_type);
    constexpr std::array points{Field::extraction_1, Field::extraction_2, Field::extraction_3, Field::extraction_4};
    for (size_t i = 0; i < points.size(); ++i)
        extract(values, points[i], passage.member->extraction[i], passage.frame.bytes);
    return values;
}

template <typename Narrator>
void set_class(Passage<Narrator>& passage, uint8_t stream, uint8_t traffic_class, uint8_t color) {
    passage.outcome.is_classified = true;
    passage.outcome.stream = stream;
    passage.outcome.traffic_class = traffic_class;
    passage.outcome.color = color;
}

inline Assumption assumption_of(const Rule& rule) {
    for (const FieldMatch& match : rule.matches)
        if (match.field >= Field::extraction_1) return Assumption::extraction_from_start;
    return Assumption::none;
}

template <typename Narrator> void class_by_rule(Passage<Narrator>& passage, const Rule& rule, Marking marking) {
    const auto assumption = marking == Marking::dscp ? Assumption::dscp_on_reception : Assumption::none;
    passage.narrator.assume(assumption, StepKind::class_by_rule, rule.stream, rule.traffic_class, rule.color);
    uint8_t traffic_class = rule.traffic_class;
    if (marking == Marking::dot1p) {
        const uint8_t priority = passage.headers.priority;
        traffic_class = passage.port.class_of_priority[priority];
        passage.narrator.assume(Assumption::priority_by_cosmap, StepKind::class_by_priority, priority, traffic_class);
    }
    passage.is_class_by_tos = marking == Marking::dscp && passage.headers.is_ipv4;
    set_class(passage, rule.stream, traffic_class, rule.color);
}

template <typename Narrator> void classify(Passage<Narrator>& passage) {
    const Port& port = passage.port;
    if (passage.member == nullptr || passage.member->list < 0) {
        passage.narrator.say(StepKind::no_list);
    } else {
        const List& list = *passage.configuration.lists->lists[static_cast<size_t>(passage.member->list)];
        const auto found = list.matcher.find(field_values(passage));
        const auto number = static_cast<uint32_t>(list.number);
        if (found) {
            const Rule& rule = list.matcher.rules()[*found];
            passage.narrator.assume(assumption_of(rule), StepKind::list_matched, number,
                                    static_cast<uint32_t>(rule.line));
            return class_by_rule(passage, rule, list.marking);
        }
        passage.narrator.say(StepKind::list_not_matched, number);
    }
    passage.narrator.say(StepKind::class_by_default, port.default_stream, port.default_class, port.default_color);
    set_class(passage, port.default_stream, port.default_class, port.default_color);
}

template <typename Narrator> Stop police(Passage<Narrator>& passage) {
    const uint8_t traffic_class = passage.outcome.traffic_class;
    const Policer& policer = passage.port.policers[traffic_class];
    if (policer.rate == 0) return Stop::none;
    Bucket& bucket = passage.state.buckets[passage.frame.port][traffic_class];
    const uint32_t bytes = counted_bytes(passage.frame.bytes.size(), passage.port.counts_gap);
    passage.narrator.assume(Assumption::frames_count_with_fcs, StepKind::counted, traffic_class, bytes);
    if (conforms(bucket, policer, bytes, passage.frame.time)) {
        passage.narrator.assume(Assumption::policer_keeps_color, StepKind::within_rate, traffic_class, policer.rate);
        return Stop::none;
    }
    if (policer.excess == discards_excess) {
        passage.narrator.say(StepKind::over_rate, traffic_class, policer.rate);
        return Stop::policed;
    }
    passage.narrator.say(StepKind::recolored, traffic_class, policer.rate, policer.excess);
    passage.outcome.color = policer.excess;
    return Stop::none;
}

} // namespace dataplane
