// Packet sockets.
#include "companion/live/packet_port.h"

#include "companion/database.h"

#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <sys/mman.h>

#include <algorithm>
#include <arpa/inet.h>
#include <atomic>
#include <cerrno>
#include <cstring>

namespace live {

namespace {

// What the kernel says of a frame, in front of it (linux/virtio_net.h is no C++).
struct Description {
    uint8_t flags;
    uint8_t segmentation; // 0: none
    uint16_t header_length;
    uint16_t segment_length;
    uint16_t checksum_start;  // from where on the sum has to be taken
    uint16_t checksum_offset; // from there, where it has to be put
};
static_assert(sizeof(Description) == 10);
constexpr uint8_t needs_checksum = 1;

constexpr int wanted_send_buffer = 4 << 20;
constexpr size_t addresses_length = 12;
constexpr size_t tag_length = 4;

Failure cannot(const std::string& interface, const char* what) {
    const int reason = errno;
    const std::string problem = interface + ": " + what + " (" + strerror(reason) + ")";
    if (reason == EPERM) return Failure(problem + "; run as root, or inside unshare -Urn, which needs no rights");
    if (reason == EAFNOSUPPORT) return Failure(problem + "; load the module af_packet (modprobe af_packet)");
    if (reason == ENOPROTOOPT) return Failure(problem + "; it takes Linux 4.20 or later");
    if (reason == ENOMEM) return Failure(problem + "; bind fewer interfaces, or give the machine more memory");
    return Failure(problem);
}

template <typename Value>
void set_option(const Descriptor& socket, int option, const Value& value, const std::string& interface,
                const char* what) {
    if (setsockopt(socket.get(), SOL_PACKET, option, &value, sizeof value) != 0) throw cannot(interface, what);
}

sockaddr_ll address_of(int index, uint16_t protocol) {
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_protocol = htons(protocol);
    address.sll_ifindex = index;
    return address;
}

void bind_to(const Descriptor& socket, int index, uint16_t protocol, const std::string& interface) {
    const sockaddr_ll address = address_of(index, protocol);
    if (bind(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0)
        throw cannot(interface, "cannot be bound");
}

// Adds up 16-bit words as they come from the line; the carry goes around at the end.
uint16_t internet_sum(std::span<const uint8_t> bytes) {
    uint64_t sum = 0;
    size_t at = 0;
    for (; at + 1 < bytes.size(); at += 2)
        sum += static_cast<uint32_t>(bytes[at] << 8 | bytes[at + 1]);
    if (at < bytes.size()) sum += static_cast<uint32_t>(bytes[at] << 8);
    while (sum >> 16 != 0)
        sum = (sum & 0xffff) + (sum >> 16);
    return static_cast<uint16_t>(sum);
}

// What the sender left to the hardware: the sum over the rest of the frame. The pseudo header is in the field already.
void complete_checksum(std::span<uint8_t> frame, const Description& description) {
    const size_t start = description.checksum_start;
    const size_t field = start + description.checksum_offset;
    if (field + 2 > frame.size()) return;
    uint16_t sum = static_cast<uint16_t>(~internet_sum(frame.subspan(start)));
    if (sum == 0) sum = 0xffff; // of UDP, 0 would say that there is none; for the others both are the same
    frame[field] = static_cast<uint8_t>(sum >> 8);
    frame[field + 1] = static_cast<uint8_t>(sum);
}

// The kernel takes the outer tag of 802.1Q and 802.1ad out. Before the frame there is room for it.
std::span<uint8_t> put_tag_back(std::span<uint8_t> frame, uint16_t tag_type, uint16_t tag) {
    uint8_t* const start = frame.data() - tag_length;
    std::memmove(start, frame.data(), addresses_length);
    start[addresses_length] = static_cast<uint8_t>(tag_type >> 8);
    start[addresses_length + 1] = static_cast<uint8_t>(tag_type);
    start[addresses_length + 2] = static_cast<uint8_t>(tag >> 8);
    start[addresses_length + 3] = static_cast<uint8_t>(tag);
    return {start, frame.size() + tag_length};
}

} // namespace

PacketPort::PacketPort(const std::string& interface, int index, size_t ring_frames)
    : places_(ring_frames), batch_(std::make_unique<Batch>()) {
    open_ring(interface, index);
    open_sending(interface, index);
    for (size_t i = 0; i < batch_room; ++i) {
        batch_->parts[i][0].iov_base = batch_->heads[i].data();
    }
}

PacketPort::PacketPort(PacketPort&& other) noexcept
    : receiving_(std::move(other.receiving_)), sending_(std::move(other.sending_)),
      ring_(std::exchange(other.ring_, nullptr)), places_(other.places_), batch_(std::move(other.batch_)) {}

PacketPort::~PacketPort() {
    if (ring_ != nullptr) munmap(ring_, places_ * place_size);
}

void PacketPort::open_ring(const std::string& interface, int index) {
    // No protocol yet: nothing may come in before the ring is there.
    receiving_ = Descriptor(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!receiving_.is_open()) throw cannot(interface, "no packet socket");
    set_option(receiving_, PACKET_VERSION, static_cast<int>(TPACKET_V2), interface, "no ring for received frames");
    set_option(receiving_, PACKET_VNET_HDR, 1, interface, "no description of received frames");
    set_option(receiving_, PACKET_RESERVE, 16U, interface, "no room for tags"); // keeps places aligned; a tag has 4
    set_option(receiving_, PACKET_IGNORE_OUTGOING, 1, interface, "own frames would come back");
    tpacket_req request{};
    request.tp_block_size = static_cast<unsigned>(ring_unit * place_size);
    request.tp_frame_size = place_size;
    request.tp_frame_nr = static_cast<unsigned>(places_);
    request.tp_block_nr = static_cast<unsigned>(places_ / ring_unit);
    set_option(receiving_, PACKET_RX_RING, request, interface, "no ring for received frames");
    void* const mapped =
        mmap(nullptr, places_ * place_size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_POPULATE, receiving_.get(), 0);
    if (mapped == MAP_FAILED) throw cannot(interface, "the ring for received frames cannot be mapped");
    ring_ = static_cast<uint8_t*>(mapped);
    packet_mreq membership{};
    membership.mr_ifindex = index;
    membership.mr_type = PACKET_MR_PROMISC; // ends with the socket, however we end
    set_option(receiving_, PACKET_ADD_MEMBERSHIP, membership, interface, "cannot listen to all addresses");
    bind_to(receiving_, index, ETH_P_ALL, interface);
}

void PacketPort::open_sending(const std::string& interface, int index) {
    sending_ = Descriptor(socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
    if (!sending_.is_open()) throw cannot(interface, "no packet socket");
    set_option(sending_, PACKET_QDISC_BYPASS, 1, interface, "no direct way out");
    if (setsockopt(sending_.get(), SOL_SOCKET, SO_SNDBUFFORCE, &wanted_send_buffer, sizeof wanted_send_buffer) != 0)
        setsockopt(sending_.get(), SOL_SOCKET, SO_SNDBUF, &wanted_send_buffer, sizeof wanted_send_buffer);
    bind_to(sending_, index, 0, interface);
}

uint32_t PacketPort::status_of(size_t number) const {
    return std::atomic_ref(reinterpret_cast<tpacket2_hdr*>(place(number))->tp_status).load(std::memory_order_acquire);
}

size_t PacketPort::waiting(size_t most) const {
    const size_t room = std::min(most, places_ - unreleased_);
    size_t count = 0;
    for (size_t number = next_place_; count < room && (status_of(number) & TP_STATUS_USER) != 0; ++count)
        number = place_behind(number);
    return count;
}

std::span<const uint8_t> PacketPort::next() {
    if (unreleased_ == places_) return {};
    uint8_t* const start = place(next_place_);
    const auto* const header = reinterpret_cast<const tpacket2_hdr*>(start);
    const uint32_t status = status_of(next_place_);
    if ((status & TP_STATUS_USER) == 0) return {};
    next_place_ = place_behind(next_place_);
    ++unreleased_;

    std::span<uint8_t> frame(start + header->tp_mac, header->tp_snaplen);
    Description description{};
    std::memcpy(&description, frame.data() - sizeof description, sizeof description);
    if (description.segmentation != 0) is_giant_seen_ = true;
    if ((description.flags & needs_checksum) != 0) complete_checksum(frame, description);
    if ((status & TP_STATUS_VLAN_VALID) != 0 && frame.size() >= addresses_length) {
        const bool has_type = (status & TP_STATUS_VLAN_TPID_VALID) != 0;
        frame = put_tag_back(frame, has_type ? header->tp_vlan_tpid : ETH_P_8021Q, header->tp_vlan_tci);
    }
    return frame;
}

void PacketPort::release() {
    size_t number = (next_place_ + places_ - unreleased_) % places_;
    for (; unreleased_ > 0; --unreleased_) {
        auto* const header = reinterpret_cast<tpacket2_hdr*>(place(number));
        std::atomic_ref(header->tp_status).store(TP_STATUS_KERNEL, std::memory_order_release);
        number = place_behind(number);
    }
}

void PacketPort::put(std::span<const uint8_t> head, std::span<const uint8_t> rest) {
    if (is_batch_full()) flush();
    std::copy(head.begin(), head.end(), batch_->heads[batch_size_].begin());
    auto& [first, second] = batch_->parts[batch_size_];
    first.iov_len = head.size();
    second = {const_cast<uint8_t*>(rest.data()), rest.size()}; // NOLINT(*-const-cast): the kernel only reads it
    msghdr& header = batch_->messages[batch_size_].msg_hdr;
    header.msg_iov = head.empty() ? &second : &first; // the kernel looks at each part, also at one without bytes
    header.msg_iovlen = head.empty() ? 1 : 2;
    ++batch_size_;
}

void PacketPort::flush() {
    size_t sent = 0;
    while (sent < batch_size_) {
        const int count =
            sendmmsg(sending_.get(), &batch_->messages[sent], static_cast<unsigned>(batch_size_ - sent), MSG_DONTWAIT);
        if (count > 0) {
            sent += static_cast<size_t>(count);
        } else if (errno != EINTR) {
            ++unsent_frames_; // it is down, gone, or takes no more: as on a line, the frame is lost
            ++sent;
        }
    }
    batch_size_ = 0;
}

void PacketPort::clear_trouble() {
    int problem = 0;
    socklen_t length = sizeof problem;
    getsockopt(receiving_.get(), SOL_SOCKET, SO_ERROR, &problem, &length);
}

uint64_t PacketPort::missed() {
    tpacket_stats statistics{}; // since the last time
    socklen_t length = sizeof statistics;
    if (getsockopt(receiving_.get(), SOL_PACKET, PACKET_STATISTICS, &statistics, &length) == 0)
        missed_frames_ += statistics.tp_drops;
    return missed_frames_;
}

} // namespace live
