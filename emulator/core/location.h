// Where the store of the switch is, and whether what is there can be one.
#pragma once

#include <climits>
#include <cstdint>

namespace emulator {

// The file named by EMUSWITCH, else ${XDG_STATE_HOME:-~/.local/state}/emuswitch/switch.db. A relative name gets ./ in
// front, so that SQLite takes it for nothing but a file. Returns null, or what is wrong and what to do; the path is
// then empty.
const char* find_store(char (&path)[PATH_MAX]);

// Opens the file for reading and writing, and makes it and the folders above it where there is nothing. Only a regular
// file is opened, and only when no file that SQLite would use beside it is anything else: those can hang for good, or
// keep nothing. Returns the descriptor, or -1 with `status` set, having said why.
int open_store_file(const char* path, int32_t& status);

// Whether the file that is open is, by its header, a store of this version or an earlier one, or still empty. Returns
// 0, or the status, having said why. `version` becomes that of its schema, 0 where it has none yet.
int32_t judge_store_file(const char* path, int file, uint32_t& version);

uint32_t big_endian_word(const unsigned char* bytes); // as the header has its numbers

// Whether the path still leads to the open file.
bool is_same_file(const char* path, int file);

} // namespace emulator
