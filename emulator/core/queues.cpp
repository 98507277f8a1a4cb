// Queues: made with their buffers, then attached to their stream.
#include "core/queues.h"

#include "core/limits.h"
#include "core/refusal.h"
#include "core/streams.h"
#include "platform/brgfdb.h"

namespace emulator {

namespace {

constexpr int64_t most_queues = int64_t{front_port_count} * streams_per_port * classes_per_stream;

// A queue index names a class of a stream.
struct Place {
    int32_t stream_index;
    int32_t traffic_class;
};

Place place_of(int32_t queue_index) {
    if (queue_index < 0) return {-1, -1};
    return {queue_index / classes_per_stream, queue_index % classes_per_stream};
}

OptionalNumber find_blocks(Place place) {
    return find_number("SELECT blocks FROM queue WHERE stream_index = ?1 AND traffic_class = ?2", place.stream_index,
                       place.traffic_class);
}

bool is_attached(Place place) {
    return exists("SELECT 1 FROM queue_in_stream WHERE stream_index = ?1 AND traffic_class = ?2", place.stream_index,
                  place.traffic_class);
}

bool is_at(Place place, int32_t stream_index, int32_t traffic_class) {
    return place.stream_index == stream_index && place.traffic_class == traffic_class;
}

} // namespace

int32_t create_queue(int32_t queue_index, int32_t blocks, int32_t length) {
    const Place place = place_of(queue_index);
    if (find_blocks(place)) return status::queue_exists;
    if (is_full("queues", most_queues, "SELECT count(*) FROM queue")) return status::too_many_queues;
    if (!take(frame_buffers, blocks)) return status::no_frame_buffers;
    change("INSERT INTO queue (stream_index, traffic_class, blocks, length) VALUES (?1, ?2, ?3, ?4)",
           place.stream_index, place.traffic_class, blocks, length);
    return 0;
}

int32_t delete_queue(int32_t queue_index) {
    const Place place = place_of(queue_index);
    const OptionalNumber blocks = find_blocks(place);
    if (!blocks) return status::no_queue;
    if (is_attached(place)) return status::queue_already_in_stream;
    change("DELETE FROM queue WHERE stream_index = ?1 AND traffic_class = ?2", place.stream_index, place.traffic_class);
    give_back(frame_buffers, *blocks);
    return 0;
}

int32_t add_queue_to_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class, int32_t stream_type,
                            int32_t priority, int32_t weighted) {
    const Place place = place_of(queue_index);
    if (!stream_exists(stream_index)) return status::no_stream;
    if (!find_blocks(place)) return status::no_queue;
    if (is_attached(place)) return status::queue_already_in_stream;
    if (!is_at(place, stream_index, traffic_class)) return refusal::invalid_value;
    change("INSERT INTO queue_in_stream (stream_index, traffic_class, stream_type, priority, weighted) "
           "VALUES (?1, ?2, ?3, ?4, ?5)",
           stream_index, traffic_class, stream_type, priority, weighted);
    return 0;
}

int32_t rem_queue_from_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class) {
    const Place place = place_of(queue_index);
    if (!stream_exists(stream_index)) return status::no_stream;
    if (!find_blocks(place)) return status::no_queue;
    if (!is_at(place, stream_index, traffic_class) || !is_attached(place)) return status::queue_not_in_stream;
    change("DELETE FROM queue_in_stream WHERE stream_index = ?1 AND traffic_class = ?2", stream_index, traffic_class);
    return 0;
}

int32_t set_queue_qos(int32_t queue_index, int32_t stream_index, int32_t priority, int32_t ratio) {
    const Place place = place_of(queue_index);
    if (!stream_exists(stream_index)) return status::no_stream;
    if (place.stream_index != stream_index || !is_attached(place)) return status::no_queue;
    change("UPDATE queue_in_stream SET priority = ?3, ratio = ?4 WHERE stream_index = ?1 AND traffic_class = ?2",
           stream_index, place.traffic_class, priority, ratio);
    return 0;
}

int32_t set_queue_size(int32_t queue_index, int32_t stream_index, int32_t traffic_class, int32_t blocks,
                       int32_t length) {
    const Place place = place_of(queue_index);
    if (!stream_exists(stream_index)) return status::no_stream;
    const OptionalNumber blocks_before = find_blocks(place);
    if (!blocks_before || !is_at(place, stream_index, traffic_class) || !is_attached(place)) return status::no_queue;
    if (!take(frame_buffers, blocks - *blocks_before)) return status::no_frame_buffers;
    change("UPDATE queue SET blocks = ?3, length = ?4 WHERE stream_index = ?1 AND traffic_class = ?2", stream_index,
           traffic_class, blocks, length);
    return 0;
}

} // namespace emulator
