// Prints how fast captures go through the switch with every kind of QoS at work, by the processor's time that it takes:
// replay_bench FOLDER [FRAMES]. It judges nothing. bench/replay builds and runs it.
#include "replay/replay_scene.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <sys/resource.h>

namespace {

constexpr int rounds = 5;

struct Used {
    double user = 1e9; // seconds
    double system = 1e9;
    double sum() const { return user + system; }
};

double seconds(const timeval& time) {
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

Used used_so_far() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return {seconds(usage.ru_utime), seconds(usage.ru_stime)};
}

Used play_once(const std::string& in, const std::string& out, ReplayTotals& totals) {
    if (std::filesystem::is_regular_file(out)) std::filesystem::remove(out); // else its pages are freed in our time
    const Used before = used_so_far();
    replay_scene::play(in, out, {}, &totals);
    const Used after = used_so_far();
    return {after.user - before.user, after.system - before.system};
}

// The round that took least. `out` empty: nothing is written.
void measure(const char* name, const std::string& in, const std::string& out) {
    Used best;
    ReplayTotals totals;
    for (int round = 0; round < rounds; ++round)
        best =
            std::min(best, play_once(in, out, totals), [](const Used& a, const Used& b) { return a.sum() < b.sum(); });
    const auto frames = static_cast<double>(totals.received.frames);
    std::printf("  %-22s %6.2f M frames/s %6.2f Gbit/s  %5.0f ns a frame, of them %4.0f of the system\n", name,
                frames / best.sum() / 1e6, static_cast<double>(totals.received.bytes) * 8 / best.sum() / 1e9,
                best.sum() * 1e9 / frames, best.system * 1e9 / frames);
    if (!out.empty()) return;
    std::printf("  %.1f %% of the frames left, %.1f %% went to a mirror as well\n",
                static_cast<double>(totals.sent.frames - totals.copies) / frames * 100,
                static_cast<double>(totals.copies) / frames * 100);
}

void measure_all(const std::string& folder, const char* name, const replay_scene::Traffic& traffic) {
    const std::string in = folder + "/in.pcapng";
    const std::string out = folder + "/out.pcapng";
    replay_scene::write_traffic(in, traffic);
    std::printf("%s\n", name);
    measure("to a capture in memory", in, out);
    std::filesystem::remove(out);
    measure("to /dev/null", in, "/dev/null");
    measure("to a summary only", in, "");
    std::filesystem::remove(in);
}

} // namespace

int main(int argc, char** argv) {
    if (argc != 2 && argc != 3) return 2;
    const std::string folder = argv[1];
    const uint64_t frames = argc == 3 ? std::strtoull(argv[2], nullptr, 10) : 1'000'000;
    std::printf(
        "%llu frames of 64 bytes, a seventh as many of 1518 bytes, FCS included; best of %d rounds\n"
        "at work: policers, classification lists, queues with early drop, strict and weighted streams, shapers of\n"
        "streams and interfaces, a mirror; a received frame is written with its verdict, a sent one with its wait\n",
        static_cast<unsigned long long>(frames), rounds);
    measure_all(folder, "64 bytes, as fast as the lines take them", {frames, 60, 4'000, 1});
    measure_all(folder, "64 bytes, three times as fast", {frames, 60, 1'300, 1});
    measure_all(folder, "1518 bytes, as fast as the lines take them", {frames / 7, 1514, 80'000, 1});
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    std::printf("at most %ld MiB of memory\n", usage.ru_maxrss / 1024);
    return 0;
}
