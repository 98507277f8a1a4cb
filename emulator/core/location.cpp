// Finding, opening and judging the file of the store.
#include "core/location.h"

#include "core/refusal.h"
#include "core/store.h"
#include "core/trouble.h"

#include <fcntl.h>
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

const char* check_length(int length, char (&path)[PATH_MAX]) {
    if (length > 0 && length < PATH_MAX) return nullptr;
    path[0] = '\0';
    return "the path of the switch is too long; name a shorter one in EMUSWITCH";
}

// errno says why it could not.
bool make_folders(const char* path) {
    char folder[PATH_MAX];
    for (const char* slash = strchr(path + 1, '/'); slash != nullptr; slash = strchr(slash + 1, '/')) {
        const auto length = static_cast<size_t>(slash - path);
        memcpy(folder, path, length);
        folder[length] = '\0';
        if (mkdir(folder, 0700) == 0 || errno == EEXIST) continue;
        const int cause = errno; // where a folder is there, it may say that this user must not make one
        if (access(folder, F_OK) == 0) continue;
        errno = cause;
        return false;
    }
    return true;
}

// What a file is that is not a regular one; null for one that is, or for none.
const char* odd_kind_of(const char* path) {
    struct stat found {};
    if (stat(path, &found) != 0 || S_ISREG(found.st_mode)) return nullptr;
    switch (found.st_mode & S_IFMT) {
    case S_IFDIR: return "a folder";
    case S_IFIFO: return "a pipe";
    case S_IFSOCK: return "a socket";
    default: return "a device";
    }
}

bool is_beside_odd_files(const char* path, int32_t& status) {
    static constexpr const char* suffixes[] = {"", "-journal", "-wal"};
    for (const char* suffix : suffixes) {
        char name[PATH_MAX + 8];
        snprintf(name, sizeof name, "%s%s", path, suffix);
        const char* const kind = odd_kind_of(name);
        if (kind == nullptr) continue;
        status = suffix[0] == '\0'
                     ? complain(path, refusal::no_place, "is %s, not a file; name another file in EMUSWITCH", kind)
                     : complain(path, refusal::no_place, "its %s is %s, not a file; remove that", suffix + 1, kind);
        return true;
    }
    return false;
}

// Not in the place of a standard stream that is closed: what is printed would go into the store.
int open_apart(const char* path) {
    const int file = open(path, O_RDWR | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, 0644);
    if (file < 0 || file > STDERR_FILENO) return file;
    const int apart = fcntl(file, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    const int cause = errno;
    close(file);
    errno = cause;
    return apart;
}

int32_t complain_of_opening(const char* path, int cause) {
    switch (cause) {
    case EACCES:
    case EPERM:
    case EROFS:
        if (access(path, F_OK) == 0)
            return complain(path, refusal::read_only,
                            "cannot be written (%s); let this user write the file and its folder", strerror(cause));
        return complain(path, refusal::no_place,
                        "cannot be made (%s); let this user write its folder, or name another file in EMUSWITCH",
                        strerror(cause));
    case ENAMETOOLONG:
        return complain(path, refusal::no_place, "cannot be opened (%s); name a shorter path in EMUSWITCH",
                        strerror(cause));
    case EMFILE:
    case ENFILE:
        return complain(path, refusal::no_place, "cannot be opened (%s); end other programs, or let this one open more",
                        strerror(cause));
    case ENOSPC:
    case EDQUOT:
        return complain(path, refusal::unwritable, "cannot be made (%s); make room on its disk", strerror(cause));
    default:
        return complain(path, refusal::no_place, "cannot be opened (%s); name another file in EMUSWITCH",
                        strerror(cause));
    }
}

} // namespace

const char* find_store(char (&path)[PATH_MAX]) {
    if (const char* file = variable("EMUSWITCH"))
        return check_length(snprintf(path, sizeof path, "%s%s", file[0] == '/' ? "" : "./", file), path);
    // A relative folder is to be ignored, as the XDG base directory rules have it.
    if (const char* state = variable("XDG_STATE_HOME"); state != nullptr && state[0] == '/')
        return check_length(snprintf(path, sizeof path, "%s/emuswitch/switch.db", state), path);
    if (const char* home = variable("HOME"); home != nullptr && home[0] == '/')
        return check_length(snprintf(path, sizeof path, "%s/.local/state/emuswitch/switch.db", home), path);
    path[0] = '\0';
    return "no place for the switch; name a file in EMUSWITCH, or set HOME";
}

int open_store_file(const char* path, int32_t& status) {
    if (is_beside_odd_files(path, status)) return -1;
    int file = open_apart(path);
    if (file < 0 && errno == ENOENT) {
        if (!make_folders(path)) {
            status = complain(path, refusal::no_place, "its folder cannot be made (%s); name another file in EMUSWITCH",
                              strerror(errno));
            return -1;
        }
        file = open_apart(path);
    }
    if (file < 0) status = complain_of_opening(path, errno);
    return file;
}

int32_t judge_store_file(const char* path, int file, uint32_t& version) {
    version = 0;
    unsigned char header[100];
    const ssize_t count = pread(file, header, sizeof header, 0);
    if (count < 0) return complain(path, refusal::unwritable, "cannot be read (%s); see to its disk", strerror(errno));
    if (count == 0) return 0; // made, but not written yet
    if (count < static_cast<ssize_t>(sizeof header) || memcmp(header, "SQLite format 3", 16) != 0 ||
        big_endian_word(header + 68) != store::application_id)
        return complain_of(path, nullptr, SQLITE_NOTADB);
    version = big_endian_word(header + 60);
    if (version > store::version)
        return complain(path, refusal::newer,
                        "made by a later emuswitch (version %u, this one knows %d); use that one, or name "
                        "another file in EMUSWITCH",
                        version, store::version);
    return version > 0 ? 0 : complain_of(path, nullptr, SQLITE_NOTADB);
}

uint32_t big_endian_word(const unsigned char* bytes) {
    return static_cast<uint32_t>(bytes[0]) << 24 | static_cast<uint32_t>(bytes[1]) << 16 |
           static_cast<uint32_t>(bytes[2]) << 8 | bytes[3];
}

bool is_same_file(const char* path, int file) {
    struct stat named {};
    struct stat open {};
    return stat(path, &named) == 0 && fstat(file, &open) == 0 && named.st_dev == open.st_dev &&
           named.st_ino == open.st_ino;
}

} // namespace emulator
