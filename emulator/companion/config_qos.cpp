// Streams and queues as sentences.
#include "companion/config.h"
#include "companion/orphans.h"

#include "platform/qual.h"

namespace config {

namespace {

bool is_attached(const Query& row) {
    return row.optional_number("port").has_value();
}

// Whether a sentence makes a stream like this one.
bool is_made_by_sentence(const Query& row) {
    return is_attached(row) && row.number("qos_type") != 0 && row.number("qos_first") == first_qos_parameter &&
           row.number("qos_second") == second_qos_parameter;
}

void add_stream_by_calls(Configuration& out, const Stream& stream, const Query& row) {
    out.remark("stream " + stream.address + " was not made or deleted to its end");
    out.call("brgfdb_create_stream", stream.index);
    if (is_attached(row)) out.call("brgfdb_add_stream_to_port", stream.index, stream.port(), stream.number());
    if (row.number("qos_type") != 0 || row.number("qos_first") != 0 || row.number("qos_second") != 0)
        out.call("brgfdb_set_qostype_in_stream", stream.index, row.number("qos_type"), row.number("qos_first"),
                 row.number("qos_second"));
}

// The sentence that shapes asks for the port, too, which may be gone where the stream is not attached.
void add_stream_settings(Configuration& out, const Stream& stream, const Query& row) {
    if (row.number("max_rate") != 0) {
        if (is_attached(row))
            out.add("set stream " + stream.address + " shaping on " + shaping(row));
        else
            out.call("brgfdb_set_shaping_in_stream", stream.index, row.number("min_rate"), row.number("min_burst"),
                     row.number("max_rate"), row.number("max_burst"));
    }
    if (row.number("priority") != 0)
        out.add("set stream " + stream.address + " priority " + text(row.number("priority")));
}

} // namespace

void add_streams(Configuration& out) {
    Children maps(out.database, "SELECT * FROM tos_map ORDER BY stream_index, entry", {"stream_index"});
    Query rows(out.database, "SELECT * FROM stream ORDER BY stream_index");
    while (rows.next()) {
        const Stream stream(rows);
        if (is_made_by_sentence(rows)) {
            out.add("create stream " + stream.address + " qostype " + rows.word("qos_type", qos_type_words));
            out.expected.name(qualifier::stream, stream.address, qualifier::no_id);
        } else {
            add_stream_by_calls(out, stream, rows);
        }
        add_stream_settings(out, stream, rows);
        if (const std::string map = tos_map(rows, maps); !map.empty())
            out.add("set stream " + stream.address + " tosmap " + map);
    }
    maps.expect_end();
}

namespace {

// A new queue is served by its stream's type, with the priority of its class.
bool is_attached_by_sentence(const Query& row) {
    const int64_t type = row.number("qos_type");
    return row.number("stream_type") == type && row.flag("weighted") == (type == qos_type::weighted_fair);
}

void add_queue(Configuration& out, const Query& row) {
    const Stream stream(row);
    const int64_t traffic_class = row.number("traffic_class");
    const std::string queue = stream.address + "/" + text(traffic_class);
    const int64_t index = stream.index * classes_per_stream + traffic_class;
    const int64_t blocks = row.number("blocks");
    const int64_t length = row.number("length");
    const bool is_attached = row.flag("attached");
    if (!is_attached || row.is_null("qos_type") || !is_attached_by_sentence(row)) {
        out.remark("queue " + queue + " was not made or deleted to its end");
        out.call("brgfdb_create_queue", index, blocks, length);
        if (!is_attached) return;
        out.call("brgfdb_add_queue_to_stream", index, stream.index, traffic_class, row.number("stream_type"),
                 traffic_class, row.number("weighted"));
    } else {
        out.add("create queue " + queue);
        out.expected.name(qualifier::queue, queue, qualifier::no_id);
        if (blocks * block_size(length) != length)
            out.call("brgfdb_set_queue_size", index, stream.index, traffic_class, blocks, length);
        else if (length != initial_length || blocks != initial_blocks)
            out.add("set queue " + queue + " queue_length " + text(length));
    }
    if (row.number("priority") != traffic_class || row.number("ratio") != 1)
        out.add("set queue " + queue + " pri " + text(row.number("priority")) + " ratio " + text(row.number("ratio")));
}

} // namespace

void add_queues(Configuration& out) {
    expect_queues_in_streams(out.database);
    Query rows(out.database, "SELECT queue.stream_index, queue.traffic_class, blocks, length, stream_type, weighted,"
                             " queue_in_stream.priority, ratio, qos_type,"
                             " queue_in_stream.traffic_class IS NOT NULL AS attached FROM queue"
                             " LEFT JOIN queue_in_stream USING (stream_index, traffic_class)"
                             " LEFT JOIN stream USING (stream_index) ORDER BY queue.stream_index, queue.traffic_class");
    while (rows.next())
        add_queue(out, rows);
    Query policies(out.database, "SELECT * FROM drop_policy ORDER BY stream_index, traffic_class, color");
    while (policies.next())
        out.add("set queue " + Stream(policies).address + "/" + text(policies.number("traffic_class")) + " color " +
                policies.word("color", color_words) + " drop_type " + drop_type(policies));
}

} // namespace config
