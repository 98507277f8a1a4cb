// Prints a number that stands for what became of many random frames. It is the same on every machine.
#include "dataplane/random_switch.h"

#include <cstdio>

using namespace dataplane;
using namespace dataplane_test;

namespace {

class Digest {
public:
    void add(uint64_t number) { value_ = (value_ ^ number) * 0x100000001b3 + (value_ >> 29); }
    void add(const Bytes& bytes) {
        for (const uint8_t byte : bytes)
            add(byte);
    }
    uint64_t value() const { return value_; }

private:
    uint64_t value_ = 0xcbf29ce484222325;
};

void add_outcome(Digest& digest, const Outcome& outcome, const Bytes& received) {
    digest.add(number_of(outcome.verdict) << 8 | number_of(outcome.reason));
    for (const Output& output : outcome.outputs) {
        digest.add(output.port);
        digest.add(bytes_of(output, received));
        digest.add(uint64_t{output.stream_index} << 32 | output.traffic_class * 256U | output.color);
    }
    for (const Step& step : outcome.steps)
        digest.add(uint64_t{number_of(step.kind)} << 56 ^ uint64_t{step.a} << 32 ^ uint64_t{step.b} << 8 ^ step.c);
}

} // namespace

int main() {
    Digest digest;
    for (uint64_t seed = 0; seed < 60; ++seed) {
        Random random(seed);
        TestSwitch device;
        device.parts = random_parts(random);
        device.apply();
        Nanoseconds now = 0;
        for (int i = 0; i < 300; ++i) {
            const Bytes bytes = random_frame(random, device.parts);
            now += random.one_in(20) ? Nanoseconds{random.below(100)} * 1'000'000'000 : random.below(1'000'000);
            device.send(random.one_of(device.parts.ports.ports).number, bytes, now);
            add_outcome(digest, device.outcome, bytes);
        }
        // What is learned lies in its table in the same order.
        device.state.learned.for_each([&](uint32_t vid, Mac mac, const LearnedEntry& entry) {
            digest.add(address_key(vid, mac));
            digest.add(static_cast<uint64_t>(entry.seen) ^ entry.port);
        });
    }
    std::printf("%016llx\n", static_cast<unsigned long long>(digest.value()));
    return 0;
}
