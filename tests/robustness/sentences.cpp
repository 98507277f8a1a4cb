// Sentences to begin with, and what holds for all of them.
#include "robustness/sentences.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <map>

namespace {

// Verb and object, and the fourth word where it is part of the command's name.
std::string command_of(const Case& item) {
    std::string name = item.words[0] + " " + item.words[1];
    if (item.words[0] == "set" && item.words.size() > 3) name += " " + item.words[3];
    return name;
}

std::vector<Case> read_accepted_sentences() {
    std::map<std::string, Case> longest;
    for (const auto& entry : std::filesystem::directory_iterator(TRANSCRIPT_FOLDER)) {
        if (entry.path().extension() != ".txt" || entry.path().stem() == "CMakeLists") continue;
        for (const Case& item : read_transcript(entry.path(), usage_text())) {
            const bool is_accepted = item.output == ok_document() || item.output.empty();
            if (!is_accepted || item.calls.empty() || item.words.size() < 2) continue;
            Case& known = longest[command_of(item)];
            if (item.words.size() > known.words.size()) known = item;
        }
    }
    std::vector<Case> sentences;
    for (const auto& [command, item] : longest)
        sentences.push_back(item);
    return sentences;
}

std::string shortened(const std::vector<std::string>& words) {
    std::string line = "$";
    for (const std::string& word : words)
        line +=
            " " + (word.size() <= 60 ? word : word.substr(0, 20) + "... (" + std::to_string(word.size()) + " bytes)");
    return line.substr(0, 1000);
}

} // namespace

std::string usage_text() {
    return read_file(std::string(TRANSCRIPT_FOLDER) + "/usage.golden");
}

const std::vector<Case>& accepted_sentences() {
    static const std::vector<Case> sentences = read_accepted_sentences();
    return sentences;
}

void expect_sound(const Outcome& outcome, const std::vector<std::string>& words) {
    static const std::string usage = usage_text();
    EXPECT_EQ(0, outcome.exit_status) << shortened(words) << "\nended by signal " << outcome.signal;
    EXPECT_EQ("", outcome.errors) << shortened(words);
    const Result result = read_result(outcome.output, usage);
    EXPECT_NE(ResultKind::other, result.kind) << shortened(words) << "\n" << outcome.output;
    EXPECT_GE(127U, result.message.size()) << shortened(words);
    if (result.kind == ResultKind::nothing) {
        const bool may_be_silent = (words.size() > 3 && words[0] == "set" && words[1] == "ether") ||
                                   (words.size() == 3 && words[0] == "show" && words[1] == "clslist");
        EXPECT_TRUE(may_be_silent) << shortened(words);
    }
}
