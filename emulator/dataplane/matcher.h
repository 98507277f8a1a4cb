// Classification: the first rule of a list that a frame matches.
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

// What a frame has in its fields. A field that it does not have (ports of a later fragment, the IPv4 address of an ARP
// frame, an extraction point behind its end) matches no rule that asks for it.
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

// The rules of one list, prepared so that finding the first that matches does not walk them all.
class Matcher {
public:
    Matcher() = default;
    explicit Matcher(std::vector<Rule> rules); // in the order of their lines

    // The place of the first rule that the frame matches.
    std::optional<size_t> find(const FieldValues& values) const;

    const std::vector<Rule>& rules() const { return rules_; }
    uint16_t fields() const { return fields_; } // bit f: some rule looks at field f

private:
    std::vector<Rule> rules_;
    uint16_t fields_ = 0;
};

// What `Matcher::find` has to agree with: a walk through the rules.
std::optional<size_t> find_by_walking(const std::vector<Rule>& rules, const FieldValues& values);

} // namespace dataplane
