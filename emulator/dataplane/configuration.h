// What the switch is told to do with frames: compiled from the store in parts, never changed afterwards.
//
// Ports are known by their place in `Ports::ports` (a PortIndex), so that arrays can stand in for look-ups; everything
// else keeps the numbers of the libraries' interface (platform/brgfdb.h). The parts are shared: a change of one leaves
// the others as they are.
#pragma once

#include "dataplane/matcher.h"
#include "dataplane/tables.h"
#include "platform/brgfdb.h"

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace dataplane {

using PortIndex = uint16_t;
constexpr PortIndex no_port = 0xffff;

// The number behind a name, as steps and arrays want it.
template <typename Enumeration> constexpr uint32_t number_of(Enumeration value) {
    return static_cast<uint32_t>(value);
}

constexpr uint8_t class_count = classes_per_stream;
constexpr uint8_t color_count = 3;

// --- Ports ---

enum class PortType : uint8_t {
    none = port_type::none,
    ether = port_type::ether,
    virtual_interface = port_type::virtual_interface
};

// A token bucket on reception, for one class of a port. A rate of 0: none.
struct Policer {
    uint32_t rate = 0;  // bit/s
    uint32_t burst = 0; // bytes
    uint8_t excess = 0; // the color of what exceeds it, 0 to 2; or `discards_excess`
};
constexpr uint8_t discards_excess = color::discard;

enum class LinkMode : uint8_t { none, all = link_mode::all, any = link_mode::any };             // none: never set
enum class LinkDepend : uint8_t { none, vlan = link_depend::vlan, ports = link_depend::ports }; // likewise

struct Port {
    int32_t number = 0;
    int32_t ether = 0; // the physical interface that it is bound to
    PortType type = PortType::none;
    bool is_enabled = false;
    bool accepts_untagged = true;         // aftype all
    bool filters_ingress = false;         // ingfil
    bool looks_at_tags = true;            // ignoretag off
    bool looks_at_priority_tags = true;   // ignoreptag off
    bool edits_priority = false;          // cosedit
    bool ignores_fdb = false;             // ignorefdb
    bool counts_gap = false;              // bandwidth frame_gap: rates count 20 bytes a frame more
    bool is_in_lag = false;               // kept
    bool has_ip_interface = false;        // kept
    bool breaks_loops = false;            // kept
    uint16_t tag_type = default_tag_type; // the TPID that it recognises
    uint16_t pvid = 0;                    // 0: none
    uint32_t aging = 300;                 // seconds
    uint8_t default_stream = 0;           // where no rule matches: 0 to 255, the interface's number less one
    uint8_t default_class = 0;            // 0 to 7
    uint8_t default_color = 0;            // 0 green, 1 yellow, 2 red
    std::array<uint8_t, 8> class_of_priority{0, 1, 2, 3, 4, 5, 6, 7}; // cosmap
    std::array<Policer, class_count> policers{};
    uint8_t forwarded_link_frames = 0; // bit k: link_frame forward for kind k, the last byte of the address
    LinkMode link_mode = LinkMode::none;
    LinkDepend link_depend = LinkDepend::none;
    uint32_t link_depend_ports = 0; // bit p - 1: port number p
};

struct Ports {
    std::vector<Port> ports; // by number
    PortIndex find(int32_t number) const;
};

// --- VLANs ---

constexpr uint32_t vid_count = vlan_id::highest_local + 1;
constexpr uint32_t first_local_vid = vlan_id::lowest_local; // from here on, an id never stands in a tag

using ::ExtractionPoint; // `offset` counts from the first byte of the frame as received; width 0: not used

// A port in a VLAN.
struct Member {
    PortIndex port = 0;
    bool is_tagged = false;
    uint16_t tag_type = default_tag_type; // of the tag with which frames leave
    std::optional<uint16_t> protgroup;    // untagged for its Ethernet types only
    int32_t list = -1; // the classification list bound here, by its place in `Lists::lists`; -1: none
    std::array<ExtractionPoint, 4> extraction{};
};

struct Vlan {
    uint16_t vid = 0;
    std::string name; // bytes, as the operator gave them
    bool learns = true;
    bool ignores_fdb = false;
    bool detects_loops = false;                      // kept
    uint32_t learning_limit = 0;                     // 0: none
    std::vector<Member> members;                     // by PortIndex
    const Member* find_member(PortIndex port) const; // null: the port is none
};

// Where a frame goes that carries no tag, by port.
struct UntaggedVlans {
    uint16_t vid = 0; // the VLAN that the port is untagged in; 0: none
    struct ByType {
        uint16_t ether_type;
        uint16_t vid;
        uint16_t protgroup;
    };
    std::vector<ByType> by_type; // those of its protocol groups, by Ethernet type
};

struct Vlans {
    std::vector<Vlan> vlans;                            // by id
    std::array<uint16_t, vid_count> place{};            // of an id in `vlans`, plus one; 0: there is none
    std::vector<UntaggedVlans> untagged;                // by PortIndex
    std::vector<std::vector<uint16_t>> protgroup_types; // by place in `protgroups`: its Ethernet types, in order
    std::vector<uint16_t> protgroups;
    const Vlan* find(uint32_t vid) const {
        return vid < vid_count && place[vid] != 0 ? &vlans[place[vid] - 1U] : nullptr;
    }
    bool protgroup_has(uint16_t protgroup, uint16_t ether_type) const;
};

// --- Filter entries ---

struct StaticEntry {
    PortIndex port = no_port; // `no_port` where it discards
    uint8_t flags = 0;        // kept; 4: discards
    bool is_of_system = false;
};

enum class LocalAction : uint8_t {
    local = local_type::local,
    both = local_type::both,
    local_learning = local_type::local_learning,
    discard = local_type::discard
};

struct LocalEntry {
    LocalAction action = LocalAction::discard;
    bool is_of_system = false; // one of the 16 reserved addresses
};

struct Filters {
    AddressTable<StaticEntry> statics; // by (vid, address)
    AddressTable<LocalEntry> locals;   // by (PortIndex, address)
    uint64_t learned_room = 0;         // entries that the FDB has room for, beside the static and local ones
};

// --- Classification lists ---

enum class Marking : uint8_t { normal = marking::normal, dot1p = marking::dot1p, dscp = marking::dscp };

struct List {
    int32_t number = 0;
    Marking marking = Marking::normal;
    Matcher matcher; // with its rules, in the order of their lines
};

// A list is compiled by itself: a new rule in one leaves the others as they are.
struct Lists {
    std::vector<std::shared_ptr<const List>> lists; // by number
};

// --- Mirrors ---

enum class MirrorSource : uint8_t {
    received = mirror_source::received,
    received_in_vlan = mirror_source::received_in_vlan,
    sent = mirror_source::sent,
    sent_in_vlan = mirror_source::sent_in_vlan,
    vlan = mirror_source::vlan
};

// A mirror that is enabled; others copy nothing.
struct Mirror {
    uint16_t number = 0; // 1 to 4, or as far as the limit allows
    MirrorSource source = MirrorSource::received;
    PortIndex source_port = no_port;
    uint16_t source_vid = 0;
    PortIndex destination = no_port;
    bool is_filtered = false; // only frames of this stream, class and color
    uint8_t stream = 0;
    uint8_t traffic_class = 0;
    uint8_t color = 0;
    bool adds_tag = false;
    uint16_t tag_type = default_tag_type;
    uint16_t tag_vid = 0;
};

struct Mirrors {
    std::vector<Mirror> mirrors; // by number
};

// --- Quality of service ---

// What is dropped of one color of a queue. Tail drop: `min_threshold` 100 and the rest 0.
struct DropPolicy {
    uint32_t min_threshold = 100; // percent of the queue's length
    uint32_t min_drop = 0;        // percent of the frames, at the lower threshold
    uint32_t max_threshold = 0;
    uint32_t max_drop = 0;
    bool is_tail_drop() const { return min_threshold == 100 && min_drop == 0 && max_threshold == 0 && max_drop == 0; }
};

struct Queue {
    bool exists = false;
    uint32_t length = 0;   // bytes
    uint32_t priority = 0; // 0 to 7, the higher first
    uint32_t ratio = 1;    // its share among the queues of its priority
    std::array<DropPolicy, color_count> drop{};
};

struct TosEntry {
    uint8_t entry = 0; // the class, 0 to 7
    uint32_t value = 0;
    uint32_t mask = 0;
};

struct Stream {
    uint16_t index = 0; // (port - 1) * 256 + stream
    PortIndex port = no_port;
    bool is_strict = false; // pq; else wfq
    uint32_t priority = 0;  // 0 to 7, among the streams of its port
    uint32_t min_rate = 0;  // bit/s; all four 0: not shaped
    uint32_t min_burst = 0; // bytes
    uint32_t max_rate = 0;
    uint32_t max_burst = 0;
    std::vector<TosEntry> tos_map;
    std::array<Queue, class_count> queues{};
    bool is_shaped() const { return max_rate != 0; }
};

struct EtherShaper {
    int32_t ether = 0;
    uint32_t rate = 0;  // bit/s
    uint32_t burst = 0; // bytes
};

struct Qos {
    std::vector<Stream> streams; // those attached to a port, by index
    std::array<uint16_t, size_t{front_port_count} * streams_per_port>
        place{};                      // of a stream index in `streams`, plus one; 0: there is none
    std::vector<EtherShaper> shapers; // by interface
    const Stream* find(uint32_t stream_index) const {
        return stream_index < place.size() && place[stream_index] != 0 ? &streams[place[stream_index] - 1U] : nullptr;
    }
    const EtherShaper* find_shaper(int32_t ether) const;
};

// --- All of it ---

struct Configuration {
    std::shared_ptr<const Ports> ports;
    std::shared_ptr<const Vlans> vlans;
    std::shared_ptr<const Filters> filters;
    std::shared_ptr<const Lists> lists;
    std::shared_ptr<const Mirrors> mirrors;
    std::shared_ptr<const Qos> qos;
};

} // namespace dataplane
