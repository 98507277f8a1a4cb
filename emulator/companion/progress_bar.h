// How far something is that takes a while.
#pragma once

#include <cstdint>
#include <optional>

// A bar on standard error where that is a terminal; nothing elsewhere. It goes when it is destroyed.
class ProgressBar {
public:
    // Counts are shown in so many at once, with the name of that many behind: 1 << 20 and " MiB".
    explicit ProgressBar(uint64_t unit = 1, const char* unit_name = "");
    ~ProgressBar() { clear(); }
    ProgressBar(const ProgressBar&) = delete;
    ProgressBar& operator=(const ProgressBar&) = delete;

    // Without a total there is only the count. Cheap, unless there is something new to see.
    void show(uint64_t done, std::optional<uint64_t> total) {
        if (!is_shown_) return;
        const uint64_t seen = total ? percent_of(done, *total) : done / unit_;
        if (!is_drawn_ || seen != last_seen_) draw(done, total, seen);
    }

    // Makes room for other output; the next `show` draws it again.
    void clear();

private:
    static uint64_t percent_of(uint64_t done, uint64_t total) { return done >= total ? 100 : done * 100 / total; }
    void draw(uint64_t done, std::optional<uint64_t> total, uint64_t seen);

    uint64_t unit_;
    const char* unit_name_;
    bool is_shown_;
    bool is_drawn_ = false;
    uint64_t last_seen_ = 0;
};
