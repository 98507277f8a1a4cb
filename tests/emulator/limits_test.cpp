// Limits: rows of the store, which sentences run into.
#include "switch_test.h"

namespace {

class Limits : public SwitchTest {
protected:
    static int32_t create_vlan(const char* name, int32_t vid) { return refusal(brgfdb_create_vlan, name, &vid); }
};

TEST_F(Limits, of_objects) {
    EXPECT_EQ(refusal(brgfdb_create_port, 1, 1, 1), 0);
    for (const char* name : {"ports", "vlans", "protgroups", "streams", "queues", "clslists"})
        set_limit(name, 1);
    EXPECT_EQ(refusal(brgfdb_create_port, 1, 2, 1), status::port_exists);
    EXPECT_EQ(refusal(brgfdb_create_port, 2, 2, 1), status::too_many_ports);
    EXPECT_EQ(create_vlan("a", 1), 0);
    EXPECT_EQ(create_vlan("b", 2), status::too_many_vlans);
    EXPECT_EQ(refusal(brgfdb_create_protgroup, uint16_t{1}), 0);
    EXPECT_EQ(refusal(brgfdb_create_protgroup, uint16_t{2}), status::too_many_protgroups);
    EXPECT_EQ(refusal(brgfdb_create_stream, 1), 0);
    EXPECT_EQ(refusal(brgfdb_create_stream, 2), status::too_many_streams);
    EXPECT_EQ(refusal(brgfdb_create_queue, 1, 1, 64), 0);
    EXPECT_EQ(refusal(brgfdb_create_queue, 2, 1, 64), status::too_many_queues);
    EXPECT_EQ(refusal(brgfdb_create_classify_profile, 1), 0);
    EXPECT_EQ(refusal(brgfdb_create_classify_profile, 2), status::too_many_profiles);
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Limits, within_objects) {
    for (const int32_t port : {1, 2})
        refusal(brgfdb_create_port, port, port, 1);
    for (const int32_t vid : {1, 2})
        create_vlan(std::to_string(vid).c_str(), vid);
    for (const uint16_t group : {uint16_t{1}, uint16_t{2}})
        refusal(brgfdb_create_protgroup, group);
    for (const char* name : {"ports_per_vlan", "protgroups_per_port", "protocols_per_protgroup"})
        set_limit(name, 1);
    EXPECT_EQ(refusal(brgfdb_add_port_to_vlan, 1U, 1, 0, 0x8100U, 1, uint16_t{1}), 0);
    EXPECT_EQ(refusal(brgfdb_add_port_to_vlan, 1U, 2, 1, 0x8100U, 0, uint16_t{0}), status::too_many_ports_in_vlan);
    EXPECT_EQ(refusal(brgfdb_add_port_to_vlan, 2U, 1, 0, 0x8100U, 1, uint16_t{2}), status::too_many_protgroups_in_port);
    EXPECT_EQ(refusal(brgfdb_add_prot_to_group, uint16_t{1}, uint16_t{1}), 0);
    EXPECT_EQ(refusal(brgfdb_add_prot_to_group, uint16_t{2}, uint16_t{1}), status::too_many_protocols);
}

TEST_F(Limits, of_vlans_and_forwarding_lists_together) {
    EXPECT_EQ(create_vlan("a", 1), 0);
    set_limit("vlans_and_fwdlists", 3);
    EXPECT_EQ(create_vlan("b", 2), status::too_many_vlans_and_fwdlists);
    set_limit("vlans_and_fwdlists", 4);
    EXPECT_EQ(create_vlan("b", 2), 0);
    EXPECT_EQ(create_vlan("c", 3), status::too_many_vlans_and_fwdlists);
}

// The defaults let everything exist that has a number of its own.
TEST_F(Limits, allow_the_largest_switch) {
    refusal(brgfdb_create_port, 1, 1, 1);
    ask("PRAGMA foreign_keys = ON;"
        "WITH RECURSIVE number (n) AS (SELECT 2 UNION ALL SELECT n + 1 FROM number WHERE n < 73)"
        " INSERT INTO port (port, ether, type) SELECT n, 1, 1 FROM number;"
        "WITH RECURSIVE number (n) AS (SELECT 1 UNION ALL SELECT n + 1 FROM number WHERE n < 8190)"
        " INSERT INTO vlan (vid, name) SELECT n, n FROM number WHERE n <> 4095;"
        "WITH RECURSIVE number (n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM number WHERE n < 1022)"
        " INSERT INTO stream (stream_index) SELECT n FROM number;"
        "WITH RECURSIVE number (n) AS (SELECT 0 UNION ALL SELECT n + 1 FROM number WHERE n < 8190)"
        " INSERT INTO queue SELECT n / 8, n % 8, 16384, 4194304 FROM number;"
        "UPDATE limits SET in_use = 1023 * 64 + 8191 * 16384 WHERE name = 'frame_buffers'");
    EXPECT_EQ(refusal(brgfdb_create_port, 74, 1, 1), 0);
    EXPECT_EQ(create_vlan("last", 8191), 0);
    EXPECT_EQ(refusal(brgfdb_create_stream, 1023), 0);
    EXPECT_EQ(refusal(brgfdb_create_queue, 8191, 16384, 4194304), 0);
    EXPECT_EQ(refusal(brgfdb_create_port, 75, 1, 1), status::too_many_ports);
    EXPECT_EQ(find_contradiction(), "");
}

} // namespace
