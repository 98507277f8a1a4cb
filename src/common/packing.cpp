// Walking through packed tables.
#include "common/packing.h"

#include "common/keyword.h"

namespace {

constexpr int32_t number_of(const char* row) {
    return static_cast<uint8_t>(row[0]) << 8 | static_cast<uint8_t>(row[1]);
}

constexpr const char* text_of(const char* row) {
    return row + 2;
}

constexpr const char* next(const char* row) {
    return end_of(text_of(row)) + 1;
}

} // namespace

const char* find_text(const char* packed_messages, int32_t number) {
    const char* row = packed_messages;
    while (number_of(row) != number && number_of(row) != otherwise)
        row = next(row);
    return text_of(row);
}

int32_t find_number(const char* packed_words, const char* word, const char* end) {
    const char* row = packed_words;
    while (number_of(row) != otherwise && !is_word(word, end, text_of(row)))
        row = next(row);
    return number_of(row);
}
