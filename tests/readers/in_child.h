// Functions that print and may end the process, run in a child process.
#pragma once

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <string>

struct Ending {
    std::string output; // standard output
    bool has_returned = false;
    int exit_status = -1; // of a function that ended the process

    bool operator==(const Ending&) const = default;
};

inline void PrintTo(const Ending& ending, std::ostream* out) {
    *out << (ending.has_returned ? "returned" : "exit status " + std::to_string(ending.exit_status)) << ", printed:\n"
         << ending.output;
}

inline Ending returned(const std::string& output) {
    return {output, true, -1};
}
inline Ending ended(const std::string& output) {
    return {output, false, 0};
}

template <typename Function> Ending run_in_child(const Function& function) {
    constexpr int status_of_return = 123;
    const int printed = memfd_create("output", 0);
    if (printed < 0) throw std::runtime_error("memfd_create failed");
    fflush(nullptr); // so that the child does not print it again
    const pid_t child = fork();
    if (child < 0) throw std::runtime_error("fork failed");
    if (child == 0) {
        dup2(printed, STDOUT_FILENO);
        // What this program has registered for its end is no part of what is tried, and takes longest.
        on_exit([](int status, void*) { _exit(status); }, nullptr);
        function();
        _exit(status_of_return);
    }

    int status = 0;
    waitpid(child, &status, 0);
    Ending ending;
    if (WIFEXITED(status)) ending.exit_status = WEXITSTATUS(status);
    ending.has_returned = ending.exit_status == status_of_return;
    if (ending.has_returned) ending.exit_status = -1;
    ending.output.resize(static_cast<size_t>(lseek(printed, 0, SEEK_END)));
    const ssize_t count = pread(printed, ending.output.data(), ending.output.size(), 0);
    close(printed);
    if (count != static_cast<ssize_t>(ending.output.size())) throw std::runtime_error("pread failed");
    return ending;
}

// The NG document, spelled out here once more: these tests do not take the tool's word for it.
inline std::string ng(int code, const std::string& message) {
    return "<response>\n  <result>NG</result>\n  <error>\n    <errcode>" + std::to_string(code) +
           "</errcode>\n    <errmsg>" + message + "</errmsg>\n  </error>\n</response>\n";
}
