// What the switch remembers, fitted to a new configuration.
#include "dataplane/state.h"

namespace dataplane {
namespace {

// Where each port of one configuration stands in the next; `no_port`: gone.
std::vector<PortIndex> new_indices(const Ports& before, const Ports& now) {
    std::vector<PortIndex> indices;
    indices.reserve(before.ports.size());
    for (const Port& port : before.ports)
        indices.push_back(now.find(port.number));
    return indices;
}

// Values by PortIndex at their new places, `fresh` where a port is new.
template <typename Value>
void move_to(std::vector<Value>& values, const std::vector<PortIndex>& indices, size_t count, const Value& fresh) {
    std::vector<Value> moved(count, fresh);
    for (size_t old = 0; old < indices.size() && old < values.size(); ++old)
        if (indices[old] != no_port) moved[indices[old]] = values[old];
    values.swap(moved);
}

bool is_same(const Policer& one, const Policer& other) {
    return one.rate == other.rate && one.burst == other.burst;
}

void adopt_ports(State& state, const Ports& before, const Ports& now) {
    const std::vector<PortIndex> indices = new_indices(before, now);
    const size_t count = now.ports.size();
    move_to(state.buckets, indices, count, {});
    move_to(state.has_carrier, indices, count, uint8_t{1});
    move_to(state.is_bound, indices, count, uint8_t{0});
    state.learned.renumber(indices);

    bool is_aging_changed = false;
    for (size_t old = 0; old < indices.size(); ++old) {
        if (indices[old] == no_port) continue;
        const Port& was = before.ports[old];
        const Port& is = now.ports[indices[old]];
        is_aging_changed = is_aging_changed || was.aging != is.aging;
        for (size_t number = 0; number < class_count; ++number)
            if (!is_same(was.policers[number], is.policers[number])) state.buckets[indices[old]][number] = Bucket{};
    }
    if (is_aging_changed) state.learned.check_all_again();
}

void forget_former_members(Learned& learned, const Vlans& vlans) {
    learned.erase_if([&](uint32_t vid, Mac, const LearnedEntry& entry) {
        const Vlan* vlan = vlans.find(vid);
        return vlan == nullptr || vlan->find_member(entry.port) == nullptr;
    });
}

void forget_static_ones(Learned& learned, const Filters& filters) {
    if (filters.statics.size() < learned.size())
        filters.statics.for_each([&](uint32_t vid, Mac mac, const StaticEntry&) { learned.erase(vid, mac); });
    else
        learned.erase_if(
            [&](uint32_t vid, Mac mac, const LearnedEntry&) { return filters.statics.find(vid, mac) != nullptr; });
}

} // namespace

void adopt(State& state, const Configuration* before, const Configuration& now) {
    const size_t count = now.ports->ports.size();
    const bool is_first = before == nullptr;
    if (is_first) {
        state.buckets.assign(count, {});
        state.has_carrier.resize(count, 1);
        state.is_bound.resize(count, 0);
    } else if (before->ports != now.ports) {
        adopt_ports(state, *before->ports, *now.ports);
    }
    const bool has_new_members = is_first || before->ports != now.ports || before->vlans != now.vlans;
    if (has_new_members) forget_former_members(state.learned, *now.vlans);
    if (is_first || before->filters != now.filters) forget_static_ones(state.learned, *now.filters);
    refresh_links(state, now);
}

} // namespace dataplane
