// The operand of a sentence for a field that a rule matches, as it is stored.
#pragma once

#include "core/match_fields.h"
#include "notation.h"

#include <cstdint>
#include <optional>

namespace emulator {

// What classify_match has: the value, or the range where there is a high value, under the mask. All fit 32 bits.
struct StoredMatch {
    int64_t low = 0;
    std::optional<int64_t> high;
    int64_t mask = 0;

    // Whether a rule can have it: nothing is wider than the field, and a range goes upwards.
    bool fits(const MatchField& field) const {
        const int64_t highest = field.full_mask();
        return low <= highest && mask <= highest && (!high || (low < *high && *high <= highest));
    }
};

// Whether a sentence can have it: the mask of an address is a prefix.
bool can_be_typed(const MatchField& field, const StoredMatch& match);

// Writes 10.0.0.0/8, 1024-65535 or f0/f0. Typed again, it stores the same match, where it can be typed; the mask of an
// address that is no prefix is written in hex.
void write_match(notation::Text& out, const MatchField& field, const StoredMatch& match);

} // namespace emulator
