// The bridge library of the switch, libbrgfdb: it owns every port, VLAN, mirror, stream, queue, filter entry and
// classification list, and judges every change.
//
// Unless a function says otherwise it returns 0 when it took the change and a non-zero value when it did not. After a
// failure, and only then, it has stored one of the numbers of namespace `status` (or one that is not listed there) in
// the status word whose address is its last argument.
//
// Rates are in bit/s, 64000 to 100000000, bursts in bytes, 80 to 32000, lengths in bytes. Switches are 0 off, 1 on. All
// records are in the byte order of the machine. The ranges in this file are those that sentences pass; where one passes
// more it is said. `platform/words.h` has the words for the numbers that are named here. In C they are those of
// numbers.h: `status::no_port` is BRGFDB_STATUS_NO_PORT.
#pragma once

#ifdef __cplusplus
#include <array>
#include <cstddef>
#include <cstdint>

// Ports, lists and lines are numbered from 1, as the operator types them. Streams, mirrors, the aging time and the
// links that a logical port depends on are those of the ports at the front of the switch, 1 to 4.
constexpr int32_t front_port_count = 4;
constexpr int32_t mirror_count = 4;

// A stream is numbered from 1 within its port, a class from 0 within its stream. Where a function asks for an index it
// counts from 0 over the whole switch: stream index (port - 1) * 256 + (stream - 1), 0 to 1023; queue index stream
// index * 8 + class, 0 to 8191. Where a function wants the stream of a port counted from 0, 0 to 255, it says so.
constexpr int32_t streams_per_port = 256;
constexpr int32_t classes_per_stream = 8;

constexpr uint32_t priority_count = 8;     // 0 to 7, of IEEE 802.1Q
constexpr uint32_t tosmap_entry_count = 8; // numbered from 0

constexpr size_t mac_length = 6; // bytes of a MAC address, in network order

// What a port is bound to.
namespace port_type {
constexpr int32_t none = 0;
constexpr int32_t ether = 1;
constexpr int32_t virtual_interface = 2;
} // namespace port_type

// How much a frame is worth when its queue fills up: green the most.
namespace color {
constexpr int32_t green = 0;
constexpr int32_t yellow = 1;
constexpr int32_t red = 2;
constexpr int32_t discard = 255; // of policed traffic only: no color, it is dropped
} // namespace color

namespace bandwidth_mode {
constexpr int32_t frame_only = 0;
constexpr int32_t frame_gap = 1; // rates count the gap between frames, too
} // namespace bandwidth_mode

// Frames of link protocols, which a port treats apart from all others.
namespace link_frame {
constexpr int32_t bpdu = 0; // bridge protocol data units
constexpr int32_t lag = 2;  // link aggregation
constexpr int32_t pae = 3;  // port access entity
} // namespace link_frame

namespace link_frame_action {
constexpr int32_t discard = 0;
constexpr int32_t forward = 1;
} // namespace link_frame_action

// When the link of a logical port is up.
namespace link_mode {
constexpr int32_t all = 1; // all links that it depends on are
constexpr int32_t any = 2; // any of them is
} // namespace link_mode

namespace link_depend {
constexpr int32_t vlan = 1;  // the link of the port's VLAN
constexpr int32_t ports = 2; // those of physical ports
} // namespace link_depend

// VLAN ids. Tagged ones are those of IEEE 802.1Q, the only ones that can stand in a tag; local ones never leave the
// switch.
namespace vlan_id {
constexpr int32_t any = -1;        // the library chooses
constexpr uint32_t every_vlan = 0; // not one VLAN, but all there are
constexpr int32_t lowest_tagged = 1;
constexpr int32_t highest_tagged = 4094;
constexpr int32_t lowest_local = 4096;
constexpr int32_t highest_local = 8191;
} // namespace vlan_id

// A tag type is the tag protocol identifier (TPID) of IEEE 802.1Q: the 16 bits behind the addresses of a frame that say
// that a tag follows. This one is that of customer VLANs; service providers use 0x88a8.
constexpr uint16_t default_tag_type = 0x8100;

// Which frames a mirror copies.
namespace mirror_source {
constexpr int32_t received = 1; // by the port
constexpr int32_t received_in_vlan = 2;
constexpr int32_t sent = 3; // by the port
constexpr int32_t sent_in_vlan = 4;
constexpr int32_t vlan = 5; // all of the VLAN
} // namespace mirror_source

// How a stream serves its queues.
namespace qos_type {
constexpr int32_t weighted_fair = 1;   // weighted fair queueing
constexpr int32_t strict_priority = 2; // a queue waits for all of higher priority
} // namespace qos_type

// The action byte of a static entry. A sentence may pass any other, too.
namespace static_action {
constexpr uint8_t forward = 0; // to the port of the entry, without any flag
constexpr uint8_t discard = 4;
} // namespace static_action

// The type of a local entry.
namespace local_type {
constexpr int32_t local = 1;
constexpr int32_t both = 2;
constexpr int32_t local_learning = 3;
constexpr int32_t discard = 4;
} // namespace local_type

// To whom an entry of the forwarding database belongs. The operator cannot delete one of the system.
namespace entry_owner {
constexpr int32_t user = 0;
constexpr int32_t system = 1;
} // namespace entry_owner

// The addresses of link protocols, 01:80:c2:00:00:00 to 0f. The switch never forwards frames to them: every port has
// entries of the system that discard them.
namespace reserved_address {
constexpr std::array<uint8_t, mac_length> first{0x01, 0x80, 0xc2, 0x00, 0x00, 0x00};
constexpr uint8_t last_byte = 0x0f; // of the last one; the others are alike
} // namespace reserved_address

// Where frames that match a rule have their priority from; all rules of a list have the same marking.
namespace marking {
constexpr uint32_t normal = 0;
constexpr uint32_t dot1p = 1; // the tag, as IEEE 802.1p has it
constexpr uint32_t dscp = 2;  // the code point of the IP header
} // namespace marking

// In place of a list or a line.
constexpr int32_t every_list = 0;
constexpr int32_t any_line = 0; // the library chooses

// The reasons for which the bridge library refuses a call. They are printed as error codes, so the numbers are part of
// the contract with whoever reads the result document.
namespace status {
constexpr int32_t mirror_failed = 1;

constexpr int32_t no_port = 102;
constexpr int32_t no_vlan = 103;
constexpr int32_t no_fdb_entry = 105;
constexpr int32_t no_stream = 106;
constexpr int32_t no_queue = 107;
constexpr int32_t no_ether = 108;
constexpr int32_t no_profile = 109;
constexpr int32_t no_action = 110;
constexpr int32_t no_profile_to_bind = 111;
constexpr int32_t no_profile_at_all = 112;

constexpr int32_t too_many_ports = 1201;
constexpr int32_t port_exists = 1202;
constexpr int32_t port_already_enabled = 1205;
constexpr int32_t port_in_vlan = 1301;
constexpr int32_t port_has_ip_interface = 1302;
constexpr int32_t port_has_stream = 1303;
constexpr int32_t port_already_disabled = 1304;

constexpr int32_t vlan_exists = 1401;
constexpr int32_t vlan_id_in_use = 1402;
constexpr int32_t vlan_name_too_long = 1403;
constexpr int32_t too_many_vlans = 1404;
constexpr int32_t too_many_vlans_and_fwdlists = 1405;
constexpr int32_t no_free_vlan_id = 1406;
constexpr int32_t vlan_has_port = 1501;

constexpr int32_t port_already_in_vlan = 1603;
constexpr int32_t local_vlan_is_never_tagged = 1604;
constexpr int32_t too_many_ports_in_vlan = 1605;
constexpr int32_t member_fdb_entry_exists = 1606;
constexpr int32_t member_fdb_full = 1607;
constexpr int32_t port_in_lag = 1610;
constexpr int32_t port_already_untagged = 1611;
constexpr int32_t vlan_has_ip_interface_port = 1612;
constexpr int32_t port_in_other_vlan = 1613;
constexpr int32_t port_already_untagged_elsewhere = 1614;
constexpr int32_t protgroup_already_in_vlan = 1615;
constexpr int32_t too_many_protgroups_in_port = 1616;
constexpr int32_t port_not_in_vlan = 1701;
constexpr int32_t member_has_profile = 1702;

constexpr int32_t fdb_entry_exists = 2001;
constexpr int32_t fdb_full = 2002;
constexpr int32_t fdb_entry_of_system = 2101;
constexpr int32_t fdb_entry_of_other_type = 2102;

constexpr int32_t no_loop_breaker = 2201;
constexpr int32_t vlan_mode_refused = 2202;
constexpr int32_t no_such_class = 2203;

constexpr int32_t queue_exists = 2301;
constexpr int32_t too_many_queues = 2302;
constexpr int32_t no_frame_buffers = 2303;
constexpr int32_t queue_already_in_stream = 2351;
constexpr int32_t queue_not_in_stream = 2352;

constexpr int32_t stream_already_in_port = 2401;
constexpr int32_t stream_not_in_port = 2402;
constexpr int32_t stream_has_queue = 2403;
constexpr int32_t stream_exists = 2501;
constexpr int32_t too_many_streams = 2502;

constexpr int32_t profile_exists = 2601;
constexpr int32_t too_many_profiles = 2602;
constexpr int32_t too_many_actions = 2603;
constexpr int32_t profile_has_action = 2604;
constexpr int32_t no_memory_in_profile = 2605;
constexpr int32_t profile_has_other_mode = 2606;
constexpr int32_t profile_in_use = 2607;
constexpr int32_t pair_has_other_profile = 2701;
constexpr int32_t pair_has_no_profile = 2702;

constexpr int32_t too_many_protgroups = 2801;
constexpr int32_t protgroup_exists = 2802;
constexpr int32_t no_protgroup = 2803;
constexpr int32_t too_many_protocols = 2804;
constexpr int32_t protocol_in_group = 2805;
constexpr int32_t protocol_in_other_group = 2806;
constexpr int32_t protocol_not_in_group = 2807;

constexpr int32_t mirror_id_out_of_range = 2901;
constexpr int32_t mirror_exists = 2902;
constexpr int32_t no_mirror = 2903;
constexpr int32_t mirror_has_no_source = 2904;
constexpr int32_t mirror_has_no_destination = 2905;
constexpr int32_t mirror_destination_is_source = 2906;
constexpr int32_t mirror_not_deletable_while_enabled = 2907;
constexpr int32_t mirror_already_enabled = 2908;
constexpr int32_t mirror_already_disabled = 2909;
constexpr int32_t mirror_not_modifiable_while_enabled = 2910;
constexpr int32_t protgroup_in_use = 2911;
} // namespace status

// What `brgfdb_set_param_to_port` may set in the flags word of `PortParameters`.
namespace port_flag {
constexpr uint16_t accept_all_frames = 0x0010; // clear: tagged frames only
constexpr uint16_t ingress_filtering = 0x0020;
constexpr uint16_t accept_tagged = 0x0040;
constexpr uint16_t accept_priority_tagged = 0x0100;
constexpr uint16_t cos_editing = 0x1000;
constexpr uint16_t ignore_fdb = 0x2000;
} // namespace port_flag

// Which setting a call of `brgfdb_set_param_to_port` carries.
namespace port_field {
constexpr uint32_t flag = 0x8001; // the flag named by the flag-bit argument
constexpr uint32_t tag_type = 0x0010;
constexpr uint32_t pvid = 0x0020;
constexpr uint32_t aging = 0x0040;
constexpr uint32_t loop_breaker = 0x0080;
} // namespace port_field

// Bits of `ClassifyRule::present`; a field whose bit is clear matches anything and has an all-zero slot.
namespace rule_field {
constexpr uint32_t cos = 0x00000001;
constexpr uint32_t vid = 0x00000002;
constexpr uint32_t ether_type = 0x00000004;
constexpr uint32_t tos = 0x00000008;
constexpr uint32_t protocol = 0x00000010;
constexpr uint32_t source_address = 0x00000020;
constexpr uint32_t destination_address = 0x00000040;
constexpr uint32_t source_port = 0x00000080;
constexpr uint32_t destination_port = 0x00000100;
constexpr uint32_t first_extraction = 0x01000000; // and the three bits above it
} // namespace rule_field

constexpr size_t extraction_point_count = 4;
#else
#include "numbers.h" // the numbers for C

#include <stdint.h>

typedef struct PortParameters PortParameters;
typedef struct StreamInfo StreamInfo;
typedef struct ExtractionPoint ExtractionPoint;
typedef struct ExtractionMatch ExtractionMatch;
typedef struct ClassifyRule ClassifyRule;
#endif

// Five 16-bit words. The library reads only the field that the masks of the call select.
struct PortParameters {
    uint16_t flags;
    uint16_t unused[2]; // never written by a command
    uint16_t tag_type;  // that the port takes for a tag, 0 to 0xffff
    uint16_t pvid;      // the VLAN of untagged frames: an id, or 0
};

// What the library tells of a stream. It writes 288 bytes, of which only the type word is known: the QoS type that
// the stream was given (namespace qos_type).
struct StreamInfo {
    int32_t before_type[4];
    int32_t type;
    uint8_t after_type[268];
};

// A field that the user defines, for what no other field of a rule covers: `width` bytes (1, 2 or 4) at `offset` bytes
// (0 to 1532; a negative number is passed as its low 16 bits) into the frame. The binding of a list says where its four
// extraction points lie, the rules of the list what has to stand there. Both 0: not used.
struct ExtractionPoint {
    uint16_t offset;
    uint16_t width;
};

// What a rule asks of one header field: the field ANDed with `mask` equals `low`, or, where `is_range` is 1, lies in
// `low` to `high`. A single value leaves `high` 0. Low and high are stored already ANDed with the mask.
#ifdef __cplusplus
template <typename Word> struct MatchSlot {
    Word low;
    Word high;
    Word mask;
    Word is_range;
};
using MatchSlot8 = MatchSlot<uint8_t>;
using MatchSlot16 = MatchSlot<uint16_t>;
using MatchSlot32 = MatchSlot<uint32_t>;
#else
typedef struct {
    uint8_t low, high, mask, is_range;
} MatchSlot8;
typedef struct {
    uint16_t low, high, mask, is_range;
} MatchSlot16;
typedef struct {
    uint32_t low, high, mask, is_range;
} MatchSlot32;
#endif

// What a rule asks of one extraction point; the value is stored already ANDed with the mask.
struct ExtractionMatch {
    uint32_t value;
    uint32_t mask;
};

// One classification rule, 120 bytes: frames that match all present fields are put into the stream and class with
// the color, and their priority is taken as the marking mode says.
struct ClassifyRule {
    uint32_t marking;      // namespace marking
    uint16_t stream;       // 0 to 255
    uint8_t traffic_class; // 0 to 7
    uint8_t color;         // green, yellow, red
    uint32_t present;
    MatchSlot8 cos;
    MatchSlot16 vid;
    MatchSlot16 ether_type;
    MatchSlot8 tos;
    MatchSlot8 protocol;
    MatchSlot32 source_address; // IPv4
    MatchSlot32 destination_address;
    MatchSlot16 source_port;
    MatchSlot16 destination_port;
    ExtractionMatch extraction[4];
};

#ifdef __cplusplus
static_assert(sizeof(PortParameters) == 10);
static_assert(offsetof(PortParameters, tag_type) == 6);
static_assert(offsetof(PortParameters, pvid) == 8);
static_assert(sizeof(StreamInfo) == 288);
static_assert(offsetof(StreamInfo, type) == 16);
static_assert(sizeof(ExtractionPoint[extraction_point_count]) == 16);
static_assert(sizeof(ClassifyRule) == 120);
static_assert(offsetof(ClassifyRule, stream) == 4);
static_assert(offsetof(ClassifyRule, traffic_class) == 6);
static_assert(offsetof(ClassifyRule, color) == 7);
static_assert(offsetof(ClassifyRule, present) == 8);
static_assert(offsetof(ClassifyRule, cos) == 12);
static_assert(offsetof(ClassifyRule, vid) == 16);
static_assert(offsetof(ClassifyRule, ether_type) == 24);
static_assert(offsetof(ClassifyRule, tos) == 32);
static_assert(offsetof(ClassifyRule, protocol) == 36);
static_assert(offsetof(ClassifyRule, source_address) == 40);
static_assert(offsetof(ClassifyRule, destination_address) == 56);
static_assert(offsetof(ClassifyRule, source_port) == 72);
static_assert(offsetof(ClassifyRule, destination_port) == 80);
static_assert(offsetof(ClassifyRule, extraction) == 88);

extern "C" {
#endif

// --- Ports ---

// Binds a new port to a physical interface. `type` is of namespace port_type. A negative result is a
// failure: too_many_ports, port_exists.
int32_t brgfdb_create_port(int32_t port, int32_t ether, int32_t type, int32_t* status);

// Removes a port with its reserved-address filter entries. Fails with port_in_vlan, port_has_ip_interface, no_port.
int32_t brgfdb_delete_port(int32_t port, int32_t* status);

// Returns 0 when no stream is attached to the port; else port_has_stream, or no_port.
int32_t brgfdb_check_stream_in_port(int32_t port, int32_t* status);

// Fails with no_port, port_already_enabled.
int32_t brgfdb_enable_port(int32_t port, int32_t* status);

// Fails with no_port, port_already_disabled.
int32_t brgfdb_disable_port(int32_t port, int32_t* status);

// Sets the one field of a port that `fields` (namespace port_field) selects: a flag of `parameters` named by
// `flag_bit`, its tag type or PVID, the aging time in seconds (60 to 1000000), or the loop-detection breaker (0 or 1).
// A negative result is a failure: no_loop_breaker, vlan_mode_refused, no_port.
int32_t brgfdb_set_param_to_port(int32_t port, const PortParameters* parameters, uint32_t aging, uint32_t loop_breaker,
                                 uint32_t fields, uint32_t flag_bit, int32_t* status);

// Where frames go that no rule matches. `stream` counts from 0; it and the class are passed as typed, without a range.
// Fails with no_port.
int32_t brgfdb_set_default_class(int32_t port, int32_t stream, int32_t traffic_class, int32_t color, int32_t* status);

// Maps priority i to class entries[i] (0 to 7) where bit i of `entry_mask` is set. Eight entries. Fails with no_port.
int32_t brgfdb_set_port_cosmap(int32_t port, uint32_t entry_mask, const uint32_t* entries, int32_t* status);

// Polices one class of a port, passed as typed; `color` is what traffic above the rate gets. All 0: off.
// Fails with no_port, no_such_class.
int32_t brgfdb_set_port_class_policing(int32_t port, int32_t traffic_class, int32_t rate, int32_t burst, int32_t color,
                                       int32_t* status);

// What rates count: namespace bandwidth_mode. Fails with no_port.
int32_t brgfdb_set_port_bandwidth_calc_mode(int32_t port, int32_t mode, int32_t* status);

// `kind` is of namespace link_frame, `action` of link_frame_action. Fails with no_port.
int32_t brgfdb_set_port_link_frames(int32_t port, int32_t kind, int32_t action, int32_t* status);

// `mode` is of namespace link_mode; logical ports only. Fails with no_port.
int32_t brgfdb_set_link_mode(int32_t port, int32_t mode, int32_t* status);

// What the link of a logical port depends on: `type` is of namespace link_depend, with mask 0 for the VLAN, else the
// physical ports 1 to 4 whose bits (port - 1) are set. Fails with no_port.
int32_t brgfdb_set_link_depend(int32_t port, int32_t type, uint32_t port_mask, int32_t* status);

// Shapes what a physical interface sends; rate 0 and burst 0 take the shaper off. Fails with no_ether.
int32_t brgfdb_set_ph_shaping(int32_t ether, int32_t rate, int32_t burst, int32_t* status);

// Computes the shaping of all streams of a port anew, after one of them or the interface below them has changed.
int32_t brgfdb_stream_shaping_rate_update(int32_t port, int32_t* status);

// --- VLANs ---

// Stores the id of the VLAN of that name. Any result but 0: there is none.
int32_t brgfdb_get_vid(const char* name, uint32_t* vid, int32_t* status);

// `vid` holds the wanted id, tagged or local, or vlan_id::any; after the call the id given.
// Fails with vlan_exists, vlan_id_in_use, vlan_name_too_long, too_many_vlans, too_many_vlans_and_fwdlists,
// no_free_vlan_id.
int32_t brgfdb_create_vlan(const char* name, int32_t* vid, int32_t* status);

// Fails with no_vlan, vlan_has_port.
int32_t brgfdb_delete_vlan(uint32_t vid, int32_t* status);

// Makes a port a member, tagged (1) with a tag type, or untagged (0), there for the frames of one
// protocol group only when `by_protgroup` is 1. Fails with no_port, no_vlan, no_protgroup and the numbers 1603 to 1616.
int32_t brgfdb_add_port_to_vlan(uint32_t vid, int32_t port, int32_t tagged, uint32_t tag_type, int32_t by_protgroup,
                                uint16_t protgroup, int32_t* status);

// Fails with no_port, no_vlan, port_has_ip_interface, port_not_in_vlan, member_has_profile.
int32_t brgfdb_rem_port_from_vlan(uint32_t vid, int32_t port, int32_t* status);

// The VLAN options. `vid` may be vlan_id::every_vlan. Each fails with no_vlan.
int32_t brgfdb_set_vlan_sld(uint32_t vid, int32_t on, int32_t* status); // simple loop detection
int32_t brgfdb_set_vlan_learninglimit(uint32_t vid, int32_t limit,
                                      int32_t* status); // 2 to 50000 addresses, 0: no limit
int32_t brgfdb_set_vlan_ignore_fdb(uint32_t vid, int32_t on, int32_t* status);
int32_t brgfdb_set_vlan_learning_off(uint32_t vid, int32_t off, int32_t* status); // 1 stops learning

// A protocol group, 0 to 65535, is a set of Ethernet types. They fail with the numbers 2801 to 2807 and
// protgroup_in_use.
int32_t brgfdb_create_protgroup(uint16_t protgroup, int32_t* status);
int32_t brgfdb_delete_protgroup(uint16_t protgroup, int32_t* status);
int32_t brgfdb_add_prot_to_group(uint16_t ether_type, uint16_t protgroup, int32_t* status);
int32_t brgfdb_remove_prot_from_group(uint16_t ether_type, uint16_t protgroup, int32_t* status);

// --- Mirrors, 1 to 4; they fail with mirror_failed and the numbers 2901 to 2910 ---

int32_t brgfdb_create_mirror(uint16_t mirror, int32_t* status);
int32_t brgfdb_delete_mirror(uint16_t mirror, int32_t* status);
int32_t brgfdb_enable_mirror(uint16_t mirror, int32_t* status);
int32_t brgfdb_disable_mirror(uint16_t mirror, int32_t* status);

// `type` is of namespace mirror_source. `port`, 1 to 4, is 0 where the whole VLAN is the source, `vid` is 0 where there
// is none. The destination is a port from 1 to 4.
int32_t brgfdb_set_mirror_source(uint16_t mirror, int32_t type, uint16_t port, uint16_t vid, int32_t* status);
int32_t brgfdb_set_mirror_dest(uint16_t mirror, uint16_t port, int32_t* status);

// Mirrors only the frames of one stream (0 to 255), class and color.
int32_t brgfdb_set_mirror_classify(uint16_t mirror, uint16_t stream, int32_t traffic_class, int32_t color,
                                   int32_t* status);

// Whether the copies get a tag of their own (on 1), with which tag type and VLAN id.
int32_t brgfdb_set_mirror_tag(uint16_t mirror, int32_t on, uint16_t tag_type, uint16_t vid, int32_t* status);

// --- Streams and queues ---

// Fails with stream_exists, no_frame_buffers, too_many_streams.
int32_t brgfdb_create_stream(int32_t stream_index, int32_t* status);

// Fails with no_stream, stream_already_in_port.
int32_t brgfdb_delete_stream(int32_t stream_index, int32_t* status);

// `stream` counts from 0. Fails with no_stream, no_port, stream_already_in_port.
int32_t brgfdb_add_stream_to_port(int32_t stream_index, int32_t port, int32_t stream, int32_t* status);

// `stream` counts from 0. Fails with no_stream, no_port, stream_not_in_port.
int32_t brgfdb_rem_stream_from_port(int32_t stream_index, int32_t port, int32_t stream, int32_t* status);

// Returns 0 when the stream (counted from 1) holds no queue; else stream_has_queue, no_stream, no_port.
int32_t brgfdb_check_queue_in_stream(int32_t port, int32_t stream, int32_t* status);

// `type` is of namespace qos_type. The two parameters are always 2048 and 64; no command sets them.
// Fails with no_stream.
int32_t brgfdb_set_qostype_in_stream(int32_t stream_index, int32_t type, int32_t first_parameter,
                                     int32_t second_parameter, int32_t* status);

// Fills the whole record. Fails with no_stream.
int32_t brgfdb_get_stream_info(int32_t stream_index, StreamInfo* info, int32_t* status);

// Minimum and maximum rate with their bursts; all 0: off. A minimum rate may be any below the maximum, negative ones
// too, and a minimum burst above the maximum. Fails with no_stream.
int32_t brgfdb_set_shaping_in_stream(int32_t stream_index, int32_t min_rate, int32_t min_burst, int32_t max_rate,
                                     int32_t max_burst, int32_t* status);

// Priority 0 to 7; which of them is served first is the library's matter. Fails with no_stream.
int32_t brgfdb_set_stream_priority(int32_t stream_index, int32_t priority, int32_t* status);

// Eight values and eight masks, each as typed, up to 32 bits; bit i of `present` says that entry i was given. Fails
// with no_stream.
int32_t brgfdb_set_stream_tosmap(int32_t stream_index, uint32_t present, const uint32_t* values, const uint32_t* masks,
                                 int32_t* status);

// A new queue of 256 blocks of 64 bytes, 16384 bytes in all; no command asks for others. Fails with queue_exists,
// too_many_queues, no_frame_buffers.
int32_t brgfdb_create_queue(int32_t queue_index, int32_t blocks, int32_t length, int32_t* status);

// Fails with no_queue.
int32_t brgfdb_delete_queue(int32_t queue_index, int32_t* status);

// `stream_type` is the QoS type that the library gave for the stream, `weighted` 1 when that is weighted fair queueing,
// `priority` the class. Fails with no_stream, no_queue, queue_already_in_stream.
int32_t brgfdb_add_queue_to_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class,
                                   int32_t stream_type, int32_t priority, int32_t weighted, int32_t* status);

// Fails with no_stream, no_queue, queue_not_in_stream.
int32_t brgfdb_rem_queue_from_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class, int32_t* status);

// `priority` orders the queues of a stream with strict priority, `ratio` is the share of a queue among weighted ones, 1
// when a sentence has none. Both are passed as typed, without a range. Fails with no_stream, no_queue.
int32_t brgfdb_set_queue_qos(int32_t queue_index, int32_t stream_index, int32_t priority, int32_t ratio,
                             int32_t* status);

// The length, 1536 to 4194304 bytes in units of 64, and the number of blocks that hold it: blocks of 64 bytes up to a
// length of 262144, of 128 up to 1048576, of 256 beyond. One length wraps around: 2147483585 to 2147483647 are passed
// as -2147483648. Fails with no_queue, no_stream, no_frame_buffers.
int32_t brgfdb_set_queue_size(int32_t queue_index, int32_t stream_index, int32_t traffic_class, int32_t blocks,
                              int32_t length, int32_t* status);

// What is dropped of one color of a queue: from the minimum threshold on the minimum drop, rising to the maximum drop
// at the maximum threshold. Thresholds are fill levels of the queue, drops the frames dropped, all in percent; they are
// passed as typed, without a range. Minimum threshold 100 with maximum 0 and drops 0, 0: tail drop, nothing is dropped
// until the queue is full. Fails with no_stream.
int32_t brgfdb_set_red_in_stream(int32_t stream_index, int32_t traffic_class, int32_t color, int32_t min_threshold,
                                 int32_t min_drop, int32_t max_threshold, int32_t max_drop, int32_t* status);

// --- Forwarding database; `of_system` is of namespace entry_owner ---

// Forgets every learned entry. Nobody looks at the result.
int32_t brgfdb_clear_fdb(void);

// Forgets the learned entries of a VLAN. A negative result is a failure.
int32_t brgfdb_clear_fdb_vlan(uint32_t vid);

// A static entry: `action` is static_action::discard with port 0, or the low 8 bits of the flag of a sentence, forward
// when it has none. Fails with fdb_entry_exists, fdb_full,
// no_vlan, no_port, fdb_entry_of_system, fdb_entry_of_other_type.
int32_t brgfdb_create_sfil(uint32_t vid, const uint8_t* mac, int32_t port, uint8_t action, int32_t of_system,
                           int32_t* status);

// Fails with no_fdb_entry, fdb_entry_of_system, fdb_entry_of_other_type, no_vlan.
int32_t brgfdb_delete_sfil(uint32_t vid, const uint8_t* mac, int32_t of_system, int32_t* status);

// A local filter entry of a port. `type` is of namespace local_type. A negative result is a
// failure: fdb_entry_exists, fdb_full, no_port.
int32_t brgfdb_create_lfil(int32_t port, const uint8_t* mac, int32_t type, int32_t of_system, int32_t* status);

// Fails with no_fdb_entry, fdb_entry_of_system, no_port.
int32_t brgfdb_delete_lfil(int32_t port, const uint8_t* mac, int32_t of_system, int32_t* status);

// --- Classification lists ("profiles") and their rules ("actions") ---

// Fails with profile_exists, too_many_profiles.
int32_t brgfdb_create_classify_profile(int32_t list, int32_t* status);

// Fails with no_profile, profile_has_action, profile_in_use.
int32_t brgfdb_delete_classify_profile(int32_t list, int32_t* status);

// Binds a list to a port within a VLAN, with four extraction points. Fails with no_port, no_vlan, no_profile_to_bind,
// port_not_in_vlan, pair_has_other_profile.
int32_t brgfdb_add_classify_profile_to_pv(int32_t list, int32_t port, uint32_t vid, const ExtractionPoint* points,
                                          int32_t* status);

// Takes off whichever list is bound. Fails with no_port, no_vlan, port_not_in_vlan, pair_has_no_profile.
int32_t brgfdb_rem_classify_profile_from_pv(int32_t port, uint32_t vid, int32_t* status);

// `line` may be any_line. Fails with no_profile, too_many_actions, no_memory_in_profile,
// profile_has_other_mode.
int32_t brgfdb_add_classify_action_to_profile(int32_t list, int32_t line, const ClassifyRule* rule, int32_t* status);

// Fails with no_profile, no_action, no_memory_in_profile.
int32_t brgfdb_rem_classify_action_from_profile(int32_t list, int32_t line, int32_t* status);
int32_t brgfdb_rem_classify_all_from_profile(int32_t list, int32_t* status);

// Prints the rules of a list, or of every_list, on standard output. Fails with no_profile, no_action,
// no_profile_at_all.
int32_t brgfdb_disp_classify(int32_t list, int32_t* status);

#ifdef __cplusplus
} // extern "C"
#endif
