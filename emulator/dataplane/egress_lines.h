// What Egress is made of: lines, the streams behind each, their queues, and the frames that wait in them. Not for
// others.
#pragma once

#include "dataplane/egress.h"
#include "dataplane/egress_bucket.h"

#include <array>
#include <map>

namespace dataplane {

constexpr uint32_t nowhere = 0xffffffff; // no frame, queue, stream or line

struct Egress::Lines {
    // A frame in a queue.
    struct Waiting {
        FrameHandle handle = 0;
        uint32_t length = 0;
        Nanoseconds since = 0;
        uint32_t next = nowhere; // behind it, or the next free place
    };

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

    static constexpr size_t level_count = 9; // best effort, and above it the eight priorities of streams

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
        uint32_t active_at = 0; // while it has frames: its place in the list of its level
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

    explicit Lines(const EgressOptions& with) : options(with) {
        constexpr uint64_t bit_seconds = 8'000'000'000;
        if (options.line_rate != 0 && bit_seconds % options.line_rate == 0)
            byte_time = static_cast<Nanoseconds>(bit_seconds / options.line_rate);
    }

    EgressOptions options;
    std::vector<Waiting> frames; // as many as have waited at once
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

    uint32_t take_free_frame();
    void push(uint32_t place, uint32_t length, FrameHandle handle, Nanoseconds time);
    Waiting pop(uint32_t place);
    uint32_t counted(const StreamState& stream, uint32_t queue) const;

    // --- Which queue of a stream ---

    uint32_t pick(const StreamState& stream) const;
    void begin_waiting(uint32_t place);
    // Books a frame of that many bytes to the queue that it was taken from.
    void charge_queue(StreamState& stream, uint32_t place, uint32_t bytes);
    void turn_back(const StreamState& stream, Group& group);

    // --- Which stream of a line ---

    void activate(uint32_t place);
    void deactivate(StreamState& stream);
    bool goes_before(uint32_t place, uint32_t other) const;
    // Finds the stream's next frame, and when it may go. Both stay as they are while nothing is put in front or taken.
    void look_at(StreamState& stream, Nanoseconds now) const;
    Choice choose(Line& line, Nanoseconds now);

    // --- Sending ---

    Nanoseconds time_on_line(uint32_t length) const;
    // Sends a frame where one may go now. Sets when to look again.
    void serve(uint32_t place, const EgressSink& sink);
    // The line is free then, and its shaper may let the smallest frame pass.
    static Nanoseconds look_after(Line& line, Nanoseconds now);
    void book(Line& line, StreamState& stream, uint32_t bytes, Nanoseconds now);
    void find_soonest();

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

} // namespace dataplane
