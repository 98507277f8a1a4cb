// The kinds of objects of a switch.
#include "companion/topics.h"

#include "core/match_fields.h"

#include <sstream>

namespace {

using Take = std::function<void(const Json&)>;

// --- Values ---

Json or_null(const std::optional<std::string>& text) {
    return text ? Json(*text) : Json(nullptr);
}

Json or_null(std::optional<int64_t> number) {
    return number ? Json(*number) : Json(nullptr);
}

std::string hex(int64_t value, int digits = 1) {
    char text[20];
    snprintf(text, sizeof text, "%0*llx", digits, static_cast<unsigned long long>(value));
    return text;
}

std::string text_of(const Json& value) {
    if (value.is_string()) return value.get<std::string>();
    return value.is_null() ? "-" : std::to_string(value.get<int64_t>());
}

Cell cell_of(const Json& value) {
    if (value.is_number_integer()) return value.get<int64_t>();
    return text_of(value);
}

std::string color_of(const Json& number) {
    return word_for(policing_color_words, number.get<int64_t>());
}

// A class as sentences write it, of a stream counted from 1: 1/7/red.
std::string class_text(const Json& stream, const Json& traffic_class, const Json& color) {
    return text_of(stream) + "/" + text_of(traffic_class) + "/" + color_of(color);
}

// Words for what is on, with a blank between.
class Words {
public:
    void add_if(bool is_so, const std::string& word, const char* separator = " ") {
        if (is_so) joined += (joined.empty() ? "" : separator) + word;
    }
    void add(const std::string& word, const char* separator = " ") { add_if(true, word, separator); }
    std::string text() const { return joined; }
    std::string text_or_dash() const { return joined.empty() ? "-" : joined; }

private:
    std::string joined;
};

std::vector<TitledTable> only(Table table) {
    return {{nullptr, std::move(table)}};
}

// The number of a color, once the store has been seen to have a word for it.
template <size_t Count> Json color_number(const Query& row, const NumberedWord (&words)[Count]) {
    row.word("color", words);
    return row.number("color");
}

// --- Ports ---

constexpr NumberedWord link_depend_words[] = {{link_depend::vlan, "vlan"}, {link_depend::ports, "port"}};

Json port_of(const Query& row) {
    row.word("default_color", color_words);
    return {{"port", row.number("port")},
            {"ether", row.number("ether")},
            {"type", row.word("type", port_type_words)},
            {"enabled", row.flag("enabled")},
            {"accept_all_frames", row.flag("accept_all_frames")},
            {"ingress_filtering", row.flag("ingress_filtering")},
            {"accept_tagged", row.flag("accept_tagged")},
            {"accept_priority_tagged", row.flag("accept_priority_tagged")},
            {"cos_editing", row.flag("cos_editing")},
            {"ignore_fdb", row.flag("ignore_fdb")},
            {"tag_type", row.number("tag_type")},
            {"pvid", row.number("pvid")},
            {"aging", row.number("aging")},
            {"loop_breaker", row.flag("loop_breaker")},
            {"default_stream", row.number("default_stream") + 1},
            {"default_class", row.number("default_class")},
            {"default_color", row.number("default_color")},
            {"bandwidth", row.word("bandwidth_mode", bandwidth_mode_words)},
            {"link_mode", or_null(row.optional_word("link_mode", link_mode_words))},
            {"link_depend", or_null(row.optional_word("link_depend", link_depend_words))},
            {"link_depend_ports", row.number("link_depend_ports")},
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
                                              {"rate", row.number("rate")},
                                              {"burst", row.number("burst")},
                                              {"color", color_number(row, policing_color_words)}});
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
        take({{"ether", rows.number("ether")}, {"rate", rows.number("rate")}, {"burst", rows.number("burst")}});
}

std::string port_flags(const Json& port) {
    Words flags;
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
    return depend == "port" ? "ports, mask " + hex(ports) : text_of(depend);
}

void add_link_control(Table& table, const Json& port) {
    if (port["link_mode"].is_null() && port["link_depend"].is_null() && port["link_frames"].empty()) return;
    Words frames;
    for (const Json& frame : port["link_frames"])
        frames.add(text_of(frame["kind"]) + " " + text_of(frame["action"]), ", ");
    table.add({cell_of(port["port"]), frames.text_or_dash(), text_of(port["link_mode"]),
               depends_text(port["link_depend"], port["link_depend_ports"])});
}

std::vector<TitledTable> port_tables(Database& database, bool /*with_system*/) {
    Table ports{{"PORT", "ETHER", "TYPE", "STATE", "FRAMES", "PVID", "TPID", "AGING", "DEFAULT", "FLAGS"}, {}};
    Table maps{{"PORT", "PRIORITY=CLASS"}, {}};
    Table policers{{"PORT", "CLASS", "BIT/S", "BYTES", "ABOVE"}, {}};
    Table links{{"PORT", "FRAMES", "MODE", "DEPENDS"}, {}};
    Table shapers{{"ETHER", "BIT/S", "BYTES"}, {}};
    read_ports(database, [&](const Json& port) {
        ports.add({cell_of(port["port"]), cell_of(port["ether"]), cell_of(port["type"]),
                   port["enabled"] ? "enabled" : "disabled", port["accept_all_frames"] ? "all" : "tagonly",
                   cell_of(port["pvid"]), hex(port["tag_type"], 4), cell_of(port["aging"]),
                   class_text(port["default_stream"], port["default_class"], port["default_color"]), port_flags(port)});
        Words map;
        for (const Json& entry : port["cos_map"])
            map.add(text_of(entry["priority"]) + "=" + text_of(entry["class"]));
        if (!port["cos_map"].empty()) maps.add({cell_of(port["port"]), map.text()});
        for (const Json& policer : port["class_policers"])
            policers.add({cell_of(port["port"]), cell_of(policer["class"]), cell_of(policer["rate"]),
                          cell_of(policer["burst"]), color_of(policer["color"])});
        add_link_control(links, port);
    });
    read_ether_shapers(database, [&](const Json& shaper) {
        shapers.add({cell_of(shaper["ether"]), cell_of(shaper["rate"]), cell_of(shaper["burst"])});
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
    while (rows.next())
        take({{"vid", rows.number("vid")},
              {"name", rows.text("name")},
              {"loop_detection", rows.flag("loop_detection")},
              {"learning_limit", rows.number("learning_limit")},
              {"ignore_fdb", rows.flag("ignore_fdb")},
              {"learning", !rows.flag("learning_off")}});
}

void read_members(Database& database, const Take& take) {
    Children points(database,
                    "SELECT vid, port, point, byte_offset, width FROM extraction_point ORDER BY vid, port, point",
                    {"vid", "port"});
    Query rows(database, "SELECT vid, name, port, tagged, tag_type, protgroup, list FROM vlan_member"
                         " LEFT JOIN vlan USING (vid) LEFT JOIN list_binding USING (vid, port) ORDER BY vid, port");
    while (rows.next()) {
        Json member{{"vid", rows.number("vid")},
                    {"vlan", rows.text("name")},
                    {"port", rows.number("port")},
                    {"tagged", rows.flag("tagged")},
                    {"tag_type", rows.number("tag_type")},
                    {"protgroup", or_null(rows.optional_number("protgroup"))},
                    {"clslist", or_null(rows.optional_number("list"))},
                    {"extraction_points", Json::array()}};
        points.of(rows, [&](const Query& row) {
            member["extraction_points"].push_back({{"point", row.number("point")},
                                                   {"offset", row.number("byte_offset")},
                                                   {"width", row.number("width")}});
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
        Words flags;
        flags.add_if(vlan["loop_detection"], "loop_detection");
        flags.add_if(vlan["ignore_fdb"], "ignorefdb");
        table.add({cell_of(vlan["vid"]), cell_of(vlan["name"]), ports[vlan["vid"].get<int64_t>()],
                   vlan["learning"] ? "on" : "off",
                   vlan["learning_limit"] == 0 ? Cell("none") : cell_of(vlan["learning_limit"]), flags.text()});
    });
    return only(std::move(table));
}

std::string membership_text(const Json& member) {
    if (member["tagged"]) return "tagged " + hex(member["tag_type"], 4);
    return member["protgroup"].is_null() ? "untagged" : "untagged for protgroup " + text_of(member["protgroup"]);
}

std::vector<TitledTable> member_tables(Database& database, bool /*with_system*/) {
    Table table{{"VLAN", "PORT", "MEMBER", "CLSLIST", "EXTRACTION"}, {}};
    read_members(database, [&](const Json& member) {
        Words points;
        for (const Json& point : member["extraction_points"])
            points.add("ext" + text_of(point["point"]) + " " + text_of(point["offset"]) + "/" +
                       text_of(point["width"]));
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
        protocols.of(rows, [&](const Query& row) { group["protocols"].push_back(row.number("ether_type")); });
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
        Words protocols;
        for (const Json& protocol : group["protocols"])
            protocols.add(hex(protocol, 4));
        table.add({cell_of(group["protgroup"]), members[group["protgroup"].get<int64_t>()], protocols.text_or_dash()});
    });
    return only(std::move(table));
}

// --- Mirrors ---

void read_mirrors(Database& database, const Take& take) {
    Query rows(database, "SELECT mirror.*, name FROM mirror LEFT JOIN vlan ON vid = source_vid ORDER BY mirror");
    while (rows.next()) {
        const std::optional<int64_t> stream = rows.optional_number("stream");
        if (stream) rows.word("color", color_words);
        take({{"mirror", rows.number("mirror")},
              {"enabled", rows.flag("enabled")},
              {"source_type", or_null(rows.optional_number("source_type"))},
              {"source_port", or_null(rows.optional_number("source_port"))},
              {"source_vid", or_null(rows.optional_number("source_vid"))},
              {"source_vlan", or_null(rows.optional_text("name"))},
              {"destination", or_null(rows.optional_number("destination"))},
              {"stream", stream ? Json(*stream + 1) : Json(nullptr)},
              {"class", or_null(rows.optional_number("traffic_class"))},
              {"color", or_null(rows.optional_number("color"))},
              {"tagged", rows.flag("tagged")},
              {"tag_type", rows.number("tag_type")},
              {"tag_vid", rows.number("tag_vid")}});
    }
}

std::string source_text(const Json& mirror) {
    if (mirror["source_type"].is_null()) return "-";
    const int64_t type = mirror["source_type"];
    const std::string vlan = "vlan " + text_of(mirror["source_vlan"]);
    if (type == mirror_source::vlan) return vlan;
    const bool is_received = type == mirror_source::received || type == mirror_source::received_in_vlan;
    const std::string port = "port " + text_of(mirror["source_port"]) + (is_received ? " in" : " out");
    return mirror["source_vid"].is_null() ? port : port + " " + vlan;
}

std::vector<TitledTable> mirror_tables(Database& database, bool /*with_system*/) {
    Table table{{"MIRROR", "STATE", "SOURCE", "DESTINATION", "FRAMES", "TAG"}, {}};
    read_mirrors(database, [&](const Json& mirror) {
        const bool is_narrowed = !mirror["stream"].is_null();
        table.add({cell_of(mirror["mirror"]), mirror["enabled"] ? "enabled" : "disabled", source_text(mirror),
                   mirror["destination"].is_null() ? "-" : "port " + text_of(mirror["destination"]),
                   is_narrowed ? class_text(mirror["stream"], mirror["class"], mirror["color"]) : "all",
                   mirror["tagged"] ? hex(mirror["tag_type"], 4) + " vid " + text_of(mirror["tag_vid"]) : "off"});
    });
    return only(std::move(table));
}

// --- Streams and queues ---

void add_stream_children(const Query& rows, Children& maps, Children& policies, Json& stream) {
    maps.of(rows, [&](const Query& row) {
        stream["tos_map"].push_back(
            {{"entry", row.number("entry")}, {"value", row.number("value")}, {"mask", row.number("mask")}});
    });
    policies.of(rows, [&](const Query& row) {
        stream["drop_policies"].push_back({{"class", row.number("traffic_class")},
                                           {"color", color_number(row, color_words)},
                                           {"min_threshold", row.number("min_threshold")},
                                           {"max_threshold", row.number("max_threshold")},
                                           {"min_drop", row.number("min_drop")},
                                           {"max_drop", row.number("max_drop")}});
    });
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
                    {"attached", !rows.is_null("port")},
                    {"qos_type", has_type ? Json(rows.word("qos_type", qos_type_words)) : Json(nullptr)},
                    {"qos_parameters", {rows.number("qos_first"), rows.number("qos_second")}},
                    {"min_rate", rows.number("min_rate")},
                    {"min_burst", rows.number("min_burst")},
                    {"max_rate", rows.number("max_rate")},
                    {"max_burst", rows.number("max_burst")},
                    {"priority", rows.number("priority")},
                    {"tos_map", Json::array()},
                    {"drop_policies", Json::array()}};
        add_stream_children(rows, maps, policies, stream);
        take(stream);
    }
    maps.expect_end();
    policies.expect_end();
}

void read_queues(Database& database, const Take& take) {
    Query rows(database, "SELECT stream_index, traffic_class, blocks, length, stream_type, weighted, priority, ratio"
                         " FROM queue LEFT JOIN queue_in_stream USING (stream_index, traffic_class)"
                         " ORDER BY stream_index, traffic_class");
    while (rows.next()) {
        const int64_t index = rows.number("stream_index");
        const bool is_attached = !rows.is_null("priority");
        take({{"port", index / streams_per_port + 1},
              {"stream", index % streams_per_port + 1},
              {"class", rows.number("traffic_class")},
              {"blocks", rows.number("blocks")},
              {"length", rows.number("length")},
              {"attached", is_attached},
              {"priority", or_null(rows.optional_number("priority"))},
              {"ratio", or_null(rows.optional_number("ratio"))},
              {"weighted", is_attached ? Json(rows.flag("weighted")) : Json(nullptr)},
              {"stream_type", or_null(rows.optional_number("stream_type"))}});
    }
}

std::string stream_text(const Json& object) {
    return text_of(object["port"]) + "/" + text_of(object["stream"]);
}

std::string queue_text(const Json& object) {
    return stream_text(object) + "/" + text_of(object["class"]);
}

std::string shaping_text(const Json& stream) {
    if (stream["max_rate"] == 0) return "off";
    return text_of(stream["min_rate"]) + "-" + text_of(stream["max_rate"]) + " bit/s, " + text_of(stream["min_burst"]) +
           "-" + text_of(stream["max_burst"]) + " bytes";
}

std::vector<TitledTable> stream_tables(Database& database, bool /*with_system*/) {
    std::map<std::string, int64_t> queues;
    read_queues(database, [&](const Json& queue) {
        if (queue["attached"]) ++queues[stream_text(queue)];
    });
    Table table{{"STREAM", "TYPE", "PRI", "QUEUES", "SHAPING", "TOS MAP"}, {}};
    read_streams(database, [&](const Json& stream) {
        Words map;
        for (const Json& entry : stream["tos_map"])
            map.add(text_of(entry["entry"]) + "=" + hex(entry["value"]) + "/" + hex(entry["mask"]));
        table.add({stream_text(stream), stream["attached"] ? text_of(stream["qos_type"]) : "detached",
                   cell_of(stream["priority"]), queues[stream_text(stream)], shaping_text(stream), map.text_or_dash()});
    });
    return only(std::move(table));
}

std::string drop_text(const Json& policy) {
    const bool is_tail_drop = policy["min_threshold"] == 100 && policy["max_threshold"] == 0;
    return color_of(policy["color"]) + " " +
           (is_tail_drop ? "taildrop"
                         : text_of(policy["min_threshold"]) + "-" + text_of(policy["max_threshold"]) + " drop " +
                               text_of(policy["min_drop"]) + "-" + text_of(policy["max_drop"]));
}

std::vector<TitledTable> queue_tables(Database& database, bool /*with_system*/) {
    std::map<std::string, Words> drops;
    read_streams(database, [&](const Json& stream) {
        for (const Json& policy : stream["drop_policies"])
            drops[stream_text(stream) + "/" + text_of(policy["class"])].add(drop_text(policy), ", ");
    });
    Table table{{"QUEUE", "PRI", "RATIO", "BLOCKS", "LENGTH", "DROPS"}, {}};
    read_queues(database, [&](const Json& queue) {
        table.add({queue_text(queue), cell_of(queue["priority"]), cell_of(queue["ratio"]), cell_of(queue["blocks"]),
                   cell_of(queue["length"]), queue["attached"] ? drops[queue_text(queue)].text_or_dash() : "detached"});
    });
    return only(std::move(table));
}

// --- Forwarding database ---

void read_static_entries(Database& database, const Take& take) {
    Query rows(database, "SELECT vid, name, mac, port, action, of_system FROM static_entry LEFT JOIN vlan USING (vid)"
                         " ORDER BY vid, mac");
    while (rows.next())
        take({{"vid", rows.number("vid")},
              {"vlan", rows.text("name")},
              {"mac", rows.text("mac")},
              {"port", or_null(rows.optional_number("port"))},
              {"action", rows.number("action")},
              {"of_system", rows.flag("of_system")}});
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
             entry["port"].is_null() ? "discard" : "port " + text_of(entry["port"]) + " flag " + hex(entry["action"]),
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
            {"color", color_number(row, color_words)},
            {"match", Json::array()}};
}

// There may be half a million of them: filled in place, which a list of initial values is not.
Json match_of(const Query& row) {
    std::string field = row.text("field");
    if (emulator::find_match_field(field.c_str()) == nullptr) row.fail_as_damaged("field");
    Json::object_t match;
    match.reserve(4);
    match.emplace("field", std::move(field));
    match.emplace("low", row.number("low"));
    match.emplace("high", or_null(row.optional_number("high")));
    match.emplace("mask", row.number("mask"));
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
    const std::string field = match["field"];
    const auto value = [&](const Json& number) {
        const int64_t bits = number;
        if (field == "da" || field == "sa")
            return std::to_string(bits >> 24 & 255) + "." + std::to_string(bits >> 16 & 255) + "." +
                   std::to_string(bits >> 8 & 255) + "." + std::to_string(bits & 255);
        return field == "etype" || field.starts_with("ext") ? hex(bits) : text_of(number);
    };
    return field + " " + value(match["low"]) + (match["high"].is_null() ? "" : "-" + value(match["high"])) + "/" +
           hex(match["mask"]);
}

std::vector<TitledTable> list_tables(Database& database, bool /*with_system*/) {
    std::map<int64_t, Words> bindings;
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
            Words matches;
            for (const Json& match : rule["match"])
                matches.add(match_text(match));
            rules.add({cell_of(list["list"]), cell_of(rule["line"]),
                       class_text(rule["stream"], rule["class"], rule["color"]), cell_of(list["marking"]),
                       rule["match"].empty() ? "any frame" : matches.text()});
        }
    });
    return {{nullptr, std::move(lists)}, {"Rules", std::move(rules)}};
}

// --- What the other libraries were told; limits ---

void read_names(Database& database, const Take& take) {
    Query rows(database, "SELECT category, name, id FROM qualifier ORDER BY category, name");
    while (rows.next())
        take({{"category", rows.text("category")}, {"name", rows.text("name")}, {"id", rows.number("id")}});
}

std::vector<TitledTable> name_tables(Database& database, bool /*with_system*/) {
    Table table{{"CATEGORY", "NAME", "ID"}, {}};
    read_names(database, [&](const Json& name) {
        table.add({cell_of(name["category"]), cell_of(name["name"]), cell_of(name["id"])});
    });
    return only(std::move(table));
}

// What the table was told is kept, right or wrong, so that no number in it is damage.
void read_port_table(Database& database, const Take& take) {
    Children vlans(database, "SELECT kind, port, vid FROM port_table_vlan ORDER BY kind, port, vid", {"kind", "port"});
    Query rows(database, "SELECT * FROM port_table ORDER BY kind, port");
    while (rows.next()) {
        Json entry{{"port", rows.number("port")},
                   {"kind", rows.number("kind")},
                   {"ether", rows.number("ether")},
                   {"enabled", rows.flag("enabled")},
                   {"link_mode", or_null(rows.optional_number("link_mode"))},
                   {"link_depend", or_null(rows.optional_number("link_depend"))},
                   {"link_depend_ports", rows.number("link_depend_ports")},
                   {"vids", Json::array()}};
        vlans.of(rows, [&](const Query& row) { entry["vids"].push_back(row.number("vid")); });
        take(entry);
    }
    vlans.expect_end();
}

template <size_t Count> std::string word_or_number(const Json& number, const NumberedWord (&words)[Count]) {
    if (number.is_null()) return "-";
    const char* const word = word_for(words, number.get<int64_t>());
    return word != nullptr ? word : text_of(number);
}

std::vector<TitledTable> port_table_tables(Database& database, bool /*with_system*/) {
    static constexpr NumberedWord kinds[] = {{1, "physical"}, {2, "logical"}};
    static constexpr int64_t depends_on_ports = 2;
    Table table{{"PORT", "KIND", "ETHER", "STATE", "LINK MODE", "DEPENDS", "VLANS"}, {}};
    read_port_table(database, [&](const Json& entry) {
        Words vids;
        for (const Json& vid : entry["vids"])
            vids.add(text_of(vid));
        const bool on_ports = entry["link_depend"] == depends_on_ports;
        table.add({cell_of(entry["port"]), word_or_number(entry["kind"], kinds), cell_of(entry["ether"]),
                   entry["enabled"] ? "enabled" : "disabled", word_or_number(entry["link_mode"], link_mode_words),
                   on_ports ? "ports, mask " + hex(entry["link_depend_ports"])
                            : word_or_number(entry["link_depend"], link_depend_words),
                   vids.text_or_dash()});
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

} // namespace

const std::vector<Topic>& topics() {
    static const std::vector<Topic> all = {
        {"ports", "no ports", {{"ports", read_ports}, {"ether_shapers", read_ether_shapers}}, false, port_tables},
        {"vlans", "no VLANs", {{"vlans", read_vlans}}, false, vlan_tables},
        {"members", "no port is a member of a VLAN", {{"members", read_members}}, false, member_tables},
        {"protgroups", "no protocol groups", {{"protgroups", read_protgroups}}, false, protgroup_tables},
        {"mirrors", "no mirrors", {{"mirrors", read_mirrors}}, false, mirror_tables},
        {"streams", "no streams", {{"streams", read_streams}}, false, stream_tables},
        {"queues", "no queues", {{"queues", read_queues}}, false, queue_tables},
        {"fdb",
         "no entries but the system's own (--all)",
         {{"static", read_static_entries}, {"learned", read_learned_entries}, {"local", read_local_entries}},
         true,
         fdb_tables},
        {"clslists", "no classification lists", {{"clslists", read_lists}}, false, list_tables},
        {"names", "no names registered", {{"names", read_names}}, false, name_tables},
        {"porttable", "the shared port table is empty", {{"porttable", read_port_table}}, false, port_table_tables},
        {"limits", "no limits", {{"limits", read_limits}}, false, limit_tables},
    };
    return all;
}
