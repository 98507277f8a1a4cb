// Files of sentences, and saying a sentence to the switch.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

struct Sentence {
    size_t line = 0;  // of its file
    std::string text; // as it stands there
    std::vector<std::string> words;
    int64_t at = 0; // of a timed one: nanoseconds from the beginning
};

// One sentence a line; blank lines and comments behind # are left out. Lines for this program that bring about what no
// sentence can (`emuswitch limit ports 8`) are sentences too. "-" is standard input. Throws `Failure` with file and
// line where something else stands there.
std::vector<Sentence> read_sentences(const std::string& file);

// The same with a time before each, `at 2.5 enable port 1`, in the order of the times. The text is without the time.
std::vector<Sentence> read_timed_sentences(const std::string& file);

// What the output of the tool tells.
enum class Answer {
    accepted,       // the OK document
    refused,        // an NG document, with or without a display before it
    not_understood, // the usage text, or surplus words
    shown,          // a display
    nothing,        // no output at all, as of `set ether` with a word that means nothing
};

Answer answer_in(const std::string& output);

// An NG document.
struct Refusal {
    std::string code; // decimal
    std::string message;
};

std::optional<Refusal> refusal_in(const std::string& output);

struct Said {
    std::string refusal; // why it was not accepted; empty: it was
    std::string output;  // what the tool said, where that is no document
    std::string whole;   // what the tool said
    bool is_own = false; // this program did it
};

// Has the tool, or this program, say it on the switch that the environment names.
Said say(const Sentence& sentence);
