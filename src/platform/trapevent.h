// Trap events, libtrapevent: what the management station is told of. The first argument is always 0. Nobody looks at
// the results.
#pragma once

#ifdef __cplusplus
#include <cstdint>

namespace trap_event {
constexpr int32_t added = 1; // created, or made a member
constexpr int32_t gone = 2;  // deleted, or taken out
constexpr int32_t no_type = -1;
} // namespace trap_event

extern "C" {
#else
#include "numbers.h" // the numbers for C

#include <stdint.h>
#endif

// `type` is the port type, no_type when the port is gone.
int32_t libev_BridgePort_Status(int32_t zero, int32_t port, int32_t type, int32_t event);
int32_t libev_PortVlan_Status(int32_t zero, int32_t port, const char* vlan, int32_t event);

// Port and stream count from 1, the class from 0.
int32_t libev_Queue_Status(int32_t zero, int32_t port, int32_t stream, int32_t traffic_class, int32_t event);

#ifdef __cplusplus
} // extern "C"
#endif
