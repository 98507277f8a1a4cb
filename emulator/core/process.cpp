// Which process calls, for the log.
#include "core/process.h"

#include "notation.h"

#include <fcntl.h>
#include <sys/random.h>
#include <unistd.h>

#include <cstring>
#include <ctime>

namespace emulator {

namespace {

// A brace is quoted too: {a*3} is a repetition in a transcript; and what begins with # would be a comment in a file of
// sentences.
bool is_plain(const char* word) {
    if (*word == '\0' || *word == '#') return false;
    for (; *word != '\0'; ++word)
        if (*word <= ' ' || *word > '~' || *word == '"' || *word == '\\' || *word == '{') return false;
    return true;
}

void write_word(notation::Text& out, const char* word) {
    if (is_plain(word)) return out.put(word);
    char quoted[8192];
    notation::Text text(quoted, sizeof quoted);
    notation::write_quoted(text, word);
    for (const char* at = quoted; *at != '\0'; ++at) {
        if (*at == '{')
            out.put("\\x7b");
        else
            out.put(*at);
    }
}

} // namespace

int64_t run_number() {
    static int64_t number;
    static pid_t owner;
    if (owner == getpid()) return number;
    owner = getpid();
    // Without random numbers, which is hardly ever, the time is nearly as good.
    if (getrandom(&number, sizeof number, 0) != sizeof number) {
        timespec now{};
        clock_gettime(CLOCK_REALTIME, &now);
        number = now.tv_sec * 1'000'000'000 + now.tv_nsec;
    }
    number &= 0xffff'ffff'ffff; // which every reader of JSON keeps as it is
    return number;
}

const char* sentence() {
    static char line[2000];
    static pid_t owner;
    if (owner == getpid()) return line;
    owner = getpid();

    char words[4096];
    const int file = open("/proc/self/cmdline", O_RDONLY | O_CLOEXEC);
    const ssize_t count = file < 0 ? 0 : read(file, words, sizeof words - 1);
    if (file >= 0) close(file);
    const char* const end = words + (count > 0 ? count : 0);
    words[count > 0 ? count : 0] = '\0';

    notation::Text text(line, sizeof line - 3);
    const char* word = words + strlen(words) + 1;
    for (const char* separator = ""; word < end; word += strlen(word) + 1) {
        text.put(separator);
        write_word(text, word);
        separator = " ";
    }
    if (text.is_cut || count == static_cast<ssize_t>(sizeof words - 1)) memcpy(line + text.length, "...", sizeof "...");
    return line;
}

} // namespace emulator
