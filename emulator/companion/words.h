// Sentences as text: how words are quoted, and how a line is taken apart again.
#pragma once

#include <stdexcept>
#include <string>
#include <vector>

// Of a hexadecimal digit; -1: it is none.
int hex_value(char c);

// A word as it stands, or in double quotes with \" \\ \n \t and \xHH where that is needed.
std::string quote_word(const std::string& word);

struct Word {
    std::string text;
    size_t column; // of its first byte, from 1
};

// A line that has no words: what is wrong with it, and in which column.
class BadLine : public std::runtime_error {
public:
    BadLine(size_t at, const std::string& what) : std::runtime_error(what), column(at) {}
    size_t column;
};

// Splits a line into words; throws BadLine. What stands behind a # at the beginning of a word is left out.
std::vector<Word> split_line(const std::string& line);

// The same without the columns.
std::vector<std::string> split_words(const std::string& line);

// Where the word begins in which a line ends, be it whole or not; behind a blank that is the end of the line.
size_t start_of_last_word(const std::string& line);
