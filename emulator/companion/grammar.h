// What sentences there are, and what is to be said of one before it is said to the switch.
//
// The forms stand in one table, in the notation of the manual. A sentence that the tool takes, or refuses with a
// document, fits a form; one that it answers with its usage text, or with "no more argument", fits none.
#pragma once

#include <string>
#include <vector>

// Something to tell about a word of a sentence; behind the last word where one is missing.
struct Remark {
    enum Severity { error, warning };
    Severity severity;
    size_t word; // its place, from 0
    std::string text;
};

struct Judgement {
    enum Kind {
        fits,
        ignored, // the tool takes it, does nothing and says nothing
        misfit   // no sentence: the usage text, or surplus words
    };
    Kind kind;
    std::string form; // the one that it has, or the nearest one
    std::vector<Remark> remarks;
};

Judgement judge(const std::vector<std::string>& words);

// The forms as people read them: create vlan <name> [vid <vid>]
std::vector<std::string> sentence_forms();

// What can stand at the end of a sentence that begins with these words: keywords as they are, operands as <name>.
std::vector<std::string> words_behind(const std::vector<std::string>& words);
