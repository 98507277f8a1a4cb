// One write for one document.
#include "common/output.h"

#include <cerrno>
#include <unistd.h>

void print(const char* text, size_t length) {
    while (length > 0) {
        const ssize_t written = write(STDOUT_FILENO, text, length);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        text += written;
        length -= static_cast<size_t>(written);
    }
}
