// libportshm, recorded.
#include "recorder.h"

#include "platform/portshm.h"

using notation::Hex;
using recorder::tell;

int32_t portshm_create_port(int32_t port, int32_t kind, int32_t ether) {
    return tell(__func__, port, kind, ether);
}
int32_t portshm_delete_port(int32_t port, int32_t kind) {
    return tell(__func__, port, kind);
}
int32_t portshm_enable_port(int32_t port, int32_t kind) {
    return tell(__func__, port, kind);
}
int32_t portshm_disable_port(int32_t port, int32_t kind) {
    return tell(__func__, port, kind);
}
int32_t portshm_add_port_vlan(int32_t port, int32_t kind, uint32_t vid) {
    return tell(__func__, port, kind, vid);
}
int32_t portshm_rm_port_vlan(int32_t port, int32_t kind, uint32_t vid) {
    return tell(__func__, port, kind, vid);
}
int32_t portshm_set_port_linkmode(int32_t port, int32_t mode) {
    return tell(__func__, port, mode);
}
int32_t portshm_set_port_linkdepend(int32_t port, int32_t type, uint32_t port_mask) {
    return tell(__func__, port, type, Hex{port_mask});
}
