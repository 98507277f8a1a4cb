// Links over rtnetlink.
#include "companion/live/link.h"

#include "companion/database.h"

#include <linux/if_link.h>
#include <linux/net_namespace.h>
#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <span>

namespace live {

namespace {

constexpr unsigned lower_up = 1U << 16; // IFF_LOWER_UP, beside which net/if.h cannot stand in linux/if.h

using Buffer = std::array<char, 16384>; // one answer about a link has some 2 KB

// The kernel's macros for its layouts cast as C does.
constexpr size_t aligned(size_t length) {
    return (length + NLMSG_ALIGNTO - 1) & ~size_t{NLMSG_ALIGNTO - 1};
}

// One request with its attributes.
class Request {
public:
    template <typename Fixed> Request(uint16_t type, uint16_t flags, const Fixed& fixed) {
        header_.nlmsg_type = type;
        header_.nlmsg_flags = flags;
        header_.nlmsg_len = sizeof header_;
        append(&fixed, sizeof fixed);
    }
    void put(uint16_t type, const void* value, size_t length) {
        const rtattr attribute{static_cast<uint16_t>(sizeof(rtattr) + length), type};
        append(&attribute, sizeof attribute);
        append(value, length);
    }
    std::span<const char> finish(uint32_t sequence) {
        header_.nlmsg_seq = sequence;
        std::memcpy(bytes_.data(), &header_, sizeof header_);
        return {bytes_.data(), header_.nlmsg_len};
    }

private:
    void append(const void* data, size_t length) {
        const size_t at = header_.nlmsg_len;
        std::memcpy(bytes_.data() + at, data, length);
        header_.nlmsg_len = static_cast<uint32_t>(aligned(at + length));
    }
    nlmsghdr header_{};
    std::array<char, 256> bytes_{};
};

// One answer: its kind, its fixed part, its attributes.
struct Message {
    nlmsghdr header;
    std::span<const char> body;

    template <typename Fixed> Fixed fixed() const {
        Fixed value{};
        std::memcpy(&value, body.data(), std::min(body.size(), sizeof value));
        return value;
    }
    template <typename Fixed> std::span<const char> attributes() const {
        return body.subspan(std::min(aligned(sizeof(Fixed)), body.size()));
    }
};

// visit(header, body) for each of the records in `bytes`, whose headers tell their length at their beginning.
template <typename Header, typename Visit>
void for_each_record(std::span<const char> bytes, size_t (*length_of)(const Header&), Visit visit) {
    while (bytes.size() >= sizeof(Header)) {
        Header header{};
        std::memcpy(&header, bytes.data(), sizeof header);
        const size_t length = length_of(header);
        if (length < sizeof header || length > bytes.size()) return;
        visit(header, bytes.subspan(sizeof header, length - sizeof header));
        bytes = bytes.subspan(std::min(aligned(length), bytes.size()));
    }
}

size_t length_of_message(const nlmsghdr& header) {
    return header.nlmsg_len;
}

size_t length_of_attribute(const rtattr& header) {
    return header.rta_len;
}

template <typename Visit> void for_each_attribute(std::span<const char> bytes, Visit visit) {
    for_each_record<rtattr>(bytes, length_of_attribute, [&](const rtattr& header, std::span<const char> value) {
        visit(header.rta_type & NLA_TYPE_MASK, value);
    });
}

template <typename Visit> void for_each_message(std::span<const char> bytes, Visit visit) {
    for_each_record<nlmsghdr>(bytes, length_of_message, [&](const nlmsghdr& header, std::span<const char> body) {
        visit(Message{header, body});
    });
}

template <typename Number> Number number_in(std::span<const char> data) {
    Number value{};
    std::memcpy(&value, data.data(), std::min(data.size(), sizeof value));
    return value;
}

std::string text_in(std::span<const char> data) {
    return {data.data(), strnlen(data.data(), data.size())};
}

void take_attribute(Link& link, int type, std::span<const char> data) {
    switch (type) {
    case IFLA_IFNAME: link.name = text_in(data); break;
    case IFLA_MTU: link.mtu = number_in<uint32_t>(data); break;
    case IFLA_MASTER: link.master = number_in<int>(data); break;
    case IFLA_LINK: link.peer = number_in<int>(data); break;
    case IFLA_LINK_NETNSID: link.peer_namespace = number_in<int>(data); break;
    case IFLA_LINKINFO:
        for_each_attribute(data, [&](int inner, std::span<const char> value) {
            if (inner == IFLA_INFO_KIND) link.kind = text_in(value);
        });
        break;
    default: break;
    }
}

bool is_about_link(const Message& message) {
    if (message.header.nlmsg_type != RTM_NEWLINK && message.header.nlmsg_type != RTM_DELLINK) return false;
    return message.fixed<ifinfomsg>().ifi_family == AF_UNSPEC; // not of a bridge's port
}

Link read_link(const Message& message) {
    const auto info = message.fixed<ifinfomsg>();
    Link link;
    link.index = info.ifi_index;
    link.hardware = info.ifi_type;
    link.is_up = (info.ifi_flags & IFF_UP) != 0;
    link.has_carrier = (info.ifi_flags & lower_up) != 0;
    link.is_gone = message.header.nlmsg_type == RTM_DELLINK;
    for_each_attribute(message.attributes<ifinfomsg>(),
                       [&](int type, std::span<const char> data) { take_attribute(link, type, data); });
    return link;
}

Descriptor open_netlink(uint32_t groups) {
    Descriptor opened(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE));
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = groups;
    if (!opened.is_open() || bind(opened.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw Failure(std::string("the kernel does not tell about network interfaces (") + strerror(errno) + ")");
    return opened;
}

// Sends the request and hands the message that answers it to `take`, unless that says what went wrong.
template <typename Take> void exchange(const Descriptor& socket, Request& request, uint32_t sequence, Take take) {
    const std::span<const char> bytes = request.finish(sequence);
    if (send(socket.get(), bytes.data(), bytes.size(), 0) < 0) return;
    Buffer buffer;
    for (bool is_answered = false; !is_answered;) {
        const ssize_t count = recv(socket.get(), buffer.data(), buffer.size(), 0);
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return;
        for_each_message({buffer.data(), static_cast<size_t>(count)}, [&](const Message& message) {
            if (message.header.nlmsg_seq != sequence) return;
            is_answered = true;
            if (message.header.nlmsg_type != NLMSG_ERROR) take(message);
        });
    }
}

ifinfomsg about(int index) {
    ifinfomsg info{};
    info.ifi_index = index;
    return info;
}

} // namespace

LinkTable::LinkTable() : socket_(open_netlink(0)) {}

std::optional<Link> LinkTable::find(const std::string& name) {
    if (name.empty() || name.size() >= IFNAMSIZ) return std::nullopt;
    std::optional<Link> found;
    Request request(RTM_GETLINK, NLM_F_REQUEST, about(0));
    request.put(IFLA_IFNAME, name.c_str(), name.size() + 1);
    exchange(socket_, request, ++sequence_, [&](const Message& answer) { found = read_link(answer); });
    return found;
}

std::optional<Link> LinkTable::find(int index) {
    std::optional<Link> found;
    Request request(RTM_GETLINK, NLM_F_REQUEST, about(index));
    exchange(socket_, request, ++sequence_, [&](const Message& answer) { found = read_link(answer); });
    return found;
}

void LinkTable::remove(int index) {
    Request request(RTM_DELLINK, NLM_F_REQUEST | NLM_F_ACK, about(index));
    exchange(socket_, request, ++sequence_, [](const Message&) {});
}

std::optional<int> LinkTable::number_of_namespace(int opened) {
    std::optional<int> found;
    Request request(RTM_GETNSID, NLM_F_REQUEST, rtgenmsg{});
    const auto file = static_cast<uint32_t>(opened);
    request.put(NETNSA_FD, &file, sizeof file);
    exchange(socket_, request, ++sequence_, [&](const Message& answer) {
        for_each_attribute(answer.attributes<rtgenmsg>(), [&](int type, std::span<const char> data) {
            const int number = type == NETNSA_NSID ? number_in<int>(data) : NETNSA_NSID_NOT_ASSIGNED;
            if (number != NETNSA_NSID_NOT_ASSIGNED) found = number;
        });
    });
    return found;
}

LinkWatch::LinkWatch() : socket_(open_netlink(RTMGRP_LINK)) {}

bool LinkWatch::read(const std::function<void(const Link&)>& changed) {
    Buffer buffer;
    for (;;) {
        const ssize_t count = recv(socket_.get(), buffer.data(), buffer.size(), MSG_DONTWAIT);
        if (count < 0) return errno != ENOBUFS;
        for_each_message({buffer.data(), static_cast<size_t>(count)}, [&](const Message& message) {
            if (is_about_link(message)) changed(read_link(message));
        });
    }
}

} // namespace live
