// Prints how many frames a second the pipeline forwards on one core, by the processor's time that it takes. It judges
// nothing. bench/dataplane builds and runs it.
#include "dataplane/random.h"
#include "dataplane/test_switch.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>

using namespace dataplane;
using namespace dataplane_test;

namespace {

constexpr size_t address_count = 2000;
constexpr size_t frame_count = 16384;
constexpr Mac first_address = 0x020000000000;

double seconds_used() {
    timespec time{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

// Frames one after the other in memory, as a capture or a ring has them.
class Traffic {
public:
    void add(int32_t port, Bytes bytes) {
        ports_.push_back(static_cast<PortIndex>(port - 1));
        begins_.push_back(bytes_.size());
        lengths_.push_back(bytes.size());
        bytes_.insert(bytes_.end(), bytes.begin(), bytes.end());
    }
    size_t size() const { return ports_.size(); }
    Frame frame(size_t place, Nanoseconds time) const {
        return {ports_[place], std::span(bytes_).subspan(begins_[place], lengths_[place]), time};
    }

private:
    std::vector<PortIndex> ports_;
    std::vector<size_t> begins_;
    std::vector<size_t> lengths_;
    Bytes bytes_;
};

using Forward = void (*)(const Configuration&, State&, const Frame&, Outcome&);

void measure(const char* name, TestSwitch& device, const Traffic& traffic, Forward forward_one, size_t rounds) {
    device.apply();
    Nanoseconds time = 0;
    size_t outputs = 0;
    size_t drops = 0;
    double best = 0;
    for (size_t round = 0; round <= rounds; ++round) {
        const double begin = seconds_used();
        for (size_t place = 0; place < traffic.size(); ++place) {
            forward_one(device.configuration, device.state, traffic.frame(place, time), device.outcome);
            outputs += device.outcome.outputs.size();
            drops += device.outcome.verdict == Verdict::dropped ? 1 : 0;
            time += 100;
        }
        const double rate = static_cast<double>(traffic.size()) / (seconds_used() - begin);
        if (round > 0 && rate > best) best = rate; // the first round learns
    }
    const double frames = static_cast<double>(traffic.size()) * static_cast<double>(rounds + 1);
    std::printf("%-44s %8.2f M frames/s, %.2f outputs and %.2f drops a frame\n", name, best / 1e6,
                static_cast<double>(outputs) / frames, static_cast<double>(drops) / frames);
}

// Four ports and the members of VLAN 10.
void add_ports(Parts& parts, bool is_tagged) {
    for (int32_t port = 1; port <= 4; ++port)
        parts.add_port(port);
    parts.filters.learned_room = 1'000'000;
    parts.add_vlan(10);
    for (int32_t port = 1; port <= 4; ++port) {
        if (is_tagged)
            parts.add_tagged(10, port);
        else
            parts.add_untagged(10, port);
        parts.add_own_address(10, 0x0200ff000000 + static_cast<Mac>(port), port);
    }
}

int32_t home_of(size_t address) {
    return static_cast<int32_t>(address % 4) + 1;
}

// Between random ones of the addresses, of which each stays on one port; all of them speak at first.
Traffic between_addresses(const Bytes& tags, const Bytes& payload = {}) {
    Traffic traffic;
    Random random(1);
    for (size_t place = 0; place < frame_count; ++place) {
        const size_t from = place < address_count ? place : random.below(address_count);
        size_t to = random.below(address_count);
        if (home_of(to) == home_of(from)) to = (to + 1) % address_count;
        Bytes bytes = frame_of(first_address + to, first_address + from, tags, 0x0800, payload);
        traffic.add(home_of(from), std::move(bytes));
    }
    return traffic;
}

// --- Lists of rules ---

constexpr size_t rule_count = 4000;

// An address and a port for each line.
std::vector<Rule> rules_of_hosts() {
    Random random(2);
    std::vector<Rule> rules(rule_count);
    for (size_t place = 0; place < rules.size(); ++place) {
        const uint32_t host = 0x0a000000 + random.below(1U << 16);
        const uint32_t port = random.below(1000);
        rules[place].line = static_cast<int32_t>(place + 1);
        rules[place].matches = {{Field::source_ip, host, host}, {Field::destination_port, port, port}};
    }
    return rules;
}

// What people write: networks, ranges of ports, priorities, protocols, in any combination.
std::vector<Rule> rules_of_all_kinds() {
    Random random(3);
    std::vector<Rule> rules(rule_count);
    for (size_t place = 0; place < rules.size(); ++place) {
        std::vector<FieldMatch>& matches = rules[place].matches;
        rules[place].line = static_cast<int32_t>(place + 1);
        const uint32_t mask = 0xffffffffU << (random.below(3) * 4);
        const uint32_t host = (0x0a000000 + random.below(1U << 16)) & mask;
        matches.push_back({random.one_in(2) ? Field::source_ip : Field::destination_ip, host, host, mask});
        const uint32_t port = random.below(60000);
        if (random.one_in(2)) matches.push_back({Field::destination_port, port, port + random.below(5000)});
        if (random.one_in(4)) matches.push_back({Field::source_port, port, port});
        if (random.one_in(3)) matches.push_back({Field::protocol, 17, 17, 0xff});
        if (random.one_in(6)) matches.push_back({Field::priority, random.below(4), 7, 7});
        if (random.one_in(6)) matches.push_back({Field::tos, 0xb8, 0xb8, 0xfc});
        if (random.one_in(10)) matches.push_back({Field::extraction_1, 0x45000000, 0x45000000, 0xff000000});
    }
    return rules;
}

// Frames of which none has the fields of another.
Traffic all_different() {
    Traffic traffic;
    Random random(4);
    for (size_t place = 0; place < 4 * frame_count; ++place) {
        const size_t from = place < address_count ? place : random.below(address_count);
        const size_t to = (from + 1 + random.below(2)) % address_count;
        Ipv4 fields;
        fields.source = 0x0a000000 + random.below(1U << 16);
        fields.destination = 0x0a000000 + random.below(1U << 16);
        fields.destination_port = static_cast<uint16_t>(random.below(random.one_in(2) ? 1000 : 65536));
        fields.source_port = static_cast<uint16_t>(random.below(65536));
        fields.protocol = random.one_in(2) ? 17 : 6;
        fields.tos = random.one_in(2) ? 0xb8 : 0;
        traffic.add(home_of(from),
                    frame_of(first_address + to, first_address + from,
                             tag(0x8100, 10, static_cast<uint8_t>(random.below(8))), 0x0800, packet_of(fields)));
    }
    return traffic;
}

void measure_list(const char* name, const std::vector<Rule>& rules, size_t rounds) {
    TestSwitch device;
    add_ports(device.parts, true);
    const double begin = seconds_used();
    device.parts.bind_list(10, 1, 1, Marking::normal, rules);
    std::printf("%-44s %8.2f ms to compile\n", name, (seconds_used() - begin) * 1e3);
    for (int32_t port = 1; port <= 4; ++port) {
        device.parts.member(10, port).list = 0;
        device.parts.member(10, port).extraction[0] = {18, 4};
    }
    const Traffic traffic = all_different();
    measure("", device, traffic, forward, rounds);
}

} // namespace

int main(int count, char** words) {
    const size_t rounds = count > 1 ? std::strtoul(words[1], nullptr, 10) : 100;
    const Bytes tag_10 = tag(0x8100, 10, 3);
    for (const bool is_tagged : {false, true}) {
        TestSwitch device;
        add_ports(device.parts, is_tagged);
        measure(is_tagged ? "64 bytes, 2,000 addresses, tagged" : "64 bytes, 2,000 addresses, untagged", device,
                between_addresses(is_tagged ? tag_10 : Bytes{}), forward, rounds);
        measure("  told", device, between_addresses(is_tagged ? tag_10 : Bytes{}), forward_told, rounds / 4);
    }
    {
        TestSwitch device;
        add_ports(device.parts, false);
        for (int32_t port = 1; port <= 4; ++port)
            device.parts.port(port).policers[0] = {100'000'000, 32000, 1};
        measure("64 bytes, policed", device, between_addresses({}), forward, rounds);
    }
    measure_list("4,000 rules: a host and a port", rules_of_hosts(), rounds / 4);
    measure_list("4,000 rules of all kinds", rules_of_all_kinds(), rounds / 4);
    return 0;
}
