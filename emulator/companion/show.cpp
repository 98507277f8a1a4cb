// The state of the switch as tables for people and as JSON for programs.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/counters_view.h"
#include "companion/names.h"
#include "companion/nearest.h"
#include "companion/topics.h"

#include <algorithm>
#include <iostream>

namespace {

struct ShowOptions {
    std::string what; // empty: the overview
    std::string name; // of one object; empty: all
    bool as_json = false;
    bool with_system = false; // the switch's own FDB entries too
};

// No part of the store: what the live switch counts.
constexpr const char* counters = "counters";

int show_counters(bool as_json) {
    const auto published = live::read_counters(store_path());
    if (as_json)
        std::cout << counters_as_json(published);
    else if (published)
        print_counters(std::cout, *published);
    else
        std::cout << no_counters << "\n";
    return 0;
}

std::vector<std::string> topic_names() {
    std::vector<std::string> names;
    for (const Topic& topic : topics())
        names.emplace_back(topic.name);
    names.emplace_back(counters);
    return names;
}

std::string joined_names() {
    std::string text;
    for (const std::string& name : topic_names())
        text += (text.empty() ? "" : ", ") + name;
    return text;
}

// --- The overview ---

std::string count_text(Database& database, const std::string& what, const std::string& sql) {
    return std::to_string(database.number(sql)) + " " + what;
}

std::string text_or_none(Database& database, const std::string& before, const std::string& sql) {
    Query query(database, sql);
    return query.next() ? before + query.text("text") : "none";
}

void print_overview(Database& database) {
    Table table{{"OBJECT", "COUNT", "DETAIL"}, {}};
    const auto add = [&](const char* object, const std::string& count, const std::string& detail) {
        table.add({object, database.number(count), detail});
    };
    const auto count = [&](const char* what, const std::string& sql) { return count_text(database, what, sql); };
    add("ports", "SELECT count(*) FROM port", count("enabled", "SELECT count(*) FROM port WHERE enabled"));
    add("VLANs", "SELECT count(*) FROM vlan", count("local", "SELECT count(*) FROM vlan WHERE vid > 4095"));
    add("members", "SELECT count(*) FROM vlan_member",
        count("tagged", "SELECT count(*) FROM vlan_member WHERE tagged"));
    add("protocol groups", "SELECT count(*) FROM protgroup", count("protocols", "SELECT count(*) FROM protocol"));
    add("mirrors", "SELECT count(*) FROM mirror", count("enabled", "SELECT count(*) FROM mirror WHERE enabled"));
    add("streams", "SELECT count(*) FROM stream", count("shaped", "SELECT count(*) FROM stream WHERE max_rate > 0"));
    add("queues", "SELECT count(*) FROM queue",
        count("of ", "SELECT in_use FROM limits WHERE name = 'frame_buffers'") +
            count("frame buffers", "SELECT value FROM limits WHERE name = 'frame_buffers'"));
    add("FDB entries", "SELECT in_use FROM limits WHERE name = 'fdb_entries'",
        count("static, ", "SELECT count(*) FROM static_entry") +
            count("learned, ", "SELECT count(*) FROM learned_entry") +
            count("local, the system's own among them", "SELECT count(*) FROM local_entry"));
    add("clslists", "SELECT count(*) FROM classify_list",
        count("rules, ", "SELECT count(*) FROM classify_rule") +
            count("bindings", "SELECT count(*) FROM list_binding"));
    add("faults", "SELECT count(*) FROM fault",
        text_or_none(database, "next: ", "SELECT function AS text FROM fault ORDER BY id LIMIT 1"));
    add("calls logged", "SELECT count(*) FROM call_log",
        text_or_none(database, "last: ", "SELECT sentence AS text FROM call_log ORDER BY id DESC LIMIT 1"));
    print_table(std::cout, table, "");
}

int show(const ShowOptions& options) {
    if (!options.name.empty() && (options.as_json || options.what == counters))
        throw WrongUse("one object is shown of the tables only; leave \"" + shown(options.name) + "\" out");
    if (options.what == counters) return show_counters(options.as_json);
    const Topic* const topic = options.what.empty() ? nullptr : &find_topic(options.what);
    Database database = Database::snapshot();
    if (options.as_json) {
        // At once: of a damaged store nothing is shown.
        std::cout << topics_as_json(database, topic == nullptr ? "" : topic->name);
    } else if (topic == nullptr) {
        std::cout << shown(store_path()) << "\n\n";
        print_overview(database);
    } else {
        print_topic(database, *topic, options.with_system, options.name);
    }
    return 0;
}

// Where numbers name the objects, one stands for all that are below it: "1" for 1/2. A VLAN "a/b" is not below "a".
bool is_about(const std::vector<Cell>& row, size_t naming, const std::string& name) {
    const bool has_parts = naming == 1;
    return std::any_of(
        row.begin(), row.begin() + static_cast<ptrdiff_t>(std::min(naming, row.size())),
        [&](const Cell& cell) { return cell.text == name || (has_parts && cell.text.starts_with(name + "/")); });
}

void keep_object(std::vector<TitledTable>& tables, const Topic& topic, const std::string& name) {
    size_t left = 0;
    for (TitledTable& titled : tables) {
        std::erase_if(titled.table.rows,
                      [&](const std::vector<Cell>& row) { return !is_about(row, topic.naming, shown(name)); });
        left += titled.table.rows.size();
    }
    if (left == 0)
        throw Failure("there is no \"" + shown(name) + "\" among the " + topic.name + "; emuswitch show " + topic.name +
                      " lists them");
}

} // namespace

const Topic& find_topic(const std::string& name) {
    for (const Topic& topic : topics())
        if (name == topic.name || name + "s" == topic.name) return topic;
    throw WrongUse("there is nothing to show under the name \"" + shown(name) + "\"" +
                   did_you_mean(name, topic_names()) + "; emuswitch help show lists the names");
}

void print_topic(Database& database, const Topic& topic, bool with_system, const std::string& name) {
    std::vector<TitledTable> tables = topic.tables(database, with_system);
    if (!name.empty()) keep_object(tables, topic, name);
    bool is_first = true;
    for (const TitledTable& titled : tables) {
        const bool is_main = &titled == &tables.front();
        if (titled.table.rows.empty() && (!is_main || !name.empty())) continue;
        if (!is_first) std::cout << "\n";
        if (titled.title != nullptr) std::cout << titled.title << "\n";
        print_table(std::cout, titled.table, topic.empty);
        is_first = false;
    }
}

void add_show(CommandLine& line) {
    auto options = std::make_shared<ShowOptions>();
    line.add("show", "Show the switch: an overview, or one kind of object")
        .optional_operand("what", options->what, "What to show: " + joined_names())
        .optional_operand("name", options->name, "Only the port, VLAN and so on of this number or name")
        .flag("--json", options->as_json, "For programs: an object with stable keys")
        .flag("--all", options->with_system, "The switch's own FDB entries too")
        .footer("Examples:\n  emuswitch show\n  emuswitch show vlans\n  emuswitch show port 1\n  emuswitch show --json")
        .runs([options] { return show(*options); });
}
