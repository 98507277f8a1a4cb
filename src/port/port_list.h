// The text form of a set of physical ports.
#pragma once

#include <cstdint>

// Numbers and ranges separated by commas, as in 1,3-4; ports 1 to 4, a reversed range counts from its lower end, 0 and
// empty items name no port. Bit (port - 1) of `mask` is set for each port, the others
// are clear. Returns whether the text is such a list; `mask` is of no use when not.
bool parse_port_list(const char* text, uint32_t& mask);
