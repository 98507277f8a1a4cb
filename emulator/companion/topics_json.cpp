// The kinds of objects of a switch as JSON.
#include "companion/topics.h"

namespace {

// Writes an object of arrays, object by object.
class JsonPrinter {
public:
    JsonPrinter() { out += '{'; }

    void open(const std::string& key) {
        begin_key(key);
        out += '{';
        depth += 2;
        is_first = true;
    }
    void close() {
        depth -= 2;
        add_line(depth);
        out += '}';
        is_first = false;
    }
    void array(const Collection& collection, Database& database) {
        begin_key(collection.key);
        out += '[';
        bool is_empty = true;
        collection.read(database, [&](const Json& object) {
            if (!is_empty) out += ',';
            add_line(depth + 2);
            append_json(out, object, depth + 2);
            is_empty = false;
        });
        if (!is_empty) add_line(depth);
        out += ']';
    }
    std::string finish() {
        out += "\n}\n";
        return std::move(out);
    }

private:
    void begin_key(const std::string& key) {
        if (!is_first) out += ',';
        add_line(depth);
        append_json_text(out, key);
        out += ": ";
        is_first = false;
    }
    void add_line(size_t indent) { out.append(1, '\n').append(indent, ' '); }

    std::string out;
    size_t depth = 2;
    bool is_first = true;
};

void add_topic(JsonPrinter& printer, Database& database, const Topic& topic) {
    if (topic.is_grouped) printer.open(topic.name);
    for (const Collection& collection : topic.collections)
        printer.array(collection, database);
    if (topic.is_grouped) printer.close();
}

} // namespace

std::string topics_as_json(Database& database, const std::string& what) {
    JsonPrinter printer;
    for (const Topic& topic : topics())
        if (what.empty() || what == topic.name) add_topic(printer, database, topic);
    return printer.finish();
}
