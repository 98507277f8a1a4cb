// From the store to sentences: the way back from what the tool makes of them.
//
// What no sentence brings about stands in lines for emuswitch itself: limits, learned addresses, flags of ports, calls
// that are to fail, and library calls for what is left when a call failed or a process was killed. `play` takes both.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/learning.h"
#include "companion/side_tables.h"
#include "companion/words.h"

#include "platform/portshm.h"
#include "platform/qual.h"

#include <array>
#include <bit>
#include <iostream>
#include <map>
#include <set>
#include <sstream>

extern const char store_schema[];

namespace {

// What sentences give to every new stream and queue.
constexpr int64_t first_qos_parameter = 2048;
constexpr int64_t second_qos_parameter = 64;
constexpr int64_t initial_blocks = 256;
constexpr int64_t initial_length = 16384;

std::string text(int64_t number) {
    return std::to_string(number);
}

std::string hex(int64_t value, int digits = 1) {
    char digits_of[20];
    snprintf(digits_of, sizeof digits_of, "%0*llx", digits, static_cast<unsigned long long>(value));
    return digits_of;
}

class Configuration {
public:
    explicit Configuration(Database& source) : database(source) {}

    void add(const std::string& line) { lines << line << "\n"; }
    void remark(const std::string& line) { add("# " + line); }

    // A library call, in place of a sentence that there is none for.
    template <typename... Operands> void call(const char* function, const Operands&... operands) {
        std::string line = std::string("emuswitch call ") + function;
        ((line += " " + operand(operands)), ...);
        add(line);
    }

    Database& database;
    SideTables expected; // as the sentences so far leave them
    std::ostringstream lines;

private:
    static std::string operand(int64_t number) { return std::to_string(number); }
    static std::string operand(const std::string& word) { return quote_word(word); }
};

// What was typed so that 1000 times it, wrapped at 32 bits, is the rate. 1000 is 8 * 125, and 125 has an inverse modulo
// 2^29; a rate that is no multiple of 8 cannot come from a sentence.
std::string typed_rate(int64_t rate) {
    if (rate % 1000 == 0) return text(rate / 1000);
    constexpr uint32_t inverse_of_125 = 652835029U;
    static_assert(inverse_of_125 * 125U == 1U);
    const uint32_t eighth = static_cast<uint32_t>(rate) / 8;
    return std::to_string(eighth * inverse_of_125 % (1U << 29));
}

// --- Limits ---

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

// --- Ports ---

void add_port_settings(Configuration& out, const Query& row) {
    const std::string set = "set port " + text(row.number("port")) + " ";
    const auto add_if = [&](bool is_so, const std::string& setting) {
        if (is_so) out.add(set + setting);
    };
    add_if(!row.flag("accept_all_frames"), "aftype tagonly");
    add_if(row.flag("ingress_filtering"), "ingfil on");
    add_if(!row.flag("accept_tagged"), "ignoretag on");
    add_if(!row.flag("accept_priority_tagged"), "ignoreptag on");
    add_if(row.flag("cos_editing"), "cosedit on");
    add_if(row.flag("ignore_fdb"), "ignorefdb on");
    add_if(row.number("tag_type") != default_tag_type, "tagtype " + hex(row.number("tag_type")));
    add_if(row.number("aging") != 300, "aging " + text(row.number("aging")));
    add_if(row.flag("loop_breaker"), "sldbreaker on");
    const std::string bandwidth = row.word("bandwidth_mode", bandwidth_mode_words);
    add_if(row.number("bandwidth_mode") != bandwidth_mode::frame_only, "bandwidth " + bandwidth);
    const std::string color = row.word("default_color", color_words);
    add_if(row.number("default_stream") != 0 || row.number("default_class") != 0 ||
               row.number("default_color") != color::green,
           "default_class " + text(row.number("default_stream") + 1) + "/" + text(row.number("default_class")) + "/" +
               color);
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

std::string typed_ports(int64_t mask) {
    std::string list;
    for (int64_t port = 1; port <= 32; ++port)
        if ((mask >> (port - 1) & 1) != 0) list += (list.empty() ? "" : ",") + text(port);
    return list.empty() ? "0" : list;
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
        if (depend != link_depend::vlan && depend != link_depend::ports) rows.fail_as_damaged("link_depend");
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
            if (priority < 0 || priority >= int64_t{priority_count}) row.fail_as_damaged("priority");
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
                text(policers.number("traffic_class")) + " on rcolor " + policers.word("color", policing_color_words) +
                " rate " + typed_rate(policers.number("rate")) + " burst " + text(policers.number("burst")) + " byte");
    Query shapers(out.database, "SELECT * FROM ether_shaper ORDER BY ether");
    while (shapers.next())
        out.add("set ether " + text(shapers.number("ether")) + " shaping on rate " +
                typed_rate(shapers.number("rate")) + " burst " + text(shapers.number("burst")) + " byte");
}

// --- VLANs ---

void add_vlans(Configuration& out) {
    Query rows(out.database, "SELECT * FROM vlan ORDER BY vid");
    while (rows.next()) {
        const std::string name = rows.text("name");
        if (name == "all") {
            out.remark("the tool keeps this name for itself");
            out.call("brgfdb_create_vlan", name, rows.number("vid"));
        } else {
            out.add("create vlan " + quote_word(name) + " vid " + text(rows.number("vid")));
            out.expected.name(qualifier::vlan, name, rows.number("vid"));
        }
        const std::string set = "set vlan " + quote_word(name);
        if (rows.flag("loop_detection")) out.add(set + " simple_loop_detection on");
        if (rows.flag("ignore_fdb")) out.add(set + " ignorefdb on");
    }
    Query pvids(out.database, "SELECT port, pvid FROM port WHERE pvid <> 0 ORDER BY port");
    while (pvids.next())
        out.add("set port " + text(pvids.number("port")) + " pvid " + text(pvids.number("pvid")));
}

// What keeps a VLAN from learning comes behind what it has learned.
void add_learning_settings(Configuration& out) {
    Query rows(out.database, "SELECT name, learning_limit, learning_off FROM vlan ORDER BY vid");
    while (rows.next()) {
        const std::string set = "set vlan " + quote_word(rows.text("name"));
        if (rows.number("learning_limit") != 0) out.add(set + " learninglimit " + text(rows.number("learning_limit")));
        if (rows.flag("learning_off")) out.add(set + " learning off");
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

std::string tagging(const Query& row) {
    if (row.flag("tagged")) return "on tagtype " + hex(row.number("tag_type"), 4);
    const std::optional<int64_t> group = row.optional_number("protgroup");
    return group ? "off protgroup " + text(*group) : "off";
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

// --- Streams and queues ---

struct Stream {
    int64_t index;
    std::string address; // 1/256

    explicit Stream(const Query& row) : index(row.number("stream_index")) {
        address = text(index / streams_per_port + 1) + "/" + text(index % streams_per_port + 1);
    }
    int64_t port() const { return index / streams_per_port + 1; }
    int64_t number() const { return index % streams_per_port; }
};

// Whether a sentence makes a stream like this one.
bool is_made_by_sentence(const Query& row) {
    return !row.is_null("port") && row.number("qos_type") != 0 && row.number("qos_first") == first_qos_parameter &&
           row.number("qos_second") == second_qos_parameter;
}

void add_stream_by_calls(Configuration& out, const Stream& stream, const Query& row) {
    out.remark("stream " + stream.address + " was not made or deleted to its end");
    out.call("brgfdb_create_stream", stream.index);
    if (!row.is_null("port")) out.call("brgfdb_add_stream_to_port", stream.index, stream.port(), stream.number());
    if (row.number("qos_type") != 0 || row.number("qos_first") != 0 || row.number("qos_second") != 0)
        out.call("brgfdb_set_qostype_in_stream", stream.index, row.number("qos_type"), row.number("qos_first"),
                 row.number("qos_second"));
}

// A minimum burst above the maximum can only be typed in the form with a keyword for each value.
std::string shaping_words(const Query& row) {
    const int64_t min_burst = row.number("min_burst");
    const int64_t max_burst = row.number("max_burst");
    const std::string min_rate = typed_rate(row.number("min_rate"));
    const std::string max_rate = typed_rate(row.number("max_rate"));
    if (min_burst <= max_burst)
        return "rate " + min_rate + "-" + max_rate + " burst " + text(min_burst) + "-" + text(max_burst) + " byte";
    return "maxrate " + max_rate + " minrate " + min_rate + " maxburst " + typed_rate(max_burst) + " min " +
           typed_rate(min_burst);
}

// The sentence that shapes asks for the port, too, which may be gone where the stream is not attached.
void add_stream_settings(Configuration& out, const Stream& stream, const Query& row) {
    if (row.number("max_rate") != 0) {
        if (!row.is_null("port"))
            out.add("set stream " + stream.address + " shaping on " + shaping_words(row));
        else
            out.call("brgfdb_set_shaping_in_stream", stream.index, row.number("min_rate"), row.number("min_burst"),
                     row.number("max_rate"), row.number("max_burst"));
    }
    if (row.number("priority") != 0)
        out.add("set stream " + stream.address + " priority " + text(row.number("priority")));
}

std::string tos_map_words(const Query& stream, Children& entries) {
    std::string words;
    int64_t at = 0;
    entries.of(stream, [&](const Query& row) {
        const int64_t entry = row.number("entry");
        if (entry < at || entry >= int64_t{tosmap_entry_count}) row.fail_as_damaged("entry");
        for (; at < entry; ++at)
            words += ",";
        words += hex(row.number("value")) + "/" + hex(row.number("mask"));
    });
    return words;
}

void add_streams(Configuration& out) {
    Children maps(out.database, "SELECT * FROM tos_map ORDER BY stream_index, entry", {"stream_index"});
    Query rows(out.database, "SELECT * FROM stream ORDER BY stream_index");
    while (rows.next()) {
        const Stream stream(rows);
        if (is_made_by_sentence(rows)) {
            out.add("create stream " + stream.address + " qostype " + rows.word("qos_type", qos_type_words));
            out.expected.name(qualifier::stream, stream.address, qualifier::no_id);
        } else {
            add_stream_by_calls(out, stream, rows);
        }
        add_stream_settings(out, stream, rows);
        if (const std::string map = tos_map_words(rows, maps); !map.empty())
            out.add("set stream " + stream.address + " tosmap " + map);
    }
    maps.expect_end();
}

int64_t block_size(int64_t length) {
    return length > 1048576 ? 256 : length > 262144 ? 128 : 64;
}

// A new queue is served by its stream's type, with the priority of its class.
bool is_attached_by_sentence(const Query& row) {
    const int64_t type = row.number("qos_type");
    return row.number("stream_type") == type && row.flag("weighted") == (type == qos_type::weighted_fair);
}

void add_queue(Configuration& out, const Query& row) {
    const Stream stream(row);
    const int64_t traffic_class = row.number("traffic_class");
    const std::string queue = stream.address + "/" + text(traffic_class);
    const int64_t index = stream.index * classes_per_stream + traffic_class;
    const int64_t blocks = row.number("blocks");
    const int64_t length = row.number("length");
    if (row.is_null("priority") || row.is_null("qos_type") || !is_attached_by_sentence(row)) {
        out.remark("queue " + queue + " was not made or deleted to its end");
        out.call("brgfdb_create_queue", index, blocks, length);
        if (row.is_null("priority")) return;
        out.call("brgfdb_add_queue_to_stream", index, stream.index, traffic_class, row.number("stream_type"),
                 traffic_class, row.number("weighted"));
    } else {
        out.add("create queue " + queue);
        out.expected.name(qualifier::queue, queue, qualifier::no_id);
        if (blocks * block_size(length) != length)
            out.call("brgfdb_set_queue_size", index, stream.index, traffic_class, blocks, length);
        else if (length != initial_length || blocks != initial_blocks)
            out.add("set queue " + queue + " queue_length " + text(length));
    }
    if (row.number("priority") != traffic_class || row.number("ratio") != 1)
        out.add("set queue " + queue + " pri " + text(row.number("priority")) + " ratio " + text(row.number("ratio")));
}

void add_queues(Configuration& out) {
    Query rows(out.database, "SELECT queue.stream_index, queue.traffic_class, blocks, length, stream_type, weighted,"
                             " queue_in_stream.priority, ratio, qos_type FROM queue"
                             " LEFT JOIN queue_in_stream USING (stream_index, traffic_class)"
                             " LEFT JOIN stream USING (stream_index) ORDER BY queue.stream_index, queue.traffic_class");
    while (rows.next())
        add_queue(out, rows);
    Query policies(out.database, "SELECT * FROM drop_policy ORDER BY stream_index, traffic_class, color");
    while (policies.next()) {
        const int64_t min_threshold = policies.number("min_threshold");
        const int64_t max_threshold = policies.number("max_threshold");
        const int64_t min_drop = policies.number("min_drop");
        const int64_t max_drop = policies.number("max_drop");
        const bool is_tail_drop = min_threshold == 100 && max_threshold == 0 && min_drop == 0 && max_drop == 0;
        out.add("set queue " + Stream(policies).address + "/" + text(policies.number("traffic_class")) + " color " +
                policies.word("color", color_words) + " drop_type " +
                (is_tail_drop ? "taildrop"
                              : "wred thresh " + text(min_threshold) + "-" + text(max_threshold) + " drop " +
                                    text(min_drop) + "-" + text(max_drop)));
    }
}

// --- Forwarding database ---

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

void add_fdb_entries(Configuration& out) {
    add_own_entries(out);
    Query rows(out.database, "SELECT mac, name, port, action FROM static_entry LEFT JOIN vlan USING (vid)"
                             " WHERE of_system = 0 ORDER BY vid, mac");
    while (rows.next())
        out.add("create sfdbentry " + quote_word(rows.text("mac")) + " in vlan " + quote_word(rows.text("name")) +
                (rows.is_null("port") ? " discard"
                                      : " port " + text(rows.number("port")) + " flag " + hex(rows.number("action"))));
    Query local(out.database, "SELECT port, mac, type FROM local_entry WHERE of_system = 0 ORDER BY port, mac");
    while (local.next())
        out.add("create lfdbentry " + quote_word(local.text("mac")) + " in port " + text(local.number("port")) + " " +
                local.word("type", local_type_words));
}

void add_enabled_ports(Configuration& out) {
    Query rows(out.database, "SELECT port FROM port WHERE enabled ORDER BY port");
    while (rows.next()) {
        out.add("enable port " + text(rows.number("port")));
        out.expected.enable_port(rows.number("port"));
    }
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

// --- Classification lists ---

// A match operand. Where a bound of the field (7 for cos, 4095 for vid) has pulled a value down, it may no longer fit
// under its mask; then any value that is pulled down in the same way is typed, and the mask itself is one.
struct MatchOperand {
    std::string field;
    int64_t low;
    std::optional<int64_t> high;
    int64_t mask;

    explicit MatchOperand(const Query& row)
        : field(row.text("field")), low(row.number("low")), high(row.optional_number("high")),
          mask(row.number("mask")) {}
    int64_t typed(int64_t value) const { return (value & mask) == value ? value : mask; }
};

std::string dotted(int64_t address) {
    return text(address >> 24 & 255) + "." + text(address >> 16 & 255) + "." + text(address >> 8 & 255) + "." +
           text(address & 255);
}

std::string operand_text(const MatchOperand& match) {
    if (match.field == "da" || match.field == "sa")
        return dotted(match.low) + (match.high ? "-" + dotted(*match.high) : "") + "/" +
               std::to_string(std::popcount(static_cast<uint64_t>(match.mask)));
    const bool is_hex = match.field == "etype" || match.field.starts_with("ext");
    const auto number = [&](int64_t value) { return is_hex ? hex(value) : text(match.typed(value)); };
    return number(match.low) + (match.high ? "-" + number(*match.high) : "") + "/" + hex(match.mask);
}

constexpr size_t match_operands = 13; // the last four are extraction points, which share a word

size_t place_of(const Query& row) {
    static constexpr std::array<const char*, match_operands> fields = {
        "da", "sa", "tos", "prot", "dp", "sp", "vid", "cos", "etype", "ext1", "ext2", "ext3", "ext4"};
    const std::string field = row.text("field");
    for (size_t i = 0; i < fields.size(); ++i)
        if (field == fields.at(i)) return i;
    row.fail_as_damaged("field");
}

std::string rule_operands(const Query& rule, Children& matches) {
    std::array<std::string, match_operands> texts;
    matches.of(rule, [&](const Query& row) { texts.at(place_of(row)) = operand_text(MatchOperand(row)); });
    std::string words;
    for (size_t i = 0; i < match_operands - extraction_point_count; ++i)
        words += " " + (texts.at(i).empty() ? "x" : texts.at(i));
    const std::string extraction = texts[9] + "," + texts[10] + "," + texts[11] + "," + texts[12];
    return words + " " + (extraction == ",,," ? "x" : extraction);
}

void add_rules(Configuration& out) {
    Query lists(out.database, "SELECT list, marking FROM classify_list ORDER BY list");
    Children rules(out.database, "SELECT * FROM classify_rule ORDER BY list, line", {"list"});
    Children matches(out.database, "SELECT * FROM classify_match ORDER BY list, line", {"list", "line"});
    while (lists.next()) {
        const std::string list = text(lists.number("list"));
        out.add("create clslist " + list);
        const std::string marking = lists.optional_word("marking", marking_words).value_or("");
        rules.of(lists, [&](const Query& rule) {
            if (marking.empty()) lists.fail_as_damaged("marking");
            out.add("add classify " + text(rule.number("stream") + 1) + "/" + text(rule.number("traffic_class")) + "/" +
                    rule.word("color", color_words) + " " + marking + rule_operands(rule, matches) + " to clslist " +
                    list + " line " + text(rule.number("line")));
        });
    }
    rules.expect_end();
    matches.expect_end();
}

// Offsets above 1532 were typed as negative ones.
std::string extraction_words(const Query& binding, Children& points) {
    std::array<std::string, extraction_point_count> words;
    bool is_any = false;
    points.of(binding, [&](const Query& row) {
        const int64_t point = row.number("point");
        if (point < 1 || point > int64_t{extraction_point_count}) row.fail_as_damaged("point");
        const int64_t offset = row.number("byte_offset");
        words.at(static_cast<size_t>(point - 1)) =
            text(offset > 1532 ? offset - 65536 : offset) + "/" + text(row.number("width"));
        is_any = true;
    });
    return is_any ? " " + words[0] + "," + words[1] + "," + words[2] + "," + words[3] : "";
}

void add_bindings(Configuration& out) {
    Children points(out.database, "SELECT * FROM extraction_point ORDER BY vid, port, point", {"vid", "port"});
    Query rows(out.database,
               "SELECT list, port, name, vid FROM list_binding LEFT JOIN vlan USING (vid) ORDER BY vid, port");
    while (rows.next())
        out.add("add clslist " + text(rows.number("list")) + " to port " + text(rows.number("port")) + " vlan " +
                quote_word(rows.text("name")) + extraction_words(rows, points));
    points.expect_end();
}

// --- Mirrors ---

std::string source_words(const Query& row) {
    const int64_t type = row.number("source_type");
    if (type == mirror_source::vlan) return "vlan " + quote_word(row.text("name"));
    if (type < mirror_source::received || type > mirror_source::vlan) row.fail_as_damaged("source_type");
    const bool is_received = type == mirror_source::received || type == mirror_source::received_in_vlan;
    return "port " + text(row.number("source_port")) + (is_received ? " in" : " out") +
           (row.is_null("source_vid") ? "" : " vlan " + quote_word(row.text("name")));
}

void add_mirrors(Configuration& out) {
    Query rows(out.database, "SELECT mirror.*, name FROM mirror LEFT JOIN vlan ON vid = source_vid ORDER BY mirror");
    while (rows.next()) {
        const std::string mirror = text(rows.number("mirror"));
        const std::string set = "set mirror " + mirror;
        out.add("create mirror " + mirror);
        if (!rows.is_null("source_type")) out.add(set + " source " + source_words(rows));
        if (!rows.is_null("destination")) out.add(set + " dest port " + text(rows.number("destination")));
        if (!rows.is_null("stream"))
            out.add(set + " classify " + text(rows.number("stream") + 1) + "/" + text(rows.number("traffic_class")) +
                    "/" + rows.word("color", color_words));
        const int64_t tag_type = rows.number("tag_type");
        if (rows.flag("tagged"))
            out.add(set + " tag on tagtype " + hex(tag_type) + " vid " + text(rows.number("tag_vid")));
        else if (tag_type != default_tag_type || rows.number("tag_vid") != 0)
            out.call("brgfdb_set_mirror_tag", rows.number("mirror"), 0, tag_type, rows.number("tag_vid"));
        if (rows.flag("enabled")) out.add("enable mirror " + mirror);
    }
}

// --- What only emuswitch brings about ---

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

int print_config() {
    Database database = Database::snapshot();
    std::cout << configuration(database);
    return 0;
}

} // namespace

void add_config(CommandLine& line) {
    line.add("config", "Print the configuration as sentences that rebuild it")
        .footer("Example:\n  emuswitch config > switch.play")
        .runs(print_config);
}
