// Rates and bursts.
#include "common/shaping.h"

#include "common/operands.h"
#include "platform/brgfdb.h"

int32_t read_burst_unit(int32_t count, char** words, int32_t at) {
    static constexpr NumberedWord units[] = {{1000, "kbyte"}, {1, "byte"}};
    if (count <= at) return 1000;
    return read_word<units>(words[at]);
}

RateAndBurst read_rate_and_burst(int32_t count, char** words, int32_t at) {
    require_word(words[at], "rate");
    const int32_t rate = times_1000(read_number(words[at + 1]));
    if (!is_rate(rate)) refuse_out_of_range(range_error::rate, rate);

    if (count <= at + 3) return {rate, default_burst};
    require_word(words[at + 2], "burst");
    const int32_t typed = read_number(words[at + 3]);
    const int32_t burst = wrapping_multiply(typed, read_burst_unit(count, words, at + 4));
    if (!is_burst(burst)) refuse_out_of_range(range_error::burst, burst);
    return {rate, burst};
}

void update_stream_shaping(int32_t port, int32_t status) {
    if (brgfdb_stream_shaping_rate_update(port, &status) != 0)
        refuse<"stream in port {0} cannot update shaping rate.">(status, port);
}
