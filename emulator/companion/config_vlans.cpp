// VLANs, their members, and the forwarding database as sentences.
#include "companion/config.h"
#include "companion/learning.h"

#include "platform/qual.h"

#include <array>
#include <set>

namespace config {

void add_vlans(Configuration& out) {
    Query rows(out.database, "SELECT * FROM vlan ORDER BY vid");
    while (rows.next()) {
        const std::string name = rows.text("name");
        const int64_t vid = rows.number("vid");
        if (stands_for_all(name)) {
            out.remark("the tool keeps this name for itself");
            out.call("brgfdb_create_vlan", name, vid);
        } else {
            out.add("create vlan " + quote_word(name) + " vid " + text(vid));
            out.expected.name(qualifier::vlan, name, vid);
        }
        if (rows.flag("loop_detection")) out.add(vlan_setting(vid, name, "simple_loop_detection on"));
        if (rows.flag("ignore_fdb")) out.add(vlan_setting(vid, name, "ignorefdb on"));
    }
    Query pvids(out.database, "SELECT port, pvid FROM port WHERE pvid <> 0 ORDER BY port");
    while (pvids.next())
        out.add("set port " + text(pvids.number("port")) + " pvid " + text(pvids.number("pvid")));
}

// What keeps a VLAN from learning comes behind what it has learned.
void add_learning_settings(Configuration& out) {
    Query rows(out.database, "SELECT vid, name, learning_limit, learning_off FROM vlan ORDER BY vid");
    while (rows.next()) {
        const std::string name = rows.text("name");
        const int64_t vid = rows.number("vid");
        const int64_t limit = rows.number("learning_limit");
        if (limit != 0) out.add(vlan_setting(vid, name, "learninglimit " + text(limit)));
        if (rows.flag("learning_off")) out.add(vlan_setting(vid, name, "learning off"));
    }
}

void add_protgroups(Configuration& out) {
    Query groups(out.database, "SELECT protgroup FROM protgroup ORDER BY protgroup");
    while (groups.next())
        out.add("create protgroup " + text(groups.number("protgroup")));
    Query protocols(out.database, "SELECT protgroup, ether_type FROM protocol ORDER BY protgroup, ether_type");
    while (protocols.next())
        out.add("add protocol " + hex(protocols.number("ether_type"), 4) + " to protgroup " +
                text(protocols.number("protgroup")));
}

void add_members(Configuration& out) {
    Query rows(out.database, "SELECT vid, port, name, tagged, tag_type, protgroup FROM vlan_member"
                             " LEFT JOIN vlan USING (vid) ORDER BY vid, port");
    while (rows.next()) {
        const std::string name = rows.text("name");
        out.add("add port " + text(rows.number("port")) + " to vlan " + quote_word(name) + " tag " + tagging(rows));
        out.expected.add_member(rows.number("port"), rows.number("vid"), name);
    }
}

namespace {

// Every membership brings an entry of the system, the port's own address in that VLAN.
void add_own_entries(Configuration& out) {
    std::set<std::pair<int64_t, std::string>> missing;
    Query members(out.database, "SELECT vid, port FROM vlan_member");
    while (members.next())
        missing.emplace(members.number("vid"), own_address(members.number("port")));
    std::vector<std::array<std::string, 4>> others;
    Query rows(out.database, "SELECT vid, mac, port, action FROM static_entry WHERE of_system = 1 ORDER BY vid, mac");
    while (rows.next()) {
        const std::string mac = rows.text("mac");
        if (own_address(rows.optional_number("port").value_or(0)) == mac && rows.number("action") == 0 &&
            missing.erase({rows.number("vid"), mac}) == 1)
            continue;
        others.push_back({text(rows.number("vid")), mac, text(rows.optional_number("port").value_or(0)),
                          text(rows.number("action"))});
    }
    for (const auto& [vid, mac] : missing)
        out.call("brgfdb_delete_sfil", vid, mac, entry_owner::system);
    for (const auto& [vid, mac, port, action] : others)
        out.call("brgfdb_create_sfil", vid, mac, port, action, entry_owner::system);
}

} // namespace

void add_fdb_entries(Configuration& out) {
    add_own_entries(out);
    Query rows(out.database, "SELECT mac, name, port, action FROM static_entry LEFT JOIN vlan USING (vid)"
                             " WHERE of_system = 0 ORDER BY vid, mac");
    while (rows.next())
        out.add("create sfdbentry " + quote_word(rows.text("mac")) + " in vlan " + quote_word(rows.text("name")) + " " +
                static_target(rows));
    Query local(out.database, "SELECT port, mac, type FROM local_entry WHERE of_system = 0 ORDER BY port, mac");
    while (local.next())
        out.add("create lfdbentry " + quote_word(local.text("mac")) + " in port " + text(local.number("port")) + " " +
                local.word("type", local_type_words));
}

// A port that learned an address was enabled then, whatever it is now.
void add_learned_entries(Configuration& out) {
    const PortAddresses ports(out.database);
    std::vector<std::string> lines;
    std::set<int64_t> disabled;
    Query rows(out.database, "SELECT mac, name, learned_entry.port, enabled FROM learned_entry"
                             " LEFT JOIN vlan USING (vid) LEFT JOIN port USING (port) ORDER BY vid, mac");
    while (rows.next()) {
        const std::string mac = rows.text("mac");
        const std::string line = "emuswitch learn " + quote_word(mac) + " " + quote_word(rows.text("name")) + " " +
                                 text(rows.number("port"));
        const std::string reason = why_never_learned(mac, ports);
        lines.push_back(reason.empty() ? line : "# " + line + " # " + reason);
        if (!rows.flag("enabled")) disabled.insert(rows.number("port"));
    }
    for (const int64_t port : disabled)
        out.add("enable port " + text(port));
    for (const std::string& line : lines)
        out.add(line);
    for (const int64_t port : disabled)
        out.add("disable port " + text(port));
}

} // namespace config
