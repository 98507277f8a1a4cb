// What a switch received and sent, as a capture: one pcapng with an interface for each port, or a pcap for each port.
#pragma once

#include "companion/capture.h"
#include "dataplane/egress.h"

#include <map>
#include <string>
#include <vector>

// What became of an output of a received frame before it was sent.
struct OutputFate {
    dataplane::DropReason reason = dataplane::DropReason::none;
    uint32_t queue = 0; // its place in the egress; of no meaning where the frame was delivered
};

// A frame that leaves, as it was put aside when it was received.
struct LeavingFrame {
    std::span<const uint8_t> bytes;
    uint64_t id = 0;           // that of the frame received
    uint32_t interface = 0;    // of the port that sends it
    uint32_t from = 0;         // of the port that received it
    uint16_t mirror = 0;       // it is a copy by this mirror
    bool is_delivered = false; // to the switch itself, without a queue
    uint32_t queue = 0;        // the one that it waited in
    int64_t waited = 0;        // nanoseconds
    int64_t time = 0;          // likewise, since 1970
};

// Texts that are wanted again and again, by what they tell. A text stays until another one needs its place.
class TextCache {
public:
    // The text of a key, some numbers, as make() gives it where it is not there. It is valid until the next call.
    template <typename Make> const std::string& find(std::span<const uint64_t> key, Make make) {
        if (entries_.empty()) entries_.resize(size_t{1} << size_bits);
        Entry& entry = entries_[place_of(key)];
        if (!entry.has(key)) entry = {{key.begin(), key.end()}, make()};
        return entry.text;
    }
    void clear() { entries_.clear(); }

private:
    static constexpr unsigned size_bits = 10;

    struct Entry {
        std::vector<uint64_t> key; // empty: there is no text
        std::string text;

        bool has(std::span<const uint64_t> other) const {
            if (key.size() != other.size()) return false;
            for (size_t i = 0; i < other.size(); ++i)
                if (key[i] != other[i]) return false;
            return true;
        }
    };

    static size_t place_of(std::span<const uint64_t> key) {
        uint64_t hash = 0;
        for (const uint64_t number : key)
            hash = (hash ^ hash >> 32 ^ number) * 0x9e3779b97f4a7c15;
        return static_cast<size_t>(hash >> (64 - size_bits));
    }

    std::vector<Entry> entries_;
};

// Interfaces are numbered here as ports come, and known by these numbers: `interface_of`. All functions throw `Failure`
// where the files cannot be written.
class Recorder {
public:
    Recorder() = default; // writes nothing
    static Recorder to_file(const std::string& file, bool with_received);
    static Recorder to_folder(const std::string& folder); // FOLDER/port1.pcap, what port 1 sent

    bool is_recording() const { return capture_ || !folder_.empty(); }

    // To be called before the first frame, and with each new configuration.
    void adopt(const dataplane::Configuration& configuration);

    // Of a port, and of the switch itself for `no_port`.
    uint32_t interface_of(dataplane::PortIndex port) const;

    // A frame as it came, and what became of each of its outputs.
    void write_received(dataplane::PortIndex port, const CapturedFrame& frame, uint64_t id,
                        const dataplane::Outcome& outcome, const std::vector<OutputFate>& fates,
                        const dataplane::Egress& egress);
    // One that arrived where no port is.
    void write_stray(const std::string& interface_name, const CapturedFrame& frame, uint64_t id);
    void write_sent(const LeavingFrame& frame, const dataplane::Egress& egress);
    void flush();
    void close();

private:
    uint32_t interface_named(const std::string& name);
    const std::string& name_of_queue(uint32_t queue, const dataplane::Egress& egress);
    const std::string& comment_on_received(const dataplane::Outcome& outcome, const std::vector<OutputFate>& fates,
                                           const dataplane::Egress& egress);
    const std::string& begin_of_sent(const LeavingFrame& frame, const dataplane::Egress& egress);
    std::string tell_outputs(const dataplane::Outcome& outcome, const std::vector<OutputFate>& fates,
                             const dataplane::Egress& egress);

    std::unique_ptr<CaptureWriter> capture_;
    bool with_received_ = true;
    std::string folder_;
    std::vector<std::unique_ptr<PcapWriter>> files_; // by interface
    std::map<std::string, uint32_t> interfaces_;     // by name
    std::vector<std::string> names_;                 // by interface
    std::vector<uint32_t> by_port_;                  // by PortIndex
    uint32_t of_switch_ = 0;
    dataplane::Configuration configuration_;
    std::vector<std::string> queue_names_; // by place in the egress
    TextCache received_;
    TextCache sent_;
    std::vector<uint64_t> key_;
    std::string comment_;
};

// "1/2/5", or "best effort of port 1".
std::string text_of(const dataplane::QueueName& name);
