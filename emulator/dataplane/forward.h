// A frame through the switch: the one road that trace, replay and live share.
#pragma once

#include "dataplane/outcome.h"
#include "dataplane/state.h"

namespace dataplane {

// Forwards one frame: judges, learns, classifies, polices, and lists the outputs in `outcome`, which is overwritten.
// A frame of any length and content is fine. Every frame ends in one verdict, and its outputs, one more where it is
// dropped, less one, are its copies. Frames of one state come in the order of their time.
void forward(const Configuration& configuration, State& state, const Frame& frame, Outcome& outcome);

// The same, and the steps that led to the outcome.
void forward_told(const Configuration& configuration, State& state, const Frame& frame, Outcome& outcome);

} // namespace dataplane
