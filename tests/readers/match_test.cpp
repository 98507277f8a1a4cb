// Match operands of classification rules.
#include "classify/match.h"

#include <gtest/gtest.h>

#include <netdb.h>

#include <cstring>
#include <ostream>

// The protocol database of these tests.
protoent* getprotobyname(const char* name) {
    struct Protocol {
        const char* name;
        int number;
    };
    static constexpr Protocol protocols[] = {{"ip", 0}, {"tcp", 6}, {"99", 17}, {"raw", 255}, {"mptcp", 262}};
    static protoent entry{};
    for (const Protocol& protocol : protocols) {
        if (strcmp(name, protocol.name) != 0) continue;
        entry.p_proto = protocol.number;
        return &entry;
    }
    return nullptr;
}

template <typename Word> bool operator==(const MatchSlot<Word>& a, const MatchSlot<Word>& b) {
    return a.low == b.low && a.high == b.high && a.mask == b.mask && a.is_range == b.is_range;
}

template <typename Word> void PrintTo(const MatchSlot<Word>& slot, std::ostream* out) {
    *out << std::hex << "{low " << +slot.low << " high " << +slot.high << " mask " << +slot.mask << " is_range "
         << +slot.is_range << "}";
}

namespace {

template <typename Word> struct SlotRow {
    const char* text;
    MatchSlot<Word> slot;
};
using Row8 = SlotRow<uint8_t>;
using Row16 = SlotRow<uint16_t>;
using Row32 = SlotRow<uint32_t>;

// A refused operand must leave its slot as it was.
constexpr MatchSlot<uint8_t> untouched8{1, 2, 3, 4};
constexpr MatchSlot<uint16_t> untouched16{1, 2, 3, 4};
constexpr MatchSlot<uint32_t> untouched32{1, 2, 3, 4};

TEST(DecimalMatch, EightBits) {
    constexpr Row8 rows[] = {
        {"0", {0, 0, 255, 0}},
        {"5", {5, 0, 255, 0}},
        {" +05", {5, 0, 255, 0}},
        {"5x", {5, 0, 255, 0}},
        {"0x10", {0, 0, 255, 0}},
        {"255", {255, 0, 255, 0}},
        {"256", {0, 0, 255, 0}},
        {"300", {44, 0, 255, 0}},
        {"2147483647", {255, 0, 255, 0}},
        {"4294967301", {255, 0, 255, 0}},
        // low-high
        {"3-7", {3, 7, 255, 1}},
        {"3- 7", {3, 7, 255, 1}},
        {"3 -7", {3, 0, 255, 0}},
        {"3-", {3, 0, 255, 0}},
        {"3-x", {3, 0, 255, 0}},
        {"3-3", {3, 0, 255, 0}},
        {"3--1", {3, 255, 255, 1}},
        {"-5--3", {251, 253, 255, 1}},
        {"259-263", {3, 7, 255, 1}},
        // negative alone
        {"-8", {0, 8, 255, 1}},
        {"-0", {0, 0, 255, 0}},
        {"-256", {0, 0, 255, 0}},
        {"-2147483648", {0, 0, 255, 0}},
        {"-4294967291", {0, 0, 255, 0}},
        {"-8/ff", {0, 8, 255, 1}},
        {"-20/f", {0, 4, 15, 1}},
        // under a mask
        {"187/fc", {184, 0, 252, 0}},
        {"187/0xFC", {184, 0, 252, 0}},
        {"187/ fc", {184, 0, 252, 0}},
        {"187 /fc", {187, 0, 255, 0}},
        {"187/", {187, 0, 255, 0}},
        {"187/g", {187, 0, 255, 0}},
        {"187/1fc", {184, 0, 252, 0}},
        {"187/-1", {187, 0, 255, 0}},
        {"187/100000000", {187, 0, 255, 0}},
        {"187/0", {0, 0, 0, 0}},
        {"18-52/f0", {16, 48, 240, 1}},
        {"18-30/f0", {16, 0, 240, 0}},
        {"18-52/", {18, 52, 255, 1}},
        {"9-6/6", {0, 6, 6, 1}},
    };
    for (const Row8& row : rows) {
        MatchSlot<uint8_t> slot = untouched8;
        EXPECT_TRUE(parse_decimal_match(row.text, uint8_t{255}, slot)) << row.text;
        EXPECT_EQ(row.slot, slot) << row.text;
    }
}

TEST(DecimalMatch, IsPulledToItsBoundBehindTheMask) {
    constexpr Row8 rows[] = {
        {"7", {7, 0, 255, 0}},    {"8", {7, 0, 255, 0}},   {"256", {0, 0, 255, 0}},
        {"3-12", {3, 7, 255, 1}}, {"9-8", {7, 0, 255, 0}}, {"-5-10", {7, 0, 255, 0}},
        {"-9", {0, 7, 255, 1}},   {"15/8", {7, 0, 8, 0}},  {"15/3", {3, 0, 3, 0}},
    };
    for (const Row8& row : rows) {
        MatchSlot<uint8_t> slot = untouched8;
        EXPECT_TRUE(parse_decimal_match(row.text, uint8_t{7}, slot)) << row.text;
        EXPECT_EQ(row.slot, slot) << row.text;
    }
}

TEST(DecimalMatch, SixteenBits) {
    constexpr Row16 rows[] = {
        {"80", {80, 0, 0xffff, 0}},
        {"65535", {65535, 0, 0xffff, 0}},
        {"65536", {0, 0, 0xffff, 0}},
        {"99999999999", {65535, 0, 0xffff, 0}},
        {"1024-65535", {1024, 65535, 0xffff, 1}},
        {"-1023", {0, 1023, 0xffff, 1}},
        {"80/ff00", {0, 0, 0xff00, 0}},
        {"4660-22136/ff00", {0x1200, 0x5600, 0xff00, 1}},
        {"80/10000", {0, 0, 0, 0}},
    };
    for (const Row16& row : rows) {
        MatchSlot<uint16_t> slot = untouched16;
        EXPECT_TRUE(parse_decimal_match(row.text, uint16_t{65535}, slot)) << row.text;
        EXPECT_EQ(row.slot, slot) << row.text;
    }

    constexpr Row16 vlan_rows[] = {
        {"4095", {4095, 0, 0xffff, 0}},         {"4096", {4095, 0, 0xffff, 0}},
        {"4000-5000", {4000, 4095, 0xffff, 1}}, {"6000-5000", {4095, 0, 0xffff, 0}},
        {"65535/8000", {4095, 0, 0x8000, 0}},
    };
    for (const Row16& row : vlan_rows) {
        MatchSlot<uint16_t> slot = untouched16;
        EXPECT_TRUE(parse_decimal_match(row.text, uint16_t{4095}, slot)) << row.text;
        EXPECT_EQ(row.slot, slot) << row.text;
    }
}

TEST(DecimalMatch, WildcardsAndReversedRanges) {
    for (const char* text :
         {"", "x", "-", "+", "--5", "/5", ".5", "7-3", "7-3/ff", "255-0", "9-6/8", "-5-10", "1-256"}) {
        MatchSlot<uint8_t> slot = untouched8;
        EXPECT_FALSE(parse_decimal_match(text, uint8_t{255}, slot)) << text;
        EXPECT_EQ(untouched8, slot) << text;
    }
    for (const char* text : {"", "x", "443-80", "70000-100", "-5-10"}) {
        MatchSlot<uint16_t> slot = untouched16;
        EXPECT_FALSE(parse_decimal_match(text, uint16_t{65535}, slot)) << text;
        EXPECT_EQ(untouched16, slot) << text;
    }
}

TEST(HexMatch, ValuesAndRanges) {
    constexpr Row16 rows[] = {
        {"0800", {0x800, 0, 0xffff, 0}},
        {"0x800", {0x800, 0, 0xffff, 0}},
        {" +AbCd", {0xabcd, 0, 0xffff, 0}},
        {"800g", {0x800, 0, 0xffff, 0}},
        {"800-", {0x800, 0, 0xffff, 0}},
        {"800/", {0x800, 0, 0xffff, 0}},
        {"800 -900", {0x800, 0, 0xffff, 0}},
        {"10800", {0x800, 0, 0xffff, 0}},
        {"100000000", {0xffff, 0, 0xffff, 0}},
        {"-1", {0xffff, 0, 0xffff, 0}},
        {"-5", {0xfffb, 0, 0xffff, 0}},
        {"-ffffffff", {1, 0, 0xffff, 0}},
        {"-100000001", {0xffff, 0, 0xffff, 0}},
        {"86dd-88a8", {0x86dd, 0x88a8, 0xffff, 1}},
        {"86dd- 0x88A8", {0x86dd, 0x88a8, 0xffff, 1}},
        {"5--1", {5, 0xffff, 0xffff, 1}},
        {"86dd/ff00", {0x8600, 0, 0xff00, 0}},
        {"86ff-8601/ff00", {0x8600, 0, 0xff00, 0}},
        {"1234-5678/ff00", {0x1200, 0x5600, 0xff00, 1}},
        {"800/100000000", {0x800, 0, 0xffff, 0}},
        {"800/10000", {0, 0, 0, 0}},
    };
    for (const Row16& row : rows) {
        MatchSlot<uint16_t> slot = untouched16;
        EXPECT_TRUE(parse_hex_match(row.text, slot)) << row.text;
        EXPECT_EQ(row.slot, slot) << row.text;
    }
    for (const char* text : {"", "x", "g", "-", "/800", "88a8-86dd", "-1-800", "10001-10000"}) {
        MatchSlot<uint16_t> slot = untouched16;
        EXPECT_FALSE(parse_hex_match(text, slot)) << text;
        EXPECT_EQ(untouched16, slot) << text;
    }
}

TEST(AddressMatch, AddressesAndRanges) {
    constexpr uint32_t all = 0xffffffff;
    constexpr Row32 rows[] = {
        {"10.0.0.1", {0x0a000001, 0, all, 0}},
        {"010. 0.+0.1x", {0x0a000001, 0, all, 0}},
        {"10.0.0.1-", {0x0a000001, 0, all, 0}},
        {"10.0.0.1-x", {0x0a000001, 0, all, 0}},
        {"10.0.0.1/", {0x0a000001, 0, all, 0}},
        {"10.0.0.1/x", {0x0a000001, 0, all, 0}},
        {"0.0.0.0", {0, 0, all, 0}},
        {"255.255.255.255", {all, 0, all, 0}},
        // octets wrap at 8 bits, behind saturation at 32
        {"256.257.300.-1", {0x00012cff, 0, all, 0}},
        {"4294967296.99999999999.-4294967295.0", {0xffff0100, 0, all, 0}},
        // prefix lengths
        {"192.168.1.77/24", {0xc0a80100, 0, 0xffffff00, 0}},
        {"192.168.1.77/ +024x", {0xc0a80100, 0, 0xffffff00, 0}},
        {"255.255.255.255/1", {0x80000000, 0, 0x80000000, 0}},
        {"255.255.255.255/31", {0xfffffffe, 0, 0xfffffffe, 0}},
        {"10.0.0.1/32", {0x0a000001, 0, all, 0}},
        {"10.0.0.1/0", {0, 0, 0, 0}},
        {"192.168.1.77/24-192.168.2.0", {0xc0a80100, 0, 0xffffff00, 0}},
        // ranges
        {"10.0.0.1-10.0.0.9", {0x0a000001, 0x0a000009, all, 1}},
        {"10.0.0.1- 10.0.0.9/", {0x0a000001, 0x0a000009, all, 1}},
        {"10.0.0.1-10.0.0.9/x", {0x0a000001, 0x0a000009, all, 1}},
        {"127.0.0.1-128.0.0.1", {0x7f000001, 0x80000001, all, 1}},
        {"10.0.0.1-10.0.0.1", {0x0a000001, 0, all, 0}},
        {"10.1.2.3-10.9.8.7/16", {0x0a010000, 0x0a090000, 0xffff0000, 1}},
        {"10.0.0.9-10.0.0.1/24", {0x0a000000, 0, 0xffffff00, 0}},
        {"10.0.0.9-10.0.0.1/0", {0, 0, 0, 0}},
    };
    for (const Row32& row : rows) {
        MatchSlot<uint32_t> slot = untouched32;
        EXPECT_TRUE(parse_address_match(row.text, slot)) << row.text;
        EXPECT_EQ(row.slot, slot) << row.text;
    }
}

TEST(AddressMatch, WildcardsAndReversedRanges) {
    for (const char* text : {"",
                             "x",
                             "10",
                             "10.0.0",
                             "10.0.0.",
                             "10.0.0/24",
                             "10 .0.0.1",
                             "0xa.0.0.1",
                             "10,0,0,1",
                             "10.0.0.1/33",
                             "10.0.0.1/-1",
                             "10.0.0.1/4294967297",
                             "10.0.0.1-1",
                             "10.0.0.1-1.",
                             "10.0.0.1-1.2",
                             "10.0.0.1-10.0.0",
                             "10.0.0.1-10.0.0.x",
                             "10.0.0.1-10.0.0/24",
                             "10.0.0.9-10.0.0.1",
                             "128.0.0.1-127.0.0.1",
                             "10.0.0.1-10.0.0.9/33",
                             "10.0.0.1-10.0.0.9/-1",
                             "10.1.0.0-10.0.0.0/16"}) {
        MatchSlot<uint32_t> slot = untouched32;
        EXPECT_FALSE(parse_address_match(text, slot)) << text;
        EXPECT_EQ(untouched32, slot) << text;
    }
}

TEST(ProtocolMatch, NamesBeforeNumbers) {
    constexpr Row8 rows[] = {
        {"tcp", {6, 0, 255, 0}},    {"ip", {0, 0, 255, 0}},  {"raw", {255, 0, 255, 0}}, {"99", {17, 0, 255, 0}},
        {"099", {99, 0, 255, 0}},   {"17", {17, 0, 255, 0}}, {"6-17", {6, 17, 255, 1}}, {"-5", {0, 5, 255, 1}},
        {"17/f0", {16, 0, 240, 0}}, {"262", {6, 0, 255, 0}},
    };
    for (const Row8& row : rows) {
        MatchSlot<uint8_t> slot = untouched8;
        EXPECT_TRUE(parse_protocol_match(row.text, slot)) << row.text;
        EXPECT_EQ(row.slot, slot) << row.text;
    }
    // A number above 255 cannot be matched; an unknown name is no number.
    for (const char* text : {"mptcp", "TCP", "", "x", "17-6"}) {
        MatchSlot<uint8_t> slot = untouched8;
        EXPECT_FALSE(parse_protocol_match(text, slot)) << text;
        EXPECT_EQ(untouched8, slot) << text;
    }
}

} // namespace
