// Prepared statements.
#include "companion/statement.h"

std::string_view Statement::text(int column) const {
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(prepared_, column));
    if (bytes == nullptr) return {};
    return {bytes, static_cast<size_t>(sqlite3_column_bytes(prepared_, column))};
}

void Statement::fail_as_damaged(int column) const {
    database_.fail_as_damaged(prepared_, column);
}

void Statement::start() {
    if (prepared_ != nullptr) return;
    if (sqlite3_prepare_v3(database_.handle(), sql_, -1, SQLITE_PREPARE_PERSISTENT, &prepared_, nullptr) != SQLITE_OK)
        database_.fail();
    for (int column = 0; column < sqlite3_column_count(prepared_); ++column)
        domains_.push_back(emulator::find_domain(sqlite3_column_name(prepared_, column)));
}

bool Statement::has_row() {
    const int result = sqlite3_step(prepared_);
    if (result == SQLITE_ROW) return true;
    if (result != SQLITE_DONE) database_.fail();
    return false;
}
