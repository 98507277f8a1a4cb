// Reading class-of-service maps.
#include "port/cosmap.h"

bool parse_cosmap(const char* text, CosMap& map) {
    map = CosMap{};
    uint32_t entry = 0;
    while (entry < priority_count) {
        if (*text >= '0' && *text <= '7') {
            map.classes[entry] = static_cast<uint32_t>(*text - '0');
            map.given |= 1U << entry;
            if (text[1] == ',') {
                if (entry == priority_count - 1) return false;
                ++text;
            }
        } else if (*text != ',') {
            return false;
        }
        // The empty entry behind a last comma; behind an eighth comma there would be a ninth, which is never stored.
        if (*text == ',' && text[1] == '\0') ++entry;
        ++entry;
        ++text;
    }
    return *text == '\0';
}
