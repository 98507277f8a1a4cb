// The time as the store keeps it: 2024-05-01 12:00:00.123456, UTC.
#pragma once

#include <cstddef>

namespace emulator {

constexpr size_t clock_text_size = 32;

void write_clock(char (&text)[clock_text_size]);

} // namespace emulator
