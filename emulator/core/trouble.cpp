// Complaints about the store.
#include "core/trouble.h"

#include "core/refusal.h"
#include "core/turn.h"

#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace emulator {

namespace {

int32_t told; // the status that standard error was told of last

constexpr int longest_path = 512 - 8; // bytes; SQLite takes 512, those of its journal's name included

int32_t complain_of_opening(const char* path, sqlite3* database, const char* reason) {
    if (strlen(path) > longest_path)
        return complain(path, refusal::no_place, "its path is longer than %d bytes; name a shorter one in EMUSWITCH",
                        longest_path);
    const int cause = database != nullptr ? sqlite3_system_errno(database) : 0;
    if (cause == EMFILE || cause == ENFILE)
        return complain(path, refusal::no_place, "cannot be opened (%s); end other programs, or let this one open more",
                        strerror(cause));
    return complain(path, refusal::read_only, "cannot be written (%s); let this user write the file and its folder",
                    cause != 0 ? strerror(cause) : reason);
}

int32_t complain_of_disk(const char* path, sqlite3* database, int result, const char* reason) {
    const int cause = database != nullptr ? sqlite3_system_errno(database) : 0;
    if (cause != 0) reason = strerror(cause);
    switch (result) {
    case SQLITE_IOERR_NOMEM: return complain(path, refusal::no_memory, "out of memory; end other programs");
    case SQLITE_IOERR_READ:
    case SQLITE_IOERR_SHORT_READ:
    case SQLITE_IOERR_FSTAT:
    case SQLITE_IOERR_CORRUPTFS:
        return complain(path, refusal::unwritable, "cannot be read (%s); see to its disk", reason);
    case SQLITE_IOERR_LOCK:
    case SQLITE_IOERR_RDLOCK:
    case SQLITE_IOERR_UNLOCK:
    case SQLITE_IOERR_CHECKRESERVEDLOCK:
        return complain(path, refusal::unwritable, "cannot be locked (%s); keep it on a disk of this machine", reason);
    default: return complain(path, refusal::unwritable, "cannot be written (%s); make room on its disk", reason);
    }
}

} // namespace

int32_t complain(const char* path, int32_t status, const char* format, ...) {
    if (told == status) return status;
    told = status;
    char line[2 * PATH_MAX];
    const int start = snprintf(line, sizeof line, "emuswitch: %s%s", path, path[0] != 0 ? ": " : "");
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line + start, sizeof line - static_cast<size_t>(start), format, arguments);
    va_end(arguments);
    // SQLite quotes what a damaged file says: one line, and nothing that a terminal obeys.
    for (char* at = line; *at != '\0'; ++at)
        if (static_cast<unsigned char>(*at) < ' ' || *at == '\x7f') *at = '?';
    dprintf(STDERR_FILENO, "%s\n", line);
    return status;
}

void trouble_is_over() {
    told = 0;
}

int32_t complain_of(const char* path, sqlite3* database, int result) {
    const char* const reason = database != nullptr ? sqlite3_errmsg(database) : sqlite3_errstr(result);
    switch (result & 0xff) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return complain(path, refusal::busy, "locked by another process for %d seconds; end that process, or try again",
                        longest_wait);
    case SQLITE_NOTADB:
        return complain(path, refusal::foreign, "not the store of an emulated switch; name another file in EMUSWITCH");
    case SQLITE_READONLY:
    case SQLITE_PERM:
        return complain(path, refusal::read_only, "cannot be written (%s); let this user write the file and its folder",
                        reason);
    case SQLITE_CANTOPEN: return complain_of_opening(path, database, reason);
    case SQLITE_FULL:
        return complain(path, refusal::unwritable, "cannot be written (%s); make room on its disk", reason);
    case SQLITE_IOERR: return complain_of_disk(path, database, result, reason);
    case SQLITE_NOMEM: return complain(path, refusal::no_memory, "out of memory; end other programs");
    case SQLITE_CORRUPT:
        return complain(path, refusal::damaged, "damaged (%s); move it away, the next sentence makes an empty switch",
                        reason);
    default:
        return complain(path, refusal::damaged,
                        "cannot be used (%s); move it away, the next sentence makes an empty switch", reason);
    }
}

} // namespace emulator
