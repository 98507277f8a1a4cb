// The counters' file: fixed records, written under a sequence number that is odd meanwhile.
#include "companion/live/counters.h"

#include "companion/database.h"

#include <fcntl.h>
#include <sched.h>

#include <cerrno>
#include <cstddef>
#include <cstring>
#include <type_traits>

namespace live {

namespace {

static_assert(std::is_trivially_copyable_v<SwitchCount> && std::is_trivially_copyable_v<PortCount> &&
              std::is_trivially_copyable_v<QueueCount>);

// Of this machine's layout: it is read by the same program only, and never kept. Behind it the ports, then the queues.
struct Header {
    std::array<char, 16> signature{"emuswitch live1"};
    std::array<uint32_t, 3> sizes{sizeof(SwitchCount), sizeof(PortCount), sizeof(QueueCount)};
    uint32_t sequence = 0; // odd: being written
    uint32_t port_count = 0;
    uint32_t queue_count = 0;
    SwitchCount all;
};

constexpr uint32_t most_records = 100'000;

bool is_ours(const Header& header) {
    return header.signature == Header().signature && header.sizes == Header().sizes &&
           header.port_count < most_records && header.queue_count < most_records;
}

bool read_exactly(const Descriptor& file, void* target, size_t length, off_t at) {
    return pread(file.get(), target, length, at) == static_cast<ssize_t>(length);
}

// Nothing where it was written meanwhile.
std::optional<Counts> read_once(const Descriptor& file, Header header) {
    if (header.sequence % 2 != 0) return std::nullopt;
    Counts counts{header.all, std::vector<PortCount>(header.port_count), std::vector<QueueCount>(header.queue_count)};
    const size_t ports_size = counts.ports.size() * sizeof(PortCount);
    const size_t queues_size = counts.queues.size() * sizeof(QueueCount);
    if (!read_exactly(file, counts.ports.data(), ports_size, sizeof header) ||
        !read_exactly(file, counts.queues.data(), queues_size, static_cast<off_t>(sizeof header + ports_size)))
        return std::nullopt;
    const uint32_t sequence = header.sequence;
    if (!read_exactly(file, &header, sizeof header, 0) || header.sequence != sequence) return std::nullopt;
    for (PortCount& port : counts.ports)
        port.interface.back() = '\0'; // whatever the file says
    return counts;
}

// The lock of an open file ends with its process, however that ends.
struct flock whole_file() {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return lock;
}

bool is_locked(const Descriptor& opened) {
    struct flock lock = whole_file();
    return fcntl(opened.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

template <typename Record> void append(std::vector<char>& bytes, const Record* records, size_t count) {
    if (count == 0) return;
    const size_t at = bytes.size();
    bytes.resize(at + count * sizeof(Record));
    std::memcpy(bytes.data() + at, records, count * sizeof(Record));
}

} // namespace

std::string counters_path(const std::string& store) {
    return store + "-live";
}

CountersFile::CountersFile(const std::string& store)
    : file_(open(counters_path(store).c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0644)) {
    const std::string name = counters_path(store);
    if (!file_.is_open()) throw Failure(name + ": cannot be written (" + strerror(errno) + ")");
    struct flock lock = whole_file();
    if (fcntl(file_.get(), F_OFD_SETLK, &lock) != 0)
        throw Failure(store + ": another live switch runs on it; end that one first");
    if (ftruncate(file_.get(), 0) != 0) throw Failure(name + ": cannot be written (" + strerror(errno) + ")");
}

void CountersFile::publish(const Counts& counts) {
    Header header;
    header.sequence = sequence_ + 1;
    header.port_count = static_cast<uint32_t>(counts.ports.size());
    header.queue_count = static_cast<uint32_t>(counts.queues.size());
    header.all = counts.all;
    bytes_.clear();
    append(bytes_, &header, 1);
    append(bytes_, counts.ports.data(), counts.ports.size());
    append(bytes_, counts.queues.data(), counts.queues.size());
    sequence_ += 2;
    constexpr off_t sequence_at = offsetof(Header, sequence);
    if (pwrite(file_.get(), &header.sequence, sizeof header.sequence, sequence_at) < 0) return;
    if (pwrite(file_.get(), bytes_.data(), bytes_.size(), 0) != static_cast<ssize_t>(bytes_.size())) return;
    if (pwrite(file_.get(), &sequence_, sizeof sequence_, sequence_at) < 0) return;
}

std::optional<Published> read_counters(const std::string& store) {
    const Descriptor file(open(counters_path(store).c_str(), O_RDONLY | O_CLOEXEC));
    if (!file.is_open()) return std::nullopt;
    constexpr int most_attempts = 10'000;
    for (int attempt = 0; attempt < most_attempts; ++attempt) {
        Header header;
        if (!read_exactly(file, &header, sizeof header, 0)) break; // nothing published yet
        if (!is_ours(header))
            throw Failure(counters_path(store) + ": made by another version of emuswitch; start the live switch again");
        if (auto counts = read_once(file, header)) return Published{std::move(*counts), is_locked(file)};
        sched_yield();
    }
    return std::nullopt;
}

} // namespace live
