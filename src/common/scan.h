// Reads an operand piece by piece, exactly as formatted scanning with the 32-bit C library of the switch does, and
// alike on every machine: blanks before a number are skipped, a sign is taken, what follows the number is left, and a
// number that does not fit saturates at the bounds of a 32-bit `int` or `long`.
//
// `scan_` takes the position in the text, moves it behind what it has read and returns whether a value was there.
// `parse_` does so for a whole operand. Without a value what should have got it is left as it was.
#pragma once

#include <cstdint>
#include <string_view>

// "%d" and "%ld": saturates at -2147483648 and 2147483647.
bool scan_decimal(const char*& at, int32_t& value);

// "%x" and "%lx": with or without 0x; saturates at 0xffffffff; -1 is 0xffffffff.
bool scan_hex(const char*& at, uint32_t& value);

// "%hhu": the lowest 8 bits of a number that saturates at 4294967295, so 256 is 0.
bool scan_octet(const char*& at, uint8_t& value);

// "%s": up to the next blank.
bool scan_text(const char*& at, std::string_view& text);

// A character of the format itself; no blanks are skipped.
bool scan_literal(const char*& at, char literal);

// "%d" for a whole operand.
bool parse_number(const char* word, int32_t& value);

// "%x" for a whole operand.
bool parse_hex_number(const char* word, uint32_t& value);

// "%d-%d" for a whole operand; a single number is both ends.
struct NumberRange {
    int32_t min;
    int32_t max;
};
bool parse_range(const char* word, NumberRange& range);
