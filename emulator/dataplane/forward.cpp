// The road of a frame, from its reception to its outputs.
#include "dataplane/forward.h"
#include "dataplane/classes.h"
#include "dataplane/ingress.h"
#include "dataplane/learning.h"
#include "dataplane/mirroring.h"
#include "dataplane/sending.h"

namespace dataplane {
namespace {

// A frame that a local entry takes for the switch alone; local_learning has its source learned.
template <typename Narrator> Stop end_at_switch(Passage<Narrator>& passage, LocalAction action) {
    passage.outcome.verdict = Verdict::delivered;
    if (action != LocalAction::local_learning) return Stop::none;
    if (const Stop stop = judge_tag(passage); stop != Stop::none) return stop;
    if (const Stop stop = assign_vlan(passage); stop != Stop::none) return stop;
    learn(passage);
    return Stop::none;
}

template <typename Narrator> Stop judge(Passage<Narrator>& passage) {
    LocalAction action{};
    if (const Stop stop = judge_destination(passage, action); stop != Stop::none) return stop;
    if (passage.is_taken_by_switch() && action != LocalAction::both) return end_at_switch(passage, action);
    if (const Stop stop = judge_tag(passage); stop != Stop::none) return stop;
    if (const Stop stop = assign_vlan(passage); stop != Stop::none) return stop;
    learn(passage);
    classify(passage);
    if (const Stop stop = police(passage); stop != Stop::none) return stop;
    return forward_in_vlan(passage);
}

// What would drop a frame does not, once the switch has taken it.
template <typename Narrator> void stop_for(Passage<Narrator>& passage, Stop reason) {
    if (reason == Stop::none) return;
    const bool is_taken = passage.is_taken_by_switch();
    if (is_taken) passage.narrator.say(StepKind::not_forwarded, number_of(reason));
    passage.outcome.verdict = is_taken ? Verdict::delivered : Verdict::dropped;
    passage.outcome.reason = is_taken ? DropReason::none : reason;
}

template <typename Narrator> void tell_end(const Passage<Narrator>& passage) {
    const Outcome& outcome = passage.outcome;
    const bool is_too_long = outcome.reason == DropReason::too_long;
    if (outcome.verdict == Verdict::dropped)
        passage.narrator.assume(is_too_long ? Assumption::longest_received : Assumption::none, StepKind::dropped,
                                number_of(outcome.reason));
    else
        passage.narrator.say(StepKind::done, number_of(outcome.verdict));
}

void clear(Outcome& outcome) {
    outcome.verdict = Verdict::dropped;
    outcome.reason = DropReason::none;
    outcome.vid = 0;
    outcome.is_classified = false;
    outcome.stream = 0;
    outcome.traffic_class = 0;
    outcome.color = 0;
    outcome.outputs.clear();
    outcome.steps.clear();
}

template <typename Narrator>
void pass(const Configuration& configuration, State& state, const Frame& frame, Outcome& outcome, Narrator narrator) {
    clear(outcome);
    state.learned.age(*configuration.ports, frame.time, aged_per_frame);
    Headers headers;
    Passage<Narrator> passage{configuration, state, frame, outcome, narrator, configuration.ports->ports[frame.port],
                              headers};
    const Stop refused = enter_port(passage);
    if (refused == Stop::none) {
        parse(frame.bytes, passage.port, headers);
        stop_for(passage, judge(passage));
        mirror_frame(passage);
    } else {
        stop_for(passage, refused);
    }
    if constexpr (Narrator::tells) tell_end(passage);
}

} // namespace

void forward(const Configuration& configuration, State& state, const Frame& frame, Outcome& outcome) {
    pass(configuration, state, frame, outcome, Silent{});
}

void forward_told(const Configuration& configuration, State& state, const Frame& frame, Outcome& outcome) {
    pass(configuration, state, frame, outcome, Teller{outcome.steps});
}

} // namespace dataplane
