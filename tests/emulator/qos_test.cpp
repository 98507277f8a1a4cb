// Streams and queues.
#include "switch_test.h"

namespace {

class Streams : public SwitchTest {
protected:
    Streams() { refusal(brgfdb_create_port, 2, 2, 1); }
    static constexpr int32_t index = 256; // stream 1 of port 2

    static void create() {
        refusal(brgfdb_create_stream, index);
        refusal(brgfdb_add_stream_to_port, index, 2, 0);
        refusal(brgfdb_set_qostype_in_stream, index, 1, 2048, 64);
    }
    std::string in_use() const { return ask("SELECT in_use FROM limits WHERE name = 'frame_buffers'"); }
};

TEST_F(Streams, are_made_attached_detached_and_deleted) {
    EXPECT_EQ(refusal(brgfdb_add_stream_to_port, index, 2, 0), status::no_stream);
    EXPECT_EQ(refusal(brgfdb_create_stream, index), 0);
    EXPECT_EQ(refusal(brgfdb_create_stream, index), status::stream_exists);
    EXPECT_EQ(refusal(brgfdb_create_stream, 1024), 9001);
    EXPECT_EQ(refusal(brgfdb_rem_stream_from_port, index, 2, 0), status::stream_not_in_port);
    EXPECT_EQ(refusal(brgfdb_add_stream_to_port, index, 3, 0), status::no_port);
    EXPECT_EQ(refusal(brgfdb_add_stream_to_port, index, 2, 1), 9001);
    EXPECT_EQ(refusal(brgfdb_add_stream_to_port, index, 2, 0), 0);
    EXPECT_EQ(refusal(brgfdb_add_stream_to_port, index, 2, 0), status::stream_already_in_port);
    EXPECT_EQ(refusal(brgfdb_delete_stream, index), status::stream_already_in_port);
    EXPECT_EQ(refusal(brgfdb_rem_stream_from_port, index, 3, 0), status::no_port);
    EXPECT_EQ(refusal(brgfdb_rem_stream_from_port, index, 2, 1), status::stream_not_in_port);
    EXPECT_EQ(refusal(brgfdb_rem_stream_from_port, index, 2, 0), 0);
    EXPECT_EQ(in_use(), "64");
    EXPECT_EQ(refusal(brgfdb_delete_stream, index), 0);
    EXPECT_EQ(refusal(brgfdb_delete_stream, index), status::no_stream);
    EXPECT_EQ(refusal(brgfdb_rem_stream_from_port, index, 2, 0), status::no_stream);
    EXPECT_EQ(in_use(), "0");
}

TEST_F(Streams, tell_their_type) {
    StreamInfo info{};
    EXPECT_EQ(refusal(brgfdb_get_stream_info, index, &info), status::no_stream);
    create();
    info.before_type[0] = 99;
    info.after_type[267] = 99;
    EXPECT_EQ(refusal(brgfdb_get_stream_info, index, &info), 0);
    EXPECT_EQ(info.type, 1);
    EXPECT_EQ(info.before_type[0], 0);
    EXPECT_EQ(info.after_type[267], 0);
}

TEST_F(Streams, keep_what_they_were_told) {
    create();
    EXPECT_EQ(refusal(brgfdb_set_shaping_in_stream, index, 10000, 80, 64000, 32000), 0);
    EXPECT_EQ(refusal(brgfdb_set_shaping_in_stream, index, 64001, 80, 64000, 32000), 9001);
    EXPECT_EQ(refusal(brgfdb_set_stream_priority, index, 7), 0);
    EXPECT_EQ(refusal(brgfdb_set_stream_priority, index, 8), 9001);
    EXPECT_EQ(ask("SELECT * FROM stream"), "256|2|1|2048|64|10000|80|64000|32000|7");
    for (const int32_t status :
         {refusal(brgfdb_set_qostype_in_stream, 0, 1, 0, 0), refusal(brgfdb_set_shaping_in_stream, 0, 0, 0, 0, 0),
          refusal(brgfdb_set_stream_priority, 0, 0), refusal(brgfdb_set_red_in_stream, 0, 0, 0, 100, 0, 0, 0)})
        EXPECT_EQ(status, status::no_stream);
}

TEST_F(Streams, take_a_whole_tos_map_at_a_time) {
    create();
    const uint32_t values[8] = {0x10, 0x20, 0, 0xb8, 0, 0, 0, 0xffffffff};
    const uint32_t masks[8] = {0xff, 0xfc, 0, 0xff, 0, 0, 0, 0};
    EXPECT_EQ(refusal(brgfdb_set_stream_tosmap, index, 0x8bU, values, masks), 0);
    EXPECT_EQ(ask("SELECT entry, value, mask FROM tos_map"), "0|16|255\n1|32|252\n3|184|255\n7|4294967295|0");
    EXPECT_EQ(refusal(brgfdb_set_stream_tosmap, index, 0x2U, values, masks), 0);
    EXPECT_EQ(ask("SELECT entry, value, mask FROM tos_map"), "1|32|252");
    EXPECT_EQ(refusal(brgfdb_set_stream_tosmap, 0, 0x2U, values, masks), status::no_stream);
}

TEST_F(Streams, drop_by_class_and_color) {
    create();
    EXPECT_EQ(refusal(brgfdb_set_red_in_stream, index, 3, 1, 20, 5, 80, 50), 0);
    EXPECT_EQ(refusal(brgfdb_set_red_in_stream, index, 3, 2, 20, 5, 80, 50), 0);
    EXPECT_EQ(refusal(brgfdb_set_red_in_stream, index, 3, 2, 100, 0, 0, 0), 0);
    EXPECT_EQ(ask("SELECT * FROM drop_policy"), "256|3|1|20|5|80|50\n256|3|2|100|0|0|0");
    EXPECT_EQ(refusal(brgfdb_set_red_in_stream, index, 3, 0, 20, 5, 101, 50), 9001);
    EXPECT_EQ(refusal(brgfdb_set_red_in_stream, index, 8, 0, 20, 5, 80, 50), 9001);
    EXPECT_EQ(refusal(brgfdb_set_red_in_stream, index, 3, 0, 90, 5, 10, 50), 9001); // reversed, as a shaper's rates
    EXPECT_EQ(refusal(brgfdb_set_red_in_stream, index, 3, 0, 100, 1, 0, 0), 9001);
    refusal(brgfdb_rem_stream_from_port, index, 2, 0);
    EXPECT_EQ(refusal(brgfdb_delete_stream, index), 0);
    EXPECT_EQ(ask("SELECT count(*) FROM drop_policy"), "0");
}

constexpr int32_t queue = 256 * 8 + 5;

TEST_F(Streams, hold_queues) {
    create();
    EXPECT_EQ(refusal(brgfdb_add_queue_to_stream, queue, index, 5, 1, 5, 1), status::no_queue);
    EXPECT_EQ(refusal(brgfdb_create_queue, queue, 256, 16384), 0);
    EXPECT_EQ(refusal(brgfdb_create_queue, queue, 256, 16384), status::queue_exists);
    EXPECT_EQ(refusal(brgfdb_create_queue, 8192, 256, 16384), 9001);
    EXPECT_EQ(refusal(brgfdb_create_queue, -1, 256, 16384), 9001);
    EXPECT_EQ(refusal(brgfdb_rem_queue_from_stream, queue, index, 5), status::queue_not_in_stream);
    EXPECT_EQ(refusal(brgfdb_check_queue_in_stream, 2, 1), 0);
    EXPECT_EQ(refusal(brgfdb_add_queue_to_stream, queue, 0, 5, 1, 5, 1), status::no_stream);
    EXPECT_EQ(refusal(brgfdb_add_queue_to_stream, queue, index, 4, 1, 5, 1), 9001);
    EXPECT_EQ(refusal(brgfdb_add_queue_to_stream, queue, index, 5, 1, 5, 1), 0);
    EXPECT_EQ(refusal(brgfdb_add_queue_to_stream, queue, index, 5, 1, 5, 1), status::queue_already_in_stream);
    EXPECT_EQ(ask("SELECT * FROM queue; SELECT * FROM queue_in_stream"), "256|5|256|16384\n256|5|1|1|5|1");
    EXPECT_EQ(in_use(), "320");

    EXPECT_EQ(refusal(brgfdb_check_queue_in_stream, 2, 1), status::stream_has_queue);
    EXPECT_EQ(refusal(brgfdb_check_queue_in_stream, 2, 2), status::no_stream);
    EXPECT_EQ(refusal(brgfdb_check_queue_in_stream, 3, 1), status::no_port);
    EXPECT_EQ(refusal(brgfdb_delete_queue, queue), status::queue_already_in_stream);
    EXPECT_EQ(refusal(brgfdb_rem_queue_from_stream, queue, 0, 5), status::no_stream);
    EXPECT_EQ(refusal(brgfdb_rem_queue_from_stream, queue + 1, index, 6), status::no_queue);
    EXPECT_EQ(refusal(brgfdb_rem_queue_from_stream, queue, index, 5), 0);
    EXPECT_EQ(refusal(brgfdb_delete_queue, queue), 0);
    EXPECT_EQ(refusal(brgfdb_delete_queue, queue), status::no_queue);
    EXPECT_EQ(in_use(), "64");
}

TEST_F(Streams, serve_their_queues_as_told) {
    create();
    refusal(brgfdb_create_queue, queue, 256, 16384);
    EXPECT_EQ(refusal(brgfdb_set_queue_qos, queue, index, 7, 10), status::no_queue); // not attached yet
    EXPECT_EQ(refusal(brgfdb_set_queue_size, queue, index, 5, 24, 1536), status::no_queue);
    refusal(brgfdb_add_queue_to_stream, queue, index, 5, 1, 5, 1);
    EXPECT_EQ(refusal(brgfdb_set_queue_qos, queue, index, 7, 10), 0);
    EXPECT_EQ(refusal(brgfdb_set_queue_qos, queue, index, 8, 10), 9001);
    EXPECT_EQ(refusal(brgfdb_set_queue_qos, queue, 0, 7, 10), status::no_stream);
    EXPECT_EQ(refusal(brgfdb_set_queue_qos, queue + 1, index, 7, 10), status::no_queue);
    EXPECT_EQ(refusal(brgfdb_set_queue_size, queue, index, 5, 24, 1536), 0);
    EXPECT_EQ(refusal(brgfdb_set_queue_size, queue, 0, 5, 24, 1536), status::no_stream);
    EXPECT_EQ(refusal(brgfdb_set_queue_size, queue + 1, index, 6, 24, 1536), status::no_queue);
    EXPECT_EQ(ask("SELECT * FROM queue; SELECT * FROM queue_in_stream"), "256|5|24|1536\n256|5|1|1|7|10");
    EXPECT_EQ(in_use(), "88");
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Streams, share_the_frame_buffers) {
    set_limit("frame_buffers", 63);
    EXPECT_EQ(refusal(brgfdb_create_stream, index), status::no_frame_buffers);
    set_limit("frame_buffers", 320);
    create();
    EXPECT_EQ(refusal(brgfdb_create_queue, queue, 257, 16448), status::no_frame_buffers);
    EXPECT_EQ(refusal(brgfdb_create_queue, queue, 256, 16384), 0);
    refusal(brgfdb_add_queue_to_stream, queue, index, 5, 1, 5, 1);
    EXPECT_EQ(refusal(brgfdb_set_queue_size, queue, index, 5, 257, 16448), status::no_frame_buffers);
    set_limit("frame_buffers", 0);
    EXPECT_EQ(refusal(brgfdb_set_queue_size, queue, index, 5, 255, 16320), 0); // giving back goes always
    EXPECT_EQ(in_use(), "319");
}

TEST_F(Streams, may_be_gone_while_an_unattached_queue_is_left) {
    create();
    refusal(brgfdb_create_queue, queue, 256, 16384);
    refusal(brgfdb_rem_stream_from_port, index, 2, 0);
    EXPECT_EQ(refusal(brgfdb_delete_stream, index), 0);
    EXPECT_EQ(refusal(brgfdb_create_queue, queue, 256, 16384), status::queue_exists);
    EXPECT_EQ(refusal(brgfdb_delete_queue, queue), 0);
}

TEST_F(Streams, are_not_deleted_under_their_queues) {
    create();
    refusal(brgfdb_create_queue, queue, 256, 16384);
    refusal(brgfdb_add_queue_to_stream, queue, index, 5, 1, 5, 1);
    refusal(brgfdb_rem_stream_from_port, index, 2, 0);
    EXPECT_EQ(refusal(brgfdb_delete_stream, index), status::stream_has_queue);
    EXPECT_EQ(find_contradiction(), "");
}

} // namespace
