// libqual of the emulated switch.
#include "core/call.h"
#include "core/sidecalls.h"
#include "platform/qual.h"

using emulator::Call;

int32_t qual_register(const char* category, const char* name, int32_t id) {
    return Call(__func__, category, name, id).tell([&] { return emulator::register_name(category, name, id); });
}
int32_t qual_unregister(const char* category, const char* name) {
    return Call(__func__, category, name).tell([&] { return emulator::unregister_name(category, name); });
}
