// A switch as plain values: all that its configuration is, with settings in the words of their sentences.
//
// Two switches are alike when their values are. Histories, the log and trap events, are no part of it.
#pragma once

#include "companion/database.h"
#include "companion/side_tables.h"

#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <utility>
#include <vector>

struct SwitchModel {
    using Words = std::map<std::string, std::string>; // what is set, by its keyword
    using InVlan = std::pair<int64_t, int64_t>;       // vid, port
    using Queue = std::pair<int64_t, int64_t>;        // stream index, class

    struct LocalEntry {
        int64_t type = 0;
        int64_t owner = 0;
        bool operator==(const LocalEntry&) const = default;
    };
    struct Port {
        int64_t ether = 0;
        int64_t type = 0;
        bool is_enabled = false;
        bool is_in_lag = false;
        bool has_ip_interface = false;
        Words settings; // those that a sentence can always set to what they were; policers by their class
        Words lasting;  // those that can be changed, but not be taken back: link_mode, link_frame bpdu
        std::optional<int64_t> link_mode;
        std::optional<std::pair<int64_t, int64_t>> link_depend; // type, mask of ports
        std::map<int64_t, int64_t> classes;                     // of priorities; lasting too
        std::map<std::string, LocalEntry> local_entries;        // by their address
    };
    struct Vlan {
        std::string name;
        Words settings;
    };
    struct Member {
        std::string tagging;
        int64_t protgroup = -1; // none
        bool is_untagged = false;
        std::optional<int64_t> list;
        std::string extraction;
    };
    struct Stream {
        bool is_attached = false;
        int64_t type = 0;
        int64_t first = 0;
        int64_t second = 0;
        Words settings;
        std::map<std::pair<int64_t, std::string>, std::string> drop_types; // by class and color; lasting
        // Whether sentences make it so: else it was not made or not deleted to its end.
        bool is_whole() const;
        bool operator==(const Stream&) const = default;
    };
    struct QueueState {
        bool is_attached = false;
        int64_t stream_type = 0;
        int64_t weighted = 0;
        int64_t blocks = 0;
        int64_t length = 0;
        std::string service; // pri 3 ratio 1
        bool is_whole(const Stream* stream) const;
        bool operator==(const QueueState&) const = default;
    };
    struct Rule {
        std::string words;
        bool can_be_typed = false; // else no sentence has its mask
        int64_t memory = 0;        // words of match memory
        bool operator==(const Rule&) const = default;
    };
    struct List {
        std::string marking;
        std::map<int64_t, Rule> rules; // by line
    };
    struct StaticEntry {
        std::string target;
        std::optional<int64_t> port;
        int64_t action = 0;
        int64_t owner = 0;
        bool operator==(const StaticEntry&) const = default;
    };
    struct Mirror {
        bool is_enabled = false;
        std::optional<int64_t> source_type;
        std::string source; // as words
        int64_t source_port = 0;
        int64_t source_vid = 0;
        int64_t destination = 0; // none
        std::string classification;
        std::string tag = "off"; // as words; else a tag that is not used, by its type and vid
        std::string unused_tag;
    };

    explicit SwitchModel(Database& database);

    std::map<std::string, int64_t> limits;
    std::map<int64_t, Port> ports;
    std::map<int64_t, std::string> ether_shapers;
    std::map<int64_t, Vlan> vlans;
    std::map<InVlan, Member> members;
    std::set<int64_t> protgroups;
    std::map<int64_t, int64_t> protocols; // the group of an Ethernet type
    std::map<int64_t, Stream> streams;
    std::map<Queue, QueueState> queues;
    std::map<int64_t, List> lists;
    std::map<std::pair<int64_t, std::string>, StaticEntry> static_entries; // by vid and address
    std::map<std::pair<int64_t, std::string>, int64_t> learned;            // the port
    std::map<int64_t, Mirror> mirrors;
    std::vector<std::string> faults; // as lines for emuswitch
    SideTables side_tables;

    static Port new_port(int64_t ether, int64_t type);
    static Vlan new_vlan(const std::string& name);
    static Stream new_stream(bool is_attached, int64_t type, int64_t first, int64_t second);
    static QueueState new_queue(const Stream& stream, int64_t traffic_class);

private:
    void read_limits(Database& database);
    void read_ports(Database& database);
    void read_vlans(Database& database);
    void read_streams(Database& database);
    void read_queues(Database& database);
    void read_lists(Database& database);
    void read_entries(Database& database);
    void read_mirrors(Database& database);
};
