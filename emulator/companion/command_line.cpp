// Reading the command line.
#include "companion/command_line.h"

#include "companion/database.h"
#include "companion/names.h"
#include "companion/nearest.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <charconv>
#include <iostream>

namespace {

constexpr int exit_failure = 1;
constexpr int exit_usage = 2;
constexpr const char* version = PROJECT_VERSION;

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
                return "\"" + shown(word) + "\" is not " + described(range);
            },
            "", "number"};
}

std::string joined(const std::vector<std::string>& words, const std::string& separator) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : separator) + word;
    return text;
}

CLI::Validator one_of(const std::vector<std::string>& choices) {
    return {[choices](std::string& word) -> std::string {
                if (std::find(choices.begin(), choices.end(), word) != choices.end()) return "";
                return "\"" + shown(word) + "\" is not one of " + joined(choices, ", ") + did_you_mean(word, choices);
            },
            "", "choice"};
}

// CLI11 would also take 0x10, 010 and 1e3, each in its own way.
std::function<void(const std::string&)> store_in(int64_t& value) {
    return [&value](const std::string& word) { read_number(word, value); };
}

bool is_program(const CLI::App& app) {
    return !app.get_subcommands({}).empty();
}

std::string operand_name(const CLI::Option& operand) {
    return "<" + operand.get_name() + ">";
}

// "<port>", or what there is to choose from: "{on|off}".
std::string shown_operand(const CLI::Option& operand) {
    const std::string& choices = operand.get_option_text();
    const bool is_many = operand.get_expected_max() == CLI::detail::expected_max_vector_size;
    std::string text = (choices.empty() ? operand_name(operand) : choices) + (is_many ? " ..." : "");
    return operand.get_required() ? text : "[" + text + "]";
}

std::vector<const CLI::Option*> operands_of(const CLI::App& app) {
    return app.get_options([](const CLI::Option* option) { return option->get_positional(); });
}

std::string usage_of(const CLI::App& app) {
    if (is_program(app)) return "emuswitch <command> ...";
    std::string text = "emuswitch " + app.get_name();
    if (app.get_options([](const CLI::Option* option) { return option->nonpositional(); }).size() > 1)
        text += " [options]"; // more than --help
    for (const CLI::Option* operand : operands_of(app))
        text += " " + shown_operand(*operand);
    if (app.get_prefix_command()) text += " [--] <command> [<argument> ...]";
    return text;
}

// Operands in angle brackets everywhere, and nothing said of types.
class HelpText : public CLI::Formatter {
public:
    HelpText() {
        column_width(26);
        label("Positionals", "Operands");
        label("Subcommands", "Commands");
    }
    std::string make_usage(const CLI::App* app, std::string /*name*/) const override {
        return "Usage: " + usage_of(*app) + "\n";
    }
    std::string make_option_name(const CLI::Option* option, bool is_positional) const override {
        return is_positional ? operand_name(*option) : option->get_name(false, true);
    }
    std::string make_option_opts(const CLI::Option* option) const override {
        if (option->get_positional() || option->get_expected_max() == 0) return "";
        return " <" + option->get_type_name() + ">";
    }
};

// What to say of words that a command does not take. CLI11 says it at length and in its own terms.
std::string unknown_option(const CLI::App& command, const std::string& word) {
    std::vector<std::string> known;
    for (const CLI::Option* option : command.get_options())
        for (const std::string& name : option->get_lnames())
            known.push_back("--" + name);
    const std::string name = word.substr(0, word.find('='));
    const std::string guess = did_you_mean(name, known);
    const std::string help = is_program(command) ? "emuswitch help" : "emuswitch help " + command.get_name();
    return "there is no option " + shown(name) + (guess.empty() ? "; " + help + " lists them" : guess);
}

std::string surplus_word(const CLI::App& command, const std::string& word) {
    return "\"" + shown(word) + "\" is one word too many; usage: " + usage_of(command);
}

std::string missing_operand(const CLI::App& command) {
    for (const CLI::Option* operand : operands_of(command))
        if (operand->get_required() && operand->count() == 0)
            return operand_name(*operand) + " is missing; usage: " + usage_of(command);
    return "an operand is missing; usage: " + usage_of(command);
}

// Of an option that came without its value, with one that it does not take, or twice.
std::string wrong_count(const CLI::App& command, const CLI::ParseError& error) {
    const std::string text = error.what();
    const std::string name = text.substr(0, text.find_first_of(": "));
    if (text.find("disallowed flag override") != std::string::npos) return "--" + name + " takes no value";
    const CLI::Option* const option = command.get_option_no_throw(name);
    if (option != nullptr && option->count() > 1) return name + " is there more than once";
    return name + " needs a value; usage: " + usage_of(command);
}

bool is_option(const std::string& word) {
    return word.size() > 1 && word.starts_with("-");
}

std::string described(const CLI::App& command, const CLI::ParseError& error) {
    if (dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr && command.remaining_size() > 0) {
        const std::string word = command.remaining().front();
        return is_option(word) ? unknown_option(command, word) : surplus_word(command, word);
    }
    if (dynamic_cast<const CLI::RequiredError*>(&error) != nullptr) return missing_operand(command);
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr) return wrong_count(command, error);
    return error.what();
}

// "--qos <port>" without the name of its value.
std::string without_value_name(const std::string& names) {
    return names.substr(0, names.find(" <"));
}

// What stands in angle brackets behind the names of an option, else `otherwise`.
std::string value_name(const std::string& names, const std::string& otherwise) {
    const size_t from = names.find(" <");
    return from == std::string::npos ? otherwise : names.substr(from + 2, names.size() - from - 3);
}

} // namespace

Command& Command::operand(const std::string& name, std::string& value, const std::string& about) {
    app_.add_option(name, value, about)->required();
    return *this;
}

Command& Command::operand(const std::string& name, int64_t& value, Range range, const std::string& about) {
    app_.add_option_function<std::string>(name, store_in(value), about)->required()->check(number_in(range));
    return *this;
}

Command& Command::operand(const std::string& name, bool& is_on, const std::string& about) {
    app_.add_option_function<std::string>(
            name, [&is_on](const std::string& word) { is_on = word == "on"; }, about)
        ->required()
        ->option_text("{on|off}")
        ->check(one_of({"on", "off"}));
    return *this;
}

Command& Command::operands(const std::string& name, std::vector<std::string>& values, const std::string& about) {
    app_.add_option(name, values, about)->required();
    return *this;
}

Command& Command::optional_operand(const std::string& name, std::string& value, const std::string& about) {
    app_.add_option(name, value, about);
    return *this;
}

Command& Command::optional_operand(const std::string& name, int64_t& value, Range range, const std::string& about) {
    return option(name, value, range, about);
}

Command& Command::optional_operand(const std::string& name, std::string& value, const std::vector<std::string>& choices,
                                   const std::string& about) {
    app_.add_option(name, value, about + ": " + joined(choices, ", "))->check(one_of(choices));
    return *this;
}

Command& Command::optional_operands(const std::string& name, std::vector<std::string>& values,
                                    const std::string& about) {
    app_.add_option(name, values, about);
    return *this;
}

Command& Command::flag(const std::string& names, bool& is_given, const std::string& about) {
    app_.add_flag(names, is_given, about)->disable_flag_override();
    return *this;
}

Command& Command::option(const std::string& names, std::string& value, const std::string& about) {
    app_.add_option(without_value_name(names), value, about)->type_name(value_name(names, "text"));
    return *this;
}

Command& Command::option(const std::string& names, int64_t& value, Range range, const std::string& about) {
    app_.add_option_function<std::string>(without_value_name(names), store_in(value), about)
        ->type_name(value_name(names, "number"))
        ->check(number_in(range));
    return *this;
}

Command& Command::rest(std::vector<std::string>& words) {
    app_.prefix_command();
    app_.parse_complete_callback([this_app = &app_, &words] {
        words = this_app->remaining();
        if (words.empty()) return;
        if (words.front() == "--")
            words.erase(words.begin());
        else if (is_option(words.front()))
            throw WrongUse(this_app->get_name() + ": " + unknown_option(*this_app, words.front()));
    });
    return *this;
}

Command& Command::footer(const std::string& text) {
    app_.footer(text);
    return *this;
}

void Command::runs(const std::function<int()>& run) {
    app_.callback([&status = exit_status_, run] { status = run(); });
}

CommandLine::CommandLine()
    : app_(std::make_unique<CLI::App>("Looks at the emulated switch that tolvane configures, and steers it.",
                                      "emuswitch")) {
    app_->formatter(std::make_shared<HelpText>());
    app_->set_help_flag("-h,--help", "Tell this and end");
    app_->set_version_flag("--version", version, "Tell the version and end");
    app_->footer("emuswitch help <command> tells the operands and options of a command, with examples.\n\n"
                 "The switch is the file that EMUSWITCH names, else that of the user\n"
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
    CLI::App& command = *app_->add_subcommand(name, about);
    command.group("Commands");
    return Command(command, status_);
}

void CommandLine::add_help() {
    auto topic = std::make_shared<std::string>();
    add("help", "Tell what a command does, or which there are")
        .optional_operand("command", *topic, "The command")
        .footer("Examples:\n  emuswitch help\n  emuswitch help play")
        .runs([this, topic] {
            std::cout << (topic->empty() ? *app_ : find(*topic)).help();
            return 0;
        });
    add("version", "Tell the version").footer("Example:\n  emuswitch version").runs([] {
        std::cout << version << "\n";
        return 0;
    });
}

CLI::App& CommandLine::find(const std::string& name) {
    std::vector<std::string> known;
    for (CLI::App* command : app_->get_subcommands({})) {
        if (command->get_name() == name) return *command;
        known.push_back(command->get_name());
    }
    const std::string guess = did_you_mean(name, known);
    throw WrongUse("there is no command \"" + shown(name) + "\"" +
                   (guess.empty() ? "; emuswitch help lists them" : guess));
}

// The words of a command are its own, whatever the program's others are called.
void CommandLine::parse(std::vector<std::string> words) {
    if (words.empty()) throw WrongUse("a command is missing; emuswitch help lists them");
    const bool is_command = !is_option(words.front());
    CLI::App& command = is_command ? find(words.front()) : *app_;
    if (is_command) words.erase(words.begin());
    std::reverse(words.begin(), words.end()); // as CLI11 takes them
    try {
        command.parse(std::move(words));
    } catch (const CLI::Success& help_or_version) {
        command.exit(help_or_version);
    } catch (const CLI::ParseError& error) {
        throw WrongUse((is_command ? command.get_name() + ": " : "") + described(command, error));
    }
}

int CommandLine::run(int count, char** words) {
    try {
        parse({words + 1, words + std::max(count, 1)});
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
    return status_;
}
