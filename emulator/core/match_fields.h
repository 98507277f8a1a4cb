// The fields that a classification rule can match, by the names that the store has for them, in the order of a
// sentence.
#pragma once

#include "platform/brgfdb.h"

#include <cstring>

namespace emulator {

enum class MatchStyle { decimal, hex, address, extraction };

struct MatchField {
    const char* name;
    uint32_t present; // its bit in the rule
    size_t offset;    // of its slot in the rule
    uint32_t word;    // bytes in a word of the slot
    MatchStyle style;

    constexpr uint32_t full_mask() const { return word == 4 ? 0xffffffffU : (1U << (8 * word)) - 1; }
};

inline constexpr MatchField match_fields[] = {
    {"da", rule_field::destination_address, offsetof(ClassifyRule, destination_address), 4, MatchStyle::address},
    {"sa", rule_field::source_address, offsetof(ClassifyRule, source_address), 4, MatchStyle::address},
    {"tos", rule_field::tos, offsetof(ClassifyRule, tos), 1, MatchStyle::decimal},
    {"prot", rule_field::protocol, offsetof(ClassifyRule, protocol), 1, MatchStyle::decimal},
    {"dp", rule_field::destination_port, offsetof(ClassifyRule, destination_port), 2, MatchStyle::decimal},
    {"sp", rule_field::source_port, offsetof(ClassifyRule, source_port), 2, MatchStyle::decimal},
    {"vid", rule_field::vid, offsetof(ClassifyRule, vid), 2, MatchStyle::decimal},
    {"cos", rule_field::cos, offsetof(ClassifyRule, cos), 1, MatchStyle::decimal},
    {"etype", rule_field::ether_type, offsetof(ClassifyRule, ether_type), 2, MatchStyle::hex},
    {"ext1", rule_field::first_extraction << 0, offsetof(ClassifyRule, extraction) + 0, 4, MatchStyle::extraction},
    {"ext2", rule_field::first_extraction << 1, offsetof(ClassifyRule, extraction) + 8, 4, MatchStyle::extraction},
    {"ext3", rule_field::first_extraction << 2, offsetof(ClassifyRule, extraction) + 16, 4, MatchStyle::extraction},
    {"ext4", rule_field::first_extraction << 3, offsetof(ClassifyRule, extraction) + 24, 4, MatchStyle::extraction},
};

// The field of this name, nullptr where there is none.
inline const MatchField* find_match_field(const char* name) {
    for (const MatchField& field : match_fields)
        if (strcmp(field.name, name) == 0) return &field;
    return nullptr;
}

} // namespace emulator
