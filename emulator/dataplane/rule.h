// The rules of a classification list: what they look at in a frame, and what they say of those that match.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

namespace dataplane {

// The fields that a rule can look at, in the order of a sentence.
enum class Field : uint8_t {
    destination_ip,
    source_ip,
    tos,
    protocol,
    destination_port,
    source_port,
    vid,
    priority,
    ether_type,
    extraction_1,
    extraction_2,
    extraction_3,
    extraction_4,
};
constexpr size_t field_count = 13;

// The widest value of a field.
constexpr uint32_t widest_value(Field field) {
    switch (field) {
    case Field::tos:
    case Field::protocol:
    case Field::priority: return 0xff;
    case Field::destination_port:
    case Field::source_port:
    case Field::vid:
    case Field::ether_type: return 0xffff;
    default: return 0xffffffff;
    }
}

// What a frame has in its fields, each within `widest_value`. A field that it does not have (ports of a later fragment,
// the IPv4 address of an ARP frame, an extraction point behind its end) matches no rule that asks for it.
struct FieldValues {
    std::array<uint32_t, field_count> value{};
    uint16_t present = 0; // bit f: it has field f
};

// (value AND mask) lies in low to high; a single value has both alike.
struct FieldMatch {
    Field field = Field::destination_ip;
    uint32_t low = 0;
    uint32_t high = 0;
    uint32_t mask = 0xffffffff;
};

struct Rule {
    int32_t line = 0;
    uint8_t stream = 0; // 0 to 255
    uint8_t traffic_class = 0;
    uint8_t color = 0;
    std::vector<FieldMatch> matches; // all of them have to hold; none: it matches any frame
};

bool matches(const Rule& rule, const FieldValues& values);

// The place of the first rule that matches, by a walk through all.
std::optional<size_t> find_by_walking(const std::vector<Rule>& rules, const FieldValues& values);

} // namespace dataplane
