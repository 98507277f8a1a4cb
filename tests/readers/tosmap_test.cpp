// The text form of ToS maps.
#include "qos/tosmap.h"

#include <gtest/gtest.h>

#include <array>

namespace {

struct Row {
    const char* text;
    uint32_t present;
    std::array<uint32_t, 8> values;
    std::array<uint32_t, 8> masks;
};

class TosMapText : public testing::TestWithParam<Row> {};

TEST_P(TosMapText, IsRead) {
    const Row& row = GetParam();
    TosMap map;
    ASSERT_EQ(0, parse_tosmap(row.text, map)) << row.text;
    EXPECT_EQ(row.present, map.present) << row.text;
    EXPECT_EQ(row.values, std::to_array(map.values)) << row.text;
    EXPECT_EQ(row.masks, std::to_array(map.masks)) << row.text;
}

INSTANTIATE_TEST_SUITE_P(Good, TosMapText,
                         testing::Values(Row{"10,20/fc,,B8", 0b1011, {0x10, 0x20, 0, 0xb8}, {0xff, 0xfc, 0, 0xff}},
                                         Row{",,,,,,,7", 0x80, {0, 0, 0, 0, 0, 0, 0, 7}, {0, 0, 0, 0, 0, 0, 0, 255}},
                                         Row{"1/2/3", 1, {2}, {3}}, Row{"10,", 1, {0}, {255}},
                                         Row{"10/fc,", 1, {0}, {255}}, Row{"1fff", 1, {0x1fff}, {255}},
                                         Row{"/", 1, {0}, {0}}, Row{"", 0, {}, {}},
                                         Row{"123456789", 1, {0x23456789}, {255}}));

class BadTosMapText : public testing::TestWithParam<const char*> {};

TEST_P(BadTosMapText, IsRefused) {
    TosMap map;
    EXPECT_EQ(1, parse_tosmap(GetParam(), map)) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(Bad, BadTosMapText, testing::Values("0x10", "-1", " 1", "1 ", "g", "1,2,3,4,5,6,7,8 "));

} // namespace
