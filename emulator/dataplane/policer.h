// The token bucket of a policer: RFC 2697 with an excess burst of 0, in exact integers.
#pragma once

#include "dataplane/state.h"

namespace dataplane {

// Whether a frame of so many bytes conforms; if so, it takes its tokens. Exact for bursts that the libraries' interface
// can pass (up to 2^31 - 1 bytes): tokens are bits in billionths, of which a rate in bit/s makes a whole number each
// nanosecond.
inline bool conforms(Bucket& bucket, const Policer& policer, uint32_t bytes, Nanoseconds now) {
    constexpr uint64_t tokens_per_byte = 8'000'000'000;
    const uint64_t capacity = policer.burst * tokens_per_byte;
    if (!bucket.is_started) {
        bucket = {capacity, now, true};
    } else if (now > bucket.filled) {
        const uint64_t elapsed = static_cast<uint64_t>(now) - static_cast<uint64_t>(bucket.filled);
        const uint64_t missing = capacity - bucket.tokens;
        // Compared by division, so that no product is too large.
        bucket.tokens = elapsed > missing / policer.rate ? capacity : bucket.tokens + elapsed * policer.rate;
        bucket.filled = now;
    }
    const uint64_t wanted = bytes * tokens_per_byte;
    if (bucket.tokens < wanted) return false;
    bucket.tokens -= wanted;
    return true;
}

} // namespace dataplane
