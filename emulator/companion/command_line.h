// How a command of emuswitch is declared: its words, what they have to be, and what it does. The library that reads
// command lines is expensive to compile, so that it stays behind this, in command_line.cpp.
//
//     void add_limit(CommandLine& line) {
//         struct Words { std::string name; int64_t value = 0; };
//         auto words = std::make_shared<Words>();
//         line.add("limit", "Change how many of something the switch has room for")
//             .operand("name", words->name, "One of emuswitch show limits")
//             .operand("value", words->value, {0, highest_limit}, "The new limit")
//             .footer("Example:\n  emuswitch limit vlans 10")
//             .runs([words] { return set_limit(words->name, words->value); });
//     }
#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

namespace CLI { // NOLINT(readability-identifier-naming): the name of a library
class App;
}

// Numbers are decimal: digits with a minus before them at most, and no zero in front.
struct Range {
    int64_t lowest;
    int64_t highest;
};
constexpr Range any_port{1, std::numeric_limits<int32_t>::max()};

// The words are not what the command takes; says why. The program ends with status 2.
class WrongUse : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Where the value of a word goes has to live as long as what the command runs.
class Command {
public:
    explicit Command(CLI::App& declared, int& status) : app_(declared), exit_status_(status) {}

    Command& operand(const std::string& name, std::string& value, const std::string& about);
    Command& operand(const std::string& name, int64_t& value, Range range, const std::string& about);
    Command& operand(const std::string& name, bool& is_on, const std::string& about); // on or off
    Command& operands(const std::string& name, std::vector<std::string>& values,
                      const std::string& about); // one or more
    Command& optional_operand(const std::string& name, std::string& value, const std::string& about);
    Command& optional_operand(const std::string& name, int64_t& value, Range range, const std::string& about);
    Command& optional_operand(const std::string& name, std::string& value, const std::vector<std::string>& choices,
                              const std::string& about);
    Command& optional_operands(const std::string& name, std::vector<std::string>& values, const std::string& about);
    Command& flag(const std::string& names, bool& is_given, const std::string& about); // "-k,--keep-going"
    // "-o,--output <file>": with the name of its value
    Command& option(const std::string& names, std::string& value, const std::string& about);
    Command& option(const std::string& names, int64_t& value, Range range, const std::string& about);

    // The words behind the command's options, and behind a -- there, are a command of their own.
    Command& rest(std::vector<std::string>& words);

    Command& footer(const std::string& text); // of its help: examples
    void runs(const std::function<int()>& run);

private:
    CLI::App& app_;
    int& exit_status_;
};

class CommandLine {
public:
    CommandLine();
    ~CommandLine();
    CommandLine(const CommandLine&) = delete;
    CommandLine& operator=(const CommandLine&) = delete;

    Command add(const std::string& name, const std::string& about);

    // The commands `help` and `version`.
    void add_help();

    // Does what the words say. Returns the exit status, having said on standard error what went wrong.
    int run(int count, char** words);

private:
    CLI::App& find(const std::string& name);
    void parse(std::vector<std::string> words);

    std::unique_ptr<CLI::App> app_;
    int status_ = 0;
};
