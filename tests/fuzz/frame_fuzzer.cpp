// Sends arbitrary frames through arbitrary configurations of the emulated switch, which change in between. An input is
// a row of choices; where it ends, chance goes on from it. To see what an input does: scripts/fuzz --of frames --replay
// FILE.
#include "dataplane/random_switch.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>

using namespace dataplane;
using namespace dataplane_test;

namespace {

// A frame is made from scratch once, and then met with changes, so that most of the time goes into what is tested.
constexpr int configurations_per_input = 4;
constexpr int frames_per_configuration = 24;
constexpr int variants_per_frame = 24;

uint64_t frame_count = 0;

void show(const Configuration& configuration, const Frame& frame, const Outcome& outcome) {
    std::printf("> port %d at %lld:", configuration.ports->ports[frame.port].number,
                static_cast<long long>(frame.time));
    for (const uint8_t byte : frame.bytes)
        std::printf(" %02x", byte);
    std::printf("\n");
    for (const Step& step : outcome.steps)
        std::printf("    %s %u %u %u\n", word_of(step.kind), step.a, step.b, step.c);
    std::fflush(stdout);
}

// Two switches of one configuration: one is told of, the other silent.
struct Fuzzed {
    Parts parts;
    Configuration configuration;
    State told;
    State silent;
    Outcome told_outcome;
    Outcome silent_outcome;
    Nanoseconds now = 0;
};

void adopt_parts(Fuzzed& fuzzed, bool is_first) {
    Configuration next = fuzzed.parts.compile();
    for (State* state : {&fuzzed.told, &fuzzed.silent})
        adopt(*state, is_first ? nullptr : &fuzzed.configuration, next);
    fuzzed.configuration = std::move(next);
}

// Cuts the frame, or sets bytes of its headers to others, some of them of another frame.
void vary(Random& random, Bytes& bytes, const Bytes& other) {
    if (random.one_in(16)) bytes.resize(random.below(static_cast<uint32_t>(bytes.size()) + 1));
    for (uint32_t left = random.below(4); left > 0 && !bytes.empty(); --left) {
        const uint32_t at = random.below(static_cast<uint32_t>(std::min<size_t>(bytes.size(), 64)));
        bytes[at] = at < other.size() && random.one_in(2) ? other[at] : static_cast<uint8_t>(random.bits());
    }
}

void send_frame(Random& random, Fuzzed& fuzzed, const Bytes& bytes, bool is_shown) {
    // In memory of exactly its length, so that the address sanitizer sees each byte too far.
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size()]);
    std::copy(bytes.begin(), bytes.end(), exact.get());
    fuzzed.now += random.one_in(20) ? Nanoseconds{random.below(100)} * 1'000'000'000 : random.below(1'000'000);
    const auto port = static_cast<PortIndex>(random.below(static_cast<uint32_t>(fuzzed.parts.ports.ports.size())));
    const Frame frame{port, {exact.get(), bytes.size()}, fuzzed.now};

    forward_told(fuzzed.configuration, fuzzed.told, frame, fuzzed.told_outcome);
    forward(fuzzed.configuration, fuzzed.silent, frame, fuzzed.silent_outcome);
    if (is_shown) show(fuzzed.configuration, frame, fuzzed.told_outcome);
    check_outcome(fuzzed.configuration, fuzzed.told, frame, fuzzed.told_outcome);
    if (!have_same_outcome(fuzzed.told_outcome, fuzzed.silent_outcome)) std::abort();
    ++frame_count;
}

void say_count() {
    std::fprintf(stderr, "stat::number_of_frames: %llu\n", static_cast<unsigned long long>(frame_count));
}

void send_frames(Random& random, Fuzzed& fuzzed, bool is_shown) {
    Bytes last;
    for (int i = 0; i < frames_per_configuration; ++i) {
        const Bytes whole = random_frame(random, fuzzed.parts);
        Bytes bytes = whole;
        for (int variant = 0; variant < variants_per_frame; ++variant) {
            send_frame(random, fuzzed, bytes, is_shown);
            bytes = whole;
            vary(random, bytes, last);
        }
        last = whole;
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    std::atexit(say_count);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const bool is_shown = std::getenv("FUZZ_SHOW") != nullptr;
    Random random(std::span(data, size));
    Fuzzed fuzzed;
    fuzzed.parts = random_parts(random);
    for (int configuration = 0; configuration < configurations_per_input; ++configuration) {
        adopt_parts(fuzzed, configuration == 0);
        send_frames(random, fuzzed, is_shown);
        if (!are_same(fuzzed.told, fuzzed.silent)) std::abort();
        for (uint32_t left = 1 + random.below(3); left > 0; --left)
            change_parts(random, fuzzed.parts);
    }
    return 0;
}
