// Early drops.
#include "dataplane/egress.h"

namespace dataplane {

uint32_t random_number(uint64_t seed, uint32_t queue, uint64_t arrival) {
    const auto mix = [](uint64_t value) {
        value = (value ^ value >> 30) * 0xbf58476d1ce4e5b9;
        value = (value ^ value >> 27) * 0x94d049bb133111eb;
        return value ^ value >> 31;
    };
    constexpr uint64_t golden = 0x9e3779b97f4a7c15;
    const uint64_t of_queue = mix(seed + golden * (uint64_t{queue} + 1));
    return static_cast<uint32_t>(mix(of_queue + golden * (arrival + 1)) >> 32);
}

bool drops_early(const DropPolicy& policy, uint32_t fill, uint32_t length, uint32_t random) {
    constexpr uint32_t longest_in_bytes = 1U << 24;
    if (length > longest_in_bytes) { // in coarser units, so that the products below fit
        fill /= 256;
        length /= 256;
    }
    const int64_t at = int64_t{fill} * 100;
    const int64_t low = int64_t{policy.min_threshold} * length;
    const int64_t high = int64_t{policy.max_threshold} * length;
    if (at < low) return false;
    if (at >= high) return true;
    // percent = min_drop + (max_drop - min_drop) * (at - low) / (high - low), compared with 24 of the random bits.
    const int64_t rise = int64_t{policy.max_drop} - int64_t{policy.min_drop};
    const int64_t share = int64_t{policy.min_drop} * (high - low) + rise * (at - low);
    return int64_t{random >> 8} * (100 * (high - low)) < share << 24;
}

} // namespace dataplane
