// The written form of a library call.
#include "notation.h"

#include <cstring>

namespace notation {

void write_hex_digits(Text& out, uint32_t value, int digits) {
    for (int i = digits - 1; i >= 0; --i)
        out.put("0123456789abcdef"[value >> (4 * i) & 15U]);
}

// At least `digits` digits, more where the value needs them.
void write_address(Text& out, uint32_t address) {
    for (int shift = 24; shift >= 0; shift -= 8) {
        write_unsigned(out, address >> shift & 255U);
        if (shift > 0) out.put('.');
    }
}

namespace {

void write_hex(Text& out, uint32_t value, int digits = 1) {
    while (digits < 8 && value >> (4 * digits) != 0)
        ++digits;
    out.put("0x");
    write_hex_digits(out, value, digits);
}

template <typename Word> Word word_at(const void* record, size_t offset) {
    Word word;
    memcpy(&word, static_cast<const char*>(record) + offset, sizeof word);
    return word;
}

enum class SlotStyle { decimal, hex, address };

void write_slot_value(Text& out, uint32_t value, SlotStyle style) {
    switch (style) {
    case SlotStyle::decimal: return write_unsigned(out, value);
    case SlotStyle::hex: return write_hex(out, value, 4);
    case SlotStyle::address: return write_address(out, value);
    }
}

// Four words of the slot's width: low, high, mask, range flag. A slot in neither of the two usual shapes (a flag that
// is not 0 or 1, a high value without the flag) is written word by word.
template <typename Word>
void write_slot(Text& out, const char* name, const void* rule, size_t offset, SlotStyle style) {
    const uint32_t low = word_at<Word>(rule, offset);
    const uint32_t high = word_at<Word>(rule, offset + sizeof(Word));
    const uint32_t mask = word_at<Word>(rule, offset + 2 * sizeof(Word));
    const uint32_t is_range = word_at<Word>(rule, offset + 3 * sizeof(Word));
    if ((low | high | mask | is_range) == 0) return;
    out.put(' ');
    out.put(name);
    out.put(' ');
    if (is_range > 1 || (is_range == 0 && high != 0)) {
        out.put("words");
        const uint32_t words[] = {low, high, mask, is_range};
        for (const uint32_t word : words) {
            out.put(' ');
            write_hex(out, word);
        }
        return;
    }
    write_slot_value(out, low, style);
    if (is_range == 1) {
        out.put('-');
        write_slot_value(out, high, style);
    }
    out.put('/');
    write_hex(out, mask, 2 * static_cast<int>(sizeof(Word)));
}

} // namespace

void Text::put(char c) {
    if (length + 1 >= capacity) {
        is_cut = true;
        return;
    }
    buffer[length++] = c;
    buffer[length] = '\0';
}

void Text::put(const char* text) {
    for (; *text != '\0'; ++text)
        put(*text);
}

void write_unsigned(Text& out, uint32_t value) {
    char digits[10];
    size_t count = 0;
    do {
        digits[count++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (count > 0)
        out.put(digits[--count]);
}

void write_signed(Text& out, int32_t value) {
    if (value < 0) out.put('-');
    write_unsigned(out, value < 0 ? 0U - static_cast<uint32_t>(value) : static_cast<uint32_t>(value));
}

void write_quoted(Text& out, const char* text) {
    if (text == nullptr) return out.put("null");
    out.put('"');
    for (; *text != '\0'; ++text) {
        const auto byte = static_cast<unsigned char>(*text);
        if (*text == '"' || *text == '\\') {
            out.put('\\');
            out.put(*text);
        } else if (*text == '\n') {
            out.put("\\n");
        } else if (*text == '\t') {
            out.put("\\t");
        } else if (byte < 0x20 || byte >= 0x7f) {
            out.put("\\x");
            write_hex_digits(out, byte, 2);
        } else {
            out.put(*text);
        }
    }
    out.put('"');
}

void write(Text& out, int32_t value) {
    write_signed(out, value);
}
void write(Text& out, uint32_t value) {
    write_unsigned(out, value);
}
void write(Text& out, uint16_t value) {
    write_unsigned(out, value);
}
void write(Text& out, const char* text) {
    write_quoted(out, text);
}
void write(Text& out, Hex hex) {
    write_hex(out, hex.value, hex.digits);
}

void write(Text& out, Mac mac) {
    for (int i = 0; i < 6; ++i) {
        if (i > 0) out.put(':');
        write_hex_digits(out, mac.bytes[i], 2);
    }
}

void write(Text& out, Words array) {
    out.put('{');
    for (size_t i = 0; i < array.count; ++i) {
        if (i > 0) out.put(' ');
        if (array.in_hex)
            write_hex(out, array.words[i]);
        else
            write_unsigned(out, array.words[i]);
    }
    out.put('}');
}

void write(Text& out, ParameterRecord record) {
    out.put('{');
    for (size_t offset = 0; offset < 10; offset += 2) {
        if (offset > 0) out.put(' ');
        write_hex(out, word_at<uint16_t>(record.bytes, offset), 4);
    }
    out.put('}');
}

void write(Text& out, PointTable table) {
    out.put('{');
    for (size_t offset = 0; offset < 16; offset += 4) {
        if (offset > 0) out.put(' ');
        write_unsigned(out, word_at<uint16_t>(table.bytes, offset));
        out.put('/');
        write_unsigned(out, word_at<uint16_t>(table.bytes, offset + 2));
    }
    out.put('}');
}

void write(Text& out, RuleRecord rule) {
    static constexpr const char* markings[] = {"normal", "dot1p", "dscp"};
    static constexpr const char* colors[] = {"green", "yellow", "red"};
    const auto marking = word_at<uint32_t>(rule.bytes, 0);
    const auto color = word_at<uint8_t>(rule.bytes, 7);

    out.put('{');
    if (marking < 3)
        out.put(markings[marking]);
    else
        write_unsigned(out, marking);
    out.put(' ');
    write_unsigned(out, word_at<uint16_t>(rule.bytes, 4));
    out.put('/');
    write_unsigned(out, word_at<uint8_t>(rule.bytes, 6));
    out.put('/');
    if (color < 3)
        out.put(colors[color]);
    else
        write_unsigned(out, color);
    out.put(" present ");
    write_hex(out, word_at<uint32_t>(rule.bytes, 8), 8);

    write_slot<uint8_t>(out, "cos", rule.bytes, 12, SlotStyle::decimal);
    write_slot<uint16_t>(out, "vid", rule.bytes, 16, SlotStyle::decimal);
    write_slot<uint16_t>(out, "etype", rule.bytes, 24, SlotStyle::hex);
    write_slot<uint8_t>(out, "tos", rule.bytes, 32, SlotStyle::decimal);
    write_slot<uint8_t>(out, "prot", rule.bytes, 36, SlotStyle::decimal);
    write_slot<uint32_t>(out, "sa", rule.bytes, 40, SlotStyle::address);
    write_slot<uint32_t>(out, "da", rule.bytes, 56, SlotStyle::address);
    write_slot<uint16_t>(out, "sp", rule.bytes, 72, SlotStyle::decimal);
    write_slot<uint16_t>(out, "dp", rule.bytes, 80, SlotStyle::decimal);
    for (size_t i = 0; i < 4; ++i) {
        const auto value = word_at<uint32_t>(rule.bytes, 88 + 8 * i);
        const auto mask = word_at<uint32_t>(rule.bytes, 92 + 8 * i);
        if ((value | mask) == 0) continue;
        out.put(" ext");
        write_unsigned(out, static_cast<uint32_t>(i + 1));
        out.put(' ');
        write_hex(out, value);
        out.put('/');
        write_hex(out, mask, 8);
    }
    out.put('}');
}

} // namespace notation
