// What the libraries beside the bridge are told: registered names and the shared port table.
#pragma once

#include "companion/database.h"

#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

class SideTables {
public:
    SideTables() = default;
    explicit SideTables(Database& database); // as they are

    // What sentences tell.
    void name(const std::string& category, const std::string& name, int64_t id);
    void create_port(int64_t port, int64_t ether, int64_t type);
    void enable_port(int64_t port);
    void add_member(int64_t port, int64_t vid, const std::string& vlan);
    void set_link_mode(int64_t port, int64_t mode);
    void set_link_depend(int64_t port, int64_t type, int64_t mask);
    void forget_name(const std::string& category, const std::string& name);
    void delete_port(int64_t port);
    void disable_port(int64_t port);
    void remove_member(int64_t port, int64_t vid, const std::string& vlan);

    // The calls, with their operands, that make these tables of those.
    std::vector<std::string> calls_from(const SideTables& others) const;

    // The addresses that every port discards, as the store writes them.
    static std::set<std::string> reserved_addresses();

private:
    struct Port {
        int64_t ether = 0;
        bool is_enabled = false;
        std::optional<int64_t> link_mode;
        std::optional<int64_t> link_depend;
        int64_t link_depend_ports = 0;
        std::set<int64_t> vids;
        bool operator==(const Port&) const = default;
    };
    using Key = std::pair<int64_t, int64_t>; // kind, port

    Port* find(int64_t port);
    static void add_calls_for(const Key& key, const Port& port, std::vector<std::string>& calls);

    std::map<std::pair<std::string, std::string>, int64_t> names_; // by category and name
    std::map<Key, Port> ports_;
};
