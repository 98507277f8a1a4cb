// Ports and their parameters.
#include "switch_test.h"

namespace {

class Ports : public SwitchTest {
protected:
    static int32_t set_flag(int32_t port, uint16_t flag, bool on) {
        const PortParameters parameters{.flags = on ? flag : uint16_t{0}, .unused = {}, .tag_type = 0, .pvid = 0};
        return refusal(brgfdb_set_param_to_port, port, &parameters, 0U, 0U, port_field::flag, flag);
    }
    std::string column(const std::string& name) const { return ask("SELECT " + name + " FROM port WHERE port = 3"); }
};

TEST_F(Ports, exist_once) {
    EXPECT_EQ(refusal(brgfdb_create_port, 3, 2, 1), 0);
    EXPECT_EQ(refusal(brgfdb_create_port, 3, 2, 1), status::port_exists);
    EXPECT_EQ(column("ether, type, enabled"), "2|1|0");
    EXPECT_EQ(refusal(brgfdb_delete_port, 3), 0);
    EXPECT_EQ(refusal(brgfdb_delete_port, 3), status::no_port);
}

TEST_F(Ports, have_any_positive_number_and_a_known_type) {
    EXPECT_EQ(refusal(brgfdb_create_port, 50, 2, 1), 0);
    EXPECT_EQ(refusal(brgfdb_create_port, 2147483647, 2, 1), 0);
    EXPECT_EQ(refusal(brgfdb_create_port, 0, 2, 1), 9001);
    EXPECT_EQ(refusal(brgfdb_create_port, -3, 2, 1), 9001);
    EXPECT_EQ(refusal(brgfdb_create_port, 3, 2, 3), 9001);
    EXPECT_EQ(ask("SELECT port FROM port"), "50\n2147483647");
}

TEST_F(Ports, of_type_ether_have_an_interface) {
    for (const int32_t ether : {-7, 0, 11})
        EXPECT_EQ(refusal(brgfdb_create_port, 3, ether, 1), status::no_ether);
    for (const int32_t type : {0, 2})
        EXPECT_EQ(refusal(brgfdb_create_port, 3 + type, -7, type), 0);
    set_limit("ethers", 1);
    EXPECT_EQ(refusal(brgfdb_create_port, 2, 2, 1), status::no_ether);
    EXPECT_EQ(refusal(brgfdb_create_port, 2, 1, 1), 0);
    EXPECT_EQ(refusal(brgfdb_create_port, 7, 1, 1), 0); // which several ports may share
}

TEST_F(Ports, are_enabled_and_disabled) {
    refusal(brgfdb_create_port, 3, 2, 1);
    EXPECT_EQ(refusal(brgfdb_disable_port, 3), status::port_already_disabled);
    EXPECT_EQ(refusal(brgfdb_enable_port, 3), 0);
    EXPECT_EQ(refusal(brgfdb_enable_port, 3), status::port_already_enabled);
    EXPECT_EQ(refusal(brgfdb_disable_port, 3), 0);
    EXPECT_EQ(refusal(brgfdb_enable_port, 4), status::no_port);
    EXPECT_EQ(refusal(brgfdb_disable_port, 4), status::no_port);
}

TEST_F(Ports, stay_while_something_uses_them) {
    refusal(brgfdb_create_port, 3, 2, 1);
    int32_t vid = 10;
    refusal(brgfdb_create_vlan, "sales", &vid);
    refusal(brgfdb_add_port_to_vlan, 10U, 3, 0, 0x8100U, 0, uint16_t{0});
    EXPECT_EQ(refusal(brgfdb_delete_port, 3), status::port_in_vlan);
    refusal(brgfdb_rem_port_from_vlan, 10U, 3);
    ask("UPDATE port SET ip_interface = 1");
    EXPECT_EQ(refusal(brgfdb_delete_port, 3), status::port_has_ip_interface);
    ask("UPDATE port SET ip_interface = 0");

    EXPECT_EQ(refusal(brgfdb_check_stream_in_port, 3), 0);
    EXPECT_EQ(refusal(brgfdb_check_stream_in_port, 4), status::no_port);
    refusal(brgfdb_create_stream, 2 * 256 + 255);
    refusal(brgfdb_add_stream_to_port, 2 * 256 + 255, 3, 255);
    EXPECT_EQ(refusal(brgfdb_check_stream_in_port, 3), status::port_has_stream);
    EXPECT_EQ(refusal(brgfdb_delete_port, 3), status::port_has_stream);
    refusal(brgfdb_rem_stream_from_port, 2 * 256 + 255, 3, 255);
    EXPECT_EQ(refusal(brgfdb_delete_port, 3), 0);
}

TEST_F(Ports, take_what_belongs_to_them_along) {
    refusal(brgfdb_create_port, 3, 2, 1);
    refusal(brgfdb_create_lfil, 3, some_mac, 4, 1);
    const uint32_t classes[8] = {7};
    refusal(brgfdb_set_port_cosmap, 3, 1U, classes);
    refusal(brgfdb_set_port_class_policing, 3, 2, 64000, 8000, 255);
    refusal(brgfdb_set_port_link_frames, 3, 2, 1);
    int32_t vid = 10;
    refusal(brgfdb_create_vlan, "sales", &vid);
    refusal(brgfdb_create_sfil, 10U, some_mac, 3, uint8_t{0}, 0);
    EXPECT_EQ(refusal(brgfdb_delete_port, 3), 0);
    for (const char* table : {"local_entry", "cos_map", "class_policer", "link_frame", "static_entry"})
        EXPECT_EQ(ask(std::string("SELECT count(*) FROM ") + table), "0") << table;
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Ports, keep_each_flag_by_itself) {
    refusal(brgfdb_create_port, 3, 2, 1);
    const std::string all = "accept_all_frames, ingress_filtering, accept_tagged, accept_priority_tagged, cos_editing, "
                            "ignore_fdb";
    EXPECT_EQ(column(all), "1|0|1|1|0|0");
    EXPECT_EQ(set_flag(3, port_flag::accept_all_frames, false), 0);
    EXPECT_EQ(set_flag(3, port_flag::ingress_filtering, true), 0);
    EXPECT_EQ(column(all), "0|1|1|1|0|0");
    EXPECT_EQ(set_flag(3, port_flag::accept_tagged, false), 0);
    EXPECT_EQ(set_flag(3, port_flag::accept_priority_tagged, false), 0);
    EXPECT_EQ(set_flag(3, port_flag::cos_editing, true), 0);
    EXPECT_EQ(set_flag(3, port_flag::ignore_fdb, true), 0);
    EXPECT_EQ(column(all), "0|1|0|0|1|1");
    EXPECT_EQ(set_flag(3, 0x0001, true), 9001);
    EXPECT_EQ(set_flag(4, port_flag::ignore_fdb, true), status::no_port);
}

TEST_F(Ports, cannot_be_tagged_only_while_untagged_in_a_vlan) {
    refusal(brgfdb_create_port, 3, 2, 1);
    int32_t vid = 10;
    refusal(brgfdb_create_vlan, "sales", &vid);
    refusal(brgfdb_add_port_to_vlan, 10U, 3, 0, 0x8100U, 0, uint16_t{0});
    EXPECT_EQ(set_flag(3, port_flag::accept_all_frames, false), status::vlan_mode_refused);
    EXPECT_EQ(set_flag(3, port_flag::accept_all_frames, true), 0);
}

TEST_F(Ports, keep_their_numbers) {
    refusal(brgfdb_create_port, 3, 2, 1);
    const PortParameters parameters{.flags = 0, .unused = {}, .tag_type = 0x88a8, .pvid = 4096};
    EXPECT_EQ(refusal(brgfdb_set_param_to_port, 3, &parameters, 0U, 0U, port_field::tag_type, 0U), 0);
    EXPECT_EQ(refusal(brgfdb_set_param_to_port, 3, &parameters, 0U, 0U, port_field::pvid, 0U), 0);
    EXPECT_EQ(refusal(brgfdb_set_param_to_port, 3, &parameters, 60U, 0U, port_field::aging, 0U), 0);
    EXPECT_EQ(refusal(brgfdb_set_param_to_port, 3, &parameters, 0U, 1U, port_field::loop_breaker, 0U), 0);
    EXPECT_EQ(column("tag_type, pvid, aging, loop_breaker"), "34984|4096|60|1");
    EXPECT_EQ(refusal(brgfdb_set_param_to_port, 3, &parameters, 59U, 0U, port_field::aging, 0U), 9001);
    EXPECT_EQ(refusal(brgfdb_set_param_to_port, 3, &parameters, 0U, 0U, 0x0100U, 0U), 9001);

    EXPECT_EQ(refusal(brgfdb_set_default_class, 3, 255, 7, 2), 0);
    EXPECT_EQ(refusal(brgfdb_set_default_class, 3, -1, 7, 2), 9001);
    EXPECT_EQ(refusal(brgfdb_set_default_class, 4, 0, 0, 0), status::no_port);
    EXPECT_EQ(refusal(brgfdb_set_port_bandwidth_calc_mode, 3, 1), 0);
    EXPECT_EQ(refusal(brgfdb_set_port_bandwidth_calc_mode, 4, 1), status::no_port);
    EXPECT_EQ(refusal(brgfdb_set_link_mode, 3, 2), 0);
    EXPECT_EQ(refusal(brgfdb_set_link_mode, 4, 2), status::no_port);
    EXPECT_EQ(refusal(brgfdb_set_link_depend, 3, 2, 0xfU), 0);
    EXPECT_EQ(refusal(brgfdb_set_link_depend, 4, 2, 0xfU), status::no_port);
    EXPECT_EQ(column("default_stream, default_class, default_color, bandwidth_mode, link_mode, link_depend, "
                     "link_depend_ports"),
              "255|7|2|1|2|2|15");
}

TEST_F(Ports, have_a_loop_breaker_with_an_interface_only) {
    refusal(brgfdb_create_port, 3, 0, 2);
    const PortParameters parameters{};
    EXPECT_EQ(refusal(brgfdb_set_param_to_port, 3, &parameters, 0U, 1U, port_field::loop_breaker, 0U),
              status::no_loop_breaker);
}

TEST_F(Ports, map_the_priorities_that_the_mask_names) {
    refusal(brgfdb_create_port, 3, 2, 1);
    const uint32_t first[8] = {7, 6, 5};
    const uint32_t second[8] = {1, 1, 1};
    EXPECT_EQ(refusal(brgfdb_set_port_cosmap, 3, 0x3U, first), 0);
    EXPECT_EQ(refusal(brgfdb_set_port_cosmap, 3, 0xf2U, second), 0);
    EXPECT_EQ(ask("SELECT priority, traffic_class FROM cos_map"), "0|7\n1|1\n4|0\n5|0\n6|0\n7|0");
    for (const uint32_t mask : {0x100U, 0xfffffff2U}) // names priorities that there are not
        EXPECT_EQ(refusal(brgfdb_set_port_cosmap, 3, mask, first), 9001);
    const uint32_t too_high[8] = {8};
    EXPECT_EQ(refusal(brgfdb_set_port_cosmap, 3, 1U, too_high), 9001);
    EXPECT_EQ(refusal(brgfdb_set_port_cosmap, 4, 1U, first), status::no_port);
}

TEST_F(Ports, police_a_class_until_it_is_switched_off) {
    refusal(brgfdb_create_port, 3, 2, 1);
    EXPECT_EQ(refusal(brgfdb_set_port_class_policing, 3, 2, 64000, 8000, 0), 0);
    EXPECT_EQ(refusal(brgfdb_set_port_class_policing, 3, 2, 128000, 80, 255), 0);
    EXPECT_EQ(ask("SELECT traffic_class, rate, burst, color FROM class_policer"), "2|128000|80|255");
    EXPECT_EQ(refusal(brgfdb_set_port_class_policing, 3, 2, 0, 0, 0), 0);
    EXPECT_EQ(ask("SELECT count(*) FROM class_policer"), "0");
    EXPECT_EQ(refusal(brgfdb_set_port_class_policing, 3, 8, 64000, 8000, 0), status::no_such_class);
    EXPECT_EQ(refusal(brgfdb_set_port_class_policing, 3, -1, 0, 0, 0), status::no_such_class);
    EXPECT_EQ(refusal(brgfdb_set_port_class_policing, 4, 2, 0, 0, 0), status::no_port);
}

TEST_F(Ports, treat_each_kind_of_link_frame) {
    refusal(brgfdb_create_port, 3, 2, 1);
    EXPECT_EQ(refusal(brgfdb_set_port_link_frames, 3, 0, 1), 0);
    EXPECT_EQ(refusal(brgfdb_set_port_link_frames, 3, 3, 1), 0);
    EXPECT_EQ(refusal(brgfdb_set_port_link_frames, 3, 3, 0), 0);
    EXPECT_EQ(refusal(brgfdb_set_port_link_frames, 3, 1, 0), 9001);
    EXPECT_EQ(refusal(brgfdb_set_port_link_frames, 4, 0, 0), status::no_port);
    EXPECT_EQ(ask("SELECT kind, action FROM link_frame"), "0|1\n3|0");
}

TEST_F(Ports, have_physical_interfaces_that_are_shaped) {
    EXPECT_EQ(refusal(brgfdb_set_ph_shaping, 10, 64000, 8000), 0);
    EXPECT_EQ(ask("SELECT ether, rate, burst FROM ether_shaper"), "10|64000|8000");
    EXPECT_EQ(refusal(brgfdb_set_ph_shaping, 10, 0, 0), 0);
    EXPECT_EQ(ask("SELECT count(*) FROM ether_shaper"), "0");
    EXPECT_EQ(refusal(brgfdb_set_ph_shaping, 11, 64000, 8000), status::no_ether);
    EXPECT_EQ(refusal(brgfdb_set_ph_shaping, 0, 0, 0), status::no_ether);

    EXPECT_EQ(refusal(brgfdb_stream_shaping_rate_update, 10), 0);
    EXPECT_EQ(refusal(brgfdb_stream_shaping_rate_update, 20), status::no_port);
    refusal(brgfdb_create_port, 20, 0, 0);
    EXPECT_EQ(refusal(brgfdb_stream_shaping_rate_update, 20), 0);
}

TEST_F(Ports, are_still_there_for_the_next_process) {
    refusal(brgfdb_create_port, 3, 2, 1);
    refusal(brgfdb_enable_port, 3);
    emulator::store::close();
    EXPECT_EQ(refusal(brgfdb_enable_port, 3), status::port_already_enabled);
}

} // namespace
