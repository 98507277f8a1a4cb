// What rows of the store are in the words of a sentence.
#pragma once

#include "companion/database.h"

#include "platform/brgfdb.h"

#include <cstdint>
#include <string>
#include <vector>

namespace wording {

// What sentences give to every new stream and queue.
constexpr int64_t first_qos_parameter = 2048;
constexpr int64_t second_qos_parameter = 64;
constexpr int64_t initial_blocks = 256;
constexpr int64_t initial_length = 16384;

std::string text(int64_t number);
std::string hex(int64_t value, int digits = 1);

// The line for a library call, in place of a sentence that there is none for. The operands are written as they are.
template <typename... Operands> std::string library_call(const char* function, const Operands&... operands) {
    std::string line = std::string("emuswitch call ") + function;
    ((line += " " + operands), ...);
    return line;
}

// What can be set, in the words behind `set port 3`, and what it is on a new port.
struct Setting {
    std::string words;
    std::string initial;
};

// The settings of a port that are always there, but for its PVID. The words begin with a keyword of their own.
std::vector<Setting> port_settings(const Query& port);

std::string typed_ports(int64_t mask);
std::string policer(const Query& row);      // on rcolor discard rate 64 burst 8000 byte
std::string ether_shaper(const Query& row); // on rate 64 burst 8000 byte
std::string tagging(const Query& member);   // on tagtype 8100, off protgroup 7

// Whether it is the name that sentences keep for all VLANs. One that has it is not what they mean where they can mean
// all.
bool stands_for_all(const std::string& vlan);

// The line that gives a VLAN such a setting: learninglimit 50, ignorefdb on.
std::string vlan_setting(int64_t vid, const std::string& name, const std::string& setting);

struct Stream {
    int64_t index;
    std::string address; // 1/256

    explicit Stream(int64_t stream_index);
    int64_t port() const { return index / streams_per_port + 1; }
    int64_t number() const { return index % streams_per_port; }
};

std::string shaping(const Query& stream);                    // rate 64-100 burst 80-8000 byte
std::string tos_map(const Query& stream, Children& entries); // 10/ff,,3/7; empty: none
int64_t block_size(int64_t length);
std::string drop_type(const Query& policy); // taildrop, wred thresh 1-2 drop 3-4

std::string static_target(const Query& entry); // discard, port 3 flag 0

struct RuleWords {
    std::string words;
    bool can_be_typed; // else it has a mask that no sentence has
};
RuleWords rule(const Query& row, const std::string& marking, Children& matches); // 1/7/red dscp x x ...
std::string extraction(const Query& binding, Children& points);                  // empty, or a blank and 14/2,,,

std::string source(const Query& mirror); // port 1 in vlan sales

} // namespace wording
