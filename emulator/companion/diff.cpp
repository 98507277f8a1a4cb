// What makes one switch of another, as a file of sentences.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/difference.h"
#include "companion/json_text.h"
#include "companion/switch_file.h"
#include "companion/words.h"

#include <nlohmann/json.hpp>

#include <iostream>

namespace {

struct DiffWords {
    std::string from;
    std::string wanted;
    bool as_json = false;
};

constexpr int equal = 0;
constexpr int different = 1;
constexpr int trouble = 2; // of diff(1), whose statuses these are

// A line is a sentence, or a remark behind # and a blank.
std::string json_of(const std::string& line) {
    if (line.starts_with("#"))
        return json_line(
            {{"sentence", nullptr}, {"words", nullptr}, {"remark", line.substr(line.find_first_not_of("# "))}});
    return json_line({{"sentence", line}, {"words", split_words(line)}, {"remark", nullptr}});
}

int print_difference(const DiffWords& words) {
    if (words.from == "-" && words.wanted == "-") throw WrongUse("diff can read one of the two from standard input");
    try {
        const SwitchModel from = read_switch(words.from);
        const std::vector<std::string> lines = difference(from, read_switch(words.wanted));
        for (const std::string& line : lines)
            std::cout << (words.as_json ? json_of(line) : line + "\n");
        if (!std::cout.flush()) throw Failure("standard output cannot be written");
        return lines.empty() ? equal : different;
    } catch (const std::exception& problem) {
        if (problem.what()[0] != '\0') std::cerr << "emuswitch: " << problem.what() << "\n";
        return trouble;
    }
}

} // namespace

void add_diff(CommandLine& line) {
    auto words = std::make_shared<DiffWords>();
    line.add("diff", "Print the sentences that make one switch of another")
        .operand("from", words->from, "The file of a switch, or of sentences; - for sentences on standard input")
        .operand("wanted", words->wanted, "What it shall become, likewise")
        .flag("--json", words->as_json, "For programs: an object on a line for each sentence or remark")
        .footer("A file that begins as SQLite files do is a switch. Any other is taken as sentences, as config prints\n"
                "them, and played on an empty switch. The lines are the fewest that leave alone what both switches\n"
                "have; what cannot be changed where it stands is made anew, which a remark behind # tells.\n\n"
                "Exit status: 0 alike, 1 different, 2 trouble.\n\n"
                "Examples:\n"
                "  emuswitch diff switch.db wanted.play\n"
                "  emuswitch diff yesterday.play today.play > change.play\n"
                "  emuswitch config | emuswitch diff - wanted.play")
        .runs([words] { return print_difference(*words); });
}
