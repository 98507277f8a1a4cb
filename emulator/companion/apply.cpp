// Making the switch what a file says.
#include "companion/child_process.h"
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/difference.h"
#include "companion/interrupts.h"
#include "companion/switch_file.h"

#include <iostream>

namespace {

struct ApplyWords {
    std::string wanted;
    bool is_dry_run = false;
};

std::string place_of(size_t at, const std::vector<std::string>& lines) {
    return std::to_string(at + 1) + " of " + std::to_string(lines.size()) + ", " + lines[at];
}

// What the switch will refuse, a copy refuses before: then nothing has been changed.
void rehearse(const std::string& copy, const std::vector<std::string>& lines, const SwitchModel& wanted) {
    for (size_t at = 0; at < lines.size(); ++at) {
        const std::string refusal = say_to(copy, lines[at]);
        if (!refusal.empty())
            throw Failure("a copy of the switch refuses line " + place_of(at, lines) + ": " + refusal +
                          "; the switch is as it was");
        if (PatientInterrupts::has_come()) throw Failure("interrupted; the switch is as it was");
    }
    const std::vector<std::string> left = without_remarks(difference(read_store(copy), wanted));
    if (!left.empty()) throw Failure("a copy of the switch still lacks: " + left.front() + "; the switch is as it was");
}

void say_all(const std::string& store, const std::vector<std::string>& lines) {
    const std::string advice = "; the lines before it stay, and the same command goes on from there";
    for (size_t at = 0; at < lines.size(); ++at) {
        if (PatientInterrupts::has_come()) throw Failure("interrupted before line " + place_of(at, lines) + advice);
        const std::string refusal = say_to(store, lines[at]);
        if (!refusal.empty()) throw Failure("refused at line " + place_of(at, lines) + ": " + refusal + advice);
    }
}

int apply(const ApplyWords& words) {
    const std::string store = store_path();
    const SwitchModel wanted = read_switch(words.wanted);
    const std::vector<std::string> lines = difference(read_store(store), wanted);
    if (words.is_dry_run) {
        for (const std::string& line : lines)
            std::cout << line << "\n";
        return 0;
    }
    const std::vector<std::string> said = without_remarks(lines);
    if (said.empty()) {
        if (lines.empty()) std::cout << "nothing to change\n";
        for (const std::string& line : lines) // what no sentence changes
            std::cout << line << "\n";
        return 0;
    }
    const PatientInterrupts interrupts;
    const PrivateFolder folder;
    const std::string copy = folder.file("switch.db");
    Database(store).copy_to(copy);
    prepare_environment(copy);
    rehearse(copy, said, wanted);
    say_all(store, said);
    std::cout << said.size() << (said.size() == 1 ? " sentence" : " sentences") << " accepted\n";
    return 0;
}

} // namespace

void add_apply(CommandLine& line) {
    auto words = std::make_shared<ApplyWords>();
    line.add("apply", "Make the switch what a file says, by the fewest sentences")
        .operand("file", words->wanted, "The file of a switch, or of sentences; - for sentences on standard input")
        .flag("-n,--dry-run", words->is_dry_run, "Print the sentences only, as diff does")
        .footer("The sentences are said to a copy of the switch first: when one is refused there, the switch is left\n"
                "as it is. See emuswitch diff --help.\n\nExample:\n  emuswitch apply wanted.play")
        .runs([words] { return apply(*words); });
}
