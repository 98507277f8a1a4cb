// The kinds of objects of a switch as JSON.
#include "companion/topics.h"

#include <nlohmann/json.hpp>

namespace {

// Writes an object of arrays, object by object.
class JsonPrinter {
public:
    JsonPrinter() { out_ += '{'; }

    void open(const std::string& key) {
        begin_key(key);
        out_ += '{';
        depth_ += 2;
        is_first_ = true;
    }
    void close() {
        depth_ -= 2;
        add_line(depth_);
        out_ += '}';
        is_first_ = false;
    }
    void array(const Collection& collection, Database& database) {
        begin_key(collection.key);
        out_ += '[';
        bool is_empty = true;
        collection.read(database, [&](const Json& object) {
            if (!is_empty) out_ += ',';
            add_line(depth_ + 2);
            append_json(out_, object, depth_ + 2);
            is_empty = false;
        });
        if (!is_empty) add_line(depth_);
        out_ += ']';
    }
    std::string finish() {
        out_ += "\n}\n";
        return std::move(out_);
    }

private:
    void begin_key(const std::string& key) {
        if (!is_first_) out_ += ',';
        add_line(depth_);
        append_json_text(out_, key);
        out_ += ": ";
        is_first_ = false;
    }
    void add_line(size_t indent) { out_.append(1, '\n').append(indent, ' '); }

    std::string out_;
    size_t depth_ = 2;
    bool is_first_ = true;
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
