// Being asked to end.
#pragma once

#include <array>
#include <csignal>

// Ctrl-C, SIGTERM and SIGHUP let what is being done come to its end, as long as an object lives. A signal that was
// ignored at the start stays ignored.
class PatientInterrupts {
public:
    PatientInterrupts();
    ~PatientInterrupts();
    PatientInterrupts(const PatientInterrupts&) = delete;
    PatientInterrupts& operator=(const PatientInterrupts&) = delete;
    static bool has_come(); // since the program began

private:
    std::array<struct sigaction, 3> before_{};
};
