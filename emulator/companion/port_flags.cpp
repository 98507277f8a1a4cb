// Flags of ports that no sentence sets: aggregation groups and IP interfaces.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"

namespace {

int set_port_flag(const char* sql, int64_t port, bool on) {
    Database database(store_path());
    if (database.change(sql, {int64_t{on ? 1 : 0}, port}) == 0)
        throw Failure("there is no port " + std::to_string(port) + "; emuswitch show ports lists them");
    return 0;
}

int set_lag(int64_t port, bool on) {
    return set_port_flag("UPDATE port SET in_lag = ? WHERE port = ?", port, on);
}

int set_ip_interface(int64_t port, bool on) {
    return set_port_flag("UPDATE port SET ip_interface = ? WHERE port = ?", port, on);
}

void add_port_flag(CommandLine& line, const char* name, const char* about, int (*set)(int64_t, bool)) {
    struct Words {
        int64_t port = 0;
        bool is_on = false;
    };
    auto words = std::make_shared<Words>();
    line.add(name, about)
        .operand("port", words->port, any_port, "The port")
        .operand("state", words->is_on, "on or off")
        .runs([words, set] { return set(words->port, words->is_on); });
}

} // namespace

void add_port_flags(CommandLine& line) {
    add_port_flag(line, "lag", "Put a port into a link-aggregation group, or out of it", set_lag);
    add_port_flag(line, "ipif", "Give a port an IP interface, or take it away", set_ip_interface);
}
