// Plays every transcript of this folder through the tool, one test a sentence. CONTRACT_TRANSCRIPTS names another
// folder, for transcripts that are no part of the contract yet: a log of the emulated switch, for one.
#include "contract/result.h"
#include "contract/session.h"
#include "contract/transcript.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

namespace {

// What a case expects or what happened, in the notation of the transcripts, so that gtest shows a diff of lines.
std::string describe(const std::vector<std::string>& calls, const std::string& output) {
    std::string text;
    for (const std::string& call : calls)
        text += "> " + call + "\n";
    return text + output;
}

std::vector<std::string> texts_of(const std::vector<Call>& calls) {
    std::vector<std::string> texts;
    for (const Call& call : calls)
        texts.push_back(call.text);
    return texts;
}

class Sentence : public testing::Test {
public:
    Sentence(Case sentence, const std::string& usage_text) : item(std::move(sentence)), usage(usage_text) {}

    void TestBody() override {
        const Outcome outcome = play(item.words, item.calls);
        const std::string place = item.file + ".txt:" + std::to_string(item.line) + ": $ " + item.sentence;
        if (item.has_any_output && has_one_outcome(outcome)) item.output = outcome.output;
        EXPECT_EQ(describe(texts_of(item.calls), item.output), describe(outcome.recording, outcome.output)) << place;
        EXPECT_EQ("", outcome.errors) << place << "\nnothing is ever written to standard error";
        EXPECT_EQ(0, outcome.exit_status)
            << place << "\nthe exit status is always 0; ended by signal " << outcome.signal;
    }

private:
    // A document, the usage text or the surplus line; or what the library displayed.
    bool has_one_outcome(const Outcome& outcome) const {
        std::string displayed;
        for (const Call& call : item.calls)
            displayed += call.prints;
        return read_result(outcome.output, usage).kind != ResultKind::other || outcome.output == displayed;
    }

    Case item;
    std::string usage;
};

// A name that ctest and a gtest filter take as it is.
std::string test_name(const Case& item) {
    std::string name = "line_" + std::to_string(item.line) + "_" + item.sentence.substr(0, 60);
    std::replace_if(
        name.begin(), name.end(), [](char c) { return isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return name;
}

// ctest asks for one file at a time; the others need not be read then.
bool is_wanted(const std::string& file) {
    const std::string filter = GTEST_FLAG_GET(filter);
    const std::string suite = filter.substr(0, filter.find('.'));
    return suite == file || suite.find_first_of("*?") != std::string::npos ||
           filter.find_first_of(":-") != std::string::npos;
}

void register_transcripts() {
    const std::string usage = read_file(std::filesystem::path(TRANSCRIPT_FOLDER) / "usage.golden");
    const char* const other_folder = getenv("CONTRACT_TRANSCRIPTS");
    for (const auto& entry :
         std::filesystem::directory_iterator(other_folder != nullptr ? other_folder : TRANSCRIPT_FOLDER)) {
        if (entry.path().extension() != ".txt" || entry.path().stem() == "CMakeLists" ||
            !is_wanted(entry.path().stem()))
            continue;
        for (const Case& item : read_transcript(entry.path(), usage))
            testing::RegisterTest(item.file.c_str(), test_name(item).c_str(), nullptr, nullptr, entry.path().c_str(),
                                  item.line, [item, usage]() -> Sentence* { return new Sentence(item, usage); });
    }
}

} // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    try {
        register_transcripts();
    } catch (const std::exception& problem) {
        std::cerr << problem.what() << "\n";
        return 1;
    }
    return RUN_ALL_TESTS();
}
