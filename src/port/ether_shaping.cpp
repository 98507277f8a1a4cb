// The egress shaper of a physical interface.
#include "port/port.h"

#include "common/operands.h"
#include "common/shaping.h"
#include "platform/brgfdb.h"

// set ether <ether> shaping {off|on rate <rate> [burst <burst>] [{byte|kbyte}]}
void set_ether_shaping(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const int32_t ether = read_number(words[2]);
    const bool is_on = read_switch(words[4]);

    RateAndBurst shaper{};
    if (is_on) {
        if (count <= 6) show_usage();
        shaper = read_rate_and_burst(count, words, 5);
    }

    int32_t status = 0;
    if (brgfdb_set_ph_shaping(ether, shaper.rate, shaper.burst, &status) != 0) {
        if (status == status::no_ether) refuse_missing(status, ether);
        refuse<"ether {0} cannot set.">(status, ether);
    }
    update_stream_shaping(ether, status); // one status word for both calls
    accept();
}

// set ether <ether> share ...: withdrawn, but still sent by old scripts.
void set_ether_share(int32_t /*count*/, char** /*words*/) {
    refuse<"\"set ether share\" command was abolished from V1.3.0.">(1);
}
