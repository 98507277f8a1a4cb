// The text form of sets of physical ports.
#include "port/port_list.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

struct PortListRow {
    const char* text;
    uint32_t mask;
};

void PrintTo(const PortListRow& row, std::ostream* out) {
    *out << '"' << row.text << '"';
}

class PortListText : public testing::TestWithParam<PortListRow> {};

TEST_P(PortListText, IsRead) {
    uint32_t mask = 0xffff;
    ASSERT_TRUE(parse_port_list(GetParam().text, mask)) << GetParam().text;
    EXPECT_EQ(GetParam().mask, mask) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Numbers, PortListText,
                         testing::Values(PortListRow{"1", 0x1}, PortListRow{"2", 0x2}, PortListRow{"3", 0x4},
                                         PortListRow{"4", 0x8}, PortListRow{"1,4", 0x9}, PortListRow{"4,1", 0x9},
                                         PortListRow{"1,1,1", 0x1}, PortListRow{"1,2,3,4", 0xf},
                                         PortListRow{"0004", 0x8}));

INSTANTIATE_TEST_SUITE_P(Ranges, PortListText,
                         testing::Values(PortListRow{"1-3", 0x7}, PortListRow{"3-1", 0x7}, PortListRow{"1-4", 0xf},
                                         PortListRow{"2-2", 0x2}, PortListRow{"2-3", 0x6}, PortListRow{"4-3", 0xc},
                                         PortListRow{"1-2,4", 0xb}, PortListRow{"4,2-1", 0xb},
                                         PortListRow{"1-2,3-4", 0xf}));

// 0 is no port, and a number that is left out is 0.
INSTANTIATE_TEST_SUITE_P(Nothing, PortListText,
                         testing::Values(PortListRow{"", 0}, PortListRow{"0", 0}, PortListRow{"-", 0},
                                         PortListRow{"0-0", 0}, PortListRow{",", 0}, PortListRow{",,,", 0},
                                         PortListRow{"1,", 0x1}, PortListRow{",1", 0x1}, PortListRow{"1,,3", 0x5},
                                         PortListRow{"0-2", 0x3}, PortListRow{"2-", 0x3}, PortListRow{"-2", 0x3},
                                         PortListRow{"-2,4-", 0xf}, PortListRow{"-,1", 0x1}));

// Numbers wrap at 32 bits.
INSTANTIATE_TEST_SUITE_P(LongNumbers, PortListText,
                         testing::Values(PortListRow{"4294967296", 0}, PortListRow{"4294967297", 0x1},
                                         PortListRow{"4294967300", 0x8}, PortListRow{"18446744073709551618", 0x2},
                                         PortListRow{"1-4294967299", 0x7}));

class BadPortListText : public testing::TestWithParam<std::string> {};

TEST_P(BadPortListText, IsRefused) {
    uint32_t mask = 0;
    EXPECT_FALSE(parse_port_list(GetParam().c_str(), mask)) << GetParam();
}

INSTANTIATE_TEST_SUITE_P(PortsBeyondFour, BadPortListText,
                         testing::Values("5", "1,5", "5,1", "4-5", "5-4", "1-5", "5-1", "6-7", "0-5", "40", "32", "33",
                                         "101", "1-99999", "2147483647", "2147483648", "4294967295", "1-4294967295",
                                         "4294967295-1", "4294967301", "99999999999", "-5", "5-"));

INSTANTIATE_TEST_SUITE_P(TwoDashes, BadPortListText, testing::Values("1-2-3", "1--3", "--", "--1", "1-2-", "1,2-3-4"));

INSTANTIATE_TEST_SUITE_P(OtherCharacters, BadPortListText,
                         testing::Values("x", "1x", "1;2", " 1", "1 ", "1, 2", "+1", "1.2", "1/2", "1:", "all", "0x1",
                                         "1,2,x", "1-x", "{", std::string(300, 'x')));

} // namespace
