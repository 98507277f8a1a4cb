// Interfaces: up, long frames, no offloads; and back.
#include "companion/live/interface_setup.h"

#include "companion/database.h"
#include "companion/live/network_namespace.h"
#include "dataplane/frame.h"

#include <fcntl.h>
#include <linux/ethtool.h>
#include <linux/if_tun.h>
#include <linux/sockios.h>
#include <net/if.h>
#include <net/if_arp.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iostream>

namespace live {

namespace {

constexpr uint32_t needed_mtu = dataplane::longest_frame - dataplane::shortest_frame;

// How an offload is asked for and set, and which bits of it count.
struct Offload {
    uint32_t get;
    uint32_t set;
    uint32_t bits;
};
constexpr uint32_t whole = 0xffffffff;

// What merges received frames into longer ones.
constexpr Offload receive_offloads[] = {
    {ETHTOOL_GGRO, ETHTOOL_SGRO, whole},
    {ETHTOOL_GFLAGS, ETHTOOL_SFLAGS, ETH_FLAG_LRO},
};
// What leaves checksums and segmentation to the hardware. Those that need others come first, so that they come back
// last.
constexpr Offload send_offloads[] = {
    {ETHTOOL_GTSO, ETHTOOL_STSO, whole},
    {ETHTOOL_GGSO, ETHTOOL_SGSO, whole},
    {ETHTOOL_GTXCSUM, ETHTOOL_STXCSUM, whole},
};

Failure cannot(const std::string& interface, const std::string& what, int reason) {
    const std::string problem = interface + ": " + what + " (" + strerror(reason) + ")";
    if (reason == EPERM || reason == EACCES)
        return Failure(problem + "; run as root, or inside unshare -Urn, which needs no rights");
    return Failure(problem);
}

// The request for the interface of that index, by the name that it has now. False: it is gone.
bool address(const Descriptor& control, int index, ifreq& request) {
    request.ifr_ifindex = index;
    return ioctl(control.get(), SIOCGIFNAME, &request) == 0;
}

bool ask_ethtool(const Descriptor& control, int index, uint32_t command, uint32_t& value) {
    ifreq request{};
    ethtool_value body{command, value};
    if (!address(control, index, request)) return false;
    request.ifr_data = reinterpret_cast<char*>(&body);
    if (ioctl(control.get(), SIOCETHTOOL, &request) != 0) return false;
    value = body.data;
    return true;
}

bool set_mtu(const Descriptor& control, int index, uint32_t mtu) {
    ifreq request{};
    if (!address(control, index, request)) return false;
    request.ifr_mtu = static_cast<int>(mtu);
    return ioctl(control.get(), SIOCSIFMTU, &request) == 0;
}

bool set_up(const Descriptor& control, int index, bool up) {
    ifreq request{};
    if (!address(control, index, request) || ioctl(control.get(), SIOCGIFFLAGS, &request) != 0) return false;
    const int flags = up ? request.ifr_flags | IFF_UP : request.ifr_flags & ~IFF_UP;
    request.ifr_flags = static_cast<short>(flags);
    return ioctl(control.get(), SIOCSIFFLAGS, &request) == 0;
}

// The user for whom we work: a virtual machine of theirs may open a tap that we made.
uid_t working_user() {
    const char* const name = getenv("SUDO_UID");
    return name != nullptr && getuid() == 0 ? static_cast<uid_t>(strtoul(name, nullptr, 10)) : getuid();
}

} // namespace

InterfaceSetup::InterfaceSetup() : own_control_(open_control()) {
    if (own_control_ == nullptr) throw Failure(std::string("no socket for settings (") + strerror(errno) + ")");
}

PreparedPort InterfaceSetup::prepare(const Binding& binding) {
    const std::string& name = binding.interface;
    std::optional<Link> link = links_.find(name);
    if (!link && binding.is_tap) {
        make_tap(name);
        link = links_.find(name);
    }
    if (!link)
        throw Failure(name + ": there is no such interface here; make it (ip link add " + name +
                      " type veth peer name ...), or write " + std::to_string(binding.port) + "=tap:" + name);
    if (link->hardware != ARPHRD_ETHER) throw Failure(name + ": carries no Ethernet frames; bind another interface");
    if (binding.is_tap && link->kind != "tun")
        throw Failure(name + ": is there and no tap; leave tap: away, or choose another name");
    if (link->master != 0) {
        const std::optional<Link> master = links_.find(link->master);
        throw Failure(name + ": belongs to " + (master ? master->name : "another interface") +
                      ", which would take its frames too; first: ip link set " + name + " nomaster");
    }
    raise_mtu(*link);
    bring_up(*link);
    for (const Offload& offload : receive_offloads)
        switch_off(own_control_, link->index, offload.get, offload.set, offload.bits);
    if (link->kind == "veth" && link->peer != 0) prepare_other_end(*link);
    return {binding.port, name, link->index};
}

void InterfaceSetup::make_tap(const std::string& name) {
    const Descriptor tap(open("/dev/net/tun", O_RDWR | O_CLOEXEC));
    if (!tap.is_open()) {
        const int reason = errno;
        if (reason == ENOENT || reason == ENODEV || reason == ENXIO)
            throw Failure("/dev/net/tun is missing; load the module tun (modprobe tun), or bind another interface");
        throw cannot("/dev/net/tun", "cannot be opened", reason);
    }
    ifreq request{};
    if (name.size() >= sizeof request.ifr_name) throw Failure(name + ": too long for the name of an interface");
    request.ifr_flags = IFF_TAP | IFF_NO_PI;
    name.copy(request.ifr_name, name.size());
    if (ioctl(tap.get(), TUNSETIFF, &request) != 0) throw cannot(name, "no tap can be made", errno);
    if (ioctl(tap.get(), TUNSETPERSIST, 1) != 0) throw cannot(name, "the tap cannot be kept", errno);
    ioctl(tap.get(), TUNSETOWNER, working_user());
    const std::optional<Link> made = links_.find(name);
    if (made) changes_.push_back({own_control_, made->index, What::tap, 0, 0, 0});
}

void InterfaceSetup::raise_mtu(const Link& link) {
    if (link.mtu >= needed_mtu) return;
    if (set_mtu(*own_control_, link.index, needed_mtu)) {
        changes_.push_back({own_control_, link.index, What::mtu, 0, link.mtu, needed_mtu});
        return;
    }
    if (errno == EPERM) throw cannot(link.name, "cannot be set up", EPERM);
    std::cerr << "emuswitch: " << link.name << ": takes no frames of more than " << link.mtu + dataplane::shortest_frame
              << " bytes (" << strerror(errno) << "); longer ones with two tags get lost\n";
}

void InterfaceSetup::bring_up(const Link& link) {
    if (link.is_up) return;
    if (!set_up(*own_control_, link.index, true)) throw cannot(link.name, "cannot be brought up", errno);
    changes_.push_back({own_control_, link.index, What::up, 0, 0, 1});
}

void InterfaceSetup::prepare_other_end(const Link& link) {
    const auto control = link.peer_namespace ? open_control_in(links_, *link.peer_namespace) : own_control_;
    if (control == nullptr) {
        std::cerr << "emuswitch: " << link.name
                  << ": its other end is out of reach; if TCP is slow there: ethtool -K INTERFACE tso off gso off\n";
        return;
    }
    for (const Offload& offload : send_offloads)
        switch_off(control, link.peer, offload.get, offload.set, offload.bits);
}

void InterfaceSetup::switch_off(const std::shared_ptr<Descriptor>& control, int index, uint32_t get, uint32_t set,
                                uint32_t bits) {
    uint32_t old_value = 0;
    if (!ask_ethtool(*control, index, get, old_value) || (old_value & bits) == 0) return;
    uint32_t new_value = old_value & ~bits;
    if (ask_ethtool(*control, index, set, new_value))
        changes_.push_back({control, index, What::offload, set, old_value, new_value});
}

void InterfaceSetup::put_back(const Changed& changed) {
    const Descriptor& control = *changed.control;
    uint32_t value = changed.old_value;
    switch (changed.what) {
    case What::tap: links_.remove(changed.index); break;
    case What::up: set_up(control, changed.index, false); break;
    case What::offload: ask_ethtool(control, changed.index, changed.command, value); break;
    case What::mtu: {
        const std::optional<Link> link = links_.find(changed.index);
        if (link && link->mtu == changed.new_value) set_mtu(control, changed.index, value);
        break;
    }
    }
}

void InterfaceSetup::restore() {
    while (!changes_.empty()) {
        put_back(changes_.back());
        changes_.pop_back();
    }
}

} // namespace live
