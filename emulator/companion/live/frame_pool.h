// Frames that wait in queues.
#pragma once

#include "dataplane/egress.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstring>
#include <memory>
#include <span>
#include <vector>

namespace live {

// Keeps copies of frames under handles. Its room grows as it is needed, and stays.
class FramePool {
public:
    // The longest that leaves: what was received, and the tags of a VLAN and of a mirror.
    static constexpr size_t longest = dataplane::longest_frame + 32;

    dataplane::FrameHandle keep(std::span<const uint8_t> head, std::span<const uint8_t> rest) {
        if (unused_.empty()) grow();
        const dataplane::FrameHandle handle = unused_.back();
        unused_.pop_back();
        Place& place = at(handle);
        std::memcpy(place.bytes.data(), head.data(), head.size());
        std::memcpy(place.bytes.data() + head.size(), rest.data(), rest.size());
        place.length = static_cast<uint16_t>(head.size() + rest.size());
        return handle;
    }
    std::span<const uint8_t> bytes(dataplane::FrameHandle handle) {
        const Place& place = at(handle);
        return {place.bytes.data(), place.length};
    }
    void give_back(dataplane::FrameHandle handle) { unused_.push_back(handle); }

private:
    struct Place {
        uint16_t length;
        std::array<uint8_t, longest> bytes;
    };
    static constexpr size_t chunk_size = 64; // places that are allocated at once
    using Chunk = std::array<Place, chunk_size>;

    Place& at(dataplane::FrameHandle handle) { return (*chunks_[handle / chunk_size])[handle % chunk_size]; }
    void grow() {
        const size_t first = chunks_.size() * chunk_size;
        chunks_.push_back(std::make_unique_for_overwrite<Chunk>());
        for (size_t i = chunk_size; i > 0; --i)
            unused_.push_back(static_cast<dataplane::FrameHandle>(first + i - 1));
    }

    std::vector<std::unique_ptr<Chunk>> chunks_;
    std::vector<dataplane::FrameHandle> unused_;
};

} // namespace live
