// Ports joining and leaving VLANs.
#include "vlan/vlan.h"

#include "common/operands.h"
#include "common/port_kind.h"
#include "common/scan.h"
#include "common/text.h"
#include "common/vlan_numbers.h"
#include "platform/brgfdb.h"
#include "platform/portshm.h"
#include "platform/qual.h"
#include "platform/trapevent.h"
#include "vlan/protgroup.h"

namespace {

// How a port is a member.
struct Tagging {
    bool is_tagged = false;
    uint16_t tag_type = default_tag_type;
    bool by_protgroup = false; // untagged for the frames of one group only
    uint16_t protgroup = 0;
};

int32_t read_member_port(const char* word) {
    int32_t port = 0;
    if (!read_number(word, port)) refuse_missing(status::no_port, port);
    return port;
}

// tag off [protgroup <gid>], tag on [tagtype <type>]: the clause that begins at words[6]. The usage text brackets it,
// yet it has to be there.
Tagging read_tagging(int32_t count, char** words) {
    if (count <= 7) show_usage();
    require_word(words[6], "tag");
    const std::optional<bool> is_tagged = read_switch(words[7]);
    if (!is_tagged) show_usage();

    Tagging tagging;
    tagging.is_tagged = *is_tagged;
    if (count == 8) return tagging;
    if (count != 10 || !is_word(words[8], *is_tagged ? "tagtype" : "protgroup")) no_more_argument();
    if (*is_tagged) {
        tagging.tag_type = read_tag_type(words[9]);
    } else {
        tagging.by_protgroup = true;
        tagging.protgroup = read_protgroup(words[9], words[9]);
    }
    return tagging;
}

// What no membership can be, whatever the bridge library thinks of it; it words the second case in another way.
void require_possible(const Tagging& tagging, uint32_t vid, const char* name) {
    const bool has_needless_tag_type = !tagging.is_tagged && tagging.tag_type != default_tag_type;
    if (has_needless_tag_type) refuse(invalid::tag_type, "cannot specify tagtype.");
    if (tagging.is_tagged && !is_tagged_vlan_id(static_cast<int32_t>(vid)))
        refuse(invalid::tag_type, "VLAN \"%s\" has local VLAN id(4096-8191), can't specify tag \"on\".", name);
}

[[noreturn]] void refuse_joining(int32_t status, int32_t port, const char* name, uint16_t protgroup) {
    switch (status) {
    case status::no_port: refuse_missing(status, port);
    case status::no_vlan: refuse_missing(status, name);
    case status::port_already_in_vlan: refuse(status, "port %d already belongs to VLAN \"%s\".", port, name);
    case status::local_vlan_is_never_tagged:
        refuse(status, "VLAN \"%s\" has local VLAN id(4096-8191). cannot specify tag \"on\".", name);
    case status::too_many_ports_in_vlan: refuse(status, "Maximum number of ports in VLAN.");
    case status::member_fdb_entry_exists: refuse(status, "cannot add port %d (fdbentry already exists).", port);
    case status::member_fdb_full: refuse(status, "cannot add port %d (fdb is full).", port);
    case status::port_in_lag: refuse(status, "port %d belongs to LAG.", port);
    case status::port_already_untagged:
    case status::port_already_untagged_elsewhere:
        refuse(status, "port %d already belongs to VLAN as untagged port.", port);
    case status::vlan_has_ip_interface_port:
        refuse(status, "other port belongs to VLAN \"%s\" as IP interface port.", name);
    case status::port_in_other_vlan: refuse(status, "port %d already belongs to another VLAN.", port);
    case status::protgroup_already_in_vlan: refuse(status, "protocol group %d already belongs to VLAN.", protgroup);
    case status::too_many_protgroups_in_port: refuse(status, "maximum number of protocol groups in this port.");
    case status::no_protgroup: report_protgroup_error(status, protgroup, 0); end_process();
    default: refuse(status, "cannot add port %d.", port);
    }
}

[[noreturn]] void refuse_leaving(int32_t status, int32_t port, const char* name) {
    switch (status) {
    case status::no_port: refuse_missing(status, port);
    case status::no_vlan: refuse_missing(status, name);
    case status::port_has_ip_interface: refuse(status, "IP interface belongs to port %d yet.", port);
    case status::port_not_in_vlan: refuse(status, "port %d does not belong to VLAN \"%s\".", port, name);
    case status::member_has_profile: refuse(status, "port %d use classify profile yet.", port);
    default: refuse(status, "cannot remove port %d.", port);
    }
}

} // namespace

// add port <port> to vlan <name> tag off [protgroup <gid>]
// add port <port> to vlan <name> tag on [tagtype <type>]
void add_port(int32_t count, char** words) {
    if (count <= 5) show_usage();
    const int32_t port = read_member_port(words[2]);
    require_word(words[3], "to");
    require_word(words[4], "vlan");
    const char* const name = words[5];
    const uint32_t vid = resolve_vlan(name);
    const Tagging tagging = read_tagging(count, words);
    require_possible(tagging, vid, name);

    int32_t status = 0;
    if (brgfdb_add_port_to_vlan(vid, port, tagging.is_tagged ? 1 : 0, tagging.tag_type, tagging.by_protgroup ? 1 : 0,
                                tagging.protgroup, &status) != 0)
        refuse_joining(status, port, name, tagging.protgroup);

    const int32_t kind = port_kind::of(port);
    if (kind != port_kind::not_shared) portshm_add_port_vlan(port, kind, vid);
    libev_PortVlan_Status(0, port, name, trap_event::added);
    qual_register("portvlan", format_text("%d/%s", port, name).text, -1);
    accept();
}

// remove port <port> from vlan <name>; any words do for "from vlan".
void remove_port(int32_t count, char** words) {
    if (count != 6) show_usage();
    const int32_t port = read_member_port(words[2]);
    const char* const name = words[5];
    const uint32_t vid = resolve_vlan(name);

    int32_t status = 0;
    if (brgfdb_rem_port_from_vlan(vid, port, &status) != 0) refuse_leaving(status, port, name);

    const int32_t kind = port_kind::of(port);
    if (kind != port_kind::not_shared) portshm_rm_port_vlan(port, kind, vid);
    libev_PortVlan_Status(0, port, name, trap_event::gone);
    qual_unregister("portvlan", format_text("%d/%s", port, name).text);
    accept();
}
