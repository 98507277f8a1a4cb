// Queues, early drops, schedulers and shapers.
#include "dataplane/egress.h"

#include <algorithm>
#include <bit>
#include <map>
#include <numeric>
#include <utility>

namespace dataplane {

namespace {

constexpr uint32_t nowhere = 0xffffffff; // no frame, queue, stream or line

// A frame in a queue.
struct Waiting {
    FrameHandle handle = 0;
    uint32_t length = 0;
    Nanoseconds since = 0;
    uint32_t next = nowhere; // behind it, or the next free place
};

// --- Token buckets ---

// Tokens are counted in bits times nanoseconds per second, so that a rate in bit/s times nanoseconds leaves no
// remainder.
constexpr int64_t tokens_per_byte = 8'000'000'000;
constexpr int64_t most_counted_bytes = 70'000; // of one frame

struct TokenBucket {
    uint32_t rate = 0; // bit/s; 0: there is no such bucket
    int64_t burst = 0; // tokens
    int64_t tokens = 0;
    Nanoseconds filled = 0;
    Nanoseconds full_after = 0; // it is full after so long, however deep it was

    bool is_there() const { return rate != 0; }

    // A wake-up is late by less than a nanosecond. What comes in that time is kept, else a bucket that has to be full
    // for each frame would lose it each time.
    int64_t room() const { return burst + rate; }

    void refill(Nanoseconds now) {
        const Nanoseconds passed = now - filled;
        filled = now;
        if (passed >= full_after)
            tokens = room();
        else
            tokens = std::min(room(), tokens + int64_t{rate} * passed);
    }

    // When a frame may pass: `now`, or later. A frame that is larger than the bucket needs a full one.
    Nanoseconds ready(Nanoseconds now, uint32_t bytes) {
        refill(now);
        const int64_t missing = std::min(bytes * tokens_per_byte, burst) - tokens;
        return missing <= 0 ? now : now + (missing + rate - 1) / rate;
    }

    void spend(Nanoseconds now, uint32_t bytes) {
        refill(now);
        tokens -= bytes * tokens_per_byte;
    }
};

TokenBucket make_bucket(uint32_t rate, uint32_t burst, Nanoseconds now) {
    TokenBucket bucket;
    bucket.rate = rate;
    bucket.burst = burst * tokens_per_byte;
    bucket.tokens = bucket.burst;
    bucket.filled = now;
    if (rate != 0) bucket.full_after = (bucket.burst + most_counted_bytes * tokens_per_byte) / rate + 1;
    return bucket;
}

// A bucket takes the place of another at a change of the configuration.
TokenBucket succeed(TokenBucket before, uint32_t rate, uint32_t burst, Nanoseconds now) {
    TokenBucket bucket = make_bucket(rate, burst, now);
    if (!before.is_there() || !bucket.is_there()) return bucket;
    before.refill(now);
    bucket.tokens = std::min(bucket.tokens, before.tokens);
    return bucket;
}

// --- Queues, streams and lines ---

struct QueueState {
    uint32_t head = nowhere;
    uint32_t tail = nowhere;
    uint32_t stream = nowhere; // its place in `Lines::streams`
    uint8_t bit = 0;           // in the stream
    uint8_t group = 0;         // likewise
    uint64_t start = 0;        // virtual time at which its first frame is due
    uint64_t finish = 0;       // virtual time at which the last one sent was done
    uint64_t cost = 1;         // virtual time of a byte
    uint64_t arrivals = 0;
    uint32_t number = 0; // for the random numbers
    std::array<DropPolicy, color_count> drop{};
};

// Queues of one priority in a stream, that share its time.
struct Group {
    uint8_t members = 0; // bit b: queue b
    uint64_t clock = 0;  // virtual time
};

constexpr size_t level_count = 9; // best effort, and above it the eight priorities of streams

struct StreamState {
    uint32_t key = 0; // best effort: of which port; else the stream's index
    uint32_t line = nowhere;
    uint32_t level = 0;
    bool counts_gap = false;
    uint8_t waiting = 0; // bit b: queue b has frames
    uint8_t group_count = 0;
    std::array<Group, class_count> groups{}; // the first with frames is served
    std::array<uint32_t, class_count> queues{};
    TokenBucket ceiling;
    TokenBucket guarantee;
    bool is_picked = false;        // what follows is known, until its queues change
    uint32_t picked = 0;           // the queue whose frame goes next
    uint32_t bytes = 0;            // of that frame, as rates count them
    Nanoseconds passes_at = 0;     // when the ceiling lets it pass
    Nanoseconds guaranteed_at = 0; // when the guaranteed rate has room for it; `never`: there is none
    uint64_t start = 0;            // as of a queue, among the streams of one level
    uint64_t finish = 0;
    uint32_t active_at = nowhere; // its place in the list of its level
};

struct Level {
    std::vector<uint32_t> active; // streams with frames
    uint64_t clock = 0;
};

struct Line {
    int32_t key = 0;
    TokenBucket shaper;
    Nanoseconds free_at = 0;
    bool is_held = false;     // until `resume`
    uint32_t active = 0;      // streams with frames
    uint32_t guarantees = 0;  // those of them that have a guaranteed rate
    uint32_t busy_levels = 0; // bit l: streams of level l have frames
    std::array<Level, level_count> levels{};
};

// What can be sent on a line: a stream; or none, and when to look again.
struct Choice {
    uint32_t stream = nowhere;
    Nanoseconds wake = never;
};

// --- Shares ---

constexpr uint64_t finest_share = uint64_t{1} << 40;

// What a byte costs in virtual time, so that ratios become shares: exactly, where their least common multiple allows,
// else to one part in a thousand.
std::vector<uint64_t> costs_of(const std::vector<uint32_t>& ratios) {
    uint64_t multiple = 1;
    for (const uint32_t ratio : ratios) {
        multiple = std::lcm(multiple, uint64_t{ratio});
        if (multiple > finest_share) break;
    }
    std::vector<uint64_t> costs;
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

// The wheel of virtual time would turn over one day: all that lies behind the clock is alike.
constexpr uint64_t turn_back_at = uint64_t{1} << 61;

uint64_t behind(uint64_t clock, uint64_t tag) {
    return tag > clock ? tag - clock : 0;
}

} // namespace

uint32_t random_number(uint64_t seed, uint32_t queue, uint64_t arrival) {
    const auto mix = [](uint64_t value) {
        value = (value ^ value >> 30) * 0xbf58476d1ce4e5b9;
        value = (value ^ value >> 27) * 0x94d049bb133111eb;
        return value ^ value >> 31;
    };
    constexpr uint64_t golden = 0x9e3779b97f4a7c15;
    const uint64_t of_queue = mix(seed + golden * (uint64_t{queue} + 1));
    return static_cast<uint32_t>(mix(of_queue + golden * (arrival + 1)) >> 32);
}

bool drops_early(const DropPolicy& policy, uint32_t fill, uint32_t length, uint32_t random) {
    const int64_t at = int64_t{fill} * 100;
    const int64_t low = int64_t{policy.min_threshold} * length;
    const int64_t high = int64_t{policy.max_threshold} * length;
    if (at < low) return false;
    if (at >= high) return true;
    // percent = min_drop + (max_drop - min_drop) * (at - low) / (high - low), compared with 24 of the random bits.
    const int64_t rise = int64_t{policy.max_drop} - int64_t{policy.min_drop};
    const int64_t share = int64_t{policy.min_drop} * (high - low) + rise * (at - low);
    return int64_t{random >> 8} * (100 * (high - low)) < share << 24;
}

struct Egress::Lines {
    explicit Lines(const EgressOptions& with) : options(with), frames(with.most_frames) {
        for (uint32_t place = 0; place < frames.size(); ++place)
            frames[place].next = place + 1 < frames.size() ? place + 1 : nowhere;
        free_frame = frames.empty() ? nowhere : 0;
        constexpr uint64_t bit_seconds = 8'000'000'000;
        if (options.line_rate != 0 && bit_seconds % options.line_rate == 0)
            byte_time = static_cast<Nanoseconds>(bit_seconds / options.line_rate);
    }

    EgressOptions options;
    std::vector<Waiting> frames;
    uint32_t free_frame = nowhere;
    uint32_t waiting = 0;
    std::vector<QueueView> views;
    std::vector<QueueState> queues;                         // by the places of `views`
    std::map<std::pair<int32_t, int32_t>, uint32_t> places; // by port, and stream and class, or -1 for best effort
    std::vector<StreamState> streams;
    std::vector<Line> lines;
    std::vector<Nanoseconds> next_looks;         // by line: when to look what it can send
    std::vector<uint32_t> best_effort;           // by PortIndex: place in `queues`
    std::array<uint32_t, 8192> queue_of_class{}; // by stream index and class, likewise; `nowhere`: there is none
    std::map<int32_t, uint32_t> line_of_port;    // by number
    Nanoseconds soonest = never;                 // of the next looks
    Nanoseconds byte_time = 0;                   // on the line; 0: no whole number of nanoseconds

    // --- Frames ---

    void push(uint32_t place, uint32_t length, FrameHandle handle, Nanoseconds time) {
        QueueState& queue = queues[place];
        QueueView& view = views[place];
        const uint32_t at = free_frame;
        free_frame = frames[at].next;
        frames[at] = {handle, length, time, nowhere};
        if (queue.tail == nowhere)
            queue.head = at;
        else
            frames[queue.tail].next = at;
        queue.tail = at;
        ++waiting;
        ++view.frames;
        view.fill += length;
        view.highest_fill = std::max(view.highest_fill, view.fill);
    }

    Waiting pop(uint32_t place) {
        QueueState& queue = queues[place];
        QueueView& view = views[place];
        const uint32_t at = queue.head;
        const Waiting frame = frames[at];
        queue.head = frame.next;
        if (queue.head == nowhere) queue.tail = nowhere;
        frames[at].next = free_frame;
        free_frame = at;
        --waiting;
        --view.frames;
        view.fill -= frame.length;
        return frame;
    }

    uint32_t counted(const StreamState& stream, uint32_t queue) const {
        return counted_bytes(frames[queues[queue].head].length, stream.counts_gap);
    }

    // --- Which queue of a stream ---

    uint32_t pick(const StreamState& stream) const {
        for (size_t group = 0;; ++group) {
            uint32_t candidates = stream.groups[group].members & stream.waiting;
            if (candidates == 0) continue;
            uint32_t best = stream.queues[static_cast<size_t>(std::countr_zero(candidates))];
            while ((candidates &= candidates - 1) != 0) {
                const uint32_t other = stream.queues[static_cast<size_t>(std::countr_zero(candidates))];
                if (queues[other].start < queues[best].start) best = other;
            }
            return best;
        }
    }

    void begin_waiting(uint32_t place) {
        QueueState& queue = queues[place];
        StreamState& stream = streams[queue.stream];
        if (stream.waiting == 0) activate(queue.stream);
        stream.waiting = static_cast<uint8_t>(stream.waiting | queue.bit);
        stream.is_picked = false;
        queue.start = std::max(stream.groups[queue.group].clock, queue.finish);
    }

    // Books a frame of that many bytes to the queue that it was taken from.
    void charge_queue(StreamState& stream, uint32_t place, uint32_t bytes) {
        QueueState& queue = queues[place];
        Group& group = stream.groups[queue.group];
        group.clock = std::max(group.clock, queue.start);
        queue.finish = queue.start + bytes * queue.cost;
        queue.start = queue.finish;
        if (queue.head == nowhere) stream.waiting = static_cast<uint8_t>(stream.waiting & ~queue.bit);
        if (group.clock > turn_back_at) turn_back(stream, group);
    }

    void turn_back(const StreamState& stream, Group& group) {
        for (uint32_t members = group.members; members != 0; members &= members - 1) {
            QueueState& queue = queues[stream.queues[static_cast<size_t>(std::countr_zero(members))]];
            queue.start = behind(group.clock, queue.start);
            queue.finish = behind(group.clock, queue.finish);
        }
        group.clock = 0;
    }

    // --- Which stream of a line ---

    void activate(uint32_t place) {
        StreamState& stream = streams[place];
        Line& line = lines[stream.line];
        Level& level = line.levels[stream.level];
        stream.active_at = static_cast<uint32_t>(level.active.size());
        level.active.push_back(place);
        stream.start = std::max(level.clock, stream.finish);
        line.busy_levels |= 1U << stream.level;
        ++line.active;
        if (stream.guarantee.is_there()) ++line.guarantees;
    }

    void deactivate(StreamState& stream) {
        Line& line = lines[stream.line];
        std::vector<uint32_t>& active = line.levels[stream.level].active;
        active[stream.active_at] = active.back();
        streams[active.back()].active_at = stream.active_at;
        active.pop_back();
        if (active.empty()) line.busy_levels &= ~(1U << stream.level);
        stream.active_at = nowhere;
        --line.active;
        if (stream.guarantee.is_there()) --line.guarantees;
    }

    bool goes_before(uint32_t place, uint32_t other) const {
        if (other == nowhere) return true;
        const uint64_t start = streams[place].start;
        const uint64_t start_of_other = streams[other].start;
        return start != start_of_other ? start < start_of_other : streams[place].key < streams[other].key;
    }

    // Finds the stream's next frame, and when it may go. Both stay as they are while nothing is put in front or taken.
    void look_at(StreamState& stream, Nanoseconds now) const {
        if (stream.is_picked) return;
        stream.is_picked = true;
        stream.picked = pick(stream);
        stream.bytes = counted(stream, stream.picked);
        stream.passes_at = stream.ceiling.is_there() ? stream.ceiling.ready(now, stream.bytes) : now;
        stream.guaranteed_at = stream.guarantee.is_there() ? stream.guarantee.ready(now, stream.bytes) : never;
    }

    Choice choose(Line& line, Nanoseconds now) {
        Choice excess;
        for (uint32_t left = line.busy_levels; left != 0;) {
            const auto highest = static_cast<uint32_t>(std::bit_width(left) - 1);
            left &= ~(1U << highest);
            Level& level = line.levels[highest];
            uint32_t guaranteed = nowhere;
            uint32_t other = nowhere;
            for (const uint32_t place : level.active) {
                StreamState& stream = streams[place];
                look_at(stream, now);
                if (stream.passes_at > now) {
                    // While its ceiling holds it, it earns no claim on the time of the others.
                    stream.start = std::max(stream.start, level.clock);
                    excess.wake = std::min(excess.wake, stream.passes_at);
                } else if (stream.guaranteed_at <= now) {
                    if (goes_before(place, guaranteed)) guaranteed = place;
                } else if (goes_before(place, other)) {
                    other = place;
                }
            }
            if (guaranteed != nowhere) return {guaranteed, never};
            if (excess.stream == nowhere) excess.stream = other;
            if (excess.stream != nowhere && line.guarantees == 0) break;
        }
        return excess;
    }

    // --- Sending ---

    Nanoseconds time_on_line(uint32_t length) const {
        if (options.line_rate == 0) return 0;
        if (byte_time != 0) return counted_bytes(length, true) * byte_time;
        const uint64_t bits = uint64_t{counted_bytes(length, true)} * 8;
        return static_cast<Nanoseconds>((bits * 1'000'000'000 + options.line_rate - 1) / options.line_rate);
    }

    // Sends a frame where one may go now. Sets when to look again.
    void serve(uint32_t place, const EgressSink& sink) {
        Line& line = lines[place];
        Nanoseconds& next = next_looks[place];
        const Nanoseconds now = next;
        const Choice choice = choose(line, now);
        next = choice.wake;
        if (choice.stream == nowhere) return;
        StreamState& stream = streams[choice.stream];
        const uint32_t bytes = stream.bytes;
        if (line.shaper.is_there()) {
            next = line.shaper.ready(now, bytes);
            if (next > now) return;
        }
        const Waiting& first = frames[queues[stream.picked].head];
        if (!sink.send(sink.context, {first.handle, now, now - first.since, stream.picked})) {
            line.is_held = true;
            next = never;
            return;
        }
        book(line, stream, bytes, now);
        next = look_after(line, now);
    }

    // The line is free then, and its shaper may let the smallest frame pass.
    static Nanoseconds look_after(Line& line, Nanoseconds now) {
        if (line.active == 0) return never;
        constexpr uint32_t smallest_frame = 64;
        const Nanoseconds ready = line.shaper.is_there() ? line.shaper.ready(now, smallest_frame) : now;
        return std::max(line.free_at, ready);
    }

    void book(Line& line, StreamState& stream, uint32_t bytes, Nanoseconds now) {
        const Waiting sent = pop(stream.picked);
        views[stream.picked].sent.add(sent.length);
        if (line.shaper.is_there()) line.shaper.spend(now, bytes);
        if (stream.ceiling.is_there()) stream.ceiling.spend(now, bytes);
        if (stream.guaranteed_at <= now) stream.guarantee.spend(now, bytes);
        stream.is_picked = false;
        Level& level = line.levels[stream.level];
        level.clock = std::max(level.clock, stream.start);
        stream.finish = stream.start + bytes;
        stream.start = stream.finish;
        charge_queue(stream, stream.picked, bytes);
        if (stream.waiting == 0) deactivate(stream);
        line.free_at = now + time_on_line(sent.length);
    }

    void find_soonest() {
        soonest = never;
        for (const Nanoseconds next : next_looks)
            soonest = std::min(soonest, next);
    }

    // --- Taking over a configuration ---

    void adopt(const Configuration& configuration, Nanoseconds time, const EgressSink& sink);
    uint32_t place_of(const QueueName& name);
    uint32_t add_line(const Port& port, const Qos& qos, const std::vector<Line>& before, Nanoseconds time);
    void add_best_effort(const Port& port, uint32_t line);
    void add_stream(const Stream& stream, const Port& port, uint32_t line, const std::vector<StreamState>& before,
                    Nanoseconds time);
    void add_queue(const QueueName& name, const Queue& queue, uint32_t stream, uint32_t bit);
    void add_groups(const Stream& stream, StreamState& state);
    void remove_frames(uint32_t place, const EgressSink& sink);
};

namespace {

// An interface carries all ports that are bound to it; a port without one is a line of its own.
int32_t line_key(const Port& port) {
    return port.type == PortType::ether ? port.ether : -1 - port.number;
}

// As a queue is when it has just been made (assumed).
Queue best_effort_queue() {
    Queue queue;
    queue.exists = true;
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
    line.shaper = succeed(line.shaper, shaper ? shaper->rate : 0, shaper ? shaper->burst : 0, time);
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

Egress::Egress(const EgressOptions& options) : lines_(std::make_unique<Lines>(options)) {}
Egress::~Egress() = default;
Egress::Egress(Egress&&) noexcept = default;
Egress& Egress::operator=(Egress&&) noexcept = default;

void Egress::adopt(const Configuration& configuration, Nanoseconds time, const EgressSink& sink) {
    lines_->adopt(configuration, time, sink);
}

uint32_t Egress::queue_of(const Output& output) const {
    if (output.has_queue) {
        const uint32_t place = lines_->queue_of_class[output.stream_index * size_t{class_count} + output.traffic_class];
        if (place != nowhere) return place;
    }
    return lines_->best_effort[output.port];
}

DropReason Egress::enqueue(const Output& output, uint32_t length, FrameHandle handle, Nanoseconds time) {
    Lines& all = *lines_;
    const uint32_t place = queue_of(output);
    QueueState& queue = all.queues[place];
    QueueView& view = all.views[place];
    const uint64_t arrival = queue.arrivals++;
    const DropPolicy& policy = queue.drop[output.color];
    // Most frames find less than the lower threshold, and need no number.
    if (uint64_t{view.fill} * 100 >= uint64_t{policy.min_threshold} * view.length && !policy.is_tail_drop() &&
        drops_early(policy, view.fill, view.length, random_number(all.options.seed, queue.number, arrival))) {
        view.early[output.color].add(length);
        return DropReason::red;
    }
    if (view.fill + length > view.length) {
        view.full[output.color].add(length);
        return DropReason::queue_full;
    }
    if (all.free_frame == nowhere) return DropReason::no_buffer;

    const bool is_first = queue.head == nowhere;
    all.push(place, length, handle, time);
    StreamState& stream = all.streams[queue.stream];
    if (is_first) all.begin_waiting(place);
    const Line& line = all.lines[stream.line];
    if (is_first && !line.is_held) {
        Nanoseconds& next = all.next_looks[stream.line];
        next = std::min(next, std::max(line.free_at, time));
        all.soonest = std::min(all.soonest, next);
    }
    return DropReason::none;
}

void Egress::run_before(Nanoseconds time, const EgressSink& sink) {
    Lines& all = *lines_;
    while (all.soonest < time) {
        uint32_t line = 0;
        while (all.next_looks[line] != all.soonest)
            ++line;
        all.serve(line, sink);
        all.find_soonest();
    }
}

Nanoseconds Egress::next_time() const {
    return lines_->soonest;
}

void Egress::resume(int32_t port, Nanoseconds time) {
    Lines& all = *lines_;
    const auto found = all.line_of_port.find(port);
    if (found == all.line_of_port.end()) return;
    Line& line = all.lines[found->second];
    if (!line.is_held) return;
    line.is_held = false;
    all.next_looks[found->second] = line.active != 0 ? std::max(line.free_at, time) : never;
    all.find_soonest();
}

uint32_t Egress::waiting() const {
    return lines_->waiting;
}

const std::vector<QueueView>& Egress::queues() const {
    return lines_->views;
}

} // namespace dataplane
