// Reading extraction points and what rules ask of them.
#include "classify/extraction.h"

#include "common/scan.h"

namespace {

constexpr int32_t highest_offset = 1532;

// No number crosses a comma, so a field needs no end of its own.
const char* next_field(const char* text) {
    while (*text != '\0' && *text != ',')
        ++text;
    return *text == ',' ? text + 1 : text;
}

constexpr bool is_width(int32_t width) {
    return width == 1 || width == 2 || width == 4;
}

ExtractionPoint parse_point(const char* field) {
    int32_t offset = 0;
    int32_t width = 4;
    if (!scan_decimal(field, offset)) return {0, 0};
    if (scan_literal(field, '/')) scan_decimal(field, width);
    if (!is_width(width)) return {0, 0};
    if (offset > highest_offset) offset = highest_offset;
    return {static_cast<uint16_t>(offset), static_cast<uint16_t>(width)};
}

bool parse_match(const char* field, ExtractionMatch& match) {
    uint32_t value = 0;
    uint32_t mask = 0xffffffff;
    if (!scan_hex(field, value)) return false;
    if (scan_literal(field, '/')) scan_hex(field, mask);
    match = {value & mask, mask};
    return true;
}

} // namespace

void parse_extraction_points(const char* text, ExtractionPoint* points) {
    for (size_t i = 0; i < extraction_point_count; ++i) {
        points[i] = parse_point(text);
        text = next_field(text);
    }
}

uint32_t parse_extraction_matches(const char* text, ExtractionMatch* matches) {
    uint32_t present = 0;
    for (size_t i = 0; i < extraction_point_count; ++i) {
        matches[i] = {0, 0};
        if (parse_match(text, matches[i])) present |= rule_field::first_extraction << i;
        text = next_field(text);
    }
    return present;
}
