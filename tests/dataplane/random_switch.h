// Random configurations and frames that meet in them, for property tests and the fuzzer.
#pragma once

#include "dataplane/random.h"
#include "dataplane/test_switch.h"

namespace dataplane_test {

// Any configuration that its invariants allow: ports, VLANs and lists with gaps in their numbers, few addresses.
Parts random_parts(Random& random);
// Changes one of its settings, or adds or removes something.
void change_parts(Random& random, Parts& parts);

// A frame whose fields often mean something to the configuration; sometimes cut, damaged, or no frame at all.
Bytes random_frame(Random& random, const Parts& parts);

// What holds for the outcome of any frame. Throws std::logic_error that names what does not.
void check_outcome(const dataplane::Configuration& configuration, const dataplane::State& state,
                   const dataplane::Frame& frame, const dataplane::Outcome& outcome);

// Whether two frames had the same outcome, but for the steps.
bool have_same_outcome(const dataplane::Outcome& one, const dataplane::Outcome& other);
bool are_same(const dataplane::State& one, const dataplane::State& other);

} // namespace dataplane_test
