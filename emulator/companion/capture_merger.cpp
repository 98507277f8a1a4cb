// Captures side by side.
#include "companion/capture_merger.h"

#include "companion/database.h"

#include <algorithm>
#include <charconv>

namespace {

// "port3", "port 3" or "3": 3. Anything else: 0.
int32_t port_named(std::string_view name) {
    if (name.starts_with("port")) name.remove_prefix(4);
    if (name.starts_with(" ")) name.remove_prefix(1);
    int32_t port = 0;
    const auto [end, problem] = std::from_chars(name.data(), name.data() + name.size(), port);
    return problem == std::errc{} && end == name.data() + name.size() && port > 0 ? port : 0;
}

} // namespace

void CaptureMerger::add(int32_t port, const std::string& file) {
    sources_.push_back({CaptureReader(file), port, false, false, {}, 0, {}});
    tallies_.emplace_back().file = sources_.back().reader.name();
}

void CaptureMerger::add(const std::string& file) {
    add(0, file);
}

int32_t CaptureMerger::port_of(Source& source, const CapturedFrame& frame) {
    if (source.port != 0) return source.port;
    while (source.ports.size() <= frame.interface)
        source.ports.push_back(port_named(source.reader.interfaces()[source.ports.size()].name));
    const int32_t port = source.ports[frame.interface];
    if (port != 0) return port;
    const std::string& name = source.reader.interfaces()[frame.interface].name;
    throw Failure(source.reader.name() + ": packet " + std::to_string(frame.number) + " is of " +
                  (name.empty() ? "an interface without a name" : "interface \"" + name + "\", which names no port") +
                  "; say PORT=" + source.reader.name());
}

void CaptureMerger::fetch(size_t place) {
    Source& source = sources_[place];
    CaptureTally& tally = tallies_[place];
    try {
        do {
            if (!source.reader.next(source.frame)) {
                source.has_ended = true;
                return;
            }
            if (source.frame.direction == Direction::sent) ++tally.sent;
        } while (source.frame.direction == Direction::sent);
        source.frame_port = port_of(source, source.frame);
        source.is_pending = true;
    } catch (const Failure& failure) {
        tally.problem = failure.what();
        source.has_ended = true;
    }
}

size_t CaptureMerger::find_first() {
    size_t first = sources_.size();
    for (size_t i = 0; i < sources_.size(); ++i) {
        if (!sources_[i].is_pending && !sources_[i].has_ended) fetch(i);
        if (!sources_[i].is_pending) continue;
        if (first == sources_.size() || sources_[i].frame.time < sources_[first].frame.time) first = i;
    }
    return first;
}

std::optional<int64_t> CaptureMerger::next_time() {
    const size_t first = find_first();
    if (first == sources_.size()) return std::nullopt;
    return std::max(latest_, sources_[first].frame.time);
}

const CapturedFrame* CaptureMerger::next(int32_t& port) {
    const size_t first = find_first();
    if (first == sources_.size()) return nullptr;
    Source& source = sources_[first];
    CaptureTally& tally = tallies_[first];
    CapturedFrame& frame = source.frame;
    port = source.frame_port;
    source.is_pending = false;
    ++tally.frames;
    if (frame.original_length > frame.bytes.size()) ++tally.cut;
    if (frame.time < latest_) ++tally.late;
    frame.time = latest_ = std::max(latest_, frame.time);
    return &frame;
}

uint64_t CaptureMerger::position() const {
    uint64_t sum = 0;
    for (const Source& source : sources_)
        sum += source.reader.position();
    return sum;
}

std::optional<uint64_t> CaptureMerger::size() const {
    uint64_t sum = 0;
    for (const Source& source : sources_) {
        if (!source.reader.size()) return std::nullopt;
        sum += *source.reader.size();
    }
    return sum;
}
