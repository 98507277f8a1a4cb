// Reading the command line.
#include "companion/command_line.h"

#include "companion/database.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <iostream>

namespace {

constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

std::string described(Range range) {
    const std::string lowest = std::to_string(range.lowest);
    return range.highest == std::numeric_limits<int64_t>::max()
               ? "a number from " + lowest + " on"
               : "a number from " + lowest + " to " + std::to_string(range.highest);
}

// Takes what a person reads as that number, and no other writing of it: 010 is neither 8 nor 10 here.
bool read_number(const std::string& word, int64_t& value) {
    const char* const end = word.data() + word.size();
    const auto [behind, problem] = std::from_chars(word.data(), end, value);
    return problem == std::errc{} && behind == end && std::to_string(value) == word;
}

CLI::Validator number_in(Range range) {
    return {[range](std::string& word) -> std::string {
                int64_t value = 0;
                if (read_number(word, value) && value >= range.lowest && value <= range.highest) return "";
                return "\"" + word + "\" is not " + described(range);
            },
            "", "number"};
}

// CLI11 would also take 0x10, 010 and 1e3, each in its own way.
std::function<void(const std::string&)> store_in(int64_t& value) {
    return [&value](const std::string& word) { read_number(word, value); };
}

} // namespace

Command& Command::operand(const std::string& name, std::string& value, const std::string& about) {
    app.add_option(name, value, about)->required();
    return *this;
}

Command& Command::operand(const std::string& name, int64_t& value, Range range, const std::string& about) {
    app.add_option_function<std::string>(name, store_in(value), about)->required()->check(number_in(range));
    return *this;
}

Command& Command::operand(const std::string& name, bool& is_on, const std::string& about) {
    app.add_option_function<std::string>(
           name, [&is_on](const std::string& word) { is_on = word == "on"; }, about)
        ->required()
        ->check(CLI::IsMember({"on", "off"}));
    return *this;
}

Command& Command::operands(const std::string& name, std::vector<std::string>& values, const std::string& about) {
    app.add_option(name, values, about)->required();
    return *this;
}

Command& Command::optional_operand(const std::string& name, std::string& value, const std::string& about) {
    app.add_option(name, value, about);
    return *this;
}

Command& Command::optional_operand(const std::string& name, int64_t& value, Range range, const std::string& about) {
    return option(name, value, range, about);
}

Command& Command::optional_operand(const std::string& name, std::string& value, const std::vector<std::string>& choices,
                                   const std::string& about) {
    app.add_option(name, value, about)->check(CLI::IsMember(choices));
    return *this;
}

Command& Command::optional_operands(const std::string& name, std::vector<std::string>& values,
                                    const std::string& about) {
    app.add_option(name, values, about);
    return *this;
}

Command& Command::flag(const std::string& names, bool& is_given, const std::string& about) {
    app.add_flag(names, is_given, about);
    return *this;
}

Command& Command::option(const std::string& names, std::string& value, const std::string& about) {
    app.add_option(names, value, about);
    return *this;
}

Command& Command::option(const std::string& names, int64_t& value, Range range, const std::string& about) {
    app.add_option_function<std::string>(names, store_in(value), about)->check(number_in(range));
    return *this;
}

Command& Command::rest(std::vector<std::string>& words) {
    app.prefix_command();
    app.parse_complete_callback([this_app = &app, &words] { words = this_app->remaining(); });
    return *this;
}

Command& Command::footer(const std::string& text) {
    app.footer(text);
    return *this;
}

void Command::runs(const std::function<int()>& run) {
    app.callback([&status = exit_status, run] { status = run(); });
}

CommandLine::CommandLine()
    : app(std::make_unique<CLI::App>("Looks at the emulated switch that tolvane configures, and steers it.",
                                     "emuswitch")) {
    app->set_version_flag("--version", PROJECT_VERSION);
    app->require_subcommand(1);
    app->footer("The switch is the file that EMUSWITCH names, else that of the user\n"
                "(${XDG_STATE_HOME:-~/.local/state}/emuswitch/switch.db), made on first use.\n\n"
                "Examples:\n"
                "  emuswitch play service.play      run a file of sentences\n"
                "  emuswitch show                   what there is now\n"
                "  emuswitch config > saved.play    save the switch\n"
                "  emuswitch run ./my-test          a test on a switch of its own\n\n"
                "Exit status: 0 done, 1 failed, 2 used wrongly; exec and run: that of the command.");
}

CommandLine::~CommandLine() = default;

Command CommandLine::add(const std::string& name, const std::string& about) {
    return Command(*app->add_subcommand(name, about), status);
}

int CommandLine::run(int count, char** words) {
    try {
        app->parse(count, words);
    } catch (const CLI::ParseError& error) {
        return app->exit(error) == 0 ? 0 : exit_usage;
    } catch (const WrongUse& problem) {
        std::cerr << "emuswitch: " << problem.what() << "\n";
        return exit_usage;
    } catch (const std::exception& problem) {
        if (problem.what()[0] != '\0') std::cerr << "emuswitch: " << problem.what() << "\n";
        return exit_failure;
    }
    if (!std::cout.flush()) {
        std::cerr << "emuswitch: standard output cannot be written\n";
        return exit_failure;
    }
    return status;
}
