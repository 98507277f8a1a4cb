// Lines that somebody types: edited, completed and remembered on a terminal, read as they are elsewhere. The library
// that edits lines stays behind this, in line_editor.cpp; without it lines are read plainly everywhere.
#pragma once

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

struct Completion {
    size_t start = 0;                // of the word that is to be completed, in bytes of the line
    std::vector<std::string> wholes; // what it may become
    bool is_file = false;            // the name of a file instead
};

class LineEditor {
public:
    // What the end of that part of a line may become.
    using Complete = std::function<Completion(const std::string& before)>;

    // What was typed before is read from that file, and each line that is typed is added to it; an empty name is no
    // file. On no terminal nothing is remembered, and commands that run meanwhile find their standard input empty.
    LineEditor(std::filesystem::path history, Complete complete);

    // None at the end of the input. An interrupt from the terminal empties the line.
    std::optional<std::string> read(const std::string& prompt);

    bool is_on_terminal() const { return is_terminal_; }

private:
    void remember(const std::string& line);

    std::filesystem::path file_;
    std::string latest_;
    bool is_terminal_;
};
