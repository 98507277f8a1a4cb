// The shaper of a stream.
#include "qos/qos.h"

#include "common/operands.h"
#include "common/qos_address.h"
#include "common/shaping.h"
#include "platform/brgfdb.h"

namespace {

struct Shaper {
    int32_t min_rate; // bit/s
    int32_t max_rate;
    int32_t min_burst; // bytes
    int32_t max_burst;
};

constexpr Shaper shaper_off{0, 0, 0, 0};

int32_t read_thousands(const char* word) {
    return times_1000(read_number(word));
}

void require_rate(bool is_good, int32_t rate) {
    if (!is_good) refuse_out_of_range(range_error::rate, rate);
}

void require_burst(bool is_good, int32_t burst) {
    if (!is_good) refuse_out_of_range(range_error::burst, burst);
}

// rate <min-max> [burst <min-max>] [{byte|kbyte}], from words[5] on. The minimum rate has no lower bound here.
Shaper read_range_form(int32_t count, char** words) {
    const NumberRange rate = read_range(words[6]);
    Shaper shaper{times_1000(rate.min), times_1000(rate.max), default_burst, default_burst};
    require_rate(is_rate(shaper.max_rate), shaper.max_rate);
    require_rate(shaper.min_rate <= highest_rate && shaper.min_rate <= shaper.max_rate, shaper.min_rate);
    if (count <= 8) return shaper;

    require_word(words[7], "burst");
    const NumberRange burst = read_range(words[8]);
    const int32_t unit = read_burst_unit(count, words, 9);
    shaper.min_burst = wrapping_multiply(burst.min, unit);
    shaper.max_burst = wrapping_multiply(burst.max, unit);
    require_burst(is_burst(shaper.max_burst), shaper.max_burst);
    require_burst(is_burst(shaper.min_burst) && shaper.min_burst <= shaper.max_burst, shaper.min_burst);
    return shaper;
}

// maxrate <rate> [minrate <rate> [maxburst <burst> [<keyword> <burst>]]], from words[5] on; bursts in kilobytes.
Shaper read_keyword_form(int32_t count, char** words) {
    Shaper shaper{0, read_thousands(words[6]), default_burst, default_burst};
    require_rate(is_rate(shaper.max_rate), shaper.max_rate);
    if (count <= 8) return shaper;

    require_word(words[7], "minrate");
    shaper.min_rate = read_thousands(words[8]);
    require_rate(is_rate(shaper.min_rate) && shaper.min_rate <= shaper.max_rate, shaper.min_rate);
    if (count <= 10) return shaper;

    require_word(words[9], "maxburst");
    shaper.max_burst = read_thousands(words[10]);
    require_burst(is_burst(shaper.max_burst), shaper.max_burst);
    if (count <= 12) return shaper;

    if (is_word(words[11], "minburst")) show_usage(); // inverted, deliberately: any word but this one
    shaper.min_burst = read_thousands(words[12]);
    require_burst(is_burst(shaper.min_burst), shaper.min_burst);
    return shaper;
}

Shaper read_shaper(int32_t count, char** words) {
    if (!read_switch(words[4])) return shaper_off;
    if (count <= 6) show_usage();
    if (is_word(words[5], "maxrate")) return read_keyword_form(count, words);
    require_word(words[5], "rate");
    return read_range_form(count, words);
}

} // namespace

// set stream <port/stream> shaping {off|on rate <min-max> [burst <min-max>] [{byte|kbyte}]}
// set stream <port/stream> shaping on maxrate <rate> [minrate <rate> [maxburst <burst> [<keyword> <burst>]]]
void set_stream_shaping(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const StreamAddress address = read_stream_address(words[2]);
    require_port_and_stream(address.port, address.stream);
    const Shaper shaper = read_shaper(count, words);

    int32_t status = 0;
    if (brgfdb_set_shaping_in_stream(address.index(), shaper.min_rate, shaper.min_burst, shaper.max_rate,
                                     shaper.max_burst, &status) != 0) {
        if (status == status::no_stream) refuse_missing(status, address.stream);
        refuse<"stream {0}/{1} cannot set shaping rate.">(status, address.port, address.stream);
    }
    update_stream_shaping(address.port);
    accept();
}
