// Rates and bursts, which policers, interface shapers and stream shapers have in common.
//
// A rate is typed in units of 1000 bit/s, a burst in kilobytes or, with the word "byte" behind it, in bytes.
#pragma once

#include "common/arithmetic.h"

#include <cstdint>

constexpr int32_t lowest_rate = 64000; // bit/s
constexpr int32_t highest_rate = 100000000;
constexpr int32_t lowest_burst = 80; // bytes
constexpr int32_t highest_burst = 32000;
constexpr int32_t default_burst = 8000;

// From units of 1000 to single ones.
constexpr int32_t times_1000(int32_t number) {
    return wrapping_multiply(number, 1000);
}

constexpr bool is_rate(int32_t rate) {
    return is_within(rate, lowest_rate, highest_rate);
}

constexpr bool is_burst(int32_t burst) {
    return is_within(burst, lowest_burst, highest_burst);
}

// What a typed burst has to be multiplied with for bytes: the unit word is words[at], "kbyte" when the sentence ends
// before it, and the usage text for any word but "kbyte" and "byte".
int32_t burst_unit(int32_t count, char** words, int32_t at);

struct RateAndBurst {
    int32_t rate;  // bit/s
    int32_t burst; // bytes
};

// rate <rate> [burst <burst>] [{byte|kbyte}], beginning at words[at]. Ends the process with 209 or 211 for values out
// of range and with the usage text for anything else that is wrong; surplus words, a lone "burst" among them, are
// ignored.
RateAndBurst read_rate_and_burst(int32_t count, char** words, int32_t at);

// Has the bridge library recompute the shaping of a port's streams; a refusal ends the process.
void update_stream_shaping(int32_t port);
