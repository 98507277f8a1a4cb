// The number rules of the switch's C library.
#include "common/scan.h"

#include <limits>

namespace {

constexpr bool is_blank(char c) {
    return c == ' ' || (c >= '\t' && c <= '\r');
}

// The value of a digit, or something above any base.
constexpr uint32_t digit_value(char c) {
    if (c >= '0' && c <= '9') return static_cast<uint32_t>(c - '0');
    if (c >= 'a' && c <= 'f') return static_cast<uint32_t>(c - 'a') + 10;
    if (c >= 'A' && c <= 'F') return static_cast<uint32_t>(c - 'A') + 10;
    return 255;
}

struct Magnitude {
    uint32_t value; // 0xffffffff when it does not fit
    bool is_negative;
    bool is_too_large;
};

bool scan_magnitude(const char*& at, uint32_t base, Magnitude& number) {
    const char* c = at;
    while (is_blank(*c))
        ++c;
    number = {0, *c == '-', false};
    if (*c == '-' || *c == '+') ++c;

    const char* const first = c;
    // The prefix 0x counts as the digit 0, whether digits follow it or not.
    if (base == 16 && c[0] == '0' && (c[1] == 'x' || c[1] == 'X')) c += 2;
    for (; digit_value(*c) < base; ++c) {
        const uint64_t longer = uint64_t{number.value} * base + digit_value(*c);
        number.is_too_large |= longer > std::numeric_limits<uint32_t>::max();
        number.value = number.is_too_large ? std::numeric_limits<uint32_t>::max() : static_cast<uint32_t>(longer);
    }
    if (c == first) return false;
    at = c;
    return true;
}

bool scan_unsigned(const char*& at, uint32_t base, uint32_t& value) {
    Magnitude number{};
    if (!scan_magnitude(at, base, number)) return false;
    value = number.is_negative && !number.is_too_large ? 0 - number.value : number.value;
    return true;
}

} // namespace

bool scan_decimal(const char*& at, int32_t& value) {
    Magnitude number{};
    if (!scan_magnitude(at, 10, number)) return false;
    const uint32_t limit = number.is_negative ? 0x80000000U : 0x7fffffffU;
    const uint32_t magnitude = number.value > limit ? limit : number.value;
    value = static_cast<int32_t>(number.is_negative ? 0 - magnitude : magnitude);
    return true;
}

bool scan_hex(const char*& at, uint32_t& value) {
    return scan_unsigned(at, 16, value);
}

bool scan_octet(const char*& at, uint8_t& value) {
    uint32_t number = 0;
    if (!scan_unsigned(at, 10, number)) return false;
    value = static_cast<uint8_t>(number);
    return true;
}

bool scan_text(const char*& at, std::string_view& text) {
    const char* first = at;
    while (is_blank(*first))
        ++first;
    const char* last = first;
    while (*last != '\0' && !is_blank(*last))
        ++last;
    if (last == first) return false;
    text = {first, static_cast<size_t>(last - first)};
    at = last;
    return true;
}

bool scan_literal(const char*& at, char literal) {
    if (*at != literal) return false;
    ++at;
    return true;
}

bool parse_number(const char* word, int32_t& value) {
    return scan_decimal(word, value);
}

bool parse_hex_number(const char* word, uint32_t& value) {
    return scan_hex(word, value);
}

bool parse_range(const char* word, NumberRange& range) {
    if (!scan_decimal(word, range.min)) return false;
    if (!scan_literal(word, '-') || !scan_decimal(word, range.max)) range.max = range.min;
    return true;
}
