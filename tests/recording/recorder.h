// What the four recording libraries have in common. Each call of the tool is written to the recording as one line and
// answered by the next of the scripted answers; when there are none left it succeeds. Both are files that the test
// runner opened and the tool inherited, so the four libraries share their positions and need no state. Nothing here
// allocates memory.
#pragma once

#include "notation.h"

#include <unistd.h>

#include <cstdint>

namespace recorder {

constexpr int recording_fd = 198; // the calls, one a line
constexpr int answers_fd = 199;   // `Answer` records

// Where many sentences are played with one start, see server.cpp.
constexpr int server_fd = 197; // a byte in asks for a sentence; out comes "EXIT-STATUS SIGNAL\n", -1 and 0 for none
constexpr int words_fd = 196;  // its words, each ended by NUL

// One scripted answer, in the byte order of the machine that the runner runs on: the fields are text.
struct Answer {
    char result[16];
    char status[16]; // empty: the status word is left alone
    char value[16];  // the VLAN id, the stream's type word, the protocol number
    char prints[464];
};
static_assert(sizeof(Answer) == 512);

// A word of the command line at its longest, each byte written as \xHH, fits.
constexpr size_t longest_call = 4 * 131072 + 1024;

inline int32_t to_number(const char* text) {
    const bool negative = *text == '-';
    uint32_t value = 0;
    for (text += negative; *text >= '0' && *text <= '9'; ++text)
        value = value * 10 + static_cast<uint32_t>(*text - '0');
    return static_cast<int32_t>(negative ? 0U - value : value);
}

inline void write_all(int fd, const char* bytes, size_t count) {
    while (count > 0) {
        const ssize_t written = ::write(fd, bytes, count);
        if (written <= 0) return;
        bytes += written;
        count -= static_cast<size_t>(written);
    }
}

inline char call_buffer[longest_call];

// Records the call and returns the answer given to it.
template <typename... Arguments> Answer exchange(const char* function, const Arguments&... arguments) {
    notation::Text text(call_buffer, sizeof call_buffer);
    notation::write_call(text, function, arguments...);
    text.put('\n');
    write_all(recording_fd, text.buffer, text.length);

    Answer answer{};
    if (::read(answers_fd, &answer, sizeof answer) != static_cast<ssize_t>(sizeof answer)) answer = Answer{};
    return answer;
}

inline int32_t give(const Answer& answer, int32_t* status) {
    if (answer.status[0] != '\0') *status = to_number(answer.status);
    return to_number(answer.result);
}

// A call whose answer is a result and a status.
template <typename... Arguments> int32_t call(int32_t* status, const char* function, const Arguments&... arguments) {
    return give(exchange(function, arguments...), status);
}

// A call whose answer is a result alone.
template <typename... Arguments> int32_t tell(const char* function, const Arguments&... arguments) {
    return to_number(exchange(function, arguments...).result);
}

} // namespace recorder
