// The companion's connection to the store. The core makes and judges the file, so that both have one idea of it.
#include "companion/database.h"

#include "core/location.h"
#include "core/store.h"

#include <sqlite3.h>

namespace {

// What went wrong has been said by the core already.
const char* const already_said = "";

int wait_turn(void* /*unused*/, int attempt) {
    constexpr int longest_wait = 20000; // ms
    if (attempt * 2 > longest_wait) return 0;
    sqlite3_sleep(2);
    return 1;
}

} // namespace

std::string Cell::str() const {
    if (text) return *text;
    return number ? std::to_string(*number) : "-";
}

std::filesystem::path store_path() {
    char path[PATH_MAX];
    if (const char* const problem = emulator::find_store(path); problem != nullptr) throw Failure(problem);
    return path;
}

Database::Database(const std::filesystem::path& path) : file(path) {
    if (emulator::store::begin() != 0 || emulator::store::commit() != 0) throw Failure(already_said);
    if (sqlite3_open_v2(path.c_str(), &connection, SQLITE_OPEN_READWRITE, nullptr) != SQLITE_OK) fail();
    sqlite3_busy_handler(connection, wait_turn, nullptr);
    script("PRAGMA journal_mode = PERSIST; PRAGMA synchronous = OFF; PRAGMA foreign_keys = ON");
}

Database::~Database() {
    sqlite3_close(connection);
}

void Database::fail() {
    throw Failure(file.string() + ": " + (connection != nullptr ? sqlite3_errmsg(connection) : "out of memory"));
}

void Database::fail_as_damaged(const std::string& what) {
    throw Failure(file.string() + ": damaged (" + what + "); move it away, the next sentence makes an empty switch");
}

sqlite3_stmt* Database::prepare(const std::string& sql, const std::vector<Parameter>& parameters) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) fail();
    int place = 0;
    for (const Parameter& parameter : parameters) {
        ++place;
        if (parameter.number)
            sqlite3_bind_int64(statement, place, *parameter.number);
        else
            sqlite3_bind_text(statement, place, parameter.text->c_str(), -1, SQLITE_TRANSIENT);
    }
    return statement;
}

Answer Database::query(const std::string& sql, const std::vector<Parameter>& parameters) {
    sqlite3_stmt* const statement = prepare(sql, parameters);
    Answer result;
    const int count = sqlite3_column_count(statement);
    for (int i = 0; i < count; ++i)
        result.columns.emplace_back(sqlite3_column_name(statement, i));
    int step = 0;
    while ((step = sqlite3_step(statement)) == SQLITE_ROW) {
        Row row(static_cast<size_t>(count));
        for (int i = 0; i < count; ++i) {
            Cell& cell = row[static_cast<size_t>(i)];
            const int type = sqlite3_column_type(statement, i);
            if (type == SQLITE_INTEGER)
                cell.number = sqlite3_column_int64(statement, i);
            else if (type != SQLITE_NULL)
                cell.text = reinterpret_cast<const char*>(sqlite3_column_text(statement, i));
        }
        result.rows.push_back(std::move(row));
    }
    sqlite3_finalize(statement);
    if (step != SQLITE_DONE) fail();
    return result;
}

int64_t Database::number(const std::string& sql, const std::vector<Parameter>& parameters) {
    return query(sql, parameters).rows.at(0).at(0).number.value_or(0);
}

int Database::change(const std::string& sql, const std::vector<Parameter>& parameters) {
    sqlite3_stmt* const statement = prepare(sql, parameters);
    const int step = sqlite3_step(statement);
    sqlite3_finalize(statement);
    if (step != SQLITE_DONE) fail();
    return sqlite3_changes(connection);
}

void Database::script(const std::string& sql) {
    if (sqlite3_exec(connection, sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

void Database::copy_to(const std::filesystem::path& path) {
    sqlite3* target = nullptr;
    bool is_done = sqlite3_open(path.c_str(), &target) == SQLITE_OK;
    if (is_done) {
        sqlite3_backup* const backup = sqlite3_backup_init(target, "main", connection, "main");
        is_done = backup != nullptr && sqlite3_backup_step(backup, -1) == SQLITE_DONE;
        sqlite3_backup_finish(backup);
    }
    const std::string reason = is_done ? "" : sqlite3_errmsg(target);
    sqlite3_close(target);
    if (!is_done) throw Failure(path.string() + ": cannot be written (" + reason + ")");
}

Transaction::Transaction(Database& target) : database(target) {
    if (emulator::store::take_turn() != 0) throw Failure(already_said);
    try {
        database.script("BEGIN IMMEDIATE");
    } catch (const Failure&) {
        emulator::store::give_turn_back();
        throw;
    }
}

Transaction::~Transaction() {
    try {
        if (is_open) database.script("ROLLBACK");
    } catch (const Failure&) { // the failure that brought us here has taken the transaction back
    }
    emulator::store::give_turn_back();
}

void Transaction::commit() {
    database.script("COMMIT");
    is_open = false;
}
