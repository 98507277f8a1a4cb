// A frame and what its headers say.
#pragma once

#include "dataplane/configuration.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace dataplane {

using Nanoseconds = int64_t; // since whatever the caller counts from; it comes with each frame

constexpr size_t shortest_frame = 14; // two addresses and a type
constexpr size_t shortest_tagged_frame = shortest_frame + 4;
constexpr size_t longest_frame = 1536; // without FCS

// A frame as received: without preamble and FCS.
struct Frame {
    PortIndex port = 0;
    std::span<const uint8_t> bytes;
    Nanoseconds time = 0;
};

// How much of the line a frame takes, as rates count it: padded to 60 bytes, with its FCS, and with preamble and gap
// (20 bytes) where the port counts them.
constexpr uint32_t counted_bytes(size_t length, bool counts_gap) {
    return static_cast<uint32_t>(length < 60 ? 60 : length) + 4 + (counts_gap ? 20U : 0U);
}

// The tag in front of a frame, as far as the receiving port looks at it.
enum class TagKind : uint8_t { none, priority, vlan };

// The headers of a frame, read once.
struct Headers {
    Mac destination = 0;
    Mac source = 0;
    TagKind tag = TagKind::none;
    bool is_cut = false; // it begins a tag that it does not end
    uint16_t tag_vid = 0;
    uint8_t priority = 0; // of the tag; 0 without one
    bool drop_eligible = false;
    uint16_t ether_type = 0;  // behind the tag; below 1536: the length of an 802.3 frame
    uint16_t payload_at = 14; // where the bytes behind the Ethernet type begin
    bool is_ipv4 = false;     // a whole, sound IPv4 header
    bool has_ports = false;   // TCP or UDP, the first fragment, with both ports in the frame
    uint8_t tos = 0;
    uint8_t protocol = 0;
    uint32_t source_ip = 0;
    uint32_t destination_ip = 0;
    uint16_t source_port = 0;
    uint16_t destination_port = 0;
};

// Reads the headers of a frame of at least `shortest_frame` bytes into fresh ones, recognising the tags that the port
// looks at. In place, as a copy of what has just been written field by field is slow.
void parse(std::span<const uint8_t> bytes, const Port& port, Headers& headers);

} // namespace dataplane
