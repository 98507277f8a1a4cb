// The kinds of objects of a switch.
#include "companion/topics.h"

#include "companion/orphans.h"
#include "core/match_fields.h"
#include "platform/portshm.h"
#include "platform/qual.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace {

using Take = std::function<void(const Json&)>;

// --- Values ---

std::string hex(int64_t value, int digits = 1) {
    char text[20];
    snprintf(text, sizeof text, "%0*llx", digits, static_cast<unsigned long long>(value));
    return text;
}

// Tag types and types of Ethernet, as sentences write them: 8100.
std::string hex4(int64_t value) {
    return hex(value, 4);
}

// In units of 1000 bit/s, as sentences have it; with decimals where a library call has set another one.
Json kbit(int64_t rate) {
    return rate % 1000 == 0 ? Json(rate / 1000) : Json(static_cast<double>(rate) / 1000);
}

// The ports whose bits are set, port 1 in the lowest.
Json ports_in(int64_t mask) {
    Json ports = Json::array();
    for (int64_t port = 1; port <= 32; ++port)
        if ((mask >> (port - 1) & 1) != 0) ports.push_back(port);
    return ports;
}

std::string text_of(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    return value.is_null() ? "-" : value.dump();
}

Cell cell_of(const Json& value) {
    Cell cell(text_of(value));
    cell.is_number = value.is_number();
    return cell;
}

// A class as sentences write it, of a stream counted from 1: 1/7/red.
std::string class_text(const Json& stream, const Json& traffic_class, const Json& color) {
    return text_of(stream) + "/" + text_of(traffic_class) + "/" + text_of(color);
}

std::string class_text(const Json& object) {
    return class_text(object["stream"], object["class"], object["color"]);
}

// Words for what is on, with a blank between.
class JoinedWords {
public:
    void add_if(bool is_so, const std::string& word, const char* separator = " ") {
        if (is_so) joined_ += (joined_.empty() ? "" : separator) + word;
    }
    void add(const std::string& word, const char* separator = " ") { add_if(true, word, separator); }
    std::string text() const { return joined_; }
    std::string text_or_dash() const { return joined_.empty() ? "-" : joined_; }

private:
    std::string joined_;
};

std::vector<TitledTable> only(Table table) {
    return {{nullptr, std::move(table)}};
}

// --- Ports ---

constexpr NumberedWord link_depend_words[] = {{link_depend::vlan, "vlan"}, {link_depend::ports, "port"}};

Json port_of(const Query& row) {
    const Json depend = or_null(row.optional_word("link_depend", link_depend_words));
    const int64_t pvid = row.number("pvid");
    return {{"port", row.number("port")},
            {"ether", row.number("ether")},
            {"type", row.word("type", port_type_words)},
            {"enabled", row.flag("enabled")},
            {"aftype", row.flag("accept_all_frames") ? "all" : "tagonly"},
            {"ingress_filtering", row.flag("ingress_filtering")},
            {"accept_tagged", row.flag("accept_tagged")},
            {"accept_priority_tagged", row.flag("accept_priority_tagged")},
            {"cos_editing", row.flag("cos_editing")},
            {"ignore_fdb", row.flag("ignore_fdb")},
            {"tagtype", hex4(row.number("tag_type"))},
            {"pvid", pvid == 0 ? Json(nullptr) : Json(pvid)},
            {"aging_s", row.number("aging")},
            {"loop_breaker", row.flag("loop_breaker")},
            {"default_class",
             {{"stream", row.number("default_stream") + 1},
              {"class", row.number("default_class")},
              {"color", row.word("default_color", color_words)}}},
            {"bandwidth", row.word("bandwidth_mode", bandwidth_mode_words)},
            {"link_mode", or_null(row.optional_word("link_mode", link_mode_words))},
            {"link_depend", depend},
            {"link_depend_ports", depend == "port" ? ports_in(row.number("link_depend_ports")) : Json(nullptr)},
            {"in_lag", row.flag("in_lag")},
            {"ip_interface", row.flag("ip_interface")},
            {"cos_map", Json::array()},
            {"class_policers", Json::array()},
            {"link_frames", Json::array()}};
}

void read_ports(Database& database, const Take& take) {
    Children maps(database, "SELECT port, priority, traffic_class FROM cos_map ORDER BY port, priority", {"port"});
    Children policers(database,
                      "SELECT port, traffic_class, rate, burst, color FROM class_policer ORDER BY port, traffic_class",
                      {"port"});
    Children frames(database, "SELECT port, kind, action FROM link_frame ORDER BY port, kind", {"port"});
    Query rows(database, "SELECT * FROM port ORDER BY port");
    while (rows.next()) {
        Json port = port_of(rows);
        maps.of(rows, [&](const Query& row) {
            port["cos_map"].push_back({{"priority", row.number("priority")}, {"class", row.number("traffic_class")}});
        });
        policers.of(rows, [&](const Query& row) {
            port["class_policers"].push_back({{"class", row.number("traffic_class")},
                                              {"rate_kbit_s", kbit(row.number("rate"))},
                                              {"burst_bytes", row.number("burst")},
                                              {"color", row.word("color", policing_color_words)}});
        });
        frames.of(rows, [&](const Query& row) {
            port["link_frames"].push_back({{"kind", row.word("kind", link_frame_words)},
                                           {"action", row.word("action", link_frame_action_words)}});
        });
        take(port);
    }
    for (const Children* children : {&maps, &policers, &frames})
        children->expect_end();
}

void read_ether_shapers(Database& database, const Take& take) {
    Query rows(database, "SELECT ether, rate, burst FROM ether_shaper ORDER BY ether");
    while (rows.next())
        take({{"ether", rows.number("ether")},
              {"rate_kbit_s", kbit(rows.number("rate"))},
              {"burst_bytes", rows.number("burst")}});
}

std::string port_flags(const Json& port) {
    JoinedWords flags;
    flags.add_if(port["ingress_filtering"], "ingfil");
    flags.add_if(!port["accept_tagged"], "ignoretag");
    flags.add_if(!port["accept_priority_tagged"], "ignoreptag");
    flags.add_if(port["cos_editing"], "cosedit");
    flags.add_if(port["ignore_fdb"], "ignorefdb");
    flags.add_if(port["loop_breaker"], "sldbreaker");
    flags.add_if(port["bandwidth"] == "frame_gap", "frame_gap");
    flags.add_if(port["in_lag"], "LAG");
    flags.add_if(port["ip_interface"], "IP");
    return flags.text();
}

std::string depends_text(const Json& depend, const Json& ports) {
    if (depend != "port") return text_of(depend);
    JoinedWords list;
    for (const Json& port : ports)
        list.add(text_of(port), ",");
    return "port " + list.text_or_dash();
}

void add_link_control(Table& table, const Json& port) {
    if (port["link_mode"].is_null() && port["link_depend"].is_null() && port["link_frames"].empty()) return;
    JoinedWords frames;
    for (const Json& frame : port["link_frames"])
        frames.add(text_of(frame["kind"]) + " " + text_of(frame["action"]), ", ");
    table.add({cell_of(port["port"]), frames.text_or_dash(), text_of(port["link_mode"]),
               depends_text(port["link_depend"], port["link_depend_ports"])});
}

std::vector<TitledTable> port_tables(Database& database, bool /*with_system*/) {
    Table ports{{"PORT", "ETHER", "TYPE", "STATE", "FRAMES", "PVID", "TPID", "AGING", "DEFAULT", "FLAGS"}, {}};
    Table maps{{"PORT", "PRIORITY=CLASS"}, {}};
    Table policers{{"PORT", "CLASS", "KBIT/S", "BYTES", "ABOVE"}, {}};
    Table links{{"PORT", "FRAMES", "MODE", "DEPENDS"}, {}};
    Table shapers{{"INTERFACE", "KBIT/S", "BYTES"}, {}};
    read_ports(database, [&](const Json& port) {
        ports.add({cell_of(port["port"]), cell_of(port["ether"]), cell_of(port["type"]),
                   port["enabled"] ? "enabled" : "disabled", cell_of(port["aftype"]),
                   port["pvid"].is_null() ? Cell(0) : cell_of(port["pvid"]), cell_of(port["tagtype"]),
                   cell_of(port["aging_s"]), class_text(port["default_class"]), port_flags(port)});
        JoinedWords map;
        for (const Json& entry : port["cos_map"])
            map.add(text_of(entry["priority"]) + "=" + text_of(entry["class"]));
        if (!port["cos_map"].empty()) maps.add({cell_of(port["port"]), map.text()});
        for (const Json& policer : port["class_policers"])
            policers.add({cell_of(port["port"]), cell_of(policer["class"]), cell_of(policer["rate_kbit_s"]),
                          cell_of(policer["burst_bytes"]), cell_of(policer["color"])});
        add_link_control(links, port);
    });
    read_ether_shapers(database, [&](const Json& shaper) {
        shapers.add(
            {"ether " + text_of(shaper["ether"]), cell_of(shaper["rate_kbit_s"]), cell_of(shaper["burst_bytes"])});
    });
    return {{nullptr, std::move(ports)},
            {"CoS maps", std::move(maps)},
            {"Class policers", std::move(policers)},
            {"Link control", std::move(links)},
            {"Shaped interfaces", std::move(shapers)}};
}

// --- VLANs and their members ---

void read_vlans(Database& database, const Take& take) {
    Query rows(database, "SELECT * FROM vlan ORDER BY vid");
    while (rows.next()) {
        const int64_t limit = rows.number("learning_limit");
        take({{"vid", rows.number("vid")},
              {"name", rows.text("name")},
              {"loop_detection", rows.flag("loop_detection")},
              {"learning_limit", limit == 0 ? Json(nullptr) : Json(limit)},
              {"ignore_fdb", rows.flag("ignore_fdb")},
              {"learning", !rows.flag("learning_off")}});
    }
}

void read_members(Database& database, const Take& take) {
    Children points(database,
                    "SELECT vid, port, point, byte_offset, width FROM extraction_point ORDER BY vid, port, point",
                    {"vid", "port"});
    Query rows(database, "SELECT vid, name, port, tagged, tag_type, protgroup, list FROM vlan_member"
                         " LEFT JOIN vlan USING (vid) LEFT JOIN list_binding USING (vid, port) ORDER BY vid, port");
    while (rows.next()) {
        const bool is_tagged = rows.flag("tagged");
        Json member{{"vid", rows.number("vid")},
                    {"vlan", rows.text("name")},
                    {"port", rows.number("port")},
                    {"tagged", is_tagged},
                    {"tagtype", is_tagged ? Json(hex4(rows.number("tag_type"))) : Json(nullptr)},
                    {"protgroup", or_null(rows.optional_number("protgroup"))},
                    {"clslist", or_null(rows.optional_number("list"))},
                    {"extraction_points", Json::array()}};
        points.of(rows, [&](const Query& row) {
            member["extraction_points"].push_back({{"point", row.number("point")},
                                                   {"offset_bytes", row.number("byte_offset")},
                                                   {"width_bytes", row.number("width")}});
        });
        take(member);
    }
    points.expect_end();
}

std::vector<TitledTable> vlan_tables(Database& database, bool /*with_system*/) {
    std::map<int64_t, int64_t> ports;
    read_members(database, [&](const Json& member) { ++ports[member["vid"].get<int64_t>()]; });
    Table table{{"VID", "NAME", "PORTS", "LEARNING", "LIMIT", "FLAGS"}, {}};
    read_vlans(database, [&](const Json& vlan) {
        JoinedWords flags;
        flags.add_if(vlan["loop_detection"], "loop_detection");
        flags.add_if(vlan["ignore_fdb"], "ignorefdb");
        table.add({cell_of(vlan["vid"]), cell_of(vlan["name"]), ports[vlan["vid"].get<int64_t>()],
                   vlan["learning"] ? "on" : "off",
                   vlan["learning_limit"].is_null() ? Cell("none") : cell_of(vlan["learning_limit"]), flags.text()});
    });
    return only(std::move(table));
}

std::string membership_text(const Json& member) {
    if (member["tagged"]) return "tagged " + text_of(member["tagtype"]);
    return member["protgroup"].is_null() ? "untagged" : "untagged for protgroup " + text_of(member["protgroup"]);
}

std::vector<TitledTable> member_tables(Database& database, bool /*with_system*/) {
    Table table{{"VLAN", "PORT", "MEMBER", "CLSLIST", "EXTRACTION"}, {}};
    read_members(database, [&](const Json& member) {
        JoinedWords points;
        for (const Json& point : member["extraction_points"])
            points.add("ext" + text_of(point["point"]) + " " + text_of(point["offset_bytes"]) + "/" +
                       text_of(point["width_bytes"]));
        table.add({cell_of(member["vlan"]), cell_of(member["port"]), membership_text(member),
                   cell_of(member["clslist"]), points.text_or_dash()});
    });
    return only(std::move(table));
}

void read_protgroups(Database& database, const Take& take) {
    Children protocols(database, "SELECT protgroup, ether_type FROM protocol ORDER BY protgroup, ether_type",
                       {"protgroup"});
    Query rows(database, "SELECT protgroup FROM protgroup ORDER BY protgroup");
    while (rows.next()) {
        Json group{{"protgroup", rows.number("protgroup")}, {"protocols", Json::array()}};
        protocols.of(rows, [&](const Query& row) { group["protocols"].push_back(hex4(row.number("ether_type"))); });
        take(group);
    }
    protocols.expect_end();
}

std::vector<TitledTable> protgroup_tables(Database& database, bool /*with_system*/) {
    std::map<int64_t, int64_t> members;
    read_members(database, [&](const Json& member) {
        if (!member["protgroup"].is_null()) ++members[member["protgroup"].get<int64_t>()];
    });
    Table table{{"GROUP", "MEMBERS", "PROTOCOLS"}, {}};
    read_protgroups(database, [&](const Json& group) {
        JoinedWords protocols;
        for (const Json& protocol : group["protocols"])
            protocols.add(text_of(protocol));
        table.add({cell_of(group["protgroup"]), members[group["protgroup"].get<int64_t>()], protocols.text_or_dash()});
    });
    return only(std::move(table));
}

// --- Mirrors ---

// Which frames a mirror copies: those of a VLAN, or those that a port receives (in) or sends (out).
Json source_of(const Query& row) {
    if (row.is_null("source_type")) return nullptr;
    const int64_t type = row.number("source_type");
    const bool is_in = type == mirror_source::received || type == mirror_source::received_in_vlan;
    return {{"port", or_null(row.optional_number("source_port"))},
            {"direction", type == mirror_source::vlan ? Json(nullptr) : Json(is_in ? "in" : "out")},
            {"vid", or_null(row.optional_number("source_vid"))},
            {"vlan", or_null(row.optional_text("name"))}};
}

void read_mirrors(Database& database, const Take& take) {
    Query rows(database, "SELECT mirror.*, name FROM mirror LEFT JOIN vlan ON vid = source_vid ORDER BY mirror");
    while (rows.next()) {
        const Json narrowed{{"stream", rows.is_null("stream") ? 0 : rows.number("stream") + 1},
                            {"class", or_null(rows.optional_number("traffic_class"))},
                            {"color", or_null(rows.optional_word("color", color_words))}};
        const Json tag{{"tagtype", hex4(rows.number("tag_type"))}, {"vid", rows.number("tag_vid")}};
        take({{"mirror", rows.number("mirror")},
              {"enabled", rows.flag("enabled")},
              {"source", source_of(rows)},
              {"destination_port", or_null(rows.optional_number("destination"))},
              {"class", rows.is_null("stream") ? Json(nullptr) : narrowed},
              {"tag", rows.flag("tagged") ? tag : Json(nullptr)}});
    }
}

std::string source_text(const Json& source) {
    if (source.is_null()) return "-";
    std::string vlan = "vlan " + text_of(source["vlan"]);
    if (source["direction"].is_null()) return vlan;
    const std::string port = "port " + text_of(source["port"]) + " " + text_of(source["direction"]);
    return source["vid"].is_null() ? port : port + " " + vlan;
}

std::vector<TitledTable> mirror_tables(Database& database, bool /*with_system*/) {
    Table table{{"MIRROR", "STATE", "SOURCE", "DESTINATION", "FRAMES", "TAG"}, {}};
    read_mirrors(database, [&](const Json& mirror) {
        const Json& tag = mirror["tag"];
        table.add({cell_of(mirror["mirror"]), mirror["enabled"] ? "enabled" : "disabled", source_text(mirror["source"]),
                   mirror["destination_port"].is_null() ? "-" : "port " + text_of(mirror["destination_port"]),
                   mirror["class"].is_null() ? "all" : class_text(mirror["class"]),
                   tag.is_null() ? "off" : text_of(tag["tagtype"]) + " vid " + text_of(tag["vid"])});
    });
    return only(std::move(table));
}

// --- Streams and queues ---

void add_stream_children(const Query& rows, Children& maps, Children& policies, Json& stream) {
    maps.of(rows, [&](const Query& row) {
        stream["tos_map"].push_back(
            {{"entry", row.number("entry")}, {"value", hex(row.number("value"))}, {"mask", hex(row.number("mask"))}});
    });
    policies.of(rows, [&](const Query& row) {
        const bool is_tail_drop = row.number("min_threshold") == 100 && row.number("max_threshold") == 0;
        const auto percent = [&](const char* column) {
            return is_tail_drop ? Json(nullptr) : Json(row.number(column));
        };
        stream["drop_policies"].push_back({{"class", row.number("traffic_class")},
                                           {"color", row.word("color", color_words)},
                                           {"drop_type", is_tail_drop ? "taildrop" : "wred"},
                                           {"min_threshold_percent", percent("min_threshold")},
                                           {"max_threshold_percent", percent("max_threshold")},
                                           {"min_drop_percent", percent("min_drop")},
                                           {"max_drop_percent", percent("max_drop")}});
    });
}

Json shaping_of(const Query& row) {
    const Json shaping{{"min_rate_kbit_s", kbit(row.number("min_rate"))},
                       {"max_rate_kbit_s", kbit(row.number("max_rate"))},
                       {"min_burst_bytes", row.number("min_burst")},
                       {"max_burst_bytes", row.number("max_burst")}};
    const bool is_off = std::all_of(shaping.begin(), shaping.end(), [](const Json& value) { return value == 0; });
    return is_off ? Json(nullptr) : shaping;
}

void read_streams(Database& database, const Take& take) {
    Children maps(database, "SELECT * FROM tos_map ORDER BY stream_index, entry", {"stream_index"});
    Children policies(database, "SELECT * FROM drop_policy ORDER BY stream_index, traffic_class, color",
                      {"stream_index"});
    Query rows(database, "SELECT * FROM stream ORDER BY stream_index");
    while (rows.next()) {
        const int64_t index = rows.number("stream_index");
        const bool has_type = rows.number("qos_type") != 0;
        Json stream{{"port", index / streams_per_port + 1},
                    {"stream", index % streams_per_port + 1},
                    {"attached", rows.optional_number("port").has_value()},
                    {"qos_type", has_type ? Json(rows.word("qos_type", qos_type_words)) : Json(nullptr)},
                    {"qos_parameters", {rows.number("qos_first"), rows.number("qos_second")}},
                    {"shaping", shaping_of(rows)},
                    {"priority", rows.number("priority")},
                    {"tos_map", Json::array()},
                    {"drop_policies", Json::array()}};
        add_stream_children(rows, maps, policies, stream);
        take(stream);
    }
    maps.expect_end();
    policies.expect_end();
}

// The type that a queue was attached with; none where that was none.
std::optional<std::string> type_told(const Query& row) {
    if (!row.flag("attached") || row.number("stream_type") == 0) return std::nullopt;
    return row.word("stream_type", qos_type_words);
}

void read_queues(Database& database, const Take& take) {
    expect_queues_in_streams(database);
    Query rows(database, "SELECT stream_index, traffic_class, blocks, length, stream_type, weighted, priority, ratio,"
                         " queue_in_stream.traffic_class IS NOT NULL AS attached"
                         " FROM queue LEFT JOIN queue_in_stream USING (stream_index, traffic_class)"
                         " ORDER BY stream_index, traffic_class");
    while (rows.next()) {
        const int64_t index = rows.number("stream_index");
        const bool is_attached = rows.flag("attached");
        take({{"port", index / streams_per_port + 1},
              {"stream", index % streams_per_port + 1},
              {"class", rows.number("traffic_class")},
              {"blocks", rows.number("blocks")},
              {"length_bytes", rows.number("length")},
              {"attached", is_attached},
              {"priority", is_attached ? Json(rows.number("priority")) : Json(nullptr)},
              {"ratio", is_attached ? Json(rows.number("ratio")) : Json(nullptr)},
              {"weighted", is_attached ? Json(rows.flag("weighted")) : Json(nullptr)},
              {"stream_type", or_null(type_told(rows))}});
    }
}

std::string stream_text(const Json& object) {
    return text_of(object["port"]) + "/" + text_of(object["stream"]);
}

std::string queue_text(const Json& object) {
    return stream_text(object) + "/" + text_of(object["class"]);
}

std::string shaping_text(const Json& shaping) {
    if (shaping.is_null() || shaping["max_rate_kbit_s"] == 0) return "off";
    return text_of(shaping["min_rate_kbit_s"]) + "-" + text_of(shaping["max_rate_kbit_s"]) + " kbit/s, " +
           text_of(shaping["min_burst_bytes"]) + "-" + text_of(shaping["max_burst_bytes"]) + " bytes";
}

std::vector<TitledTable> stream_tables(Database& database, bool /*with_system*/) {
    std::map<std::string, int64_t> queues;
    read_queues(database, [&](const Json& queue) {
        if (queue["attached"]) ++queues[stream_text(queue)];
    });
    Table table{{"STREAM", "TYPE", "PRI", "QUEUES", "SHAPING", "TOS MAP"}, {}};
    read_streams(database, [&](const Json& stream) {
        JoinedWords map;
        for (const Json& entry : stream["tos_map"])
            map.add(text_of(entry["entry"]) + "=" + text_of(entry["value"]) + "/" + text_of(entry["mask"]));
        table.add({stream_text(stream), stream["attached"] ? text_of(stream["qos_type"]) : "detached",
                   cell_of(stream["priority"]), queues[stream_text(stream)], shaping_text(stream["shaping"]),
                   map.text_or_dash()});
    });
    return only(std::move(table));
}

std::string drop_text(const Json& policy) {
    const std::string color = text_of(policy["color"]) + " ";
    if (policy["drop_type"] == "taildrop") return color + "taildrop";
    return color + text_of(policy["min_threshold_percent"]) + "-" + text_of(policy["max_threshold_percent"]) +
           " drop " + text_of(policy["min_drop_percent"]) + "-" + text_of(policy["max_drop_percent"]);
}

std::vector<TitledTable> queue_tables(Database& database, bool /*with_system*/) {
    std::map<std::string, JoinedWords> drops;
    read_streams(database, [&](const Json& stream) {
        for (const Json& policy : stream["drop_policies"])
            drops[stream_text(stream) + "/" + text_of(policy["class"])].add(drop_text(policy), ", ");
    });
    Table table{{"QUEUE", "PRI", "RATIO", "BLOCKS", "LENGTH", "DROPS"}, {}};
    read_queues(database, [&](const Json& queue) {
        table.add({queue_text(queue), cell_of(queue["priority"]), cell_of(queue["ratio"]), cell_of(queue["blocks"]),
                   cell_of(queue["length_bytes"]),
                   queue["attached"] ? drops[queue_text(queue)].text_or_dash() : "detached"});
    });
    return only(std::move(table));
}

// --- Forwarding database ---

void read_static_entries(Database& database, const Take& take) {
    Query rows(database, "SELECT vid, name, mac, port, action, of_system FROM static_entry LEFT JOIN vlan USING (vid)"
                         " ORDER BY vid, mac");
    while (rows.next()) {
        const std::optional<int64_t> port = rows.optional_number("port");
        take({{"vid", rows.number("vid")},
              {"vlan", rows.text("name")},
              {"mac", rows.text("mac")},
              {"action", port ? "forward" : "discard"},
              {"port", or_null(port)},
              {"flag", port ? Json(hex(rows.number("action"))) : Json(nullptr)},
              {"of_system", rows.flag("of_system")}});
    }
}

void read_learned_entries(Database& database, const Take& take) {
    Query rows(database, "SELECT vid, name, mac, port FROM learned_entry LEFT JOIN vlan USING (vid) ORDER BY vid, mac");
    while (rows.next())
        take({{"vid", rows.number("vid")},
              {"vlan", rows.text("name")},
              {"mac", rows.text("mac")},
              {"port", rows.number("port")}});
}

void read_local_entries(Database& database, const Take& take) {
    Query rows(database, "SELECT port, mac, type, of_system FROM local_entry ORDER BY port, mac");
    while (rows.next())
        take({{"port", rows.number("port")},
              {"mac", rows.text("mac")},
              {"type", rows.word("type", local_type_words)},
              {"of_system", rows.flag("of_system")}});
}

// Entries that the switch makes for itself (the reserved addresses of each port, the address of each membership) are
// left out unless asked for.
std::vector<TitledTable> fdb_tables(Database& database, bool with_system) {
    Table table{{"KIND", "VLAN/PORT", "MAC", "ACTION", "BY"}, {}};
    const auto by = [](const Json& entry) { return entry["of_system"] ? "system" : ""; };
    read_static_entries(database, [&](const Json& entry) {
        if (entry["of_system"] && !with_system) return;
        table.add(
            {"static", cell_of(entry["vlan"]), cell_of(entry["mac"]),
             entry["port"].is_null() ? "discard" : "port " + text_of(entry["port"]) + " flag " + text_of(entry["flag"]),
             by(entry)});
    });
    read_learned_entries(database, [&](const Json& entry) {
        table.add({"learned", cell_of(entry["vlan"]), cell_of(entry["mac"]), "port " + text_of(entry["port"]), ""});
    });
    read_local_entries(database, [&](const Json& entry) {
        if (entry["of_system"] && !with_system) return;
        table.add({"local", text_of(entry["port"]), cell_of(entry["mac"]), cell_of(entry["type"]), by(entry)});
    });
    return only(std::move(table));
}

// --- Classification lists ---

Json rule_of(const Query& row) {
    return {{"line", row.number("line")},
            {"stream", row.number("stream") + 1},
            {"class", row.number("traffic_class")},
            {"color", row.word("color", color_words)},
            {"match", Json::array()}};
}

std::string address_text(int64_t bits) {
    return std::to_string(bits >> 24 & 255) + "." + std::to_string(bits >> 16 & 255) + "." +
           std::to_string(bits >> 8 & 255) + "." + std::to_string(bits & 255);
}

// A number that a rule looks for, in the form that sentences give it.
Json sought(emulator::MatchStyle style, int64_t value) {
    switch (style) {
    case emulator::MatchStyle::decimal: return value;
    case emulator::MatchStyle::hex: return hex4(value);
    case emulator::MatchStyle::address: return address_text(value);
    default: return hex(value);
    }
}

// There may be half a million of them: filled in place, which a list of initial values is not.
Json match_of(const Query& row) {
    std::string name = row.text("field");
    const emulator::MatchField* const field = emulator::find_match_field(name.c_str());
    if (field == nullptr) row.fail_as_damaged("field");
    const int64_t mask = row.number("mask");
    const std::optional<int64_t> high = row.optional_number("high");
    Json::object_t match;
    match.reserve(4);
    match.emplace("field", std::move(name));
    match.emplace("low", sought(field->style, row.number("low")));
    match.emplace("high", high ? sought(field->style, *high) : Json(nullptr));
    if (mask == int64_t{field->full_mask()})
        match.emplace("mask", nullptr);
    else
        match.emplace("mask", field->style == emulator::MatchStyle::address ? address_text(mask) : hex(mask));
    return match;
}

void read_lists(Database& database, const Take& take) {
    Children rules(database, "SELECT * FROM classify_rule ORDER BY list, line", {"list"});
    Children matches(database, "SELECT * FROM classify_match ORDER BY list, line, field", {"list", "line"});
    Query rows(database, "SELECT list, marking FROM classify_list ORDER BY list");
    while (rows.next()) {
        Json list{{"list", rows.number("list")},
                  {"marking", or_null(rows.optional_word("marking", marking_words))},
                  {"rules", Json::array()}};
        Json& of_list = list["rules"];
        rules.of(rows, [&](const Query& row) {
            of_list.push_back(rule_of(row));
            matches.of(row, [&](const Query& match) { of_list.back()["match"].push_back(match_of(match)); });
        });
        take(list);
    }
    rules.expect_end();
    matches.expect_end();
}

std::string match_text(const Json& match) {
    return text_of(match["field"]) + " " + text_of(match["low"]) +
           (match["high"].is_null() ? "" : "-" + text_of(match["high"])) +
           (match["mask"].is_null() ? "" : "/" + text_of(match["mask"]));
}

std::vector<TitledTable> list_tables(Database& database, bool /*with_system*/) {
    std::map<int64_t, JoinedWords> bindings;
    read_members(database, [&](const Json& member) {
        if (!member["clslist"].is_null())
            bindings[member["clslist"].get<int64_t>()].add(
                "port " + text_of(member["port"]) + " vlan " + text_of(member["vlan"]), ", ");
    });
    Table lists{{"LIST", "MARKING", "RULES", "BOUND"}, {}};
    Table rules{{"LIST", "LINE", "INTO", "MARKING", "MATCH"}, {}};
    read_lists(database, [&](const Json& list) {
        lists.add({cell_of(list["list"]), cell_of(list["marking"]), list["rules"].size(),
                   bindings[list["list"].get<int64_t>()].text_or_dash()});
        for (const Json& rule : list["rules"]) {
            JoinedWords matches;
            for (const Json& match : rule["match"])
                matches.add(match_text(match));
            rules.add({cell_of(list["list"]), cell_of(rule["line"]), class_text(rule), cell_of(list["marking"]),
                       rule["match"].empty() ? "any frame" : matches.text()});
        }
    });
    return {{nullptr, std::move(lists)}, {"Rules", std::move(rules)}};
}

// --- What the other libraries were told; limits ---

void read_names(Database& database, const Take& take) {
    Query rows(database, "SELECT category, name, id FROM qualifier ORDER BY category, name");
    while (rows.next()) {
        const int64_t id = rows.number("id");
        take({{"category", rows.text("category")},
              {"name", rows.text("name")},
              {"id", id == qualifier::no_id ? Json(nullptr) : Json(id)}});
    }
}

std::vector<TitledTable> name_tables(Database& database, bool /*with_system*/) {
    Table table{{"CATEGORY", "NAME", "ID"}, {}};
    read_names(database, [&](const Json& name) {
        table.add({cell_of(name["category"]), cell_of(name["name"]), cell_of(name["id"])});
    });
    return only(std::move(table));
}

constexpr NumberedWord port_kind_words[] = {{port_kind::physical, "physical"}, {port_kind::logical, "logical"}};

template <size_t Count> Json word_or_number(std::optional<int64_t> number, const NumberedWord (&words)[Count]) {
    if (!number) return nullptr;
    const char* const word = word_for(words, *number);
    return word != nullptr ? Json(word) : Json(*number);
}

// What the table was told is kept, right or wrong, so that no number in it is damage: one without a word stays one.
void read_port_table(Database& database, const Take& take) {
    Children vlans(database, "SELECT kind, port, vid FROM port_table_vlan ORDER BY kind, port, vid", {"kind", "port"});
    Query rows(database, "SELECT * FROM port_table ORDER BY kind, port");
    while (rows.next()) {
        const Json depend = word_or_number(rows.optional_any_number("link_depend"), link_depend_words);
        Json entry{
            {"port", rows.any_number("port")},
            {"kind", word_or_number(rows.any_number("kind"), port_kind_words)},
            {"ether", rows.any_number("ether")},
            {"enabled", rows.flag("enabled")},
            {"link_mode", word_or_number(rows.optional_any_number("link_mode"), link_mode_words)},
            {"link_depend", depend},
            {"link_depend_ports", depend == "port" ? ports_in(rows.any_number("link_depend_ports")) : Json(nullptr)},
            {"vids", Json::array()}};
        vlans.of(rows, [&](const Query& row) { entry["vids"].push_back(row.any_number("vid")); });
        take(entry);
    }
    vlans.expect_end();
}

std::vector<TitledTable> port_table_tables(Database& database, bool /*with_system*/) {
    Table table{{"PORT", "KIND", "ETHER", "STATE", "LINK MODE", "DEPENDS", "VLANS"}, {}};
    read_port_table(database, [&](const Json& entry) {
        JoinedWords vids;
        for (const Json& vid : entry["vids"])
            vids.add(text_of(vid));
        table.add({cell_of(entry["port"]), text_of(entry["kind"]), cell_of(entry["ether"]),
                   entry["enabled"] ? "enabled" : "disabled", text_of(entry["link_mode"]),
                   depends_text(entry["link_depend"], entry["link_depend_ports"]), vids.text_or_dash()});
    });
    return only(std::move(table));
}

void read_limits(Database& database, const Take& take) {
    Query rows(database, "SELECT name, value, in_use FROM limits ORDER BY name");
    while (rows.next())
        take({{"name", rows.text("name")},
              {"value", rows.number("value")},
              {"in_use", or_null(rows.optional_number("in_use"))}});
}

std::vector<TitledTable> limit_tables(Database& database, bool /*with_system*/) {
    Table table{{"NAME", "VALUE", "IN USE"}, {}};
    read_limits(database, [&](const Json& limit) {
        table.add({cell_of(limit["name"]), cell_of(limit["value"]), cell_of(limit["in_use"])});
    });
    return only(std::move(table));
}

void read_faults(Database& database, const Take& take) {
    Query rows(database, "SELECT function, status, skip, times FROM fault ORDER BY id");
    while (rows.next())
        take({{"function", rows.text("function")},
              {"status", rows.number("status")},
              {"at_call", rows.number("skip") + 1},
              {"times", rows.number("times")}});
}

std::vector<TitledTable> fault_tables(Database& database, bool /*with_system*/) {
    Table table{{"FUNCTION", "STATUS", "AT CALL", "TIMES"}, {}};
    read_faults(database, [&](const Json& fault) {
        table.add(
            {cell_of(fault["function"]), cell_of(fault["status"]), cell_of(fault["at_call"]), cell_of(fault["times"])});
    });
    return only(std::move(table));
}

} // namespace

const std::vector<Topic>& topics() {
    static const std::vector<Topic> all = {
        {"ports", "no ports", {{"ports", read_ports}, {"ether_shapers", read_ether_shapers}}, false, port_tables},
        {"vlans", "no VLANs", {{"vlans", read_vlans}}, false, vlan_tables, 2},
        {"members", "no port is a member of a VLAN", {{"members", read_members}}, false, member_tables, 2},
        {"protgroups", "no protocol groups", {{"protgroups", read_protgroups}}, false, protgroup_tables},
        {"mirrors", "no mirrors", {{"mirrors", read_mirrors}}, false, mirror_tables},
        {"streams", "no streams", {{"streams", read_streams}}, false, stream_tables},
        {"queues", "no queues", {{"queues", read_queues}}, false, queue_tables},
        {"fdb",
         "no entries but the system's own (--all)",
         {{"static", read_static_entries}, {"learned", read_learned_entries}, {"local", read_local_entries}},
         true,
         fdb_tables,
         3},
        {"clslists", "no classification lists", {{"clslists", read_lists}}, false, list_tables},
        {"names", "no names registered", {{"names", read_names}}, false, name_tables, 2},
        {"porttable", "the shared port table is empty", {{"porttable", read_port_table}}, false, port_table_tables},
        {"limits", "no limits", {{"limits", read_limits}}, false, limit_tables},
        {"faults", "no call is made to fail", {{"faults", read_faults}}, false, fault_tables},
    };
    return all;
}
