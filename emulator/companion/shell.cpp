// Sentences and commands, one after the other, at a prompt.
#include "companion/child_process.h"
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/database.h"
#include "companion/grammar.h"
#include "companion/line_editor.h"
#include "companion/names.h"
#include "companion/nearest.h"
#include "companion/sentence.h"
#include "companion/shell_completion.h"
#include "companion/words.h"

#include <algorithm>
#include <cstdlib>
#include <iostream>

namespace {

using Words = std::vector<std::string>;

bool has(const Words& words, const std::string& word) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

// Whether somebody who types these words may mean the form: what is an operand there, and from the first choice on, is
// not looked at.
bool begins_form(const Words& beginning, const Words& form) {
    for (size_t at = 0; at < beginning.size(); ++at) {
        if (at == form.size()) return false;
        if (form[at].starts_with("{") || form[at].starts_with("[")) return true;
        if (!form[at].starts_with("<") && form[at] != beginning[at]) return false;
    }
    return true;
}

// `show` is this program's, but for the sentence show clslist LIST.
bool is_sentence(const Words& words) {
    if (words.front() == "show") return words.size() > 2 && words[1] == "clslist";
    return has(words_behind({}), words.front());
}

class Shell {
public:
    int run();

private:
    bool do_line(const std::string& line);
    bool do_words(Sentence& sentence);
    bool say_sentence(const Sentence& sentence);
    bool run_command(const Sentence& sentence);
    bool tell_forms(const Sentence& sentence);
    void tell(const Finding& finding) const;

    // On a terminal everybody sees which line is meant.
    bool is_on_terminal_ = false;
    bool is_over_ = false;
    size_t count_ = 0; // of the lines
};

void Shell::tell(const Finding& finding) const {
    const bool is_warning = std::string(finding.severity) == "warning";
    std::cerr << (is_on_terminal_ ? (is_warning ? "warning: " : "") + finding.text : finding_text("-", finding))
              << "\n";
}

// Whether the switch took it. What it takes for something else than what stands there is told as well.
bool Shell::say_sentence(const Sentence& sentence) {
    const Said said = say(sentence);
    if (!said.refusal.empty()) {
        tell({sentence.line, sentence.columns.at(said.word), "error", said.refusal});
        return false;
    }
    for (const Finding& finding : check_sentence(sentence))
        tell(finding);
    if (!said.is_ignored()) std::cout << (said.answer == Answer::accepted ? "OK\n" : said.output) << std::flush;
    return true;
}

bool Shell::run_command(const Sentence& sentence) {
    Words command{own_path()};
    command.insert(command.end(), sentence.words.begin(), sentence.words.end());
    const EndingSignals signals;
    const int status = run_in_foreground(command, signals).status;
    if (status != 0 && !is_on_terminal_)
        tell({sentence.line, sentence.columns.front(), "error",
              sentence.words.front() + " ended with status " + std::to_string(status)});
    return status == 0;
}

// `help`, and `help set port`: what this takes; `help play` is the program's own.
bool Shell::tell_forms(const Sentence& sentence) {
    const Words beginning(sentence.words.begin() + 1, sentence.words.end());
    if (beginning.empty()) {
        std::cout
            << "A line is a sentence for the switch, such as create vlan sales vid 10, or a command of emuswitch,\n"
               "such as show vlans. Tab completes; the arrows bring back lines of before.\n\n"
               "  help set port    the sentences that begin so; help create, ...\n"
               "  help play        what a command does, with its options\n"
               "  exit             the end, as Ctrl-D\n\n"
               "Sentences begin with:";
        for (const std::string& verb : words_behind({}))
            std::cout << " " << verb;
        std::cout << "\nCommands:";
        for (const std::string& name : command_names())
            std::cout << " " << name;
        std::cout << std::endl;
        return true;
    }
    bool is_found = false;
    for (const std::string& form : sentence_forms()) {
        if (!begins_form(beginning, split_words(form))) continue;
        std::cout << form << "\n";
        is_found = true;
    }
    std::cout.flush();
    if (!is_found) tell({sentence.line, sentence.columns.at(1), "error", "no sentence begins so; help tells more"});
    return is_found;
}

bool Shell::do_words(Sentence& sentence) {
    Words& words = sentence.words;
    if (words.size() > 1 && (words.front() == "emuswitch" || words.front() == "tolvane")) {
        words.erase(words.begin());
        sentence.columns.erase(sentence.columns.begin());
    }
    const Words commands = command_names();
    if (words == Words{"exit"} || words == Words{"quit"}) {
        is_over_ = true;
        return true;
    }
    if (words.front() == "help" && (words.size() == 1 || !has(commands, words[1]))) return tell_forms(sentence);
    if (is_sentence(words)) return say_sentence(sentence);
    if (has(commands, words.front()) || words.front().starts_with("-")) return run_command(sentence);

    Words known = words_behind({});
    known.insert(known.end(), commands.begin(), commands.end());
    known.insert(known.end(), {"exit", "quit"});
    const std::string guess = did_you_mean(words.front(), known);
    tell({sentence.line, sentence.columns.front(), "error",
          "\"" + shown(words.front()) + "\" begins neither a sentence nor a command" +
              (guess.empty() ? "; help tells which there are" : guess)});
    return false;
}

bool Shell::do_line(const std::string& line) {
    ++count_;
    try {
        Sentence sentence = sentence_of(count_, line);
        return sentence.words.empty() || do_words(sentence);
    } catch (const BadLine& problem) {
        tell({count_, problem.column, "error",
              (is_on_terminal_ ? "column " + std::to_string(problem.column) + ": " : "") + problem.what()});
    } catch (const Failure& problem) {
        tell({count_, 1, "error", problem.what()});
    }
    return false;
}

std::filesystem::path history_file() {
    const auto is_place = [](const char* folder) { return folder != nullptr && *folder == '/'; };
    const char* const state = std::getenv("XDG_STATE_HOME");
    const char* const home = std::getenv("HOME");
    if (is_place(state)) return std::filesystem::path(state) / "emuswitch/history";
    if (is_place(home)) return std::filesystem::path(home) / ".local/state/emuswitch/history";
    return {};
}

int Shell::run() {
    prepare_environment(store_path());
    LineEditor editor(history_file(), complete_shell_line);
    is_on_terminal_ = editor.is_on_terminal();
    bool is_all_done = true;
    while (!is_over_) {
        const std::optional<std::string> line = editor.read("emuswitch> ");
        if (!line) break;
        is_all_done = do_line(*line) && is_all_done;
    }
    return is_all_done || is_on_terminal_ ? 0 : 1;
}

} // namespace

void add_shell(CommandLine& line) {
    line.add("shell", "Take sentences and commands at a prompt")
        .footer("Tab completes words, and names that the switch has; the arrows bring back lines of before, and help\n"
                "tells what can be said. exit, or the end of the input, ends it. From a pipe lines are read as they\n"
                "are, and the exit status is 1 when one of them failed.\n\n"
                "Examples:\n  emuswitch shell\n  echo create vlan sales | emuswitch shell")
        .runs([] { return Shell().run(); });
}
