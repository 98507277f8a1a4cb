// Printing what a replay came to.
#include "companion/replay_summary.h"

#include "companion/json_text.h"
#include "companion/table.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <ctime>

using namespace dataplane;

namespace {

constexpr int64_t second = 1'000'000'000;

// "12.003456789"
std::string seconds(int64_t nanoseconds) {
    std::string rest = std::to_string(nanoseconds % second);
    rest.insert(0, 9 - rest.size(), '0');
    return std::to_string(nanoseconds / second) + "." + rest;
}

// "2026-11-21 18:00:00.123456789"
std::string date(int64_t nanoseconds) {
    const int64_t below = (nanoseconds % second + second) % second;
    const time_t whole = static_cast<time_t>((nanoseconds - below) / second);
    struct tm fields {};
    gmtime_r(&whole, &fields);
    char text[64];
    strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &fields);
    return text + seconds(below).substr(1);
}

// Queues in the order of their names, those that no frame met left out.
std::vector<uint32_t> busy_queues(const ReplaySummary& summary) {
    const std::vector<QueueView>& views = summary.egress.queues();
    std::vector<uint32_t> places;
    for (uint32_t place = 0; place < views.size(); ++place) {
        const QueueView& view = views[place];
        uint64_t met = view.sent.frames + view.removed.frames + view.frames;
        for (size_t color = 0; color < color_count; ++color)
            met += view.full[color].frames + view.early[color].frames;
        if (met != 0) places.push_back(place);
    }
    std::sort(places.begin(), places.end(), [&views](uint32_t one, uint32_t other) {
        const auto key = [](const QueueName& name) {
            return std::tuple(name.port, name.is_best_effort, name.stream_index, name.traffic_class);
        };
        return key(views[one].name) < key(views[other].name);
    });
    return places;
}

Count sum_of(const std::array<Count, color_count>& counts) {
    Count sum;
    for (const Count& count : counts) {
        sum.frames += count.frames;
        sum.bytes += count.bytes;
    }
    return sum;
}

Count dropped_in_all(const ReplayTotals& totals) {
    Count sum;
    for (const Count& count : totals.dropped) {
        sum.frames += count.frames;
        sum.bytes += count.bytes;
    }
    return sum;
}

std::string vlan_name(const ReplaySummary& summary, uint16_t vid) {
    const Vlan* const vlan = summary.configuration.vlans->find(vid);
    return vlan == nullptr ? "-" : vlan->name;
}

WaitTotals waits_of(const ReplaySummary& summary, uint32_t place) {
    return place < summary.totals.waits.size() ? summary.totals.waits[place] : WaitTotals{};
}

int64_t mean_wait(const WaitTotals& waits, const Count& sent) {
    return sent.frames == 0 ? 0 : waits.sum / static_cast<int64_t>(sent.frames);
}

// --- For people ---

std::string microseconds(int64_t nanoseconds) {
    std::string rest = std::to_string(nanoseconds % 1000);
    rest.insert(0, 3 - rest.size(), '0');
    return std::to_string(nanoseconds / 1000) + "." + rest;
}

void print_ports(std::ostream& out, const ReplaySummary& summary) {
    Table table{{"PORT", "RECEIVED", "BYTES", "DROPPED", "SENT", "BYTES", "LOST", "SWITCH"}, {}};
    for (const auto& [number, port] : summary.totals.ports)
        if (port.received.frames + port.sent.frames + port.lost.frames + port.delivered.frames != 0)
            table.add({number, port.received.frames, port.received.bytes, port.dropped.frames, port.sent.frames,
                       port.sent.bytes, port.lost.frames, port.delivered.frames});
    out << "\n";
    print_table(out, table, "no port had a frame\n");
}

void print_vlans(std::ostream& out, const ReplaySummary& summary) {
    Table table{{"VLAN", "ID", "FRAMES", "BYTES", "DROPPED"}, {}};
    for (const auto& [vid, vlan] : summary.totals.vlans)
        table.add({vlan_name(summary, vid), vid, vlan.received.frames, vlan.received.bytes, vlan.dropped.frames});
    if (table.rows.empty()) return;
    out << "\n";
    print_table(out, table, "");
}

void print_queues(std::ostream& out, const ReplaySummary& summary) {
    Table table{{"QUEUE", "SENT", "BYTES", "FULL", "RED", "GONE", "PEAK", "WAIT (us)", "LONGEST (us)"}, {}};
    for (const uint32_t place : busy_queues(summary)) {
        const QueueView& view = summary.egress.queues()[place];
        const WaitTotals waits = waits_of(summary, place);
        table.rows.push_back({view.name.is_best_effort ? std::to_string(view.name.port) + "/-" : text_of(view.name),
                              view.sent.frames, view.sent.bytes, sum_of(view.full).frames, sum_of(view.early).frames,
                              view.removed.frames, view.highest_fill, microseconds(mean_wait(waits, view.sent)),
                              microseconds(waits.longest)});
    }
    if (table.rows.empty()) return;
    out << "\n";
    print_table(out, table, "");
}

void print_reasons(std::ostream& out, const ReplaySummary& summary) {
    Table table{{"DROPPED", "FRAMES", "BYTES"}, {}};
    for (size_t reason = 0; reason < drop_reason_count; ++reason) {
        const Count& count = summary.totals.dropped[reason];
        if (count.frames != 0) table.add({word_of(static_cast<DropReason>(reason)), count.frames, count.bytes});
    }
    if (table.rows.empty()) return;
    out << "\n";
    print_table(out, table, "");
}

void print_remarks(std::ostream& out, const ReplaySummary& summary) {
    for (const CaptureTally& tally : summary.captures) {
        if (tally.cut != 0)
            out << tally.file << ": " << tally.cut << " frames were cut by the capture; the rest of them is zeros\n";
        if (tally.late != 0)
            out << tally.file << ": " << tally.late << " frames were out of order; taken as if they came right then\n";
        if (tally.sent != 0)
            out << tally.file << ": " << tally.sent << " frames left out, as the ports had sent them\n";
    }
    const SentenceTally& sentences = summary.sentences;
    if (sentences.all() != 0) {
        out << sentences.accepted << " sentences accepted, ";
        if (sentences.ignored != 0) out << sentences.ignored << " ignored, ";
        out << sentences.refused << " refused\n";
    }
    if (summary.is_interrupted) out << "interrupted; what waits has not been sent\n";
}

// --- For programs ---

Json json_of(const SentenceTally& sentences) {
    return {{"accepted", sentences.accepted}, {"ignored", sentences.ignored}, {"refused", sentences.refused}};
}

Json json_of_colors(const std::array<Count, color_count>& counts) {
    return {{"green", count_json(counts[0])}, {"yellow", count_json(counts[1])}, {"red", count_json(counts[2])}};
}

Json json_of_ports(const ReplaySummary& summary) {
    Json list = Json::array();
    for (const auto& [number, port] : summary.totals.ports)
        list.push_back({{"port", number},
                        {"received", count_json(port.received)},
                        {"dropped", count_json(port.dropped)},
                        {"sent", count_json(port.sent)},
                        {"lost", count_json(port.lost)},
                        {"delivered", count_json(port.delivered)}});
    return list;
}

Json json_of_vlans(const ReplaySummary& summary) {
    Json list = Json::array();
    for (const auto& [vid, vlan] : summary.totals.vlans)
        list.push_back({{"vid", vid},
                        {"name", vlan_name(summary, vid)},
                        {"received", count_json(vlan.received)},
                        {"dropped", count_json(vlan.dropped)}});
    return list;
}

Json json_of_queues(const ReplaySummary& summary) {
    Json list = Json::array();
    for (const uint32_t place : busy_queues(summary)) {
        const QueueView& view = summary.egress.queues()[place];
        const WaitTotals waits = waits_of(summary, place);
        const Json name = view.name.is_best_effort ? Json() : Json(text_of(view.name));
        list.push_back({{"port", view.name.port},
                        {"queue", name},
                        {"length_bytes", view.length},
                        {"highest_fill_bytes", view.highest_fill},
                        {"sent", count_json(view.sent)},
                        {"queue_full", json_of_colors(view.full)},
                        {"red", json_of_colors(view.early)},
                        {"queue_removed", count_json(view.removed)},
                        {"waiting", view.frames},
                        {"mean_wait_ns", mean_wait(waits, view.sent)},
                        {"longest_wait_ns", waits.longest}});
    }
    return list;
}

Json json_of_reasons(const ReplaySummary& summary) {
    Json reasons = Json::object();
    for (size_t reason = 0; reason < drop_reason_count; ++reason)
        if (summary.totals.dropped[reason].frames != 0)
            reasons[word_of(static_cast<DropReason>(reason))] = count_json(summary.totals.dropped[reason]);
    return reasons;
}

Json json_of_captures(const ReplaySummary& summary) {
    Json list = Json::array();
    for (const CaptureTally& tally : summary.captures)
        list.push_back({{"file", tally.file},
                        {"frames", tally.frames},
                        {"left_out", tally.sent},
                        {"cut", tally.cut},
                        {"out_of_order", tally.late},
                        {"problem", tally.problem.empty() ? Json() : Json(tally.problem)}});
    return list;
}

} // namespace

void print_summary(std::ostream& out, const ReplaySummary& summary) {
    const ReplayTotals& totals = summary.totals;
    out << totals.received.frames << " frames in";
    if (totals.has_begun)
        out << " " << seconds(totals.end - totals.begin) << " s, from " << date(totals.begin) << " UTC";
    out << "\n"
        << totals.sent.frames << " sent, " << totals.delivered.frames << " to the switch itself, "
        << dropped_in_all(totals).frames << " dropped, " << summary.egress.waiting() << " waiting; " << totals.copies
        << " copies\n";
    print_ports(out, summary);
    print_vlans(out, summary);
    print_queues(out, summary);
    print_reasons(out, summary);
    print_remarks(out, summary);
}

void print_summary_as_json(std::ostream& out, const ReplaySummary& summary) {
    const ReplayTotals& totals = summary.totals;
    const Json object{{"received", count_json(totals.received)},
                      {"sent", count_json(totals.sent)},
                      {"delivered", count_json(totals.delivered)},
                      {"dropped", count_json(dropped_in_all(totals))},
                      {"copies", totals.copies},
                      {"waiting", summary.egress.waiting()},
                      {"begin_ns", totals.begin},
                      {"end_ns", totals.end},
                      {"ports", json_of_ports(summary)},
                      {"vlans", json_of_vlans(summary)},
                      {"queues", json_of_queues(summary)},
                      {"reasons", json_of_reasons(summary)},
                      {"captures", json_of_captures(summary)},
                      {"sentences", json_of(summary.sentences)},
                      {"interrupted", summary.is_interrupted}};
    out << json_lines(object);
}
