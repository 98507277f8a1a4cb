// From the store to sentences: the way back from what the tool makes of them.
//
// What no sentence brings about stands in lines for emuswitch itself: limits, learned addresses, flags of ports, calls
// that are to fail, and library calls for what is left when a call failed or a process was killed. `play` takes both.
#include "companion/config.h"

#include "companion/command_line.h"
#include "companion/commands.h"

#include <iostream>
#include <map>

namespace config {

namespace {

// Those that differ from a new switch's: room is made before anything needs it, and taken when all has its place.
void add_limits(Configuration& out, bool is_raised) {
    Database fresh = Database::fresh();
    std::map<std::string, int64_t> initial;
    Query defaults(fresh, "SELECT name, value FROM limits");
    while (defaults.next())
        initial[defaults.text("name")] = defaults.number("value");
    Query rows(out.database, "SELECT name, value FROM limits ORDER BY name");
    while (rows.next()) {
        const auto known = initial.find(rows.text("name"));
        if (known == initial.end()) rows.fail_as_damaged("name");
        const int64_t value = rows.number("value");
        if (value != known->second && (value > known->second) == is_raised)
            out.add("emuswitch limit " + known->first + " " + text(value));
    }
}

void add_port_flags(Configuration& out) {
    Query rows(out.database, "SELECT port, in_lag, ip_interface,"
                             " EXISTS (SELECT 1 FROM vlan_member WHERE vlan_member.port = port.port) AS is_member,"
                             " EXISTS (SELECT 1 FROM vlan_member AS own JOIN vlan_member AS other USING (vid)"
                             " WHERE own.port = port.port AND other.port <> port.port) AS has_neighbours"
                             " FROM port WHERE in_lag OR ip_interface ORDER BY port");
    while (rows.next()) {
        const std::string port = text(rows.number("port"));
        if (rows.flag("in_lag"))
            out.add((rows.flag("is_member") ? "# it joined VLANs before: emuswitch lag " : "emuswitch lag ") + port +
                    " on");
        if (rows.flag("ip_interface"))
            out.add((rows.flag("has_neighbours") ? "# its VLAN has other ports: emuswitch ipif " : "emuswitch ipif ") +
                    port + " on");
    }
}

// Where the other libraries were told something else than the sentences above tell them.
void add_side_tables(Configuration& out) {
    const SideTables actual(out.database);
    const std::vector<std::string> calls = actual.calls_from(out.expected);
    if (!calls.empty()) out.remark("names and the port table, where processes did not come to their end");
    for (const std::string& call : calls)
        out.add("emuswitch call " + call);
}

void add_faults(Configuration& out) {
    Query rows(out.database, "SELECT function, status, skip, times FROM fault ORDER BY id");
    while (rows.next())
        out.add("emuswitch fail " + quote_word(rows.text("function")) + " " + text(rows.number("status")) + " --at " +
                text(rows.number("skip") + 1) + " --times " + text(rows.number("times")));
}

} // namespace

std::string configuration(Database& database) {
    Configuration out(database);
    add_limits(out, true);
    add_ports(out);
    add_link_control(out);
    add_cos_maps(out);
    add_policers(out);
    add_vlans(out);
    add_protgroups(out);
    add_members(out);
    add_streams(out);
    add_queues(out);
    add_rules(out);
    add_bindings(out);
    add_fdb_entries(out);
    add_mirrors(out);
    add_enabled_ports(out);
    add_learned_entries(out);
    add_learning_settings(out);
    add_port_flags(out);
    add_side_tables(out);
    add_limits(out, false);
    add_faults(out);
    return out.lines.str();
}

} // namespace config

namespace {

int print_config() {
    Database database = Database::snapshot();
    std::cout << config::configuration(database);
    return 0;
}

} // namespace

void add_config(CommandLine& line) {
    line.add("config", "Print the configuration as sentences that rebuild it")
        .footer("Example:\n  emuswitch config > switch.play")
        .runs(print_config);
}
