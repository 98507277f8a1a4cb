// Tables of Ethernet addresses: flat, open-addressed, made for one look-up a frame.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace dataplane {

// An Ethernet address as a number: its first byte is the most significant of 48 bits.
using Mac = uint64_t;

constexpr Mac mac_of(const uint8_t* bytes) {
    return static_cast<Mac>(bytes[0]) << 40 | static_cast<Mac>(bytes[1]) << 32 | static_cast<Mac>(bytes[2]) << 24 |
           static_cast<Mac>(bytes[3]) << 16 | static_cast<Mac>(bytes[4]) << 8 | bytes[5];
}
constexpr bool is_group(Mac mac) {
    return (mac >> 40 & 1U) != 0;
}
constexpr Mac reserved_base = 0x0180c2000000; // the 16 addresses that no bridge forwards
constexpr bool is_reserved(Mac mac) {
    return (mac & ~Mac{0xf}) == reserved_base;
}

// A scope (a VLAN id, or a PortIndex) and an address, packed into 64 bits.
constexpr uint64_t address_key(uint32_t scope, Mac mac) {
    return static_cast<uint64_t>(scope) << 48 | mac;
}
constexpr uint32_t scope_of_key(uint64_t key) {
    return static_cast<uint32_t>(key >> 48);
}
constexpr Mac mac_of_key(uint64_t key) {
    return key & 0xffffffffffff;
}

// Entries by (scope, address). Linear probing over a power of two of slots, at most half of them in use.
template <typename Entry> class AddressTable {
public:
    const Entry* find(uint32_t scope, Mac mac) const {
        if (count_ == 0) return nullptr;
        const Slot& slot = slots_[place_of(address_key(scope, mac))];
        return slot.is_used ? &slot.entry : nullptr;
    }
    Entry* find(uint32_t scope, Mac mac) {
        if (count_ == 0) return nullptr;
        Slot& slot = slots_[place_of(address_key(scope, mac))];
        return slot.is_used ? &slot.entry : nullptr;
    }

    // The entry of that address, a new one where there was none.
    Entry& put(uint32_t scope, Mac mac) {
        if (2 * (count_ + 1) > slots_.size()) grow();
        const uint64_t key = address_key(scope, mac);
        Slot& slot = slots_[place_of(key)];
        if (!slot.is_used) {
            slot = {key, true, Entry{}};
            ++count_;
        }
        return slot.entry;
    }

    // Returns whether there was one. What stood behind it moves up, so that no look-up meets a gap.
    bool erase(uint32_t scope, Mac mac) {
        if (count_ == 0) return false;
        size_t place = place_of(address_key(scope, mac));
        if (!slots_[place].is_used) return false;
        for (size_t next = (place + 1) & mask(); slots_[next].is_used; next = (next + 1) & mask()) {
            if (((next - home(slots_[next].key)) & mask()) < ((next - place) & mask())) continue;
            slots_[place] = slots_[next];
            place = next;
        }
        slots_[place].is_used = false;
        --count_;
        return true;
    }

    size_t size() const { return count_; }
    void clear() {
        slots_.clear();
        count_ = 0;
    }

    // visit(scope, mac, entry) for each entry, in no order that counts.
    template <typename Visit> void for_each(Visit visit) {
        for (Slot& slot : slots_)
            if (slot.is_used) visit(scope_of_key(slot.key), mac_of_key(slot.key), slot.entry);
    }
    template <typename Visit> void for_each(Visit visit) const {
        for (const Slot& slot : slots_)
            if (slot.is_used) visit(scope_of_key(slot.key), mac_of_key(slot.key), slot.entry);
    }

private:
    struct Slot {
        uint64_t key = 0;
        bool is_used = false;
        Entry entry{};
    };
    size_t mask() const { return slots_.size() - 1; }
    size_t home(uint64_t key) const {
        const uint64_t mixed = (key ^ key >> 32) * 0x9e3779b97f4a7c15;
        return static_cast<size_t>(mixed >> 32) & mask();
    }
    // The slot of that key, or the free one where it would go.
    size_t place_of(uint64_t key) const {
        size_t place = home(key);
        while (slots_[place].is_used && slots_[place].key != key)
            place = (place + 1) & mask();
        return place;
    }
    void grow() {
        std::vector<Slot> old(slots_.empty() ? 16 : 2 * slots_.size());
        old.swap(slots_);
        for (const Slot& slot : old)
            if (slot.is_used) slots_[place_of(slot.key)] = slot;
    }

    std::vector<Slot> slots_;
    size_t count_ = 0;
};

} // namespace dataplane
