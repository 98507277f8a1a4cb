// Token buckets of streams and interfaces.
#pragma once

#include "dataplane/frame.h"

#include <algorithm>

namespace dataplane {

// Tokens are counted in bits times nanoseconds per second, so that a rate in bit/s times nanoseconds leaves no
// remainder.
constexpr int64_t tokens_per_byte = 8'000'000'000;
constexpr int64_t most_counted_bytes = 70'000; // of one frame
constexpr uint32_t most_burst = 500'000'000;   // bytes; beyond that tokens and what comes to them would not fit

struct TokenBucket {
    uint32_t rate = 0; // bit/s; 0: there is no such bucket
    int64_t burst = 0; // tokens
    int64_t tokens = 0;
    Nanoseconds filled = 0;
    Nanoseconds full_after = 0; // it is full after so long, however deep it was

    bool is_there() const { return rate != 0; }

    // A wake-up is late by less than a nanosecond. What comes in that time is kept, else a bucket that has to be full
    // for each frame would lose it each time.
    int64_t room() const { return burst + rate; }

    void refill(Nanoseconds now) {
        const Nanoseconds passed = now - filled;
        filled = now;
        if (passed >= full_after)
            tokens = room();
        else
            tokens = std::min(room(), tokens + int64_t{rate} * passed);
    }

    // When a frame may pass: `now`, or later. A frame that is larger than the bucket needs a full one.
    Nanoseconds ready(Nanoseconds now, uint32_t bytes) {
        refill(now);
        const int64_t missing = std::min(bytes * tokens_per_byte, burst) - tokens;
        return missing <= 0 ? now : now + (missing + rate - 1) / rate;
    }

    void spend(Nanoseconds now, uint32_t bytes) {
        refill(now);
        tokens -= bytes * tokens_per_byte;
    }
};

inline TokenBucket make_bucket(uint32_t rate, uint32_t burst, Nanoseconds now) {
    TokenBucket bucket;
    bucket.rate = rate;
    bucket.burst = std::min(burst, most_burst) * tokens_per_byte;
    bucket.tokens = bucket.burst;
    bucket.filled = now;
    if (rate != 0) bucket.full_after = (bucket.burst + most_counted_bytes * tokens_per_byte) / rate + 1;
    return bucket;
}

// A bucket takes the place of another at a change of the configuration.
inline TokenBucket succeed(TokenBucket before, uint32_t rate, uint32_t burst, Nanoseconds now) {
    TokenBucket bucket = make_bucket(rate, burst, now);
    if (!before.is_there() || !bucket.is_there()) return bucket;
    before.refill(now);
    bucket.tokens = std::min(bucket.tokens, before.tokens);
    return bucket;
}

} // namespace dataplane
