// The live switch.
#include "companion/live/live_switch.h"

#include <sqlite3.h>
#include <sys/signalfd.h>

#include <algorithm>
#include <csignal>
#include <ctime>
#include <iostream>

using namespace dataplane;

namespace live {

namespace {

constexpr Nanoseconds millisecond = 1'000'000;
constexpr Nanoseconds second = 1000 * millisecond;

constexpr size_t frames_a_turn = 64;                       // of a port, so that none starves the others
constexpr Nanoseconds longest_between_looks = millisecond; // at signals, links and the like, under traffic
constexpr Nanoseconds between_writes = 200 * millisecond;  // of what was learned
constexpr Nanoseconds between_parts = 10 * millisecond;    // of one write: a sentence may come in
constexpr size_t entries_a_write = 250;                    // a sentence that comes then waits some 2 ms
constexpr Nanoseconds between_publications = 200 * millisecond;
constexpr Nanoseconds between_tries = millisecond / 4; // where the store is locked
constexpr size_t aged_a_turn = 256;
constexpr uint32_t most_waiting = 1U << 16;

Descriptor open_signals() {
    sigset_t signals;
    sigemptyset(&signals);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&signals, signal);
    return Descriptor(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK));
}

int64_t wall_clock() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    return time.tv_sec * second + time.tv_nsec;
}

Count sum_of(const std::array<Count, color_count>& by_color) {
    Count sum;
    for (const Count& one : by_color) {
        sum.frames += one.frames;
        sum.bytes += one.bytes;
    }
    return sum;
}

QueueCount count_of(const QueueView& view) {
    QueueCount count;
    count.port = view.name.port;
    count.stream_index = view.name.stream_index;
    count.traffic_class = view.name.traffic_class;
    count.is_best_effort = view.name.is_best_effort ? 1 : 0;
    count.length = view.length;
    count.fill = view.fill;
    count.highest_fill = view.highest_fill;
    count.frames = view.frames;
    count.sent = view.sent;
    count.full = sum_of(view.full);
    count.early = sum_of(view.early);
    count.removed = view.removed;
    return count;
}

// A sentence has the store to itself for some tenths of a millisecond.
int wait_briefly(void* /*unused*/, int attempt) {
    constexpr int attempts = 10;
    constexpr timespec pause{.tv_sec = 0, .tv_nsec = 50'000};
    if (attempt == attempts) return 0;
    nanosleep(&pause, nullptr);
    return 1;
}

// Whether queues and lines are the same for both.
bool has_same_lines(const Ports& one, const Ports& other) {
    return std::equal(one.ports.begin(), one.ports.end(), other.ports.begin(), other.ports.end(),
                      [](const Port& port, const Port& its) {
                          return port.number == its.number && port.ether == its.ether && port.type == its.type &&
                                 port.is_enabled == its.is_enabled && port.counts_gap == its.counts_gap;
                      });
}

bool has_seen_frames(const QueueCount& queue) {
    return queue.sent.frames + queue.full.frames + queue.early.frames + queue.removed.frames + queue.frames != 0;
}

} // namespace

LiveSwitch::LiveSwitch(const LiveOptions& chosen, std::vector<OpenPort> opened)
    : options(chosen), database(options.store), reader(database), watch(options.store), counters(options.store),
      now(monotonic_now()), state(reader.make_state(now)),
      egress({.seed = 0, .line_rate = options.line_rate, .most_frames = most_waiting}),
      recorder(options.record.empty() ? Recorder() : Recorder::to_file(options.record, true)),
      wall_offset(wall_clock() - now) {
    sink.context = this;
    sink.send = [](void* context, const Departure& departure) {
        return static_cast<LiveSwitch*>(context)->depart(departure);
    };
    sink.drop = [](void* context, FrameHandle handle, DropReason) {
        static_cast<LiveSwitch*>(context)->waiting.give_back(handle);
    };
    for (OpenPort& port : opened) {
        BoundPort& bound = ports.emplace_back(BoundPort{std::move(port), no_port, false, 0, {}});
        bound.count.port = bound.open.prepared.port;
        const std::string& name = bound.open.prepared.interface;
        name.copy(bound.count.interface.data(), bound.count.interface.size() - 1);
    }
    count.process = getpid();
    count.has_priority = options.has_priority ? 1 : 0;
    count.started = wall_clock();
    sqlite3_busy_handler(database.handle(), wait_briefly, nullptr);
    state.learned.note_changes();
    take_configuration();
    look_at_links();
    publish();
}

void LiveSwitch::run(int guard) {
    const Descriptor signals = open_signals();
    watch_everything(guard);
    events.watch(signals.get(), [this] { is_ending = true; });
    while (!is_ending) {
        now = monotonic_now();
        const bool is_busy = turn();
        keep_house();
        if (!is_busy)
            events.wait(next_deadline());
        else if (now >= look_at_events)
            events.poll();
        if (!is_busy || now >= look_at_events) look_at_events = now + longest_between_looks;
    }
    write_all_learned();
    publish();
    recorder.close();
}

void LiveSwitch::watch_everything(int guard) {
    for (BoundPort& port : ports)
        events.watch(
            port.open.interface.descriptor(), [] {}, [&port] { port.open.interface.clear_trouble(); });
    events.watch(watch.descriptor(), [this] { watch.clear(); });
    events.watch(links.descriptor(), [this] { follow_links(); });
    events.watch(guard, [this] { is_ending = true; });
}

// --- Frames ---

// Takes what has come, sends what is due. Returns whether anything came.
bool LiveSwitch::turn() {
    bool has_come = false;
    for (BoundPort& port : ports) {
        port.due = port.open.interface.waiting(frames_a_turn);
        has_come = has_come || port.due > 0;
    }
    // Behind that, as a frame that comes from here on may follow a sentence that is not in this look at the store.
    follow_store();
    for (BoundPort& port : ports)
        for (; port.due > 0; --port.due)
            receive(port, port.open.interface.next());
    if (egress.next_time() <= now) egress.run_before(now + 1, sink);
    flush();
    return has_come;
}

void LiveSwitch::receive(BoundPort& from, std::span<const uint8_t> frame) {
    ++frame_number;
    from.count.received.add(static_cast<uint32_t>(frame.size()));
    if (from.place == no_port) { // bound in advance: until a sentence creates it, it is as good as disabled
        outcome.outputs.clear();
        outcome.verdict = Verdict::dropped;
        outcome.reason = DropReason::port_disabled;
    } else {
        forward(taken, state, {from.place, frame, now}, outcome);
    }
    count_outcome(from);
    fates.clear();
    for (const Output& output : outcome.outputs)
        fates.push_back(put(output, from, frame));
    if (recorder.is_recording()) record(from, frame);
}

void LiveSwitch::count_outcome(BoundPort& from) {
    const bool is_dropped = outcome.verdict == Verdict::dropped;
    ++count.verdicts[static_cast<size_t>(outcome.verdict)];
    if (is_dropped) ++from.count.dropped[static_cast<size_t>(outcome.reason)];
    count.copies += outcome.outputs.size() + (is_dropped ? 1 : 0) - 1;
}

OutputFate LiveSwitch::put(const Output& output, const BoundPort& from, std::span<const uint8_t> frame) {
    BoundPort* const to = bound_to(output.port);
    if (to == nullptr) return {}; // ends at the switch itself
    const std::span<const uint8_t> head(output.head.data(), output.head_length);
    const std::span<const uint8_t> rest = frame.subspan(output.skip);
    if (to->may_wait || output.has_queue) return enqueue(output, from, head, rest);
    to->count.sent.add(static_cast<uint32_t>(head.size() + rest.size()));
    to->open.interface.put(head, rest);
    return {DropReason::none, recorder.is_recording() ? egress.queue_of(output) : 0};
}

OutputFate LiveSwitch::enqueue(const Output& output, const BoundPort& from, std::span<const uint8_t> head,
                               std::span<const uint8_t> rest) {
    const FrameHandle handle = waiting.keep(head, rest);
    const auto length = static_cast<uint32_t>(head.size() + rest.size());
    const DropReason reason = egress.enqueue(output, length, handle, now);
    if (reason == DropReason::no_buffer) ++count.no_buffer;
    if (reason != DropReason::none) waiting.give_back(handle);
    if (!recorder.is_recording()) return {};
    trails.resize(std::max<size_t>(trails.size(), handle + size_t{1}));
    trails[handle] = {frame_number, recorder.interface_of(from.place), output.mirror};
    return {reason, egress.queue_of(output)};
}

bool LiveSwitch::depart(const Departure& departure) {
    const PortIndex place = taken.ports->find(egress.queues()[departure.queue].name.port);
    leaving.push_back(departure.handle);
    BoundPort* const to = bound_to(place);
    if (to == nullptr) return true;
    const std::span<const uint8_t> bytes = waiting.bytes(departure.handle);
    to->count.sent.add(static_cast<uint32_t>(bytes.size()));
    to->open.interface.put({}, bytes);
    if (recorder.is_recording()) record_departure(departure, place);
    return true;
}

void LiveSwitch::flush() {
    for (BoundPort& port : ports)
        port.open.interface.flush();
    for (BoundPort& port : ports)
        port.open.interface.release();
    for (const FrameHandle handle : leaving)
        waiting.give_back(handle);
    leaving.clear();
}

// --- The record ---

void LiveSwitch::record(const BoundPort& from, std::span<const uint8_t> frame) {
    CapturedFrame captured;
    captured.bytes = frame;
    captured.original_length = static_cast<uint32_t>(frame.size());
    captured.time = now + wall_offset;
    if (from.place == no_port)
        return recorder.write_stray("port" + std::to_string(from.count.port), captured, frame_number);
    recorder.write_received(from.place, captured, frame_number, outcome, fates, egress);
    for (const Output& output : outcome.outputs) {
        const BoundPort* const to = bound_to(output.port);
        if (to == nullptr || (!to->may_wait && !output.has_queue)) record_unqueued(from, output, frame);
    }
}

void LiveSwitch::record_unqueued(const BoundPort& from, const Output& output, std::span<const uint8_t> frame) {
    const std::span<const uint8_t> rest = frame.subspan(output.skip);
    whole.assign(output.head.begin(), output.head.begin() + output.head_length);
    whole.insert(whole.end(), rest.begin(), rest.end());
    LeavingFrame left;
    left.bytes = whole;
    left.id = frame_number;
    left.interface = recorder.interface_of(output.port);
    left.from = recorder.interface_of(from.place);
    left.mirror = output.mirror;
    left.is_delivered = bound_to(output.port) == nullptr;
    left.queue = left.is_delivered ? 0 : egress.queue_of(output);
    left.time = now + wall_offset;
    recorder.write_sent(left, egress);
}

void LiveSwitch::record_departure(const Departure& departure, PortIndex port) {
    const Trail& trail = trails[departure.handle];
    LeavingFrame left;
    left.bytes = waiting.bytes(departure.handle);
    left.id = trail.frame;
    left.interface = recorder.interface_of(port);
    left.from = trail.from;
    left.mirror = trail.mirror;
    left.queue = departure.queue;
    left.waited = departure.waited;
    left.time = now + wall_offset;
    recorder.write_sent(left, egress);
}

// --- Changes ---

// A frame that is taken after this is judged by what the switch was told before.
void LiveSwitch::follow_store() {
    if (follow_store_at != 0 ? now < follow_store_at : !reader.has_changed()) return;
    const Nanoseconds began = monotonic_now();
    const bool is_done = unless_locked([this] { reader.refresh(state, now); });
    follow_store_at = is_done ? 0 : now + between_tries;
    if (!is_done || !take_configuration()) return;
    ++count.changes;
    count.last_change = monotonic_now() - began;
    count.longest_change = std::max(count.longest_change, count.last_change);
}

// Reads or writes the store. False: another process has it just now. To wait for that would keep frames waiting.
template <typename Access> bool LiveSwitch::unless_locked(Access access) {
    try {
        access();
        return true;
    } catch (const Locked&) {
        return false;
    }
}

// Returns whether it is another than before.
bool LiveSwitch::take_configuration() {
    const Configuration& next = reader.configuration();
    if (next.ports == taken.ports && next.vlans == taken.vlans && next.filters == taken.filters &&
        next.lists == taken.lists && next.mirrors == taken.mirrors && next.qos == taken.qos)
        return false;
    // Queues and lines are built from these two alone; on a full switch that takes milliseconds.
    const bool concerns_egress =
        next.qos != taken.qos || taken.ports == nullptr || !has_same_lines(*next.ports, *taken.ports);
    taken = next;
    bind_ports();
    if (concerns_egress) egress.adopt(taken, now, sink);
    if (recorder.is_recording()) recorder.adopt(taken);
    return true;
}

void LiveSwitch::bind_ports() {
    const std::vector<Port>& all = taken.ports->ports;
    const size_t port_count = all.size();
    port_at.assign(port_count, nullptr);
    // Nothing is plugged into a port that is not bound.
    state.is_bound.assign(port_count, 0);
    state.has_carrier.resize(port_count);
    for (size_t i = 0; i < port_count; ++i)
        state.has_carrier[i] = all[i].type == PortType::ether ? 0 : 1;
    for (BoundPort& port : ports) {
        port.place = taken.ports->find(port.count.port);
        if (port.place == no_port) continue;
        port_at[port.place] = &port;
        state.is_bound[port.place] = 1;
        state.has_carrier[port.place] = port.count.has_carrier != 0 ? 1 : 0;
        port.may_wait = may_wait(all[port.place]);
    }
    refresh_links(state, taken);
}

// Where no line and no stream has a rate, whatever is put into a queue leaves at once.
bool LiveSwitch::may_wait(const Port& port) const {
    if (options.line_rate != 0 || taken.qos->find_shaper(port.ether) != nullptr) return true;
    return std::any_of(taken.qos->streams.begin(), taken.qos->streams.end(), [&](const Stream& stream) {
        return stream.is_shaped() && taken.ports->ports[stream.port].ether == port.ether;
    });
}

void LiveSwitch::follow_links() {
    const bool is_complete = links.read([this](const Link& link) {
        for (BoundPort& port : ports)
            if (port.open.prepared.index == link.index) set_carrier(port, link.has_carrier, link.is_gone);
    });
    if (!is_complete) look_at_links();
}

void LiveSwitch::look_at_links() {
    LinkTable table;
    for (BoundPort& port : ports) {
        const std::optional<Link> link = table.find(port.open.prepared.index);
        set_carrier(port, link && link->has_carrier, !link);
    }
}

void LiveSwitch::set_carrier(BoundPort& port, bool has_carrier, bool is_gone) {
    if (is_gone && port.open.prepared.index != 0) {
        std::cerr
            << "emuswitch: port " << port.count.port << ": "
            << port.open.prepared.interface << " is gone; end the live switch and start it again to bind another\n";
        events.forget(port.open.interface.descriptor());
        port.open.prepared.index = 0;
    }
    port.count.has_carrier = has_carrier && !is_gone ? 1 : 0;
    bind_ports();
}

// --- Between frames ---

void LiveSwitch::keep_house() {
    state.learned.age(*taken.ports, now, aged_a_turn);
    if (is_to_be_written() && now >= write_learned_at) write_learned();
    if (now >= publish_at) publish();
}

void LiveSwitch::write_learned() {
    try {
        const bool is_done =
            unless_locked([this] { has_unwritten = reader.write_learned(state, now, entries_a_write); });
        has_complained = has_complained && !is_done;
        write_learned_at = now + (!is_done ? between_tries : has_unwritten ? between_parts : between_writes);
    } catch (const Failure& problem) {
        // A full disk is no reason to stop forwarding. A damaged store is found when it is read next.
        if (!has_complained)
            std::cerr << "emuswitch: " << problem.what()
                      << "; frames go on, what was learned is written when that is possible\n";
        has_complained = true;
        has_unwritten = true;
        write_learned_at = now + second;
    }
    take_configuration(); // writing looks at the store first, and that may have gone well where it did not
}

void LiveSwitch::write_all_learned() {
    constexpr int longest_wait = 20'000; // ms
    sqlite3_busy_timeout(database.handle(), longest_wait);
    while (is_to_be_written())
        has_unwritten = reader.write_learned(state, now);
}

void LiveSwitch::publish() {
    Counts counts;
    for (BoundPort& port : ports) {
        port.count.missed = port.open.interface.missed();
        port.count.unsent = port.open.interface.unsent();
        counts.ports.push_back(port.count);
    }
    for (const QueueView& view : egress.queues())
        if (const QueueCount queue = count_of(view); has_seen_frames(queue)) counts.queues.push_back(queue);
    count.told = wall_clock();
    count.learned = state.learned.size();
    counts.all = count;
    counters.publish(counts);
    if (recorder.is_recording()) recorder.flush();
    publish_at = now + between_publications;
}

Nanoseconds LiveSwitch::next_deadline() const {
    Nanoseconds deadline = std::min(egress.next_time(), publish_at);
    if (follow_store_at != 0) deadline = std::min(deadline, follow_store_at);
    if (is_to_be_written()) deadline = std::min(deadline, write_learned_at);
    return deadline;
}

} // namespace live
