// Words of sentences.
#include "companion/wording.h"

#include "companion/words.h"
#include "core/match_text.h"

#include <array>
#include <optional>

namespace wording {

namespace {

// What was typed so that 1000 times it, wrapped at 32 bits, is the rate. 1000 is 8 * 125, and 125 has an inverse modulo
// 2^29; a rate that is no multiple of 8 cannot come from a sentence.
std::string typed_rate(int64_t rate) {
    if (rate % 1000 == 0) return text(rate / 1000);
    constexpr uint32_t inverse_of_125 = 652835029U;
    static_assert(inverse_of_125 * 125U == 1U);
    const uint32_t eighth = static_cast<uint32_t>(rate) / 8;
    return std::to_string(eighth * inverse_of_125 % (1U << 29));
}

std::string rate_and_burst(const Query& row) {
    return "rate " + typed_rate(row.number("rate")) + " burst " + text(row.number("burst")) + " byte";
}

std::string on_or_off(bool is_on) {
    return is_on ? "on" : "off";
}

constexpr size_t match_operands = std::size(emulator::match_fields); // the extraction points share a word

// The operands of a rule, and whether a sentence can have them.
struct RuleOperands {
    std::array<std::string, match_operands> words;
    bool can_be_typed = true;

    void add(const Query& row) {
        const std::string name = row.text("field");
        const emulator::MatchField* const field = emulator::find_match_field(name.c_str());
        if (field == nullptr) row.fail_as_damaged("field");
        const emulator::StoredMatch match{row.number("low"), row.optional_number("high"), row.number("mask")};
        if (!match.fits(*field)) row.fail_as_damaged("low");
        char buffer[64];
        notation::Text text(buffer, sizeof buffer);
        emulator::write_match(text, *field, match);
        words.at(static_cast<size_t>(field - emulator::match_fields)).assign(text.buffer, text.length);
        can_be_typed = can_be_typed && emulator::can_be_typed(*field, match);
    }
    std::string text() const {
        std::string all;
        for (size_t i = 0; i < match_operands - extraction_point_count; ++i)
            (all += ' ') += words.at(i).empty() ? "x" : words.at(i);
        const std::string extraction = words[9] + "," + words[10] + "," + words[11] + "," + words[12];
        return all + " " + (extraction == ",,," ? "x" : extraction);
    }
};

// The call that a setting of a VLAN comes to.
std::string setting_call(int64_t vid, const std::string& setting) {
    const std::string keyword = setting.substr(0, setting.find(' '));
    const std::string value = setting.substr(keyword.size() + 1);
    if (keyword == "learninglimit")
        return library_call("brgfdb_set_vlan_learninglimit", text(vid), value == "none" ? std::string("0") : value);
    if (keyword == "learning")
        return library_call("brgfdb_set_vlan_learning_off", text(vid), text(value == "on" ? 0 : 1));
    return library_call(keyword == "ignorefdb" ? "brgfdb_set_vlan_ignore_fdb" : "brgfdb_set_vlan_sld", text(vid),
                        text(value == "on" ? 1 : 0));
}

} // namespace

std::string text(int64_t number) {
    return std::to_string(number);
}

std::string hex(int64_t value, int digits) {
    char digits_of[20];
    static_cast<void>(snprintf(digits_of, sizeof digits_of, "%0*llx", digits, static_cast<unsigned long long>(value)));
    return digits_of;
}

std::vector<Setting> port_settings(const Query& port) {
    return {
        {std::string("aftype ") + (port.flag("accept_all_frames") ? "all" : "tagonly"), "aftype all"},
        {"ingfil " + on_or_off(port.flag("ingress_filtering")), "ingfil off"},
        {"ignoretag " + on_or_off(!port.flag("accept_tagged")), "ignoretag off"},
        {"ignoreptag " + on_or_off(!port.flag("accept_priority_tagged")), "ignoreptag off"},
        {"cosedit " + on_or_off(port.flag("cos_editing")), "cosedit off"},
        {"ignorefdb " + on_or_off(port.flag("ignore_fdb")), "ignorefdb off"},
        {"tagtype " + hex(port.number("tag_type")), "tagtype " + hex(default_tag_type)},
        {"aging " + text(port.number("aging")), "aging 300"},
        {"sldbreaker " + on_or_off(port.flag("loop_breaker")), "sldbreaker off"},
        {"bandwidth " + port.word("bandwidth_mode", bandwidth_mode_words), "bandwidth frame_only"},
        {"default_class " + text(port.number("default_stream") + 1) + "/" + text(port.number("default_class")) + "/" +
             port.word("default_color", color_words),
         "default_class 1/0/green"},
    };
}

std::string typed_ports(int64_t mask) {
    std::string list;
    for (int64_t port = 1; port <= 32; ++port)
        if ((mask >> (port - 1) & 1) != 0) list += (list.empty() ? "" : ",") + text(port);
    return list.empty() ? "0" : list;
}

std::string policer(const Query& row) {
    return "on rcolor " + row.word("color", policing_color_words) + " " + rate_and_burst(row);
}

std::string ether_shaper(const Query& row) {
    return "on " + rate_and_burst(row);
}

std::string tagging(const Query& member) {
    if (member.flag("tagged")) return "on tagtype " + hex(member.number("tag_type"), 4);
    const std::optional<int64_t> group = member.optional_number("protgroup");
    return group ? "off protgroup " + text(*group) : "off";
}

bool stands_for_all(const std::string& vlan) {
    return vlan == "all";
}

std::string vlan_setting(int64_t vid, const std::string& name, const std::string& setting) {
    return stands_for_all(name) ? setting_call(vid, setting) : "set vlan " + quote_word(name) + " " + setting;
}

Stream::Stream(int64_t stream_index)
    : index(stream_index),
      address(text(stream_index / streams_per_port + 1) + "/" + text(stream_index % streams_per_port + 1)) {}

// A minimum burst above the maximum can only be typed in the form with a keyword for each value.
std::string shaping(const Query& stream) {
    const int64_t min_burst = stream.number("min_burst");
    const int64_t max_burst = stream.number("max_burst");
    const std::string min_rate = typed_rate(stream.number("min_rate"));
    const std::string max_rate = typed_rate(stream.number("max_rate"));
    if (min_burst <= max_burst)
        return "rate " + min_rate + "-" + max_rate + " burst " + text(min_burst) + "-" + text(max_burst) + " byte";
    return "maxrate " + max_rate + " minrate " + min_rate + " maxburst " + typed_rate(max_burst) + " min " +
           typed_rate(min_burst);
}

std::string tos_map(const Query& stream, Children& entries) {
    std::string words;
    int64_t at = 0;
    entries.of(stream, [&](const Query& row) {
        const int64_t entry = row.number("entry");
        if (entry < at || entry >= int64_t{tosmap_entry_count}) row.fail_as_damaged("entry");
        for (; at < entry; ++at)
            words += ",";
        words += hex(row.number("value")) + "/" + hex(row.number("mask"));
    });
    return words;
}

int64_t block_size(int64_t length) {
    return length > 1048576 ? 256 : length > 262144 ? 128 : 64;
}

std::string drop_type(const Query& policy) {
    const int64_t min_threshold = policy.number("min_threshold");
    const int64_t max_threshold = policy.number("max_threshold");
    const int64_t min_drop = policy.number("min_drop");
    const int64_t max_drop = policy.number("max_drop");
    const bool is_tail_drop = min_threshold == 100 && max_threshold == 0 && min_drop == 0 && max_drop == 0;
    if (is_tail_drop) return "taildrop";
    return "wred thresh " + text(min_threshold) + "-" + text(max_threshold) + " drop " + text(min_drop) + "-" +
           text(max_drop);
}

std::string static_target(const Query& entry) {
    if (entry.is_null("port")) return "discard";
    return "port " + text(entry.number("port")) + " flag " + hex(entry.number("action"));
}

RuleWords rule(const Query& row, const std::string& marking, Children& matches) {
    RuleOperands operands;
    matches.of(row, [&](const Query& match) { operands.add(match); });
    return {text(row.number("stream") + 1) + "/" + text(row.number("traffic_class")) + "/" +
                row.word("color", color_words) + " " + marking + operands.text(),
            operands.can_be_typed};
}

// Offsets above 1532 were typed as negative ones.
std::string extraction(const Query& binding, Children& points) {
    std::array<std::string, extraction_point_count> words;
    bool is_any = false;
    points.of(binding, [&](const Query& row) {
        const int64_t point = row.number("point");
        const int64_t offset = row.number("byte_offset");
        words.at(static_cast<size_t>(point - 1)) =
            text(offset > 1532 ? offset - 65536 : offset) + "/" + text(row.number("width"));
        is_any = true;
    });
    return is_any ? " " + words[0] + "," + words[1] + "," + words[2] + "," + words[3] : "";
}

std::string source(const Query& mirror) {
    const int64_t type = mirror.number("source_type");
    if (type == mirror_source::vlan) return "vlan " + quote_word(mirror.text("name"));
    const bool is_received = type == mirror_source::received || type == mirror_source::received_in_vlan;
    return "port " + text(mirror.number("source_port")) + (is_received ? " in" : " out") +
           (mirror.is_null("source_vid") ? "" : " vlan " + quote_word(mirror.text("name")));
}

} // namespace wording
