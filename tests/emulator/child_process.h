// Other processes: the tool, and copies of the test that call the libraries.
#pragma once

#include <csignal>
#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

struct Finished {
    pid_t pid;
    int status; // as waitpid() gives it
    std::string output;
    std::string errors;

    bool is_accepted() const { return output == "<response>\n  <result>OK</result>\n</response>\n"; }
};

// A process that is running. What it prints goes to files, so that nobody has to read at the same time.
class Running {
public:
    // A copy of this process that runs the function and ends. It must not have opened the store before.
    explicit Running(const std::function<void()>& function);
    ~Running();
    Running(Running&& other) noexcept;
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;
    Running& operator=(Running&&) = delete;

    pid_t pid() const { return pid_; }
    void kill(int signal = SIGKILL) const;
    Finished wait();

private:
    pid_t pid_;
    int output_;
    int errors_;
};

// The tool with a sentence, on the emulated switch.
Running start_tool(const std::vector<std::string>& words);
Finished run_tool(const std::vector<std::string>& words);

Finished run_copy(const std::function<void()>& function);
