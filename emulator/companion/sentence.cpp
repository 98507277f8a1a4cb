// Reading sentences and saying them.
#include "companion/sentence.h"

#include "companion/child_process.h"
#include "companion/database.h"
#include "companion/grammar.h"
#include "companion/names.h"
#include "companion/words.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <set>

namespace {

constexpr const char* surplus = "no more argument\n";

// What stands between two tags of a document.
std::string between(const std::string& document, const std::string& opening, const std::string& closing) {
    const size_t from = document.find(opening);
    const size_t to = document.rfind(closing);
    if (from == std::string::npos || to == std::string::npos) return "";
    return document.substr(from + opening.size(), to - from - opening.size());
}

// Why the sentence is none: the word that does not fit, and the form that is nearest.
void explain(const Sentence& sentence, Said& said) {
    const Judgement judgement = judge(sentence.words);
    const Remark* remark = judgement.remarks.empty() ? nullptr : &judgement.remarks.front();
    if (judgement.kind != Judgement::misfit || remark == nullptr) {
        said.refusal = "not a sentence that tolvane knows";
        return;
    }
    said.word = remark->word;
    said.refusal = remark->text + "; the nearest form is: " + judgement.form;
}

Said answer_to(const Sentence& sentence, const Ended& ended) {
    Said said;
    said.answer = answer_in(ended.output);
    said.whole = ended.output;
    const std::optional<Refusal> refused = refusal_in(ended.output);
    if (ended.status != 0)
        said.refusal = "tolvane ended with status " + std::to_string(ended.status);
    else if (said.answer == Answer::not_understood)
        explain(sentence, said);
    else if (refused)
        said.refusal = "NG " + refused->code + ": " + refused->message;
    if (!ended.output.starts_with("<response>")) said.output = ended.output;
    return said;
}

// Why this program did not do it; empty when it did.
std::string failure_of(const Ended& ended) {
    if (ended.status == 0) return "";
    const std::string line = ended.output.substr(0, ended.output.find('\n'));
    const std::string name = "emuswitch: ";
    return line.starts_with(name) ? line.substr(name.size()) : line;
}

bool is_for_companion(const Sentence& sentence) {
    return sentence.words.front() == "emuswitch";
}

void require_playable(const Sentence& sentence) {
    static const std::set<std::string> playable{"call", "fail", "ipif", "lag", "learn", "limit", "reset"};
    if (sentence.words.front() == "tolvane")
        throw BadLine(sentence.columns.front(),
                      "a line is a sentence without the name of the program; leave \"tolvane\" out");
    if (is_for_companion(sentence) && (sentence.words.size() < 2 || !playable.contains(sentence.words[1])))
        throw BadLine(sentence.columns.front(),
                      "a file of sentences can have emuswitch call, fail, ipif, lag, learn, limit and reset");
}

// Decimal seconds with up to nine places, as nanoseconds.
std::optional<int64_t> read_seconds(const std::string& word) {
    constexpr size_t most_digits = 9;
    const size_t point = std::min(word.find('.'), word.size());
    const std::string whole = word.substr(0, point);
    std::string rest = point < word.size() ? word.substr(point + 1) : "0";
    const auto is_number = [](const std::string& text) {
        return !text.empty() && text.size() <= most_digits && text.find_first_not_of("0123456789") == std::string::npos;
    };
    if (!is_number(whole) || !is_number(rest)) return std::nullopt;
    rest.append(most_digits - rest.size(), '0');
    return std::stoll(whole) * 1'000'000'000 + std::stoll(rest);
}

void take_time(Sentence& sentence) {
    std::vector<std::string>& words = sentence.words;
    const std::optional<int64_t> at = words.size() < 3 || words[0] != "at" ? std::nullopt : read_seconds(words[1]);
    if (!at) throw BadLine(sentence.columns.front(), "not \"at SECONDS SENTENCE\", such as \"at 2.5 enable port 1\"");
    sentence.at = *at;
    words.erase(words.begin(), words.begin() + 2);
    sentence.columns.erase(sentence.columns.begin(), sentence.columns.begin() + 2);
    sentence.text.clear();
    for (const std::string& word : words)
        sentence.text += (sentence.text.empty() ? "" : " ") + quote_word(word);
}

SentenceFile read_lines(std::istream& in, bool is_timed) {
    SentenceFile file;
    std::string text;
    for (size_t line = 1; std::getline(in, text); ++line) {
        try {
            if (line == 1 && text.starts_with("\xef\xbb\xbf"))
                throw BadLine(1, "the file begins with a byte-order mark (ef bb bf); save it without one");
            Sentence sentence = sentence_of(line, text);
            if (sentence.words.empty()) continue;
            if (is_timed) take_time(sentence);
            require_playable(sentence);
            file.sentences.push_back(std::move(sentence));
        } catch (const BadLine& problem) {
            file.errors.push_back({line, problem.column, "error", problem.what()});
        }
    }
    return file;
}

SentenceFile open_and_read(const std::string& name, bool is_timed) {
    std::error_code problem;
    if (name != "-" && std::filesystem::is_directory(name, problem))
        throw Failure(name + ": is a folder; name a file of sentences");
    std::ifstream opened;
    if (name != "-") opened.open(name);
    std::istream& in = name == "-" ? std::cin : opened;
    if (!in) throw Failure(name + ": cannot be read");
    SentenceFile file = read_lines(in, is_timed);
    if (in.bad()) throw Failure(name + ": cannot be read to its end");
    return file;
}

std::vector<Sentence> only_sentences(const std::string& name, bool is_timed) {
    SentenceFile file = open_and_read(name, is_timed);
    for (const Finding& error : file.errors)
        std::cerr << finding_text(name, error) << "\n";
    if (!file.errors.empty()) throw Failure("");
    return std::move(file.sentences);
}

} // namespace

Sentence sentence_of(size_t line, const std::string& text) {
    Sentence sentence{line, text, {}, {}};
    for (Word& word : split_line(text)) {
        sentence.words.push_back(std::move(word.text));
        sentence.columns.push_back(word.column);
    }
    sentence.columns.push_back(text.find_last_not_of(" \t\r") + 2);
    return sentence;
}

std::string finding_text(const std::string& file, const Finding& finding) {
    return (file == "-" ? "<stdin>" : file) + ":" + std::to_string(finding.line) + ":" +
           std::to_string(finding.column) + ": " + finding.severity + ": " + finding.text;
}

SentenceFile read_sentence_file(const std::string& file) {
    return open_and_read(file, false);
}

std::vector<Sentence> read_sentences(const std::string& file) {
    return only_sentences(file, false);
}

std::vector<Sentence> read_timed_sentences(const std::string& file) {
    std::vector<Sentence> sentences = only_sentences(file, true);
    std::stable_sort(sentences.begin(), sentences.end(),
                     [](const Sentence& one, const Sentence& other) { return one.at < other.at; });
    return sentences;
}

Answer answer_in(const std::string& output) {
    if (output.empty()) return Answer::nothing;
    if (output == "<response>\n  <result>OK</result>\n</response>\n") return Answer::accepted;
    if (output.starts_with("Usage:tolvane\n") || output == surplus) return Answer::not_understood;
    const bool is_refused = output.find("<response>\n  <result>NG</result>\n") != std::string::npos &&
                            output.ends_with("</errmsg>\n  </error>\n</response>\n");
    return is_refused ? Answer::refused : Answer::shown;
}

std::optional<Refusal> refusal_in(const std::string& output) {
    if (answer_in(output) != Answer::refused) return std::nullopt;
    return Refusal{between(output, "<errcode>", "</errcode>"), between(output, "<errmsg>", "</errmsg>")};
}

std::vector<Finding> check_sentence(const Sentence& sentence) {
    std::vector<Finding> findings;
    if (is_for_companion(sentence)) return findings;
    const Judgement judgement = judge(sentence.words);
    for (const Remark& remark : judgement.remarks) {
        const bool is_misfit = judgement.kind == Judgement::misfit && !judgement.form.empty();
        findings.push_back({sentence.line, sentence.columns.at(remark.word),
                            remark.severity == Remark::error ? "error" : "warning",
                            remark.text + (is_misfit ? "; the nearest form is: " + judgement.form : "")});
    }
    return findings;
}

Said say(const Sentence& sentence) {
    const bool is_own = is_for_companion(sentence);
    std::vector<std::string> command{is_own ? own_path() : tool_path()};
    command.insert(command.end(), sentence.words.begin() + (is_own ? 1 : 0), sentence.words.end());
    const Ended ended = run_captured(command, is_own);
    if (!is_own) return answer_to(sentence, ended);
    Said said;
    said.refusal = failure_of(ended);
    said.is_own = true;
    return said;
}

std::string told(const std::string& file, const Sentence& sentence, const Said& said) {
    const size_t column = sentence.columns.at(said.word);
    if (said.is_ignored())
        return finding_text(file, {sentence.line, column, "warning",
                                   shown(sentence.text) + ": ignored: tolvane takes these words and does nothing"});
    const bool is_whole = said.answer != Answer::not_understood;
    return finding_text(file,
                        {sentence.line, column, "error", (is_whole ? shown(sentence.text) + ": " : "") + said.refusal});
}
