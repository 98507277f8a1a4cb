// Quoting and splitting.
#include "companion/words.h"

#include "notation.h"

#include <algorithm>
#include <stdexcept>

namespace {

bool stands_alone(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte > 0x20 && byte < 0x7f && c != '"' && c != '\\' && c != '#';
}

constexpr const char* blanks = " \t\r";

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

// A program takes no longer word than this (Linux: 32 pages with the NUL behind it).
constexpr size_t longest_word = 131071;

char read_byte(const std::string& line, size_t at) {
    const int high = at + 2 < line.size() ? hex_value(line[at + 1]) : -1;
    const int low = high >= 0 ? hex_value(line[at + 2]) : -1;
    if (low < 0) throw BadLine(at, "\\x needs two hexadecimal digits");
    if (high == 0 && low == 0) throw BadLine(at, "no word can have a NUL in it");
    return static_cast<char>(high * 16 + low);
}

// Reads the escape whose second character is at `at`, and moves there to its last one.
char read_escape(const std::string& line, size_t& at) {
    switch (line[at]) {
    case 'n': return '\n';
    case 't': return '\t';
    case '"':
    case '\\': return line[at];
    case 'x': {
        const char byte = read_byte(line, at);
        at += 2;
        return byte;
    }
    default: throw BadLine(at, std::string("\\") + line[at] + R"( means nothing; there are \" \\ \n \t and \xHH)");
    }
}

std::string read_quoted(const std::string& line, size_t& at) {
    const size_t column = at + 1;
    std::string word;
    while (++at < line.size() && line[at] != '"') {
        if (line[at] != '\\')
            word += line[at];
        else if (++at < line.size())
            word += read_escape(line, at);
    }
    if (at >= line.size()) throw BadLine(column, "a closing quotation mark is missing");
    ++at;
    if (at < line.size() && !is_blank(line[at]))
        throw BadLine(at + 1, "behind the closing quotation mark a blank is missing");
    return word;
}

} // namespace

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string quote_word(const std::string& word) {
    if (!word.empty() && std::all_of(word.begin(), word.end(), stands_alone)) return word;
    std::string buffer(4 * word.size() + 3, '\0');
    notation::Text text(buffer.data(), buffer.size());
    notation::write_quoted(text, word.c_str());
    return {text.buffer, text.length};
}

std::vector<Word> split_line(const std::string& line) {
    if (const size_t nul = line.find('\0'); nul != std::string::npos)
        throw BadLine(nul + 1, "no word can have a NUL in it");
    std::vector<Word> words;
    size_t at = 0;
    while ((at = line.find_first_not_of(blanks, at)) != std::string::npos) {
        if (line[at] == '#') break;
        const size_t column = at + 1;
        if (line[at] == '"') {
            words.push_back({read_quoted(line, at), column});
        } else {
            const size_t end = std::min(line.find_first_of(blanks, at), line.size());
            words.push_back({line.substr(at, end - at), column});
            at = end;
        }
        if (words.back().text.size() > longest_word)
            throw BadLine(column, "a word of " + std::to_string(words.back().text.size()) + " bytes is too long; " +
                                      std::to_string(longest_word) + " are the most");
    }
    return words;
}

std::vector<std::string> split_words(const std::string& line) {
    std::vector<std::string> words;
    for (Word& word : split_line(line))
        words.push_back(std::move(word.text));
    return words;
}

size_t start_of_last_word(const std::string& line) {
    bool is_quoted = false;
    size_t start = 0;
    for (size_t at = 0; at < line.size(); ++at) {
        if (is_quoted && line[at] == '\\')
            ++at;
        else if (line[at] == '"' && (is_quoted || at == start))
            is_quoted = !is_quoted;
        else if (!is_quoted && is_blank(line[at]))
            start = at + 1;
    }
    return start;
}
