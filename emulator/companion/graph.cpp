// The switch as a drawing for Graphviz: emuswitch graph | dot -Tpng -o switch.png
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/names.h"

#include <iostream>
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
        out << "digraph switch {\n"
               "  rankdir="
            << direction
            << "; nodesep=0.25; ranksep=1.1; fontname=\"Helvetica\";\n"
               "  node [fontname=\"Helvetica\" fontsize=11 style=filled];\n"
               "  edge [fontname=\"Helvetica\" fontsize=9 color=\"#555555\"];\n";
    }
    void node(const std::string& name, const std::string& label, const std::string& attributes) {
        out << "  " << name << " [label=\"" << label << "\" " << attributes << "];\n";
    }
    void edge(const std::string& from, const std::string& to, const std::string& attributes) {
        out << "  " << from << " -> " << to << " [" << attributes << "];\n";
    }
    // Nodes of one rank stand in the order of their numbers.
    void keep_order(const std::string& prefix, const std::vector<int64_t>& numbers) {
        for (size_t i = 1; i < numbers.size(); ++i)
            edge(prefix + std::to_string(numbers[i - 1]), prefix + std::to_string(numbers[i]), "style=invis");
    }
    void line(const std::string& text) { out << "  " << text << "\n"; }
    std::string text() const { return out.str() + "}\n"; }

private:
    std::ostringstream out;
};

std::string numbered(const char* name, int64_t number) {
    return name + std::to_string(number);
}

void draw_ports(Database& database, Drawing& drawing) {
    std::vector<int64_t> ports;
    drawing.line("{ rank=same;");
    Query rows(database, "SELECT port, ether, type, enabled, in_lag, ip_interface FROM port ORDER BY port");
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

void draw_vlans(Database& database, Drawing& drawing) {
    std::vector<int64_t> vids;
    drawing.line("{ rank=same;");
    Query rows(database, "SELECT vid, name FROM vlan ORDER BY vid");
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

void draw_members(Database& database, Drawing& drawing) {
    Query rows(database, "SELECT port, vid, tagged, tag_type, protgroup, list FROM vlan_member"
                         " LEFT JOIN list_binding USING (vid, port) ORDER BY vid, port");
    while (rows.next()) {
        std::string label = "untagged";
        std::string style = "style=solid";
        if (rows.flag("tagged")) {
            char type[24];
            snprintf(type, sizeof type, " %llx", static_cast<unsigned long long>(rows.number("tag_type")));
            label = std::string("tagged") + (rows.number("tag_type") != default_tag_type ? type : "");
            style = "style=bold";
        } else if (const std::optional<int64_t> group = rows.optional_number("protgroup")) {
            label = numbered("protgroup ", *group);
            style = "style=dashed";
        }
        if (const std::optional<int64_t> list = rows.optional_number("list")) label += numbered("\\nclslist ", *list);
        drawing.edge(numbered("port", rows.number("port")), numbered("vlan", rows.number("vid")),
                     "dir=none label=\"" + label + "\" " + style);
    }
}

void draw_source(const Query& row, const std::string& mirror, const std::string& style, Drawing& drawing) {
    const int64_t type = row.number("source_type");
    if (type == mirror_source::vlan)
        return drawing.edge(numbered("vlan", row.number("source_vid")), mirror, "label=\"all\" " + style);
    const bool is_received = type == mirror_source::received || type == mirror_source::received_in_vlan;
    const bool is_in_vlan = type == mirror_source::received_in_vlan || type == mirror_source::sent_in_vlan;
    const std::string label =
        std::string(is_received ? "in" : "out") + (is_in_vlan ? " of " + label_of(row.text("name")) : "");
    drawing.edge(numbered("port", row.number("source_port")), mirror, "label=\"" + label + "\" " + style);
}

// A mirror is a small diamond between its source and its destination.
void draw_mirrors(Database& database, Drawing& drawing) {
    Query rows(database, "SELECT mirror.*, name FROM mirror LEFT JOIN vlan ON vid = source_vid ORDER BY mirror");
    while (rows.next()) {
        const bool is_enabled = rows.flag("enabled");
        const std::string name = numbered("mirror", rows.number("mirror"));
        const std::string color = is_enabled ? "#cc0000" : "#bbbbbb";
        const std::string style = "color=\"" + color + "\" fontcolor=\"" + color + "\" constraint=false";
        drawing.node(name, numbered("mirror ", rows.number("mirror")) + (is_enabled ? "" : "\\ndisabled"),
                     "shape=diamond fontsize=9 color=\"" + color + "\" fillcolor=\"" +
                         (is_enabled ? "#f4cccc" : "#eeeeee") + "\"");
        if (!rows.is_null("source_type")) draw_source(rows, name, style, drawing);
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

int print_graph(int64_t qos_port) {
    Database database = Database::snapshot();
    if (qos_port != 0) {
        if (database.number("SELECT count(*) FROM port WHERE port = ?", {qos_port}) == 0)
            throw Failure("there is no port " + std::to_string(qos_port) + "; emuswitch show ports lists them");
        std::cout << qos_tree(database, qos_port);
        return 0;
    }
    Drawing drawing("LR");
    draw_ports(database, drawing);
    draw_vlans(database, drawing);
    draw_members(database, drawing);
    draw_mirrors(database, drawing);
    std::cout << drawing.text();
    return 0;
}

} // namespace

void add_graph(CommandLine& line) {
    auto qos_port = std::make_shared<int64_t>(0);
    line.add("graph", "Print a drawing of the switch for Graphviz")
        .option("--qos <port>", *qos_port, any_port, "Draw the streams and queues of this port instead")
        .footer("Example:\n  emuswitch graph | dot -Tpng -o switch.png")
        .runs([qos_port] { return print_graph(*qos_port); });
}
