// Keywords, which are matched whole and case-sensitively.
#pragma once

#include <string_view>

constexpr const char* end_of(const char* text) {
    while (*text != '\0')
        ++text;
    return text;
}

// A word that is part of an operand ends before a NUL.
constexpr bool is_word(const char* word, const char* end, const char* keyword) {
    for (; word != end; ++word, ++keyword)
        if (*word != *keyword) return false;
    return *keyword == '\0';
}
constexpr bool is_word(const char* word, const char* keyword) {
    while (*word != '\0' && *word == *keyword) {
        ++word;
        ++keyword;
    }
    return *word == *keyword;
}
constexpr bool is_word(std::string_view word, const char* keyword) {
    return is_word(word.data(), word.data() + word.size(), keyword);
}
