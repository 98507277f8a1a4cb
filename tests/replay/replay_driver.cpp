// Makes traffic, plays it, and changes the switch half way: replay_driver FOLDER. It writes traffic.pcapng and
// out.pcapng there and prints what became of the frames; on every machine the same bytes.
#include "replay/replay_scene.h"

#include <cinttypes>
#include <cstdio>

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    const std::string folder = argv[1];
    constexpr uint64_t frames = 40'000;
    constexpr int64_t mean_gap = 25'000;
    replay_scene::write_traffic(folder + "/traffic.pcapng", {frames, 0, mean_gap, 7});
    ReplayTotals totals;
    replay_scene::play(folder + "/traffic.pcapng", folder + "/out.pcapng",
                       {42, true, replay_scene::traffic_begin + static_cast<int64_t>(frames) / 2 * mean_gap}, &totals);
    std::printf("%" PRIu64 " in, %" PRIu64 " sent, %" PRIu64 " copies\n", totals.received.frames, totals.sent.frames,
                totals.copies);
    for (size_t reason = 0; reason < drop_reason_count; ++reason)
        if (totals.dropped[reason].frames != 0)
            std::printf("%s %" PRIu64 "\n", word_of(static_cast<dataplane::DropReason>(reason)),
                        totals.dropped[reason].frames);
    return 0;
}
