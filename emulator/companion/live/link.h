// The network interfaces of a namespace, as the kernel tells of them over netlink.
#pragma once

#include "companion/live/descriptor.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

namespace live {

struct Link {
    int index = 0;
    std::string name;
    uint16_t hardware = 0; // ARPHRD_ETHER, ...
    bool is_up = false;    // by its administrator
    bool has_carrier = false;
    bool is_gone = false;              // of a change: it has been removed
    uint32_t mtu = 0;                  // bytes, without Ethernet header and tag
    int master = 0;                    // the bridge or bond that it belongs to; 0: none
    std::string kind;                  // "veth", "tun", ...; empty: hardware
    int peer = 0;                      // of a veth: the index of its other end; 0: none
    std::optional<int> peer_namespace; // the number by which this namespace knows that of the other end; none: this one
};

// Asks in the network namespace in which it was made, wherever the process goes afterwards. What fails throws
// `Failure`.
class LinkTable {
public:
    LinkTable();

    std::optional<Link> find(const std::string& name);
    std::optional<Link> find(int index);
    void remove(int index);

    // The number by which this namespace knows another one, which an open file stands for. None: not at all.
    std::optional<int> number_of_namespace(int opened);

private:
    Descriptor socket_;
    uint32_t sequence_ = 0;
};

// Tells of changes. The descriptor becomes readable when there are some.
class LinkWatch {
public:
    LinkWatch();
    int descriptor() const { return socket_.get(); }

    // Returns false when the kernel had more changes than it could keep: everything has to be looked at anew.
    bool read(const std::function<void(const Link&)>& changed);

private:
    Descriptor socket_;
};

} // namespace live
