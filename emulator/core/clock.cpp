// The time as the store keeps it.
#include "clock.h"

#include <cstdio>
#include <ctime>

namespace emulator {

void write_clock(char (&text)[clock_text_size]) {
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm utc{};
    gmtime_r(&now.tv_sec, &utc);
    const size_t length = strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &utc);
    snprintf(text + length, sizeof text - length, ".%06ld", now.tv_nsec / 1000);
}

} // namespace emulator
