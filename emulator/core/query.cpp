// Asking and changing the store.
#include "core/query.h"

namespace emulator {

void bind(sqlite3_stmt* statement, int place, OptionalNumber value) {
    if (value)
        sqlite3_bind_int64(statement, place, *value);
    else
        sqlite3_bind_null(statement, place);
}

} // namespace emulator
