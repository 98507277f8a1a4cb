// Captures of what the switch did, with the reasons as comments.
#include "companion/recorder.h"

#include "companion/database.h"
#include "companion/trace_text.h"

#include <charconv>
#include <filesystem>

using namespace dataplane;

namespace {

// All that a summary tells, in one number.
uint64_t key_of(const Outcome& outcome) {
    const uint64_t classified =
        outcome.is_classified
            ? 1U | uint64_t{outcome.stream} << 1 | uint64_t{outcome.traffic_class} << 9 | uint64_t{outcome.color} << 12
            : 0;
    return classified << 32 | uint64_t{outcome.vid} << 16 | static_cast<uint64_t>(outcome.reason) << 8 |
           static_cast<uint64_t>(outcome.verdict);
}

constexpr size_t most_summaries = 100'000;

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
    summaries_.clear();
    by_port_.clear();
    for (const Port& port : configuration.ports->ports)
        by_port_.push_back(interface_named(name_of(port)));
    of_switch_ = interface_named("switch");
}

uint32_t Recorder::interface_of(PortIndex port) const {
    return port < by_port_.size() ? by_port_[port] : of_switch_;
}

const std::string& Recorder::summary_of(const Outcome& outcome) {
    if (summaries_.size() > most_summaries) summaries_.clear();
    const auto [found, is_new] = summaries_.try_emplace(key_of(outcome));
    if (is_new) found->second = summarise_frame(configuration_, outcome);
    return found->second;
}

const std::string& Recorder::name_of_queue(uint32_t queue, const Egress& egress) {
    while (queue_names_.size() <= queue)
        queue_names_.push_back(text_of(egress.queues()[queue_names_.size()].name));
    return queue_names_[queue];
}

void Recorder::append_number(uint64_t number) {
    char digits[20];
    const std::to_chars_result end = std::to_chars(digits, digits + sizeof digits, number);
    append({digits, static_cast<size_t>(end.ptr - digits)});
}

void Recorder::write_received(PortIndex port, const CapturedFrame& frame, uint64_t id, const Outcome& outcome,
                              const std::vector<OutputFate>& fates, const Egress& egress) {
    if (!capture_ || !with_received_) return;
    comment_ = summary_of(outcome);
    for (size_t i = 0; i < outcome.outputs.size(); ++i) {
        const Output& output = outcome.outputs[i];
        append(i == 0 ? "; to " : ", ");
        append(names_[interface_of(output.port)]);
        if (output.mirror != 0) {
            append(" by mirror ");
            append_number(output.mirror);
        }
        if (output.kind == OutputKind::delivered) continue;
        append(output.mirror != 0 ? ", queue " : " queue ");
        append(name_of_queue(fates[i].queue, egress));
        if (fates[i].reason == DropReason::none) continue;
        append(" (dropped: ");
        append(word_of(fates[i].reason));
        append(")");
    }
    capture_->write(
        {frame.bytes, {}, frame.original_length, frame.time, interface_of(port), Direction::received, id, comment_});
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

void Recorder::write_sent(const LeavingFrame& frame, const Egress& egress) {
    if (!folder_.empty()) files_[frame.interface]->write({frame.bytes, {}, 0, frame.time, 0, Direction::sent, 0, {}});
    if (!capture_) return;
    comment_ = "from ";
    append(names_[frame.from]);
    if (frame.mirror != 0) {
        append(", by mirror ");
        append_number(frame.mirror);
    }
    if (frame.is_delivered) {
        append(", for the switch itself");
    } else {
        append(", queue ");
        append(name_of_queue(frame.queue, egress));
        append(", waited ");
        append_number(static_cast<uint64_t>(frame.waited));
        append(" ns");
    }
    capture_->write({frame.bytes, {}, 0, frame.time, frame.interface, Direction::sent, frame.id, comment_});
}

void Recorder::flush() {
    if (capture_) capture_->flush();
}

void Recorder::close() {
    if (capture_) capture_->close();
    for (const auto& file : files_)
        file->close();
}
