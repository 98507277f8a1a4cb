// A picture of a replay: what each port sends over time, and for each queue its fill, its rate and its drops.
#pragma once

#include "companion/replay_engine.h"

#include <string>
#include <vector>

class ReplayPlot {
public:
    // Gathers, in as many slices of time as a picture shows, however long the replay takes.
    void add(const QueueEvent& event);

    // Something to be marked, such as a sentence that was said then.
    void mark(int64_t time, const std::string& text) { marks_.push_back({time, text}); }

    // The picture, as SVG. Throws `Failure` where it cannot be written.
    void write(const std::string& file, const ReplayTotals& totals, const dataplane::Egress& egress) const;

private:
    struct Slice {
        uint64_t bits = 0; // sent, with FCS
        uint32_t fill = 0; // the highest, in bytes
        uint32_t joined = 0;
        uint32_t lost = 0;
    };
    struct Series {
        std::vector<Slice> slices;
        uint32_t fill = 0; // now
    };
    struct Mark {
        int64_t time;
        std::string text;
    };
    friend class Drawing;

    static constexpr size_t most_slices = 320;
    size_t slice_at(int64_t time);
    void halve();

    bool has_begun_ = false;
    int64_t begin_ = 0;
    int64_t width_ = 1'000'000;  // of a slice, nanoseconds
    std::vector<Series> series_; // by place in the egress
    std::vector<Mark> marks_;
};
