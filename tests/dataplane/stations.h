// Whose frames the tests send.
#pragma once

#include "dataplane/tables.h"

#include <cstdint>

namespace dataplane_test {

constexpr dataplane::Mac anna = 0x020000000001;
constexpr dataplane::Mac berta = 0x020000000002;
constexpr dataplane::Mac carla = 0x020000000003;

constexpr uint16_t arp = 0x0806; // the Ethernet type of what they mostly send

} // namespace dataplane_test
