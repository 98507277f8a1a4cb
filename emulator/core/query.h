// Asking and changing the store: short names for a statement with its values.
#pragma once

#include "core/domains.h"
#include "core/store.h"
#include "notation.h"
#include "platform/words.h"

#include <concepts>
#include <cstddef>
#include <optional>

namespace emulator {

using OptionalNumber = std::optional<int64_t>;

// Says what a column of the row cannot be: "color cannot be 100".
void write_damage(notation::Text& out, sqlite3_stmt* row, int column);
void note_damage(sqlite3_stmt* row, int column);

inline void bind(sqlite3_stmt* statement, int place, std::integral auto value) {
    sqlite3_bind_int64(statement, place, static_cast<int64_t>(value));
}
void bind(sqlite3_stmt* statement, int place, OptionalNumber value);     // none is NULL
inline void bind(sqlite3_stmt* statement, int place, const char* text) { // null is NULL
    sqlite3_bind_text(statement, place, text, -1, SQLITE_STATIC);
}

// A number of the row. What its column cannot have is noted as damage, and read as a number that it can: NULL too, but
// for the optional ones, which are none then. An expression gets the name of the column that it is of with AS.
int64_t read_number(sqlite3_stmt* row, int column);
int64_t read_number(sqlite3_stmt* row, int column, const Domain* domain); // looked up once, for many rows
OptionalNumber read_optional_number(sqlite3_stmt* row, int column);

// The word for a number of the row; null, having noted damage, where there is none.
template <size_t Count> const char* read_word(sqlite3_stmt* row, int column, const NumberedWord (&words)[Count]) {
    const char* const word = word_for(words, sqlite3_column_int64(row, column));
    if (word == nullptr || sqlite3_column_type(row, column) != SQLITE_INTEGER) note_damage(row, column);
    return word;
}

// The rows that a statement finds.
class Rows {
public:
    template <typename... Values>
    explicit Rows(const char* sql, const Values&... values) : statement_(store::statement(sql)) {
        [[maybe_unused]] int place = 0;
        if (statement_ != nullptr) (bind(statement_, ++place, values), ...);
    }
    ~Rows() { sqlite3_reset(statement_); }
    Rows(const Rows&) = delete;
    Rows& operator=(const Rows&) = delete;

    bool next() {
        if (statement_ == nullptr) return false;
        const int result = sqlite3_step(statement_);
        store::note_result(result);
        return result == SQLITE_ROW;
    }
    int64_t number(int column) const { return read_number(statement_, column); }
    OptionalNumber optional_number(int column) const { return read_optional_number(statement_, column); }

private:
    sqlite3_stmt* statement_;
};

template <typename... Values> bool exists(const char* sql, const Values&... values) {
    return Rows(sql, values...).next();
}

// The first column of the first row; none where there is no row.
template <typename... Values> OptionalNumber find_number(const char* sql, const Values&... values) {
    Rows rows(sql, values...);
    if (!rows.next()) return std::nullopt;
    return rows.number(0);
}

// Of a column that may be NULL, which counts as none.
template <typename... Values> OptionalNumber find_optional_number(const char* sql, const Values&... values) {
    Rows rows(sql, values...);
    if (!rows.next()) return std::nullopt;
    return rows.optional_number(0);
}

// Returns how many rows were inserted, updated or deleted; those that went with their parent do not count.
template <typename... Values> int64_t change(const char* sql, const Values&... values) {
    Rows rows(sql, values...);
    while (rows.next()) {
    }
    return store::failure() == 0 ? store::changed_rows() : 0;
}

} // namespace emulator
