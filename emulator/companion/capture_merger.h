// Several captures as one stream of frames, in the order of their times.
#pragma once

#include "companion/capture.h"

#include <limits>
#include <optional>
#include <string>
#include <vector>

// What became of the frames of one capture file.
struct CaptureTally {
    std::string file;
    uint64_t frames = 0; // handed out
    uint64_t sent = 0;   // left out, as the interface had sent them
    uint64_t cut = 0;    // that the capture holds only the beginning of
    uint64_t late = 0;   // with a time before that of the frame before, which was taken instead
    std::string problem; // why it ended early; empty: it did not
};

class CaptureMerger {
public:
    // All frames of the file come in on that port; "-" is standard input.
    void add(int32_t port, const std::string& file);
    // The interfaces of the file name the ports: "port3", "port 3" or "3".
    void add(const std::string& file);

    // The next frame and its port, until the next call of this or of `next_time`. Null: there are no more. A file that
    // cannot be read on ends there, and the others go on; its tally says why.
    const CapturedFrame* next(int32_t& port);

    // The time of the frame that comes next; nothing: there is none. Takes nothing away.
    std::optional<int64_t> next_time();

    const std::vector<CaptureTally>& tallies() const { return tallies_; }
    uint64_t position() const;            // bytes read so far
    std::optional<uint64_t> size() const; // of all files; nothing where one is a pipe

private:
    struct Source {
        CaptureReader reader;
        int32_t port = 0; // 0: by the interface's name
        bool is_pending = false;
        bool has_ended = false;
        CapturedFrame frame; // pending, and its port
        int32_t frame_port = 0;
        std::vector<int32_t> ports{}; // by interface
    };
    void fetch(size_t place);
    static int32_t port_of(Source& source, const CapturedFrame& frame);
    size_t find_first();

    std::vector<Source> sources_;
    std::vector<CaptureTally> tallies_;
    int64_t latest_ = std::numeric_limits<int64_t>::min();
};
