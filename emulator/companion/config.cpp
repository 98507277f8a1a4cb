// From the store to sentences: the way back from what the tool makes of them.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"

#include "companion/words.h"

#include <array>
#include <bit>
#include <iostream>
#include <map>
#include <sstream>

namespace {

class Sentences {
public:
    explicit Sentences(Database& source) : database(source) {}

    std::vector<std::string> lines;

    void add(const std::string& line) { lines.push_back(line); }

    // One sentence for each row of a query whose only column is the sentence.
    void add_rows(const std::string& sql) {
        for (const Row& row : database.query(sql).rows)
            lines.push_back(row[0].str());
    }

    Database& database;
};

// SQL that quotes nothing: for names use quote_word.
constexpr const char* color_word =
    "CASE color WHEN 0 THEN 'green' WHEN 1 THEN 'yellow' WHEN 2 THEN 'red' ELSE 'discard' END";

// What was typed so that 1000 times it, wrapped at 32 bits, is the rate. 1000 is 8 * 125, and 125 has an inverse modulo
// 2^29; a rate that is no multiple of 8 cannot come from a sentence.
std::string typed_rate(int64_t rate) {
    if (rate % 1000 == 0) return std::to_string(rate / 1000);
    constexpr uint32_t inverse_of_125 = 652835029U;
    static_assert(inverse_of_125 * 125U == 1U);
    const uint32_t eighth = static_cast<uint32_t>(rate) / 8;
    return std::to_string(eighth * inverse_of_125 % (1U << 29));
}

std::string hex(int64_t value) {
    std::ostringstream text;
    text << std::hex << value;
    return text.str();
}

void add_ports(Sentences& out) {
    out.add_rows("SELECT printf('create port %d npport %d portType %s', port, ether,"
                 " CASE type WHEN 0 THEN 'none' WHEN 1 THEN 'ether' ELSE 'vif' END) FROM port ORDER BY port");
    out.add_rows("SELECT printf('set port %d %s', port, setting) FROM ("
                 " SELECT port, 0 AS place, 'aftype tagonly' AS setting FROM port WHERE NOT accept_all_frames"
                 " UNION ALL SELECT port, 1, 'ingfil on' FROM port WHERE ingress_filtering"
                 " UNION ALL SELECT port, 2, 'ignoretag on' FROM port WHERE NOT accept_tagged"
                 " UNION ALL SELECT port, 3, 'ignoreptag on' FROM port WHERE NOT accept_priority_tagged"
                 " UNION ALL SELECT port, 4, 'cosedit on' FROM port WHERE cos_editing"
                 " UNION ALL SELECT port, 5, 'ignorefdb on' FROM port WHERE ignore_fdb"
                 " UNION ALL SELECT port, 6, printf('tagtype %x', tag_type) FROM port WHERE tag_type <> 0x8100"
                 " UNION ALL SELECT port, 7, printf('pvid %d', pvid) FROM port WHERE pvid <> 0"
                 " UNION ALL SELECT port, 8, printf('aging %d', aging) FROM port WHERE aging <> 300"
                 " UNION ALL SELECT port, 9, 'sldbreaker on' FROM port WHERE loop_breaker"
                 " UNION ALL SELECT port, 10, 'bandwidth frame_gap' FROM port WHERE bandwidth_mode = 1"
                 " UNION ALL SELECT port, 11, printf('link_mode %s', iif(link_mode = 1, 'and', 'or')) FROM port"
                 " WHERE link_mode IS NOT NULL) ORDER BY port, place");
    out.add_rows(std::string("SELECT printf('set port %d default_class %d/%d/%s', port, default_stream + 1,"
                             " default_class, ") +
                 "CASE default_color WHEN 0 THEN 'green' WHEN 1 THEN 'yellow' ELSE 'red' END) FROM port"
                 " WHERE default_stream <> 0 OR default_class <> 0 OR default_color <> 0 ORDER BY port");
    out.add_rows("SELECT printf('set port %d link_frame %s %s', port,"
                 " CASE kind WHEN 0 THEN 'bpdu' WHEN 2 THEN 'lag' ELSE 'pae' END,"
                 " iif(action = 1, 'forward', 'discard')) FROM link_frame ORDER BY port, kind");
}

void add_link_dependencies(Sentences& out) {
    for (const Row& row : out.database
                              .query("SELECT port, link_depend, link_depend_ports FROM port"
                                     " WHERE link_depend IS NOT NULL ORDER BY port")
                              .rows) {
        std::string list;
        for (int64_t port = 1; port <= 32; ++port)
            if ((*row[2].number >> (port - 1) & 1) != 0) list += (list.empty() ? "" : ",") + std::to_string(port);
        const std::string what = *row[1].number == 1 ? "vlan" : "port " + (list.empty() ? "0" : list);
        out.add("set port " + row[0].str() + " link_depend " + what);
    }
}

// The mask says which entries the switch was given; the others are typed as empty entries.
void add_cos_maps(Sentences& out) {
    std::map<int64_t, std::array<std::optional<int64_t>, 8>> maps;
    for (const Row& row : out.database.query("SELECT port, priority, traffic_class FROM cos_map").rows)
        maps[*row[0].number].at(static_cast<size_t>(*row[1].number)) = *row[2].number;
    for (const auto& [port, map] : maps) {
        std::string text;
        int64_t mask = 0;
        for (size_t i = 0; i < map.size(); ++i) {
            if (map[i]) mask |= int64_t{1} << i;
            text += (i == 0 ? "" : ",") + (map[i] ? std::to_string(*map[i]) : "0");
        }
        out.add("set port " + std::to_string(port) + " cosmap bit " + hex(mask) + " val " + text);
    }
}

void add_policers(Sentences& out) {
    const std::string sql = std::string("SELECT port, traffic_class, ") + color_word +
                            ", rate, burst FROM class_policer ORDER BY port, traffic_class";
    for (const Row& row : out.database.query(sql).rows)
        out.add("set port " + row[0].str() + " class_policing class " + row[1].str() + " on rcolor " + row[2].str() +
                " rate " + typed_rate(*row[3].number) + " burst " + row[4].str() + " byte");
    for (const Row& row : out.database.query("SELECT ether, rate, burst FROM ether_shaper ORDER BY ether").rows)
        out.add("set ether " + row[0].str() + " shaping on rate " + typed_rate(*row[1].number) + " burst " +
                row[2].str() + " byte");
}

void add_vlans(Sentences& out) {
    for (const Row& row : out.database
                              .query("SELECT name, vid, loop_detection, learning_limit, ignore_fdb, learning_off"
                                     " FROM vlan ORDER BY vid")
                              .rows) {
        const std::string name = quote_word(*row[0].text);
        const std::string set = "set vlan " + name;
        out.add("create vlan " + name + " vid " + row[1].str());
        if (*row[2].number != 0) out.add(set + " simple_loop_detection on");
        if (*row[3].number != 0) out.add(set + " learninglimit " + row[3].str());
        if (*row[4].number != 0) out.add(set + " ignorefdb on");
        if (*row[5].number != 0) out.add(set + " learning off");
    }
}

void add_members(Sentences& out) {
    out.add_rows("SELECT printf('create protgroup %d', protgroup) FROM protgroup ORDER BY protgroup");
    out.add_rows("SELECT printf('add protocol %04x to protgroup %d', ether_type, protgroup) FROM protocol"
                 " ORDER BY protgroup, ether_type");
    for (const Row& row : out.database
                              .query("SELECT port, name, CASE WHEN tagged THEN printf('on tagtype %04x', tag_type)"
                                     " WHEN protgroup IS NULL THEN 'off' ELSE printf('off protgroup %d', protgroup) END"
                                     " FROM vlan_member JOIN vlan USING (vid) ORDER BY vid, port")
                              .rows)
        out.add("add port " + row[0].str() + " to vlan " + quote_word(*row[1].text) + " tag " + *row[2].text);
}

// A minimum burst above the maximum can only be typed in the form with a keyword for each value.
std::string shaping_words(int64_t min_rate, int64_t min_burst, int64_t max_rate, int64_t max_burst) {
    if (min_burst <= max_burst)
        return "rate " + typed_rate(min_rate) + "-" + typed_rate(max_rate) + " burst " + std::to_string(min_burst) +
               "-" + std::to_string(max_burst) + " byte";
    return "maxrate " + typed_rate(max_rate) + " minrate " + typed_rate(min_rate) + " maxburst " +
           typed_rate(max_burst) + " min " + typed_rate(min_burst);
}

void add_streams(Sentences& out) {
    for (const Row& row : out.database
                              .query("SELECT printf('%d/%d', stream_index / 256 + 1, stream_index % 256 + 1), qos_type,"
                                     " min_rate, min_burst, max_rate, max_burst, priority FROM stream"
                                     " WHERE port IS NOT NULL AND qos_type <> 0 ORDER BY stream_index")
                              .rows) {
        const std::string& address = *row[0].text;
        out.add("create stream " + address + " qostype " + (*row[1].number == 1 ? "wfq" : "pq"));
        if (*row[4].number != 0)
            out.add("set stream " + address + " shaping on " +
                    shaping_words(*row[2].number, *row[3].number, *row[4].number, *row[5].number));
        if (*row[6].number != 0) out.add("set stream " + address + " priority " + row[6].str());
    }
}

void add_tos_maps(Sentences& out) {
    std::map<int64_t, std::map<int64_t, std::string>> maps;
    for (const Row& row : out.database.query("SELECT stream_index, entry, value, mask FROM tos_map").rows)
        maps[*row[0].number][*row[1].number] = hex(*row[2].number) + "/" + hex(*row[3].number);
    for (const auto& [stream, entries] : maps) {
        std::string text;
        int64_t at = 0;
        for (const auto& [entry, words] : entries) {
            for (; at < entry; ++at)
                text += ",";
            text += words;
        }
        out.add("set stream " + std::to_string(stream / 256 + 1) + "/" + std::to_string(stream % 256 + 1) + " tosmap " +
                text);
    }
}

void add_queues(Sentences& out) {
    const std::string address =
        "printf('%d/%d/%d', stream_index / 256 + 1, stream_index % 256 + 1, traffic_class) AS address";
    for (const Row& row : out.database
                              .query("SELECT " + address +
                                     ", length, priority, ratio, traffic_class FROM queue"
                                     " JOIN queue_in_stream USING (stream_index, traffic_class)"
                                     " ORDER BY stream_index, traffic_class")
                              .rows) {
        const std::string& queue = *row[0].text;
        out.add("create queue " + queue);
        if (*row[1].number != 16384) out.add("set queue " + queue + " queue_length " + row[1].str());
        if (*row[2].number != *row[4].number || *row[3].number != 1)
            out.add("set queue " + queue + " pri " + row[2].str() + " ratio " + row[3].str());
    }
    for (const Row& row : out.database
                              .query("SELECT " + address + ", " + color_word +
                                     ", min_threshold, max_threshold, min_drop, max_drop FROM drop_policy"
                                     " ORDER BY stream_index, traffic_class, color")
                              .rows) {
        const bool is_tail_drop =
            *row[2].number == 100 && *row[3].number == 0 && *row[4].number == 0 && *row[5].number == 0;
        out.add("set queue " + *row[0].text + " color " + *row[1].text + " drop_type " +
                (is_tail_drop ? "taildrop"
                              : "wred thresh " + row[2].str() + "-" + row[3].str() + " drop " + row[4].str() + "-" +
                                    row[5].str()));
    }
}

void add_fdb_entries(Sentences& out) {
    for (const Row& row : out.database
                              .query("SELECT mac, name, port, action FROM static_entry JOIN vlan USING (vid)"
                                     " WHERE NOT of_system ORDER BY vid, mac")
                              .rows)
        out.add("create sfdbentry " + *row[0].text + " in vlan " + quote_word(*row[1].text) +
                (row[2].is_null() ? " discard" : " port " + row[2].str() + " flag " + hex(*row[3].number)));
    out.add_rows("SELECT printf('create lfdbentry %s in port %d %s', mac, port, CASE type WHEN 1 THEN 'local'"
                 " WHEN 2 THEN 'both' WHEN 3 THEN 'local_learning' ELSE 'discard' END) FROM local_entry"
                 " WHERE NOT of_system ORDER BY port, mac");
}

// A match operand. Where a bound of the field (7 for cos, 4095 for vid) has pulled a value down, it may no longer fit
// under its mask; then any value that is pulled down in the same way is typed, and the mask itself is one.
struct MatchOperand {
    std::string field;
    int64_t low;
    std::optional<int64_t> high;
    int64_t mask;

    int64_t typed(int64_t value) const { return (value & mask) == value ? value : mask; }
};

std::string dotted(int64_t address) {
    return std::to_string(address >> 24 & 255) + "." + std::to_string(address >> 16 & 255) + "." +
           std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
}

std::string operand_text(const MatchOperand& match) {
    if (match.field == "da" || match.field == "sa")
        return dotted(match.low) + (match.high ? "-" + dotted(*match.high) : "") + "/" +
               std::to_string(std::popcount(static_cast<uint64_t>(match.mask)));
    const bool is_hex = match.field == "etype" || match.field.starts_with("ext");
    const auto number = [&](int64_t value) { return is_hex ? hex(value) : std::to_string(match.typed(value)); };
    return number(match.low) + (match.high ? "-" + number(*match.high) : "") + "/" + hex(match.mask);
}

std::string rule_operands(Database& database, int64_t list, int64_t line) {
    std::map<std::string, std::string> texts;
    for (const Row& row :
         database.query("SELECT field, low, high, mask FROM classify_match WHERE list = ? AND line = ?", {list, line})
             .rows)
        texts[*row[0].text] = operand_text({*row[0].text, *row[1].number, row[2].number, *row[3].number});

    std::string words;
    for (const char* field : {"da", "sa", "tos", "prot", "dp", "sp", "vid", "cos", "etype"})
        words += " " + (texts.contains(field) ? texts[field] : "x");
    std::string extraction;
    for (const char* field : {"ext1", "ext2", "ext3", "ext4"})
        extraction += (field[3] == '1' ? "" : ",") + texts[field];
    return words + " " + (extraction == ",,," ? "x" : extraction);
}

// Offsets above 1532 were typed as negative ones.
std::string extraction_points(Database& database, int64_t vid, int64_t port) {
    std::array<std::string, 4> points;
    bool is_any = false;
    for (const Row& row :
         database
             .query("SELECT point, byte_offset, width FROM extraction_point WHERE vid = ? AND port = ?", {vid, port})
             .rows) {
        const int64_t offset = *row[1].number > 1532 ? *row[1].number - 65536 : *row[1].number;
        points.at(static_cast<size_t>(*row[0].number - 1)) = std::to_string(offset) + "/" + row[2].str();
        is_any = true;
    }
    return is_any ? " " + points[0] + "," + points[1] + "," + points[2] + "," + points[3] : "";
}

void add_lists(Sentences& out) {
    out.add_rows("SELECT printf('create clslist %d', list) FROM classify_list ORDER BY list");
    for (const Row& row :
         out.database
             .query(std::string("SELECT list, line, printf('%d/%d/%s', stream + 1, traffic_class, ") + color_word +
                    "), CASE marking WHEN 0 THEN 'normal' WHEN 1 THEN 'dot1p' ELSE 'dscp' END"
                    " FROM classify_rule JOIN classify_list USING (list) ORDER BY list, line")
             .rows)
        out.add("add classify " + *row[2].text + " " + *row[3].text +
                rule_operands(out.database, *row[0].number, *row[1].number) + " to clslist " + row[0].str() + " line " +
                row[1].str());
    for (const Row& row : out.database
                              .query("SELECT list, port, name, vid FROM list_binding JOIN vlan USING (vid)"
                                     " ORDER BY vid, port")
                              .rows)
        out.add("add clslist " + row[0].str() + " to port " + row[1].str() + " vlan " + quote_word(*row[2].text) +
                extraction_points(out.database, *row[3].number, *row[1].number));
}

void add_mirror_settings(Sentences& out, const Row& row) {
    const std::string set = "set mirror " + row[0].str();
    if (row[2].number) {
        const int64_t type = *row[2].number;
        const std::string direction = type <= 2 ? " in" : " out";
        const std::string vlan = row[4].text ? quote_word(*row[4].text) : "";
        if (type == 5)
            out.add(set + " source vlan " + vlan);
        else
            out.add(set + " source port " + row[3].str() + direction + (vlan.empty() ? "" : " vlan " + vlan));
    }
    if (row[5].number) out.add(set + " dest port " + row[5].str());
    if (row[6].text) out.add(set + " classify " + *row[6].text);
    if (*row[7].number != 0) out.add(set + " tag on tagtype " + hex(*row[8].number) + " vid " + row[9].str());
}

void add_mirrors(Sentences& out) {
    for (const Row& row :
         out.database
             .query(std::string("SELECT mirror, enabled, source_type, source_port, name, destination,"
                                " iif(stream IS NULL, NULL, printf('%d/%d/%s', stream + 1, traffic_class, ") +
                    color_word +
                    ")), tagged, tag_type, tag_vid FROM mirror"
                    " LEFT JOIN vlan ON vid = source_vid ORDER BY mirror")
             .rows) {
        out.add("create mirror " + row[0].str());
        add_mirror_settings(out, row);
        if (*row[1].number != 0) out.add("enable mirror " + row[0].str());
    }
}

std::vector<std::string> configuration(Database& database) {
    Sentences out(database);
    add_ports(out);
    add_link_dependencies(out);
    add_cos_maps(out);
    add_policers(out);
    add_vlans(out);
    add_members(out);
    add_streams(out);
    add_tos_maps(out);
    add_queues(out);
    add_lists(out);
    add_fdb_entries(out);
    add_mirrors(out);
    out.add_rows("SELECT printf('enable port %d', port) FROM port WHERE enabled ORDER BY port");
    return out.lines;
}

int print_config() {
    Database database(store_path());
    for (const std::string& sentence : configuration(database))
        std::cout << sentence << "\n";
    return 0;
}

} // namespace

void add_config(CommandLine& line) {
    line.add("config", "Print the configuration as sentences that rebuild it")
        .footer("Example:\n  emuswitch config > switch.play")
        .runs(print_config);
}
