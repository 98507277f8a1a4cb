// The store: opening, making, migrating; transactions; what goes wrong.
#include "core/store.h"

#include "core/location.h"
#include "core/refusal.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <iterator>

extern const char store_schema[];
extern const char store_migration_1[];

namespace emulator::store {

namespace {

constexpr int64_t application_id = 1701671799; // as the schema sets it
constexpr int longest_wait = 20;               // seconds, for other processes

struct Prepared {
    const char* sql;
    sqlite3_stmt* statement;
};

// What this process has of the store.
struct Connection {
    sqlite3* database;
    pid_t owner; // a connection does not survive fork()
    Prepared* prepared;
    size_t prepared_count;
    size_t prepared_room;
    int32_t failure;
    int64_t changes_before; // when the transaction began
    time_t waiting_since;
    int32_t told; // the trouble that standard error was told of last
    char path[PATH_MAX];
};
Connection connection;

// One line on standard error. A sentence makes several calls: the same trouble is not told again.
[[gnu::format(printf, 2, 3)]] int32_t complain(int32_t status, const char* format, ...) {
    if (connection.told == status) return status;
    connection.told = status;
    char line[2 * PATH_MAX];
    const int start =
        snprintf(line, sizeof line, "emuswitch: %s%s", connection.path, connection.path[0] != 0 ? ": " : "");
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line + start, sizeof line - static_cast<size_t>(start), format, arguments);
    va_end(arguments);
    dprintf(STDERR_FILENO, "%s\n", line);
    return status;
}

int32_t complain_of(int result) {
    const char* reason = connection.database != nullptr ? sqlite3_errmsg(connection.database) : sqlite3_errstr(result);
    switch (result & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return complain(refusal::busy, "locked by another process for %d seconds; end that process, or try again",
                        longest_wait);
    case SQLITE_NOTADB:
        return complain(refusal::foreign, "not the store of an emulated switch; name another file in EMUSWITCH");
    case SQLITE_CORRUPT:
        return complain(refusal::damaged, "damaged (%s); move it away, the next sentence makes an empty switch",
                        reason);
    case SQLITE_READONLY:
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
        return complain(refusal::read_only, "cannot be written (%s); let this user write the file and its folder",
                        reason);
    case SQLITE_FULL:
    case SQLITE_IOERR: return complain(refusal::unwritable, "cannot be written (%s); make room on its disk", reason);
    default:
        return complain(refusal::damaged, "cannot be used (%s); move it away, the next sentence makes an empty switch",
                        reason);
    }
}

// Waits a little longer each time, up to 2 ms: sentences are short, and there may be many.
int wait_turn(void*, int attempt) {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    if (attempt == 0) connection.waiting_since = now.tv_sec;
    if (now.tv_sec - connection.waiting_since > longest_wait) return 0;
    const timespec pause{.tv_sec = 0, .tv_nsec = 100'000L * (attempt < 19 ? attempt + 1 : 20)};
    nanosleep(&pause, nullptr);
    return 1;
}

uint32_t big_endian_word(const unsigned char* bytes) {
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

// Reads the header of the file, so that a file that is not ours is not even opened by SQLite, which might change it.
int32_t judge_file() {
    const int file = open(connection.path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (file < 0) {
        if (errno == ENOENT) return 0;
        return complain(refusal::no_place, "cannot be opened (%s); name another file in EMUSWITCH", strerror(errno));
    }
    unsigned char header[100];
    const ssize_t count = read(file, header, sizeof header);
    ::close(file);
    if (count < 0)
        return complain(refusal::no_place, "cannot be read (%s); name another file in EMUSWITCH", strerror(errno));
    if (count == 0) return 0; // made, but not written yet
    if (count < static_cast<ssize_t>(sizeof header) || memcmp(header, "SQLite format 3", 16) != 0 ||
        big_endian_word(header + 68) != application_id)
        return complain_of(SQLITE_NOTADB);
    if (const uint32_t found = big_endian_word(header + 60); found > version)
        return complain(refusal::newer,
                        "made by a later emuswitch (version %u, this one knows %d); use that one, or name "
                        "another file in EMUSWITCH",
                        found, version);
    return 0;
}

int run(const char* sql) {
    sqlite3_stmt* const prepared = statement(sql);
    if (prepared == nullptr) return sqlite3_errcode(connection.database);
    const int result = sqlite3_step(prepared);
    sqlite3_reset(prepared);
    return result == SQLITE_DONE || result == SQLITE_ROW ? SQLITE_OK : result;
}

int64_t number(const char* sql) {
    sqlite3_stmt* const prepared = statement(sql);
    if (prepared == nullptr) return -1;
    const int result = sqlite3_step(prepared);
    note_result(result);
    const int64_t value = result == SQLITE_ROW ? sqlite3_column_int64(prepared, 0) : -1;
    sqlite3_reset(prepared);
    return value;
}

// The step that takes version i + 1 to i + 2.
constexpr const char* migrations[] = {store_migration_1};
static_assert(std::size(migrations) == version - 1);

int32_t run_script(const char* script) {
    const int result = sqlite3_exec(connection.database, script, nullptr, nullptr, nullptr);
    return result == SQLITE_OK ? 0 : complain_of(result);
}

// Makes the schema in an empty file, or brings an earlier one up to date, in the transaction that is open: of several
// processes that come upon it one does it.
int32_t make_current() {
    const int64_t found = number("PRAGMA user_version");
    if (failure() != 0) return failure();
    if (found == 0 && number("SELECT count(*) FROM sqlite_schema") == 0) return run_script(store_schema);
    if (found < 1 || found > version) return complain_of(SQLITE_NOTADB);
    for (int64_t step = found; step < version; ++step)
        if (const int32_t status = run_script(migrations[step - 1]); status != 0) return status;
    return 0;
}

int32_t open_store() {
    connection.path[0] = '\0';
    if (!find_store(connection.path)) {
        connection.path[0] = '\0';
        return complain(refusal::no_place, "no place for the switch; name a file in EMUSWITCH, or set HOME");
    }
    if (!make_folders(connection.path))
        return complain(refusal::no_place, "its folder cannot be made (%s); name another file in EMUSWITCH",
                        strerror(errno));
    if (const int32_t status = judge_file(); status != 0) return status;

    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0); // nobody asks for its statistics, which cost a tenth of the start
    int result = sqlite3_open_v2(connection.path, &connection.database,
                                 SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result == SQLITE_OK) {
        connection.owner = getpid();
        sqlite3_busy_handler(connection.database, wait_turn, nullptr);
        // Losing power may hurt an emulator's store; a killed process does not.
        result = sqlite3_exec(connection.database,
                              "PRAGMA journal_mode = PERSIST; PRAGMA synchronous = OFF; PRAGMA foreign_keys = ON",
                              nullptr, nullptr, nullptr);
    }
    if (result == SQLITE_OK) return 0;
    const int32_t status = complain_of(result);
    close();
    return status;
}

} // namespace

int32_t begin() {
    connection.failure = 0;
    if (connection.database != nullptr && connection.owner != getpid()) {
        connection.database = nullptr; // the parent's, to be left alone
        connection.prepared = nullptr;
        connection.prepared_count = 0;
        connection.prepared_room = 0;
    }
    const bool is_new = connection.database == nullptr;
    if (is_new) {
        if (const int32_t status = open_store(); status != 0) return status;
    }
    if (const int result = run("BEGIN IMMEDIATE"); result != SQLITE_OK) {
        const int32_t status = complain_of(result);
        if (is_new) close();
        return status;
    }
    if (is_new) {
        if (const int32_t status = make_current(); status != 0) {
            roll_back();
            close();
            return status;
        }
    }
    connection.changes_before = sqlite3_total_changes64(connection.database);
    return 0;
}

int32_t commit() {
    const int result = run("COMMIT");
    if (result == SQLITE_OK) {
        connection.told = 0;
        return 0;
    }
    const int32_t status = complain_of(result);
    roll_back();
    return status;
}

void close() {
    for (size_t i = 0; i < connection.prepared_count; ++i)
        sqlite3_finalize(connection.prepared[i].statement);
    connection.prepared_count = 0;
    sqlite3_close_v2(connection.database);
    connection.database = nullptr;
}

void roll_back() {
    if (sqlite3_get_autocommit(connection.database) == 0) run("ROLLBACK");
    connection.failure = 0;
}

int32_t failure() {
    return connection.failure;
}

int64_t changed_rows() {
    return sqlite3_changes64(connection.database);
}

int64_t last_row() {
    return sqlite3_last_insert_rowid(connection.database);
}

bool is_changed() {
    return sqlite3_total_changes64(connection.database) != connection.changes_before;
}

sqlite3_stmt* statement(const char* sql) {
    for (size_t i = 0; i < connection.prepared_count; ++i)
        if (connection.prepared[i].sql == sql) return connection.prepared[i].statement;

    if (connection.prepared_count == connection.prepared_room) {
        const size_t room = connection.prepared_room + 32;
        auto* const more = static_cast<Prepared*>(realloc(connection.prepared, room * sizeof(Prepared)));
        if (more == nullptr) {
            note_result(SQLITE_NOMEM);
            return nullptr;
        }
        connection.prepared = more;
        connection.prepared_room = room;
    }
    sqlite3_stmt* prepared = nullptr;
    note_result(sqlite3_prepare_v3(connection.database, sql, -1, SQLITE_PREPARE_PERSISTENT, &prepared, nullptr));
    if (prepared != nullptr) connection.prepared[connection.prepared_count++] = {sql, prepared};
    return prepared;
}

void note_result(int result) {
    if (result == SQLITE_OK || result == SQLITE_ROW || result == SQLITE_DONE || connection.failure != 0) return;
    connection.failure = (result & 0xff) == SQLITE_CONSTRAINT ? refusal::invalid_value : complain_of(result);
}

} // namespace emulator::store
