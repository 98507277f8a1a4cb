// Learned addresses and how they come of age.
#include "dataplane/state.h"

#include <algorithm>
#include <limits>

namespace dataplane {
namespace {

constexpr int64_t second = 1'000'000'000;

// When an entry that was seen then is forgotten, if nothing is heard until then.
Nanoseconds end_of(const Ports& ports, const LearnedEntry& entry) {
    const int64_t aging = int64_t{ports.ports[entry.port].aging} * second + 1;
    constexpr Nanoseconds never = std::numeric_limits<Nanoseconds>::max();
    return entry.seen > never - aging ? never : entry.seen + aging;
}

constexpr auto is_later = [](const auto& one, const auto& other) {
    return one.at != other.at ? one.at > other.at : one.key > other.key;
};

} // namespace

const LearnedEntry* Learned::find(const Ports& ports, uint32_t vid, Mac mac, Nanoseconds now) const {
    const LearnedEntry* entry = entries_.find(vid, mac);
    return entry != nullptr && now < end_of(ports, *entry) ? entry : nullptr;
}

bool Learned::refresh(const Ports& ports, uint32_t vid, Mac mac, PortIndex port, Nanoseconds now) {
    LearnedEntry* entry = entries_.find(vid, mac);
    if (entry == nullptr || entry->port != port || now >= end_of(ports, *entry)) return false;
    entry->seen = now;
    entry->is_stored = false;
    return true;
}

LearnedEntry& Learned::entry_put(uint32_t vid, Mac mac, PortIndex port, Nanoseconds now) {
    const size_t size_before = entries_.size();
    LearnedEntry& entry = entries_.put(vid, mac);
    if (entry.port != port) note(vid, mac);
    // The port, and with it the time, may be another: it is looked at with the next frame.
    if (entry.port != port) check_later(address_key(vid, mac), entry, now);
    entry.port = port;
    entry.seen = now;
    if (entries_.size() == size_before) return entry;
    if (vid >= counts_.size()) counts_.resize(vid + size_t{1});
    ++counts_[vid];
    return entry;
}

void Learned::put(uint32_t vid, Mac mac, PortIndex port, Nanoseconds now) {
    entry_put(vid, mac, port, now).is_stored = false;
}

void Learned::put_stored(uint32_t vid, Mac mac, PortIndex port, Nanoseconds now) {
    entry_put(vid, mac, port, now).is_stored = true;
}

bool Learned::erase(uint32_t vid, Mac mac) {
    if (!entries_.erase(vid, mac)) return false;
    --counts_[vid];
    note(vid, mac);
    return true;
}

void Learned::renumber(const std::vector<PortIndex>& new_index) {
    erase_if([&](uint32_t, Mac, const LearnedEntry& entry) { return new_index[entry.port] == no_port; });
    entries_.for_each([&](uint32_t, Mac, LearnedEntry& entry) { entry.port = new_index[entry.port]; });
}

// Checks of entries that were erased meanwhile are dropped once they are the more.
void Learned::check_later(uint64_t key, LearnedEntry& entry, Nanoseconds at) {
    entry.checked_at = at;
    if (checks_.size() > 64 + 2 * entries_.size()) {
        std::erase_if(checks_, [&](const Check& check) {
            const LearnedEntry* its = entries_.find(scope_of_key(check.key), mac_of_key(check.key));
            return its == nullptr || its->checked_at != check.at;
        });
        std::make_heap(checks_.begin(), checks_.end(), is_later);
    }
    checks_.push_back({at, key});
    std::push_heap(checks_.begin(), checks_.end(), is_later);
}

void Learned::check_age(const Ports& ports, Nanoseconds now, size_t at_most) {
    for (size_t count = 0; count < at_most && !checks_.empty() && checks_.front().at <= now; ++count) {
        const Check check = checks_.front();
        std::pop_heap(checks_.begin(), checks_.end(), is_later);
        checks_.pop_back();
        const uint32_t vid = scope_of_key(check.key);
        LearnedEntry* entry = entries_.find(vid, mac_of_key(check.key));
        if (entry == nullptr || entry->checked_at != check.at) continue;
        if (now >= end_of(ports, *entry))
            erase(vid, mac_of_key(check.key));
        else
            check_later(check.key, *entry, end_of(ports, *entry));
    }
}

void Learned::check_all_again() {
    checks_.clear();
    entries_.for_each([&](uint32_t vid, Mac mac, LearnedEntry& entry) {
        entry.checked_at = entry.seen;
        checks_.push_back({entry.seen, address_key(vid, mac)});
    });
    std::make_heap(checks_.begin(), checks_.end(), is_later);
}

} // namespace dataplane
