// Commands on the switch, and on a private one.
#include "companion/child_process.h"
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/sentence.h"

#include <filesystem>
#include <iostream>

namespace {

int run_on_switch(const std::vector<std::string>& command) {
    const EndingSignals signals;
    prepare_environment(store_path());
    return run_in_foreground(command, signals).status;
}

// The tool ends with status 0 whatever it answers; here the answer is the status.
int say_on_switch(const std::vector<std::string>& command) {
    prepare_environment(store_path());
    const Ended ended = run_captured(command);
    std::cout << ended.output;
    if (ended.status != 0) return ended.status;
    const bool is_tool = std::filesystem::path(command.front()).filename() == "tolvane";
    switch (answer_in(ended.output)) {
    case Answer::refused: return 1;
    case Answer::not_understood: return 2;
    case Answer::nothing: return is_tool ? 2 : 0;
    default: return 0;
    }
}

int run_on_private_switch(const std::vector<std::string>& command) {
    const EndingSignals signals; // before there is anything to remove
    const PrivateFolder folder;
    prepare_environment(folder.file("switch.db"));
    return run_in_foreground(command, signals).status;
}

void require_command(const std::vector<std::string>& words, const std::string& name) {
    if (words.empty()) throw WrongUse(name + " needs a command; emuswitch help " + name + " tells more");
}

} // namespace

void add_exec(CommandLine& line) {
    struct Words {
        std::vector<std::string> command;
        bool answers_by_status = false;
    };
    auto words = std::make_shared<Words>();
    line.add("exec", "Run a command on the switch")
        .flag("--status", words->answers_by_status, "End with what tolvane answered: 0 OK, 1 NG, 2 not understood")
        .rest(words->command)
        .footer("Examples:\n  emuswitch exec tolvane create vlan sales vid 10\n"
                "  emuswitch exec --status tolvane enable port 1 || echo not enabled\n"
                "  emuswitch exec -- ./provision --fast")
        .runs([words] {
            require_command(words->command, "exec");
            return words->answers_by_status ? say_on_switch(words->command) : run_on_switch(words->command);
        });

    auto command = std::make_shared<std::vector<std::string>>();
    line.add("run", "Run a command on a private, empty switch, removed afterwards")
        .rest(*command)
        .footer("Example:\n  emuswitch run sh -c 'tolvane create vlan sales; emuswitch show vlans'")
        .runs([command] {
            require_command(*command, "run");
            return run_on_private_switch(*command);
        });
}
