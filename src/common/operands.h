// What every handler may use to check and read the words of its sentence. words[0] is the verb, words[1] the object;
// `count` is the number of words, and no word at or behind it may be looked at.
//
// The verbs of all readers, here and elsewhere: `scan_` takes a piece from the front of a text, moves the position
// behind it and returns whether it was there (common/scan.h); `parse_` judges a whole operand and returns what it is,
// or that it will not do; `read_` returns what an operand is and ends the process when it will not do; `require_` ends
// it unless something holds.
#pragma once

#include "common/keyword.h"
#include "common/result.h"
#include "common/scan.h"
#include "common/usage.h"
#include "platform/brgfdb.h"

// --- Those that end the process do it with the usage text ---

void require_word(const char* word, const char* keyword);

// The number that a table has for a word: read_word<color_words>(word)
template <const auto& Words> int32_t read_word(const char* word);
template <const auto& Words> int32_t read_word(std::string_view word);

int32_t read_number(const char* word);    // "%d"
NumberRange read_range(const char* word); // "%d-%d"
bool read_switch(const char* word);       // "on" or "off"

// The same for those who refuse other words as invalid, with a code of 301 to 321.
bool read_switch(const char* word, int32_t code);

// Six pairs separated by colons, 17 characters: 0 and the bytes in network order, else -1. Nothing but length and
// colons is checked; a pair without a hexadecimal digit repeats the byte before it (the first pair gives 0), and a
// blank or a sign may stand in a pair, so " a" is 0x0a and "-1" 0xff.
int32_t parse_mac_address(const char* text, uint8_t* mac);

// The same for a handler: 312 for other texts.
void read_mac_address(const char* text, uint8_t* mac);

// --- What is behind read_word ---

int32_t read_packed_word(const char* packed_words, const char* word, const char* end);
int32_t read_packed_word(const char* packed_words, const char* word);

template <const auto& Words> int32_t read_word(const char* word) {
    return read_packed_word(packing::words<Words>(), word);
}
template <const auto& Words> int32_t read_word(std::string_view word) {
    return read_packed_word(packing::words<Words>(), word.data(), word.data() + word.size());
}
