// Ports as sentences.
#include "companion/config.h"

#include "platform/portshm.h"

#include <array>
#include <set>

namespace config {

namespace {

void add_port_settings(Configuration& out, const Query& row) {
    for (const Setting& setting : port_settings(row))
        if (setting.words != setting.initial) out.add("set port " + text(row.number("port")) + " " + setting.words);
}

// The entries that a sentence makes for the reserved addresses of its port; the others of the system are of calls.
void add_system_entries(Configuration& out, const Query& port, Children& entries) {
    std::set<std::string> missing = SideTables::reserved_addresses();
    std::vector<std::pair<std::string, int64_t>> others;
    entries.of(port, [&](const Query& row) {
        row.word("type", local_type_words);
        if (!row.flag("of_system")) return;
        const std::string mac = row.text("mac");
        if (row.number("type") != local_type::discard || missing.erase(mac) == 0)
            others.emplace_back(mac, row.number("type"));
    });
    const int64_t number = port.number("port");
    if (!missing.empty() || !others.empty()) out.remark("port " + text(number) + " was not made to its end");
    for (const std::string& mac : missing)
        out.call("brgfdb_delete_lfil", number, mac, entry_owner::system);
    for (const auto& [mac, type] : others)
        out.call("brgfdb_create_lfil", number, mac, type, entry_owner::system);
}

} // namespace

void add_ports(Configuration& out) {
    Children entries(out.database, "SELECT * FROM local_entry ORDER BY port, mac", {"port"});
    Query rows(out.database, "SELECT * FROM port ORDER BY port");
    while (rows.next()) {
        const int64_t port = rows.number("port");
        out.add("create port " + text(port) + " npport " + text(rows.number("ether")) + " portType " +
                rows.word("type", port_type_words));
        out.expected.create_port(port, rows.number("ether"), rows.number("type"));
        add_system_entries(out, rows, entries);
        add_port_settings(out, rows);
    }
    entries.expect_end();
    Query frames(out.database, "SELECT port, kind, action FROM link_frame ORDER BY port, kind");
    while (frames.next())
        out.add("set port " + text(frames.number("port")) + " link_frame " + frames.word("kind", link_frame_words) +
                " " + frames.word("action", link_frame_action_words));
}

void add_link_control(Configuration& out) {
    Query rows(out.database, "SELECT port, link_mode, link_depend, link_depend_ports FROM port ORDER BY port");
    while (rows.next()) {
        const int64_t port = rows.number("port");
        const std::string set = "set port " + text(port) + " ";
        const bool is_logical = port >= lowest_logical_port && port <= highest_logical_port;
        const int64_t mask = rows.number("link_depend_ports");
        if (const auto word = rows.optional_word("link_mode", link_mode_words)) {
            if (is_logical)
                out.add(set + "link_mode " + *word);
            else
                out.call("brgfdb_set_link_mode", port, rows.number("link_mode"));
            out.expected.set_link_mode(port, rows.number("link_mode"));
        }
        if (rows.is_null("link_depend")) continue;
        const int64_t depend = rows.number("link_depend");
        if (!is_logical || (depend == link_depend::vlan && mask != 0))
            out.call("brgfdb_set_link_depend", port, depend, mask);
        else
            out.add(set + "link_depend " + (depend == link_depend::vlan ? "vlan" : "port " + typed_ports(mask)));
        out.expected.set_link_depend(port, depend, mask);
    }
}

// The mask says which entries the switch was given; the others are typed as empty entries.
void add_cos_maps(Configuration& out) {
    Query ports(out.database, "SELECT port FROM port ORDER BY port");
    Children entries(out.database, "SELECT * FROM cos_map ORDER BY port, priority", {"port"});
    while (ports.next()) {
        std::array<int64_t, priority_count> map{};
        uint32_t mask = 0;
        entries.of(ports, [&](const Query& row) {
            const int64_t priority = row.number("priority");
            map.at(static_cast<size_t>(priority)) = row.number("traffic_class");
            mask |= 1U << priority;
        });
        if (mask == 0) continue;
        std::string values;
        for (const int64_t value : map)
            values += (values.empty() ? "" : ",") + text(value);
        out.add("set port " + text(ports.number("port")) + " cosmap bit " + hex(mask) + " val " + values);
    }
    entries.expect_end();
}

void add_policers(Configuration& out) {
    Query policers(out.database, "SELECT * FROM class_policer ORDER BY port, traffic_class");
    while (policers.next())
        out.add("set port " + text(policers.number("port")) + " class_policing class " +
                text(policers.number("traffic_class")) + " " + policer(policers));
    Query shapers(out.database, "SELECT * FROM ether_shaper ORDER BY ether");
    while (shapers.next())
        out.add("set ether " + text(shapers.number("ether")) + " shaping " + ether_shaper(shapers));
}

void add_enabled_ports(Configuration& out) {
    Query rows(out.database, "SELECT port FROM port WHERE enabled ORDER BY port");
    while (rows.next()) {
        out.add("enable port " + text(rows.number("port")));
        out.expected.enable_port(rows.number("port"));
    }
}

} // namespace config
