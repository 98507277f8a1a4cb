// Reads arbitrary capture files and plays what they hold through a switch with every kind of QoS. The first byte of an
// input says what stands before the rest: nothing, or the beginning of a sound file, so that chance need not find one;
// blocks may get lengths that fit. To see what an input does: scripts/fuzz --of captures --replay FILE.
#include "companion/capture_merger.h"
#include "companion/database.h"
#include "replay/replay_scene.h"

#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

using namespace dataplane;

namespace {

using Bytes = std::vector<uint8_t>;

void put(Bytes& bytes, uint32_t value, bool big_endian, int count = 4) {
    for (int i = 0; i < count; ++i)
        bytes.push_back(static_cast<uint8_t>(value >> 8 * (big_endian ? count - 1 - i : i)));
}

Bytes pcap_header(bool big_endian) {
    Bytes bytes;
    put(bytes, 0xa1b2c3d4, big_endian);
    put(bytes, 2, big_endian, 2);
    put(bytes, 4, big_endian, 2);
    for (const uint32_t value : {0U, 0U, 65535U, 1U})
        put(bytes, value, big_endian);
    return bytes;
}

// A block of which the rest of the input is cut so that its length is sound.
void put_block(Bytes& bytes, uint32_t type, const Bytes& body, bool big_endian) {
    const auto length = static_cast<uint32_t>(body.size() + 3) / 4 * 4 + 12;
    put(bytes, type, big_endian);
    put(bytes, length, big_endian);
    bytes.insert(bytes.end(), body.begin(), body.end());
    bytes.resize((bytes.size() + 3) / 4 * 4);
    put(bytes, length, big_endian);
}

Bytes pcapng_beginning(bool big_endian) {
    Bytes section;
    put(section, 0x1a2b3c4d, big_endian);
    put(section, 1, big_endian, 2);
    section.resize(16);
    Bytes interface;
    put(interface, 1, big_endian, 2);
    interface.resize(8);
    put(interface, 2, big_endian, 2);
    put(interface, 5, big_endian, 2);
    for (const char letter : {'p', 'o', 'r', 't', '2', '\0', '\0', '\0'})
        interface.push_back(static_cast<uint8_t>(letter));
    Bytes bytes;
    put_block(bytes, 0x0a0d0d0a, section, big_endian);
    put_block(bytes, 1, interface, big_endian);
    return bytes;
}

// Each piece begins with its type and length.
void put_blocks(Bytes& bytes, const uint8_t* data, size_t size, bool big_endian) {
    while (size >= 2) {
        const size_t length = std::min<size_t>(data[1], size - 2);
        const uint32_t type = data[0] == 0 ? 0x0a0d0d0a : data[0] & 7;
        put_block(bytes, type, Bytes(data + 2, data + 2 + length), big_endian);
        data += 2 + length;
        size -= 2 + length;
    }
}

Bytes file_of(const uint8_t* data, size_t size) {
    const uint8_t kind = size == 0 ? 0 : data[0];
    const bool big_endian = (kind & 1) != 0;
    Bytes bytes;
    if (size > 0) ++data, --size;
    switch (kind >> 1 & 3) {
    case 1: bytes = pcap_header(big_endian); break;
    case 2: bytes = pcapng_beginning(big_endian); break;
    case 3:
        bytes = pcapng_beginning(big_endian);
        put_blocks(bytes, data, size, big_endian);
        return bytes;
    default: break;
    }
    bytes.insert(bytes.end(), data, data + size);
    return bytes;
}

void require(bool holds, const char* what) {
    if (holds) return;
    std::printf("%s\n", what);
    std::abort();
}

void require_all_accounted_for(const ReplayEngine& engine) {
    const ReplayTotals& totals = engine.totals();
    uint64_t dropped = 0;
    for (const Count& count : totals.dropped)
        dropped += count.frames;
    require(totals.received.frames + totals.copies ==
                totals.sent.frames + totals.delivered.frames + dropped + engine.egress().waiting(),
            "a frame is lost from the books");
}

// The switch is changed, and back, after every eighth frame.
void play(const std::string& file, int32_t port) {
    static const Configuration first = replay_scene::all_qos().compile();
    static const Configuration second = replay_scene::all_qos_changed().compile();
    CaptureMerger captures;
    if (port == 0)
        captures.add(file);
    else
        captures.add(port, file);
    State state;
    adopt(state, nullptr, first);
    Recorder recorder = Recorder::to_file("/dev/null", true);
    EgressOptions options;
    options.most_frames = 64;
    ReplayEngine engine(first, state, options, captures.next_time().value_or(0), recorder);
    int32_t of_frame = 0;
    bool is_first = true;
    while (const CapturedFrame* const frame = captures.next(of_frame)) {
        if (frame->number % 8 == 0) {
            engine.advance(frame->time);
            adopt(state, is_first ? &first : &second, is_first ? second : first);
            engine.reconfigure(is_first ? second : first, frame->time);
            is_first = !is_first;
        }
        engine.receive(of_frame, *frame);
        require_all_accounted_for(engine);
    }
    engine.drain();
    require_all_accounted_for(engine);
    require(engine.egress().waiting() == 0, "a frame waits for ever");
    const ReplayTotals& totals = engine.totals();
    require(totals.received.frames == captures.tallies()[0].frames, "not every frame was received");
    if (std::getenv("FUZZ_SHOW") != nullptr)
        std::printf("%llu frames; %s\n", static_cast<unsigned long long>(totals.received.frames),
                    captures.tallies()[0].problem.c_str());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const Bytes bytes = file_of(data, size);
    const int descriptor = memfd_create("capture", 0);
    if (descriptor < 0 || write(descriptor, bytes.data(), bytes.size()) != static_cast<ssize_t>(bytes.size()))
        std::abort();
    const std::string file = "/proc/self/fd/" + std::to_string(descriptor);
    play(file, 0);
    play(file, 2);
    close(descriptor);
    return 0;
}
