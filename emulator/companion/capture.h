// Capture files: pcap and pcapng in, pcapng and pcap out. Streams, so that a pipe is as good as a file and no length
// needs more memory than another.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// From the point of view of the interface.
enum class Direction : uint8_t { unknown, received, sent };

struct CapturedFrame {
    std::span<const uint8_t> bytes; // without FCS; valid until the next one is read
    uint32_t original_length = 0;   // longer than `bytes` where the capture cut the frame
    int64_t time = 0;               // nanoseconds since 1970
    uint32_t interface = 0;         // its place in `CaptureReader::interfaces`
    Direction direction = Direction::unknown;
    uint64_t number = 0; // in the file, from 1
    uint64_t offset = 0; // where its record or block begins in the file
};

struct CaptureInterface {
    std::string name; // empty: the file says none
    uint32_t link_type = 0;
    uint32_t snap_length = 0; // 0: no limit
    uint32_t fcs_length = 0;  // bytes at the end of each frame
    uint8_t resolution = 6;   // a unit of time is 10 to the power of minus this; where bit 7 is set, 2 to it
    int64_t time_offset = 0;  // seconds
};
constexpr uint32_t ethernet_link_type = 1;
constexpr uint32_t longest_capture = 262'144; // of one frame, in bytes

// Reads pcap (both byte orders, micro- and nanoseconds) and pcapng (all sections and their interfaces, enhanced, simple
// and obsolete packet blocks; others are skipped). Where the file ends too early or holds nonsense, a `Failure` names
// the file, the byte and the packet; what came before has been handed out then.
class CaptureReader {
public:
    explicit CaptureReader(const std::string& file); // "-": standard input
    ~CaptureReader();
    CaptureReader(const CaptureReader&) = delete;
    CaptureReader& operator=(const CaptureReader&) = delete;
    CaptureReader(CaptureReader&& other) noexcept;
    CaptureReader& operator=(CaptureReader&& other) noexcept;

    // False at the end of the file. Frames of interfaces that are no Ethernet are a `Failure`.
    bool next(CapturedFrame& frame);

    const std::vector<CaptureInterface>& interfaces() const; // as far as they are known by now
    const std::string& name() const;                         // of the file, for messages
    uint64_t position() const;                               // bytes read so far
    std::optional<uint64_t> size() const;                    // of a regular file

private:
    struct Source;
    std::unique_ptr<Source> source_;
};

// Bytes that go to a file, or to standard output for "-". Every function throws `Failure` where that does not work.
class OutputFile {
public:
    explicit OutputFile(const std::string& file);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    OutputFile(OutputFile&& other) noexcept;
    OutputFile& operator=(OutputFile&& other) noexcept;

    // Room for `count` bytes, to be filled at once.
    uint8_t* extend(size_t count) {
        if (buffer_.size() - used_ < count) make_room(count);
        uint8_t* const room = buffer_.data() + used_;
        used_ += count;
        return room;
    }
    void flush();
    void close(); // flushes, and tells of a failure that the destructor would keep to itself

private:
    void make_room(size_t count);

    std::string name_;
    int descriptor_ = -1;
    std::vector<uint8_t> buffer_;
    size_t used_ = 0;
};

// What is written of a frame. It is `head` and then `tail`, so that a new head needs no copy of the rest.
struct WrittenFrame {
    std::span<const uint8_t> head;
    std::span<const uint8_t> tail;
    uint32_t original_length = 0;
    int64_t time = 0; // nanoseconds since 1970, not before
    uint32_t interface = 0;
    Direction direction = Direction::unknown;
    uint64_t id = 0; // the same for all records of one frame
    std::string_view comment;
};

// One pcapng file, little-endian with nanoseconds on every machine.
class CaptureWriter {
public:
    explicit CaptureWriter(const std::string& file);
    uint32_t add_interface(std::string_view name); // its number
    void write(const WrittenFrame& frame);
    void flush() { file_.flush(); }
    void close() { file_.close(); }

private:
    OutputFile file_;
    uint32_t interfaces_ = 0;
};

// A pcap file with nanoseconds: the frames, and nothing about them.
class PcapWriter {
public:
    explicit PcapWriter(const std::string& file);
    void write(const WrittenFrame& frame);
    void close() { file_.close(); }

private:
    OutputFile file_;
};
