// Names as a terminal and as a program can read them.
#include "companion/names.h"

#include <clocale>
#include <cstdint>
#include <cwchar>
#include <optional>

namespace {

struct Character {
    uint32_t code;
    size_t bytes;
};

constexpr Character leads[] = {{0x80, 2}, {0x800, 3}, {0x10000, 4}}; // the lowest code of each length

// None: the byte there belongs to no character.
std::optional<Character> character_at(std::string_view text, size_t at) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[at + i]); };
    if (byte(0) < 0x80) return Character{byte(0), 1};
    const size_t bytes = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : 2;
    if (byte(0) < 0xc0 || byte(0) > 0xf7 || at + bytes > text.size()) return std::nullopt;
    uint32_t code = byte(0) & (0x7fU >> bytes);
    for (size_t i = 1; i < bytes; ++i) {
        if ((byte(i) & 0xc0U) != 0x80) return std::nullopt;
        code = code << 6 | (byte(i) & 0x3fU);
    }
    const bool is_surrogate = code >= 0xd800 && code <= 0xdfff;
    if (code < leads[bytes - 2].code || code > 0x10ffff || is_surrogate) return std::nullopt;
    return Character{code, bytes};
}

// Characters without a form that change how those around them are shown.
bool steers_the_display(uint32_t code) {
    return code == 0xad || code == 0x61c || (code >= 0x200b && code <= 0x200f) || (code >= 0x2028 && code <= 0x202e) ||
           (code >= 0x2060 && code <= 0x206f) || code == 0xfeff || (code >= 0xfff0 && code <= 0xfffb) ||
           code >= 0xe0000;
}

// The width of a character on a terminal, negative where it has no form.
int width_of(uint32_t code) {
    if (code < 0x80) return code < 0x20 || code == 0x7f ? -1 : 1;
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (utf8 == nullptr || steers_the_display(code)) return -1;
    const locale_t before = uselocale(utf8);
    const int width = wcwidth(static_cast<wchar_t>(code));
    uselocale(before);
    return width;
}

void append_escaped(std::string& out, unsigned char byte) {
    static constexpr char digits[] = "0123456789abcdef";
    if (byte == '\n')
        out += "\\n";
    else if (byte == '\t')
        out += "\\t";
    else
        out += {'\\', 'x', digits[byte >> 4U], digits[byte & 15U]};
}

void append_private(std::string& out, unsigned char byte) {
    const uint32_t code = 0xf700U + byte;
    out += {static_cast<char>(0xe0U | code >> 12U), static_cast<char>(0x80U | (code >> 6U & 0x3fU)),
            static_cast<char>(0x80U | (code & 0x3fU))};
}

// Walks over the characters: `take` for those that `is_kept`, `escape` for each byte of all others.
template <typename Keep, typename Escape> std::string rewritten(std::string_view bytes, Keep is_kept, Escape escape) {
    std::string out;
    for (size_t at = 0; at < bytes.size();) {
        const std::optional<Character> found = character_at(bytes, at);
        const size_t length = found ? found->bytes : 1;
        if (found && is_kept(found->code))
            out += bytes.substr(at, length);
        else
            for (const char c : bytes.substr(at, length))
                escape(out, static_cast<unsigned char>(c));
        at += length;
    }
    return out;
}

} // namespace

std::string shown(std::string_view bytes) {
    return rewritten(
        bytes, [](uint32_t code) { return code != '\\' && width_of(code) >= 0; },
        [](std::string& out, unsigned char byte) {
            if (byte == '\\')
                out += "\\\\";
            else
                append_escaped(out, byte);
        });
}

std::string shown_ascii(std::string_view text) {
    return rewritten(
        text, [](uint32_t code) { return code >= 0x20 && code < 0x7f; }, append_escaped);
}

size_t columns_of(std::string_view text) {
    size_t columns = 0;
    for (size_t at = 0; at < text.size();) {
        const std::optional<Character> found = character_at(text, at);
        const int width = found ? width_of(found->code) : 1;
        columns += width > 0 ? static_cast<size_t>(width) : 0;
        at += found ? found->bytes : 1;
    }
    return columns;
}

std::string as_utf8(std::string_view bytes) {
    return rewritten(
        bytes, [](uint32_t code) { return code < 0xf780 || code > 0xf7ff; }, append_private);
}
