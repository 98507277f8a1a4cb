// The text form of sets of physical ports.
#include "port/port_list.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

struct Row {
    const char* text;
    uint32_t mask;
};

void PrintTo(const Row& row, std::ostream* out) {
    *out << '"' << row.text << '"';
}

class PortListText : public testing::TestWithParam<Row> {};

TEST_P(PortListText, IsRead) {
    uint32_t mask = 0xffff;
    ASSERT_TRUE(parse_port_list(GetParam().text, mask)) << GetParam().text;
    EXPECT_EQ(GetParam().mask, mask) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Numbers, PortListText,
                         testing::Values(Row{"1", 0x1}, Row{"2", 0x2}, Row{"3", 0x4}, Row{"4", 0x8}, Row{"1,4", 0x9},
                                         Row{"4,1", 0x9}, Row{"1,1,1", 0x1}, Row{"1,2,3,4", 0xf}, Row{"0004", 0x8}));

INSTANTIATE_TEST_SUITE_P(Ranges, PortListText,
                         testing::Values(Row{"1-3", 0x7}, Row{"3-1", 0x7}, Row{"1-4", 0xf}, Row{"2-2", 0x2},
                                         Row{"2-3", 0x6}, Row{"4-3", 0xc}, Row{"1-2,4", 0xb}, Row{"4,2-1", 0xb},
                                         Row{"1-2,3-4", 0xf}));

// 0 is no port, and a number that is left out is 0.
INSTANTIATE_TEST_SUITE_P(Nothing, PortListText,
                         testing::Values(Row{"", 0}, Row{"0", 0}, Row{"-", 0}, Row{"0-0", 0}, Row{",", 0},
                                         Row{",,,", 0}, Row{"1,", 0x1}, Row{",1", 0x1}, Row{"1,,3", 0x5},
                                         Row{"0-2", 0x3}, Row{"2-", 0x3}, Row{"-2", 0x3}, Row{"-2,4-", 0xf},
                                         Row{"-,1", 0x1}));

// Numbers wrap at 32 bits.
INSTANTIATE_TEST_SUITE_P(LongNumbers, PortListText,
                         testing::Values(Row{"4294967296", 0}, Row{"4294967297", 0x1}, Row{"4294967300", 0x8},
                                         Row{"18446744073709551618", 0x2}, Row{"1-4294967299", 0x7}));

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
