// Many frames, one a line, each answered with one line of JSON.
#include "companion/frame_text.h"
#include "companion/trace.h"
#include "companion/trace_json.h"
#include "companion/words.h"

#include <unistd.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstring>
#include <string_view>

using dataplane::Frame;
using dataplane::PortIndex;

namespace {

constexpr size_t chunk = size_t{256} * 1024;                   // bytes that are read at once
constexpr size_t longest_line = 2 * longest_frame_text + 1024; // longer ones are told as bad
constexpr double longest_time = 9e9;                           // seconds, of which nanoseconds still fit into 64 bits

class LineTracer {
public:
    explicit LineTracer(TracedSwitch& target) : traced_(target) {}
    int run();

private:
    bool read_more();
    void answer_lines(bool is_end);
    void answer(std::string_view line);
    void answer_frame(std::string_view line);
    void refuse(const std::string& problem);
    void flush();
    void read_time(std::string_view& line);
    PortIndex read_port(std::string_view& line) const;
    std::span<const uint8_t> read_bytes(std::string_view text);
    bool read_digits(std::string_view text);

    TracedSwitch& traced_;
    TraceWriter writer_;
    LineBuffer out_;
    FrameBytes bytes_;
    std::string in_;
    size_t at_ = 0; // in `in_`: what is not answered yet begins here
    size_t line_number_ = 0;
    bool is_skipping_ = false; // the rest of a line that is too long
    bool has_bad_line_ = false;
};

// A hexadecimal digit's value, 0xff for other bytes.
constexpr auto digit_values = [] {
    std::array<uint8_t, 256> values{};
    values.fill(0xff);
    for (uint8_t i = 0; i < 10; ++i)
        values[size_t{'0'} + i] = i;
    for (uint8_t i = 0; i < 6; ++i)
        values[size_t{'a'} + i] = values[size_t{'A'} + i] = static_cast<uint8_t>(10 + i);
    return values;
}();

void skip_blanks(std::string_view& text) {
    text.remove_prefix(std::min(text.find_first_not_of(" \t\r"), text.size()));
}

bool LineTracer::read_more() {
    in_.erase(0, at_);
    at_ = 0;
    const size_t length = in_.size();
    in_.resize(length + chunk);
    ssize_t count = 0;
    do
        count = read(STDIN_FILENO, &in_[length], chunk);
    while (count < 0 && errno == EINTR);
    in_.resize(length + (count > 0 ? static_cast<size_t>(count) : 0));
    if (count < 0) throw Failure(std::string("standard input cannot be read (") + strerror(errno) + ")");
    return count > 0;
}

void LineTracer::flush() {
    traced_.keep();
    std::string_view rest = out_.text();
    while (!rest.empty()) {
        const ssize_t count = write(STDOUT_FILENO, rest.data(), rest.size());
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) throw Failure("standard output cannot be written");
        rest.remove_prefix(static_cast<size_t>(count));
    }
    out_.clear();
}

void LineTracer::refuse(const std::string& problem) {
    has_bad_line_ = true;
    const std::string number = std::to_string(line_number_);
    const std::string text = "{\"line\":" + number + ",\"error\":" + json_text("line " + number + ": " + problem) + "}";
    out_.make_room(text.size());
    out_.put(text);
}

// "at 2.5 " in front of the port: seconds since the first frame, from now on.
void LineTracer::read_time(std::string_view& line) {
    if (!line.starts_with("at ")) return;
    line.remove_prefix(3);
    skip_blanks(line);
    double seconds = 0;
    const auto [behind, problem] = std::from_chars(line.data(), line.data() + line.size(), seconds);
    if (problem != std::errc{} || !(seconds >= 0 && seconds <= longest_time))
        throw NotAFrame("\"at\" needs seconds behind it, such as 2.5");
    const auto time = dataplane::Nanoseconds{std::llround(seconds * 1e9)};
    if (time < traced_.now) throw NotAFrame("its time lies before that of an earlier line");
    traced_.now = time;
    line.remove_prefix(static_cast<size_t>(behind - line.data()));
    skip_blanks(line);
}

PortIndex LineTracer::read_port(std::string_view& line) const {
    int32_t number = 0;
    const auto [behind, problem] = std::from_chars(line.data(), line.data() + line.size(), number);
    const auto length = static_cast<size_t>(behind - line.data());
    const bool ends = length == line.size() || line[length] == ' ' || line[length] == '\t';
    if (problem != std::errc{} || !ends) throw NotAFrame("it begins with no port; a line is PORT FRAME");
    const PortIndex index = traced_.reader.configuration().ports->find(number);
    if (index == dataplane::no_port) throw NotAFrame("there is no port " + std::to_string(number));
    line.remove_prefix(length);
    skip_blanks(line);
    return index;
}

// The usual line: nothing but pairs of digits. Returns whether it is one.
bool LineTracer::read_digits(std::string_view text) {
    const size_t count = text.size() / 2;
    if (text.size() % 2 != 0 || count > longest_frame_text) return false;
    bytes_.resize(count);
    uint8_t all = 0;
    for (size_t i = 0; i < count; ++i) {
        const uint8_t high = digit_values[static_cast<uint8_t>(text[2 * i])];
        const uint8_t low = digit_values[static_cast<uint8_t>(text[2 * i + 1])];
        all = static_cast<uint8_t>(all | high | low);
        bytes_[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return (all & 0xf0) == 0;
}

std::span<const uint8_t> LineTracer::read_bytes(std::string_view text) {
    if (!read_digits(text)) bytes_ = read_frame(split_words(std::string(text)));
    return bytes_;
}

void LineTracer::answer_frame(std::string_view line) {
    skip_blanks(line);
    if (line.empty()) throw NotAFrame("it is empty; a line is PORT FRAME");
    read_time(line);
    const PortIndex port = read_port(line);
    line.remove_suffix(line.size() - std::min(line.find_last_not_of(" \t\r") + 1, line.size()));
    const Frame frame{.port = port, .bytes = read_bytes(line), .time = traced_.now};
    writer_.write(out_, traced_.reader.configuration(), frame, traced_.tell(frame));
}

void LineTracer::answer(std::string_view line) {
    ++line_number_;
    try {
        answer_frame(line);
    } catch (const Failure&) {
        throw;
    } catch (const std::runtime_error& problem) { // of the line: no frame, or words that cannot be split
        refuse(problem.what());
    }
    out_.make_room(1);
    out_.put('\n');
    constexpr size_t enough = size_t{1024} * 1024;
    if (out_.text().size() > enough) flush();
}

void LineTracer::answer_lines(bool is_end) {
    while (at_ < in_.size()) {
        const size_t end = in_.find('\n', at_);
        const bool is_whole = end != std::string::npos || is_end;
        const size_t length = std::min(end, in_.size()) - at_;
        if (!is_whole && length <= longest_line) return;
        if (length > longest_line && !is_skipping_) {
            ++line_number_;
            refuse("it is longer than a frame can be");
            out_.make_room(1);
            out_.put('\n');
        } else if (is_whole && !is_skipping_) {
            answer(std::string_view(in_).substr(at_, length));
        }
        is_skipping_ = length > longest_line && !is_whole;
        at_ = std::min(at_ + length + 1, in_.size());
    }
}

int LineTracer::run() {
    while (read_more()) {
        // Whoever asks line by line may have said a sentence in between.
        if (traced_.reader.has_changed()) traced_.reader.refresh(traced_.state, traced_.now);
        answer_lines(false);
        flush();
    }
    answer_lines(true);
    flush();
    return has_bad_line_ ? 1 : 0;
}

} // namespace

int trace_lines(TracedSwitch& traced) {
    return LineTracer(traced).run();
}
