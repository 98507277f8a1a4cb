// A store as the configuration that frames meet: compiled in parts, kept current, and what is learned there and back.
#include "companion/configuration_reader.h"
#include "configuration_dump.h"
#include "emulator/random_calls.h"
#include "emulator/switch_test.h"
#include "library_functions.h"
#include "platform/portshm.h"

#include <map>
#include <set>
#include <sstream>

using namespace dataplane;

namespace {

constexpr Mac some_host = 0x001122334455;

class ConfigurationTest : public SwitchTest {
protected:
    // What a reader finds that knows nothing yet.
    std::string read_afresh() {
        Database database(store);
        return dump(ConfigurationReader(database).configuration());
    }

    static void make_member(int32_t port, int32_t vid, const char* name) {
        int32_t status = 0;
        brgfdb_create_port(port, port, 1, &status);
        brgfdb_create_vlan(name, &vid, &status);
        EXPECT_EQ(brgfdb_add_port_to_vlan(static_cast<uint32_t>(vid), port, 1, 0x8100, 0, 0, &status), 0);
    }
};

// Past all checks of the store.
void change_file(const std::filesystem::path& file, const std::string& sql) {
    sqlite3* database = nullptr;
    sqlite3_open(file.c_str(), &database);
    const std::string whole =
        "PRAGMA ignore_check_constraints = ON; PRAGMA foreign_keys = OFF; PRAGMA synchronous = OFF; " + sql;
    sqlite3_exec(database, whole.c_str(), nullptr, nullptr, nullptr);
    sqlite3_close(database);
}

template <typename Word> void fill_slot(MatchSlot<Word>& slot, std::mt19937& random) {
    const auto low = static_cast<Word>(random() & 7);
    const bool is_range = random() % 2 == 0;
    slot = {.low = low, .high = static_cast<Word>(is_range ? low + 3 : 0), .mask = 0xff, .is_range = Word{is_range}};
}

// A rule that looks at any fields. The protocol and the priority are ever single values.
ClassifyRule make_random_rule(std::mt19937& random) {
    ClassifyRule rule{};
    rule.marking = static_cast<uint32_t>(random() % 3);
    rule.stream = static_cast<uint16_t>(random() % 256);
    rule.traffic_class = static_cast<uint8_t>(random() % 8);
    rule.color = static_cast<uint8_t>(random() % 3);
    rule.present = static_cast<uint32_t>(random()) & 0x0f0001ffU;
    if ((rule.present & rule_field::vid) != 0) fill_slot(rule.vid, random);
    if ((rule.present & rule_field::ether_type) != 0) fill_slot(rule.ether_type, random);
    if ((rule.present & rule_field::tos) != 0) fill_slot(rule.tos, random);
    if ((rule.present & rule_field::source_address) != 0) fill_slot(rule.source_address, random);
    if ((rule.present & rule_field::destination_address) != 0) fill_slot(rule.destination_address, random);
    if ((rule.present & rule_field::source_port) != 0) fill_slot(rule.source_port, random);
    if ((rule.present & rule_field::destination_port) != 0) fill_slot(rule.destination_port, random);
    if ((rule.present & rule_field::cos) != 0) rule.cos = {.low = 3, .high = 0, .mask = 7, .is_range = 0};
    if ((rule.present & rule_field::protocol) != 0) rule.protocol = {.low = 17, .high = 0, .mask = 0xff, .is_range = 0};
    for (uint32_t point = 0; point < extraction_point_count; ++point)
        if ((rule.present & rule_field::first_extraction << point) != 0) rule.extraction[point] = {0x4500, 0xff00};
    return rule;
}

// What random_calls.h leaves out: the settings of what there is.
void make_random_setting(std::mt19937& random) {
    const auto pick = [&random](int32_t from, int32_t to) {
        return from + static_cast<int32_t>(random() % static_cast<uint32_t>(to - from + 1));
    };
    int32_t status = 0;
    const int32_t port = pick(1, 4);
    const int32_t stream = (port - 1) * 256 + pick(0, 1);
    const auto mirror = static_cast<uint16_t>(pick(1, 3));
    const auto vid = static_cast<uint32_t>(pick(0, 6));
    const auto on = pick(0, 1);
    PortParameters parameters{};
    parameters.flags = static_cast<decltype(parameters.flags)>(random());
    parameters.pvid = static_cast<uint16_t>(pick(0, 4094));
    parameters.tag_type = static_cast<uint16_t>(random());
    const uint32_t words[] = {1, 2, 3, 4, 5, 6, 7, 0};
    switch (pick(0, 38)) {
    case 0: brgfdb_disable_port(port, &status); break;
    case 1: {
        constexpr uint16_t flags[] = {port_flag::accept_all_frames, port_flag::ingress_filtering,
                                      port_flag::accept_tagged,     port_flag::accept_priority_tagged,
                                      port_flag::cos_editing,       port_flag::ignore_fdb};
        const uint32_t flag = flags[pick(0, 5)];
        brgfdb_set_param_to_port(port, &parameters, 0, 0, port_field::flag, flag, &status);
        break;
    }
    case 26: brgfdb_set_param_to_port(port, &parameters, 600, 0, port_field::aging, 0, &status); break;
    case 27:
        brgfdb_set_param_to_port(port, &parameters, 0, static_cast<uint32_t>(on), port_field::loop_breaker, 0, &status);
        break;
    case 28: {
        const ClassifyRule rule = make_random_rule(random);
        brgfdb_add_classify_action_to_profile(pick(1, 3), pick(0, 3), &rule, &status);
        break;
    }
    case 29: {
        const auto offset = static_cast<uint16_t>(pick(0, 60));
        const ExtractionPoint points[extraction_point_count] = {{offset, 1}, {offset, 2}, {offset, 4}, {0, 0}};
        brgfdb_add_classify_profile_to_pv(pick(1, 3), port, vid, points, &status);
        break;
    }
    case 30: {
        const int32_t type = pick(1, 5);
        const bool is_of_vlan = type == 2 || type >= 4;
        brgfdb_set_mirror_source(mirror, type, static_cast<uint16_t>(type == 5 ? 0 : port),
                                 static_cast<uint16_t>(is_of_vlan ? vid : 0), &status);
        break;
    }
    case 31: {
        const uint8_t mac[] = {0x02, 0, 0, 0, 1, static_cast<uint8_t>(pick(1, 6))};
        brgfdb_create_sfil(vid, mac, port, static_cast<uint8_t>(pick(0, 4)), 0, &status);
        break;
    }
    case 32: {
        int32_t local = 4096 + port;
        brgfdb_create_vlan(("local" + std::to_string(port)).c_str(), &local, &status);
        break;
    }
    case 34: {
        constexpr int32_t colors[] = {0, 1, 2, 255};
        brgfdb_set_port_class_policing(port, pick(0, 7), 8000 * pick(1, 9), 64 * pick(1, 9), colors[pick(0, 3)],
                                       &status);
        break;
    }
    case 35: {
        const uint8_t mac[] = {0x02, 0, 0, 0, 2, static_cast<uint8_t>(pick(1, 6))};
        brgfdb_create_lfil(port, mac, pick(1, 4), on, &status);
        break;
    }
    case 36: brgfdb_add_port_to_vlan(vid, port, on, static_cast<uint16_t>(random()), 0, 0, &status); break;
    case 37: {
        const int32_t queue = stream * 8 + pick(0, 2);
        brgfdb_add_queue_to_stream(queue, stream, queue % 8, pick(0, 2), pick(0, 7), pick(0, 1), &status);
        break;
    }
    case 38:
        portshm_create_port(port, 1, port);
        portshm_enable_port(port, 1);
        break;
    case 33:
        portshm_create_port(100 + port, 2, port);
        portshm_set_port_linkmode(100 + port, pick(1, 2));
        portshm_set_port_linkdepend(100 + port, pick(1, 2), random() & 15);
        break;
    case 2: brgfdb_set_param_to_port(port, &parameters, 0, 0, port_field::pvid, 0, &status); break;
    case 3: brgfdb_set_param_to_port(port, &parameters, 0, 0, port_field::tag_type, 0, &status); break;
    case 4: brgfdb_set_default_class(port, pick(0, 255), pick(0, 7), pick(0, 2), &status); break;
    case 5: brgfdb_set_port_cosmap(port, random() & 255, words, &status); break;
    case 6: brgfdb_set_port_class_policing(port, pick(0, 7), 64000 * on, 1500 * on, 0, &status); break;
    case 7: brgfdb_set_port_bandwidth_calc_mode(port, on, &status); break;
    case 8: brgfdb_set_port_link_frames(port, pick(0, 3), on, &status); break;
    case 9: brgfdb_set_link_mode(port, pick(1, 2), &status); break;
    case 10: brgfdb_set_link_depend(port, pick(1, 2), random() & 15, &status); break;
    case 11: brgfdb_set_ph_shaping(port, 64000 * pick(0, 2), 1500 * pick(0, 2), &status); break;
    case 12: brgfdb_set_vlan_sld(vid, on, &status); break;
    case 13: brgfdb_set_vlan_learninglimit(vid, pick(0, 3), &status); break;
    case 14: brgfdb_set_vlan_ignore_fdb(vid, on, &status); break;
    case 15: brgfdb_set_vlan_learning_off(vid, on, &status); break;
    case 16:
        brgfdb_add_prot_to_group(static_cast<uint16_t>(random()), static_cast<uint16_t>(pick(1, 3)), &status);
        break;
    case 17: brgfdb_disable_mirror(mirror, &status); break;
    case 18: brgfdb_set_mirror_classify(mirror, 1, 2, 1, &status); break;
    case 19: brgfdb_set_mirror_tag(mirror, on, 0x88a8, 100, &status); break;
    case 20: brgfdb_set_shaping_in_stream(stream, 1000, 100, 2000, 200, &status); break;
    case 21: brgfdb_set_stream_priority(stream, pick(0, 7), &status); break;
    case 22: brgfdb_set_stream_tosmap(stream, random() & 255, words, words, &status); break;
    case 23: brgfdb_set_queue_qos(stream * 8 + 1, stream, pick(0, 7), pick(0, 9), &status); break;
    case 24:
        brgfdb_set_red_in_stream(stream, pick(0, 2), pick(0, 2), pick(0, 50), pick(0, 50), pick(51, 100), pick(51, 100),
                                 &status);
        break;
    default: brgfdb_set_qostype_in_stream(stream, pick(1, 2), 2048, 64, &status);
    }
}

// Every configuration that the libraries accept compiles, and what is compiled anew after a change makes the same as
// all of it does. The log explains each change, so that no more is compiled than it concerns.
TEST_F(ConfigurationTest, parts_that_are_compiled_anew_make_the_whole) {
    brgfdb_clear_fdb();
    Database database(store);
    ConfigurationReader reader(database);
    State state = reader.make_state(0);
    std::mt19937 random(20260501);
    unsigned parts_seen = 0;
    size_t whole_count = 0;
    for (int round = 0; round < 150; ++round) {
        for (int i = 0; i < 10; ++i) {
            make_random_call(random);
            make_random_setting(random);
        }
        EXPECT_TRUE(reader.has_changed());
        const unsigned parts = reader.refresh(state, 0);
        EXPECT_FALSE(reader.has_changed());
        ASSERT_EQ(dump(reader.configuration()), read_afresh()) << "round " << round;
        parts_seen |= parts;
        whole_count += parts == part::all ? 1 : 0;
    }
    EXPECT_EQ(parts_seen, part::all);
    EXPECT_LT(whole_count, 150U);
}

TEST_F(ConfigurationTest, each_single_call_concerns_its_parts) {
    brgfdb_clear_fdb();
    Database database(store);
    ConfigurationReader reader(database);
    State state = reader.make_state(0);
    std::mt19937 random(7);
    for (int i = 0; i < 1500; ++i) {
        if (i % 2 == 0)
            make_random_call(random);
        else
            make_random_setting(random);
        reader.refresh(state, 0);
        if (i % 10 != 0) continue;
        ASSERT_EQ(dump(reader.configuration()), read_afresh()) << i;
    }
    EXPECT_EQ(dump(reader.configuration()), read_afresh());
}

// The lives above try what they are to try: every table has rows, and every column other values than one.
TEST_F(ConfigurationTest, random_lives_reach_every_column) {
    brgfdb_clear_fdb();
    const std::string columns = ask("SELECT t.name, c.name FROM sqlite_schema t, pragma_table_info(t.name) c"
                                    " WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite%'"
                                    " AND t.name NOT IN ('limits', 'fault', 'call_log', 'trap_event', 'qualifier',"
                                    " 'port_table_vlan', 'learned_entry')");
    std::string all_values;
    std::map<std::string, std::set<std::string>> values;
    std::istringstream lines(columns);
    for (std::string line; std::getline(lines, line);) {
        const std::string table = line.substr(0, line.find('|'));
        const std::string column = line.substr(line.find('|') + 1);
        values[table + "." + column];
        all_values += all_values.empty() ? "SELECT " : " UNION SELECT ";
        all_values.append("'").append(table).append(".").append(column).append("', ").append(column);
        all_values.append(" FROM ").append(table);
    }
    std::mt19937 random(20260501);
    for (int round = 0; round < 300; ++round) {
        for (int i = 0; i < 10; ++i) {
            make_random_call(random);
            make_random_setting(random);
        }
        std::istringstream found(ask(all_values));
        for (std::string line; std::getline(found, line);)
            values[line.substr(0, line.find('|'))].insert(line.substr(line.find('|') + 1));
    }
    // What only emuswitch sets.
    for (const char* column : {"port.in_lag", "port.ip_interface"})
        values.erase(column);
    for (const auto& [column, found] : values)
        EXPECT_GE(found.size(), 2U) << column;
    const auto expect_all = [&](const char* column, std::set<std::string> wanted) {
        EXPECT_EQ(values[column], wanted) << column;
    };
    expect_all("classify_match.field",
               {"da", "sa", "tos", "prot", "dp", "sp", "vid", "cos", "etype", "ext1", "ext2", "ext3", "ext4"});
    expect_all("classify_list.marking", {"0", "1", "2", "NULL"});
    expect_all("mirror.source_type", {"1", "2", "3", "4", "5", "NULL"});
    expect_all("local_entry.type", {"1", "2", "3", "4"});
    expect_all("stream.qos_type", {"0", "1", "2"}); // 0: never told
    expect_all("extraction_point.width", {"1", "2", "4"});
}

TEST_F(ConfigurationTest, a_refused_call_and_a_side_call_concern_nothing) {
    make_member(1, 10, "sales");
    Database database(store);
    ConfigurationReader reader(database);
    State state = reader.make_state(0);
    int32_t status = 0;
    brgfdb_create_port(1, 1, 1, &status);
    portshm_create_port(7, 1, 2);
    EXPECT_TRUE(reader.has_changed());
    EXPECT_EQ(reader.refresh(state, 0), 0U);
    EXPECT_FALSE(reader.has_changed());
}

TEST_F(ConfigurationTest, a_rule_concerns_its_list_alone) {
    int32_t status = 0;
    brgfdb_create_classify_profile(1, &status);
    brgfdb_create_classify_profile(2, &status);
    Database database(store);
    ConfigurationReader reader(database);
    State state = reader.make_state(0);
    const Configuration before = reader.configuration();
    ClassifyRule rule{};
    EXPECT_EQ(brgfdb_add_classify_action_to_profile(2, 0, &rule, &status), 0);
    EXPECT_EQ(reader.refresh(state, 0), part::lists);
    EXPECT_EQ(reader.configuration().lists->lists[0], before.lists->lists[0]);
    EXPECT_NE(reader.configuration().lists->lists[1], before.lists->lists[1]);
    EXPECT_EQ(reader.configuration().vlans, before.vlans);
}

TEST_F(ConfigurationTest, rules_can_wait_until_they_are_met) {
    int32_t status = 0;
    brgfdb_create_classify_profile(1, &status);
    const ClassifyRule rule{};
    brgfdb_add_classify_action_to_profile(1, 0, &rule, &status);
    Database database(store);
    ConfigurationReader reader(database, ConfigurationReader::Reading::on_demand);
    EXPECT_TRUE(reader.configuration().lists->lists[0]->matcher.rules().empty());
    EXPECT_TRUE(reader.read_rules(1));
    EXPECT_FALSE(reader.read_rules(1));
    EXPECT_EQ(dump(reader.configuration()), read_afresh());
}

TEST_F(ConfigurationTest, static_entries_can_wait_until_they_are_met) {
    make_member(1, 10, "sales");
    make_member(2, 20, "guests");
    int32_t status = 0;
    EXPECT_EQ(brgfdb_create_sfil(10, some_mac, 1, 0, 0, &status), 0);
    EXPECT_EQ(brgfdb_create_lfil(2, some_mac, local_type::both, 0, &status), 0);
    Database database(store);
    ConfigurationReader reader(database, ConfigurationReader::Reading::on_demand);
    const Filters& before = *reader.configuration().filters;
    EXPECT_EQ(before.statics.size(), 0U);
    EXPECT_EQ(before.locals.size(), 1U);
    EXPECT_TRUE(reader.read_statics(10));
    EXPECT_EQ(reader.configuration().filters->statics.size(), 2U) << "and the port's own address";
    EXPECT_FALSE(reader.read_statics(10));
    EXPECT_TRUE(reader.read_statics(20));
    EXPECT_EQ(dump(reader.configuration()), read_afresh());
    EXPECT_FALSE(ConfigurationReader(database).read_statics(10));
}

TEST_F(ConfigurationTest, what_no_call_explains_concerns_everything) {
    make_member(1, 10, "sales");
    Database database(store);
    ConfigurationReader reader(database);
    State state = reader.make_state(0);
    ask("UPDATE port SET in_lag = 1");
    EXPECT_TRUE(reader.has_changed());
    EXPECT_EQ(reader.refresh(state, 0), part::all);
    EXPECT_TRUE(reader.configuration().ports->ports[0].is_in_lag);
    // A log that was emptied explains nothing, even if the number of changes would fit.
    ask("DELETE FROM call_log");
    brgfdb_clear_fdb();
    EXPECT_EQ(reader.refresh(state, 0), part::all);
}

// Whoever adds a function has to say what it concerns.
TEST_F(ConfigurationTest, every_library_function_is_explained) {
    make_member(1, 10, "sales");
    for (const std::string name : library_function_names) {
        Database database(store);
        ConfigurationReader reader(database);
        State state = reader.make_state(0);
        ask("INSERT INTO call_log (at, pid, sentence, call) VALUES ('', 1, '', '" + name + "(1)')");
        EXPECT_NE(reader.refresh(state, 0), part::all) << name;
    }
}

TEST_F(ConfigurationTest, a_name_that_looks_like_a_refusal_is_none) {
    make_member(1, 10, "sales");
    Database database(store);
    ConfigurationReader reader(database);
    State state = reader.make_state(0);
    int32_t vid = 11;
    int32_t status = 0;
    EXPECT_EQ(brgfdb_create_vlan("x) = -1", &vid, &status), 0);
    reader.refresh(state, 0);
    EXPECT_NE(reader.configuration().vlans->find(11), nullptr);
}

// --- What is learned ---

class LearnedTest : public ConfigurationTest {
protected:
    LearnedTest() {
        make_member(1, 10, "sales");
        make_member(2, 20, "guests");
        int32_t status = 0;
        brgfdb_add_port_to_vlan(10, 2, 1, 0x8100, 0, 0, &status);
        database = std::make_unique<Database>(store);
        reader = std::make_unique<ConfigurationReader>(*database);
        state = reader->make_state(0);
        state.learned.note_changes();
    }

    std::string stored() const { return ask("SELECT vid, mac, port FROM learned_entry ORDER BY vid, mac"); }

    std::unique_ptr<Database> database;
    std::unique_ptr<ConfigurationReader> reader;
    State state;
};

TEST_F(LearnedTest, comes_back_to_the_store) {
    state.learned.put(10, some_host, 0, 5);
    state.learned.put(20, some_host, 1, 5);
    EXPECT_FALSE(reader->write_learned(state, 5));
    EXPECT_EQ(stored(), "10|00:11:22:33:44:55|1\n20|00:11:22:33:44:55|2");
    EXPECT_EQ(find_contradiction(), "");
    EXPECT_FALSE(reader->has_changed()) << "its own writing is no change to it";
    state.learned.put(10, some_host, 1, 6);
    state.learned.erase(20, some_host);
    reader->write_learned(state, 6);
    EXPECT_EQ(stored(), "10|00:11:22:33:44:55|2");
    EXPECT_EQ(find_contradiction(), "");
}

TEST_F(LearnedTest, only_changes_are_written) {
    state.learned.put(10, some_host, 0, 5);
    reader->write_learned(state, 5);
    state.learned.put(10, some_host, 0, 6);
    state.learned.put(10, some_host + 1, 0, 6);
    state.learned.erase(10, some_host + 1);
    ask("CREATE TRIGGER t BEFORE INSERT ON learned_entry BEGIN SELECT raise(ABORT, 'written'); END");
    EXPECT_NO_THROW(reader->write_learned(state, 6));
    EXPECT_EQ(stored(), "10|00:11:22:33:44:55|1");
}

TEST_F(LearnedTest, at_most_so_many_at_once) {
    for (Mac host = 1; host <= 10; ++host)
        state.learned.put(10, host, 0, 0);
    EXPECT_TRUE(reader->write_learned(state, 0, 4));
    EXPECT_EQ(ask("SELECT count(*) FROM learned_entry"), "4");
    EXPECT_TRUE(reader->write_learned(state, 0, 4));
    EXPECT_FALSE(reader->write_learned(state, 0, 4));
    EXPECT_EQ(ask("SELECT count(*) FROM learned_entry"), "10");
}

// Such as a reader that has lost its processor: it keeps the writer from its end.
TEST_F(LearnedTest, is_written_when_the_store_is_free_again) {
    state.learned.put(10, some_host, 0, 5);
    sqlite3_busy_timeout(database->handle(), 0);
    {
        Database reading(store);
        reading.script("BEGIN; SELECT * FROM limits");
        EXPECT_THROW(reader->write_learned(state, 5), Locked);
        EXPECT_TRUE(reader->has_unwritten(state));
    }
    EXPECT_EQ(stored(), "");
    EXPECT_FALSE(reader->write_learned(state, 6));
    EXPECT_EQ(stored(), "10|00:11:22:33:44:55|1");
    EXPECT_FALSE(reader->has_unwritten(state));
    EXPECT_FALSE(reader->has_changed()) << "its own writing is no change to it";
}

TEST_F(LearnedTest, the_store_keeps_its_rules) {
    set_limit("fdb_entries", 4); // three memberships have an entry of their own each
    for (Mac host = 1; host <= 3; ++host)
        state.learned.put(10, host, 0, 0);
    reader->write_learned(state, 0);
    EXPECT_EQ(ask("SELECT count(*) FROM learned_entry"), "1") << "the database is full";
    EXPECT_EQ(find_contradiction(), "");

    state.learned.put(20, 9, 0, 0);
    reader->write_learned(state, 0);
    EXPECT_EQ(ask("SELECT count(*) FROM learned_entry WHERE vid = 20"), "0") << "port 1 is no member of VLAN 20";
}

TEST_F(LearnedTest, faults_and_the_log_have_nothing_to_do_with_it) {
    ask("INSERT INTO fault (function, status, times) VALUES ('brgfdb_create_sfil', 2002, 9)");
    const std::string calls = ask("SELECT count(*) FROM call_log");
    state.learned.put(10, some_host, 0, 5);
    reader->write_learned(state, 5);
    EXPECT_EQ(ask("SELECT count(*) FROM call_log"), calls);
    EXPECT_NE(stored(), "");
}

TEST_F(LearnedTest, calls_that_flush_take_it_along) {
    for (const uint32_t vid : {10U, 20U})
        state.learned.put(vid, some_host, 1, 0);
    reader->write_learned(state, 0);
    brgfdb_clear_fdb_vlan(20);
    reader->refresh(state, 0);
    EXPECT_EQ(state.learned.size(), 1U);
    state.learned.put(10, some_host + 1, 0, 0); // not written yet
    brgfdb_clear_fdb();
    reader->refresh(state, 0);
    EXPECT_EQ(state.learned.size(), 0U);
    reader->write_learned(state, 0);
    EXPECT_EQ(stored(), "");
}

TEST_F(LearnedTest, gives_way_to_static_entries_and_goes_with_its_member) {
    state.learned.put(10, 0x001122334455, 1, 0);
    state.learned.put(20, some_host, 1, 0);
    reader->write_learned(state, 0);
    int32_t status = 0;
    EXPECT_EQ(brgfdb_create_sfil(10, some_mac, 2, 0, 0, &status), 0);
    EXPECT_EQ(brgfdb_rem_port_from_vlan(20, 2, &status), 0);
    reader->refresh(state, 0);
    EXPECT_EQ(state.learned.size(), 0U);
    reader->write_learned(state, 0);
    EXPECT_EQ(find_contradiction(), "");
}

// A person, or emuswitch learn.
TEST_F(LearnedTest, the_stores_entries_count_where_somebody_else_wrote_them) {
    state.learned.put(10, 1, 0, 3);
    reader->write_learned(state, 3);
    state.learned.put(10, 2, 0, 4); // not written yet
    ask("DELETE FROM learned_entry; INSERT INTO learned_entry VALUES (20, '00:00:00:00:00:03', 2)");
    reader->refresh(state, 5);
    EXPECT_EQ(state.learned.peek(10, 1), nullptr);
    ASSERT_NE(state.learned.peek(10, 2), nullptr);
    ASSERT_NE(state.learned.peek(20, 3), nullptr);
    EXPECT_EQ(state.learned.peek(20, 3)->port, 1);
    EXPECT_EQ(state.learned.peek(20, 3)->seen, 5);
    EXPECT_TRUE(reader->has_unwritten(state));
    reader->write_learned(state, 6);
    EXPECT_EQ(stored(), "10|00:00:00:00:00:02|1\n20|00:00:00:00:00:03|2");
}

TEST_F(LearnedTest, is_there_from_the_start) {
    state.learned.put(10, some_host, 0, 5);
    reader->write_learned(state, 5);
    ConfigurationReader other(*database);
    const State again = other.make_state(77);
    ASSERT_NE(again.learned.peek(10, some_host), nullptr);
    EXPECT_EQ(again.learned.peek(10, some_host)->seen, 77);
}

// --- A damaged store ---

TEST_F(ConfigurationTest, a_value_out_of_its_domain_is_told_as_damage) {
    make_member(1, 10, "sales");
    int32_t status = 0;
    brgfdb_create_classify_profile(1, &status);
    ClassifyRule rule{};
    brgfdb_add_classify_action_to_profile(1, 1, &rule, &status);
    const struct {
        const char* table;
        const char* column;
        int wrong;
        int right;
    } rows[] = {{"classify_rule", "color", 100, 0},
                {"port", "aging", 59, 300},
                {"port", "enabled", 2, 1},
                {"port", "pvid", 4095, 0},
                {"vlan", "learning_limit", 50001, 0}};
    for (const auto& row : rows) {
        const std::string set =
            std::string("PRAGMA ignore_check_constraints = ON; UPDATE ") + row.table + " SET " + row.column + " = ";
        ask(set + std::to_string(row.wrong));
        Database database(store);
        try {
            const ConfigurationReader reader(database);
            ADD_FAILURE() << row.column << " is taken";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.what(), store.string() + ": damaged (" + row.column + " cannot be " +
                                          std::to_string(row.wrong) +
                                          "); move it away, the next sentence makes an empty switch");
        }
        ask(set + std::to_string(row.right));
    }
}

TEST_F(ConfigurationTest, no_value_of_a_column_ends_otherwise_than_in_words) {
    std::mt19937 random(3);
    for (int i = 0; i < 400; ++i) {
        make_random_call(random);
        make_random_setting(random);
    }
    const std::string columns = ask("SELECT t.name, c.name FROM sqlite_schema t, pragma_table_info(t.name) c"
                                    " WHERE t.type = 'table' AND t.name NOT LIKE 'sqlite%'");
    std::istringstream lines(columns);
    for (std::string line; std::getline(lines, line);) {
        const std::string table = line.substr(0, line.find('|'));
        const std::string column = line.substr(line.find('|') + 1);
        for (const char* value : {"-1", "255", "99999", "9223372036854775807", "'x'"}) {
            const std::filesystem::path copy = folder / "copy.db";
            std::filesystem::copy_file(store, copy, std::filesystem::copy_options::overwrite_existing);
            change_file(copy, "UPDATE OR IGNORE " + table + " SET " + column + " = " + value);
            setenv("EMUSWITCH", copy.c_str(), 1);
            emulator::store::close();
            try {
                Database database(copy);
                ConfigurationReader reader(database);
                const State state = reader.make_state(0);
                EXPECT_EQ(state.is_up.size(), reader.configuration().ports->ports.size());
            } catch (const Failure& failure) {
                EXPECT_NE(std::string(failure.what()).find("damaged"), std::string::npos) << failure.what();
            }
        }
    }
}

} // namespace
