// An index of rules: for each field, sets of rules by value; the first rule in all of a frame's sets is the one wanted.
//
// A field's values fall into classes that no rule tells apart, and each class has the set of the rules that want it.
// The rules that do not look at the field are in all of its sets, so they are kept once, beside them. Sets are 64 words
// of 64 bits with a summary of the words that are not 0, of which only those are stored: a look-up reads a summary for
// each field, and then the few words that all summaries have in common.
//
// A value, a range and a prefix are an interval of a field's values. A single value under any other mask is one for
// each byte of the field. What is neither (a range under such a mask), and ranges that would fill the sets of too many
// classes, are left out of the index and looked at in the rule itself.
#pragma once

#include "dataplane/rule.h"

#include <span>

namespace dataplane {

using RuleSet = std::array<uint64_t, 64>;

// The values of a field, or of one byte of it, and the rules that want them.
struct RuleDimension {
    Field field{};
    uint8_t shift = 0; // of the byte
    bool is_byte = false;
    std::vector<uint32_t> starts;    // the lowest value of each class; the first is 0
    std::vector<uint16_t> class_of;  // the class of each value, where they are few
    RuleSet others{};                // the rules that do not look at it
    uint64_t others_summary = 0;     // bit n: word n is not 0
    std::vector<uint64_t> summaries; // likewise, by class, of the rules that want it
    std::vector<uint32_t> first;     // by class, the place in `words` of its first one
    std::vector<uint64_t> words;     // those that are not 0

    size_t class_of_value(uint32_t value) const;
};

class RuleIndex {
public:
    static constexpr size_t capacity = 64 * 64; // rules

    explicit RuleIndex(std::span<const Rule> rules);

    // The place of the first of these rules that matches; they are those that the index was made from.
    std::optional<size_t> find(std::span<const Rule> rules, const FieldValues& values) const;

private:
    RuleSet possible_{}; // the rules that a frame can match at all
    uint64_t possible_summary_ = 0;
    RuleSet left_out_{};                    // those that have to be looked at themselves
    std::vector<RuleDimension> dimensions_; // the most telling first
};

} // namespace dataplane
