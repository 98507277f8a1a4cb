// The forwarding database. Each operation returns 0 or the status with which the switch refuses.
#pragma once

#include <cstdint>

namespace emulator {

// An address as the store writes it.
struct MacText {
    explicit MacText(const uint8_t* bytes);
    char text[18];
};

// Forgets the address where it was learned.
void forget_learned(uint32_t vid, const MacText& mac);

int32_t clear_fdb();
int32_t clear_fdb_vlan(uint32_t vid);
int32_t create_sfil(uint32_t vid, const MacText& mac, int32_t port, uint8_t action, int32_t of_system);
int32_t delete_sfil(uint32_t vid, const MacText& mac, int32_t of_system);
int32_t create_lfil(int32_t port, const MacText& mac, int32_t type, int32_t of_system);
int32_t delete_lfil(int32_t port, const MacText& mac, int32_t of_system);

} // namespace emulator
