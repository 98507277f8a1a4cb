// Running the tool and other commands on an emulated switch.
#pragma once

#include <csignal>
#include <string>
#include <sys/types.h>
#include <vector>

// A folder of our own that goes with its object.
class PrivateFolder {
public:
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    std::string file(const std::string& name) const { return folder_ + "/" + name; }

private:
    std::string folder_;
};

// This program.
std::string own_path();

// The tool: the one that belongs to this program (in its build tree or its installation), else that of PATH.
std::string tool_path();

// Has children find the emulated libraries, this program and the tool, and the switch in this file.
void prepare_environment(const std::string& store);

struct Ended {
    int status = 0;     // exit status, or 128 and the signal
    std::string output; // what it printed, where it was captured
};

// Keeps SIGTERM and SIGHUP from ending this program before it has tidied up, for as long as the object lives. A signal
// that was ignored at the start stays ignored.
class EndingSignals {
public:
    EndingSignals();
    ~EndingSignals();
    EndingSignals(const EndingSignals&) = delete;
    EndingSignals& operator=(const EndingSignals&) = delete;

    // Waits until the child has ended, and passes on what comes to end this program; the second time it kills.
    int wait_for(pid_t child) const;
    const sigset_t& before() const { return blocked_before_; }

private:
    sigset_t waited_for_{};
    sigset_t blocked_before_{};
};

// Runs a command in the foreground, as a shell would: interrupts are the command's.
Ended run_in_foreground(const std::vector<std::string>& command, const EndingSignals& signals);

// Runs a command whose output is captured, that on standard error too where that is said. An interrupt from the
// terminal does not reach it.
Ended run_captured(const std::vector<std::string>& command, bool with_errors = false);
