// What the model of forwarding assumes, where neither a sentence nor a standard settles it. docs/forwarding.md tells
// each with its reasons, under the same number; a step that leans on one names it.
#pragma once

#include <cstdint>

namespace dataplane {

enum class Assumption : uint8_t {
    none = 0,
    longest_received = 1,         // frames of more than 1536 bytes are not received
    tags_not_looked_at = 2,       // ignoretag, ignoreptag: the tag is payload, and the frame counts as untagged
    local_learning = 3,           // such a local entry delivers as `local` does, and the source is learned
    learning_before_policing = 4, // a frame that a policer discards has been learned from
    extraction_from_start = 5,    // extraction points count from the first byte as received, tag and all
    priority_by_cosmap = 6,       // dot1p: the class of the priority by the receiving port's cosmap
    tosmap_of_sending_port = 7,   // dscp: the ToS map is that of the rule's stream on the sending port
    policer_keeps_color = 8,      // what conforms keeps the color that it was classified with
    frames_count_with_fcs = 9,    // rates count the FCS, and short frames as padded
    own_address_to_switch = 10,   // a frame to a port's own address ends at the switch itself
    ports_without_interface = 11, // what is sent to a port of type vif or none ends at the switch itself
    protgroup_others_tagged = 12, // frames of other types leave a protocol group's membership with a tag
    cosedit_at_sending_port = 13, // cosedit is that of the sending port
    drop_eligible_kept = 14,      // the drop-eligible bit goes from tag to tag
    mirrors_copy_dropped = 15,    // frames that are dropped behind the reception are copied
    mirror_tag_priority = 16,     // the tag of a mirror has the priority of the frame
    mirror_local_id = 17,         // a local VLAN id is no tag of a mirror
    link_of_vlan = 18,            // link_depend vlan: the links of the other members of the port's VLANs
    link_mode_unset = 19,         // a dependency without link_mode asks for all links
    dscp_on_reception = 20,       // dscp: policers and mirrors of what is received go by the class of the rule
    // Of frames that meet others in a queue, which no frame does alone: no step tells those from here on, but 26
    // and 27.
    streams_share_evenly = 21,    // streams of one priority, counted in bytes
    minimum_rate_first = 22,      // a stream within its minimum rate goes before those above theirs
    best_effort_last = 23,        // behind all streams
    line_rate = 24,               // an interface sends 100 Mbit/s
    early_drops_linear = 25,      // between the thresholds, by the fill before the frame
    copies_are_best_effort = 26,  // of mirrors, on their destination
    learned_seen_at_start = 27,   // what the store has learned counts as seen when a run begins
    arrivals_before_sending = 28, // frames with one time are all in their queues before one of them leaves
    length_without_fcs = 29,      // a queue's length counts frames as they leave, without FCS
    best_effort_length = 30,      // of each port: as long as a new queue
    ratios_by_bandwidth = 31,     // bytes as the port's bandwidth counts them; a ratio of 0 gets what is left
    maximum_rate_waits = 32,      // a stream above its maximum rate waits
    buckets_start_full = 33,      // those of shapers, and a frame larger than one needs a full one
    waiting_goes_with_queue = 34, // what waits in a queue that goes, or on a port that is disabled, is dropped
};

} // namespace dataplane
