// Which ports are up: those that are enabled, have a carrier, and whose link dependency is met.
#include "dataplane/state.h"

namespace dataplane {
namespace {

// How many of the links that a port depends on there are, and how many of them are up.
struct Links {
    uint32_t count = 0;
    uint32_t up = 0;
    void add(bool is_up) {
        ++count;
        up += is_up ? 1 : 0;
    }
    bool meet(LinkMode mode) const { return mode == LinkMode::any ? up > 0 : up == count; }
};

bool has_link(const State& state, const Ports& ports, PortIndex port) {
    return ports.ports[port].is_enabled && state.has_carrier[port] != 0;
}

Links links_of_ports(const State& state, const Ports& ports, uint32_t mask) {
    Links links;
    for (int32_t number = 1; number <= 32; ++number) {
        if ((mask >> (number - 1) & 1U) == 0) continue;
        const PortIndex port = ports.find(number);
        links.add(port != no_port && has_link(state, ports, port));
    }
    return links;
}

// Those of the other members, as far as they are ports with an interface: others have no link.
Links links_of_vlans(const State& state, const Configuration& configuration, PortIndex port) {
    const Ports& ports = *configuration.ports;
    Links links;
    for (const Vlan& vlan : configuration.vlans->vlans) {
        if (vlan.find_member(port) == nullptr) continue;
        for (const Member& member : vlan.members)
            if (member.port != port && ports.ports[member.port].type == PortType::ether)
                links.add(has_link(state, ports, member.port));
    }
    return links;
}

bool meets_dependency(const State& state, const Configuration& configuration, PortIndex index) {
    const Port& port = configuration.ports->ports[index];
    switch (port.link_depend) {
    case LinkDepend::none: break;
    case LinkDepend::vlan: return links_of_vlans(state, configuration, index).meet(port.link_mode);
    case LinkDepend::ports:
        return links_of_ports(state, *configuration.ports, port.link_depend_ports).meet(port.link_mode);
    }
    return true;
}

} // namespace

void refresh_links(State& state, const Configuration& configuration) {
    const Ports& ports = *configuration.ports;
    state.is_up.resize(ports.ports.size());
    for (size_t place = 0; place < ports.ports.size(); ++place) {
        const auto port = static_cast<PortIndex>(place);
        state.is_up[place] = has_link(state, ports, port) && meets_dependency(state, configuration, port) ? 1 : 0;
    }
}

} // namespace dataplane
