// Remembering that somebody wants the program to end.
#include "companion/interrupts.h"

namespace {

volatile std::sig_atomic_t is_interrupted = 0;

constexpr std::array ending_signals = {SIGINT, SIGTERM, SIGHUP};

} // namespace

PatientInterrupts::PatientInterrupts() {
    struct sigaction action {};
    action.sa_handler = [](int) { is_interrupted = 1; };
    for (size_t i = 0; i < ending_signals.size(); ++i) {
        sigaction(ending_signals.at(i), nullptr, &before_.at(i));
        if (before_.at(i).sa_handler != SIG_IGN) sigaction(ending_signals.at(i), &action, nullptr);
    }
}

PatientInterrupts::~PatientInterrupts() {
    for (size_t i = 0; i < ending_signals.size(); ++i)
        sigaction(ending_signals.at(i), &before_.at(i), nullptr);
}

bool PatientInterrupts::has_come() {
    return is_interrupted != 0;
}
