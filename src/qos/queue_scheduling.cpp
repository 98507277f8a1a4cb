// Scheduling and length of a class queue.
#include "qos/qos.h"

#include "common/arithmetic.h"
#include "common/operands.h"
#include "common/qos_address.h"
#include "platform/brgfdb.h"

namespace {

constexpr int32_t shortest_length = 1536; // bytes: one long frame
constexpr int32_t longest_length = 4194304;
constexpr int32_t length_unit = 64;

// Lengths below the shortest become that one, others are rounded up to whole units, which wraps around for those in the
// last unit below 2 GiB.
int32_t normalise_length(int32_t length) {
    if (length < shortest_length) return shortest_length;
    if (length % length_unit == 0) return length;
    return wrapping_add(length / length_unit * length_unit, length_unit);
}

// Long queues use larger blocks, so that no queue has more than 16384.
int32_t block_size(int32_t length) {
    if (length > 1048576) return 256;
    if (length > 262144) return 128;
    return 64;
}

constexpr NumberedText queue_size_messages[] = {
    {status::no_frame_buffers, "not enough frame buffers to change queue size."},
    {otherwise, "queue {0}/{1} cannot set size."},
};

// Refuses what the bridge library does not know; returns for any other status.
void require_known(int32_t status, const QueueAddress& queue) {
    if (status == status::no_stream) refuse_missing(status, queue.stream);
    if (status == status::no_queue) refuse_missing(status, queue.traffic_class);
}

} // namespace

// set queue <port/stream/class> pri <pri> [ratio <ratio>]
void set_queue_pri(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const QueueAddress queue = read_queue_address(words[2]);
    const int32_t priority = read_number(words[4]);
    int32_t ratio = 1;
    if (count >= 7) {
        require_word(words[5], "ratio");
        ratio = read_number(words[6]);
    }
    if (count != 5 && count != 7) no_more_argument();

    int32_t status = 0;
    if (brgfdb_set_queue_qos(queue.index(), queue.stream_index(), priority, ratio, &status) == 0) accept();
    require_known(status, queue);
    refuse<"queue {0}/{1} cannot set QoS.">(status, queue.stream, queue.traffic_class);
}

// set queue <port/stream/class> queue_length <length>
void set_queue_length(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const QueueAddress queue = read_queue_address(words[2]);
    const int32_t typed = read_number(words[4]);
    if (count > 5) no_more_argument();
    const int32_t length = normalise_length(typed);
    if (length > longest_length) refuse_out_of_range(range_error::queue_size, length);

    int32_t status = 0;
    if (brgfdb_set_queue_size(queue.index(), queue.stream_index(), queue.traffic_class, length / block_size(length),
                              length, &status) == 0)
        accept();
    require_known(status, queue);
    refuse<queue_size_messages>(status, queue.stream, queue.traffic_class);
}
