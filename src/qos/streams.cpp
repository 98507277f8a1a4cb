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

constexpr NumberedText stream_creation_messages[] = {
    {status::stream_exists, "streamno {0} already exists."},
    {status::no_frame_buffers, "not enough frame buffers to create stream."},
    {status::too_many_streams, "maximum number of streams."},
    {otherwise, "cannot create stream {0}."},
};

// The last message names the port, not the stream, deliberately.
constexpr NumberedText stream_attachment_messages[] = {
    {status::stream_already_in_port, "stream {1} already belongs to port."},
    {otherwise, "cannot add stream {0}."},
};

constexpr NumberedText stream_deletion_messages[] = {
    {status::stream_already_in_port, "stream {0} already belongs to port."},
    {otherwise, "cannot delete stream {0}."},
};

void report_attachment_error(int32_t status, const StreamAddress& address) {
    if (status == status::no_stream) return report_not_exist(status, nullptr, address.stream);
    if (status == status::no_port) return report_not_exist(status, nullptr, address.port);
    report<stream_attachment_messages>(status, address.port, address.stream);
}

// "red" is drop policy; the message says it although the QoS type was refused.
[[noreturn]] void refuse_qos_type(int32_t status, int32_t stream) {
    if (status == status::no_stream) refuse_missing(status, stream);
    refuse<"stream {0} cannot set red.">(status, stream);
}

[[noreturn]] void refuse_removal(int32_t status, const StreamAddress& address) {
    if (status == status::no_stream) refuse_missing(status, address.stream);
    if (status == status::no_port) refuse_missing(status, address.port);
    refuse<"cannot remove stream {0}.">(status, address.stream);
}

[[noreturn]] void refuse_stream_deletion(int32_t status, int32_t stream) {
    if (status == status::no_stream) refuse_missing(status, stream);
    refuse<stream_deletion_messages>(status, stream);
}

ShortText stream_name(const StreamAddress& address) {
    return compose<"{0}/{1}">(address.port, address.stream);
}

} // namespace

// create stream <port/stream> qostype {wfq|pq}
void create_stream(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const StreamAddress address = read_stream_address(words[2]);
    require_port_and_stream(address.port, address.stream);
    require_word(words[3], "qostype");
    const int32_t qos_type = read_word<qos_type_words>(words[4]);
    if (count != 5) no_more_argument();

    int32_t status = 0;
    const int32_t index = address.index();
    if (brgfdb_create_stream(index, &status) != 0) refuse<stream_creation_messages>(status, address.stream);
    if (brgfdb_add_stream_to_port(index, address.port, address.stream - 1, &status) != 0) {
        report_attachment_error(status, address);
        brgfdb_delete_stream(index, &status);
        end_process();
    }
    // A stream whose type is refused stays, attached and without a name; deleting it is the way out.
    if (brgfdb_set_qostype_in_stream(index, qos_type, first_qos_parameter, second_qos_parameter, &status) != 0)
        refuse_qos_type(status, address.stream);
    qual_register(qualifier::stream, stream_name(address).text, qualifier::no_id);
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
        if (status == status::stream_has_queue) refuse<"some queue belongs to stream {0} yet.">(status, address.stream);
        refuse_removal(status, address);
    }
    if (brgfdb_rem_stream_from_port(index, address.port, address.stream - 1, &status) != 0) {
        if (status == status::stream_not_in_port)
            refuse<"stream {0} does not belongs to port {1}.">(status, address.stream, address.port);
        refuse_removal(status, address);
    }
    if (brgfdb_delete_stream(index, &status) != 0) refuse_stream_deletion(status, address.stream);
    qual_unregister(qualifier::stream, stream_name(address).text);
    update_stream_shaping(address.port);
    accept();
}
