// From rows to what forwarding looks at. Each statement is prepared once and its columns are read by number, in the
// order in which it names them.
#include "companion/configuration_compiler.h"

#include "companion/statement.h"
#include "companion/words.h"
#include "core/match_fields.h"

#include <algorithm>
#include <optional>

using namespace dataplane;

namespace {

Mac read_mac(const Statement& row, int column) {
    const std::optional<Mac> mac = mac_of_text(row.text(column));
    if (!mac) row.fail_as_damaged(column);
    return *mac;
}

PortIndex read_port(const Statement& row, int column, const Ports& ports) {
    const PortIndex port = ports.find(row.number<int32_t>(column));
    if (port == no_port) row.fail_as_damaged(column);
    return port;
}

PortIndex read_port_or_none(const Statement& row, int column, const Ports& ports) {
    return row.is_null(column) ? no_port : read_port(row, column, ports);
}

static_assert(std::size(emulator::match_fields) == field_count); // in the same order

Field read_field(const Statement& row, int column) {
    const std::string name(row.text(column));
    const emulator::MatchField* const field = emulator::find_match_field(name.c_str());
    if (field == nullptr) row.fail_as_damaged(column);
    return static_cast<Field>(field - emulator::match_fields);
}

template <typename Entry> void erase_scopes(AddressTable<Entry>& table, const std::vector<uint32_t>& scopes) {
    if (scopes.empty()) return;
    std::vector<uint64_t> erased;
    table.for_each([&](uint32_t scope, Mac mac, const Entry&) {
        if (std::find(scopes.begin(), scopes.end(), scope) != scopes.end()) erased.push_back(address_key(scope, mac));
    });
    for (const uint64_t key : erased)
        table.erase(scope_of_key(key), mac_of_key(key));
}

} // namespace

std::optional<Mac> mac_of_text(std::string_view text) {
    if (text.size() != 17) return std::nullopt;
    Mac mac = 0;
    for (size_t at = 0; at < text.size(); at += 3) {
        const int high = hex_value(text[at]);
        const int low = hex_value(text[at + 1]);
        if (high < 0 || low < 0 || (at < 15 && text[at + 2] != ':')) return std::nullopt;
        mac = mac << 8 | static_cast<Mac>(high << 4 | low);
    }
    return mac;
}

MacText::MacText(Mac mac) {
    constexpr const char* digits = "0123456789abcdef";
    for (size_t i = 0; i < 6; ++i) {
        const auto byte = static_cast<unsigned>(mac >> (40 - 8 * i) & 0xff);
        text[3 * i] = digits[byte >> 4];
        text[3 * i + 1] = digits[byte & 15];
        text[3 * i + 2] = i < 5 ? ':' : '\0';
    }
}

struct ConfigurationCompiler::Statements {
    explicit Statements(Database& owner) : database(owner) {}

    void read_ports(Ports& result);
    void read_cos_maps(Ports& result);
    void read_policers(Ports& result);
    void read_link_frames(Ports& result);

    void read_vlans(Vlans& result);
    void read_protocols(Vlans& result);
    void read_members(Vlans& result, const Ports& known_ports);
    void read_bindings(Vlans& result, const Ports& known_ports, const Lists& known);
    void read_extraction_points(Vlans& result, const Ports& known_ports);
    void add_untagged(Vlans& result, const Member& member, uint16_t vid) const;
    static Member& require_member(const Statement& row, Vlans& result, const Ports& known_ports);

    static void read_static(const Statement& row, Filters& result, const Ports& known_ports);
    static void read_local(const Statement& row, Filters& result, const Ports& known_ports);
    void set_learned_room(Filters& result, uint64_t static_entries);

    std::shared_ptr<const List> read_list(int32_t number, Marking marking);
    void read_rules(int32_t number, std::vector<Rule>& result);

    void read_streams(Qos& result, const Ports& known_ports);
    void read_tos_maps(Qos& result);
    void read_queues(Qos& result);
    void read_drop_policies(Qos& result);
    static Stream* find_stream(Qos& result, uint16_t index);

    Database& database;
    Statement ports{database, "SELECT port, ether, type, enabled, accept_all_frames, ingress_filtering, accept_tagged,"
                              " accept_priority_tagged, cos_editing, ignore_fdb, bandwidth_mode, in_lag, ip_interface,"
                              " loop_breaker, tag_type, pvid, aging, default_stream, default_class, default_color,"
                              " link_mode, link_depend, link_depend_ports FROM port ORDER BY port"};
    Statement cos_maps{database, "SELECT port, priority, traffic_class FROM cos_map"};
    Statement policers{database, "SELECT port, traffic_class, rate, burst, color FROM class_policer"};
    Statement link_frames{database, "SELECT port, kind, action FROM link_frame"};
    Statement vlans{database, "SELECT vid, name, learning_off, ignore_fdb, loop_detection, learning_limit FROM vlan"
                              " ORDER BY vid"};
    Statement protgroups{database, "SELECT protgroup FROM protgroup ORDER BY protgroup"};
    Statement protocols{database, "SELECT protgroup, ether_type FROM protocol ORDER BY protgroup, ether_type"};
    Statement members{database, "SELECT vid, port, tagged, tag_type, protgroup FROM vlan_member ORDER BY vid, port"};
    Statement bindings{database, "SELECT vid, port, list FROM list_binding"};
    Statement points{database, "SELECT vid, port, point, byte_offset, width FROM extraction_point"};
    Statement statics{database, "SELECT vid, mac, port, action, of_system FROM static_entry"};
    Statement statics_of_vlan{database, "SELECT vid, mac, port, action, of_system FROM static_entry WHERE vid = ?"};
    Statement static_count{database, "SELECT count(*) FROM static_entry"};
    Statement locals{database, "SELECT port, mac, type, of_system FROM local_entry"};
    Statement locals_of_port{database, "SELECT port, mac, type, of_system FROM local_entry WHERE port = ?"};
    Statement fdb_limit{database, "SELECT value FROM limits WHERE name = 'fdb_entries'"};
    Statement lists{database, "SELECT list, marking FROM classify_list ORDER BY list"};
    Statement list{database, "SELECT marking FROM classify_list WHERE list = ?"};
    Statement rules{database,
                    "SELECT line, stream, traffic_class, color FROM classify_rule WHERE list = ? ORDER BY line"};
    Statement matches{database, "SELECT line, field, low, high, mask FROM classify_match WHERE list = ?"
                                " ORDER BY line"};
    Statement mirrors{database,
                      "SELECT mirror, source_type, source_port, source_vid, destination, stream,"
                      " traffic_class, color, tagged, tag_type, tag_vid FROM mirror WHERE enabled = 1 ORDER BY mirror"};
    Statement streams{database,
                      "SELECT stream_index, port, qos_type, priority, min_rate, min_burst, max_rate, max_burst"
                      " FROM stream WHERE port IS NOT NULL ORDER BY stream_index"};
    Statement tos_maps{database, "SELECT stream_index, entry, value, mask FROM tos_map ORDER BY stream_index, entry"};
    Statement queues{database, "SELECT stream_index, traffic_class, length, priority, ratio FROM queue_in_stream"
                               " JOIN queue USING (stream_index, traffic_class)"};
    Statement drop_policies{database,
                            "SELECT stream_index, traffic_class, color, min_threshold, min_drop, max_threshold,"
                            " max_drop FROM drop_policy"};
    Statement shapers{database, "SELECT ether, rate, burst FROM ether_shaper ORDER BY ether"};
};

ConfigurationCompiler::ConfigurationCompiler(Database& database)
    : statements_(std::make_unique<Statements>(database)) {}
ConfigurationCompiler::~ConfigurationCompiler() = default;

// --- Ports ---

void ConfigurationCompiler::Statements::read_ports(Ports& result) {
    ports.for_each([&] {
        if (result.ports.size() >= no_port)
            throw Failure("the switch has more ports than frames can be sent through (" + std::to_string(no_port) +
                          ")");
        Port& port = result.ports.emplace_back();
        port.number = ports.number<int32_t>(0);
        port.ether = ports.number<int32_t>(1);
        port.type = ports.in_range<PortType>(2, 0, 2);
        port.is_enabled = ports.flag(3);
        port.accepts_untagged = ports.flag(4);
        port.filters_ingress = ports.flag(5);
        port.looks_at_tags = ports.flag(6);
        port.looks_at_priority_tags = ports.flag(7);
        port.edits_priority = ports.flag(8);
        port.ignores_fdb = ports.flag(9);
        port.counts_gap = ports.flag(10);
        port.is_in_lag = ports.flag(11);
        port.has_ip_interface = ports.flag(12);
        port.breaks_loops = ports.flag(13);
        port.tag_type = ports.number<uint16_t>(14);
        port.pvid = ports.number<uint16_t>(15);
        port.aging = ports.number<uint32_t>(16);
        port.default_stream = ports.number<uint8_t>(17);
        port.default_class = ports.number<uint8_t>(18);
        port.default_color = ports.number<uint8_t>(19);
        port.link_mode = ports.optional_number<LinkMode>(20).value_or(LinkMode::none);
        port.link_depend = ports.optional_number<LinkDepend>(21).value_or(LinkDepend::none);
        port.link_depend_ports = ports.number<uint32_t>(22);
    });
}

void ConfigurationCompiler::Statements::read_cos_maps(Ports& result) {
    cos_maps.for_each([&] {
        Port& port = result.ports[read_port(cos_maps, 0, result)];
        port.class_of_priority[cos_maps.number<size_t>(1)] = cos_maps.number<uint8_t>(2);
    });
}

void ConfigurationCompiler::Statements::read_policers(Ports& result) {
    policers.for_each([&] {
        Port& port = result.ports[read_port(policers, 0, result)];
        Policer& policer = port.policers[policers.number<size_t>(1)];
        policer.rate = policers.number<uint32_t>(2);
        policer.burst = policers.number<uint32_t>(3);
        policer.excess = policers.number<uint8_t>(4);
        if (policer.excess >= color_count && policer.excess != discards_excess) policers.fail_as_damaged(4);
    });
}

void ConfigurationCompiler::Statements::read_link_frames(Ports& result) {
    link_frames.for_each([&] {
        Port& port = result.ports[read_port(link_frames, 0, result)];
        const auto kind = static_cast<uint8_t>(1U << link_frames.number<unsigned>(1));
        if (link_frames.flag(2)) port.forwarded_link_frames = static_cast<uint8_t>(port.forwarded_link_frames | kind);
    });
}

std::shared_ptr<const Ports> ConfigurationCompiler::ports() {
    auto result = std::make_shared<Ports>();
    statements_->read_ports(*result);
    statements_->read_cos_maps(*result);
    statements_->read_policers(*result);
    statements_->read_link_frames(*result);
    return result;
}

// --- VLANs ---

void ConfigurationCompiler::Statements::read_vlans(Vlans& result) {
    vlans.for_each([&] {
        Vlan& vlan = result.vlans.emplace_back();
        vlan.vid = vlans.number<uint16_t>(0);
        vlan.name = vlans.text(1);
        vlan.learns = !vlans.flag(2);
        vlan.ignores_fdb = vlans.flag(3);
        vlan.detects_loops = vlans.flag(4);
        vlan.learning_limit = vlans.number<uint32_t>(5);
        result.place[vlan.vid] = static_cast<uint16_t>(result.vlans.size());
    });
}

void ConfigurationCompiler::Statements::read_protocols(Vlans& result) {
    protgroups.for_each([&] { result.protgroups.push_back(protgroups.number<uint16_t>(0)); });
    result.protgroup_types.resize(result.protgroups.size());
    protocols.for_each([&] {
        const auto group = protocols.number<uint16_t>(0);
        const auto found = std::lower_bound(result.protgroups.begin(), result.protgroups.end(), group);
        if (found == result.protgroups.end() || *found != group) protocols.fail_as_damaged(0);
        result.protgroup_types[static_cast<size_t>(found - result.protgroups.begin())].push_back(
            protocols.number<uint16_t>(1));
    });
}

// Where frames without a tag go that come in on this member.
void ConfigurationCompiler::Statements::add_untagged(Vlans& result, const Member& member, uint16_t vid) const {
    if (member.is_tagged) return;
    UntaggedVlans& untagged = result.untagged[member.port];
    if (!member.protgroup) {
        untagged.vid = vid;
        return;
    }
    const auto found = std::lower_bound(result.protgroups.begin(), result.protgroups.end(), *member.protgroup);
    if (found == result.protgroups.end() || *found != *member.protgroup) members.fail_as_damaged(4);
    for (const uint16_t type : result.protgroup_types[static_cast<size_t>(found - result.protgroups.begin())])
        untagged.by_type.push_back({.ether_type = type, .vid = vid, .protgroup = *member.protgroup});
}

void ConfigurationCompiler::Statements::read_members(Vlans& result, const Ports& known_ports) {
    result.untagged.resize(known_ports.ports.size());
    members.for_each([&] {
        const uint16_t vid = members.number<uint16_t>(0);
        if (result.place[vid] == 0) members.fail_as_damaged(0);
        Member member;
        member.port = read_port(members, 1, known_ports);
        member.is_tagged = members.flag(2);
        member.tag_type = members.number<uint16_t>(3);
        member.protgroup = members.optional_number<uint16_t>(4);
        member.list = -1;
        add_untagged(result, member, vid);
        result.vlans[result.place[vid] - 1U].members.push_back(member);
    });
    for (UntaggedVlans& untagged : result.untagged)
        std::sort(untagged.by_type.begin(), untagged.by_type.end(),
                  [](const auto& one, const auto& other) { return one.ether_type < other.ether_type; });
}

// The member that the first two columns of the row name.
Member& ConfigurationCompiler::Statements::require_member(const Statement& row, Vlans& result,
                                                          const Ports& known_ports) {
    const uint16_t vid = row.number<uint16_t>(0);
    if (result.place[vid] == 0) row.fail_as_damaged(0);
    const PortIndex port = read_port(row, 1, known_ports);
    std::vector<Member>& members_of_vlan = result.vlans[result.place[vid] - 1U].members;
    const auto found = std::lower_bound(members_of_vlan.begin(), members_of_vlan.end(), port,
                                        [](const Member& member, PortIndex wanted) { return member.port < wanted; });
    if (found == members_of_vlan.end() || found->port != port) row.fail_as_damaged(1);
    return *found;
}

void ConfigurationCompiler::Statements::read_bindings(Vlans& result, const Ports& known_ports, const Lists& known) {
    bindings.for_each([&] {
        const auto number = bindings.number<int32_t>(2);
        const auto found = std::lower_bound(known.lists.begin(), known.lists.end(), number,
                                            [](const auto& one, int32_t wanted) { return one->number < wanted; });
        if (found == known.lists.end() || (*found)->number != number) bindings.fail_as_damaged(2);
        require_member(bindings, result, known_ports).list = static_cast<int32_t>(found - known.lists.begin());
    });
}

void ConfigurationCompiler::Statements::read_extraction_points(Vlans& result, const Ports& known_ports) {
    points.for_each([&] {
        dataplane::ExtractionPoint& point =
            require_member(points, result, known_ports).extraction[points.number<size_t>(2) - 1];
        point.offset = points.number<uint16_t>(3);
        point.width = points.number<uint8_t>(4);
    });
}

std::shared_ptr<const Vlans> ConfigurationCompiler::vlans(const Ports& ports, const Lists& lists) {
    auto result = std::make_shared<Vlans>();
    statements_->read_vlans(*result);
    statements_->read_protocols(*result);
    statements_->read_members(*result, ports);
    statements_->read_bindings(*result, ports, lists);
    statements_->read_extraction_points(*result, ports);
    return result;
}

// --- Filter entries ---

void ConfigurationCompiler::Statements::read_static(const Statement& row, Filters& result, const Ports& known_ports) {
    StaticEntry& entry = result.statics.put(row.number<uint16_t>(0), read_mac(row, 1));
    entry.port = read_port_or_none(row, 2, known_ports);
    entry.flags = row.number<uint8_t>(3);
    entry.is_of_system = row.flag(4);
}

void ConfigurationCompiler::Statements::read_local(const Statement& row, Filters& result, const Ports& known_ports) {
    LocalEntry& entry = result.locals.put(read_port(row, 0, known_ports), read_mac(row, 1));
    entry.action = row.in_range<LocalAction>(2, 1, 4);
    entry.is_of_system = row.flag(3);
}

void ConfigurationCompiler::Statements::set_learned_room(Filters& result, uint64_t static_entries) {
    const auto room = static_cast<uint64_t>(fdb_limit.only_number());
    const uint64_t used = static_entries + result.locals.size();
    result.learned_room = room > used ? room - used : 0;
}

std::shared_ptr<const Filters> ConfigurationCompiler::filters(const Ports& ports) {
    auto result = std::make_shared<Filters>();
    Statement& statics = statements_->statics;
    statics.for_each([&] { Statements::read_static(statics, *result, ports); });
    Statement& locals = statements_->locals;
    locals.for_each([&] { Statements::read_local(locals, *result, ports); });
    statements_->set_learned_room(*result, result->statics.size());
    return result;
}

std::shared_ptr<const Filters> ConfigurationCompiler::filters_without_statics(const Ports& ports) {
    auto result = std::make_shared<Filters>();
    Statement& locals = statements_->locals;
    locals.for_each([&] { Statements::read_local(locals, *result, ports); });
    statements_->set_learned_room(*result, static_cast<uint64_t>(statements_->static_count.only_number()));
    return result;
}

std::shared_ptr<const Filters> ConfigurationCompiler::filters(const Filters& before, const FilterScopes& changed,
                                                              const Ports& ports) {
    auto result = std::make_shared<Filters>(before);
    Statement& statics = statements_->statics_of_vlan;
    erase_scopes(result->statics, changed.vids);
    for (const uint32_t vid : changed.vids)
        statics.for_each([&] { Statements::read_static(statics, *result, ports); }, vid);
    Statement& locals = statements_->locals_of_port;
    std::vector<uint32_t> places;
    for (const int32_t port : changed.ports)
        places.push_back(ports.find(port));
    erase_scopes(result->locals, places);
    for (const int32_t port : changed.ports)
        locals.for_each([&] { Statements::read_local(locals, *result, ports); }, port);
    statements_->set_learned_room(*result, result->statics.size());
    return result;
}

// --- Classification lists ---

void ConfigurationCompiler::Statements::read_rules(int32_t number, std::vector<Rule>& result) {
    rules.for_each(
        [&] {
            Rule& rule = result.emplace_back();
            rule.line = rules.number<int32_t>(0);
            rule.stream = rules.number<uint8_t>(1);
            rule.traffic_class = rules.number<uint8_t>(2);
            rule.color = rules.in_range<uint8_t>(3, 0, color_count - 1);
        },
        number);
    auto rule = result.begin();
    matches.for_each(
        [&] {
            const auto line = matches.number<int32_t>(0);
            while (rule != result.end() && rule->line < line)
                ++rule;
            if (rule == result.end() || rule->line != line) matches.fail_as_damaged(0);
            const auto low = matches.number<uint32_t>(2);
            rule->matches.push_back({.field = read_field(matches, 1),
                                     .low = low,
                                     .high = matches.optional_number<uint32_t>(3).value_or(low),
                                     .mask = matches.number<uint32_t>(4)});
        },
        number);
}

std::shared_ptr<const List> ConfigurationCompiler::Statements::read_list(int32_t number, Marking marking) {
    std::vector<Rule> found;
    read_rules(number, found);
    auto result = std::make_shared<List>();
    result->number = number;
    result->marking = marking;
    result->matcher = Matcher(std::move(found));
    return result;
}

std::shared_ptr<const Lists> ConfigurationCompiler::lists_without_rules() {
    auto result = std::make_shared<Lists>();
    Statement& rows = statements_->lists;
    rows.for_each([&] {
        auto list = std::make_shared<List>();
        list->number = rows.number<int32_t>(0);
        list->marking = rows.optional_number<Marking>(1).value_or(Marking::normal);
        result->lists.push_back(std::move(list));
    });
    return result;
}

std::shared_ptr<const Lists> ConfigurationCompiler::lists() {
    auto result = std::make_shared<Lists>(*lists_without_rules());
    for (auto& list : result->lists)
        list = statements_->read_list(list->number, list->marking);
    return result;
}

std::shared_ptr<const Lists> ConfigurationCompiler::lists(const Lists& before, const std::vector<int32_t>& changed) {
    auto result = std::make_shared<Lists>(before);
    for (auto& list : result->lists) {
        if (std::find(changed.begin(), changed.end(), list->number) == changed.end()) continue;
        Marking marking = Marking::normal;
        Statement& row = statements_->list;
        row.for_each([&] { marking = row.optional_number<Marking>(0).value_or(Marking::normal); }, list->number);
        list = statements_->read_list(list->number, marking);
    }
    return result;
}

// --- Mirrors ---

std::shared_ptr<const Mirrors> ConfigurationCompiler::mirrors(const Ports& ports) {
    auto result = std::make_shared<Mirrors>();
    Statement& rows = statements_->mirrors;
    rows.for_each([&] {
        Mirror& mirror = result->mirrors.emplace_back();
        mirror.number = rows.number<uint16_t>(0);
        mirror.source = rows.number<MirrorSource>(1);
        mirror.source_port = read_port_or_none(rows, 2, ports);
        mirror.source_vid = rows.optional_number<uint16_t>(3).value_or(0);
        mirror.destination = read_port(rows, 4, ports);
        mirror.is_filtered = !rows.is_null(5);
        if (mirror.is_filtered) {
            mirror.stream = rows.number<uint8_t>(5);
            mirror.traffic_class = rows.number<uint8_t>(6);
            mirror.color = rows.in_range<uint8_t>(7, 0, color_count - 1);
        }
        mirror.adds_tag = rows.flag(8);
        mirror.tag_type = rows.number<uint16_t>(9);
        mirror.tag_vid = rows.number<uint16_t>(10);
    });
    return result;
}

// --- Quality of service ---

void ConfigurationCompiler::Statements::read_streams(Qos& result, const Ports& known_ports) {
    streams.for_each([&] {
        Stream& stream = result.streams.emplace_back();
        stream.index = streams.number<uint16_t>(0);
        stream.port = read_port(streams, 1, known_ports);
        stream.is_strict = streams.number(2) == qos_type::strict_priority;
        stream.priority = streams.number<uint32_t>(3);
        stream.min_rate = streams.number<uint32_t>(4);
        stream.min_burst = streams.number<uint32_t>(5);
        stream.max_rate = streams.number<uint32_t>(6);
        stream.max_burst = streams.number<uint32_t>(7);
        result.place[stream.index] = static_cast<uint16_t>(result.streams.size());
    });
}

// Null: it is not attached to a port, and then nothing of it counts.
Stream* ConfigurationCompiler::Statements::find_stream(Qos& result, uint16_t index) {
    const uint16_t place = result.place[index];
    return place == 0 ? nullptr : &result.streams[place - 1U];
}

void ConfigurationCompiler::Statements::read_tos_maps(Qos& result) {
    tos_maps.for_each([&] {
        Stream* const stream = find_stream(result, tos_maps.number<uint16_t>(0));
        if (stream == nullptr) return;
        stream->tos_map.push_back({.entry = tos_maps.number<uint8_t>(1),
                                   .value = tos_maps.number<uint32_t>(2),
                                   .mask = tos_maps.number<uint32_t>(3)});
    });
}

void ConfigurationCompiler::Statements::read_queues(Qos& result) {
    queues.for_each([&] {
        Stream* const stream = find_stream(result, queues.number<uint16_t>(0));
        if (stream == nullptr) return;
        Queue& queue = stream->queues[queues.number<size_t>(1)];
        queue.exists = true;
        queue.length = queues.number<uint32_t>(2);
        queue.priority = queues.number<uint32_t>(3);
        queue.ratio = queues.number<uint32_t>(4);
    });
}

void ConfigurationCompiler::Statements::read_drop_policies(Qos& result) {
    drop_policies.for_each([&] {
        Stream* const stream = find_stream(result, drop_policies.number<uint16_t>(0));
        if (stream == nullptr) return;
        Queue& queue = stream->queues[drop_policies.number<size_t>(1)];
        DropPolicy& policy = queue.drop[drop_policies.in_range<size_t>(2, 0, color_count - 1)];
        policy.min_threshold = drop_policies.number<uint32_t>(3);
        policy.min_drop = drop_policies.number<uint32_t>(4);
        policy.max_threshold = drop_policies.number<uint32_t>(5);
        policy.max_drop = drop_policies.number<uint32_t>(6);
    });
}

std::shared_ptr<const Qos> ConfigurationCompiler::qos(const Ports& ports) {
    auto result = std::make_shared<Qos>();
    statements_->read_streams(*result, ports);
    statements_->read_tos_maps(*result);
    statements_->read_queues(*result);
    statements_->read_drop_policies(*result);
    Statement& shapers = statements_->shapers;
    shapers.for_each([&] {
        result->shapers.push_back({.ether = shapers.number<int32_t>(0),
                                   .rate = shapers.number<uint32_t>(1),
                                   .burst = shapers.number<uint32_t>(2)});
    });
    return result;
}
