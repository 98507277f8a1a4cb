// The switch as a drawing for Graphviz: emuswitch graph | dot -Tpng -o switch.png
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"

#include <iostream>
#include <sstream>

namespace {

std::string escaped(const std::string& text) {
    std::string result;
    for (const char c : text) {
        if (c == '"' || c == '\\') result += '\\';
        result += c == '\n' ? ' ' : c;
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
    // Nodes of one rank stand in this order.
    void keep_order(const std::string& prefix, const Answer& numbers) {
        for (size_t i = 1; i < numbers.rows.size(); ++i)
            edge(prefix + numbers.rows[i - 1][0].str(), prefix + numbers.rows[i][0].str(), "style=invis");
    }
    void line(const std::string& text) { out << "  " << text << "\n"; }
    std::string text() const { return out.str() + "}\n"; }

private:
    std::ostringstream out;
};

std::string port_node(const Cell& port) {
    return "port" + port.str();
}
std::string vlan_node(const Cell& vid) {
    return "vlan" + vid.str();
}

void draw_ports(Database& database, Drawing& drawing) {
    drawing.line("{ rank=same;");
    for (const Row& row :
         database.query("SELECT port, ether, type, enabled, in_lag, ip_interface FROM port ORDER BY port").rows) {
        const char* const types[] = {"none", "ether ", "vif"};
        std::string label = "port " + row[0].str() + "\\n" + types[*row[2].number];
        if (*row[2].number == 1) label += row[1].str();
        if (*row[4].number != 0) label += " LAG";
        if (*row[5].number != 0) label += " IP";
        if (*row[3].number == 0) label += "\\ndisabled";
        drawing.node(port_node(row[0]), label,
                     *row[3].number != 0 ? "shape=box fillcolor=\"#cfe2f3\""
                                         : "shape=box fillcolor=\"#eeeeee\" fontcolor=\"#777777\"");
    }
    drawing.line("}");
    drawing.keep_order("port", database.query("SELECT port FROM port ORDER BY port"));
}

void draw_vlans(Database& database, Drawing& drawing) {
    drawing.line("{ rank=same;");
    for (const Row& row : database.query("SELECT vid, name FROM vlan ORDER BY vid").rows)
        drawing.node(vlan_node(row[0]),
                     escaped(*row[1].text) + "\\nvid " + row[0].str() + (*row[0].number > 4095 ? " (local)" : ""),
                     *row[0].number > 4095 ? "shape=ellipse fillcolor=\"#fff2cc\""
                                           : "shape=ellipse fillcolor=\"#d9ead3\"");
    drawing.line("}");
    drawing.keep_order("vlan", database.query("SELECT vid FROM vlan ORDER BY vid"));
    for (const Row& row : database
                              .query("SELECT port, vid, tagged, tag_type, protgroup, list FROM vlan_member"
                                     " LEFT JOIN list_binding USING (vid, port) ORDER BY vid, port")
                              .rows) {
        std::string label;
        std::string style = "style=solid";
        if (*row[2].number != 0) {
            label = "tagged";
            style = "style=bold";
            if (*row[3].number != 0x8100) {
                std::ostringstream type;
                type << " " << std::hex << *row[3].number;
                label += type.str();
            }
        } else if (row[4].number) {
            label = "protgroup " + row[4].str();
            style = "style=dashed";
        } else {
            label = "untagged";
        }
        if (row[5].number) label += "\\nclslist " + row[5].str();
        drawing.edge(port_node(row[0]), vlan_node(row[1]), "dir=none label=\"" + label + "\" " + style);
    }
}

// A mirror is a small diamond between its source and its destination.
void draw_mirrors(Database& database, Drawing& drawing) {
    for (const Row& row : database
                              .query("SELECT mirror, enabled, source_type, source_port, source_vid, destination,"
                                     " (SELECT name FROM vlan WHERE vid = source_vid) FROM mirror ORDER BY mirror")
                              .rows) {
        const std::string name = "mirror" + row[0].str();
        const std::string color = *row[1].number != 0 ? "#cc0000" : "#bbbbbb";
        const std::string style = "color=\"" + color + "\" fontcolor=\"" + color + "\" constraint=false";
        drawing.node(name, "mirror " + row[0].str() + (*row[1].number != 0 ? "" : "\\ndisabled"),
                     "shape=diamond fontsize=9 color=\"" + color + "\" fillcolor=\"" +
                         (*row[1].number != 0 ? "#f4cccc" : "#eeeeee") + "\"");
        if (row[2].number) {
            const int64_t type = *row[2].number;
            std::string label = type == 5 ? "all" : type <= 2 ? "in" : "out";
            if (type == 2 || type == 4) label += " of " + escaped(row[6].str());
            drawing.edge(type == 5 ? vlan_node(row[4]) : port_node(row[3]), name, "label=\"" + label + "\" " + style);
        }
        if (row[5].number) drawing.edge(name, port_node(row[5]), "label=\"copy\" " + style);
    }
}

std::string rate_text(int64_t min, int64_t max) {
    const auto kilo = [](int64_t rate) { return std::to_string(rate / 1000); };
    return min == max ? kilo(max) + " kbit/s" : kilo(min) + "-" + kilo(max) + " kbit/s";
}

void draw_queues(Database& database, Drawing& drawing, int64_t stream_index) {
    const std::string stream = "stream" + std::to_string(stream_index);
    for (const Row& row : database
                              .query("SELECT traffic_class, length, priority, ratio FROM queue"
                                     " JOIN queue_in_stream USING (stream_index, traffic_class)"
                                     " WHERE stream_index = ? ORDER BY traffic_class",
                                     {stream_index})
                              .rows) {
        const std::string queue = "queue" + std::to_string(stream_index) + "_" + row[0].str();
        drawing.node(queue,
                     "class " + row[0].str() + "\\npri " + row[2].str() + " ratio " + row[3].str() + "\\n" +
                         row[1].str() + " bytes",
                     "shape=box fillcolor=\"#fff2cc\"");
        drawing.edge(stream, queue, "");
        for (const Row& policy :
             database
                 .query("SELECT color, min_threshold, max_threshold, min_drop, max_drop FROM drop_policy"
                        " WHERE stream_index = ? AND traffic_class = ? ORDER BY color",
                        {stream_index, *row[0].number})
                 .rows) {
            const char* const fills[] = {"#d9ead3", "#ffe599", "#f4cccc"};
            const char* const names[] = {"green", "yellow", "red"};
            const auto color = static_cast<size_t>(*policy[0].number);
            const bool is_tail_drop = *policy[1].number == 100 && *policy[2].number == 0;
            const std::string node = queue + "_" + policy[0].str();
            drawing.node(node,
                         std::string(names[color]) + "\\n" +
                             (is_tail_drop ? "tail drop"
                                           : "fill " + policy[1].str() + "-" + policy[2].str() + "%\\ndrop " +
                                                 policy[3].str() + "-" + policy[4].str() + "%"),
                         std::string("shape=box fontsize=9 fillcolor=\"") + fills[color] + "\"");
            drawing.edge(queue, node, "");
        }
    }
}

std::string qos_tree(Database& database, int64_t port) {
    Drawing drawing("LR");
    drawing.node("port", "port " + std::to_string(port), "shape=box fillcolor=\"#cfe2f3\"");
    for (const Row& row : database
                              .query("SELECT stream_index, qos_type, min_rate, max_rate, priority FROM stream"
                                     " WHERE port = ? ORDER BY stream_index",
                                     {port})
                              .rows) {
        const std::string name = "stream" + row[0].str();
        drawing.node(name,
                     "stream " + std::to_string(*row[0].number % 256 + 1) + " " + (*row[1].number == 1 ? "wfq" : "pq") +
                         "\\npriority " + row[4].str() +
                         (*row[3].number == 0 ? "" : "\\n" + rate_text(*row[2].number, *row[3].number)),
                     "shape=box fillcolor=\"#d9d2e9\"");
        drawing.edge("port", name, "");
        draw_queues(database, drawing, *row[0].number);
    }
    return drawing.text();
}

int print_graph(int64_t qos_port) {
    Database database(store_path());
    if (qos_port != 0) {
        if (database.number("SELECT count(*) FROM port WHERE port = ?", {qos_port}) == 0)
            throw Failure("there is no port " + std::to_string(qos_port) + "; emuswitch show ports lists them");
        std::cout << qos_tree(database, qos_port);
        return 0;
    }
    Drawing drawing("LR");
    draw_ports(database, drawing);
    draw_vlans(database, drawing);
    draw_mirrors(database, drawing);
    std::cout << drawing.text();
    return 0;
}

} // namespace

void add_graph(CommandLine& line) {
    auto qos_port = std::make_shared<int64_t>(0);
    line.add("graph", "Print a drawing of the switch for Graphviz")
        .option("--qos", *qos_port, any_port, "Draw the streams and queues of this port instead")
        .footer("Example:\n  emuswitch graph | dot -Tpng -o switch.png")
        .runs([qos_port] { return print_graph(*qos_port); });
}
