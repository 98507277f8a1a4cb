/* Preloaded: behind each commit, the first step of this kind in letting go of SQLite's lock fails. FAILING_UNLOCK is
 * "shared", for the step back from the lock of a writer to that of a reader, or "none", for the step to no lock at all.
 */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdlib.h>
#include <string.h>

static int is_exclusive; /* from taking the lock to write on, until the step that fails */

static int fails(int command, const struct flock* lock) {
    const char* const what = getenv("FAILING_UNLOCK");
    const short type = what != NULL && strcmp(what, "shared") == 0 ? F_RDLCK : F_UNLCK;
    const off_t shared_bytes = 510;
    if (what == NULL || command != F_SETLK) return 0;
    if (lock->l_type == F_WRLCK && lock->l_len == shared_bytes) is_exclusive = 1;
    if (!is_exclusive || lock->l_type != type) return 0;
    is_exclusive = 0;
    return 1;
}

int fcntl64(int file, int command, ...) {
    static int (*real)(int, int, ...);
    va_list arguments;
    va_start(arguments, command);
    void* const argument = va_arg(arguments, void*);
    va_end(arguments);
    if (real == NULL) *(void**)&real = dlsym(RTLD_NEXT, "fcntl64");
    if (command == F_SETLK && fails(command, argument)) {
        errno = ENOLCK;
        return -1;
    }
    return real(file, command, argument);
}

int fcntl(int file, int command, ...) __attribute__((alias("fcntl64")));
