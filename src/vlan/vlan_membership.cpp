// Ports joining and leaving VLANs.
#include "vlan/vlan.h"

#include "common/operands.h"
#include "common/port_kind.h"
#include "common/scan.h"
#include "common/text.h"
#include "common/vlan_operands.h"
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
    if (!parse_number(word, port)) refuse_missing(status::no_port, port);
    return port;
}

// tag off [protgroup <gid>], tag on [tagtype <type>]: the clause that begins at words[6]. The usage text brackets it,
// yet it has to be there.
Tagging read_tagging(int32_t count, char** words) {
    if (count <= 7) show_usage();
    require_word(words[6], "tag");
    Tagging tagging;
    tagging.is_tagged = read_switch(words[7]);
    if (count == 8) return tagging;
    if (count != 10 || !is_word(words[8], tagging.is_tagged ? "tagtype" : "protgroup")) no_more_argument();
    if (tagging.is_tagged) {
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
    if (has_needless_tag_type) refuse<"cannot specify tagtype.">(invalid::tag_type);
    if (tagging.is_tagged && !is_tagged_vlan_id(static_cast<int32_t>(vid)))
        refuse<"VLAN \"{0}\" has local VLAN id(4096-8191), can't specify tag \"on\".">(invalid::tag_type, name);
}

constexpr NumberedText joining_messages[] = {
    {status::port_already_in_vlan, "port {0} already belongs to VLAN \"{1}\"."},
    {status::local_vlan_is_never_tagged, "VLAN \"{1}\" has local VLAN id(4096-8191). cannot specify tag \"on\"."},
    {status::too_many_ports_in_vlan, "Maximum number of ports in VLAN."},
    {status::member_fdb_entry_exists, "cannot add port {0} (fdbentry already exists)."},
    {status::member_fdb_full, "cannot add port {0} (fdb is full)."},
    {status::port_in_lag, "port {0} belongs to LAG."},
    {status::port_already_untagged, "port {0} already belongs to VLAN as untagged port."},
    {status::port_already_untagged_elsewhere, "port {0} already belongs to VLAN as untagged port."},
    {status::vlan_has_ip_interface_port, "other port belongs to VLAN \"{1}\" as IP interface port."},
    {status::port_in_other_vlan, "port {0} already belongs to another VLAN."},
    {status::protgroup_already_in_vlan, "protocol group {2} already belongs to VLAN."},
    {status::too_many_protgroups_in_port, "maximum number of protocol groups in this port."},
    {otherwise, "cannot add port {0}."},
};

constexpr NumberedText leaving_messages[] = {
    {status::port_has_ip_interface, "IP interface belongs to port {0} yet."},
    {status::port_not_in_vlan, "port {0} does not belong to VLAN \"{1}\"."},
    {status::member_has_profile, "port {0} use classify profile yet."},
    {otherwise, "cannot remove port {0}."},
};

// Refuses what the bridge library does not know; returns for any other status.
void require_known(int32_t status, int32_t port, const char* name) {
    if (status == status::no_port) refuse_missing(status, port);
    if (status == status::no_vlan) refuse_missing(status, name);
}

[[noreturn]] void refuse_joining(int32_t status, int32_t port, const char* name, uint16_t protgroup) {
    require_known(status, port, name);
    if (status == status::no_protgroup) {
        report_protgroup_error(status, protgroup, 0);
        end_process();
    }
    refuse<joining_messages>(status, port, name, protgroup);
}

[[noreturn]] void refuse_leaving(int32_t status, int32_t port, const char* name) {
    require_known(status, port, name);
    refuse<leaving_messages>(status, port, name);
}

// Registers the name of the membership, or takes it away. "<port>/<name>" is no message and is not cut: two names that
// differ at their ends are two.
void tell_registry(int32_t port, const char* name, int32_t event) {
    const size_t size = sizeof "-2147483648/" + static_cast<size_t>(end_of(name) - name);
    auto* const text = static_cast<char*>(__builtin_alloca(size));
    const Operand operands[] = {port, name};
    fill(text, size, packing::message<"{0}/{1}", int32_t, const char*>(), operands);
    if (event == trap_event::gone)
        qual_unregister(qualifier::member, text);
    else
        qual_register(qualifier::member, text, qualifier::no_id);
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
    const uint32_t vid = read_vlan(name);
    const Tagging tagging = read_tagging(count, words);
    require_possible(tagging, vid, name);

    int32_t status = 0;
    if (brgfdb_add_port_to_vlan(vid, port, tagging.is_tagged ? 1 : 0, tagging.tag_type, tagging.by_protgroup ? 1 : 0,
                                tagging.protgroup, &status) != 0)
        refuse_joining(status, port, name, tagging.protgroup);

    const int32_t kind = port_kind::of(port);
    if (kind != port_kind::not_shared) portshm_add_port_vlan(port, kind, vid);
    libev_PortVlan_Status(0, port, name, trap_event::added);
    tell_registry(port, name, trap_event::added);
    accept();
}

// remove port <port> from vlan <name>; any words do for "from vlan".
void remove_port(int32_t count, char** words) {
    if (count != 6) show_usage();
    const int32_t port = read_member_port(words[2]);
    const char* const name = words[5];
    const uint32_t vid = read_vlan(name);

    int32_t status = 0;
    if (brgfdb_rem_port_from_vlan(vid, port, &status) != 0) refuse_leaving(status, port, name);

    const int32_t kind = port_kind::of(port);
    if (kind != port_kind::not_shared) portshm_rm_port_vlan(port, kind, vid);
    libev_PortVlan_Status(0, port, name, trap_event::gone);
    tell_registry(port, name, trap_event::gone);
    accept();
}
