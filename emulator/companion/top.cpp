// Watching a live switch: rates of its ports, what it drops and why, and the queues in which frames wait.
#include "companion/command_line.h"
#include "companion/commands.h"
#include "companion/counters_view.h"
#include "companion/database.h"
#include "companion/names.h"
#include "companion/table.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

using namespace live;

namespace {

constexpr double nanoseconds = 1e9;
constexpr Range any_interval{1, 3600};
constexpr Range any_count{1, 1'000'000'000};

struct TopOptions {
    int64_t interval = 1; // seconds
    int64_t count = 0;    // 0: until interrupted
};

// Two looks at the counters, and the seconds between them.
struct Span {
    const Counts& before;
    const Counts& now;
    double seconds;
};

// 12, 1.2k, 34M: what a person takes in.
std::string rate_text(double rate) {
    constexpr const char* units[] = {"", "k", "M", "G"};
    size_t unit = 0;
    for (; rate >= 999.5 && unit + 1 < std::size(units); ++unit)
        rate /= 1000;
    char text[32];
    const bool is_short = unit > 0 && rate < 99.95;
    snprintf(text, sizeof text, is_short ? "%.1f%s" : "%.0f%s", rate, units[unit]);
    return text;
}

// What was counted since; a live switch that was started anew begins at 0.
uint64_t grown(uint64_t before, uint64_t now) {
    return now >= before ? now - before : now;
}

Cell rate_of(uint64_t before, uint64_t now, double seconds, int factor = 1) {
    Cell cell(seconds > 0 ? rate_text(static_cast<double>(grown(before, now)) * factor / seconds) : "-");
    cell.is_number = true;
    return cell;
}

PortCount find_port(const Counts& counts, int32_t port) {
    for (const PortCount& one : counts.ports)
        if (one.port == port) return one;
    return {};
}

// What one port dropped between two looks.
PortCount drops_between(const PortCount& before, const PortCount& now) {
    PortCount grown_drops;
    for (size_t reason = 0; reason < reason_count; ++reason)
        grown_drops.dropped[reason] = grown(before.dropped[reason], now.dropped[reason]);
    grown_drops.missed = grown(before.missed, now.missed);
    return grown_drops;
}

Table table_of_rates(const Span& span) {
    Table table{{"PORT", "INTERFACE", "LINK", "IN/S", "BIT/S", "OUT/S", "BIT/S", "DROPPED/S", "WHY"}, {}};
    for (const PortCount& now : span.now.ports) {
        const PortCount before = find_port(span.before, now.port);
        const PortCount drops = drops_between(before, now);
        table.add({now.port, now.interface.data(), now.has_carrier != 0 ? "up" : "down",
                   rate_of(before.received.frames, now.received.frames, span.seconds),
                   rate_of(before.received.bytes, now.received.bytes, span.seconds, 8),
                   rate_of(before.sent.frames, now.sent.frames, span.seconds),
                   rate_of(before.sent.bytes, now.sent.bytes, span.seconds, 8),
                   rate_of(0, drops_of(drops), span.seconds), drops_in_words(drops)});
    }
    return table;
}

QueueCount find_queue(const Counts& counts, const QueueCount& queue) {
    for (const QueueCount& one : counts.queues)
        if (one.port == queue.port && one.stream_index == queue.stream_index &&
            one.traffic_class == queue.traffic_class && one.is_best_effort == queue.is_best_effort)
            return one;
    return {};
}

Table table_of_queue_rates(const Span& span) {
    Table table{{"PORT", "QUEUE", "WAITING", "BYTES", "OF", "OUT/S", "BIT/S", "DROPPED/S"}, {}};
    for (const QueueCount& now : span.now.queues) {
        const QueueCount before = find_queue(span.before, now);
        const uint64_t dropped_before = before.full.frames + before.early.frames + before.removed.frames;
        const uint64_t dropped = now.full.frames + now.early.frames + now.removed.frames;
        table.add({now.port, name_of_queue(now), now.frames, now.fill, now.length,
                   rate_of(before.sent.frames, now.sent.frames, span.seconds),
                   rate_of(before.sent.bytes, now.sent.bytes, span.seconds, 8),
                   rate_of(dropped_before, dropped, span.seconds)});
    }
    return table;
}

void print_rates(std::ostream& out, const Published& published, const Span& span) {
    const SwitchCount& all = span.now.all;
    out << (published.is_live ? "live" : "not live any more") << ", " << all.learned << " addresses learned, "
        << all.changes << " changes"
        << (all.changes != 0 ? " (the last took " + rate_text(static_cast<double>(all.last_change) / 1000) + " us)"
                             : "")
        << (all.has_priority != 0 ? "" : ", no real-time priority") << "\n\n";
    print_table(out, table_of_rates(span), "");
    if (span.now.queues.empty()) return;
    out << "\n";
    print_table(out, table_of_queue_rates(span), "");
}

// The beginning of a line, as much as so many columns have room for.
std::string cut_to(const std::string& line, size_t columns) {
    size_t end = line.size();
    while (columns_of(line.substr(0, end)) > columns)
        do
            --end;
        while (end > 0 && (static_cast<unsigned char>(line[end]) & 0xc0) == 0x80); // within a character
    return line.substr(0, end);
}

// As much of it as the window has room for, with a row left for the cursor; a terminal without a size gets all of it.
std::vector<std::string> fit_to_window(const std::string& screen) {
    winsize window{};
    ioctl(STDOUT_FILENO, TIOCGWINSZ, &window);
    std::vector<std::string> lines;
    std::istringstream all(screen);
    for (std::string line; std::getline(all, line);)
        lines.push_back(window.ws_col > 0 ? cut_to(line, window.ws_col) : line);
    while (!lines.empty() && lines.back().empty())
        lines.pop_back();
    const size_t room = window.ws_row > 1 ? window.ws_row - size_t{1} : lines.size();
    if (lines.size() > room) lines.resize(room);
    return lines;
}

// Over what stands there already, so that nothing flickers.
void draw(const std::string& screen) {
    std::string text = "\033[H";
    for (const std::string& line : fit_to_window(screen))
        text += "\033[K" + line + "\n"; // a full line leaves no place behind it to erase from
    std::cout << text << "\033[J" << std::flush;
}

// False: the user has had enough.
bool sleep_for(int64_t seconds, const sigset_t& ending) {
    const timespec pause{.tv_sec = static_cast<time_t>(seconds), .tv_nsec = 0};
    return sigtimedwait(&ending, nullptr, &pause) < 0;
}

int run_top(const TopOptions& options) {
    sigset_t ending;
    sigemptyset(&ending);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaddset(&ending, signal);
    sigprocmask(SIG_BLOCK, &ending, nullptr);

    const bool is_terminal = isatty(STDOUT_FILENO) != 0;
    Counts before;
    for (int64_t round = 0;; ++round) {
        const auto published = read_counters(store_path());
        if (!published) throw Failure(no_counters);
        const Counts& now = published->counts;
        const bool is_same = before.all.process == now.all.process && round > 0;
        const double seconds = is_same ? static_cast<double>(now.all.told - before.all.told) / nanoseconds : 0;
        std::ostringstream screen;
        print_rates(screen, *published, {before, now, seconds});
        if (is_terminal)
            draw(screen.str());
        else
            std::cout << screen.str() << std::endl;
        before = now;
        if (round + 1 == options.count || (!is_terminal && !published->is_live) || !std::cout) return 0;
        if (!sleep_for(options.interval, ending)) return 0;
    }
}

} // namespace

void add_top(CommandLine& line) {
    auto options = std::make_shared<TopOptions>();
    line.add("top", "Watch a live switch: rates, drops and queues")
        .option("-i,--interval <seconds>", options->interval, any_interval, "So many seconds from one look to the next")
        .option("-n,--count <times>", options->count, any_count, "Look so many times; else until interrupted")
        .footer("Example:\n  emuswitch top")
        .runs([options] { return run_top(*options); });
}
