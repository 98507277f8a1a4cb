// Reading and checking addresses in the QoS tree.
#include "common/qos_address.h"

#include "common/arithmetic.h"
#include "common/operands.h"
#include "common/scan.h"

namespace {

bool scan_two(const char*& at, int32_t& first, int32_t& second) {
    return scan_decimal(at, first) && scan_literal(at, '/') && scan_decimal(at, second);
}

bool scan_queue(const char*& at, QueueAddress& queue) {
    return scan_two(at, queue.port, queue.stream) && scan_literal(at, '/') && scan_decimal(at, queue.traffic_class);
}

void require_queue_in_range(const QueueAddress& queue) {
    require_port_and_stream(queue.port, queue.stream);
    require_class(queue.traffic_class);
}

} // namespace

bool is_stream(int32_t stream) {
    return is_within(stream, 1, streams_per_port);
}

bool is_class(int32_t traffic_class) {
    return is_within(traffic_class, 0, classes_per_stream - 1);
}

void require_port_and_stream(int32_t port, int32_t stream) {
    if (!is_within(port, 1, front_port_count)) refuse_out_of_range(range_error::port, port);
    if (!is_stream(stream)) refuse_out_of_range(range_error::stream, stream);
}

void require_class(int32_t traffic_class) {
    if (!is_class(traffic_class)) refuse_out_of_range(range_error::traffic_class, traffic_class);
}

int32_t read_color(const char* word) {
    return read_word<color_words>(word);
}

int32_t read_color(std::string_view word) {
    return read_word<color_words>(word);
}

StreamAddress read_stream_address(const char* word) {
    StreamAddress address{};
    if (!scan_two(word, address.port, address.stream)) show_usage();
    return address;
}

QueueAddress read_queue_address(const char* word) {
    QueueAddress queue{};
    if (!scan_queue(word, queue)) show_usage();
    require_queue_in_range(queue);
    return queue;
}

ColorAddress read_color_address(const char* word) {
    QueueAddress queue{};
    std::string_view color;
    if (!scan_queue(word, queue) || !scan_literal(word, '/') || !scan_text(word, color)) show_usage();
    require_queue_in_range(queue);
    return {queue, read_color(color)};
}

Classification read_classification(const char* word) {
    Classification target{};
    std::string_view color;
    if (!scan_two(word, target.stream, target.traffic_class) || !scan_literal(word, '/') || !scan_text(word, color))
        show_usage();
    target.color = read_color(color);
    return target;
}
