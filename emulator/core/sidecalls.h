// The port table, the registry of names and the trap events: what the tool tells the other processes of the switch
// after the bridge has taken a change. Each operation returns 0, or -1 where it is about a port or a name that was
// never told.
#pragma once

#include <cstdint>

namespace emulator {

int32_t table_create_port(int32_t port, int32_t kind, int32_t ether);
int32_t table_delete_port(int32_t port, int32_t kind);
int32_t table_enable_port(int32_t port, int32_t kind, bool enabled);
int32_t table_add_port_vlan(int32_t port, int32_t kind, uint32_t vid);
int32_t table_rm_port_vlan(int32_t port, int32_t kind, uint32_t vid);
int32_t table_set_port_linkmode(int32_t port, int32_t mode);
int32_t table_set_port_linkdepend(int32_t port, int32_t type, uint32_t port_mask);

int32_t register_name(const char* category, const char* name, int32_t id);
int32_t unregister_name(const char* category, const char* name);

int32_t raise_port_event(int32_t first, int32_t port, int32_t type, int32_t event);
int32_t raise_membership_event(int32_t first, int32_t port, const char* vlan, int32_t event);
int32_t raise_queue_event(int32_t first, int32_t port, int32_t stream, int32_t traffic_class, int32_t event);

} // namespace emulator
