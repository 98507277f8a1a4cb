// What is wrong with the store: one line on standard error, which names the file, the cause and what to do.
#pragma once

#include <sqlite3.h>

#include <cstdint>

namespace emulator {

// Says it and returns the status. A sentence makes several calls: the same trouble is not told again until it was over.
[[gnu::format(printf, 3, 4)]] int32_t complain(const char* path, int32_t status, const char* format, ...);
void trouble_is_over();

// Says what a result of SQLite other than success means for the store. `database` may be null.
int32_t complain_of(const char* path, sqlite3* database, int result);

} // namespace emulator
