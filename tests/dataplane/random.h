// Random numbers that are the same on every machine.
#pragma once

#include <cstdint>
#include <span>

namespace dataplane_test {

class Random {
public:
    explicit Random(uint64_t seed) : state_(seed) {}
    // Choices that follow the bytes, two for each, and go on from them.
    explicit Random(std::span<const uint8_t> bytes) : bytes_(bytes) {
        for (const uint8_t byte : bytes)
            state_ = (state_ ^ byte) * 0x100000001b3;
    }
    bool follows_bytes() const { return bytes_.size() >= 2; }
    uint64_t bits_64() {
        const uint64_t mixed = mixed_bits();
        if (!follows_bytes()) return mixed;
        const uint64_t given = uint64_t{bytes_[0]} << 56 | uint64_t{bytes_[1]} << 48;
        bytes_ = bytes_.subspan(2);
        return given | mixed >> 16;
    }
    uint32_t bits() { return static_cast<uint32_t>(bits_64()); }
    // 0 to `end` - 1.
    uint32_t below(uint32_t end) { return static_cast<uint32_t>((bits_64() >> 32) * end >> 32); }
    bool one_in(uint32_t count) { return below(count) == 0; }
    template <typename Values> const auto& one_of(const Values& values) {
        return values[below(static_cast<uint32_t>(values.size()))];
    }

private:
    uint64_t mixed_bits() {
        state_ += 0x9e3779b97f4a7c15;
        uint64_t mixed = (state_ ^ state_ >> 30) * 0xbf58476d1ce4e5b9;
        mixed = (mixed ^ mixed >> 27) * 0x94d049bb133111eb;
        return mixed ^ mixed >> 31;
    }

    uint64_t state_ = 0;
    std::span<const uint8_t> bytes_;
};

} // namespace dataplane_test
