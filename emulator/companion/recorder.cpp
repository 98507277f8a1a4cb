// Captures of what the switch did, with the reasons as comments.
#include "companion/recorder.h"

#include "companion/database.h"
#include "companion/trace_text.h"

#include <charconv>
#include <cstring>
#include <filesystem>

using namespace dataplane;

namespace {

// All that a summary of the switch's decision tells, in one number.
uint64_t key_of(const Outcome& outcome) {
    const uint64_t classified =
        outcome.is_classified
            ? 1U | uint64_t{outcome.stream} << 1 | uint64_t{outcome.traffic_class} << 9 | uint64_t{outcome.color} << 12
            : 0;
    return classified << 32 | uint64_t{outcome.vid} << 16 | static_cast<uint64_t>(outcome.reason) << 8 |
           static_cast<uint64_t>(outcome.verdict);
}

constexpr size_t longest_number = 20;
constexpr size_t longest_wait = longest_number + 3; // with " ns"

std::string name_of(const Port& port) {
    return "port" + std::to_string(port.number);
}

} // namespace

std::string text_of(const QueueName& name) {
    if (name.is_best_effort) return "best effort of port " + std::to_string(name.port);
    return std::to_string(name.port) + "/" + std::to_string(name.stream_index % 256 + 1) + "/" +
           std::to_string(name.traffic_class);
}

Recorder Recorder::to_file(const std::string& file, bool with_received) {
    Recorder recorder;
    recorder.capture_ = std::make_unique<CaptureWriter>(file);
    recorder.with_received_ = with_received;
    return recorder;
}

Recorder Recorder::to_folder(const std::string& folder) {
    std::error_code problem;
    std::filesystem::create_directories(folder, problem);
    if (problem) throw Failure(folder + ": cannot be made (" + problem.message() + ")");
    Recorder recorder;
    recorder.folder_ = folder;
    return recorder;
}

uint32_t Recorder::interface_named(const std::string& name) {
    const auto [found, is_new] = interfaces_.try_emplace(name, static_cast<uint32_t>(names_.size()));
    if (is_new) {
        names_.push_back(name);
        if (capture_) capture_->add_interface(name);
        if (!folder_.empty()) files_.push_back(std::make_unique<PcapWriter>(folder_ + "/" + name + ".pcap"));
    }
    return found->second;
}

void Recorder::adopt(const Configuration& configuration) {
    configuration_ = configuration;
    received_.clear();
    by_port_.clear();
    for (const Port& port : configuration.ports->ports)
        by_port_.push_back(interface_named(name_of(port)));
    of_switch_ = interface_named("switch");
}

uint32_t Recorder::interface_of(PortIndex port) const {
    return port < by_port_.size() ? by_port_[port] : of_switch_;
}

const std::string& Recorder::name_of_queue(uint32_t queue, const Egress& egress) {
    while (queue_names_.size() <= queue)
        queue_names_.push_back(text_of(egress.queues()[queue_names_.size()].name));
    return queue_names_[queue];
}

std::string Recorder::tell_outputs(const Outcome& outcome, const std::vector<OutputFate>& fates, const Egress& egress) {
    std::string text;
    for (size_t i = 0; i < outcome.outputs.size(); ++i) {
        const Output& output = outcome.outputs[i];
        text += i == 0 ? "; to " : ", ";
        text += names_[interface_of(output.port)];
        if (output.mirror != 0) text += " by mirror " + std::to_string(output.mirror);
        if (output.kind == OutputKind::delivered) continue;
        text += output.mirror != 0 ? ", queue " : " queue ";
        text += name_of_queue(fates[i].queue, egress);
        if (fates[i].reason != DropReason::none) text += std::string(" (dropped: ") + word_of(fates[i].reason) + ")";
    }
    return text;
}

const std::string& Recorder::comment_on_received(const Outcome& outcome, const std::vector<OutputFate>& fates,
                                                 const Egress& egress) {
    key_.resize(1 + outcome.outputs.size());
    key_[0] = key_of(outcome);
    for (size_t i = 0; i < outcome.outputs.size(); ++i) {
        const Output& output = outcome.outputs[i];
        const bool is_delivered = output.kind == OutputKind::delivered;
        // The place of a queue needs 14 bits: there are 8192, and one more for each port.
        key_[1 + i] = uint64_t{output.port} << 48 | uint64_t{output.mirror} << 32 | uint64_t{fates[i].queue} << 8 |
                      static_cast<uint64_t>(fates[i].reason) << 1 | (is_delivered ? 1 : 0);
    }
    return received_.find(
        key_, [&] { return summarise_frame(configuration_, outcome) + tell_outputs(outcome, fates, egress); });
}

void Recorder::write_received(PortIndex port, const CapturedFrame& frame, uint64_t id, const Outcome& outcome,
                              const std::vector<OutputFate>& fates, const Egress& egress) {
    if (!capture_ || !with_received_) return;
    capture_->write({frame.bytes,
                     {},
                     frame.original_length,
                     frame.time,
                     interface_of(port),
                     Direction::received,
                     id,
                     comment_on_received(outcome, fates, egress)});
}

void Recorder::write_stray(const std::string& interface_name, const CapturedFrame& frame, uint64_t id) {
    if (!capture_ || !with_received_) return;
    capture_->write({frame.bytes,
                     {},
                     frame.original_length,
                     frame.time,
                     interface_named(interface_name),
                     Direction::received,
                     id,
                     "dropped: port_missing"});
}

// All but how long it waited.
const std::string& Recorder::begin_of_sent(const LeavingFrame& frame, const Egress& egress) {
    const std::array key{uint64_t{frame.from} << 32 | uint64_t{frame.mirror} << 8 | (frame.is_delivered ? 1 : 0),
                         uint64_t{frame.queue}};
    return sent_.find(key, [&] {
        std::string text = "from " + names_[frame.from];
        if (frame.mirror != 0) text += ", by mirror " + std::to_string(frame.mirror);
        return text + (frame.is_delivered ? ", for the switch itself"
                                          : ", queue " + name_of_queue(frame.queue, egress) + ", waited ");
    });
}

void Recorder::write_sent(const LeavingFrame& frame, const Egress& egress) {
    if (!folder_.empty()) files_[frame.interface]->write({frame.bytes, {}, 0, frame.time, 0, Direction::sent, 0, {}});
    if (!capture_) return;
    WrittenFrame written{frame.bytes, {}, 0, frame.time, frame.interface, Direction::sent, frame.id, {}};
    const std::string& begin = begin_of_sent(frame, egress);
    if (frame.is_delivered) {
        written.comment = begin;
        return capture_->write(written);
    }
    comment_.resize(begin.size() + longest_wait);
    std::memcpy(comment_.data(), begin.data(), begin.size());
    char* const digits = comment_.data() + begin.size();
    char* const end = std::to_chars(digits, digits + longest_number, static_cast<uint64_t>(frame.waited)).ptr;
    constexpr std::string_view unit = " ns";
    written.comment = {comment_.data(), end + unit.copy(end, unit.size())};
    capture_->write(written);
}

void Recorder::flush() {
    if (capture_) capture_->flush();
}

void Recorder::close() {
    if (capture_) capture_->close();
    for (const auto& file : files_)
        file->close();
}
