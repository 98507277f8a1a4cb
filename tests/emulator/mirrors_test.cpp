// Mirrors.
#include "switch_test.h"

namespace {

constexpr uint16_t one = 1;
constexpr uint16_t two = 2;
constexpr uint16_t three = 3;
constexpr uint16_t none = 0;

class Mirrors : public SwitchTest {
protected:
    Mirrors() {
        refusal(brgfdb_create_port, 1, 1, 1);
        refusal(brgfdb_create_port, 2, 2, 1);
        int32_t vid = 10;
        refusal(brgfdb_create_vlan, "sales", &vid);
    }
};

TEST_F(Mirrors, go_from_creation_to_deletion) {
    EXPECT_EQ(refusal(brgfdb_delete_mirror, one), status::no_mirror);
    EXPECT_EQ(refusal(brgfdb_create_mirror, one), 0);
    EXPECT_EQ(refusal(brgfdb_create_mirror, one), status::mirror_exists);
    EXPECT_EQ(refusal(brgfdb_enable_mirror, one), status::mirror_has_no_source);
    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 1, one, none), 0);
    EXPECT_EQ(refusal(brgfdb_enable_mirror, one), status::mirror_has_no_destination);
    EXPECT_EQ(refusal(brgfdb_set_mirror_dest, one, one), status::mirror_destination_is_source);
    EXPECT_EQ(refusal(brgfdb_set_mirror_dest, one, two), 0);
    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 3, two, none), status::mirror_destination_is_source);
    EXPECT_EQ(refusal(brgfdb_disable_mirror, one), status::mirror_already_disabled);
    EXPECT_EQ(refusal(brgfdb_enable_mirror, one), 0);
    EXPECT_EQ(refusal(brgfdb_enable_mirror, one), status::mirror_already_enabled);

    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 3, one, none), status::mirror_not_modifiable_while_enabled);
    EXPECT_EQ(refusal(brgfdb_set_mirror_dest, one, two), status::mirror_not_modifiable_while_enabled);
    EXPECT_EQ(refusal(brgfdb_set_mirror_classify, one, none, 0, 0), status::mirror_not_modifiable_while_enabled);
    EXPECT_EQ(refusal(brgfdb_set_mirror_tag, one, 0, uint16_t{0x8100}, none),
              status::mirror_not_modifiable_while_enabled);
    EXPECT_EQ(refusal(brgfdb_delete_mirror, one), status::mirror_not_deletable_while_enabled);
    EXPECT_EQ(refusal(brgfdb_disable_mirror, one), 0);
    EXPECT_EQ(refusal(brgfdb_delete_mirror, one), 0);
}

TEST_F(Mirrors, are_numbered_within_their_limit) {
    EXPECT_EQ(refusal(brgfdb_create_mirror, none), status::mirror_id_out_of_range);
    EXPECT_EQ(refusal(brgfdb_create_mirror, uint16_t{5}), status::mirror_id_out_of_range);
    EXPECT_EQ(refusal(brgfdb_enable_mirror, uint16_t{5}), status::mirror_id_out_of_range);
    EXPECT_EQ(refusal(brgfdb_create_mirror, uint16_t{4}), 0);
    set_limit("mirrors", 3);
    EXPECT_EQ(refusal(brgfdb_delete_mirror, uint16_t{4}), 0); // what is there can still be deleted
    EXPECT_EQ(refusal(brgfdb_create_mirror, uint16_t{4}), status::mirror_id_out_of_range);
}

TEST_F(Mirrors, need_what_they_name) {
    refusal(brgfdb_create_mirror, one);
    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 1, uint16_t{4}, none), status::mirror_failed);
    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 5, none, uint16_t{11}), status::mirror_failed);
    EXPECT_EQ(refusal(brgfdb_set_mirror_dest, one, uint16_t{4}), status::mirror_failed);
    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 6, one, none), 9001);
    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 1, one, uint16_t{10}), 9001);
    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 2, one, none), 9001);
    for (const int32_t status :
         {refusal(brgfdb_set_mirror_source, two, 1, one, none), refusal(brgfdb_set_mirror_dest, two, one),
          refusal(brgfdb_enable_mirror, two), refusal(brgfdb_set_mirror_classify, two, none, 0, 0),
          refusal(brgfdb_disable_mirror, two), refusal(brgfdb_set_mirror_tag, two, 1, uint16_t{0x8100}, one)})
        EXPECT_EQ(status, status::no_mirror);
}

TEST_F(Mirrors, keep_what_they_were_told) {
    refusal(brgfdb_create_mirror, one);
    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 4, two, uint16_t{10}), 0);
    EXPECT_EQ(refusal(brgfdb_set_mirror_dest, one, one), 0);
    EXPECT_EQ(refusal(brgfdb_set_mirror_classify, one, uint16_t{255}, 7, 2), 0);
    EXPECT_EQ(refusal(brgfdb_set_mirror_tag, one, 1, uint16_t{0x88a8}, uint16_t{4094}), 0);
    EXPECT_EQ(ask("SELECT * FROM mirror"), "1|0|4|2|10|1|255|7|2|1|34984|4094");
    EXPECT_EQ(refusal(brgfdb_set_mirror_tag, one, 1, uint16_t{0x88a8}, uint16_t{4096}), 9001); // a local id
    EXPECT_EQ(refusal(brgfdb_set_mirror_source, one, 5, none, uint16_t{10}), 0);
    EXPECT_EQ(refusal(brgfdb_set_mirror_tag, one, 0, uint16_t{0x8100}, none), 0);
    EXPECT_EQ(ask("SELECT * FROM mirror"), "1|0|5|NULL|10|1|255|7|2|0|33024|0");
    EXPECT_EQ(refusal(brgfdb_set_mirror_tag, one, 1, uint16_t{0x8100}, none), 9001);
}

TEST_F(Mirrors, stop_when_what_they_need_goes) {
    for (const uint16_t mirror : {one, two, three})
        refusal(brgfdb_create_mirror, mirror);
    refusal(brgfdb_set_mirror_source, one, 1, one, none);
    refusal(brgfdb_set_mirror_dest, one, two);
    refusal(brgfdb_set_mirror_source, two, 1, two, none);
    refusal(brgfdb_set_mirror_dest, two, one);
    refusal(brgfdb_set_mirror_source, three, 5, none, uint16_t{10});
    refusal(brgfdb_set_mirror_dest, three, two);
    for (const uint16_t mirror : {one, two, three})
        EXPECT_EQ(refusal(brgfdb_enable_mirror, mirror), 0);
    EXPECT_EQ(refusal(brgfdb_delete_port, 1), 0);
    EXPECT_EQ(refusal(brgfdb_delete_vlan, 10U), 0);
    EXPECT_EQ(ask("SELECT mirror, enabled, source_type, source_port, source_vid, destination FROM mirror"),
              "1|0|NULL|NULL|NULL|2\n2|0|1|2|NULL|NULL\n3|0|NULL|NULL|NULL|2");
}

} // namespace
