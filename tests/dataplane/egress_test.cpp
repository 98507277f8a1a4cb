// Queues, early drops, schedulers and shapers: what is sent when, and what is not.
#include "dataplane/egress.h"

#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <random>

namespace dataplane {
namespace {

constexpr Nanoseconds second = 1'000'000'000;
constexpr Nanoseconds byte_time = 80; // at 100 Mbit/s

struct Sent {
    FrameHandle handle;
    Nanoseconds time;
    uint32_t queue;
};

// Some ports, and what they were told.
struct Bench {
    std::vector<Port> ports;
    Qos qos;
    std::vector<Sent> sent;
    std::vector<FrameHandle> removed;
    bool takes = true;
    Egress egress;

    explicit Bench(EgressOptions options = {}) : egress(options) { add_port(1, 1); }

    Port& add_port(int32_t number, int32_t ether) {
        Port port;
        port.number = number;
        port.ether = ether;
        port.type = PortType::ether;
        port.is_enabled = true;
        ports.push_back(port);
        return ports.back();
    }

    Stream& add_stream(uint16_t index, bool is_strict, uint32_t priority) {
        Stream stream;
        stream.index = index;
        stream.port = static_cast<PortIndex>(index / 256);
        stream.is_strict = is_strict;
        stream.priority = priority;
        qos.streams.push_back(stream);
        qos.place[index] = static_cast<uint16_t>(qos.streams.size());
        return qos.streams.back();
    }

    static Queue& add_queue(Stream& stream, uint8_t traffic_class, uint32_t priority, uint32_t ratio,
                            uint32_t length = 16384) {
        Queue& queue = stream.queues[traffic_class];
        queue.exists = true;
        queue.priority = priority;
        queue.ratio = ratio;
        queue.length = length;
        return queue;
    }

    Configuration configuration() const {
        Configuration all;
        auto made = std::make_shared<Ports>();
        made->ports = ports;
        all.ports = made;
        all.qos = std::make_shared<Qos>(qos);
        return all;
    }

    EgressSink sink() {
        return {this,
                [](void* context, const Departure& departure) {
                    auto* bench = static_cast<Bench*>(context);
                    if (bench->takes) bench->sent.push_back({departure.handle, departure.time, departure.queue});
                    return bench->takes;
                },
                [](void* context, FrameHandle handle, DropReason) {
                    static_cast<Bench*>(context)->removed.push_back(handle);
                }};
    }

    void adopt(Nanoseconds time = 0) { egress.adopt(configuration(), time, sink()); }
    void run_before(Nanoseconds time) { egress.run_before(time, sink()); }

    static Output to_queue(uint16_t stream_index, uint8_t traffic_class, uint8_t color = 0) {
        Output output;
        output.port = static_cast<PortIndex>(stream_index / 256);
        output.has_queue = true;
        output.stream_index = stream_index;
        output.stream = static_cast<uint8_t>(stream_index % 256);
        output.traffic_class = traffic_class;
        output.color = color;
        return output;
    }

    static Output to_best_effort(PortIndex port) {
        Output output;
        output.port = port;
        return output;
    }
};

// Keeps queues full, by putting a frame in for each that leaves, and counts what was sent.
struct Load {
    Bench& bench;
    std::vector<std::pair<Output, uint32_t>> flows; // an output, and the length of its frames
    std::vector<uint64_t> bytes;                    // sent by flow
    std::vector<Nanoseconds> first;                 // when the first left, and the last
    std::vector<Nanoseconds> last;
    std::vector<uint64_t> bytes_at_first;

    Load(Bench& with, std::vector<std::pair<Output, uint32_t>> what)
        : bench(with), flows(std::move(what)), bytes(flows.size()), first(flows.size(), -1), last(flows.size()) {
        for (FrameHandle flow = 0; flow < flows.size(); ++flow)
            for (int i = 0; i < 4; ++i)
                offer(flow, 0);
    }

    void offer(FrameHandle flow, Nanoseconds time) {
        EXPECT_EQ(bench.egress.enqueue(flows[flow].first, flows[flow].second, flow, time), DropReason::none);
    }

    void run(Nanoseconds until) {
        while (bench.egress.next_time() < until) {
            const Nanoseconds now = bench.egress.next_time();
            bench.run_before(now + 1);
            for (const Sent& sent : bench.sent) {
                const FrameHandle flow = sent.handle;
                if (first[flow] < 0) first[flow] = sent.time;
                bytes[flow] += flows[flow].second;
                last[flow] = sent.time;
                offer(flow, now);
            }
            bench.sent.clear();
        }
    }

    // The rate of a flow between its first and last frame, in bit/s, as shapers count it.
    double rate(size_t flow, bool counts_gap) const {
        const uint32_t length = flows[flow].second;
        const uint64_t frames = bytes[flow] / length - 1;
        const uint64_t bits = frames * counted_bytes(length, counts_gap) * 8;
        return static_cast<double>(bits) * 1e9 / static_cast<double>(last[flow] - first[flow]);
    }
    void forget() {
        std::fill(bytes.begin(), bytes.end(), 0);
        std::fill(first.begin(), first.end(), -1);
    }
};

// A stream with a guarantee, its queue of class 0, and beside it stream 1/2 of a higher priority, which would take all.
Stream& add_guaranteed(Bench& bench, uint32_t rate) {
    bench.qos.streams.reserve(2);
    Stream& stream = bench.add_stream(0, false, 2);
    Bench::add_queue(stream, 0, 0, 1);
    stream.min_rate = rate;
    stream.min_burst = 8000;
    Bench::add_queue(bench.add_stream(1, false, 5), 0, 0, 1);
    return stream;
}

TEST(Line, SendsAFrameWhenItComes) {
    Bench bench;
    bench.adopt();
    EXPECT_EQ(bench.egress.next_time(), never);
    EXPECT_EQ(bench.egress.enqueue(Bench::to_best_effort(0), 60, 7, 1000), DropReason::none);
    EXPECT_EQ(bench.egress.next_time(), 1000);
    bench.run_before(1000);
    EXPECT_TRUE(bench.sent.empty());
    bench.run_before(1001);
    ASSERT_EQ(bench.sent.size(), 1U);
    EXPECT_EQ(bench.sent[0].handle, 7U);
    EXPECT_EQ(bench.sent[0].time, 1000);
    EXPECT_EQ(bench.egress.next_time(), never);
}

TEST(Line, SendsOneFrameAfterTheOther) {
    Bench bench;
    bench.adopt();
    bench.egress.enqueue(Bench::to_best_effort(0), 1514, 1, 0);
    bench.egress.enqueue(Bench::to_best_effort(0), 14, 2, 0);
    bench.egress.enqueue(Bench::to_best_effort(0), 60, 3, 0);
    bench.run_before(second);
    ASSERT_EQ(bench.sent.size(), 3U);
    EXPECT_EQ(bench.sent[1].time, 1538 * byte_time);
    EXPECT_EQ(bench.sent[2].time, (1538 + 84) * byte_time) << "a short frame is padded on the line";
}

TEST(Line, OfAnyRateIsNeverFasterThanThat) {
    for (const auto& [rate, time] : std::vector<std::pair<uint64_t, Nanoseconds>>{{8'000'000'000, 1538},
                                                                                  {769'000'000, 16'000},
                                                                                  {3'000'000, 4'101'334},
                                                                                  {9, 1'367'111'111'112},
                                                                                  {7, 1'757'714'285'715}}) {
        Bench bench({0, rate, 16});
        bench.adopt();
        bench.egress.enqueue(Bench::to_best_effort(0), 1514, 1, 5);
        bench.egress.enqueue(Bench::to_best_effort(0), 60, 2, 5);
        bench.run_before(3000 * second);
        ASSERT_EQ(bench.sent.size(), 2U) << rate;
        EXPECT_EQ(bench.sent[1].time, 5 + time) << rate;
    }
}

TEST(Line, IsSharedByThePortsBoundToIt) {
    Bench bench;
    bench.add_port(2, 1);
    bench.add_port(3, 3);
    bench.adopt();
    for (PortIndex port = 0; port < 3; ++port)
        for (FrameHandle handle = 0; handle < 2; ++handle)
            bench.egress.enqueue(Bench::to_best_effort(port), 1514, port * 10U + handle, 0);
    bench.run_before(second);
    std::map<FrameHandle, Nanoseconds> times;
    for (const Sent& sent : bench.sent)
        times[sent.handle] = sent.time / byte_time;
    const std::map<FrameHandle, Nanoseconds> expected{{0, 0},         {1, 2 * 1538}, {10, 1538},
                                                      {11, 3 * 1538}, {20, 0},       {21, 1538}};
    EXPECT_EQ(times, expected);
}

TEST(Line, WithoutALimitSendsAllAtOnce) {
    Bench bench({0, 0, 16});
    bench.adopt();
    for (FrameHandle handle = 0; handle < 5; ++handle)
        bench.egress.enqueue(Bench::to_best_effort(0), 1000, handle, 5);
    bench.run_before(6);
    ASSERT_EQ(bench.sent.size(), 5U);
    for (FrameHandle handle = 0; handle < 5; ++handle)
        EXPECT_EQ(bench.sent[handle].handle, handle);
}

TEST(Line, WaitsWhereTheInterfaceDoesNotTakeAFrame) {
    Bench bench({0, 0, 16});
    Bench::add_queue(bench.add_stream(0, true, 0), 3, 3, 1);
    bench.adopt();
    bench.egress.enqueue(Bench::to_best_effort(0), 1000, 1, 5);
    bench.takes = false;
    bench.run_before(6);
    EXPECT_EQ(bench.egress.next_time(), never);
    for (const Output& output : {Bench::to_best_effort(0), Bench::to_queue(0, 3)}) {
        bench.egress.enqueue(output, 1000, 2, 7);
        EXPECT_EQ(bench.egress.next_time(), never);
    }
    EXPECT_EQ(bench.egress.waiting(), 3U);
    bench.takes = true;
    bench.egress.resume(1, 9);
    bench.run_before(10);
    ASSERT_EQ(bench.sent.size(), 3U);
    EXPECT_EQ(bench.sent[0].time, 9);
    EXPECT_EQ(bench.sent[1].handle, 1U) << "behind the stream's";
}

TEST(Queues, OfBestEffortHold16384Bytes) {
    Bench bench;
    bench.adopt();
    const Output output = Bench::to_best_effort(0);
    for (FrameHandle i = 0; i < 15; ++i)
        EXPECT_EQ(bench.egress.enqueue(output, 1024, i, 0), DropReason::none);
    EXPECT_EQ(bench.egress.enqueue(output, 1025, 15, 0), DropReason::queue_full);
    EXPECT_EQ(bench.egress.enqueue(output, 1024, 15, 0), DropReason::none);
}

TEST(Queues, HoldAsManyBytesAsTheyAreLong) {
    Bench bench;
    Bench::add_queue(bench.add_stream(0, true, 0), 3, 3, 1, 1600);
    bench.adopt();
    const Output output = Bench::to_queue(0, 3);
    EXPECT_EQ(bench.egress.enqueue(output, 1000, 1, 0), DropReason::none);
    EXPECT_EQ(bench.egress.enqueue(output, 601, 2, 0), DropReason::queue_full);
    EXPECT_EQ(bench.egress.enqueue(output, 600, 3, 0), DropReason::none);
    EXPECT_EQ(bench.egress.enqueue(output, 14, 4, 0), DropReason::queue_full);
    bench.run_before(1);
    EXPECT_EQ(bench.egress.enqueue(output, 1000, 5, 1), DropReason::none) << "the first has left";
    const QueueView& view = bench.egress.queues()[bench.egress.queue_of(output)];
    EXPECT_EQ(view.highest_fill, 1600U);
    EXPECT_EQ(view.fill, 1600U);
    EXPECT_EQ(view.frames, 2U);
    EXPECT_EQ(view.full[0].frames, 2U);
    EXPECT_EQ(view.full[0].bytes, 615U);
}

TEST(Queues, AreBoundedTogether) {
    Bench bench({0, 100'000'000, 3});
    Bench::add_queue(bench.add_stream(0, true, 0), 3, 3, 1);
    bench.adopt();
    for (FrameHandle handle = 0; handle < 3; ++handle)
        EXPECT_EQ(bench.egress.enqueue(Bench::to_queue(0, 3), 60, handle, 0), DropReason::none);
    EXPECT_EQ(bench.egress.enqueue(Bench::to_best_effort(0), 60, 3, 0), DropReason::no_buffer);
}

TEST(Queues, WithoutAStreamOrQueueFramesAreBestEffort) {
    Bench bench;
    Bench::add_queue(bench.add_stream(0, true, 0), 3, 3, 1);
    bench.adopt();
    EXPECT_TRUE(bench.egress.queues()[bench.egress.queue_of(Bench::to_queue(0, 4))].name.is_best_effort);
    EXPECT_TRUE(bench.egress.queues()[bench.egress.queue_of(Bench::to_queue(5, 3))].name.is_best_effort);
    const QueueName& name = bench.egress.queues()[bench.egress.queue_of(Bench::to_queue(0, 3))].name;
    EXPECT_FALSE(name.is_best_effort);
    EXPECT_EQ(name.port, 1);
    EXPECT_EQ(name.traffic_class, 3);
}

// Of queues and streams that always have frames, the highest alone is served; the lowest only when all others rest.
TEST(Priorities, AreStrict) {
    for (const bool by_stream : {false, true}) {
        Bench bench;
        std::vector<Output> outputs;
        if (by_stream) bench.qos.streams.reserve(8);
        Stream* stream = by_stream ? nullptr : &bench.add_stream(0, true, 0);
        for (uint8_t rank = 0; rank < 8; ++rank) {
            if (by_stream) stream = &bench.add_stream(rank, false, rank);
            const uint8_t traffic_class = by_stream ? 0 : static_cast<uint8_t>(7 - rank);
            Bench::add_queue(*stream, traffic_class, by_stream ? 0 : rank, 1, 1U << 20);
            outputs.push_back(Bench::to_queue(by_stream ? rank : 0, traffic_class));
        }
        outputs.insert(outputs.begin(), Bench::to_best_effort(0));
        bench.adopt();

        std::mt19937 random(1);
        const auto below = [&random](uint32_t bound) { return static_cast<uint32_t>(random() % bound); };
        std::vector<uint32_t> waiting(outputs.size());
        uint64_t sent = 0;
        for (Nanoseconds now = 0; now < second; now += 1 + below(300'000)) {
            while (bench.egress.next_time() < now) {
                bench.run_before(bench.egress.next_time() + 1);
                for (const Sent& frame : bench.sent) {
                    for (size_t rank = frame.handle + 1; rank < waiting.size(); ++rank)
                        ASSERT_EQ(waiting[rank], 0U) << "rank " << frame.handle << " went before " << rank;
                    --waiting[frame.handle];
                    ++sent;
                }
                bench.sent.clear();
            }
            const uint32_t rank = below(static_cast<uint32_t>(outputs.size()));
            for (uint32_t burst = below(8); burst > 0; --burst)
                if (bench.egress.enqueue(outputs[rank], 60 + below(1455), rank, now) == DropReason::none)
                    ++waiting[rank];
        }
        EXPECT_GT(sent, 5000U);
    }
}

TEST(Priorities, OfAStrictStreamAreByClassWhereTheyAreAlike) {
    Bench bench;
    Stream& stream = bench.add_stream(0, true, 0);
    Bench::add_queue(stream, 2, 4, 7);
    Bench::add_queue(stream, 5, 4, 1);
    bench.adopt();
    for (FrameHandle i = 0; i < 4; ++i)
        bench.egress.enqueue(Bench::to_queue(0, i % 2 == 0 ? 2 : 5), 1000, i, 0);
    bench.run_before(second);
    std::vector<FrameHandle> order;
    for (const Sent& sent : bench.sent)
        order.push_back(sent.handle);
    EXPECT_EQ(order, (std::vector<FrameHandle>{1, 3, 0, 2}));
}

// Bytes as the shaper counts them, by queues that always have frames, over 10 seconds.
std::vector<double> shares(const std::vector<uint32_t>& ratios, const std::vector<uint32_t>& lengths) {
    Bench bench;
    Stream& stream = bench.add_stream(0, false, 0);
    std::vector<std::pair<Output, uint32_t>> flows;
    for (uint8_t i = 0; i < ratios.size(); ++i) {
        Bench::add_queue(stream, i, 2, ratios[i]);
        flows.emplace_back(Bench::to_queue(0, i), lengths[i]);
    }
    bench.adopt();
    Load load(bench, flows);
    load.run(10 * second);
    std::vector<double> counted;
    for (size_t i = 0; i < flows.size(); ++i)
        counted.push_back(static_cast<double>(load.bytes[i] / lengths[i] * counted_bytes(lengths[i], false)));
    return counted;
}

TEST(Shares, FollowTheRatios) {
    const std::vector<std::vector<uint32_t>> lengths{{1514, 1514, 1514}, {60, 1514, 600}, {1514, 60, 61}};
    for (const auto& length : lengths) {
        const std::vector<double> counted = shares({1, 2, 4}, length);
        EXPECT_NEAR(counted[1] / counted[0], 2, 2e-3);
        EXPECT_NEAR(counted[2] / counted[0], 4, 4e-3);
    }
}

TEST(Shares, FollowOddRatiosToo) {
    for (const auto& [one, other] :
         std::vector<std::pair<uint32_t, uint32_t>>{{3, 7}, {100, 101}, {997, 991}, {1, 50}}) {
        const std::vector<double> counted = shares({one, other}, {600, 1000});
        const double wanted = static_cast<double>(other) / one;
        EXPECT_NEAR(counted[1] / counted[0] / wanted, 1, 3e-3) << one << ":" << other;
    }
    const std::vector<double> primes = shares({2147483647, 2147483629, 2147483587}, {600, 1000, 60});
    EXPECT_NEAR(primes[1] / primes[0], 1, 2e-3);
    EXPECT_NEAR(primes[2] / primes[0], 1, 2e-3);
    // What the first two have in common is small enough, what all three have is no number of 64 bits.
    const std::vector<double> wide = shares({1000003, 900001, 20496299}, {600, 1000, 60});
    EXPECT_NEAR(wide[1] / wide[0] / 0.9, 1, 3e-3);
    EXPECT_NEAR(wide[2] / wide[0] / 20.496, 1, 3e-3);
}

// Who is as far as another has the turn by class, so that turns come in the same order again and again.
TEST(Shares, TakeTurnsInOneOrder) {
    Bench bench;
    Stream& stream = bench.add_stream(0, false, 0);
    Bench::add_queue(stream, 0, 2, 1);
    Bench::add_queue(stream, 1, 2, 3);
    bench.adopt();
    for (FrameHandle i = 0; i < 12; ++i)
        bench.egress.enqueue(Bench::to_queue(0, i % 4 == 0 ? 0 : 1), 1000, i % 4 == 0 ? 0 : 1, 0);
    bench.run_before(second);
    std::string order;
    for (const Sent& sent : bench.sent)
        order += std::to_string(sent.handle);
    EXPECT_EQ(order, "011101110111");
}

// The bytes that a queue without a ratio, and one of ratio 5 and that priority, send in a second.
std::vector<uint64_t> bytes_beside_nothing(uint8_t priority_of_other) {
    Bench bench;
    Stream& stream = bench.add_stream(0, false, 0);
    Bench::add_queue(stream, 0, 2, 0);
    Bench::add_queue(stream, 1, priority_of_other, 5);
    bench.adopt();
    Load load(bench, {{Bench::to_queue(0, 0), 1000}, {Bench::to_queue(0, 1), 1000}});
    load.run(second);
    return {load.bytes[0], load.bytes[1]};
}

TEST(Shares, OfARatioOfNothingAreWhatIsLeft) {
    EXPECT_EQ(bytes_beside_nothing(2)[0], 0U);
}

TEST(Shares, OfNothingGoBeforeThoseOfALowerPriority) {
    EXPECT_EQ(bytes_beside_nothing(1)[1], 0U);
}

// The finest share has the widest steps of virtual time, of which 64 bits hold those of less than a second.
Stream& add_stream_of_widest_steps(Bench& bench) {
    Stream& stream = bench.add_stream(0, false, 0);
    for (uint8_t traffic_class = 0; traffic_class < 2; ++traffic_class)
        Bench::add_queue(stream, traffic_class, 2, 1);
    Bench::add_queue(stream, 2, 2, 2147483647);
    Bench::add_queue(stream, 3, 2, 2147483629);
    return stream;
}

TEST(Shares, StayEvenForEver) {
    Bench bench;
    add_stream_of_widest_steps(bench);
    bench.adopt();
    Load load(bench, {{Bench::to_queue(0, 0), 1514}, {Bench::to_queue(0, 1), 757}});
    load.run(3 * second);
    EXPECT_NEAR(static_cast<double>(load.bytes[0] / 1514 * 1518), static_cast<double>(load.bytes[1] / 757 * 761), 1518);
}

TEST(Shares, OfStreamsWithOnePriorityAreEven) {
    Bench bench;
    std::vector<std::pair<Output, uint32_t>> flows;
    const std::vector<uint32_t> lengths{60, 1514, 700};
    for (uint16_t i = 0; i < 3; ++i) {
        Bench::add_queue(bench.add_stream(i, false, 4), 0, 0, 1);
        flows.emplace_back(Bench::to_queue(i, 0), lengths[i]);
    }
    bench.adopt();
    Load load(bench, flows);
    load.run(10 * second);
    for (size_t i = 1; i < 3; ++i)
        EXPECT_NEAR(static_cast<double>(load.bytes[i] / lengths[i] * (lengths[i] + 4)) /
                        static_cast<double>(load.bytes[0] / 60 * 64),
                    1, 1e-3);
}

// As with queues: who comes back has no claim on the time that it was away.
TEST(Shares, OfStreamsStartAnewAfterARest) {
    Bench bench;
    bench.qos.streams.reserve(2);
    for (uint16_t index = 0; index < 2; ++index)
        Bench::add_queue(bench.add_stream(index, false, 4), 0, 0, 1);
    bench.adopt();
    Load load(bench, {{Bench::to_queue(0, 0), 1000}});
    load.run(second);
    for (FrameHandle i = 0; i < 8; ++i)
        bench.egress.enqueue(Bench::to_queue(1, 0), 1000, 1, second);
    for (FrameHandle i = 0; i < 4; ++i)
        bench.egress.enqueue(Bench::to_queue(0, 0), 1000, 0, second);
    bench.run_before(second + 8 * 1024 * byte_time);
    uint32_t of_first = 0;
    for (const Sent& sent : bench.sent)
        of_first += sent.handle == 0 ? 1U : 0U;
    EXPECT_NEAR(of_first, 4, 1);
}

// How many of eight frames are of queue 0, where queue 1 sends again at `end`, after a rest that began at `rest`.
uint32_t frames_beside_a_rested(Bench& bench, Nanoseconds rest, Nanoseconds end) {
    bench.adopt();
    Load(bench, {{Bench::to_queue(0, 1), 1000}}).run(rest);
    Load(bench, {{Bench::to_queue(0, 0), 1000}}).run(end);
    for (FrameHandle i = 0; i < 8; ++i)
        bench.egress.enqueue(Bench::to_queue(0, 1), 1000, 100 + i, end);
    for (int i = 0; i < 4; ++i)
        bench.egress.enqueue(Bench::to_queue(0, 0), 1000, 0, end);
    bench.run_before(end + 8 * 1024 * byte_time);
    return static_cast<uint32_t>(
        std::count_if(bench.sent.begin(), bench.sent.end(), [](const Sent& sent) { return sent.handle == 0; }));
}

// A queue that comes back after a rest has no claim on the time that it was away, and does not wait for it either.
TEST(Shares, StartAnewAfterARest) {
    Bench bench;
    Stream& stream = bench.add_stream(0, false, 0);
    Bench::add_queue(stream, 0, 2, 1);
    Bench::add_queue(stream, 1, 2, 1);
    EXPECT_NEAR(frames_beside_a_rested(bench, second / 10, second), 4, 1);
}

// After 2 MiB of its steps.
TEST(Shares, StartAnewWhenVirtualTimeHasBeenTurnedBack) {
    Bench bench;
    add_stream_of_widest_steps(bench);
    EXPECT_NEAR(frames_beside_a_rested(bench, 150'000'000, 190'000'000), 4, 1);
}

TEST(Shapers, KeepTheirRate) {
    struct Case {
        uint32_t rate;
        uint32_t burst;
        uint32_t length;
        bool counts_gap;
    };
    const std::vector<Case> cases{{64'000, 32000, 60, false},   {64'000, 80, 1514, true},
                                  {1'000'000, 8000, 593, true}, {9'999'000, 80, 593, false},
                                  {33'333'000, 80, 60, true},   {70'000'000, 80, 1514, true},
                                  {70'000'000, 80, 60, false},  {70'000'000, 8000, 1514, false}};
    for (const Case& with : cases) {
        Bench bench;
        bench.ports[0].counts_gap = with.counts_gap;
        bench.qos.shapers.push_back({1, with.rate, with.burst});
        bench.adopt();
        Load load(bench, {{Bench::to_best_effort(0), with.length}});
        load.run(5 * second); // the bucket was full
        load.forget();
        load.run(15 * second);
        EXPECT_NEAR(load.rate(0, with.counts_gap) / with.rate, 1, 1e-6)
            << with.rate << " bit/s, burst " << with.burst << ", " << with.length << " bytes";
    }
}

TEST(Shapers, OfStreamsKeepTheirCeiling) {
    struct Case {
        uint32_t rate;
        uint32_t guarantee;
        bool counts_gap;
    };
    for (const auto& [rate, guarantee, counts_gap] : std::array<Case, 4>{
             {{64'000, 64'000, false}, {999'000, 0, true}, {999'000, 999'000, true}, {20'000'000, 0, false}}}) {
        Bench bench;
        bench.ports[0].counts_gap = counts_gap;
        bench.qos.streams.reserve(2);
        Stream& stream = bench.add_stream(0, true, 7);
        Bench::add_queue(stream, 0, 0, 1);
        stream.min_rate = guarantee;
        stream.max_rate = rate;
        stream.min_burst = 8000;
        stream.max_burst = 8000;
        Bench::add_queue(bench.add_stream(1, true, 3), 0, 0, 1);
        bench.adopt();
        Load load(bench, {{Bench::to_queue(0, 0), 1000}, {Bench::to_queue(1, 0), 1514}});
        load.run(5 * second);
        load.forget();
        load.run(15 * second);
        // Frames of the other stream are on the line when its turn comes, so its frames are late by up to one of them.
        const double slack = 1e-6 + 2 * 1538.0 * 80 / 10e9;
        EXPECT_NEAR(load.rate(0, counts_gap) / rate, 1, slack);
        EXPECT_NEAR(load.rate(1, true) + load.rate(0, true), 1e8, 1e8 * slack) << "the rest is the other's";
    }
}

// Against a stream of a higher priority that would take all, and beside its own ceiling.
TEST(Shapers, OfStreamsKeepTheirGuarantee) {
    Bench bench;
    Stream& stream = add_guaranteed(bench, 12'345'000);
    stream.max_rate = 50'000'000;
    stream.max_burst = 16000;
    bench.adopt();
    Load load(bench, {{Bench::to_queue(0, 0), 996}, {Bench::to_queue(1, 0), 1514}});
    load.run(5 * second);
    load.forget();
    load.run(15 * second);
    EXPECT_NEAR(load.rate(0, false) / 12'345'000, 1, 3e-5);
}

TEST(Shapers, OfAStreamWithinItsGuaranteeGoFirst) {
    Bench bench;
    add_guaranteed(bench, 64'000);
    bench.adopt();
    bench.egress.enqueue(Bench::to_queue(1, 0), 1000, 1, 0);
    bench.egress.enqueue(Bench::to_queue(0, 0), 1000, 2, 0);
    bench.run_before(1);
    ASSERT_EQ(bench.sent.size(), 1U);
    EXPECT_EQ(bench.sent[0].handle, 2U);
}

// What it sends while nobody else wants the line is not held against it.
TEST(Shapers, OfStreamsKeepTheirGuaranteeAfterTheyHadMore) {
    Bench bench;
    add_guaranteed(bench, 10'000'000);
    bench.adopt();
    Load load(bench, {{Bench::to_queue(0, 0), 996}});
    load.run(second);
    EXPECT_GT(load.rate(0, true), 99e6);
    Load rivals(bench, {{Bench::to_queue(0, 0), 996}, {Bench::to_queue(1, 0), 1514}});
    rivals.run(2 * second);
    EXPECT_NEAR(rivals.rate(0, false) / 10'000'000, 1, 2e-3);
}

TEST(Shapers, LetABurstThroughAfterARest) {
    Bench bench;
    bench.qos.shapers.push_back({1, 64'000, 8000});
    bench.adopt();
    for (FrameHandle i = 0; i < 12; ++i)
        bench.egress.enqueue(Bench::to_best_effort(0), 996, i, 0);
    bench.run_before(100'000'000);
    EXPECT_EQ(bench.sent.size(), 8U) << "8 frames of 1000 bytes with FCS";
}

// As no sentence sets them, but another program may by the libraries.
TEST(Shapers, TakeTheLargestBurstAndRate) {
    for (const uint32_t rate : {1U, 64'000U, 0x7fffffffU}) {
        Bench bench;
        bench.qos.shapers.push_back({1, rate, 0x7fffffff});
        Stream& stream = bench.add_stream(0, true, 7);
        Bench::add_queue(stream, 0, 0, 1, 0x7fffffff);
        stream.min_rate = stream.max_rate = rate;
        stream.min_burst = stream.max_burst = 0x7fffffff;
        bench.adopt();
        Load load(bench, {{Bench::to_queue(0, 0), 1514}});
        load.run(second);
        EXPECT_NEAR(load.rate(0, true), 1e8, 1e5) << rate;
        bench.adopt(1000 * second);
        load.forget();
        load.run(1001 * second);
        EXPECT_NEAR(load.rate(0, true), 1e8, 1e5) << rate;
    }
}

TEST(EarlyDrop, FollowsItsCurve) {
    DropPolicy policy;
    policy.min_threshold = 20;
    policy.min_drop = 5;
    policy.max_threshold = 80;
    policy.max_drop = 50;
    const uint32_t length = 64000;
    const uint32_t trials = 40'000;
    for (uint32_t tenth = 0; tenth < 10; ++tenth) {
        double expected = 0;
        double variance = 0;
        uint32_t dropped = 0;
        for (uint32_t i = 0; i < trials; ++i) {
            const uint32_t fill = tenth * 6400 + i % 6400;
            const double percent = fill * 100.0 / length;
            const double chance = percent < 20 ? 0 : percent >= 80 ? 1 : (5 + 45 * (percent - 20) / 60) / 100;
            expected += chance;
            variance += chance * (1 - chance);
            dropped += drops_early(policy, fill, length, random_number(1, 42, uint64_t{tenth} * trials + i)) ? 1U : 0U;
        }
        EXPECT_NEAR(dropped, expected, 3 * std::sqrt(variance) + 1e-9) << tenth;
    }
}

TEST(EarlyDrop, OfAQueueBeginsAtItsThreshold) {
    Bench bench({0, 100'000'000, 16});
    Bench::add_queue(bench.add_stream(0, true, 0), 0, 0, 1, 2000).drop[0] = {50, 0, 50, 0};
    bench.adopt();
    const Output output = Bench::to_queue(0, 0);
    EXPECT_EQ(bench.egress.enqueue(output, 999, 1, 0), DropReason::none);
    EXPECT_EQ(bench.egress.enqueue(output, 1, 2, 0), DropReason::none) << "49.95 % are less than the threshold";
    EXPECT_EQ(bench.egress.enqueue(output, 60, 3, 0), DropReason::red);
}

TEST(EarlyDrop, OfTheLongestQueueFollowsTheSameCurve) {
    const DropPolicy policy{20, 5, 80, 50};
    for (uint32_t trial = 0; trial < 4000; ++trial) {
        const uint32_t fill = trial << 8;
        const uint32_t random = random_number(1, 42, trial);
        EXPECT_EQ(drops_early(policy, fill << 10, 1U << 30, random), drops_early(policy, fill, 1U << 20, random))
            << fill;
    }
}

// The queue itself, filled to each tenth in turn and offered frames that find it so.
TEST(EarlyDrop, OfAQueueFollowsTheCurveOfTheColor) {
    Bench bench;
    Queue& queue = Bench::add_queue(bench.add_stream(0, true, 0), 0, 0, 1, 1'000'000);
    queue.drop[1] = {10, 0, 90, 100};
    queue.drop[2] = {0, 10, 50, 10};
    bench.adopt();
    const Output green = Bench::to_queue(0, 0, 0);
    const Output yellow = Bench::to_queue(0, 0, 1);
    const Output red = Bench::to_queue(0, 0, 2);
    std::array<std::array<uint32_t, 3>, 10> dropped{};
    std::array<std::array<uint32_t, 3>, 10> offered{};
    const QueueView& view = bench.egress.queues()[bench.egress.queue_of(green)];
    while (view.fill + 1000 <= view.length) {
        const uint32_t tenth = view.fill / 100'000;
        for (const Output& output : {green, yellow, red}) {
            if (view.fill + 1000 > view.length) break;
            ++offered[tenth][output.color];
            const uint32_t length = output.color == 0 ? 1000 : 10;
            const DropReason reason = bench.egress.enqueue(output, length, 0, 0);
            ASSERT_NE(reason, DropReason::queue_full);
            dropped[tenth][output.color] += reason == DropReason::red ? 1U : 0U;
        }
    }
    for (uint32_t tenth = 0; tenth < 10; ++tenth) {
        EXPECT_EQ(dropped[tenth][0], 0U);
        const double yellow_chance = tenth < 1 ? 0 : tenth >= 9 ? 1 : (tenth * 10 + 5 - 10) / 80.0;
        const double red_chance = tenth < 5 ? 0.1 : 1;
        const auto near = [&](uint32_t color, double chance) {
            const double count = offered[tenth][color];
            EXPECT_NEAR(dropped[tenth][color], count * chance, 3 * std::sqrt(count * chance * (1 - chance)) + 1)
                << tenth;
        };
        near(1, yellow_chance);
        near(2, red_chance);
    }
}

// Every machine has these.
TEST(EarlyDrop, HasTheSameNumbersEverywhere) {
    EXPECT_EQ(random_number(0, 0, 0), 2802244911U);
    EXPECT_EQ(random_number(1, 8191, 1'000'000'000'000), 3884924095U);
}

TEST(Reconfiguration, DropsWhatWaitsInQueuesThatGo) {
    Bench bench;
    Stream& stream = bench.add_stream(0, true, 0);
    Bench::add_queue(stream, 0, 0, 1);
    Bench::add_queue(stream, 1, 1, 1);
    bench.adopt();
    bench.egress.enqueue(Bench::to_queue(0, 0), 100, 1, 0);
    bench.egress.enqueue(Bench::to_queue(0, 1), 200, 2, 0);
    bench.egress.enqueue(Bench::to_queue(0, 0), 300, 3, 0);
    const uint32_t gone = bench.egress.queue_of(Bench::to_queue(0, 0));
    bench.qos.streams[0].queues[0].exists = false;
    bench.adopt(0);
    EXPECT_EQ(bench.removed, (std::vector<FrameHandle>{1, 3}));
    EXPECT_FALSE(bench.egress.queues()[gone].exists);
    EXPECT_EQ(bench.egress.queues()[gone].removed.bytes, 400U);
    bench.run_before(second);
    ASSERT_EQ(bench.sent.size(), 1U);
    EXPECT_EQ(bench.sent[0].handle, 2U);
    bench.ports[0].is_enabled = true;
    bench.egress.enqueue(Bench::to_queue(0, 1), 200, 4, second);
    bench.ports[0].is_enabled = false;
    bench.adopt(second);
    EXPECT_EQ(bench.removed.back(), 4U);
    EXPECT_EQ(bench.egress.waiting(), 0U);
}

TEST(Reconfiguration, KeepsWhatHasBeenSpent) {
    Bench bench;
    bench.qos.shapers.push_back({1, 64'000, 8000});
    bench.adopt();
    for (FrameHandle i = 0; i < 12; ++i)
        bench.egress.enqueue(Bench::to_best_effort(0), 996, i, 0);
    bench.run_before(10'000'000);
    EXPECT_EQ(bench.sent.size(), 8U);
    bench.qos.shapers[0].rate = 128'000;
    bench.adopt(10'000'000);
    bench.run_before(70'000'000);
    EXPECT_EQ(bench.sent.size(), 8U + 1U) << "10 ms at the old rate and 60 at the new make 1040 bytes";
}

TEST(Reconfiguration, FillsNoGuaranteeAnew) {
    Bench bench;
    add_guaranteed(bench, 64'000);
    bench.adopt();
    Load load(bench, {{Bench::to_queue(0, 0), 996}, {Bench::to_queue(1, 0), 1514}});
    load.run(10'000'000);
    EXPECT_EQ(load.bytes[0], 8U * 996);
    bench.adopt(10'000'000);
    load.run(20'000'000);
    EXPECT_EQ(load.bytes[0], 8U * 996) << "10 ms at that rate make 80 bytes";
}

// Whatever happens, each frame is sent, dropped or waits, and nothing is sent out of its time.
TEST(Accounting, LosesNoFrame) {
    std::mt19937 random(7);
    const auto below = [&random](uint32_t bound) { return static_cast<uint32_t>(random() % bound); };
    for (int round = 0; round < 200; ++round) {
        Bench bench({static_cast<uint64_t>(round), round % 3 == 0 ? 0U : 100'000'000U, 200});
        bench.add_port(2, 1);
        bench.add_port(3, 3).type = PortType::virtual_interface;
        std::vector<Output> outputs;
        for (PortIndex port = 0; port < 3; ++port)
            outputs.push_back(Bench::to_best_effort(port));
        bench.qos.streams.reserve(20);
        const auto reconfigure = [&](Nanoseconds time) {
            bench.qos.streams.clear();
            bench.qos.place.fill(0);
            for (const uint16_t index : std::array<uint16_t, 6>{0, 1, 9, 256, 300, 513}) {
                if (below(4) == 0) continue;
                Stream& stream = bench.add_stream(index, below(2) == 0, below(8));
                if (below(2) == 0) {
                    stream.max_rate = 64'000 + below(50'000'000);
                    stream.min_rate = below(3) == 0 ? 0 : below(stream.max_rate);
                    stream.max_burst = 80 + below(32'000);
                    stream.min_burst = below(3) == 0 ? 0 : below(32'000);
                }
                for (uint8_t traffic_class = 0; traffic_class < 8; ++traffic_class) {
                    if (below(2) == 0) continue;
                    Queue& queue = Bench::add_queue(stream, traffic_class, below(3), below(5), 1536 + below(9000));
                    for (DropPolicy& policy : queue.drop)
                        if (below(2) == 0) policy = {below(101), below(101), below(101), below(101)};
                    outputs.push_back(Bench::to_queue(index, traffic_class, static_cast<uint8_t>(below(3))));
                }
            }
            bench.qos.shapers.clear();
            if (below(2) == 0) bench.qos.shapers.push_back({1, 64'000 + below(99'000'000), 8000});
            for (Port& port : bench.ports)
                port.is_enabled = below(8) != 0;
            bench.adopt(time);
        };
        reconfigure(0);
        uint64_t taken = 0;
        FrameHandle next = 0;
        Nanoseconds now = 0;
        std::vector<int> heard(3000);
        for (int i = 0; i < 3000; ++i) {
            const Output& output = outputs[below(static_cast<uint32_t>(outputs.size()))];
            if (bench.egress.enqueue(output, 14 + below(1527), next, now) == DropReason::none)
                ++taken;
            else
                ++heard[next];
            ++next;
            if (below(3) == 0) now += below(200'000);
            bench.run_before(now);
            if (below(300) == 0) reconfigure(now);
            ASSERT_EQ(taken, bench.sent.size() + bench.removed.size() + bench.egress.waiting());
        }
        bench.run_before(now + 10'000 * second);
        for (Port& port : bench.ports)
            port.is_enabled = false;
        EXPECT_EQ(bench.egress.waiting(), 0U);
        Nanoseconds last = 0;
        for (const Sent& sent : bench.sent) {
            ++heard[sent.handle];
            EXPECT_GE(sent.time, last);
            last = sent.time;
        }
        for (const FrameHandle handle : bench.removed)
            ++heard[handle];
        EXPECT_EQ(std::count(heard.begin(), heard.end(), 1), 3000);
    }
}

} // namespace
} // namespace dataplane
