// Asking and changing the store: short names for a statement with its values.
#pragma once

#include "core/store.h"

#include <concepts>
#include <cstddef>
#include <optional>

namespace emulator {

using OptionalNumber = std::optional<int64_t>;

inline void bind(sqlite3_stmt* statement, int place, std::integral auto value) {
    sqlite3_bind_int64(statement, place, static_cast<int64_t>(value));
}
void bind(sqlite3_stmt* statement, int place, OptionalNumber value);     // none is NULL
inline void bind(sqlite3_stmt* statement, int place, const char* text) { // null is NULL
    sqlite3_bind_text(statement, place, text, -1, SQLITE_STATIC);
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
    int64_t number(int column) const { return sqlite3_column_int64(statement_, column); }
    OptionalNumber optional_number(int column) const {
        if (sqlite3_column_type(statement_, column) == SQLITE_NULL) return std::nullopt;
        return number(column);
    }
    const char* text(int column) const {
        return reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    }

private:
    sqlite3_stmt* statement_;
};

template <typename... Values> bool exists(const char* sql, const Values&... values) {
    return Rows(sql, values...).next();
}

// The first column of the first row; none where there is no row, or NULL.
template <typename... Values> OptionalNumber find_number(const char* sql, const Values&... values) {
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
