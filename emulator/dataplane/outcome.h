// What became of a frame: one verdict, its outputs, and, where somebody wants to know, the steps that led there.
#pragma once

#include "dataplane/assumptions.h"
#include "dataplane/configuration.h"

#include <array>
#include <cstdint>
#include <vector>

namespace dataplane {

enum class Verdict : uint8_t {
    forwarded, // to the one port that its address is known on
    flooded,   // to the members of its VLAN
    delivered, // to the switch itself
    dropped,
};

// Why a frame was dropped; the words are those of `word_of`, which programs read.
enum class DropReason : uint8_t {
    none,
    too_short,        // no whole Ethernet header, or it ends within its tag
    too_long,         // longer than `longest_frame`
    port_disabled,    // the receiving one
    port_down,        // what its link depends on is down
    port_not_ether,   // a port without an interface receives nothing
    reserved_address, // 01:80:c2:00:00:00 to :0f
    local_discard,    // a local entry of the port
    untagged_refused, // aftype tagonly
    reserved_vid,     // 4095 in the tag
    no_vlan,          // no tag, and nothing says which VLAN
    unknown_vlan,     // that VLAN does not exist
    not_a_member,     // ingfil on
    policed,          // class_policing with discard
    static_discard,
    same_port,           // its address is known on the port that it came from
    egress_not_a_member, // known on a port that is not in the VLAN
    egress_disabled,     // known on a port that is disabled
    egress_down,
    nobody_to_send_to, // nobody else is in the VLAN, or up
    // Where frames wait (emulator/dataplane's scheduler): of single outputs, not of frames.
    queue_full,
    red,
    no_buffer,     // too many frames wait already, in all queues together
    queue_removed, // it waited when its queue went, or its port was disabled
    port_missing,  // it came to a port that does not exist at that time; said by those who bring frames, not by
                   // `forward`
};

// Why an output is one.
enum class OutputKind : uint8_t { forwarded, flooded, delivered, mirrored };

// The bytes that leave are `head[0..head_length)` and then those of the received frame from `skip` on.
struct Output {
    PortIndex port = no_port; // `no_port`: the switch itself, where no port stands for it
    OutputKind kind = OutputKind::forwarded;
    uint16_t mirror = 0; // its number; 0: not a copy of a mirror
    uint8_t stream = 0;  // 0 to 255
    uint8_t traffic_class = 0;
    uint8_t color = 0;
    bool has_queue = false; // the sending port has that stream, and the stream a queue of that class; else best effort
    uint16_t stream_index = 0; // of that queue: (port - 1) * 256 + stream
    uint8_t head_length = 0;
    uint16_t skip = 0;
    std::array<uint8_t, 32> head{};
};

// A setting that is kept and shows in no frame.
enum class KeptSetting : uint8_t {
    loop_breaker,       // of the port b: sldbreaker
    link_aggregation,   // of the port b: it is in a LAG
    ip_interface,       // of the port b: it carries one
    loop_detection,     // of the VLAN b: simple_loop_detection
    static_entry_flags, // of the entry: its flags b
};

// Why a mirror did not copy a frame of its source.
enum class MirrorSkip : uint8_t {
    not_classified, // its filter wants a class, and the frame was dropped before it had one
    other_class,    // another stream, class or color than its filter wants
    disabled,       // its destination
    down,           // likewise
};

// What a step says. Behind each kind: the meaning of its numbers a, b and c; ports are PortIndex. `word_of` names it
// for programs.
enum class StepKind : uint8_t {
    received,             // a port, b length
    link_dependency,      // a port, b on which links (LinkDepend), c how many of them (LinkMode)
    link_mode_unset,      // a port: it depends on links, and nothing says on how many
    tag_recognised,       // a TPID, b VLAN id, c priority
    priority_tag,         // a TPID, c priority
    tag_ignored,          // a TPID, b VLAN id: ignoretag on, payload
    priority_tag_ignored, // a TPID: ignoreptag on, payload
    other_tag,            // a TPID of a tag that is not the port's: payload
    untagged,             // a Ethernet type
    link_frame_lifted,    // a kind: link_frame forward
    local_entry,          // a LocalAction
    taken_by_switch,      // a port whose own address it is, or that has no interface; `no_port`: a local entry's
    not_forwarded,        // a DropReason: what would drop the frame, had the switch not taken it
    vlan_by_tag,          // a VLAN id
    vlan_by_protgroup,    // a VLAN id, b protocol group, c Ethernet type
    vlan_by_membership,   // a VLAN id
    vlan_by_pvid,         // a VLAN id
    member,               // a VLAN id
    let_in,               // a VLAN id: no member, but ingfil off
    list_matched,         // a list, b line
    list_not_matched,     // a list
    no_list,              //
    class_by_rule,        // a stream, b class, c color
    class_by_priority,    // a priority, b class: dot1p
    class_by_tos,         // a ToS, b class, c sending port: dscp
    class_by_default,     // a stream, b class, c color
    counted,              // a class, b bytes that its policer counts for the frame
    within_rate,          // a class, b rate
    recolored,            // a class, b rate, c new color
    over_rate,            // a class, b rate: discarded
    learned,              // a VLAN id, b port
    moved,                // a VLAN id, b old port
    refreshed,            // a VLAN id
    not_learned_off,      // a VLAN id
    not_learned_limit,    // a VLAN id, b limit
    not_learned_full,     //
    not_learned_source,   // a group address, or one that is not a host's
    not_learned_static,   // a VLAN id
    not_learned_member,   // a VLAN id: the receiving port is no member
    fdb_ignored_by_port,  //
    fdb_ignored_by_vlan,  // a VLAN id
    group_address,        // flooded
    static_entry,         // a VLAN id, b port (`no_port`: it discards), c flags
    own_address,          // a VLAN id, b port whose address it is
    learned_entry,        // a VLAN id, b port
    unknown_address,      // a VLAN id: flooded
    sent,                 // a port, b VLAN id in the tag that it leaves with, c TPID of that; 0: no tag
    drop_eligible_kept,   // a port: the bit stands in the tag that it sends
    not_sent_disabled,    // a port: a member that is disabled
    not_sent_down,        // a port
    priority_edited,      // a port, b priority before, c after: cosedit on
    queued,               // a port, b stream index, c class
    best_effort,          // a port, b stream, c class: no such stream or queue
    mirrored,             // a mirror, b port
    not_mirrored,         // a mirror, b why (MirrorSkip)
    copy_tagged,          // a mirror, b VLAN id, c TPID of its tag; 0: its id is local, so no tag
    copy_best_effort,     // a mirror, b port: which has a queue for the frame's class
    kept,                 // a which (KeptSetting), b port or VLAN id: on, and without effect here
    dropped,              // a DropReason; always the last
    done,                 // a Verdict; always the last of a frame that is not dropped
};

struct Step {
    StepKind kind = StepKind::received;
    Assumption assumption = Assumption::none; // that this step leans on
    uint32_t a = 0;
    uint32_t b = 0;
    uint32_t c = 0;
};

// Reused from frame to frame, so that forwarding allocates nothing once its vectors have grown.
struct Outcome {
    Verdict verdict = Verdict::dropped;
    DropReason reason = DropReason::none;
    uint16_t vid = 0; // 0: it did not come so far
    bool is_classified = false;
    uint8_t stream = 0;
    uint8_t traffic_class = 0;
    uint8_t color = 0;
    std::vector<Output> outputs;
    std::vector<Step> steps; // of a told frame only
};

// The words for programs: "forwarded", "reserved_address", "list_matched".
const char* word_of(Verdict verdict);
const char* word_of(DropReason reason);
const char* word_of(StepKind kind);
const char* word_of(OutputKind kind);
const char* word_of(KeptSetting setting);
const char* word_of(MirrorSkip skip);

} // namespace dataplane
