// What every handler may use to check and read the words of its sentence. words[0] is the verb, words[1] the object;
// `count` is the number of words, and no word at or behind it may be looked at.
#pragma once

#include "common/result.h"
#include "common/scan.h"
#include "platform/brgfdb.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

// What a packed table has for a word, or the usage text.
int32_t find_listed_or_usage(const char* packed_words, const char* word, const char* end);
int32_t find_listed_or_usage(const char* packed_words, const char* word);

// find_word_or_usage<color_words>(word)
template <const auto& Words> int32_t find_word_or_usage(const char* word) {
    return find_listed_or_usage(packing::words<Words>(), word);
}
template <const auto& Words> int32_t find_word_or_usage(std::string_view word) {
    return find_listed_or_usage(packing::words<Words>(), word.data(), word.data() + word.size());
}

// "on" or "off".
std::optional<bool> read_switch(const char* word);

// The usage text when the word is not what it should be.
void require_word(const char* word, const char* keyword);
int32_t read_number_or_usage(const char* word);    // "%d"
NumberRange read_range_or_usage(const char* word); // "%d-%d"

// Asks the bridge library for the id of a VLAN: 0 and the id, or -1 and the id 0 when there is none of that name.
int32_t vlan_name_to_vid(const char* name, uint32_t* vid);

// The same for a handler that needs the VLAN: without it the sentence is refused with 103.
uint32_t resolve_vlan(const char* name);

// Six pairs separated by colons, 17 characters: 0 and the bytes in network order, else -1. Nothing but length and
// colons is checked; a pair without a hexadecimal digit repeats the byte before it (the first pair gives 0), and a
// blank or a sign may stand in a pair, so " a" is 0x0a and "-1" 0xff.
int32_t parse_mac_address(const char* text, uint8_t* mac);

// The same for a handler: other texts are refused with 312.
void read_mac_address(const char* text, uint8_t* mac);
