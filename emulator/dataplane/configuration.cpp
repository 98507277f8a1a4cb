// Look-ups in the parts of a configuration.
#include "dataplane/configuration.h"

#include <algorithm>

namespace dataplane {

PortIndex Ports::find(int32_t number) const {
    const auto found = std::lower_bound(ports.begin(), ports.end(), number,
                                        [](const Port& port, int32_t wanted) { return port.number < wanted; });
    if (found == ports.end() || found->number != number) return no_port;
    return static_cast<PortIndex>(found - ports.begin());
}

const Member* Vlan::find_member(PortIndex port) const {
    const auto found = std::lower_bound(members.begin(), members.end(), port,
                                        [](const Member& member, PortIndex wanted) { return member.port < wanted; });
    return found != members.end() && found->port == port ? &*found : nullptr;
}

bool Vlans::protgroup_has(uint16_t protgroup, uint16_t ether_type) const {
    const auto found = std::lower_bound(protgroups.begin(), protgroups.end(), protgroup);
    if (found == protgroups.end() || *found != protgroup) return false;
    const std::vector<uint16_t>& types = protgroup_types[static_cast<size_t>(found - protgroups.begin())];
    return std::binary_search(types.begin(), types.end(), ether_type);
}

const EtherShaper* Qos::find_shaper(int32_t ether) const {
    const auto found =
        std::lower_bound(shapers.begin(), shapers.end(), ether,
                         [](const EtherShaper& shaper, int32_t wanted) { return shaper.ether < wanted; });
    return found != shapers.end() && found->ether == ether ? &*found : nullptr;
}

} // namespace dataplane
