// Priority and ToS map of a stream. Surplus words are ignored in both sentences.
#include "qos/qos.h"

#include "common/arithmetic.h"
#include "common/operands.h"
#include "common/qos_address.h"
#include "platform/brgfdb.h"
#include "qos/tosmap.h"

namespace {

StreamAddress read_checked_stream(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const StreamAddress address = read_stream_address(words[2]);
    require_port_and_stream(address.port, address.stream);
    return address;
}

// `what` ends the message of a status that is not the missing stream.
[[noreturn]] void finish_stream(int32_t result, int32_t status, const StreamAddress& address, const char* what) {
    if (result == 0) accept();
    if (status == status::no_stream) refuse_missing(status, address.stream);
    refuse<"stream {0}/{1} cannot set {2}.">(status, address.port, address.stream, what);
}

} // namespace

// set stream <port/stream> priority <pri>
void set_stream_priority(int32_t count, char** words) {
    const StreamAddress address = read_checked_stream(count, words);
    const int32_t priority = read_number(words[4]);
    if (!is_within(priority, 0, priority_count - 1)) refuse_out_of_range(range_error::stream_priority, priority);

    int32_t status = 0;
    const int32_t result = brgfdb_set_stream_priority(address.index(), priority, &status);
    finish_stream(result, status, address, "priority");
}

// set stream <port/stream> tosmap <map>
void set_stream_tosmap(int32_t count, char** words) {
    const StreamAddress address = read_checked_stream(count, words);
    TosMap map{};
    if (parse_tosmap(words[4], map) != 0) show_usage();

    int32_t status = 0;
    const int32_t result = brgfdb_set_stream_tosmap(address.index(), map.present, map.values, map.masks, &status);
    finish_stream(result, status, address, "tosmap");
}
