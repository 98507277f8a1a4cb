// A switch made by hand, for tests, fuzzers and benches of the dataplane: its configuration in parts that can be
// changed, and frames written by their fields.
#pragma once

#include "dataplane/forward.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace dataplane_test {

using Bytes = std::vector<uint8_t>;

// The parts of a configuration, open to change. Ports and VLANs are added in the order of their numbers.
struct Parts {
    dataplane::Ports ports;
    dataplane::Vlans vlans;
    dataplane::Filters filters;
    dataplane::Lists lists;
    dataplane::Mirrors mirrors;
    dataplane::Qos qos;

    Parts() { filters.learned_room = 1000; }

    dataplane::Port& add_port(int32_t number); // enabled, of type ether, with its 16 reserved addresses
    dataplane::Port& port(int32_t number) { return ports.ports.at(index_of(number)); }
    dataplane::PortIndex index_of(int32_t number) const { return ports.find(number); }

    dataplane::Vlan& add_vlan(uint16_t vid);
    dataplane::Vlan& vlan(uint16_t vid) { return vlans.vlans.at(vlans.place.at(vid) - 1U); }
    dataplane::Member& add_tagged(uint16_t vid, int32_t port, uint16_t tag_type = 0x8100);
    dataplane::Member& add_untagged(uint16_t vid, int32_t port);
    dataplane::Member& add_for_protgroup(uint16_t vid, int32_t port, uint16_t protgroup);
    dataplane::Member& member(uint16_t vid, int32_t port);
    void add_protgroup(uint16_t protgroup, std::vector<uint16_t> types);

    void add_static(uint16_t vid, dataplane::Mac mac, int32_t port, uint8_t flags = 0);
    void add_static_discard(uint16_t vid, dataplane::Mac mac);
    void add_own_address(uint16_t vid, dataplane::Mac mac, int32_t port);
    void add_local(int32_t port, dataplane::Mac mac, dataplane::LocalAction action);

    // Binds a new list of these rules to the port in the VLAN.
    void bind_list(uint16_t vid, int32_t port, int32_t list, dataplane::Marking marking,
                   std::vector<dataplane::Rule> rules);
    dataplane::Mirror& add_mirror(uint16_t number, dataplane::MirrorSource source, int32_t source_port,
                                  uint16_t source_vid, int32_t destination);
    dataplane::Stream& add_stream(int32_t port, int32_t stream, std::initializer_list<uint8_t> queues);

    dataplane::Configuration compile() const;

private:
    dataplane::Member& add_member(uint16_t vid, int32_t port);
};

// The bytes of an output.
Bytes bytes_of(const dataplane::Output& output, const Bytes& received);

Bytes operator+(const Bytes& one, const Bytes& other);
Bytes from_hex(const std::string& text); // blanks and colons are ignored

Bytes mac_bytes(dataplane::Mac mac);
Bytes tag(uint16_t tag_type, uint16_t vid, uint8_t priority = 0, bool drop_eligible = false);
// A frame of at least 60 bytes: addresses, tags, Ethernet type and payload.
Bytes frame_of(dataplane::Mac destination, dataplane::Mac source, const Bytes& tags, uint16_t ether_type,
               const Bytes& payload = {});

struct Ipv4 {
    uint32_t source = 0x0a000001;
    uint32_t destination = 0x0a000002;
    uint8_t tos = 0;
    uint8_t protocol = 17;
    uint16_t source_port = 1000;
    uint16_t destination_port = 2000;
    uint16_t fragment = 0; // flags and offset, as in the header
    uint8_t options = 0;   // words of them
};
Bytes packet_of(const Ipv4& fields);

// A configuration with its state, which frames are sent through.
class TestSwitch {
public:
    Parts parts;
    dataplane::Configuration configuration;
    dataplane::State state;
    dataplane::Outcome outcome;

    // To be called after changes of `parts`; `send` does it the first time.
    void apply();
    // Forwards a told frame.
    const dataplane::Outcome& send(int32_t port, const Bytes& bytes, dataplane::Nanoseconds time = 0);
    // The last frame as it left on that port; empty: it did not, or not once.
    Bytes sent_on(int32_t port) const;
    // The numbers of the ports that have an output of the last frame, in order; -1: the switch itself.
    std::vector<int32_t> ports_sent_on() const;
    bool has_step(dataplane::StepKind kind) const { return step(kind) != nullptr; }
    const dataplane::Step* step(dataplane::StepKind kind) const;

private:
    Bytes received_;
    bool is_applied_ = false;
};

} // namespace dataplane_test
