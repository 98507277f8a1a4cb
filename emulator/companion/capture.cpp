// Reading and writing capture files.
#include "companion/capture.h"

#include "companion/database.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace {

// --- Numbers of the formats ---

namespace pcap {
constexpr uint32_t microseconds = 0xa1b2c3d4;
constexpr uint32_t nanoseconds = 0xa1b23c4d;
constexpr size_t header_length = 24;
constexpr size_t record_length = 16;
} // namespace pcap

namespace block {
constexpr uint32_t section = 0x0a0d0d0a; // the same in both byte orders
constexpr uint32_t interface = 1;
constexpr uint32_t packet = 2; // obsolete
constexpr uint32_t simple_packet = 3;
constexpr uint32_t enhanced_packet = 6;
constexpr uint32_t byte_order = 0x1a2b3c4d;
constexpr size_t shortest = 12;
constexpr size_t longest = 16U << 20; // that is looked into
} // namespace block

namespace option {
constexpr uint16_t end = 0;
constexpr uint16_t comment = 1;
constexpr uint16_t interface_name = 2;
constexpr uint16_t time_resolution = 9;
constexpr uint16_t fcs_length = 13;
constexpr uint16_t time_offset = 14;
constexpr uint16_t packet_flags = 2;
constexpr uint16_t packet_id = 5;
constexpr uint16_t application = 4; // of a section
} // namespace option

constexpr uint32_t padded(uint32_t length) {
    return (length + 3) & ~3U;
}

constexpr int64_t second = 1'000'000'000;

// --- Bytes from a file or a pipe ---

class InputFile {
public:
    explicit InputFile(const std::string& file)
        : name_(file == "-" ? "standard input" : file),
          descriptor_(file == "-" ? STDIN_FILENO : open(file.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (descriptor_ < 0) throw Failure(file + ": cannot be read (" + strerror(errno) + ")");
        struct stat status {};
        if (fstat(descriptor_, &status) == 0 && S_ISREG(status.st_mode))
            length_ = static_cast<uint64_t>(status.st_size);
        buffer_.resize(chunk);
    }
    ~InputFile() {
        if (descriptor_ > STDIN_FILENO) close(descriptor_);
    }
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;

    // Up to `count` bytes that come next, less only where the file ends. They stay valid until the next call.
    std::span<const uint8_t> peek(size_t count) {
        if (end_ - begin_ < count) fill(count);
        return {buffer_.data() + begin_, std::min(count, end_ - begin_)};
    }

    // Goes on by so many bytes, or to the end of the file. Returns how many there were.
    uint64_t skip(uint64_t count) {
        if (count <= end_ - begin_) {
            begin_ += static_cast<size_t>(count);
            position_ += count;
            return count;
        }
        uint64_t skipped = 0;
        while (skipped < count) {
            if (begin_ == end_) fill(1);
            const size_t step = static_cast<size_t>(std::min<uint64_t>(end_ - begin_, count - skipped));
            if (step == 0) break;
            begin_ += step;
            skipped += step;
        }
        position_ += skipped;
        return skipped;
    }

    const std::string& name() const { return name_; }
    uint64_t position() const { return position_; }
    std::optional<uint64_t> length() const { return length_; }

private:
    static constexpr size_t chunk = 256 << 10; // stays in the cache

    void fill(size_t count) {
        std::memmove(buffer_.data(), buffer_.data() + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
        if (buffer_.size() < count) buffer_.resize(std::max(count, chunk));
        while (end_ < count) {
            const ssize_t got = read(descriptor_, buffer_.data() + end_, buffer_.size() - end_);
            if (got < 0 && errno == EINTR) throw Failure(name_ + ": interrupted"); // by who does not want it restarted
            if (got < 0) throw Failure(name_ + ": cannot be read (" + strerror(errno) + ")");
            if (got == 0) return;
            end_ += static_cast<size_t>(got);
        }
    }

    const std::string name_;
    int descriptor_;
    uint64_t position_ = 0;
    std::optional<uint64_t> length_;
    std::vector<uint8_t> buffer_;
    size_t begin_ = 0;
    size_t end_ = 0;
};

// --- Numbers in the byte order of a file ---

uint16_t swapped(uint16_t number) {
    return __builtin_bswap16(number);
}
uint32_t swapped(uint32_t number) {
    return __builtin_bswap32(number);
}
uint64_t swapped(uint64_t number) {
    return __builtin_bswap64(number);
}

struct Fields {
    const uint8_t* bytes;
    bool is_big_endian;

    uint16_t u16(size_t at) const { return number<uint16_t>(at); }
    uint32_t u32(size_t at) const { return number<uint32_t>(at); }
    uint64_t u64(size_t at) const { return number<uint64_t>(at); }

private:
    template <typename Number> Number number(size_t at) const {
        Number loaded;
        std::memcpy(&loaded, bytes + at, sizeof loaded);
        return is_big_endian == (std::endian::native == std::endian::big) ? loaded : swapped(loaded);
    }
};

// --- Times ---

struct Time {
    uint64_t seconds = 0;
    int64_t nanoseconds = 0; // below a second
};

constexpr uint64_t power_of_ten(unsigned exponent) {
    uint64_t power = 1;
    for (; exponent > 0; --exponent)
        power *= 10;
    return power;
}

// A number of units of 10 to the power of -digits seconds, rounded down.
Time decimal_time(uint64_t units, unsigned digits) {
    if (digits > 9) {
        units = digits - 9 > 19 ? 0 : units / power_of_ten(digits - 9);
        digits = 9;
    }
    const uint64_t in_second = power_of_ten(digits);
    return {units / in_second, static_cast<int64_t>(units % in_second * power_of_ten(9 - digits))};
}

// A number of units of 2 to the power of -bits seconds, rounded down.
Time binary_time(uint64_t units, unsigned bits) {
    const uint64_t seconds = bits < 64 ? units >> bits : 0;
    const uint64_t rest = bits < 64 ? units & ((uint64_t{1} << bits) - 1) : units;
    if (bits < 32) return {seconds, static_cast<int64_t>(rest * second >> bits)};
    // rest * 10^9 has up to 94 bits; its upper part is all that counts.
    const uint64_t upper = (rest >> 32) * second + ((rest & 0xffffffff) * second >> 32);
    return {seconds, bits - 32 < 64 ? static_cast<int64_t>(upper >> (bits - 32)) : 0};
}

constexpr int64_t most_seconds = 9'200'000'000; // since 1970, in 64 bits of nanoseconds

// Nanoseconds since 1970; nothing where they are beyond 64 bits.
std::optional<int64_t> time_of(uint64_t units, const CaptureInterface& interface) {
    const unsigned exponent = interface.resolution & 0x7f;
    const Time time = (interface.resolution & 0x80) != 0 ? binary_time(units, exponent) : decimal_time(units, exponent);
    if (time.seconds > uint64_t{2 * most_seconds}) return std::nullopt;
    if (interface.time_offset > most_seconds || interface.time_offset < -2 * most_seconds) return std::nullopt;
    const int64_t seconds = static_cast<int64_t>(time.seconds) + interface.time_offset;
    if (seconds > most_seconds || seconds < -most_seconds) return std::nullopt;
    return seconds * second + time.nanoseconds;
}

// The times of most captures need one multiplication.
struct Clock {
    uint64_t end = 0; // from so many units on `time_of` tells
    int64_t unit = 0; // nanoseconds
};

Clock clock_of(const CaptureInterface& interface) {
    if (interface.resolution > 9 || interface.time_offset != 0) return {};
    const auto unit = static_cast<int64_t>(power_of_ten(9U - interface.resolution));
    return {static_cast<uint64_t>(most_seconds * second / unit), unit};
}

// "12 ab 00 ff", of the first bytes of something.
std::string hex(std::span<const uint8_t> bytes) {
    constexpr const char* digits = "0123456789abcdef";
    std::string text;
    for (const uint8_t byte : bytes) {
        if (!text.empty()) text += ' ';
        text += digits[byte >> 4];
        text += digits[byte & 0xf];
    }
    return text;
}

} // namespace

struct CaptureReader::Source {
    explicit Source(const std::string& file) : in(file) {}

    InputFile in;
    bool is_begun = false;
    bool is_pcapng = false;
    bool is_big_endian = false;
    bool has_nanoseconds = false; // pcap
    std::vector<CaptureInterface> interfaces;
    std::vector<Clock> clocks;   // of the interfaces
    size_t first_of_section = 0; // of the interfaces
    uint64_t offset = 0;         // where the present record or block begins
    uint64_t packets = 0;
    int64_t latest = 0; // a simple packet has no time of its own

    [[noreturn, gnu::cold]] void fail(const std::string& what) const {
        std::string place = "byte " + std::to_string(offset);
        if (packets > 0) place += ", behind packet " + std::to_string(packets);
        throw Failure(in.name() + ": " + place + ": " + what);
    }

    [[noreturn, gnu::cold]] void fail_cut_off(const char* what, uint64_t due, uint64_t there) const {
        fail(std::string(what) + " is cut off: " + std::to_string(due) + " bytes are due, " + std::to_string(there) +
             " are there");
    }

    // All of `count` bytes, or the end of the story.
    Fields need(size_t count, const char* what) {
        const std::span<const uint8_t> bytes = in.peek(count);
        if (bytes.size() < count) fail_cut_off(what, count, bytes.size());
        return {bytes.data(), is_big_endian};
    }

    void begin();
    void begin_pcap(const Fields& header);
    bool next_record(CapturedFrame& frame);
    bool next_of_blocks(CapturedFrame& frame);
    void find_byte_order(const uint8_t* start);
    void skip_block(uint32_t length);
    Fields whole_block(uint32_t length);
    void read_section(const Fields& fields, uint32_t length);
    void read_interface(const Fields& fields, uint32_t length);
    int64_t time_of_packet(uint64_t units, uint32_t interface) const;
    void read_packet(uint32_t type, const Fields& fields, uint32_t length, CapturedFrame& frame);
    void hand_out(CapturedFrame& frame, const uint8_t* bytes, uint32_t captured, uint32_t original, uint32_t flags);
};

void CaptureReader::Source::begin() {
    is_begun = true;
    const std::span<const uint8_t> start = in.peek(4);
    if (start.empty()) fail("is empty: no capture");
    if (start.size() < 4) fail("is no capture: only the bytes " + hex(start));
    is_big_endian = true;
    const uint32_t magic = Fields{start.data(), true}.u32(0);
    const uint32_t swapped = Fields{start.data(), false}.u32(0);
    is_pcapng = magic == block::section;
    if (is_pcapng) return;
    is_big_endian = magic == pcap::microseconds || magic == pcap::nanoseconds;
    const uint32_t known = is_big_endian ? magic : swapped;
    if (known != pcap::microseconds && known != pcap::nanoseconds) {
        const bool is_packed = start[0] == 0x1f && start[1] == 0x8b;
        fail("is neither pcap nor pcapng: it begins with " + hex(start) +
             (is_packed ? ", as gzip does; unpack it first" : ""));
    }
    has_nanoseconds = known == pcap::nanoseconds;
    begin_pcap(need(pcap::header_length, "the file's header"));
    in.skip(pcap::header_length);
}

void CaptureReader::Source::begin_pcap(const Fields& header) {
    if (header.u16(4) != 2) fail("pcap version " + std::to_string(header.u16(4)) + ", known is 2");
    CaptureInterface interface;
    const uint32_t network = header.u32(20);
    interface.link_type = network & 0xffff;
    if ((network & 0x04000000) != 0) interface.fcs_length = (network >> 28) * 2;
    interface.snap_length = header.u32(16);
    interface.resolution = has_nanoseconds ? 9 : 6;
    interfaces.push_back(interface);
}

bool CaptureReader::Source::next_record(CapturedFrame& frame) {
    offset = in.position();
    if (in.peek(1).empty()) return false;
    const Fields header = need(pcap::record_length, "a packet's header");
    const uint32_t captured = header.u32(8);
    const uint32_t original = header.u32(12);
    if (captured > longest_capture)
        fail("a packet of " + std::to_string(captured) + " bytes; no capture has more than " +
             std::to_string(longest_capture));
    frame.time = int64_t{header.u32(0)} * second + int64_t{header.u32(4)} * (has_nanoseconds ? 1 : 1000);
    const Fields record = need(pcap::record_length + captured, "a packet");
    frame.interface = 0;
    hand_out(frame, record.bytes + pcap::record_length, captured, original, 0);
    in.skip(pcap::record_length + captured);
    return true;
}

// A section tells its byte order itself.
void CaptureReader::Source::find_byte_order(const uint8_t* start) {
    is_big_endian = Fields{start, true}.u32(8) == block::byte_order;
    if (!is_big_endian && Fields{start, false}.u32(8) != block::byte_order)
        fail("a section in no known byte order: " + hex({start + 8, 4}));
}

void CaptureReader::Source::skip_block(uint32_t length) {
    const uint64_t there = in.skip(length);
    if (there < length) fail_cut_off("a block", length, there);
}

// All of a block, whose length stands at both its ends.
Fields CaptureReader::Source::whole_block(uint32_t length) {
    if (length > block::longest) fail("a block of " + std::to_string(length) + " bytes is too long to be sound");
    const Fields fields = need(length, "a block");
    if (fields.u32(length - 4) != length)
        fail("a block of " + std::to_string(length) + " bytes ends with another length, " +
             std::to_string(fields.u32(length - 4)));
    return fields;
}

bool CaptureReader::Source::next_of_blocks(CapturedFrame& frame) {
    for (;;) {
        offset = in.position();
        if (in.peek(block::shortest).empty()) return false;
        const uint8_t* const start = need(block::shortest, "a block").bytes;
        if (Fields{start, true}.u32(0) == block::section) find_byte_order(start);
        const uint32_t type = Fields{start, is_big_endian}.u32(0);
        const uint32_t length = Fields{start, is_big_endian}.u32(4);
        if (length < block::shortest || length % 4 != 0)
            fail("a block cannot be " + std::to_string(length) + " bytes long");
        switch (type) {
        case block::enhanced_packet:
        case block::simple_packet:
        case block::packet:
            read_packet(type, whole_block(length), length, frame);
            in.skip(length);
            return true;
        case block::section:
            read_section(whole_block(length), length);
            in.skip(length);
            break;
        case block::interface:
            read_interface(whole_block(length), length);
            in.skip(length);
            break;
        default: skip_block(length);
        }
    }
}

namespace {

struct Option {
    uint16_t code = 0;
    uint32_t length = 0;
    size_t at = 0; // of its value
};

// The options of a block, from `at` on and before `end`. What does not fit any more is as if it were not there, as
// other readers have it.
class Options {
public:
    Options(const Fields& of, size_t from, size_t to) : fields_(of), at_(from), end_(to) {}

    bool next(Option& found) {
        if (at_ + 4 > end_) return false;
        found = {fields_.u16(at_), fields_.u16(at_ + 2), at_ + 4};
        if (found.code == option::end || found.at + found.length > end_) return false;
        at_ = found.at + padded(found.length);
        return true;
    }

private:
    const Fields& fields_;
    size_t at_;
    size_t end_;
};

// The flags of a packet, 0 where it has none.
uint32_t flags_of(const Fields& fields, size_t from, size_t to) {
    Options options(fields, from, to);
    for (Option found; options.next(found);)
        if (found.code == option::packet_flags && found.length == 4) return fields.u32(found.at);
    return 0;
}

// Bits 5 to 8 of a packet's flags: the length of its FCS, 0 where it is not told.
uint32_t fcs_of(uint32_t flags) {
    return flags >> 5 & 0xf;
}

} // namespace

void CaptureReader::Source::read_section(const Fields& fields, uint32_t length) {
    if (length < 28) fail("a section of " + std::to_string(length) + " bytes has no room for its header");
    if (fields.u16(12) != 1) fail("pcapng version " + std::to_string(fields.u16(12)) + ", known is 1");
    first_of_section = interfaces.size();
}

void CaptureReader::Source::read_interface(const Fields& fields, uint32_t length) {
    constexpr size_t most_interfaces = 65'536;
    if (length < 20) fail("an interface of " + std::to_string(length) + " bytes has no room for its header");
    if (interfaces.size() == most_interfaces) fail("more than " + std::to_string(most_interfaces) + " interfaces");
    CaptureInterface interface;
    interface.link_type = fields.u16(8);
    interface.snap_length = fields.u32(12);
    Options options(fields, 16, length - 4);
    for (Option found; options.next(found);) {
        if (found.code == option::interface_name)
            interface.name.assign(reinterpret_cast<const char*>(fields.bytes + found.at), found.length);
        else if (found.code == option::time_resolution && found.length == 1)
            interface.resolution = fields.bytes[found.at];
        else if (found.code == option::fcs_length && found.length == 1)
            interface.fcs_length = fields.bytes[found.at];
        else if (found.code == option::time_offset && found.length == 8)
            interface.time_offset = static_cast<int64_t>(fields.u64(found.at));
    }
    clocks.push_back(clock_of(interface));
    interfaces.push_back(std::move(interface));
}

int64_t CaptureReader::Source::time_of_packet(uint64_t units, uint32_t interface) const {
    const Clock& clock = clocks[interface];
    if (units < clock.end) return static_cast<int64_t>(units) * clock.unit;
    const std::optional<int64_t> time = time_of(units, interfaces[interface]);
    if (!time) fail("a packet's time is beyond the year 2261");
    return *time;
}

void CaptureReader::Source::read_packet(uint32_t type, const Fields& fields, uint32_t length, CapturedFrame& frame) {
    const bool is_simple = type == block::simple_packet;
    const size_t data = is_simple ? 12 : 28;
    if (length < data + 4) fail("a packet block of " + std::to_string(length) + " bytes has no room for its header");

    const uint32_t number = is_simple ? 0 : type == block::packet ? fields.u16(8) : fields.u32(8);
    if (number >= interfaces.size() - first_of_section)
        fail("a packet of interface " + std::to_string(number) + ", which the section does not have");
    frame.interface = static_cast<uint32_t>(first_of_section + number);
    const CaptureInterface& interface = interfaces[frame.interface];

    const uint32_t original = fields.u32(is_simple ? 8 : 24);
    uint32_t captured = is_simple ? original : fields.u32(20);
    if (is_simple && interface.snap_length != 0) captured = std::min(captured, interface.snap_length);
    const size_t room = length - data - 4;
    if (captured > room || captured > longest_capture)
        fail("a packet of " + std::to_string(captured) + " bytes in a block that has room for " + std::to_string(room));

    uint32_t flags = 0;
    if (!is_simple) {
        latest = time_of_packet(uint64_t{fields.u32(12)} << 32 | fields.u32(16), frame.interface);
        flags = flags_of(fields, data + padded(captured), length - 4);
    }
    frame.time = latest;
    hand_out(frame, fields.bytes + data, captured, original, flags);
}

void CaptureReader::Source::hand_out(CapturedFrame& frame, const uint8_t* bytes, uint32_t captured, uint32_t original,
                                     uint32_t flags) {
    const CaptureInterface& interface = interfaces[frame.interface];
    if (interface.link_type != ethernet_link_type)
        fail("interface " + std::to_string(frame.interface) +
             (interface.name.empty() ? "" : " (" + interface.name + ")") + " has link type " +
             std::to_string(interface.link_type) + "; only Ethernet, " + std::to_string(ethernet_link_type) +
             ", is understood");
    const uint32_t fcs = fcs_of(flags) != 0 ? fcs_of(flags) : interface.fcs_length;
    frame.original_length = std::max(original, captured);
    // The FCS ends the original, of which the capture may have cut more.
    if (fcs != 0 && frame.original_length >= fcs) {
        frame.original_length -= fcs;
        captured = std::min(captured, frame.original_length);
    }
    frame.bytes = {bytes, captured};
    frame.direction = (flags & 3) == 1 ? Direction::received : (flags & 3) == 2 ? Direction::sent : Direction::unknown;
    frame.number = ++packets;
    frame.offset = offset;
}

CaptureReader::CaptureReader(const std::string& file) : source_(std::make_unique<Source>(file)) {}
CaptureReader::~CaptureReader() = default;
CaptureReader::CaptureReader(CaptureReader&&) noexcept = default;
CaptureReader& CaptureReader::operator=(CaptureReader&&) noexcept = default;

bool CaptureReader::next(CapturedFrame& frame) {
    Source& source = *source_;
    if (!source.is_begun) source.begin();
    return source.is_pcapng ? source.next_of_blocks(frame) : source.next_record(frame);
}

const std::vector<CaptureInterface>& CaptureReader::interfaces() const {
    return source_->interfaces;
}

const std::string& CaptureReader::name() const {
    return source_->in.name();
}

uint64_t CaptureReader::position() const {
    return source_->in.position();
}

std::optional<uint64_t> CaptureReader::size() const {
    return source_->in.length();
}

// --- Writing ---

namespace {

constexpr size_t output_buffer = 256 << 10;

// Numbers are written with the least significant byte first.
template <typename Number> uint8_t* put(uint8_t* at, Number number) {
    if constexpr (std::endian::native == std::endian::big) number = swapped(number);
    std::memcpy(at, &number, sizeof number);
    return at + sizeof number;
}

uint8_t* put16(uint8_t* at, uint32_t value) {
    return put(at, static_cast<uint16_t>(value));
}

uint8_t* put32(uint8_t* at, uint32_t value) {
    return put(at, value);
}

uint8_t* put64(uint8_t* at, uint64_t value) {
    return put(at, value);
}

// memmove, as compilers put `rep movs` in the place of a memcpy whose length they know a little of: on frames and
// comments that takes longer.
uint8_t* put_bytes(uint8_t* at, const void* bytes, size_t count) {
    if (count != 0) std::memmove(at, bytes, count);
    return at + count;
}

// Bytes up to the next multiple of four, with zeros.
uint8_t* put_padded(uint8_t* at, const void* bytes, size_t count) {
    uint8_t* const end = at + padded(static_cast<uint32_t>(count));
    if (count != 0) put32(end - 4, 0);
    put_bytes(at, bytes, count);
    return end;
}

uint8_t* put_option(uint8_t* at, uint16_t code, std::string_view value) {
    at = put16(put16(at, code), static_cast<uint32_t>(value.size()));
    return put_padded(at, value.data(), value.size());
}

constexpr size_t longest_comment = 1024; // keeps options within 16 bits, and tables readable

} // namespace

OutputFile::OutputFile(const std::string& file)
    : name_(file == "-" ? "standard output" : file),
      descriptor_(file == "-" ? STDOUT_FILENO : open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666)) {
    if (descriptor_ < 0) throw Failure(file + ": cannot be written (" + strerror(errno) + ")");
    buffer_.resize(output_buffer);
}

OutputFile::~OutputFile() {
    try {
        close();
    } catch (const Failure&) { // whoever wants to know has called `close`
    }
}

OutputFile::OutputFile(OutputFile&& other) noexcept
    : name_(std::move(other.name_)), descriptor_(std::exchange(other.descriptor_, -1)),
      buffer_(std::move(other.buffer_)), used_(std::exchange(other.used_, 0)) {}

OutputFile& OutputFile::operator=(OutputFile&& other) noexcept {
    std::swap(name_, other.name_);
    std::swap(descriptor_, other.descriptor_);
    std::swap(buffer_, other.buffer_);
    std::swap(used_, other.used_);
    return *this;
}

void OutputFile::make_room(size_t count) {
    flush();
    if (buffer_.size() < count) buffer_.resize(count);
}

void OutputFile::flush() {
    size_t written = 0;
    const size_t due = std::exchange(used_, 0);
    while (written < due) {
        const ssize_t count = write(descriptor_, buffer_.data() + written, due - written);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) throw Failure(name_ + ": cannot be written (" + strerror(errno) + ")");
        written += static_cast<size_t>(count);
    }
}

void OutputFile::close() {
    if (descriptor_ < 0) return;
    flush();
    const int descriptor = std::exchange(descriptor_, -1);
    if (descriptor != STDOUT_FILENO && ::close(descriptor) != 0)
        throw Failure(name_ + ": cannot be written (" + strerror(errno) + ")");
}

CaptureWriter::CaptureWriter(const std::string& file) : file_(file) {
    constexpr std::string_view application = "emuswitch";
    const uint32_t length = 28 + 4 + padded(application.size()) + 4;
    uint8_t* at = file_.extend(length);
    at = put32(put32(put32(at, block::section), length), block::byte_order);
    at = put16(put16(at, 1), 0);
    at = put64(at, UINT64_MAX); // the length of the section: not told
    at = put32(put_option(at, option::application, application), option::end);
    put32(at, length);
}

uint32_t CaptureWriter::add_interface(std::string_view name) {
    name = name.substr(0, longest_comment);
    const uint32_t length = 20 + 4 + padded(static_cast<uint32_t>(name.size())) + 8 + 4;
    uint8_t* at = file_.extend(length);
    at = put32(put32(at, block::interface), length);
    at = put16(put16(at, ethernet_link_type), 0);
    at = put32(at, longest_capture);
    at = put_option(at, option::interface_name, name);
    at = put_option(at, option::time_resolution, "\x09");
    put32(put32(at, option::end), length);
    return interfaces_++;
}

void CaptureWriter::write(const WrittenFrame& frame) {
    const std::string_view comment = frame.comment.substr(0, longest_comment);
    const size_t captured = frame.head.size() + frame.tail.size();
    const auto bytes = static_cast<uint32_t>(captured);
    const uint32_t of_comment = comment.empty() ? 0 : 4 + padded(static_cast<uint32_t>(comment.size()));
    const uint32_t length = 28 + padded(bytes) + of_comment + 8 + 12 + 4 + 4;
    uint8_t* at = file_.extend(length);
    const auto time = static_cast<uint64_t>(frame.time);
    at = put32(put32(put32(at, block::enhanced_packet), length), frame.interface);
    at = put32(put32(at, static_cast<uint32_t>(time >> 32)), static_cast<uint32_t>(time));
    at = put32(put32(at, bytes), std::max(frame.original_length, bytes));
    uint8_t* const options = at + padded(bytes);
    if (bytes != 0) put32(options - 4, 0); // what the frame leaves of it is its padding
    put_bytes(put_bytes(at, frame.head.data(), frame.head.size()), frame.tail.data(), frame.tail.size());
    at = options;
    if (!comment.empty()) at = put_option(at, option::comment, comment);
    at = put32(put16(put16(at, option::packet_flags), 4), static_cast<uint32_t>(frame.direction));
    at = put64(put16(put16(at, option::packet_id), 8), frame.id);
    put32(put32(at, option::end), length);
}

PcapWriter::PcapWriter(const std::string& file) : file_(file) {
    uint8_t* at = file_.extend(pcap::header_length);
    at = put16(put16(put32(at, pcap::nanoseconds), 2), 4);
    put32(put32(put64(at, 0), longest_capture), ethernet_link_type);
}

void PcapWriter::write(const WrittenFrame& frame) {
    const size_t captured = frame.head.size() + frame.tail.size();
    uint8_t* at = file_.extend(pcap::record_length + captured);
    at = put32(at, static_cast<uint32_t>(frame.time / second));
    at = put32(at, static_cast<uint32_t>(frame.time % second));
    at = put32(at, static_cast<uint32_t>(captured));
    at = put32(at, std::max(frame.original_length, static_cast<uint32_t>(captured)));
    at = put_bytes(at, frame.head.data(), frame.head.size());
    put_bytes(at, frame.tail.data(), frame.tail.size());
}
