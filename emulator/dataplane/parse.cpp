// Reading the headers of a frame: Ethernet, the tag that the port looks at, IPv4, and the ports of TCP and UDP.
#include "dataplane/bytes.h"
#include "dataplane/frame.h"

#include <algorithm>

namespace dataplane {
namespace {

constexpr uint16_t ipv4_type = 0x0800;
constexpr size_t shortest_ipv4_header = 20;
constexpr uint8_t tcp = 6;
constexpr uint8_t udp = 17;

// The ports of the first fragment, where they lie within the packet as well as within the frame.
void parse_ports(std::span<const uint8_t> packet, size_t header_length, Headers& headers) {
    const size_t end = std::min<size_t>(packet.size(), big_endian_16(&packet[2]));
    const bool is_later_fragment = (big_endian_16(&packet[6]) & 0x1fff) != 0;
    if (is_later_fragment || (headers.protocol != tcp && headers.protocol != udp) || header_length + 4 > end) return;
    headers.has_ports = true;
    headers.source_port = big_endian_16(&packet[header_length]);
    headers.destination_port = big_endian_16(&packet[header_length + 2]);
}

void parse_ipv4(std::span<const uint8_t> packet, Headers& headers) {
    if (packet.size() < shortest_ipv4_header || packet[0] >> 4 != 4) return;
    const size_t header_length = 4 * size_t{packet[0] & 0xfU};
    if (header_length < shortest_ipv4_header || header_length > packet.size()) return;
    if (big_endian_16(&packet[2]) < header_length) return;

    headers.is_ipv4 = true;
    headers.tos = packet[1];
    headers.protocol = packet[9];
    headers.source_ip = big_endian_32(&packet[12]);
    headers.destination_ip = big_endian_32(&packet[16]);
    parse_ports(packet, header_length, headers);
}

void parse_tag(std::span<const uint8_t> bytes, const Port& port, Headers& headers) {
    if (!port.looks_at_tags || headers.ether_type != port.tag_type) return;
    if (bytes.size() < shortest_tagged_frame) {
        headers.is_cut = true;
        return;
    }
    const uint16_t control = big_endian_16(&bytes[14]);
    const uint16_t vid = control & 0xfff;
    if (vid == 0 && !port.looks_at_priority_tags) return;
    headers.tag = vid == 0 ? TagKind::priority : TagKind::vlan;
    headers.tag_vid = vid;
    headers.priority = static_cast<uint8_t>(control >> 13);
    headers.drop_eligible = (control >> 12 & 1U) != 0;
    headers.ether_type = big_endian_16(&bytes[16]);
    headers.payload_at = shortest_tagged_frame;
}

} // namespace

void parse(std::span<const uint8_t> bytes, const Port& port, Headers& headers) {
    headers.destination = mac_of(bytes.data());
    headers.source = mac_of(&bytes[6]);
    headers.ether_type = big_endian_16(&bytes[12]);
    parse_tag(bytes, port, headers);
    if (headers.ether_type == ipv4_type) parse_ipv4(bytes.subspan(headers.payload_at), headers);
}

} // namespace dataplane
