// Lines, streams and queues as a configuration has them.
#include "dataplane/egress_lines.h"

#include <algorithm>
#include <numeric>
#include <utility>

namespace dataplane {

namespace {

// --- Shares ---

constexpr uint64_t finest_share = uint64_t{1} << 40;

// What a byte costs in virtual time, so that ratios become shares: exactly, where their least common multiple allows,
// else to one part in a thousand.
std::vector<uint64_t> costs_of(const std::vector<uint32_t>& ratios) {
    uint64_t multiple = 1;
    for (const uint32_t ratio : ratios) {
        const uint64_t factor = ratio / std::gcd(multiple, uint64_t{ratio});
        multiple = factor <= finest_share / multiple ? multiple * factor : finest_share + 1;
        if (multiple > finest_share) break;
    }
    std::vector<uint64_t> costs;
    costs.reserve(ratios.size());
    for (const uint32_t ratio : ratios)
        costs.push_back(multiple <= finest_share ? multiple / ratio : (finest_share + ratio / 2) / ratio);
    return costs;
}

// Queues of one rank share; a higher rank goes first. A share of 0 gets what the others of its priority leave.
uint32_t rank_of(const Stream& stream, uint32_t traffic_class) {
    const Queue& queue = stream.queues[traffic_class];
    if (stream.is_strict) return queue.priority * class_count + traffic_class;
    return queue.priority * 2 + (queue.ratio != 0 ? 1 : 0);
}

// --- Lines ---

// An interface carries all ports that are bound to it; a port without one is a line of its own.
int32_t line_key(const Port& port) {
    return port.type == PortType::ether ? port.ether : -1 - port.number;
}

// As a queue is when it has just been made (assumed).
Queue best_effort_queue() {
    Queue queue;
    queue.length = 16384;
    return queue;
}

} // namespace

uint32_t Egress::Lines::place_of(const QueueName& name) {
    const int32_t number = name.is_best_effort ? -1 : name.stream_index * class_count + name.traffic_class;
    const auto [found, is_new] = places.try_emplace({name.port, number}, static_cast<uint32_t>(views.size()));
    if (is_new) {
        views.emplace_back().name = name;
        queues.emplace_back().number = static_cast<uint32_t>(number);
    }
    return found->second;
}

uint32_t Egress::Lines::add_line(const Port& port, const Qos& qos, const std::vector<Line>& before, Nanoseconds time) {
    const int32_t key = line_key(port);
    const auto has_key = [key](const Line& line) { return line.key == key; };
    const auto found = std::find_if(lines.begin(), lines.end(), has_key);
    if (found != lines.end()) return static_cast<uint32_t>(found - lines.begin());

    Line line;
    line.key = key;
    line.free_at = time;
    const auto old = std::find_if(before.begin(), before.end(), has_key);
    if (old != before.end()) {
        line.shaper = old->shaper;
        line.free_at = std::max(time, old->free_at);
        line.is_held = old->is_held;
    }
    const EtherShaper* shaper = port.type == PortType::ether ? qos.find_shaper(port.ether) : nullptr;
    line.shaper =
        succeed(line.shaper, shaper != nullptr ? shaper->rate : 0, shaper != nullptr ? shaper->burst : 0, time);
    lines.push_back(std::move(line));
    return static_cast<uint32_t>(lines.size() - 1);
}

void Egress::Lines::add_queue(const QueueName& name, const Queue& queue, uint32_t stream, uint32_t bit) {
    const uint32_t place = place_of(name);
    views[place].exists = true;
    views[place].length = queue.length;
    QueueState& state = queues[place];
    state.stream = stream;
    state.bit = static_cast<uint8_t>(1U << bit);
    state.start = 0;
    state.finish = 0;
    state.cost = 1;
    state.group = 0;
    state.drop = queue.drop;
    streams[stream].queues[bit] = place;
    if (!name.is_best_effort) queue_of_class[name.stream_index * size_t{class_count} + name.traffic_class] = place;
}

void Egress::Lines::add_best_effort(const Port& port, uint32_t line) {
    StreamState state;
    state.key = static_cast<uint32_t>(port.number);
    state.line = line;
    state.counts_gap = port.counts_gap;
    state.group_count = 1;
    state.groups[0].members = 1;
    streams.push_back(state);
    QueueName name;
    name.port = port.number;
    add_queue(name, best_effort_queue(), static_cast<uint32_t>(streams.size() - 1), 0);
    best_effort.push_back(place_of(name));
}

// Sorts the queues of a stream into groups of one rank each, the highest first, and shares the time within each.
void Egress::Lines::add_groups(const Stream& stream, StreamState& state) {
    std::map<uint32_t, std::vector<uint32_t>, std::greater<>> classes;
    for (uint32_t traffic_class = 0; traffic_class < class_count; ++traffic_class)
        if (stream.queues[traffic_class].exists) classes[rank_of(stream, traffic_class)].push_back(traffic_class);
    for (const auto& [rank, members] : classes) {
        std::vector<uint32_t> ratios;
        for (const uint32_t member : members)
            ratios.push_back(std::max(stream.queues[member].ratio, 1U));
        const std::vector<uint64_t> costs = costs_of(ratios);
        for (size_t i = 0; i < members.size(); ++i) {
            QueueState& queue = queues[state.queues[members[i]]];
            queue.cost = costs[i];
            queue.group = state.group_count;
            state.groups[state.group_count].members |= queue.bit;
        }
        ++state.group_count;
    }
}

void Egress::Lines::add_stream(const Stream& stream, const Port& port, uint32_t line,
                               const std::vector<StreamState>& before, Nanoseconds time) {
    StreamState state;
    state.key = stream.index;
    state.line = line;
    state.level = 1 + std::min(stream.priority, uint32_t{level_count - 2});
    state.counts_gap = port.counts_gap;
    // Best effort of the ports came first, then the streams by index.
    const auto old = std::partition_point(before.begin(), before.end(), [&](const StreamState& other) {
        return other.level == 0 || other.key < state.key;
    });
    if (old != before.end() && old->key == state.key) {
        state.ceiling = old->ceiling;
        state.guarantee = old->guarantee;
    }
    state.ceiling = succeed(state.ceiling, stream.max_rate, stream.max_burst, time);
    state.guarantee = succeed(state.guarantee, stream.min_rate, stream.min_burst, time);
    streams.push_back(state);
    const auto place = static_cast<uint32_t>(streams.size() - 1);
    for (uint32_t traffic_class = 0; traffic_class < class_count; ++traffic_class)
        if (stream.queues[traffic_class].exists)
            add_queue({port.number, false, stream.index, static_cast<uint8_t>(traffic_class)},
                      stream.queues[traffic_class], place, traffic_class);
    add_groups(stream, streams[place]);
}

void Egress::Lines::remove_frames(uint32_t place, const EgressSink& sink) {
    while (queues[place].head != nowhere) {
        const Waiting frame = pop(place);
        views[place].removed.add(frame.length);
        sink.drop(sink.context, frame.handle, DropReason::queue_removed);
    }
}

void Egress::Lines::adopt(const Configuration& configuration, Nanoseconds time, const EgressSink& sink) {
    const std::vector<Line> lines_before = std::exchange(lines, {});
    const std::vector<StreamState> streams_before = std::exchange(streams, {});
    for (uint32_t place = 0; place < views.size(); ++place) {
        views[place].exists = false;
        queues[place].stream = nowhere;
    }
    best_effort.clear();
    line_of_port.clear();
    queue_of_class.fill(nowhere);

    const std::vector<Port>& ports = configuration.ports->ports;
    for (const Port& port : ports) {
        const uint32_t line = add_line(port, *configuration.qos, lines_before, time);
        line_of_port[port.number] = line;
        add_best_effort(port, line);
    }
    for (const Stream& stream : configuration.qos->streams)
        if (stream.port < ports.size())
            add_stream(stream, ports[stream.port], line_of_port[ports[stream.port].number], streams_before, time);

    for (uint32_t place = 0; place < views.size(); ++place) {
        const PortIndex port = configuration.ports->find(views[place].name.port);
        const bool can_send = views[place].exists && port != no_port && ports[port].is_enabled;
        if (!can_send) remove_frames(place, sink);
        if (queues[place].head != nowhere) begin_waiting(place);
    }
    next_looks.clear();
    for (const Line& line : lines)
        next_looks.push_back(line.is_held || line.active == 0 ? never : line.free_at);
    find_soonest();
}

} // namespace dataplane
