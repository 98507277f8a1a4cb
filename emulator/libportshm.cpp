// libportshm of the emulated switch.
#include "core/call.h"
#include "core/sidecalls.h"
#include "platform/portshm.h"

using emulator::Call;
using notation::Hex;

int32_t portshm_create_port(int32_t port, int32_t kind, int32_t ether) {
    return Call(__func__, port, kind, ether).tell([&] { return emulator::table_create_port(port, kind, ether); });
}
int32_t portshm_delete_port(int32_t port, int32_t kind) {
    return Call(__func__, port, kind).tell([&] { return emulator::table_delete_port(port, kind); });
}
int32_t portshm_enable_port(int32_t port, int32_t kind) {
    return Call(__func__, port, kind).tell([&] { return emulator::table_enable_port(port, kind, true); });
}
int32_t portshm_disable_port(int32_t port, int32_t kind) {
    return Call(__func__, port, kind).tell([&] { return emulator::table_enable_port(port, kind, false); });
}
int32_t portshm_add_port_vlan(int32_t port, int32_t kind, uint32_t vid) {
    return Call(__func__, port, kind, vid).tell([&] { return emulator::table_add_port_vlan(port, kind, vid); });
}
int32_t portshm_rm_port_vlan(int32_t port, int32_t kind, uint32_t vid) {
    return Call(__func__, port, kind, vid).tell([&] { return emulator::table_rm_port_vlan(port, kind, vid); });
}
int32_t portshm_set_port_linkmode(int32_t port, int32_t mode) {
    return Call(__func__, port, mode).tell([&] { return emulator::table_set_port_linkmode(port, mode); });
}
int32_t portshm_set_port_linkdepend(int32_t port, int32_t type, uint32_t port_mask) {
    return Call(__func__, port, type, Hex{port_mask}).tell([&] {
        return emulator::table_set_port_linkdepend(port, type, port_mask);
    });
}
