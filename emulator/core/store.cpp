// The store: opening, making, migrating; transactions; what goes wrong.
#include "core/store.h"

#include "core/location.h"
#include "core/refusal.h"
#include "core/store_scripts.h"
#include "core/trouble.h"
#include "core/turn.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>

namespace emulator::store {

namespace {

struct Prepared {
    const char* sql;
    sqlite3_stmt* statement;
};

// What this process has of the store.
struct Connection {
    pid_t owner = 0; // a connection does not survive fork()
    int file = -1;   // that the turn is taken on; open as long as the database is
    int turns = 0;   // taken, one within the other
    sqlite3* database = nullptr;
    Prepared* prepared = nullptr;
    size_t prepared_count = 0;
    size_t prepared_room = 0;
    int32_t failure = 0;
    int64_t changes_before = 0; // when the transaction began
    Waiting waiting = Waiting::to_the_limit;
    Patience patience;
    char path[PATH_MAX] = "";
};
constinit Connection connection;

// Memory for a copy, which the kernel has given already: it would take longer to get it than to fill it.
struct Reserve {
    unsigned char* bytes = nullptr;
    size_t size = 0;
};
constinit Reserve reserve;

int32_t complain_of(int result) {
    return emulator::complain_of(connection.path, connection.database, result);
}

// For locks of SQLite, which programs that know nothing of turns take, and readers. Waits a little longer each time.
int wait_for_lock(void* /*unused*/, int attempt) {
    if (connection.patience.is_over(connection.file)) return 0;
    const timespec pause{.tv_sec = 0, .tv_nsec = 50'000L * (attempt < 19 ? attempt + 1 : 20)};
    nanosleep(&pause, nullptr);
    return 1;
}

// Whether to go on waiting where the limit is over. That is said, so that somebody can end whoever holds the store.
bool goes_on_waiting(int result) {
    if ((result & 0xff) != SQLITE_BUSY || connection.waiting != Waiting::without_end) return false;
    complain_of(result);
    connection.patience.recover();
    return true;
}

int run(const char* sql) {
    sqlite3_stmt* const prepared = statement(sql);
    if (prepared == nullptr) return sqlite3_extended_errcode(connection.database);
    const int result = sqlite3_step(prepared);
    sqlite3_reset(prepared);
    return result == SQLITE_DONE || result == SQLITE_ROW ? SQLITE_OK : result;
}

int run_patiently(const char* sql) {
    int result = SQLITE_OK;
    do
        result = run(sql);
    while (goes_on_waiting(result));
    return result;
}

int read_all(int file, unsigned char* bytes, size_t size) {
    size_t done = 0;
    while (done < size) {
        const ssize_t count = pread(file, bytes + done, size - done, static_cast<off_t>(done));
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return SQLITE_IOERR_READ;
        done += static_cast<size_t>(count);
    }
    return SQLITE_OK;
}

int32_t run_script(const char* script) {
    const int result = sqlite3_exec(connection.database, script, nullptr, nullptr, nullptr);
    return result == SQLITE_OK ? 0 : complain_of(result);
}

// Brings an earlier store up to date, and has it give room back from now on. Ends in a transaction as it began in one.
int32_t migrate(uint32_t found) {
    for (uint32_t step = found; step < version; ++step)
        if (const int32_t status = run_script(store_migrations[step - 1]); status != 0) return status;
    if (const int result = run("COMMIT"); result != SQLITE_OK) return complain_of(result);
    sqlite3_exec(connection.database, "PRAGMA auto_vacuum = INCREMENTAL; VACUUM", nullptr, nullptr, nullptr);
    const int result = run_patiently("BEGIN IMMEDIATE");
    return result == SQLITE_OK ? 0 : complain_of(result);
}

// Makes the schema in an empty file, or brings an earlier one up to date, in the transaction that is open. The file is
// asked anew: to begin may have taken back what a killed process had written of it.
int32_t make_current() {
    uint32_t found = 0;
    if (const int32_t status = judge_store_file(connection.path, connection.file, found); status != 0) return status;
    if (found == 0) return run_script(store_schema);
    return found < version ? migrate(found) : 0;
}

// To be called with the turn taken. `found` is the version of the schema, 0 for none.
int32_t open_database(uint32_t& found) {
    if (const int32_t status = judge_store_file(connection.path, connection.file, found); status != 0) return status;
    sqlite3_config(SQLITE_CONFIG_MEMSTATUS, 0); // nobody asks for its statistics, which cost a tenth of the start
    int result = sqlite3_open_v2(connection.path, &connection.database,
                                 SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    if (result == SQLITE_OK) {
        sqlite3_extended_result_codes(connection.database, 1);
        sqlite3_busy_handler(connection.database, wait_for_lock, nullptr);
        sqlite3_db_config(connection.database, SQLITE_DBCONFIG_ENABLE_FKEY, 1, nullptr);
        // Losing power may hurt an emulator's store; a killed process does not.
        result = sqlite3_exec(connection.database, "PRAGMA journal_mode = PERSIST; PRAGMA synchronous = OFF", nullptr,
                              nullptr, nullptr);
    }
    return result == SQLITE_OK ? 0 : complain_of(result);
}

void forget_connection_of_parent() {
    if (connection.owner == getpid()) return;
    connection.owner = getpid();
    connection.database = nullptr; // to be left alone
    connection.prepared = nullptr;
    connection.prepared_count = 0;
    connection.prepared_room = 0;
    if (connection.file >= 0) ::close(connection.file);
    connection.file = -1;
    connection.turns = 0;
}

int32_t open_file() {
    if (const char* const problem = find_store(connection.path); problem != nullptr)
        return complain("", refusal::no_place, "%s", problem);
    int32_t status = 0;
    connection.file = open_store_file(connection.path, status);
    return status;
}

int32_t wait_for_turn() {
    while (!emulator::take_turn(connection.file, connection.patience))
        if (!goes_on_waiting(SQLITE_BUSY)) return complain_of(SQLITE_BUSY);
    return 0;
}

// A store that gives room back has to be one from its first page on.
int begin_writing(bool is_empty) {
    if (!is_empty) return run_patiently("BEGIN IMMEDIATE");
    const int result = run("BEGIN");
    return result == SQLITE_OK ? run_patiently("PRAGMA auto_vacuum = INCREMENTAL") : result;
}

int32_t begin_transaction() {
    const bool is_new = connection.database == nullptr;
    uint32_t found = version;
    if (is_new) {
        if (const int32_t status = open_database(found); status != 0) return status;
    }
    if (const int result = begin_writing(found == 0); result != SQLITE_OK) return complain_of(result);
    connection.patience.recover();
    if (is_new) {
        if (const int32_t status = make_current(); status != 0) {
            roll_back();
            return status;
        }
    }
    connection.changes_before = sqlite3_total_changes64(connection.database);
    return 0;
}

} // namespace

int32_t take_turn(Waiting waiting) {
    forget_connection_of_parent();
    connection.waiting = waiting;
    if (connection.turns > 0) {
        ++connection.turns;
        return 0;
    }
    for (;;) {
        if (connection.file < 0) {
            if (const int32_t status = open_file(); status != 0) return status;
        }
        if (const int32_t status = wait_for_turn(); status != 0) return status;
        connection.turns = 1;
        if (is_same_file(connection.path, connection.file)) return 0;
        close(); // the path leads to another file by now, or to none
    }
}

void give_turn_back() {
    if (connection.turns > 0 && --connection.turns == 0) emulator::give_turn_back(connection.file);
}

int32_t begin(Waiting waiting) {
    connection.failure = 0;
    if (const int32_t status = take_turn(waiting); status != 0) return status;
    const int32_t status = begin_transaction();
    if (status != 0) {
        give_turn_back();
        close();
    }
    return status;
}

int32_t begin_again() {
    run("ROLLBACK");
    connection.failure = 0;
    const int result = run_patiently("BEGIN IMMEDIATE");
    if (result == SQLITE_OK) return 0;
    give_turn_back();
    return complain_of(result);
}

int32_t commit() {
    const int result = run_patiently("COMMIT");
    // A lock that cannot be let go of takes nothing back any more. It goes with the file.
    const bool is_stuck = result == SQLITE_IOERR_UNLOCK || result == SQLITE_IOERR_RDLOCK;
    if (result != SQLITE_OK && !is_stuck) {
        const int32_t status = complain_of(result);
        roll_back();
        return status;
    }
    connection.patience.recover();
    trouble_is_over();
    give_turn_back();
    if (is_stuck) close();
    return 0;
}

void reserve_for_copy() {
    char path[PATH_MAX];
    struct stat found {};
    if (find_store(path) != nullptr || stat(path, &found) != 0 || found.st_size <= 0) return;
    constexpr size_t growth = 1 << 20; // meanwhile
    const size_t size = static_cast<size_t>(found.st_size) + growth;
    sqlite3_free(reserve.bytes);
    reserve.bytes = static_cast<unsigned char*>(sqlite3_malloc64(size));
    reserve.size = reserve.bytes != nullptr ? size : 0;
    if (reserve.bytes != nullptr) memset(reserve.bytes, 0, size);
}

sqlite3* copy(int32_t& status) {
    status = refusal::unwritable;
    struct stat found {};
    if (fstat(connection.file, &found) != 0) return nullptr;
    const auto size = static_cast<size_t>(found.st_size);
    unsigned char* bytes = reserve.size >= size ? reserve.bytes : static_cast<unsigned char*>(sqlite3_malloc64(size));
    if (bytes == reserve.bytes) reserve = {};
    sqlite3* database = nullptr;
    int result = bytes == nullptr ? SQLITE_NOMEM : read_all(connection.file, bytes, size);
    if (result == SQLITE_OK) result = sqlite3_open_v2(":memory:", &database, SQLITE_OPEN_READWRITE, nullptr);
    if (result != SQLITE_OK) {
        sqlite3_free(bytes);
    } else {
        const auto length = static_cast<sqlite3_int64>(size);
        result = sqlite3_deserialize(database, "main", bytes, length, length,
                                     SQLITE_DESERIALIZE_FREEONCLOSE | SQLITE_DESERIALIZE_READONLY);
    }
    status = result == SQLITE_OK ? 0 : emulator::complain_of(connection.path, database, result);
    if (result == SQLITE_OK) return database;
    sqlite3_close(database);
    return nullptr;
}

sqlite3* snapshot(int32_t& status) {
    reserve_for_copy();
    status = take_turn();
    if (status != 0) return nullptr;
    status = begin();
    if (status == 0) status = commit(); // what it took to open the store: its schema, a journal that was left
    if (status == 0) status = begin();
    sqlite3* database = nullptr;
    if (status == 0) {
        database = copy(status);
        roll_back();
    }
    give_turn_back();
    return database;
}

void close() {
    for (size_t i = 0; i < connection.prepared_count; ++i)
        sqlite3_finalize(connection.prepared[i].statement);
    connection.prepared_count = 0;
    sqlite3_close_v2(connection.database);
    connection.database = nullptr;
    if (connection.file >= 0) ::close(connection.file); // behind SQLite, whose locks would go with it
    connection.file = -1;
    connection.turns = 0;
}

void roll_back() {
    if (sqlite3_get_autocommit(connection.database) == 0) run("ROLLBACK");
    connection.failure = 0;
    give_turn_back();
}

int32_t failure() {
    return connection.failure;
}

void forget_failure() {
    connection.failure = 0;
}

// That the store would not take a value may come of the damage.
void note_damage(const char* what) {
    if (connection.failure == 0 || connection.failure == refusal::invalid_value)
        connection.failure = complain(connection.path, refusal::damaged,
                                      "damaged (%s); move it away, the next sentence makes an empty switch", what);
}

int64_t changed_rows() {
    return sqlite3_changes64(connection.database);
}

int64_t last_row() {
    return sqlite3_last_insert_rowid(connection.database);
}

void give_room_back() {
    constexpr size_t page_count = 28; // in the header
    constexpr size_t free_count = 36;
    constexpr uint32_t worth_while = 256;
    unsigned char header[40];
    if (pread(connection.file, header, sizeof header, 0) != sizeof header) return;
    const uint32_t all = big_endian_word(header + page_count);
    const uint32_t free = big_endian_word(header + free_count);
    if (free < worth_while || free < all / 8) return;
    note_result(sqlite3_exec(connection.database, "PRAGMA incremental_vacuum(256)", nullptr, nullptr, nullptr));
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

void note_result(int result, sqlite3* database) {
    if (result == SQLITE_OK || result == SQLITE_ROW || result == SQLITE_DONE || connection.failure != 0) return;
    if (database == nullptr) database = connection.database;
    connection.failure = (result & 0xff) == SQLITE_CONSTRAINT
                             ? refusal::invalid_value
                             : emulator::complain_of(connection.path, database, result);
}

} // namespace emulator::store
