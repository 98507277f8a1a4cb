// From one switch to another: what goes is taken down in the order of dependence, the rest changed where it stands,
// what is missing made.
#include "companion/difference.h"

#include "companion/learning.h"
#include "companion/rehearsal.h"
#include "companion/wording.h"
#include "companion/words.h"

#include "platform/brgfdb.h"

#include <algorithm>

using wording::text;

namespace {

using InVlan = SwitchModel::InVlan;
using Address = Rehearsal::Address;

template <typename Map, typename Key> const typename Map::mapped_type* find(const Map& map, const Key& key) {
    const auto found = map.find(key);
    return found != map.end() ? &found->second : nullptr;
}

// The keys of a map, which may change while one goes through them.
template <typename Map> std::vector<typename Map::key_type> keys_of(const Map& map) {
    std::vector<typename Map::key_type> keys;
    keys.reserve(map.size());
    for (const auto& [key, value] : map)
        keys.push_back(key);
    return keys;
}

// The first key that one map has and the other lacks.
template <typename Key, typename Value>
const Key* first_missing(const std::map<Key, Value>& has, const std::map<Key, Value>& lacks) {
    for (const auto& [key, value] : has)
        if (!lacks.contains(key)) return &key;
    return nullptr;
}

// What a new port has for the reserved addresses, or what is left of it.
std::map<std::string, SwitchModel::LocalEntry> system_entries(const SwitchModel::Port& port) {
    std::map<std::string, SwitchModel::LocalEntry> entries;
    for (const auto& [mac, entry] : port.local_entries)
        if (entry.owner == entry_owner::system) entries[mac] = entry;
    return entries;
}

bool is_same_member(const SwitchModel::Member& one, const SwitchModel::Member& other) {
    return one.tagging == other.tagging;
}

bool has_source_of(const SwitchModel::Mirror& mirror, const SwitchModel::Mirror& other) {
    return mirror.source_type == other.source_type && mirror.source_port == other.source_port &&
           mirror.source_vid == other.source_vid;
}

bool has_tag_of(const SwitchModel::Mirror& mirror, const SwitchModel::Mirror& other) {
    return mirror.tag == other.tag && mirror.unused_tag == other.unused_tag;
}

// Why what both switches have cannot stay; empty: it can.
std::string why_anew(const SwitchModel::Port& port, const SwitchModel::Port& other) {
    if (port.ether != other.ether || port.type != other.type)
        return "no sentence moves it to another interface or type";
    const std::string* const setting = first_missing(port.lasting, other.lasting);
    std::string lasting = setting != nullptr                                               ? *setting
                          : first_missing(port.classes, other.classes) != nullptr          ? "cosmap"
                          : port.link_mode.has_value() && !other.link_mode.has_value()     ? "link_mode"
                          : port.link_depend.has_value() && !other.link_depend.has_value() ? "link_depend"
                                                                                           : "";
    return lasting.empty() ? "" : "no sentence takes back its " + lasting;
}

std::string why_anew(const SwitchModel::Stream& stream, const SwitchModel::Stream& other) {
    if (stream.type != other.type) return "no sentence changes its qostype";
    if (stream.is_attached != other.is_attached || stream.first != other.first || stream.second != other.second)
        return "it was not made or deleted to its end";
    if (const auto* const place = first_missing(stream.drop_types, other.drop_types))
        return "no sentence takes back the drop_type of class " + text(place->first) + ", " + place->second;
    return "";
}

class Plan {
public:
    Plan(const SwitchModel& now, const SwitchModel& target) : on_(now), from_(now), wanted_(target) {}
    std::vector<std::string> lines();

private:
    // What goes.
    bool is_gone(const InVlan& place) const;
    void find_gone();
    bool is_queue_gone(const SwitchModel::Queue& place, const SwitchModel::QueueState& queue) const;
    bool is_static_gone(const Address& address, const SwitchModel::StaticEntry& entry) const;

    void release_ports();
    void remove_members();
    void remove_lists();
    void remove_queues_and_streams();
    void remove_entries();
    void remove_ports_and_vlans();
    void remove_protocols();
    void remove_mirrors();

    // What is changed or made.
    void make_ports();
    void change_port(int64_t number, const SwitchModel::Port& port);
    void change_link_control(int64_t number, const SwitchModel::Port& port);
    void remove_local_entries(int64_t number, const SwitchModel::Port& port);
    void make_local_entries(int64_t number, const SwitchModel::Port& port);
    void change_ether_shapers();
    void make_vlans();
    void change_vlans(const std::string& keyword, const std::map<int64_t, std::string>& words);
    std::map<int64_t, std::string> wanted_words(const std::string& keyword) const;
    void make_protocols();
    void make_members();
    void make_streams();
    void make_queues();
    void make_queues_of(int64_t stream_index);
    void change_queue(const SwitchModel::Queue& place, const SwitchModel::QueueState& queue);
    void make_lists();
    void change_rules(int64_t number, const SwitchModel::List& target);
    void bind_lists();
    void make_entries();
    void make_mirrors();
    void change_mirror(int64_t number, const SwitchModel::Mirror& target);
    void make_way(int64_t number, const SwitchModel::Mirror& target);
    void change_ends(int64_t number, const SwitchModel::Mirror& target);
    void make_learned();
    void forget_learned();
    void learn(const std::vector<Address>& addresses);
    void prepare_learning(const std::vector<Address>& addresses);
    std::string why_not_learned(const std::string& mac) const;
    void mark_ports();
    bool is_member(int64_t port) const;
    bool has_neighbours(int64_t port) const;
    void mend_side_tables();

    std::vector<std::string> framed(std::vector<std::string> lines) const;

    Rehearsal on_;
    const SwitchModel& from_;
    const SwitchModel& wanted_;
    std::set<int64_t> gone_ports_;
    std::set<int64_t> gone_vlans_;
    std::set<int64_t> gone_streams_;
};

// --- What goes ---

void Plan::find_gone() {
    for (const auto& [number, port] : from_.ports) {
        const SwitchModel::Port* const other = find(wanted_.ports, number);
        const std::string why = other != nullptr ? why_anew(port, *other) : "";
        if (other != nullptr && why.empty()) continue;
        gone_ports_.insert(number);
        if (other != nullptr) on_.remark("port " + text(number) + " is made anew: " + why);
    }
    for (const auto& [vid, vlan] : from_.vlans) {
        const SwitchModel::Vlan* const other = find(wanted_.vlans, vid);
        if (other == nullptr || other->name != vlan.name) gone_vlans_.insert(vid);
    }
    for (const auto& [index, stream] : from_.streams) {
        const SwitchModel::Stream* const other = find(wanted_.streams, index);
        const std::string why = other != nullptr ? why_anew(stream, *other) : "";
        const bool goes_with_port = stream.is_attached && gone_ports_.contains(wording::Stream(index).port());
        if (other != nullptr && why.empty() && !goes_with_port) continue;
        gone_streams_.insert(index);
        if (!why.empty() && !goes_with_port)
            on_.remark("stream " + wording::Stream(index).address + " is made anew: " + why);
    }
}

bool Plan::is_gone(const InVlan& place) const {
    const SwitchModel::Member* const member = find(on_.now().members, place);
    if (member == nullptr) return false;
    const SwitchModel::Member* const other = find(wanted_.members, place);
    return other == nullptr || !is_same_member(*member, *other) || gone_vlans_.contains(place.first) ||
           gone_ports_.contains(place.second);
}

bool Plan::is_queue_gone(const SwitchModel::Queue& place, const SwitchModel::QueueState& queue) const {
    const SwitchModel::QueueState* const other = find(wanted_.queues, place);
    if (other == nullptr || (queue.is_attached && gone_streams_.contains(place.first))) return true;
    if (queue.is_attached != other->is_attached) return true;
    if (!queue.is_attached) return !(queue == *other);
    return queue.stream_type != other->stream_type || queue.weighted != other->weighted;
}

// A port of a VLAN cannot leave it with an IP interface, nor join one in an aggregation group.
void Plan::release_ports() {
    std::set<int64_t> leaving = gone_ports_;
    std::set<int64_t> joining;
    for (const auto& [place, member] : from_.members)
        if (is_gone(place)) leaving.insert(place.second);
    for (const auto& [place, member] : wanted_.members)
        if (!from_.members.contains(place) || is_gone(place)) joining.insert(place.second);
    for (const int64_t number : keys_of(from_.ports)) {
        const SwitchModel::Port& port = from_.ports.at(number);
        const SwitchModel::Port* const other = find(wanted_.ports, number);
        const bool stays = !gone_ports_.contains(number);
        if (port.has_ip_interface && (leaving.contains(number) || !other->has_ip_interface))
            on_.set_ip_interface(number, false);
        if (port.is_in_lag && stays && (joining.contains(number) || !other->is_in_lag)) on_.set_lag(number, false);
    }
}

void Plan::remove_members() {
    for (const InVlan& place : keys_of(on_.now().members)) {
        const SwitchModel::Member& member = on_.now().members.at(place);
        const SwitchModel::Member* const other = find(wanted_.members, place);
        if (member.list && (is_gone(place) || other->list != member.list)) on_.unbind_list(place);
    }
    for (const InVlan& place : keys_of(on_.now().members))
        if (is_gone(place)) on_.remove_member(place);
}

void Plan::remove_lists() {
    for (const int64_t number : keys_of(on_.now().lists)) {
        if (wanted_.lists.contains(number)) continue;
        if (!on_.now().lists.at(number).rules.empty()) on_.remove_rules(number);
        on_.delete_list(number);
    }
}

void Plan::remove_queues_and_streams() {
    std::map<int64_t, std::vector<SwitchModel::Queue>> gone; // by stream
    std::map<int64_t, size_t> attached;
    for (const auto& [place, queue] : on_.now().queues) {
        if (queue.is_attached) ++attached[place.first];
        if (is_queue_gone(place, queue)) gone[place.first].push_back(place);
    }
    for (const auto& [index, places] : gone) {
        const auto count = static_cast<size_t>(std::count_if(
            places.begin(), places.end(), [&](const auto& place) { return on_.now().queues.at(place).is_attached; }));
        if (count > 1 && count == attached[index]) on_.delete_attached_queues(index);
        for (const SwitchModel::Queue& place : places)
            if (on_.now().queues.contains(place)) on_.delete_queue(place);
    }
    for (const int64_t index : gone_streams_)
        on_.delete_stream(index);
}

// Those that go with their VLAN, their port or their membership need no sentence. One for the own address of a port
// that is to join is in its way.
bool Plan::is_static_gone(const Address& address, const SwitchModel::StaticEntry& entry) const {
    const auto& [vid, mac] = address;
    if (gone_vlans_.contains(vid) || (entry.port && gone_ports_.contains(*entry.port))) return false;
    const SwitchModel::StaticEntry* const other = find(wanted_.static_entries, address);
    if (other == nullptr || !(*other == entry)) return true;
    for (auto place = wanted_.members.lower_bound({vid, 0});
         place != wanted_.members.end() && place->first.first == vid; ++place)
        if (!on_.now().members.contains(place->first) && own_address(place->first.second) == mac) return true;
    return false;
}

void Plan::remove_entries() {
    for (const Address& address : keys_of(on_.now().static_entries))
        if (is_static_gone(address, on_.now().static_entries.at(address))) on_.delete_static(address);
    for (const auto& [number, port] : wanted_.ports)
        if (on_.now().ports.contains(number) && !gone_ports_.contains(number)) remove_local_entries(number, port);
}

void Plan::remove_ports_and_vlans() {
    for (const int64_t port : gone_ports_)
        on_.delete_port(port);
    for (const int64_t vid : gone_vlans_)
        on_.delete_vlan(vid);
}

void Plan::remove_protocols() {
    for (const int64_t type : keys_of(on_.now().protocols)) {
        const int64_t group = on_.now().protocols.at(type);
        const int64_t* const other = find(wanted_.protocols, type);
        if (wanted_.protgroups.contains(group) && (other == nullptr || *other != group)) on_.remove_protocol(type);
    }
    const std::set<int64_t> groups = on_.now().protgroups;
    for (const int64_t group : groups)
        if (!wanted_.protgroups.contains(group)) on_.delete_protgroup(group);
}

// An end or a classification can be changed, but not be taken back.
void Plan::remove_mirrors() {
    for (const int64_t number : keys_of(on_.now().mirrors)) {
        const SwitchModel::Mirror& mirror = on_.now().mirrors.at(number);
        const SwitchModel::Mirror* const other = find(wanted_.mirrors, number);
        const bool lasts = other != nullptr && ((mirror.source_type && !other->source_type) ||
                                                (mirror.destination != 0 && other->destination == 0) ||
                                                (!mirror.classification.empty() && other->classification.empty()));
        if (other != nullptr && !lasts) continue;
        if (lasts) on_.remark("mirror " + text(number) + " is made anew: no sentence takes back what it had");
        if (mirror.is_enabled) on_.switch_mirror(number, false);
        on_.delete_mirror(number);
    }
}

// --- Ports ---

void Plan::make_ports() {
    for (const auto& [number, port] : wanted_.ports) {
        if (!on_.now().ports.contains(number)) on_.create_port(number, port.ether, port.type);
        make_local_entries(number, port);
        change_port(number, port);
        change_link_control(number, port);
    }
    change_ether_shapers();
}

void Plan::change_port(int64_t number, const SwitchModel::Port& port) {
    const auto differs = [](const SwitchModel::Words& now, const std::string& keyword, const std::string& words) {
        const std::string* const found = find(now, keyword);
        return found == nullptr || *found != words;
    };
    for (const auto& [keyword, words] : port.settings)
        if (differs(on_.now().ports.at(number).settings, keyword, words)) on_.set_port(number, keyword, words);
    for (const auto& [keyword, words] : port.lasting)
        if (differs(on_.now().ports.at(number).lasting, keyword, words)) on_.set_lasting(number, keyword, words);
    if (on_.now().ports.at(number).classes != port.classes) on_.set_classes(number, port.classes);
}

void Plan::change_link_control(int64_t number, const SwitchModel::Port& port) {
    if (port.link_mode && on_.now().ports.at(number).link_mode != port.link_mode)
        on_.set_link_mode(number, *port.link_mode);
    if (port.link_depend && on_.now().ports.at(number).link_depend != port.link_depend)
        on_.set_link_depend(number, port.link_depend->first, port.link_depend->second);
}

void Plan::remove_local_entries(int64_t number, const SwitchModel::Port& port) {
    const auto entries = on_.now().ports.at(number).local_entries;
    for (const auto& [mac, entry] : entries) {
        const SwitchModel::LocalEntry* const other = find(port.local_entries, mac);
        if (other == nullptr || !(*other == entry)) on_.delete_local(number, mac);
    }
}

void Plan::make_local_entries(int64_t number, const SwitchModel::Port& port) {
    if (system_entries(on_.now().ports.at(number)) != system_entries(port))
        on_.remark("port " + text(number) + " was not made to its end");
    remove_local_entries(number, port);
    for (const auto& [mac, entry] : port.local_entries)
        if (!on_.now().ports.at(number).local_entries.contains(mac)) on_.create_local(number, mac, entry);
}

void Plan::change_ether_shapers() {
    for (const int64_t ether : keys_of(on_.now().ether_shapers))
        if (!wanted_.ether_shapers.contains(ether)) on_.set_ether_shaper(ether, "off");
    for (const auto& [ether, words] : wanted_.ether_shapers) {
        const std::string* const found = find(on_.now().ether_shapers, ether);
        if (found == nullptr || *found != words) on_.set_ether_shaper(ether, words);
    }
}

// --- VLANs ---

void Plan::make_vlans() {
    for (const auto& [vid, vlan] : wanted_.vlans)
        if (!on_.now().vlans.contains(vid)) on_.create_vlan(vid, vlan.name);
    change_vlans("simple_loop_detection", wanted_words("simple_loop_detection"));
    change_vlans("ignorefdb", wanted_words("ignorefdb"));
}

std::map<int64_t, std::string> Plan::wanted_words(const std::string& keyword) const {
    std::map<int64_t, std::string> words;
    for (const auto& [vid, vlan] : wanted_.vlans)
        words[vid] = vlan.settings.at(keyword);
    return words;
}

// One by one, or all at once and then the exceptions, whichever takes fewer sentences.
void Plan::change_vlans(const std::string& keyword, const std::map<int64_t, std::string>& words) {
    size_t fewest = 0;
    std::map<std::string, size_t> uses;
    for (const auto& [vid, target] : words) {
        if (on_.now().vlans.at(vid).settings.at(keyword) != target) ++fewest;
        ++uses[target];
    }
    const std::string* common = nullptr;
    for (const auto& [target, count] : uses) {
        const size_t needed = 1 + words.size() - count;
        if (needed >= fewest) continue;
        fewest = needed;
        common = &target;
    }
    if (common != nullptr) on_.set_all_vlans(keyword, *common);
    for (const auto& [vid, target] : words)
        if (on_.now().vlans.at(vid).settings.at(keyword) != target) on_.set_vlan(vid, keyword, target);
}

void Plan::make_protocols() {
    for (const int64_t group : wanted_.protgroups)
        if (!on_.now().protgroups.contains(group)) on_.create_protgroup(group);
    for (const auto& [type, group] : wanted_.protocols)
        if (!on_.now().protocols.contains(type)) on_.add_protocol(type, group);
}

void Plan::make_members() {
    for (const auto& [place, member] : wanted_.members)
        if (!on_.now().members.contains(place)) on_.add_member(place, member);
}

// --- Streams and queues ---

void Plan::make_streams() {
    for (const auto& [index, stream] : wanted_.streams) {
        if (!on_.now().streams.contains(index)) on_.create_stream(index, stream);
        for (const auto& [keyword, words] : stream.settings)
            if (on_.now().streams.at(index).settings.at(keyword) != words) on_.set_stream(index, keyword, words);
    }
}

void Plan::make_queues() {
    std::set<int64_t> indexes;
    for (const auto& [place, queue] : wanted_.queues)
        indexes.insert(place.first);
    for (const int64_t index : indexes)
        make_queues_of(index);
    for (const auto& [index, stream] : wanted_.streams)
        for (const auto& [place, words] : stream.drop_types) {
            const std::string* const found = find(on_.now().streams.at(index).drop_types, place);
            if (found == nullptr || *found != words) on_.set_drop_type(index, place, words);
        }
}

// All that are missing can be made in one sentence when each of them is wanted.
void Plan::make_queues_of(int64_t stream_index) {
    const SwitchModel::Stream* const stream = find(on_.now().streams, stream_index);
    size_t missing = 0;
    bool are_all_wanted = true;
    for (int64_t traffic_class = 0; traffic_class < classes_per_stream; ++traffic_class) {
        const SwitchModel::Queue place{stream_index, traffic_class};
        if (on_.now().queues.contains(place)) continue;
        const SwitchModel::QueueState* const target = find(wanted_.queues, place);
        are_all_wanted = are_all_wanted && target != nullptr && target->is_whole(stream);
        ++missing;
    }
    if (are_all_wanted && missing > 1) on_.create_missing_queues(stream_index);
    for (int64_t traffic_class = 0; traffic_class < classes_per_stream; ++traffic_class) {
        const SwitchModel::Queue place{stream_index, traffic_class};
        const SwitchModel::QueueState* const target = find(wanted_.queues, place);
        if (target == nullptr) continue;
        if (!on_.now().queues.contains(place)) on_.create_queue(place, *target);
        change_queue(place, *target);
    }
}

void Plan::change_queue(const SwitchModel::Queue& place, const SwitchModel::QueueState& queue) {
    if (!queue.is_attached) return;
    const SwitchModel::QueueState& found = on_.now().queues.at(place);
    if (found.blocks != queue.blocks || found.length != queue.length) on_.set_length(place, queue.blocks, queue.length);
    if (on_.now().queues.at(place).service != queue.service) on_.set_service(place, queue.service);
}

// --- Classification lists ---

void Plan::make_lists() {
    for (const auto& [number, list] : wanted_.lists) {
        if (!on_.now().lists.contains(number)) on_.create_list(number);
        change_rules(number, list);
    }
}

// A list has one marking. It changes only with the rule that is alone in the list, or where there is none.
void Plan::change_rules(int64_t number, const SwitchModel::List& target) {
    const SwitchModel::List& list = on_.now().lists.at(number);
    std::vector<int64_t> gone;
    for (const auto& [line, rule] : list.rules)
        if (!target.rules.contains(line)) gone.push_back(line);
    const bool is_marked_anew = !list.rules.empty() && !target.rules.empty() && list.marking != target.marking;
    const bool is_alone = list.rules.size() == 1 && gone.empty();
    if ((is_marked_anew && !is_alone) || (!gone.empty() && gone.size() == list.rules.size()))
        on_.remove_rules(number);
    else
        for (const int64_t line : gone)
            on_.remove_rule(number, line);
    const auto add = [&](int64_t line, const SwitchModel::Rule& rule) {
        const SwitchModel::Rule* const found = find(on_.now().lists.at(number).rules, line);
        if (found == nullptr || !(*found == rule)) on_.add_rule(number, line, target.marking, rule);
    };
    if (is_marked_anew && is_alone) add(list.rules.begin()->first, target.rules.at(list.rules.begin()->first));
    for (const auto& [line, rule] : target.rules)
        add(line, rule);
}

void Plan::bind_lists() {
    for (const auto& [place, member] : wanted_.members) {
        const SwitchModel::Member& found = on_.now().members.at(place);
        if (member.list && (found.list != member.list || found.extraction != member.extraction))
            on_.bind_list(place, *member.list, member.extraction);
    }
}

// --- Forwarding database ---

void Plan::make_entries() {
    for (const Address& address : keys_of(on_.now().static_entries)) {
        const SwitchModel::StaticEntry* const other = find(wanted_.static_entries, address);
        if (other == nullptr || !(*other == on_.now().static_entries.at(address))) on_.delete_static(address);
    }
    for (const auto& [address, entry] : wanted_.static_entries)
        if (!on_.now().static_entries.contains(address)) on_.create_static(address, entry);
}

// Nothing removes a single learned address but a static entry that takes its place.
void Plan::forget_learned() {
    std::map<int64_t, std::vector<Address>> gone; // by VLAN
    std::map<int64_t, size_t> all;
    size_t count = 0;
    for (const auto& [address, port] : on_.now().learned) {
        ++all[address.first];
        if (wanted_.learned.contains(address)) continue;
        gone[address.first].push_back(address);
        ++count;
    }
    if (gone.size() > 1 && count == on_.now().learned.size()) {
        on_.forget_learned();
        return;
    }
    for (const auto& [vid, addresses] : gone) {
        if (addresses.size() == all[vid]) {
            on_.forget_learned_in(vid);
            continue;
        }
        for (const Address& address : addresses) {
            on_.create_static(address, {"discard", std::nullopt, static_action::discard, entry_owner::user});
            on_.delete_static(address);
        }
    }
}

std::string Plan::why_not_learned(const std::string& mac) const {
    std::set<std::string> own;
    for (const auto& [port, state] : on_.now().ports)
        own.insert(own_address(port));
    return why_never_learned(mac, PortAddresses(std::move(own)));
}

// A port that learned an address was enabled then, and its VLAN had room for it, whatever they are now.
void Plan::prepare_learning(const std::vector<Address>& addresses) {
    const auto& vlans = on_.now().vlans;
    std::map<int64_t, std::string> learning;
    std::map<int64_t, std::string> limits;
    std::map<int64_t, int64_t> counts;
    for (const auto& [vid, vlan] : vlans) {
        learning[vid] = vlan.settings.at("learning");
        limits[vid] = vlan.settings.at("learninglimit");
    }
    for (const auto& [address, port] : on_.now().learned)
        ++counts[address.first];
    const auto is_enough = [](const std::string& words, int64_t count) {
        const std::string value = words.substr(words.find(' ') + 1);
        return value == "none" || std::stoll(value) >= count;
    };
    for (const Address& address : addresses) {
        const int64_t vid = address.first;
        learning[vid] = "learning on";
        if (!on_.now().learned.contains(address) && !is_enough(limits[vid], ++counts[vid])) {
            const std::string& target = wanted_.vlans.at(vid).settings.at("learninglimit");
            limits[vid] = is_enough(target, counts[vid]) ? target : "learninglimit none";
        }
    }
    change_vlans("learning", learning);
    change_vlans("learninglimit", limits);
    for (const Address& address : addresses)
        if (const int64_t port = wanted_.learned.at(address); !on_.now().ports.at(port).is_enabled)
            on_.switch_port(port, true);
}

void Plan::learn(const std::vector<Address>& addresses) {
    if (addresses.empty()) return;
    prepare_learning(addresses);
    for (const Address& address : addresses)
        on_.learn(address, wanted_.learned.at(address));
}

void Plan::make_learned() {
    for (const auto& [number, port] : wanted_.ports)
        if (port.is_enabled && !on_.now().ports.at(number).is_enabled) on_.switch_port(number, true);
    forget_learned();
    std::vector<Address> missing;
    for (const auto& [address, port] : wanted_.learned) {
        const int64_t* const found = find(on_.now().learned, address);
        if (found != nullptr && *found == port) continue;
        const std::string reason = why_not_learned(address.second);
        if (reason.empty())
            missing.push_back(address);
        else
            on_.remark(on_.line_to_learn(address, port) + " # " + reason);
    }
    learn(missing);
    for (const auto& [number, port] : wanted_.ports)
        if (!port.is_enabled && on_.now().ports.at(number).is_enabled) on_.switch_port(number, false);
    change_vlans("learninglimit", wanted_words("learninglimit"));
    change_vlans("learning", wanted_words("learning"));
}

// --- Mirrors ---

void Plan::make_mirrors() {
    for (const auto& [number, mirror] : wanted_.mirrors) {
        if (!on_.now().mirrors.contains(number)) on_.create_mirror(number);
        change_mirror(number, mirror);
    }
}

// A mirror stands still while it is changed.
void Plan::change_mirror(int64_t number, const SwitchModel::Mirror& target) {
    const auto now = [&]() -> const SwitchModel::Mirror& { return on_.now().mirrors.at(number); };
    const bool is_same = has_source_of(now(), target) && now().destination == target.destination &&
                         now().classification == target.classification && has_tag_of(now(), target);
    if (!is_same) {
        if (now().is_enabled) on_.switch_mirror(number, false);
        make_way(number, target);
        change_ends(number, target);
        if (now().classification != target.classification) on_.set_classification(number, target.classification);
        if (!has_tag_of(now(), target)) on_.set_tag(number, target);
    }
    if (now().is_enabled != target.is_enabled) on_.switch_mirror(number, target.is_enabled);
}

// The two ends are never the same port. Where they change places, the source has to be somewhere else meanwhile; where
// there is nothing else, the mirror is made anew.
void Plan::make_way(int64_t number, const SwitchModel::Mirror& target) {
    const int64_t source = on_.now().mirrors.at(number).source_port;
    const int64_t destination = on_.now().mirrors.at(number).destination;
    if (source == 0 || destination == 0 || target.source_port != destination || target.destination != source) return;
    SwitchModel::Mirror meanwhile;
    for (const auto& [port, state] : on_.now().ports)
        if (port <= front_port_count && port != source && port != destination) meanwhile.source_port = port;
    if (meanwhile.source_port != 0) {
        meanwhile.source_type = mirror_source::received;
        meanwhile.source = "port " + text(meanwhile.source_port) + " in";
    } else if (!on_.now().vlans.empty()) {
        meanwhile.source_type = mirror_source::vlan;
        meanwhile.source_vid = on_.now().vlans.begin()->first;
        meanwhile.source = "vlan " + quote_word(on_.now().vlans.begin()->second.name);
    } else {
        on_.delete_mirror(number);
        on_.create_mirror(number);
        return;
    }
    on_.set_source(number, meanwhile);
}

void Plan::change_ends(int64_t number, const SwitchModel::Mirror& target) {
    const SwitchModel::Mirror& mirror = on_.now().mirrors.at(number);
    const auto set_destination = [&] {
        if (target.destination != mirror.destination) on_.set_destination(number, target.destination);
    };
    const bool is_source_taken = target.source_port != 0 && target.source_port == mirror.destination;
    if (is_source_taken) set_destination();
    if (!has_source_of(mirror, target)) on_.set_source(number, target);
    set_destination();
}

// --- The rest ---

void Plan::mark_ports() {
    for (const auto& [number, port] : wanted_.ports) {
        const SwitchModel::Port& found = on_.now().ports.at(number);
        if (port.is_in_lag && !found.is_in_lag) {
            if (is_member(number))
                on_.remark("it joined VLANs before: emuswitch lag " + text(number) + " on");
            else
                on_.set_lag(number, true);
        }
        if (port.has_ip_interface && !found.has_ip_interface) {
            if (has_neighbours(number))
                on_.remark("its VLAN has other ports: emuswitch ipif " + text(number) + " on");
            else
                on_.set_ip_interface(number, true);
        }
    }
}

bool Plan::is_member(int64_t port) const {
    return std::any_of(wanted_.members.begin(), wanted_.members.end(),
                       [&](const auto& it) { return it.first.second == port; });
}

bool Plan::has_neighbours(int64_t port) const {
    return std::any_of(wanted_.members.begin(), wanted_.members.end(), [&](const auto& it) {
        const auto& [vid, other] = it.first;
        return other != port && wanted_.members.contains({vid, port});
    });
}

void Plan::mend_side_tables() {
    const std::vector<std::string> calls = wanted_.side_tables.calls_from(on_.now().side_tables);
    if (!calls.empty()) on_.remark("names and the port table, where processes did not come to their end");
    for (const std::string& call : calls)
        on_.say("emuswitch call " + call);
}

// Room is made before anything needs it, and taken when all has its place; calls fail again when all calls are made.
std::vector<std::string> Plan::framed(std::vector<std::string> lines) const {
    std::vector<std::string> before;
    std::vector<std::string> behind;
    for (const auto& [name, value] : from_.limits) {
        const int64_t* const other = find(wanted_.limits, name);
        const int64_t target = other != nullptr ? *other : value;
        const int64_t* const need = find(on_.needed_limits(), name);
        int64_t now = value;
        if (target > value || (need != nullptr && *need > value)) {
            now = need != nullptr ? std::max(target, *need) : target;
            before.push_back("emuswitch limit " + name + " " + text(now));
        }
        if (now != target) behind.push_back("emuswitch limit " + name + " " + text(target));
    }
    const bool is_quiet = lines.empty() && before.empty() && behind.empty();
    auto faults = wanted_.faults.begin();
    const bool goes_on = from_.faults.size() <= wanted_.faults.size() &&
                         std::equal(from_.faults.begin(), from_.faults.end(), wanted_.faults.begin());
    if (is_quiet && goes_on)
        faults += static_cast<ptrdiff_t>(from_.faults.size());
    else if (!from_.faults.empty())
        before.insert(before.begin(), "emuswitch fail --clear");
    behind.insert(behind.end(), faults, wanted_.faults.end());
    lines.insert(lines.begin(), before.begin(), before.end());
    lines.insert(lines.end(), behind.begin(), behind.end());
    return lines;
}

std::vector<std::string> Plan::lines() {
    find_gone();
    release_ports();
    remove_members();
    remove_lists();
    remove_queues_and_streams();
    remove_entries();
    remove_ports_and_vlans();
    remove_protocols();
    remove_mirrors();
    make_ports();
    make_vlans();
    make_protocols();
    make_members();
    make_streams();
    make_queues();
    make_lists();
    bind_lists();
    make_entries();
    make_mirrors();
    make_learned();
    mark_ports();
    mend_side_tables();
    return framed(on_.lines());
}

} // namespace

std::vector<std::string> difference(const SwitchModel& from, const SwitchModel& wanted) {
    return Plan(from, wanted).lines();
}

std::vector<std::string> without_remarks(const std::vector<std::string>& lines) {
    std::vector<std::string> said;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(said),
                 [](const std::string& line) { return !line.starts_with("#"); });
    return said;
}
