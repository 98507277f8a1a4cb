// The text form of ToS maps.
#include "qos/tosmap.h"

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>

namespace {

struct TosMapRow {
    const char* text;
    uint32_t present;
    std::array<uint32_t, 8> values;
    std::array<uint32_t, 8> masks;
};

void expect_tosmaps(std::initializer_list<TosMapRow> rows) {
    for (const TosMapRow& row : rows) {
        TosMap map{0xff, {9, 9, 9, 9, 9, 9, 9, 9}, {9, 9, 9, 9, 9, 9, 9, 9}};
        EXPECT_EQ(0, parse_tosmap(row.text, map)) << row.text;
        EXPECT_EQ(row.present, map.present) << row.text;
        EXPECT_EQ(row.values, std::to_array(map.values)) << row.text;
        EXPECT_EQ(row.masks, std::to_array(map.masks)) << row.text;
    }
}

void expect_no_tosmaps(std::initializer_list<const char*> texts) {
    for (const char* const text : texts) {
        TosMap map;
        EXPECT_EQ(1, parse_tosmap(text, map)) << text;
    }
}

TEST(TosMapText, IsRead) {
    expect_tosmaps({{"10,20/fc,,B8", 0b1011, {0x10, 0x20, 0, 0xb8}, {0xff, 0xfc, 0, 0xff}},
                    {"0,1,2,3,4,5,6,7", 0xff, {0, 1, 2, 3, 4, 5, 6, 7}, {255, 255, 255, 255, 255, 255, 255, 255}},
                    {",,,,,,,7", 0x80, {0, 0, 0, 0, 0, 0, 0, 7}, {0, 0, 0, 0, 0, 0, 0, 255}},
                    {"", 0, {}, {}},
                    {",", 0, {}, {}},
                    {",,,,,,,,", 0, {}, {}},
                    // Numbers.
                    {"1fff", 1, {0x1fff}, {255}},
                    {"0AbCdEf9/fEdCbA9", 1, {0xabcdef9}, {0xfedcba9}},
                    {"123456789/987654321", 1, {0x23456789}, {0x87654321}},
                    {"100000000", 1, {0}, {255}},
                    // Slashes.
                    {"/", 1, {0}, {0}},
                    {"5/", 1, {5}, {0}},
                    {"/6", 1, {0}, {6}},
                    {"1/2/3", 1, {2}, {3}},
                    {"//", 1, {0}, {0}},
                    {"1/2,3", 3, {1, 3}, {2, 255}},
                    // A comma that ends the text closes its field twice.
                    {"10,", 1, {0}, {255}},
                    {"10/fc,", 1, {0}, {255}},
                    {"/,", 1, {0}, {255}},
                    {"10,,", 1, {0x10}, {255}},
                    {"1,2/3,", 3, {1, 0}, {255, 255}},
                    {"1,2,3,4,5,6,7,8,", 0xff, {1, 2, 3, 4, 5, 6, 7, 0}, {255, 255, 255, 255, 255, 255, 255, 255}},
                    // A ninth field is not read.
                    {"1,2,3,4,5,6,7,8,zz", 0xff, {1, 2, 3, 4, 5, 6, 7, 8}, {255, 255, 255, 255, 255, 255, 255, 255}},
                    {",,,,,,,,-", 0, {}, {}}});
}

TEST(TosMapText, IsRefused) {
    expect_no_tosmaps({"0x10",
                       "-1",
                       "+1",
                       " ",
                       " 1",
                       "1 ",
                       "g",
                       "G",
                       "@",
                       ":",
                       "`",
                       ".",
                       "1;2",
                       "1/x",
                       "1/ 2",
                       "1,-",
                       ",,,,,,,x",
                       "1,2,3,4,5,6,7,8 ",
                       "1,2,3,4,5,6,7,8x,9",
                       "\xff",
                       "1\n"});
}

} // namespace
