// Creating and deleting class queues, one or all eight of a stream.
#include "qos/qos.h"

#include "common/operands.h"
#include "common/qos_address.h"
#include "common/scan.h"
#include "common/text.h"
#include "platform/brgfdb.h"
#include "platform/qual.h"
#include "platform/trapevent.h"

namespace {

// What every new queue gets; `set queue ... queue_length` changes it.
constexpr int32_t initial_blocks = 256;
constexpr int32_t initial_length = 16384;

// The classes that a sentence names: one, or all eight for "-". Of all eight, those whose queue is there already, or
// gone already, are skipped without a word.
struct ClassList {
    int32_t port;
    int32_t stream;
    int32_t first;
    int32_t last;
    bool is_all;

    QueueAddress queue(int32_t traffic_class) const { return {port, stream, traffic_class}; }
};

// <port/stream/class>, where the class may be "-".
ClassList read_class_list(const char* word) {
    const char* at = word;
    ClassList list{};
    std::string_view class_word;
    if (!scan_decimal(at, list.port) || !scan_literal(at, '/') || !scan_decimal(at, list.stream) ||
        !scan_literal(at, '/') || !scan_text(at, class_word))
        show_usage();
    require_port_and_stream(list.port, list.stream);

    list.is_all = is_word(class_word, "-");
    if (list.is_all) {
        list.last = classes_per_stream - 1;
        return list;
    }
    list.first = read_number(class_word.data());
    require_class(list.first);
    list.last = list.first;
    return list;
}

ShortText queue_name(const QueueAddress& queue) {
    return compose<"{0}/{1}/{2}">(queue.port, queue.stream, queue.traffic_class);
}

constexpr NumberedText queue_creation_messages[] = {
    {status::queue_exists, "queue {0}/{1}/{2} already exists."},
    {status::too_many_queues, "maximum number of queues."},
    {status::no_frame_buffers, "not enough frame buffers to create queue."},
    {otherwise, "cannot create queue. {0}/{1}/{2}."},
};

constexpr NumberedText queue_attachment_messages[] = {
    {status::queue_already_in_stream, "queue {0} already belongs to stream."},
    {otherwise, "cannot add queue {0}."},
};

constexpr NumberedText queue_detachment_messages[] = {
    {status::queue_not_in_stream, "queue {0}/{1}/{2} does not belong to stream."},
    {otherwise, "cannot remove queue {0}/{1}/{2}."},
};

// `position` is the place of the class in the list, which is 0 for a single class: the messages show it in place of the
// class, deliberately.
[[noreturn]] void refuse_attachment(int32_t status, int32_t stream, int32_t position) {
    if (status == status::no_stream) refuse_missing(status, stream);
    if (status == status::no_queue) refuse_missing(status, position);
    refuse<queue_attachment_messages>(status, position);
}

[[noreturn]] void refuse_detachment(int32_t status, const QueueAddress& queue) {
    if (status == status::no_stream) refuse_missing(status, queue.stream);
    if (status == status::no_queue) refuse_missing(status, queue.traffic_class);
    refuse<queue_detachment_messages>(status, queue.port, queue.stream, queue.traffic_class);
}

[[noreturn]] void refuse_queue_deletion(int32_t status, const QueueAddress& queue) {
    if (status == status::no_queue) refuse_missing(status, 0); // the place in a list of one
    refuse<"cannot delete queue. {0}/{1}/{2}.">(status, queue.port, queue.stream, queue.traffic_class);
}

constexpr bool is_already_gone(int32_t status) {
    return status == status::no_stream || status == status::no_queue || status == status::queue_not_in_stream;
}

} // namespace

// create queue <port/stream/class>
void create_queue(int32_t count, char** words) {
    if (count <= 2) show_usage();
    const ClassList list = read_class_list(words[2]);
    if (count > 3) no_more_argument();

    int32_t status = 0;
    StreamInfo stream{};
    const int32_t stream_index = list.queue(0).stream_index();
    if (brgfdb_get_stream_info(stream_index, &stream, &status) != 0) {
        if (status == status::no_stream) refuse_missing(status, list.stream);
        refuse<"cannot get stream {0}/{1} info.">(status, list.port, list.stream);
    }

    for (int32_t traffic_class = list.first; traffic_class <= list.last; ++traffic_class) {
        const QueueAddress queue = list.queue(traffic_class);
        if (brgfdb_create_queue(queue.index(), initial_blocks, initial_length, &status) != 0) {
            if (list.is_all && status == status::queue_exists) continue;
            refuse<queue_creation_messages>(status, queue.port, queue.stream, queue.traffic_class);
        }
        if (brgfdb_add_queue_to_stream(queue.index(), stream_index, traffic_class, stream.type, traffic_class,
                                       stream.type == qos_type::weighted_fair ? 1 : 0, &status) != 0)
            refuse_attachment(status, list.stream, traffic_class - list.first);
        libev_Queue_Status(0, list.port, list.stream, traffic_class, trap_event::added);
        qual_register(qualifier::queue, queue_name(queue).text, qualifier::no_id);
    }
    accept();
}

// delete queue <port/stream/class>
void delete_queue(int32_t count, char** words) {
    if (count <= 2) show_usage();
    const ClassList list = read_class_list(words[2]);
    if (count > 3) no_more_argument();

    int32_t status = 0;
    for (int32_t traffic_class = list.first; traffic_class <= list.last; ++traffic_class) {
        const QueueAddress queue = list.queue(traffic_class);
        if (brgfdb_rem_queue_from_stream(queue.index(), queue.stream_index(), traffic_class, &status) != 0) {
            if (list.is_all && is_already_gone(status)) continue;
            refuse_detachment(status, queue);
        }
        if (brgfdb_delete_queue(queue.index(), &status) != 0) {
            if (list.is_all && status == status::no_queue) continue;
            refuse_queue_deletion(status, queue);
        }
        libev_Queue_Status(0, list.port, list.stream, traffic_class, trap_event::gone);
        qual_unregister(qualifier::queue, queue_name(queue).text);
    }
    accept();
}
