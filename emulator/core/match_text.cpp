// Matches as operands.
#include "core/match_text.h"

#include <bit>

namespace emulator {

namespace {

void write_value(notation::Text& out, MatchStyle style, uint32_t value) {
    switch (style) {
    case MatchStyle::decimal: return notation::write_unsigned(out, value);
    case MatchStyle::hex: return notation::write_hex_digits(out, value, value > 0xffff ? 8 : 4);
    case MatchStyle::address: return notation::write_address(out, value);
    case MatchStyle::extraction: break;
    }
    int digits = 1;
    while (digits < 8 && value >> (4 * digits) != 0)
        ++digits;
    notation::write_hex_digits(out, value, digits);
}

bool is_prefix(uint32_t mask) {
    const int length = std::countl_one(mask);
    return length == 32 || mask << length == 0;
}

void write_mask(notation::Text& out, const MatchField& field, uint32_t mask) {
    if (mask == field.full_mask()) return;
    out.put('/');
    if (field.style == MatchStyle::address && is_prefix(mask))
        notation::write_unsigned(out, static_cast<uint32_t>(std::countl_one(mask)));
    else
        write_value(out, MatchStyle::extraction, mask);
}

// Where a bound of the field (7 for cos, 4095 for vid) has pulled a value down, it may no longer fit under its mask.
// Then any value is typed that is pulled down in the same way; the mask itself is one.
uint32_t typed(const MatchField& field, uint32_t value, uint32_t mask) {
    const bool has_bound = field.style == MatchStyle::decimal;
    return has_bound && (value & mask) != value ? mask : value;
}

} // namespace

bool can_be_typed(const MatchField& field, const StoredMatch& match) {
    return field.style != MatchStyle::address || is_prefix(static_cast<uint32_t>(match.mask));
}

void write_match(notation::Text& out, const MatchField& field, const StoredMatch& match) {
    const auto mask = static_cast<uint32_t>(match.mask);
    write_value(out, field.style, typed(field, static_cast<uint32_t>(match.low), mask));
    if (match.high) {
        out.put('-');
        write_value(out, field.style, typed(field, static_cast<uint32_t>(*match.high), mask));
    }
    write_mask(out, field, mask);
}

} // namespace emulator
