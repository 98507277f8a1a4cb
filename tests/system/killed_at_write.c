/* Preloaded: the process is killed when it writes to a file for the KILLED_AT_WRITEth time, which is somewhere in the
 * transactions of its library calls. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/types.h>

ssize_t pwrite64(int file, const void* bytes, size_t count, off64_t offset) {
    static long writes;
    static ssize_t (*real)(int, const void*, size_t, off64_t);
    const char* const text = getenv("KILLED_AT_WRITE");
    if (real == NULL) *(void**)&real = dlsym(RTLD_NEXT, "pwrite64");
    if (text != NULL && ++writes == atol(text)) raise(SIGKILL);
    return real(file, bytes, count, offset);
}
