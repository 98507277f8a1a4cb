// Tables and JSON of the counters.
#include "companion/counters_view.h"

#include "companion/json_text.h"
#include "companion/table.h"

#include <nlohmann/json.hpp>

#include <algorithm>
#include <numeric>

using namespace live;

namespace {

const char* reason_word(size_t reason) {
    return dataplane::word_of(static_cast<dataplane::DropReason>(reason));
}

Table table_of_ports(const Counts& counts) {
    Table table{{"PORT", "INTERFACE", "LINK", "RECEIVED", "SENT", "DROPPED", "WHY"}, {}};
    for (const PortCount& port : counts.ports)
        table.add({port.port, port.interface.data(), port.has_carrier != 0 ? "up" : "down", port.received.frames,
                   port.sent.frames, drops_of(port), drops_in_words(port)});
    return table;
}

Table table_of_queues(const Counts& counts) {
    Table table{{"PORT", "QUEUE", "WAITING", "BYTES", "OF", "HIGHEST", "SENT", "FULL", "EARLY", "REMOVED"}, {}};
    for (const QueueCount& queue : counts.queues)
        table.add({queue.port, name_of_queue(queue), queue.frames, queue.fill, queue.length, queue.highest_fill,
                   queue.sent.frames, queue.full.frames, queue.early.frames, queue.removed.frames});
    return table;
}

Json json_of(const PortCount& port) {
    Json dropped = Json::object();
    for (size_t reason = 0; reason < reason_count; ++reason)
        if (port.dropped[reason] != 0) dropped[reason_word(reason)] = port.dropped[reason];
    return {{"port", port.port},
            {"interface", port.interface.data()},
            {"carrier", port.has_carrier != 0},
            {"received", count_json(port.received)},
            {"sent", count_json(port.sent)},
            {"dropped", dropped},
            {"missed", port.missed},
            {"unsent", port.unsent}};
}

Json json_of(const QueueCount& queue) {
    return {{"port", queue.port},
            {"queue", queue.is_best_effort != 0 ? Json() : Json(name_of_queue(queue))},
            {"length_bytes", queue.length},
            {"waiting", {{"frames", queue.frames}, {"bytes", queue.fill}}},
            {"highest_fill_bytes", queue.highest_fill},
            {"sent", count_json(queue.sent)},
            {"full", count_json(queue.full)},
            {"early", count_json(queue.early)},
            {"removed", count_json(queue.removed)}};
}

template <typename Record> Json json_of(const std::vector<Record>& records) {
    Json json = Json::array();
    for (const Record& record : records)
        json.push_back(json_of(record));
    return json;
}

} // namespace

const char* const no_counters = "no counters; emuswitch live makes them";

uint64_t drops_of(const PortCount& port) {
    return std::accumulate(port.dropped.begin(), port.dropped.end(), port.missed);
}

std::string drops_in_words(const PortCount& port) {
    std::vector<std::pair<uint64_t, std::string>> reasons;
    for (size_t reason = 0; reason < reason_count; ++reason)
        if (port.dropped[reason] != 0) reasons.emplace_back(port.dropped[reason], reason_word(reason));
    if (port.missed != 0) reasons.emplace_back(port.missed, "missed");
    std::stable_sort(reasons.begin(), reasons.end(),
                     [](const auto& one, const auto& other) { return one.first > other.first; });
    std::string words;
    for (const auto& [count, word] : reasons)
        words += (words.empty() ? "" : ", ") + word + " " + std::to_string(count);
    return words;
}

std::string name_of_queue(const QueueCount& queue) {
    if (queue.is_best_effort != 0) return "best effort";
    return std::to_string(queue.stream_index / 256 + 1) + "/" + std::to_string(queue.stream_index % 256 + 1) + "/" +
           std::to_string(queue.traffic_class);
}

void print_counters(std::ostream& out, const Published& published) {
    const SwitchCount& all = published.counts.all;
    if (published.is_live)
        out << "live (process " << all.process << "), ";
    else
        out << "not live any more; at its end: ";
    out << all.learned << " addresses learned, configuration changed " << all.changes << " times\n\n";
    print_table(out, table_of_ports(published.counts), "");
    if (published.counts.queues.empty()) return;
    out << "\n";
    print_table(out, table_of_queues(published.counts), "");
}

std::string counters_as_json(const std::optional<Published>& published) {
    if (!published) return json_lines({{"counters", nullptr}});
    const SwitchCount& all = published->counts.all;
    Json frames = Json::object();
    for (size_t verdict = 0; verdict < verdict_count; ++verdict)
        frames[dataplane::word_of(static_cast<dataplane::Verdict>(verdict))] = all.verdicts[verdict];
    return json_lines(
        {{"counters",
          {{"live", published->is_live},
           {"process", all.process},
           {"real_time", all.has_priority != 0},
           {"started_ns", all.started},
           {"told_ns", all.told},
           {"frames", frames},
           {"copies", all.copies},
           {"no_buffer", all.no_buffer},
           {"learned", all.learned},
           {"changes", {{"count", all.changes}, {"last_ns", all.last_change}, {"longest_ns", all.longest_change}}},
           {"ports", json_of(published->counts.ports)},
           {"queues", json_of(published->counts.queues)}}}});
}
