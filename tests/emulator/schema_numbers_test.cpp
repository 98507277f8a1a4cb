// The schema takes the numbers that the libraries' interface names, and no others.
#include "core/domains.h"
#include "platform/words.h"
#include "switch_test.h"

#include <set>
#include <span>
#include <sstream>

namespace {

class SchemaNumbers : public SwitchTest {
protected:
    // One row of each table that is looked at.
    SchemaNumbers() {
        refusal(brgfdb_create_port, 1, 1, port_type::ether);
        refusal(brgfdb_set_port_class_policing, 1, 0, 64000, 8000, color::red);
        refusal(brgfdb_set_port_link_frames, 1, link_frame::bpdu, link_frame_action::forward);
        refusal(brgfdb_create_lfil, 1, some_mac, local_type::discard, entry_owner::user);
        refusal(brgfdb_create_mirror, uint16_t{1});
        refusal(brgfdb_create_stream, 0);
        refusal(brgfdb_set_red_in_stream, 0, 0, color::green, 100, 0, 0, 0);
        refusal(brgfdb_create_classify_profile, 1);
        const ClassifyRule rule{};
        refusal(brgfdb_add_classify_action_to_profile, 1, any_line, &rule);
        int32_t vid = 10;
        refusal(brgfdb_create_vlan, "sales", &vid);
    }

    std::set<int32_t> taken(const std::string& table, const std::string& column, const std::set<int32_t>& tried) const {
        std::set<int32_t> numbers;
        for (const int32_t number : tried)
            if (ask("UPDATE " + table + " SET " + column + " = " + std::to_string(number)).empty())
                numbers.insert(number);
        return numbers;
    }
};

struct Column {
    const char* table;
    const char* column;
    std::span<const NumberedWord> words;
    std::set<int32_t> others = {}; // that it takes, too
};

TEST_F(SchemaNumbers, are_those_of_the_interface) {
    const Column columns[] = {
        {"port", "type", port_type_words},
        {"port", "default_color", color_words},
        {"port", "bandwidth_mode", bandwidth_mode_words},
        {"port", "link_mode", link_mode_words},
        {"class_policer", "color", policing_color_words},
        {"link_frame", "kind", link_frame_words},
        {"link_frame", "action", link_frame_action_words},
        {"local_entry", "type", local_type_words},
        {"mirror", "stream = 0, traffic_class = 0, color", color_words},
        {"stream", "qos_type", qos_type_words, {0}}, // not set yet
        {"drop_policy", "color", color_words},
        {"classify_list", "marking", marking_words},
        {"classify_rule", "color", color_words},
    };
    for (const auto& [table, column, words, others] : columns) {
        std::set<int32_t> expected = others;
        for (const NumberedWord& row : words)
            expected.insert(row.number);
        EXPECT_EQ(taken(table, column, {-1, 0, 1, 2, 3, 4, 5, 6, 254, 255, 256}), expected) << table << ' ' << column;
    }
}

TEST_F(SchemaNumbers, keep_to_the_ranges_of_the_interface) {
    using namespace vlan_id;
    EXPECT_EQ(taken("vlan", "vid",
                    {lowest_tagged - 1, lowest_tagged, highest_tagged, highest_tagged + 1, lowest_local, highest_local,
                     highest_local + 1}),
              (std::set{lowest_tagged, highest_tagged, lowest_local, highest_local}));
    EXPECT_EQ(taken("port", "default_stream", {-1, 0, streams_per_port - 1, streams_per_port}),
              (std::set{0, streams_per_port - 1}));
    EXPECT_EQ(taken("port", "default_class", {-1, 0, classes_per_stream - 1, classes_per_stream}),
              (std::set{0, classes_per_stream - 1}));
    constexpr int32_t streams = front_port_count * streams_per_port;
    EXPECT_EQ(taken("stream", "stream_index", {-1, 0, streams - 1, streams}), (std::set{0, streams - 1}));
    EXPECT_EQ(ask("SELECT tag_type FROM port"), std::to_string(default_tag_type));
}

// So that whoever reads one knows what it cannot be. Rows' own numbers, and what tells of a process, can be any.
TEST_F(SchemaNumbers, have_a_domain_each) {
    std::istringstream names(ask("SELECT group_concat(name, ' ') FROM (SELECT DISTINCT c.name FROM sqlite_schema AS s,"
                                 " pragma_table_info(s.name) AS c WHERE s.type = 'table' AND c.type = 'INTEGER')"));
    std::set<std::string> without;
    size_t count = 0;
    for (std::string name; names >> name; ++count)
        if (emulator::find_domain(name.c_str()) == nullptr) without.insert(name);
    EXPECT_GT(count, 70U);
    EXPECT_EQ(without, (std::set<std::string>{"event", "first", "id", "pid", "run"}));
}

} // namespace
