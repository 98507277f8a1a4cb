// What the tool does while one input is played, and the claims that hold for any input.
#pragma once

#include "fuzz/input.h"

#include <string>
#include <vector>

struct MadeCall {
    const char* function;
    bool is_bridge;   // of the bridge library, look-ups of VLAN ids aside
    bool has_failed;  // by the function's own rule
    int32_t status;   // as the library left it after a failure
    std::string text; // when the run is shown
};

struct Run {
    Input input;
    size_t next_answer = 0;
    std::vector<MadeCall> calls;
    std::string output;
    size_t calls_before_output = 0;
    bool has_written = false;
    bool is_shown = false;
    int last_side_call = -1; // the library that was told last since the bridge library took a change
};

extern Run run;

// Names the claim that does not hold, shows the run and aborts.
[[noreturn]] void fail(const char* claim);

inline void require(bool holds, const char* claim) {
    if (!holds) fail(claim);
}

// The claims about the calls as a whole and the output, once the sentence has ended.
void check_outcome();
