// VLANs, their options, and protocol groups.
#include "switch_test.h"

namespace {

class Vlans : public SwitchTest {
protected:
    // Answers the id given, or 0 less the status of the refusal.
    static int32_t create(const char* name, int32_t vid = -1) {
        const int32_t status = refusal(brgfdb_create_vlan, name, &vid);
        return status == 0 ? vid : -status;
    }
    static uint32_t find(const char* name) {
        uint32_t vid = 77;
        return refusal(brgfdb_get_vid, name, &vid) == 0 ? vid : 0;
    }
};

TEST_F(Vlans, are_found_by_their_name) {
    EXPECT_EQ(find("sales"), 0U);
    EXPECT_EQ(create("sales", 10), 10);
    EXPECT_EQ(find("sales"), 10U);
    EXPECT_EQ(find("Sales"), 0U);
    EXPECT_EQ(create("sales", 11), -status::vlan_exists);
    EXPECT_EQ(create("office", 10), -status::vlan_id_in_use);
    EXPECT_EQ(refusal(brgfdb_delete_vlan, 10U), 0);
    EXPECT_EQ(refusal(brgfdb_delete_vlan, 10U), status::no_vlan);
    EXPECT_EQ(find("sales"), 0U);
}

TEST_F(Vlans, have_any_bytes_as_their_name) {
    EXPECT_EQ(create("", 1), 1);
    EXPECT_EQ(create("\xff\x01 \"'", 2), 2);
    EXPECT_EQ(find(""), 1U);
    EXPECT_EQ(find("\xff\x01 \"'"), 2U);
    EXPECT_EQ(create("12345678901234567890123456789012", 3), 3);
    EXPECT_EQ(create("123456789012345678901234567890123", 4), -status::vlan_name_too_long);
}

TEST_F(Vlans, have_ordinary_or_local_ids) {
    for (const int32_t vid : {1, 4094, 4096, 8191})
        EXPECT_EQ(create(std::to_string(vid).c_str(), vid), vid);
    for (const int32_t vid : {0, 4095, 8192, -2})
        EXPECT_EQ(create(std::to_string(vid).c_str(), vid), -9001);
}

TEST_F(Vlans, get_the_id_after_the_highest_then_the_lowest_free_one) {
    EXPECT_EQ(create("a"), 1);
    EXPECT_EQ(create("b"), 2);
    EXPECT_EQ(create("c", 4093), 4093);
    EXPECT_EQ(create("local", 5000), 5000);
    EXPECT_EQ(create("d"), 4094);
    EXPECT_EQ(create("e"), 3);
    refusal(brgfdb_delete_vlan, 1U);
    EXPECT_EQ(create("f"), 1);
    set_limit("vlan_allocation", 3);
    EXPECT_EQ(create("g"), -status::no_free_vlan_id);
}

TEST_F(Vlans, stay_while_ports_belong_to_them) {
    create("sales", 10);
    refusal(brgfdb_create_port, 3, 2, 1);
    refusal(brgfdb_add_port_to_vlan, 10U, 3, 1, 0x8100U, 0, uint16_t{0});
    EXPECT_EQ(refusal(brgfdb_delete_vlan, 10U), status::vlan_has_port);
    refusal(brgfdb_rem_port_from_vlan, 10U, 3);
    refusal(brgfdb_create_sfil, 10U, some_mac, 0, uint8_t{4}, 0);
    EXPECT_EQ(refusal(brgfdb_delete_vlan, 10U), 0);
    EXPECT_EQ(ask("SELECT count(*) FROM static_entry"), "0");
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Vlans, have_options_of_their_own_or_all_at_once) {
    EXPECT_EQ(refusal(brgfdb_set_vlan_sld, 0U, 1), status::no_vlan);
    create("a", 10);
    create("b", 20);
    EXPECT_EQ(refusal(brgfdb_set_vlan_sld, 10U, 1), 0);
    EXPECT_EQ(refusal(brgfdb_set_vlan_learninglimit, 10U, 50000), 0);
    EXPECT_EQ(refusal(brgfdb_set_vlan_ignore_fdb, 0U, 1), 0);
    EXPECT_EQ(refusal(brgfdb_set_vlan_learning_off, 20U, 1), 0);
    EXPECT_EQ(ask("SELECT vid, loop_detection, learning_limit, ignore_fdb, learning_off FROM vlan"),
              "10|1|50000|1|0\n20|0|0|1|1");
    EXPECT_EQ(refusal(brgfdb_set_vlan_learninglimit, 0U, 2), 0);
    EXPECT_EQ(refusal(brgfdb_set_vlan_sld, 0U, 0), 0);
    EXPECT_EQ(refusal(brgfdb_set_vlan_learning_off, 0U, 0), 0);
    EXPECT_EQ(refusal(brgfdb_set_vlan_ignore_fdb, 20U, 0), 0);
    EXPECT_EQ(ask("SELECT vid, loop_detection, learning_limit, ignore_fdb, learning_off FROM vlan"),
              "10|0|2|1|0\n20|0|2|0|0");
    EXPECT_EQ(refusal(brgfdb_set_vlan_sld, 30U, 1), status::no_vlan);
    EXPECT_EQ(refusal(brgfdb_set_vlan_learninglimit, 30U, 1), status::no_vlan);
    EXPECT_EQ(refusal(brgfdb_set_vlan_ignore_fdb, 30U, 1), status::no_vlan);
    EXPECT_EQ(refusal(brgfdb_set_vlan_learning_off, 30U, 1), status::no_vlan);
    EXPECT_EQ(refusal(brgfdb_set_vlan_learninglimit, 10U, -1), 9001);
}

constexpr uint16_t group = 65535;

TEST_F(Vlans, have_protocol_groups) {
    EXPECT_EQ(refusal(brgfdb_delete_protgroup, group), status::no_protgroup);
    EXPECT_EQ(refusal(brgfdb_create_protgroup, group), 0);
    EXPECT_EQ(refusal(brgfdb_create_protgroup, group), status::protgroup_exists);
    EXPECT_EQ(refusal(brgfdb_create_protgroup, uint16_t{0}), 0);
    EXPECT_EQ(refusal(brgfdb_add_prot_to_group, uint16_t{0x0800}, uint16_t{7}), status::no_protgroup);
    EXPECT_EQ(refusal(brgfdb_add_prot_to_group, uint16_t{0x0800}, group), 0);
    EXPECT_EQ(refusal(brgfdb_add_prot_to_group, uint16_t{0x0800}, group), status::protocol_in_group);
    EXPECT_EQ(refusal(brgfdb_add_prot_to_group, uint16_t{0x0800}, uint16_t{0}), status::protocol_in_other_group);
    EXPECT_EQ(refusal(brgfdb_remove_prot_from_group, uint16_t{0x0800}, uint16_t{7}), status::no_protgroup);
    EXPECT_EQ(refusal(brgfdb_remove_prot_from_group, uint16_t{0x0800}, uint16_t{0}), status::protocol_not_in_group);
    EXPECT_EQ(refusal(brgfdb_remove_prot_from_group, uint16_t{0x0800}, group), 0);
    EXPECT_EQ(refusal(brgfdb_add_prot_to_group, uint16_t{0x0800}, uint16_t{0}), 0);
    EXPECT_EQ(refusal(brgfdb_delete_protgroup, uint16_t{0}), 0); // with its types
    EXPECT_EQ(ask("SELECT count(*) FROM protocol"), "0");
}

} // namespace
