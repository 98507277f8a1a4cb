// The port table, the names and the trap events.
#include "switch_test.h"

#include "platform/portshm.h"
#include "platform/qual.h"
#include "platform/trapevent.h"

namespace {

class SideCalls : public SwitchTest {};

TEST_F(SideCalls, fill_the_port_table) {
    EXPECT_EQ(portshm_create_port(5, 1, 2), 0);
    EXPECT_EQ(portshm_create_port(101, 2, 0), 0);
    EXPECT_EQ(portshm_enable_port(5, 1), 0);
    EXPECT_EQ(portshm_set_port_linkmode(101, 2), 0);
    EXPECT_EQ(portshm_set_port_linkdepend(101, 2, 0xf), 0);
    EXPECT_EQ(portshm_add_port_vlan(5, 1, 10), 0);
    EXPECT_EQ(portshm_add_port_vlan(5, 1, 20), 0);
    EXPECT_EQ(portshm_rm_port_vlan(5, 1, 10), 0);
    EXPECT_EQ(ask("SELECT * FROM port_table"), "1|5|2|1|NULL|NULL|0\n2|101|0|0|2|2|15");
    EXPECT_EQ(ask("SELECT * FROM port_table_vlan"), "1|5|20");
    EXPECT_EQ(portshm_disable_port(5, 1), 0);
    EXPECT_EQ(ask("SELECT enabled FROM port_table WHERE port = 5"), "0");
    EXPECT_EQ(portshm_delete_port(5, 1), 0);
    EXPECT_EQ(ask("SELECT port FROM port_table"), "101");
    EXPECT_EQ(ask("SELECT count(*) FROM port_table_vlan"), "0");
}

TEST_F(SideCalls, that_contradict_the_port_table_fail) {
    for (const int32_t result : {portshm_delete_port(5, 1), portshm_enable_port(5, 1), portshm_disable_port(5, 1),
                                 portshm_add_port_vlan(5, 1, 10), portshm_rm_port_vlan(5, 1, 10),
                                 portshm_set_port_linkmode(101, 1), portshm_set_port_linkdepend(101, 1, 0)})
        EXPECT_EQ(result, -1);
    EXPECT_EQ(ask("SELECT count(*) FROM port_table"), "0");
    portshm_create_port(5, 1, 2);
    EXPECT_EQ(portshm_enable_port(5, 2), -1);   // of the other kind
    EXPECT_EQ(portshm_create_port(5, 1, 3), 0); // told again: the last word counts
    EXPECT_EQ(ask("SELECT ether FROM port_table"), "3");
}

TEST_F(SideCalls, register_names) {
    EXPECT_EQ(qual_register("vlan", "sales", 10), 0);
    EXPECT_EQ(qual_register("portvlan", "3/sales", -1), 0);
    EXPECT_EQ(qual_register("vlan", "sales", 11), 0);
    EXPECT_EQ(ask("SELECT * FROM qualifier"), "portvlan|3/sales|-1\nvlan|sales|11");
    EXPECT_EQ(qual_unregister("vlan", "sales"), 0);
    EXPECT_EQ(qual_unregister("vlan", "sales"), -1);
    EXPECT_EQ(ask("SELECT * FROM qualifier"), "portvlan|3/sales|-1");
}

TEST_F(SideCalls, raise_events_in_order) {
    EXPECT_EQ(libev_BridgePort_Status(0, 3, 1, 1), 0);
    EXPECT_EQ(libev_PortVlan_Status(0, 3, "sales", 1), 0);
    EXPECT_EQ(libev_Queue_Status(0, 1, 256, 7, 2), 0);
    EXPECT_EQ(libev_BridgePort_Status(0, 3, -1, 2), 0);
    EXPECT_EQ(ask("SELECT id, object, first, port, type, vlan, stream, traffic_class, event FROM trap_event"),
              "1|BridgePort|0|3|1|NULL|NULL|NULL|1\n2|PortVlan|0|3|NULL|sales|NULL|NULL|1\n"
              "3|Queue|0|1|NULL|NULL|256|7|2\n4|BridgePort|0|3|-1|NULL|NULL|NULL|2");
    EXPECT_EQ(ask("SELECT count(*) FROM trap_event WHERE julianday('now') - julianday(at) NOT BETWEEN -1 AND 1"), "0");
}

TEST_F(SideCalls, keep_the_latest_events) {
    libev_BridgePort_Status(0, 1, 1, 1);
    set_limit("trap_events", 10);
    for (int32_t port = 2; port <= 200; ++port)
        libev_BridgePort_Status(0, port, 1, 1);
    EXPECT_EQ(ask("SELECT max(port), count(*) < 10 + 64, min(port) > 100 FROM trap_event"), "200|1|1");
}

} // namespace
