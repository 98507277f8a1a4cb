// Faults: calls that are refused because somebody wants to see what comes of it.
#include "declarations.h"
#include "switch_test.h"

#include "platform/portshm.h"
#include "platform/qual.h"
#include "platform/trapevent.h"

#include <functional>

namespace {

class Faults : public SwitchTest {
protected:
    void plan(const std::string& function, int status, int skip = 0, int times = 1) const {
        ask("INSERT INTO fault (function, status, skip, times) VALUES ('" + function + "', " + std::to_string(status) +
            ", " + std::to_string(skip) + ", " + std::to_string(times) + ")");
    }
};

TEST_F(Faults, hit_the_calls_that_they_are_planned_for) {
    refusal(brgfdb_create_port, 1, 1, 1);
    plan("brgfdb_delete_port", 4711, 1, 2);
    EXPECT_EQ(refusal(brgfdb_delete_port, 9), status::no_port);
    EXPECT_EQ(refusal(brgfdb_enable_port, 1), 0); // another function
    EXPECT_EQ(refusal(brgfdb_delete_port, 1), 4711);
    EXPECT_EQ(refusal(brgfdb_delete_port, 1), 4711);
    EXPECT_EQ(refusal(brgfdb_delete_port, 1), 0);
    EXPECT_EQ(ask("SELECT count(*) FROM fault"), "0");
}

TEST_F(Faults, of_one_function_follow_each_other) {
    refusal(brgfdb_create_port, 1, 1, 1);
    plan("brgfdb_delete_port", 1);
    plan("brgfdb_delete_port", 2, 0, 1);
    plan("brgfdb_delete_port", 3, 3, 1);
    EXPECT_EQ(refusal(brgfdb_delete_port, 9), 1);
    EXPECT_EQ(refusal(brgfdb_delete_port, 9), 2);
    EXPECT_EQ(refusal(brgfdb_delete_port, 9), status::no_port);
    EXPECT_EQ(refusal(brgfdb_delete_port, 9), 3);
    EXPECT_EQ(refusal(brgfdb_delete_port, 9), status::no_port);
}

TEST_F(Faults, are_counted_by_refused_calls_too) {
    refusal(brgfdb_create_port, 1, 1, 1);
    set_limit("fdb_entries", 0);
    plan("brgfdb_create_lfil", 4711, 2);
    EXPECT_EQ(refusal(brgfdb_create_lfil, 1, some_mac, 9, 0), status::fdb_full);
    set_limit("fdb_entries", 10);
    EXPECT_EQ(refusal(brgfdb_create_lfil, 1, some_mac, 9, 0), 9001); // after it has changed something
    EXPECT_EQ(refusal(brgfdb_create_lfil, 1, some_mac, 4, 0), 4711);
}

// Every function by its name, with its status word where it has one.
TEST_F(Faults, can_be_played_for_each_function) {
    refusal(brgfdb_delete_port, 1); // makes the store
    int32_t word = 0;
    int32_t* const s = &word;
    uint32_t found = 0;
    int32_t vid = -1;
    const PortParameters parameters{};
    const uint32_t words[8] = {};
    const ExtractionPoint points[extraction_point_count] = {};
    const ClassifyRule rule{};
    StreamInfo info{};
    struct Function {
        const char* name;
        std::function<int32_t()> call;
        bool has_status = true;
    };
#define CALL(name, ...)                                                                                                \
    Function {                                                                                                         \
#name, [&] { return name(__VA_ARGS__); }                                                                       \
    }
#define TELL(name, ...)                                                                                                \
    Function {                                                                                                         \
#name, [&] { return name(__VA_ARGS__); }, false                                                                \
    }
    const Function functions[] = {
        CALL(brgfdb_create_port, 1, 1, 1, s),
        CALL(brgfdb_delete_port, 1, s),
        CALL(brgfdb_check_stream_in_port, 1, s),
        CALL(brgfdb_enable_port, 1, s),
        CALL(brgfdb_disable_port, 1, s),
        CALL(brgfdb_set_param_to_port, 1, &parameters, 60, 0, 0x40, 0, s),
        CALL(brgfdb_set_default_class, 1, 0, 0, 0, s),
        CALL(brgfdb_set_port_cosmap, 1, 255, words, s),
        CALL(brgfdb_set_port_class_policing, 1, 0, 0, 0, 0, s),
        CALL(brgfdb_set_port_bandwidth_calc_mode, 1, 0, s),
        CALL(brgfdb_set_port_link_frames, 1, 0, 0, s),
        CALL(brgfdb_set_link_mode, 1, 1, s),
        CALL(brgfdb_set_link_depend, 1, 1, 0, s),
        CALL(brgfdb_set_ph_shaping, 1, 0, 0, s),
        CALL(brgfdb_stream_shaping_rate_update, 1, s),
        CALL(brgfdb_get_vid, "a", &found, s),
        CALL(brgfdb_create_vlan, "a", &vid, s),
        CALL(brgfdb_delete_vlan, 1, s),
        CALL(brgfdb_add_port_to_vlan, 1, 1, 0, 0x8100, 0, 0, s),
        CALL(brgfdb_rem_port_from_vlan, 1, 1, s),
        CALL(brgfdb_set_vlan_sld, 1, 0, s),
        CALL(brgfdb_set_vlan_learninglimit, 1, 0, s),
        CALL(brgfdb_set_vlan_ignore_fdb, 1, 0, s),
        CALL(brgfdb_set_vlan_learning_off, 1, 0, s),
        CALL(brgfdb_create_protgroup, 1, s),
        CALL(brgfdb_delete_protgroup, 1, s),
        CALL(brgfdb_add_prot_to_group, 1, 1, s),
        CALL(brgfdb_remove_prot_from_group, 1, 1, s),
        CALL(brgfdb_create_mirror, 1, s),
        CALL(brgfdb_delete_mirror, 1, s),
        CALL(brgfdb_enable_mirror, 1, s),
        CALL(brgfdb_disable_mirror, 1, s),
        CALL(brgfdb_set_mirror_source, 1, 1, 1, 0, s),
        CALL(brgfdb_set_mirror_dest, 1, 1, s),
        CALL(brgfdb_set_mirror_classify, 1, 0, 0, 0, s),
        CALL(brgfdb_set_mirror_tag, 1, 0, 0x8100, 0, s),
        CALL(brgfdb_create_stream, 0, s),
        CALL(brgfdb_delete_stream, 0, s),
        CALL(brgfdb_add_stream_to_port, 0, 1, 0, s),
        CALL(brgfdb_rem_stream_from_port, 0, 1, 0, s),
        CALL(brgfdb_check_queue_in_stream, 1, 1, s),
        CALL(brgfdb_set_qostype_in_stream, 0, 1, 2048, 64, s),
        CALL(brgfdb_get_stream_info, 0, &info, s),
        CALL(brgfdb_set_shaping_in_stream, 0, 0, 0, 0, 0, s),
        CALL(brgfdb_set_stream_priority, 0, 0, s),
        CALL(brgfdb_set_stream_tosmap, 0, 0, words, words, s),
        CALL(brgfdb_create_queue, 0, 256, 16384, s),
        CALL(brgfdb_delete_queue, 0, s),
        CALL(brgfdb_add_queue_to_stream, 0, 0, 0, 1, 0, 1, s),
        CALL(brgfdb_rem_queue_from_stream, 0, 0, 0, s),
        CALL(brgfdb_set_queue_qos, 0, 0, 0, 1, s),
        CALL(brgfdb_set_queue_size, 0, 0, 0, 24, 1536, s),
        CALL(brgfdb_set_red_in_stream, 0, 0, 0, 100, 0, 0, 0, s),
        TELL(brgfdb_clear_fdb),
        TELL(brgfdb_clear_fdb_vlan, 1),
        CALL(brgfdb_create_sfil, 1, some_mac, 0, 4, 0, s),
        CALL(brgfdb_delete_sfil, 1, some_mac, 0, s),
        CALL(brgfdb_create_lfil, 1, some_mac, 4, 0, s),
        CALL(brgfdb_delete_lfil, 1, some_mac, 0, s),
        CALL(brgfdb_create_classify_profile, 1, s),
        CALL(brgfdb_delete_classify_profile, 1, s),
        CALL(brgfdb_add_classify_profile_to_pv, 1, 1, 1, points, s),
        CALL(brgfdb_rem_classify_profile_from_pv, 1, 1, s),
        CALL(brgfdb_add_classify_action_to_profile, 1, 1, &rule, s),
        CALL(brgfdb_rem_classify_action_from_profile, 1, 1, s),
        CALL(brgfdb_rem_classify_all_from_profile, 1, s),
        CALL(brgfdb_disp_classify, 1, s),
        TELL(portshm_create_port, 1, 1, 1),
        TELL(portshm_delete_port, 1, 1),
        TELL(portshm_enable_port, 1, 1),
        TELL(portshm_disable_port, 1, 1),
        TELL(portshm_add_port_vlan, 1, 1, 1),
        TELL(portshm_rm_port_vlan, 1, 1, 1),
        TELL(portshm_set_port_linkmode, 101, 1),
        TELL(portshm_set_port_linkdepend, 101, 1, 0),
        TELL(qual_register, "vlan", "a", 1),
        TELL(qual_unregister, "vlan", "a"),
        TELL(libev_BridgePort_Status, 0, 1, 1, 1),
        TELL(libev_PortVlan_Status, 0, 1, "a", 1),
        TELL(libev_Queue_Status, 0, 1, 1, 0, 1),
    };
#undef CALL
#undef TELL
    std::set<std::string> called;
    for (const Function& function : functions) {
        called.insert(function.name);
        plan(function.name, 4711);
        word = 0;
        EXPECT_EQ(function.call(), -1) << function.name;
        EXPECT_EQ(word, function.has_status ? 4711 : 0) << function.name;
        const std::string logged = ask("SELECT call FROM call_log ORDER BY id DESC LIMIT 1");
        EXPECT_EQ(logged.substr(0, logged.find('(')), function.name);
        EXPECT_EQ(logged.substr(logged.find(" = ")), function.has_status ? " = -1 status 4711" : " = -1");
    }
    EXPECT_EQ(called, declared_functions());
    EXPECT_EQ(ask("SELECT count(*) FROM fault"), "0");
    for (const char* table : {"port", "vlan", "protgroup", "mirror", "stream", "queue", "classify_list", "port_table",
                              "qualifier", "trap_event"})
        EXPECT_EQ(ask(std::string("SELECT count(*) FROM ") + table), "0") << table;
}

} // namespace
