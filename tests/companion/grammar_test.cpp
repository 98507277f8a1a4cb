// What emuswitch thinks of a sentence, held to what the tool makes of it: the sentences of the contract with the
// outcomes that it demands, and random ones said to the tool itself.
#include "companion/grammar.h"

#include "contract/result.h"
#include "contract/session.h"
#include "contract/transcript.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <random>

namespace {

using Words = std::vector<std::string>;

const std::string& usage_text() {
    static const std::string text = read_file(std::string(TRANSCRIPT_FOLDER) + "/usage.golden");
    return text;
}

const std::vector<Case>& contract() {
    static const std::vector<Case> cases = [] {
        std::vector<Case> all;
        for (const auto& entry : std::filesystem::directory_iterator(TRANSCRIPT_FOLDER)) {
            if (entry.path().extension() != ".txt" || entry.path().filename() == "CMakeLists.txt") continue;
            for (Case& one : read_transcript(entry.path().string(), usage_text()))
                all.push_back(std::move(one));
        }
        return all;
    }();
    return cases;
}

std::string joined(const Words& words) {
    std::string text;
    for (const std::string& word : words)
        text += (text.empty() ? "" : " ") + word;
    return text.substr(0, 300);
}

bool has_error(const Judgement& judgement) {
    return std::any_of(judgement.remarks.begin(), judgement.remarks.end(),
                       [](const Remark& remark) { return remark.severity == Remark::error; });
}

// The tool refuses an operand before it looks at the words behind it, so that a sentence may be both refused and none.
// A status of the library, from 1201 on, comes when all of it was judged.
bool is_refused_early(const Judgement& judgement, const Result& result) {
    constexpr size_t first_operand = 2;
    return result.code <= 321 && judgement.remarks.front().word >= first_operand;
}

void expect_agreement(const Words& words, const Result& result) {
    SCOPED_TRACE(joined(words));
    const Judgement judgement = judge(words);
    for (const Remark& remark : judgement.remarks)
        EXPECT_LE(remark.word, words.size());
    switch (result.kind) {
    case ResultKind::usage:
    case ResultKind::surplus:
        EXPECT_EQ(Judgement::misfit, judgement.kind) << judgement.form;
        EXPECT_EQ(1U, judgement.remarks.size());
        return;
    case ResultKind::ok:
    case ResultKind::other: // a display
        EXPECT_EQ(Judgement::fits, judgement.kind) << judgement.form;
        EXPECT_FALSE(has_error(judgement)) << judgement.remarks.front().text;
        return;
    case ResultKind::nothing: {
        const bool is_display = words.front() == "show"; // of a library that shows nothing
        EXPECT_EQ(is_display ? Judgement::fits : Judgement::ignored, judgement.kind);
        return;
    }
    case ResultKind::refusal:
        if (judgement.kind != Judgement::fits) {
            EXPECT_TRUE(is_refused_early(judgement, result)) << judgement.remarks.front().text;
        }
    }
}

TEST(Grammar, AgreesWithTheContract) {
    std::map<ResultKind, int> seen;
    for (const Case& one : contract()) {
        if (one.has_any_output) continue;
        SCOPED_TRACE(one.file + ".txt:" + std::to_string(one.line));
        const Result result = read_result(one.output, usage_text());
        expect_agreement(one.words, result);
        ++seen[result.kind];
    }
    for (const ResultKind kind : {ResultKind::ok, ResultKind::refusal, ResultKind::usage, ResultKind::surplus})
        EXPECT_GT(seen[kind], 100) << static_cast<int>(kind);
}

// An error is what any switch refuses, whatever it holds: a library that takes everything is asked for nothing.
TEST(Grammar, SaysWhatIsRefusedWhateverTheSwitchHolds) {
    int count = 0;
    for (const Case& one : contract()) {
        const Result result = read_result(one.output, usage_text());
        const bool is_by_tool = result.kind == ResultKind::refusal && one.calls.empty();
        if (!is_by_tool) continue;
        SCOPED_TRACE(one.file + ".txt:" + std::to_string(one.line) + ": " + joined(one.words));
        const Judgement judgement = judge(one.words);
        EXPECT_TRUE(has_error(judgement));
        const std::string code = "(NG " + std::to_string(result.code) + ")";
        const bool is_named =
            std::any_of(judgement.remarks.begin(), judgement.remarks.end(),
                        [&](const Remark& remark) { return remark.text.find(code) != std::string::npos; });
        EXPECT_TRUE(is_named || judgement.kind == Judgement::misfit) << code;
        ++count;
    }
    EXPECT_GT(count, 100);
}

// --- Sentences that nobody wrote ---

// A sentence of the contract with a word of another one, a word more or less, or a letter changed.
class Mutator {
public:
    explicit Mutator(unsigned seed) : random(seed) {}

    Words sentence() {
        Words words = any_sentence();
        for (size_t i = 0; i < 1 + below(2); ++i)
            mutate(words);
        return words;
    }

private:
    size_t below(size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(random); }
    const Words& any_sentence() {
        while (true) {
            const Case& one = contract()[below(contract().size())];
            const bool is_short = joined(one.words).size() < 200;
            if (is_short) return one.words;
        }
    }
    std::string any_word() {
        const Words& words = any_sentence();
        return words.empty() ? "" : words[below(words.size())];
    }
    void mutate(Words& words) {
        if (words.empty()) return;
        const size_t at = below(words.size());
        const auto place = words.begin() + static_cast<ptrdiff_t>(at);
        switch (below(5)) {
        case 0: *place = any_word(); return;
        case 1: words.insert(place, any_word()); return;
        case 2: words.erase(place); return;
        case 3: words.push_back(any_word()); return;
        default:
            if (!place->empty()) place->at(below(place->size())) = "0123456789-/,.xz :"[below(18)];
        }
    }

    std::mt19937 random;
};

TEST(Grammar, AgreesWithTheToolAboutRandomSentences) {
    constexpr int rounds = 800;
    const std::string& usage = usage_text();
    Mutator mutator(1);
    std::map<ResultKind, int> seen;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        const Words words = mutator.sentence();
        const std::vector<Call> answers(64, Call{"", "0", "0", "10", ""});
        const Result result = read_result(play(words, answers).output, usage);
        expect_agreement(words, result);
        ++seen[result.kind];
    }
    for (const ResultKind kind : {ResultKind::ok, ResultKind::refusal, ResultKind::usage, ResultKind::surplus})
        EXPECT_GT(seen[kind], rounds / 100) << static_cast<int>(kind);
}

// --- The nearest form ---

std::string remark_on(const Words& words) {
    const Judgement judgement = judge(words);
    if (judgement.remarks.empty()) return "";
    return std::to_string(judgement.remarks.front().word) + ": " + judgement.remarks.front().text;
}

TEST(Grammar, NamesTheWordThatDoesNotFit) {
    const struct {
        Words words;
        const char* remark;
        const char* form;
    } rows[] = {
        {{"creat", "vlan", "a"},
         R"(0: "creat" does not fit here, did you mean "create"?)",
         "create vlan <name> [vid <vid>]"},
        {{"create", "vlam", "a"},
         R"(1: "vlam" does not fit here, did you mean "vlan"?)",
         "create vlan <name> [vid <vid>]"},
        {{"create", "vlan", "a", "b"}, R"(3: "vid" is missing before "b")", "create vlan <name> [vid <vid>]"},
        {{"create", "vlan"}, "2: the sentence ends where <name> belongs", "create vlan <name> [vid <vid>]"},
        {{"delete", "port", "1", "2"}, R"(3: "2" is one word too many)", "delete port <port>"},
        {{"delete", "port", "one"}, R"(2: "one" is not a port number)", "delete port <port>"},
        {{"set", "port", "1", "agin", "300"},
         R"(3: "agin" does not fit here, did you mean "aging"?)",
         "set port <port> aging <time>"},
        {{"set", "port", "101", "link_depend", "foo"},
         R"(4: "foo" does not fit here, where "vlan" or "port" belongs)",
         "set port <port> link_depend {vlan | port <ports>}"},
        {{"add", "port", "1", "to", "vlan", "sales"},
         R"(6: the sentence ends where "tag" belongs)",
         "add port <port> to vlan <name> tag off [protgroup <gid>]"},
        {{"add", "port", "1", "vlan", "sales", "tag", "off"},
         R"(3: "to" is missing before "vlan")",
         "add port <port> to vlan <name> tag off [protgroup <gid>]"},
        {{"create", "stream", "1/1", "wfq"},
         R"(3: "qostype" is missing before "wfq")",
         "create stream <port/stream> qostype {wfq | pq}"},
        {{"set"},
         R"(1: the sentence ends where "port", "ether", "vlan", "mirror", "stream", "queue" or "color" belongs)",
         "set port <port> aging <time>"},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(joined(row.words));
        EXPECT_EQ(row.remark, remark_on(row.words));
        EXPECT_EQ(row.form, judge(row.words).form);
        EXPECT_EQ(Judgement::misfit, judge(row.words).kind);
    }
    EXPECT_EQ("0: there is no word at all", remark_on({}));
    EXPECT_EQ("0: there is no word at all", remark_on({""}));
}

TEST(Grammar, SaysWhatIsTakenInSilence) {
    const auto rule = [](const char* da, const char* prot, const char* vid) {
        return Words{"add", "classify", "1/0/red", "normal", da,  "x",  "x",       prot, "x",
                     "x",   vid,        "x",       "x",      "x", "to", "clslist", "1"};
    };
    const std::pair<Words, const char*> rows[] = {
        {rule("300.0.0.0/8", "x", "x"), R"(4: "300.0.0.0/8" is read as 44.0.0.0/8)"},
        {rule("10.0.0.9-10.0.0.1", "x", "x"), R"(4: "10.0.0.9-10.0.0.1" cannot be read, and stands for any)"},
        {rule("10.0.0.1/33", "x", "x"), R"(4: "10.0.0.1/33" cannot be read, and stands for any)"},
        {rule("x", "tcpp", "x"), R"(7: "tcpp" is no protocol that this machine knows, and stands for any)"},
        {rule("x", "x", "5000"), R"(10: "5000" is read as 4095)"},
        {rule("x", "x", "-5"), R"(10: "-5" is read as 0-5)"},
        {{"create", "sfdbentry", "zz:zz:zz:zz:zz:zz", "in", "vlan", "a", "discard"},
         R"(2: "zz:zz:zz:zz:zz:zz" is read as 00:00:00:00:00:00)"},
        {{"create", "sfdbentry", "00:00:5e:00:53:01", "in", "vlan", "a", "port", "1", "flag", "1ff"},
         R"(9: "1ff" is read as ff)"},
        {{"delete", "port", "12ab"}, R"(2: "12ab" is read as 12)"},
        {{"create", "clslist", "99999999999"}, R"(2: "99999999999" is read as 2147483647)"},
        {{"create", "queue", "1/1/0-3"}, R"(2: "1/1/0-3" is read as 1/1/0)"},
        {{"add", "protocol", "800h", "to", "protgroup", "1"}, R"(2: "800h" is read as 800)"},
        {{"set", "port", "1", "pvid", "10abc"}, R"(4: "10abc" is read as 10, and not as the name of a VLAN)"},
        {{"set", "ether", "1", "shaping", "on", "rate", "4295032"},
         R"(6: "4295032" is read as 64704 bit/s, since it wraps around at 32 bits)"},
        {{"set", "queue", "1/1/0", "queue_length", "100"}, R"(4: "100" is read as 1536 bytes, the shortest length)"},
        {{"set", "queue", "1/1/0", "queue_length", "2000"}, R"(4: "2000" is read as 2048 bytes, in whole units of 64)"},
        {{"set", "stream", "1/1", "tosmap", "10,"}, R"(4: "10," is read as 0)"},
        {{"set", "stream", "1/1", "tosmap", "1,2,3,4,5,6,7,8,9"},
         R"(4: "1,2,3,4,5,6,7,8,9" is read as 1,2,3,4,5,6,7,8)"},
        {{"set", "port", "1", "cosmap", "val", ",,,,,,,1"}, R"(5: ",,,,,,,1" is read as 0,0,0,0,0,0,0,1)"},
        {{"create", "port", "1", "on", "1", "portType", "ether"},
         R"(3: "on" stands in place of "npport" and is not looked at)"},
        {{"create", "mirror", "1", "please", "do"}, R"(3: "please" and what follows are ignored)"},
        {{"set", "vlan", "a", "learning", "off", "now"}, R"(5: "now" is ignored)"},
        {{"add", "clslist", "1", "to", "port", "1", "vlan", "a", "14/3"},
         R"(8: "14/3" has "14/3", which is no point and is left out)"},
        {{"set", "ether", "1", "colour", "blue"},
         R"(3: "colour" is no setting of an interface: the sentence is ignored)"},
    };
    for (const auto& [words, remark] : rows) {
        SCOPED_TRACE(joined(words));
        EXPECT_EQ(remark, remark_on(words));
        for (const Remark& one : judge(words).remarks)
            EXPECT_EQ(Remark::warning, one.severity);
    }
}

TEST(Grammar, SaysNothingOfWhatIsWrittenWell) {
    for (const Words& words : std::vector<Words>{
             {"create", "port", "1", "npport", "1", "portType", "ether"},
             {"set", "port", "1", "tagtype", "0x88A8"},
             {"set", "port", "1", "cosmap", "val", "01234567"},
             {"set", "port", "1", "cosmap", "bit", "f", "val", "0,1,2,3,4,5,6,7"},
             {"set", "stream", "1/1", "tosmap", "10/ff,20/fc"},
             {"set", "stream", "1/1", "tosmap", "10,,b8"},
             {"set", "stream", "1/1", "shaping", "on", "rate", "64-100000", "burst", "80-32000", "byte"},
             {"set", "stream", "1/1", "shaping", "on", "rate", "1000"},
             {"delete", "queue", "4/256/-"},
             {"create", "sfdbentry", "00:00:5E:00:53:01", "in", "vlan", "a", "discard"},
             {"add", "classify", "1/7/red", "dscp", "10.0.0.0/8", "10.0.0.1-10.0.0.9", "184/fc", "6", "80",
              "1024-65535", "10", "7", "86dd", "45/ff,x", "to", "clslist", "1", "line", "3"},
         }) {
        SCOPED_TRACE(joined(words));
        EXPECT_EQ("", remark_on(words));
        EXPECT_EQ(Judgement::fits, judge(words).kind);
    }
}

TEST(Grammar, KnowsWhatComesNext) {
    EXPECT_EQ((Words{"create", "delete", "enable", "disable", "set", "add", "remove", "show"}), words_behind({}));
    EXPECT_EQ((Words{"npport"}), words_behind({"create", "port", "1"}));
    EXPECT_EQ((Words{"none", "ether", "vif"}), words_behind({"create", "port", "1", "npport", "1", "portType"}));
    EXPECT_EQ((Words{"all", "<name>"}), words_behind({"set", "vlan"}));
    EXPECT_EQ((Words{"tag"}), words_behind({"add", "port", "1", "to", "vlan", "a"}));
    EXPECT_EQ(Words{}, words_behind({"bogus"}));
    EXPECT_EQ(Words{}, words_behind({"delete", "port", "1"}));
}

} // namespace
