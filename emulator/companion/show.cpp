// The state of the switch as tables for people and as JSON for programs.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/counters_view.h"
#include "companion/names.h"
#include "companion/topics.h"

#include <iostream>

namespace {

struct ShowOptions {
    std::string what; // empty: the overview
    bool as_json = false;
    bool with_system = false; // the switch's own FDB entries too
};

// No part of the store: what the live switch counts.
constexpr const char* counters = "counters";

int show_counters(bool as_json) {
    const auto published = live::read_counters(store_path());
    if (as_json)
        std::cout << json_lines(counters_json(published));
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
    if (options.what == counters) return show_counters(options.as_json);
    Database database = Database::snapshot();
    if (options.as_json) {
        std::cout << topics_as_json(database, options.what); // at once: of a damaged store nothing is shown
    } else if (options.what.empty()) {
        std::cout << shown(store_path().string()) << "\n\n";
        print_overview(database);
    } else {
        print_topic(database, find_topic(options.what), options.with_system);
    }
    return 0;
}

} // namespace

const Topic& find_topic(const std::string& name) {
    for (const Topic& topic : topics())
        if (name == topic.name) return topic;
    throw Failure("there is nothing to show under the name \"" + name + "\"; emuswitch show --help lists the names");
}

void print_topic(Database& database, const Topic& topic, bool with_system) {
    const std::vector<TitledTable> tables = topic.tables(database, with_system);
    print_table(std::cout, tables.front().table, topic.empty);
    for (size_t i = 1; i < tables.size(); ++i) {
        if (tables[i].table.rows.empty()) continue;
        std::cout << "\n" << tables[i].title << "\n";
        print_table(std::cout, tables[i].table, "");
    }
}

void add_show(CommandLine& line) {
    auto options = std::make_shared<ShowOptions>();
    line.add("show", "Show the switch: an overview, or one kind of object")
        .optional_operand("what", options->what, topic_names(), "What to show")
        .flag("--json", options->as_json, "For programs: an object with stable keys")
        .flag("--all", options->with_system, "The switch's own FDB entries too")
        .footer("Examples:\n  emuswitch show\n  emuswitch show vlans\n  emuswitch show --json")
        .runs([options] { return show(*options); });
}
