// Stores of earlier versions.
#include "child_process.h"
#include "switch_test.h"

#include <fstream>
#include <sstream>

namespace {

class Migration : public SwitchTest {
protected:
    void make_version_1() const {
        std::stringstream schema;
        schema << std::ifstream(VERSION1_SCHEMA).rdbuf();
        ASSERT_EQ(ask(schema.str()), "");
        ASSERT_EQ(ask("PRAGMA user_version"), "1");
        ask("INSERT INTO vlan (vid, name) VALUES (10, 'sales');"
            "INSERT INTO fault (function, status, skip, times) VALUES ('brgfdb_create_vlan', 1404, 1, 2),"
            " ('brgfdb_create_vlan', 0, 0, 1);"
            "INSERT INTO call_log VALUES (7, '2024-05-01 12:00:00.000', 42, 'create vlan sales', 'a call')");
    }
    std::string schema() const {
        return ask("SELECT type, name, tbl_name, replace(sql, '\"', '') FROM sqlite_schema ORDER BY name");
    }
};

TEST_F(Migration, of_a_new_store_is_not_needed) {
    refusal(brgfdb_delete_port, 1);
    EXPECT_EQ(ask("PRAGMA user_version"), std::to_string(emulator::store::version));
    EXPECT_EQ(ask("PRAGMA application_id"), "1701671799");
    EXPECT_EQ(ask("PRAGMA auto_vacuum"), "2");
}

TEST_F(Migration, keeps_what_was_configured) {
    make_version_1();
    uint32_t vid = 0;
    EXPECT_EQ(refusal(brgfdb_get_vid, "sales", &vid), 0);
    EXPECT_EQ(vid, 10U);
    EXPECT_EQ(ask("PRAGMA user_version"), std::to_string(emulator::store::version));
    EXPECT_EQ(ask("SELECT status, skip, times FROM fault"), "1404|1|2");
    EXPECT_EQ(ask("SELECT * FROM call_log WHERE id = 7"), "7|2024-05-01 12:00:00.000|42|42|create vlan sales|a call");
    EXPECT_EQ(ask("PRAGMA auto_vacuum"), "2");
    EXPECT_EQ(find_contradiction(), "");
    EXPECT_NE(ask("INSERT INTO fault (function, status) VALUES ('brgfdb_create_vlan', 0)"), "");
}

TEST_F(Migration, ends_at_the_schema_of_a_new_store) {
    refusal(brgfdb_delete_port, 1);
    const std::string fresh = schema();
    emulator::store::close();
    std::filesystem::remove(store);
    make_version_1();
    refusal(brgfdb_delete_port, 1);
    EXPECT_EQ(schema(), fresh);
}

TEST_F(Migration, happens_once_when_many_come_upon_it) {
    make_version_1();
    std::vector<Running> tools;
    for (int number = 0; number < 8; ++number)
        tools.push_back(start_tool({"set", "vlan", "sales", "learning", "off"}));
    for (Running& tool : tools)
        EXPECT_TRUE(tool.wait().is_accepted());
    EXPECT_EQ(find_contradiction(), "");
}

} // namespace
