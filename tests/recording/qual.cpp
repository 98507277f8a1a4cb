// libqual, recorded.
#include "recorder.h"

#include "platform/qual.h"

int32_t qual_register(const char* category, const char* name, int32_t id) {
    return recorder::tell(__func__, category, name, id);
}
int32_t qual_unregister(const char* category, const char* name) {
    return recorder::tell(__func__, category, name);
}
