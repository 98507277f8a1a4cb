// What happens to frames between the switch's decision and the line: they are dropped, wait in queues, and are sent in
// the order and at the rates of streams, queues and shapers. All of it in whole numbers, so that every machine does the
// same, and in the time that the caller tells.
//
// Behind each physical interface (a line) stand the streams of all ports that are bound to it, and for each port one
// queue of best effort for frames that have no queue of their own. A line sends one frame at a time:
//   1. of a stream that is within its guaranteed rate, the one of the highest priority;
//   2. else of a stream that is below its ceiling, the one of the highest priority;
//   3. else of best effort.
// Streams of one priority share the line evenly, counted in bytes, and so do the ports' queues of best effort. Within a
// stream the queue with the highest priority goes first; of queues with one priority a weighted stream gives each its
// share by ratio, and a strict one prefers the higher class. Nothing is sent that the shaper of the interface or the
// ceiling of the stream does not allow yet.
#pragma once

#include "dataplane/frame.h"
#include "dataplane/outcome.h"

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

namespace dataplane {

constexpr Nanoseconds never = std::numeric_limits<Nanoseconds>::max();

// What the caller knows a waiting frame by. The bytes stay with the caller, who hears of each handle exactly once more:
// it is sent, or dropped when its queue goes.
using FrameHandle = uint32_t;

struct EgressOptions {
    uint64_t seed = 0;                // of the random numbers of early drops
    uint64_t line_rate = 100'000'000; // bit/s of every interface; 0: a frame takes no time on the line
    uint32_t most_frames = 1U << 18;  // that wait at once in all queues together
};

// Which queue: of a stream and class, or the best effort of a port.
struct QueueName {
    int32_t port = 0; // the port's number
    bool is_best_effort = true;
    uint16_t stream_index = 0; // (port - 1) * 256 + stream
    uint8_t traffic_class = 0;
};

// A frame begins to leave.
struct Departure {
    FrameHandle handle = 0;
    Nanoseconds time = 0;   // when its first byte goes out
    Nanoseconds waited = 0; // since it was enqueued
    uint32_t queue = 0;     // its place in `Egress::queues`
    FrameHandle next = 0;   // of the frame behind it in its queue; its own where there is none
};

// Who is told. `send` answers whether the interface took the frame; where it did not, the frame stays where it is and
// its line waits for `Egress::resume`. `drop` is told of frames whose queue went away or whose port was disabled.
// Neither may call the Egress.
struct EgressSink {
    void* context = nullptr;
    bool (*send)(void* context, const Departure& departure) = nullptr;
    void (*drop)(void* context, FrameHandle handle, DropReason reason) = nullptr;
};

// Frames and bytes (as they leave, without FCS) since the beginning.
struct Count {
    uint64_t frames = 0;
    uint64_t bytes = 0;
    void add(uint32_t length) {
        ++frames;
        bytes += length;
    }
};

// A queue as others see it. Once there, a queue keeps its place; `exists` tells whether the configuration has it still.
struct QueueView {
    QueueName name;
    bool exists = true;
    uint32_t length = 0;       // what it holds at most, in bytes
    uint32_t fill = 0;         // bytes in it now
    uint32_t frames = 0;       // frames in it now
    uint32_t highest_fill = 0; // bytes
    Count sent;
    std::array<Count, color_count> full{};  // dropped by color: no room
    std::array<Count, color_count> early{}; // by chance, before it was full
    Count removed;                          // in it when it went, or when its port was disabled
};

// Frames waiting for their lines. `adopt` comes first; times never go back.
class Egress {
public:
    explicit Egress(const EgressOptions& options);
    ~Egress();
    Egress(const Egress&) = delete;
    Egress& operator=(const Egress&) = delete;
    Egress(Egress&& other) noexcept;
    Egress& operator=(Egress&& other) noexcept;

    // Takes over a configuration at a time, from which on `Output::port` is a place in it. Queues, streams, ports and
    // lines keep what is theirs by their numbers; buckets keep their tokens, as far as the new burst holds them.
    void adopt(const Configuration& configuration, Nanoseconds time, const EgressSink& sink);

    // Puts a frame of `length` bytes (as it leaves, without FCS) into its queue, to be sent from `time` on. Any answer
    // but `none`: it was not taken, and the caller hears no more of the handle. queue_full, red, or no_buffer when
    // `most_frames` wait already. The output must be for a port (not `no_port`).
    DropReason enqueue(const Output& output, uint32_t length, FrameHandle handle, Nanoseconds time);

    // Sends everything whose time is before `time`, in the order of time, lines with one time in the order of their
    // first ports. Frames that arrive at one time are enqueued all before this is called for a later one, so that the
    // order of a capture does not beat priorities.
    void run_before(Nanoseconds time, const EgressSink& sink);

    // When there is something to send next; `never` when nothing waits or all that waits is held up by `send`.
    Nanoseconds next_time() const;

    // The interface behind a port takes frames again, from that time on.
    void resume(int32_t port, Nanoseconds time);

    uint32_t waiting() const; // frames, in all queues
    const std::vector<QueueView>& queues() const;

    // The place in `queues` that a frame of that output joins.
    uint32_t queue_of(const Output& output) const;

private:
    struct Lines;
    std::unique_ptr<Lines> lines_;
};

// The number that decides about the `arrival`-th frame (from 0) of a queue: the same for everyone who asks, uniform
// over 32 bits. `queue` is its number, stream_index * 8 + class.
uint32_t random_number(uint64_t seed, uint32_t queue, uint64_t arrival);

// Whether early drop takes a frame that finds `fill` bytes in a queue of `length` bytes. Below the lower threshold
// none, from the upper one on all, between them a share that rises linearly from `min_drop` to `max_drop` percent.
bool drops_early(const DropPolicy& policy, uint32_t fill, uint32_t length, uint32_t random);

} // namespace dataplane
