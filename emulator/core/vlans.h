// VLANs and their options. Each operation returns 0 or the status with which the switch refuses.
#pragma once

#include <cstdint>

namespace emulator {

bool vlan_exists(uint32_t vid);

int32_t get_vid(const char* name, uint32_t& vid);
int32_t create_vlan(const char* name, int32_t& vid);
int32_t delete_vlan(uint32_t vid);
int32_t set_vlan_sld(uint32_t vid, int32_t on);
int32_t set_vlan_learninglimit(uint32_t vid, int32_t limit);
int32_t set_vlan_ignore_fdb(uint32_t vid, int32_t on);
int32_t set_vlan_learning_off(uint32_t vid, int32_t off);

} // namespace emulator
