// The live switch: frames from interfaces through the dataplane to interfaces, under a configuration that changes.
#pragma once

#include "companion/configuration_reader.h"
#include "companion/database.h"
#include "companion/live/counters.h"
#include "companion/live/event_loop.h"
#include "companion/live/frame_pool.h"
#include "companion/live/interface_setup.h"
#include "companion/live/link.h"
#include "companion/live/packet_port.h"
#include "companion/live/store_watch.h"
#include "companion/recorder.h"
#include "dataplane/egress.h"
#include "dataplane/forward.h"

#include <vector>

namespace live {

// A binding with its sockets open.
struct OpenPort {
    PreparedPort prepared;
    PacketPort interface;
};

struct LiveOptions {
    std::string store;
    std::string record;     // a capture of all that comes and goes; empty: none
    uint64_t line_rate = 0; // bit/s of every line; 0: as fast as the machine goes
    bool has_priority = false;
};

class LiveSwitch {
public:
    LiveSwitch(const LiveOptions& chosen, std::vector<OpenPort> opened);
    LiveSwitch(const LiveSwitch&) = delete;
    LiveSwitch& operator=(const LiveSwitch&) = delete;
    ~LiveSwitch() = default;

    // Forwards until SIGINT, SIGTERM or SIGHUP, which have to be blocked, or until `guard` becomes readable. What was
    // learned is in the store at the end.
    void run(int guard);

private:
    struct BoundPort {
        OpenPort open;
        dataplane::PortIndex place = dataplane::no_port; // in the configuration; `no_port`: there is no such port now
        bool may_wait = false;                           // frames for its line may have to
        size_t due = 0;                                  // frames that have come, to be taken in this turn
        PortCount count;
    };

    void watch_everything(int guard);
    bool turn();
    void receive(BoundPort& from, std::span<const uint8_t> frame);
    void count_outcome(BoundPort& from);
    BoundPort* bound_to(dataplane::PortIndex port) const { return port < port_at_.size() ? port_at_[port] : nullptr; }
    OutputFate put(const dataplane::Output& output, const BoundPort& from, std::span<const uint8_t> frame);
    OutputFate enqueue(const dataplane::Output& output, const BoundPort& from, std::span<const uint8_t> head,
                       std::span<const uint8_t> rest);
    bool depart(const dataplane::Departure& departure);
    void flush();

    void record(const BoundPort& from, std::span<const uint8_t> frame);
    void record_unqueued(const BoundPort& from, const dataplane::Output& output, std::span<const uint8_t> frame);
    void record_departure(const dataplane::Departure& departure, dataplane::PortIndex port);

    void follow_store();
    template <typename Access> bool unless_locked(Access access);
    bool take_configuration();
    void bind_ports();
    bool may_wait(const dataplane::Port& port) const;
    void follow_links();
    void look_at_links();
    void set_carrier(BoundPort& port, bool has_carrier, bool is_gone);

    void keep_house();
    void write_learned();
    void write_all_learned();
    void publish();
    dataplane::Nanoseconds next_deadline() const;

    LiveOptions options_;
    Database database_;
    ConfigurationReader reader_;
    StoreWatch watch_;
    LinkWatch links_;
    CountersFile counters_;
    EventLoop events_;

    dataplane::Nanoseconds now_;
    dataplane::Configuration taken_; // what frames are judged by
    dataplane::State state_;
    dataplane::Outcome outcome_;
    dataplane::Egress egress_;
    dataplane::EgressSink sink_;
    FramePool waiting_;
    std::vector<dataplane::FrameHandle> leaving_; // of `waiting`: in a batch that is not flushed yet
    Recorder recorder_;
    int64_t wall_offset_;           // of the capture's time to `now`
    uint64_t frame_number_ = 0;     // of the one received last
    std::vector<OutputFate> fates_; // of its outputs
    struct Trail {
        uint64_t frame = 0;
        uint32_t from = 0; // the recorder's interface
        uint16_t mirror = 0;
    };
    std::vector<Trail> trails_;  // of the frames in `waiting`, by handle, while recording
    std::vector<uint8_t> whole_; // a frame that leaves

    std::vector<BoundPort> ports_;
    std::vector<BoundPort*> port_at_; // by PortIndex; null: not bound
    SwitchCount count_;

    bool is_ending_ = false;
    bool has_complained_ = false;                 // that they cannot be written
    dataplane::Nanoseconds look_at_events_ = 0;   // at the latest, whatever the traffic
    dataplane::Nanoseconds follow_store_at_ = 0;  // again, where it was locked; 0: it was not
    dataplane::Nanoseconds write_learned_at_ = 0; // at the earliest
    dataplane::Nanoseconds publish_at_ = 0;       // likewise
};

} // namespace live
