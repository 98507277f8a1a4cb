// Addresses in the QoS tree: port / stream / class queue / color, typed as one operand with slashes.
#pragma once

#include "platform/brgfdb.h"

#include <string_view>

// The bridge library's numbers of streams and queues, from 0.
constexpr int32_t stream_index(int32_t port, int32_t stream) {
    return (port - 1) * streams_per_port + (stream - 1);
}
constexpr int32_t queue_index(int32_t port, int32_t stream, int32_t traffic_class) {
    return stream_index(port, stream) * classes_per_stream + traffic_class;
}

// Only ports 1 to 4 have a QoS tree. 206 and 207 when out of range, the port first.
void require_port_and_stream(int32_t port, int32_t stream);

// 208 when out of range.
void require_class(int32_t traffic_class);

bool is_stream(int32_t stream);
bool is_class(int32_t traffic_class);

// "green" 0, "yellow" 1, "red" 2, or the usage text.
int32_t read_color(const char* word);
int32_t read_color(std::string_view word);

// <port/stream>, not yet range-checked.
struct StreamAddress {
    int32_t port;
    int32_t stream;
    int32_t index() const { return stream_index(port, stream); }
};
StreamAddress read_stream_address(const char* word);

// <port/stream/class>, all three checked.
struct QueueAddress {
    int32_t port;
    int32_t stream;
    int32_t traffic_class;
    int32_t stream_index() const { return ::stream_index(port, stream); }
    int32_t index() const { return queue_index(port, stream, traffic_class); }
};
QueueAddress read_queue_address(const char* word);

// <port/stream/class/color>, the numbers checked before the color.
struct ColorAddress {
    QueueAddress queue;
    int32_t color;
};
ColorAddress read_color_address(const char* word);

// <stream/class/color>, for which only the usage text tells what is wrong; the numbers' ranges are the caller's.
struct Classification {
    int32_t stream;
    int32_t traffic_class;
    int32_t color;
};
Classification read_classification(const char* word);
