// Reading transcripts.
#include "contract/transcript.h"

#include <filesystem>
#include <fstream>
#include <optional>
#include <regex>
#include <sstream>
#include <stdexcept>

namespace {

// {a*300}: what stands before the last asterisk, so many times.
std::string expand_repetitions(const std::string& line) {
    static const std::regex repetition(R"(\{([^{}]+)\*(\d+)\})");
    std::string expanded;
    std::string rest = line;
    for (std::smatch match; std::regex_search(rest, match, repetition); rest = match.suffix()) {
        expanded += match.prefix();
        for (int i = std::stoi(match[2]); i > 0; --i)
            expanded += match[1];
    }
    return expanded + rest;
}

// Reads text that stands in double quotes, from the opening one on.
std::string read_quoted(const std::string& line, size_t& at) {
    std::string text;
    for (++at; at < line.size() && line[at] != '"'; ++at) {
        if (line[at] != '\\') {
            text += line[at];
            continue;
        }
        if (++at == line.size()) break;
        switch (line[at]) {
        case 'n': text += '\n'; break;
        case 't': text += '\t'; break;
        case 'x':
            if (at + 2 >= line.size()) throw std::runtime_error("\\x needs two digits");
            text += static_cast<char>(std::stoi(line.substr(at + 1, 2), nullptr, 16));
            at += 2;
            break;
        default: text += line[at];
        }
    }
    if (at >= line.size()) throw std::runtime_error("a quotation mark is missing");
    ++at;
    return text;
}

std::vector<std::string> split_words(const std::string& sentence) {
    std::vector<std::string> words;
    for (size_t at = 0; at < sentence.size();) {
        if (sentence[at] == ' ') {
            ++at;
        } else if (sentence[at] == '"') {
            words.push_back(read_quoted(sentence, at));
        } else {
            const size_t end = std::min(sentence.find(' ', at), sentence.size());
            words.push_back(sentence.substr(at, end - at));
            at = end;
        }
    }
    return words;
}

// Where the call ends: the closing parenthesis that is not in quotes.
size_t end_of_call(const std::string& line) {
    bool in_quotes = false;
    for (size_t at = 0; at < line.size(); ++at) {
        if (line[at] == '\\' && in_quotes)
            ++at;
        else if (line[at] == '"')
            in_quotes = !in_quotes;
        else if (line[at] == ')' && !in_quotes)
            return at + 1;
    }
    throw std::runtime_error("a call ends with a closing parenthesis");
}

Call read_call(const std::string& line) {
    Call call;
    const size_t end = end_of_call(line);
    call.text = line.substr(0, end);
    if (end == line.size()) return call;

    static const std::regex answer(
        R"re( = (-?\d+)(?: status (-?\d+))?(?: (?:vid|type|number) (-?\d+))?(?: prints (".*"))?)re");
    std::smatch match;
    const std::string text = line.substr(end);
    if (!std::regex_match(text, match, answer)) throw std::runtime_error("not an answer:" + text);
    call.result = match[1];
    call.status = match[2];
    call.value = match[3];
    if (match[4].matched) {
        size_t at = 0;
        call.prints = read_quoted(match[4], at);
    }
    return call;
}

std::optional<std::string> read_outcome(const std::string& line, const std::string& usage) {
    if (line == "OK") return ok_document();
    if (line == "usage") return usage;
    if (line == "no more argument") return "no more argument\n";
    if (line == "nothing") return "";
    static const std::regex refusal(R"re(NG (-?\d+) (".*"))re", std::regex::optimize);
    if (std::smatch match; std::regex_match(line, match, refusal)) {
        size_t at = 0;
        return ng_document(match[1], read_quoted(match[2], at));
    }
    return std::nullopt;
}

// The lines of one block, from its first sentence to the blank line.
struct Block {
    std::vector<Case> cases; // sentence and place only
    std::vector<Call> calls;
    std::optional<std::string> output;
    bool has_any_output = false;

    bool empty() const { return cases.empty(); }
};

void read_line(const std::string& line, const std::string& file, int number, const std::string& usage, Block& block) {
    const std::string rest = line.size() > 2 ? expand_repetitions(line.substr(2)) : "";
    if (line.starts_with("$")) {
        if (!block.calls.empty() || block.output)
            throw std::runtime_error("a blank line is missing before the sentence");
        Case item;
        item.file = file;
        item.line = number;
        item.sentence = line.size() > 2 ? line.substr(2) : "";
        item.words = split_words(rest);
        block.cases.push_back(item);
    } else if (block.empty()) {
        throw std::runtime_error("a case begins with its sentence: $ words");
    } else if (line.starts_with("> ")) {
        if (block.output) throw std::runtime_error("the calls stand before the outcome");
        block.calls.push_back(read_call(rest));
    } else if (line.starts_with("|")) {
        block.output = block.output.value_or("") + rest + "\n";
    } else if (block.output) {
        throw std::runtime_error("a second outcome");
    } else if (line == "...") {
        block.output = "";
        block.has_any_output = true;
    } else {
        block.output = read_outcome(expand_repetitions(line), usage);
        if (!block.output) throw std::runtime_error("not an outcome: " + line);
    }
}

void finish(Block& block, std::vector<Case>& cases) {
    if (block.empty()) return;
    if (!block.output) throw std::runtime_error("the outcome is missing");
    for (Case& item : block.cases) {
        item.calls = block.calls;
        item.output = *block.output;
        item.has_any_output = block.has_any_output;
        cases.push_back(item);
    }
    block = Block{};
}

} // namespace

std::string read_file(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) throw std::runtime_error(path + ": cannot be read");
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

std::string ok_document() {
    return "<response>\n  <result>OK</result>\n</response>\n";
}

std::string ng_document(const std::string& code, const std::string& message) {
    return "<response>\n  <result>NG</result>\n  <error>\n    <errcode>" + code + "</errcode>\n    <errmsg>" + message +
           "</errmsg>\n  </error>\n</response>\n";
}

std::vector<Case> read_transcript(const std::string& path, const std::string& usage) {
    std::vector<Case> cases;
    Block block;
    std::istringstream lines(read_file(path));
    const std::string file = std::filesystem::path(path).stem().string();
    int number = 0;
    try {
        for (std::string line; std::getline(lines, line);) {
            ++number;
            if (line.empty())
                finish(block, cases);
            else if (line[0] != '#')
                read_line(line, file, number, usage, block);
        }
        finish(block, cases);
    } catch (const std::exception& problem) {
        throw std::runtime_error(path + ":" + std::to_string(number) + ": " + problem.what());
    }
    return cases;
}
