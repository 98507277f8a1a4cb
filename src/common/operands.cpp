// Operand checks and look-ups shared by the handlers.
#include "common/operands.h"

int32_t find_listed_or_usage(const char* packed_words, const char* word, const char* end) {
    const int32_t number = find_number(packed_words, word, end);
    if (number == otherwise) show_usage();
    return number;
}

int32_t find_listed_or_usage(const char* packed_words, const char* word) {
    return find_listed_or_usage(packed_words, word, end_of(word));
}

std::optional<bool> read_switch(const char* word) {
    if (is_word(word, "on")) return true;
    if (is_word(word, "off")) return false;
    return std::nullopt;
}

void require_word(const char* word, const char* keyword) {
    if (!is_word(word, keyword)) show_usage();
}

int32_t read_number_or_usage(const char* word) {
    int32_t number = 0;
    if (!read_number(word, number)) show_usage();
    return number;
}

NumberRange read_range_or_usage(const char* word) {
    NumberRange range{};
    if (!read_range(word, range)) show_usage();
    return range;
}

int32_t vlan_name_to_vid(const char* name, uint32_t* vid) {
    int32_t status = 0;
    if (brgfdb_get_vid(name, vid, &status) == 0) return 0;
    *vid = 0;
    return -1;
}

uint32_t resolve_vlan(const char* name) {
    uint32_t vid = 0;
    if (vlan_name_to_vid(name, &vid) != 0) refuse_missing(status::no_vlan, name);
    return vid;
}

int32_t parse_mac_address(const char* text, uint8_t* mac) {
    constexpr size_t text_length = 3 * mac_length - 1;
    if (static_cast<size_t>(end_of(text) - text) != text_length) return -1;

    uint32_t value = 0;
    for (size_t i = 0; i < mac_length; ++i) {
        const char* const pair = text + 3 * i;
        if (i + 1 < mac_length && pair[2] != ':') return -1;
        const char alone[] = {pair[0], pair[1], '\0'};
        read_hex_number(alone, value); // leaves the value of the pair before when there is no digit
        mac[i] = static_cast<uint8_t>(value);
    }
    return 0;
}

void read_mac_address(const char* text, uint8_t* mac) {
    if (parse_mac_address(text, mac) != 0) refuse_invalid(invalid::mac_address, text);
}
