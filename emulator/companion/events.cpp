// The trap events that the switch raised.
#include "companion/commands.h"
#include "companion/follow.h"
#include "companion/names.h"

#include "platform/trapevent.h"

#include <iostream>

namespace {

std::string event_text(const Query& row) {
    const std::string object = row.text("object");
    const bool is_added = row.number("event") == trap_event::added;
    const std::string port = std::to_string(row.number("port"));
    if (object == "BridgePort") {
        if (!is_added) return "port " + port + " deleted";
        const int64_t type = row.number("type");
        const char* const word = word_for(port_type_words, type);
        return "port " + port + " created, type " + (word != nullptr ? word : std::to_string(type));
    }
    if (object == "PortVlan")
        return "port " + port + (is_added ? " joined" : " left") + " vlan " +
               shown(row.optional_text("vlan").value_or(""));
    if (object != "Queue") row.fail_as_damaged("object");
    return "queue " + port + "/" + std::to_string(row.number("stream")) + "/" +
           std::to_string(row.number("traffic_class")) + (is_added ? " created" : " deleted");
}

int print_events(bool keeps_on) {
    std::vector<std::string> lines;
    return read_rows(
        {"trap_event", "object, port, type, vlan, stream, traffic_class, event"}, keeps_on,
        [&](const Query& row) { lines.push_back(shown(row.text("at")) + "  " + event_text(row)); },
        [&] {
            for (const std::string& line : lines)
                std::cout << line << "\n";
            lines.clear();
        });
}

} // namespace

void add_events(CommandLine& line) {
    add_follower(line, "events", "Print the trap events", "Go on as events come, until interrupted", print_events);
}
