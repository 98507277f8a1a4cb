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
    std::vector<size_t> columns; // of the words, and of the end of the line
    int64_t at = 0;              // of a timed one: nanoseconds from the beginning
};

// Something to tell about a line of a file.
struct Finding {
    size_t line;
    size_t column;
    const char* severity; // "error" or "warning"
    std::string text;
};

// In the notation of compilers, which editors read: service.play:3:17: error: what is wrong
std::string finding_text(const std::string& file, const Finding& finding);

struct SentenceFile {
    std::vector<Sentence> sentences;
    std::vector<Finding> errors; // lines that are none
};

// The sentence of a line, which has no words where the line is blank. Throws `BadLine`.
Sentence sentence_of(size_t line, const std::string& text);

// One sentence a line; blank lines and comments behind # are left out. Lines for this program that bring about what no
// sentence can (`emuswitch limit ports 8`) are sentences too. "-" is standard input. Throws `Failure` where there is no
// such file.
SentenceFile read_sentence_file(const std::string& file);

// The same, once all lines are sentences; else each that is none is told on standard error, and `Failure` says no more.
std::vector<Sentence> read_sentences(const std::string& file);

// The same with a time before each, `at 2.5 enable port 1`, in the order of the times. The text is without the time.
std::vector<Sentence> read_timed_sentences(const std::string& file);

// What there is to tell of a sentence before it is said.
std::vector<Finding> check_sentence(const Sentence& sentence);

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
    Answer answer = Answer::accepted;
    std::string refusal; // why it was not accepted; empty: it was, or it was ignored
    std::string output;  // what the tool said, where that is no document
    std::string whole;   // what the tool said
    bool is_own = false; // this program did it
    size_t word = 0;     // the one that the refusal is about

    bool is_ignored() const { return refusal.empty() && answer == Answer::nothing; }
};

// Has the tool, or this program, say it on the switch that the environment names.
Said say(const Sentence& sentence);

// The line that tells a person of a file of sentences that this one was refused, or ignored.
std::string told(const std::string& file, const Sentence& sentence, const Said& said);
