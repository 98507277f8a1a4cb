// A told frame as JSON for programs: one object, on one line. docs/trace.schema.json describes it.
#pragma once

#include "dataplane/forward.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Text that grows; what is put there has been made room for before, so that putting is copying.
class LineBuffer {
public:
    // Room for so many bytes more.
    void make_room(size_t count) {
        if (length_ + count > bytes_.size()) bytes_.resize(2 * bytes_.size() + count);
    }
    void put(char c) { bytes_[length_++] = c; }
    void put(std::string_view text) {
        text.copy(&bytes_[length_], text.size());
        length_ += text.size();
    }
    void put_number(uint32_t number);
    void put_hex(std::span<const uint8_t> data);
    std::string_view text() const { return {bytes_.data(), length_}; }
    void clear() { length_ = 0; }

private:
    std::string bytes_;
    size_t length_ = 0;
};

class TraceWriter {
public:
    // Adds the object of a frame to `out`, without a line feed. `configuration` is the one that the frame met.
    void write(LineBuffer& out, const dataplane::Configuration& configuration, const dataplane::Frame& frame,
               const dataplane::Outcome& outcome);

private:
    std::string_view name_of_vlan(const std::shared_ptr<const dataplane::Vlans>& vlans, uint32_t vid);

    std::shared_ptr<const dataplane::Vlans> named_; // whose names are kept
    std::vector<std::string> names_;                // as JSON, by place; empty: not asked for yet
};

// A text as JSON has it, with its quotes.
std::string json_text(std::string_view text);
