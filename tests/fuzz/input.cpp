// The file form of an input.
#include "fuzz/input.h"

#include <algorithm>

namespace {

constexpr size_t header_size = 2;
constexpr size_t answer_size = 13;
constexpr size_t most_answers = 31;

int32_t word_at(const uint8_t* bytes) {
    uint32_t word = 0;
    for (int i = 3; i >= 0; --i)
        word = word << 8 | bytes[i];
    return static_cast<int32_t>(word);
}

void append_word(std::string& bytes, int32_t word) {
    for (unsigned shift = 0; shift < 32; shift += 8)
        bytes += static_cast<char>(static_cast<uint32_t>(word) >> shift & 255U);
}

} // namespace

Input decode(const uint8_t* data, size_t size) {
    Input input;
    if (size < header_size) return input;
    input.first_write = data[1];
    const uint8_t* at = data + header_size;
    const uint8_t* const end = data + size;
    for (size_t i = data[0] % (most_answers + 1); i > 0 && end - at >= static_cast<ptrdiff_t>(answer_size); --i) {
        input.answers.push_back({word_at(at), word_at(at + 4), word_at(at + 8), (at[12] & 1) != 0});
        at += answer_size;
    }
    while (at != end) {
        const uint8_t* const word_end = std::find(at, end, 0);
        input.words.emplace_back(at, word_end);
        at = word_end == end ? end : word_end + 1;
    }
    return input;
}

std::string encode(const Input& input) {
    const size_t count = std::min(input.answers.size(), most_answers);
    std::string bytes{static_cast<char>(count), static_cast<char>(input.first_write)};
    for (size_t i = 0; i < count; ++i) {
        append_word(bytes, input.answers[i].result);
        append_word(bytes, input.answers[i].status);
        append_word(bytes, input.answers[i].value);
        bytes += input.answers[i].stores_status ? '\1' : '\0';
    }
    for (const std::string& word : input.words)
        bytes.append(word.c_str(), word.size() + 1);
    return bytes;
}
