// What holds of any replay: every frame is accounted for, and the same input gives the same bytes.
#include "replay/replay_scene.h"

#include "companion/capture_merger.h"

#include <gtest/gtest.h>

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
    const auto check = [&engine] {
        const ReplayTotals& totals = engine.totals();
        ASSERT_EQ(totals.received.frames + totals.copies,
                  totals.sent.frames + totals.delivered.frames + dropped_in_all(totals) + engine.egress().waiting());
    };
    CapturedFrame frame;
    int32_t port = 0;
    bool is_first = true;
    for (uint64_t count = 0; captures.next(frame, port); ++count) {
        if (count % 5000 == 4999) {
            engine.advance(frame.time);
            adopt(state, is_first ? &first : &second, is_first ? second : first);
            engine.reconfigure(is_first ? second : first, frame.time);
            is_first = !is_first;
        }
        engine.receive(count % 1000 == 0 ? 99 : port, frame);
        check();
    }
    EXPECT_GT(engine.egress().waiting(), 0U);
    engine.drain();
    check();
    EXPECT_EQ(engine.egress().waiting(), 0U);
    const ReplayTotals& totals = engine.totals();
    EXPECT_EQ(totals.received.frames, 20'000U);
    EXPECT_EQ(totals.dropped[static_cast<size_t>(DropReason::port_missing)].frames, 20U);
    for (const DropReason reason :
         {DropReason::policed, DropReason::red, DropReason::queue_full, DropReason::queue_removed,
          DropReason::too_short, DropReason::egress_disabled, DropReason::port_disabled})
        EXPECT_GT(totals.dropped[static_cast<size_t>(reason)].frames, 0U) << word_of(reason);
    EXPECT_GT(totals.copies, 0U);
    uint64_t sent = 0;
    uint64_t received = 0;
    for (const auto& [number, of_port] : totals.ports) {
        sent += of_port.sent.frames;
        received += of_port.received.frames;
    }
    EXPECT_EQ(sent, totals.sent.frames);
    EXPECT_EQ(received + 20, totals.received.frames);
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
