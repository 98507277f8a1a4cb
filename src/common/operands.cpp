// Operands that many sentences have.
#include "common/operands.h"

int32_t read_packed_word(const char* packed_words, const char* word, const char* end) {
    const int32_t number = find_number(packed_words, word, end);
    if (number == otherwise) show_usage();
    return number;
}

int32_t read_packed_word(const char* packed_words, const char* word) {
    return read_packed_word(packed_words, word, end_of(word));
}

bool read_switch(const char* word) {
    const bool is_on = is_word(word, "on");
    if (!is_on) require_word(word, "off");
    return is_on;
}

bool read_switch(const char* word, int32_t code) {
    const bool is_on = is_word(word, "on");
    if (!is_on && !is_word(word, "off")) refuse_invalid(code, word);
    return is_on;
}

void require_word(const char* word, const char* keyword) {
    if (!is_word(word, keyword)) show_usage();
}

int32_t read_number(const char* word) {
    int32_t number = 0;
    if (!parse_number(word, number)) show_usage();
    return number;
}

NumberRange read_range(const char* word) {
    NumberRange range{};
    if (!parse_range(word, range)) show_usage();
    return range;
}

int32_t parse_mac_address(const char* text, uint8_t* mac) {
    constexpr size_t text_length = 3 * mac_length - 1;
    if (static_cast<size_t>(end_of(text) - text) != text_length) return -1;

    uint32_t value = 0;
    for (size_t i = 0; i < mac_length; ++i) {
        const char* const pair = text + 3 * i;
        if (i + 1 < mac_length && pair[2] != ':') return -1;
        const char alone[] = {pair[0], pair[1], '\0'};
        parse_hex_number(alone, value); // leaves the value of the pair before when there is no digit
        mac[i] = static_cast<uint8_t>(value);
    }
    return 0;
}

void read_mac_address(const char* text, uint8_t* mac) {
    if (parse_mac_address(text, mac) != 0) refuse_invalid(invalid::mac_address, text);
}
