// What the switch remembers: learned addresses, token buckets, links; and how they fit a new configuration.
#include "dataplane/policer.h"
#include "dataplane/random.h"
#include "dataplane/test_switch.h"

#include <gtest/gtest.h>

#include <limits>
#include <map>
#include <set>

using namespace dataplane;
using namespace dataplane_test;

namespace {

constexpr Nanoseconds second = 1'000'000'000;

// --- Learned addresses ---

Ports ports_of_age(std::initializer_list<uint32_t> ages) {
    Ports ports;
    for (const uint32_t age : ages) {
        ports.ports.emplace_back().number = static_cast<int32_t>(ports.ports.size());
        ports.ports.back().aging = age;
    }
    return ports;
}

// The same with the plainest of means.
class PlainLearned {
public:
    void put(uint32_t vid, Mac mac, PortIndex port, Nanoseconds now) { entries_[{vid, mac}] = {port, now}; }
    void erase(uint32_t vid, Mac mac) { entries_.erase({vid, mac}); }
    void age(const Ports& ports, Nanoseconds now) {
        std::erase_if(entries_, [&](const auto& entry) {
            return now - entry.second.second > ports.ports[entry.second.first].aging * second;
        });
    }
    const auto& entries() const { return entries_; }

private:
    std::map<std::pair<uint32_t, Mac>, std::pair<PortIndex, Nanoseconds>> entries_;
};

void expect_same(const Learned& learned, const PlainLearned& plain) {
    ASSERT_EQ(learned.size(), plain.entries().size());
    std::map<uint32_t, size_t> counts;
    learned.for_each([&](uint32_t vid, Mac mac, const LearnedEntry& entry) {
        const auto found = plain.entries().find({vid, mac});
        ASSERT_NE(found, plain.entries().end());
        EXPECT_EQ(entry.port, found->second.first);
        EXPECT_EQ(entry.seen, found->second.second);
        ++counts[vid];
    });
    for (uint32_t vid = 0; vid < 12; ++vid)
        EXPECT_EQ(learned.size_of(vid), counts[vid]);
}

TEST(Learned, AgreesWithAPlainTable) {
    for (uint64_t seed = 0; seed < 12; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        Ports ports = ports_of_age({60, 300, 61, 1000000});
        Learned learned;
        PlainLearned plain;
        Nanoseconds now = 0;
        for (int i = 0; i < 1000; ++i) {
            now += random.one_in(50) ? random.below(200) * second : random.below(2'000'000'000);
            const uint32_t vid = random.below(10);
            const Mac mac = random.below(30);
            const auto port = static_cast<PortIndex>(random.below(4));
            learned.age(ports, now);
            plain.age(ports, now);
            if (random.one_in(200)) {
                ports.ports[port].aging = 30 + random.below(100);
                learned.check_all_again();
            }
            if (random.one_in(5)) {
                const bool was_there = plain.entries().count({vid, mac}) > 0;
                EXPECT_EQ(learned.erase(vid, mac), was_there);
                plain.erase(vid, mac);
            } else if (!learned.refresh(ports, vid, mac, port, now)) {
                learned.put(vid, mac, port, now);
                plain.put(vid, mac, port, now);
            } else {
                EXPECT_EQ(plain.entries().at({vid, mac}).first, port);
                plain.put(vid, mac, port, now);
            }
            learned.age(ports, now);
            plain.age(ports, now);
            ASSERT_NO_FATAL_FAILURE(expect_same(learned, plain));
        }
    }
}

TEST(Learned, FindsNoneThatHasComeOfAgeBeforeItIsForgotten) {
    const Ports ports = ports_of_age({60});
    Learned learned;
    learned.put(1, 5, 0, 0);
    EXPECT_NE(learned.find(ports, 1, 5, 60 * second), nullptr);
    EXPECT_EQ(learned.find(ports, 1, 5, 60 * second + 1), nullptr);
    EXPECT_FALSE(learned.refresh(ports, 1, 5, 0, 60 * second + 1));
    EXPECT_NE(learned.peek(1, 5), nullptr);
    EXPECT_EQ(learned.find(ports, 2, 5, 0), nullptr);
}

TEST(Learned, ForgetsInSlices) {
    const Ports ports = ports_of_age({60});
    Learned learned;
    for (Mac mac = 0; mac < 100; ++mac)
        learned.put(1, mac, 0, 0);
    learned.age(ports, 1); // looks at all of them for the first time
    learned.age(ports, 61 * second, 30);
    EXPECT_EQ(learned.size(), 70U);
    learned.age(ports, 61 * second);
    EXPECT_EQ(learned.size(), 0U);
}

TEST(Learned, KnowsWhatOnlyTheStoreHasSeen) {
    Ports ports;
    ports.ports.resize(2);
    Learned learned;
    learned.put_stored(1, 5, 0, 0);
    EXPECT_TRUE(learned.peek(1, 5)->is_stored);
    EXPECT_EQ(learned.size_of(1), 1U);
    EXPECT_TRUE(learned.refresh(ports, 1, 5, 0, 1));
    EXPECT_FALSE(learned.peek(1, 5)->is_stored);
    learned.put_stored(1, 5, 0, 2);
    EXPECT_TRUE(learned.peek(1, 5)->is_stored);
    learned.put(1, 5, 1, 3);
    EXPECT_FALSE(learned.peek(1, 5)->is_stored);
    EXPECT_EQ(learned.size_of(1), 1U);
}

TEST(Learned, TimeMayBeAsLateAsThereIs) {
    const Ports ports = ports_of_age({0xffffffff});
    constexpr Nanoseconds latest = std::numeric_limits<Nanoseconds>::max();
    Learned learned;
    learned.put(1, 5, 0, latest - 1);
    learned.age(ports, latest - 1);
    EXPECT_NE(learned.find(ports, 1, 5, latest - 1), nullptr);
    EXPECT_TRUE(learned.refresh(ports, 1, 5, 0, latest - 1));
}

TEST(Learned, NotesWhatChanges) {
    const Ports ports = ports_of_age({60, 60});
    Learned learned;
    learned.put(1, 5, 0, 0);
    EXPECT_FALSE(learned.has_changes());
    learned.note_changes();
    learned.put(1, 5, 0, 1);
    EXPECT_TRUE(learned.refresh(ports, 1, 5, 0, 2));
    EXPECT_FALSE(learned.has_changes());
    learned.put(1, 5, 1, 3); // moves
    learned.put(2, 6, 1, 3); // is new
    learned.age(ports, 100 * second);
    const std::vector<uint64_t> changes = learned.take_changes();
    EXPECT_EQ(std::multiset<uint64_t>(changes.begin(), changes.end()),
              (std::multiset<uint64_t>{address_key(1, 5), address_key(2, 6), address_key(1, 5), address_key(2, 6)}));
    EXPECT_FALSE(learned.has_changes());
}

// Erased and learned again and again: what is to be looked at does not pile up.
TEST(Learned, EntriesThatComeAndGoLeaveNothingBehind) {
    const Ports ports = ports_of_age({1000000});
    Learned learned;
    for (int i = 0; i < 100000; ++i) {
        learned.put(1, 5, 0, i);
        learned.erase(1, 5);
    }
    EXPECT_LT(learned.check_count(), 100U);
}

TEST(AddressTable, FindsAfterErasingAmongNeighbours) {
    for (uint64_t seed = 0; seed < 30; ++seed) {
        Random random(seed);
        AddressTable<uint32_t> table;
        std::map<std::pair<uint32_t, Mac>, uint32_t> plain;
        for (uint32_t i = 0; i < 2000; ++i) {
            const uint32_t scope = random.below(3);
            const Mac mac = random.below(60);
            if (random.one_in(2)) {
                table.put(scope, mac) = i;
                plain[{scope, mac}] = i;
            } else {
                EXPECT_EQ(table.erase(scope, mac), plain.erase({scope, mac}) == 1);
            }
            ASSERT_EQ(table.size(), plain.size());
            const Mac wanted = random.below(60);
            const auto known = plain.find({scope, wanted});
            const uint32_t* found = table.find(scope, wanted);
            ASSERT_EQ(found != nullptr, known != plain.end());
            if (found != nullptr) {
                EXPECT_EQ(*found, known->second);
            }
        }
    }
}

// --- Token buckets ---

// A token bucket in bits and billionths of a bit.
class ExactBucket {
public:
    ExactBucket(uint32_t rate, uint32_t burst) : rate_(rate), capacity_(uint64_t{burst} * 8) {}
    bool conforms(uint32_t bytes, Nanoseconds now) {
        if (is_started_) fill(static_cast<uint64_t>(now - last_) * rate_);
        if (!is_started_ || bits_ >= capacity_) {
            bits_ = capacity_;
            billionths_ = 0;
        }
        is_started_ = true;
        last_ = now;
        if (bits_ < uint64_t{bytes} * 8) return false;
        bits_ -= uint64_t{bytes} * 8;
        return true;
    }
    uint64_t billionths() const { return bits_ * 1'000'000'000 + billionths_; }

private:
    void fill(uint64_t billionths) {
        billionths_ += billionths;
        bits_ += billionths_ / 1'000'000'000;
        billionths_ %= 1'000'000'000;
    }
    uint32_t rate_;
    uint64_t capacity_;
    uint64_t bits_ = 0;
    uint64_t billionths_ = 0;
    bool is_started_ = false;
    Nanoseconds last_ = 0;
};

TEST(Policer, AgreesWithExactFractions) {
    Random random(5);
    for (const bool counts_gap : {false, true}) {
        for (const uint32_t rate : {64000U, 64001U, 999'999U, 10'000'000U, 100'000'000U}) {
            const Policer policer{rate, 80 + random.below(31921), discards_excess};
            ExactBucket exact(policer.rate, policer.burst);
            Bucket bucket;
            Nanoseconds now = 1'700'000'000'000'000'000;
            uint32_t conforming = 0;
            constexpr uint32_t frames = 100'000;
            const uint64_t mean_gap = 2 * 8 * 800 * 1'000'000'000ULL / rate;
            for (uint32_t i = 0; i < frames; ++i) {
                now += static_cast<Nanoseconds>(random.bits_64() % mean_gap);
                const uint32_t bytes = counted_bytes(60 + random.below(1455), counts_gap);
                const bool is_conforming = conforms(bucket, policer, bytes, now);
                ASSERT_EQ(is_conforming, exact.conforms(bytes, now)) << rate << ", frame " << i;
                ASSERT_EQ(bucket.tokens, exact.billionths()) << rate << ", frame " << i;
                conforming += is_conforming ? 1 : 0;
            }
            EXPECT_GT(conforming, frames / 4);
            EXPECT_LT(conforming, frames);
        }
    }
}

TEST(Policer, TheLargestBurstAndTheLongestPauseAreExact) {
    const Policer policer{1, 0x7fffffff, discards_excess};
    Bucket bucket;
    EXPECT_TRUE(conforms(bucket, policer, 0x7fffffff, std::numeric_limits<Nanoseconds>::min()));
    EXPECT_FALSE(conforms(bucket, policer, 1, 7 * second + std::numeric_limits<Nanoseconds>::min()));
    EXPECT_TRUE(conforms(bucket, policer, 1, 8 * second + std::numeric_limits<Nanoseconds>::min()));
    EXPECT_TRUE(conforms(bucket, policer, 0x44b82f9, std::numeric_limits<Nanoseconds>::max()));
    const Policer fast{0xffffffff, 0x7fffffff, discards_excess};
    Bucket other;
    EXPECT_TRUE(conforms(other, fast, 0x7fffffff, std::numeric_limits<Nanoseconds>::min()));
    EXPECT_TRUE(conforms(other, fast, 0x7fffffff, std::numeric_limits<Nanoseconds>::max()));
}

TEST(Policer, TimeThatDoesNotPassFillsNothing) {
    const Policer policer{64000, 100, discards_excess};
    Bucket bucket;
    EXPECT_TRUE(conforms(bucket, policer, 100, 5 * second));
    EXPECT_FALSE(conforms(bucket, policer, 1, 5 * second));
    EXPECT_FALSE(conforms(bucket, policer, 1, 4 * second));
    EXPECT_FALSE(conforms(bucket, policer, 2, 5 * second + 125'000));
    EXPECT_TRUE(conforms(bucket, policer, 1, 5 * second + 125'000));
}

// --- Links ---

class Links : public testing::Test {
protected:
    Links() {
        for (const int32_t number : {1, 2, 3, 101, 102})
            parts.add_port(number);
        logical().link_mode = LinkMode::all;
        logical().link_depend = LinkDepend::ports;
        logical().link_depend_ports = 0x3; // 1 and 2
    }
    Port& logical() { return parts.port(101); }
    bool is_up(int32_t number = 101) {
        device.apply();
        return device.state.is_up[parts.index_of(number)] != 0;
    }
    void set_carrier(int32_t number, bool is_there) {
        device.apply();
        device.state.has_carrier[parts.index_of(number)] = is_there ? 1 : 0;
    }

    TestSwitch device;
    Parts& parts = device.parts;
};

TEST_F(Links, AllOrAnyOfThePortsHaveToBeUp) {
    EXPECT_TRUE(is_up());
    set_carrier(1, false);
    EXPECT_FALSE(is_up());
    EXPECT_FALSE(is_up(1));
    logical().link_mode = LinkMode::any;
    EXPECT_TRUE(is_up());
    parts.port(2).is_enabled = false;
    EXPECT_FALSE(is_up());
    set_carrier(1, true);
    EXPECT_TRUE(is_up());
    logical().link_mode = LinkMode::all;
    EXPECT_FALSE(is_up());
}

TEST_F(Links, WithoutAModeAllHaveToBeUp) {
    logical().link_mode = LinkMode::none;
    EXPECT_TRUE(is_up());
    set_carrier(2, false);
    EXPECT_FALSE(is_up());
    device.send(101, Bytes(60));
    EXPECT_EQ(device.outcome.reason, DropReason::port_down);
    EXPECT_EQ(device.step(StepKind::link_mode_unset)->assumption, Assumption::link_mode_unset);
    logical().link_mode = LinkMode::all;
    device.apply();
    device.send(101, Bytes(60));
    EXPECT_EQ(device.step(StepKind::link_mode_unset), nullptr);
    EXPECT_EQ(device.step(StepKind::link_dependency)->assumption, Assumption::none);
    EXPECT_EQ(device.step(StepKind::link_dependency)->c, number_of(LinkMode::all));
}

TEST_F(Links, PortsThatAreNotThereAreNotUp) {
    logical().link_depend_ports = 0x9; // 1 and 4
    EXPECT_FALSE(is_up());
    logical().link_mode = LinkMode::any;
    EXPECT_TRUE(is_up());
    logical().link_depend_ports = 0x80000008;
    EXPECT_FALSE(is_up());
}

TEST_F(Links, NoPortsAreAllButNotAny) {
    logical().link_depend_ports = 0;
    EXPECT_TRUE(is_up());
    logical().link_mode = LinkMode::any;
    EXPECT_FALSE(is_up());
}

TEST_F(Links, APortWithoutADependencyIsUpWhenItIsEnabledAndHasACarrier) {
    logical().link_depend = LinkDepend::none;
    logical().link_depend_ports = 0x8;
    EXPECT_TRUE(is_up());
    set_carrier(101, false);
    EXPECT_FALSE(is_up());
    set_carrier(101, true);
    logical().is_enabled = false;
    EXPECT_FALSE(is_up());
}

TEST_F(Links, TheVlanIsUpByItsOtherMembers) {
    logical().link_depend = LinkDepend::vlan;
    EXPECT_TRUE(is_up()); // in no VLAN
    parts.add_vlan(20);
    parts.add_tagged(20, 101);
    parts.add_tagged(20, 2);
    parts.add_tagged(20, 102);
    parts.port(102).type = PortType::virtual_interface;
    parts.port(102).is_enabled = false; // counts for nothing
    EXPECT_TRUE(is_up());
    set_carrier(2, false);
    EXPECT_FALSE(is_up());
    parts.add_vlan(30);
    parts.add_tagged(30, 101);
    parts.add_tagged(30, 3);
    EXPECT_FALSE(is_up());
    logical().link_mode = LinkMode::any;
    EXPECT_TRUE(is_up());
    set_carrier(3, false);
    EXPECT_FALSE(is_up());
    device.send(101, Bytes(60));
    EXPECT_EQ(device.step(StepKind::link_dependency)->assumption, Assumption::link_of_vlan);
}

TEST_F(Links, ADependencyLooksAtNoOtherDependency) {
    parts.port(1).link_depend = LinkDepend::ports;
    parts.port(1).link_mode = LinkMode::any;
    EXPECT_FALSE(is_up(1));
    EXPECT_TRUE(is_up());
}

// --- A new configuration ---

class Adopt : public testing::Test {
protected:
    Adopt() {
        for (const int32_t number : {1, 2, 4})
            parts.add_port(number);
        for (const uint16_t vid : {uint16_t{20}, uint16_t{30}}) {
            parts.add_vlan(vid);
            for (const int32_t number : {1, 2, 4})
                parts.add_tagged(vid, number);
        }
        device.apply();
    }
    void learn(uint32_t vid, Mac mac, int32_t port) { device.state.learned.put(vid, mac, parts.index_of(port), 0); }
    int32_t port_of(uint32_t vid, Mac mac) const {
        const LearnedEntry* entry = device.state.learned.peek(vid, mac);
        return entry != nullptr ? device.configuration.ports->ports.at(entry->port).number : 0;
    }
    // Builds the parts anew with these ports, all in both VLANs.
    void renew(std::initializer_list<int32_t> numbers) {
        parts = Parts{};
        for (const int32_t number : numbers)
            parts.add_port(number);
        for (const uint16_t vid : {uint16_t{20}, uint16_t{30}}) {
            parts.add_vlan(vid);
            for (const int32_t number : numbers)
                parts.add_tagged(vid, number);
        }
    }

    TestSwitch device;
    Parts& parts = device.parts;
};

TEST_F(Adopt, PortsKeepWhatIsTheirsByNumber) {
    learn(20, 5, 2);
    learn(20, 6, 4);
    device.state.has_carrier = {1, 0, 1};
    device.state.is_bound = {0, 1, 0};
    device.state.buckets[2][3] = {77, 1, true};
    renew({2, 3, 4});
    device.apply();
    EXPECT_EQ(port_of(20, 5), 2);
    EXPECT_EQ(port_of(20, 6), 4);
    EXPECT_EQ(device.state.has_carrier, (std::vector<uint8_t>{0, 1, 1}));
    EXPECT_EQ(device.state.is_bound, (std::vector<uint8_t>{1, 0, 0}));
    EXPECT_EQ(device.state.is_up, (std::vector<uint8_t>{0, 1, 1}));
    EXPECT_EQ(device.state.buckets[2][3].tokens, 77U);
    EXPECT_FALSE(device.state.buckets[1][3].is_started);
}

TEST_F(Adopt, WhatWasLearnedOnAPortThatIsGoneIsForgotten) {
    learn(20, 5, 2);
    learn(20, 6, 4);
    renew({1, 4});
    device.apply();
    EXPECT_EQ(port_of(20, 5), 0);
    EXPECT_EQ(port_of(20, 6), 4);
    EXPECT_EQ(device.state.learned.size(), 1U);
}

TEST_F(Adopt, WhatWasLearnedInAVlanOrOfAMemberThatIsGoneIsForgotten) {
    learn(20, 5, 2);
    learn(20, 6, 4);
    learn(30, 7, 2);
    parts.vlans.vlans.pop_back();
    parts.vlans.place[30] = 0;
    parts.vlan(20).members.pop_back();
    device.apply();
    EXPECT_EQ(port_of(20, 5), 2);
    EXPECT_EQ(port_of(20, 6), 0);
    EXPECT_EQ(port_of(30, 7), 0);
    EXPECT_EQ(device.state.learned.size_of(30), 0U);
}

TEST_F(Adopt, StaticEntriesTakeThePlaceOfLearnedOnes) {
    for (Mac mac = 1; mac < 10; ++mac)
        learn(20, mac, 2);
    parts.add_static(20, 5, 1);
    parts.add_static_discard(30, 6);
    device.apply();
    EXPECT_EQ(port_of(20, 5), 0);
    EXPECT_EQ(port_of(20, 6), 2);
    EXPECT_EQ(device.state.learned.size(), 8U);
    for (Mac mac = 100; mac < 200; ++mac)
        parts.add_static(20, mac, 1);
    parts.add_static(20, 6, 1);
    device.apply();
    EXPECT_EQ(device.state.learned.size(), 7U);
    EXPECT_EQ(port_of(20, 6), 0);
}

TEST_F(Adopt, APolicerWithANewRateOrBurstStartsFull) {
    parts.port(2).policers[3] = {64000, 1000, 1};
    device.apply();
    const Bucket begun{5, 1, true};
    device.state.buckets[1][3] = begun;
    parts.port(2).policers[3].excess = 2;
    parts.port(1).policers[3] = {64000, 1000, 1};
    device.apply();
    EXPECT_TRUE(device.state.buckets[1][3].is_started);
    parts.port(2).policers[3].rate = 64001;
    device.apply();
    EXPECT_FALSE(device.state.buckets[1][3].is_started);
    device.state.buckets[1][3] = begun;
    parts.port(2).policers[3].burst = 1001;
    device.apply();
    EXPECT_FALSE(device.state.buckets[1][3].is_started);
}

TEST_F(Adopt, ANewAgeingTimeCountsAtOnce) {
    learn(20, 5, 2);
    device.state.learned.age(*device.configuration.ports, 1);
    parts.port(2).aging = 60;
    device.apply();
    device.state.learned.age(*device.configuration.ports, 60 * second);
    EXPECT_EQ(device.state.learned.size(), 1U);
    device.state.learned.age(*device.configuration.ports, 60 * second + 1);
    EXPECT_EQ(device.state.learned.size(), 0U);
}

TEST_F(Adopt, TheFirstConfigurationKeepsWhatIsLoadedWhereItFits) {
    State state;
    state.has_carrier = {1, 0, 1};
    state.learned.put(20, 5, 1, 0);
    state.learned.put(40, 5, 1, 0);
    adopt(state, nullptr, device.configuration);
    EXPECT_EQ(state.learned.size(), 1U);
    EXPECT_EQ(state.is_up, (std::vector<uint8_t>{1, 0, 1}));
    EXPECT_EQ(state.is_bound, (std::vector<uint8_t>{0, 0, 0}));
    EXPECT_EQ(state.buckets.size(), 3U);
}

} // namespace
