// Operands about extraction points, fields of a frame that the user defines: up to four, separated by commas. Missing
// fields are empty, what follows a fourth comma is not looked at, and nothing in them is ever refused.
#pragma once

#include "platform/brgfdb.h"

// Fields of offset/width. The width is 4 where it is not given; an empty field, no number, or a width that is not 1, 2
// or 4 is offset 0 and width 0. Offsets above 1532 become 1532; negative ones are stored as their low 16 bits.
void parse_extraction_points(const char* text, ExtractionPoint* points);

// Hexadecimal fields of value/mask; the mask is 0xffffffff where it is not given. Returns the bits of
// `ClassifyRule::present` of the fields that hold a number; the others become 0/0.
uint32_t parse_extraction_matches(const char* text, ExtractionMatch* matches);
