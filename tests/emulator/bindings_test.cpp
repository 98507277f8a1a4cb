// Classification lists of a port within a VLAN.
#include "switch_test.h"

namespace {

class Bindings : public SwitchTest {
protected:
    Bindings() {
        refusal(brgfdb_create_port, 3, 2, 1);
        for (int32_t vid : {10, 20})
            refusal(brgfdb_create_vlan, std::to_string(vid).c_str(), &vid);
        refusal(brgfdb_add_port_to_vlan, 10U, 3, 1, 0x8100U, 0, uint16_t{0});
        refusal(brgfdb_create_classify_profile, 1);
        refusal(brgfdb_create_classify_profile, 2);
    }
    static int32_t bind(int32_t list, int32_t port, uint32_t vid, ExtractionPoint first = {},
                        ExtractionPoint third = {}) {
        const ExtractionPoint points[extraction_point_count] = {first, {}, third, {}};
        return refusal(brgfdb_add_classify_profile_to_pv, list, port, vid, points);
    }
};

TEST_F(Bindings, need_list_and_membership) {
    EXPECT_EQ(bind(1, 9, 10), status::no_port);
    EXPECT_EQ(bind(1, 3, 30), status::no_vlan);
    EXPECT_EQ(bind(7, 3, 10), status::no_profile_to_bind);
    EXPECT_EQ(bind(1, 3, 20), status::port_not_in_vlan);
    EXPECT_EQ(refusal(brgfdb_rem_classify_profile_from_pv, 9, 10U), status::no_port);
    EXPECT_EQ(refusal(brgfdb_rem_classify_profile_from_pv, 3, 30U), status::no_vlan);
    EXPECT_EQ(refusal(brgfdb_rem_classify_profile_from_pv, 3, 20U), status::port_not_in_vlan);
    EXPECT_EQ(refusal(brgfdb_rem_classify_profile_from_pv, 3, 10U), status::pair_has_no_profile);
}

TEST_F(Bindings, hold_list_and_membership_in_place) {
    EXPECT_EQ(bind(1, 3, 10), 0);
    EXPECT_EQ(bind(2, 3, 10), status::pair_has_other_profile);
    EXPECT_EQ(refusal(brgfdb_delete_classify_profile, 1), status::profile_in_use);
    EXPECT_EQ(refusal(brgfdb_rem_port_from_vlan, 10U, 3), status::member_has_profile);
    EXPECT_EQ(refusal(brgfdb_rem_classify_profile_from_pv, 3, 10U), 0);
    EXPECT_EQ(refusal(brgfdb_delete_classify_profile, 1), 0);
    EXPECT_EQ(refusal(brgfdb_rem_port_from_vlan, 10U, 3), 0);
}

TEST_F(Bindings, keep_their_extraction_points) {
    EXPECT_EQ(bind(1, 3, 10, {.offset = 14, .width = 2}, {.offset = 65531, .width = 4}), 0);
    EXPECT_EQ(ask("SELECT point, byte_offset, width FROM extraction_point"), "1|14|2\n3|65531|4");
    EXPECT_EQ(bind(1, 3, 10, {.offset = 0, .width = 1}), 0); // the same list with others
    EXPECT_EQ(ask("SELECT point, byte_offset, width FROM extraction_point"), "1|0|1");
    EXPECT_EQ(bind(1, 3, 10, {.offset = 0, .width = 3}), 9001);
    EXPECT_EQ(ask("SELECT point, byte_offset, width FROM extraction_point"), "1|0|1");
    EXPECT_EQ(refusal(brgfdb_rem_classify_profile_from_pv, 3, 10U), 0);
    EXPECT_EQ(ask("SELECT count(*) FROM extraction_point"), "0");
}

} // namespace
