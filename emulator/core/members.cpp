// Ports in VLANs. A membership brings a static entry of the system with it: the port's own address in that VLAN.
#include "core/members.h"

#include "core/fdb.h"
#include "core/limits.h"
#include "core/protgroups.h"
#include "core/vlans.h"
#include "platform/brgfdb.h"

namespace emulator {

namespace {

// A locally administered address with the port's number in it.
MacText address_of(int32_t port) {
    const auto number = static_cast<uint32_t>(port);
    const uint8_t bytes[] = {0x02,
                             0x00,
                             static_cast<uint8_t>(number >> 24),
                             static_cast<uint8_t>(number >> 16),
                             static_cast<uint8_t>(number >> 8),
                             static_cast<uint8_t>(number)};
    return MacText(bytes);
}

// A frame without a tag has to lead to one VLAN.
int32_t check_untagged(uint32_t vid, int32_t port) {
    const OptionalNumber other =
        find_number("SELECT vid FROM vlan_member WHERE port = ?1 AND tagged = 0 AND protgroup IS NULL", port);
    if (!other) return 0;
    const bool is_local = vid >= vlan_id::lowest_local || *other >= vlan_id::lowest_local;
    return is_local ? status::port_already_untagged_elsewhere : status::port_already_untagged;
}

int32_t check_protgroup(int32_t port, uint16_t protgroup) {
    if (exists("SELECT 1 FROM vlan_member WHERE protgroup = ?1 AND protgroup IS NOT NULL AND port = ?2", protgroup,
               port))
        return status::protgroup_already_in_vlan;
    constexpr int64_t most_memberships = 8190;
    if (is_full("protgroups_per_port", most_memberships,
                "SELECT count(*) FROM vlan_member WHERE port = ?1 AND protgroup IS NOT NULL", port))
        return status::too_many_protgroups_in_port;
    return 0;
}

int32_t check_port(uint32_t vid, int32_t port) {
    Rows rows("SELECT type, in_lag, ip_interface FROM port WHERE port = ?1", port);
    if (!rows.next()) return status::no_port;
    if (rows.number(1) != 0) return status::port_in_lag;
    // A VLAN with an IP interface has that port only, whichever of them comes first.
    const bool brings_ip_interface = rows.number(2) != 0;
    if (exists("SELECT 1 FROM port JOIN vlan_member USING (port) WHERE vid = ?1 AND (ip_interface = 1 OR ?2)", vid,
               brings_ip_interface))
        return status::vlan_has_ip_interface_port;
    const int64_t type = rows.number(0);
    if (type == port_type::virtual_interface && exists("SELECT 1 FROM vlan_member WHERE port = ?1", port))
        return status::port_in_other_vlan;
    return 0;
}

// Makes the entry of the port's own address. A learned one gives way.
int32_t create_own_entry(uint32_t vid, int32_t port) {
    const MacText mac = address_of(port);
    if (exists("SELECT 1 FROM static_entry WHERE vid = ?1 AND mac = ?2", vid, mac.text))
        return status::member_fdb_entry_exists;
    forget_learned(vid, mac);
    if (!take(fdb_entries, 1)) return status::member_fdb_full;
    change("INSERT INTO static_entry (vid, mac, port, action, of_system) VALUES (?1, ?2, ?3, ?4, ?5)", vid, mac.text,
           port, static_action::forward, entry_owner::system);
    return 0;
}

} // namespace

int32_t add_port_to_vlan(uint32_t vid, int32_t port, int32_t tagged, uint32_t tag_type, int32_t by_protgroup,
                         uint16_t protgroup) {
    Rows rows("SELECT accept_all_frames FROM port WHERE port = ?1", port);
    if (!rows.next()) return status::no_port;
    if (!vlan_exists(vid)) return status::no_vlan;
    const bool by_group = by_protgroup != 0;
    if (by_group && !protgroup_exists(protgroup)) return status::no_protgroup;
    if (exists("SELECT 1 FROM vlan_member WHERE vid = ?1 AND port = ?2", vid, port))
        return status::port_already_in_vlan;
    if (tagged != 0 && vid >= vlan_id::lowest_local) return status::local_vlan_is_never_tagged;
    if (const int32_t status = check_port(vid, port); status != 0) return status;
    if (tagged == 0) {
        // As the port is refused to take tagged frames only while it is untagged somewhere.
        if (rows.number(0) == 0) return status::vlan_mode_refused;
        const int32_t status = by_group ? check_protgroup(port, protgroup) : check_untagged(vid, port);
        if (status != 0) return status;
    }
    if (find_number("SELECT count(*) FROM vlan_member WHERE vid = ?1", vid) >= limit("ports_per_vlan"))
        return status::too_many_ports_in_vlan;
    if (const int32_t status = create_own_entry(vid, port); status != 0) return status;
    change("INSERT INTO vlan_member (vid, port, tagged, tag_type, protgroup) VALUES (?1, ?2, ?3, ?4, ?5)", vid, port,
           tagged, tag_type, by_group ? OptionalNumber(protgroup) : std::nullopt);
    return 0;
}

int32_t rem_port_from_vlan(uint32_t vid, int32_t port) {
    const OptionalNumber has_ip_interface = find_number("SELECT ip_interface FROM port WHERE port = ?1", port);
    if (!has_ip_interface) return status::no_port;
    if (!vlan_exists(vid)) return status::no_vlan;
    if (!exists("SELECT 1 FROM vlan_member WHERE vid = ?1 AND port = ?2", vid, port)) return status::port_not_in_vlan;
    if (*has_ip_interface == 1) return status::port_has_ip_interface;
    if (exists("SELECT 1 FROM list_binding WHERE vid = ?1 AND port = ?2", vid, port)) return status::member_has_profile;

    int64_t entries = change("DELETE FROM learned_entry WHERE vid = ?1 AND port = ?2", vid, port);
    entries += change("DELETE FROM static_entry WHERE vid = ?1 AND mac = ?2 AND of_system = ?3", vid,
                      address_of(port).text, entry_owner::system);
    give_back(fdb_entries, entries);
    change("DELETE FROM vlan_member WHERE vid = ?1 AND port = ?2", vid, port);
    return 0;
}

} // namespace emulator
