// The state of the switch as tables for people and as JSON for programs.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/counters_view.h"
#include "companion/names.h"
#include "companion/topics.h"

#include <charconv>
#include <iostream>

namespace {

struct ShowOptions {
    std::string what; // empty: the overview
    bool as_json = false;
    bool with_system = false; // the switch's own FDB entries too
};

// Writes values as JSON in lines. The library's own writer would refuse names that are no UTF-8, or write different
// ones alike.
class JsonText {
public:
    explicit JsonText(std::string& target) : out(target) {}

    void add(const Json& value, size_t indent) {
        switch (value.type()) {
        case Json::value_t::object: return add_object(value.get_ref<const Json::object_t&>(), indent);
        case Json::value_t::array: return add_array(value.get_ref<const Json::array_t&>(), indent);
        case Json::value_t::string: return add_string(value.get_ref<const std::string&>());
        case Json::value_t::number_integer: return add_number(value.get<int64_t>());
        default: out += value.dump();
        }
    }
    void add_key(const std::string& key) {
        add_string(key);
        out += ": ";
    }
    void add_line(size_t indent) { out.append(1, '\n').append(indent, ' '); }

private:
    void add_object(const Json::object_t& object, size_t indent) {
        out += '{';
        const char* separator = "";
        for (const auto& [key, value] : object) {
            out += separator;
            separator = ",";
            add_line(indent + 2);
            add_key(key);
            add(value, indent + 2);
        }
        if (!object.empty()) add_line(indent);
        out += '}';
    }
    void add_array(const Json::array_t& array, size_t indent) {
        out += '[';
        const char* separator = "";
        for (const Json& value : array) {
            out += separator;
            separator = ",";
            add_line(indent + 2);
            add(value, indent + 2);
        }
        if (!array.empty()) add_line(indent);
        out += ']';
    }
    void add_number(int64_t number) {
        char digits[24];
        out.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
    }
    void add_string(const std::string& bytes) {
        static constexpr char digits[] = "0123456789abcdef";
        out += '"';
        for (const char c : as_utf8(bytes)) {
            const auto byte = static_cast<unsigned char>(c);
            if (c == '"' || c == '\\')
                out += {'\\', c};
            else if (byte < 0x20)
                out += {'\\', 'u', '0', '0', digits[byte >> 4U], digits[byte & 15U]};
            else
                out += c;
        }
        out += '"';
    }

    std::string& out;
};

// Writes an object of arrays, object by object.
class JsonPrinter {
public:
    JsonPrinter() : text(out) { out += '{'; }

    void open(const std::string& key) {
        begin_key(key);
        out += '{';
        depth += 2;
        is_first = true;
    }
    void close() {
        depth -= 2;
        text.add_line(depth);
        out += '}';
        is_first = false;
    }
    void array(const Collection& collection, Database& database) {
        begin_key(collection.key);
        out += '[';
        bool is_empty = true;
        collection.read(database, [&](const Json& object) {
            if (!is_empty) out += ',';
            text.add_line(depth + 2);
            text.add(object, depth + 2);
            is_empty = false;
        });
        if (!is_empty) text.add_line(depth);
        out += ']';
    }
    void value(const std::string& key, const Json& value) {
        begin_key(key);
        text.add(value, depth);
    }
    std::string finish() {
        out += "\n}\n";
        return std::move(out);
    }

private:
    void begin_key(const std::string& key) {
        if (!is_first) out += ',';
        text.add_line(depth);
        text.add_key(key);
        is_first = false;
    }

    std::string out;
    JsonText text;
    size_t depth = 2;
    bool is_first = true;
};

const Topic& find_topic(const std::string& name) {
    for (const Topic& topic : topics())
        if (name == topic.name) return topic;
    throw Failure("there is nothing to show under the name \"" + name + "\"; emuswitch show --help lists the names");
}

// No part of the store: what the live switch counts.
constexpr const char* counters = "counters";

int show_counters(bool as_json) {
    const auto published = live::read_counters(store_path());
    if (as_json)
        std::cout << counters_json(published).dump(2) << "\n";
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

void print_json(JsonPrinter& printer, Database& database, const Topic& topic) {
    if (topic.is_grouped) printer.open(topic.name);
    for (const Collection& collection : topic.collections)
        printer.array(collection, database);
    if (topic.is_grouped) printer.close();
}

// The values by their names.
void print_limits_json(JsonPrinter& printer, Database& database, const Topic& limits) {
    printer.open(limits.name);
    limits.collections.front().read(
        database, [&](const Json& limit) { printer.value(limit["name"].get<std::string>(), limit["value"]); });
    printer.close();
}

void print_all_json(Database& database, const std::string& what) {
    JsonPrinter printer;
    for (const Topic& topic : topics()) {
        if (!what.empty() && what != topic.name) continue;
        if (std::string(topic.name) == "limits")
            print_limits_json(printer, database, topic);
        else
            print_json(printer, database, topic);
    }
    std::cout << printer.finish(); // at once: of a damaged store nothing is shown
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
        print_all_json(database, options.what);
    } else if (options.what.empty()) {
        std::cout << shown(store_path().string()) << "\n\n";
        print_overview(database);
    } else {
        print_topic(database, find_topic(options.what), options.with_system);
    }
    return 0;
}

} // namespace

void add_show(CommandLine& line) {
    auto options = std::make_shared<ShowOptions>();
    line.add("show", "Show the switch: an overview, or one kind of object")
        .optional_operand("what", options->what, topic_names(), "What to show")
        .flag("--json", options->as_json, "For programs: an object with stable keys")
        .flag("--all", options->with_system, "The switch's own FDB entries too")
        .footer("Examples:\n  emuswitch show\n  emuswitch show vlans\n  emuswitch show --json")
        .runs([options] { return show(*options); });
}
