// The learning of source addresses, IEEE 802.1Q 8.7.
#pragma once

#include "dataplane/passage.h"

namespace dataplane {

constexpr size_t aged_per_frame = 64; // entries that a frame looks at, at most

// Whether there is room for one more learned entry: in its VLAN, and in all.
template <typename Narrator> bool has_room_to_learn(Passage<Narrator>& passage) {
    Learned& learned = passage.state.learned;
    const Vlan& vlan = *passage.vlan;
    const uint64_t room = passage.configuration.filters->learned_room;
    const auto is_vlan_full = [&] {
        return vlan.learning_limit != 0 && learned.size_of(vlan.vid) >= vlan.learning_limit;
    };
    const auto is_full = [&] { return learned.size() >= room; };
    if (is_vlan_full() || is_full()) learned.age(*passage.configuration.ports, passage.frame.time);
    if (is_vlan_full())
        passage.narrator.say(StepKind::not_learned_limit, vlan.vid, vlan.learning_limit);
    else if (is_full())
        passage.narrator.say(StepKind::not_learned_full);
    else
        return true;
    return false;
}

template <typename Narrator> void learn_new(Passage<Narrator>& passage) {
    Learned& learned = passage.state.learned;
    const Mac source = passage.headers.source;
    const uint32_t vid = passage.vlan->vid;
    const LearnedEntry* known = learned.find(*passage.configuration.ports, vid, source, passage.frame.time);
    if (known != nullptr) {
        passage.narrator.assume(Assumption::learning_before_policing, StepKind::moved, vid, known->port);
    } else {
        learned.erase(vid, source); // one that has come of age
        if (!has_room_to_learn(passage)) return;
        passage.narrator.assume(Assumption::learning_before_policing, StepKind::learned, vid, passage.frame.port);
    }
    learned.put(vid, source, passage.frame.port, passage.frame.time);
}

template <typename Narrator> void learn(Passage<Narrator>& passage) {
    const Mac source = passage.headers.source;
    const uint32_t vid = passage.vlan->vid;
    if (!passage.vlan->learns)
        passage.narrator.say(StepKind::not_learned_off, vid);
    else if (is_group(source) || source == 0)
        passage.narrator.say(StepKind::not_learned_source);
    else if (passage.member == nullptr)
        passage.narrator.say(StepKind::not_learned_member, vid);
    else if (passage.configuration.filters->statics.find(vid, source) != nullptr)
        passage.narrator.say(StepKind::not_learned_static, vid);
    else if (passage.state.learned.refresh(*passage.configuration.ports, vid, source, passage.frame.port,
                                           passage.frame.time))
        passage.narrator.say(StepKind::refreshed, vid);
    else
        learn_new(passage);
}

} // namespace dataplane
