// Steps as lines for people.
#include "companion/trace_text.h"

#include "companion/frame_text.h"
#include "companion/words.h"
#include "platform/words.h"

#include <algorithm>
#include <bitset>
#include <memory>
#include <vector>

using namespace dataplane;

namespace {

struct Line {
    std::string text;
    std::string sentence; // that would change it; empty: none would, or nobody would want that
};

std::string hex_16(uint32_t value) {
    std::string text;
    for (int shift = 12; shift >= 0; shift -= 4)
        text += "0123456789abcdef"[value >> shift & 15U];
    return text;
}

std::string bit_rate(uint32_t rate) {
    return rate % 1000 == 0 ? std::to_string(rate / 1000) + " kbit/s" : std::to_string(rate) + " bit/s";
}

const char* color_word(uint32_t color) {
    return word_for(color_words, color);
}

std::string mac_word(std::span<const uint8_t> bytes) {
    std::string text;
    for (size_t i = 0; i < 6; ++i)
        text += (i == 0 ? "" : ":") + hex_of(bytes.subspan(i, 1));
    return text;
}

class Telling {
public:
    Telling(const Configuration& met, const Frame& told, const Outcome& result)
        : frame_(told), outcome_(result), ports_(*met.ports), vlans_(*met.vlans) {}

    Line line_of(const Step& step) const;
    std::string vlan(uint32_t vid) const;
    std::string port(uint32_t index) const;

private:
    Line link(const Step& step) const;
    Line reception(const Step& step) const;
    Line vlan_choice(const Step& step) const;
    Line classification(const Step& step) const;
    Line policing(const Step& step) const;
    Line learning(const Step& step) const;
    Line look_up(const Step& step) const;
    Line sending(const Step& step) const;
    Line mirroring(const Step& step) const;
    Line setting_kept(const Step& step) const;
    Line refusal_on_reception(DropReason reason) const;
    Line refusal_of_vlan(DropReason reason) const;
    Line refusal_on_the_way(DropReason reason) const;
    Line refusal(DropReason reason) const;

    std::string number_at(uint32_t index) const { return std::to_string(ports_.ports[index].number); }
    std::string here() const { return number_at(frame_.port); }
    std::string vlan_word(uint32_t vid) const;
    std::string set_port(const char* words) const { return "set port " + here() + " " + words; }
    std::string set_vlan(uint32_t vid, const char* words) const { return "set vlan " + vlan_word(vid) + " " + words; }
    std::string join(uint32_t index, uint32_t vid, const char* how) const {
        return "add port " + number_at(index) + " to vlan " + vlan_word(vid) + " " + how;
    }
    std::string destination() const { return mac_word(frame_.bytes); }
    PortIndex known_port() const;
    uint32_t named_vid() const;

    const Frame frame_;
    const Outcome& outcome_;
    const Ports& ports_;
    const Vlans& vlans_;
};

// As it is typed. Of a VLAN that does not exist a name that could be given to it.
std::string Telling::vlan_word(uint32_t vid) const {
    const Vlan* known = vlans_.find(vid);
    return known != nullptr ? quote_word(known->name) : "vlan" + std::to_string(vid);
}

std::string Telling::vlan(uint32_t vid) const {
    const Vlan* known = vlans_.find(vid);
    return known == nullptr ? "VLAN id " + std::to_string(vid)
                            : "VLAN " + quote_word(known->name) + " (" + std::to_string(vid) + ")";
}

std::string Telling::port(uint32_t index) const {
    return index == no_port ? "the switch itself" : "port " + number_at(index);
}

// The port that a static or learned entry named for the destination; that of the reception where none did.
PortIndex Telling::known_port() const {
    for (const Step& step : outcome_.steps)
        if (step.kind == StepKind::static_entry || step.kind == StepKind::learned_entry)
            return static_cast<PortIndex>(step.b);
    return frame_.port;
}

// The VLAN id that a tag or the port's PVID named, whether there is such a VLAN or not.
uint32_t Telling::named_vid() const {
    for (const Step& step : outcome_.steps)
        if (step.kind >= StepKind::vlan_by_tag && step.kind <= StepKind::vlan_by_pvid) return step.a;
    return 0;
}

Line Telling::link(const Step& step) const {
    if (step.kind == StepKind::link_mode_unset)
        return {"no link_mode says on how many of them, so on all", "set port " + number_at(step.a) + " link_mode or"};
    if (step.kind != StepKind::link_dependency) return {};
    const bool is_any = static_cast<LinkMode>(step.c) == LinkMode::any;
    const std::string how = port(step.a) + " is up while " + (is_any ? "any" : "all") + " of the links are of ";
    if (static_cast<LinkDepend>(step.b) == LinkDepend::vlan) return {how + "the other members of its VLANs", ""};
    std::string list;
    for (uint32_t number = 1; number <= 32; ++number)
        if ((ports_.ports[step.a].link_depend_ports >> (number - 1) & 1U) != 0)
            list += (list.empty() ? "ports " : ", ") + std::to_string(number);
    return {how + (list.empty() ? "no port" : list), ""};
}

Line Telling::reception(const Step& step) const {
    switch (step.kind) {
    case StepKind::tag_recognised:
        return {"tag " + hex_16(step.a) + ": VLAN id " + std::to_string(step.b) + ", priority " +
                    std::to_string(step.c),
                ""};
    case StepKind::priority_tag:
        return {"priority tag " + hex_16(step.a) + ": priority " + std::to_string(step.c) + ", no VLAN", ""};
    case StepKind::tag_ignored:
        return {"tag " + hex_16(step.a) + " is not looked at: port " + here() + " has ignoretag on",
                set_port("ignoretag off")};
    case StepKind::priority_tag_ignored:
        return {"priority tag " + hex_16(step.a) + " is not looked at: port " + here() + " has ignoreptag on",
                set_port("ignoreptag off")};
    case StepKind::other_tag:
        return {"tag " + hex_16(step.a) + " is payload: port " + here() + " recognises tags of type " +
                    hex_16(ports_.ports[frame_.port].tag_type),
                set_port(("tagtype " + hex_16(step.a)).c_str())};
    case StepKind::untagged: return {"no tag, Ethernet type " + hex_16(step.a), ""};
    case StepKind::link_frame_lifted: {
        const char* const word = word_for(link_frame_words, step.a);
        const std::string kind = word != nullptr ? word : "?";
        return {"a link-control frame that port " + here() + " forwards: link_frame " + kind + " forward",
                set_port(("link_frame " + kind + " discard").c_str())};
    }
    case StepKind::local_entry: {
        return {"local entry of port " + here() + " for " + destination() + ": " + word_for(local_type_words, step.a),
                ""};
    }
    case StepKind::taken_by_switch: return {"the switch itself takes it", ""};
    default: return {};
    }
}

Line Telling::vlan_choice(const Step& step) const {
    switch (step.kind) {
    case StepKind::vlan_by_tag: return {vlan(step.a) + ", by the tag", ""};
    case StepKind::vlan_by_protgroup:
        return {vlan(step.a) + ", by protocol group " + std::to_string(step.b) + ", which has Ethernet type " +
                    hex_16(step.c),
                ""};
    case StepKind::vlan_by_membership: return {vlan(step.a) + ", in which port " + here() + " is untagged", ""};
    case StepKind::vlan_by_pvid: return {vlan(step.a) + ", by the PVID of port " + here(), ""};
    case StepKind::member: return {"port " + here() + " is a member of " + vlan(step.a), ""};
    case StepKind::let_in:
        return {"port " + here() + " is no member of " + vlan(step.a) + ", but has ingfil off and lets it in",
                set_port("ingfil on")};
    default: return {};
    }
}

Line Telling::classification(const Step& step) const {
    const std::string address =
        std::to_string(step.a + 1) + "/" + std::to_string(step.b) + "/" + color_word(step.c < color_count ? step.c : 0);
    switch (step.kind) {
    case StepKind::list_matched:
        return {"list " + std::to_string(step.a) + ", line " + std::to_string(step.b) + " matches", ""};
    case StepKind::list_not_matched: return {"no line of list " + std::to_string(step.a) + " matches", ""};
    case StepKind::no_list: return {"no classification list here", ""};
    case StepKind::class_by_rule: return {"the line puts it into " + address, ""};
    case StepKind::class_by_default: return {"the default class of port " + here() + ": " + address, ""};
    case StepKind::class_by_priority:
        return {"marking dot1p: priority " + std::to_string(step.a) + " is class " + std::to_string(step.b) +
                    " by the cosmap of port " + here(),
                ""};
    case StepKind::class_by_tos:
        return {"marking dscp: ToS " + std::to_string(step.a) + " is class " + std::to_string(step.b) +
                    " by the tosmap of the stream on " + port(step.c),
                ""};
    default: return {};
    }
}

Line Telling::policing(const Step& step) const {
    const std::string policer = "class_policing class " + std::to_string(step.a);
    const std::string rate = "class " + std::to_string(step.a) + " is policed to " + bit_rate(step.b) + ": ";
    switch (step.kind) {
    case StepKind::counted: return {"it counts as " + std::to_string(step.b) + " bytes", ""};
    case StepKind::within_rate: return {rate + "within the rate", ""};
    case StepKind::recolored:
        return {rate + "above the rate, so " + color_word(step.c), set_port((policer + " off").c_str())};
    case StepKind::over_rate: return {rate + "above the rate, so discarded", set_port((policer + " off").c_str())};
    default: return {};
    }
}

Line Telling::learning(const Step& step) const {
    const std::string source = frame_.bytes.size() >= 12 ? mac_word(frame_.bytes.subspan(6)) : "";
    switch (step.kind) {
    case StepKind::learned: return {source + " is learned on port " + here(), ""};
    case StepKind::moved: return {source + " moves here from " + port(step.b), ""};
    case StepKind::refreshed: return {source + " is known on port " + here(), ""};
    case StepKind::not_learned_off:
        return {"nothing is learned: " + vlan(step.a) + " has learning off", set_vlan(step.a, "learning on")};
    case StepKind::not_learned_limit:
        return {"nothing is learned: " + vlan(step.a) + " is at its limit of " + std::to_string(step.b),
                set_vlan(step.a, "learninglimit none")};
    case StepKind::not_learned_full:
        return {"nothing is learned: the forwarding database is full (emuswitch limit fdb_entries)", ""};
    case StepKind::not_learned_source: return {"nothing is learned: " + source + " is no address of a host", ""};
    case StepKind::not_learned_static:
        return {"nothing is learned: " + source + " has a static entry in " + vlan(step.a), ""};
    case StepKind::not_learned_member:
        return {"nothing is learned: port " + here() + " is no member of " + vlan(step.a),
                join(frame_.port, step.a, "tag on")};
    default: return {};
    }
}

Line Telling::look_up(const Step& step) const {
    switch (step.kind) {
    case StepKind::fdb_ignored_by_port:
        return {"the forwarding database is not asked: port " + here() + " has ignorefdb on",
                set_port("ignorefdb off")};
    case StepKind::fdb_ignored_by_vlan:
        return {"the forwarding database is not asked: " + vlan(step.a) + " has ignorefdb on",
                set_vlan(step.a, "ignorefdb off")};
    case StepKind::group_address: return {destination() + " is a group address, so to all members", ""};
    case StepKind::static_entry:
        return {"static entry of " + vlan(step.a) + " for " + destination() + ": " +
                    (step.b == no_port ? "discard" : port(step.b)),
                step.b == no_port ? "delete sfdbentry " + destination() + " in vlan " + vlan_word(step.a) : ""};
    case StepKind::own_address: return {destination() + " is the address of " + port(step.b) + " itself", ""};
    case StepKind::learned_entry: return {destination() + " was learned on " + port(step.b), ""};
    case StepKind::unknown_address:
        return {destination() + " is not known in " + vlan(step.a) + ", so to all members", ""};
    default: return {};
    }
}

Line Telling::sending(const Step& step) const {
    switch (step.kind) {
    case StepKind::sent:
        return {port(step.a) + (step.b == 0
                                    ? " sends it untagged"
                                    : " sends it with tag " + hex_16(step.c) + ", VLAN id " + std::to_string(step.b)),
                ""};
    case StepKind::drop_eligible_kept: return {"the drop-eligible bit stays set", ""};
    case StepKind::not_sent_disabled:
        return {port(step.a) + " is disabled and does not send it", "enable port " + number_at(step.a)};
    case StepKind::not_sent_down: return {port(step.a) + " is down and does not send it", ""};
    case StepKind::priority_edited:
        return {port(step.a) + " has cosedit on: priority " + std::to_string(step.b) + " becomes its class " +
                    std::to_string(step.c),
                "set port " + number_at(step.a) + " cosedit off"};
    case StepKind::queued:
        return {"it waits in queue " + std::to_string(step.b / 256 + 1) + "/" + std::to_string(step.b % 256 + 1) + "/" +
                    std::to_string(step.c),
                ""};
    case StepKind::best_effort: {
        const std::string queue = number_at(step.a) + "/" + std::to_string(step.b + 1) + "/" + std::to_string(step.c);
        return {"there is no queue " + queue + ": best effort", ""};
    }
    default: return {};
    }
}

Line Telling::mirroring(const Step& step) const {
    const std::string mirror = "mirror " + std::to_string(step.a);
    if (step.kind == StepKind::mirrored) return {mirror + " copies it to " + port(step.b), ""};
    if (step.kind == StepKind::copy_best_effort) return {"the copy joins no queue: best effort", ""};
    if (step.kind == StepKind::copy_tagged && step.b == 0) return {"the copy gets no tag, as its VLAN id is local", ""};
    if (step.kind == StepKind::copy_tagged)
        return {"the copy gets one more tag " + hex_16(step.c) + ", VLAN id " + std::to_string(step.b), ""};
    switch (static_cast<MirrorSkip>(step.b)) {
    case MirrorSkip::not_classified: return {mirror + " does not copy it: it was dropped before it had a class", ""};
    case MirrorSkip::other_class: return {mirror + " does not copy it: it is of another class", ""};
    case MirrorSkip::disabled: return {mirror + " does not copy it: its destination is disabled", ""};
    case MirrorSkip::down: return {mirror + " does not copy it: its destination is down", ""};
    }
    return {};
}

Line Telling::setting_kept(const Step& step) const {
    constexpr const char* no_effect = ", which shows in no frame here";
    switch (static_cast<KeptSetting>(step.a)) {
    case KeptSetting::loop_breaker: return {port(step.b) + " has sldbreaker on" + no_effect, ""};
    case KeptSetting::link_aggregation: return {port(step.b) + " is in a link-aggregation group" + no_effect, ""};
    case KeptSetting::ip_interface: return {port(step.b) + " has an IP interface" + no_effect, ""};
    case KeptSetting::loop_detection: return {vlan(step.b) + " has simple_loop_detection on" + no_effect, ""};
    case KeptSetting::static_entry_flags: return {"the entry has flags " + std::to_string(step.b) + no_effect, ""};
    }
    return {};
}

// --- Why it was dropped ---

Line Telling::refusal_on_reception(DropReason reason) const {
    switch (reason) {
    case DropReason::too_short: return {"it is shorter than its headers", ""};
    case DropReason::too_long: return {"it is longer than " + std::to_string(longest_frame) + " bytes", ""};
    case DropReason::port_disabled: return {"port " + here() + " is disabled", "enable port " + here()};
    case DropReason::port_down: return {"port " + here() + " is down: what its link depends on is", ""};
    case DropReason::port_not_ether: return {"port " + here() + " has no interface to receive from", ""};
    case DropReason::reserved_address:
        return {destination() + " is reserved: no bridge forwards it", [&]() -> std::string {
                    const char* const kind = word_for(link_frame_words, frame_.bytes[5] & 0xfU);
                    return kind != nullptr ? set_port((std::string("link_frame ") + kind + " forward").c_str()) : "";
                }()};
    case DropReason::local_discard:
        return {"a local entry discards it", "delete lfdbentry " + destination() + " in port " + here()};
    default: return {};
    }
}

Line Telling::refusal_of_vlan(DropReason reason) const {
    switch (reason) {
    case DropReason::untagged_refused:
        return {"port " + here() + " takes tagged frames only: aftype tagonly", set_port("aftype all")};
    case DropReason::reserved_vid: return {"VLAN id 4095 is reserved", ""};
    case DropReason::no_vlan:
        return {"nothing says which VLAN it belongs to", "add port " + here() + " to vlan NAME tag off"};
    case DropReason::unknown_vlan:
        return {"there is no VLAN with id " + std::to_string(named_vid()),
                "create vlan NAME vid " + std::to_string(named_vid())};
    case DropReason::not_a_member:
        return {"port " + here() + " is no member of " + vlan(outcome_.vid) + " and has ingfil on",
                join(frame_.port, outcome_.vid, "tag on")};
    default: return {};
    }
}

Line Telling::refusal_on_the_way(DropReason reason) const {
    switch (reason) {
    case DropReason::policed: return {"its class is above its rate", ""};
    case DropReason::static_discard: return {"a static entry discards it", ""};
    case DropReason::same_port: return {destination() + " is on port " + here() + ", where it came from", ""};
    case DropReason::egress_not_a_member:
        return {port(known_port()) + " is no member of " + vlan(outcome_.vid),
                join(known_port(), outcome_.vid, "tag on")};
    case DropReason::egress_disabled:
        return {port(known_port()) + " is disabled", "enable port " + number_at(known_port())};
    case DropReason::egress_down: return {port(known_port()) + " is down: what its link depends on is", ""};
    case DropReason::nobody_to_send_to: return {"no other member of " + vlan(outcome_.vid) + " can send it", ""};
    default: return {};
    }
}

Line Telling::refusal(DropReason reason) const {
    for (Line line : {refusal_on_reception(reason), refusal_of_vlan(reason), refusal_on_the_way(reason)})
        if (!line.text.empty()) return line;
    return {word_of(reason), ""};
}

Line Telling::line_of(const Step& step) const {
    switch (step.kind) {
    case StepKind::received:
    case StepKind::done: return {};
    case StepKind::kept: return setting_kept(step);
    case StepKind::dropped: return refusal(static_cast<DropReason>(step.a));
    case StepKind::not_forwarded: {
        const Line line = refusal(static_cast<DropReason>(step.a));
        return {"it goes no further: " + line.text, line.sentence};
    }
    case StepKind::mirrored:
    case StepKind::not_mirrored:
    case StepKind::copy_tagged:
    case StepKind::copy_best_effort: return mirroring(step);
    default: break;
    }
    for (Line line : {link(step), reception(step), vlan_choice(step), classification(step), policing(step),
                      learning(step), look_up(step), sending(step)})
        if (!line.text.empty()) return line;
    return {word_of(step.kind), ""};
}

// --- The parts of the text ---

std::string tell_steps(const Telling& telling, const std::vector<Step>& steps) {
    std::string text;
    size_t number = 0;
    for (const Step& step : steps) {
        const Line line = telling.line_of(step);
        if (line.text.empty()) continue;
        const std::string place = std::to_string(++number);
        text += std::string(place.size() < 3 ? 3 - place.size() : 0, ' ') + place + "  " + line.text;
        if (step.assumption != Assumption::none)
            text += " [assumption " + std::to_string(number_of(step.assumption)) + "]";
        text += "\n";
        if (!line.sentence.empty()) text += "     (to change that: " + line.sentence + ")\n";
    }
    return text;
}

std::string tell_end(const Telling& telling, const Outcome& outcome) {
    switch (outcome.verdict) {
    case Verdict::forwarded: return "forwarded in " + telling.vlan(outcome.vid);
    case Verdict::flooded: return "flooded in " + telling.vlan(outcome.vid);
    case Verdict::delivered: return "delivered to the switch itself";
    case Verdict::dropped: break;
    }
    return std::string("dropped: ") + word_of(outcome.reason);
}

FrameBytes bytes_of(const Frame& frame, const Output& output) {
    FrameBytes bytes(output.head.begin(), output.head.begin() + output.head_length);
    const auto rest = frame.bytes.subspan(output.skip);
    bytes.insert(bytes.end(), rest.begin(), rest.end());
    return bytes;
}

std::string queue_of(const Output& output) {
    if (output.mirror != 0) return "mirror " + std::to_string(output.mirror);
    if (output.kind == OutputKind::delivered) return "delivered";
    if (!output.has_queue) return "best effort";
    return "queue " + std::to_string(output.stream_index / 256 + 1) + "/" +
           std::to_string(output.stream_index % 256 + 1) + "/" + std::to_string(output.traffic_class);
}

void pad(std::vector<std::string>& column) {
    size_t width = 0;
    for (const std::string& cell : column)
        width = std::max(width, cell.size());
    for (std::string& cell : column)
        cell.resize(width, ' ');
}

std::string tell_outputs(const Telling& telling, const Configuration& configuration, const Frame& frame,
                         const Outcome& outcome) {
    const auto is_tag_type = tag_types_of(configuration);
    std::vector<std::string> names;
    std::vector<std::string> tags;
    for (const Output& output : outcome.outputs) {
        names.push_back(telling.port(output.port));
        tags.push_back(describe_tags(bytes_of(frame, output), is_tag_type));
        if (tags.back().empty()) tags.back() = "untagged";
    }
    pad(names);
    pad(tags);
    std::string text;
    for (size_t i = 0; i < outcome.outputs.size(); ++i)
        text += "  " + names[i] + "  " + tags[i] + "  " + queue_of(outcome.outputs[i]) + "\n";
    return text;
}

std::string tell_assumptions(const std::vector<Step>& steps) {
    std::bitset<256> numbers;
    for (const Step& step : steps)
        numbers.set(number_of(step.assumption));
    numbers.reset(number_of(Assumption::none));
    if (numbers.none()) return "";
    std::string text = "assumptions, told in docs/forwarding.md:";
    for (size_t number = 0; number < numbers.size(); ++number)
        if (numbers.test(number)) text += " " + std::to_string(number);
    return text + "\n";
}

} // namespace

std::function<bool(uint16_t)> tag_types_of(const Configuration& configuration) {
    auto types = std::make_shared<std::bitset<65536>>();
    for (const size_t usual : {0x8100U, 0x88a8U, 0x9100U, 0x9200U})
        types->set(usual);
    for (const Port& port : configuration.ports->ports)
        types->set(port.tag_type);
    for (const Vlan& vlan : configuration.vlans->vlans)
        for (const Member& member : vlan.members)
            types->set(member.tag_type);
    for (const Mirror& mirror : configuration.mirrors->mirrors)
        types->set(mirror.tag_type);
    types->reset(0x0800); // whoever makes that a tag type still wants to read the addresses
    return [types](uint16_t type) { return types->test(type); };
}

std::string tell_frame(const Configuration& configuration, const Frame& frame, const Outcome& outcome) {
    const Telling telling(configuration, frame, outcome);
    return telling.port(frame.port) + ", " + std::to_string(frame.bytes.size()) +
           " bytes: " + describe_frame(frame.bytes, tag_types_of(configuration)) + "\n" +
           tell_steps(telling, outcome.steps) + tell_end(telling, outcome) + "\n" +
           tell_outputs(telling, configuration, frame, outcome) + tell_assumptions(outcome.steps);
}

std::string summarise_frame(const Configuration& configuration, const Outcome& outcome) {
    const Telling telling(configuration, Frame{}, outcome);
    std::string text;
    if (outcome.vid != 0) text += telling.vlan(outcome.vid) + ", ";
    if (outcome.is_classified)
        text += "class " + std::to_string(outcome.stream + 1) + "/" + std::to_string(outcome.traffic_class) + "/" +
                color_word(outcome.color) + ", ";
    if (outcome.verdict == Verdict::dropped) return text + "dropped: " + word_of(outcome.reason);
    return text + word_of(outcome.verdict);
}
