// The limits of the switch, which are rows of the store.
#pragma once

#include "core/query.h"

namespace emulator {

// No limit counts for more; what is computed with them stays in its range.
constexpr int64_t highest_limit = 1'000'000'000'000;
int64_t limit(const char* name);

// Whether no further row fits. `most` is how many rows there can be for other reasons: a limit that is no smaller needs
// no counting. `count` counts them.
template <typename... Values> bool is_full(const char* name, int64_t most, const char* count, const Values&... values) {
    const int64_t allowed = limit(name);
    return allowed < most && find_number(count, values...).value_or(0) >= allowed;
}

// Takes from a pool whose use is kept with its limit. False: that much is not left. A negative amount gives back.
bool take(const char* pool, int64_t amount);
void give_back(const char* pool, int64_t amount);

constexpr const char* fdb_entries = "fdb_entries";
constexpr const char* frame_buffers = "frame_buffers";

// After an insertion: forgets what is older than the limit allows, with a statement that removes the rows up to the id
// ?1, but not more than the oldest ?2 of them. That is done at every 64th insertion only, which costs less, and not all
// at once where a limit was lowered: no sentence shall wait for it.
void prune(const char* remove, const char* limit_name);

} // namespace emulator
