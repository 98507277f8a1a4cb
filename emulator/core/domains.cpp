// What the numbers of the store can be.
#include "core/domains.h"

#include <cstring>
#include <iterator>
#include <string_view>

namespace emulator {

namespace {

constexpr int64_t lowest_int = INT32_MIN;
constexpr int64_t highest_int = INT32_MAX;
constexpr int64_t highest_word = UINT32_MAX;
constexpr int64_t highest_color = 255; // that discards
constexpr int64_t never_a_vid = 4095;
constexpr int64_t last_class = classes_per_stream - 1;
constexpr int64_t last_stream = streams_per_port - 1;
constexpr int64_t last_stream_index = front_port_count * streams_per_port - 1;

// In the order of their names.
constexpr Domain domains[] = {
    {"accept_all_frames", 0, 1},
    {"accept_priority_tagged", 0, 1},
    {"accept_tagged", 0, 1},
    {"action", 0, 255},
    {"aging", 60, 1'000'000},
    {"bandwidth_mode", 0, 1},
    {"blocks", 1, highest_int},
    {"burst", 1, highest_int},
    {"byte_offset", 0, 65535},
    {"color", 0, highest_color},
    {"cos_editing", 0, 1},
    {"default_class", 0, last_class},
    {"default_color", 0, 2},
    {"default_stream", 0, last_stream},
    {"destination", 1, highest_int},
    {"enabled", 0, 1},
    {"entry", 0, tosmap_entry_count - 1},
    {"ether", lowest_int, highest_int},
    {"ether_type", 0, 65535},
    {"high", 0, highest_word},
    {"ignore_fdb", 0, 1},
    {"in_lag", 0, 1},
    {"in_use", 0, INT64_MAX},
    {"ingress_filtering", 0, 1},
    {"ip_interface", 0, 1},
    {"kind", 0, 3},
    {"learning_limit", 0, 50000},
    {"learning_off", 0, 1},
    {"length", 1, highest_int},
    {"line", 1, highest_int},
    {"link_depend", 1, 2},
    {"link_depend_ports", 0, highest_word},
    {"link_mode", 1, 2},
    {"list", 1, highest_int},
    {"loop_breaker", 0, 1},
    {"loop_detection", 0, 1},
    {"low", 0, highest_word},
    {"marking", 0, 2},
    {"mask", 0, highest_word},
    {"max_burst", 0, highest_int},
    {"max_drop", 0, 100},
    {"max_rate", 0, highest_int},
    {"max_threshold", 0, 100},
    {"min_burst", 0, highest_int},
    {"min_drop", 0, 100},
    {"min_rate", 0, highest_int},
    {"min_threshold", 0, 100},
    {"mirror", 1, 65535},
    {"of_system", 0, 1},
    {"point", 1, extraction_point_count},
    {"port", 1, highest_int},
    {"priority", 0, 7},
    {"protgroup", 0, 65535},
    {"pvid", 0, vlan_id::highest_local, never_a_vid},
    {"qos_first", lowest_int, highest_int},
    {"qos_second", lowest_int, highest_int},
    {"qos_type", 0, 2},
    {"rate", 1, highest_int},
    {"ratio", 0, highest_int},
    {"skip", 0, highest_int},
    {"source_port", 1, highest_int},
    {"source_type", 1, 5},
    {"source_vid", 1, vlan_id::highest_local, never_a_vid},
    {"status", lowest_int, highest_int, 0},
    {"stream", 0, last_stream},
    {"stream_index", 0, last_stream_index},
    {"stream_type", 0, 2},
    {"tag_type", 0, 65535},
    {"tag_vid", 0, vlan_id::highest_local, never_a_vid},
    {"tagged", 0, 1},
    {"times", 1, highest_int},
    {"traffic_class", 0, last_class},
    {"type", 0, 4},
    {"value", 0, INT64_MAX},
    {"vid", 1, vlan_id::highest_local, never_a_vid},
    {"weighted", 0, 1},
    {"width", 1, 4},
};

consteval bool are_in_order() {
    for (size_t i = 1; i < std::size(domains); ++i)
        if (std::string_view(domains[i - 1].column) >= domains[i].column) return false;
    return true;
}
static_assert(are_in_order());

} // namespace

const Domain* find_domain(const char* column) {
    size_t first = 0;
    for (size_t count = std::size(domains); count > 0;) {
        const size_t half = count / 2;
        if (strcmp(domains[first + half].column, column) < 0) {
            first += half + 1;
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return first < std::size(domains) && strcmp(domains[first].column, column) == 0 ? &domains[first] : nullptr;
}

} // namespace emulator
