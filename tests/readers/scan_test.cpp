// Reading numbers and words: tables, and a comparison with the formatted scanning of this machine's C library.
#include "common/scan.h"
#include "readers/numbers.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <limits>
#include <random>
#include <string>

namespace {

constexpr uint32_t highest_unsigned = std::numeric_limits<uint32_t>::max();

// What a reader makes of a text: the value and what is left of the text.
template <typename Value> struct ScanRow {
    const char* text;
    Value value;
    const char* rest;
};

template <typename Value, size_t Size>
void expect_read(bool (*read)(const char*&, Value&), const ScanRow<Value> (&rows)[Size]) {
    for (const ScanRow<Value>& row : rows) {
        const char* at = row.text;
        Value value{};
        EXPECT_TRUE(read(at, value)) << '"' << row.text << '"';
        EXPECT_EQ(row.value, value) << '"' << row.text << '"';
        EXPECT_STREQ(row.rest, at) << '"' << row.text << '"';
    }
}

// Texts without a value leave both value and position as they were.
template <typename Value, size_t Size>
void expect_no_value(bool (*read)(const char*&, Value&), Value before, const char* const (&texts)[Size]) {
    for (const char* const text : texts) {
        const char* at = text;
        Value value = before;
        EXPECT_FALSE(read(at, value)) << '"' << text << '"';
        EXPECT_EQ(before, value) << '"' << text << '"';
        EXPECT_EQ(text, at) << '"' << text << '"';
    }
}

TEST(Decimal, IsRead) {
    expect_read(scan_decimal, {
                                  {"0", 0, ""},
                                  {"7", 7, ""},
                                  {"12", 12, ""},
                                  {"-12", -12, ""},
                                  {"+12", 12, ""},
                                  {"-0", 0, ""},
                                  {"007", 7, ""},
                                  {"0000000000000000012", 12, ""},
                                  // blanks of every kind in front
                                  {" 12", 12, ""},
                                  {" \t\n\v\f\r12", 12, ""},
                                  {"  -12", -12, ""},
                                  // what follows is left
                                  {"12ab", 12, "ab"},
                                  {"12 13", 12, " 13"},
                                  {"12-13", 12, "-13"},
                                  {"12/13", 12, "/13"},
                                  {"12.5", 12, ".5"},
                                  {"1e3", 1, "e3"},
                                  {"0x10", 0, "x10"},
                                  {"1,000", 1, ",000"},
                                  {"1\xff", 1, "\xff"},
                                  // the bounds of 32 bits, and numbers beyond them
                                  {"2147483646", 2147483646, ""},
                                  {"2147483647", highest, ""},
                                  {"2147483648", highest, ""},
                                  {"-2147483647", -highest, ""},
                                  {"-2147483648", lowest, ""},
                                  {"-2147483649", lowest, ""},
                                  {"4294967295", highest, ""},
                                  {"4294967296", highest, ""},
                                  {"-4294967295", lowest, ""},
                                  {"-4294967296", lowest, ""},
                                  {"4294967306", highest, ""},
                                  {"-4294967306", lowest, ""},
                                  {"99999999999", highest, ""},
                                  {"-99999999999", lowest, ""},
                                  {"9223372036854775807", highest, ""},
                                  {"9223372036854775808", highest, ""},
                                  {"-9223372036854775809", lowest, ""},
                                  {"18446744073709551616", highest, ""},
                                  {"18446744073709551626", highest, ""},
                                  {"-18446744073709551626", lowest, ""},
                                  {"99999999999999999999999999999999999999999", highest, ""},
                                  {"-99999999999999999999999999999999999999999x", lowest, "x"},
                              });
}

TEST(Decimal, IsMissing) {
    expect_no_value(scan_decimal, int32_t{4711},
                    {"",
                     " ",
                     "\t\n",
                     "x",
                     "-",
                     "+",
                     "- 1",
                     "+ 1",
                     "+-1",
                     "-+1",
                     "--1",
                     "++1",
                     "x1",
                     "a",
                     ".5",
                     "/1",
                     " - ",
                     "\xff"
                     "1",
                     "\xa0"
                     "1",
                     "all"});
}

TEST(Hexadecimal, IsRead) {
    expect_read<uint32_t>(scan_hex, {
                                        {"0", 0, ""},
                                        {"8100", 0x8100, ""},
                                        {"0x8100", 0x8100, ""},
                                        {"0X8100", 0x8100, ""},
                                        {"abcdef", 0xabcdef, ""},
                                        {"ABCDEF", 0xabcdef, ""},
                                        {"aBcD", 0xabcd, ""},
                                        {"00000000000000ff", 0xff, ""},
                                        {"0x00000000000000ff", 0xff, ""},
                                        {" \t\n\v\f\r88a8", 0x88a8, ""},
                                        {"+88a8", 0x88a8, ""},
                                        {"+0x88a8", 0x88a8, ""},
                                        {" +0X88a8", 0x88a8, ""},
                                        // what follows is left
                                        {"12g", 0x12, "g"},
                                        {"88a8zz", 0x88a8, "zz"},
                                        {"ff/ff", 0xff, "/ff"},
                                        {"ff ff", 0xff, " ff"},
                                        {"0x10x20", 0x10, "x20"},
                                        {"00x10", 0, "x10"},
                                        {"1x2", 1, "x2"},
                                        // a prefix without a digit counts as its 0
                                        {"0x", 0, ""},
                                        {"0X", 0, ""},
                                        {"0xg", 0, "g"},
                                        {"0x 1", 0, " 1"},
                                        {"0x-1", 0, "-1"},
                                        {"-0x", 0, ""},
                                        {"0x0x5", 0, "x5"},
                                        // a minus sign counts back from 2 to the power of 32
                                        {"-0", 0, ""},
                                        {"-1", 0xffffffff, ""},
                                        {"-0x1", 0xffffffff, ""},
                                        {"-f", 0xfffffff1, ""},
                                        {"-80000000", 0x80000000, ""},
                                        {"-ffff0001", 0x0000ffff, ""},
                                        {"-ffffffff", 1, ""},
                                        // the bound of 32 bits, and numbers beyond it, with either sign
                                        {"7fffffff", 0x7fffffff, ""},
                                        {"80000000", 0x80000000, ""},
                                        {"fffffffe", 0xfffffffe, ""},
                                        {"ffffffff", highest_unsigned, ""},
                                        {"100000000", highest_unsigned, ""},
                                        {"100008100", highest_unsigned, ""},
                                        {"-100000000", highest_unsigned, ""},
                                        {"-100008100", highest_unsigned, ""},
                                        {"99999999999", highest_unsigned, ""},
                                        {"-99999999999", highest_unsigned, ""},
                                        {"0x10000000000000001", highest_unsigned, ""},
                                        {"ffffffffffffffffffffffffffffffffffg", highest_unsigned, "g"},
                                    });
}

TEST(Hexadecimal, IsMissing) {
    expect_no_value(scan_hex, uint32_t{0x4711},
                    {"", " ", "g", "zz", "x", "x10", "-", "+", "- 1", "+ f", "+-1", "--1", "-x1", "/",
                     "\xff"
                     "f"});
}

TEST(Octet, IsRead) {
    expect_read<uint8_t>(scan_octet, {
                                         {"0", 0, ""},
                                         {"7", 7, ""},
                                         {"255", 255, ""},
                                         {"+12", 12, ""},
                                         {" 12", 12, ""},
                                         {"12/3", 12, "/3"},
                                         {"0x12", 0, "x12"},
                                         {"12a", 12, "a"},
                                         // only the lowest 8 bits count
                                         {"256", 0, ""},
                                         {"263", 7, ""},
                                         {"65543", 7, ""},
                                         {"4294967295", 255, ""},
                                         {"-1", 255, ""},
                                         {"-249", 7, ""},
                                         {"-256", 0, ""},
                                         {"-4294967295", 1, ""},
                                         // of a number that saturates
                                         {"4294967296", 255, ""},
                                         {"4294967303", 255, ""},
                                         {"-4294967296", 255, ""},
                                         {"99999999999", 255, ""},
                                         {"-99999999999", 255, ""},
                                     });
}

TEST(Octet, IsMissing) {
    expect_no_value(scan_octet, uint8_t{47}, {"", " ", "x", "-", "+", "- 1", "a1", "/1", "--1"});
}

TEST(TextWord, IsRead) {
    expect_read<std::string_view>(scan_text, {
                                                 {"red", "red", ""},
                                                 {"red yellow", "red", " yellow"},
                                                 {" \t\n\v\f\rred\tx", "red", "\tx"},
                                                 {"red\n", "red", "\n"},
                                                 {"-", "-", ""},
                                                 {"a/b,c", "a/b,c", ""},
                                                 {"\xa0\xff", "\xa0\xff", ""},
                                             });
}

TEST(TextWord, IsMissing) {
    expect_no_value(scan_text, std::string_view("before"), {"", " ", "\t\n\v\f\r "});
}

TEST(Literal, IsThatCharacterAtOnce) {
    const char* at = "//x";
    EXPECT_TRUE(scan_literal(at, '/'));
    EXPECT_STREQ("/x", at);
    EXPECT_FALSE(scan_literal(at, '-'));
    EXPECT_STREQ("/x", at);
    EXPECT_TRUE(scan_literal(at, '/'));
    EXPECT_FALSE(scan_literal(at, '/'));
    EXPECT_STREQ("x", at);

    const char* blank = " /";
    EXPECT_FALSE(scan_literal(blank, '/'));
    EXPECT_STREQ(" /", blank);

    const char* end = "";
    EXPECT_FALSE(scan_literal(end, '/'));
    EXPECT_STREQ("", end);
}

TEST(WholeOperand, IsReadFromItsStart) {
    int32_t number = 4711;
    EXPECT_TRUE(parse_number(" -12ab", number));
    EXPECT_EQ(-12, number);
    EXPECT_FALSE(parse_number("ab", number));
    EXPECT_EQ(-12, number);

    uint32_t hex = 4711;
    EXPECT_TRUE(parse_hex_number(" 0x88a8zz", hex));
    EXPECT_EQ(0x88a8U, hex);
    EXPECT_FALSE(parse_hex_number("zz", hex));
    EXPECT_EQ(0x88a8U, hex);
}

struct RangeRow {
    const char* text;
    int32_t min;
    int32_t max;
};

TEST(RangeOperand, IsRead) {
    constexpr RangeRow rows[] = {
        {"1-4", 1, 4},
        {"100-50", 100, 50},
        {"-5--1", -5, -1},
        {"+5-+7", 5, 7},
        {" 1- 4", 1, 4},
        {"1-4x", 1, 4},
        {"1-4-7", 1, 4},
        {"0-99999999999", 0, highest},
        {"-99999999999--99999999999", lowest, lowest},
        // a single number is both ends, and so is one that no number follows
        {"7", 7, 7},
        {"-7", -7, -7},
        {"7-", 7, 7},
        {"7x", 7, 7},
        {"7-x", 7, 7},
        {"7--", 7, 7},
        {"7- ", 7, 7},
        {"7 -9", 7, 7}, // no blank is skipped before the dash
        {"7/9", 7, 7},
        {"7,9", 7, 7},
        {"99999999999", highest, highest},
    };
    for (const RangeRow& row : rows) {
        NumberRange range{};
        EXPECT_TRUE(parse_range(row.text, range)) << row.text;
        EXPECT_EQ(row.min, range.min) << row.text;
        EXPECT_EQ(row.max, range.max) << row.text;
    }
}

TEST(RangeOperand, IsMissing) {
    for (const char* const text : {"", " ", "-", "x", "--1", "x-4", "/", "- 4"}) {
        NumberRange range{};
        EXPECT_FALSE(parse_range(text, range)) << '"' << text << '"';
    }
}

// --- The same words through the C library of this machine ---

// Words that are mostly numbers, or nearly so. They are short enough for 64 bits, so that the C library gives their
// exact value and 32-bit saturation can be told from it.
class RandomWords {
public:
    explicit RandomWords(std::string alphabet) : characters(std::move(alphabet)) {}

    std::string next(std::string word = "") {
        for (size_t length = pick(13); length > 0; --length)
            word += pick(3) == 0 ? characters[pick(characters.size())] : characters[pick(10)];
        return word;
    }

private:
    size_t pick(size_t count) { return std::uniform_int_distribution<size_t>(0, count - 1)(random); }

    std::string characters; // the first ten are digits
    std::mt19937 random{20240611};
};

constexpr int rounds = 50000;

// What %d and %ld give where int and long have 32 bits.
int32_t saturated(long long number) {
    return static_cast<int32_t>(std::clamp<long long>(number, lowest, highest));
}

// What %x and %lx give there. The C library has negated the number in 64 bits.
uint32_t saturated(unsigned long long number) {
    const bool is_negative = static_cast<long long>(number) < 0;
    const unsigned long long magnitude = is_negative ? 0 - number : number;
    if (magnitude > highest_unsigned) return highest_unsigned;
    return static_cast<uint32_t>(is_negative ? 0 - magnitude : magnitude);
}

// C libraries differ in what they make of 0x when no digit follows.
bool has_bare_prefix(const std::string& word) {
    for (size_t at = 0; at + 1 < word.size(); ++at)
        if (word[at] == '0' && (word[at + 1] == 'x' || word[at + 1] == 'X') &&
            (at + 2 == word.size() || isxdigit(static_cast<unsigned char>(word[at + 2])) == 0))
            return true;
    return false;
}

TEST(LikeTheCLibrary, Decimal) {
    RandomWords words("0123456789+--- \t\nx/,a");
    int read = 0;
    for (int round = 0; round < rounds; ++round) {
        const std::string word = words.next();
        long long number = 0;
        int length = 0;
        const bool is_number = sscanf(word.c_str(), "%lld%n", &number, &length) == 1;

        const char* at = word.c_str();
        int32_t value = 4711;
        ASSERT_EQ(is_number, scan_decimal(at, value)) << '"' << word << '"';
        ASSERT_EQ(is_number ? saturated(number) : 4711, value) << '"' << word << '"';
        ASSERT_EQ(length, at - word.c_str()) << '"' << word << '"';
        read += is_number ? 1 : 0;
    }
    EXPECT_GT(read, rounds / 4);
    EXPECT_LT(read, rounds);
}

TEST(LikeTheCLibrary, Hexadecimal) {
    RandomWords words("0123456789abcdefABCDEFxX00+-- \tgz/");
    int read = 0;
    for (int round = 0; round < rounds; ++round) {
        const std::string word = words.next(round % 25 == 0 ? "-0x" : round % 5 == 0 ? "0x" : "");
        if (has_bare_prefix(word)) continue;
        unsigned long long number = 0;
        int length = 0;
        const bool is_number = sscanf(word.c_str(), "%llx%n", &number, &length) == 1;

        const char* at = word.c_str();
        uint32_t value = 4711;
        ASSERT_EQ(is_number, scan_hex(at, value)) << '"' << word << '"';
        ASSERT_EQ(is_number ? saturated(number) : 4711U, value) << '"' << word << '"';
        ASSERT_EQ(length, at - word.c_str()) << '"' << word << '"';
        read += is_number ? 1 : 0;
    }
    EXPECT_GT(read, rounds / 4);
    EXPECT_LT(read, rounds);
}

TEST(LikeTheCLibrary, Octet) {
    RandomWords words("0123456789+-- \tx/");
    for (int round = 0; round < rounds; ++round) {
        const std::string word = words.next();
        unsigned long long number = 0;
        int length = 0;
        const bool is_number = sscanf(word.c_str(), "%llu%n", &number, &length) == 1;

        const char* at = word.c_str();
        uint8_t value = 47;
        ASSERT_EQ(is_number, scan_octet(at, value)) << '"' << word << '"';
        ASSERT_EQ(is_number ? static_cast<uint8_t>(saturated(number)) : uint8_t{47}, value) << '"' << word << '"';
        ASSERT_EQ(length, at - word.c_str()) << '"' << word << '"';
    }
}

TEST(LikeTheCLibrary, Text) {
    RandomWords words("0123456789 \t\n\v\f\r\xa0/x");
    for (int round = 0; round < rounds; ++round) {
        const std::string word = words.next();
        char text[64] = "before";
        int length = 0;
        const bool is_there = sscanf(word.c_str(), "%63s%n", text, &length) == 1;

        const char* at = word.c_str();
        std::string_view value = "before";
        ASSERT_EQ(is_there, scan_text(at, value)) << '"' << word << '"';
        ASSERT_EQ(text, value) << '"' << word << '"';
        ASSERT_EQ(length, at - word.c_str()) << '"' << word << '"';
    }
}

TEST(LikeTheCLibrary, Range) {
    RandomWords words("0123456789-----+ x/");
    int both = 0;
    for (int round = 0; round < rounds; ++round) {
        const std::string word = words.next();
        long long min = 0;
        long long max = 0;
        const int count = sscanf(word.c_str(), "%lld-%lld", &min, &max);

        NumberRange range{};
        ASSERT_EQ(count >= 1, parse_range(word.c_str(), range)) << '"' << word << '"';
        if (count < 1) continue;
        ASSERT_EQ(saturated(min), range.min) << '"' << word << '"';
        ASSERT_EQ(saturated(count == 2 ? max : min), range.max) << '"' << word << '"';
        both += count == 2 ? 1 : 0;
    }
    EXPECT_GT(both, rounds / 20);
}

} // namespace
