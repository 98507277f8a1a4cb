// Creating and deleting streams.
#include "qos/qos.h"

#include "common/operands.h"
#include "common/qos_address.h"
#include "common/shaping.h"
#include "common/text.h"
#include "platform/brgfdb.h"
#include "platform/qual.h"

namespace {

// No command sets the two parameters behind the QoS type of a stream.
constexpr int32_t first_qos_parameter = 2048;
constexpr int32_t second_qos_parameter = 64;

[[noreturn]] void refuse_creation(int32_t status, int32_t stream) {
    switch (status) {
    case status::stream_exists: refuse(status, "streamno %d already exists.", stream);
    case status::no_frame_buffers: refuse(status, "not enough frame buffers to create stream.");
    case status::too_many_streams: refuse(status, "maximum number of streams.");
    default: refuse(status, "cannot create stream %d.", stream);
    }
}

// The last message names the port, not the stream, deliberately.
void report_attachment_error(int32_t status, const StreamAddress& address) {
    switch (status) {
    case status::no_stream: return report_not_exist(status, nullptr, address.stream);
    case status::no_port: return report_not_exist(status, nullptr, address.port);
    case status::stream_already_in_port:
        return act_printf(status, "stream %d already belongs to port.", address.stream);
    default: return act_printf(status, "cannot add stream %d.", address.port);
    }
}

// "red" is drop policy; the message says it although the QoS type was refused.
[[noreturn]] void refuse_qos_type(int32_t status, int32_t stream) {
    if (status == status::no_stream) refuse_missing(status, stream);
    refuse(status, "stream %d cannot set red.", stream);
}

[[noreturn]] void refuse_removal(int32_t status, const StreamAddress& address) {
    switch (status) {
    case status::no_stream: refuse_missing(status, address.stream);
    case status::no_port: refuse_missing(status, address.port);
    default: refuse(status, "cannot remove stream %d.", address.stream);
    }
}

[[noreturn]] void refuse_deletion(int32_t status, int32_t stream) {
    switch (status) {
    case status::no_stream: refuse_missing(status, stream);
    case status::stream_already_in_port: refuse(status, "stream %d already belongs to port.", stream);
    default: refuse(status, "cannot delete stream %d.", stream);
    }
}

ShortText qualifier_name(const StreamAddress& address) {
    return format_text("%d/%d", address.port, address.stream);
}

} // namespace

// create stream <port/stream> qostype {wfq|pq}
void create_stream(int32_t count, char** words) {
    constexpr WordValue qos_types[] = {{"wfq", 1}, {"pq", 2}};
    if (count <= 4) show_usage();
    const StreamAddress address = read_stream_address(words[2]);
    require_port_and_stream(address.port, address.stream);
    require_word(words[3], "qostype");
    const int32_t qos_type = find_word_or_usage(qos_types, words[4]);
    if (count != 5) no_more_argument();

    int32_t status = 0;
    const int32_t index = address.index();
    if (brgfdb_create_stream(index, &status) != 0) refuse_creation(status, address.stream);
    if (brgfdb_add_stream_to_port(index, address.port, address.stream - 1, &status) != 0) {
        report_attachment_error(status, address);
        brgfdb_delete_stream(index, &status);
        end_process();
    }
    // A stream whose type is refused stays, attached and without a name; deleting it is the way out.
    if (brgfdb_set_qostype_in_stream(index, qos_type, first_qos_parameter, second_qos_parameter, &status) != 0)
        refuse_qos_type(status, address.stream);
    qual_register("stream", qualifier_name(address).text, -1);
    accept();
}

// delete stream <port/stream>
void delete_stream(int32_t count, char** words) {
    if (count <= 2) show_usage();
    const StreamAddress address = read_stream_address(words[2]);
    if (count > 3) no_more_argument();
    require_port_and_stream(address.port, address.stream);

    int32_t status = 0;
    const int32_t index = address.index();
    if (brgfdb_check_queue_in_stream(address.port, address.stream, &status) != 0) {
        if (status == status::stream_has_queue) refuse(status, "some queue belongs to stream %d yet.", address.stream);
        refuse_removal(status, address);
    }
    if (brgfdb_rem_stream_from_port(index, address.port, address.stream - 1, &status) != 0) {
        if (status == status::stream_not_in_port)
            refuse(status, "stream %d does not belongs to port %d.", address.stream, address.port);
        refuse_removal(status, address);
    }
    if (brgfdb_delete_stream(index, &status) != 0) refuse_deletion(status, address.stream);
    qual_unregister("stream", qualifier_name(address).text);
    update_stream_shaping(address.port);
    accept();
}
