// Asking and changing the store.
#include "core/query.h"

#include <cstdio>

namespace emulator {

void bind(sqlite3_stmt* statement, int place, OptionalNumber value) {
    if (value)
        sqlite3_bind_int64(statement, place, *value);
    else
        sqlite3_bind_null(statement, place);
}

void write_damage(notation::Text& out, sqlite3_stmt* row, int column) {
    out.put(sqlite3_column_name(row, column));
    out.put(" cannot be ");
    switch (sqlite3_column_type(row, column)) {
    case SQLITE_INTEGER: {
        char digits[24];
        snprintf(digits, sizeof digits, "%lld", static_cast<long long>(sqlite3_column_int64(row, column)));
        return out.put(digits);
    }
    case SQLITE_TEXT: return out.put("this text");
    case SQLITE_NULL: return out.put("missing");
    default: return out.put("of this type");
    }
}

void note_damage(sqlite3_stmt* row, int column) {
    char what[120];
    notation::Text text(what, sizeof what);
    write_damage(text, row, column);
    store::note_damage(what);
}

int64_t read_number(sqlite3_stmt* row, int column) {
    return read_number(row, column, find_domain(sqlite3_column_name(row, column)));
}

int64_t read_number(sqlite3_stmt* row, int column, const Domain* domain) {
    const int64_t value = sqlite3_column_int64(row, column);
    if (sqlite3_column_type(row, column) == SQLITE_INTEGER && (domain == nullptr || domain->contains(value)))
        return value;
    note_damage(row, column);
    return domain != nullptr ? domain->low : 0;
}

OptionalNumber read_optional_number(sqlite3_stmt* row, int column) {
    if (sqlite3_column_type(row, column) == SQLITE_NULL) return std::nullopt;
    return read_number(row, column);
}

} // namespace emulator
