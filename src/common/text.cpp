// Filling texts with operands.
#include "common/text.h"

#include <cstdio>

namespace {

constexpr auto packed_phrases = packing::pack_with([](packing::Buffer& buffer) {
    for (const char* phrase : phrases)
        packing::append_word(buffer, phrase);
});

const char* phrase(uint8_t code) {
    const char* text = packed_phrases.bytes;
    for (; code > first_phrase; --code)
        text = end_of(text) + 1;
    return text;
}

// What one byte of a packed text stands for.
struct Piece {
    char own[sizeof "-2147483648"] = {}; // when it stands nowhere else
    const char* text = own;
};

void read_piece(uint8_t code, const Operand* operands, Piece& piece) {
    if (code >= first_phrase) {
        piece.text = phrase(code);
        return;
    }
    if (!placeholder::is_encoded(code)) {
        piece.own[0] = static_cast<char>(code);
        return;
    }
    const Operand& operand = operands[placeholder::operand_of(code)];
    // Which member counts was checked when the text was compiled, and no number is longer than the buffer.
    // NOLINTBEGIN(cppcoreguidelines-pro-type-union-access,cert-err33-c)
    switch (placeholder::kind_of(code)) {
    case placeholder::text: piece.text = operand.text; break;
    case placeholder::hexadecimal: snprintf(piece.own, sizeof piece.own, "%04x", operand.number); break;
    default: snprintf(piece.own, sizeof piece.own, "%d", operand.number);
    }
    // NOLINTEND(cppcoreguidelines-pro-type-union-access,cert-err33-c)
}

} // namespace

size_t fill(char* out, size_t size, const char* packed, const Operand* operands) {
    size_t length = 0;
    for (; *packed != '\0'; ++packed) {
        Piece piece;
        read_piece(static_cast<uint8_t>(*packed), operands, piece);
        for (const char* from = piece.text; *from != '\0' && length < size - 1; ++from)
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
