// Reading lines.
#include "companion/line_editor.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <fcntl.h>
#include <fstream>
#include <iostream>
#include <memory>
#include <unistd.h>

#ifdef HAS_LINE_EDITOR
#include <clocale>
#include <cstring>
#include <cwchar>
#include <editline/readline.h>
#endif

namespace {

namespace fs = std::filesystem;

volatile std::sig_atomic_t is_interrupted = 0;

void note_interrupt(int /*signal*/) {
    is_interrupted = 1;
}

// Without SA_RESTART, so that what reads a line comes back.
void have_interrupts_noted() {
    struct sigaction action {};
    action.sa_handler = note_interrupt;
    sigaction(SIGINT, &action, nullptr);
}

// The lines of a pipe are ours: a command that reads its standard input finds nothing there.
void keep_input_from_children() {
    const int lines = fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3);
    const int nothing = open("/dev/null", O_RDONLY | O_CLOEXEC);
    if (lines < 0 || nothing < 0) return;
    dup2(nothing, STDIN_FILENO);
    close(nothing);
    stdin = fdopen(lines, "r");
}

std::optional<std::string> read_plainly() {
    std::string line;
    int byte = 0;
    while ((byte = getc(stdin)) != EOF && byte != '\n')
        line += static_cast<char>(byte);
    if (byte == EOF && (line.empty() || ferror(stdin) != 0)) {
        clearerr(stdin); // an interrupt
        return std::nullopt;
    }
    return line;
}

#ifdef HAS_LINE_EDITOR

// The library calls functions without a parameter of ours.
LineEditor::Complete complete_line;
std::vector<std::string> candidates;

char* next_candidate(const char* /*word*/, int count) {
    const auto at = static_cast<size_t>(count);
    return at < candidates.size() ? strdup(candidates[at].c_str()) : nullptr;
}

// The library counts characters.
size_t bytes_of(const std::string& line, size_t characters) {
    size_t at = 0;
    std::mbstate_t state{};
    for (; characters > 0 && at < line.size(); --characters) {
        const size_t length = std::mbrlen(line.data() + at, line.size() - at, &state);
        at += length == 0 || length > line.size() ? 1 : length;
    }
    return at;
}

// A word of ours may begin before that of the library, which takes blanks in quotation marks for the end of one. What
// stands before the latter stays as it is.
char** complete(const char* word, int start, int end) {
    const std::string line = rl_line_buffer;
    const size_t from = bytes_of(line, static_cast<size_t>(start));
    rl_attempted_completion_over = 1;
    candidates.clear();
    try {
        Completion completion = complete_line(line.substr(0, bytes_of(line, static_cast<size_t>(end))));
        if (completion.is_file) rl_attempted_completion_over = 0; // the library knows those itself
        for (const std::string& whole : completion.wholes)
            if (completion.start + whole.size() > from) candidates.push_back(whole.substr(from - completion.start));
    } catch (const std::exception&) {
        candidates.clear(); // a switch that cannot be read offers nothing
    }
    return candidates.empty() ? nullptr : rl_completion_matches(word, next_candidate);
}

// A signal that comes just before the library waits for a key is not noticed by it. So the key for an interrupt is one
// like others while a line is edited. The library sets the terminal up anew for each line.
int take_interrupts_as_keys() {
    return rl_parse_and_bind("setty -d -isig");
}

void prepare_library() {
    static char breaks[] = " \t";
    setlocale(LC_CTYPE, "");
    rl_readline_name = "emuswitch";
    rl_completer_word_break_characters = breaks;
    rl_attempted_completion_function = complete;
    using_history();
    rl_pre_input_hook = take_interrupts_as_keys;
    rl_initialize();
    rl_parse_and_bind("bind -s ^C ^A^K^J"); // clears the line, and the empty one is read
}

// The last lines of the file, which is cut to these when it has grown much longer.
std::deque<std::string> read_history_file(const fs::path& file) {
    constexpr size_t most_lines = 1000;
    std::deque<std::string> lines;
    std::error_code problem;
    if (!fs::is_regular_file(file, problem)) return lines;
    std::ifstream in(file);
    size_t count = 0;
    for (std::string line; std::getline(in, line); ++count) {
        lines.push_back(line);
        if (lines.size() > most_lines) lines.pop_front();
    }
    if (count < 2 * most_lines) return lines;
    const fs::path shorter = file.string() + "." + std::to_string(getpid());
    std::ofstream out(shorter);
    fs::permissions(shorter, fs::perms::owner_read | fs::perms::owner_write, problem);
    for (const std::string& line : lines)
        out << line << "\n";
    out.close();
    if (out)
        fs::rename(shorter, file, problem);
    else
        fs::remove(shorter, problem);
    return lines;
}

// At once, so that nothing is lost however the shell ends, and shells side by side keep each other's lines. What cannot
// be kept is forgotten.
void append_to_history_file(const fs::path& file, const std::string& line) {
    const int opened = open(file.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NONBLOCK, 0600);
    if (opened < 0) return;
    const std::string text = line + "\n";
    [[maybe_unused]] const ssize_t written = write(opened, text.data(), text.size());
    close(opened);
}

std::optional<std::string> read_typed(const std::string& prompt) {
    const std::unique_ptr<char, void (*)(void*)> line(readline(prompt.c_str()), std::free);
    if (!line) return std::nullopt;
    return std::string(line.get());
}

#else

std::optional<std::string> read_typed(const std::string& prompt) {
    std::cout << prompt << std::flush;
    return read_plainly();
}

#endif

} // namespace

LineEditor::LineEditor(fs::path history, Complete complete_with)
    : file_(std::move(history)), is_terminal_(isatty(STDIN_FILENO) != 0 && isatty(STDOUT_FILENO) != 0) {
    if (!is_terminal_) {
        keep_input_from_children();
        return;
    }
    have_interrupts_noted();
#ifdef HAS_LINE_EDITOR
    complete_line = std::move(complete_with);
    prepare_library();
    for (const std::string& line : read_history_file(file_)) {
        add_history(line.c_str());
        latest_ = line;
    }
#else
    static_cast<void>(complete_with);
#endif
}

void LineEditor::remember([[maybe_unused]] const std::string& line) {
#ifdef HAS_LINE_EDITOR
    if (line.find_first_not_of(" \t") == std::string::npos || line == latest_) return;
    latest_ = line;
    add_history(line.c_str());
    if (file_.empty()) return;
    std::error_code problem;
    if (fs::create_directories(file_.parent_path(), problem))
        fs::permissions(file_.parent_path(), fs::perms::owner_all, problem);
    append_to_history_file(file_, line);
#endif
}

std::optional<std::string> LineEditor::read(const std::string& prompt) {
    if (!is_terminal_) return read_plainly();
    for (;;) {
        is_interrupted = 0;
        errno = 0;
        if (std::optional<std::string> line = read_typed(prompt)) {
            remember(*line);
            return line;
        }
        const bool is_end = is_interrupted == 0 && errno != EINTR;
        std::cout << std::endl; // what comes next begins a line
        if (is_end) return std::nullopt;
    }
}
