// The port table that the processes of the switch share, libportshm. It holds physical ports, numbers 1 to 10, and
// logical ports, numbers 101 to 164; `common/port_kind.h` tells them apart. It is told after the bridge library has
// taken a change, and nobody looks at its results.
#pragma once

#ifdef __cplusplus
#include <cstdint>

namespace port_kind {
constexpr int32_t physical = 1;
constexpr int32_t logical = 2;
} // namespace port_kind

constexpr int32_t lowest_physical_port = 1;
constexpr int32_t highest_physical_port = 10;
constexpr int32_t lowest_logical_port = 101;
constexpr int32_t highest_logical_port = 164;

extern "C" {
#else
#include "numbers.h" // the numbers for C

#include <stdint.h>
#endif

// `ether` is the physical interface of a physical port, 0 for a logical one.
int32_t portshm_create_port(int32_t port, int32_t kind, int32_t ether);
int32_t portshm_delete_port(int32_t port, int32_t kind);
int32_t portshm_enable_port(int32_t port, int32_t kind);
int32_t portshm_disable_port(int32_t port, int32_t kind);

int32_t portshm_add_port_vlan(int32_t port, int32_t kind, uint32_t vid);
int32_t portshm_rm_port_vlan(int32_t port, int32_t kind, uint32_t vid);

// For logical ports only, with the numbers of `brgfdb_set_link_mode` and `brgfdb_set_link_depend`.
int32_t portshm_set_port_linkmode(int32_t port, int32_t mode);
int32_t portshm_set_port_linkdepend(int32_t port, int32_t type, uint32_t port_mask);

#ifdef __cplusplus
} // extern "C"
#endif
