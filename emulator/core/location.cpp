// Where the store of the switch is.
#include "core/location.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace emulator {

namespace {

const char* variable(const char* name) {
    const char* value = getenv(name);
    return value != nullptr && value[0] != '\0' ? value : nullptr;
}

bool fits(int length) {
    return length > 0 && length < PATH_MAX;
}

} // namespace

bool find_store(char (&path)[PATH_MAX]) {
    if (const char* file = variable("EMUSWITCH"))
        return fits(snprintf(path, sizeof path, "%s%s", file[0] == '/' ? "" : "./", file));
    // A relative folder is to be ignored, as the XDG base directory rules have it.
    if (const char* state = variable("XDG_STATE_HOME"); state != nullptr && state[0] == '/')
        return fits(snprintf(path, sizeof path, "%s/emuswitch/switch.db", state));
    if (const char* home = variable("HOME"); home != nullptr && home[0] == '/')
        return fits(snprintf(path, sizeof path, "%s/.local/state/emuswitch/switch.db", home));
    return false;
}

bool make_folders(const char* path) {
    char folder[PATH_MAX];
    for (const char* slash = strchr(path + 1, '/'); slash != nullptr; slash = strchr(slash + 1, '/')) {
        const auto length = static_cast<size_t>(slash - path);
        memcpy(folder, path, length);
        folder[length] = '\0';
        if (mkdir(folder, 0700) != 0 && errno != EEXIST && access(folder, F_OK) != 0) return false;
    }
    return true;
}

} // namespace emulator
