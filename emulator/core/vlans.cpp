// VLANs and their options.
#include "core/vlans.h"

#include "core/limits.h"
#include "core/mirrors.h"
#include "core/refusal.h"
#include "platform/brgfdb.h"

#include <cstring>

namespace emulator {

namespace {

constexpr int64_t most_vlans = 8190; // as many as there are ids

// The id after the highest one in use, else the lowest that is free: only the latter takes a walk through all.
OptionalNumber find_free_vid() {
    const int64_t highest_allowed = limit("vlan_allocation");
    const int64_t highest_used =
        find_optional_number("SELECT max(vid) AS vid FROM vlan WHERE vid <= ?1", vlan_id::highest_tagged).value_or(0);
    if (highest_used < highest_allowed) return highest_used + 1;

    int64_t candidate = 1;
    Rows used("SELECT vid FROM vlan WHERE vid <= ?1 ORDER BY vid", vlan_id::highest_tagged);
    while (used.next() && used.number(0) == candidate)
        ++candidate;
    if (candidate > highest_allowed) return std::nullopt;
    return candidate;
}

// Each VLAN has a forwarding list, and both stand in one table.
bool is_vlan_table_full() {
    return is_full("vlans_and_fwdlists", 2 * most_vlans, "SELECT 2 * count(*) + 1 FROM vlan");
}

// Runs an update of one VLAN, `?1`, or of every VLAN.
int32_t update_vlans(const char* one, const char* all, uint32_t vid, int32_t value) {
    const int64_t updated = vid == vlan_id::every_vlan ? change(all, value) : change(one, vid, value);
    return updated > 0 ? 0 : status::no_vlan;
}

} // namespace

bool vlan_exists(uint32_t vid) {
    return exists("SELECT 1 FROM vlan WHERE vid = ?1", vid);
}

int32_t get_vid(const char* name, uint32_t& vid) {
    const OptionalNumber found = find_number("SELECT vid FROM vlan WHERE name = ?1", name);
    if (!found) return status::no_vlan;
    vid = static_cast<uint32_t>(*found);
    return 0;
}

int32_t create_vlan(const char* name, int32_t& vid) {
    if (name == nullptr || (vid != vlan_id::any && vid < 1)) return refusal::invalid_value;
    if (static_cast<int64_t>(strlen(name)) > limit("vlan_name_length")) return status::vlan_name_too_long;
    if (exists("SELECT 1 FROM vlan WHERE name = ?1", name)) return status::vlan_exists;
    if (vid != vlan_id::any && vlan_exists(static_cast<uint32_t>(vid))) return status::vlan_id_in_use;
    if (is_full("vlans", most_vlans, "SELECT count(*) FROM vlan")) return status::too_many_vlans;
    if (is_vlan_table_full()) return status::too_many_vlans_and_fwdlists;
    if (vid == vlan_id::any) {
        const OptionalNumber free = find_free_vid();
        if (!free) return status::no_free_vlan_id;
        vid = static_cast<int32_t>(*free);
    }
    change("INSERT INTO vlan (vid, name) VALUES (?1, ?2)", vid, name);
    return 0;
}

int32_t delete_vlan(uint32_t vid) {
    if (!vlan_exists(vid)) return status::no_vlan;
    if (exists("SELECT 1 FROM vlan_member WHERE vid = ?1", vid)) return status::vlan_has_port;
    forget_vlan_in_mirrors(vid);
    give_back(fdb_entries, change("DELETE FROM static_entry WHERE vid = ?1", vid));
    change("DELETE FROM vlan WHERE vid = ?1", vid);
    return 0;
}

int32_t set_vlan_sld(uint32_t vid, int32_t on) {
    return update_vlans("UPDATE vlan SET loop_detection = ?2 WHERE vid = ?1", "UPDATE vlan SET loop_detection = ?1",
                        vid, on);
}

int32_t set_vlan_learninglimit(uint32_t vid, int32_t limit) {
    return update_vlans("UPDATE vlan SET learning_limit = ?2 WHERE vid = ?1", "UPDATE vlan SET learning_limit = ?1",
                        vid, limit);
}

int32_t set_vlan_ignore_fdb(uint32_t vid, int32_t on) {
    return update_vlans("UPDATE vlan SET ignore_fdb = ?2 WHERE vid = ?1", "UPDATE vlan SET ignore_fdb = ?1", vid, on);
}

int32_t set_vlan_learning_off(uint32_t vid, int32_t off) {
    return update_vlans("UPDATE vlan SET learning_off = ?2 WHERE vid = ?1", "UPDATE vlan SET learning_off = ?1", vid,
                        off);
}

} // namespace emulator
