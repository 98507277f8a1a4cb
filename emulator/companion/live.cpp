// The switch with its ports bound to network interfaces.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/live/live_switch.h"
#include "companion/live/privileges.h"

#include <algorithm>
#include <charconv>
#include <iostream>

using namespace live;

namespace {

struct LiveWords {
    std::vector<std::string> bindings;
    std::string record;
    int64_t line_rate = 0; // Mbit/s
};

Binding read_binding(const std::string& word) {
    const size_t sign = word.find('=');
    const std::string wanted = "\"" + word + "\" is not PORT=INTERFACE, such as 1=veth1, or PORT=tap:INTERFACE";
    if (sign == std::string::npos) throw WrongUse(wanted);
    Binding binding;
    const char* const end = word.data() + sign;
    const auto [behind, problem] = std::from_chars(word.data(), end, binding.port);
    if (problem != std::errc() || behind != end || binding.port < 1) throw WrongUse(wanted);
    binding.interface = word.substr(sign + 1);
    constexpr std::string_view tap = "tap:";
    binding.is_tap = binding.interface.starts_with(tap);
    if (binding.is_tap) binding.interface.erase(0, tap.size());
    if (binding.interface.empty()) throw WrongUse(wanted);
    return binding;
}

std::vector<Binding> read_bindings(const std::vector<std::string>& words) {
    std::vector<Binding> bindings;
    for (const std::string& word : words) {
        const Binding next = read_binding(word);
        for (const Binding& other : bindings) {
            if (other.port == next.port) throw WrongUse("port " + std::to_string(next.port) + " is bound twice");
            if (other.interface == next.interface) throw WrongUse(next.interface + " is bound twice");
        }
        bindings.push_back(next);
    }
    return bindings;
}

// Some 8 MB for each port where they are few: traffic of tens of milliseconds at full rate.
size_t ring_frames(size_t port_count) {
    constexpr size_t most = 4096;
    constexpr size_t unit = PacketPort::ring_unit;
    return port_count <= 8 ? most : std::max(16 * unit, most * 8 / port_count / unit * unit);
}

std::vector<OpenPort> open_ports(const std::vector<PreparedPort>& prepared) {
    std::vector<OpenPort> opened;
    opened.reserve(prepared.size());
    for (const PreparedPort& port : prepared)
        opened.push_back({port, PacketPort(port.interface, port.index, ring_frames(prepared.size()))});
    return opened;
}

void say_ready(std::ostream& out, const std::string& store, const std::vector<PreparedPort>& ports) {
    out << "live on " << store << ":";
    for (const PreparedPort& port : ports)
        out << " " << port.port << "=" << port.interface;
    out << std::endl; // whoever waits for it may wait at a pipe
}

int run_switch(const LiveWords& words, const std::vector<PreparedPort>& prepared, int guard) {
    LiveOptions options;
    options.store = store_path();
    options.record = words.record;
    options.line_rate = static_cast<uint64_t>(words.line_rate) * 1'000'000;
    std::vector<OpenPort> opened = open_ports(prepared);
    const std::string no_priority = take_priority();
    options.has_priority = no_priority.empty();
    give_up_privileges(options.store);
    if (!options.has_priority) std::cerr << "emuswitch: " << no_priority << "\n";
    LiveSwitch running(options, std::move(opened));
    say_ready(words.record == "-" ? std::cerr : std::cout, options.store, prepared);
    running.run(guard);
    return 0;
}

int run_live(const LiveWords& words) {
    const std::vector<Binding> bindings = read_bindings(words.bindings);
    block_ending_signals(); // from here on there is something to put back
    InterfaceSetup setup;
    std::vector<PreparedPort> prepared;
    prepared.reserve(bindings.size());
    for (const Binding& binding : bindings)
        prepared.push_back(setup.prepare(binding));
    return run_guarded([&](int guard) { return run_switch(words, prepared, guard); });
}

} // namespace

void add_live(CommandLine& line) {
    auto words = std::make_shared<LiveWords>();
    line.add("live", "Forward real frames between network interfaces, as the switch is configured")
        .operands("binding", words->bindings, "PORT=INTERFACE, or PORT=tap:INTERFACE for a virtual machine")
        .option("--record <file>", words->record, "Write all that comes and goes to this pcapng, - for standard output")
        .option("--line-rate <rate>", words->line_rate, {0, 1'000'000},
                "Mbit/s of each interface; 0: no limit, as untold")
        .footer("Goes on until interrupted; then the interfaces are as they were. Needs root, or unshare -Urn.\n\n"
                "Example:\n  emuswitch live 1=veth1 2=veth2 101=tap:vm1")
        .runs([words] { return run_live(*words); });
}
