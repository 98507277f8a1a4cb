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
    Nanoseconds seen = 0;
};

// Learned addresses by (vid, address), counted by VLAN for the learning limits. What changes can be noted, so that it
// can be written back to the store.
class Learned {
public:
    // Null: unknown, or not seen for longer than its port's ageing time.
    const LearnedEntry* find(const Ports& ports, uint32_t vid, Mac mac, Nanoseconds now) const;
    void put(uint32_t vid, Mac mac, PortIndex port, Nanoseconds now);
    bool erase(uint32_t vid, Mac mac);
    size_t size() const { return entries_.size(); }
    size_t size_of(uint32_t vid) const { return vid < counts_.size() ? counts_[vid] : 0; }

    // Forgets what is older than its port's ageing time; a slice at a time, so that no frame waits for it.
    void age(const Ports& ports, Nanoseconds now);

    template <typename Visit> void for_each(Visit visit) const { entries_.for_each(visit); }

    // From now on notes which addresses came, moved to another port or went; a refreshed one has not changed.
    void note_changes() { notes_changes_ = true; }
    bool has_changes() const { return !changes_.empty(); }
    // The keys (`address_key`) of those since the last call; one may be there several times. What became of it is what
    // `for_each` or `peek` says now.
    std::vector<uint64_t> take_changes() { return std::exchange(changes_, {}); }
    // The entry whatever its age; null: there is none.
    const LearnedEntry* peek(uint32_t vid, Mac mac) const { return entries_.find(vid, mac); }

private:
    // To be called by whatever adds, moves or removes an entry.
    void note(uint32_t vid, Mac mac) {
        if (notes_changes_) changes_.push_back(address_key(vid, mac));
    }

    AddressTable<LearnedEntry> entries_;
    std::vector<uint32_t> counts_;
    std::vector<uint64_t> changes_;
    bool notes_changes_ = false;
};

// A token bucket of a policer, in units that leave no remainder: bits times nanoseconds per second.
struct Bucket {
    int64_t tokens = 0;
    Nanoseconds filled = 0;
    bool is_started = false; // a bucket starts full
};

struct State {
    Learned learned;
    std::vector<std::array<Bucket, class_count>> buckets; // by PortIndex
    std::vector<uint8_t> has_carrier;                     // by PortIndex: of the interface behind it; 1 where unknown
    std::vector<uint8_t> is_up;                           // by PortIndex: enabled and its link dependency met
};

// Fits the state to a configuration that takes the place of another: ports keep what was theirs by their number, what
// is learned on ports or in VLANs that are gone is forgotten, as is what static entries now stand for. `before` is null
// for the first.
void adopt(State& state, const Configuration* before, const Configuration& now);

// Computes `is_up` anew, after a change of the configuration or of a carrier.
void refresh_links(State& state, const Configuration& configuration);

} // namespace dataplane
