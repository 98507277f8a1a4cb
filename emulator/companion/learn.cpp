// Learned addresses, as frames would bring them.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"

#include <algorithm>
#include <regex>

namespace {

int64_t require_vlan(Database& database, const std::string& name) {
    const Answer rows = database.query("SELECT vid FROM vlan WHERE name = ?", {name});
    if (rows.rows.empty()) throw Failure("there is no VLAN \"" + name + "\"; emuswitch show vlans lists them");
    return *rows.rows[0][0].number;
}

std::string require_mac(const std::string& text) {
    static const std::regex form("([0-9a-fA-F]{2}:){5}[0-9a-fA-F]{2}");
    if (!std::regex_match(text, form))
        throw Failure("\"" + text + "\" is not a MAC address; write it as 00:11:22:33:44:55");
    std::string lower = text;
    std::transform(lower.begin(), lower.end(), lower.begin(), [](char c) { return static_cast<char>(tolower(c)); });
    return lower;
}

int learn(const std::string& mac, const std::string& vlan, int64_t port) {
    Database database(store_path());
    Transaction transaction(database);
    const std::string address = require_mac(mac);
    const int64_t vid = require_vlan(database, vlan);
    if (database.number("SELECT count(*) FROM vlan_member WHERE vid = ? AND port = ?", {vid, port}) == 0)
        throw Failure("port " + std::to_string(port) + " is not a member of VLAN \"" + vlan +
                      "\"; a switch learns addresses from members only");
    if (database.number("SELECT count(*) FROM static_entry WHERE vid = ? AND mac = ?", {vid, address}) != 0)
        throw Failure(address + " has a static entry in VLAN \"" + vlan + "\", which stays as it is");
    const bool is_known =
        database.number("SELECT count(*) FROM learned_entry WHERE vid = ? AND mac = ?", {vid, address}) != 0;
    if (!is_known &&
        database.change("UPDATE limits SET in_use = in_use + 1 WHERE name = 'fdb_entries' AND in_use < value") == 0)
        throw Failure("the forwarding database is full; emuswitch limit fdb_entries VALUE makes it larger");
    database.change("INSERT INTO learned_entry (vid, mac, port) VALUES (?, ?, ?)"
                    " ON CONFLICT (vid, mac) DO UPDATE SET port = excluded.port",
                    {vid, address, port});
    transaction.commit();
    return 0;
}

} // namespace

void add_learn(CommandLine& line) {
    struct Words {
        std::string mac;
        std::string vlan;
        int64_t port = 0;
    };
    auto words = std::make_shared<Words>();
    line.add("learn", "Have the switch learn an address, as from a frame")
        .operand("mac", words->mac, "The address, 00:11:22:33:44:55")
        .operand("vlan", words->vlan, "The name of the VLAN")
        .operand("port", words->port, any_port, "The port")
        .runs([words] { return learn(words->mac, words->vlan, words->port); });
}
