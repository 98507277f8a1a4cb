// Streams: made, attached to their port, and given what they do with frames.
#include "core/streams.h"

#include "core/limits.h"
#include "core/ports.h"
#include "core/refusal.h"

namespace emulator {

namespace {

constexpr int64_t most_streams = int64_t{front_port_count} * streams_per_port;
constexpr int64_t buffers_of_stream = 64;

// Runs an update of one stream, `?1`.
template <typename... Values> int32_t update_stream(const char* sql, int32_t stream_index, const Values&... values) {
    return change(sql, stream_index, values...) == 1 ? 0 : status::no_stream;
}

bool has_queue(int64_t stream_index) {
    return exists("SELECT 1 FROM queue_in_stream WHERE stream_index = ?1", stream_index);
}

int64_t index_of(int32_t port, int64_t stream) {
    return (int64_t{port} - 1) * streams_per_port + stream;
}

} // namespace

bool stream_exists(int64_t stream_index) {
    return exists("SELECT 1 FROM stream WHERE stream_index = ?1", stream_index);
}

int32_t create_stream(int32_t stream_index) {
    if (stream_exists(stream_index)) return status::stream_exists;
    if (is_full("streams", most_streams, "SELECT count(*) FROM stream")) return status::too_many_streams;
    if (!take(frame_buffers, buffers_of_stream)) return status::no_frame_buffers;
    change("INSERT INTO stream (stream_index) VALUES (?1)", stream_index);
    return 0;
}

int32_t delete_stream(int32_t stream_index) {
    Rows rows("SELECT port FROM stream WHERE stream_index = ?1", stream_index);
    if (!rows.next()) return status::no_stream;
    if (rows.optional_number(0)) return status::stream_already_in_port;
    if (has_queue(stream_index)) return status::stream_has_queue;
    change("DELETE FROM stream WHERE stream_index = ?1", stream_index);
    give_back(frame_buffers, buffers_of_stream);
    return 0;
}

int32_t add_stream_to_port(int32_t stream_index, int32_t port, int32_t stream) {
    Rows rows("SELECT port FROM stream WHERE stream_index = ?1", stream_index);
    if (!rows.next()) return status::no_stream;
    if (!port_exists(port)) return status::no_port;
    if (rows.optional_number(0)) return status::stream_already_in_port;
    if (index_of(port, stream) != stream_index) return refusal::invalid_value;
    return update_stream("UPDATE stream SET port = ?2 WHERE stream_index = ?1", stream_index, port);
}

int32_t rem_stream_from_port(int32_t stream_index, int32_t port, int32_t stream) {
    Rows rows("SELECT port FROM stream WHERE stream_index = ?1", stream_index);
    if (!rows.next()) return status::no_stream;
    if (!port_exists(port)) return status::no_port;
    if (rows.optional_number(0) != port || index_of(port, stream) != stream_index) return status::stream_not_in_port;
    return update_stream("UPDATE stream SET port = NULL WHERE stream_index = ?1", stream_index);
}

int32_t check_queue_in_stream(int32_t port, int32_t stream) {
    if (!port_exists(port)) return status::no_port;
    const int64_t stream_index = index_of(port, int64_t{stream} - 1);
    if (!stream_exists(stream_index)) return status::no_stream;
    return has_queue(stream_index) ? status::stream_has_queue : 0;
}

int32_t set_qostype_in_stream(int32_t stream_index, int32_t type, int32_t first_parameter, int32_t second_parameter) {
    return update_stream("UPDATE stream SET qos_type = ?2, qos_first = ?3, qos_second = ?4 WHERE stream_index = ?1",
                         stream_index, type, first_parameter, second_parameter);
}

int32_t get_stream_info(int32_t stream_index, StreamInfo& info) {
    const OptionalNumber type = find_number("SELECT qos_type FROM stream WHERE stream_index = ?1", stream_index);
    if (!type) return status::no_stream;
    info = StreamInfo{};
    info.type = static_cast<int32_t>(*type);
    return 0;
}

int32_t set_shaping_in_stream(int32_t stream_index, int32_t min_rate, int32_t min_burst, int32_t max_rate,
                              int32_t max_burst) {
    return update_stream(
        "UPDATE stream SET min_rate = ?2, min_burst = ?3, max_rate = ?4, max_burst = ?5 WHERE stream_index = ?1",
        stream_index, min_rate, min_burst, max_rate, max_burst);
}

int32_t set_stream_priority(int32_t stream_index, int32_t priority) {
    return update_stream("UPDATE stream SET priority = ?2 WHERE stream_index = ?1", stream_index, priority);
}

// A map takes the place of the one before, so that an entry can be left out again.
int32_t set_stream_tosmap(int32_t stream_index, uint32_t present, const uint32_t* values, const uint32_t* masks) {
    if (!stream_exists(stream_index)) return status::no_stream;
    change("DELETE FROM tos_map WHERE stream_index = ?1", stream_index);
    for (uint32_t entry = 0; entry < tosmap_entry_count; ++entry)
        if ((present >> entry & 1U) != 0)
            change("INSERT INTO tos_map (stream_index, entry, value, mask) VALUES (?1, ?2, ?3, ?4)", stream_index,
                   entry, values[entry], masks[entry]);
    return 0;
}

int32_t set_red_in_stream(int32_t stream_index, int32_t traffic_class, int32_t color, int32_t min_threshold,
                          int32_t min_drop, int32_t max_threshold, int32_t max_drop) {
    if (!stream_exists(stream_index)) return status::no_stream;
    // As a shaper is refused whose rates are reversed; the thresholds of tail drop stand for themselves.
    const bool is_tail_drop = min_threshold == 100 && min_drop == 0 && max_threshold == 0 && max_drop == 0;
    if (min_threshold > max_threshold && !is_tail_drop) return refusal::invalid_value;
    change("REPLACE INTO drop_policy (stream_index, traffic_class, color, min_threshold, min_drop, max_threshold, "
           "max_drop) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)",
           stream_index, traffic_class, color, min_threshold, min_drop, max_threshold, max_drop);
    return 0;
}

} // namespace emulator
