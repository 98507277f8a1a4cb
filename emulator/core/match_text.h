// The operand of a sentence for a field that a rule matches, as it is stored.
#pragma once

#include "core/match_fields.h"
#include "notation.h"

#include <cstdint>
#include <optional>

namespace emulator {

// What classify_match has: the value, or the range where there is a high value, under the mask.
struct StoredMatch {
    int64_t low;
    std::optional<int64_t> high;
    int64_t mask;

    bool is_sound() const { return is_word(low) && is_word(high.value_or(0)) && is_word(mask); }

private:
    static bool is_word(int64_t value) { return value >= 0 && value <= 0xffffffff; }
};

// Writes 10.0.0.0/8, 1024-65535 or f0/f0. Typed again, it stores the same match; only an address mask that is no
// prefix, which no sentence can bring about, is written in hex and cannot be typed.
void write_match(notation::Text& out, const MatchField& field, const StoredMatch& match);

} // namespace emulator
