// Reading and writing captures: what other programs write is understood, what we write is understood by them, and
// nothing that a file holds does harm.
#include "companion/capture.h"
#include "companion/database.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <random>

#ifdef HAS_LIBPCAP
#include <pcap/pcap.h>
#endif

namespace {

using Bytes = std::vector<uint8_t>;

// Writes numbers in either byte order.
class Writer {
public:
    explicit Writer(bool big_endian) : is_big_endian(big_endian) {}
    Writer& u8(uint32_t value) {
        bytes.push_back(static_cast<uint8_t>(value));
        return *this;
    }
    Writer& u16(uint32_t value) { return is_big_endian ? u8(value >> 8).u8(value) : u8(value).u8(value >> 8); }
    Writer& u32(uint32_t value) { return is_big_endian ? u16(value >> 16).u16(value) : u16(value).u16(value >> 16); }
    Writer& u64(uint64_t value) {
        const auto high = static_cast<uint32_t>(value >> 32);
        const auto low = static_cast<uint32_t>(value);
        return is_big_endian ? u32(high).u32(low) : u32(low).u32(high);
    }
    Writer& put(const Bytes& more) {
        bytes.insert(bytes.end(), more.begin(), more.end());
        return *this;
    }
    Writer& pad() {
        while (bytes.size() % 4 != 0)
            u8(0);
        return *this;
    }
    Writer& option(uint32_t code, const Bytes& value) {
        return u16(code).u16(static_cast<uint32_t>(value.size())).put(value).pad();
    }

    // A block around what has been written.
    Bytes block(uint32_t type) const {
        Writer out(is_big_endian);
        const auto length = static_cast<uint32_t>(bytes.size() + 12);
        return out.u32(type).u32(length).put(bytes).u32(length).bytes;
    }

    Bytes bytes;

private:
    bool is_big_endian;
};

Bytes operator+(Bytes one, const Bytes& other) {
    one.insert(one.end(), other.begin(), other.end());
    return one;
}

Bytes pcap_header(bool big_endian, uint32_t magic, uint32_t network = 1) {
    return Writer(big_endian).u32(magic).u16(2).u16(4).u32(0).u32(0).u32(262144).u32(network).bytes;
}

Bytes record(bool big_endian, uint32_t seconds, uint32_t rest, const Bytes& data, uint32_t original) {
    return Writer(big_endian)
        .u32(seconds)
        .u32(rest)
        .u32(static_cast<uint32_t>(data.size()))
        .u32(original)
        .put(data)
        .bytes;
}

Bytes section(bool big_endian) {
    return Writer(big_endian).u32(0x1a2b3c4d).u16(1).u16(0).u64(UINT64_MAX).block(0x0a0d0d0a);
}

Bytes interface(bool big_endian, const std::string& name, const Bytes& options = {}, uint32_t link_type = 1) {
    Writer out(big_endian);
    out.u16(link_type).u16(0).u32(0).option(2, Bytes(name.begin(), name.end())).put(options);
    return out.block(1);
}

Bytes enhanced(bool big_endian, uint32_t number, uint64_t time, const Bytes& data, const Bytes& options = {}) {
    Writer out(big_endian);
    out.u32(number).u32(static_cast<uint32_t>(time >> 32)).u32(static_cast<uint32_t>(time));
    out.u32(static_cast<uint32_t>(data.size())).u32(static_cast<uint32_t>(data.size())).put(data).pad().put(options);
    return out.block(6);
}

Bytes frame(uint8_t fill, size_t length = 60) {
    return Bytes(length, fill);
}

struct Read {
    int64_t time;
    std::string interface;
    Bytes bytes;
    uint32_t original;
    Direction direction;
};

class Captures : public testing::Test {
protected:
    Captures() {
        std::string pattern = (std::filesystem::temp_directory_path() / "captures-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
        folder = pattern;
    }
    ~Captures() override { std::filesystem::remove_all(folder); }

    std::string write(const Bytes& bytes) const {
        std::ofstream out(path(), std::ios::binary);
        out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path();
    }
    std::string path() const { return folder + "/capture"; }

    // All frames, and what was wrong then.
    std::vector<Read> read(const Bytes& bytes) {
        problem.clear();
        std::vector<Read> frames;
        CaptureReader reader(write(bytes));
        try {
            CapturedFrame found;
            while (reader.next(found))
                frames.push_back({found.time, reader.interfaces()[found.interface].name,
                                  Bytes(found.bytes.begin(), found.bytes.end()), found.original_length,
                                  found.direction});
        } catch (const Failure& failure) {
            problem = failure.what();
        }
        return frames;
    }

    std::string folder;
    std::string problem;
};

TEST_F(Captures, ArePcapInBothByteOrdersAndResolutions) {
    for (const bool big_endian : {false, true})
        for (const bool has_nanoseconds : {false, true}) {
            const uint32_t magic = has_nanoseconds ? 0xa1b23c4d : 0xa1b2c3d4;
            const std::vector<Read> frames =
                read(pcap_header(big_endian, magic) + record(big_endian, 1700000000, 123456, frame(1), 60) +
                     record(big_endian, 4294967295U, 999999, frame(2, 20), 1514));
            EXPECT_EQ(problem, "");
            ASSERT_EQ(frames.size(), 2U);
            const int64_t unit = has_nanoseconds ? 1 : 1000;
            EXPECT_EQ(frames[0].time, 1'700'000'000'000'000'000 + 123456 * unit);
            EXPECT_EQ(frames[1].time, 4'294'967'295'000'000'000 + 999999 * unit);
            EXPECT_EQ(frames[0].bytes, frame(1));
            EXPECT_EQ(frames[1].bytes.size(), 20U);
            EXPECT_EQ(frames[1].original, 1514U);
        }
}

TEST_F(Captures, ArePcapngOfSeveralSectionsWithTheirInterfaces) {
    Bytes file;
    for (const bool big_endian : {false, true}) {
        Writer direction(big_endian);
        direction.option(1, {'h', 'i'}).option(2, Writer(big_endian).u32(2).bytes).u32(0);
        file = file + section(big_endian) + Writer(big_endian).u32(7).block(0x0bad) + interface(big_endian, "port1") +
               interface(big_endian, "port2", Writer(big_endian).option(9, {9}).bytes) +
               enhanced(big_endian, 0, 1'700'000'000'000'001, frame(1)) +
               enhanced(big_endian, 1, 1'700'000'000'000'000'001, frame(2, 61), direction.bytes) +
               Writer(big_endian).u32(60).put(frame(3)).block(3);
        Writer obsolete(big_endian);
        obsolete.u16(1).u16(0xffff).u32(1'700'000'000'000'000'002 >> 32);
        obsolete.u32(static_cast<uint32_t>(1'700'000'000'000'000'002)).u32(60).u32(60).put(frame(4));
        file = file + obsolete.block(2);
    }
    const std::vector<Read> frames = read(file);
    EXPECT_EQ(problem, "");
    ASSERT_EQ(frames.size(), 8U);
    for (size_t base : {0U, 4U}) {
        EXPECT_EQ(frames[base].time, 1'700'000'000'000'001'000);
        EXPECT_EQ(frames[base].interface, "port1");
        EXPECT_EQ(frames[base + 1].time, 1'700'000'000'000'000'001);
        EXPECT_EQ(frames[base + 1].interface, "port2");
        EXPECT_EQ(frames[base + 1].direction, Direction::sent);
        EXPECT_EQ(frames[base + 1].bytes, frame(2, 61));
        EXPECT_EQ(frames[base + 2].time, frames[base + 1].time) << "a simple packet has no time of its own";
        EXPECT_EQ(frames[base + 2].bytes, frame(3));
        EXPECT_EQ(frames[base + 3].time, 1'700'000'000'000'000'002);
        EXPECT_EQ(frames[base + 3].bytes, frame(4));
    }
}

TEST_F(Captures, HaveTimesOfAnyResolution) {
    struct Case {
        uint8_t resolution;
        uint64_t units;
        int64_t offset;
        int64_t expected;
    };
    const std::vector<Case> cases{{6, 1'000'001, 0, 1'000'001'000},
                                  {0, 5, 0, 5'000'000'000},
                                  {3, 1'234, -1, 234'000'000},
                                  {12, 1'234'567'890'123, 0, 1'234'567'890},
                                  {19, 18'446'744'073'709'551'615U, 0, 1'844'674'407},
                                  {29, 18'446'744'073'709'551'615U, 0, 0},
                                  {127, 18'446'744'073'709'551'615U, 0, 0},
                                  {0x80, 7, 100, 107'000'000'000},
                                  {0x80 | 1, 3, 0, 1'500'000'000},
                                  {0x80 | 10, 1'536, 0, 1'500'000'000},
                                  {0x80 | 32, 0x180000000, 0, 1'500'000'000},
                                  {0x80 | 40, 0xffffffffff, 0, 999'999'999},
                                  {0x80 | 63, 0xffffffffffffffff, 0, 1'999'999'999},
                                  {0x80 | 64, 0xffffffffffffffff, 0, 999'999'999},
                                  {0x80 | 127, 0xffffffffffffffff, 0, 0}};
    for (const Case& with : cases) {
        Writer options(true);
        options.option(9, {with.resolution}).option(14, Writer(true).u64(static_cast<uint64_t>(with.offset)).bytes);
        const std::vector<Read> frames =
            read(section(true) + interface(true, "port1", options.bytes) + enhanced(true, 0, with.units, frame(1)));
        ASSERT_EQ(frames.size(), 1U) << problem;
        EXPECT_EQ(frames[0].time, with.expected) << int{with.resolution} << " " << with.units;
    }
    for (const uint8_t resolution : std::vector<uint8_t>{0x00, 0x80}) {
        read(section(true) + interface(true, "port1", Writer(true).option(9, {resolution}).bytes) +
             enhanced(true, 0, UINT64_MAX, frame(1)));
        EXPECT_NE(problem.find("beyond the year 2261"), std::string::npos) << problem;
    }
}

TEST_F(Captures, EndWithoutTheChecksum) {
    const std::vector<Read> by_interface =
        read(section(false) + interface(false, "port1", Writer(false).option(13, {4}).bytes) +
             enhanced(false, 0, 1, frame(1, 64)));
    ASSERT_EQ(by_interface.size(), 1U);
    EXPECT_EQ(by_interface[0].bytes.size(), 60U);
    EXPECT_EQ(by_interface[0].original, 60U);
    const std::vector<Read> by_packet =
        read(section(false) + interface(false, "port1") +
             enhanced(false, 0, 1, frame(1, 64), Writer(false).option(2, Writer(false).u32(4 << 5).bytes).bytes));
    ASSERT_EQ(by_packet.size(), 1U);
    EXPECT_EQ(by_packet[0].bytes.size(), 60U);
    const std::vector<Read> by_header =
        read(pcap_header(true, 0xa1b2c3d4, 0x24000001) + record(true, 1, 1, frame(1, 64), 64));
    ASSERT_EQ(by_header.size(), 1U);
    EXPECT_EQ(by_header[0].bytes.size(), 60U);
}

TEST_F(Captures, ThatAreNoneAreToldSo) {
    const std::vector<std::pair<Bytes, std::string>> cases{
        {{}, "is empty"},
        {{0xa1, 0xb2}, "only the bytes a1 b2"},
        {{'h', 'e', 'l', 'l', 'o', '.', '.', '.'}, "neither pcap nor pcapng: it begins with 68 65 6c 6c"},
        {{0x1f, 0x8b, 8, 0, 0, 0, 0, 0}, "gzip"},
        {pcap_header(true, 0xa1b2c3d4, 101) + record(true, 1, 1, frame(1), 60), "link type 101; only Ethernet, 1,"},
        {pcap_header(true, 0xa1b2c3d4) + Bytes(10, 0), "a packet's header is cut off: 16 bytes are due, 10 are there"},
        {pcap_header(true, 0xa1b2c3d4) + record(true, 1, 1, frame(1), 60) + record(true, 1, 1, frame(1, 999999), 60),
         "byte 100, behind packet 1: a packet of 999999 bytes"},
        {section(true) + enhanced(true, 0, 1, frame(1)), "interface 0, which the section does not have"},
        {section(true) + interface(true, "port1") + section(true) + enhanced(true, 0, 1, frame(1)),
         "interface 0, which the section does not have"},
        {section(true) + Writer(true).u32(6).u32(10).u32(0).bytes, "a block cannot be 10 bytes long"},
        {section(true) + Writer(true).u32(6).u32(0xfffffffc).u32(0).bytes, "too long to be sound"},
        {section(true) + Writer(true).u32(99).u32(64).u32(0).bytes, "64 bytes are due, 12 are there"},
        {section(true) + interface(true, "eth0", {}, 113) + enhanced(true, 0, 1, frame(1)),
         "interface 0 (eth0) has link type 113"}};
    for (const auto& [bytes, words] : cases) {
        read(bytes);
        EXPECT_NE(problem.find(words), std::string::npos) << problem << "\ninstead of: " << words;
        EXPECT_NE(problem.find(path() + ": byte "), std::string::npos) << problem;
    }
    EXPECT_THROW(CaptureReader("/nonexistent/capture"), Failure);
}

// A small capture in its parts: a header, and then records or blocks.
struct Part {
    Bytes bytes;
    bool is_frame = false;
};
using Example = std::vector<Part>;

Example pcap_example(bool big_endian, uint32_t magic) {
    return {{pcap_header(big_endian, magic)},
            {record(big_endian, 1, 2, frame(1), 60), true},
            {record(big_endian, 1, 3, frame(2, 61), 61), true},
            {record(big_endian, 2, 0, frame(3, 14), 1514), true}};
}

Example pcapng_example(bool big_endian) {
    const Bytes flags = Writer(big_endian).option(2, Writer(big_endian).u32(1).bytes).u32(0).bytes;
    const Bytes simple = Writer(big_endian).u32(20).put(frame(9, 20)).block(3);
    const Bytes obsolete =
        Writer(big_endian).u16(1).u16(0).u32(0).u32(5).u32(15).u32(15).put(frame(8, 15)).pad().block(2);
    Example example{{section(big_endian)}, {interface(big_endian, "port1")}, {interface(big_endian, "port2")}};
    for (uint8_t i = 0; i < 3; ++i)
        example.push_back({enhanced(big_endian, i % 2, 1'700'000'000'000'000 + i, frame(i, 30U + i), flags), true});
    example.push_back({Writer(big_endian).put(Bytes(21, 7)).pad().block(99)});
    example.push_back({section(!big_endian)});
    example.push_back({interface(!big_endian, "port3")});
    example.push_back({enhanced(!big_endian, 0, 5, frame(7, 14)), true});
    example.push_back({section(big_endian)});
    example.push_back({interface(big_endian, "port1")});
    example.push_back({interface(big_endian, "port2")});
    example.push_back({simple, true});
    example.push_back({obsolete, true});
    return example;
}

std::vector<Example> examples() {
    std::vector<Example> all;
    for (const bool big_endian : {false, true}) {
        for (const uint32_t magic : {0xa1b2c3d4, 0xa1b23c4d})
            all.push_back(pcap_example(big_endian, magic));
        all.push_back(pcapng_example(big_endian));
    }
    return all;
}

Bytes whole(const Example& example) {
    Bytes bytes;
    for (const Part& part : example)
        bytes = bytes + part.bytes;
    return bytes;
}

bool is_same(const Read& one, const Read& other) {
    return one.time == other.time && one.interface == other.interface && one.bytes == other.bytes &&
           one.original == other.original && one.direction == other.direction;
}

// Wherever a file ends, what was whole before is read, and the place of what is not is told.
TEST_F(Captures, MayEndAnywhere) {
    for (const Example& example : examples()) {
        const Bytes bytes = whole(example);
        const std::vector<Read> all = read(bytes);
        EXPECT_EQ(problem, "");
        size_t begin = 0;
        size_t frames = 0;
        for (const Part& part : example) {
            for (size_t length = begin; length < begin + part.bytes.size(); ++length) {
                const std::vector<Read> found =
                    read(Bytes(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(length)));
                ASSERT_EQ(found.size(), frames) << length;
                for (size_t i = 0; i < frames; ++i)
                    EXPECT_TRUE(is_same(found[i], all[i])) << length << ", frame " << i;
                if (length == begin && begin != 0) {
                    EXPECT_EQ(problem, "");
                    continue;
                }
                const std::string behind = frames == 0 ? "" : ", behind packet " + std::to_string(frames);
                EXPECT_EQ(problem.find(path() + ": byte " + std::to_string(begin) + behind + ": "), 0U) << problem;
            }
            begin += part.bytes.size();
            frames += part.is_frame ? 1 : 0;
        }
        EXPECT_EQ(frames, all.size());
    }
}

// Whatever byte is changed, what was before it is read as it is, and what is wrong then is not told of an earlier
// place.
TEST_F(Captures, MayBeDamagedAnywhere) {
    for (const Example& example : examples()) {
        const Bytes bytes = whole(example);
        const std::vector<Read> all = read(bytes);
        size_t begin = 0;
        size_t frames = 0;
        for (const Part& part : example) {
            for (size_t i = 2 * begin; i < 2 * (begin + part.bytes.size()); ++i) {
                const size_t place = i / 2;
                Bytes damaged = bytes;
                damaged[place] = static_cast<uint8_t>(damaged[place] ^ (i % 2 == 0 ? 1U << place % 8 : 0xffU));
                const std::vector<Read> found = read(damaged);
                ASSERT_GE(found.size(), frames) << place;
                for (size_t before = 0; before < frames; ++before)
                    EXPECT_TRUE(is_same(found[before], all[before])) << place << ", frame " << before;
                if (problem.empty()) continue;
                const std::string start = path() + ": byte ";
                ASSERT_EQ(problem.find(start), 0U) << problem;
                EXPECT_GE(std::stoul(problem.substr(start.size())), begin) << problem;
            }
            begin += part.bytes.size();
            frames += part.is_frame ? 1 : 0;
        }
    }
}

// Bytes are changed by chance: whatever comes of it, reading ends.
TEST_F(Captures, MayHoldAnything) {
    std::mt19937 random(5);
    const std::vector<Example> all = examples();
    for (size_t round = 0; round < 1000; ++round) {
        Bytes bytes = whole(all[round % all.size()]);
        for (uint32_t changes = 1 + random() % 4; changes > 0; --changes)
            bytes[random() % bytes.size()] = random() % 3 == 0 ? 0xff : static_cast<uint8_t>(random());
        EXPECT_LE(read(bytes).size(), 7U);
    }
}

TEST_F(Captures, AreReadAsTheyWereWritten) {
    std::mt19937 random(9);
    std::vector<Read> written;
    {
        CaptureWriter writer(path());
        EXPECT_EQ(writer.add_interface("port1"), 0U);
        EXPECT_EQ(writer.add_interface("port12"), 1U);
        for (uint32_t i = 0; i < 2000; ++i) {
            const Bytes head(random() % 30, static_cast<uint8_t>(i));
            const Bytes tail(random() % 1600, static_cast<uint8_t>(random()));
            const auto direction = static_cast<Direction>(i % 3);
            const auto bytes = static_cast<uint32_t>(head.size() + tail.size());
            const std::string comment(random() % 3 == 0 ? 0 : random() % 2000, 'c');
            const int64_t time = 1'700'000'000'000'000'000 + i;
            writer.write({head, tail, bytes + i % 5, time, i % 2, direction, i, comment});
            written.push_back({time, i % 2 == 0 ? "port1" : "port12", head + tail, bytes + i % 5, direction});
        }
        writer.close();
    }
    CaptureReader reader(path());
    CapturedFrame found;
    for (const Read& expected : written) {
        ASSERT_TRUE(reader.next(found));
        EXPECT_EQ(found.time, expected.time);
        EXPECT_EQ(reader.interfaces()[found.interface].name, expected.interface);
        EXPECT_EQ(Bytes(found.bytes.begin(), found.bytes.end()), expected.bytes);
        EXPECT_EQ(found.original_length, expected.original);
        EXPECT_EQ(found.direction, expected.direction);
    }
    EXPECT_FALSE(reader.next(found));
}

TEST_F(Captures, ThatCannotBeWrittenAreToldSo) {
    EXPECT_THROW(CaptureWriter("/nonexistent/capture"), Failure);
    CaptureWriter full("/dev/full");
    full.add_interface("port1");
    EXPECT_THROW(full.close(), Failure);
}

#ifdef HAS_LIBPCAP
// What libpcap makes of a file: time, bytes and length of each frame.
std::vector<Read> judge(const std::string& file) {
    char error[PCAP_ERRBUF_SIZE];
    pcap_t* const opened = pcap_open_offline_with_tstamp_precision(file.c_str(), PCAP_TSTAMP_PRECISION_NANO, error);
    if (opened == nullptr) throw std::runtime_error(error);
    std::vector<Read> frames;
    pcap_pkthdr* header = nullptr;
    const u_char* data = nullptr;
    while (pcap_next_ex(opened, &header, &data) == 1)
        frames.push_back({header->ts.tv_sec * int64_t{1'000'000'000} + header->ts.tv_usec, "",
                          Bytes(data, data + header->caplen), header->len, Direction::unknown});
    pcap_close(opened);
    return frames;
}

void expect_same(const std::vector<Read>& one, const std::vector<Read>& other) {
    ASSERT_EQ(one.size(), other.size());
    for (size_t i = 0; i < one.size(); ++i) {
        EXPECT_EQ(one[i].time, other[i].time);
        EXPECT_EQ(one[i].bytes, other[i].bytes);
        EXPECT_EQ(one[i].original, other[i].original);
    }
}

TEST_F(Captures, AreReadAsLibpcapReadsThem) {
    for (const bool big_endian : {false, true})
        for (const uint32_t magic : {0xa1b23c4dU, 0xa1b2c3d4U}) {
            const Bytes file = pcap_header(big_endian, magic) + record(big_endian, 1700000000, 123456, frame(1), 60) +
                               record(big_endian, 1700000001, 5, frame(2, 1514), 9000);
            const std::vector<Read> ours = read(file);
            expect_same(ours, judge(path()));
        }
    for (const bool big_endian : {false, true}) {
        Bytes file = section(big_endian);
        for (const uint8_t resolution : std::vector<uint8_t>{6, 9, 3, 0x80 | 10})
            file = file + interface(big_endian, "port1", Writer(big_endian).option(9, {resolution}).bytes);
        for (uint32_t i = 0; i < 12; ++i)
            file = file + enhanced(big_endian, i % 4, 1'000'000'000 + i, frame(static_cast<uint8_t>(i), 60 + i)) +
                   Writer(big_endian).u32(i).block(5);
        const std::vector<Read> ours = read(file);
        expect_same(ours, judge(path()));
    }
}

TEST_F(Captures, ThatWeWriteAreReadByLibpcap) {
    CaptureWriter writer(folder + "/pcapng");
    PcapWriter pcap(folder + "/pcap");
    writer.add_interface("port1");
    writer.add_interface("port2");
    std::vector<Read> written;
    for (uint32_t i = 0; i < 500; ++i) {
        const Bytes bytes(i * 3 % 1600, static_cast<uint8_t>(i));
        const auto length = static_cast<uint32_t>(bytes.size());
        const int64_t time = 1'700'000'000'000'000'000 + int64_t{i} * 999'999'937;
        written.push_back({time, "", bytes, length, Direction::unknown});
        const WrittenFrame one{bytes, {}, length, time, i % 2, Direction::sent, i, "a comment"};
        writer.write(one);
        pcap.write(one);
    }
    writer.close();
    pcap.close();
    expect_same(written, judge(folder + "/pcapng"));
    expect_same(written, judge(folder + "/pcap"));
}
#else
TEST(CapturesByLibpcap, AreNotJudged) {
    GTEST_SKIP() << "needs libpcap; apt-get install libpcap-dev";
}
#endif

} // namespace
