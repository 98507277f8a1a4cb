// What a replay came to: for people, and for programs.
#pragma once

#include "companion/capture_merger.h"
#include "companion/replay_engine.h"

#include <ostream>

struct SentenceTally {
    uint64_t accepted = 0;
    uint64_t ignored = 0; // the tool takes them, does nothing and says nothing
    uint64_t refused = 0;
    uint64_t all() const { return accepted + ignored + refused; }
};

struct ReplaySummary {
    const ReplayTotals& totals;
    const dataplane::Egress& egress;
    const dataplane::Configuration& configuration; // in force at the end
    const std::vector<CaptureTally>& captures;
    SentenceTally sentences;
    bool is_interrupted = false;
};

// Tables: the whole, ports, VLANs, queues and reasons, as far as there is something to tell.
void print_summary(std::ostream& out, const ReplaySummary& summary);

// One object with the same in it; the keys are stable.
void print_summary_as_json(std::ostream& out, const ReplaySummary& summary);
