// libtrapevent of the emulated switch.
#include "core/call.h"
#include "core/sidecalls.h"
#include "platform/trapevent.h"

using emulator::Call;

int32_t libev_BridgePort_Status(int32_t zero, int32_t port, int32_t type, int32_t event) {
    return Call(__func__, zero, port, type, event).tell([&] {
        return emulator::raise_port_event(zero, port, type, event);
    });
}
int32_t libev_PortVlan_Status(int32_t zero, int32_t port, const char* vlan, int32_t event) {
    return Call(__func__, zero, port, vlan, event).tell([&] {
        return emulator::raise_membership_event(zero, port, vlan, event);
    });
}
int32_t libev_Queue_Status(int32_t zero, int32_t port, int32_t stream, int32_t traffic_class, int32_t event) {
    return Call(__func__, zero, port, stream, traffic_class, event).tell([&] {
        return emulator::raise_queue_event(zero, port, stream, traffic_class, event);
    });
}
