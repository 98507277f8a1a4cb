// The store: one connection in a process, one transaction for one library call.
//
// What fails in a transaction is remembered and decides its end, so that an operation can be written down without a
// check after each statement: what it reads then counts for nothing, since the transaction is taken back.
#pragma once

#include <sqlite3.h>

#include <cstdint>

namespace emulator::store {

constexpr int version = 3;                      // of the schema; PRAGMA user_version
constexpr uint32_t application_id = 1701671799; // as the schema sets it

// For whom to wait when another process holds the store and nothing changes: 20 seconds, once for all calls of a
// sentence; or, having said so behind these, for as long as it takes.
enum class Waiting { to_the_limit, without_end };

// Opens the store where that is still to be done, waits its turn and begins. Returns 0, or why it could not, having
// said so on standard error.
int32_t begin(Waiting waiting = Waiting::to_the_limit);

// Takes back what was changed since begin(), and begins again in the same turn. As begin().
int32_t begin_again();

// Ends the transaction with its changes. Returns 0, or why it could not; then nothing of it is left.
int32_t commit();

void roll_back();

// The turn alone, for another connection of this process to the same store: as begin(), without a transaction. Whoever
// has it may begin() meanwhile. Each one taken is to be given back.
int32_t take_turn(Waiting waiting = Waiting::to_the_limit);
void give_turn_back();

// A copy of the store as the last transaction left it, in memory and for reading only: whoever reads it holds up
// nobody. To be closed with sqlite3_close(). Null: it could not be made; `status` and a line on standard error say why.
sqlite3* copy(int32_t& status); // to be called between begin() and the end of the transaction
sqlite3* snapshot(int32_t& status);

// Gets the memory for a copy of the store as it is now, so that copy() holds it up for a shorter time.
void reserve_for_copy();

// Lets go of the store. The next begin() opens it again, or the one that is then named.
void close();

// The first failure of a statement since begin(), or 0.
int32_t failure();
void forget_failure();

// Remembers that something was found that no call can have stored, and says so: "color cannot be 100".
void note_damage(const char* what);

// Rows changed by the last statement, without those that went with their parent.
int64_t changed_rows();

// The id of the row that was inserted last.
int64_t last_row();

// Makes the file smaller where a good part of it is free, a little at a time.
void give_room_back();

// Whether anything was changed since begin().
bool is_changed();

// The prepared statement of this text, which has to be a literal: they are kept by their address. Null: it failed.
sqlite3_stmt* statement(const char* sql);

// Remembers that a statement failed, unless it did not; it may be one of a copy.
void note_result(int result, sqlite3* database = nullptr);

} // namespace emulator::store
