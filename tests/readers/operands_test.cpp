// Keywords, VLAN ids, tag types, QoS addresses: what a handler reads, and how it refuses.
#include "common/operands.h"
#include "common/qos_address.h"
#include "common/vlan_operands.h"

#include "readers/in_child.h"
#include "recording/recorder.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

// The usage text has its own test; here it matters that it was what ended the process.
std::string usage() {
    return run_in_child([] { show_usage(); }).output;
}

TEST(Keyword, IsMatchedWholeAndWithItsCase) {
    EXPECT_TRUE(is_word("vlan", "vlan"));
    EXPECT_TRUE(is_word("", ""));
    for (const char* const word : {"", "v", "vla", "vlans", "Vlan", "VLAN", " vlan", "vlan ", "vlan\n", "vlam"}) {
        EXPECT_FALSE(is_word(word, "vlan")) << word;
        EXPECT_FALSE(is_word("vlan", word)) << word;
        EXPECT_FALSE(is_word(std::string_view(word), "vlan")) << word;
        EXPECT_FALSE(is_word(std::string_view("vlan"), word)) << word;
    }
    EXPECT_TRUE(is_word(std::string_view("vlan", 4), "vlan"));
    EXPECT_TRUE(is_word(std::string_view("vlan1", 4), "vlan"));
    EXPECT_FALSE(is_word(std::string_view("vlan", 3), "vlan"));
    EXPECT_TRUE(is_word(std::string_view("x", 0), ""));
}

TEST(Keyword, OnAndOff) {
    EXPECT_TRUE(read_switch("on"));
    EXPECT_FALSE(read_switch("off"));
    EXPECT_TRUE(read_switch("on", invalid::loop_breaker));
    EXPECT_FALSE(read_switch("off", invalid::loop_breaker));
    for (const char* const word : {"", "On", "OFF", "of", "on ", "offf", "1", "0", "yes"}) {
        EXPECT_EQ(ended(usage()), run_in_child([&] { read_switch(word); })) << word;
        EXPECT_EQ(ended(ng(306, std::string("sldbkr \"") + word + "\" invalid.")),
                  run_in_child([&] { read_switch(word, invalid::loop_breaker); }))
            << word;
    }
}

TEST(Operands, AreRefusedWithTheUsageText) {
    EXPECT_EQ(returned(""), run_in_child([] { require_word("to", "to"); }));
    EXPECT_EQ(ended(usage()), run_in_child([] { require_word("To", "to"); }));
    EXPECT_EQ(12, read_number(" 12ab"));
    EXPECT_EQ(ended(usage()), run_in_child([] { read_number("ab"); }));
    EXPECT_EQ(4, read_range("1-4").max);
    EXPECT_EQ(ended(usage()), run_in_child([] { read_range("-"); }));

    static constexpr NumberedWord words[] = {{1, "one"}, {1000, "two"}, {0, "on"}};
    EXPECT_EQ(1, read_word<words>("one"));
    EXPECT_EQ(1000, read_word<words>("two"));
    EXPECT_EQ(0, read_word<words>(std::string_view("one", 2)));
    for (const char* const word : {"three", "o", "ones", ""})
        EXPECT_EQ(ended(usage()), run_in_child([&] { read_word<words>(word); })) << word;
}

TEST(VlanNumbers, AreReadOrRefused) {
    for (const int32_t vid : {1, 4094, 4096, 8191})
        EXPECT_EQ(vid, read_vlan_id(std::to_string(vid).c_str()));
    EXPECT_EQ(ended(ng(307, "VLAN id \"x\" invalid.")), run_in_child([] { read_vlan_id("x"); }));
    EXPECT_EQ(ended(ng(201, "VLAN id 4095 out of range. Valid range is 1-4094.")),
              run_in_child([] { read_vlan_id("4095"); }));

    EXPECT_EQ(0, read_tag_type("0"));
    EXPECT_EQ(0x88a8, read_tag_type("0x88a8"));
    EXPECT_EQ(0xffff, read_tag_type("ffff"));
    EXPECT_EQ(ended(ng(309, "tagtype \"x\" invalid.")), run_in_child([] { read_tag_type("x"); }));
    EXPECT_EQ(ended(ng(204, "tagtype 65536 out of range. Valid range is 0-ffff.")),
              run_in_child([] { read_tag_type("10000"); }));
}

// --- VLAN names ---

// Has the recording library give this answer to the next call.
class ScriptedAnswer {
public:
    ScriptedAnswer(const char* result, const char* value) {
        recorder::Answer answer{};
        strcpy(answer.result, result);
        strcpy(answer.value, value);
        const int file = memfd_create("answers", 0);
        recorder::write_all(file, reinterpret_cast<const char*>(&answer), sizeof answer);
        lseek(file, 0, SEEK_SET);
        dup2(file, recorder::answers_fd);
        close(file);
    }
    ScriptedAnswer(const ScriptedAnswer&) = delete;
    ScriptedAnswer& operator=(const ScriptedAnswer&) = delete;
    ~ScriptedAnswer() { close(recorder::answers_fd); }
};

TEST(VlanName, IsResolvedByTheLibrary) {
    const ScriptedAnswer answer("0", "4711");
    uint32_t vid = 1;
    EXPECT_EQ(0, vlan_name_to_vid("sales", &vid));
    EXPECT_EQ(4711U, vid);
}

// Whatever the library has stored for it.
TEST(VlanName, IsUnknownWithTheIdZero) {
    for (const char* const result : {"-1", "1", "103", "-2147483648"}) {
        const ScriptedAnswer answer(result, "4711");
        uint32_t vid = 1;
        EXPECT_EQ(-1, vlan_name_to_vid("nosuch", &vid)) << result;
        EXPECT_EQ(0U, vid) << result;
    }
}

TEST(VlanName, IsRefusedWhenUnknown) {
    {
        const ScriptedAnswer answer("0", "4711");
        EXPECT_EQ(4711U, read_vlan("sales"));
    }
    const ScriptedAnswer answer("-1", "");
    EXPECT_EQ(ended(ng(103, "VLAN \"nosuch\" does not exist.")), run_in_child([] { read_vlan("nosuch"); }));
}

// --- Addresses in the QoS tree ---

TEST(QosAddress, OfAStream) {
    for (const char* const word : {"3/17", " 3/ 17", "+3/+17", "3/17x", "3/17/4", "003/0017"}) {
        const StreamAddress address = read_stream_address(word);
        EXPECT_EQ(3, address.port) << word;
        EXPECT_EQ(17, address.stream) << word;
        EXPECT_EQ(2 * 256 + 16, address.index()) << word;
    }
    for (const char* const word : {"", "3", "3/", "/17", "3 /17", "3-17", "3//17", "x/17", "3/x", "3.17"})
        EXPECT_EQ(ended(usage()), run_in_child([word] { read_stream_address(word); })) << word;
}

// Not even an address far out of range is refused where only the form is read.
TEST(QosAddress, OfAStreamAnywhere) {
    const StreamAddress address = read_stream_address("99999999999/-99999999999");
    EXPECT_EQ(2147483647, address.port);
    EXPECT_EQ(-2147483647 - 1, address.stream);
}

TEST(QosAddress, OfAQueue) {
    for (const char* const word : {"4/256/7", " 4/ 256/\t7", "4/256/7x", "4/256/7/red"}) {
        const QueueAddress queue = read_queue_address(word);
        EXPECT_EQ(4, queue.port) << word;
        EXPECT_EQ(256, queue.stream) << word;
        EXPECT_EQ(7, queue.traffic_class) << word;
        EXPECT_EQ(1023, queue.stream_index()) << word;
        EXPECT_EQ(8191, queue.index()) << word;
    }
    for (const char* const word : {"", "4/256", "4/256/", "4/256/-", "4/256/x", "4/256 /7", "4/256//7", "x/256/7"})
        EXPECT_EQ(ended(usage()), run_in_child([word] { read_queue_address(word); })) << word;
}

struct BadAddress {
    const char* word;
    int32_t code;
    const char* message;
};

// Port, stream and class are judged in this order, and all three behind the form.
TEST(QosAddress, OutOfRange) {
    constexpr BadAddress rows[] = {
        {"0/1/0", 206, "port 0 out of range. Valid range is 1-4."},
        {"5/1/0", 206, "port 5 out of range. Valid range is 1-4."},
        {"-1/1/0", 206, "port -1 out of range. Valid range is 1-4."},
        {"4294967297/1/0", 206, "port 2147483647 out of range. Valid range is 1-4."},
        {"5/0/8", 206, "port 5 out of range. Valid range is 1-4."},
        {"1/0/0", 207, "stream 0 out of range. Valid range is 1-256"},
        {"1/257/0", 207, "stream 257 out of range. Valid range is 1-256"},
        {"1/-1/8", 207, "stream -1 out of range. Valid range is 1-256"},
        {"1/1/8", 208, "class 8 out of range. Valid range is 0-7"},
        {"1/1/-1", 208, "class -1 out of range. Valid range is 0-7"},
    };
    for (const BadAddress& row : rows) {
        EXPECT_EQ(ended(ng(row.code, row.message)), run_in_child([&] { read_queue_address(row.word); })) << row.word;
        const std::string with_color = std::string(row.word) + "/purple";
        EXPECT_EQ(ended(ng(row.code, row.message)), run_in_child([&] { read_color_address(with_color.c_str()); }))
            << with_color;
    }
}

TEST(QosAddress, OfAColor) {
    EXPECT_EQ(0, read_color_address("1/2/3/green").color);
    EXPECT_EQ(1, read_color_address("1/2/3/yellow").color);
    EXPECT_EQ(2, read_color_address("1/2/3/red").color);
    EXPECT_EQ(2, read_color_address("1/2/3/ red x").color);
    EXPECT_EQ(3, read_color_address("1/2/3/red").queue.traffic_class);
    for (const char* const word : {"", "1/2/3", "1/2/3/", "1/2/3/Red", "1/2/3/redd", "1/2/3/re", "1/2/3/red/x",
                                   "1/2/3 /red", "1/2/red", "1/2/3/2", "1/2/3/discard"})
        EXPECT_EQ(ended(usage()), run_in_child([word] { read_color_address(word); })) << word;
}

TEST(QosAddress, OfAFlow) {
    const Classification target = read_classification("256/7/yellow");
    EXPECT_EQ(256, target.stream);
    EXPECT_EQ(7, target.traffic_class);
    EXPECT_EQ(1, target.color);
    EXPECT_EQ(-5, read_classification("-5/99/green").stream);
    for (const char* const word : {"", "1", "1/2", "1/2/", "1/2/blue", "1/2/3/red", "1/red", "x/2/red", "1/x/red"})
        EXPECT_EQ(ended(usage()), run_in_child([word] { read_classification(word); })) << word;
}

} // namespace
