// Texts that the compiler packs into one run of bytes: tables of words, tables of messages, single messages.
//
// On the switch a text that is stored for itself costs sixteen bytes, and a relocation at every start, for its address
// alone. So the rows of a table stand one behind the other, phrases that come back again and again are one byte each
// (common/phrases.h), and so are the placeholders of operands. All of this happens in constant expressions; what is
// left at run time is to walk a table and to fill a text (common/text.h).
#pragma once

#include "common/phrases.h"
#include "platform/words.h"

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <type_traits>

// A row of a table of messages: what to say for a status. The rows of words are in platform/words.h.
struct NumberedText {
    int32_t number; // 0 to 65534
    const char* text;
};

// The number that ends every packed table. As the last row of messages it stands for all numbers without a row.
constexpr int32_t otherwise = 0xffff;

// What a packed table of messages has for a number: the text of its row, or of the last one.
const char* find_text(const char* packed_messages, int32_t number);

// What a packed table of words has for a word: its number, or `otherwise`.
int32_t find_number(const char* packed_words, const char* word, const char* end);

// A placeholder is packed into one byte that says which operand it shows, and how.
namespace placeholder {
enum Kind : uint8_t { decimal, hexadecimal, text, kinds };
constexpr size_t most_operands = 3;
constexpr uint8_t first = 0x10; // control characters that no text contains

constexpr uint8_t encode(size_t operand, Kind kind) {
    return static_cast<uint8_t>(first + operand * kinds + kind);
}
constexpr bool is_encoded(uint8_t code) {
    return code >= first && code < first + most_operands * kinds;
}
constexpr size_t operand_of(uint8_t code) {
    return static_cast<size_t>(code - first) / kinds;
}
constexpr Kind kind_of(uint8_t code) {
    return static_cast<Kind>((code - first) % kinds);
}
} // namespace placeholder

// A phrase is packed into the byte of this number plus its index.
constexpr uint8_t first_phrase = 0x80; // texts are ASCII
static_assert(std::size(phrases) <= 0x100 - first_phrase);

// Everything in this namespace runs at compile time.
namespace packing {

struct Buffer {
    char bytes[2048];
    size_t size;
};

template <size_t Size> struct Bytes { char bytes[Size]; };

void text_is_malformed(); // never defined: what leads here does not compile

constexpr void append(Buffer& buffer, uint8_t code) {
    buffer.bytes[buffer.size++] = static_cast<char>(code);
}

// Two bytes, the high one first.
constexpr void append_number(Buffer& buffer, int32_t number) {
    if (number < 0 || number > otherwise) text_is_malformed();
    const auto bits = static_cast<uint32_t>(number);
    append(buffer, static_cast<uint8_t>(bits >> 8));
    append(buffer, static_cast<uint8_t>(bits));
}

// A text as it is.
constexpr void append_word(Buffer& buffer, const char* word) {
    for (; *word != '\0'; ++word)
        append(buffer, static_cast<uint8_t>(*word));
    append(buffer, 0);
}

// How much of the text the phrase is, 0 when the text does not begin with it.
constexpr size_t length_of_phrase(const char* phrase, const char* text) {
    size_t length = 0;
    for (; phrase[length] != '\0'; ++length)
        if (phrase[length] != text[length]) return 0;
    return length;
}

// The longest phrase that the text begins with, or its first character; returns what is behind it.
constexpr const char* append_piece(Buffer& buffer, const char* text) {
    auto code = static_cast<uint8_t>(*text);
    if (placeholder::is_encoded(code) || code >= first_phrase) text_is_malformed();
    size_t longest = 1;
    for (size_t i = 0; i < std::size(phrases); ++i) {
        const size_t length = length_of_phrase(phrases[i], text);
        if (length <= longest) continue;
        longest = length;
        code = static_cast<uint8_t>(first_phrase + i);
    }
    append(buffer, code);
    return text + longest;
}

// A text without placeholders.
constexpr void append_text(Buffer& buffer, const char* text) {
    while (*text != '\0')
        text = append_piece(buffer, text);
    append(buffer, 0);
}

// A text with placeholders: {0} is the first operand, a text or a number in decimal; {1:04x} is the second, a number in
// hexadecimal with at least four digits.
template <typename... Operands> constexpr void append_message(Buffer& buffer, const char* message) {
    static_assert(sizeof...(Operands) <= placeholder::most_operands);
    constexpr bool is_text[] = {std::is_convertible_v<Operands, const char*>..., false}; // the others are numbers
    while (*message != '\0') {
        if (*message != '{') {
            message = append_piece(buffer, message);
            continue;
        }
        const auto operand = static_cast<size_t>(*++message - '0');
        if (operand >= sizeof...(Operands)) text_is_malformed();
        placeholder::Kind kind = is_text[operand] ? placeholder::text : placeholder::decimal;
        ++message;
        if (const size_t length = length_of_phrase(":04x", message); length > 0) {
            if (kind == placeholder::text) text_is_malformed();
            kind = placeholder::hexadecimal;
            message += length;
        }
        if (*message++ != '}') text_is_malformed();
        append(buffer, placeholder::encode(operand, kind));
    }
    append(buffer, 0);
}

// What `pack` appends to a buffer, in as many bytes as it takes.
template <typename Pack> consteval auto pack_with(Pack /*pack*/) {
    constexpr Buffer all = [] {
        Buffer buffer{};
        Pack{}(buffer);
        return buffer;
    }();
    Bytes<all.size> packed{};
    for (size_t i = 0; i < all.size; ++i)
        packed.bytes[i] = all.bytes[i];
    return packed;
}

// NOLINTBEGIN(bugprone-dynamic-static-initializers): what is constexpr is never initialised at run time, in a template
// neither.

// The table, packed.
template <const auto& Words> const char* words() {
    static constexpr auto packed = pack_with([](Buffer& buffer) {
        for (const NumberedWord& row : Words) {
            append_number(buffer, row.number);
            append_word(buffer, row.word);
        }
        append_number(buffer, otherwise);
    });
    return packed.bytes;
}

// The table, packed for operands of these types.
template <const auto& Messages, typename... Operands> const char* messages() {
    static_assert(std::end(Messages)[-1].number == otherwise);
    static constexpr auto packed = pack_with([](Buffer& buffer) {
        for (const NumberedText& row : Messages) {
            append_number(buffer, row.number);
            append_message<Operands...>(buffer, row.text);
        }
    });
    return packed.bytes;
}

// A text as a template argument.
template <size_t Size> struct Literal {
    char characters[Size] = {};
    consteval Literal(const char (&text)[Size]) {
        for (size_t i = 0; i < Size; ++i)
            characters[i] = text[i];
    }
};

// The message, packed for operands of these types.
template <Literal Message, typename... Operands> const char* message() {
    static constexpr auto packed =
        pack_with([](Buffer& buffer) { append_message<Operands...>(buffer, Message.characters); });
    return packed.bytes;
}

// NOLINTEND(bugprone-dynamic-static-initializers)

} // namespace packing
