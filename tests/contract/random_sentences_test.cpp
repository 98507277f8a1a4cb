// What holds for any sentence and whatever the libraries answer: made up from the words of the grammar, with noise.
#include "contract/session.h"
#include "contract/transcript.h"

#include "notation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <iostream>
#include <map>
#include <random>
#include <sstream>

namespace {

// --- Making up sentences and answers ---

// A word in angle brackets stands for one of a kind; a|b|c for one of these words.
constexpr const char* sentences[] = {
    "create port <number> npport <number> portType none|ether|vif",
    "delete port <number>",
    "enable|disable port <number>",
    "create vlan <name>",
    "create vlan <name> vid <number>",
    "delete vlan <name>",
    "add port <number> to vlan <name> tag on|off",
    "add port <number> to vlan <name> tag off protgroup <number>",
    "add port <number> to vlan <name> tag on tagtype <hex>",
    "remove port <number> from vlan <name>",
    "create|delete protgroup <number>",
    "add protocol <hex> to protgroup <number>",
    "remove protocol <hex> from protgroup <number>",
    "create|delete|enable|disable mirror <number>",
    "set mirror <number> source port <number> in|out",
    "set mirror <number> source port <number> in|out vlan <name>",
    "set mirror <number> source vlan <name>",
    "set mirror <number> dest port <number>",
    "set mirror <number> classify <flow>",
    "set mirror <number> tag off",
    "set mirror <number> tag on vid <number>",
    "set mirror <number> tag on tagtype <hex> vid <number>",
    "set ether <number> shaping off",
    "set ether <number> shaping on rate <number>",
    "set ether <number> shaping|share on rate <number> burst <number> byte|kbyte",
    "set ether <number> <name>",
    "set port <number> aging|pvid|tagtype|aftype <number>",
    "set port <number> aftype tagonly|all",
    "set port <number> ignoretag|ignoreptag|cosedit|ignorefdb|ingfil|accept_tag|accept_ptag|sldbreaker on|off",
    "set port <number> pvid <name>",
    "set port <number> bandwidth frame_only|frame_gap",
    "set port <number> link_frame bpdu|lag|pae discard|forward",
    "set port <number> cosmap val <map>",
    "set port <number> cosmap bit <hex> val <map>",
    "set port <number> default_class <flow>",
    "set port <number> class_policing class <number> off",
    "set port <number> class_policing class <number> on rcolor <color> rate <number>",
    "set port <number> class_policing class <number> on rcolor <color> rate <number> burst <number> byte|kbyte",
    "set port <number> link_mode or|and",
    "set port <number> link_depend vlan",
    "set port <number> link_depend port <list>",
    "set vlan <name> simple_loop_detection|ignorefdb|learning on|off",
    "set vlan <name> learninglimit <number>",
    "create stream <stream> qostype wfq|pq",
    "delete stream <stream>",
    "set stream <stream> shaping off",
    "set stream <stream> shaping on rate <range>",
    "set stream <stream> shaping on rate <range> burst <range> byte|kbyte",
    "set stream <stream> shaping on maxrate <number> minrate <number> maxburst <number> x <number>",
    "set stream <stream> priority <number>",
    "set stream <stream> tosmap <tosmap>",
    "create|delete queue <queue>",
    "set queue <queue> pri <number>",
    "set queue <queue> pri <number> ratio <number>",
    "set queue <queue> queue_length <number>",
    "set queue <queue> color <color> drop_type taildrop",
    "set queue <queue> color <color> drop_type wred thresh <range> drop <range>",
    "set color <queuecolor> drop_type taildrop",
    "set color <queuecolor> drop_type wred min_thresh <number> max_thresh <number> min_drop <number> max_drop <number>",
    "create|delete|show clslist <number>",
    "show clslist all",
    "add clslist <number> to port <number> vlan <name>",
    "add clslist <number> to port <number> vlan <name> <points>",
    "remove clslist <number> from port <number> vlan <name>",
    "add classify <flow> normal|dscp|dot1p <address> <address> <match> <match> <match> <match> <match> <match> <match>"
    " <matches> to clslist <number>",
    "add classify <flow> normal|dscp|dot1p <address> <address> <match> <match> <match> <match> <match> <match> <match>"
    " <matches> to clslist <number> line <number>",
    "remove classify from clslist <number> line all|<number>",
    "create sfdbentry <mac> in vlan <name> discard",
    "create sfdbentry <mac> in vlan <name> port <number>",
    "create sfdbentry <mac> in vlan <name> port <number> flag <hex>",
    "create lfdbentry <mac> in port <number> discard|local|both|local_learning",
    "delete sfdbentry <mac> in vlan <name>",
    "delete lfdbentry <mac> in port <number>",
    "delete dfdbentry all in all",
    "delete dfdbentry all in vlan <name>",
};

using Kind = std::vector<const char*>;
const std::map<std::string, Kind, std::less<>> kinds{
    {"number", {"1",     "2",     "3",   "4",    "5",  "7",    "10",          "50",           "100", "101",     "120",
                "164",   "165",   "64",  "4094", "0",  "4095", "4096",        "8191",         "-1",  "2147483", "65535",
                "65536", "16384", "1 2", "12ab", "+3", " 4",   "99999999999", "-99999999999", "0x5", "none"}},
    {"hex", {"8100", "0x88a8", "ffff", "0", "3", "10000", "-1", "99999999999", "zz", " a"}},
    {"name", {"sales", "lab", "10", "10abc", "all", "v-1", "<&>\"", "%s%n"}},
    {"color", {"green", "yellow", "red", "discard"}},
    {"stream", {"1/1", "4/256", "2/17", "5/1", "1/257", "0/0", "1/1x", "1"}},
    {"queue", {"1/1/0", "4/256/7", "1/2/-", "1/1/8", "5/1/1", "1/1/x", "1/1", "2/3/4/red"}},
    {"queuecolor", {"1/1/0/green", "4/256/7/red", "1/1/8/red", "1/1/1/blue", "1/1/1", "3/9/2/yellow"}},
    {"flow", {"1/0/green", "256/7/red", "257/7/red", "1/8/yellow", "1/1/blue", "1/1", "17/3/yellow"}},
    {"range", {"64-1000", "100-100000", "1000", "80-100", "8-32", "0-0", "100-64", "-5-5", "x", "20-80"}},
    {"map", {"0,0,1,1,2,2,3,3", "7,,,,,,,", ",,,,,,,", "0,1,2", "0,1,2,3,4,5,6,8", "01234567"}},
    {"tosmap", {"10,20/fc,,b8", "10", "", "1,2,3,4,5,6,7,8,9", "zz", "/"}},
    {"list", {"1", "1,3-4", "4-1", "1-9", "x", "", "0"}},
    {"points", {"14/2,20/4", "-", "14/3", "9999/4", "14/2,14/2,14/2,14/2,14/2"}},
    {"address", {"-", "10.0.0.1", "10.0.0.0/255.0.0.0", "10.0.0.1-10.0.0.9", "x", "1.2.3"}},
    {"match", {"-", "7", "1-4", "3/7", "0-9/ff", "99999", "tcp", "0800", "x"}},
    {"matches", {"-", "1/ff,2/ff", "1,2,3,4", "x"}},
    {"mac", {"00:11:22:33:44:55", "01:80:c2:00:00:0f", "zz:zz:zz:zz:zz:zz", "00-11-22-33-44-55", "00:11"}},
};

// Words that belong nowhere.
const std::vector<std::string> noise{"",
                                     " ",
                                     "-",
                                     "x",
                                     "all",
                                     "port",
                                     "vlan",
                                     "to",
                                     "in",
                                     "on",
                                     "set",
                                     "tag ",
                                     "Port",
                                     "%s%n%d",
                                     "\n",
                                     "\xff\xc3\x28",
                                     "--help",
                                     "\"&<>",
                                     "/////",
                                     ",,,,,,,,,,",
                                     "::::::::",
                                     "1/1/1/1/1/1/1/1",
                                     std::string(200, 'n'),
                                     std::string(5000, '9')};

class Generator {
public:
    explicit Generator(unsigned seed) : random(seed) {}

    std::vector<std::string> sentence() {
        std::vector<std::string> words = from_grammar();
        for (size_t changes = one_in(2) ? 0 : 1 + pick(2); changes > 0; --changes)
            change(words);
        return words;
    }

    // Mostly success, so that sentences get far; statuses that the tool's own refusals do not use.
    Call answer() {
        static const Kind failures{"-1", "1", "-2147483648", "7"};
        static const Kind statuses{"1",    "102",  "103",  "105",  "106",  "107",  "108",  "109",  "110",  "111",
                                   "112",  "1201", "1202", "1205", "1301", "1302", "1303", "1304", "1401", "1402",
                                   "1403", "1404", "1405", "1406", "1501", "1603", "1604", "1605", "1606", "1607",
                                   "1608", "1610", "1611", "1612", "1613", "1614", "1615", "1616", "1701", "1702",
                                   "2001", "2002", "2101", "2102", "2201", "2202", "2203", "2301", "2302", "2303",
                                   "2351", "2352", "2401", "2402", "2403", "2501", "2502", "2601", "2602", "2603",
                                   "2604", "2605", "2606", "2607", "2701", "2702", "2801", "2802", "2803", "2804",
                                   "2805", "2806", "2807", "2901", "2902", "2903", "2910", "2911", "9999", "-5"};
        static const Kind values{"10", "1", "2", "4094", "5000", "0", "-1"};
        Call call;
        call.result = one_in(6) ? one_of(failures) : "0";
        call.status = one_of(statuses);
        call.value = one_of(values);
        call.prints = "display\n";
        return call;
    }

private:
    size_t pick(size_t count) { return random() % count; }
    bool one_in(size_t count) { return pick(count) == 0; }
    const char* one_of(const Kind& words) { return words[pick(words.size())]; }

    std::string word_for(const std::string& pattern) {
        std::vector<std::string> choices;
        std::istringstream parts(pattern);
        for (std::string part; std::getline(parts, part, '|');)
            choices.push_back(part);
        const std::string choice = choices[pick(choices.size())];
        if (choice.front() != '<') return choice;
        // Small numbers are good in most places.
        if (choice == "<number>" && one_in(2)) return std::to_string(1 + pick(4));
        return one_of(kinds.at(choice.substr(1, choice.size() - 2)));
    }

    std::vector<std::string> from_grammar() {
        std::vector<std::string> words;
        std::istringstream patterns(sentences[pick(std::size(sentences))]);
        for (std::string pattern; patterns >> pattern;)
            words.push_back(word_for(pattern));
        return words;
    }

    void change(std::vector<std::string>& words) {
        const size_t at = pick(words.size() + 1);
        const auto place = words.begin() + static_cast<std::ptrdiff_t>(at);
        switch (pick(5)) {
        case 0: words.insert(place, noise[pick(noise.size())]); break;
        case 1: words.resize(at); break;
        case 2: words.push_back(noise[pick(noise.size())]); break;
        default:
            if (at < words.size()) *place = noise[pick(noise.size())];
        }
    }

    std::mt19937 random;
};

// --- What came of it ---

std::string function_of(const std::string& call) {
    return call.substr(0, call.find('('));
}

bool is_bridge_call(const std::string& function) {
    return function.starts_with("brgfdb_");
}

bool has_failed(const std::string& function, const Call& answer) {
    static const std::array negative_is_failure{"brgfdb_create_port", "brgfdb_create_lfil", "brgfdb_set_param_to_port",
                                                "brgfdb_clear_fdb_vlan"};
    const bool judged_by_sign = std::count(negative_is_failure.begin(), negative_is_failure.end(), function) > 0;
    return judged_by_sign ? answer.result.front() == '-' : answer.result != "0";
}

// The order in which the other libraries are told; 0 for none of them.
int side_rank(const std::string& function) {
    if (function.starts_with("portshm_")) return 1;
    if (function.starts_with("libev_")) return 2;
    if (function.starts_with("qual_")) return 3;
    return 0;
}

enum class Form { ok, refusal, usage, surplus, nothing, display, other };

struct Answered {
    Form form = Form::other;
    std::string code;
    std::string message;
};

Answered read_answer(const std::string& output, const std::string& usage, bool is_displayed) {
    static const std::string display = "display\n";
    static const std::string opening = "<response>\n  <result>NG</result>\n  <error>\n    <errcode>";
    static const std::string middle = "</errcode>\n    <errmsg>";
    static const std::string closing = "</errmsg>\n  </error>\n</response>\n";
    if (is_displayed && output.starts_with(display)) {
        const std::string rest = output.substr(display.size());
        return rest.empty() ? Answered{Form::display, "", ""} : read_answer(rest, usage, false);
    }
    if (output == ok_document()) return {Form::ok, "", ""};
    if (output == usage) return {Form::usage, "", ""};
    if (output == "no more argument\n") return {Form::surplus, "", ""};
    if (output.empty()) return {Form::nothing, "", ""};
    const size_t at = output.find(middle);
    if (!output.starts_with(opening) || at == std::string::npos || !output.ends_with(closing)) return {};
    const size_t message = at + middle.size();
    if (message + closing.size() > output.size()) return {};
    return {Form::refusal, output.substr(opening.size(), at - opening.size()),
            output.substr(message, output.size() - closing.size() - message)};
}

std::string quoted(const std::string& text) {
    std::vector<char> buffer(4 * text.size() + 3);
    notation::Text out(buffer.data(), buffer.size());
    notation::write_quoted(out, text.c_str());
    return buffer.data();
}

std::string word_as_written(const std::string& word) {
    const bool is_plain = !word.empty() && std::all_of(word.begin(), word.end(), [](char c) {
        return c > ' ' && c < 0x7f && c != '"' && c != '\\' && c != '{';
    });
    return is_plain ? word : quoted(word);
}

std::string answer_as_written(const std::string& function, const Call& answer) {
    std::string text = " = " + answer.result + " status " + answer.status;
    if (function == "brgfdb_get_vid" || function == "brgfdb_create_vlan") text += " vid " + answer.value;
    if (function == "brgfdb_get_stream_info") text += " type " + answer.value;
    if (function == "getprotobyname") text += " number " + answer.value;
    if (function == "brgfdb_disp_classify") text += " prints " + quoted(answer.prints);
    return text;
}

// As a transcript has it, to be put there once it is understood.
std::string as_transcript(const std::vector<std::string>& words, const std::vector<Call>& answers,
                          const Outcome& outcome) {
    std::string text = "$";
    for (const std::string& word : words)
        text += " " + word_as_written(word);
    for (size_t i = 0; i < outcome.recording.size(); ++i) {
        text += "\n> " + outcome.recording[i];
        if (i < answers.size()) text += answer_as_written(function_of(outcome.recording[i]), answers[i]);
    }
    std::istringstream lines(outcome.output);
    for (std::string line; std::getline(lines, line);)
        text += "\n| " + line;
    return text;
}

// --- The truths ---

void expect_side_calls_in_place(const std::vector<std::string>& recording, const std::vector<Call>& answers) {
    bool is_accepted = false; // by the last bridge call
    int told = 0;             // what was told of it last
    for (size_t i = 0; i < recording.size(); ++i) {
        const std::string function = function_of(recording[i]);
        if (is_bridge_call(function)) {
            is_accepted = !has_failed(function, answers[i]);
            told = 0;
        } else if (const int rank = side_rank(function); rank != 0) {
            EXPECT_TRUE(is_accepted) << function << " without a change that the bridge library has taken";
            EXPECT_GT(rank, told) << function << " out of order: port table, event, name";
            told = rank;
        }
    }
}

void expect_only_questions(const std::vector<std::string>& recording) {
    for (const std::string& call : recording) {
        const std::string function = function_of(call);
        EXPECT_TRUE(function == "brgfdb_get_vid" || function == "getprotobyname")
            << function << " before the sentence was found to be wrong";
    }
}

void expect_good_refusal(const Answered& answered, const std::vector<std::string>& recording,
                         const std::vector<Call>& answers) {
    EXPECT_LE(answered.message.size(), 127U);
    const int code = std::stoi(answered.code);
    EXPECT_EQ(std::to_string(code), answered.code);
    if (code >= 201 && code <= 321) return expect_only_questions(recording);
    if (code == 1 || (code >= 101 && code <= 110)) return; // the tool's own, too
    bool is_given = false;
    for (size_t i = 0; i < recording.size(); ++i)
        is_given |= answers[i].status == answered.code && has_failed(function_of(recording[i]), answers[i]);
    EXPECT_TRUE(is_given) << "no library call gave the status " << code;
}

bool may_be_silent(const std::vector<std::string>& words) {
    return words.size() > 3 && words[0] == "set" && words[1] == "ether" && words[3] != "shaping" && words[3] != "share";
}

void expect_truths(const std::vector<std::string>& words, const std::vector<Call>& answers, const Outcome& outcome,
                   const Answered& answered) {
    EXPECT_EQ(0, outcome.exit_status) << "signal " << outcome.signal;
    EXPECT_EQ("", outcome.errors);
    ASSERT_LE(outcome.recording.size(), answers.size());
    expect_side_calls_in_place(outcome.recording, answers);
    switch (answered.form) {
    case Form::ok: EXPECT_FALSE(outcome.recording.empty()) << "OK without a library call"; break;
    case Form::refusal: expect_good_refusal(answered, outcome.recording, answers); break;
    case Form::usage:
    case Form::surplus: expect_only_questions(outcome.recording); break;
    case Form::nothing: EXPECT_TRUE(may_be_silent(words)) << "nothing was printed"; break;
    case Form::display:
        EXPECT_EQ("0", answers[outcome.recording.size() - 1].result) << "a display that failed has a document";
        break;
    case Form::other: ADD_FAILURE() << "neither one document nor the usage text nor the line of surplus words"; break;
    }
}

class RandomSentences : public testing::TestWithParam<unsigned> {};

TEST_P(RandomSentences, KeepTheGeneralRules) {
    constexpr int rounds = 500;
    constexpr size_t most_calls = 64; // all eight queues of a stream take 33
    const std::string usage = read_file(std::string(TRANSCRIPT_FOLDER) + "/usage.golden");
    Generator generator(GetParam());
    std::map<Form, int> seen;
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
        const std::vector<std::string> words = generator.sentence();
        std::vector<Call> answers(most_calls);
        std::generate(answers.begin(), answers.end(), [&] { return generator.answer(); });

        const Outcome outcome = play(words, answers);
        const bool is_displayed =
            !outcome.recording.empty() && function_of(outcome.recording.back()) == "brgfdb_disp_classify";
        const Answered answered = read_answer(outcome.output, usage, is_displayed);
        expect_truths(words, answers, outcome, answered);
        if (HasFailure()) std::cerr << as_transcript(words, answers, outcome) << "\n";
        ++seen[answered.form];
    }
    // Sentences that all fail alike would show nothing.
    for (const Form form : {Form::ok, Form::refusal, Form::usage, Form::surplus})
        EXPECT_GT(seen[form], rounds / 100) << static_cast<int>(form);
}

// More than one test, so that each stays short where the tool runs slowly.
INSTANTIATE_TEST_SUITE_P(Seeds, RandomSentences, testing::Range(1U, 11U));

} // namespace
