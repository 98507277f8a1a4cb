// The switch as a drawing for Graphviz: emuswitch graph | dot -Tpng -o switch.png
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/names.h"

#include <iostream>
#include <map>
#include <sstream>

namespace {

// A name as a label has it: shown, and with what means something to Graphviz escaped.
std::string label_of(const std::string& name) {
    std::string result;
    for (const char c : shown(name)) {
        if (c == '"' || c == '\\') result += '\\';
        result += c;
    }
    return result;
}

class Drawing {
public:
    explicit Drawing(const std::string& direction) {
        out_ << "digraph switch {\n"
                "  rankdir="
             << direction
             << "; nodesep=0.25; ranksep=1.1; fontname=\"Helvetica\";\n"
                "  node [fontname=\"Helvetica\" fontsize=11 style=filled];\n"
                "  edge [fontname=\"Helvetica\" fontsize=9 color=\"#555555\"];\n";
    }
    void node(const std::string& name, const std::string& label, const std::string& attributes) {
        out_ << "  " << name << " [label=\"" << label << "\" " << attributes << "];\n";
    }
    void edge(const std::string& from, const std::string& to, const std::string& attributes) {
        out_ << "  " << from << " -> " << to << " [" << attributes << "];\n";
    }
    // Nodes of one rank stand in the order of their numbers.
    void keep_order(const std::string& prefix, const std::vector<int64_t>& numbers) {
        for (size_t i = 1; i < numbers.size(); ++i)
            edge(prefix + std::to_string(numbers[i - 1]), prefix + std::to_string(numbers[i]), "style=invis");
    }
    void line(const std::string& text) { out_ << "  " << text << "\n"; }
    std::string text() const { return out_.str() + "}\n"; }

private:
    std::ostringstream out_;
};

std::string numbered(const char* name, int64_t number) {
    return name + std::to_string(number);
}

// What is drawn: one VLAN with its ports and the mirrors that watch it, or everything.
constexpr int64_t everything = -1;

void draw_ports(Database& database, int64_t vid, Drawing& drawing) {
    std::vector<int64_t> ports;
    drawing.line("{ rank=same;");
    Query rows(database,
               "SELECT port, ether, type, enabled, in_lag, ip_interface FROM port"
               " WHERE ?1 < 0 OR port IN (SELECT port FROM vlan_member WHERE vid = ?1)"
               " OR port IN (SELECT destination FROM mirror WHERE source_vid = ?1)"
               " OR port IN (SELECT source_port FROM mirror WHERE source_vid = ?1) ORDER BY port",
               {vid});
    while (rows.next()) {
        ports.push_back(rows.number("port"));
        std::string label = numbered("port ", ports.back()) + "\\n" + rows.word("type", port_type_words);
        if (rows.number("type") == port_type::ether) label += numbered(" ", rows.number("ether"));
        if (rows.flag("in_lag")) label += " LAG";
        if (rows.flag("ip_interface")) label += " IP";
        if (!rows.flag("enabled")) label += "\\ndisabled";
        drawing.node(numbered("port", ports.back()), label,
                     rows.flag("enabled") ? "shape=box fillcolor=\"#cfe2f3\""
                                          : "shape=box fillcolor=\"#eeeeee\" fontcolor=\"#777777\"");
    }
    drawing.line("}");
    drawing.keep_order("port", ports);
}

void draw_vlans(Database& database, int64_t drawn, Drawing& drawing) {
    std::vector<int64_t> vids;
    drawing.line("{ rank=same;");
    Query rows(database, "SELECT vid, name FROM vlan WHERE ?1 < 0 OR vid = ?1 ORDER BY vid", {drawn});
    while (rows.next()) {
        const int64_t vid = rows.number("vid");
        const bool is_local = vid >= vlan_id::lowest_local;
        vids.push_back(vid);
        drawing.node(numbered("vlan", vid),
                     label_of(rows.text("name")) + "\\nvid " + std::to_string(vid) + (is_local ? " (local)" : ""),
                     is_local ? "shape=ellipse fillcolor=\"#fff2cc\"" : "shape=ellipse fillcolor=\"#d9ead3\"");
    }
    drawing.line("}");
    drawing.keep_order("vlan", vids);
}

// Where many lines meet, the color tells which label is that of which: each port has its own.
const char* color_of_port(int64_t port) {
    static constexpr const char* colors[] = {"#1f5f9f", "#9f3f1f", "#3f7f2f", "#7f3f8f", "#8f6f0f", "#0f7f7f"};
    return colors[static_cast<size_t>(port) % std::size(colors)];
}

std::string member_label(const Query& row) {
    if (row.flag("tagged")) {
        char type[24];
        snprintf(type, sizeof type, " %llx", static_cast<unsigned long long>(row.number("tag_type")));
        return std::string("tagged") + (row.number("tag_type") != default_tag_type ? type : "");
    }
    const std::optional<int64_t> group = row.optional_number("protgroup");
    return group ? numbered("protgroup ", *group) : "untagged";
}

constexpr const char* members = "SELECT port, vid, tagged, tag_type, protgroup, list FROM vlan_member"
                                " LEFT JOIN list_binding USING (vid, port) WHERE ?1 < 0 OR vid = ?1 ORDER BY vid, port";

void draw_members(Database& database, int64_t vid, Drawing& drawing) {
    Query rows(database, members, {vid});
    while (rows.next()) {
        const char* const style = rows.flag("tagged") ? "bold" : rows.is_null("protgroup") ? "solid" : "dashed";
        std::string label = member_label(rows);
        if (const std::optional<int64_t> list = rows.optional_number("list")) label += numbered("\\nclslist ", *list);
        const std::string color = color_of_port(rows.number("port"));
        drawing.edge(numbered("port", rows.number("port")), numbered("vlan", rows.number("vid")),
                     "dir=none label=\"" + label + "\" style=" + style + " color=\"" + color + "\" fontcolor=\"" +
                         color + "\"");
    }
}

// --- Many VLANs: tables, a row for each and a column for each port ---

constexpr int64_t most_as_nodes = 24;
constexpr size_t rows_of_table = 50;

std::string html_of(const std::string& name) {
    std::string result;
    for (const char c : shown(name)) {
        switch (c) {
        case '&': result += "&amp;"; break;
        case '<': result += "&lt;"; break;
        case '>': result += "&gt;"; break;
        default: result += c;
        }
    }
    return result;
}

std::string cell_of(const std::string& text, const std::string& attributes) {
    return "<TD " + attributes + ">" + (text.empty() ? " " : text) + "</TD>";
}

// How the ports are members, by VLAN and port: T tagged, U untagged, G untagged for a protocol group.
std::map<std::pair<int64_t, int64_t>, char> letters(Database& database) {
    std::map<std::pair<int64_t, int64_t>, char> found;
    Query rows(database, members, {everything});
    while (rows.next())
        found[{rows.number("vid"), rows.number("port")}] = rows.flag("tagged")         ? 'T'
                                                           : rows.is_null("protgroup") ? 'U'
                                                                                       : 'G';
    return found;
}

std::string cell_of_member(char letter) {
    const char* const color = letter == 'T' ? "#b6d7a8" : letter == 'U' ? "#fff2cc" : "#f9cb9c";
    return letter == 0 ? cell_of("", "") : cell_of({letter}, std::string("BGCOLOR=\"") + color + "\"");
}

class VlanTables {
public:
    VlanTables(Database& database, Drawing& target) : drawing_(target), of_member_(letters(database)) {
        Query ports(database, "SELECT DISTINCT port FROM vlan_member ORDER BY port");
        while (ports.next())
            columns_.push_back(ports.number("port"));
        Query vlans(database, "SELECT vid, name FROM vlan ORDER BY vid");
        while (vlans.next())
            add(vlans.number("vid"), vlans.text("name"));
        finish();
    }

private:
    void add(int64_t vid, const std::string& name) {
        const std::string id = std::to_string(vid);
        rows_ +=
            "<TR>" + cell_of(html_of(name), "ALIGN=\"LEFT\" PORT=\"vlan" + id + "\"") + cell_of(id, "ALIGN=\"RIGHT\"");
        for (const int64_t port : columns_) {
            const auto found = of_member_.find({vid, port});
            rows_ += cell_of_member(found == of_member_.end() ? '\0' : found->second);
        }
        rows_ += "</TR>";
        if (++count_ == rows_of_table) finish();
    }
    void finish() {
        if (count_ == 0) return;
        std::string head = "<TR>" + cell_of("<B>VLAN</B>", "") + cell_of("<B>vid</B>", "");
        for (const int64_t port : columns_)
            head += cell_of("<B>" + std::to_string(port) + "</B>", "");
        const std::string table = numbered("vlans", number_);
        if (number_ == 0)
            for (const int64_t port : columns_)
                drawing_.edge(numbered("port", port), table, "style=invis");
        else
            drawing_.edge(numbered("vlans", number_ - 1), table, "style=invis"); // side by side
        ++number_;
        drawing_.line(table +
                      " [shape=plain style=\"\" label=<<TABLE BORDER=\"0\" CELLBORDER=\"1\" CELLSPACING=\"0\""
                      " CELLPADDING=\"2\">" +
                      head + "</TR>" + rows_ + "</TABLE>>];");
        rows_.clear();
        count_ = 0;
    }

    Drawing& drawing_;
    std::map<std::pair<int64_t, int64_t>, char> of_member_;
    std::vector<int64_t> columns_;
    std::string rows_;
    size_t count_ = 0;
    int64_t number_ = 0;
};

void draw_source(const Query& row, const std::string& mirror, const std::string& style, bool has_vlan_nodes,
                 Drawing& drawing) {
    const int64_t type = row.number("source_type");
    if (type == mirror_source::vlan) {
        if (!has_vlan_nodes)
            drawing.node(numbered("vlan", row.number("source_vid")), label_of(row.text("name")),
                         "shape=ellipse fillcolor=\"#d9ead3\"");
        return drawing.edge(numbered("vlan", row.number("source_vid")), mirror, "label=\"all\" " + style);
    }
    const bool is_received = type == mirror_source::received || type == mirror_source::received_in_vlan;
    const bool is_in_vlan = type == mirror_source::received_in_vlan || type == mirror_source::sent_in_vlan;
    const std::string label =
        std::string(is_received ? "in" : "out") + (is_in_vlan ? " of " + label_of(row.text("name")) : "");
    drawing.edge(numbered("port", row.number("source_port")), mirror, "label=\"" + label + "\" " + style);
}

// A mirror is a small diamond between its source and its destination.
void draw_mirrors(Database& database, int64_t vid, bool has_vlan_nodes, Drawing& drawing) {
    Query rows(database,
               "SELECT mirror.*, name FROM mirror LEFT JOIN vlan ON vid = source_vid"
               " WHERE ?1 < 0 OR source_vid = ?1 ORDER BY mirror",
               {vid});
    while (rows.next()) {
        const bool is_enabled = rows.flag("enabled");
        const std::string name = numbered("mirror", rows.number("mirror"));
        const std::string color = is_enabled ? "#cc0000" : "#bbbbbb";
        const std::string style = "color=\"" + color + "\" fontcolor=\"" + color + "\" constraint=false";
        drawing.node(name, numbered("mirror ", rows.number("mirror")) + (is_enabled ? "" : "\\ndisabled"),
                     "shape=diamond fontsize=9 color=\"" + color + "\" fillcolor=\"" +
                         (is_enabled ? "#f4cccc" : "#eeeeee") + "\"");
        if (!rows.is_null("source_type")) draw_source(rows, name, style, has_vlan_nodes, drawing);
        if (const std::optional<int64_t> port = rows.optional_number("destination"))
            drawing.edge(name, numbered("port", *port), "label=\"copy\" " + style);
    }
}

std::string rate_text(int64_t min, int64_t max) {
    const auto kilo = [](int64_t rate) { return std::to_string(rate / 1000); };
    return min == max ? kilo(max) + " kbit/s" : kilo(min) + "-" + kilo(max) + " kbit/s";
}

std::string policy_text(const Query& row) {
    if (row.number("min_threshold") == 100 && row.number("max_threshold") == 0) return "tail drop";
    return "fill " + std::to_string(row.number("min_threshold")) + "-" + std::to_string(row.number("max_threshold")) +
           "%\\ndrop " + std::to_string(row.number("min_drop")) + "-" + std::to_string(row.number("max_drop")) + "%";
}

void draw_policies(Database& database, Drawing& drawing, const std::string& queue, int64_t stream_index,
                   int64_t traffic_class) {
    Query rows(database, "SELECT * FROM drop_policy WHERE stream_index = ? AND traffic_class = ? ORDER BY color",
               {stream_index, traffic_class});
    while (rows.next()) {
        const std::string color = rows.word("color", color_words);
        const int64_t number = rows.number("color");
        const char* const fill = number == color::green ? "#d9ead3" : number == color::yellow ? "#ffe599" : "#f4cccc";
        const std::string node = queue + numbered("_", number);
        drawing.node(node, color + "\\n" + policy_text(rows),
                     std::string("shape=box fontsize=9 fillcolor=\"") + fill + "\"");
        drawing.edge(queue, node, "");
    }
}

void draw_queues(Database& database, Drawing& drawing, int64_t stream_index) {
    const std::string stream = numbered("stream", stream_index);
    Query rows(
        database,
        "SELECT traffic_class, length, priority, ratio FROM queue"
        " JOIN queue_in_stream USING (stream_index, traffic_class) WHERE stream_index = ? ORDER BY traffic_class",
        {stream_index});
    while (rows.next()) {
        const int64_t traffic_class = rows.number("traffic_class");
        const std::string queue = numbered("queue", stream_index) + numbered("_", traffic_class);
        drawing.node(queue,
                     numbered("class ", traffic_class) + numbered("\\npri ", rows.number("priority")) +
                         numbered(" ratio ", rows.number("ratio")) + "\\n" + std::to_string(rows.number("length")) +
                         " bytes",
                     "shape=box fillcolor=\"#fff2cc\"");
        drawing.edge(stream, queue, "");
        draw_policies(database, drawing, queue, stream_index, traffic_class);
    }
}

std::string stream_label(const Query& row) {
    std::string label = numbered("stream ", row.number("stream_index") % streams_per_port + 1);
    if (row.number("qos_type") != 0) label += " " + row.word("qos_type", qos_type_words);
    label += numbered("\\npriority ", row.number("priority"));
    if (row.number("max_rate") != 0) label += "\\n" + rate_text(row.number("min_rate"), row.number("max_rate"));
    return label;
}

std::string qos_tree(Database& database, int64_t port) {
    Drawing drawing("LR");
    drawing.node("port", numbered("port ", port), "shape=box fillcolor=\"#cfe2f3\"");
    Query rows(database, "SELECT * FROM stream WHERE port = ? ORDER BY stream_index", {port});
    while (rows.next()) {
        const std::string name = numbered("stream", rows.number("stream_index"));
        drawing.node(name, stream_label(rows), "shape=box fillcolor=\"#d9d2e9\"");
        drawing.edge("port", name, "");
        draw_queues(database, drawing, rows.number("stream_index"));
    }
    return drawing.text();
}

std::string whole_switch(Database& database) {
    Drawing drawing("LR");
    const int64_t vlans = database.number("SELECT count(*) FROM vlan");
    const bool has_vlan_nodes = vlans <= most_as_nodes;
    if (vlans == 0 && database.number("SELECT count(*) FROM port") == 0)
        drawing.node("empty", "an empty switch:\\nno ports, no VLANs", "shape=box fillcolor=\"#eeeeee\"");
    draw_ports(database, everything, drawing);
    if (has_vlan_nodes) {
        draw_vlans(database, everything, drawing);
        draw_members(database, everything, drawing);
    } else {
        VlanTables(database, drawing);
    }
    draw_mirrors(database, everything, has_vlan_nodes, drawing);
    return drawing.text();
}

std::string one_vlan(Database& database, const std::string& name) {
    Query vlan(database, "SELECT vid FROM vlan WHERE name = ?", {name});
    if (!vlan.next()) throw Failure("there is no VLAN \"" + shown(name) + "\"; emuswitch show vlans lists them");
    const int64_t vid = vlan.number("vid");
    Drawing drawing("LR");
    draw_ports(database, vid, drawing);
    draw_vlans(database, vid, drawing);
    draw_members(database, vid, drawing);
    draw_mirrors(database, vid, true, drawing);
    return drawing.text();
}

struct GraphOptions {
    int64_t qos_port = 0;
    std::string vlan;
};

int print_graph(const GraphOptions& options) {
    if (options.qos_port != 0 && !options.vlan.empty()) throw WrongUse("graph takes --qos or --vlan, not both");
    Database database = Database::snapshot();
    if (!options.vlan.empty()) {
        std::cout << one_vlan(database, options.vlan);
        return 0;
    }
    if (options.qos_port == 0) {
        std::cout << whole_switch(database);
        return 0;
    }
    if (database.number("SELECT count(*) FROM port WHERE port = ?", {options.qos_port}) == 0)
        throw Failure("there is no port " + std::to_string(options.qos_port) + "; emuswitch show ports lists them");
    std::cout << qos_tree(database, options.qos_port);
    return 0;
}

} // namespace

void add_graph(CommandLine& line) {
    auto options = std::make_shared<GraphOptions>();
    line.add("graph", "Print a drawing of the switch for Graphviz")
        .option("--qos <port>", options->qos_port, any_port, "Draw the streams and queues of this port instead")
        .option("--vlan <name>", options->vlan, "Draw this VLAN only, with its ports")
        .footer("Examples:\n  emuswitch graph | dot -Tpng -o switch.png\n  emuswitch graph --vlan sales | dot -Tsvg")
        .runs([options] { return print_graph(*options); });
}
