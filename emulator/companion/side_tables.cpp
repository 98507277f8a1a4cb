// Names and the port table: as sentences leave them, and as they are.
#include "companion/side_tables.h"

#include "companion/words.h"
#include "platform/brgfdb.h"
#include "platform/portshm.h"
#include "platform/qual.h"

namespace {

std::string joined(const char* function, const std::vector<int64_t>& operands) {
    std::string call = function;
    for (const int64_t operand : operands)
        call += " " + std::to_string(operand);
    return call;
}

constexpr int64_t not_shared = 0; // no kind of the port table: the port stands in the bridge library only

int64_t kind_of(int64_t port) {
    if (port >= lowest_physical_port && port <= highest_physical_port) return port_kind::physical;
    if (port >= lowest_logical_port && port <= highest_logical_port) return port_kind::logical;
    return not_shared;
}

} // namespace

SideTables::SideTables(Database& database) {
    Query named(database, "SELECT category, name, id FROM qualifier");
    while (named.next())
        names_[{named.text("category"), named.text("name")}] = named.any_number("id");
    Query rows(database, "SELECT * FROM port_table ORDER BY kind, port");
    Children vlans(database, "SELECT * FROM port_table_vlan ORDER BY kind, port", {"kind", "port"});
    while (rows.next()) {
        Port& port = ports_[{rows.any_number("kind"), rows.any_number("port")}];
        port.ether = rows.any_number("ether");
        port.is_enabled = rows.flag("enabled");
        port.link_mode = rows.optional_any_number("link_mode");
        port.link_depend = rows.optional_any_number("link_depend");
        port.link_depend_ports = rows.any_number("link_depend_ports");
        vlans.of(rows, [&](const Query& row) { port.vids.insert(row.any_number("vid")); });
    }
    vlans.expect_end();
}

SideTables::Port* SideTables::find(int64_t port) {
    const auto found = ports_.find({kind_of(port), port});
    return found != ports_.end() ? &found->second : nullptr;
}

void SideTables::name(const std::string& category, const std::string& name, int64_t id) {
    names_[{category, name}] = id;
}

void SideTables::create_port(int64_t port, int64_t ether, int64_t type) {
    name(qualifier::port, std::to_string(port), type);
    const int64_t kind = kind_of(port);
    if (kind == not_shared) return;
    ports_[{kind, port}] = {};
    if (kind == port_kind::physical) ports_[{kind, port}].ether = ether;
}

void SideTables::enable_port(int64_t port) {
    if (Port* const entry = find(port)) entry->is_enabled = true;
}

void SideTables::add_member(int64_t port, int64_t vid, const std::string& vlan) {
    name(qualifier::member, std::to_string(port) + "/" + vlan, qualifier::no_id);
    if (Port* const entry = find(port)) entry->vids.insert(vid);
}

void SideTables::set_link_mode(int64_t port, int64_t mode) {
    if (kind_of(port) != port_kind::logical) return;
    if (Port* const entry = find(port)) entry->link_mode = mode;
}

void SideTables::set_link_depend(int64_t port, int64_t type, int64_t mask) {
    if (kind_of(port) != port_kind::logical) return;
    Port* const entry = find(port);
    if (entry == nullptr) return;
    entry->link_depend = type;
    entry->link_depend_ports = mask;
}

void SideTables::forget_name(const std::string& category, const std::string& name) {
    names_.erase({category, name});
}

void SideTables::delete_port(int64_t port) {
    forget_name(qualifier::port, std::to_string(port));
    ports_.erase({kind_of(port), port});
}

void SideTables::disable_port(int64_t port) {
    if (Port* const entry = find(port)) entry->is_enabled = false;
}

void SideTables::remove_member(int64_t port, int64_t vid, const std::string& vlan) {
    forget_name(qualifier::member, std::to_string(port) + "/" + vlan);
    if (Port* const entry = find(port)) entry->vids.erase(vid);
}

void SideTables::add_calls_for(const Key& key, const Port& port, std::vector<std::string>& calls) {
    const auto [kind, number] = key;
    calls.push_back(joined("portshm_create_port", {number, kind, port.ether}));
    if (port.is_enabled) calls.push_back(joined("portshm_enable_port", {number, kind}));
    if (port.link_mode) calls.push_back(joined("portshm_set_port_linkmode", {number, *port.link_mode}));
    if (port.link_depend)
        calls.push_back(joined("portshm_set_port_linkdepend", {number, *port.link_depend, port.link_depend_ports}));
    for (const int64_t vid : port.vids)
        calls.push_back(joined("portshm_add_port_vlan", {number, kind, vid}));
}

std::vector<std::string> SideTables::calls_from(const SideTables& others) const {
    std::vector<std::string> calls;
    for (const auto& [key, id] : others.names_)
        if (!names_.contains(key))
            calls.push_back("qual_unregister " + quote_word(key.first) + " " + quote_word(key.second));
    for (const auto& [key, id] : names_) {
        const auto other = others.names_.find(key);
        if (other == others.names_.end() || other->second != id)
            calls.push_back("qual_register " + quote_word(key.first) + " " + quote_word(key.second) + " " +
                            std::to_string(id));
    }
    for (const auto& [key, port] : others.ports_)
        if (!ports_.contains(key)) calls.push_back(joined("portshm_delete_port", {key.second, key.first}));
    for (const auto& [key, port] : ports_) {
        const auto other = others.ports_.find(key);
        if (other == others.ports_.end() || !(other->second == port)) add_calls_for(key, port, calls);
    }
    return calls;
}

std::set<std::string> SideTables::reserved_addresses() {
    std::set<std::string> addresses;
    for (int byte = reserved_address::first.back(); byte <= reserved_address::last_byte; ++byte) {
        char mac[32];
        snprintf(mac, sizeof mac, "01:80:c2:00:00:%02x", static_cast<unsigned>(byte));
        addresses.insert(mac);
    }
    return addresses;
}
