// Rates and bursts, as sentences about policing, interface shaping and stream shaping have them.
//
// A rate is typed in units of 1000 bit/s, a burst in units of 1000 bytes or, with the word "byte" behind it, in bytes.
#pragma once

#include "common/arithmetic.h"

#include <cstdint>

constexpr int32_t lowest_rate = 64000; // bit/s
constexpr int32_t highest_rate = 100000000;
constexpr int32_t lowest_burst = 80; // bytes
constexpr int32_t highest_burst = 32000;
constexpr int32_t default_burst = 8000;

// From thousands as typed to bit/s or bytes; wraps around at 32 bits.
constexpr int32_t times_1000(int32_t number) {
    return wrapping_multiply(number, 1000);
}

constexpr bool is_rate(int32_t rate) {
    return is_within(rate, lowest_rate, highest_rate);
}

constexpr bool is_burst(int32_t burst) {
    return is_within(burst, lowest_burst, highest_burst);
}

// How many bytes the unit of a burst has: 1000 for the word "kbyte" or where the sentence ends before words[at], 1 for
// "byte". Any other word gets the usage text.
int32_t read_burst_unit(int32_t count, char** words, int32_t at);

struct RateAndBurst {
    int32_t rate;  // bit/s
    int32_t burst; // bytes
};

// rate <rate> [burst <burst> [{byte|kbyte}]], beginning at words[at]. 209 for a rate and 211 for a burst that is out of
// range, the usage text for anything else that is wrong. Ignored are words behind the unit, and a single word behind
// the rate, "burst" or not.
RateAndBurst read_rate_and_burst(int32_t count, char** words, int32_t at);

// Has the bridge library compute the shaping of a port's streams anew, after one of them or the interface below them
// has changed. When it refuses, its status is told and the process ends. `status` is what the status word holds before
// the call, for a library that refuses without storing one.
void update_stream_shaping(int32_t port, int32_t status = 0);
