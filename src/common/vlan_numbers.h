// VLAN ids and tag protocol identifiers as operands.
#pragma once

#include "common/arithmetic.h"

// The ids of IEEE 802.1Q, the only ones that can stand in a tag.
constexpr bool is_tagged_vlan_id(int32_t vid) {
    return is_within(vid, 1, 4094);
}

// Ids that never leave the switch.
constexpr bool is_local_vlan_id(int32_t vid) {
    return is_within(vid, 4096, 8191);
}

constexpr uint16_t default_tag_type = 0x8100;

// An id of either kind: 307 for what is no number, 201 for other numbers, whose message names the first kind only.
int32_t read_vlan_id(const char* word);

// Hexadecimal, 0 to ffff: 309 for what is no number, 204 for others.
uint16_t read_tag_type(const char* word);
