// The text form of a ToS map.
#pragma once

#include "platform/brgfdb.h"

// Eight entries. Bit i of `present` is set when entry i was given; one that was not has value 0 and mask 0, one given
// without a mask has mask 255.
struct TosMap {
    uint32_t present;
    uint32_t values[tosmap_entry_count];
    uint32_t masks[tosmap_entry_count];
};

// Up to eight fields separated by commas, each empty, a hexadecimal value, or value/mask. Digits only: no prefix, no
// sign, no blanks; longer numbers wrap around at 32 bits. A comma that ends the text turns the field before it, unless
// empty, into value 0 with mask 255. What follows the eighth field is not looked at. Returns 0, or 1 for a character
// that does not belong here; `map` is then of no use.
int32_t parse_tosmap(const char* text, TosMap& map);
