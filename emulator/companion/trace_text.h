// A told frame for people: what decided at each step, in the words of the sentences.
#pragma once

#include "dataplane/forward.h"

#include <cstdint>
#include <functional>
#include <string>

// The frame, its steps (and, where a setting is the reason, the sentence that would change it), what became of it, its
// outputs and the assumptions that this leans on. Several lines, each with its line feed.
std::string tell_frame(const dataplane::Configuration& configuration, const dataplane::Frame& frame,
                       const dataplane::Outcome& outcome);

// What became of a frame, in one line without a line feed: "VLAN guests (20), class 1/0/green, flooded" or
// "VLAN guests (20), dropped: not_a_member". For the comment of a packet, for one.
std::string summarise_frame(const dataplane::Configuration& configuration, const dataplane::Outcome& outcome);

// Which Ethernet types are told as tags: the usual ones, and those that a port recognises or sends.
std::function<bool(uint16_t)> tag_types_of(const dataplane::Configuration& configuration);
