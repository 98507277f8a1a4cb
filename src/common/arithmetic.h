// Signed 32-bit arithmetic that wraps around, as it does on the switch.
#pragma once

#include <cstdint>

constexpr int32_t wrapping_add(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}

constexpr int32_t wrapping_subtract(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b));
}

constexpr int32_t wrapping_multiply(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b));
}

constexpr bool is_within(int32_t value, int32_t low, int32_t high) {
    return value >= low && value <= high;
}
