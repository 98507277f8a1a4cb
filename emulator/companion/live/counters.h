// What a live switch counts, in a file beside the store, for whoever wants to look at it.
#pragma once

#include "companion/live/descriptor.h"
#include "dataplane/egress.h"
#include "dataplane/outcome.h"

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace live {

constexpr size_t verdict_count = static_cast<size_t>(dataplane::Verdict::dropped) + 1;
constexpr size_t reason_count = 32; // room for more

// Of a bound port, since the live switch began. Bytes are those of frames without FCS.
struct PortCount {
    int32_t port = 0;
    uint32_t has_carrier = 0;
    std::array<char, 16> interface {};
    dataplane::Count received;
    dataplane::Count sent;
    std::array<uint64_t, reason_count> dropped{}; // received frames, by `DropReason`
    uint64_t missed = 0;                          // frames that came while the switch was too slow
    uint64_t unsent = 0;                          // frames that the interface did not take
};

// Of a queue that a frame has joined.
struct QueueCount {
    int32_t port = 0;
    uint16_t stream_index = 0;
    uint8_t traffic_class = 0;
    uint8_t is_best_effort = 1;
    uint32_t length = 0; // bytes
    uint32_t fill = 0;
    uint32_t highest_fill = 0;
    uint32_t frames = 0; // that wait
    dataplane::Count sent;
    dataplane::Count full;  // dropped: no room
    dataplane::Count early; // dropped by chance before
    dataplane::Count removed;
};

struct SwitchCount {
    int32_t process = 0;
    uint32_t has_priority = 0;                      // real-time
    int64_t started = 0;                            // ns since 1970
    int64_t told = 0;                               // when this was written; ns since 1970
    std::array<uint64_t, verdict_count> verdicts{}; // of received frames
    uint64_t copies = 0;                            // outputs beyond one a frame
    uint64_t no_buffer = 0;                         // outputs that found no room to wait in
    uint64_t changes = 0;                           // of the configuration, since then
    int64_t last_change = 0;                        // ns that taking it over took
    int64_t longest_change = 0;
    uint64_t learned = 0; // addresses that are known now
};

struct Counts {
    SwitchCount all;
    std::vector<PortCount> ports;
    std::vector<QueueCount> queues;
};

std::string counters_path(const std::string& store);

// The live switch's side. There is one on a store.
class CountersFile {
public:
    explicit CountersFile(const std::string& store); // throws `Failure` where another live switch has it

    // Where the disk is full, or the file is not as we left it, readers see an older state or none.
    void publish(const Counts& counts);

private:
    Descriptor file_;
    uint32_t sequence_ = 0;
    std::vector<char> bytes_; // reused
};

struct Published {
    Counts counts;
    bool is_live = false; // else this is what the last live switch left
};

// The readers' side. None: no switch was live here. Throws `Failure` where the file is none of these.
std::optional<Published> read_counters(const std::string& store);

} // namespace live
