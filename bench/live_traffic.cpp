// Frames of 64 bytes through whatever joins the interfaces: live_traffic RATE SECONDS INTERFACE ...
//
// On each interface a station sends to the one on the next, RATE frames a second on all together; 0: as fast as it
// goes. Prints frames sent and received, and the seconds that took. Sent from one thread, like all of it; who is
// measured has the other processors.
#include "companion/live/event_loop.h"
#include "companion/live/packet_port.h"

#include <net/if.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <vector>

using namespace live;

namespace {

constexpr size_t frame_length = 60; // and the FCS
constexpr size_t batch = 32;
constexpr size_t ring_frames = 8192;
constexpr int64_t second = 1'000'000'000;
constexpr int64_t time_to_drain = second / 2; // behind the last frame sent

struct Station {
    PacketPort port;
    std::array<uint8_t, frame_length> frame{};
    uint64_t received = 0;
};

std::vector<Station> make_stations(char** names, size_t count) {
    std::vector<Station> stations;
    for (size_t i = 0; i < count; ++i) {
        stations.push_back({PacketPort(names[i], static_cast<int>(if_nametoindex(names[i])), ring_frames), {}, 0});
        std::array<uint8_t, frame_length>& frame = stations.back().frame;
        frame[0] = frame[6] = 0x0a;
        frame[5] = static_cast<uint8_t>((i + 1) % count);
        frame[11] = static_cast<uint8_t>(i);
        frame[12] = 0x88; // for experiments
        frame[13] = 0xb5;
    }
    return stations;
}

void receive(std::vector<Station>& stations) {
    for (Station& station : stations) {
        while (station.port.next().data() != nullptr)
            ++station.received;
        station.port.release();
    }
}

void send(Station& station, size_t count) {
    for (size_t i = 0; i < count; ++i)
        station.port.put({}, station.frame);
    station.port.flush();
}

// Everybody says where they are, so that nothing is flooded afterwards.
void introduce(std::vector<Station>& stations) {
    for (int round = 0; round < 3; ++round) {
        for (Station& station : stations)
            send(station, 1);
        for (const int64_t end = monotonic_now() + second / 5; monotonic_now() < end;)
            receive(stations);
    }
    for (Station& station : stations)
        station.received = 0;
}

uint64_t sum_received(const std::vector<Station>& stations) {
    uint64_t sum = 0;
    for (const Station& station : stations)
        sum += station.received;
    return sum;
}

void measure(std::vector<Station>& stations, uint64_t rate, int64_t seconds) {
    introduce(stations);
    const int64_t began = monotonic_now();
    const int64_t end = began + seconds * second;
    uint64_t sent = 0;
    uint64_t received_in_time = 0;
    for (int64_t now = began; now < end + time_to_drain; now = monotonic_now()) {
        if (now < end) {
            const uint64_t due = rate == 0 ? sent + batch : static_cast<uint64_t>(now - began) * rate / second;
            const size_t count = std::min<uint64_t>(due - sent, batch);
            send(stations[sent / batch % stations.size()], count);
            sent += count;
        }
        receive(stations);
        if (now < end) received_in_time = sum_received(stations);
    }
    printf("%llu %llu %llu %lld\n", static_cast<unsigned long long>(sent),
           static_cast<unsigned long long>(sum_received(stations)), static_cast<unsigned long long>(received_in_time),
           static_cast<long long>(seconds));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        fprintf(stderr, "live_traffic RATE SECONDS INTERFACE INTERFACE ...\n");
        return 2;
    }
    try {
        std::vector<Station> stations = make_stations(argv + 3, static_cast<size_t>(argc) - 3);
        measure(stations, strtoull(argv[1], nullptr, 10), strtoll(argv[2], nullptr, 10));
    } catch (const std::exception& problem) {
        fprintf(stderr, "live_traffic: %s\n", problem.what());
        return 1;
    }
    return 0;
}
