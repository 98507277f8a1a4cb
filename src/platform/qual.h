// The registry of qualifier names, libqual: other processes of the switch find objects by category ("port", "vlan",
// "portvlan", "stream", "queue") and name. Nobody looks at its results.
#pragma once

#include <cstdint>

extern "C" {

// `id` is the port type for "port", the VLAN id for "vlan" and -1 for the others.
int32_t qual_register(const char* category, const char* name, int32_t id);
int32_t qual_unregister(const char* category, const char* name);

} // extern "C"
