// Sentences as text: how words are quoted, and how a line is taken apart again.
#pragma once

#include <string>
#include <vector>

// A word as it stands, or in double quotes with \" \\ \n \t and \xHH where that is needed.
std::string quote_word(const std::string& word);

// Splits a line into words; throws std::runtime_error saying what is wrong with it.
std::vector<std::string> split_words(const std::string& line);
