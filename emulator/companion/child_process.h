// Running the tool and other commands on an emulated switch.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

// A folder of our own that goes with its object.
class PrivateFolder {
public:
    PrivateFolder();
    ~PrivateFolder();
    PrivateFolder(const PrivateFolder&) = delete;
    PrivateFolder& operator=(const PrivateFolder&) = delete;
    const std::filesystem::path& path() const { return folder; }

private:
    std::filesystem::path folder;
};

// The tool: the one that belongs to this program (in its build tree or its installation), else that of PATH.
std::string tool_path();

// Has children find the emulated libraries, this program and the tool, and the switch in this file.
void prepare_environment(const std::filesystem::path& store);

struct Ended {
    int status = 0;     // exit status, or 128 and the signal
    std::string output; // what it printed, where it was captured
};

// Runs a command in the foreground, as a shell would: interrupts are the command's.
Ended run_in_foreground(const std::vector<std::string>& command);

// Runs a command whose output is captured. An interrupt from the terminal does not reach it.
Ended run_captured(const std::vector<std::string>& command);
