// Reading match operands.
#include "classify/match.h"

#include "common/scan.h"

#include <limits>
#include <netdb.h>
#include <optional>

namespace {

constexpr uint32_t full_mask = 0xffffffff;

// An operand as typed.
struct Match {
    uint32_t low;
    uint32_t high;
    uint32_t mask;
};

template <typename Word> bool store(const Match& match, uint32_t highest, MatchSlot<Word>& slot) {
    const uint32_t mask = match.mask & std::numeric_limits<Word>::max();
    const auto bounded = [&](uint32_t value) {
        const uint32_t masked = value & mask;
        return static_cast<Word>(masked > highest ? highest : masked);
    };
    const Word low = bounded(match.low);
    const Word high = bounded(match.high);
    if (low > high) return false;
    const bool is_range = low != high;
    slot = {low, is_range ? high : Word{0}, static_cast<Word>(mask), is_range ? Word{1} : Word{0}};
    return true;
}

// A negative number stands for the range from 0 to its absolute value.
Match single_decimal(int32_t value) {
    const auto number = static_cast<uint32_t>(value);
    if (value < 0) return {0, 0 - number, full_mask};
    return {number, number, full_mask};
}

Match single_hex(uint32_t value) {
    return {value, value, full_mask};
}

// value[/mask] or low-high[/mask]. What cannot be read from there on is left out.
template <typename Number>
std::optional<Match> parse_match(const char* at, bool (*scan_one)(const char*&, Number&), Match (*single)(Number)) {
    Number low{};
    if (!scan_one(at, low)) return std::nullopt;
    Match match = single(low);
    if (scan_literal(at, '-')) {
        Number high{};
        if (!scan_one(at, high)) return match;
        match = {static_cast<uint32_t>(low), static_cast<uint32_t>(high), full_mask};
    }
    if (scan_literal(at, '/')) scan_hex(at, match.mask);
    return match;
}

template <typename Word> bool parse_decimal(const char* text, uint32_t highest, MatchSlot<Word>& slot) {
    const std::optional<Match> match = parse_match(text, scan_decimal, single_decimal);
    return match && store(*match, highest, slot);
}

// The first octet is the most significant. Returns how many of the four were there.
int scan_octets(const char*& at, uint32_t& address) {
    address = 0;
    for (int count = 0; count < 4; ++count) {
        uint8_t octet = 0;
        if ((count > 0 && !scan_literal(at, '.')) || !scan_octet(at, octet)) return count;
        address = address << 8 | octet;
    }
    return 4;
}

// /n, the n top bits, or nothing. Without a number there is no prefix and the mask stays full. False for a length that
// no address has.
bool parse_prefix(const char* at, uint32_t& mask) {
    int32_t length = 0;
    if (!scan_literal(at, '/') || !scan_decimal(at, length)) return true;
    if (length < 0 || length > 32) return false;
    mask = length == 0 ? 0 : full_mask << (32 - length);
    return true;
}

} // namespace

bool parse_decimal_match(const char* text, uint8_t highest, MatchSlot<uint8_t>& slot) {
    return parse_decimal(text, highest, slot);
}

bool parse_decimal_match(const char* text, uint16_t highest, MatchSlot<uint16_t>& slot) {
    return parse_decimal(text, highest, slot);
}

bool parse_hex_match(const char* text, MatchSlot<uint16_t>& slot) {
    const std::optional<Match> match = parse_match(text, scan_hex, single_hex);
    return match && store(*match, 0xffff, slot);
}

bool parse_address_match(const char* text, MatchSlot<uint32_t>& slot) {
    Match match{0, 0, full_mask};
    if (scan_octets(text, match.low) != 4) return false;
    match.high = match.low;
    if (scan_literal(text, '-')) {
        uint32_t high = 0;
        const int octets = scan_octets(text, high);
        if (octets == 0) return store(match, full_mask, slot); // a dash alone is left out
        if (octets != 4) return false;
        match.high = high;
    }
    return parse_prefix(text, match.mask) && store(match, full_mask, slot);
}

bool parse_protocol_match(const char* text, MatchSlot<uint8_t>& slot) {
    const protoent* const entry = getprotobyname(text);
    if (entry == nullptr) return parse_decimal_match(text, uint8_t{255}, slot);
    if (entry->p_proto > 255) return false;
    slot = {static_cast<uint8_t>(entry->p_proto), 0, 0xff, 0};
    return true;
}
