// Match operands of classification rules: a value, a range, or either under a mask. A text that is none of these, or a
// reversed range, is a wildcard: the parser returns false and leaves the slot alone.
#pragma once

#include "platform/brgfdb.h"

// Decimal, with a hexadecimal mask: 5, 3-7, 5/f0, 3-7/ff. -5 is 0-5. Values are cut to the mask first, that of all bits
// where none is typed, so that 256 is 0 in a slot of 8 bits; what is then above `highest` becomes `highest`.
bool parse_decimal_match(const char* text, uint8_t highest, MatchSlot<uint8_t>& slot);
bool parse_decimal_match(const char* text, uint16_t highest, MatchSlot<uint16_t>& slot);

// Hexadecimal in all parts: 800, 86dd-88a8, 800/ff00.
bool parse_hex_match(const char* text, MatchSlot<uint16_t>& slot);

// IPv4: 10.0.0.1, 10.0.0.1-10.0.0.9, either with a prefix length of 0 to 32 behind a slash.
bool parse_address_match(const char* text, MatchSlot<uint32_t>& slot);

// An IP protocol: a name or number of the system's protocol database, else as a decimal match.
bool parse_protocol_match(const char* text, MatchSlot<uint8_t>& slot);
