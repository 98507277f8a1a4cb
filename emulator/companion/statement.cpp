// Prepared statements.
#include "companion/statement.h"

std::string_view Statement::text(int column) const {
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(prepared, column));
    if (bytes == nullptr) return {};
    return {bytes, static_cast<size_t>(sqlite3_column_bytes(prepared, column))};
}

void Statement::fail_as_damaged(int column) const {
    database.fail_as_damaged(prepared, column);
}

void Statement::start() {
    if (prepared != nullptr) return;
    if (sqlite3_prepare_v3(database.handle(), sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr) != SQLITE_OK)
        database.fail();
    for (int column = 0; column < sqlite3_column_count(prepared); ++column)
        domains.push_back(emulator::find_domain(sqlite3_column_name(prepared, column)));
}

bool Statement::has_row() {
    const int result = sqlite3_step(prepared);
    if (result == SQLITE_ROW) return true;
    if (result != SQLITE_DONE) database.fail();
    return false;
}
