// Protocol groups. Each operation returns 0 or the status with which the switch refuses.
#pragma once

#include <cstdint>

namespace emulator {

bool protgroup_exists(uint16_t protgroup);

int32_t create_protgroup(uint16_t protgroup);
int32_t delete_protgroup(uint16_t protgroup);
int32_t add_prot_to_group(uint16_t ether_type, uint16_t protgroup);
int32_t remove_prot_from_group(uint16_t ether_type, uint16_t protgroup);

} // namespace emulator
