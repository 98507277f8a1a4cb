// What holds for any frame in any configuration.
#include "dataplane/random_switch.h"

#include <gtest/gtest.h>

#include <memory>
#include <set>

using namespace dataplane;
using namespace dataplane_test;

namespace {

// What has happened so far, so that a generator that meets too little is noticed.
struct Seen {
    std::set<DropReason> reasons;
    std::set<StepKind> steps;
    void note(const Outcome& outcome) {
        reasons.insert(outcome.reason);
        for (const Step& step : outcome.steps)
            steps.insert(step.kind);
    }
};

// Two switches of one configuration: one is told of, the other silent.
struct Twins {
    Parts parts;
    Configuration configuration;
    State told;
    State silent;
    Outcome told_outcome;
    Outcome silent_outcome;
    Seen seen;
    bool is_first = true;

    void apply() {
        Configuration next = parts.compile();
        for (State* state : {&told, &silent})
            adopt(*state, is_first ? nullptr : &configuration, next);
        configuration = std::move(next);
        is_first = false;
    }
    void send(const Frame& frame) {
        forward_told(configuration, told, frame, told_outcome);
        forward(configuration, silent, frame, silent_outcome);
        seen.note(told_outcome);
        ASSERT_NO_THROW(check_outcome(configuration, told, frame, told_outcome));
        ASSERT_TRUE(have_same_outcome(told_outcome, silent_outcome));
        ASSERT_TRUE(silent_outcome.steps.empty());
    }
};

void send_some(Random& random, Twins& twins, Nanoseconds& now, int count) {
    for (int i = 0; i < count; ++i) {
        const Bytes bytes = random_frame(random, twins.parts);
        now += random.one_in(20) ? Nanoseconds{random.below(100)} * 1'000'000'000 : random.below(1'000'000);
        const auto port = static_cast<PortIndex>(random.below(static_cast<uint32_t>(twins.parts.ports.ports.size())));
        ASSERT_NO_FATAL_FAILURE(twins.send({port, bytes, now})) << "frame " << i;
    }
    ASSERT_TRUE(are_same(twins.told, twins.silent));
}

TEST(Properties, ToldAndSilentFramesAgreeThroughChanges) {
    Seen seen;
    for (uint64_t seed = 0; seed < 150; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        Twins twins;
        twins.parts = random_parts(random);
        Nanoseconds now = 0;
        for (int change = 0; change < 8; ++change) {
            twins.apply();
            ASSERT_NO_FATAL_FAILURE(send_some(random, twins, now, 60)) << "change " << change;
            for (uint32_t left = random.below(4); left > 0; --left)
                change_parts(random, twins.parts);
        }
        seen.reasons.merge(twins.seen.reasons);
        seen.steps.merge(twins.seen.steps);
    }
    for (uint32_t reason = 0; reason <= number_of(DropReason::nobody_to_send_to); ++reason)
        EXPECT_TRUE(seen.reasons.count(static_cast<DropReason>(reason)) != 0)
            << "never " << word_of(static_cast<DropReason>(reason));
    for (uint32_t kind = 0; kind <= number_of(StepKind::done); ++kind)
        EXPECT_TRUE(seen.steps.count(static_cast<StepKind>(kind)) != 0)
            << "never " << word_of(static_cast<StepKind>(kind));
}

TEST(Properties, AFrameMayHaveAnyLength) {
    Random random(1);
    Twins twins;
    twins.parts = random_parts(random);
    twins.apply();
    for (size_t length = 0; length <= 2000; ++length) {
        Bytes bytes = random_frame(random, twins.parts);
        bytes.resize(length, static_cast<uint8_t>(length));
        ASSERT_NO_FATAL_FAILURE(twins.send({0, bytes, 0})) << length;
    }
    for (const size_t length : {size_t{9000}, size_t{65535}, size_t{65536}, size_t{100000}})
        ASSERT_NO_FATAL_FAILURE(twins.send({0, Bytes(length, 0x11), 0})) << length;
}

// In memory of exactly that length, so that the address sanitizer sees each byte too far.
TEST(Properties, AFrameMayEndAtEachOfItsBytes) {
    for (uint64_t seed = 0; seed < 40; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        Twins twins;
        twins.parts = random_parts(random);
        twins.apply();
        const Bytes whole = random_frame(random, twins.parts);
        for (size_t length = 0; length <= whole.size() && length < 120; ++length) {
            const auto exact = std::make_unique<uint8_t[]>(length);
            std::copy_n(whole.begin(), length, exact.get());
            const auto port =
                static_cast<PortIndex>(random.below(static_cast<uint32_t>(twins.parts.ports.ports.size())));
            ASSERT_NO_FATAL_FAILURE(twins.send({port, {exact.get(), length}, 0})) << length;
        }
    }
}

// A switch that took its configuration change by change forwards like one that began with the last.
TEST(Properties, AdoptedChangesAreAsGoodAsANewBeginning) {
    for (uint64_t seed = 0; seed < 150; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        Twins twins;
        twins.parts = random_parts(random);
        for (int change = 0; change < 10; ++change) {
            twins.apply();
            change_parts(random, twins.parts);
        }
        twins.apply();
        twins.silent = State{};
        adopt(twins.silent, nullptr, twins.configuration);
        Nanoseconds now = 0;
        ASSERT_NO_FATAL_FAILURE(send_some(random, twins, now, 60));
    }
}

} // namespace
