// What VLAN membership and the protocol groups themselves share.
#pragma once

#include <cstdint>

// Reads a group id; 316, with `shown` as the offending text, when it is no number, 212 when it is out of range.
uint16_t read_protgroup(const char* word, const char* shown);

// Prints the NG document of a status that a protocol-group call gave, and returns.
void report_protgroup_error(int32_t status, uint16_t protgroup, uint16_t ether_type);
