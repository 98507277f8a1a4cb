// Frames of captures through the switch, in the time of the captures: forwarding, queues and lines, and the books of
// what became of each frame. It knows nothing of the store or of files, so that it runs wherever the dataplane does.
#pragma once

#include "companion/recorder.h"
#include "dataplane/egress.h"
#include "dataplane/forward.h"

#include <array>
#include <functional>
#include <map>
#include <vector>

constexpr size_t drop_reason_count = static_cast<size_t>(dataplane::DropReason::port_missing) + 1;

struct PortTotals {
    dataplane::Count received;
    dataplane::Count dropped; // of those received
    dataplane::Count sent;
    dataplane::Count delivered; // to the switch itself, by this port
    dataplane::Count lost;      // on their way out: no room, early drop, a queue that went
};

struct VlanTotals {
    dataplane::Count received; // frames that came to be of this VLAN
    dataplane::Count dropped;  // of them, before they had an output
};

struct WaitTotals {
    int64_t longest = 0; // nanoseconds
    int64_t sum = 0;
};

// At any time: received + copies = sent + delivered + dropped + waiting in the egress, in frames.
struct ReplayTotals {
    dataplane::Count received;
    dataplane::Count sent;
    dataplane::Count delivered;
    uint64_t copies = 0;                                       // outputs beyond one a frame
    std::array<dataplane::Count, drop_reason_count> dropped{}; // frames, and single outputs behind the decision
    std::map<int32_t, PortTotals> ports;                       // by number
    std::map<uint16_t, VlanTotals> vlans;                      // by id
    std::vector<WaitTotals> waits;                             // by place in the egress, of frames that were sent
    bool has_begun = false;
    int64_t begin = 0; // the first frame, in nanoseconds since 1970
    int64_t end = 0;   // the last one that came or left
};

// Where somebody wants to draw what happens: told of each frame that joins a queue, leaves it, or is not taken. `fill`
// is in bytes, behind that.
struct QueueEvent {
    enum class Kind : uint8_t { joined, left, lost };
    Kind kind = Kind::joined;
    int64_t time = 0;
    uint32_t queue = 0; // its place in the egress
    uint32_t fill = 0;
    uint32_t length = 0; // of the frame
};
using QueueObserver = std::function<void(const QueueEvent&)>;

class ReplayEngine {
public:
    // What is handed over has to outlive the engine.
    ReplayEngine(const dataplane::Configuration& configuration, dataplane::State& state,
                 const dataplane::EgressOptions& options, int64_t time, Recorder& recorder);
    ~ReplayEngine();
    ReplayEngine(const ReplayEngine&) = delete;
    ReplayEngine& operator=(const ReplayEngine&) = delete;

    void observe(QueueObserver observer) { observer_ = std::move(observer); }

    // Sends what is due before this time. Times never go back.
    void advance(int64_t time);

    // A frame comes in, at `frame.time`.
    void receive(int32_t port, const CapturedFrame& frame);

    // Another configuration is in force from `time` on; the state has been fitted to it already.
    void reconfigure(const dataplane::Configuration& configuration, int64_t time);

    // Sends all that waits.
    void drain();

    const ReplayTotals& totals() const { return totals_; }
    const dataplane::Egress& egress() const { return egress_; }

private:
    struct Slot;
    class Pool;

    dataplane::EgressSink sink();
    bool send(const dataplane::Departure& departure);
    void drop(dataplane::FrameHandle handle, dataplane::DropReason reason);
    dataplane::DropReason enqueue(const dataplane::Output& output, std::span<const uint8_t> bytes, uint64_t id,
                                  dataplane::PortIndex from, int64_t time, uint32_t& queue);
    void deliver(const dataplane::Output& output, std::span<const uint8_t> bytes, uint64_t id,
                 dataplane::PortIndex from, int64_t time);
    void begin(const CapturedFrame& frame);
    void book(dataplane::PortIndex port, uint32_t length);
    void find_totals();
    dataplane::PortIndex index_of(int32_t port) const;
    std::span<const uint8_t> whole(const CapturedFrame& frame);

    dataplane::Configuration configuration_;
    dataplane::State& state_;
    dataplane::Egress egress_;
    Recorder& recorder_;
    QueueObserver observer_;
    ReplayTotals totals_;
    std::vector<PortTotals*> of_port_;            // by PortIndex
    std::vector<dataplane::PortIndex> by_number_; // the first few ports
    std::vector<VlanTotals*> of_vlan_;            // by id; null: not yet seen
    std::unique_ptr<Pool> pool_;
    dataplane::Outcome outcome_;
    std::vector<OutputFate> fates_;
    std::vector<uint8_t> whole_;     // a frame that the capture had cut
    std::vector<uint8_t> delivered_; // a frame that is delivered
    uint64_t frames_ = 0;
    int64_t reconfigured_at_ = 0;
};
