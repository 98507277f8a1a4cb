// 32-bit arithmetic, kinds of ports, and the numbers of streams and queues.
#include "common/arithmetic.h"
#include "common/port_kind.h"
#include "common/qos_address.h"
#include "common/shaping.h"
#include "common/vlan_operands.h"
#include "readers/numbers.h"

#include <gtest/gtest.h>

#include <random>

namespace {

// The lowest 32 bits of an exact result.
int32_t wrapped(int64_t exact) {
    return static_cast<int32_t>(static_cast<uint64_t>(exact) & 0xffffffffU);
}

TEST(Arithmetic, WrapsAround) {
    EXPECT_EQ(lowest, wrapping_add(highest, 1));
    EXPECT_EQ(highest, wrapping_add(lowest, -1));
    EXPECT_EQ(highest, wrapping_subtract(lowest, 1));
    EXPECT_EQ(lowest, wrapping_subtract(0, lowest));
    EXPECT_EQ(lowest, wrapping_multiply(lowest, -1));
    EXPECT_EQ(0, wrapping_multiply(65536, 65536));
    EXPECT_EQ(-1000, wrapping_multiply(highest, 1000));
    EXPECT_EQ(0, wrapping_multiply(lowest, 1000));

    std::mt19937 random(20240611);
    std::uniform_int_distribution<int32_t> any(lowest, highest);
    for (int round = 0; round < 10000; ++round) {
        const int32_t a = any(random);
        const int32_t b = any(random);
        EXPECT_EQ(wrapped(int64_t{a} + b), wrapping_add(a, b));
        EXPECT_EQ(wrapped(int64_t{a} - b), wrapping_subtract(a, b));
        EXPECT_EQ(wrapped(int64_t{a} * b), wrapping_multiply(a, b));
        EXPECT_EQ(wrapped(int64_t{a} * 1000), times_1000(a));
    }
}

TEST(Arithmetic, BoundsBelongToTheirRange) {
    EXPECT_TRUE(is_within(1, 1, 4));
    EXPECT_TRUE(is_within(4, 1, 4));
    EXPECT_FALSE(is_within(0, 1, 4));
    EXPECT_FALSE(is_within(5, 1, 4));
    EXPECT_FALSE(is_within(-1, 0, 0xffff));
    EXPECT_TRUE(is_within(lowest, lowest, highest));
    EXPECT_TRUE(is_within(highest, lowest, highest));
}

TEST(PortKind, IsOfTheNumberAlone) {
    int physical = 0;
    int logical = 0;
    for (int32_t port = -1000; port <= 1000; ++port) {
        const auto number = static_cast<uint32_t>(port);
        const int32_t kind = number - 1 <= 9 ? 1 : number - 101 <= 63 ? 2 : 0;
        EXPECT_EQ(kind, port_kind::of(port)) << port;
        physical += port_kind::of(port) == 1 ? 1 : 0;
        logical += port_kind::of(port) == 2 ? 1 : 0;
    }
    EXPECT_EQ(10, physical);
    EXPECT_EQ(64, logical);
    EXPECT_EQ(0, port_kind::of(lowest));
    EXPECT_EQ(0, port_kind::of(highest));
}

TEST(QosIndex, CountsStreamsOfAllPortsAndTheirClasses) {
    int32_t next_stream = 0;
    int32_t next_queue = 0;
    for (int32_t port = 1; port <= 4; ++port) {
        for (int32_t stream = 1; stream <= 256; ++stream) {
            EXPECT_EQ(next_stream, stream_index(port, stream));
            for (int32_t traffic_class = 0; traffic_class <= 7; ++traffic_class)
                EXPECT_EQ(next_queue++, queue_index(port, stream, traffic_class));
            ++next_stream;
        }
    }
}

TEST(QosIndex, Ranges) {
    for (const int32_t stream : {1, 2, 256})
        EXPECT_TRUE(is_stream(stream)) << stream;
    for (const int32_t stream : {0, 257, -1, lowest, highest})
        EXPECT_FALSE(is_stream(stream)) << stream;
    for (const int32_t traffic_class : {0, 1, 7})
        EXPECT_TRUE(is_class(traffic_class)) << traffic_class;
    for (const int32_t traffic_class : {8, -1, lowest, highest})
        EXPECT_FALSE(is_class(traffic_class)) << traffic_class;
}

TEST(VlanIds, OfBothKinds) {
    for (const int32_t vid : {1, 2, 4094}) {
        EXPECT_TRUE(is_tagged_vlan_id(vid)) << vid;
        EXPECT_FALSE(is_local_vlan_id(vid)) << vid;
    }
    for (const int32_t vid : {4096, 5000, 8191}) {
        EXPECT_FALSE(is_tagged_vlan_id(vid)) << vid;
        EXPECT_TRUE(is_local_vlan_id(vid)) << vid;
    }
    for (const int32_t vid : {0, -1, 4095, 8192, lowest, highest}) {
        EXPECT_FALSE(is_tagged_vlan_id(vid)) << vid;
        EXPECT_FALSE(is_local_vlan_id(vid)) << vid;
    }
}

TEST(Shaping, Ranges) {
    EXPECT_TRUE(is_rate(64000));
    EXPECT_TRUE(is_rate(100000000));
    EXPECT_FALSE(is_rate(63999));
    EXPECT_FALSE(is_rate(100000001));
    EXPECT_FALSE(is_rate(-1));
    EXPECT_TRUE(is_burst(80));
    EXPECT_TRUE(is_burst(32000));
    EXPECT_FALSE(is_burst(79));
    EXPECT_FALSE(is_burst(32001));
    EXPECT_FALSE(is_burst(-1));
}

} // namespace
