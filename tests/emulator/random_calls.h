// Calls at random, with few enough objects that they meet each other.
#pragma once

#include "switch_test.h"

#include <random>

inline void make_random_call(std::mt19937& random) {
    const auto pick = [&random](int32_t from, int32_t to) {
        return from + static_cast<int32_t>(random() % static_cast<uint32_t>(to - from + 1));
    };
    int32_t status = 0;
    int32_t vid = pick(1, 6);
    const auto uvid = static_cast<uint32_t>(vid);
    const int32_t port = pick(1, 4);
    const uint8_t mac[] = {0x02, 0, 0, 0, 0, static_cast<uint8_t>(pick(1, 6))};
    const int32_t stream = (port - 1) * 256 + pick(0, 1);
    const int32_t queue = stream * 8 + pick(0, 2);
    const int32_t list = pick(1, 3);
    const auto mirror = static_cast<uint16_t>(pick(1, 3));
    const auto group = static_cast<uint16_t>(pick(1, 3));
    const std::string name = "vlan" + std::to_string(vid);
    ClassifyRule rule{};
    rule.marking = static_cast<uint32_t>(pick(0, 2));
    rule.present = rule_field::tos;
    rule.tos = {.low = 1, .high = 2, .mask = 255, .is_range = 1};
    const ExtractionPoint points[extraction_point_count] = {{.offset = 14, .width = 2}};
    switch (pick(0, 31)) {
    case 0: brgfdb_create_port(port, port, pick(1, 2), &status); break;
    case 1: brgfdb_delete_port(port, &status); break;
    case 2: brgfdb_enable_port(port, &status); break;
    case 3: brgfdb_create_vlan(name.c_str(), &vid, &status); break;
    case 4: brgfdb_delete_vlan(uvid, &status); break;
    case 5:
    case 6: brgfdb_add_port_to_vlan(uvid, port, pick(0, 1), 0x8100, 0, 0, &status); break;
    case 7: brgfdb_add_port_to_vlan(uvid, port, 0, 0x8100, 1, group, &status); break;
    case 8: brgfdb_rem_port_from_vlan(uvid, port, &status); break;
    case 9: brgfdb_create_protgroup(group, &status); break;
    case 10: brgfdb_delete_protgroup(group, &status); break;
    case 11: brgfdb_create_sfil(uvid, mac, port, 0, 0, &status); break;
    case 12: brgfdb_delete_sfil(uvid, mac, 0, &status); break;
    case 13: brgfdb_create_lfil(port, mac, pick(1, 5), 0, &status); break;
    case 14: brgfdb_delete_lfil(port, mac, 0, &status); break;
    case 15: brgfdb_create_stream(stream, &status); break;
    case 16: brgfdb_add_stream_to_port(stream, port, stream % 256, &status); break;
    case 17: brgfdb_rem_stream_from_port(stream, port, stream % 256, &status); break;
    case 18: brgfdb_delete_stream(stream, &status); break;
    case 19: brgfdb_create_queue(queue, 256, 16384, &status); break;
    case 20: brgfdb_add_queue_to_stream(queue, queue / 8, queue % 8, 1, queue % 8, 1, &status); break;
    case 21: brgfdb_rem_queue_from_stream(queue, queue / 8, queue % 8, &status); break;
    case 22: brgfdb_delete_queue(queue, &status); break;
    case 23: brgfdb_set_queue_size(queue, queue / 8, queue % 8, pick(0, 500), 64 * pick(0, 500), &status); break;
    case 24: brgfdb_create_classify_profile(list, &status); break;
    case 25: brgfdb_delete_classify_profile(list, &status); break;
    case 26: brgfdb_add_classify_profile_to_pv(list, port, uvid, points, &status); break;
    case 27: brgfdb_rem_classify_profile_from_pv(port, uvid, &status); break;
    case 28: brgfdb_add_classify_action_to_profile(list, pick(0, 3), &rule, &status); break;
    case 29: brgfdb_rem_classify_all_from_profile(list, &status); break;
    case 30:
        brgfdb_create_mirror(mirror, &status);
        brgfdb_set_mirror_source(mirror, 5, 0, static_cast<uint16_t>(vid), &status);
        brgfdb_set_mirror_dest(mirror, static_cast<uint16_t>(port), &status);
        break;
    default: brgfdb_enable_mirror(mirror, &status);
    }
}
