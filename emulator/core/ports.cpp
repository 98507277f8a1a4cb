// Ports and their parameters.
#include "core/ports.h"

#include "core/limits.h"
#include "core/mirrors.h"
#include "core/refusal.h"

namespace emulator {

namespace {

bool is_ether(int64_t ether) {
    return ether >= 1 && ether <= limit("ethers");
}

struct Flag {
    uint32_t bit;
    const char* set;
};
constexpr Flag flags[] = {
    {port_flag::accept_all_frames, "UPDATE port SET accept_all_frames = ?2 WHERE port = ?1"},
    {port_flag::ingress_filtering, "UPDATE port SET ingress_filtering = ?2 WHERE port = ?1"},
    {port_flag::accept_tagged, "UPDATE port SET accept_tagged = ?2 WHERE port = ?1"},
    {port_flag::accept_priority_tagged, "UPDATE port SET accept_priority_tagged = ?2 WHERE port = ?1"},
    {port_flag::cos_editing, "UPDATE port SET cos_editing = ?2 WHERE port = ?1"},
    {port_flag::ignore_fdb, "UPDATE port SET ignore_fdb = ?2 WHERE port = ?1"},
};

int32_t set_flag(int32_t port, uint32_t bit, bool on) {
    // A port that is untagged in a VLAN, for all frames or for some, has to take frames without a tag.
    if (bit == port_flag::accept_all_frames && !on &&
        exists("SELECT 1 FROM vlan_member WHERE port = ?1 AND tagged = 0", port))
        return status::vlan_mode_refused;
    for (const Flag& flag : flags) {
        if (flag.bit != bit) continue;
        change(flag.set, port, on);
        return 0;
    }
    return refusal::invalid_value;
}

// Runs an update of one port, `?1`.
template <typename... Values> int32_t update_port(const char* sql, int32_t port, const Values&... values) {
    return change(sql, port, values...) == 1 ? 0 : status::no_port;
}

} // namespace

bool port_exists(int64_t port) {
    return exists("SELECT 1 FROM port WHERE port = ?1", port);
}

int32_t create_port(int32_t port, int32_t ether, int32_t type) {
    if (port_exists(port)) return status::port_exists;
    // The other types have no interface; what they are given is kept.
    if (type == port_type::ether && !is_ether(ether)) return status::no_ether;
    if (find_number("SELECT count(*) FROM port") >= limit("ports")) return status::too_many_ports;
    change("INSERT INTO port (port, ether, type) VALUES (?1, ?2, ?3)", port, ether, type);
    return 0;
}

int32_t delete_port(int32_t port) {
    const OptionalNumber has_ip_interface = find_number("SELECT ip_interface FROM port WHERE port = ?1", port);
    if (!has_ip_interface) return status::no_port;
    if (exists("SELECT 1 FROM vlan_member WHERE port = ?1", port)) return status::port_in_vlan;
    if (*has_ip_interface == 1) return status::port_has_ip_interface;
    if (check_stream_in_port(port) != 0) return status::port_has_stream;

    forget_port_in_mirrors(port);
    int64_t entries = change("DELETE FROM static_entry WHERE port = ?1", port);
    entries += change("DELETE FROM local_entry WHERE port = ?1", port);
    give_back(fdb_entries, entries);
    change("DELETE FROM port WHERE port = ?1", port);
    return 0;
}

int32_t check_stream_in_port(int32_t port) {
    if (!port_exists(port)) return status::no_port;
    const int64_t first = (int64_t{port} - 1) * streams_per_port;
    const int64_t last = first + streams_per_port - 1;
    const bool has_stream =
        exists("SELECT 1 FROM stream WHERE stream_index BETWEEN ?1 AND ?2 AND port = ?3", first, last, port);
    return has_stream ? status::port_has_stream : 0;
}

int32_t enable_port(int32_t port) {
    const OptionalNumber enabled = find_number("SELECT enabled FROM port WHERE port = ?1", port);
    if (!enabled) return status::no_port;
    if (*enabled == 1) return status::port_already_enabled;
    return update_port("UPDATE port SET enabled = 1 WHERE port = ?1", port);
}

int32_t disable_port(int32_t port) {
    const OptionalNumber enabled = find_number("SELECT enabled FROM port WHERE port = ?1", port);
    if (!enabled) return status::no_port;
    if (*enabled == 0) return status::port_already_disabled;
    return update_port("UPDATE port SET enabled = 0 WHERE port = ?1", port);
}

int32_t set_param_to_port(int32_t port, const PortParameters& parameters, uint32_t aging, uint32_t loop_breaker,
                          uint32_t fields, uint32_t flag_bit) {
    const OptionalNumber type = find_number("SELECT type FROM port WHERE port = ?1", port);
    if (!type) return status::no_port;
    switch (fields) {
    case port_field::flag: return set_flag(port, flag_bit, (parameters.flags & flag_bit) != 0);
    case port_field::tag_type:
        return update_port("UPDATE port SET tag_type = ?2 WHERE port = ?1", port, parameters.tag_type);
    case port_field::pvid: return update_port("UPDATE port SET pvid = ?2 WHERE port = ?1", port, parameters.pvid);
    case port_field::aging: return update_port("UPDATE port SET aging = ?2 WHERE port = ?1", port, aging);
    case port_field::loop_breaker:
        // A port without an interface of its own cannot cut the loop.
        if (*type != port_type::ether) return status::no_loop_breaker;
        return update_port("UPDATE port SET loop_breaker = ?2 WHERE port = ?1", port, loop_breaker);
    default: return refusal::invalid_value;
    }
}

int32_t set_default_class(int32_t port, int32_t stream, int32_t traffic_class, int32_t color) {
    return update_port("UPDATE port SET default_stream = ?2, default_class = ?3, default_color = ?4 WHERE port = ?1",
                       port, stream, traffic_class, color);
}

int32_t set_port_cosmap(int32_t port, uint32_t entry_mask, const uint32_t* entries) {
    if (!port_exists(port)) return status::no_port;
    if (entry_mask >> priority_count != 0) return refusal::invalid_value;
    for (uint32_t priority = 0; priority < priority_count; ++priority)
        if ((entry_mask >> priority & 1U) != 0)
            change("REPLACE INTO cos_map (port, priority, traffic_class) VALUES (?1, ?2, ?3)", port, priority,
                   entries[priority]);
    return 0;
}

int32_t set_port_class_policing(int32_t port, int32_t traffic_class, int32_t rate, int32_t burst, int32_t color) {
    if (!port_exists(port)) return status::no_port;
    if (traffic_class < 0 || traffic_class >= classes_per_stream) return status::no_such_class;
    if (rate == 0 && burst == 0 && color == 0)
        change("DELETE FROM class_policer WHERE port = ?1 AND traffic_class = ?2", port, traffic_class);
    else
        change("REPLACE INTO class_policer (port, traffic_class, rate, burst, color) VALUES (?1, ?2, ?3, ?4, ?5)", port,
               traffic_class, rate, burst, color);
    return 0;
}

int32_t set_port_bandwidth_calc_mode(int32_t port, int32_t mode) {
    return update_port("UPDATE port SET bandwidth_mode = ?2 WHERE port = ?1", port, mode);
}

int32_t set_port_link_frames(int32_t port, int32_t kind, int32_t action) {
    if (!port_exists(port)) return status::no_port;
    change("REPLACE INTO link_frame (port, kind, action) VALUES (?1, ?2, ?3)", port, kind, action);
    return 0;
}

int32_t set_link_mode(int32_t port, int32_t mode) {
    return update_port("UPDATE port SET link_mode = ?2 WHERE port = ?1", port, mode);
}

int32_t set_link_depend(int32_t port, int32_t type, uint32_t port_mask) {
    return update_port("UPDATE port SET link_depend = ?2, link_depend_ports = ?3 WHERE port = ?1", port, type,
                       port_mask);
}

int32_t set_ph_shaping(int32_t ether, int32_t rate, int32_t burst) {
    if (!is_ether(ether)) return status::no_ether;
    if (rate == 0 && burst == 0)
        change("DELETE FROM ether_shaper WHERE ether = ?1", ether);
    else
        change("REPLACE INTO ether_shaper (ether, rate, burst) VALUES (?1, ?2, ?3)", ether, rate, burst);
    return 0;
}

// Nothing is kept of it: the rates that result follow from the shapers of the interface and of its streams. The caller
// names an interface as often as a port.
int32_t stream_shaping_rate_update(int32_t port) {
    return is_ether(port) || port_exists(port) ? 0 : status::no_port;
}

} // namespace emulator
