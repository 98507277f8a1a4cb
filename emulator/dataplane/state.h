// What the switch remembers from frame to frame: learned addresses, token buckets, which links are up.
#pragma once

#include "dataplane/frame.h"
#include "dataplane/tables.h"

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace dataplane {

struct LearnedEntry {
    PortIndex port = no_port;
    bool is_stored = false; // it came from the store, which keeps no times, and no frame has refreshed it since
    Nanoseconds seen = 0;
    Nanoseconds checked_at = 0; // when it is looked at whether it has come of age
};

// Learned addresses by (vid, address), counted by VLAN for the learning limits. What changes can be noted, so that it
// can be written back to the store.
class Learned {
public:
    // Null: unknown, or not seen for longer than its port's ageing time.
    const LearnedEntry* find(const Ports& ports, uint32_t vid, Mac mac, Nanoseconds now) const;
    // The address was seen on that port: a new entry, or one that moves, or is refreshed.
    void put(uint32_t vid, Mac mac, PortIndex port, Nanoseconds now);
    // The store knows the address on that port.
    void put_stored(uint32_t vid, Mac mac, PortIndex port, Nanoseconds now);
    // As `put`, where there is such an entry of that port that has not come of age; false: there is none.
    bool refresh(const Ports& ports, uint32_t vid, Mac mac, PortIndex port, Nanoseconds now);
    bool erase(uint32_t vid, Mac mac);
    // Erases the entries of which condition(vid, mac, entry) is true.
    template <typename Condition> void erase_if(Condition condition) {
        std::vector<uint64_t> keys;
        entries_.for_each([&](uint32_t vid, Mac mac, const LearnedEntry& entry) {
            if (condition(vid, mac, entry)) keys.push_back(address_key(vid, mac));
        });
        for (const uint64_t key : keys)
            erase(scope_of_key(key), mac_of_key(key));
    }
    // Gives each entry another port; where that is `no_port`, it goes.
    void renumber(const std::vector<PortIndex>& new_index);
    size_t size() const { return entries_.size(); }
    size_t size_of(uint32_t vid) const { return vid < counts_.size() ? counts_[vid] : 0; }

    // Forgets what is older than its port's ageing time: as much as there is, or a slice of it so that no frame waits.
    static constexpr size_t all = static_cast<size_t>(-1);
    void age(const Ports& ports, Nanoseconds now, size_t at_most = all) {
        if (!checks_.empty() && checks_.front().at <= now) check_age(ports, now, at_most);
    }
    // To be called when ageing times have changed.
    void check_all_again();

    template <typename Visit> void for_each(Visit visit) const { entries_.for_each(visit); }

    // From now on notes which addresses came, moved to another port or went; a refreshed one has not changed.
    void note_changes() { notes_changes_ = true; }
    bool has_changes() const { return !changes_.empty(); }
    // The keys (`address_key`) of those since the last call; one may be there several times. What became of it is what
    // `for_each` or `peek` says now.
    std::vector<uint64_t> take_changes() { return std::exchange(changes_, {}); }
    // How many looks at the age of entries lie ahead; a few more than there are entries, at most.
    size_t check_count() const { return checks_.size(); }
    // The entry whatever its age; null: there is none.
    const LearnedEntry* peek(uint32_t vid, Mac mac) const { return entries_.find(vid, mac); }

private:
    // An entry is looked at when it could have come of age at the earliest, and once more when it was seen since: so
    // a frame that refreshes it has nothing to do here. Of an address, that one counts which its entry names.
    struct Check {
        Nanoseconds at = 0;
        uint64_t key = 0;
    };
    LearnedEntry& entry_put(uint32_t vid, Mac mac, PortIndex port, Nanoseconds now);
    void check_later(uint64_t key, LearnedEntry& entry, Nanoseconds at);
    void check_age(const Ports& ports, Nanoseconds now, size_t at_most);

    // To be called by whatever adds, moves or removes an entry.
    void note(uint32_t vid, Mac mac) {
        if (notes_changes_) changes_.push_back(address_key(vid, mac));
    }

    AddressTable<LearnedEntry> entries_;
    std::vector<uint32_t> counts_;
    std::vector<Check> checks_; // a heap, the earliest in front
    std::vector<uint64_t> changes_;
    bool notes_changes_ = false;
};

// A token bucket of a policer, in units that leave no remainder: bits, in billionths.
struct Bucket {
    uint64_t tokens = 0;
    Nanoseconds filled = 0;
    bool is_started = false; // a bucket starts full
};

struct State {
    Learned learned;
    std::vector<std::array<Bucket, class_count>> buckets; // by PortIndex
    std::vector<uint8_t> has_carrier;                     // by PortIndex: of the interface behind it; 1 where unknown
    std::vector<uint8_t> is_bound;                        // by PortIndex: frames come and go, whatever its type
    std::vector<uint8_t> is_up;                           // by PortIndex: enabled, a carrier, its link dependency met
};

// Fits the state to a configuration that takes the place of another: ports keep what was theirs by their number, what
// is learned on ports, in VLANs or of members that are gone is forgotten, as is what static entries now stand for, and
// a policer with a new rate or burst starts full. `before` is null for the first; then learned entries have the
// PortIndex of `now` already, as have `has_carrier` and `is_bound` if they are there.
void adopt(State& state, const Configuration* before, const Configuration& now);

// Computes `is_up` anew, after a change of a carrier; `adopt` does it itself.
void refresh_links(State& state, const Configuration& configuration);

} // namespace dataplane
