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
    : options_(chosen), database_(options_.store), reader_(database_), watch_(options_.store),
      counters_(options_.store), now_(monotonic_now()), state_(reader_.make_state(now_)),
      egress_({.seed = 0, .line_rate = options_.line_rate, .most_frames = most_waiting}),
      recorder_(options_.record.empty() ? Recorder() : Recorder::to_file(options_.record, true)),
      wall_offset_(wall_clock() - now_) {
    sink_.context = this;
    sink_.send = [](void* context, const Departure& departure) {
        return static_cast<LiveSwitch*>(context)->depart(departure);
    };
    sink_.drop = [](void* context, FrameHandle handle, DropReason) {
        static_cast<LiveSwitch*>(context)->waiting_.give_back(handle);
    };
    for (OpenPort& port : opened) {
        BoundPort& bound = ports_.emplace_back(BoundPort{std::move(port), no_port, false, 0, {}});
        bound.count.port = bound.open.prepared.port;
        const std::string& name = bound.open.prepared.interface;
        name.copy(bound.count.interface.data(), bound.count.interface.size() - 1);
    }
    count_.process = getpid();
    count_.has_priority = options_.has_priority ? 1 : 0;
    count_.started = wall_clock();
    sqlite3_busy_handler(database_.handle(), wait_briefly, nullptr);
    state_.learned.note_changes();
    take_configuration();
    look_at_links();
    publish();
}

void LiveSwitch::run(int guard) {
    const Descriptor signals = open_signals();
    watch_everything(guard);
    events_.watch(signals.get(), [this] { is_ending_ = true; });
    while (!is_ending_) {
        now_ = monotonic_now();
        const bool is_busy = turn();
        keep_house();
        if (!is_busy)
            events_.wait(next_deadline());
        else if (now_ >= look_at_events_)
            events_.poll();
        if (!is_busy || now_ >= look_at_events_) look_at_events_ = now_ + longest_between_looks;
    }
    write_all_learned();
    publish();
    recorder_.close();
}

void LiveSwitch::watch_everything(int guard) {
    for (BoundPort& port : ports_)
        events_.watch(
            port.open.interface.descriptor(), [] {}, [&port] { port.open.interface.clear_trouble(); });
    events_.watch(watch_.descriptor(), [this] { watch_.clear(); });
    events_.watch(links_.descriptor(), [this] { follow_links(); });
    events_.watch(guard, [this] { is_ending_ = true; });
}

// --- Frames ---

// Takes what has come, sends what is due. Returns whether anything came.
bool LiveSwitch::turn() {
    bool has_come = false;
    for (BoundPort& port : ports_) {
        port.due = port.open.interface.waiting(frames_a_turn);
        has_come = has_come || port.due > 0;
    }
    // Behind that, as a frame that comes from here on may follow a sentence that is not in this look at the store.
    follow_store();
    for (BoundPort& port : ports_)
        for (; port.due > 0; --port.due)
            receive(port, port.open.interface.next());
    if (egress_.next_time() <= now_) egress_.run_before(now_ + 1, sink_);
    flush();
    return has_come;
}

void LiveSwitch::receive(BoundPort& from, std::span<const uint8_t> frame) {
    ++frame_number_;
    from.count.received.add(static_cast<uint32_t>(frame.size()));
    if (from.place == no_port) { // bound in advance: until a sentence creates it, it is as good as disabled
        outcome_.outputs.clear();
        outcome_.verdict = Verdict::dropped;
        outcome_.reason = DropReason::port_disabled;
    } else {
        forward(taken_, state_, {from.place, frame, now_}, outcome_);
    }
    count_outcome(from);
    fates_.clear();
    for (const Output& output : outcome_.outputs)
        fates_.push_back(put(output, from, frame));
    if (recorder_.is_recording()) record(from, frame);
}

void LiveSwitch::count_outcome(BoundPort& from) {
    const bool is_dropped = outcome_.verdict == Verdict::dropped;
    ++count_.verdicts[static_cast<size_t>(outcome_.verdict)];
    if (is_dropped) ++from.count.dropped[static_cast<size_t>(outcome_.reason)];
    count_.copies += outcome_.outputs.size() + (is_dropped ? 1 : 0) - 1;
}

OutputFate LiveSwitch::put(const Output& output, const BoundPort& from, std::span<const uint8_t> frame) {
    BoundPort* const to = bound_to(output.port);
    if (to == nullptr) return {}; // ends at the switch itself
    const std::span<const uint8_t> head(output.head.data(), output.head_length);
    const std::span<const uint8_t> rest = frame.subspan(output.skip);
    if (to->may_wait || output.has_queue) return enqueue(output, from, head, rest);
    to->count.sent.add(static_cast<uint32_t>(head.size() + rest.size()));
    to->open.interface.put(head, rest);
    return {DropReason::none, recorder_.is_recording() ? egress_.queue_of(output) : 0};
}

OutputFate LiveSwitch::enqueue(const Output& output, const BoundPort& from, std::span<const uint8_t> head,
                               std::span<const uint8_t> rest) {
    const FrameHandle handle = waiting_.keep(head, rest);
    const auto length = static_cast<uint32_t>(head.size() + rest.size());
    const DropReason reason = egress_.enqueue(output, length, handle, now_);
    if (reason == DropReason::no_buffer) ++count_.no_buffer;
    if (reason != DropReason::none) waiting_.give_back(handle);
    if (!recorder_.is_recording()) return {};
    trails_.resize(std::max<size_t>(trails_.size(), handle + size_t{1}));
    trails_[handle] = {frame_number_, recorder_.interface_of(from.place), output.mirror};
    return {reason, egress_.queue_of(output)};
}

bool LiveSwitch::depart(const Departure& departure) {
    const PortIndex place = taken_.ports->find(egress_.queues()[departure.queue].name.port);
    leaving_.push_back(departure.handle);
    BoundPort* const to = bound_to(place);
    if (to == nullptr) return true;
    const std::span<const uint8_t> bytes = waiting_.bytes(departure.handle);
    to->count.sent.add(static_cast<uint32_t>(bytes.size()));
    to->open.interface.put({}, bytes);
    if (recorder_.is_recording()) record_departure(departure, place);
    return true;
}

void LiveSwitch::flush() {
    for (BoundPort& port : ports_)
        port.open.interface.flush();
    for (BoundPort& port : ports_)
        port.open.interface.release();
    for (const FrameHandle handle : leaving_)
        waiting_.give_back(handle);
    leaving_.clear();
}

// --- The record ---

void LiveSwitch::record(const BoundPort& from, std::span<const uint8_t> frame) {
    CapturedFrame captured;
    captured.bytes = frame;
    captured.original_length = static_cast<uint32_t>(frame.size());
    captured.time = now_ + wall_offset_;
    if (from.place == no_port)
        return recorder_.write_stray("port" + std::to_string(from.count.port), captured, frame_number_);
    recorder_.write_received(from.place, captured, frame_number_, outcome_, fates_, egress_);
    for (const Output& output : outcome_.outputs) {
        const BoundPort* const to = bound_to(output.port);
        if (to == nullptr || (!to->may_wait && !output.has_queue)) record_unqueued(from, output, frame);
    }
}

void LiveSwitch::record_unqueued(const BoundPort& from, const Output& output, std::span<const uint8_t> frame) {
    const std::span<const uint8_t> rest = frame.subspan(output.skip);
    whole_.assign(output.head.begin(), output.head.begin() + output.head_length);
    whole_.insert(whole_.end(), rest.begin(), rest.end());
    LeavingFrame left;
    left.bytes = whole_;
    left.id = frame_number_;
    left.interface = recorder_.interface_of(output.port);
    left.from = recorder_.interface_of(from.place);
    left.mirror = output.mirror;
    left.is_delivered = bound_to(output.port) == nullptr;
    left.queue = left.is_delivered ? 0 : egress_.queue_of(output);
    left.time = now_ + wall_offset_;
    recorder_.write_sent(left, egress_);
}

void LiveSwitch::record_departure(const Departure& departure, PortIndex port) {
    const Trail& trail = trails_[departure.handle];
    LeavingFrame left;
    left.bytes = waiting_.bytes(departure.handle);
    left.id = trail.frame;
    left.interface = recorder_.interface_of(port);
    left.from = trail.from;
    left.mirror = trail.mirror;
    left.queue = departure.queue;
    left.waited = departure.waited;
    left.time = now_ + wall_offset_;
    recorder_.write_sent(left, egress_);
}

// --- Changes ---

// A frame that is taken after this is judged by what the switch was told before.
void LiveSwitch::follow_store() {
    if (follow_store_at_ != 0 ? now_ < follow_store_at_ : !reader_.has_changed()) return;
    const Nanoseconds began = monotonic_now();
    const bool is_done = unless_locked([this] { reader_.refresh(state_, now_); });
    follow_store_at_ = is_done ? 0 : now_ + between_tries;
    if (!is_done || !take_configuration()) return;
    ++count_.changes;
    count_.last_change = monotonic_now() - began;
    count_.longest_change = std::max(count_.longest_change, count_.last_change);
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
    const Configuration& next = reader_.configuration();
    if (next.ports == taken_.ports && next.vlans == taken_.vlans && next.filters == taken_.filters &&
        next.lists == taken_.lists && next.mirrors == taken_.mirrors && next.qos == taken_.qos)
        return false;
    // Queues and lines are built from these two alone; on a full switch that takes milliseconds.
    const bool concerns_egress =
        next.qos != taken_.qos || taken_.ports == nullptr || !has_same_lines(*next.ports, *taken_.ports);
    taken_ = next;
    bind_ports();
    if (concerns_egress) egress_.adopt(taken_, now_, sink_);
    if (recorder_.is_recording()) recorder_.adopt(taken_);
    return true;
}

void LiveSwitch::bind_ports() {
    const std::vector<Port>& all = taken_.ports->ports;
    const size_t port_count = all.size();
    port_at_.assign(port_count, nullptr);
    // Nothing is plugged into a port that is not bound.
    state_.is_bound.assign(port_count, 0);
    state_.has_carrier.resize(port_count);
    for (size_t i = 0; i < port_count; ++i)
        state_.has_carrier[i] = all[i].type == PortType::ether ? 0 : 1;
    for (BoundPort& port : ports_) {
        port.place = taken_.ports->find(port.count.port);
        if (port.place == no_port) continue;
        port_at_[port.place] = &port;
        state_.is_bound[port.place] = 1;
        state_.has_carrier[port.place] = port.count.has_carrier != 0 ? 1 : 0;
        port.may_wait = may_wait(all[port.place]);
    }
    refresh_links(state_, taken_);
}

// Where no line and no stream has a rate, whatever is put into a queue leaves at once.
bool LiveSwitch::may_wait(const Port& port) const {
    if (options_.line_rate != 0 || taken_.qos->find_shaper(port.ether) != nullptr) return true;
    return std::any_of(taken_.qos->streams.begin(), taken_.qos->streams.end(), [&](const Stream& stream) {
        return stream.is_shaped() && taken_.ports->ports[stream.port].ether == port.ether;
    });
}

void LiveSwitch::follow_links() {
    const bool is_complete = links_.read([this](const Link& link) {
        for (BoundPort& port : ports_)
            if (port.open.prepared.index == link.index) set_carrier(port, link.has_carrier, link.is_gone);
    });
    if (!is_complete) look_at_links();
}

void LiveSwitch::look_at_links() {
    LinkTable table;
    for (BoundPort& port : ports_) {
        const std::optional<Link> link = table.find(port.open.prepared.index);
        set_carrier(port, link && link->has_carrier, !link);
    }
}

void LiveSwitch::set_carrier(BoundPort& port, bool has_carrier, bool is_gone) {
    if (is_gone && port.open.prepared.index != 0) {
        std::cerr
            << "emuswitch: port " << port.count.port << ": "
            << port.open.prepared.interface << " is gone; end the live switch and start it again to bind another\n";
        events_.forget(port.open.interface.descriptor());
        port.open.prepared.index = 0;
    }
    port.count.has_carrier = has_carrier && !is_gone ? 1 : 0;
    bind_ports();
}

// --- Between frames ---

void LiveSwitch::keep_house() {
    state_.learned.age(*taken_.ports, now_, aged_a_turn);
    if (now_ >= write_learned_at_ && reader_.has_unwritten(state_)) write_learned();
    if (now_ >= publish_at_) publish();
}

void LiveSwitch::write_learned() {
    try {
        bool is_more_left = false;
        const bool is_done =
            unless_locked([&] { is_more_left = reader_.write_learned(state_, now_, entries_a_write); });
        has_complained_ = has_complained_ && !is_done;
        write_learned_at_ = now_ + (!is_done ? between_tries : is_more_left ? between_parts : between_writes);
    } catch (const Failure& problem) {
        // A full disk is no reason to stop forwarding. A damaged store is found when it is read next.
        if (!has_complained_)
            std::cerr << "emuswitch: " << problem.what()
                      << "; frames go on, what was learned is written when that is possible\n";
        has_complained_ = true;
        write_learned_at_ = now_ + second;
    }
    take_configuration(); // writing looks at the store first, and that may have gone well where it did not
}

void LiveSwitch::write_all_learned() {
    constexpr int longest_wait = 20'000; // ms
    sqlite3_busy_timeout(database_.handle(), longest_wait);
    reader_.write_learned(state_, now_);
}

void LiveSwitch::publish() {
    Counts counts;
    for (BoundPort& port : ports_) {
        port.count.missed = port.open.interface.missed();
        port.count.unsent = port.open.interface.unsent();
        counts.ports.push_back(port.count);
    }
    for (const QueueView& view : egress_.queues())
        if (const QueueCount queue = count_of(view); has_seen_frames(queue)) counts.queues.push_back(queue);
    count_.told = wall_clock();
    count_.learned = state_.learned.size();
    counts.all = count_;
    counters_.publish(counts);
    if (recorder_.is_recording()) recorder_.flush();
    publish_at_ = now_ + between_publications;
}

Nanoseconds LiveSwitch::next_deadline() const {
    Nanoseconds deadline = std::min(egress_.next_time(), publish_at_);
    if (follow_store_at_ != 0) deadline = std::min(deadline, follow_store_at_);
    if (reader_.has_unwritten(state_)) deadline = std::min(deadline, write_learned_at_);
    return deadline;
}

} // namespace live
