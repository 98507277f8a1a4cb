// Other processes.
#include "child_process.h"

#include "core/store.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <stdexcept>
#include <utility>

namespace {

int open_file(const char* name) {
    const int file = memfd_create(name, MFD_CLOEXEC);
    if (file < 0) throw std::runtime_error("no file for the output of a process");
    return file;
}

std::string read_all(int file) {
    std::string text;
    char part[4096];
    off_t at = 0;
    for (ssize_t count = 0; (count = pread(file, part, sizeof part, at)) > 0; at += count)
        text.append(part, static_cast<size_t>(count));
    close(file);
    return text;
}

} // namespace

Running::Running(const std::function<void()>& function) : output_(open_file("output")), errors_(open_file("errors")) {
    emulator::store::close();
    pid_ = fork();
    if (pid_ < 0) throw std::runtime_error("no further process");
    if (pid_ > 0) return;
    dup2(output_, STDOUT_FILENO);
    dup2(errors_, STDERR_FILENO);
    function();
    _exit(0);
}

Running::Running(Running&& other) noexcept
    : pid_(std::exchange(other.pid_, 0)), output_(other.output_), errors_(other.errors_) {}

Running::~Running() {
    if (pid_ == 0) return;
    kill();
    wait();
}

void Running::kill(int signal) const {
    ::kill(pid_, signal);
}

Finished Running::wait() {
    Finished finished{.pid = std::exchange(pid_, 0), .status = 0, .output = "", .errors = ""};
    waitpid(finished.pid, &finished.status, 0);
    finished.output = read_all(output_);
    finished.errors = read_all(errors_);
    return finished;
}

Running start_tool(const std::vector<std::string>& words) {
    return Running([&words] {
        setenv("LD_LIBRARY_PATH", LIBRARIES, 1);
        std::vector<char*> arguments{const_cast<char*>("tolvane")};
        for (const std::string& word : words)
            arguments.push_back(const_cast<char*>(word.c_str()));
        arguments.push_back(nullptr);
        execv(TOOL, arguments.data());
        _exit(127);
    });
}

Finished run_tool(const std::vector<std::string>& words) {
    return start_tool(words).wait();
}

Finished run_copy(const std::function<void()>& function) {
    return Running(function).wait();
}
