// Whose turn it is on a switch. Whoever changes its store, or copies it, takes the turn before that and gives it back
// after it. The kernel keeps those who wait in the order in which they came, wakes one when the turn is free, and frees
// the turn of a process that ends, in whatever way.
//
// The turn is a lock on a byte of the store, far behind its data, and belongs to the open file: a copy of the file is a
// whole switch, nothing lies beside it, and closing the file elsewhere in the process takes nothing away.
#pragma once

#include <cstdint>

namespace emulator {

constexpr int longest_wait = 20; // seconds, for a holder that does nothing

// How long somebody waits already without the store having changed. One wait may follow another: a sentence that has
// waited in vain for one call does not do so again for the next.
struct Patience {
    bool is_strained = false;
    uint32_t changes = 0; // of the store, when the wait began
    int64_t since = 0;    // microseconds

    // Whether the store, open as `file`, has stayed as it is for too long. Begins to count where nothing was counted.
    bool is_over(int file);
    void recover() { is_strained = false; }
};

// Waits for the turn on the store that is open for writing as `file`. False: another process has it and does nothing.
// A file system that knows no such locks lets everybody pass; SQLite's own locks are there as well.
bool take_turn(int file, Patience& patience);
void give_turn_back(int file);

} // namespace emulator
