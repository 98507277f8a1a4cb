// The text form of MAC addresses.
#include "common/operands.h"

#include "readers/in_child.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <initializer_list>
#include <random>

namespace {

using Bytes = std::array<uint8_t, 6>;

struct MacRow {
    const char* text;
    Bytes bytes;
};

void expect_macs(std::initializer_list<MacRow> rows) {
    for (const MacRow& row : rows) {
        Bytes bytes{0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa};
        EXPECT_EQ(0, parse_mac_address(row.text, bytes.data())) << row.text;
        EXPECT_EQ(row.bytes, bytes) << row.text;
    }
}

TEST(MacText, Usual) {
    expect_macs({{"00:11:22:33:44:55", {0, 0x11, 0x22, 0x33, 0x44, 0x55}},
                 {"01:80:C2:00:00:0F", {0x01, 0x80, 0xc2, 0, 0, 0x0f}},
                 {"aa:bb:cc:dd:ee:ff", {0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}},
                 {"AA:Bb:cC:DD:EE:FF", {0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}},
                 {"ff:ff:ff:ff:ff:ff", {255, 255, 255, 255, 255, 255}}});
}

// Nothing but the length and the colons is checked, deliberately.
TEST(MacText, Lenient) {
    expect_macs({// blanks in front of a digit, and a sign
                 {" a:\tb:\n1:\v2:\f3:\r4", {0x0a, 0x0b, 1, 2, 3, 4}},
                 {"-1:-2:-f:+1:+f:-0", {0xff, 0xfe, 0xf1, 1, 15, 0}},
                 // what follows the first digit is left when it is none
                 {"1g:2 :3-:4::5.:6/", {1, 2, 3, 4, 5, 6}},
                 // a pair without a digit repeats the byte before it
                 {"12:zz:34:xx:yy:56", {0x12, 0x12, 0x34, 0x34, 0x34, 0x56}},
                 {"ab:  :--:++:-g:g1", {0xab, 0xab, 0xab, 0xab, 0xab, 0xab}},
                 {"7f:x1:::::-:-::+:", {0x7f, 0x7f, 0x7f, 0x7f, 0x7f, 0x7f}},
                 // and the first one is 0
                 {"zz:11:22:33:44:55", {0, 0x11, 0x22, 0x33, 0x44, 0x55}},
                 {"zz:zz:zz:zz:zz:zz", {}},
                 {"  :  :  :  :  :  ", {}},
                 // the repeated byte is the one stored, and no remainder of what a sign made of it
                 {"-1:zz:01:zz:-f:zz", {0xff, 0xff, 1, 1, 0xf1, 0xf1}},
                 // 0x is a prefix without digits, which counts as 0
                 {"11:0x:22:0X:33:x0", {0x11, 0, 0x22, 0, 0x33, 0x33}}});
}

struct BadMacRow {
    const char* text;
    size_t stored; // how many bytes were there before the fault
};

void expect_no_macs(std::initializer_list<BadMacRow> rows) {
    for (const BadMacRow& row : rows) {
        Bytes bytes{0xaa, 0xaa, 0xaa, 0xaa, 0xaa, 0xaa};
        EXPECT_EQ(-1, parse_mac_address(row.text, bytes.data())) << row.text;
        Bytes expected{0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
        std::fill(expected.begin() + static_cast<ptrdiff_t>(row.stored), expected.end(), uint8_t{0xaa});
        EXPECT_EQ(expected, bytes) << row.text;
    }
}

TEST(BadMacText, Length) {
    expect_no_macs({{"", 0},
                    {"0", 0},
                    {"0:11:22:33:44:55", 0},
                    {"00:11:22:33:44:5", 0},
                    {"00:11:22:33:44:555", 0},
                    {"00:11:22:33:44:55 ", 0},
                    {" 00:11:22:33:44:55", 0},
                    {"00:11:22:33:44", 0},
                    {"00:11:22:33:44:55:66", 0},
                    {"001122334455", 0}});
}

TEST(BadMacText, Separators) {
    expect_no_macs({{"00-11-22-33-44-55", 0},
                    {"00.11:22:33:44:55", 0},
                    {"00:11;22:33:44:55", 1},
                    {"00:11:22 33:44:55", 2},
                    {"00:11:22:33-44:55", 3},
                    {"00:11:22:33:44-55", 4},
                    {"00:11:22:33:44055", 4},
                    {"0:011:22:33:44:55", 0},
                    {"00112233445566778", 0}});
}

// Any seventeen characters, as formatted scanning would have them pair by pair.
TEST(RandomMacText, IsReadAsFormattedScanningDoes) {
    constexpr char characters[] = "0123456789abcdefABCDEF+- \tgz:";
    std::mt19937 random(20240611);
    std::uniform_int_distribution<size_t> pick(0, sizeof characters - 2);
    for (int round = 0; round < 20000; ++round) {
        std::string text;
        while (text.size() < 17)
            text += text.size() % 3 == 2 ? ':' : characters[pick(random)];

        Bytes expected{};
        unsigned value = 0;
        for (size_t i = 0; i < 6; ++i) {
            sscanf(text.substr(3 * i, 2).c_str(), "%x", &value);
            expected[i] = static_cast<uint8_t>(value);
        }
        Bytes bytes{};
        ASSERT_EQ(0, parse_mac_address(text.c_str(), bytes.data())) << text;
        ASSERT_EQ(expected, bytes) << text;
    }
}

TEST(MacOperand, IsRefusedAsTyped) {
    uint8_t mac[6];
    EXPECT_EQ(returned(""), run_in_child([&] { read_mac_address("00:11:22:33:44:55", mac); }));
    EXPECT_EQ(ended(ng(312, "mac address \"00-11-22-33-44-55\" invalid.")),
              run_in_child([&] { read_mac_address("00-11-22-33-44-55", mac); }));
    EXPECT_EQ(ended(ng(312, "mac address \"\" invalid.")), run_in_child([&] { read_mac_address("", mac); }));
}

} // namespace
