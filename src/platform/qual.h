// The registry of qualifier names, libqual: other processes of the switch find objects by category and name. Nobody
// looks at its results.
#pragma once

#ifdef __cplusplus
#include <cstdint>

// The categories, and how their names are written.
namespace qualifier {
constexpr const char* port = "port";       // 3
constexpr const char* vlan = "vlan";       // sales
constexpr const char* member = "portvlan"; // 3/sales
constexpr const char* stream = "stream";   // 1/256
constexpr const char* queue = "queue";     // 1/256/7
constexpr int32_t no_id = -1;
} // namespace qualifier

extern "C" {
#else
#include "numbers.h" // the numbers for C

#include <stdint.h>
#endif

// `id` is the port type of a port, the id of a VLAN, and no_id for all others.
int32_t qual_register(const char* category, const char* name, int32_t id);
int32_t qual_unregister(const char* category, const char* name);

#ifdef __cplusplus
} // extern "C"
#endif
