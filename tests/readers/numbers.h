// The ends of what a number of a sentence can be.
#pragma once

#include <cstdint>
#include <limits>

constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();
