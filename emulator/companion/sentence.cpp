// Reading sentences and saying them.
#include "companion/sentence.h"

#include "companion/child_process.h"
#include "companion/database.h"
#include "companion/words.h"

#include <algorithm>
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

// Why the sentence was not accepted; empty when it was.
std::string refusal(const Ended& ended) {
    if (ended.status != 0) return "tolvane ended with status " + std::to_string(ended.status);
    if (ended.output.starts_with("Usage:")) return "not a sentence that tolvane knows (it shows its usage text)";
    if (ended.output == surplus) return "surplus words (no more argument)";
    const std::optional<Refusal> refused = refusal_in(ended.output);
    return refused ? "NG " + refused->code + ": " + refused->message : "";
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
    if (is_for_companion(sentence) && (sentence.words.size() < 2 || playable.count(sentence.words[1]) == 0))
        throw std::runtime_error(
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
    if (!at) throw std::runtime_error("not \"at SECONDS SENTENCE\", such as \"at 2.5 enable port 1\"");
    sentence.at = *at;
    words.erase(words.begin(), words.begin() + 2);
    sentence.text.clear();
    for (const std::string& word : words)
        sentence.text += (sentence.text.empty() ? "" : " ") + quote_word(word);
}

std::vector<Sentence> read_lines(const std::string& file, bool is_timed) {
    std::ifstream opened;
    if (file != "-") opened.open(file);
    std::istream& in = file == "-" ? std::cin : opened;
    if (!in) throw Failure(file + ": cannot be read");

    std::vector<Sentence> sentences;
    std::string text;
    for (size_t line = 1; std::getline(in, text); ++line) {
        try {
            Sentence sentence{line, text, split_words(text)};
            if (sentence.words.empty()) continue;
            if (is_timed) take_time(sentence);
            require_playable(sentence);
            sentences.push_back(std::move(sentence));
        } catch (const std::runtime_error& problem) {
            throw Failure(file + ":" + std::to_string(line) + ": " + problem.what());
        }
    }
    if (in.bad()) throw Failure(file + ": cannot be read to its end");
    return sentences;
}

} // namespace

std::vector<Sentence> read_sentences(const std::string& file) {
    return read_lines(file, false);
}

std::vector<Sentence> read_timed_sentences(const std::string& file) {
    std::vector<Sentence> sentences = read_lines(file, true);
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

Said say(const Sentence& sentence) {
    const bool is_own = is_for_companion(sentence);
    std::vector<std::string> command{is_own ? own_path() : tool_path()};
    command.insert(command.end(), sentence.words.begin() + (is_own ? 1 : 0), sentence.words.end());
    const Ended ended = run_captured(command, is_own);
    if (is_own) return {failure_of(ended), "", "", true};
    return {refusal(ended), ended.output.starts_with("<response>") ? "" : ended.output, ended.output, false};
}
