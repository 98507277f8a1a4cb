// The switch's libraries with arbitrary answers. Each function states what no sentence may ever hand to it.
#include "fuzz/run.h"

#include "notation.h"

#include "common/port_kind.h"
#include "platform/brgfdb.h"
#include "platform/portshm.h"
#include "platform/qual.h"
#include "platform/trapevent.h"

#include <netdb.h>

#include <algorithm>
#include <cstring>
#include <string_view>

using notation::Hex;
using notation::Mac;
using notation::ParameterRecord;
using notation::PointTable;
using notation::RuleRecord;
using notation::Words;

namespace {

enum class Fails { when_negative, unless_zero, never };

Answer next_answer() {
    if (run.next_answer >= run.input.answers.size()) return {};
    return run.input.answers[run.next_answer++];
}

bool is_failure(Fails rule, int32_t result) {
    switch (rule) {
    case Fails::when_negative: return result < 0;
    case Fails::unless_zero: return result != 0;
    case Fails::never: return false;
    }
    return false;
}

template <typename... Arguments> std::string describe(const char* function, const Arguments&... arguments) {
    if (!run.is_shown) return {};
    std::string buffer(1U << 20, '\0');
    notation::Text text(buffer.data(), buffer.size());
    notation::write_call(text, function, arguments...);
    buffer.resize(text.length);
    return buffer;
}

// The classes of "-" that are already as wanted are passed over; a new stream that cannot be attached is deleted.
bool may_follow_failure(std::string_view failed, std::string_view next) {
    if (failed == "brgfdb_add_stream_to_port") return next == "brgfdb_delete_stream";
    if (run.input.words.size() < 3 || run.input.words[2].find('-') == std::string::npos) return false;
    if (failed == "brgfdb_create_queue") return next == "brgfdb_create_queue";
    return (failed == "brgfdb_rem_queue_from_stream" || failed == "brgfdb_delete_queue") &&
           next == "brgfdb_rem_queue_from_stream";
}

void record(const MadeCall& call) {
    require(run.calls.empty() || !run.calls.back().has_failed ||
                may_follow_failure(run.calls.back().function, call.function),
            "no call follows a failed one");
    require(!run.has_written ||
                (std::string_view(call.function) == "brgfdb_delete_stream" && run.calls.back().has_failed),
            "no call follows the document");
    run.calls.push_back(call);
}

// A call of the bridge library.
template <typename... Arguments>
int32_t call(int32_t* status, Fails rule, const char* function, const Arguments&... arguments) {
    const Answer answer = next_answer();
    const bool has_failed = is_failure(rule, answer.result);
    if (answer.stores_status) *status = answer.status;
    run.last_side_call = -1;
    record({function, true, has_failed, *status, describe(function, arguments...)});
    return answer.result;
}

template <typename... Arguments> int32_t call(int32_t* status, const char* function, const Arguments&... arguments) {
    return call(status, Fails::unless_zero, function, arguments...);
}

// The three other libraries, in the order in which they are told.
enum Side { port_table, trap, names };

template <typename... Arguments> int32_t tell(Side side, const char* function, const Arguments&... arguments) {
    require(!run.calls.empty() &&
                std::any_of(run.calls.begin(), run.calls.end(), [](const MadeCall& c) { return c.is_bridge; }),
            "side calls follow a change that the bridge library took");
    require(side > run.last_side_call, "port table, trap and name are told in this order, once each");
    run.last_side_call = side;
    const Answer answer = next_answer();
    record({function, false, false, 0, describe(function, arguments...)});
    return answer.result;
}

bool is_between(int64_t value, int64_t low, int64_t high) {
    return value >= low && value <= high;
}

bool is_any_vlan_id(int64_t vid) {
    return is_between(vid, 1, 4094) || is_between(vid, 4096, 8191);
}

bool is_rate_or_off(int32_t rate, int32_t burst) {
    if (rate == 0 && burst == 0) return true;
    return is_between(rate, 64000, 100000000) && is_between(burst, 80, 32000);
}

bool are_reserved(const uint8_t* mac) {
    constexpr uint8_t reserved[] = {0x01, 0x80, 0xc2, 0, 0};
    return memcmp(mac, reserved, sizeof reserved) == 0 && mac[5] <= 0x0f;
}

void require_stream(int32_t stream_index) {
    require(is_between(stream_index, 0, 1023), "a stream index is 0 to 1023");
}

void require_class(int32_t traffic_class) {
    require(is_between(traffic_class, 0, 7), "a class is 0 to 7");
}

void require_color(int32_t color) {
    require(is_between(color, 0, 2), "a color is 0 to 2");
}

void require_queue(int32_t queue_index) {
    require(is_between(queue_index, 0, 8191), "a queue index is 0 to 8191");
}

void require_queue_of(int32_t queue_index, int32_t stream_index) {
    require_queue(queue_index);
    require_stream(stream_index);
    require(queue_index / 8 == stream_index, "a queue belongs to its stream");
}

void require_class_of(int32_t queue_index, int32_t traffic_class) {
    require(queue_index % 8 == traffic_class, "a queue belongs to its class");
}

void require_mirror(uint16_t mirror) {
    require(is_between(mirror, 1, 4), "a mirror is 1 to 4");
}

void require_kind(int32_t port, int32_t kind) {
    require(kind != port_kind::not_shared && kind == port_kind::of(port),
            "the port table knows physical and logical ports");
}

void require_switch(int32_t value) {
    require(value == 0 || value == 1, "a switch is 0 or 1");
}

void require_front_address(int32_t stream_index, int32_t port, int32_t stream) {
    require_stream(stream_index);
    require(is_between(port, 1, 4) && is_between(stream, 0, 255) && stream_index == (port - 1) * 256 + stream,
            "a stream index comes from port and stream");
}

template <typename Word> void require_slot(const MatchSlot<Word>& slot, bool is_present, uint32_t highest) {
    if (!is_present) {
        require((slot.low | slot.high | slot.mask | slot.is_range) == 0, "the slot of an absent field is zero");
        return;
    }
    require(slot.is_range <= 1, "a range flag is 0 or 1");
    require(slot.low <= highest && slot.high <= highest, "slot values keep to their field");
    require(slot.is_range == 1 ? slot.low < slot.high : slot.high == 0,
            "a range has two ends in order, a value has one");
}

void require_rule(const ClassifyRule& rule) {
    require(rule.marking <= 2, "a marking is 0 to 2");
    require(rule.stream <= 255, "a rule's stream is 0 to 255");
    require_class(rule.traffic_class);
    require_color(rule.color);
    require((rule.present & ~0x0f0001ffU) == 0, "only known fields are present");
    const auto has = [&rule](uint32_t field) { return (rule.present & field) != 0; };
    require_slot(rule.cos, has(rule_field::cos), 7);
    require_slot(rule.vid, has(rule_field::vid), 4095);
    require_slot(rule.ether_type, has(rule_field::ether_type), 0xffff);
    require_slot(rule.tos, has(rule_field::tos), 0xff);
    require_slot(rule.protocol, has(rule_field::protocol), 0xff);
    require_slot(rule.source_address, has(rule_field::source_address), 0xffffffff);
    require_slot(rule.destination_address, has(rule_field::destination_address), 0xffffffff);
    require_slot(rule.source_port, has(rule_field::source_port), 0xffff);
    require_slot(rule.destination_port, has(rule_field::destination_port), 0xffff);
    for (uint32_t i = 0; i < 4; ++i) {
        const ExtractionMatch& match = rule.extraction[i];
        require((match.value & ~match.mask) == 0, "an extracted value lies in its mask");
        require(has(rule_field::first_extraction << i) || (match.value | match.mask) == 0,
                "the match of an absent extraction is zero");
    }
}

void require_parameters(const PortParameters& given, uint32_t aging, uint32_t loop_breaker, uint32_t fields,
                        uint32_t flag_bit) {
    require(given.unused[0] == 0 && given.unused[1] == 0, "the unused words are zero");
    require(fields == port_field::flag || given.flags == 0, "flags only where asked");
    require(fields == port_field::flag || flag_bit == 0, "a flag bit only where asked");
    require(fields == port_field::tag_type || given.tag_type == 0, "a tag type only where asked");
    require(fields == port_field::pvid || given.pvid == 0, "a PVID only where asked");
    require(fields == port_field::aging ? is_between(aging, 60, 1000000) : aging == 0, "aging keeps to its bounds");
    require(fields == port_field::loop_breaker ? loop_breaker <= 1 : loop_breaker == 0, "the breaker is on or off");
    if (fields == port_field::flag) {
        require(flag_bit != 0 && (flag_bit & ~0x3170U) == 0 && (flag_bit & (flag_bit - 1)) == 0, "one known flag");
        require(given.flags == 0 || given.flags == flag_bit, "the flag that is named, set or clear");
    }
    require(fields == port_field::flag || fields == port_field::tag_type || fields == port_field::pvid ||
                fields == port_field::aging || fields == port_field::loop_breaker,
            "one known field");
}

} // namespace

protoent* getprotobyname(const char* name) {
    const Answer answer = next_answer();
    require(strlen(name) <= 1U << 20, "a protocol name ends");
    record({__func__, false, false, 0, describe(__func__, name)});
    if (!answer.stores_status) return nullptr;
    static protoent entry{};
    entry.p_proto = answer.value;
    return &entry;
}

// --- Ports ---

int32_t brgfdb_create_port(int32_t port, int32_t ether, int32_t type, int32_t* status) {
    require(is_between(type, 0, 2), "a port type is 0 to 2");
    return call(status, Fails::when_negative, __func__, port, ether, type);
}
int32_t brgfdb_delete_port(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}
int32_t brgfdb_check_stream_in_port(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}
int32_t brgfdb_enable_port(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}
int32_t brgfdb_disable_port(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}
int32_t brgfdb_set_param_to_port(int32_t port, const PortParameters* parameters, uint32_t aging, uint32_t loop_breaker,
                                 uint32_t fields, uint32_t flag_bit, int32_t* status) {
    require_parameters(*parameters, aging, loop_breaker, fields, flag_bit);
    return call(status, Fails::when_negative, __func__, port, ParameterRecord{parameters}, aging, loop_breaker,
                Hex{fields, 4}, Hex{flag_bit, 4});
}
int32_t brgfdb_set_default_class(int32_t port, int32_t stream, int32_t traffic_class, int32_t color, int32_t* status) {
    require_color(color);
    return call(status, __func__, port, stream, traffic_class, color);
}
int32_t brgfdb_set_port_cosmap(int32_t port, uint32_t entry_mask, const uint32_t* entries, int32_t* status) {
    require(std::all_of(entries, entries + 8, [](uint32_t entry) { return entry <= 7; }), "a CoS map holds classes");
    require(run.input.words[4] == "bit" || entry_mask <= 0xff, "a CoS map has eight entries");
    return call(status, __func__, port, Hex{entry_mask, 2}, Words{entries, 8, false});
}
int32_t brgfdb_set_port_class_policing(int32_t port, int32_t traffic_class, int32_t rate, int32_t burst, int32_t color,
                                       int32_t* status) {
    require(is_rate_or_off(rate, burst), "rate and burst keep to their bounds");
    require(is_between(color, 0, 2) || color == 255, "a policing color is 0 to 2 or 255");
    return call(status, __func__, port, traffic_class, rate, burst, color);
}
int32_t brgfdb_set_port_bandwidth_calc_mode(int32_t port, int32_t mode, int32_t* status) {
    require_switch(mode);
    return call(status, __func__, port, mode);
}
int32_t brgfdb_set_port_link_frames(int32_t port, int32_t kind, int32_t action, int32_t* status) {
    require(kind == 0 || kind == 2 || kind == 3, "link frames are of three kinds");
    require_switch(action);
    return call(status, __func__, port, kind, action);
}
int32_t brgfdb_set_link_mode(int32_t port, int32_t mode, int32_t* status) {
    require(is_between(port, 101, 164), "only logical ports have a link mode");
    require(mode == 1 || mode == 2, "a link mode is 1 or 2");
    return call(status, __func__, port, mode);
}
int32_t brgfdb_set_link_depend(int32_t port, int32_t type, uint32_t port_mask, int32_t* status) {
    require(is_between(port, 101, 164), "only logical ports depend on links");
    require((type == 1 && port_mask == 0) || (type == 2 && port_mask <= 15),
            "a link depends on its VLAN or on ports 1 to 4");
    return call(status, __func__, port, type, Hex{port_mask});
}
int32_t brgfdb_set_ph_shaping(int32_t ether, int32_t rate, int32_t burst, int32_t* status) {
    require(is_rate_or_off(rate, burst), "rate and burst keep to their bounds");
    return call(status, __func__, ether, rate, burst);
}
int32_t brgfdb_stream_shaping_rate_update(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}

// --- VLANs ---

int32_t brgfdb_get_vid(const char* name, uint32_t* vid, int32_t* status) {
    const Answer answer = next_answer();
    if (answer.stores_status) *status = answer.status;
    *vid = static_cast<uint32_t>(answer.value);
    record({__func__, false, answer.result != 0, status::no_vlan, describe(__func__, name)});
    return answer.result;
}
int32_t brgfdb_create_vlan(const char* name, int32_t* vid, int32_t* status) {
    require(strcmp(name, "all") != 0, "no VLAN is called all");
    require(*vid == -1 || is_any_vlan_id(*vid), "a new VLAN's id is any or valid");
    const int32_t result = call(status, __func__, name, *vid);
    if (run.next_answer > 0) *vid = run.input.answers[run.next_answer - 1].value;
    return result;
}
int32_t brgfdb_delete_vlan(uint32_t vid, int32_t* status) {
    return call(status, __func__, vid);
}
int32_t brgfdb_add_port_to_vlan(uint32_t vid, int32_t port, int32_t tagged, uint32_t tag_type, int32_t by_protgroup,
                                uint16_t protgroup, int32_t* status) {
    require_switch(tagged);
    require_switch(by_protgroup);
    require(tag_type <= 0xffff, "a tag type has 16 bits");
    require(tagged == 1 ? is_between(vid, 1, 4094) : tag_type == 0x8100, "only ids of 802.1Q are tagged");
    require(by_protgroup == 0 ? protgroup == 0 : tagged == 0, "a protocol group is for untagged members");
    return call(status, __func__, vid, port, tagged, Hex{tag_type, 4}, by_protgroup, protgroup);
}
int32_t brgfdb_rem_port_from_vlan(uint32_t vid, int32_t port, int32_t* status) {
    return call(status, __func__, vid, port);
}
int32_t brgfdb_set_vlan_sld(uint32_t vid, int32_t on, int32_t* status) {
    require_switch(on);
    return call(status, __func__, vid, on);
}
int32_t brgfdb_set_vlan_learninglimit(uint32_t vid, int32_t limit, int32_t* status) {
    require(limit == 0 || is_between(limit, 2, 50000), "a learning limit keeps to its bounds");
    return call(status, __func__, vid, limit);
}
int32_t brgfdb_set_vlan_ignore_fdb(uint32_t vid, int32_t on, int32_t* status) {
    require_switch(on);
    return call(status, __func__, vid, on);
}
int32_t brgfdb_set_vlan_learning_off(uint32_t vid, int32_t off, int32_t* status) {
    require_switch(off);
    return call(status, __func__, vid, off);
}
int32_t brgfdb_create_protgroup(uint16_t protgroup, int32_t* status) {
    return call(status, __func__, protgroup);
}
int32_t brgfdb_delete_protgroup(uint16_t protgroup, int32_t* status) {
    return call(status, __func__, protgroup);
}
int32_t brgfdb_add_prot_to_group(uint16_t ether_type, uint16_t protgroup, int32_t* status) {
    return call(status, __func__, Hex{ether_type, 4}, protgroup);
}
int32_t brgfdb_remove_prot_from_group(uint16_t ether_type, uint16_t protgroup, int32_t* status) {
    return call(status, __func__, Hex{ether_type, 4}, protgroup);
}

// --- Mirrors ---

int32_t brgfdb_create_mirror(uint16_t mirror, int32_t* status) {
    require_mirror(mirror);
    return call(status, __func__, mirror);
}
int32_t brgfdb_delete_mirror(uint16_t mirror, int32_t* status) {
    require_mirror(mirror);
    return call(status, __func__, mirror);
}
int32_t brgfdb_enable_mirror(uint16_t mirror, int32_t* status) {
    require_mirror(mirror);
    return call(status, __func__, mirror);
}
int32_t brgfdb_disable_mirror(uint16_t mirror, int32_t* status) {
    require_mirror(mirror);
    return call(status, __func__, mirror);
}
int32_t brgfdb_set_mirror_source(uint16_t mirror, int32_t type, uint16_t port, uint16_t vid, int32_t* status) {
    require_mirror(mirror);
    require(is_between(type, 1, 5), "a mirror source is of five types");
    require(type == 5 ? port == 0 : is_between(port, 1, 4), "a mirrored port is 1 to 4");
    require((type != 1 && type != 3) || vid == 0, "a whole port has no VLAN");
    return call(status, __func__, mirror, type, port, vid);
}
int32_t brgfdb_set_mirror_dest(uint16_t mirror, uint16_t port, int32_t* status) {
    require_mirror(mirror);
    require(is_between(port, 1, 4), "a mirror destination is 1 to 4");
    return call(status, __func__, mirror, port);
}
int32_t brgfdb_set_mirror_classify(uint16_t mirror, uint16_t stream, int32_t traffic_class, int32_t color,
                                   int32_t* status) {
    require_mirror(mirror);
    require(stream <= 255, "a mirrored stream is 0 to 255");
    require_class(traffic_class);
    require_color(color);
    return call(status, __func__, mirror, stream, traffic_class, color);
}
int32_t brgfdb_set_mirror_tag(uint16_t mirror, int32_t on, uint16_t tag_type, uint16_t vid, int32_t* status) {
    require_mirror(mirror);
    require_switch(on);
    require(on == 1 ? is_any_vlan_id(vid) : vid == 0 && tag_type == 0x8100, "a mirror tag has a valid VLAN id");
    return call(status, __func__, mirror, on, Hex{tag_type, 4}, vid);
}

// --- Streams and queues ---

int32_t brgfdb_create_stream(int32_t stream_index, int32_t* status) {
    require_stream(stream_index);
    return call(status, __func__, stream_index);
}
int32_t brgfdb_delete_stream(int32_t stream_index, int32_t* status) {
    require_stream(stream_index);
    return call(status, __func__, stream_index);
}
int32_t brgfdb_add_stream_to_port(int32_t stream_index, int32_t port, int32_t stream, int32_t* status) {
    require_front_address(stream_index, port, stream);
    return call(status, __func__, stream_index, port, stream);
}
int32_t brgfdb_rem_stream_from_port(int32_t stream_index, int32_t port, int32_t stream, int32_t* status) {
    require_front_address(stream_index, port, stream);
    return call(status, __func__, stream_index, port, stream);
}
int32_t brgfdb_check_queue_in_stream(int32_t port, int32_t stream, int32_t* status) {
    require(is_between(port, 1, 4) && is_between(stream, 1, 256), "port and stream keep to their bounds");
    return call(status, __func__, port, stream);
}
int32_t brgfdb_set_qostype_in_stream(int32_t stream_index, int32_t type, int32_t first_parameter,
                                     int32_t second_parameter, int32_t* status) {
    require_stream(stream_index);
    require(type == 1 || type == 2, "a QoS type is 1 or 2");
    require(first_parameter == 2048 && second_parameter == 64, "the other parameters are fixed");
    return call(status, __func__, stream_index, type, first_parameter, second_parameter);
}
int32_t brgfdb_get_stream_info(int32_t stream_index, StreamInfo* info, int32_t* status) {
    require_stream(stream_index);
    const int32_t result = call(status, __func__, stream_index);
    const int32_t value = run.next_answer > 0 ? run.input.answers[run.next_answer - 1].value : 0;
    memset(info, value & 255, sizeof *info);
    info->type = value;
    return result;
}
int32_t brgfdb_set_shaping_in_stream(int32_t stream_index, int32_t min_rate, int32_t min_burst, int32_t max_rate,
                                     int32_t max_burst, int32_t* status) {
    require_stream(stream_index);
    require(is_rate_or_off(max_rate, max_burst), "the greatest rate and burst keep to their bounds");
    require(min_rate <= max_rate, "the smallest rate is not above the greatest");
    require(max_rate == 0 ? min_burst == 0 : is_between(min_burst, 80, 32000),
            "the smallest burst keeps to its bounds");
    return call(status, __func__, stream_index, min_rate, min_burst, max_rate, max_burst);
}
int32_t brgfdb_set_stream_priority(int32_t stream_index, int32_t priority, int32_t* status) {
    require_stream(stream_index);
    require(is_between(priority, 0, 7), "a priority is 0 to 7");
    return call(status, __func__, stream_index, priority);
}
int32_t brgfdb_set_stream_tosmap(int32_t stream_index, uint32_t present, const uint32_t* values, const uint32_t* masks,
                                 int32_t* status) {
    require_stream(stream_index);
    require(present <= 0xff, "a ToS map has eight entries");
    for (uint32_t i = 0; i < 8; ++i)
        require((present >> i & 1U) != 0 || (values[i] | masks[i]) == 0, "an entry that was not given is zero");
    return call(status, __func__, stream_index, Hex{present, 2}, Words{values, 8, true}, Words{masks, 8, true});
}
int32_t brgfdb_create_queue(int32_t queue_index, int32_t blocks, int32_t length, int32_t* status) {
    require_queue(queue_index);
    require(blocks == 256 && length == 16384, "a new queue has the usual size");
    return call(status, __func__, queue_index, blocks, length);
}
int32_t brgfdb_delete_queue(int32_t queue_index, int32_t* status) {
    require_queue(queue_index);
    return call(status, __func__, queue_index);
}
int32_t brgfdb_add_queue_to_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class,
                                   int32_t stream_type, int32_t priority, int32_t weighted, int32_t* status) {
    require_queue_of(queue_index, stream_index);
    require_class_of(queue_index, traffic_class);
    require(priority == traffic_class, "a new queue's priority is its class");
    require(weighted == (stream_type == 1 ? 1 : 0), "queues of a fair stream are weighted");
    return call(status, __func__, queue_index, stream_index, traffic_class, stream_type, priority, weighted);
}
int32_t brgfdb_rem_queue_from_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class,
                                     int32_t* status) {
    require_queue_of(queue_index, stream_index);
    require_class_of(queue_index, traffic_class);
    return call(status, __func__, queue_index, stream_index, traffic_class);
}
int32_t brgfdb_set_queue_qos(int32_t queue_index, int32_t stream_index, int32_t priority, int32_t ratio,
                             int32_t* status) {
    require_queue_of(queue_index, stream_index);
    return call(status, __func__, queue_index, stream_index, priority, ratio);
}
int32_t brgfdb_set_queue_size(int32_t queue_index, int32_t stream_index, int32_t traffic_class, int32_t blocks,
                              int32_t length, int32_t* status) {
    require_queue_of(queue_index, stream_index);
    require_class_of(queue_index, traffic_class);
    // Rounding up the last 63 lengths wraps around, and what is negative then passes the check of the upper bound.
    if (length != INT32_MIN) {
        require(is_between(length, 1536, 4194304) && length % 64 == 0, "a queue length keeps to its bounds");
        require(is_between(blocks, 24, 16384), "a queue has 24 to 16384 blocks");
    }
    return call(status, __func__, queue_index, stream_index, traffic_class, blocks, length);
}
int32_t brgfdb_set_red_in_stream(int32_t stream_index, int32_t traffic_class, int32_t color, int32_t min_threshold,
                                 int32_t min_drop, int32_t max_threshold, int32_t max_drop, int32_t* status) {
    require_stream(stream_index);
    require_class(traffic_class);
    require_color(color);
    return call(status, __func__, stream_index, traffic_class, color, min_threshold, min_drop, max_threshold, max_drop);
}

// --- Forwarding database ---

int32_t brgfdb_clear_fdb() {
    int32_t no_status = 0;
    return call(&no_status, Fails::never, __func__);
}
int32_t brgfdb_clear_fdb_vlan(uint32_t vid) {
    int32_t no_status = 0;
    const int32_t result = call(&no_status, Fails::when_negative, __func__, vid);
    run.calls.back().status = status::no_vlan;
    return result;
}
int32_t brgfdb_create_sfil(uint32_t vid, const uint8_t* mac, int32_t port, uint8_t action, int32_t of_system,
                           int32_t* status) {
    require(of_system == 0, "static entries are the operator's");
    return call(status, __func__, vid, Mac{mac}, port, Hex{action, 2}, of_system);
}
int32_t brgfdb_delete_sfil(uint32_t vid, const uint8_t* mac, int32_t of_system, int32_t* status) {
    require(of_system == 0, "static entries are the operator's");
    return call(status, __func__, vid, Mac{mac}, of_system);
}
int32_t brgfdb_create_lfil(int32_t port, const uint8_t* mac, int32_t type, int32_t of_system, int32_t* status) {
    require_switch(of_system);
    require(of_system == 1 ? type == 4 && are_reserved(mac) : is_between(type, 1, 4) && !are_reserved(mac),
            "reserved addresses are the system's");
    return call(status, Fails::when_negative, __func__, port, Mac{mac}, type, of_system);
}
int32_t brgfdb_delete_lfil(int32_t port, const uint8_t* mac, int32_t of_system, int32_t* status) {
    require(of_system == 0 && !are_reserved(mac), "reserved addresses are the system's");
    return call(status, __func__, port, Mac{mac}, of_system);
}

// --- Classification lists ---

int32_t brgfdb_create_classify_profile(int32_t list, int32_t* status) {
    return call(status, __func__, list);
}
int32_t brgfdb_delete_classify_profile(int32_t list, int32_t* status) {
    return call(status, __func__, list);
}
int32_t brgfdb_add_classify_profile_to_pv(int32_t list, int32_t port, uint32_t vid, const ExtractionPoint* points,
                                          int32_t* status) {
    for (size_t i = 0; i < extraction_point_count; ++i) {
        const uint16_t width = points[i].width;
        require(width == 1 || width == 2 || width == 4 || (width == 0 && points[i].offset == 0),
                "an extraction point is 1, 2 or 4 bytes wide, or none");
        require(points[i].offset <= 1532 || run.input.words[8].find('-') != std::string::npos,
                "only a negative offset lies behind the frame");
    }
    return call(status, __func__, list, port, vid, PointTable{points});
}
int32_t brgfdb_rem_classify_profile_from_pv(int32_t port, uint32_t vid, int32_t* status) {
    return call(status, __func__, port, vid);
}
int32_t brgfdb_add_classify_action_to_profile(int32_t list, int32_t line, const ClassifyRule* rule, int32_t* status) {
    require_rule(*rule);
    return call(status, __func__, list, line, RuleRecord{rule});
}
int32_t brgfdb_rem_classify_action_from_profile(int32_t list, int32_t line, int32_t* status) {
    return call(status, __func__, list, line);
}
int32_t brgfdb_rem_classify_all_from_profile(int32_t list, int32_t* status) {
    return call(status, __func__, list);
}
int32_t brgfdb_disp_classify(int32_t list, int32_t* status) {
    return call(status, __func__, list);
}

// --- Port table ---

int32_t portshm_create_port(int32_t port, int32_t kind, int32_t ether) {
    require_kind(port, kind);
    require(kind == port_kind::physical || ether == 0, "a logical port has no interface");
    return tell(port_table, __func__, port, kind, ether);
}
int32_t portshm_delete_port(int32_t port, int32_t kind) {
    require_kind(port, kind);
    return tell(port_table, __func__, port, kind);
}
int32_t portshm_enable_port(int32_t port, int32_t kind) {
    require_kind(port, kind);
    return tell(port_table, __func__, port, kind);
}
int32_t portshm_disable_port(int32_t port, int32_t kind) {
    require_kind(port, kind);
    return tell(port_table, __func__, port, kind);
}
int32_t portshm_add_port_vlan(int32_t port, int32_t kind, uint32_t vid) {
    require_kind(port, kind);
    return tell(port_table, __func__, port, kind, vid);
}
int32_t portshm_rm_port_vlan(int32_t port, int32_t kind, uint32_t vid) {
    require_kind(port, kind);
    return tell(port_table, __func__, port, kind, vid);
}
int32_t portshm_set_port_linkmode(int32_t port, int32_t mode) {
    require_kind(port, port_kind::logical);
    return tell(port_table, __func__, port, mode);
}
int32_t portshm_set_port_linkdepend(int32_t port, int32_t type, uint32_t port_mask) {
    require_kind(port, port_kind::logical);
    return tell(port_table, __func__, port, type, Hex{port_mask});
}

// --- Traps and names ---

int32_t libev_BridgePort_Status(int32_t zero, int32_t port, int32_t type, int32_t event) {
    require(zero == 0 && (event == trap_event::gone ? type == -1 : is_between(type, 0, 2)),
            "a port's trap is one of two");
    return tell(trap, __func__, zero, port, type, event);
}
int32_t libev_PortVlan_Status(int32_t zero, int32_t port, const char* vlan, int32_t event) {
    require(zero == 0 && is_between(event, 1, 2), "a member's trap is one of two");
    return tell(trap, __func__, zero, port, vlan, event);
}
int32_t libev_Queue_Status(int32_t zero, int32_t port, int32_t stream, int32_t traffic_class, int32_t event) {
    require(zero == 0 && is_between(event, 1, 2), "a queue's trap is one of two");
    require(is_between(port, 1, 4) && is_between(stream, 1, 256), "port and stream keep to their bounds");
    require_class(traffic_class);
    return tell(trap, __func__, zero, port, stream, traffic_class, event);
}
// Those of ports, streams and queues have numbers only.
void require_qualifier(const char* category, const char* name) {
    const bool has_vlan_name = strcmp(category, qualifier::vlan) == 0 || strcmp(category, qualifier::member) == 0;
    require(has_vlan_name || strlen(name) <= strlen("4/256/7") || strcmp(category, qualifier::port) == 0,
            "names without a VLAN are short");
    require(strcmp(category, qualifier::member) != 0 || strchr(name, '/') != nullptr, "a member has a port and a VLAN");
}
int32_t qual_register(const char* category, const char* name, int32_t id) {
    require_qualifier(category, name);
    return tell(names, __func__, category, name, id);
}
int32_t qual_unregister(const char* category, const char* name) {
    require_qualifier(category, name);
    return tell(names, __func__, category, name);
}
