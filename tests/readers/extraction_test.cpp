// Extraction points, and what rules ask of them.
#include "classify/extraction.h"

#include <gtest/gtest.h>

#include <array>
#include <ostream>

bool operator==(const ExtractionPoint& a, const ExtractionPoint& b) {
    return a.offset == b.offset && a.width == b.width;
}
bool operator==(const ExtractionMatch& a, const ExtractionMatch& b) {
    return a.value == b.value && a.mask == b.mask;
}
void PrintTo(const ExtractionPoint& point, std::ostream* out) {
    *out << point.offset << "/" << point.width;
}
void PrintTo(const ExtractionMatch& match, std::ostream* out) {
    *out << std::hex << match.value << "/" << match.mask;
}

namespace {

using Points = std::array<ExtractionPoint, extraction_point_count>;
using Matches = std::array<ExtractionMatch, extraction_point_count>;

struct PointRow {
    const char* text;
    Points points;
};

TEST(ExtractionPoints, AreRead) {
    constexpr PointRow rows[] = {
        {"14/2,20", {{{14, 2}, {20, 4}}}},
        {" 14/ 2,+20", {{{14, 2}, {20, 4}}}},
        {"14/2x,20x", {{{14, 2}, {20, 4}}}},
        {"14/2 ,20 /1", {{{14, 2}, {20, 4}}}},
        {"1/1,2/2,3/4,4/4", {{{1, 1}, {2, 2}, {3, 4}, {4, 4}}}},
        {"1/1,2/2,3/4,4/4,5/5", {{{1, 1}, {2, 2}, {3, 4}, {4, 4}}}},
        {"1/1,2/2,3/4,4/4,", {{{1, 1}, {2, 2}, {3, 4}, {4, 4}}}},
        {",,,9/2,8/2", {{{}, {}, {}, {9, 2}}}},
        {",,,,8/2", {}},
        {"", {}},
        {",", {}},
        {"x", {}},
        {"/2", {}},
        {"-", {}},
        // widths
        {"6/", {{{6, 4}}}},
        {"6/x", {{{6, 4}}}},
        {"6/0,6/3,6/5,6/8", {}},
        {"6/-1,6/65537,6/4294967297", {}},
        {"2000/3", {}},
        // offsets
        {"1531/1,1532/2,1533/4,99999999999/1", {{{1531, 1}, {1532, 2}, {1532, 4}, {1532, 1}}}},
        {"65536,0", {{{1532, 4}, {0, 4}}}},
        {"-1/1,-65536/2,-65537/4,-99999999999/1", {{{65535, 1}, {0, 2}, {65535, 4}, {0, 1}}}},
    };
    for (const PointRow& row : rows) {
        Points points;
        points.fill({0xeeee, 0xeeee}); // every entry is written
        parse_extraction_points(row.text, points.data());
        EXPECT_EQ(row.points, points) << row.text;
    }
}

struct MatchRow {
    const char* text;
    uint32_t present;
    Matches matches;
};

TEST(ExtractionMatches, AreRead) {
    constexpr uint32_t all = 0xffffffff;
    constexpr MatchRow rows[] = {
        {"ff/f0,,1", 0x05000000, {{{0xf0, 0xf0}, {}, {1, all}}}},
        {"0xff/0xf0,x,0X1", 0x05000000, {{{0xf0, 0xf0}, {}, {1, all}}}},
        {" ff/ f0x,/5,+1 2", 0x05000000, {{{0xf0, 0xf0}, {}, {1, all}}}},
        {"1,2,3,4", 0x0f000000, {{{1, all}, {2, all}, {3, all}, {4, all}}}},
        {"1,2,3,4,5", 0x0f000000, {{{1, all}, {2, all}, {3, all}, {4, all}}}},
        {",,,9/8,8", 0x08000000, {{{}, {}, {}, {8, 8}}}},
        {",,,,8", 0, {}},
        {"", 0, {}},
        {",,,", 0, {}},
        {"x,g,-,/1", 0, {}},
        {"1/,1/x,1 /2,1-2", 0x0f000000, {{{1, all}, {1, all}, {1, all}, {1, all}}}},
        {"0", 0x01000000, {{{0, all}}}},
        {"ff/0", 0x01000000, {}},
        {"f/10", 0x01000000, {{{0, 0x10}}}},
        {"-1,100000000,fffffffff/100000000,-ffffffff", 0x0f000000, {{{all, all}, {all, all}, {all, all}, {1, all}}}},
    };
    for (const MatchRow& row : rows) {
        Matches matches;
        matches.fill({0xeeeeeeee, 0xeeeeeeee}); // every entry is written
        EXPECT_EQ(row.present, parse_extraction_matches(row.text, matches.data())) << row.text;
        EXPECT_EQ(row.matches, matches) << row.text;
    }
}

} // namespace
