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

int hex_value(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    throw std::runtime_error("\\x needs two hexadecimal digits");
}

std::string read_quoted(const std::string& line, size_t& at) {
    std::string word;
    while (++at < line.size() && line[at] != '"') {
        if (line[at] != '\\') {
            word += line[at];
            continue;
        }
        if (++at == line.size()) break;
        switch (line[at]) {
        case 'n': word += '\n'; break;
        case 't': word += '\t'; break;
        case 'x':
            if (at + 2 >= line.size()) throw std::runtime_error("\\x needs two hexadecimal digits");
            word += static_cast<char>(hex_value(line[at + 1]) * 16 + hex_value(line[at + 2]));
            at += 2;
            break;
        default: word += line[at];
        }
    }
    if (at >= line.size()) throw std::runtime_error("a closing quotation mark is missing");
    ++at;
    return word;
}

} // namespace

std::string quote_word(const std::string& word) {
    if (!word.empty() && std::all_of(word.begin(), word.end(), stands_alone)) return word;
    std::string buffer(4 * word.size() + 3, '\0');
    notation::Text text(buffer.data(), buffer.size());
    notation::write_quoted(text, word.c_str());
    return {text.buffer, text.length};
}

std::vector<std::string> split_words(const std::string& line) {
    std::vector<std::string> words;
    size_t at = 0;
    while ((at = line.find_first_not_of(" \t\r", at)) != std::string::npos) {
        if (line[at] == '#') break;
        if (line[at] == '"') {
            words.push_back(read_quoted(line, at));
        } else {
            const size_t end = std::min(line.find_first_of(" \t\r", at), line.size());
            words.push_back(line.substr(at, end - at));
            at = end;
        }
    }
    return words;
}
