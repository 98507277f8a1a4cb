// Reading port lists.
#include "port/port_list.h"

#include "platform/brgfdb.h"

namespace {

constexpr uint32_t highest_port = front_port_count;

// One item, up to its comma or the end of the text.
bool scan_item(const char*& at, uint32_t& mask) {
    uint32_t first = 0;
    uint32_t last = 0;
    bool is_range = false;
    for (; *at != ',' && *at != '\0'; ++at) {
        if (*at >= '0' && *at <= '9') {
            last = last * 10 + static_cast<uint32_t>(*at - '0');
        } else if (*at == '-' && !is_range) {
            is_range = true;
            first = last;
            last = 0;
        } else {
            return false;
        }
    }
    if (!is_range) first = last;
    if (first > highest_port || last > highest_port) return false;
    for (uint32_t port = first < last ? first : last; port <= first || port <= last; ++port)
        if (port > 0) mask |= 1U << (port - 1);
    return true;
}

} // namespace

bool parse_port_list(const char* text, uint32_t& mask) {
    mask = 0;
    while (scan_item(text, mask)) {
        if (*text == '\0') return true;
        ++text;
    }
    return false;
}
