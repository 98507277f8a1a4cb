// Frames as people write them: as hexadecimal digits, as fields in the manner of the sentences, or as tcpdump prints
// them; and the way back to fields.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

using FrameBytes = std::vector<uint8_t>;

// The text is no frame; says why, and where.
class NotAFrame : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The longest frame that is read at all; the switch receives shorter ones only, and says so itself.
constexpr size_t longest_frame_text = 262144; // bytes

// Reads a frame from the words of a command line: fields where the first word is the name of one, else hexadecimal
// digits, in which blanks and colons count for nothing. Throws `NotAFrame`.
FrameBytes read_frame(const std::vector<std::string>& words);

// Hexadecimal digits. Throws `NotAFrame`.
FrameBytes read_hex_frame(std::string_view text);

// Fields, in any order but that tags stand from the outermost to the innermost:
//
//     da 00:11:22:33:44:55 sa 00:11:22:33:44:66 tag vid 10 pri 3 dei tagtype 88a8 etype 0800
//     src 10.0.0.1 dst 10.0.0.2 prot udp sport 4000 dport 53 tos 184 fragment 0 length 100
//
// da         destination; ff:ff:ff:ff:ff:ff
// sa         source; 00:00:5e:00:53:01
// tag        a tag, of which say: vid (0 to 4095; 0), pri (0 to 7; 0), dei (a bit; not set), tagtype (hexadecimal;
// 8100) etype      Ethernet type behind the tags, hexadecimal; 0800 where a field of IPv4 is named, else 88b5 src, dst
// IPv4 addresses; 192.0.2.1 and 192.0.2.2 prot       tcp, udp, icmp, igmp, or a number; udp sport, dport  ports of TCP
// or UDP; 1024 and 9 tos        the byte, decimal or 0x with hexadecimal digits; 0 fragment   its offset in units of 8
// bytes; 0. Behind the first one there are no ports. length     of the payload, behind all headers; 0. It is zeros.
// Frames are padded to 60 bytes.
//
// Behind the semicolon: what a field is that is left out. Checksums are right. Throws `NotAFrame`.
FrameBytes read_frame_fields(const std::vector<std::string>& words);

// The frames in what `tcpdump -xx` prints (`-XX` likewise). Throws `NotAFrame` with the line.
std::vector<FrameBytes> read_dump(std::string_view text);

// The fields of a frame, such that `read_frame_fields` makes the same frame of them where its payload is zeros;
// `is_tag_type` says which Ethernet types are tags. What is no whole Ethernet header is told as hexadecimal digits.
std::string describe_frame(std::span<const uint8_t> bytes, const std::function<bool(uint16_t)>& is_tag_type);

// The tags of a frame, "tag vid 10 pri 3", from the outermost on; empty: it has none.
std::string describe_tags(std::span<const uint8_t> bytes, const std::function<bool(uint16_t)>& is_tag_type);

std::string hex_of(std::span<const uint8_t> bytes);
