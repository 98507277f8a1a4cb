// The counters of a live switch, for people and for programs.
#pragma once

#include "companion/live/counters.h"

#include <optional>
#include <ostream>
#include <string>

// What to say of a switch that never was live.
extern const char* const no_counters;

// One line about the live switch, and tables of its ports and of the queues that frames have joined.
void print_counters(std::ostream& out, const live::Published& published);

// {"counters": {...}} in lines, with stable keys; null where there are none.
std::string counters_as_json(const std::optional<live::Published>& published);

// Drops by their reasons, the most frequent first: "policed 20, no_vlan 3"; empty: none.
std::string drops_in_words(const live::PortCount& port);

uint64_t drops_of(const live::PortCount& port);
std::string name_of_queue(const live::QueueCount& queue); // "1/2/5", or "best effort"
