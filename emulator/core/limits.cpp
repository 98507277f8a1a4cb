// The limits of the switch.
#include "core/limits.h"

namespace emulator {

int64_t limit(const char* name) {
    const OptionalNumber value = find_number("SELECT value FROM limits WHERE name = ?1", name);
    if (!value) store::note_damage("a limit is missing");
    return value.value_or(0) < highest_limit ? value.value_or(0) : highest_limit;
}

bool take(const char* pool, int64_t amount) {
    // A limit that was set below what is in use only stops further growth.
    if (change("UPDATE limits SET in_use = in_use + ?2 WHERE name = ?1 AND (?2 <= 0 OR in_use + ?2 <= value)", pool,
               amount) == 1)
        return true;
    // Refused for want of room, or since no pool can be in that state.
    if (!find_number("SELECT in_use FROM limits WHERE name = ?1", pool)) store::note_damage("a limit is missing");
    return false;
}

void give_back(const char* pool, int64_t amount) {
    if (amount != 0 && amount != INT64_MIN) take(pool, -amount); // which only a damaged store has
}

void prune(const char* remove, const char* limit_name) {
    constexpr int64_t insertions_between = 64;
    constexpr int64_t most_at_once = 2048;
    const int64_t newest = store::last_row();
    if (newest % insertions_between != 0 || newest < 1) return;
    const int64_t kept = limit(limit_name);
    change(remove, newest - (kept > 0 ? kept : 1), most_at_once);
    store::give_room_back();
}

} // namespace emulator
