// The forwarding database. Whatever comes or goes is counted in the pool of FDB entries.
#include "core/fdb.h"

#include "core/limits.h"
#include "core/ports.h"
#include "core/vlans.h"
#include "notation.h"
#include "platform/brgfdb.h"

namespace emulator {

namespace {

constexpr int32_t no_port = 0;

} // namespace

MacText::MacText(const uint8_t* bytes) {
    notation::Text out(text, sizeof text);
    notation::write(out, notation::Mac{bytes});
}

void forget_learned(uint32_t vid, const MacText& mac) {
    give_back(fdb_entries, change("DELETE FROM learned_entry WHERE vid = ?1 AND mac = ?2", vid, mac.text));
}

int32_t clear_fdb() {
    give_back(fdb_entries, change("DELETE FROM learned_entry"));
    return 0;
}

int32_t clear_fdb_vlan(uint32_t vid) {
    if (!vlan_exists(vid)) return status::no_vlan;
    give_back(fdb_entries, change("DELETE FROM learned_entry WHERE vid = ?1", vid));
    return 0;
}

int32_t create_sfil(uint32_t vid, const MacText& mac, int32_t port, uint8_t action, int32_t of_system) {
    if (!vlan_exists(vid)) return status::no_vlan;
    const bool has_port = port != no_port || action != static_action::discard;
    if (has_port && !port_exists(port)) return status::no_port;
    if (const OptionalNumber other =
            find_number("SELECT of_system FROM static_entry WHERE vid = ?1 AND mac = ?2", vid, mac.text))
        return *other == entry_owner::system ? status::fdb_entry_of_system : status::fdb_entry_exists;
    forget_learned(vid, mac); // what is configured counts more than what was learned
    if (!take(fdb_entries, 1)) return status::fdb_full;
    change("INSERT INTO static_entry (vid, mac, port, action, of_system) VALUES (?1, ?2, ?3, ?4, ?5)", vid, mac.text,
           has_port ? OptionalNumber(port) : std::nullopt, action, of_system);
    return 0;
}

int32_t delete_sfil(uint32_t vid, const MacText& mac, int32_t of_system) {
    if (!vlan_exists(vid)) return status::no_vlan;
    const OptionalNumber owner =
        find_number("SELECT of_system FROM static_entry WHERE vid = ?1 AND mac = ?2", vid, mac.text);
    if (!owner) {
        const bool is_learned = exists("SELECT 1 FROM learned_entry WHERE vid = ?1 AND mac = ?2", vid, mac.text);
        return is_learned ? status::fdb_entry_of_other_type : status::no_fdb_entry;
    }
    if (*owner == entry_owner::system && of_system == entry_owner::user) return status::fdb_entry_of_system;
    give_back(fdb_entries, change("DELETE FROM static_entry WHERE vid = ?1 AND mac = ?2", vid, mac.text));
    return 0;
}

int32_t create_lfil(int32_t port, const MacText& mac, int32_t type, int32_t of_system) {
    if (!port_exists(port)) return status::no_port;
    if (exists("SELECT 1 FROM local_entry WHERE port = ?1 AND mac = ?2", port, mac.text))
        return status::fdb_entry_exists;
    if (!take(fdb_entries, 1)) return status::fdb_full;
    change("INSERT INTO local_entry (port, mac, type, of_system) VALUES (?1, ?2, ?3, ?4)", port, mac.text, type,
           of_system);
    return 0;
}

int32_t delete_lfil(int32_t port, const MacText& mac, int32_t of_system) {
    if (!port_exists(port)) return status::no_port;
    const OptionalNumber owner =
        find_number("SELECT of_system FROM local_entry WHERE port = ?1 AND mac = ?2", port, mac.text);
    if (!owner) return status::no_fdb_entry;
    if (*owner == entry_owner::system && of_system == entry_owner::user) return status::fdb_entry_of_system;
    give_back(fdb_entries, change("DELETE FROM local_entry WHERE port = ?1 AND mac = ?2", port, mac.text));
    return 0;
}

} // namespace emulator
