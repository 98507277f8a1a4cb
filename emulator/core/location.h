// Where the store of the switch is.
#pragma once

#include <climits>

namespace emulator {

// The file named by EMUSWITCH, else ${XDG_STATE_HOME:-~/.local/state}/emuswitch/switch.db. A relative name gets ./ in
// front, so that SQLite takes it for nothing but a file. False: nothing says where, or the name is too long.
bool find_store(char (&path)[PATH_MAX]);

// Makes the folders above the file; errno says why it could not.
bool make_folders(const char* path);

} // namespace emulator
