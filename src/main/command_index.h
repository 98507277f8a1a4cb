// Finding the command that a sentence begins with, in a table of them.
#pragma once

#include "common/keyword.h"
#include "common/packing.h"

#include <array>
#include <iterator>
#include <utility>

struct Command {
    const char* verb;
    const char* object;
    const char* keyword; // "" takes any
    void (*handle)(int32_t count, char** words);
};

namespace command_index {

// What the program carries of the rows, without a pointer that the loader would have to relocate at every start: each
// distinct word once, and where a row's words are among them.
struct Row {
    uint16_t verb;
    uint16_t object;
    uint16_t keyword;
};

template <size_t Count> struct Index {
    packing::Buffer words;
    std::array<Row, Count> rows;
};

// The place of a word, which is added when it is new. It may be the end of another.
constexpr uint16_t place_of(const char* word, packing::Buffer& words) {
    for (size_t at = 0; at < words.size; ++at)
        if (is_word(word, words.bytes + at)) return static_cast<uint16_t>(at);
    const auto end = static_cast<uint16_t>(words.size);
    packing::append_word(words, word);
    return end;
}

template <const auto& Commands> consteval auto make() {
    Index<std::size(Commands)> index{};
    for (size_t i = 0; i < std::size(Commands); ++i)
        index.rows[i] = {place_of(Commands[i].verb, index.words), place_of(Commands[i].object, index.words),
                         place_of(Commands[i].keyword, index.words)};
    return index;
}

// NOLINTBEGIN(bugprone-dynamic-static-initializers): what is constexpr is never initialised at run time, in a template
// neither.
template <const auto& Commands> constexpr auto rows = make<Commands>().rows;

template <const auto& Commands>
constexpr auto words_of_rows = packing::pack_with([](packing::Buffer& buffer) { buffer = make<Commands>().words; });
// NOLINTEND(bugprone-dynamic-static-initializers)

// Whether the words of a sentence are those of a row.
inline bool matches(const Row& row, const char* row_words, char** words) {
    if (!is_word(words[0], row_words + row.verb) || !is_word(words[1], row_words + row.object)) return false;
    return row_words[row.keyword] == '\0' || is_word(words[3], row_words + row.keyword);
}

// Each handler is called by its name, and only here: optimised as one unit, they become one function that sets up its
// frame and its addresses once.
template <const auto& Commands, size_t... Place>
void call_handler(size_t row, int32_t count, char** words, std::index_sequence<Place...> /*rows*/) {
    static_cast<void>(((row == Place && (Commands[Place].handle(count, words), true)) || ...));
}

} // namespace command_index

// Calls the handler of the first row that the words of a sentence match and returns, when that does, true; false when
// no row matches. There are at least two words, and four where a row with a keyword could match.
template <const auto& Commands> bool call_first_match(int32_t count, char** words) {
    constexpr size_t row_count = std::size(Commands);
    for (size_t row = 0; row < row_count; ++row) {
        if (!command_index::matches(command_index::rows<Commands>[row], command_index::words_of_rows<Commands>.bytes,
                                    words))
            continue;
        command_index::call_handler<Commands>(row, count, words, std::make_index_sequence<row_count>{});
        return true;
    }
    return false;
}
