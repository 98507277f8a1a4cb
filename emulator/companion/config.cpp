// The configuration as sentences: what makes this switch of a new one.
//
// What no sentence brings about stands in lines for emuswitch itself: limits, learned addresses, flags of ports, calls
// that are to fail, and library calls for what is left when a call failed or a process was killed. `play` takes both.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/difference.h"

#include <iostream>

namespace {

int print_config() {
    Database fresh = Database::fresh();
    Database database = Database::snapshot();
    for (const std::string& line : difference(SwitchModel(fresh), SwitchModel(database)))
        std::cout << line << "\n";
    return 0;
}

} // namespace

void add_config(CommandLine& line) {
    line.add("config", "Print the configuration as sentences that rebuild it")
        .footer("Example:\n  emuswitch config > switch.play")
        .runs(print_config);
}
