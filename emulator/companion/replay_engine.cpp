// Frames of captures through the switch.
#include "companion/replay_engine.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>

using namespace dataplane;

// A frame on its way out; its bytes follow.
struct ReplayEngine::Slot {
    uint64_t id = 0;
    PortTotals* port = nullptr; // of the sending one
    uint32_t length = 0;
    uint32_t interface = 0; // of the recorder: of the sending port
    uint32_t from = 0;      // and of the receiving one
    uint32_t queue = 0;     // its place in the egress
    uint16_t mirror = 0;

    uint8_t* bytes() { return reinterpret_cast<uint8_t*>(this + 1); }
    std::span<const uint8_t> frame() { return {bytes(), length}; }

    // Asks for what will be wanted soon: its own fields, and the first bytes.
    void fetch() {
        __builtin_prefetch(this);
        __builtin_prefetch(reinterpret_cast<const uint8_t*>(this) + 64);
    }
};

// Room for frames, in a few sizes, used again and again: the last one given back is the next one taken, as it is still
// in the cache.
class ReplayEngine::Pool {
public:
    FrameHandle take(size_t length) {
        uint32_t size = 0;
        while (length > room_of(size))
            ++size;
        if (free_[size].empty()) grow(size);
        const uint32_t place = free_[size].back();
        free_[size].pop_back();
        return size << place_bits | place;
    }
    void give_back(FrameHandle handle) { free_[handle >> place_bits].push_back(handle & place_mask); }

    Slot& operator[](FrameHandle handle) {
        const uint32_t size = handle >> place_bits;
        const uint32_t place = handle & place_mask;
        const uint32_t in_chunk = place & (slots_in_chunk[size] - 1);
        CacheLine* const chunk = chunks_[size][place >> chunk_bits[size]].get();
        return *std::launder(reinterpret_cast<Slot*>(chunk + size_t{in_chunk} * lines_of_slot[size]));
    }

private:
    static constexpr uint32_t place_bits = 30;
    static constexpr uint32_t place_mask = (1U << place_bits) - 1;
    struct alignas(64) CacheLine {
        std::array<std::byte, 64> bytes;
    };
    static constexpr std::array<uint32_t, 4> lines_of_slot{2, 8, 32, (longest_capture + 32) / 64 + 1};
    static constexpr std::array<uint32_t, 4> chunk_bits{10, 8, 6, 0};
    static constexpr std::array<uint32_t, 4> slots_in_chunk{1U << 10, 1U << 8, 1U << 6, 1};
    static constexpr size_t room_of(uint32_t size) { return lines_of_slot[size] * sizeof(CacheLine) - sizeof(Slot); }

    void grow(uint32_t size) {
        const uint32_t count = slots_in_chunk[size];
        const auto first = static_cast<uint32_t>(chunks_[size].size()) * count;
        chunks_[size].push_back(std::make_unique<CacheLine[]>(size_t{count} * lines_of_slot[size]));
        for (uint32_t i = count; i-- > 0;) {
            new (chunks_[size].back().get() + size_t{i} * lines_of_slot[size]) Slot;
            free_[size].push_back(first + i);
        }
    }

    std::array<std::vector<std::unique_ptr<CacheLine[]>>, lines_of_slot.size()> chunks_;
    std::array<std::vector<uint32_t>, lines_of_slot.size()> free_;
};

ReplayEngine::ReplayEngine(const Configuration& configuration, State& state, const EgressOptions& options, int64_t time,
                           Recorder& recorder)
    : configuration_(configuration), state_(state), egress_(options), recorder_(recorder),
      pool_(std::make_unique<Pool>()) {
    reconfigure(configuration, time);
}

ReplayEngine::~ReplayEngine() = default;

EgressSink ReplayEngine::sink() {
    return {
        this,
        [](void* context, const Departure& departure) { return static_cast<ReplayEngine*>(context)->send(departure); },
        [](void* context, FrameHandle handle, DropReason reason) {
            static_cast<ReplayEngine*>(context)->drop(handle, reason);
        }};
}

void ReplayEngine::find_totals() {
    of_port_.clear();
    for (const Port& port : configuration_.ports->ports)
        of_port_.push_back(&totals_.ports[port.number]);
    by_number_.assign(256, no_port);
    for (size_t index = 0; index < of_port_.size(); ++index)
        if (const auto number = static_cast<uint32_t>(configuration_.ports->ports[index].number);
            number < by_number_.size())
            by_number_[number] = static_cast<PortIndex>(index);
    of_vlan_.assign(vid_count, nullptr);
    for (auto& [vid, vlan] : totals_.vlans)
        of_vlan_[vid] = &vlan;
}

void ReplayEngine::reconfigure(const Configuration& configuration, int64_t time) {
    advance(time);
    reconfigured_at_ = time;
    configuration_ = configuration;
    find_totals();
    recorder_.adopt(configuration_);
    egress_.adopt(configuration_, time, sink());
}

void ReplayEngine::advance(int64_t time) {
    egress_.run_before(time, sink());
}

void ReplayEngine::drain() {
    advance(never);
}

bool ReplayEngine::send(const Departure& departure) {
    Slot& slot = (*pool_)[departure.handle];
    (*pool_)[departure.next].fetch();
    totals_.sent.add(slot.length);
    slot.port->sent.add(slot.length);
    totals_.end = std::max(totals_.end, departure.time);
    if (totals_.waits.size() <= departure.queue) totals_.waits.resize(departure.queue + size_t{1});
    WaitTotals& waits = totals_.waits[departure.queue];
    waits.longest = std::max(waits.longest, departure.waited);
    waits.sum += departure.waited;
    if (recorder_.is_recording())
        recorder_.write_sent({slot.frame(), slot.id, slot.interface, slot.from, slot.mirror, false, departure.queue,
                              departure.waited, departure.time},
                             egress_);
    if (observer_)
        observer_({QueueEvent::Kind::left, departure.time, departure.queue,
                   egress_.queues()[departure.queue].fill - slot.length, slot.length});
    pool_->give_back(departure.handle);
    return true;
}

void ReplayEngine::drop(FrameHandle handle, DropReason reason) {
    Slot& slot = (*pool_)[handle];
    totals_.dropped[static_cast<size_t>(reason)].add(slot.length);
    slot.port->lost.add(slot.length);
    if (observer_)
        observer_(
            {QueueEvent::Kind::lost, reconfigured_at_, slot.queue, egress_.queues()[slot.queue].fill, slot.length});
    pool_->give_back(handle);
}

namespace {

uint32_t length_of(const Output& output, size_t received) {
    return output.head_length + static_cast<uint32_t>(received) - output.skip;
}

// There is room for a whole head at `to`, however long it is: so many bytes as are known beforehand are copied at once.
void copy_output(uint8_t* to, const Output& output, std::span<const uint8_t> received) {
    std::memcpy(to, output.head.data(), output.head.size());
    if (received.size() > output.skip)
        std::memmove(to + output.head_length, received.data() + output.skip, received.size() - output.skip);
}

} // namespace

DropReason ReplayEngine::enqueue(const Output& output, std::span<const uint8_t> bytes, uint64_t id, PortIndex from,
                                 int64_t time, uint32_t& queue) {
    const uint32_t length = length_of(output, bytes.size());
    const FrameHandle handle = pool_->take(length);
    queue = egress_.queue_of(output);
    const DropReason reason = egress_.enqueue(output, length, handle, time);
    PortTotals& port = *of_port_[output.port];
    if (reason != DropReason::none) {
        pool_->give_back(handle);
        totals_.dropped[static_cast<size_t>(reason)].add(length);
        port.lost.add(length);
        if (observer_) observer_({QueueEvent::Kind::lost, time, queue, egress_.queues()[queue].fill, length});
        return reason;
    }
    Slot& slot = (*pool_)[handle];
    slot.id = id;
    slot.port = &port;
    slot.length = length;
    slot.interface = recorder_.interface_of(output.port);
    slot.from = recorder_.interface_of(from);
    slot.mirror = output.mirror;
    slot.queue = queue;
    copy_output(slot.bytes(), output, bytes);
    if (observer_) observer_({QueueEvent::Kind::joined, time, queue, egress_.queues()[queue].fill, length});
    return DropReason::none;
}

void ReplayEngine::deliver(const Output& output, std::span<const uint8_t> bytes, uint64_t id, PortIndex from,
                           int64_t time) {
    const uint32_t length = length_of(output, bytes.size());
    totals_.delivered.add(length);
    if (output.port < of_port_.size()) of_port_[output.port]->delivered.add(length);
    if (!recorder_.is_recording()) return;
    delivered_.resize(std::max<size_t>(length, output.head.size()));
    copy_output(delivered_.data(), output, bytes);
    recorder_.write_sent({{delivered_.data(), length},
                          id,
                          recorder_.interface_of(output.port),
                          recorder_.interface_of(from),
                          0,
                          true,
                          0,
                          0,
                          time},
                         egress_);
}

// The frame as long as it was. What the capture has cut off is zeros; beyond what the switch takes, more make no
// difference.
std::span<const uint8_t> ReplayEngine::whole(const CapturedFrame& frame) {
    const size_t length = std::min<size_t>(frame.original_length, longest_frame + 1);
    if (frame.bytes.size() >= length) return frame.bytes;
    whole_.assign(length, 0);
    std::copy(frame.bytes.begin(), frame.bytes.end(), whole_.begin());
    return whole_;
}

void ReplayEngine::begin(const CapturedFrame& frame) {
    advance(frame.time);
    if (!totals_.has_begun) totals_.begin = frame.time;
    totals_.has_begun = true;
    totals_.end = std::max(totals_.end, frame.time);
    totals_.received.add(frame.original_length);
    ++frames_;
}

void ReplayEngine::book(PortIndex port, uint32_t length) {
    PortTotals& totals = *of_port_[port];
    totals.received.add(length);
    const bool is_dropped = outcome_.verdict == Verdict::dropped;
    if (is_dropped) {
        totals.dropped.add(length);
        totals_.dropped[static_cast<size_t>(outcome_.reason)].add(length);
    }
    totals_.copies += outcome_.outputs.size() + (is_dropped ? 1 : 0) - 1;
    if (outcome_.vid == 0) return;
    VlanTotals*& vlan = of_vlan_[outcome_.vid];
    if (vlan == nullptr) vlan = &totals_.vlans[outcome_.vid];
    vlan->received.add(length);
    if (is_dropped) vlan->dropped.add(length);
}

// Ports have small numbers, mostly.
PortIndex ReplayEngine::index_of(int32_t port) const {
    const auto place = static_cast<uint32_t>(port);
    return place < by_number_.size() ? by_number_[place] : configuration_.ports->find(port);
}

void ReplayEngine::receive(int32_t port, const CapturedFrame& frame) {
    begin(frame);
    const PortIndex index = index_of(port);
    if (index == no_port) {
        totals_.dropped[static_cast<size_t>(DropReason::port_missing)].add(frame.original_length);
        recorder_.write_stray("port" + std::to_string(port), frame, frames_);
        return;
    }
    const std::span<const uint8_t> bytes = whole(frame);
    forward(configuration_, state_, {index, bytes, frame.time}, outcome_);
    book(index, frame.original_length);
    fates_.resize(outcome_.outputs.size());
    for (size_t i = 0; i < outcome_.outputs.size(); ++i) {
        const Output& output = outcome_.outputs[i];
        fates_[i] = {};
        if (output.kind != OutputKind::delivered)
            fates_[i].reason = enqueue(output, bytes, frames_, index, frame.time, fates_[i].queue);
    }
    recorder_.write_received(index, frame, frames_, outcome_, fates_, egress_);
    for (const Output& output : outcome_.outputs)
        if (output.kind == OutputKind::delivered) deliver(output, bytes, frames_, index, frame.time);
}
