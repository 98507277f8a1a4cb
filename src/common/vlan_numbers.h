// VLAN ids and tag protocol identifiers as operands.
#pragma once

#include "common/arithmetic.h"
#include "platform/brgfdb.h"

constexpr bool is_tagged_vlan_id(int32_t vid) {
    return is_within(vid, vlan_id::lowest_tagged, vlan_id::highest_tagged);
}

constexpr bool is_local_vlan_id(int32_t vid) {
    return is_within(vid, vlan_id::lowest_local, vlan_id::highest_local);
}

// An id of either kind: 307 for what is no number, 201 for other numbers, whose message names the first kind only.
int32_t read_vlan_id(const char* word);

// Hexadecimal, 0 to ffff: 309 for what is no number, 204 for others.
uint16_t read_tag_type(const char* word);
