// Reading operands with the tool's own readers, and comparing what they say with what is written.
#include "companion/operands.h"

#include "classify/extraction.h"
#include "classify/match.h"
#include "common/operands.h"
#include "common/qos_address.h"
#include "common/scan.h"
#include "common/shaping.h"
#include "common/vlan_operands.h"
#include "port/cosmap.h"
#include "port/port_list.h"
#include "qos/tosmap.h"

#include "platform/portshm.h"

#include <netdb.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <limits>
#include <stdexcept>

namespace {

using Words = std::vector<std::string>;

// --- How a number is written that is read as what stands there ---

const Reading good{};

Reading unfit() {
    return {Reading::no_operand, ""};
}

Reading refused(const std::string& why, int32_t code) {
    return {Reading::refused, why + " (NG " + std::to_string(code) + ")"};
}

Reading read_as(const std::string& what) {
    return {Reading::in_silence, "is read as " + what};
}

std::string hex(uint64_t value, int digits = 1) {
    char text[20];
    snprintf(text, sizeof text, "%0*llx", digits, static_cast<unsigned long long>(value));
    return text;
}

bool is_digit(char c) {
    return c >= '0' && c <= '9';
}

bool is_hex_digit(char c) {
    return is_digit(c) || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

// The same number in other writings: without zeros in front, without a plus, without 0x, in small letters.
std::string normal(std::string_view word, bool is_hex = false) {
    std::string text;
    const auto is_part = [&](char c) { return is_hex ? is_hex_digit(c) : is_digit(c); };
    for (size_t at = 0; at < word.size();) {
        const bool begins = text.empty() || !is_part(text.back());
        const bool is_prefix =
            is_hex && word[at] == '0' && at + 2 < word.size() && lower(word[at + 1]) == 'x' && is_part(word[at + 2]);
        if (begins && is_prefix) {
            at += 2;
            continue;
        }
        const bool is_leading_zero = begins && word[at] == '0' && at + 1 < word.size() && is_part(word[at + 1]);
        const bool is_plus = word[at] == '+' && begins && at + 1 < word.size() && is_part(word[at + 1]);
        if (!is_leading_zero && !is_plus) text += is_hex ? lower(word[at]) : word[at];
        ++at;
    }
    return text;
}

// As the tool reads it, unless that is what stands there.
Reading compare(const std::string& word, const std::string& as_read, bool is_hex = false) {
    return normal(word, is_hex) == as_read ? good : read_as(as_read);
}

Reading first_of(const Reading& one, const Reading& other) {
    return one.kind != Reading::plain ? one : other;
}

// --- Numbers ---

Reading read_decimal(const std::string& word, int32_t& value) {
    if (!parse_number(word.c_str(), value)) return unfit();
    return compare(word, std::to_string(value));
}

Reading read_any_number(const Words& words, size_t at) {
    int32_t value = 0;
    return read_decimal(words[at], value);
}

struct Bounds {
    int32_t low;
    int32_t high;
    int32_t out_of_range; // the codes
    int32_t no_number;    // 0: the usage text
};

std::string not_from_to(const std::string& word, int64_t low, int64_t high) {
    return "\"" + word + "\" is not a number from " + std::to_string(low) + " to " + std::to_string(high);
}

template <const Bounds& Limits> Reading read_bounded(const Words& words, size_t at) {
    const std::string& word = words[at];
    int32_t value = 0;
    Reading reading = read_decimal(word, value);
    if (reading.kind == Reading::no_operand && Limits.no_number != 0)
        return refused(not_from_to(word, Limits.low, Limits.high), Limits.no_number);
    if (reading.kind == Reading::no_operand || is_within(value, Limits.low, Limits.high)) return reading;
    return refused(not_from_to(word, Limits.low, Limits.high), Limits.out_of_range);
}

constexpr Bounds front_port{1, front_port_count, range_error::port, 0};
constexpr Bounds aging_time{60, 1000000, range_error::aging, invalid::aging};
constexpr Bounds group{0, 0xffff, range_error::protgroup, invalid::protgroup};
constexpr Bounds mirror{1, mirror_count, range_error::mirror, invalid::mirror};
constexpr Bounds mirror_source_port{1, front_port_count, range_error::mirror_source, invalid::mirror_source};
constexpr Bounds mirror_destination{1, front_port_count, range_error::mirror_destination, invalid::mirror_destination};
constexpr Bounds stream_priority{0, priority_count - 1, range_error::stream_priority, 0};
constexpr Bounds learning_limit{2, 50000, range_error::learning_limit, invalid::learning_limit};
constexpr Bounds member_port{std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max(), status::no_port,
                             status::no_port};

Reading read_logical_port(const Words& words, size_t at) {
    int32_t port = 0;
    const Reading reading = read_decimal(words[at], port);
    return is_within(port, lowest_logical_port, highest_logical_port) ? reading : unfit();
}

Reading read_vid(const Words& words, size_t at) {
    int32_t vid = 0;
    const std::string why = "\"" + words[at] + "\" is not a VLAN id from 1 to 4094 or from 4096 to 8191";
    const Reading reading = read_decimal(words[at], vid);
    if (reading.kind == Reading::no_operand) return refused(why, invalid::vlan_id);
    return is_tagged_vlan_id(vid) || is_local_vlan_id(vid) ? reading : refused(why, range_error::vlan_id);
}

// A number, or else the name of a VLAN.
Reading read_pvid(const Words& words, size_t at) {
    int32_t vid = 0;
    if (!parse_number(words[at].c_str(), vid)) return good;
    if (vid != 0 && !is_tagged_vlan_id(vid) && !is_local_vlan_id(vid))
        return refused("\"" + words[at] + "\" is not a VLAN id from 1 to 4094 or from 4096 to 8191", range_error::pvid);
    Reading reading = compare(words[at], std::to_string(vid));
    if (reading.kind == Reading::plain) return reading;
    return {Reading::in_silence, reading.remark + ", and not as the name of a VLAN"};
}

Reading read_hexadecimal(const std::string& word, uint32_t& value) {
    if (!parse_hex_number(word.c_str(), value)) return unfit();
    return compare(word, hex(value), true);
}

Reading read_bits(const Words& words, size_t at) {
    uint32_t value = 0;
    return read_hexadecimal(words[at], value);
}

Reading read_flags(const Words& words, size_t at) {
    uint32_t value = 0;
    const Reading reading = read_hexadecimal(words[at], value);
    return reading.kind != Reading::no_operand && value > 0xff ? read_as(hex(value & 0xff)) : reading;
}

template <int32_t OutOfRange, int32_t NoNumber> Reading read_16_bits(const Words& words, size_t at) {
    uint32_t value = 0;
    const std::string why = "\"" + words[at] + "\" is not a hexadecimal number from 0 to ffff";
    const Reading reading = read_hexadecimal(words[at], value);
    if (reading.kind == Reading::no_operand) return refused(why, NoNumber);
    return value > 0xffff ? refused(why, OutOfRange) : reading;
}

std::string range_text(const NumberRange& range, const std::string& word) {
    const bool is_single = range.min == range.max && word.find('-', 1) == std::string::npos;
    return std::to_string(range.min) + (is_single ? "" : "-" + std::to_string(range.max));
}

Reading read_range(const Words& words, size_t at) {
    NumberRange range{};
    if (!parse_range(words[at].c_str(), range)) return unfit();
    return compare(words[at], range_text(range, words[at]));
}

// --- Rates, bursts, lengths ---

bool wraps(int32_t number) {
    return int64_t{number} * 1000 != times_1000(number);
}

std::string rate_text(int32_t rate) {
    return rate % 1000 == 0 ? std::to_string(rate / 1000) : std::to_string(rate) + " bit/s";
}

Reading judge_rate(const std::string& word, int32_t typed, int32_t lowest, const Reading& reading) {
    const int32_t rate = times_1000(typed);
    if (!is_within(rate, lowest, highest_rate))
        return refused("\"" + word + "\" is not a rate from " + std::to_string(lowest_rate / 1000) + " to " +
                           std::to_string(highest_rate / 1000),
                       range_error::rate);
    return wraps(typed) ? read_as(rate_text(rate) + ", since it wraps around at 32 bits") : reading;
}

Reading read_rate(const Words& words, size_t at) {
    int32_t typed = 0;
    const Reading reading = read_decimal(words[at], typed);
    return reading.kind == Reading::no_operand ? reading : judge_rate(words[at], typed, lowest_rate, reading);
}

// Behind the upper one and a keyword.
Reading read_lower_rate(const Words& words, size_t at) {
    int32_t upper = 0;
    int32_t typed = 0;
    Reading reading = read_rate(words, at);
    const bool is_above = at >= 2 && parse_number(words[at - 2].c_str(), upper) &&
                          parse_number(words[at].c_str(), typed) && times_1000(typed) > times_1000(upper);
    if (reading.kind == Reading::no_operand || reading.kind == Reading::refused || !is_above) return reading;
    return refused("\"" + words[at] + "\" is above the highest rate", range_error::rate);
}

// The lower one has no lower bound of its own.
Reading read_rates(const Words& words, size_t at) {
    NumberRange typed{};
    if (!parse_range(words[at].c_str(), typed)) return unfit();
    const Reading reading = compare(words[at], range_text(typed, words[at]));
    Reading upper = judge_rate(words[at], typed.max, lowest_rate, reading);
    if (upper.kind == Reading::refused) return upper;
    if (times_1000(typed.min) > times_1000(typed.max))
        return refused("\"" + words[at] + "\" begins above its end", range_error::rate);
    return first_of(judge_rate(words[at], typed.min, std::numeric_limits<int32_t>::min(), reading), upper);
}

Reading judge_burst(const Words& words, size_t at, int32_t typed, const Reading& reading) {
    const bool is_in_bytes = at + 1 < words.size() && words[at + 1] == "byte";
    const int32_t burst = is_in_bytes ? typed : times_1000(typed);
    if (!is_burst(burst))
        return refused("\"" + words[at] + "\" is not a burst of " +
                           (is_in_bytes ? "80 to 32000 bytes" : "1 to 32 kilobytes"),
                       range_error::burst);
    if (!is_in_bytes && wraps(typed))
        return read_as(std::to_string(burst) + " bytes, since it wraps around at 32 bits");
    return reading;
}

Reading read_burst(const Words& words, size_t at) {
    int32_t typed = 0;
    const Reading reading = read_decimal(words[at], typed);
    return reading.kind == Reading::no_operand ? reading : judge_burst(words, at, typed, reading);
}

Reading read_bursts(const Words& words, size_t at) {
    NumberRange typed{};
    if (!parse_range(words[at].c_str(), typed)) return unfit();
    const Reading reading = compare(words[at], range_text(typed, words[at]));
    const Reading upper = judge_burst(words, at, typed.max, reading);
    const Reading lower = judge_burst(words, at, typed.min, reading);
    if (lower.kind != Reading::refused && upper.kind != Reading::refused && typed.min > typed.max)
        return refused("\"" + words[at] + "\" begins above its end", range_error::burst);
    return upper.kind == Reading::refused ? upper : first_of(lower, upper);
}

// The switch gives queues whole units, and none less than one long frame.
Reading read_length(const Words& words, size_t at) {
    constexpr int32_t shortest = 1536;
    constexpr int32_t longest = 4194304;
    constexpr int32_t unit = 64;
    int32_t typed = 0;
    Reading reading = read_decimal(words[at], typed);
    if (reading.kind == Reading::no_operand) return reading;
    if (typed < shortest) return read_as(std::to_string(shortest) + " bytes, the shortest length");
    const int64_t rounded = (int64_t{typed} + unit - 1) / unit * unit;
    if (rounded > std::numeric_limits<int32_t>::max())
        return read_as("a negative length, since it wraps around at 32 bits");
    if (rounded > longest) return refused(not_from_to(words[at], 0, longest), range_error::queue_size);
    return rounded == typed ? reading : read_as(std::to_string(rounded) + " bytes, in whole units of 64");
}

// --- Addresses in the QoS tree ---

Reading out_of_tree(const std::string& word, const std::string& part, int32_t value, int32_t low, int32_t high,
                    int32_t code) {
    return refused("\"" + word + "\" has " + part + " " + std::to_string(value) + ", which is not from " +
                       std::to_string(low) + " to " + std::to_string(high),
                   code);
}

// Good where all numbers are such that the tree has them.
Reading judge_address(const std::string& word, int32_t port, int32_t stream, int32_t traffic_class) {
    if (!is_within(port, 1, front_port_count))
        return out_of_tree(word, "port", port, 1, front_port_count, range_error::port);
    if (!is_stream(stream)) return out_of_tree(word, "stream", stream, 1, streams_per_port, range_error::stream);
    if (!is_class(traffic_class))
        return out_of_tree(word, "class", traffic_class, 0, classes_per_stream - 1, range_error::traffic_class);
    return good;
}

// Numbers with slashes between, from the front of the text.
bool scan_numbers(const char*& at, std::initializer_list<int32_t*> numbers) {
    bool is_first = true;
    for (int32_t* number : numbers) {
        if (!is_first && !scan_literal(at, '/')) return false;
        if (!scan_decimal(at, *number)) return false;
        is_first = false;
    }
    return true;
}

bool is_color(std::string_view word) {
    return std::any_of(std::begin(color_words), std::end(color_words),
                       [&](const NumberedWord& row) { return word == row.word; });
}

bool scan_color(const char*& at, std::string& color) {
    std::string_view text;
    if (!scan_literal(at, '/') || !scan_text(at, text) || !is_color(text)) return false;
    color = text;
    return true;
}

std::string slashed(std::initializer_list<int32_t> numbers) {
    std::string text;
    for (const int32_t number : numbers)
        text += (text.empty() ? "" : "/") + std::to_string(number);
    return text;
}

// The numbers are judged before the color is looked at.
Reading judge_colored(const std::string& word, const Reading& place, const std::string& numbers,
                      std::string_view color) {
    if (place.kind != Reading::plain) return place;
    return is_color(color) ? compare(word, numbers + "/" + std::string(color)) : unfit();
}

Reading read_stream(const Words& words, size_t at) {
    const char* text = words[at].c_str();
    int32_t port = 0;
    int32_t stream = 0;
    if (!scan_numbers(text, {&port, &stream})) return unfit();
    return first_of(judge_address(words[at], port, stream, 0), compare(words[at], slashed({port, stream})));
}

Reading read_queue(const Words& words, size_t at) {
    const char* text = words[at].c_str();
    int32_t port = 0;
    int32_t stream = 0;
    int32_t traffic_class = 0;
    if (!scan_numbers(text, {&port, &stream, &traffic_class})) return unfit();
    return first_of(judge_address(words[at], port, stream, traffic_class),
                    compare(words[at], slashed({port, stream, traffic_class})));
}

// A class, or "-" for all of them.
Reading read_classes(const Words& words, size_t at) {
    const char* text = words[at].c_str();
    int32_t port = 0;
    int32_t stream = 0;
    int32_t traffic_class = 0;
    std::string_view classes;
    if (!scan_numbers(text, {&port, &stream}) || !scan_literal(text, '/') || !scan_text(text, classes)) return unfit();
    const bool is_all = classes == "-";
    Reading above = judge_address(words[at], port, stream, 0);
    if (above.kind != Reading::plain) return above;
    if (!is_all && !parse_number(classes.data(), traffic_class)) return unfit();
    const std::string as_read = slashed({port, stream}) + "/" + (is_all ? "-" : std::to_string(traffic_class));
    return first_of(judge_address(words[at], port, stream, traffic_class), compare(words[at], as_read));
}

Reading read_queue_color(const Words& words, size_t at) {
    const char* text = words[at].c_str();
    int32_t port = 0;
    int32_t stream = 0;
    int32_t traffic_class = 0;
    std::string_view color;
    if (!scan_numbers(text, {&port, &stream, &traffic_class}) || !scan_literal(text, '/') || !scan_text(text, color))
        return unfit();
    return judge_colored(words[at], judge_address(words[at], port, stream, traffic_class),
                         slashed({port, stream, traffic_class}), color);
}

// <stream/class/color>, where the bridge library judges the numbers.
Reading read_target(const Words& words, size_t at) {
    const char* text = words[at].c_str();
    int32_t stream = 0;
    int32_t traffic_class = 0;
    std::string color;
    if (!scan_numbers(text, {&stream, &traffic_class}) || !scan_color(text, color)) return unfit();
    return compare(words[at], slashed({stream, traffic_class}) + "/" + color);
}

Reading read_mirror_target(const Words& words, size_t at) {
    const char* text = words[at].c_str();
    int32_t stream = 0;
    int32_t traffic_class = 0;
    const bool fits = scan_numbers(text, {&stream, &traffic_class}) && is_stream(stream) && is_class(traffic_class);
    return fits ? read_target(words, at) : unfit();
}

// The class is read as 8 bits.
Reading read_rule_target(const Words& words, size_t at) {
    const char* text = words[at].c_str();
    int32_t stream = 0;
    uint8_t traffic_class = 0;
    std::string_view color;
    if (!scan_decimal(text, stream) || !scan_literal(text, '/') || !scan_octet(text, traffic_class) ||
        !scan_literal(text, '/') || !scan_text(text, color))
        return unfit();
    return judge_colored(words[at], judge_address(words[at], 1, stream, traffic_class),
                         slashed({stream, traffic_class}), color);
}

// --- Maps and lists ---

Reading read_cosmap(const Words& words, size_t at) {
    CosMap map{};
    if (!parse_cosmap(words[at].c_str(), map)) return unfit();
    std::string as_read;
    for (const uint32_t traffic_class : map.classes)
        as_read += (as_read.empty() ? "" : ",") + std::to_string(traffic_class);
    std::string without_commas = as_read;
    std::erase(without_commas, ',');
    return words[at] == as_read || words[at] == without_commas ? good : read_as(as_read);
}

// A missing entry is nothing between its commas; a mask of all bits need not be written.
std::string tosmap_text(const TosMap& map) {
    std::string text;
    for (uint32_t entry = 0; entry < tosmap_entry_count; ++entry) {
        text += entry == 0 ? "" : ",";
        if ((map.present & 1U << entry) == 0) continue;
        text += hex(map.values[entry]);
        if (map.masks[entry] != 255) text += "/" + hex(map.masks[entry]);
    }
    text.erase(text.find_last_not_of(',') + 1);
    return text;
}

Reading read_tosmap(const Words& words, size_t at) {
    TosMap map{};
    if (parse_tosmap(words[at].c_str(), map) != 0) return unfit();
    const std::string as_read = tosmap_text(map);
    std::string written = normal(words[at], true);
    for (size_t full = 0; (full = written.find("/ff", full)) != std::string::npos;) {
        const size_t end = full + 3;
        if (end == written.size() || written[end] == ',')
            written.erase(full, 3);
        else
            full = end;
    }
    return written == as_read ? good : read_as(as_read.empty() ? "no entry at all" : as_read);
}

Reading read_ports(const Words& words, size_t at) {
    uint32_t mask = 0;
    if (!parse_port_list(words[at].c_str(), mask)) return unfit();
    std::string ports;
    for (int port = 1; port <= front_port_count; ++port)
        if ((mask & 1U << (port - 1)) != 0) ports += (ports.empty() ? "" : ",") + std::to_string(port);
    if (ports.empty()) return read_as("no port at all");
    size_t digits = 0;
    size_t longest = 0;
    for (const char c : words[at]) {
        digits = is_digit(c) ? digits + 1 : 0;
        longest = std::max(longest, digits);
    }
    return longest > 9 ? read_as(ports) : good;
}

// --- MAC addresses ---

Reading read_mac(const Words& words, size_t at) {
    const std::string& word = words[at];
    uint8_t mac[mac_length] = {};
    if (parse_mac_address(word.c_str(), mac) != 0)
        return refused("\"" + word + "\" is not a MAC address such as 00:11:22:33:44:55", invalid::mac_address);
    std::string as_read;
    std::string written;
    for (const uint8_t byte : mac)
        as_read += (as_read.empty() ? "" : ":") + hex(byte, 2);
    std::transform(word.begin(), word.end(), std::back_inserter(written), lower);
    return written == as_read ? good : read_as(as_read);
}

Reading read_local_mac(const Words& words, size_t at) {
    Reading reading = read_mac(words, at);
    if (reading.kind == Reading::refused) return reading;
    uint8_t mac[mac_length] = {};
    parse_mac_address(words[at].c_str(), mac);
    const bool is_reserved = std::equal(mac, mac + mac_length - 1, reserved_address::first.begin()) &&
                             mac[mac_length - 1] <= reserved_address::last_byte;
    return is_reserved ? refused("\"" + words[at] + "\" is one of the switch's own", invalid::reserved_mac_address)
                       : reading;
}

// --- What classification rules match ---

// What sites write for "anything"; any other word that cannot be read means the same, in silence.
bool is_wildcard(std::string_view word) {
    return word == "x" || word == "-" || word == "*" || word == "any";
}

Reading any_match(const std::string& word) {
    return is_wildcard(word) ? good : Reading{Reading::in_silence, "cannot be read, and stands for any"};
}

using Digits = bool (*)(char);

bool has_only(std::string_view text, Digits is_good) {
    return !text.empty() && std::all_of(text.begin(), text.end(), is_good);
}

// value[-value][/mask] and nothing else.
bool is_match(std::string_view word, bool (*is_value)(std::string_view), bool (*is_mask)(std::string_view)) {
    const size_t slash = word.find('/');
    if (slash != std::string_view::npos && !is_mask(word.substr(slash + 1))) return false;
    const std::string_view values = word.substr(0, slash);
    const size_t dash = values.find('-');
    if (dash == std::string_view::npos) return is_value(values);
    return is_value(values.substr(0, dash)) && is_value(values.substr(dash + 1));
}

bool is_hex_text(std::string_view text) {
    if (text.starts_with("0x") || text.starts_with("0X")) text.remove_prefix(2);
    return text.size() <= 8 && has_only(text, is_hex_digit);
}

bool is_hex_16(std::string_view text) {
    return is_hex_text(text) && normal(text, true).size() <= 4;
}

template <int32_t Highest> bool is_decimal_to(std::string_view text) {
    return text.size() <= 9 && has_only(text, is_digit) && std::stoi(std::string(text)) <= Highest;
}

bool is_address(std::string_view text) {
    for (int octet = 0; octet < 4; ++octet) {
        const size_t end = octet < 3 ? text.find('.') : text.size();
        if (end == std::string_view::npos || !is_decimal_to<255>(text.substr(0, end))) return false;
        text.remove_prefix(octet < 3 ? end + 1 : end);
    }
    return true;
}

std::string address_text(uint32_t address) {
    return std::to_string(address >> 24) + "." + std::to_string(address >> 16 & 255) + "." +
           std::to_string(address >> 8 & 255) + "." + std::to_string(address & 255);
}

Reading read_address_match(const Words& words, size_t at) {
    const std::string& word = words[at];
    MatchSlot<uint32_t> slot{};
    if (!parse_address_match(word.c_str(), slot)) return any_match(word);
    if (is_match(word, is_address, is_decimal_to<32>)) return good;
    std::string as_read = address_text(slot.low);
    if (slot.is_range != 0) as_read += "-" + address_text(slot.high);
    if (slot.mask != 0xffffffff) as_read += "/" + std::to_string(std::popcount(slot.mask));
    return read_as(as_read);
}

template <typename Word> std::string match_text(const MatchSlot<Word>& slot, std::string (*number)(uint32_t)) {
    std::string text = number(slot.low);
    if (slot.is_range != 0) text += "-" + number(slot.high);
    if (slot.mask != std::numeric_limits<Word>::max()) text += "/" + hex(slot.mask);
    return text;
}

std::string decimal_text(uint32_t number) {
    return std::to_string(number);
}

std::string hex_text(uint32_t number) {
    return hex(number);
}

template <typename Word, int32_t Highest> Reading read_decimal_match(const Words& words, size_t at) {
    const std::string& word = words[at];
    MatchSlot<Word> slot{};
    if (!parse_decimal_match(word.c_str(), static_cast<Word>(Highest), slot)) return any_match(word);
    if (is_match(word, is_decimal_to<Highest>, is_hex_text)) return good;
    return read_as(match_text(slot, decimal_text));
}

// The emulated switch writes down who asks by getprotobyname; a look at a file is no call.
bool is_protocol_name(const std::string& word) {
    protoent entry{};
    protoent* found = nullptr;
    std::array<char, 4096> buffer{};
    return getprotobyname_r(word.c_str(), &entry, buffer.data(), buffer.size(), &found) == 0 && found != nullptr &&
           found->p_proto <= 255;
}

Reading read_protocol_match(const Words& words, size_t at) {
    const std::string& word = words[at];
    if (is_protocol_name(word)) return good;
    MatchSlot<uint8_t> slot{};
    if (parse_decimal_match(word.c_str(), uint8_t{255}, slot))
        return is_match(word, is_decimal_to<255>, is_hex_text) ? good : read_as(match_text(slot, decimal_text));
    if (is_wildcard(word)) return good;
    return {Reading::in_silence, "is no protocol that this machine knows, and stands for any"};
}

Reading read_type_match(const Words& words, size_t at) {
    const std::string& word = words[at];
    MatchSlot<uint16_t> slot{};
    if (!parse_hex_match(word.c_str(), slot)) return any_match(word);
    return is_match(word, is_hex_16, is_hex_text) ? good : read_as(match_text(slot, hex_text));
}

// --- Extraction points ---

std::vector<std::string> fields_of(const std::string& word) {
    std::vector<std::string> fields(1);
    for (const char c : word) {
        if (c == ',')
            fields.emplace_back();
        else
            fields.back() += c;
    }
    return fields;
}

Reading too_many_fields() {
    return {Reading::in_silence, "has more than four fields, of which only four count"};
}

Reading read_points(const Words& words, size_t at) {
    ExtractionPoint points[extraction_point_count] = {};
    parse_extraction_points(words[at].c_str(), points);
    const std::vector<std::string> fields = fields_of(words[at]);
    if (fields.size() > extraction_point_count) return too_many_fields();
    for (size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].empty() || is_wildcard(fields[i])) continue;
        const std::string offset = std::to_string(points[i].offset);
        const std::string whole = offset + "/" + std::to_string(points[i].width);
        const std::string written = normal(fields[i]);
        if (written == whole || (written == offset && points[i].width == 4)) continue;
        return {Reading::in_silence, points[i].width == 0
                                         ? "has \"" + fields[i] + "\", which is no point and is left out"
                                         : "has \"" + fields[i] + "\", which is read as " + whole};
    }
    return good;
}

Reading read_extraction_matches(const Words& words, size_t at) {
    const std::vector<std::string> fields = fields_of(words[at]);
    if (fields.size() > extraction_point_count) return too_many_fields();
    ExtractionMatch matches[extraction_point_count] = {};
    const uint32_t present = parse_extraction_matches(words[at].c_str(), matches);
    for (size_t i = 0; i < fields.size(); ++i) {
        if (fields[i].empty() || is_wildcard(fields[i])) continue;
        const size_t slash = fields[i].find('/');
        const std::string_view value = std::string_view(fields[i]).substr(0, slash);
        const bool has_good_mask =
            slash == std::string::npos || is_hex_text(std::string_view(fields[i]).substr(slash + 1));
        if (is_hex_text(value) && has_good_mask) continue;
        const bool is_present = (present & rule_field::first_extraction << i) != 0;
        return {Reading::in_silence,
                "has \"" + fields[i] + "\", which " +
                    (is_present ? "is read as " + hex(matches[i].value) + "/" + hex(matches[i].mask)
                                : "cannot be read, and stands for any")};
    }
    return good;
}

// --- Names and words ---

Reading read_anything(const Words& /*words*/, size_t /*at*/) {
    return good;
}

Reading read_new_name(const Words& words, size_t at) {
    if (words[at] == "all") return refused("\"all\" stands for every VLAN and cannot be the name of one", 1);
    return good;
}

// The keyword form of the shaper takes any word there but this one.
Reading read_not_minburst(const Words& words, size_t at) {
    return words[at] == "minburst" ? unfit() : good;
}

Reading read_other_keyword(const Words& words, size_t at) {
    return words[at] == "shaping" || words[at] == "share" ? unfit() : good;
}

constexpr OperandKind kinds[] = {
    {"port", "a port number", read_any_number},
    {"ether", "the number of an interface", read_any_number},
    {"number", "a number", read_any_number},
    {"list", "the number of a list", read_any_number},
    {"line", "the number of a line", read_any_number},
    {"class", "a class number", read_any_number},
    {"ratio", "a number", read_any_number},
    {"priority", "a number", read_any_number},
    {"stream priority", "a number from 0 to 7", read_bounded<stream_priority>},
    {"front port", "a port from 1 to 4", read_bounded<front_port>},
    {"logical port", "a logical port, 101 to 164", read_logical_port},
    {"member port", "a port number", read_bounded<member_port>},
    {"time", "a number of seconds", read_bounded<aging_time>},
    {"limit", "a number of addresses", read_bounded<learning_limit>},
    {"gid", "the number of a protocol group", read_bounded<group>},
    {"mirror", "the number of a mirror", read_bounded<mirror>},
    {"source port", "a port from 1 to 4", read_bounded<mirror_source_port>},
    {"destination port", "a port from 1 to 4", read_bounded<mirror_destination>},
    {"vid", "a VLAN id", read_vid},
    {"pvid", "a VLAN id or name", read_pvid},
    {"type", "a tag type, hexadecimal", read_16_bits<range_error::tag_type, invalid::tag_type>},
    {"ether type", "an Ethernet type, hexadecimal", read_16_bits<range_error::ether_type, invalid::ether_type>},
    {"bits", "a hexadecimal number", read_bits},
    {"flags", "a hexadecimal number", read_flags},
    {"min-max", "a number, or two with a - between", read_range},
    {"rate", "a rate in kbit/s", read_rate},
    {"lower rate", "a rate in kbit/s", read_lower_rate},
    {"rates", "a rate in kbit/s, or two with a - between", read_rates},
    {"burst", "a burst", read_burst},
    {"bursts", "a burst, or two with a - between", read_bursts},
    {"length", "a length in bytes", read_length},
    {"port/stream", "a port and a stream such as 1/2", read_stream},
    {"port/stream/class", "a queue such as 1/2/7", read_queue},
    {"port/stream/classes", "a queue such as 1/2/7, or 1/2/- for all eight", read_classes},
    {"port/stream/class/color", "a queue and a color such as 1/2/7/red", read_queue_color},
    {"stream/class/color", "a class such as 1/7/red", read_target},
    {"mirrored class", "a class from 1/0/green to 256/7/red", read_mirror_target},
    {"rule class", "a class such as 1/7/red", read_rule_target},
    {"map", "eight classes such as 0,1,2,3,4,5,6,7", read_cosmap},
    {"tosmap", "up to eight hexadecimal values such as 10/ff,20", read_tosmap},
    {"ports", "ports from 1 to 4 such as 1,3-4", read_ports},
    {"mac", "a MAC address", read_mac},
    {"local mac", "a MAC address", read_local_mac},
    {"da", "an IPv4 address", read_address_match},
    {"sa", "an IPv4 address", read_address_match},
    {"tos", "a number", read_decimal_match<uint8_t, 255>},
    {"prot", "a protocol", read_protocol_match},
    {"dp", "a port", read_decimal_match<uint16_t, 0xffff>},
    {"sp", "a port", read_decimal_match<uint16_t, 0xffff>},
    {"matched vid", "a VLAN id", read_decimal_match<uint16_t, 4095>},
    {"cos", "a priority", read_decimal_match<uint8_t, 7>},
    {"etype", "an Ethernet type", read_type_match},
    {"ext", "what the extraction points hold", read_extraction_matches},
    {"points", "extraction points", read_points},
    {"name", "a name", read_anything},
    {"new name", "a name", read_new_name},
    {"word", "a word", read_anything},
    {"no minburst", "a word other than minburst", read_not_minburst},
    {"other word", "a word", read_other_keyword},
};

} // namespace

const OperandKind& operand_kind(std::string_view name) {
    for (const OperandKind& kind : kinds)
        if (name == kind.name) return kind;
    throw std::logic_error("no operand is called " + std::string(name));
}
