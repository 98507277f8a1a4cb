// Frames wait, and leave in the order of the scheduler.
#include "dataplane/egress_lines.h"

#include <bit>
#include <utility>

namespace dataplane {

namespace {

// The wheel of virtual time would turn over one day: all that lies behind the clock is alike.
constexpr uint64_t turn_back_at = uint64_t{1} << 61;

uint64_t behind(uint64_t clock, uint64_t tag) {
    return tag > clock ? tag - clock : 0;
}

} // namespace

// --- Frames ---

uint32_t Egress::Lines::take_free_frame() {
    if (free_frame == nowhere) {
        frames.emplace_back();
        return static_cast<uint32_t>(frames.size() - 1);
    }
    return std::exchange(free_frame, frames[free_frame].next);
}

void Egress::Lines::push(uint32_t place, uint32_t length, FrameHandle handle, Nanoseconds time) {
    QueueState& queue = queues[place];
    QueueView& view = views[place];
    const uint32_t at = take_free_frame();
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

auto Egress::Lines::pop(uint32_t place) -> Waiting {
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

uint32_t Egress::Lines::counted(const StreamState& stream, uint32_t queue) const {
    return counted_bytes(frames[queues[queue].head].length, stream.counts_gap);
}

// --- Which queue of a stream ---

uint32_t Egress::Lines::pick(const StreamState& stream) const {
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

void Egress::Lines::begin_waiting(uint32_t place) {
    QueueState& queue = queues[place];
    StreamState& stream = streams[queue.stream];
    if (stream.waiting == 0) activate(queue.stream);
    stream.waiting = static_cast<uint8_t>(stream.waiting | queue.bit);
    stream.is_picked = false;
    queue.start = std::max(stream.groups[queue.group].clock, queue.finish);
}

void Egress::Lines::charge_queue(StreamState& stream, uint32_t place, uint32_t bytes) {
    QueueState& queue = queues[place];
    Group& group = stream.groups[queue.group];
    group.clock = std::max(group.clock, queue.start);
    queue.finish = queue.start + bytes * queue.cost;
    queue.start = queue.finish;
    if (queue.head == nowhere) stream.waiting = static_cast<uint8_t>(stream.waiting & ~queue.bit);
    if (group.clock > turn_back_at) turn_back(stream, group);
}

void Egress::Lines::turn_back(const StreamState& stream, Group& group) {
    for (uint32_t members = group.members; members != 0; members &= members - 1) {
        QueueState& queue = queues[stream.queues[static_cast<size_t>(std::countr_zero(members))]];
        queue.start = behind(group.clock, queue.start);
        queue.finish = behind(group.clock, queue.finish);
    }
    group.clock = 0;
}

// --- Which stream of a line ---

void Egress::Lines::activate(uint32_t place) {
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

void Egress::Lines::deactivate(StreamState& stream) {
    Line& line = lines[stream.line];
    std::vector<uint32_t>& active = line.levels[stream.level].active;
    active[stream.active_at] = active.back();
    streams[active.back()].active_at = stream.active_at;
    active.pop_back();
    if (active.empty()) line.busy_levels &= ~(1U << stream.level);
    --line.active;
    if (stream.guarantee.is_there()) --line.guarantees;
}

bool Egress::Lines::goes_before(uint32_t place, uint32_t other) const {
    if (other == nowhere) return true;
    const uint64_t start = streams[place].start;
    const uint64_t start_of_other = streams[other].start;
    return start != start_of_other ? start < start_of_other : streams[place].key < streams[other].key;
}

void Egress::Lines::look_at(StreamState& stream, Nanoseconds now) const {
    if (stream.is_picked) return;
    stream.is_picked = true;
    stream.picked = pick(stream);
    stream.bytes = counted(stream, stream.picked);
    stream.passes_at = stream.ceiling.is_there() ? stream.ceiling.ready(now, stream.bytes) : now;
    stream.guaranteed_at = stream.guarantee.is_there() ? stream.guarantee.ready(now, stream.bytes) : never;
}

auto Egress::Lines::choose(Line& line, Nanoseconds now) -> Choice {
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

Nanoseconds Egress::Lines::time_on_line(uint32_t length) const {
    if (options.line_rate == 0) return 0;
    if (byte_time != 0) return counted_bytes(length, true) * byte_time;
    const uint64_t bits = uint64_t{counted_bytes(length, true)} * 8;
    return static_cast<Nanoseconds>((bits * 1'000'000'000 + options.line_rate - 1) / options.line_rate);
}

void Egress::Lines::serve(uint32_t place, const EgressSink& sink) {
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
    const Waiting& second = first.next == nowhere ? first : frames[first.next];
    if (second.next != nowhere) __builtin_prefetch(&frames[second.next]);
    if (!sink.send(sink.context, {first.handle, now, now - first.since, stream.picked, second.handle})) {
        line.is_held = true;
        next = never;
        return;
    }
    book(line, stream, bytes, now);
    next = look_after(line, now);
}

Nanoseconds Egress::Lines::look_after(Line& line, Nanoseconds now) {
    if (line.active == 0) return never;
    constexpr uint32_t smallest_frame = 64;
    const Nanoseconds ready = line.shaper.is_there() ? line.shaper.ready(now, smallest_frame) : now;
    return std::max(line.free_at, ready);
}

void Egress::Lines::book(Line& line, StreamState& stream, uint32_t bytes, Nanoseconds now) {
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

void Egress::Lines::find_soonest() {
    soonest = never;
    for (const Nanoseconds next : next_looks)
        soonest = std::min(soonest, next);
}

// --- As others see it ---

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
    Lines::QueueState& queue = all.queues[place];
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
    if (all.waiting == all.options.most_frames) return DropReason::no_buffer;

    const bool is_first = queue.head == nowhere;
    all.push(place, length, handle, time);
    Lines::StreamState& stream = all.streams[queue.stream];
    if (is_first) all.begin_waiting(place);
    const Lines::Line& line = all.lines[stream.line];
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
    Lines::Line& line = all.lines[found->second];
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
