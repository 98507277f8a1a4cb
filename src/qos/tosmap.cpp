// Reading ToS maps.
#include "qos/tosmap.h"

namespace {

bool parse_hex_digit(char c, uint32_t& digit) {
    if (c >= '0' && c <= '9')
        digit = static_cast<uint32_t>(c - '0');
    else if (c >= 'a' && c <= 'f')
        digit = static_cast<uint32_t>(c - 'a') + 10;
    else if (c >= 'A' && c <= 'F')
        digit = static_cast<uint32_t>(c - 'A') + 10;
    else
        return false;
    return true;
}

// The field that an entry is read from.
struct Field {
    uint32_t number = 0; // the value, or behind a slash the mask
    bool has_slash = false;
};

void close_field(TosMap& map, uint32_t entry, Field& field) {
    if (field.has_slash) {
        map.masks[entry] = field.number;
    } else if ((map.present & 1U << entry) != 0) {
        map.values[entry] = field.number;
        map.masks[entry] = 255;
    }
    field = Field{};
}

} // namespace

int32_t parse_tosmap(const char* text, TosMap& map) {
    map = TosMap{};
    for (uint32_t entry = 0; entry < tosmap_entry_count; ++entry) {
        Field field;
        for (; *text != '\0' && *text != ','; ++text) {
            uint32_t digit = 0;
            if (*text == '/') {
                map.values[entry] = field.number;
                field = {0, true};
            } else if (parse_hex_digit(*text, digit)) {
                field.number = field.number * 16 + digit;
            } else {
                return 1;
            }
            map.present |= 1U << entry;
        }
        close_field(map, entry, field);
        if (*text == ',') {
            ++text;
            // At the end of the text the field is closed twice, deliberately, the second time with the value 0.
            if (*text == '\0') close_field(map, entry, field);
        }
    }
    return 0;
}
