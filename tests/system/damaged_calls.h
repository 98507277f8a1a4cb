// The library calls that a damaged store is met with.
#pragma once

#include <cstddef>

struct NamedCall {
    const char* name;
    void (*make)();
};

// What sentences ask, then what they change, about the objects of the store that is damaged.
extern const NamedCall damaged_calls[];
extern const size_t damaged_call_count;
