// Numbers as frames carry them: the most significant byte first, at any address.
#pragma once

#include <cstdint>

namespace dataplane {

constexpr uint16_t big_endian_16(const uint8_t* bytes) {
    return static_cast<uint16_t>(bytes[0] << 8 | bytes[1]);
}
constexpr uint32_t big_endian_32(const uint8_t* bytes) {
    return static_cast<uint32_t>(big_endian_16(bytes)) << 16 | big_endian_16(bytes + 2);
}
constexpr void put_big_endian_16(uint8_t* bytes, uint16_t value) {
    bytes[0] = static_cast<uint8_t>(value >> 8);
    bytes[1] = static_cast<uint8_t>(value);
}

} // namespace dataplane
