// Ports in VLANs.
#include "switch_test.h"

namespace {

class Members : public SwitchTest {
protected:
    Members() {
        for (const int32_t port : {1, 2, 3})
            refusal(brgfdb_create_port, port, port, 1);
        refusal(brgfdb_create_port, 101, 0, 2);
        for (int32_t vid : {10, 20, 5000, 5001})
            refusal(brgfdb_create_vlan, std::to_string(vid).c_str(), &vid);
        refusal(brgfdb_create_protgroup, uint16_t{5});
        refusal(brgfdb_create_protgroup, uint16_t{6});
    }
    static int32_t add_tagged(uint32_t vid, int32_t port) {
        return refusal(brgfdb_add_port_to_vlan, vid, port, 1, 0x88a8U, 0, uint16_t{0});
    }
    static int32_t add_untagged(uint32_t vid, int32_t port) {
        return refusal(brgfdb_add_port_to_vlan, vid, port, 0, 0x8100U, 0, uint16_t{0});
    }
    static int32_t add_by_group(uint32_t vid, int32_t port, uint16_t group) {
        return refusal(brgfdb_add_port_to_vlan, vid, port, 0, 0x8100U, 1, group);
    }
    static int32_t remove(uint32_t vid, int32_t port) { return refusal(brgfdb_rem_port_from_vlan, vid, port); }
};

TEST_F(Members, are_kept_with_what_was_told) {
    EXPECT_EQ(add_tagged(10, 1), 0);
    EXPECT_EQ(add_untagged(20, 1), 0);
    EXPECT_EQ(add_by_group(10, 2, 5), 0);
    EXPECT_EQ(ask("SELECT * FROM vlan_member"), "10|1|1|34984|NULL\n10|2|0|33024|5\n20|1|0|33024|NULL");
    EXPECT_EQ(add_tagged(10, 1), status::port_already_in_vlan);
    EXPECT_EQ(remove(10, 1), 0);
    EXPECT_EQ(remove(10, 1), status::port_not_in_vlan);
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Members, need_port_vlan_and_group) {
    EXPECT_EQ(add_tagged(10, 9), status::no_port);
    EXPECT_EQ(add_tagged(30, 1), status::no_vlan);
    EXPECT_EQ(add_by_group(10, 1, 7), status::no_protgroup);
    EXPECT_EQ(remove(10, 9), status::no_port);
    EXPECT_EQ(remove(30, 1), status::no_vlan);
}

TEST_F(Members, are_never_tagged_in_a_local_vlan) {
    EXPECT_EQ(add_tagged(5000, 1), status::local_vlan_is_never_tagged);
    EXPECT_EQ(add_untagged(5000, 1), 0);
}

TEST_F(Members, are_untagged_in_one_vlan_only) {
    EXPECT_EQ(add_untagged(10, 1), 0);
    EXPECT_EQ(add_untagged(20, 1), status::port_already_untagged);
    EXPECT_EQ(add_untagged(5000, 1), status::port_already_untagged_elsewhere);
    EXPECT_EQ(add_tagged(20, 1), 0);
    EXPECT_EQ(add_untagged(5000, 2), 0);
    EXPECT_EQ(add_untagged(10, 2), status::port_already_untagged_elsewhere);
    EXPECT_EQ(add_untagged(5001, 2), status::port_already_untagged_elsewhere);
}

TEST_F(Members, have_a_protocol_group_in_one_vlan_only) {
    EXPECT_EQ(add_by_group(10, 1, 5), 0);
    EXPECT_EQ(add_by_group(20, 1, 5), status::protgroup_already_in_vlan);
    EXPECT_EQ(add_by_group(20, 1, 6), 0);
    EXPECT_EQ(add_by_group(20, 2, 5), 0);
    EXPECT_EQ(add_untagged(5000, 1), 0);
    EXPECT_EQ(refusal(brgfdb_delete_protgroup, uint16_t{5}), status::protgroup_in_use);
    EXPECT_EQ(remove(10, 1), 0);
    EXPECT_EQ(remove(20, 2), 0);
    EXPECT_EQ(refusal(brgfdb_delete_protgroup, uint16_t{5}), 0);
}

TEST_F(Members, of_a_virtual_interface_are_single) {
    EXPECT_EQ(add_tagged(10, 101), 0);
    EXPECT_EQ(add_tagged(20, 101), status::port_in_other_vlan);
}

TEST_F(Members, are_refused_to_ports_of_an_aggregation_group) {
    ask("UPDATE port SET in_lag = 1 WHERE port = 1");
    EXPECT_EQ(add_tagged(10, 1), status::port_in_lag);
}

TEST_F(Members, are_alone_with_an_ip_interface) {
    EXPECT_EQ(add_tagged(10, 1), 0);
    ask("UPDATE port SET ip_interface = 1 WHERE port = 1");
    EXPECT_EQ(add_tagged(10, 2), status::vlan_has_ip_interface_port);
    EXPECT_EQ(add_tagged(20, 2), 0);
    EXPECT_EQ(remove(10, 1), status::port_has_ip_interface);
}

// Whichever of the two comes first.
TEST_F(Members, with_an_ip_interface_come_into_empty_vlans_only) {
    EXPECT_EQ(add_tagged(10, 2), 0);
    ask("UPDATE port SET ip_interface = 1 WHERE port = 1");
    EXPECT_EQ(add_tagged(10, 1), status::vlan_has_ip_interface_port);
    EXPECT_EQ(add_tagged(20, 1), 0);
}

// Whichever of the two is said first, and for the frames of a group likewise.
TEST_F(Members, that_are_untagged_take_frames_without_a_tag) {
    const auto take_tagged_only = [](int32_t port, bool on) {
        PortParameters parameters{};
        parameters.flags = on ? 0 : port_flag::accept_all_frames;
        return refusal(brgfdb_set_param_to_port, port, &parameters, 0U, 0U, port_field::flag,
                       port_flag::accept_all_frames);
    };
    EXPECT_EQ(take_tagged_only(1, true), 0);
    EXPECT_EQ(add_untagged(10, 1), status::vlan_mode_refused);
    EXPECT_EQ(add_by_group(10, 1, 5), status::vlan_mode_refused);
    EXPECT_EQ(add_tagged(10, 1), 0);
    EXPECT_EQ(take_tagged_only(1, false), 0);
    EXPECT_EQ(add_by_group(20, 1, 5), 0);
    EXPECT_EQ(take_tagged_only(1, true), status::vlan_mode_refused);
    EXPECT_EQ(remove(20, 1), 0);
    EXPECT_EQ(take_tagged_only(1, true), 0);
}

TEST_F(Members, bring_the_ports_own_address) {
    EXPECT_EQ(add_tagged(10, 3), 0);
    EXPECT_EQ(ask("SELECT * FROM static_entry"), "10|02:00:00:00:00:03|3|0|1");
    const uint8_t own[] = {2, 0, 0, 0, 0, 3};
    EXPECT_EQ(refusal(brgfdb_delete_sfil, 10U, own, 0), status::fdb_entry_of_system);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, own, 0, uint8_t{4}, 0), status::fdb_entry_of_system);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 20U, own, 0, uint8_t{4}, 0), 0);
    EXPECT_EQ(add_tagged(20, 3), status::member_fdb_entry_exists);
    EXPECT_EQ(remove(10, 3), 0);
    EXPECT_EQ(ask("SELECT vid FROM static_entry"), "20");
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Members, take_their_learned_addresses_along) {
    EXPECT_EQ(add_tagged(10, 1), 0);
    EXPECT_EQ(add_tagged(10, 2), 0);
    ask("INSERT INTO learned_entry VALUES (10, '00:11:22:33:44:55', 1), (10, '02:00:00:00:00:03', 2);"
        "UPDATE limits SET in_use = in_use + 2 WHERE name = 'fdb_entries'");
    EXPECT_EQ(remove(10, 1), 0);
    EXPECT_EQ(ask("SELECT mac FROM learned_entry"), "02:00:00:00:00:03");
    EXPECT_EQ(add_tagged(10, 3), 0); // its own address was learned elsewhere, and gives way
    EXPECT_EQ(ask("SELECT count(*) FROM learned_entry"), "0");
    EXPECT_EQ(find_contradiction(), "");
}

} // namespace
