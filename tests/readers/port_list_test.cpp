// The text form of sets of physical ports.
#include "port/port_list.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace {

struct PortListRow {
    const char* text;
    uint32_t mask;
};

void expect_port_lists(std::initializer_list<PortListRow> rows) {
    for (const PortListRow& row : rows) {
        uint32_t mask = 0xffff;
        EXPECT_TRUE(parse_port_list(row.text, mask)) << row.text;
        EXPECT_EQ(row.mask, mask) << row.text;
    }
}

void expect_no_port_lists(std::initializer_list<std::string> texts) {
    for (const std::string& text : texts) {
        uint32_t mask = 0;
        EXPECT_FALSE(parse_port_list(text.c_str(), mask)) << text;
    }
}

TEST(PortListText, Numbers) {
    expect_port_lists({{"1", 0x1},
                       {"2", 0x2},
                       {"3", 0x4},
                       {"4", 0x8},
                       {"1,4", 0x9},
                       {"4,1", 0x9},
                       {"1,1,1", 0x1},
                       {"1,2,3,4", 0xf},
                       {"0004", 0x8}});
}

TEST(PortListText, Ranges) {
    expect_port_lists({{"1-3", 0x7},
                       {"3-1", 0x7},
                       {"1-4", 0xf},
                       {"2-2", 0x2},
                       {"2-3", 0x6},
                       {"4-3", 0xc},
                       {"1-2,4", 0xb},
                       {"4,2-1", 0xb},
                       {"1-2,3-4", 0xf}});
}

// 0 is no port, and a number that is left out is 0.
TEST(PortListText, Nothing) {
    expect_port_lists({{"", 0},
                       {"0", 0},
                       {"-", 0},
                       {"0-0", 0},
                       {",", 0},
                       {",,,", 0},
                       {"1,", 0x1},
                       {",1", 0x1},
                       {"1,,3", 0x5},
                       {"0-2", 0x3},
                       {"2-", 0x3},
                       {"-2", 0x3},
                       {"-2,4-", 0xf},
                       {"-,1", 0x1}});
}

// Numbers wrap at 32 bits.
TEST(PortListText, LongNumbers) {
    expect_port_lists({{"4294967296", 0},
                       {"4294967297", 0x1},
                       {"4294967300", 0x8},
                       {"18446744073709551618", 0x2},
                       {"1-4294967299", 0x7}});
}

TEST(BadPortListText, PortsBeyondFour) {
    expect_no_port_lists(
        {"5",          "1,5",        "5,1",        "4-5",          "5-4",          "1-5",        "5-1",
         "6-7",        "0-5",        "40",         "32",           "33",           "101",        "1-99999",
         "2147483647", "2147483648", "4294967295", "1-4294967295", "4294967295-1", "4294967301", "99999999999",
         "-5",         "5-"});
}

TEST(BadPortListText, TwoDashes) {
    expect_no_port_lists({"1-2-3", "1--3", "--", "--1", "1-2-", "1,2-3-4"});
}

TEST(BadPortListText, OtherCharacters) {
    expect_no_port_lists({"x", "1x", "1;2", " 1", "1 ", "1, 2", "+1", "1.2", "1/2", "1:", "all", "0x1", "1,2,x", "1-x",
                          "{", std::string(300, 'x')});
}

} // namespace
