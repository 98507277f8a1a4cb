// Packed tables and messages: what the compiler makes of them, and what comes out of them again.
#include "common/keyword.h"
#include "common/text.h"
#include "readers/numbers.h"

#include <gtest/gtest.h>

#include <string>

namespace {

template <size_t Size> std::string bytes(const char (&text)[Size]) {
    return {text, Size - 1};
}

// --- Tables ---

int32_t find_whole(const char* packed_words, const char* word) {
    return find_number(packed_words, word, end_of(word));
}

constexpr NumberedWord units[] = {{1000, "kbyte"}, {1, "byte"}, {0, ""}};

TEST(PackedWords, StandOneBehindTheOther) {
    const std::string expected = bytes("\x03\xe8"
                                       "kbyte\0\0\1byte\0\0\0\0\xff\xff");
    EXPECT_EQ(expected, std::string(packing::words<units>(), expected.size()));
}

TEST(PackedWords, AreFoundWhole) {
    const char* const table = packing::words<units>();
    EXPECT_EQ(1000, find_whole(table, "kbyte"));
    EXPECT_EQ(1, find_whole(table, "byte"));
    EXPECT_EQ(0, find_whole(table, ""));
    for (const char* const word : {"kbytes", "kbyt", "Byte", "byte ", " byte", "k", "\x03\xe8", "\xff\xff"})
        EXPECT_EQ(otherwise, find_whole(table, word)) << word;
}

TEST(PackedWords, MayEndBeforeTheirNul) {
    const char* const table = packing::words<units>();
    const char* const word = "bytes";
    EXPECT_EQ(1, find_number(table, word, word + 4));
    EXPECT_EQ(0, find_number(table, word, word));
    EXPECT_EQ(otherwise, find_number(table, word, word + 3));
    EXPECT_EQ(otherwise, find_number(table, word, word + 5));
}

constexpr NumberedText failures[] = {
    {0, "none"}, {255, "low byte"}, {256, "high byte"}, {65534, "the last"}, {otherwise, "{0} is another"},
};

TEST(PackedMessages, AreFoundByTheirNumber) {
    const auto found = [](int32_t number) {
        const Operand operands[] = {number};
        char text[40];
        fill(text, sizeof text, find_text(packing::messages<failures, int32_t>(), number), operands);
        return std::string(text);
    };
    EXPECT_EQ("none", found(0));
    EXPECT_EQ("low byte", found(255));
    EXPECT_EQ("high byte", found(256));
    EXPECT_EQ("the last", found(65534));
    for (const int32_t number : {1, 254, 257, 65533, 65535, 65536, 65536 + 255, -1, lowest, highest})
        EXPECT_EQ(std::to_string(number) + " is another", found(number));
}

// --- Placeholders ---

TEST(PackedMessage, ShowsItsOperands) {
    EXPECT_STREQ("nothing", compose<"nothing">(0).text);
    EXPECT_STREQ("7", compose<"{0}">(7).text);
    EXPECT_STREQ("-2147483648/2147483647/0", compose<"{0}/{1}/{2}">(lowest, highest, 0).text);
    EXPECT_STREQ("a 2 a b", compose<"{0} {1} {0} {2}">("a", 2, "b").text);
    EXPECT_STREQ("b", compose<"{1}">(1, "b").text);
    EXPECT_STREQ("", compose<"{0}">("").text);
    EXPECT_STREQ("0000 0800 ffff", compose<"{0:04x} {1:04x} {2:04x}">(0, 0x800, 0xffff).text);
    EXPECT_STREQ("10000 ffffffff", compose<"{0:04x} {1:04x}">(0x10000, -1).text);
    EXPECT_STREQ("2048 is 0800", compose<"{0} is {0:04x}">(uint16_t{0x800}).text);
}

TEST(PackedMessage, LeavesOperandsAsTheyAre) {
    const char* const text = "{0} %d%s%n \x10\x11\x18\x80\xff\n";
    EXPECT_STREQ(text, compose<"{0}">(text).text);
}

TEST(PackedMessage, IsCut) {
    for (const size_t length : {126U, 127U, 128U, 5000U}) {
        const std::string text(length, 'x');
        EXPECT_EQ(text.substr(0, 127), compose<"{0}">(text.c_str()).text);
        EXPECT_EQ(("12" + text).substr(0, 127), compose<"{0}{1}">(12, text.c_str()).text);
        EXPECT_EQ((text + "12.").substr(0, 127), compose<"{1}{0}.">(12, text.c_str()).text);
    }
    const Operand number[] = {-123};
    char text[] = "....";
    EXPECT_EQ(3U, fill(text, sizeof text - 1, packing::message<"{0}{0}", int32_t>(), number));
    EXPECT_STREQ("-12", text);
    EXPECT_EQ(0U, fill(text, 1, packing::message<"{0}{0}", int32_t>(), number));
    EXPECT_EQ(bytes("\0"
                    "12"),
              std::string(text, 3))
        << "no byte is written behind the end";
}

TEST(Placeholder, HasACodeOfItsOwn) {
    int32_t encoded = 0;
    for (int32_t code = 0; code < 256; ++code)
        if (placeholder::is_encoded(static_cast<uint8_t>(code))) ++encoded;
    EXPECT_EQ(9, encoded) << "three operands, each in three kinds";
    for (size_t operand = 0; operand < placeholder::most_operands; ++operand) {
        for (const auto kind : {placeholder::decimal, placeholder::hexadecimal, placeholder::text}) {
            const uint8_t code = placeholder::encode(operand, kind);
            EXPECT_TRUE(placeholder::is_encoded(code));
            EXPECT_EQ(operand, placeholder::operand_of(code));
            EXPECT_EQ(kind, placeholder::kind_of(code));
        }
    }
}

// --- Phrases ---

constexpr auto every_phrase = packing::pack_with([](packing::Buffer& buffer) {
    for (const char* phrase : phrases) {
        packing::append_text(buffer, phrase);
        buffer.bytes[buffer.size - 1] = '|';
    }
    packing::append(buffer, 0);
});

TEST(PackedMessage, SpellsOutItsPhrases) {
    std::string expected;
    for (const char* const phrase : phrases)
        expected.append(phrase).append("|");
    char text[2000];
    EXPECT_EQ(expected.size(), fill(text, sizeof text, every_phrase.bytes, nullptr));
    EXPECT_EQ(expected, text);
    EXPECT_EQ(2 * std::size(phrases) + 1, sizeof every_phrase.bytes) << "each is one byte";
}

TEST(PackedMessage, TakesTheLongestPhrase) {
    constexpr auto packed =
        packing::pack_with([](packing::Buffer& buffer) { packing::append_text(buffer, "classify profile class"); });
    EXPECT_EQ(4U, sizeof packed.bytes) << "phrase, blank, phrase, NUL";
    EXPECT_EQ('\0', packed.bytes[3]);
    EXPECT_STREQ("port 1 already exists.", compose<"port {0} already exists.">(1).text);
    EXPECT_STREQ("por mirro aximu", compose<"por mirro aximu">(0).text);
}

} // namespace
