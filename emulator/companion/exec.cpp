// Commands on the switch, and on a private one.
#include "companion/child_process.h"
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"

namespace {

int run_on_switch(const std::vector<std::string>& command) {
    const EndingSignals signals;
    prepare_environment(store_path());
    return run_in_foreground(command, signals).status;
}

int run_on_private_switch(const std::vector<std::string>& command) {
    const EndingSignals signals; // before there is anything to remove
    const PrivateFolder folder;
    prepare_environment(folder.path() / "switch.db");
    return run_in_foreground(command, signals).status;
}

void add_runner(CommandLine& line, const char* name, const char* about, const char* example,
                int (*run)(const std::vector<std::string>&)) {
    auto words = std::make_shared<std::vector<std::string>>();
    line.add(name, about).rest(*words).footer(example).runs([words, name, run] {
        if (words->empty()) throw WrongUse(std::string(name) + " needs a command; emuswitch " + name + " --help");
        return run(*words);
    });
}

} // namespace

void add_exec(CommandLine& line) {
    add_runner(line, "exec", "Run a command on the switch",
               "Example:\n  emuswitch exec tolvane create vlan sales vid 10", run_on_switch);
    add_runner(line, "run", "Run a command on a private, empty switch, removed afterwards",
               "Example:\n  emuswitch run sh -c 'tolvane create vlan sales; emuswitch show vlans'",
               run_on_private_switch);
}
