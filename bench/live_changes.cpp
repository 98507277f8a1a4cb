// How soon a sentence is in effect, and how long frames wait meanwhile: live_changes TOLVANE ROUNDS INTERFACE INTERFACE
// INTERFACE
//
// The interfaces are the other ends of ports 4, 9 and 3, in VLANs as bench/live_changes.play has them. A frame a few
// microseconds goes into port 4; each sentence changes where they come out, and is taken back by the next one. Prints a
// line a kind of sentence: name, number of sentences, then the median, the 99th percentile and the longest of the time
// from the commit of its change until the first frame that is judged by it has come out, of the same from the end of
// its process, and of the longest wait of a frame on its way around that time; in microseconds.
#include "companion/live/event_loop.h"
#include "companion/live/packet_port.h"

#include <fcntl.h>
#include <net/if.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

using namespace live;

namespace {

constexpr size_t frame_length = 60;
constexpr size_t number_at = 14; // in a frame
constexpr size_t ring_frames = 8192;
constexpr int64_t second = 1'000'000'000;
constexpr int64_t between_frames = 10'000; // ns
constexpr int64_t around = second / 50;    // for so long before and behind a sentence
constexpr int64_t never = INT64_MAX;

// Where frames come out behind each of the two sentences: bit 0 for port 9, bit 1 for port 3; 0: it does not show.
struct Kind {
    const char* name;
    const char* there;
    unsigned outcome_there;
    const char* back;
    unsigned outcome_back;
    const char* before; // sentences that make it ready, divided by semicolons
    const char* behind;
};
constexpr Kind kinds[] = {
    {"port", "set port 4 pvid bench2", 2, "set port 4 pvid bench1", 1, "", ""},
    {"VLAN", "add port 3 to vlan bench1 tag on", 3, "remove port 3 from vlan bench1", 1, "", ""},
    {"filter entry", "create sfdbentry 0a:00:00:00:00:99 in vlan bench1 port 9 flag 1", 1,
     "delete sfdbentry 0a:00:00:00:00:99 in vlan bench1", 3, "add port 3 to vlan bench1 tag on",
     "remove port 3 from vlan bench1"},
    {"mirror", "enable mirror 4", 3, "disable mirror 4", 1, "", ""},
    {"stream", "set stream 1/2 priority 3", 0, "set stream 1/2 priority 4", 0, "", ""},
};

struct Flight {
    int64_t sent = 0;
    std::array<int64_t, 2> arrived{never, never};
    unsigned outcome() const { return (arrived[0] != never ? 1U : 0U) | (arrived[1] != never ? 2U : 0U); }
    int64_t first() const { return std::min(arrived[0], arrived[1]); }
};

struct Times {
    std::vector<int64_t> from_commit;
    std::vector<int64_t> from_end;
    std::vector<int64_t> waits;
};

class Bench {
public:
    Bench(const char* program, char** interfaces) : tolvane(program) {
        for (size_t i = 0; i < 3; ++i)
            ports.emplace_back(interfaces[i], static_cast<int>(if_nametoindex(interfaces[i])), ring_frames);
        const char* const path = getenv("EMUSWITCH");
        store = Descriptor(open(path != nullptr ? path : "", O_RDONLY | O_CLOEXEC));
        if (!store.is_open()) throw std::runtime_error("EMUSWITCH names no store");
        constexpr std::array<uint8_t, 14> head{0x0a, 0, 0, 0, 0, 0x99, 0x0a, 0, 0, 0, 0, 1, 0x88, 0xb5};
        std::copy(head.begin(), head.end(), frame.begin());
    }

    void measure(const Kind& kind, int rounds) {
        say_all(kind.before);
        Times times;
        say(kind.there, kind.outcome_there, nullptr); // the first of a kind prepares its statements
        say(kind.back, kind.outcome_back, nullptr);
        for (int round = 0; round < rounds; ++round) {
            say(kind.there, kind.outcome_there, &times);
            say(kind.back, kind.outcome_back, &times);
        }
        say_all(kind.behind);
        printf("%-14s%6zu", kind.name, times.waits.size());
        print_times(times.from_commit);
        print_times(times.from_end);
        print_times(times.waits);
        printf("\n");
        fflush(stdout);
    }

private:
    uint32_t change_counter() const {
        uint32_t counted = 0;
        constexpr off_t place = 24;
        return pread(store.get(), &counted, sizeof counted, place) == sizeof counted ? counted : 0;
    }

    pid_t start(const std::string& sentence) const {
        std::vector<std::string> words{tolvane};
        std::istringstream rest(sentence);
        for (std::string word; rest >> word;)
            words.push_back(word);
        std::vector<char*> arguments;
        for (std::string& word : words)
            arguments.push_back(word.data());
        arguments.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
        pid_t child = 0;
        if (posix_spawn(&child, tolvane, &actions, nullptr, arguments.data(), environ) != 0)
            throw std::runtime_error(std::string(tolvane) + " cannot be run");
        posix_spawn_file_actions_destroy(&actions);
        return child;
    }

    void say_all(const char* sentences) const {
        std::istringstream all(sentences);
        for (std::string sentence; std::getline(all, sentence, ';');)
            waitpid(start(sentence), nullptr, 0);
    }

    void receive(std::vector<Flight>& flights) {
        for (size_t i = 0; i < 2; ++i) {
            PacketPort& port = ports[i + 1];
            for (std::span<const uint8_t> got; (got = port.next()).data() != nullptr;) {
                const size_t at = got.size() - frame_length + number_at; // behind a tag, where there is one
                uint32_t number = 0;
                if (got.size() < frame_length) continue;
                std::memcpy(&number, got.data() + at, sizeof number);
                number -= first_number;
                if (number < flights.size() && flights[number].arrived[i] == never)
                    flights[number].arrived[i] = monotonic_now();
            }
            port.release();
        }
        while (ports[0].next().data() != nullptr)
            continue;
        ports[0].release();
    }

    void send(std::vector<Flight>& flights) {
        const uint32_t number = first_number + static_cast<uint32_t>(flights.size());
        std::memcpy(&frame[number_at], &number, sizeof number);
        flights.emplace_back().sent = monotonic_now();
        ports[0].put({}, frame);
        ports[0].flush();
    }

    // Says it under traffic.
    void say(const char* sentence, unsigned outcome, Times* times) {
        std::vector<Flight> flights;
        flights.reserve(100'000);
        const uint32_t before = change_counter();
        const int64_t began = monotonic_now();
        int64_t committed = never;
        int64_t ended = never;
        int64_t due = began;
        pid_t child = 0;
        for (int64_t now = began; ended == never || now < ended + around; now = monotonic_now()) {
            if (child == 0 && now > began + around / 4) child = start(sentence);
            if (committed == never && change_counter() != before) committed = monotonic_now();
            if (child > 0 && ended == never && waitpid(child, nullptr, WNOHANG) == child) ended = monotonic_now();
            receive(flights);
            if (now < due) continue;
            send(flights);
            due = now + between_frames;
        }
        for (const int64_t end = monotonic_now() + around; monotonic_now() < end;)
            receive(flights);
        first_number += static_cast<uint32_t>(flights.size());
        if (times != nullptr) judge(flights, outcome, committed, ended, *times);
    }

    static void judge(const std::vector<Flight>& flights, unsigned outcome, int64_t committed, int64_t ended,
                      Times& times) {
        int64_t longest = 0;
        for (const Flight& flight : flights)
            if (flight.outcome() != 0) longest = std::max(longest, flight.first() - flight.sent);
        times.waits.push_back(longest);
        if (outcome == 0) return;
        const auto judged = std::find_if(flights.begin(), flights.end(),
                                         [&](const Flight& flight) { return flight.outcome() == outcome; });
        if (judged == flights.end() || committed == never) throw std::runtime_error("a sentence had no effect");
        times.from_commit.push_back(judged->first() - committed);
        times.from_end.push_back(std::max<int64_t>(judged->first() - ended, 0));
    }

    static void print_times(std::vector<int64_t>& times) {
        std::sort(times.begin(), times.end());
        for (const size_t percent : {size_t{50}, size_t{99}, size_t{100}})
            if (times.empty())
                printf("%9s", "-");
            else
                printf("%9lld",
                       static_cast<long long>(times[std::min(times.size() * percent / 100, times.size() - 1)] / 1000));
    }

    const char* tolvane;
    std::vector<PacketPort> ports; // of 4, 9 and 3
    Descriptor store;
    std::array<uint8_t, frame_length> frame{};
    uint32_t first_number = 0; // of the frames of this sentence
};

} // namespace

int main(int argc, char** argv) {
    if (argc != 6) {
        fprintf(stderr, "live_changes TOLVANE ROUNDS INTERFACE INTERFACE INTERFACE\n");
        return 2;
    }
    try {
        Bench bench(argv[1], argv + 3);
        for (const Kind& kind : kinds)
            bench.measure(kind, static_cast<int>(strtol(argv[2], nullptr, 10)));
    } catch (const std::exception& problem) {
        fprintf(stderr, "live_changes: %s\n", problem.what());
        return 1;
    }
    return 0;
}
