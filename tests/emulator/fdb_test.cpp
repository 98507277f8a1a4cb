// The forwarding database.
#include "switch_test.h"

namespace {

class Fdb : public SwitchTest {
protected:
    Fdb() {
        for (const int32_t port : {1, 2})
            refusal(brgfdb_create_port, port, port, 1);
        for (int32_t vid : {10, 20}) {
            refusal(brgfdb_create_vlan, std::to_string(vid).c_str(), &vid);
            refusal(brgfdb_add_port_to_vlan, static_cast<uint32_t>(vid), 1, 1, 0x8100U, 0, uint16_t{0});
        }
    }
    void learn(const std::string& vid) const {
        ask("INSERT INTO learned_entry VALUES (" + vid +
            ", '00:11:22:33:44:55', 1); UPDATE limits SET in_use = in_use + 1 WHERE name = 'fdb_entries'");
    }
    std::string users_entries() const {
        return ask("SELECT vid, mac, port, action FROM static_entry WHERE of_system = 0");
    }
};

TEST_F(Fdb, has_static_entries_by_vlan) {
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 2, uint8_t{0xff}, 0), 0);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 2, uint8_t{0}, 0), status::fdb_entry_exists);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 20U, some_mac, 0, uint8_t{4}, 0), 0);
    EXPECT_EQ(users_entries(), "10|00:11:22:33:44:55|2|255\n20|00:11:22:33:44:55|NULL|4");
    EXPECT_EQ(refusal(brgfdb_create_sfil, 30U, some_mac, 0, uint8_t{4}, 0), status::no_vlan);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 9, uint8_t{0}, 0), status::no_port);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 0, uint8_t{0}, 0), status::no_port);
    EXPECT_EQ(refusal(brgfdb_delete_sfil, 30U, some_mac, 0), status::no_vlan);
    EXPECT_EQ(refusal(brgfdb_delete_sfil, 10U, some_mac, 0), 0);
    EXPECT_EQ(refusal(brgfdb_delete_sfil, 10U, some_mac, 0), status::no_fdb_entry);
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Fdb, keeps_entries_of_the_system_from_the_user) {
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 0, uint8_t{4}, 1), 0);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 0, uint8_t{4}, 0), status::fdb_entry_of_system);
    EXPECT_EQ(refusal(brgfdb_delete_sfil, 10U, some_mac, 0), status::fdb_entry_of_system);
    EXPECT_EQ(refusal(brgfdb_delete_sfil, 10U, some_mac, 1), 0);
    EXPECT_EQ(refusal(brgfdb_create_lfil, 1, some_mac, 4, 1), 0);
    EXPECT_EQ(refusal(brgfdb_delete_lfil, 1, some_mac, 0), status::fdb_entry_of_system);
    EXPECT_EQ(refusal(brgfdb_delete_lfil, 1, some_mac, 1), 0);
}

TEST_F(Fdb, has_local_entries_by_port) {
    EXPECT_EQ(refusal(brgfdb_create_lfil, 1, some_mac, 3, 0), 0);
    EXPECT_EQ(refusal(brgfdb_create_lfil, 1, some_mac, 3, 0), status::fdb_entry_exists);
    EXPECT_EQ(refusal(brgfdb_create_lfil, 2, some_mac, 1, 0), 0);
    EXPECT_EQ(refusal(brgfdb_create_lfil, 9, some_mac, 1, 0), status::no_port);
    const uint8_t other[] = {0, 0, 0, 0, 0, 1};
    EXPECT_EQ(refusal(brgfdb_create_lfil, 2, other, 5, 0), 9001);
    EXPECT_EQ(ask("SELECT port, mac, type FROM local_entry"), "1|00:11:22:33:44:55|3\n2|00:11:22:33:44:55|1");
    EXPECT_EQ(refusal(brgfdb_delete_lfil, 1, some_mac, 0), 0);
    EXPECT_EQ(refusal(brgfdb_delete_lfil, 1, some_mac, 0), status::no_fdb_entry);
    EXPECT_EQ(refusal(brgfdb_delete_lfil, 9, some_mac, 0), status::no_port);
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Fdb, counts_what_is_configured_more_than_what_was_learned) {
    learn("10");
    EXPECT_EQ(refusal(brgfdb_delete_sfil, 10U, some_mac, 0), status::fdb_entry_of_other_type);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 2, uint8_t{0}, 0), 0);
    EXPECT_EQ(ask("SELECT count(*) FROM learned_entry"), "0");
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Fdb, forgets_what_was_learned) {
    learn("10");
    learn("20");
    EXPECT_EQ(brgfdb_clear_fdb_vlan(30), -1);
    EXPECT_EQ(brgfdb_clear_fdb_vlan(10), 0);
    EXPECT_EQ(ask("SELECT vid FROM learned_entry"), "20");
    EXPECT_EQ(brgfdb_clear_fdb(), 0);
    EXPECT_EQ(ask("SELECT count(*) FROM learned_entry"), "0");
    EXPECT_EQ(ask("SELECT count(*) FROM static_entry"), "2"); // those of the memberships
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(Fdb, becomes_full) {
    set_limit("fdb_entries", 3); // two are in use
    EXPECT_EQ(refusal(brgfdb_create_lfil, 1, some_mac, 3, 0), 0);
    EXPECT_EQ(refusal(brgfdb_create_lfil, 2, some_mac, 3, 0), status::fdb_full);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 0, uint8_t{4}, 0), status::fdb_full);
    EXPECT_EQ(refusal(brgfdb_add_port_to_vlan, 10U, 2, 1, 0x8100U, 0, uint16_t{0}), status::member_fdb_full);
    EXPECT_EQ(refusal(brgfdb_delete_lfil, 1, some_mac, 0), 0);
    EXPECT_EQ(refusal(brgfdb_create_sfil, 10U, some_mac, 0, uint8_t{4}, 0), 0);
    EXPECT_EQ(find_contradiction(), "");
}

} // namespace
