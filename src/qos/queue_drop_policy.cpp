// What a class queue drops of each color: nothing until it is full (tail drop), or by fill level (WRED). The bridge
// library judges the values.
#include "qos/qos.h"

#include "common/operands.h"
#include "common/qos_address.h"
#include "platform/brgfdb.h"

namespace {

struct DropPolicy {
    NumberRange threshold;
    NumberRange drop;
};

constexpr DropPolicy tail_drop{{100, 0}, {0, 0}};

[[noreturn]] void apply_drop_policy(const QueueAddress& queue, int32_t color, const DropPolicy& policy) {
    int32_t status = 0;
    if (brgfdb_set_red_in_stream(queue.stream_index(), queue.traffic_class, color, policy.threshold.min,
                                 policy.drop.min, policy.threshold.max, policy.drop.max, &status) == 0)
        accept();
    if (status == status::no_stream) refuse_missing(status, queue.stream);
    refuse<"stream {0} cannot set red.">(status, queue.stream);
}

// wred thresh <min-max> drop <min-max>, from words[6] on.
DropPolicy read_wred_ranges(int32_t count, char** words) {
    if (count <= 10) show_usage();
    require_word(words[7], "thresh");
    const NumberRange threshold = read_range(words[8]);
    require_word(words[9], "drop");
    return {threshold, read_range(words[10])};
}

int32_t read_keyed_number(char** words, int32_t at, const char* keyword) {
    require_word(words[at], keyword);
    return read_number(words[at + 1]);
}

// wred min_thresh <n> max_thresh <n> min_drop <n> max_drop <n>, from words[4] on.
DropPolicy read_wred_numbers(int32_t count, char** words) {
    if (count <= 12) show_usage();
    DropPolicy policy{};
    policy.threshold.min = read_keyed_number(words, 5, "min_thresh");
    policy.threshold.max = read_keyed_number(words, 7, "max_thresh");
    policy.drop.min = read_keyed_number(words, 9, "min_drop");
    policy.drop.max = read_keyed_number(words, 11, "max_drop");
    if (count > 13) no_more_argument();
    return policy;
}

} // namespace

// set queue <port/stream/class> color <color> drop_type {taildrop|wred thresh <min-max> drop <min-max>}
//
// Surplus words are ignored.
void set_queue_color(int32_t count, char** words) {
    if (count <= 6) show_usage();
    const QueueAddress queue = read_queue_address(words[2]);
    const int32_t color = read_color(words[4]);
    require_word(words[5], "drop_type");
    if (is_word(words[6], "taildrop")) apply_drop_policy(queue, color, tail_drop);
    require_word(words[6], "wred");
    apply_drop_policy(queue, color, read_wred_ranges(count, words));
}

// set color <port/stream/class/color> drop_type
//     {taildrop|wred min_thresh <n> max_thresh <n> min_drop <n> max_drop <n>}
void set_color(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const ColorAddress address = read_color_address(words[2]);
    require_word(words[3], "drop_type");
    if (is_word(words[4], "taildrop")) {
        if (count > 5) no_more_argument();
        apply_drop_policy(address.queue, address.color, tail_drop);
    }
    require_word(words[4], "wred");
    apply_drop_policy(address.queue, address.color, read_wred_numbers(count, words));
}
