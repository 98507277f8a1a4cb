// Names are bytes: a switch takes any but NUL. What a terminal and what a program can read of them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

// For people: characters that have a form stand as they are; of all others (controls, escapes, what changes the
// direction, bytes that are no UTF-8) each byte is written as \xHH, \n or \t, and a backslash doubled.
std::string shown(std::string_view bytes);

// Text that is escaped already, where nothing but a damaged store has other bytes than printable ASCII in it.
std::string shown_ascii(std::string_view text);

// The columns that a text takes on a terminal, as `shown` gives it.
size_t columns_of(std::string_view text);

// For programs: valid UTF-8 that differs where the bytes differ. A byte that belongs to no character, say fc, becomes
// the character U+F7FC of the private use area; so do the bytes of a character U+F780 to U+F7FF itself.
std::string as_utf8(std::string_view bytes);
