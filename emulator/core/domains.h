// What the numbers of the store can be, by the names of their columns. The schema refuses others, but a store is input:
// whoever reads a number looks here, and what lies outside is damage. Where two tables have a column of the same name,
// the domain holds both; the port table keeps whatever it was told, so that nothing in it is damage.
#pragma once

#include "platform/brgfdb.h"

#include <cstdint>

namespace emulator {

struct Domain {
    char column[24]; // not a pointer, which would be relocated at the start of every sentence
    int64_t low = 0;
    int64_t high = 0;
    int64_t hole = INT64_MIN; // a number in between that is none

    constexpr bool contains(int64_t value) const { return value >= low && value <= high && value != hole; }
};

// Null for what is no column of a table, or may be any number.
const Domain* find_domain(const char* column);

} // namespace emulator
