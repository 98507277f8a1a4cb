// Copies for mirrors. They leave their destination port as they are: it need not be in any VLAN, and no mirror copies
// them again.
#pragma once

#include "dataplane/passage.h"
#include "dataplane/sending.h"

namespace dataplane {

// The output that left on a port; null: the frame did not. Each port sends a frame once.
inline const Output* output_on(const Outcome& outcome, PortIndex port) {
    for (const Output& output : outcome.outputs)
        if (output.port == port && output.kind != OutputKind::mirrored) return &output;
    return nullptr;
}

// What a mirror copies of this frame, with its bytes as they were received or sent; nothing: it is not of its source.
template <typename Narrator> std::optional<Output> copied_by(const Passage<Narrator>& passage, const Mirror& mirror) {
    const Outcome& outcome = passage.outcome;
    const bool is_of_vlan = outcome.vid != 0 && outcome.vid == mirror.source_vid;
    const bool is_sent = mirror.source == MirrorSource::sent || mirror.source == MirrorSource::sent_in_vlan;
    const bool is_of_port = passage.frame.port == mirror.source_port;
    const bool wants_vlan = mirror.source != MirrorSource::received && mirror.source != MirrorSource::sent;
    if (wants_vlan && !is_of_vlan) return std::nullopt;
    if (is_sent) {
        const Output* output = output_on(outcome, mirror.source_port);
        return output != nullptr ? std::optional(*output) : std::nullopt;
    }
    if (mirror.source != MirrorSource::vlan && !is_of_port) return std::nullopt;
    Output received;
    received.stream = outcome.stream;
    received.traffic_class = outcome.traffic_class;
    received.color = outcome.color;
    return received;
}

// What keeps a mirror from copying a frame of its source; nothing: it copies it.
template <typename Narrator>
std::optional<MirrorSkip> skipped_by(const Passage<Narrator>& passage, const Mirror& mirror, const Output& copied) {
    if (mirror.is_filtered && !passage.outcome.is_classified) return MirrorSkip::not_classified;
    const bool is_of_class =
        copied.stream == mirror.stream && copied.traffic_class == mirror.traffic_class && copied.color == mirror.color;
    if (mirror.is_filtered && !is_of_class) return MirrorSkip::other_class;
    if (!passage.port_at(mirror.destination).is_enabled) return MirrorSkip::disabled;
    if (passage.state.is_up[mirror.destination] == 0) return MirrorSkip::down;
    return std::nullopt;
}

// The priority in the tag of a mirror: that of the copied frame's own tag.
inline uint8_t priority_of_copy(const Headers& headers, const Output& copied) {
    const bool has_new_tag = copied.head_length == addresses_length + tag_length;
    return has_new_tag ? static_cast<uint8_t>(copied.head[addresses_length + 2] >> 5) : headers.priority;
}

template <typename Narrator> void copy_to(Passage<Narrator>& passage, const Mirror& mirror, Output copy) {
    if (mirror.adds_tag && mirror.tag_vid < first_local_vid) {
        const uint8_t priority = priority_of_copy(passage.headers, copy);
        if (copy.head_length == 0) begin_head(copy, passage.frame.bytes, addresses_length);
        put_tag(copy, mirror.tag_type, tag_control(priority, false, mirror.tag_vid));
    }
    copy.port = mirror.destination;
    copy.kind = OutputKind::mirrored;
    copy.mirror = mirror.number;
    copy.has_queue = false;
    copy.stream_index = 0;
    passage.outcome.outputs.push_back(copy);
}

template <typename Narrator> void tell_copy(const Passage<Narrator>& passage, const Mirror& mirror) {
    const bool is_dropped = passage.outcome.verdict == Verdict::dropped;
    passage.narrator.assume(is_dropped ? Assumption::mirrors_copy_dropped : Assumption::none, StepKind::mirrored,
                            mirror.number, mirror.destination);
    if (mirror.adds_tag && mirror.tag_vid < first_local_vid)
        passage.narrator.assume(Assumption::mirror_tag_priority, StepKind::copy_tagged, mirror.number, mirror.tag_vid,
                                mirror.tag_type);
    else if (mirror.adds_tag)
        passage.narrator.assume(Assumption::mirror_local_id, StepKind::copy_tagged, mirror.number);
    // Where the destination has a queue for frames of that class, the copy could have joined it.
    const Stream* stream = stream_at(passage, mirror.destination);
    if (stream == nullptr || !stream->queues[passage.outcome.traffic_class].exists) return;
    passage.narrator.assume(Assumption::copies_are_best_effort, StepKind::copy_best_effort, mirror.number,
                            mirror.destination);
}

template <typename Narrator> void mirror_frame(Passage<Narrator>& passage) {
    for (const Mirror& mirror : passage.configuration.mirrors->mirrors) {
        const std::optional<Output> copied = copied_by(passage, mirror);
        if (!copied) continue;
        const std::optional<MirrorSkip> skip = skipped_by(passage, mirror, *copied);
        if (skip) {
            passage.narrator.say(StepKind::not_mirrored, mirror.number, number_of(*skip));
            continue;
        }
        if constexpr (Narrator::tells) tell_copy(passage, mirror);
        copy_to(passage, mirror, *copied);
    }
}

} // namespace dataplane
