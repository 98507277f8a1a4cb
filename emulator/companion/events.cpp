// The trap events that the switch raised.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/follow.h"
#include "companion/json_text.h"
#include "companion/names.h"

#include "platform/trapevent.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <iostream>

namespace {

std::string event_text(const Query& row) {
    const std::string object = row.text("object");
    const bool is_added = row.any_number("event") == trap_event::added;
    const std::string port = std::to_string(row.any_number("port"));
    const std::optional<int64_t> type = row.optional_any_number("type");
    const std::optional<int64_t> stream = row.optional_any_number("stream");
    const std::optional<int64_t> traffic_class = row.optional_any_number("traffic_class");
    if (object == "BridgePort") {
        if (!is_added) return "port " + port + " deleted";
        if (!type) row.fail_as_damaged("type");
        const char* const word = word_for(port_type_words, *type);
        return "port " + port + " created, type " + (word != nullptr ? word : std::to_string(*type));
    }
    if (object == "PortVlan")
        return "port " + port + (is_added ? " joined" : " left") + " vlan " +
               shown(row.optional_text("vlan").value_or(""));
    if (object != "Queue") row.fail_as_damaged("object");
    if (!stream) row.fail_as_damaged("stream");
    if (!traffic_class) row.fail_as_damaged("traffic_class");
    return "queue " + port + "/" + std::to_string(*stream) + "/" + std::to_string(*traffic_class) +
           (is_added ? " created" : " deleted");
}

// What was raised is kept, right or wrong: a number without a word stays one.
Json event_json(const Query& row) {
    static constexpr struct {
        const char* name;
        const char* object;
        const char* added;
        const char* gone;
    } kinds[] = {{"BridgePort", "port", "created", "deleted"},
                 {"PortVlan", "member", "joined", "left"},
                 {"Queue", "queue", "created", "deleted"}};
    const std::string name = row.text("object");
    const auto* const kind =
        std::find_if(std::begin(kinds), std::end(kinds), [&](const auto& one) { return name == one.name; });
    if (kind == std::end(kinds)) row.fail_as_damaged("object");
    const bool is_added = row.any_number("event") == trap_event::added;
    const std::optional<int64_t> type = row.optional_any_number("type");
    const bool has_type = type && *type != trap_event::no_type;
    const char* const word = has_type ? word_for(port_type_words, *type) : nullptr;
    const std::optional<std::string> vlan = row.optional_text("vlan");
    return {{"at", json_time(row.text("at"))},
            {"event", is_added ? kind->added : kind->gone},
            {"object", kind->object},
            {"port", row.any_number("port")},
            {"type", word != nullptr ? Json(word) : or_null(has_type ? type : std::nullopt)},
            {"vlan", vlan ? Json(*vlan) : Json(nullptr)},
            {"stream", or_null(row.optional_any_number("stream"))},
            {"class", or_null(row.optional_any_number("traffic_class"))}};
}

int print_events(const FollowOptions& options) {
    const GrowingTable table{"trap_event", "object, port, type, vlan, stream, traffic_class, event", options.last};
    if (options.as_json)
        return print_rows(table, options.keeps_on, [](const Query& row) { return json_line(event_json(row)); });
    std::vector<std::string> lines;
    return read_rows(
        table, options.keeps_on,
        [&](const Query& row) { lines.push_back(shown(row.text("at")) + "  " + event_text(row)); },
        [&] {
            for (const std::string& line : lines)
                std::cout << line << "\n";
            lines.clear();
        });
}

} // namespace

void add_events(CommandLine& line) {
    add_follower(line, "events", "Print the trap events", std::make_shared<FollowOptions>(), print_events);
}
