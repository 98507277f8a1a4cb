// VLANs as operands: by name, by id; and tag types.
#pragma once

#include "common/arithmetic.h"
#include "platform/brgfdb.h"

constexpr bool is_tagged_vlan_id(int32_t vid) {
    return is_within(vid, vlan_id::lowest_tagged, vlan_id::highest_tagged);
}

constexpr bool is_local_vlan_id(int32_t vid) {
    return is_within(vid, vlan_id::lowest_local, vlan_id::highest_local);
}

// Asks the bridge library for the id of a VLAN: 0 and the id, or -1 and the id 0 when there is none of that name.
int32_t vlan_name_to_vid(const char* name, uint32_t* vid);

// The id of the VLAN of that name; 103 when there is none.
uint32_t read_vlan(const char* name);

// An id, tagged or local: 307 for what is no number, 201 for other numbers, whose message names the tagged ones only.
int32_t read_vlan_id(const char* word);

// Hexadecimal, 0 to ffff: 309 for what is no number, 204 for others.
uint16_t read_tag_type(const char* word);
