// Long, empty and strange words in every place of every command, and many of them.
#include "main/dispatch.h"
#include "robustness/sentences.h"

#include <gtest/gtest.h>

#include <cctype>

namespace {

// With a start for each sentence: its words come by the kernel, as many and as long as they are. A server takes 4096.
Setup without_server() {
    Setup setup = setup_from_environment();
    setup.server.clear();
    return setup;
}

const Setup tested = without_server();

Outcome run(const std::vector<std::string>& words) {
    return run_tool(tested, words, {});
}

std::string repeated(const std::string& piece, size_t length) {
    std::string text;
    while (text.size() < length)
        text += piece;
    text.resize(length);
    return text;
}

const std::vector<std::string>& strange_words() {
    constexpr size_t longest = 100000; // of one word; Linux takes 131071 bytes
    static const std::vector<std::string> words = {
        "",
        " ",
        "-",
        "%s%n%d%n%s%x",
        "\xff\xfe\x80",
        "1/",
        "1/1/",
        "1/1/1/",
        "-2147483648",
        "2147483648/2147483648/4294967296/green",
        "0x",
        ",,,,,,,,,",
        repeated("a", 128),
        repeated("a", longest),
        repeated("9", longest),
        repeated("-", longest),
        repeated(" ", longest),
        repeated("1/", longest),
        repeated("1,", longest),
        repeated("f/f,", longest),
        repeated("1-", longest),
        repeated("1.", longest),
        repeated("00:", longest),
        repeated("\n", longest),
        repeated("\xff", longest),
        repeated("%n", longest),
        "1/1/" + repeated("g", longest),
        "1/1/1/" + repeated("green", longest),
        "1/1/green" + repeated(" ", longest),
    };
    return words;
}

class AnyCommand : public testing::TestWithParam<size_t> {
protected:
    const Case& sentence() const { return accepted_sentences()[GetParam()]; }
};

TEST_P(AnyCommand, TakesStrangeWords) {
    for (size_t place = 2; place < sentence().words.size(); ++place) {
        for (const std::string& strange : strange_words()) {
            std::vector<std::string> words = sentence().words;
            words[place] = strange;
            expect_sound(run_tool(tested, words, sentence().calls), words);
        }
    }
}

TEST_P(AnyCommand, TakesLongEndsOfGoodWords) {
    for (size_t place = 2; place < sentence().words.size(); ++place) {
        std::vector<std::string> words = sentence().words;
        words[place] += repeated("z", 100000);
        expect_sound(run_tool(tested, words, sentence().calls), words);
    }
}

TEST_P(AnyCommand, TakesAnyNumberOfWords) {
    std::vector<std::string> words = sentence().words;
    while (!words.empty()) {
        words.pop_back();
        expect_sound(run_tool(tested, words, sentence().calls), words);
    }
    words = sentence().words;
    words.insert(words.end(), 5000, "surplus");
    expect_sound(run_tool(tested, words, sentence().calls), words);
}

INSTANTIATE_TEST_SUITE_P(Robust, AnyCommand, testing::Range<size_t>(0, accepted_sentences().size()),
                         [](const testing::TestParamInfo<size_t>& chosen) {
                             std::string name;
                             for (const std::string& word : accepted_sentences()[chosen.param].words) {
                                 if (name.size() > 40) break;
                                 for (const char c : word + "_")
                                     if (isalnum(static_cast<unsigned char>(c)) != 0 || c == '_') name += c;
                             }
                             return name + std::to_string(chosen.param);
                         });

TEST(Words, ThatAreStrangeNameNoCommand) {
    for (const std::string& strange : strange_words()) {
        EXPECT_EQ(usage_text(), run({strange, "port", "1"}).output) << strange.substr(0, 20);
        EXPECT_EQ(usage_text(), run({"create", strange, "1"}).output) << strange.substr(0, 20);
    }
}

TEST(Words, AllCommandsAreTried) {
    EXPECT_LE(50U, accepted_sentences().size()) << "the transcripts lack accepted sentences of some commands";
}

TEST(Words, OfEveryByteReachTheLibraryAsTyped) {
    for (int byte = 1; byte < 256; ++byte) {
        const std::string name{'a', static_cast<char>(byte), 'z'};
        const Outcome outcome = play({"create", "vlan", name}, {});
        EXPECT_EQ(ok_document(), outcome.output) << byte;
        ASSERT_EQ(2U, outcome.recording.size()) << byte;
    }
}

TEST(Words, OfEveryByteBehindANumberAreLeft) {
    for (int byte = 1; byte < 256; ++byte) {
        if (isdigit(byte) != 0) continue;
        const Outcome outcome = play({"enable", "port", {'7', static_cast<char>(byte)}}, {});
        EXPECT_EQ(ok_document(), outcome.output) << byte;
        EXPECT_EQ((std::vector<std::string>{"brgfdb_enable_port(7)", "portshm_enable_port(7, 1)"}), outcome.recording)
            << byte;
    }
}

TEST(Words, LongerThanTheMessageAreCut) {
    for (const size_t length : {0U, 1U, 110U, 111U, 112U, 113U, 127U, 128U, 129U, 4096U, 100000U}) {
        const std::string name(length, 'n');
        const Outcome outcome = run_tool(tested, {"delete", "vlan", name}, {{"", "-1", "103", "", ""}});
        const std::string message = "VLAN \"" + name + "\" does not exist.";
        EXPECT_EQ(ng_document("103", message.substr(0, 127)), outcome.output) << length;
        EXPECT_EQ(std::vector<std::string>{"brgfdb_get_vid(\"" + name + "\")"}, outcome.recording) << length;
    }
}

TEST(Words, ByTheThousandAreSurplus) {
    std::vector<std::string> words{"create", "vlan", "sales", "vid", "10"};
    words.insert(words.end(), 100000, "word");
    EXPECT_EQ("no more argument\n", run(words).output);
}

TEST(Words, MayBeMissingAltogether) {
    EXPECT_EQ(usage_text(), run({}).output);
    EXPECT_EQ(usage_text(), run({""}).output);
}

// What the C library makes of an empty list of arguments where the kernel does not fill in an empty name.
TEST(WordsDeathTest, MayBeLessThanNone) {
    EXPECT_EXIT(dispatch(-1, nullptr), testing::ExitedWithCode(0), "");
}

// Words that a number or a list ends in are read no further than their end: where the server has put them, memory ends
// with the last. Valgrind would tell of bytes that nothing has set.
TEST(Words, AreReadToTheirEndOnly) {
    if (system("command -v valgrind >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no valgrind";
    auto watched = tested;
    watched.launcher = {"valgrind", "-q", "--error-exitcode=9", "--exit-on-first-error=yes"};
    watched.server = RECORDING_SERVER;
    Server server(watched);
    for (size_t i = 0; i < accepted_sentences().size(); i += 4) {
        const Case& item = accepted_sentences()[i];
        const Outcome outcome = server.play(item.words, item.calls);
        EXPECT_EQ(0, outcome.exit_status) << item.sentence << "\n" << outcome.errors;
        EXPECT_EQ(item.output, outcome.output) << item.sentence;
    }
}

} // namespace
