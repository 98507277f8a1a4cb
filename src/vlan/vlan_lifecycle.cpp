// Creating and deleting VLANs.
#include "vlan/vlan.h"

#include "common/operands.h"
#include "common/vlan_operands.h"
#include "platform/brgfdb.h"
#include "platform/qual.h"

namespace {

constexpr int32_t name_is_reserved = 1;

constexpr NumberedText vlan_creation_messages[] = {
    {status::vlan_exists, "VLAN \"{0}\" already exists."},
    {status::vlan_id_in_use, "VLAN id {1} already in use."},
    {status::vlan_name_too_long, "VLAN name too long."},
    {status::too_many_vlans, "maximum number of VLAN."},
    {status::too_many_vlans_and_fwdlists, "maximum number of vlans and fwdlists."},
    {status::no_free_vlan_id, "cannot allocate new VLAN id."},
    {otherwise, "cannot create VLAN \"{0}\"."},
};

constexpr NumberedText vlan_deletion_messages[] = {
    {status::vlan_has_port, "some port belongs to VLAN \"{0}\" yet."},
    {otherwise, "cannot delete VLAN \"{0}\"."},
};

} // namespace

// create vlan <name> [vid <VLANID>]
void create_vlan(int32_t count, char** words) {
    if (count <= 2) show_usage();
    const char* const name = words[2];
    if (is_word(name, "all")) refuse<"VLAN name \"{0}\" is reserved.">(name_is_reserved, name);

    int32_t vid = vlan_id::any;
    if (count > 3) {
        require_word(words[3], "vid");
        if (count == 4) show_usage();
        vid = read_vlan_id(words[4]);
        if (count > 5) no_more_argument();
    }

    int32_t status = 0;
    if (brgfdb_create_vlan(name, &vid, &status) != 0) refuse<vlan_creation_messages>(status, name, vid);
    qual_register(qualifier::vlan, name, vid);
    accept();
}

// delete vlan <name>
void delete_vlan(int32_t count, char** words) {
    if (count <= 2) show_usage();
    const char* const name = words[2];
    const uint32_t vid = read_vlan(name);
    if (count > 3) no_more_argument();

    int32_t status = 0;
    if (brgfdb_delete_vlan(vid, &status) != 0) {
        if (status == status::no_vlan) refuse_missing(status, name);
        refuse<vlan_deletion_messages>(status, name);
    }
    qual_unregister(qualifier::vlan, name);
    accept();
}
