// Bars on a terminal.
#include "companion/progress_bar.h"

#include <iostream>
#include <string>
#include <unistd.h>

ProgressBar::ProgressBar(uint64_t unit, const char* unit_name)
    : unit_(unit), unit_name_(unit_name), is_shown_(isatty(STDERR_FILENO) != 0) {}

void ProgressBar::draw(uint64_t done, std::optional<uint64_t> total, uint64_t seen) {
    constexpr uint64_t width = 40;
    std::string line = "\r";
    if (total) {
        const uint64_t filled = seen * width / 100;
        line += "[" + std::string(filled, '#') + std::string(width - filled, ' ') + "] ";
    }
    line += std::to_string(done / unit_);
    if (total) line += "/" + std::to_string(*total / unit_);
    std::cerr << line << unit_name_ << std::flush;
    is_drawn_ = true;
    last_seen_ = seen;
}

void ProgressBar::clear() {
    if (is_drawn_) std::cerr << "\r\x1b[K" << std::flush;
    is_drawn_ = false;
}
