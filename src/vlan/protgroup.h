// What VLAN membership and the protocol groups themselves share.
#pragma once

#include <cstdint>

// A group id, 0 to 65535: 316 for what is no number, quoting `shown` in place of it, 212 for other numbers.
uint16_t read_protgroup(const char* word, const char* shown);

// Prints the NG document for the status of a call about protocol groups, and returns.
void report_protgroup_error(int32_t status, uint16_t protgroup, uint16_t ether_type);
