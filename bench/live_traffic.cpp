// Frames of 64 bytes through whatever joins the interfaces: live_traffic RATE SECONDS INTERFACE ...
//
// On each interface a station sends to the one on the next, RATE frames a second on all together; 0: as fast as it
// goes. Prints frames sent, received, and received while they were sent, and the seconds that took. What is received
// the kernel counts, and throws away: it takes no time of the one thread that sends, so that it is not the sender that
// is measured. Who is has the other processors.
#include "companion/database.h"
#include "companion/live/descriptor.h"
#include "companion/live/event_loop.h"

#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>

#include <algorithm>
#include <arpa/inet.h>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

using namespace live;

namespace {

constexpr size_t frame_length = 60; // and the FCS
constexpr size_t batch = 32;
constexpr int64_t second = 1'000'000'000;
constexpr int64_t time_to_drain = second / 2; // behind the last frame sent

using Frame = std::array<uint8_t, frame_length>;

Frame frame_of(size_t from, size_t to) {
    Frame frame{};
    frame[0] = frame[6] = 0x0a;
    frame[5] = static_cast<uint8_t>(to);
    frame[11] = static_cast<uint8_t>(from);
    frame[12] = 0x88; // for experiments
    frame[13] = 0xb5;
    return frame;
}

// Sends the same frame, many at once.
class Station {
public:
    Station(const char* name, const Frame& frame)
        : interface_(name), socket_(::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0)), frame_(frame) {
        sockaddr_ll address{};
        address.sll_family = AF_PACKET;
        address.sll_ifindex = static_cast<int>(if_nametoindex(name));
        const int yes = 1;
        if (bind(socket_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
            setsockopt(socket_.get(), SOL_PACKET, PACKET_QDISC_BYPASS, &yes, sizeof yes) != 0)
            throw Failure(interface_ + ": cannot be sent to (" + strerror(errno) + ")");
        for (mmsghdr& message : messages_) {
            message.msg_hdr.msg_iov = &part_;
            message.msg_hdr.msg_iovlen = 1;
        }
    }
    Station(const Station&) = delete; // its messages point into it
    Station& operator=(const Station&) = delete;

    const std::string& interface() const { return interface_; }

    void send(size_t count) {
        for (size_t sent = 0; sent < count;) {
            const int taken = sendmmsg(socket_.get(), &messages_[sent], static_cast<unsigned>(count - sent), 0);
            sent += taken > 0 ? static_cast<size_t>(taken) : 1; // what is not taken is lost, as on a line
        }
    }

private:
    std::string interface_;
    live::Descriptor socket_;
    Frame frame_;
    iovec part_{frame_.data(), frame_.size()};
    std::array<mmsghdr, batch> messages_{};
};

using Stations = std::vector<std::unique_ptr<Station>>;

Stations make_stations(char** names, size_t count) {
    Stations stations;
    for (size_t i = 0; i < count; ++i)
        stations.push_back(std::make_unique<Station>(names[i], frame_of(i, (i + 1) % count)));
    return stations;
}

// Frames that came to the stations so far.
uint64_t count_received(const Stations& stations) {
    std::ifstream table("/proc/net/dev");
    uint64_t sum = 0;
    for (std::string line; std::getline(table, line);) {
        std::istringstream words(line);
        std::string name;
        uint64_t bytes = 0;
        uint64_t frames = 0;
        words >> name >> bytes >> frames;
        if (std::any_of(stations.begin(), stations.end(),
                        [&](const auto& station) { return name == station->interface() + ":"; }))
            sum += frames;
    }
    return sum;
}

void wait(int64_t time) {
    std::this_thread::sleep_for(std::chrono::nanoseconds(time));
}

// Everybody says where they are, so that nothing is flooded afterwards.
void introduce(const Stations& stations) {
    for (int round = 0; round < 3; ++round) {
        for (const auto& station : stations)
            station->send(1);
        wait(second / 5);
    }
}

void measure(const Stations& stations, uint64_t rate, int64_t seconds) {
    introduce(stations);
    const uint64_t before = count_received(stations);
    const int64_t began = monotonic_now();
    const int64_t end = began + seconds * second;
    uint64_t sent = 0;
    for (int64_t now = began; now < end; now = monotonic_now()) {
        const uint64_t due = rate == 0 ? sent + batch : static_cast<uint64_t>(now - began) * rate / second;
        const size_t count = std::min<uint64_t>(due - sent, batch);
        stations[sent / batch % stations.size()]->send(count);
        sent += count;
    }
    const uint64_t received_in_time = count_received(stations) - before;
    wait(time_to_drain);
    printf("%llu %llu %llu %lld\n", static_cast<unsigned long long>(sent),
           static_cast<unsigned long long>(count_received(stations) - before),
           static_cast<unsigned long long>(received_in_time), static_cast<long long>(seconds));
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 5) {
        fprintf(stderr, "live_traffic RATE SECONDS INTERFACE INTERFACE ...\n");
        return 2;
    }
    try {
        const Stations stations = make_stations(argv + 3, static_cast<size_t>(argc) - 3);
        measure(stations, strtoull(argv[1], nullptr, 10), strtoll(argv[2], nullptr, 10));
    } catch (const std::exception& problem) {
        fprintf(stderr, "live_traffic: %s\n", problem.what());
        return 1;
    }
    return 0;
}
