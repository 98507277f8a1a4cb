// Result documents and the three reporters, with all their codes, those that no sentence leads to among them.
#include "common/result.h"
#include "common/usage.h"

#include "readers/in_child.h"
#include "readers/numbers.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

std::string repeat(char c, size_t count) {
    return std::string(count, c);
}

TEST(ResultDocument, OfSuccess) {
    const std::string document = "<response>\n  <result>OK</result>\n</response>\n";
    EXPECT_EQ(returned(document), run_in_child([] { act_puts(); }));
    EXPECT_EQ(ended(document), run_in_child([] { accept(); }));
}

TEST(ResultDocument, OfRefusal) {
    EXPECT_EQ(returned("<response>\n"
                       "  <result>NG</result>\n"
                       "  <error>\n"
                       "    <errcode>2802</errcode>\n"
                       "    <errmsg>protocol group 3 already exists.</errmsg>\n"
                       "  </error>\n"
                       "</response>\n"),
              run_in_child([] { act_printf(2802, compose<"protocol group {0} already exists.">(3)); }));
    EXPECT_EQ(ended(ng(1701, "port 3 does not belong to VLAN \"a\".")),
              run_in_child([] { refuse<"port {0} does not belong to VLAN \"{1}\".">(1701, 3, "a"); }));
}

TEST(ResultDocument, CodesAreSigned) {
    for (const int32_t code : {0, 1, -1, 31337, lowest, highest})
        EXPECT_EQ(returned(ng(code, "text")), run_in_child([code] { act_printf(code, {"text"}); }));
}

TEST(ResultDocument, MessagesAreCutAt127Characters) {
    for (const size_t length : {126U, 127U, 128U, 129U, 300U, 100000U}) {
        const std::string text = repeat('m', length);
        const std::string shown = repeat('m', std::min<size_t>(length, 127));
        EXPECT_EQ(returned(ng(1, shown)), run_in_child([&] { act_printf(1, compose<"{0}">(text.c_str())); }));
        EXPECT_EQ(ended(ng(1, shown)), run_in_child([&] { refuse<"{0}">(1, text.c_str()); }));
    }
}

TEST(ResultDocument, NothingIsEscaped) {
    const char* const text = "<a b=\"c\">&amp;'\x01\xff\n\t%s%n</a>";
    EXPECT_EQ(returned(ng(1, text)), run_in_child([text] { act_printf(1, compose<"{0}">(text)); }));
}

TEST(ResultDocument, OtherEndings) {
    EXPECT_EQ(ended("no more argument\n"), run_in_child([] { no_more_argument(); }));
    EXPECT_EQ(ended(""), run_in_child([] { end_process(); }));
    const Ending usage = run_in_child([] { show_usage(); });
    EXPECT_FALSE(usage.has_returned);
    EXPECT_EQ(0, usage.exit_status);
    EXPECT_TRUE(usage.output.starts_with("Usage:tolvane\n    set ether <ether> shaping {off|on rate <rate> "));
    EXPECT_EQ(68, std::count(usage.output.begin(), usage.output.end(), '\n'));
}

// --- What does not exist ---

struct Object {
    int32_t code;
    const char* word;
};
constexpr Object objects[] = {{101, "blade"},          {102, "port"},  {103, "VLAN"},
                              {104, "SVLD"},           {105, "fdb"},   {106, "stream"},
                              {107, "queue"},          {108, "ether"}, {109, "classify profile"},
                              {110, "classify action"}};

struct Name {
    const char* typed; // nullptr: none, and the number 7 instead
    const char* shown;
};
constexpr Name names[] = {{"office", "\"office\""},
                          {"10", "10"},
                          {"10abc", "10abc"},
                          {"0", "0"},
                          {"9z", "9z"},
                          {"", "\"\""},
                          {"a1", "\"a1\""},
                          {" 1", "\" 1\""},
                          {"-1", "\"-1\""},
                          {"+1", "\"+1\""},
                          {"/", "\"/\""},       // the character before 0
                          {":", "\":\""},       // and the one behind 9
                          {"\xb2", "\"\xb2\""}, // a superscript digit in Latin-1
                          {"a\"b<c>", "\"a\"b<c>\""},
                          {"%s%d%n", "\"%s%d%n\""},
                          {nullptr, "7"}};

TEST(Catalogue, MissingObjects) {
    for (const Object& object : objects) {
        for (const Name& name : names) {
            const std::string document =
                ng(object.code, std::string(object.word) + " " + name.shown + " does not exist.");
            EXPECT_EQ(returned(document), run_in_child([&] { report_not_exist(object.code, name.typed, 7); }));
            if (name.typed != nullptr)
                EXPECT_EQ(ended(document), run_in_child([&] { refuse_missing(object.code, name.typed); }));
            else
                EXPECT_EQ(ended(document), run_in_child([&] { refuse_missing(object.code, 7); }));
        }
    }
}

TEST(Catalogue, MissingObjectsByNumber) {
    for (const int32_t number : {0, -1, lowest, highest})
        EXPECT_EQ(returned(ng(106, "stream " + std::to_string(number) + " does not exist.")),
                  run_in_child([number] { report_not_exist(106, nullptr, number); }));
}

TEST(Catalogue, MissingObjectsWithLongNames) {
    EXPECT_EQ(returned(ng(109, "classify profile \"" + repeat('n', 109))),
              run_in_child([] { report_not_exist(109, repeat('n', 500).c_str(), 0); }));
    EXPECT_EQ(returned(ng(109, "classify profile " + repeat('5', 110))),
              run_in_child([] { report_not_exist(109, repeat('5', 500).c_str(), 0); }));
}

// --- What is out of range ---

struct Range {
    int32_t code;
    int32_t value;
    const char* message;
};
constexpr Range ranges[] = {
    {201, 4095, "VLAN id 4095 out of range. Valid range is 1-4094."},
    {202, 5000, "PVID 5000 out of range. Valid range is 0, 1-4094."},
    {203, 59, "aging 59 out of range. Valid range is 60-1000000."},
    {204, 65536, "tagtype 65536 out of range. Valid range is 0-ffff."},
    {205, 1, "learning limit 1 out of range. Valid range is 2-2048."},
    {206, 5, "port 5 out of range. Valid range is 1-4."},
    {207, 257, "stream 257 out of range. Valid range is 1-256"},
    {208, 8, "class 8 out of range. Valid range is 0-7"},
    {209, 63000, "rate 63 is out of range. Valid range 64-100000."},
    {210, 4194368, "queue size 4194368 is out of range. Valid range under 4194304.\n"},
    {211, 32001, "burst 32001 is out of range. Valid range 80-32000."},
    {212, 65536, "protocol group 65536 is out of range."},
    {213, 65536, "ether type 65536 is out of range."},
    {214, 5, "mirror id 5 is out of range."},
    {215, 6, "mirror source type 6 is out of range."},
    {216, 5, "mirror source id 5 is out of range."},
    {217, 5, "mirror destination port 5 is out of range."},
    {218, 8, "stream priority 8 is out of range. Valid range is 0-7"},
    // Every value is signed,
    {201, lowest, "VLAN id -2147483648 out of range. Valid range is 1-4094."},
    {202, -1, "PVID -1 out of range. Valid range is 0, 1-4094."},
    {203, highest, "aging 2147483647 out of range. Valid range is 60-1000000."},
    {204, -1, "tagtype -1 out of range. Valid range is 0-ffff."},
    {205, lowest, "learning limit -2147483648 out of range. Valid range is 2-2048."},
    {206, -1, "port -1 out of range. Valid range is 1-4."},
    {207, 0, "stream 0 out of range. Valid range is 1-256"},
    {208, -1, "class -1 out of range. Valid range is 0-7"},
    {210, lowest, "queue size -2147483648 is out of range. Valid range under 4194304.\n"},
    {211, -1, "burst -1 is out of range. Valid range 80-32000."},
    {212, -1, "protocol group -1 is out of range."},
    {213, lowest, "ether type -2147483648 is out of range."},
    {214, highest, "mirror id 2147483647 is out of range."},
    {215, -1, "mirror source type -1 is out of range."},
    {216, -1, "mirror source id -1 is out of range."},
    {217, -1, "mirror destination port -1 is out of range."},
    {218, -1, "stream priority -1 is out of range. Valid range is 0-7"},
    // but that of a rate, which is divided by 1000, without rounding.
    {209, 1000, "rate 1 is out of range. Valid range 64-100000."},
    {209, 1999, "rate 1 is out of range. Valid range 64-100000."},
    {209, 999, "rate 0 is out of range. Valid range 64-100000."},
    {209, 0, "rate 0 is out of range. Valid range 64-100000."},
    {209, -1, "rate 4294967 is out of range. Valid range 64-100000."},
    {209, -1000, "rate 4294966 is out of range. Valid range 64-100000."},
    {209, lowest, "rate 2147483 is out of range. Valid range 64-100000."},
    {209, highest, "rate 2147483 is out of range. Valid range 64-100000."},
};

TEST(Catalogue, OutOfRange) {
    for (const Range& row : ranges) {
        const std::string document = ng(row.code, row.message);
        EXPECT_EQ(returned(document), run_in_child([&] { report_out_of_range(row.code, row.value); }));
        EXPECT_EQ(ended(document), run_in_child([&] { refuse_out_of_range(row.code, row.value); }));
    }
}

// --- What is invalid ---

struct Invalid {
    int32_t code;
    const char* before; // the operand
    const char* behind;
};
constexpr Invalid invalids[] = {
    {301, "aftype \"", "\" invalid."},
    {302, "ingfil \"", "\" invalid."},
    {303, "accepttag \"", "\" invalid."},
    {304, "acceptptag \"", "\" invalid."},
    {305, "aging \"", "\" invalid."},
    {306, "sldbkr \"", "\" invalid."},
    {307, "VLAN id \"", "\" invalid."},
    {308, "tag \"", "\" invalid."},
    {309, "tagtype \"", "\" invalid."},
    {310, "simple loop detection \"", "\" invalid."},
    {311, "learning limit \"", "\" invalid."},
    {312, "mac address \"", "\" invalid."},
    {313, "cannot specify reserved mac address \"", "\"."},
    {314, "", ""},
    {315, "", ""},
    {316, "protocol group \"", "\" invalid."},
    {317, "ether type \"", "\" invalid."},
    {318, "mirror id  \"", "\" invalid."},
    {319, "mirror source type  \"", "\" invalid."},
    {320, "mirror source id  \"", "\" invalid."},
    {321, "mirror destination port  \"", "\" invalid."},
    // Codes without a text of their own.
    {300, "", ""},
    {322, "", ""},
    {0, "", ""},
    {-1, "", ""},
    {101, "", ""},
    {201, "", ""},
    {2801, "", ""},
    {9999, "", ""},
    {lowest, "", ""},
    {highest, "", ""},
};

TEST(Catalogue, Invalid) {
    for (const Invalid& row : invalids) {
        for (const std::string text : {"x", "", "10", "a \"b\" <c> & 'd'", "%s%d%n%%", "two\nlines"}) {
            const std::string document = ng(row.code, row.before + text + row.behind);
            EXPECT_EQ(returned(document), run_in_child([&] { report_invalid(row.code, text.c_str()); }));
            EXPECT_EQ(ended(document), run_in_child([&] { refuse_invalid(row.code, text.c_str()); }));
        }
    }
}

TEST(Catalogue, InvalidAndLong) {
    for (const Invalid& row : invalids) {
        const std::string whole = row.before + repeat('x', 300) + row.behind;
        EXPECT_EQ(returned(ng(row.code, whole.substr(0, 127))),
                  run_in_child([&] { report_invalid(row.code, repeat('x', 300).c_str()); }));
    }
}

} // namespace
