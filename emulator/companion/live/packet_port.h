// Frames from and to a network interface.
#pragma once

#include "companion/live/descriptor.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <sys/socket.h>
#include <vector>

namespace live {

// Receives into a ring that the kernel shares with us, so that a frame is read where it lies; sends in batches.
//
//     while (auto frame = port.next()) ... other.put(head, rest) ...
//     other.flush();
//     port.release();
class PacketPort {
public:
    static constexpr size_t ring_unit = 32;

    // Needs the right to open packet sockets; throws `Failure`. `ring_frames`: how many frames may wait to be read, a
    // multiple of `ring_unit`.
    PacketPort(const std::string& interface, int index, size_t ring_frames);
    PacketPort(PacketPort&& other) noexcept;
    PacketPort(const PacketPort&) = delete;
    PacketPort& operator=(const PacketPort&) = delete;
    PacketPort& operator=(PacketPort&&) = delete;
    ~PacketPort();

    int descriptor() const { return receiving_.get(); } // readable when a frame waits

    // How many frames can be taken by `next` now, as far as `most`.
    size_t waiting(size_t most) const;

    // The next frame as it was on the line, without FCS: the tag that the kernel keeps aside put back, its checksum
    // whole. Empty: none waits. A frame longer than the ring's places is cut, to more than any port takes. It stays
    // until `release`.
    std::span<const uint8_t> next();

    // Gives the frames that `next` returned back to the kernel.
    void release();

    // Puts a frame into the batch: `head` is copied, `rest` has to stay until `flush`.
    void put(std::span<const uint8_t> head, std::span<const uint8_t> rest);
    bool is_batch_full() const { return batch_size_ == batch_room; }
    void flush();

    // After its descriptor was in trouble, as it is when the interface goes down; it comes back by itself.
    void clear_trouble();

    // Counts since the beginning.
    uint64_t missed();                                          // frames that came while the ring was full
    uint64_t unsent() const { return unsent_frames_; }          // frames that the interface did not take
    bool leaves_segmentation() const { return is_giant_seen_; } // a host behind it sends frames for hardware to cut

private:
    static constexpr size_t place_size = 2048; // of a frame in the ring, with its description
    static constexpr size_t batch_room = 64;
    static constexpr size_t longest_head = 32;

    uint8_t* place(size_t number) const { return ring_ + number * place_size; }
    size_t place_behind(size_t number) const { return number + 1 == places_ ? 0 : number + 1; }
    uint32_t status_of(size_t number) const;
    void open_ring(const std::string& interface, int index);
    void open_sending(const std::string& interface, int index);

    Descriptor receiving_;
    Descriptor sending_;
    uint8_t* ring_ = nullptr;
    size_t places_ = 0;
    size_t next_place_ = 0;
    size_t unreleased_ = 0; // frames before `next_place_` that are not given back
    uint64_t missed_frames_ = 0;
    uint64_t unsent_frames_ = 0;
    bool is_giant_seen_ = false;

    size_t batch_size_ = 0;
    struct Batch {
        std::array<mmsghdr, batch_room> messages{};
        std::array<std::array<iovec, 2>, batch_room> parts{};
        std::array<std::array<uint8_t, longest_head>, batch_room> heads{};
    };
    std::unique_ptr<Batch> batch_;
};

} // namespace live
