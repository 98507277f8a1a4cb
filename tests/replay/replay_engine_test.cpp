// What holds of any replay: every frame is accounted for, and the same input gives the same bytes.
#include "replay/replay_scene.h"

#include "companion/capture_merger.h"
#include "dataplane/random_switch.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

using namespace dataplane;
using replay_scene::traffic_begin;

namespace {

// A folder of its own for each test.
class Replays : public testing::Test {
protected:
    Replays() {
        std::string pattern = (std::filesystem::temp_directory_path() / "replay-XXXXXX").string();
        if (mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("no temporary folder");
        folder = pattern;
    }
    ~Replays() override { std::filesystem::remove_all(folder); }
    std::string file(const std::string& name) const { return folder + "/" + name; }

    std::string bytes_of_file(const std::string& name) const {
        std::ifstream in(file(name), std::ios::binary);
        std::ostringstream bytes;
        bytes << in.rdbuf();
        return bytes.str();
    }

    std::string folder;
};

uint64_t dropped_in_all(const ReplayTotals& totals) {
    uint64_t sum = 0;
    for (const Count& count : totals.dropped)
        sum += count.frames;
    return sum;
}

// In = out + drops - copies + what waits; and so by port and by queue.
void expect_all_accounted_for(const ReplayEngine& engine) {
    const ReplayTotals& totals = engine.totals();
    const uint64_t waiting = engine.egress().waiting();
    ASSERT_EQ(totals.received.frames + totals.copies,
              totals.sent.frames + totals.delivered.frames + dropped_in_all(totals) + waiting);
    PortTotals of_ports;
    for (const auto& [number, port] : totals.ports) {
        of_ports.received.frames += port.received.frames;
        of_ports.dropped.frames += port.dropped.frames;
        of_ports.sent.frames += port.sent.frames;
        of_ports.sent.bytes += port.sent.bytes;
        of_ports.lost.frames += port.lost.frames;
    }
    const uint64_t stray = totals.dropped[static_cast<size_t>(DropReason::port_missing)].frames;
    ASSERT_EQ(of_ports.received.frames + stray, totals.received.frames);
    ASSERT_EQ(of_ports.dropped.frames + of_ports.lost.frames + stray, dropped_in_all(totals));
    ASSERT_EQ(of_ports.sent.frames, totals.sent.frames);
    ASSERT_EQ(of_ports.sent.bytes, totals.sent.bytes);
    uint64_t sent_by_queues = 0;
    uint64_t in_queues = 0;
    for (const QueueView& queue : engine.egress().queues()) {
        sent_by_queues += queue.sent.frames;
        in_queues += queue.frames;
        ASSERT_LE(queue.fill, std::max(queue.length, queue.highest_fill));
    }
    ASSERT_EQ(sent_by_queues, totals.sent.frames);
    ASSERT_EQ(in_queues, waiting);
}

// Policers, queues, drop policies and shapers by chance, for the ports and streams that are there.
void choose_qos(dataplane_test::Random& random, dataplane_test::Parts& parts) {
    for (Port& port : parts.ports.ports)
        for (Policer& policer : port.policers)
            if (random.one_in(3))
                policer = {64'000 + random.below(1'000'000), 80 + random.below(3000),
                           random.one_in(2) ? discards_excess : uint8_t{1}};
    for (Stream& stream : parts.qos.streams) {
        stream.is_strict = random.one_in(2);
        stream.priority = random.below(8);
        stream.max_rate = random.one_in(2) ? 0 : 64'000 + random.below(20'000'000);
        stream.max_burst = 80 + random.below(32'000);
        stream.min_rate = random.one_in(2) ? 0 : 64'000 + random.below(20'000'000);
        stream.min_burst = 80 + random.below(32'000);
        for (Queue& queue : stream.queues) {
            queue.exists = !random.one_in(3);
            queue.length = 1536 + random.below(9000);
            queue.priority = random.below(3);
            queue.ratio = random.below(5);
            for (DropPolicy& policy : queue.drop)
                if (random.one_in(2))
                    policy = {random.below(101), random.below(101), random.below(101), random.below(101)};
        }
    }
    parts.qos.shapers.clear();
    for (int32_t ether = 1; ether <= 4; ++ether)
        if (random.one_in(2))
            parts.qos.shapers.push_back({ether, 64'000 + random.below(2'000'000), 80 + random.below(32'000)});
}

// Any switch, changed now and then, and any frames.
TEST_F(Replays, AccountForEachFrameOfAnySwitch) {
    std::set<size_t> reasons;
    for (uint64_t seed = 1; seed <= 100; ++seed) {
        dataplane_test::Random random(seed);
        dataplane_test::Parts parts = dataplane_test::random_parts(random);
        choose_qos(random, parts);
        Configuration configuration = parts.compile();
        State state;
        adopt(state, nullptr, configuration);
        Recorder recorder = Recorder::to_file("/dev/null", true);
        EgressOptions options;
        options.seed = seed;
        options.most_frames = seed % 2 == 0 ? 40 : 4000;
        options.line_rate = seed % 4 < 2 ? 100'000'000 : 500'000;
        ReplayEngine engine(configuration, state, options, 0, recorder);
        CapturedFrame frame;
        for (int i = 0; i < 400; ++i) {
            frame.time += random.below(random.one_in(50) ? 20'000'000 : 30'000);
            if (random.one_in(80)) {
                dataplane_test::change_parts(random, parts);
                choose_qos(random, parts);
                const Configuration next = parts.compile();
                engine.advance(frame.time);
                adopt(state, &configuration, next);
                engine.reconfigure(next, frame.time);
                configuration = next;
            }
            const dataplane_test::Bytes bytes = dataplane_test::random_frame(random, parts);
            frame.bytes = bytes;
            frame.original_length = static_cast<uint32_t>(bytes.size()) + (random.one_in(20) ? random.below(2000) : 0);
            const int32_t port = random.one_in(50) ? 999 : random.one_of(parts.ports.ports).number;
            engine.receive(port, frame);
            expect_all_accounted_for(engine);
            if (HasFatalFailure()) FAIL() << "seed " << seed << ", frame " << i;
        }
        engine.drain();
        expect_all_accounted_for(engine);
        EXPECT_EQ(engine.egress().waiting(), 0U);
        for (size_t reason = 0; reason < drop_reason_count; ++reason)
            if (engine.totals().dropped[reason].frames != 0) reasons.insert(reason);
    }
    for (const DropReason reason : {DropReason::policed, DropReason::queue_full, DropReason::red, DropReason::no_buffer,
                                    DropReason::queue_removed, DropReason::port_missing, DropReason::too_long})
        EXPECT_EQ(reasons.count(static_cast<size_t>(reason)), 1U) << word_of(reason);
}

// Wherever a capture ends, what came whole before has gone through the switch, and is written.
TEST_F(Replays, WriteWhatCameBeforeACaptureWasCutOff) {
    replay_scene::write_traffic(file("whole.pcapng"), {30, 60, 12'000, 3});
    const std::string whole = bytes_of_file("whole.pcapng");
    std::vector<uint64_t> begins;
    {
        CaptureReader reader(file("whole.pcapng"));
        for (CapturedFrame frame; reader.next(frame);)
            begins.push_back(frame.offset);
    }
    begins.push_back(whole.size());
    for (size_t length = 0; length < whole.size(); length += 7) {
        std::ofstream(file("cut.pcapng"), std::ios::binary).write(whole.data(), static_cast<std::streamsize>(length));
        ReplayTotals totals;
        replay_scene::play(file("cut.pcapng"), file("out.pcapng"), {}, &totals);
        const auto due = std::upper_bound(begins.begin() + 1, begins.end(), length) - begins.begin() - 1;
        EXPECT_EQ(totals.received.frames, static_cast<uint64_t>(due)) << length;
        CaptureReader reader(file("out.pcapng"));
        uint64_t received = 0;
        uint64_t sent = 0;
        for (CapturedFrame frame; reader.next(frame);)
            ++(frame.direction == Direction::received ? received : sent);
        EXPECT_EQ(received, totals.received.frames) << length;
        EXPECT_EQ(sent, totals.sent.frames + totals.delivered.frames) << length;
    }
}

TEST_F(Replays, AccountForEachFrameAtAnyTime) {
    replay_scene::write_traffic(file("in.pcapng"), {20'000, 0, 15'000, 3});
    const Configuration first = replay_scene::all_qos().compile();
    const Configuration second = replay_scene::all_qos_changed().compile();
    State state;
    adopt(state, nullptr, first);
    Recorder recorder;
    CaptureMerger captures;
    captures.add(file("in.pcapng"));
    ReplayEngine engine(first, state, {}, captures.next_time().value(), recorder);
    int32_t port = 0;
    bool is_first = true;
    uint64_t count = 0;
    while (const CapturedFrame* const frame = captures.next(port)) {
        if (count % 5000 == 4999) {
            engine.advance(frame->time);
            adopt(state, is_first ? &first : &second, is_first ? second : first);
            engine.reconfigure(is_first ? second : first, frame->time);
            is_first = !is_first;
        }
        engine.receive(count % 1000 == 0 ? 99 : port, *frame);
        ++count;
        expect_all_accounted_for(engine);
    }
    EXPECT_GT(engine.egress().waiting(), 0U);
    engine.drain();
    expect_all_accounted_for(engine);
    EXPECT_EQ(engine.egress().waiting(), 0U);
    const ReplayTotals& totals = engine.totals();
    EXPECT_EQ(totals.received.frames, 20'000U);
    EXPECT_EQ(totals.dropped[static_cast<size_t>(DropReason::port_missing)].frames, 20U);
    for (const DropReason reason :
         {DropReason::policed, DropReason::red, DropReason::queue_full, DropReason::queue_removed,
          DropReason::too_short, DropReason::egress_disabled, DropReason::port_disabled})
        EXPECT_GT(totals.dropped[static_cast<size_t>(reason)].frames, 0U) << word_of(reason);
    EXPECT_GT(totals.copies, 0U);
}

TEST_F(Replays, GiveTheSameBytesAgainAndOthersWithAnotherSeed) {
    replay_scene::write_traffic(file("in.pcapng"), {10'000, 0, 12'000, 5});
    const replay_scene::Run run{1, true, traffic_begin + 50'000'000};
    replay_scene::play(file("in.pcapng"), file("one.pcapng"), run);
    replay_scene::play(file("in.pcapng"), file("other.pcapng"), run);
    EXPECT_TRUE(bytes_of_file("one.pcapng") == bytes_of_file("other.pcapng"));
    replay_scene::play(file("in.pcapng"), file("seed.pcapng"), {2, true, traffic_begin + 50'000'000});
    EXPECT_FALSE(bytes_of_file("one.pcapng") == bytes_of_file("seed.pcapng"));
}

TEST_F(Replays, TakeTheirOwnOutputAgain) {
    replay_scene::write_traffic(file("in.pcapng"), {10'000, 0, 12'000, 6});
    replay_scene::play(file("in.pcapng"), file("out.pcapng"), {});
    replay_scene::play(file("out.pcapng"), file("again.pcapng"), {});
    EXPECT_GT(bytes_of_file("out.pcapng").size(), 1'000'000U);
    EXPECT_TRUE(bytes_of_file("out.pcapng") == bytes_of_file("again.pcapng"));
}

TEST_F(Replays, WriteInTheOrderOfTime) {
    replay_scene::write_traffic(file("in.pcapng"), {10'000, 0, 12'000, 8});
    ReplayTotals totals;
    replay_scene::play(file("in.pcapng"), file("out.pcapng"), {1, true, traffic_begin + 60'000'000}, &totals);
    CaptureReader reader(file("out.pcapng"));
    CapturedFrame frame;
    int64_t latest = 0;
    uint64_t received = 0;
    uint64_t sent = 0;
    while (reader.next(frame)) {
        EXPECT_GE(frame.time, latest);
        latest = frame.time;
        ++(frame.direction == Direction::received ? received : sent);
    }
    EXPECT_EQ(received, totals.received.frames);
    EXPECT_EQ(sent, totals.sent.frames + totals.delivered.frames);
    std::set<std::string> names;
    for (const CaptureInterface& interface : reader.interfaces())
        names.insert(interface.name);
    EXPECT_EQ(names, (std::set<std::string>{"port1", "port2", "port3", "port4", "port5", "switch"}));
}

// A frame that the capture cut is as long as it was.
TEST_F(Replays, FillUpWhatTheCaptureCut) {
    {
        CaptureWriter writer(file("in.pcapng"));
        writer.add_interface("port2");
        dataplane_test::Bytes bytes = dataplane_test::frame_of(0x020000010001, 0x020000020001, {}, 0x0800);
        bytes.resize(40);
        writer.write({bytes, {}, 1000, traffic_begin, 0, Direction::unknown, 1, {}});
        writer.close();
    }
    ReplayTotals totals;
    replay_scene::play(file("in.pcapng"), "", {}, &totals);
    EXPECT_EQ(totals.received.bytes, 1000U);
    EXPECT_EQ(totals.ports.at(1).sent.bytes, 1004U) << "with the tag of the uplink";
}

} // namespace
