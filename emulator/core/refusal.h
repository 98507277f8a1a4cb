// Statuses of the emulator's own, which no switch gives: the tool answers them with its message for "any other".
#pragma once

#include <cstdint>

namespace refusal {
constexpr int32_t invalid_value = 9001; // a value that the switch has no place for, such as class 8

// The store cannot be used. A line on standard error says why.
constexpr int32_t no_place = 9101; // no file is named, or it cannot be made
constexpr int32_t busy = 9102;     // another process keeps it locked
constexpr int32_t damaged = 9103;
constexpr int32_t foreign = 9104; // a file of something else
constexpr int32_t newer = 9105;   // of a later version of the emulator
constexpr int32_t read_only = 9106;
constexpr int32_t unwritable = 9107; // the disk is full or fails
constexpr int32_t no_memory = 9108;
} // namespace refusal
