// Ports in VLANs. Each operation returns 0 or the status with which the switch refuses.
#pragma once

#include <cstdint>

namespace emulator {

int32_t add_port_to_vlan(uint32_t vid, int32_t port, int32_t tagged, uint32_t tag_type, int32_t by_protgroup,
                         uint16_t protgroup);
int32_t rem_port_from_vlan(uint32_t vid, int32_t port);

} // namespace emulator
