// Reads an operand piece by piece, exactly as formatted scanning with the 32-bit C library of the switch does, and
// alike on every machine: blanks before a number are skipped, a sign is taken, what follows the number is left, and a
// number that does not fit saturates at the bounds of a 32-bit `int` or `long`.
//
// Every reader takes the position in the text, moves it past what it has read and answers whether a value was there.
// Without one the value is left as it was.
#pragma once

#include <cstdint>
#include <string_view>

// "%d" and "%ld": saturates at -2147483648 and 2147483647.
bool read_decimal(const char*& at, int32_t& value);

// "%x" and "%lx": with or without 0x; saturates at 0xffffffff; -1 is 0xffffffff.
bool read_hex(const char*& at, uint32_t& value);

// "%hhu": the lowest 8 bits of a number that saturates at 4294967295, so 256 is 0.
bool read_octet(const char*& at, uint8_t& value);

// "%s": up to the next blank.
bool read_text(const char*& at, std::string_view& text);

// A character of the format itself; no blanks are skipped.
bool read_literal(const char*& at, char literal);

// "%d" for a whole operand.
bool read_number(const char* word, int32_t& value);

// "%x" for a whole operand.
bool read_hex_number(const char* word, uint32_t& value);

// "%d-%d" for a whole operand; a single number is both ends.
struct NumberRange {
    int32_t min;
    int32_t max;
};
bool read_range(const char* word, NumberRange& range);
