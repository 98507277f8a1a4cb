// Flags of ports that no sentence sets: aggregation groups and IP interfaces.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/names.h"

namespace {

std::string port_name(int64_t port) {
    return "port " + std::to_string(port);
}

void set_port_flag(Database& database, const char* sql, int64_t port, bool on) {
    if (database.change(sql, {int64_t{on ? 1 : 0}, port}) == 0)
        throw Failure("there is no " + port_name(port) + "; emuswitch show ports lists them");
}

// A port of an aggregation group joins no VLAN; neither does it bring one along.
int set_lag(int64_t port, bool on) {
    Database database;
    Transaction transaction(database);
    Query vlans(database, "SELECT name FROM vlan_member JOIN vlan USING (vid) WHERE port = ? ORDER BY vid", {port});
    if (on && vlans.next())
        throw Failure(port_name(port) + " is a member of VLAN \"" + shown(vlans.text("name")) +
                      "\", and a port of an aggregation group is in none; take it out first");
    set_port_flag(database, "UPDATE port SET in_lag = ? WHERE port = ?", port, on);
    transaction.commit();
    return 0;
}

// A VLAN that has a port with an IP interface takes no other port; neither does it have one before.
int set_ip_interface(int64_t port, bool on) {
    Database database;
    Transaction transaction(database);
    Query crowded(database,
                  "SELECT name, other.port FROM vlan_member AS own JOIN vlan USING (vid)"
                  " JOIN vlan_member AS other USING (vid) WHERE own.port = ? AND other.port <> own.port ORDER BY vid",
                  {port});
    if (on && crowded.next())
        throw Failure("VLAN \"" + shown(crowded.text("name")) + "\" of " + port_name(port) + " has " +
                      port_name(crowded.number("port")) +
                      " too, and a VLAN with an IP interface has one port; take that out first");
    set_port_flag(database, "UPDATE port SET ip_interface = ? WHERE port = ?", port, on);
    transaction.commit();
    return 0;
}

void add_port_flag(CommandLine& line, const char* name, const char* about, int (*set)(int64_t, bool)) {
    struct Words {
        int64_t port = 0;
        bool is_on = false;
    };
    auto words = std::make_shared<Words>();
    line.add(name, about)
        .operand("port", words->port, any_port, "The port")
        .operand("state", words->is_on, "on or off")
        .footer("Examples:\n  emuswitch " + std::string(name) + " 2 on\n  emuswitch " + name + " 2 off")
        .runs([words, set] { return set(words->port, words->is_on); });
}

} // namespace

void add_port_flags(CommandLine& line) {
    add_port_flag(line, "lag", "Put a port into a link-aggregation group, or out of it", set_lag);
    add_port_flag(line, "ipif", "Give a port an IP interface, or take it away", set_ip_interface);
}
