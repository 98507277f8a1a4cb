// Preloaded into a program, ends it at its first allocation.
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static _Noreturn void refuse(const char* function) {
    const char message[] = " was called: the tool allocates no memory\n";
    if (write(STDERR_FILENO, function, strlen(function)) < 0 || write(STDERR_FILENO, message, sizeof message - 1) < 0)
        abort();
    abort();
}

void* malloc(size_t size) {
    (void)size;
    refuse("malloc");
}
void* calloc(size_t count, size_t size) {
    (void)count;
    (void)size;
    refuse("calloc");
}
void* realloc(void* block, size_t size) {
    (void)block;
    (void)size;
    refuse("realloc");
}
void* aligned_alloc(size_t alignment, size_t size) {
    (void)alignment;
    (void)size;
    refuse("aligned_alloc");
}
void free(void* block) {
    if (block != NULL) refuse("free");
}
