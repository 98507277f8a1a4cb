// Mirrors: complete before they are enabled, unchanged while they are.
#include "core/mirrors.h"

#include "core/limits.h"
#include "core/ports.h"
#include "core/refusal.h"
#include "core/vlans.h"

namespace emulator {

namespace {

int32_t refuse_missing(uint16_t mirror) {
    return mirror < 1 || mirror > limit("mirrors") ? status::mirror_id_out_of_range : status::no_mirror;
}

OptionalNumber find_enabled(uint16_t mirror) {
    return find_number("SELECT enabled FROM mirror WHERE mirror = ?1", mirror);
}

int32_t check_modifiable(uint16_t mirror) {
    const OptionalNumber enabled = find_enabled(mirror);
    if (!enabled) return refuse_missing(mirror);
    return *enabled == 1 ? status::mirror_not_modifiable_while_enabled : 0;
}

} // namespace

int32_t create_mirror(uint16_t mirror) {
    if (find_enabled(mirror)) return status::mirror_exists;
    if (mirror < 1 || mirror > limit("mirrors")) return status::mirror_id_out_of_range;
    change("INSERT INTO mirror (mirror) VALUES (?1)", mirror);
    return 0;
}

int32_t delete_mirror(uint16_t mirror) {
    const OptionalNumber enabled = find_enabled(mirror);
    if (!enabled) return refuse_missing(mirror);
    if (*enabled == 1) return status::mirror_not_deletable_while_enabled;
    change("DELETE FROM mirror WHERE mirror = ?1", mirror);
    return 0;
}

int32_t enable_mirror(uint16_t mirror) {
    Rows rows("SELECT enabled, source_type, destination FROM mirror WHERE mirror = ?1", mirror);
    if (!rows.next()) return refuse_missing(mirror);
    if (rows.number(0) == 1) return status::mirror_already_enabled;
    if (!rows.optional_number(1)) return status::mirror_has_no_source;
    if (!rows.optional_number(2)) return status::mirror_has_no_destination;
    change("UPDATE mirror SET enabled = 1 WHERE mirror = ?1", mirror);
    return 0;
}

int32_t disable_mirror(uint16_t mirror) {
    const OptionalNumber enabled = find_enabled(mirror);
    if (!enabled) return refuse_missing(mirror);
    if (*enabled == 0) return status::mirror_already_disabled;
    change("UPDATE mirror SET enabled = 0 WHERE mirror = ?1", mirror);
    return 0;
}

int32_t set_mirror_source(uint16_t mirror, int32_t type, uint16_t port, uint16_t vid) {
    if (const int32_t status = check_modifiable(mirror); status != 0) return status;
    const OptionalNumber source_port = port != 0 ? OptionalNumber(port) : std::nullopt;
    const OptionalNumber source_vid = vid != 0 ? OptionalNumber(vid) : std::nullopt;
    // The mirror errors have no number of their own for a port or VLAN that does not exist.
    if ((source_port && !port_exists(port)) || (source_vid && !vlan_exists(vid))) return status::mirror_failed;
    if (source_port && find_optional_number("SELECT destination FROM mirror WHERE mirror = ?1", mirror) == source_port)
        return status::mirror_destination_is_source;
    change("UPDATE mirror SET source_type = ?2, source_port = ?3, source_vid = ?4 WHERE mirror = ?1", mirror, type,
           source_port, source_vid);
    return 0;
}

int32_t set_mirror_dest(uint16_t mirror, uint16_t port) {
    if (const int32_t status = check_modifiable(mirror); status != 0) return status;
    if (!port_exists(port)) return status::mirror_failed;
    if (find_optional_number("SELECT source_port FROM mirror WHERE mirror = ?1", mirror) == port)
        return status::mirror_destination_is_source;
    change("UPDATE mirror SET destination = ?2 WHERE mirror = ?1", mirror, port);
    return 0;
}

int32_t set_mirror_classify(uint16_t mirror, uint16_t stream, int32_t traffic_class, int32_t color) {
    if (const int32_t status = check_modifiable(mirror); status != 0) return status;
    change("UPDATE mirror SET stream = ?2, traffic_class = ?3, color = ?4 WHERE mirror = ?1", mirror, stream,
           traffic_class, color);
    return 0;
}

int32_t set_mirror_tag(uint16_t mirror, int32_t on, uint16_t tag_type, uint16_t vid) {
    if (const int32_t status = check_modifiable(mirror); status != 0) return status;
    if (on != 0 && vid >= vlan_id::lowest_local) return refusal::invalid_value; // never in a tag
    change("UPDATE mirror SET tagged = ?2, tag_type = ?3, tag_vid = ?4 WHERE mirror = ?1", mirror, on, tag_type, vid);
    return 0;
}

void forget_port_in_mirrors(int32_t port) {
    change("UPDATE mirror SET enabled = 0, source_type = NULL, source_port = NULL, source_vid = NULL "
           "WHERE source_port = ?1",
           port);
    change("UPDATE mirror SET enabled = 0, destination = NULL WHERE destination = ?1", port);
}

void forget_vlan_in_mirrors(uint32_t vid) {
    change("UPDATE mirror SET enabled = 0, source_type = NULL, source_port = NULL, source_vid = NULL "
           "WHERE source_vid = ?1",
           vid);
}

} // namespace emulator
