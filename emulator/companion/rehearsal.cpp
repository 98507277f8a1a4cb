// What sentences do to a switch.
#include "companion/rehearsal.h"

#include "companion/learning.h"
#include "companion/wording.h"
#include "companion/words.h"

#include "platform/portshm.h"
#include "platform/qual.h"

#include <algorithm>

using namespace wording;

namespace {

std::string port_words(int64_t port) {
    return "port " + text(port);
}

std::string queue_address(const SwitchModel::Queue& place) {
    return Stream(place.first).address + "/" + text(place.second);
}

std::string queue_index(const SwitchModel::Queue& place) {
    return text(place.first * classes_per_stream + place.second);
}

bool is_reserved(const std::string& mac) {
    static const std::set<std::string> addresses = SideTables::reserved_addresses();
    return addresses.contains(mac);
}

void forget_source(SwitchModel::Mirror& mirror) {
    mirror.is_enabled = false;
    mirror.source_type.reset();
    mirror.source.clear();
    mirror.source_port = 0;
    mirror.source_vid = 0;
}

constexpr int64_t buffers_of_stream = 64;
constexpr int64_t memory_of_longest_rule = 1 + 2 * 9 + 4;

} // namespace

Rehearsal::Rehearsal(const SwitchModel& from)
    : model_(from), buffers_(buffers_of_stream * static_cast<int64_t>(from.streams.size())) {
    for (const auto& [place, queue] : from.queues)
        buffers_ += queue.blocks;
}

void Rehearsal::need(const std::string& limit, int64_t value) {
    int64_t& most = needed_[limit];
    most = std::max(most, value);
}

void Rehearsal::need_entry() {
    size_t in_use = model_.static_entries.size() + model_.learned.size() + 1;
    for (const auto& [number, port] : model_.ports)
        in_use += port.local_entries.size();
    need("fdb_entries", static_cast<int64_t>(in_use));
}

void Rehearsal::take_buffers(int64_t more) {
    buffers_ += more;
    if (more > 0) need("frame_buffers", buffers_);
}

const std::string& Rehearsal::name_of(int64_t vid) const {
    return model_.vlans.at(vid).name;
}

// --- Ports ---

void Rehearsal::create_port(int64_t port, int64_t ether, int64_t type) {
    say("create " + port_words(port) + " npport " + text(ether) + " portType " + word_for(port_type_words, type));
    need("ports", static_cast<int64_t>(model_.ports.size()) + 1);
    if (type == port_type::ether) need("ethers", ether);
    SwitchModel::Port made = SwitchModel::new_port(ether, type);
    std::map<std::string, SwitchModel::LocalEntry> reserved;
    std::swap(reserved, made.local_entries);
    SwitchModel::Port& kept = model_.ports[port] = made;
    for (const auto& entry : reserved) {
        need_entry();
        kept.local_entries.insert(entry);
    }
    model_.side_tables.create_port(port, ether, type);
}

void Rehearsal::delete_port(int64_t port) {
    say("delete " + port_words(port));
    for (auto& [number, mirror] : model_.mirrors) {
        if (mirror.source_port == port) forget_source(mirror);
        if (mirror.destination != port) continue;
        mirror.is_enabled = false;
        mirror.destination = 0;
    }
    std::erase_if(model_.static_entries, [&](const auto& entry) { return entry.second.port == port; });
    model_.ports.erase(port);
    model_.side_tables.delete_port(port);
}

void Rehearsal::switch_port(int64_t port, bool is_enabled) {
    say((is_enabled ? "enable " : "disable ") + port_words(port));
    model_.ports.at(port).is_enabled = is_enabled;
    if (is_enabled)
        model_.side_tables.enable_port(port);
    else
        model_.side_tables.disable_port(port);
}

void Rehearsal::set_port(int64_t port, const std::string& keyword, const std::string& words) {
    say("set " + port_words(port) + " " + words);
    model_.ports.at(port).settings[keyword] = words;
}

void Rehearsal::set_lasting(int64_t port, const std::string& keyword, const std::string& words) {
    say("set " + port_words(port) + " " + words);
    model_.ports.at(port).lasting[keyword] = words;
}

// Those that differ, in one sentence. The others are typed too, and not set.
void Rehearsal::set_classes(int64_t port, const std::map<int64_t, int64_t>& classes) {
    std::map<int64_t, int64_t>& map = model_.ports.at(port).classes;
    int64_t mask = 0;
    std::string values;
    for (int64_t priority = 0; priority < int64_t{priority_count}; ++priority) {
        const auto wanted = classes.find(priority);
        const bool is_wanted = wanted != classes.end();
        values += (values.empty() ? "" : ",") + text(is_wanted ? wanted->second : 0);
        const auto found = map.find(priority);
        if (!is_wanted || (found != map.end() && found->second == wanted->second)) continue;
        mask |= int64_t{1} << priority;
        map[priority] = wanted->second;
    }
    say("set " + port_words(port) + " cosmap bit " + hex(mask) + " val " + values);
}

void Rehearsal::set_link_mode(int64_t port, int64_t mode) {
    if (port >= lowest_logical_port && port <= highest_logical_port)
        say("set " + port_words(port) + " link_mode " + word_for(link_mode_words, mode));
    else
        say(library_call("brgfdb_set_link_mode", text(port), text(mode)));
    model_.ports.at(port).link_mode = mode;
    model_.side_tables.set_link_mode(port, mode);
}

void Rehearsal::set_link_depend(int64_t port, int64_t type, int64_t mask) {
    const bool is_logical = port >= lowest_logical_port && port <= highest_logical_port;
    const bool is_typed = typed_ports(mask).find_first_of("56789") == std::string::npos && mask < 16;
    const bool on_vlan = type == link_depend::vlan;
    if (is_logical && (on_vlan ? mask == 0 : is_typed)) {
        say("set " + port_words(port) + " link_depend " + (on_vlan ? "vlan" : "port " + typed_ports(mask)));
        model_.side_tables.set_link_depend(port, type, mask);
    } else {
        say(library_call("brgfdb_set_link_depend", text(port), text(type), text(mask)));
    }
    model_.ports.at(port).link_depend = {type, mask};
}

void Rehearsal::set_lag(int64_t port, bool is_in_lag) {
    say("emuswitch lag " + text(port) + (is_in_lag ? " on" : " off"));
    model_.ports.at(port).is_in_lag = is_in_lag;
}

void Rehearsal::set_ip_interface(int64_t port, bool has_one) {
    say("emuswitch ipif " + text(port) + (has_one ? " on" : " off"));
    model_.ports.at(port).has_ip_interface = has_one;
}

void Rehearsal::set_ether_shaper(int64_t ether, const std::string& words) {
    say("set ether " + text(ether) + " shaping " + words);
    need("ethers", ether);
    if (words == "off")
        model_.ether_shapers.erase(ether);
    else
        model_.ether_shapers[ether] = words;
}

// --- VLANs ---

void Rehearsal::create_vlan(int64_t vid, const std::string& name) {
    const auto count = static_cast<int64_t>(model_.vlans.size());
    need("vlans", count + 1);
    need("vlans_and_fwdlists", 2 * count + 2);
    need("vlan_name_length", static_cast<int64_t>(name.size()));
    model_.vlans[vid] = SwitchModel::new_vlan(name);
    if (stands_for_all(name)) {
        say(library_call("brgfdb_create_vlan", name, text(vid)));
        return;
    }
    say("create vlan " + quote_word(name) + " vid " + text(vid));
    model_.side_tables.name(qualifier::vlan, name, vid);
}

void Rehearsal::delete_vlan(int64_t vid) {
    say("delete vlan " + quote_word(name_of(vid)));
    model_.side_tables.forget_name(qualifier::vlan, name_of(vid));
    for (auto& [number, mirror] : model_.mirrors)
        if (mirror.source_vid == vid) forget_source(mirror);
    std::erase_if(model_.static_entries, [&](const auto& entry) { return entry.first.first == vid; });
    model_.vlans.erase(vid);
}

void Rehearsal::set_vlan(int64_t vid, const std::string& keyword, const std::string& words) {
    say(vlan_setting(vid, name_of(vid), words));
    model_.vlans.at(vid).settings[keyword] = words;
}

void Rehearsal::set_all_vlans(const std::string& keyword, const std::string& words) {
    say("set vlan all " + words);
    for (auto& [vid, vlan] : model_.vlans)
        vlan.settings[keyword] = words;
}

void Rehearsal::create_protgroup(int64_t protgroup) {
    say("create protgroup " + text(protgroup));
    need("protgroups", static_cast<int64_t>(model_.protgroups.size()) + 1);
    model_.protgroups.insert(protgroup);
}

void Rehearsal::delete_protgroup(int64_t protgroup) {
    say("delete protgroup " + text(protgroup));
    std::erase_if(model_.protocols, [&](const auto& type) { return type.second == protgroup; });
    model_.protgroups.erase(protgroup);
}

void Rehearsal::add_protocol(int64_t ether_type, int64_t protgroup) {
    say("add protocol " + hex(ether_type, 4) + " to protgroup " + text(protgroup));
    constexpr int64_t every_type = 65536;
    if (model_.limits.at("protocols_per_protgroup") < every_type)
        need("protocols_per_protgroup", 1 + std::count_if(model_.protocols.begin(), model_.protocols.end(),
                                                          [&](const auto& type) { return type.second == protgroup; }));
    model_.protocols[ether_type] = protgroup;
}

void Rehearsal::remove_protocol(int64_t ether_type) {
    say("remove protocol " + hex(ether_type, 4) + " from protgroup " + text(model_.protocols.at(ether_type)));
    model_.protocols.erase(ether_type);
}

std::string Rehearsal::member_words(const SwitchModel::InVlan& place, const char* preposition) const {
    return port_words(place.second) + preposition + "vlan " + quote_word(name_of(place.first));
}

void Rehearsal::forget_learned_address(const Address& address) {
    model_.learned.erase(address);
}

void Rehearsal::add_member(const SwitchModel::InVlan& place, const SwitchModel::Member& member) {
    const auto [vid, port] = place;
    say("add " + member_words(place, " to ") + " tag " + member.tagging);
    const auto others = std::distance(model_.members.lower_bound({vid, 0}), model_.members.lower_bound({vid + 1, 0}));
    need("ports_per_vlan", others + 1);
    if (member.protgroup >= 0)
        need("protgroups_per_port",
             1 + std::count_if(model_.members.begin(), model_.members.end(), [port = port](const auto& other) {
                 return other.first.second == port && other.second.protgroup >= 0;
             }));
    const Address own{vid, own_address(port)};
    forget_learned_address(own);
    need_entry();
    model_.static_entries[own] = {port_words(port) + " flag 0", port, 0, entry_owner::system};
    SwitchModel::Member& kept = model_.members[place] = member;
    kept.list.reset();
    kept.extraction.clear();
    model_.side_tables.add_member(port, vid, name_of(vid));
}

void Rehearsal::remove_member(const SwitchModel::InVlan& place) {
    const auto [vid, port] = place;
    say("remove " + member_words(place, " from "));
    std::erase_if(model_.learned, [place = place](const auto& entry) {
        return entry.first.first == place.first && entry.second == place.second;
    });
    const auto own = model_.static_entries.find({vid, own_address(port)});
    if (own != model_.static_entries.end() && own->second.owner == entry_owner::system)
        model_.static_entries.erase(own);
    model_.members.erase(place);
    model_.side_tables.remove_member(port, vid, name_of(vid));
}

// --- Streams and queues ---

void Rehearsal::create_stream(int64_t index, const SwitchModel::Stream& stream) {
    const Stream place(index);
    need("streams", static_cast<int64_t>(model_.streams.size()) + 1);
    take_buffers(buffers_of_stream);
    model_.streams[index] = SwitchModel::new_stream(stream.is_attached, stream.type, stream.first, stream.second);
    if (stream.is_whole()) {
        say("create stream " + place.address + " qostype " + word_for(qos_type_words, stream.type));
        model_.side_tables.name(qualifier::stream, place.address, qualifier::no_id);
        return;
    }
    remark("stream " + place.address + " was not made or deleted to its end");
    say(library_call("brgfdb_create_stream", text(index)));
    if (stream.is_attached)
        say(library_call("brgfdb_add_stream_to_port", text(index), text(place.port()), text(place.number())));
    if (stream.type != 0 || stream.first != 0 || stream.second != 0)
        say(library_call("brgfdb_set_qostype_in_stream", text(index), text(stream.type), text(stream.first),
                         text(stream.second)));
}

void Rehearsal::delete_stream(int64_t index) {
    const Stream place(index);
    if (model_.streams.at(index).is_attached) {
        say("delete stream " + place.address);
        model_.side_tables.forget_name(qualifier::stream, place.address);
    } else {
        say(library_call("brgfdb_delete_stream", text(index)));
    }
    model_.streams.erase(index);
    take_buffers(-buffers_of_stream);
}

void Rehearsal::set_stream(int64_t index, const std::string& keyword, const std::string& words) {
    SwitchModel::Stream& stream = model_.streams.at(index);
    if (keyword == "shaping" && !stream.is_attached)
        say(library_call("brgfdb_set_shaping_in_stream", text(index),
                         words == "shaping off" ? std::string("0 0 0 0") : words.substr(words.find(' ') + 1)));
    else
        say("set stream " + Stream(index).address + " " + words);
    stream.settings[keyword] = words;
}

void Rehearsal::set_drop_type(int64_t index, const std::pair<int64_t, std::string>& place, const std::string& words) {
    say("set queue " + queue_address({index, place.first}) + " color " + place.second + " drop_type " + words);
    model_.streams.at(index).drop_types[place] = words;
}

void Rehearsal::create_queue(const SwitchModel::Queue& place, const SwitchModel::QueueState& queue) {
    const auto stream = model_.streams.find(place.first);
    const bool is_whole = queue.is_whole(stream != model_.streams.end() ? &stream->second : nullptr);
    need("queues", static_cast<int64_t>(model_.queues.size()) + 1);
    take_buffers(is_whole ? initial_blocks : queue.blocks);
    if (is_whole) {
        say("create queue " + queue_address(place));
        model_.queues[place] = SwitchModel::new_queue(stream->second, place.second);
        model_.side_tables.name(qualifier::queue, queue_address(place), qualifier::no_id);
        return;
    }
    remark("queue " + queue_address(place) + " was not made or deleted to its end");
    say(library_call("brgfdb_create_queue", queue_index(place), text(queue.blocks), text(queue.length)));
    SwitchModel::QueueState& kept = model_.queues[place] = queue;
    if (!queue.is_attached) return;
    say(library_call("brgfdb_add_queue_to_stream", queue_index(place), text(place.first), text(place.second),
                     text(queue.stream_type), text(place.second), text(queue.weighted)));
    kept.service = "pri " + text(place.second) + " ratio 1";
}

void Rehearsal::create_missing_queues(int64_t stream_index) {
    say("create queue " + Stream(stream_index).address + "/-");
    for (int64_t traffic_class = 0; traffic_class < classes_per_stream; ++traffic_class) {
        const SwitchModel::Queue place{stream_index, traffic_class};
        if (model_.queues.contains(place)) continue;
        need("queues", static_cast<int64_t>(model_.queues.size()) + 1);
        take_buffers(initial_blocks);
        model_.queues[place] = SwitchModel::new_queue(model_.streams.at(stream_index), traffic_class);
        model_.side_tables.name(qualifier::queue, queue_address(place), qualifier::no_id);
    }
}

void Rehearsal::delete_queue(const SwitchModel::Queue& place) {
    if (model_.queues.at(place).is_attached) {
        say("delete queue " + queue_address(place));
        model_.side_tables.forget_name(qualifier::queue, queue_address(place));
    } else {
        say(library_call("brgfdb_delete_queue", queue_index(place)));
    }
    take_buffers(-model_.queues.at(place).blocks);
    model_.queues.erase(place);
}

void Rehearsal::delete_attached_queues(int64_t stream_index) {
    say("delete queue " + Stream(stream_index).address + "/-");
    std::erase_if(model_.queues, [&](const auto& queue) {
        if (queue.first.first != stream_index || !queue.second.is_attached) return false;
        model_.side_tables.forget_name(qualifier::queue, queue_address(queue.first));
        take_buffers(-queue.second.blocks);
        return true;
    });
}

void Rehearsal::set_service(const SwitchModel::Queue& place, const std::string& words) {
    say("set queue " + queue_address(place) + " " + words);
    model_.queues.at(place).service = words;
}

void Rehearsal::set_length(const SwitchModel::Queue& place, int64_t blocks, int64_t length) {
    constexpr int64_t shortest = 1536;
    SwitchModel::QueueState& queue = model_.queues.at(place);
    take_buffers(blocks - queue.blocks);
    if (length >= shortest && blocks * block_size(length) == length)
        say("set queue " + queue_address(place) + " queue_length " + text(length));
    else
        say(library_call("brgfdb_set_queue_size", queue_index(place), text(place.first), text(place.second),
                         text(blocks), text(length)));
    queue.blocks = blocks;
    queue.length = length;
}

// --- Classification lists ---

void Rehearsal::create_list(int64_t list) {
    say("create clslist " + text(list));
    need("clslists", static_cast<int64_t>(model_.lists.size()) + 1);
    model_.lists[list] = {};
}

void Rehearsal::delete_list(int64_t list) {
    say("delete clslist " + text(list));
    model_.lists.erase(list);
}

void Rehearsal::add_rule(int64_t list, int64_t line, const std::string& marking, const SwitchModel::Rule& rule) {
    const std::string sentence = "add classify " + rule.words + " to clslist " + text(list) + " line " + text(line);
    if (rule.can_be_typed)
        say(sentence);
    else
        remark("no sentence has such a mask: " + sentence);
    SwitchModel::List& kept = model_.lists.at(list);
    kept.marking = marking;
    kept.rules[line] = rule;
    need("rules_per_clslist", line);
    if (model_.limits.at("words_per_clslist") >= memory_of_longest_rule * static_cast<int64_t>(kept.rules.size()))
        return;
    int64_t memory = 0;
    for (const auto& [number, each] : kept.rules)
        memory += each.memory;
    need("words_per_clslist", memory);
}

void Rehearsal::remove_rule(int64_t list, int64_t line) {
    say("remove classify from clslist " + text(list) + " line " + text(line));
    SwitchModel::List& kept = model_.lists.at(list);
    kept.rules.erase(line);
    if (kept.rules.empty()) kept.marking.clear();
}

void Rehearsal::remove_rules(int64_t list) {
    say("remove classify from clslist " + text(list) + " line all");
    model_.lists.at(list) = {};
}

void Rehearsal::bind_list(const SwitchModel::InVlan& place, int64_t list, const std::string& extraction) {
    say("add clslist " + text(list) + " to " + member_words(place, " ") + extraction);
    SwitchModel::Member& member = model_.members.at(place);
    member.list = list;
    member.extraction = extraction;
}

void Rehearsal::unbind_list(const SwitchModel::InVlan& place) {
    SwitchModel::Member& member = model_.members.at(place);
    say("remove clslist " + text(*member.list) + " from " + member_words(place, " "));
    member.list.reset();
    member.extraction.clear();
}

// --- Forwarding database ---

void Rehearsal::create_static(const Address& address, const SwitchModel::StaticEntry& entry) {
    const auto& [vid, mac] = address;
    if (entry.owner == entry_owner::user)
        say("create sfdbentry " + quote_word(mac) + " in vlan " + quote_word(name_of(vid)) + " " + entry.target);
    else
        say(library_call("brgfdb_create_sfil", text(vid), quote_word(mac), text(entry.port.value_or(0)),
                         text(entry.action), text(entry.owner)));
    forget_learned_address(address);
    need_entry();
    model_.static_entries[address] = entry;
}

void Rehearsal::delete_static(const Address& address) {
    const auto& [vid, mac] = address;
    const int64_t owner = model_.static_entries.at(address).owner;
    if (owner == entry_owner::user)
        say("delete sfdbentry " + quote_word(mac) + " in vlan " + quote_word(name_of(vid)));
    else
        say(library_call("brgfdb_delete_sfil", text(vid), quote_word(mac), text(owner)));
    model_.static_entries.erase(address);
}

void Rehearsal::create_local(int64_t port, const std::string& mac, const SwitchModel::LocalEntry& entry) {
    if (entry.owner == entry_owner::user && !is_reserved(mac))
        say("create lfdbentry " + quote_word(mac) + " in " + port_words(port) + " " +
            word_for(local_type_words, entry.type));
    else
        say(library_call("brgfdb_create_lfil", text(port), quote_word(mac), text(entry.type), text(entry.owner)));
    need_entry();
    model_.ports.at(port).local_entries[mac] = entry;
}

void Rehearsal::delete_local(int64_t port, const std::string& mac) {
    auto& entries = model_.ports.at(port).local_entries;
    const int64_t owner = entries.at(mac).owner;
    if (owner == entry_owner::user && !is_reserved(mac))
        say("delete lfdbentry " + quote_word(mac) + " in " + port_words(port));
    else
        say(library_call("brgfdb_delete_lfil", text(port), quote_word(mac), text(owner)));
    entries.erase(mac);
}

std::string Rehearsal::line_to_learn(const Address& address, int64_t port) const {
    const auto& [vid, mac] = address;
    return "emuswitch learn " + quote_word(mac) + " " + quote_word(name_of(vid)) + " " + text(port);
}

void Rehearsal::learn(const Address& address, int64_t port) {
    say(line_to_learn(address, port));
    if (!model_.learned.contains(address)) need_entry();
    model_.learned[address] = port;
}

void Rehearsal::forget_learned() {
    say("delete dfdbentry all in all");
    model_.learned.clear();
}

void Rehearsal::forget_learned_in(int64_t vid) {
    say("delete dfdbentry all in vlan " + quote_word(name_of(vid)));
    std::erase_if(model_.learned, [&](const auto& entry) { return entry.first.first == vid; });
}

// --- Mirrors ---

void Rehearsal::create_mirror(int64_t mirror) {
    say("create mirror " + text(mirror));
    need("mirrors", mirror);
    model_.mirrors[mirror] = {};
}

void Rehearsal::delete_mirror(int64_t mirror) {
    say("delete mirror " + text(mirror));
    model_.mirrors.erase(mirror);
}

void Rehearsal::switch_mirror(int64_t mirror, bool is_enabled) {
    say((is_enabled ? "enable mirror " : "disable mirror ") + text(mirror));
    model_.mirrors.at(mirror).is_enabled = is_enabled;
}

void Rehearsal::set_source(int64_t mirror, const SwitchModel::Mirror& wanted) {
    // Behind a port, the name of all VLANs is none.
    if (wanted.source_port != 0 && wanted.source_vid != 0 && stands_for_all(name_of(wanted.source_vid)))
        say(library_call("brgfdb_set_mirror_source", text(mirror), text(*wanted.source_type), text(wanted.source_port),
                         text(wanted.source_vid)));
    else
        say("set mirror " + text(mirror) + " source " + wanted.source);
    SwitchModel::Mirror& kept = model_.mirrors.at(mirror);
    kept.source_type = wanted.source_type;
    kept.source = wanted.source;
    kept.source_port = wanted.source_port;
    kept.source_vid = wanted.source_vid;
}

void Rehearsal::set_destination(int64_t mirror, int64_t port) {
    say("set mirror " + text(mirror) + " dest " + port_words(port));
    model_.mirrors.at(mirror).destination = port;
}

void Rehearsal::set_classification(int64_t mirror, const std::string& words) {
    say("set mirror " + text(mirror) + " classify " + words);
    model_.mirrors.at(mirror).classification = words;
}

void Rehearsal::set_tag(int64_t mirror, const SwitchModel::Mirror& wanted) {
    if (!wanted.unused_tag.empty())
        say(library_call("brgfdb_set_mirror_tag", text(mirror), std::string("0"), wanted.unused_tag));
    else
        say("set mirror " + text(mirror) + " tag " + wanted.tag);
    SwitchModel::Mirror& kept = model_.mirrors.at(mirror);
    kept.tag = wanted.tag;
    kept.unused_tag = wanted.unused_tag;
}
