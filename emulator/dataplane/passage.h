// One frame on its way through the switch: what the stages of `forward` hand on to each other.
//
// Each stage is a template over a narrator, which hears what decided. The silent one compiles to nothing, so that told
// and silent frames take one road.
#pragma once

#include "dataplane/forward.h"

namespace dataplane {

struct Silent {
    static constexpr bool tells = false;
    template <typename... Numbers> void say(StepKind /*unused*/, Numbers... /*unused*/) const {}
    template <typename... Numbers>
    void assume(Assumption /*unused*/, StepKind /*unused*/, Numbers... /*unused*/) const {}
};

struct Teller {
    static constexpr bool tells = true;
    std::vector<Step>& steps;
    void say(StepKind kind, uint32_t a = 0, uint32_t b = 0, uint32_t c = 0) const {
        steps.push_back({kind, Assumption::none, a, b, c});
    }
    void assume(Assumption assumption, StepKind kind, uint32_t a = 0, uint32_t b = 0, uint32_t c = 0) const {
        steps.push_back({kind, assumption, a, b, c});
    }
};

template <typename Narrator> struct Passage {
    const Configuration& configuration;
    State& state;
    const Frame& frame;
    Outcome& outcome;
    Narrator narrator;

    const Port& port;               // the receiving one
    Headers& headers;               // of the frame
    const Vlan* vlan = nullptr;     // that it is assigned to
    const Member* member = nullptr; // the receiving port in it; null: it is none
    bool is_class_by_tos = false;   // dscp: each sending port says which class

    const Port& port_at(PortIndex index) const { return configuration.ports->ports[index]; }
    bool is_taken_by_switch() const { return !outcome.outputs.empty(); }
};

// What the link of a port hangs on, where it is more than the port itself.
template <typename Narrator> void tell_link(const Passage<Narrator>& passage, PortIndex index) {
    const Port& port = passage.port_at(index);
    if (port.link_depend == LinkDepend::none) return;
    const auto assumption = port.link_depend == LinkDepend::vlan ? Assumption::link_of_vlan : Assumption::none;
    passage.narrator.assume(assumption, StepKind::link_dependency, index, number_of(port.link_depend),
                            number_of(port.link_mode));
    if (port.link_mode == LinkMode::none)
        passage.narrator.assume(Assumption::link_mode_unset, StepKind::link_mode_unset, index);
}

// What a stage says: the frame goes on (`none`), or why not.
using Stop = DropReason;

} // namespace dataplane
