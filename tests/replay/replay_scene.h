// A switch with every kind of QoS at work, and traffic for it: for tests, fuzzers and benches of replay.
#pragma once

#include "companion/replay_engine.h"
#include "dataplane/test_switch.h"

#include <cstdint>
#include <string>

namespace replay_scene {

// Port 1 is an uplink with tags, 2 to 4 are customers in VLANs of their own, all are in VLAN 40. Policers, a
// classification list on each customer, early drop in each color, strict and weighted streams, shapers of streams and
// interfaces, and a mirror to port 5.
dataplane_test::Parts all_qos();

// The same, changed: a queue less, other shapers, a port disabled, a VLAN gone.
dataplane_test::Parts all_qos_changed();

struct Traffic {
    uint64_t frames = 0;
    uint32_t length = 0;      // of each frame; 0: 60 to 1514, by chance
    int64_t mean_gap = 10000; // nanoseconds between frames
    uint64_t seed = 1;
};
// A pcapng whose interfaces name the ports.
void write_traffic(const std::string& file, const Traffic& traffic);

// What has changed half way through where `with_change` is set.
struct Run {
    uint64_t seed = 0;
    bool with_change = false;
    int64_t change_at = 0; // nanoseconds since 1970
};

// Plays a capture through the switch. `output` empty: nothing is written. Returns how many frames wait at the end:
// none.
uint64_t play(const std::string& capture, const std::string& output, const Run& run, ReplayTotals* totals = nullptr);

constexpr int64_t traffic_begin = 1'700'000'000'000'000'000;

} // namespace replay_scene
