// What somebody may have meant who wrote a word that is not known.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// How many letters have to be put in, taken out, replaced or swapped with the next one to turn one word into the other.
size_t edit_distance(std::string_view one, std::string_view other);

// The known word that is nearest, the first of several; none where all of them are other words altogether.
std::optional<std::string> nearest_word(std::string_view word, const std::vector<std::string>& known);

// ", did you mean "show"?" for the nearest, else nothing: the end of a message.
std::string did_you_mean(std::string_view word, const std::vector<std::string>& known);
