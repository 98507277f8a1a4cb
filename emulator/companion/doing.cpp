// What no sentence can bring about: learned addresses, flags of ports, limits, and calls that fail.
#include "companion/commands.h"
#include "companion/table.h"

#include "library_functions.h" // made from the declarations of the libraries when the project is built

#include <algorithm>
#include <iostream>
#include <regex>

extern const char store_schema[];

namespace {

int64_t require_vlan(Database& database, const std::string& name) {
    const Rows rows = database.query("SELECT vid FROM vlan WHERE name = ?", {name});
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

int set_port_flag(const char* sql, int64_t port, bool on) {
    Database database(store_path());
    if (database.change(sql, {int64_t{on ? 1 : 0}, port}) == 0)
        throw Failure("there is no port " + std::to_string(port) + "; emuswitch show ports lists them");
    return 0;
}

// The statements of the schema that fill a new store.
std::string initial_rows() {
    const std::string schema = store_schema;
    return schema.substr(schema.find("INSERT INTO limits"));
}

} // namespace

int reset() {
    Database database(store_path());
    Transaction transaction(database);
    database.script("PRAGMA defer_foreign_keys = ON");
    for (const Row& row :
         database.query("SELECT name FROM sqlite_schema WHERE type = 'table' AND name NOT LIKE 'sqlite%'").rows)
        database.script("DELETE FROM \"" + *row[0].text + "\"");
    database.script(initial_rows());
    transaction.commit();
    return 0;
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

int set_lag(int64_t port, bool on) {
    return set_port_flag("UPDATE port SET in_lag = ? WHERE port = ?", port, on);
}

int set_ip_interface(int64_t port, bool on) {
    return set_port_flag("UPDATE port SET ip_interface = ? WHERE port = ?", port, on);
}

int set_limit(const std::string& name, int64_t value) {
    Database database(store_path());
    if (database.change("UPDATE limits SET value = ? WHERE name = ?", {value, name}) == 0)
        throw Failure("there is no limit \"" + name + "\"; emuswitch show limits lists them");
    return 0;
}

int add_fault(const std::string& function, int64_t status, int64_t at, int64_t times) {
    const auto* const last = std::end(library_function_names);
    if (std::find(std::begin(library_function_names), last, function) == last)
        throw Failure("no library has a function \"" + function + "\"; emuswitch fail --functions lists all of them");
    Database database(store_path());
    database.change("INSERT INTO fault (function, status, skip, times) VALUES (?, ?, ?, ?)",
                    {function, status, at - 1, times});
    return 0;
}

int list_faults() {
    Database database(store_path());
    print_table(std::cout,
                database.query("SELECT function AS FUNCTION, status AS STATUS, skip + 1 AS 'AT CALL', times AS TIMES"
                               " FROM fault ORDER BY id"),
                "no call is made to fail");
    return 0;
}

int clear_faults() {
    Database database(store_path());
    database.change("DELETE FROM fault");
    return 0;
}

int list_functions() {
    for (const char* name : library_function_names)
        std::cout << name << "\n";
    return 0;
}
