// The switch and its traffic.
#include "replay/replay_scene.h"

#include "companion/capture_merger.h"
#include "dataplane/random.h"

using namespace dataplane;
using namespace dataplane_test;

namespace replay_scene {

namespace {

constexpr Mac host = 0x020000000000; // and above it the port in the third byte, and a number
constexpr uint16_t shared_vid = 40;

Mac address(int32_t port, uint32_t number) {
    return host + (static_cast<Mac>(port) << 16) + number;
}

// Voice by its port, what is urgent by its priority bits, a network by its address.
std::vector<Rule> rules() {
    std::vector<Rule> list;
    for (uint32_t i = 0; i < 64; ++i)
        list.push_back(
            {static_cast<int32_t>(i) + 1, 0, 7, 0, {{Field::destination_port, 5000 + 10 * i, 5009 + 10 * i}}});
    list.push_back({100, 0, 5, 0, {{Field::tos, 0xb8, 0xb8, 0xfc}}});
    list.push_back({110, 1, 3, 1, {{Field::source_ip, 0x0a000000, 0x0a0000ff}}});
    list.push_back({120, 1, 1, 2, {{Field::ether_type, 0x0800, 0x0800}}});
    return list;
}

void add_queue(Stream& stream, uint8_t traffic_class, uint32_t priority, uint32_t ratio, uint32_t length) {
    Queue& queue = stream.queues.at(traffic_class);
    queue.exists = true;
    queue.priority = priority;
    queue.ratio = ratio;
    queue.length = length;
    queue.drop[1] = {40, 5, 90, 60};
    queue.drop[2] = {10, 10, 60, 100};
}

void add_streams(Parts& parts, int32_t port) {
    parts.qos.streams.reserve(64);
    Stream& strict = parts.add_stream(port, 0, {});
    strict.is_strict = true;
    strict.priority = 7;
    add_queue(strict, 7, 7, 1, 65536);
    add_queue(strict, 5, 5, 1, 65536);
    Stream& weighted = parts.add_stream(port, 1, {});
    weighted.priority = 3;
    weighted.min_rate = 20'000'000;
    weighted.min_burst = 16'000;
    weighted.max_rate = 80'000'000;
    weighted.max_burst = 32'000;
    add_queue(weighted, 3, 2, 4, 65536);
    add_queue(weighted, 1, 2, 1, 65536);
    add_queue(weighted, 0, 0, 1, 65536);
}

} // namespace

Parts all_qos() {
    Parts parts;
    parts.filters.learned_room = 100'000;
    for (int32_t number = 1; number <= 5; ++number) {
        Port& port = parts.add_port(number);
        port.counts_gap = number % 2 == 0;
        port.default_stream = 1;
        port.default_class = static_cast<uint8_t>(number % 2);
        port.policers[7] = {30'000'000, 32'000, 2};
        port.policers[1] = {60'000'000, 32'000, discards_excess};
    }
    for (int32_t number = 1; number <= 4; ++number)
        add_streams(parts, number);
    for (int32_t customer = 2; customer <= 4; ++customer) {
        const auto vid = static_cast<uint16_t>(10 * customer);
        if (vid != shared_vid) parts.add_vlan(vid);
    }
    parts.add_vlan(shared_vid);
    for (const uint16_t vid : std::array<uint16_t, 3>{20, 30, 40}) {
        parts.add_tagged(vid, 1);
        parts.add_untagged(vid, vid / 10);
    }
    parts.add_tagged(shared_vid, 2);
    for (const uint16_t vid : std::array<uint16_t, 3>{20, 30, 40})
        parts.bind_list(vid, vid / 10, vid, Marking::normal, rules());
    parts.qos.shapers = {{1, 95'000'000, 32'000}, {3, 40'000'000, 8'000}};
    Mirror& mirror = parts.add_mirror(1, MirrorSource::received, 3, 0, 5);
    mirror.is_filtered = true;
    mirror.stream = 0;
    mirror.traffic_class = 5;
    return parts;
}

Parts all_qos_changed() {
    Parts parts = all_qos();
    parts.qos.streams[1].queues[3].exists = false;
    parts.qos.streams[1].max_rate = 30'000'000;
    parts.qos.streams[2].is_strict = false;
    parts.qos.shapers = {{1, 50'000'000, 8'000}, {2, 20'000'000, 800}};
    parts.port(4).is_enabled = false;
    parts.vlan(30).learns = false;
    return parts;
}

void write_traffic(const std::string& file, const Traffic& traffic) {
    CaptureWriter writer(file);
    for (int32_t port = 1; port <= 4; ++port)
        writer.add_interface("port" + std::to_string(port));
    Random random(traffic.seed);
    int64_t time = traffic_begin;
    for (uint64_t i = 0; i < traffic.frames; ++i) {
        time += random.below(static_cast<uint32_t>(2 * traffic.mean_gap));
        const int32_t customer = 2 + static_cast<int32_t>(random.below(3));
        const bool is_downward = random.below(2) == 0;
        const int32_t from = is_downward ? 1 : customer;
        const int32_t to = is_downward ? customer : 1;
        Ipv4 packet;
        packet.source = 0x0a000000 + random.below(512);
        packet.tos = random.below(4) == 0 ? 0xb8 : 0;
        packet.destination_port = static_cast<uint16_t>(4000 + random.below(3000));
        const Bytes tags = is_downward ? tag(0x8100, static_cast<uint16_t>(10 * customer)) : Bytes{};
        const Mac destination = address(to, random.below(16));
        const Mac source = address(from, random.below(16));
        Bytes bytes = frame_of(destination, source, tags, 0x0800, packet_of(packet));
        bytes.resize(std::max<size_t>(traffic.length == 0 ? 60 + random.below(1455) : traffic.length, bytes.size()));
        if (random.below(2000) == 0) bytes.resize(random.below(64)); // stunted
        writer.write({bytes, {}, 0, time, static_cast<uint32_t>(from - 1), Direction::unknown, i, {}});
    }
    writer.close();
}

uint64_t play(const std::string& capture, const std::string& output, const Run& run, ReplayTotals* totals) {
    CaptureMerger captures;
    captures.add(capture);
    const Configuration first = all_qos().compile();
    const Configuration second = all_qos_changed().compile();
    State state;
    adopt(state, nullptr, first);
    Recorder recorder = output.empty() ? Recorder{} : Recorder::to_file(output, true);
    EgressOptions options;
    options.seed = run.seed;
    ReplayEngine engine(first, state, options, captures.next_time().value_or(0), recorder);
    int32_t port = 0;
    bool is_changed = !run.with_change;
    while (const CapturedFrame* const frame = captures.next(port)) {
        if (!is_changed && frame->time >= run.change_at) {
            engine.advance(run.change_at);
            adopt(state, &first, second);
            engine.reconfigure(second, run.change_at);
            is_changed = true;
        }
        engine.receive(port, *frame);
    }
    engine.drain();
    recorder.close();
    if (totals != nullptr) *totals = engine.totals();
    return engine.egress().waiting();
}

} // namespace replay_scene
