// Mirrors. Each operation returns 0 or the status with which the switch refuses.
#pragma once

#include "platform/brgfdb.h"

namespace emulator {

int32_t create_mirror(uint16_t mirror);
int32_t delete_mirror(uint16_t mirror);
int32_t enable_mirror(uint16_t mirror);
int32_t disable_mirror(uint16_t mirror);
int32_t set_mirror_source(uint16_t mirror, int32_t type, uint16_t port, uint16_t vid);
int32_t set_mirror_dest(uint16_t mirror, uint16_t port);
int32_t set_mirror_classify(uint16_t mirror, uint16_t stream, int32_t traffic_class, int32_t color);
int32_t set_mirror_tag(uint16_t mirror, int32_t on, uint16_t tag_type, uint16_t vid);

// A port or VLAN that goes is taken out of the mirrors; one that is no longer complete is disabled.
void forget_port_in_mirrors(int32_t port);
void forget_vlan_in_mirrors(uint32_t vid);

} // namespace emulator
