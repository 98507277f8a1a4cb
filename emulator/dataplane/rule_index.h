// An index of rules: for each field, sets of rules by value; the first rule in all of a frame's sets is the one wanted.
//
// A field's values fall into classes that no rule tells apart, and each class has the set of the rules that want it.
// The rules that do not look at the field are in all of its sets, so they are kept once, beside them. Sets are 64 words
// of 64 bits with a summary of the words that are not 0, of which only those are stored: a look-up reads a summary for
// each field, and then the few words that all summaries have in common. Each rule is found by one field, its pivot,
// which few others share; words without a rule whose pivot the frame meets need no look.
//
// A value, a range and a prefix are an interval of a field's values. A single value under any other mask is one for
// each byte of the field. What is neither (a range under such a mask), and ranges that would fill the sets of too many
// classes, are left out: the few rules that remain are looked at themselves.
#pragma once

#include "dataplane/rule.h"

#include <span>

namespace dataplane {

// Rules by their place.
struct RuleSet {
    std::array<uint64_t, 64> words{};
    uint64_t summary = 0; // bit n: word n is not 0
};

// The values of a field, or of one byte of it, and the rules that want them.
struct RuleDimension {
    struct Class {
        uint64_t summary = 0; // of the rules that want it
        uint64_t pivots = 0;  // of those among them that are found by this dimension
        uint32_t first_word = 0;
    };
    Field field{};
    bool is_byte = false;
    uint8_t shift = 0; // of the byte
    // A look-up begins in a bucket of neighbouring values, so that few classes are left to search.
    uint32_t lowest_in_bucket = 0; // of the first bucket; values below it are in class 0
    uint8_t bucket_shift = 0;
    std::vector<uint16_t> buckets; // the class of each bucket's lowest value; one more behind the last
    std::vector<uint32_t> starts;  // the lowest value of each class; the first is 0
    RuleSet others;                // the rules that do not look at it
    std::vector<Class> classes;
    std::vector<uint64_t> words; // of the sets of all classes: those that are not 0

    const Class& class_of(uint32_t field_value) const;
};

class RuleIndex {
public:
    static constexpr size_t capacity = size_t{64} * 64; // rules

    explicit RuleIndex(std::span<const Rule> rules);

    // The place of the first of these rules that matches; they are those that the index was made from.
    std::optional<size_t> find(std::span<const Rule> rules, const FieldValues& values) const;

private:
    RuleSet possible_; // the rules that a frame can match at all
    uint64_t without_pivot_ = 0;
    std::vector<RuleDimension> dimensions_;
    size_t pivot_count_ = 0; // of the dimensions: the first ones, which have pivots
};

} // namespace dataplane
