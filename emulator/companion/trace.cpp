// One frame through the switch, told step by step.
#include "companion/trace.h"

#include "companion/capture.h"
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/frame_text.h"
#include "companion/trace_json.h"
#include "companion/trace_text.h"

#include <algorithm>
#include <charconv>
#include <iostream>
#include <iterator>

using dataplane::Frame;
using dataplane::Outcome;
using dataplane::PortIndex;
using dataplane::StepKind;

TracedSwitch::TracedSwitch(Database& database, bool is_kept, ConfigurationReader::Reading how)
    : reader(database, how), state(reader.make_state(now)), learns(is_kept) {
    if (learns) state.learned.note_changes();
}

const Outcome& TracedSwitch::tell(const Frame& frame) {
    dataplane::forward_told(reader.configuration(), state, frame, outcome);
    return outcome;
}

void TracedSwitch::keep() {
    if (learns) reader.write_learned(state, now);
}

namespace {

struct Options {
    std::string port; // a number; "-": lines on standard input
    std::vector<std::string> frame;
    std::string capture; // a file with frames; empty: none
    int64_t place = 0;   // of the frame in it, from 1; 0: not told, so the first
    bool as_json = false;
    bool learns = false;
};
constexpr Range any_place{1, std::numeric_limits<int64_t>::max()};

PortIndex require_port(const TracedSwitch& traced, const std::string& word) {
    int32_t number = 0;
    const auto [behind, problem] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (problem != std::errc{} || behind != word.data() + word.size() || number < 1)
        throw WrongUse("port: \"" + word + "\" is not the number of a port; or \"-\" for lines of standard input");
    const PortIndex index = traced.reader.configuration().ports->find(number);
    if (index == dataplane::no_port) throw Failure("there is no port " + word + "; emuswitch show ports lists them");
    return index;
}

std::vector<FrameBytes> read_frames(const std::vector<std::string>& words) {
    try {
        if (words.empty())
            throw NotAFrame(
                "behind the port stands a frame: hexadecimal digits, fields such as \"tag vid 10\", or \"-\"");
        if (words.size() > 1 || words[0] != "-") return {read_frame(words)};
        const std::string text{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
        return read_dump(text);
    } catch (const NotAFrame& problem) {
        throw WrongUse(std::string("frame: ") + problem.what());
    }
}

// The rules of a list and the static entries of a VLAN are read when a frame meets them; then it goes its way again.
void tell_alone(TracedSwitch& traced, const Frame& frame) {
    const dataplane::State before = traced.state;
    const auto meets_list = [&](const dataplane::Step& step) {
        return step.kind == StepKind::list_not_matched && traced.reader.read_rules(static_cast<int32_t>(step.a));
    };
    traced.tell(frame);
    const bool has_rules_now = std::any_of(traced.outcome.steps.begin(), traced.outcome.steps.end(), meets_list);
    const bool has_statics_now = traced.outcome.vid != 0 && traced.reader.read_statics(traced.outcome.vid);
    if (!has_rules_now && !has_statics_now) return;
    traced.state = before;
    traced.tell(frame);
}

FrameBytes read_captured(const std::string& file, int64_t place) {
    CaptureReader capture(file);
    CapturedFrame frame;
    int64_t count = 0;
    while (count < place) {
        if (!capture.next(frame))
            throw Failure(file + ": has no frame " + std::to_string(place) + ", but " + std::to_string(count));
        ++count;
    }
    if (frame.original_length > frame.bytes.size())
        std::cerr << "emuswitch: " << file << ": frame " << place << " was cut to " << frame.bytes.size() << " of its "
                  << frame.original_length << " bytes; the rest is missing here\n";
    return {frame.bytes.begin(), frame.bytes.end()};
}

// The frames that the words ask for; none: they stand on standard input, line by line.
std::vector<FrameBytes> frames_of(const Options& options) {
    const bool is_many = options.port == "-";
    const bool is_captured = !options.capture.empty();
    if (is_many && !options.as_json) throw WrongUse("trace - answers with lines of JSON; say trace --json -");
    if (is_many && (!options.frame.empty() || is_captured))
        throw WrongUse("trace - takes its frames from standard input");
    if (is_captured && !options.frame.empty()) throw WrongUse("frame: either --pcap or a frame, not both");
    if (!is_captured && options.place != 0) throw WrongUse("--frame: counts in the capture that --pcap names");
    if (is_many) return {};
    if (is_captured) return {read_captured(options.capture, std::max<int64_t>(options.place, 1))};
    return read_frames(options.frame);
}

void print(const TracedSwitch& traced, const Frame& frame, bool as_json) {
    if (as_json) {
        LineBuffer line;
        TraceWriter().write(line, traced.reader.configuration(), frame, traced.outcome);
        std::cout << line.text() << "\n";
        return;
    }
    std::cout << tell_frame(traced.reader.configuration(), frame, traced.outcome);
    const auto teaches = [](const dataplane::Step& step) {
        return step.kind == StepKind::learned || step.kind == StepKind::moved;
    };
    const auto& steps = traced.outcome.steps;
    if (!traced.learns && std::any_of(steps.begin(), steps.end(), teaches))
        std::cout << "the switch itself has learned nothing: that takes trace --learn\n";
}

int trace(const Options& options) {
    const std::vector<FrameBytes> frames = frames_of(options);
    Database database(store_path());
    const bool is_many = frames.empty();
    TracedSwitch traced(database, options.learns,
                        is_many ? ConfigurationReader::Reading::all : ConfigurationReader::Reading::on_demand);
    if (is_many) return trace_lines(traced);
    const PortIndex port = require_port(traced, options.port);
    bool is_first = true;
    for (const FrameBytes& bytes : frames) {
        const Frame frame{.port = port, .bytes = bytes, .time = traced.now};
        tell_alone(traced, frame);
        if (!is_first && !options.as_json) std::cout << "\n";
        print(traced, frame, options.as_json);
        is_first = false;
    }
    traced.keep();
    return 0;
}

} // namespace

void add_trace(CommandLine& line) {
    auto options = std::make_shared<Options>();
    line.add("trace", "Send a frame into the switch and tell what becomes of it, step by step")
        .operand("port", options->port, "The port that receives it; -: lines \"PORT FRAME\" on standard input")
        .optional_operands("frame", options->frame,
                           "Hexadecimal digits; fields (see below); or -: what tcpdump -xx prints, on standard input")
        .option("--pcap <file>", options->capture,
                "The frame stands in this capture file, pcap or pcapng; -: standard input")
        .option("--frame <n>", options->place, any_place, "Which one, counted from 1")
        .flag("--json", options->as_json, "For programs: an object for each frame, on one line")
        .flag("--learn", options->learns, "Have the switch keep what it learns from the frames")
        .footer("Fields, and what they are when left out:\n"
                "  da, sa         addresses; ff:ff:ff:ff:ff:ff and 00:00:5e:00:53:01\n"
                "  tag            a tag, the outermost first: vid (0), pri (0), dei, tagtype (8100)\n"
                "  etype          Ethernet type, hexadecimal; 0800 with the fields below, else 88b5\n"
                "  src, dst       IPv4 addresses; 192.0.2.1 and 192.0.2.2\n"
                "  prot           tcp, udp, icmp, igmp or a number; udp\n"
                "  sport, dport   ports; 1024 and 9\n"
                "  tos, fragment  0; the fragment offset counts in 8 bytes\n"
                "  length         bytes behind all headers; 0, and padded to 60 bytes in all\n\n"
                "Examples:\n"
                "  emuswitch trace 2 tag vid 20 pri 5\n"
                "  emuswitch trace 2 da 00:11:22:33:44:55 dst 10.0.0.1 prot tcp dport 80\n"
                "  emuswitch trace 2 --pcap frames.pcap --frame 3\n"
                "  tcpdump -xx -r frames.pcap -c 1 | emuswitch trace 2 -\n"
                "  echo 2 ffffffffffff00112233445588b50000 | emuswitch trace --json -")
        .runs([options] { return trace(*options); });
}
