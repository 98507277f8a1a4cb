// The companion's connection to the store. The core makes and judges the file, so that both have one idea of it.
#include "companion/database.h"

#include "companion/names.h"
#include "core/location.h"
#include "core/query.h"
#include "core/store.h"
#include "core/store_scripts.h"

#include <sqlite3.h>

#include <filesystem>

namespace {

// What went wrong has been said by the core already.
const char* const already_said = "";

// For the locks of programs that know nothing of turns.
constexpr int longest_wait = 20000; // ms

// What is wrong with a file, and what to do about it, as the core says it.
std::string trouble_of(int result, const std::string& reason) {
    switch (result) {
    case SQLITE_FULL: return "cannot be written (" + reason + "); make room on its disk";
    case SQLITE_IOERR: return "cannot be read or written (" + reason + "); see to its disk";
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM: return "cannot be written (" + reason + "); let this user write the file and its folder";
    case SQLITE_NOMEM: return "out of memory; end other programs";
    default: return reason;
    }
}

// As the store has it: 01:80:c2:00:00:0a.
bool is_mac(const std::string& text) {
    constexpr size_t length = 17;
    for (size_t i = 0; i < text.size(); ++i) {
        const char c = text[i];
        if (i % 3 == 2 ? c != ':' : !((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
    }
    return text.size() == length;
}

} // namespace

std::string store_path() {
    char path[PATH_MAX];
    if (const char* const problem = emulator::find_store(path); problem != nullptr) throw Failure(problem);
    return path;
}

// --- Query ---

Query::Query(Database& source, const std::string& sql, const std::vector<Parameter>& parameters)
    : database_(source), statement_(nullptr, sqlite3_finalize) {
    sqlite3_stmt* prepared = nullptr;
    if (sqlite3_prepare_v2(source.connection_.get(), sql.c_str(), -1, &prepared, nullptr) != SQLITE_OK) source.fail();
    statement_.reset(prepared);
    for (int i = 0; i < sqlite3_column_count(prepared); ++i)
        columns_.push_back({sqlite3_column_name(prepared, i), emulator::find_domain(sqlite3_column_name(prepared, i))});
    int place = 0;
    for (const Parameter& parameter : parameters) {
        ++place;
        if (parameter.number)
            sqlite3_bind_int64(prepared, place, *parameter.number);
        else
            sqlite3_bind_text(prepared, place, parameter.text->data(), static_cast<int>(parameter.text->size()),
                              SQLITE_TRANSIENT);
    }
}

bool Query::next() {
    const int result = sqlite3_step(statement_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) database_.fail();
    return result == SQLITE_ROW;
}

size_t Query::place_of(const char* column) const {
    for (size_t place = 0; place < columns_.size(); ++place)
        if (columns_[place].name == column) return place;
    throw std::logic_error(std::string("a query without a column ") + column);
}

bool Query::is_null(const char* column) const {
    return sqlite3_column_type(statement_.get(), static_cast<int>(place_of(column))) == SQLITE_NULL;
}

int64_t Query::number_in(const char* column, bool is_any) const {
    const size_t place = place_of(column);
    const int64_t value = sqlite3_column_int64(statement_.get(), static_cast<int>(place));
    const emulator::Domain* const domain = is_any ? nullptr : columns_[place].domain;
    if (sqlite3_column_type(statement_.get(), static_cast<int>(place)) != SQLITE_INTEGER ||
        (domain != nullptr && !domain->contains(value)))
        fail_as_damaged(column);
    return value;
}

int64_t Query::number(const char* column) const {
    return number_in(column, false);
}

int64_t Query::any_number(const char* column) const {
    return number_in(column, true);
}

std::optional<int64_t> Query::optional_number(const char* column) const {
    if (is_null(column)) return std::nullopt;
    return number(column);
}

std::optional<int64_t> Query::optional_any_number(const char* column) const {
    if (is_null(column)) return std::nullopt;
    return any_number(column);
}

bool Query::flag(const char* column) const {
    const int64_t value = number(column);
    if (value != 0 && value != 1) fail_as_damaged(column);
    return value == 1;
}

std::string Query::text(const char* column) const {
    const auto place = static_cast<int>(place_of(column));
    if (sqlite3_column_type(statement_.get(), place) != SQLITE_TEXT) fail_as_damaged(column);
    const auto* const bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), place));
    std::string found(bytes, static_cast<size_t>(sqlite3_column_bytes(statement_.get(), place)));
    if (columns_[static_cast<size_t>(place)].name == "mac" && !is_mac(found)) fail_as_damaged(column);
    return found;
}

std::optional<std::string> Query::optional_text(const char* column) const {
    if (is_null(column)) return std::nullopt;
    return text(column);
}

void Query::fail_as_damaged(const char* column) const {
    database_.fail_as_damaged(statement_.get(), static_cast<int>(place_of(column)));
}

// --- Database ---

Database::Database(const std::string& path) : file_(path) {
    if (emulator::store::begin() != 0 || emulator::store::commit() != 0) throw Failure(already_said);
    open(file_);
    script("PRAGMA journal_mode = PERSIST; PRAGMA synchronous = OFF; PRAGMA foreign_keys = ON");
}

// A name such as ":memory:" is that of a file here.
Database::Database(Unjudged /*how*/, std::string of) : file_(std::move(of)) {
    open(std::filesystem::absolute(file_));
}

Database Database::snapshot() {
    Database store;
    Database memory{in_memory, store.file_};
    store.copy(memory.connection_.get());
    return memory;
}

Database Database::copy_of(const std::string& path) {
    Database store{Unjudged{}, path};
    Database memory{in_memory, path};
    store.copy(memory.connection_.get());
    memory.bring_up_to_date();
    return memory;
}

// The store has been read from a file that may be any.
void Database::bring_up_to_date() {
    const int64_t application = number("SELECT application_id FROM pragma_application_id");
    const int64_t found = number("SELECT user_version FROM pragma_user_version");
    if (application != emulator::store::application_id || found < 1)
        throw Failure(file_ + ": not the store of an emulated switch");
    if (found > emulator::store::version)
        throw Failure(file_ + ": made by a later emuswitch (version " + std::to_string(found) + ", this one knows " +
                      std::to_string(emulator::store::version) + "); use that one");
    for (int64_t step = found; step < emulator::store::version; ++step)
        script(store_migrations[step - 1]);
}

Database Database::image(const Database& store, const char* file_system) {
    return {file_system, store.file_};
}

Database Database::fresh() {
    Database memory{in_memory, "a new switch"};
    memory.script(store_schema);
    return memory;
}

void Database::open(const std::string& name, const char* file_system) {
    sqlite3* opened = nullptr;
    const int access = file_system == nullptr ? SQLITE_OPEN_READWRITE : SQLITE_OPEN_READONLY;
    const int result = sqlite3_open_v2(name.c_str(), &opened, access | SQLITE_OPEN_NOMUTEX, file_system);
    connection_ = {opened, sqlite3_close};
    if (result != SQLITE_OK) fail();
    sqlite3_busy_timeout(opened, longest_wait);
}

void Database::fail() {
    const int result = connection_ != nullptr ? sqlite3_errcode(connection_.get()) : SQLITE_NOMEM;
    const std::string reason = connection_ != nullptr ? sqlite3_errmsg(connection_.get()) : "out of memory";
    // A schema that is not ours does not fit our statements.
    if (result == SQLITE_CORRUPT || result == SQLITE_NOTADB || result == SQLITE_ERROR) fail_as_damaged(reason);
    if (result == SQLITE_BUSY) throw Locked(file_ + ": " + reason);
    throw Failure(file_ + ": " + trouble_of(result, reason));
}

void Database::fail_as_damaged(sqlite3_stmt* row, int column) {
    char what[120];
    notation::Text text(what, sizeof what);
    emulator::write_damage(text, row, column);
    fail_as_damaged(what);
}

void Database::fail_as_damaged(const std::string& what) {
    throw Failure(file_ + ": damaged (" + shown(what) + "); move it away, the next sentence makes an empty switch");
}

int64_t Database::number(const std::string& sql, const std::vector<Parameter>& parameters) {
    Query query(*this, "SELECT (" + sql + ") AS number", parameters);
    return query.next() ? query.optional_number("number").value_or(0) : 0;
}

int Database::change(const std::string& sql, const std::vector<Parameter>& parameters) {
    Query query(*this, sql, parameters);
    query.next();
    return sqlite3_changes(connection_.get());
}

void Database::script(const std::string& sql) {
    if (sqlite3_exec(connection_.get(), sql.c_str(), nullptr, nullptr, nullptr) != SQLITE_OK) fail();
}

void Database::copy(sqlite3* target) {
    sqlite3_backup* const backup = sqlite3_backup_init(target, "main", connection_.get(), "main");
    const int result = backup == nullptr ? SQLITE_ERROR : sqlite3_backup_step(backup, -1);
    sqlite3_backup_finish(backup);
    if (result == SQLITE_DONE) return;
    const std::string reason = sqlite3_errmsg(target);
    if (result == SQLITE_CORRUPT || result == SQLITE_NOTADB) fail_as_damaged(reason);
    throw Failure(file_ + ": cannot be copied (" + reason + ")");
}

void Database::copy_to(const std::string& path) {
    sqlite3* opened = nullptr;
    const int result = sqlite3_open(path.c_str(), &opened);
    const std::unique_ptr<sqlite3, int (*)(sqlite3*)> target{opened, sqlite3_close};
    if (result != SQLITE_OK) throw Failure(path + ": cannot be written (" + sqlite3_errstr(result) + ")");
    copy(opened);
}

// --- Transaction ---

Transaction::Transaction(Database& target) : database_(target) {
    if (emulator::store::take_turn() != 0) throw Failure(already_said);
    try {
        database_.script("BEGIN IMMEDIATE");
    } catch (const Failure&) {
        emulator::store::give_turn_back();
        throw;
    }
}

Transaction::~Transaction() {
    try {
        if (is_open_) database_.script("ROLLBACK");
    } catch (const Failure&) { // the failure that brought us here has taken the transaction back
    }
    emulator::store::give_turn_back();
}

void Transaction::commit() {
    database_.script("COMMIT");
    is_open_ = false;
}

// --- Children ---

Children::Children(Database& source, const std::string& sql, std::vector<const char*> common)
    : rows_(source, sql), keys_(std::move(common)), has_row_(rows_.next()) {}

bool Children::is_at(const Query& parent) const {
    if (!has_row_) return false;
    for (const char* key : keys_) {
        const int64_t own = rows_.any_number(key);
        const int64_t wanted = parent.any_number(key);
        if (own < wanted) rows_.fail_as_damaged(key); // its parent would have come before
        if (own > wanted) return false;
    }
    return true;
}

void Children::expect_end() const {
    if (has_row_) rows_.fail_as_damaged(keys_.front());
}
