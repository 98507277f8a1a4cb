// Frames read from words, and told in words.
#include "companion/frame_text.h"

#include "companion/names.h"
#include "companion/words.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <optional>

namespace {

constexpr uint16_t ipv4_type = 0x0800;
constexpr uint16_t experimental_type = 0x88b5; // local experimental use, IEEE 802 9.2
constexpr size_t shortest_on_wire = 60;        // without FCS
constexpr size_t ipv4_header_length = 20;
constexpr uint8_t icmp = 1;
constexpr uint8_t igmp = 2;
constexpr uint8_t tcp = 6;
constexpr uint8_t udp = 17;

struct NamedProtocol {
    std::string_view name;
    uint8_t number;
};
constexpr NamedProtocol protocols[] = {{"icmp", icmp}, {"igmp", igmp}, {"tcp", tcp}, {"udp", udp}};

bool is_blank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

std::string in_quotes(std::string_view word) {
    constexpr size_t longest = 40;
    return "\"" + shown(word.substr(0, longest)) + (word.size() > longest ? "...\"" : "\"");
}

// --- Words to bytes ---

using MacBytes = std::array<uint8_t, 6>;

struct Tag {
    uint16_t type = 0x8100;
    uint16_t vid = 0;
    uint8_t priority = 0;
    bool drop_eligible = false;
};

struct Fields {
    MacBytes destination{0xff, 0xff, 0xff, 0xff, 0xff, 0xff};
    MacBytes source{0x00, 0x00, 0x5e, 0x00, 0x53, 0x01}; // for documentation, RFC 7042
    std::vector<Tag> tags;
    std::optional<uint16_t> ether_type;
    bool names_ipv4 = false; // a field of it was given
    uint32_t source_ip = 0xc0000201;
    uint32_t destination_ip = 0xc0000202; // for documentation, RFC 5737
    uint8_t protocol = udp;
    uint16_t source_port = 1024;
    uint16_t destination_port = 9;
    uint8_t tos = 0;
    uint16_t fragment = 0;
    uint16_t length = 0;
};

// Goes through the words of the fields.
class FieldReader {
public:
    explicit FieldReader(const std::vector<std::string>& all) : words_(all) {}
    Fields read();

private:
    bool read_link_field(const std::string& name);
    bool read_tag_field(const std::string& name);
    bool read_ipv4_field(const std::string& name);
    Tag& require_tag(const std::string& name);
    void note(const std::string& name);
    bool has_said(std::string_view name) const { return std::find(said_.begin(), said_.end(), name) != said_.end(); }
    void check_ipv4() const;

    const std::string& next(const std::string& name, const std::string& wanted);
    uint32_t number(const std::string& name, uint32_t highest);
    uint16_t hex(const std::string& name);
    MacBytes mac(const std::string& name);
    uint32_t address(const std::string& name);
    uint8_t protocol();

    const std::vector<std::string>& words_;
    size_t at_ = 0;
    std::vector<std::string_view> said_; // of a tag's fields, those of the last one
    Fields fields_;
};

[[noreturn]] void refuse(const std::string& name, const std::string& wanted, std::string_view word) {
    throw NotAFrame(name + " takes " + wanted + ", not " + in_quotes(word));
}

const std::string& FieldReader::next(const std::string& name, const std::string& wanted) {
    if (at_ == words_.size()) throw NotAFrame(name + " needs " + wanted + " behind it");
    return words_[at_++];
}

uint32_t FieldReader::number(const std::string& name, uint32_t highest) {
    const std::string wanted = "a number from 0 to " + std::to_string(highest);
    const std::string& word = next(name, wanted);
    const bool is_hex = word.starts_with("0x") || word.starts_with("0X");
    const char* const begin = word.data() + (is_hex ? 2 : 0);
    const char* const end = word.data() + word.size();
    uint32_t value = 0;
    const auto [behind, problem] = std::from_chars(begin, end, value, is_hex ? 16 : 10);
    if (problem != std::errc{} || behind != end || value > highest) refuse(name, wanted, word);
    return value;
}

uint16_t FieldReader::hex(const std::string& name) {
    const std::string wanted = "up to four hexadecimal digits";
    const std::string& word = next(name, wanted);
    const std::string_view digits = std::string_view(word).substr(word.starts_with("0x") ? 2 : 0);
    uint16_t value = 0;
    const auto [behind, problem] = std::from_chars(digits.data(), digits.data() + digits.size(), value, 16);
    if (problem != std::errc{} || behind != digits.data() + digits.size()) refuse(name, wanted, word);
    return value;
}

MacBytes FieldReader::mac(const std::string& name) {
    const std::string wanted = "an address such as 00:11:22:33:44:55";
    const std::string& word = next(name, wanted);
    MacBytes mac{};
    if (word.size() != 17) refuse(name, wanted, word);
    for (size_t i = 0; i < mac.size(); ++i) {
        const int high = hex_value(word[3 * i]);
        const int low = hex_value(word[3 * i + 1]);
        if (high < 0 || low < 0 || (i < 5 && word[3 * i + 2] != ':')) refuse(name, wanted, word);
        mac[i] = static_cast<uint8_t>(high << 4 | low);
    }
    return mac;
}

uint32_t FieldReader::address(const std::string& name) {
    const std::string wanted = "an address such as 192.0.2.1";
    const std::string& word = next(name, wanted);
    uint32_t address = 0;
    const char* place = word.data();
    const char* const end = word.data() + word.size();
    for (int i = 0; i < 4; ++i) {
        uint8_t byte = 0;
        const auto [behind, problem] = std::from_chars(place, end, byte);
        const bool is_last = i == 3;
        if (problem != std::errc{} || (is_last ? behind != end : behind == end || *behind != '.'))
            refuse(name, wanted, word);
        address = address << 8 | byte;
        place = behind + 1;
    }
    return address;
}

uint8_t FieldReader::protocol() {
    const std::string wanted = "tcp, udp, icmp, igmp or a number from 0 to 255";
    const std::string& word = next("prot", wanted);
    for (const NamedProtocol& known : protocols)
        if (known.name == word) return known.number;
    uint8_t value = 0;
    const auto [behind, problem] = std::from_chars(word.data(), word.data() + word.size(), value);
    if (problem != std::errc{} || behind != word.data() + word.size()) refuse("prot", wanted, word);
    return value;
}

bool FieldReader::read_link_field(const std::string& name) {
    if (name == "da")
        fields_.destination = mac(name);
    else if (name == "sa")
        fields_.source = mac(name);
    else if (name == "tag")
        fields_.tags.emplace_back();
    else if (name == "etype")
        fields_.ether_type = hex(name);
    else if (name == "length")
        fields_.length = static_cast<uint16_t>(number(name, 65000));
    else
        return false;
    return true;
}

Tag& FieldReader::require_tag(const std::string& name) {
    if (fields_.tags.empty()) throw NotAFrame(name + " belongs behind \"tag\"");
    return fields_.tags.back();
}

bool FieldReader::read_tag_field(const std::string& name) {
    if (name == "vid")
        require_tag(name).vid = static_cast<uint16_t>(number(name, 4095));
    else if (name == "pri")
        require_tag(name).priority = static_cast<uint8_t>(number(name, 7));
    else if (name == "dei")
        require_tag(name).drop_eligible = true;
    else if (name == "tagtype")
        require_tag(name).type = hex(name);
    else
        return false;
    return true;
}

bool FieldReader::read_ipv4_field(const std::string& name) {
    if (name == "src")
        fields_.source_ip = address(name);
    else if (name == "dst")
        fields_.destination_ip = address(name);
    else if (name == "prot")
        fields_.protocol = protocol();
    else if (name == "sport")
        fields_.source_port = static_cast<uint16_t>(number(name, 65535));
    else if (name == "dport")
        fields_.destination_port = static_cast<uint16_t>(number(name, 65535));
    else if (name == "tos")
        fields_.tos = static_cast<uint8_t>(number(name, 255));
    else if (name == "fragment")
        fields_.fragment = static_cast<uint16_t>(number(name, 8191));
    else
        return false;
    fields_.names_ipv4 = true;
    return true;
}

// Each field stands once, those of a tag once for each.
void FieldReader::note(const std::string& name) {
    constexpr std::string_view of_tag[] = {"vid", "pri", "dei", "tagtype"};
    if (has_said(name)) throw NotAFrame(in_quotes(name) + " stands there twice");
    if (name != "tag")
        said_.emplace_back(name);
    else
        std::erase_if(said_, [&](std::string_view field) {
            return std::find(std::begin(of_tag), std::end(of_tag), field) != std::end(of_tag);
        });
}

void FieldReader::check_ipv4() const {
    if (!fields_.names_ipv4) return;
    if (fields_.ether_type.value_or(ipv4_type) != ipv4_type)
        throw NotAFrame("only a frame of Ethernet type 0800 has fields of IPv4");
    const bool has_ports = (fields_.protocol == tcp || fields_.protocol == udp) && fields_.fragment == 0;
    if (!has_ports && (has_said("sport") || has_said("dport")))
        throw NotAFrame("only tcp and udp have sport and dport, in their first fragment");
}

Fields FieldReader::read() {
    while (at_ < words_.size()) {
        const std::string& name = words_[at_++];
        note(name);
        if (!read_link_field(name) && !read_tag_field(name) && !read_ipv4_field(name))
            throw NotAFrame("there is no field " + in_quotes(name) +
                            "; the fields are da, sa, tag (vid, pri, dei, tagtype), etype, src, dst, prot, sport, "
                            "dport, tos, fragment and length");
    }
    check_ipv4();
    return fields_;
}

// --- Bytes of a frame ---

void put_16(FrameBytes& bytes, uint32_t value) {
    bytes.push_back(static_cast<uint8_t>(value >> 8));
    bytes.push_back(static_cast<uint8_t>(value));
}

void put_32(FrameBytes& bytes, uint32_t value) {
    put_16(bytes, value >> 16);
    put_16(bytes, value & 0xffff);
}

void set_16(FrameBytes& bytes, size_t at, uint32_t value) {
    bytes[at] = static_cast<uint8_t>(value >> 8);
    bytes[at + 1] = static_cast<uint8_t>(value);
}

uint16_t get_16(std::span<const uint8_t> bytes, size_t at) {
    return static_cast<uint16_t>(bytes[at] << 8 | bytes[at + 1]);
}

// RFC 1071. `sum` begins with what does not stand in the bytes.
uint16_t internet_checksum(std::span<const uint8_t> bytes, uint32_t sum = 0) {
    for (size_t i = 0; i < bytes.size(); i += 2)
        sum += static_cast<uint32_t>(bytes[i] << 8) + (i + 1 < bytes.size() ? bytes[i + 1] : 0U);
    while (sum >> 16 != 0)
        sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<uint16_t>(~sum);
}

size_t transport_header_length(uint8_t protocol, uint32_t fragment) {
    if (fragment != 0) return 0;
    if (protocol == tcp) return 20;
    return protocol == udp || protocol == icmp || protocol == igmp ? 8 : 0;
}
size_t transport_header_length(const Fields& fields) {
    return transport_header_length(fields.protocol, fields.fragment);
}

// The header behind the IPv4 header, with its checksum; `start` is where it begins.
void put_transport(FrameBytes& bytes, const Fields& fields) {
    const size_t start = bytes.size();
    const size_t length = transport_header_length(fields) + fields.length;
    bytes.resize(start + length);
    if (fields.fragment != 0 || length == fields.length) return;
    const bool has_ports = fields.protocol == tcp || fields.protocol == udp;
    size_t checksum_at = start + 2;
    uint32_t sum = 0;
    if (has_ports) {
        set_16(bytes, start, fields.source_port);
        set_16(bytes, start + 2, fields.destination_port);
        checksum_at = start + (fields.protocol == tcp ? 16 : 6);
        sum = (fields.source_ip >> 16) + (fields.source_ip & 0xffff) + (fields.destination_ip >> 16) +
              (fields.destination_ip & 0xffff) + fields.protocol + static_cast<uint32_t>(length);
    }
    if (fields.protocol == tcp) bytes[start + 12] = 5 << 4; // its header's length in words
    if (fields.protocol == udp) set_16(bytes, start + 4, static_cast<uint32_t>(length));
    if (fields.protocol == icmp) bytes[start] = 8;    // an echo request
    if (fields.protocol == igmp) bytes[start] = 0x11; // a query
    const uint16_t checksum = internet_checksum(std::span(bytes).subspan(start), sum);
    set_16(bytes, checksum_at, checksum == 0 && fields.protocol == udp ? 0xffff : checksum);
}

void put_ipv4(FrameBytes& bytes, const Fields& fields) {
    const size_t start = bytes.size();
    bytes.push_back(0x45);
    bytes.push_back(fields.tos);
    put_16(bytes, static_cast<uint32_t>(ipv4_header_length + transport_header_length(fields) + fields.length));
    put_16(bytes, 0); // identification
    put_16(bytes, fields.fragment);
    bytes.push_back(64); // time to live
    bytes.push_back(fields.protocol);
    put_16(bytes, 0);
    put_32(bytes, fields.source_ip);
    put_32(bytes, fields.destination_ip);
    set_16(bytes, start + 10, internet_checksum(std::span(bytes).subspan(start)));
    put_transport(bytes, fields);
}

FrameBytes make_frame(const Fields& fields) {
    FrameBytes bytes;
    for (const MacBytes& mac : {fields.destination, fields.source})
        for (const uint8_t byte : mac)
            bytes.push_back(byte);
    for (const Tag& tag : fields.tags) {
        put_16(bytes, tag.type);
        put_16(bytes, static_cast<uint32_t>(tag.priority << 13) | (tag.drop_eligible ? 0x1000U : 0U) | tag.vid);
    }
    const uint16_t type = fields.ether_type.value_or(fields.names_ipv4 ? ipv4_type : experimental_type);
    put_16(bytes, type);
    if (type == ipv4_type)
        put_ipv4(bytes, fields);
    else
        bytes.resize(bytes.size() + fields.length);
    if (bytes.size() < shortest_on_wire) bytes.resize(shortest_on_wire);
    return bytes;
}

// --- Words as hexadecimal digits or fields ---

// One or two bytes, as people write them apart.
bool is_short_hex(const std::string& word) {
    return (word.size() == 2 || word.size() == 4) &&
           std::all_of(word.begin(), word.end(), [](char c) { return hex_value(c) >= 0; });
}

// A word that begins with a decimal digit is meant as digits, even where it holds something else.
bool names_a_field(const std::vector<std::string>& words) {
    const std::string& first = words[0];
    // "da" could be a byte, too.
    if (first == "da") return words.size() == 1 || !is_short_hex(words[1]);
    if (first.empty() || (first[0] >= '0' && first[0] <= '9')) return false;
    return std::any_of(first.begin(), first.end(), [](char c) { return hex_value(c) < 0 && c != ':' && !is_blank(c); });
}

// --- What tcpdump prints ---

// A line of bytes: an offset and a colon, groups of digits with single blanks between them, and with -XX two blanks
// and the same as text. Returns whether it is one.
bool read_dump_line(std::string_view line, size_t& offset, std::string& digits) {
    const size_t start = line.find_first_not_of(" \t");
    if (start == std::string_view::npos || line.substr(start, 2) != "0x") return false;
    const size_t colon = line.find(':', start);
    if (colon == std::string_view::npos) return false;
    const auto [behind, problem] = std::from_chars(line.data() + start + 2, line.data() + colon, offset, 16);
    if (problem != std::errc{} || behind != line.data() + colon) return false;
    size_t at = line.find_first_not_of(" \t", colon + 1);
    while (at < line.size() && hex_value(line[at]) >= 0) {
        const size_t end = std::min(line.find_first_of(" \t\r", at), line.size());
        digits += line.substr(at, end - at);
        at = end + 1;
    }
    return true;
}

} // namespace

FrameBytes read_hex_frame(std::string_view text) {
    FrameBytes bytes;
    bytes.reserve(text.size() / 2);
    int high = -1;
    for (const char c : text) {
        if (is_blank(c) || c == ':') continue;
        const int digit = hex_value(c);
        if (digit < 0) throw NotAFrame(in_quotes(std::string(1, c)) + " is no hexadecimal digit");
        if (high < 0) {
            high = digit;
            continue;
        }
        bytes.push_back(static_cast<uint8_t>(high << 4 | digit));
        high = -1;
        if (bytes.size() > longest_frame_text)
            throw NotAFrame("a frame of more than " + std::to_string(longest_frame_text) + " bytes is not read");
    }
    if (high >= 0) throw NotAFrame("the number of hexadecimal digits is odd; a byte has two");
    return bytes;
}

FrameBytes read_frame_fields(const std::vector<std::string>& words) {
    return make_frame(FieldReader(words).read());
}

FrameBytes read_frame(const std::vector<std::string>& words) {
    if (!words.empty() && names_a_field(words)) return read_frame_fields(words);
    std::string text;
    for (const std::string& word : words)
        text += word + " ";
    return read_hex_frame(text);
}

namespace {

// tcpdump -x leaves the Ethernet header out. What stands there then, by its own length; nothing: it may be a frame.
std::string packet_without_frame(std::span<const uint8_t> bytes) {
    constexpr size_t ipv6_header_length = 40;
    constexpr size_t shortest_payload = 46; // what is shorter is padded
    constexpr std::array<uint8_t, 6> arp_begins{0x00, 0x01, 0x08, 0x00, 0x06, 0x04};
    if (bytes.size() < ipv4_header_length) return "";
    const auto is_length = [&](size_t length) {
        return length == bytes.size() || (length < shortest_payload && bytes.size() == shortest_payload);
    };
    const bool is_ipv4_header = bytes[0] >> 4 == 4 && (bytes[0] & 0xf) >= 5;
    if (is_ipv4_header && is_length(get_16(bytes, 2))) return "an IPv4 packet";
    const bool has_known_next = bytes[6] == tcp || bytes[6] == udp || bytes[6] == 58; // ICMPv6
    if (bytes[0] >> 4 == 6 && has_known_next && is_length(ipv6_header_length + get_16(bytes, 4)))
        return "an IPv6 packet";
    return std::equal(arp_begins.begin(), arp_begins.end(), bytes.begin()) ? "an ARP packet" : "";
}

} // namespace

std::vector<FrameBytes> read_dump(std::string_view text) {
    std::vector<FrameBytes> frames;
    size_t number = 0;
    for (size_t at = 0; at < text.size(); ++number) {
        const size_t end = std::min(text.find('\n', at), text.size());
        const std::string_view line = text.substr(at, end - at);
        at = end + 1;
        size_t offset = 0;
        std::string digits;
        if (!read_dump_line(line, offset, digits)) continue;
        const std::string where = "line " + std::to_string(number + 1) + ": ";
        try {
            const FrameBytes bytes = read_hex_frame(digits);
            if (offset == 0) frames.emplace_back();
            if (frames.empty() || offset != frames.back().size())
                throw NotAFrame("its offset does not follow from the bytes before");
            frames.back().insert(frames.back().end(), bytes.begin(), bytes.end());
        } catch (const NotAFrame& problem) {
            throw NotAFrame(where + problem.what());
        }
    }
    if (frames.empty())
        throw NotAFrame(
            "there is no line of bytes, such as tcpdump -xx prints: 0x0000:  ffff ffff ffff 0011 2233 4455");
    for (size_t i = 0; i < frames.size(); ++i)
        if (const std::string packet = packet_without_frame(frames[i]); !packet.empty())
            throw NotAFrame("frame " + std::to_string(i + 1) + " is " + packet +
                            " without its Ethernet header, as tcpdump -x prints it; say tcpdump -xx");
    return frames;
}

// --- Bytes to words ---

namespace {

[[gnu::format(printf, 1, 2)]] std::string formatted(const char* format, ...) {
    char text[128];
    va_list values;
    va_start(values, format);
    vsnprintf(text, sizeof text, format, values);
    va_end(values);
    return text;
}

std::string mac_text(std::span<const uint8_t> bytes) {
    return formatted("%02x:%02x:%02x:%02x:%02x:%02x", bytes[0], bytes[1], bytes[2], bytes[3], bytes[4], bytes[5]);
}

std::string address_text(std::span<const uint8_t> bytes) {
    return formatted("%u.%u.%u.%u", unsigned{bytes[0]}, unsigned{bytes[1]}, unsigned{bytes[2]}, unsigned{bytes[3]});
}

std::string protocol_text(uint8_t number) {
    for (const NamedProtocol& known : protocols)
        if (known.number == number) return std::string(known.name);
    return std::to_string(number);
}

size_t tags_end(std::span<const uint8_t> bytes, const std::function<bool(uint16_t)>& is_tag_type) {
    size_t at = 12;
    while (at + 6 <= bytes.size() && is_tag_type(get_16(bytes, at)))
        at += 4;
    return at;
}

std::string ipv4_text(std::span<const uint8_t> packet) {
    std::string text = " src " + address_text(packet.subspan(12)) + " dst " + address_text(packet.subspan(16)) +
                       " prot " + protocol_text(packet[9]);
    const size_t header_length = 4 * size_t{packet[0] & 0xfU};
    const unsigned fragment = get_16(packet, 6) & 0x1fffU;
    const bool has_ports = fragment == 0 && (packet[9] == tcp || packet[9] == udp);
    if (has_ports && packet.size() >= header_length + 4)
        text += formatted(" sport %u dport %u", unsigned{get_16(packet, header_length)},
                          unsigned{get_16(packet, header_length + 2)});
    if (packet[1] != 0) text += formatted(" tos %u", unsigned{packet[1]});
    if (fragment != 0) text += formatted(" fragment %u", fragment);
    const size_t headers = header_length + transport_header_length(packet[9], fragment);
    if (get_16(packet, 2) > headers) text += " length " + std::to_string(get_16(packet, 2) - headers);
    return text;
}

bool is_ipv4(std::span<const uint8_t> packet) {
    return packet.size() >= ipv4_header_length && packet[0] >> 4 == 4 && (packet[0] & 0xf) >= 5 &&
           size_t{packet[0] & 0xfU} * 4 <= packet.size();
}

} // namespace

std::string hex_of(std::span<const uint8_t> bytes) {
    std::string text;
    text.reserve(2 * bytes.size());
    for (const uint8_t byte : bytes) {
        text += "0123456789abcdef"[byte >> 4];
        text += "0123456789abcdef"[byte & 15];
    }
    return text;
}

std::string describe_tags(std::span<const uint8_t> bytes, const std::function<bool(uint16_t)>& is_tag_type) {
    std::string text;
    const size_t end = tags_end(bytes, is_tag_type);
    for (size_t at = 12; at < end; at += 4) {
        const uint16_t control = get_16(bytes, at + 2);
        text += text.empty() ? "tag" : " tag";
        if (get_16(bytes, at) != 0x8100) text += formatted(" tagtype %04x", unsigned{get_16(bytes, at)});
        text += formatted(" vid %u pri %u", control & 0xfffU, static_cast<unsigned>(control >> 13));
        if ((control & 0x1000) != 0) text += " dei";
    }
    return text;
}

std::string describe_frame(std::span<const uint8_t> bytes, const std::function<bool(uint16_t)>& is_tag_type) {
    if (bytes.size() < 14) return hex_of(bytes);
    std::string text = "da " + mac_text(bytes) + " sa " + mac_text(bytes.subspan(6));
    if (const std::string tags = describe_tags(bytes, is_tag_type); !tags.empty()) text += " " + tags;
    const size_t at = tags_end(bytes, is_tag_type);
    const uint16_t type = get_16(bytes, at);
    text += formatted(" etype %04x", unsigned{type});
    const std::span<const uint8_t> packet = bytes.subspan(at + 2);
    if (type == ipv4_type && is_ipv4(packet))
        text += ipv4_text(packet);
    else if (bytes.size() > shortest_on_wire)
        text += " length " + std::to_string(packet.size());
    return text;
}
