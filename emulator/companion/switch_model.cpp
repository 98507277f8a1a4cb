// From the store to plain values.
#include "companion/switch_model.h"

#include "companion/wording.h"
#include "companion/words.h"

#include "platform/brgfdb.h"

using namespace wording;

namespace {

std::string keyword_of(const std::string& words) {
    return words.substr(0, words.find(' '));
}

void set(SwitchModel::Words& settings, const std::string& words) {
    settings[keyword_of(words)] = words;
}

std::string switched(const char* keyword, bool is_on) {
    return std::string(keyword) + (is_on ? " on" : " off");
}

std::string policing(int64_t traffic_class, const std::string& words) {
    return "class_policing class " + text(traffic_class) + " " + words;
}

std::string learning_limit(int64_t limit) {
    return "learninglimit " + (limit == 0 ? "none" : text(limit));
}

std::string served(int64_t priority, int64_t ratio) {
    return "pri " + text(priority) + " ratio " + text(ratio);
}

SwitchModel::Port& port_of(std::map<int64_t, SwitchModel::Port>& ports, const Query& row) {
    const auto found = ports.find(row.number("port"));
    if (found == ports.end()) row.fail_as_damaged("port");
    return found->second;
}

} // namespace

bool SwitchModel::Stream::is_whole() const {
    return is_attached && type != 0 && first == first_qos_parameter && second == second_qos_parameter;
}

// A new queue is served by its stream's type.
bool SwitchModel::QueueState::is_whole(const Stream* stream) const {
    return is_attached && stream != nullptr && stream_type == stream->type &&
           (weighted == 1) == (stream->type == qos_type::weighted_fair);
}

SwitchModel::Port SwitchModel::new_port(int64_t ether, int64_t type) {
    static const Words initial = [] {
        Database fresh = Database::fresh();
        fresh.change("INSERT INTO port (port, ether, type) VALUES (1, 1, 1)");
        Query row(fresh, "SELECT * FROM port");
        row.next();
        Words settings;
        for (const Setting& setting : port_settings(row))
            set(settings, setting.initial);
        set(settings, "pvid 0");
        for (int64_t traffic_class = 0; traffic_class < classes_per_stream; ++traffic_class)
            settings["class_policing " + text(traffic_class)] = policing(traffic_class, "off");
        return settings;
    }();
    Port port{};
    port.ether = ether;
    port.type = type;
    port.settings = initial;
    for (const std::string& mac : SideTables::reserved_addresses())
        port.local_entries[mac] = {local_type::discard, entry_owner::system};
    return port;
}

SwitchModel::Vlan SwitchModel::new_vlan(const std::string& name) {
    Vlan vlan{name, {}};
    for (const char* words : {"simple_loop_detection off", "learninglimit none", "ignorefdb off", "learning on"})
        set(vlan.settings, words);
    return vlan;
}

SwitchModel::Stream SwitchModel::new_stream(bool is_attached, int64_t type, int64_t first, int64_t second) {
    Stream stream{is_attached, type, first, second, {}, {}};
    for (const char* words : {"shaping off", "priority 0", "tosmap ,"})
        set(stream.settings, words);
    return stream;
}

SwitchModel::QueueState SwitchModel::new_queue(const Stream& stream, int64_t traffic_class) {
    return {true,           stream.type,    stream.type == qos_type::weighted_fair ? 1 : 0,
            initial_blocks, initial_length, served(traffic_class, 1)};
}

SwitchModel::SwitchModel(Database& database) : side_tables(database) {
    Query strays(database, "PRAGMA foreign_key_check");
    if (strays.next()) database.fail_as_damaged("a row of " + strays.text("table") + " belongs to nothing");
    read_limits(database);
    read_ports(database);
    read_vlans(database);
    read_streams(database);
    read_queues(database);
    read_lists(database);
    read_entries(database);
    read_mirrors(database);
    Query calls(database, "SELECT function, status, skip, times FROM fault ORDER BY id");
    while (calls.next())
        faults.push_back("emuswitch fail " + quote_word(calls.text("function")) + " " + text(calls.number("status")) +
                         " --at " + text(calls.number("skip") + 1) + " --times " + text(calls.number("times")));
}

void SwitchModel::read_limits(Database& database) {
    Query rows(database, "SELECT name, value FROM limits");
    while (rows.next())
        limits[rows.text("name")] = rows.number("value");
    Database fresh = Database::fresh();
    Query known(fresh, "SELECT name FROM limits");
    while (known.next())
        if (!limits.contains(known.text("name"))) database.fail_as_damaged("no limit " + known.text("name"));
}

void SwitchModel::read_ports(Database& database) {
    Query rows(database, "SELECT * FROM port ORDER BY port");
    while (rows.next()) {
        Port& port = ports[rows.number("port")] = new_port(rows.number("ether"), rows.number("type"));
        rows.word("type", port_type_words);
        port.local_entries.clear();
        port.is_enabled = rows.flag("enabled");
        port.is_in_lag = rows.flag("in_lag");
        port.has_ip_interface = rows.flag("ip_interface");
        for (const Setting& setting : port_settings(rows))
            set(port.settings, setting.words);
        set(port.settings, "pvid " + text(rows.number("pvid")));
        port.link_mode = rows.optional_number("link_mode");
        const int64_t mask = rows.number("link_depend_ports"); // told as damaged also where it counts for nothing
        if (const auto depend = rows.optional_number("link_depend")) port.link_depend = {*depend, mask};
    }
    Query frames(database, "SELECT port, kind, action FROM link_frame");
    while (frames.next()) {
        const std::string kind = "link_frame " + frames.word("kind", link_frame_words);
        port_of(ports, frames).lasting[kind] = kind + " " + frames.word("action", link_frame_action_words);
    }
    Query maps(database, "SELECT port, priority, traffic_class FROM cos_map");
    while (maps.next())
        port_of(ports, maps).classes[maps.number("priority")] = maps.number("traffic_class");
    Query policers(database, "SELECT * FROM class_policer");
    while (policers.next()) {
        const int64_t traffic_class = policers.number("traffic_class");
        port_of(ports, policers).settings["class_policing " + text(traffic_class)] =
            policing(traffic_class, policer(policers));
    }
    Query shapers(database, "SELECT * FROM ether_shaper");
    while (shapers.next())
        ether_shapers[shapers.number("ether")] = ether_shaper(shapers);
}

void SwitchModel::read_vlans(Database& database) {
    Query rows(database, "SELECT * FROM vlan");
    while (rows.next()) {
        Vlan& vlan = vlans[rows.number("vid")] = new_vlan(rows.text("name"));
        set(vlan.settings, switched("simple_loop_detection", rows.flag("loop_detection")));
        set(vlan.settings, learning_limit(rows.number("learning_limit")));
        set(vlan.settings, switched("ignorefdb", rows.flag("ignore_fdb")));
        set(vlan.settings, switched("learning", !rows.flag("learning_off")));
    }
    Query groups(database, "SELECT protgroup FROM protgroup");
    while (groups.next())
        protgroups.insert(groups.number("protgroup"));
    Query types(database, "SELECT protgroup, ether_type FROM protocol");
    while (types.next())
        protocols[types.number("ether_type")] = types.number("protgroup");
    Query joined(database, "SELECT * FROM vlan_member");
    while (joined.next()) {
        Member member{
            tagging(joined), joined.optional_number("protgroup").value_or(-1), !joined.flag("tagged"), {}, ""};
        members[{joined.number("vid"), joined.number("port")}] = member;
    }
    Children points(database, "SELECT * FROM extraction_point ORDER BY vid, port, point", {"vid", "port"});
    Query bindings(database, "SELECT list, port, vid FROM list_binding ORDER BY vid, port");
    while (bindings.next()) {
        Member& member = members[{bindings.number("vid"), bindings.number("port")}];
        member.list = bindings.number("list");
        member.extraction = extraction(bindings, points);
    }
    points.expect_end();
}

void SwitchModel::read_streams(Database& database) {
    Children maps(database, "SELECT * FROM tos_map ORDER BY stream_index, entry", {"stream_index"});
    Query rows(database, "SELECT * FROM stream ORDER BY stream_index");
    while (rows.next()) {
        Stream& stream = streams[rows.number("stream_index")] =
            new_stream(rows.optional_number("port").has_value(), rows.number("qos_type"), rows.number("qos_first"),
                       rows.number("qos_second"));
        if (rows.number("max_rate") != 0) {
            // The sentence that shapes asks for the port, too, which may be gone where the stream is not attached.
            set(stream.settings, "shaping on " + shaping(rows));
            if (!stream.is_attached)
                set(stream.settings, "shaping " + text(rows.number("min_rate")) + " " + text(rows.number("min_burst")) +
                                         " " + text(rows.number("max_rate")) + " " + text(rows.number("max_burst")));
        }
        set(stream.settings, "priority " + text(rows.number("priority")));
        if (const std::string map = tos_map(rows, maps); !map.empty()) set(stream.settings, "tosmap " + map);
    }
    maps.expect_end();
    Query policies(database, "SELECT * FROM drop_policy");
    while (policies.next()) {
        const auto stream = streams.find(policies.number("stream_index"));
        if (stream == streams.end()) policies.fail_as_damaged("stream_index");
        stream->second.drop_types[{policies.number("traffic_class"), policies.word("color", color_words)}] =
            drop_type(policies);
    }
}

void SwitchModel::read_queues(Database& database) {
    Query rows(database, "SELECT queue.stream_index, queue.traffic_class, blocks, length, stream_type, weighted,"
                         " queue_in_stream.priority, ratio,"
                         " queue_in_stream.traffic_class IS NOT NULL AS attached FROM queue"
                         " LEFT JOIN queue_in_stream USING (stream_index, traffic_class)");
    while (rows.next()) {
        QueueState queue{rows.flag("attached"), 0, 0, rows.number("blocks"), rows.number("length"), ""};
        if (queue.is_attached) {
            queue.stream_type = rows.number("stream_type");
            queue.weighted = rows.number("weighted");
            queue.service = served(rows.number("priority"), rows.number("ratio"));
        }
        queues[{rows.number("stream_index"), rows.number("traffic_class")}] = queue;
    }
}

void SwitchModel::read_lists(Database& database) {
    Query rows(database, "SELECT list, marking FROM classify_list ORDER BY list");
    Children rules(database, "SELECT * FROM classify_rule ORDER BY list, line", {"list"});
    Children matches(database, "SELECT * FROM classify_match ORDER BY list, line", {"list", "line"});
    Query sizes(database, "SELECT list, line, 1 + count(field) + count(high) AS memory FROM classify_rule"
                          " LEFT JOIN classify_match USING (list, line) GROUP BY list, line ORDER BY list, line");
    while (rows.next()) {
        List& list = lists[rows.number("list")];
        list.marking = rows.optional_word("marking", marking_words).value_or("");
        rules.of(rows, [&](const Query& row) {
            if (list.marking.empty()) rows.fail_as_damaged("marking");
            sizes.next();
            const RuleWords words = rule(row, list.marking, matches);
            list.rules[row.number("line")] = {words.words, words.can_be_typed, sizes.number("memory")};
        });
    }
    rules.expect_end();
    matches.expect_end();
}

void SwitchModel::read_entries(Database& database) {
    Query rows(database, "SELECT * FROM static_entry");
    while (rows.next())
        static_entries[{rows.number("vid"), rows.text("mac")}] = {static_target(rows), rows.optional_number("port"),
                                                                  rows.number("action"), rows.number("of_system")};
    Query local(database, "SELECT * FROM local_entry");
    while (local.next()) {
        local.word("type", local_type_words);
        port_of(ports, local).local_entries[local.text("mac")] = {local.number("type"), local.number("of_system")};
    }
    Query dynamic(database, "SELECT vid, mac, port FROM learned_entry");
    while (dynamic.next())
        learned[{dynamic.number("vid"), dynamic.text("mac")}] = dynamic.number("port");
}

void SwitchModel::read_mirrors(Database& database) {
    Query rows(database, "SELECT mirror.*, name FROM mirror LEFT JOIN vlan ON vid = source_vid");
    while (rows.next()) {
        Mirror& mirror = mirrors[rows.number("mirror")];
        mirror.is_enabled = rows.flag("enabled");
        mirror.source_type = rows.optional_number("source_type");
        if (mirror.source_type) mirror.source = wording::source(rows);
        mirror.source_port = rows.optional_number("source_port").value_or(0);
        mirror.source_vid = rows.optional_number("source_vid").value_or(0);
        mirror.destination = rows.optional_number("destination").value_or(0);
        if (!rows.is_null("stream"))
            mirror.classification = text(rows.number("stream") + 1) + "/" + text(rows.number("traffic_class")) + "/" +
                                    rows.word("color", color_words);
        const int64_t type = rows.number("tag_type");
        const int64_t vid = rows.number("tag_vid");
        if (rows.flag("tagged"))
            mirror.tag = "on tagtype " + hex(type) + " vid " + text(vid);
        else if (type != default_tag_type || vid != 0)
            mirror.unused_tag = text(type) + " " + text(vid);
    }
}
