// Random numbers that are the same on every machine.
#pragma once

#include <cstdint>

namespace dataplane_test {

class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}
    uint64_t bits_64() {
        state_ += 0x9e3779b97f4a7c15;
        uint64_t mixed = (state_ ^ state_ >> 30) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111eb;
        return mixed ^ mixed >> 31;
    }
    uint32_t bits() { return static_cast<uint32_t>(bits_64()); }
    // 0 to `end` - 1.
    uint32_t below(uint32_t end) { return static_cast<uint32_t>((bits_64() >> 32) * end >> 32); }
    bool one_in(uint32_t count) { return below(count) == 0; }
    template <typename Values> const auto& one_of(const Values& values) {
        return values.begin()[below(static_cast<uint32_t>(values.size()))];
    }

private:
    uint64_t state_;
};

} // namespace dataplane_test
