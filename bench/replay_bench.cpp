// Prints how fast captures go through the switch with every kind of QoS at work, from a capture to a capture, by the
// processor's time that it takes: replay_bench FOLDER. It judges nothing. bench/replay builds and runs it.
#include "replay/replay_scene.h"

#include <algorithm>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <sys/resource.h>

namespace {

double seconds_used() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void measure(const std::string& folder, const char* name, const replay_scene::Traffic& traffic, bool writes) {
    const std::string in = folder + "/in.pcapng";
    const std::string out = writes ? folder + "/out.pcapng" : "";
    replay_scene::write_traffic(in, traffic);
    double best = 1e9;
    ReplayTotals totals;
    for (int round = 0; round < 3; ++round) {
        const double begin = seconds_used();
        replay_scene::play(in, out, {}, &totals);
        best = std::min(best, seconds_used() - begin);
    }
    const auto frames = static_cast<double>(totals.received.frames);
    std::printf("%-40s %6.2f M frames/s, %6.2f Gbit/s; %4.1f %% of them sent\n", name, frames / best / 1e6,
                static_cast<double>(totals.received.bytes) * 8 / best / 1e9,
                static_cast<double>(totals.sent.frames) / frames * 100);
    std::filesystem::remove(in);
    if (writes) std::filesystem::remove(out);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::string folder = argv[1];
    // As fast as the uplink and the customers can take it, and three times as fast.
    measure(folder, "60 bytes, capture to capture", {1'000'000, 60, 4'000, 1}, true);
    measure(folder, "60 bytes, capture to summary", {1'000'000, 60, 4'000, 1}, false);
    measure(folder, "1514 bytes, capture to capture", {150'000, 1514, 80'000, 1}, true);
    measure(folder, "1514 bytes, capture to summary", {150'000, 1514, 80'000, 1}, false);
    measure(folder, "60 bytes, overloaded, to capture", {1'000'000, 60, 1'300, 1}, true);
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("at most %ld MiB of memory\n", usage.ru_maxrss / 1024);
    return 0;
}
