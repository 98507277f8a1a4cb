// Creating and deleting VLANs.
#include "vlan/vlan.h"

#include "common/operands.h"
#include "common/vlan_numbers.h"
#include "platform/brgfdb.h"
#include "platform/qual.h"

namespace {

constexpr int32_t name_is_reserved = 1;
constexpr int32_t any_vlan_id = -1;

[[noreturn]] void refuse_creation(int32_t status, const char* name, int32_t vid) {
    switch (status) {
    case status::vlan_exists: refuse(status, "VLAN \"%s\" already exists.", name);
    case status::vlan_id_in_use: refuse(status, "VLAN id %d already in use.", vid);
    case status::vlan_name_too_long: refuse(status, "VLAN name too long.");
    case status::too_many_vlans: refuse(status, "maximum number of VLAN.");
    case status::too_many_vlans_and_fwdlists: refuse(status, "maximum number of vlans and fwdlists.");
    case status::no_free_vlan_id: refuse(status, "cannot allocate new VLAN id.");
    default: refuse(status, "cannot create VLAN \"%s\".", name);
    }
}

} // namespace

// create vlan <name> [vid <VLANID>]
void create_vlan(int32_t count, char** words) {
    if (count <= 2) show_usage();
    const char* const name = words[2];
    if (is_word(name, "all")) refuse(name_is_reserved, "VLAN name \"%s\" is reserved.", name);

    int32_t vid = any_vlan_id;
    if (count > 3) {
        require_word(words[3], "vid");
        if (count == 4) show_usage();
        vid = read_vlan_id(words[4]);
        if (count > 5) no_more_argument();
    }

    int32_t status = 0;
    if (brgfdb_create_vlan(name, &vid, &status) != 0) refuse_creation(status, name, vid);
    qual_register("vlan", name, vid);
    accept();
}

// delete vlan <name>
void delete_vlan(int32_t count, char** words) {
    if (count <= 2) show_usage();
    const char* const name = words[2];
    const uint32_t vid = resolve_vlan(name);
    if (count > 3) no_more_argument();

    int32_t status = 0;
    if (brgfdb_delete_vlan(vid, &status) != 0) {
        if (status == status::no_vlan) refuse_missing(status, name);
        if (status == status::vlan_has_port) refuse(status, "some port belongs to VLAN \"%s\" yet.", name);
        refuse(status, "cannot delete VLAN \"%s\".", name);
    }
    qual_unregister("vlan", name);
    accept();
}
