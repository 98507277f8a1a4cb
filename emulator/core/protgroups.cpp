// Protocol groups: an Ethernet type belongs to one of them at most.
#include "core/protgroups.h"

#include "core/limits.h"
#include "platform/brgfdb.h"

namespace emulator {

bool protgroup_exists(uint16_t protgroup) {
    return exists("SELECT 1 FROM protgroup WHERE protgroup = ?1", protgroup);
}

int32_t create_protgroup(uint16_t protgroup) {
    if (protgroup_exists(protgroup)) return status::protgroup_exists;
    if (is_full("protgroups", 65536, "SELECT count(*) FROM protgroup")) return status::too_many_protgroups;
    change("INSERT INTO protgroup (protgroup) VALUES (?1)", protgroup);
    return 0;
}

int32_t delete_protgroup(uint16_t protgroup) {
    if (!protgroup_exists(protgroup)) return status::no_protgroup;
    if (exists("SELECT 1 FROM vlan_member WHERE protgroup = ?1 AND protgroup IS NOT NULL", protgroup))
        return status::protgroup_in_use;
    change("DELETE FROM protgroup WHERE protgroup = ?1", protgroup); // its types go with it
    return 0;
}

int32_t add_prot_to_group(uint16_t ether_type, uint16_t protgroup) {
    if (!protgroup_exists(protgroup)) return status::no_protgroup;
    if (const OptionalNumber owner = find_number("SELECT protgroup FROM protocol WHERE ether_type = ?1", ether_type))
        return *owner == protgroup ? status::protocol_in_group : status::protocol_in_other_group;
    if (is_full("protocols_per_protgroup", 65536, "SELECT count(*) FROM protocol WHERE protgroup = ?1", protgroup))
        return status::too_many_protocols;
    change("INSERT INTO protocol (protgroup, ether_type) VALUES (?1, ?2)", protgroup, ether_type);
    return 0;
}

int32_t remove_prot_from_group(uint16_t ether_type, uint16_t protgroup) {
    if (!protgroup_exists(protgroup)) return status::no_protgroup;
    const int64_t removed =
        change("DELETE FROM protocol WHERE protgroup = ?1 AND ether_type = ?2", protgroup, ether_type);
    return removed == 1 ? 0 : status::protocol_not_in_group;
}

} // namespace emulator
