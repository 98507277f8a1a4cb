// The state of the switch as tables for people and as JSON for programs.
//
// Each topic is one query for its table and one that makes its JSON: an array of objects whose keys are stable.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/table.h"

#include <nlohmann/json.hpp>

#include <iostream>

namespace {

struct ShowOptions {
    std::string what; // empty: the overview
    bool as_json = false;
    bool with_system = false; // the switch's own FDB entries too
};

struct Section {
    const char* title; // of a second or later table of the topic
    const char* sql;
};

struct Topic {
    const char* name;
    const char* empty; // what stands for a table without rows
    std::vector<Section> sections;
    const char* json;
};

constexpr const char* addressed_to_colors =
    "CASE color WHEN 0 THEN 'green' WHEN 1 THEN 'yellow' WHEN 2 THEN 'red' ELSE 'discard' END";

// Entries that the switch makes for itself (the reserved addresses of each port, the address of each membership) are
// left out of the table of people unless asked for.
constexpr const char* fdb_table = R"sql(
SELECT 'static' AS KIND, name AS 'VLAN/PORT', mac AS MAC,
       iif(port IS NULL, 'discard', printf('port %d flag %x', port, action)) AS ACTION,
       iif(of_system, 'system', '') AS 'BY'
FROM static_entry JOIN vlan USING (vid) WHERE of_system <= ?1
UNION ALL
SELECT 'learned', name, mac, printf('port %d', port), '' FROM learned_entry JOIN vlan USING (vid)
UNION ALL
SELECT 'local', port, mac, CASE type WHEN 1 THEN 'local' WHEN 2 THEN 'both' WHEN 3 THEN 'local_learning' ELSE 'discard' END,
       iif(of_system, 'system', '')
FROM local_entry WHERE of_system <= ?1)sql";

const std::vector<Topic>& topics() {
    static const std::string colors = addressed_to_colors;
    static const std::string clslist_rules =
        "SELECT list AS LIST, line AS LINE, printf('%d/%d/%s', stream + 1, traffic_class, " + colors +
        R"sql() AS 'INTO',
       CASE marking WHEN 0 THEN 'normal' WHEN 1 THEN 'dot1p' ELSE 'dscp' END AS MARKING,
       coalesce((SELECT group_concat(field || ' ' || CASE
            WHEN field IN ('da', 'sa') THEN
                printf('%d.%d.%d.%d', low >> 24, low >> 16 & 255, low >> 8 & 255, low & 255) ||
                iif(high IS NULL, '', printf('-%d.%d.%d.%d', high >> 24, high >> 16 & 255, high >> 8 & 255, high & 255))
            WHEN field IN ('etype', 'ext1', 'ext2', 'ext3', 'ext4') THEN
                printf('%x', low) || iif(high IS NULL, '', printf('-%x', high))
            ELSE printf('%d', low) || iif(high IS NULL, '', printf('-%d', high)) END || printf('/%x', mask), ' ')
        FROM classify_match AS m WHERE m.list = classify_rule.list AND m.line = classify_rule.line), 'any frame') AS MATCH
FROM classify_rule JOIN classify_list USING (list) ORDER BY list, line)sql";
    static const std::string policers =
        "SELECT port AS PORT, traffic_class AS CLASS, rate AS 'BIT/S', burst AS BYTES, " + colors +
        " AS ABOVE FROM class_policer ORDER BY port, traffic_class";

    static const std::vector<Topic> all = {
        {"ports",
         "no ports",
         {{"", R"sql(
SELECT port AS PORT, ether AS ETHER, CASE type WHEN 0 THEN 'none' WHEN 1 THEN 'ether' ELSE 'vif' END AS TYPE,
       iif(enabled, 'enabled', 'disabled') AS STATE, iif(accept_all_frames, 'all', 'tagonly') AS FRAMES,
       pvid AS PVID, printf('%04x', tag_type) AS TPID, aging AS AGING,
       printf('%d/%d/%s', default_stream + 1, default_class,
              CASE default_color WHEN 0 THEN 'green' WHEN 1 THEN 'yellow' ELSE 'red' END) AS 'DEFAULT',
       trim(iif(ingress_filtering, 'ingfil ', '') || iif(accept_tagged, '', 'ignoretag ') ||
            iif(accept_priority_tagged, '', 'ignoreptag ') || iif(cos_editing, 'cosedit ', '') ||
            iif(ignore_fdb, 'ignorefdb ', '') || iif(loop_breaker, 'sldbreaker ', '') ||
            iif(bandwidth_mode, 'frame_gap ', '') || iif(in_lag, 'LAG ', '') || iif(ip_interface, 'IP ', '')) AS FLAGS
FROM port ORDER BY port)sql"},
          {"CoS maps", R"sql(
SELECT port AS PORT, group_concat(priority || '=' || traffic_class, ' ') AS 'PRIORITY=CLASS'
FROM cos_map GROUP BY port ORDER BY port)sql"},
          {"Class policers", policers.c_str()},
          {"Link control", R"sql(
SELECT port AS PORT, coalesce((SELECT group_concat(CASE kind WHEN 0 THEN 'bpdu' WHEN 2 THEN 'lag' ELSE 'pae' END || ' ' ||
            iif(action = 1, 'forward', 'discard'), ', ') FROM link_frame WHERE link_frame.port = port.port), '-') AS FRAMES,
       CASE link_mode WHEN 1 THEN 'and' WHEN 2 THEN 'or' ELSE '-' END AS MODE,
       CASE link_depend WHEN 1 THEN 'vlan' WHEN 2 THEN printf('ports, mask %x', link_depend_ports) ELSE '-' END AS DEPENDS
FROM port WHERE link_mode IS NOT NULL OR link_depend IS NOT NULL OR port IN (SELECT port FROM link_frame)
ORDER BY port)sql"},
          {"Shaped interfaces",
           "SELECT ether AS ETHER, rate AS 'BIT/S', burst AS BYTES FROM ether_shaper ORDER BY ether"}},
         R"sql(
SELECT json_object('ports', (SELECT json_group_array(json(item)) FROM (
    SELECT json_object('port', port, 'ether', ether,
        'type', CASE type WHEN 0 THEN 'none' WHEN 1 THEN 'ether' ELSE 'vif' END,
        'enabled', json(iif(enabled, 'true', 'false')), 'accept_all_frames', json(iif(accept_all_frames, 'true', 'false')),
        'ingress_filtering', json(iif(ingress_filtering, 'true', 'false')),
        'accept_tagged', json(iif(accept_tagged, 'true', 'false')),
        'accept_priority_tagged', json(iif(accept_priority_tagged, 'true', 'false')),
        'cos_editing', json(iif(cos_editing, 'true', 'false')), 'ignore_fdb', json(iif(ignore_fdb, 'true', 'false')),
        'tag_type', tag_type, 'pvid', pvid, 'aging', aging, 'loop_breaker', json(iif(loop_breaker, 'true', 'false')),
        'default_stream', default_stream + 1, 'default_class', default_class, 'default_color', default_color,
        'bandwidth', iif(bandwidth_mode, 'frame_gap', 'frame_only'),
        'link_mode', CASE link_mode WHEN 1 THEN 'and' WHEN 2 THEN 'or' END,
        'link_depend', CASE link_depend WHEN 1 THEN 'vlan' WHEN 2 THEN 'port' END, 'link_depend_ports', link_depend_ports,
        'in_lag', json(iif(in_lag, 'true', 'false')), 'ip_interface', json(iif(ip_interface, 'true', 'false')),
        'cos_map', (SELECT json_group_array(json_object('priority', priority, 'class', traffic_class))
            FROM cos_map WHERE cos_map.port = port.port),
        'class_policers', (SELECT json_group_array(json_object('class', traffic_class, 'rate', rate, 'burst', burst,
            'color', color)) FROM class_policer WHERE class_policer.port = port.port),
        'link_frames', (SELECT json_group_array(json_object(
            'kind', CASE kind WHEN 0 THEN 'bpdu' WHEN 2 THEN 'lag' ELSE 'pae' END,
            'action', iif(action = 1, 'forward', 'discard'))) FROM link_frame WHERE link_frame.port = port.port)) AS item
    FROM port ORDER BY port)),
  'ether_shapers', (SELECT json_group_array(json_object('ether', ether, 'rate', rate, 'burst', burst)) FROM ether_shaper)))sql"},

        {"vlans",
         "no VLANs",
         {{"", R"sql(
SELECT vid AS VID, name AS NAME, (SELECT count(*) FROM vlan_member WHERE vlan_member.vid = vlan.vid) AS PORTS,
       iif(learning_off, 'off', 'on') AS LEARNING, iif(learning_limit, learning_limit, 'none') AS 'LIMIT',
       trim(iif(loop_detection, 'loop_detection ', '') || iif(ignore_fdb, 'ignorefdb ', '')) AS FLAGS
FROM vlan ORDER BY vid)sql"}},
         R"sql(
SELECT json_object('vlans', (SELECT json_group_array(json(item)) FROM (
    SELECT json_object('vid', vid, 'name', name, 'loop_detection', json(iif(loop_detection, 'true', 'false')),
        'learning_limit', learning_limit, 'ignore_fdb', json(iif(ignore_fdb, 'true', 'false')),
        'learning', json(iif(learning_off, 'false', 'true'))) AS item FROM vlan ORDER BY vid))))sql"},

        {"members",
         "no port is a member of a VLAN",
         {{"", R"sql(
SELECT name AS VLAN, port AS PORT, CASE WHEN tagged THEN printf('tagged %04x', tag_type)
           WHEN protgroup IS NULL THEN 'untagged' ELSE printf('untagged for protgroup %d', protgroup) END AS MEMBER,
       coalesce(list, '-') AS CLSLIST,
       coalesce((SELECT group_concat(printf('ext%d %d/%d', point, byte_offset, width), ' ') FROM extraction_point AS e
                 WHERE e.vid = vlan_member.vid AND e.port = vlan_member.port), '-') AS EXTRACTION
FROM vlan_member JOIN vlan USING (vid) LEFT JOIN list_binding USING (vid, port) ORDER BY vid, port)sql"}},
         R"sql(
SELECT json_object('members', (SELECT json_group_array(json(item)) FROM (
    SELECT json_object('vid', vid, 'vlan', name, 'port', port, 'tagged', json(iif(tagged, 'true', 'false')),
        'tag_type', tag_type, 'protgroup', protgroup, 'clslist', list,
        'extraction_points', (SELECT json_group_array(json_object('point', point, 'offset', byte_offset, 'width', width))
            FROM extraction_point AS e WHERE e.vid = vlan_member.vid AND e.port = vlan_member.port)) AS item
    FROM vlan_member JOIN vlan USING (vid) LEFT JOIN list_binding USING (vid, port) ORDER BY vid, port))))sql"},

        {"protgroups",
         "no protocol groups",
         {{"", R"sql(
SELECT protgroup AS 'GROUP', (SELECT count(*) FROM vlan_member AS m WHERE m.protgroup = protgroup.protgroup) AS MEMBERS,
       coalesce((SELECT group_concat(printf('%04x', ether_type), ' ') FROM protocol
                 WHERE protocol.protgroup = protgroup.protgroup), '-') AS PROTOCOLS
FROM protgroup ORDER BY protgroup)sql"}},
         R"sql(
SELECT json_object('protgroups', (SELECT json_group_array(json(item)) FROM (
    SELECT json_object('protgroup', protgroup, 'protocols', (SELECT json_group_array(ether_type) FROM (
        SELECT ether_type FROM protocol WHERE protocol.protgroup = protgroup.protgroup ORDER BY ether_type))) AS item
    FROM protgroup ORDER BY protgroup))))sql"},

        {"mirrors",
         "no mirrors",
         {{"", R"sql(
SELECT mirror AS MIRROR, iif(enabled, 'enabled', 'disabled') AS STATE,
       CASE source_type WHEN 1 THEN printf('port %d in', source_port) WHEN 2 THEN printf('port %d in vlan %s', source_port, name)
           WHEN 3 THEN printf('port %d out', source_port) WHEN 4 THEN printf('port %d out vlan %s', source_port, name)
           WHEN 5 THEN printf('vlan %s', name) ELSE '-' END AS SOURCE,
       iif(destination IS NULL, '-', printf('port %d', destination)) AS DESTINATION,
       iif(stream IS NULL, 'all', printf('%d/%d/%s', stream + 1, traffic_class,
           CASE color WHEN 0 THEN 'green' WHEN 1 THEN 'yellow' ELSE 'red' END)) AS FRAMES,
       iif(tagged, printf('%04x vid %d', tag_type, tag_vid), 'off') AS TAG
FROM mirror LEFT JOIN vlan ON vid = source_vid ORDER BY mirror)sql"}},
         R"sql(
SELECT json_object('mirrors', (SELECT json_group_array(json(item)) FROM (
    SELECT json_object('mirror', mirror, 'enabled', json(iif(enabled, 'true', 'false')), 'source_type', source_type,
        'source_port', source_port, 'source_vid', source_vid, 'destination', destination, 'stream', stream + 1,
        'class', traffic_class, 'color', color, 'tagged', json(iif(tagged, 'true', 'false')), 'tag_type', tag_type,
        'tag_vid', tag_vid) AS item FROM mirror ORDER BY mirror))))sql"},

        {"streams",
         "no streams",
         {{"", R"sql(
SELECT printf('%d/%d', stream_index / 256 + 1, stream_index % 256 + 1) AS STREAM,
       iif(port IS NULL, 'detached', CASE qos_type WHEN 1 THEN 'wfq' WHEN 2 THEN 'pq' ELSE '-' END) AS TYPE,
       priority AS PRI, (SELECT count(*) FROM queue_in_stream AS q WHERE q.stream_index = stream.stream_index) AS QUEUES,
       iif(max_rate = 0, 'off', printf('%d-%d bit/s, %d-%d bytes', min_rate, max_rate, min_burst, max_burst)) AS SHAPING,
       coalesce((SELECT group_concat(printf('%d=%x/%x', entry, value, mask), ' ') FROM tos_map AS t
                 WHERE t.stream_index = stream.stream_index), '-') AS 'TOS MAP'
FROM stream ORDER BY stream_index)sql"}},
         R"sql(
SELECT json_object('streams', (SELECT json_group_array(json(item)) FROM (
    SELECT json_object('port', stream_index / 256 + 1, 'stream', stream_index % 256 + 1,
        'attached', json(iif(port IS NULL, 'false', 'true')), 'qos_type', CASE qos_type WHEN 1 THEN 'wfq' WHEN 2 THEN 'pq' END,
        'qos_parameters', json_array(qos_first, qos_second), 'min_rate', min_rate, 'min_burst', min_burst,
        'max_rate', max_rate, 'max_burst', max_burst, 'priority', priority,
        'tos_map', (SELECT json_group_array(json_object('entry', entry, 'value', value, 'mask', mask)) FROM tos_map AS t
            WHERE t.stream_index = stream.stream_index),
        'drop_policies', (SELECT json_group_array(json_object('class', traffic_class, 'color', color,
            'min_threshold', min_threshold, 'max_threshold', max_threshold, 'min_drop', min_drop, 'max_drop', max_drop))
            FROM drop_policy AS d WHERE d.stream_index = stream.stream_index)) AS item
    FROM stream ORDER BY stream_index))))sql"},

        {"queues",
         "no queues",
         {{"", R"sql(
SELECT printf('%d/%d/%d', stream_index / 256 + 1, stream_index % 256 + 1, traffic_class) AS QUEUE,
       coalesce(priority, '-') AS PRI, coalesce(ratio, '-') AS RATIO, blocks AS BLOCKS, length AS LENGTH,
       iif(priority IS NULL, 'detached', coalesce((SELECT group_concat(
           CASE color WHEN 0 THEN 'green ' WHEN 1 THEN 'yellow ' ELSE 'red ' END ||
           iif(min_threshold = 100 AND max_threshold = 0, 'taildrop',
               printf('%d-%d drop %d-%d', min_threshold, max_threshold, min_drop, max_drop)), ', ')
        FROM drop_policy AS d WHERE d.stream_index = queue.stream_index AND d.traffic_class = queue.traffic_class), '-')) AS 'DROPS'
FROM queue LEFT JOIN queue_in_stream USING (stream_index, traffic_class) ORDER BY stream_index, traffic_class)sql"}},
         R"sql(
SELECT json_object('queues', (SELECT json_group_array(json(item)) FROM (
    SELECT json_object('port', stream_index / 256 + 1, 'stream', stream_index % 256 + 1, 'class', traffic_class,
        'blocks', blocks, 'length', length, 'attached', json(iif(priority IS NULL, 'false', 'true')), 'priority', priority,
        'ratio', ratio, 'weighted', json(CASE weighted WHEN 1 THEN 'true' WHEN 0 THEN 'false' ELSE 'null' END),
        'stream_type', stream_type) AS item
    FROM queue LEFT JOIN queue_in_stream USING (stream_index, traffic_class) ORDER BY stream_index, traffic_class))))sql"},

        {"fdb",
         "no entries but the system's own (--all)",
         {{"", fdb_table}},
         R"sql(
SELECT json_object('fdb', json_object(
  'static', (SELECT json_group_array(json_object('vid', vid, 'vlan', name, 'mac', mac, 'port', port, 'action', action,
      'of_system', json(iif(of_system, 'true', 'false')))) FROM static_entry JOIN vlan USING (vid)),
  'learned', (SELECT json_group_array(json_object('vid', vid, 'vlan', name, 'mac', mac, 'port', port))
      FROM learned_entry JOIN vlan USING (vid)),
  'local', (SELECT json_group_array(json_object('port', port, 'mac', mac,
      'type', CASE type WHEN 1 THEN 'local' WHEN 2 THEN 'both' WHEN 3 THEN 'local_learning' ELSE 'discard' END,
      'of_system', json(iif(of_system, 'true', 'false')))) FROM local_entry))))sql"},

        {"clslists",
         "no classification lists",
         {{"", R"sql(
SELECT list AS LIST, CASE marking WHEN 0 THEN 'normal' WHEN 1 THEN 'dot1p' WHEN 2 THEN 'dscp' ELSE '-' END AS MARKING,
       (SELECT count(*) FROM classify_rule AS r WHERE r.list = classify_list.list) AS RULES,
       coalesce((SELECT group_concat(printf('port %d vlan %s', port, name), ', ') FROM list_binding AS b JOIN vlan USING (vid)
                 WHERE b.list = classify_list.list), '-') AS BOUND FROM classify_list ORDER BY list)sql"},
          {"Rules", clslist_rules.c_str()}},
         R"sql(
SELECT json_object('clslists', (SELECT json_group_array(json(item)) FROM (
    SELECT json_object('list', list, 'marking', CASE marking WHEN 0 THEN 'normal' WHEN 1 THEN 'dot1p' WHEN 2 THEN 'dscp' END,
        'rules', (SELECT json_group_array(json_object('line', line, 'stream', stream + 1, 'class', traffic_class,
            'color', color, 'match', (SELECT json_group_array(json_object('field', field, 'low', low, 'high', high,
                'mask', mask)) FROM classify_match AS m WHERE m.list = r.list AND m.line = r.line)))
            FROM classify_rule AS r WHERE r.list = classify_list.list)) AS item
    FROM classify_list ORDER BY list))))sql"},

        {"names",
         "no names registered",
         {{"", "SELECT category AS CATEGORY, name AS NAME, id AS ID FROM qualifier ORDER BY category, name"}},
         "SELECT json_object('names', (SELECT json_group_array(json_object('category', category, 'name', name, 'id', "
         "id))"
         " FROM qualifier))"},

        {"porttable",
         "the shared port table is empty",
         {{"", R"sql(
SELECT port AS PORT, iif(kind = 1, 'physical', 'logical') AS KIND, ether AS ETHER, iif(enabled, 'enabled', 'disabled') AS STATE,
       CASE link_mode WHEN 1 THEN 'and' WHEN 2 THEN 'or' ELSE '-' END AS 'LINK MODE',
       CASE link_depend WHEN 1 THEN 'vlan' WHEN 2 THEN printf('ports, mask %x', link_depend_ports) ELSE '-' END AS DEPENDS,
       coalesce((SELECT group_concat(vid, ' ') FROM port_table_vlan AS v WHERE v.kind = port_table.kind
                 AND v.port = port_table.port), '-') AS VLANS
FROM port_table ORDER BY port)sql"}},
         R"sql(
SELECT json_object('porttable', (SELECT json_group_array(json_object('port', port, 'kind', kind, 'ether', ether,
    'enabled', json(iif(enabled, 'true', 'false')), 'link_mode', link_mode, 'link_depend', link_depend,
    'link_depend_ports', link_depend_ports, 'vids', (SELECT json_group_array(vid) FROM port_table_vlan AS v
        WHERE v.kind = port_table.kind AND v.port = port_table.port))) FROM port_table)))sql"},

        {"limits",
         "no limits",
         {{"", "SELECT name AS NAME, value AS VALUE, coalesce(in_use, '-') AS 'IN USE' FROM limits ORDER BY name"}},
         "SELECT json_object('limits', (SELECT json_group_object(name, value) FROM limits))"},
    };
    return all;
}

const Topic& find_topic(const std::string& name) {
    for (const Topic& topic : topics())
        if (name == topic.name) return topic;
    throw Failure("there is nothing to show under the name \"" + name + "\"; emuswitch show --help lists the names");
}

void print_topic(Database& database, const Topic& topic, bool with_system) {
    const bool is_fdb = topic.sections[0].sql == fdb_table;
    const std::vector<Parameter> parameters =
        is_fdb ? std::vector<Parameter>{Parameter(int64_t{with_system ? 1 : 0})} : std::vector<Parameter>{};
    print_table(std::cout, database.query(topic.sections[0].sql, parameters), topic.empty);
    for (size_t i = 1; i < topic.sections.size(); ++i) {
        const Answer rows = database.query(topic.sections[i].sql);
        if (rows.rows.empty()) continue;
        std::cout << "\n" << topic.sections[i].title << "\n";
        print_table(std::cout, rows, "");
    }
}

nlohmann::json topic_json(Database& database, const Topic& topic) {
    return nlohmann::json::parse(*database.query(topic.json).rows.at(0).at(0).text);
}

constexpr const char* overview_table = R"sql(
SELECT 'ports' AS OBJECT, (SELECT count(*) FROM port) AS COUNT,
       printf('%d enabled', (SELECT count(*) FROM port WHERE enabled)) AS DETAIL
UNION ALL SELECT 'VLANs', (SELECT count(*) FROM vlan), printf('%d local', (SELECT count(*) FROM vlan WHERE vid > 4095))
UNION ALL SELECT 'members', (SELECT count(*) FROM vlan_member),
       printf('%d tagged', (SELECT count(*) FROM vlan_member WHERE tagged))
UNION ALL SELECT 'protocol groups', (SELECT count(*) FROM protgroup),
       printf('%d protocols', (SELECT count(*) FROM protocol))
UNION ALL SELECT 'mirrors', (SELECT count(*) FROM mirror),
       printf('%d enabled', (SELECT count(*) FROM mirror WHERE enabled))
UNION ALL SELECT 'streams', (SELECT count(*) FROM stream),
       printf('%d shaped', (SELECT count(*) FROM stream WHERE max_rate > 0))
UNION ALL SELECT 'queues', (SELECT count(*) FROM queue),
       printf('%d of %d frame buffers', (SELECT in_use FROM limits WHERE name = 'frame_buffers'),
              (SELECT value FROM limits WHERE name = 'frame_buffers'))
UNION ALL SELECT 'FDB entries', (SELECT in_use FROM limits WHERE name = 'fdb_entries'),
       printf('%d static, %d learned, %d local, the system''s own among them', (SELECT count(*) FROM static_entry),
              (SELECT count(*) FROM learned_entry), (SELECT count(*) FROM local_entry))
UNION ALL SELECT 'clslists', (SELECT count(*) FROM classify_list),
       printf('%d rules, %d bindings', (SELECT count(*) FROM classify_rule), (SELECT count(*) FROM list_binding))
UNION ALL SELECT 'faults', (SELECT count(*) FROM fault), coalesce((SELECT 'next: ' || function FROM fault LIMIT 1), 'none')
UNION ALL SELECT 'calls logged', (SELECT count(*) FROM call_log),
       coalesce((SELECT 'last: ' || sentence FROM call_log ORDER BY id DESC LIMIT 1), 'none'))sql";

std::vector<std::string> show_topics() {
    std::vector<std::string> names;
    for (const Topic& topic : topics())
        names.emplace_back(topic.name);
    return names;
}

int show(const ShowOptions& options) {
    Database database(store_path());
    if (options.as_json) {
        nlohmann::json state = nlohmann::json::object();
        for (const Topic& topic : topics())
            if (options.what.empty() || options.what == topic.name) state.update(topic_json(database, topic));
        if (!options.what.empty()) find_topic(options.what);
        std::cout << state.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << "\n";
    } else if (options.what.empty()) {
        std::cout << store_path().string() << "\n\n";
        print_table(std::cout, database.query(overview_table), "");
    } else {
        print_topic(database, find_topic(options.what), options.with_system);
    }
    return 0;
}

} // namespace

void add_show(CommandLine& line) {
    auto options = std::make_shared<ShowOptions>();
    line.add("show", "Show the switch: an overview, or one kind of object")
        .optional_operand("what", options->what, show_topics(), "What to show")
        .flag("--json", options->as_json, "For programs: an object with stable keys")
        .flag("--all", options->with_system, "The switch's own FDB entries too")
        .footer("Examples:\n  emuswitch show\n  emuswitch show vlans\n  emuswitch show --json")
        .runs([options] { return show(*options); });
}
