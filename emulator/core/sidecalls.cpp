// The port table, the registry of names and the trap events. The switch believes what it is told here: a port of the
// table need not be one of the bridge.
#include "core/sidecalls.h"

#include "core/limits.h"
#include "platform/portshm.h"

namespace emulator {

namespace {

int32_t changed_one(int64_t rows) {
    return rows == 1 ? 0 : -1;
}

bool has_port(int32_t port, int32_t kind) {
    return exists("SELECT 1 FROM port_table WHERE kind = ?1 AND port = ?2", kind, port);
}

int32_t keep_event(const char* object, int32_t first, int32_t port, OptionalNumber type, const char* vlan,
                   OptionalNumber stream, OptionalNumber traffic_class, int32_t event) {
    change("INSERT INTO trap_event (at, object, first, port, type, vlan, stream, traffic_class, event) "
           "VALUES (strftime('%Y-%m-%d %H:%M:%f'), ?1, ?2, ?3, ?4, ?5, ?6, ?7, ?8)",
           object, first, port, type, vlan, stream, traffic_class, event);
    prune("DELETE FROM trap_event WHERE id <= min(?1, (SELECT min(id) FROM trap_event) + ?2 - 1)", "trap_events");
    return 0;
}

} // namespace

// An entry that is there already was left by a process that did not get to its end.
int32_t table_create_port(int32_t port, int32_t kind, int32_t ether) {
    change("REPLACE INTO port_table (kind, port, ether) VALUES (?1, ?2, ?3)", kind, port, ether);
    return 0;
}

int32_t table_delete_port(int32_t port, int32_t kind) {
    return changed_one(change("DELETE FROM port_table WHERE kind = ?1 AND port = ?2", kind, port));
}

int32_t table_enable_port(int32_t port, int32_t kind, bool enabled) {
    return changed_one(change("UPDATE port_table SET enabled = ?3 WHERE kind = ?1 AND port = ?2", kind, port, enabled));
}

int32_t table_add_port_vlan(int32_t port, int32_t kind, uint32_t vid) {
    if (!has_port(port, kind)) return -1;
    change("REPLACE INTO port_table_vlan (kind, port, vid) VALUES (?1, ?2, ?3)", kind, port, vid);
    return 0;
}

int32_t table_rm_port_vlan(int32_t port, int32_t kind, uint32_t vid) {
    return changed_one(
        change("DELETE FROM port_table_vlan WHERE kind = ?1 AND port = ?2 AND vid = ?3", kind, port, vid));
}

int32_t table_set_port_linkmode(int32_t port, int32_t mode) {
    return changed_one(
        change("UPDATE port_table SET link_mode = ?3 WHERE kind = ?1 AND port = ?2", port_kind::logical, port, mode));
}

int32_t table_set_port_linkdepend(int32_t port, int32_t type, uint32_t port_mask) {
    return changed_one(
        change("UPDATE port_table SET link_depend = ?3, link_depend_ports = ?4 WHERE kind = ?1 AND port = ?2",
               port_kind::logical, port, type, port_mask));
}

int32_t register_name(const char* category, const char* name, int32_t id) {
    change("REPLACE INTO qualifier (category, name, id) VALUES (?1, ?2, ?3)", category, name, id);
    return 0;
}

int32_t unregister_name(const char* category, const char* name) {
    return changed_one(change("DELETE FROM qualifier WHERE category = ?1 AND name = ?2", category, name));
}

int32_t raise_port_event(int32_t first, int32_t port, int32_t type, int32_t event) {
    return keep_event("BridgePort", first, port, type, nullptr, std::nullopt, std::nullopt, event);
}

int32_t raise_membership_event(int32_t first, int32_t port, const char* vlan, int32_t event) {
    return keep_event("PortVlan", first, port, std::nullopt, vlan, std::nullopt, std::nullopt, event);
}

int32_t raise_queue_event(int32_t first, int32_t port, int32_t stream, int32_t traffic_class, int32_t event) {
    return keep_event("Queue", first, port, std::nullopt, nullptr, stream, traffic_class, event);
}

} // namespace emulator
