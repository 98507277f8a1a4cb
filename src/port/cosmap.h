// The text form of a class-of-service map.
#pragma once

#include "platform/brgfdb.h"

// The class (0 to 7) of each of the eight priorities; bit i of `given` is set where the text holds a digit for entry i.
struct CosMap {
    uint32_t given;
    uint32_t classes[priority_count];
};

// Eight entries, each a digit 0 to 7 or nothing (class 0), with a comma behind each but the last. Commas between digits
// may be left out, so 01234567 is 0,1,2,3,4,5,6,7; a comma that ends the text opens one more, empty entry. Returns
// whether the text is such a map; `map` is of no use when not.
bool parse_cosmap(const char* text, CosMap& map);
