// How a port classifies and polices what comes in, and how it counts bandwidth.
#include "port/port.h"

#include "common/arithmetic.h"
#include "common/operands.h"
#include "common/qos_address.h"
#include "common/scan.h"
#include "common/shaping.h"
#include "platform/brgfdb.h"
#include "port/cosmap.h"

namespace {

constexpr NumberedText policing_messages[] = {
    {status::no_such_class, "invalid class number {1}."},
    {otherwise, "port {0} cannot set class policy."},
};

} // namespace

// set port <port> default_class <stream/class/color>
void set_port_default_class(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const int32_t port = read_number(words[2]);
    const Classification target = read_classification(words[4]);
    if (count > 5) no_more_argument();

    int32_t status = 0;
    if (brgfdb_set_default_class(port, wrapping_subtract(target.stream, 1), target.traffic_class, target.color,
                                 &status) == 0)
        accept();
    if (status == status::no_port) refuse_missing(status, port);
    refuse<"port {0} cannot set default class.">(status, port);
}

// set port <port> cosmap [bit <bit>] val <map>
void set_port_cosmap(int32_t count, char** words) {
    const int32_t port = read_number(words[2]);
    if (count <= 5) show_usage();

    const bool has_bit = is_word(words[4], "bit");
    uint32_t bit = 0;
    if (has_bit && (!parse_hex_number(words[5], bit) || count <= 7)) show_usage();
    const int32_t val = has_bit ? 6 : 4;
    require_word(words[val], "val");

    CosMap map{};
    if (!parse_cosmap(words[val + 1], map)) show_usage();
    if (count > val + 2) no_more_argument();

    int32_t status = 0;
    if (brgfdb_set_port_cosmap(port, has_bit ? bit : map.given, map.classes, &status) == 0) accept();
    if (status == status::no_port) refuse_missing(status, port);
    refuse<"port {0} cannot set cosmap.">(status, port);
}

// set port <port> class_policing class <class> {off|on rcolor <color> rate <rate> [burst <burst>] [{byte|kbyte}]}
void set_port_class_policing(int32_t count, char** words) {
    if (count <= 6) show_usage();
    const int32_t port = read_number(words[2]);
    require_word(words[4], "class");
    const int32_t traffic_class = read_number(words[5]);
    const bool is_on = read_switch(words[6]);

    RateAndBurst limit{};
    int32_t color = 0;
    if (is_on) {
        if (count <= 10) show_usage();
        require_word(words[7], "rcolor");
        color = read_word<policing_color_words>(words[8]);
        limit = read_rate_and_burst(count, words, 9);
    }

    int32_t status = 0;
    if (brgfdb_set_port_class_policing(port, traffic_class, limit.rate, limit.burst, color, &status) == 0) accept();
    if (status == status::no_port) refuse_missing(status, port);
    refuse<policing_messages>(status, port, traffic_class);
}

// set port <port> bandwidth {frame_only|frame_gap}
void set_port_bandwidth(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const int32_t port = read_number(words[2]);
    const int32_t mode = read_word<bandwidth_mode_words>(words[4]);

    int32_t status = 0;
    if (brgfdb_set_port_bandwidth_calc_mode(port, mode, &status) == 0) accept();
    if (status == status::no_port) refuse_missing(status, port);
    refuse<"port {0} cannot set bandwidth calc mode.">(status, port);
}
