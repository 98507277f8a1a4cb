// Filling texts with operands.
#include "common/text.h"

#include "common/keyword.h"

#include <array>
#include <cstdio>

namespace {

constexpr auto packed_phrases = packing::pack_with([](packing::Buffer& buffer) {
    for (const char* phrase : phrases)
        packing::append_word(buffer, phrase);
});

// Where each of them begins.
constexpr size_t phrase_count = std::size(phrases);
constexpr std::array<uint16_t, phrase_count> phrase_places = [] {
    std::array<uint16_t, phrase_count> places{};
    for (size_t i = 1; i < phrase_count; ++i)
        places[i] = static_cast<uint16_t>(places[i - 1] + (end_of(phrases[i - 1]) - phrases[i - 1]) + 1);
    return places;
}();

struct Number {
    char digits[sizeof "-2147483648"];
};

// What a byte stands for that is no character; `number` is room for one.
const char* expand(uint8_t code, const Operand* operands, Number& number) {
    if (code >= first_phrase) return packed_phrases.bytes + phrase_places[code - first_phrase];

    const Operand& operand = operands[placeholder::operand_of(code)];
    // Which member counts was checked when the text was compiled, and no number is longer than the buffer.
    // NOLINTBEGIN(cppcoreguidelines-pro-type-union-access,cert-err33-c)
    switch (placeholder::kind_of(code)) {
    case placeholder::text: return operand.text;
    case placeholder::hexadecimal:
        snprintf(number.digits, sizeof number.digits, "%04x", operand.number);
        return number.digits;
    default: snprintf(number.digits, sizeof number.digits, "%d", operand.number); return number.digits;
    }
    // NOLINTEND(cppcoreguidelines-pro-type-union-access,cert-err33-c)
}

} // namespace

size_t fill(char* out, size_t size, const char* packed, const Operand* operands) {
    const size_t room = size - 1;
    size_t length = 0;
    for (; *packed != '\0' && length < room; ++packed) {
        const auto code = static_cast<uint8_t>(*packed);
        if (code < first_phrase && !placeholder::is_encoded(code)) {
            out[length++] = *packed;
            continue;
        }
        Number number{};
        for (const char* from = expand(code, operands, number); *from != '\0' && length < room; ++from)
            out[length++] = *from;
    }
    out[length] = '\0';
    return length;
}

ShortText compose_packed(const char* packed, const Operand* operands) {
    ShortText result{};
    fill(result.text, sizeof result.text, packed, operands);
    return result;
}
