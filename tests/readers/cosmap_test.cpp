// The text form of class-of-service maps.
#include "port/cosmap.h"

#include <gtest/gtest.h>

#include <array>
#include <initializer_list>
#include <string>

namespace {

struct CosMapRow {
    const char* text;
    uint32_t given;
    std::array<uint32_t, 8> classes;
};

void expect_cosmaps(std::initializer_list<CosMapRow> rows) {
    for (const CosMapRow& row : rows) {
        constexpr uint32_t untouched = 0xdeadbeef;
        struct {
            CosMap map;
            uint32_t behind;
        } store{{0xff, {7, 7, 7, 7, 7, 7, 7, 7}}, untouched};
        EXPECT_TRUE(parse_cosmap(row.text, store.map)) << row.text;
        EXPECT_EQ(row.given, store.map.given) << row.text;
        EXPECT_EQ(row.classes, std::to_array(store.map.classes)) << row.text;
        EXPECT_EQ(untouched, store.behind) << row.text;
    }
}

void expect_no_cosmaps(std::initializer_list<std::string> texts) {
    for (const std::string& text : texts) {
        CosMap map{};
        EXPECT_FALSE(parse_cosmap(text.c_str(), map)) << text;
    }
}

TEST(CosMapText, EveryEntryGiven) {
    expect_cosmaps({{"0,1,2,3,4,5,6,7", 0xff, {0, 1, 2, 3, 4, 5, 6, 7}},
                    {"76543210", 0xff, {7, 6, 5, 4, 3, 2, 1, 0}},
                    {"0,011,22,3,3", 0xff, {0, 0, 1, 1, 2, 2, 3, 3}},
                    {"00000000", 0xff, {}}});
}

TEST(CosMapText, EmptyEntries) {
    expect_cosmaps({{",1,2,3,4,5,6,7", 0xfe, {0, 1, 2, 3, 4, 5, 6, 7}},
                    {",1234567", 0xfe, {0, 1, 2, 3, 4, 5, 6, 7}},
                    {"7,,7,,7,,7,,", 0x55, {7, 0, 7, 0, 7, 0, 7, 0}},
                    {",,,,,,,7", 0x80, {0, 0, 0, 0, 0, 0, 0, 7}},
                    {",,,,,,7,7", 0xc0, {0, 0, 0, 0, 0, 0, 7, 7}},
                    {"77,,,,,,", 0x03, {7, 7}}});
}

// A last comma opens one more entry; a ninth is never stored.
TEST(CosMapText, TrailingCommas) {
    expect_cosmaps({{"1,2,3,4,5,6,7,", 0x7f, {1, 2, 3, 4, 5, 6, 7, 0}},
                    {"1234567,", 0x7f, {1, 2, 3, 4, 5, 6, 7, 0}},
                    {"1,2,3,4,5,6,,", 0x3f, {1, 2, 3, 4, 5, 6, 0, 0}},
                    {"1,,,,,,,", 0x01, {1}},
                    {",,,,,,,", 0, {}},
                    {",,,,,,7,", 0x40, {0, 0, 0, 0, 0, 0, 7, 0}},
                    {"1,2,3,4,5,6,7,,", 0x7f, {1, 2, 3, 4, 5, 6, 7, 0}},
                    {",,,,,,,,", 0, {}}});
}

TEST(BadCosMapText, TooShort) {
    expect_no_cosmaps(
        {"", "0", "0,1", "0,1,2", "0123456", "0,1,2,3,4,5,6", "012345,", ",", ",,,,,,", ",,,,,,7", "7,,,,,,"});
}

TEST(BadCosMapText, TooLong) {
    expect_no_cosmaps({"012345670", "0,1,2,3,4,5,6,7,", "0,1,2,3,4,5,6,7,0", "01234567,", ",,,,,,,7,", ",,,,,,,,,",
                       ",,,,,,,,7", "1,2,3,4,5,6,7,,,", "1,2,3,4,5,6,7,,7", std::string(256, '0'),
                       std::string(300, ',')});
}

TEST(BadCosMapText, OtherCharacters) {
    expect_no_cosmaps({"0,1,2,3,4,5,6,8", "9,1,2,3,4,5,6,7", "-1234567", "+1234567", " 01234567", "01234567 ",
                       "0, 1,2,3,4,5,6,7", "0;1;2;3;4;5;6;7", "a1234567", "0123456/", "0x234567"});
}

} // namespace
