// Options of a VLAN, or of all of them: set vlan <name> <option> <value>.
#include "vlan/vlan.h"

#include "common/arithmetic.h"
#include "common/operands.h"
#include "common/scan.h"
#include "common/vlan_operands.h"
#include "platform/brgfdb.h"

namespace {

uint32_t read_vlan_selector(const char* name) {
    return is_word(name, "all") ? vlan_id::every_vlan : read_vlan(name);
}

// All three switches report a bad word as one of simple loop detection.
int32_t read_option_switch(const char* word) {
    return read_switch(word, invalid::loop_detection) ? 1 : 0;
}

int32_t read_inverted_switch(const char* word) {
    return 1 - read_option_switch(word);
}

// 0 stands for no limit. The message of 205 names a lower bound than the one that holds.
int32_t read_learning_limit(const char* word) {
    if (is_word(word, "none")) return 0;
    int32_t limit = 0;
    if (!parse_number(word, limit)) refuse_invalid(invalid::learning_limit, word);
    if (!is_within(limit, 2, 50000)) refuse_out_of_range(range_error::learning_limit, limit);
    return limit;
}

// `what` ends the message of a status that is not the missing VLAN. Surplus words are ignored.
template <auto read_value, auto set_option> void set_option_of_vlan(int32_t count, char** words, const char* what) {
    if (count <= 4) show_usage();
    const char* const name = words[2];
    const uint32_t vid = read_vlan_selector(name);
    const int32_t value = read_value(words[4]);

    int32_t status = 0;
    if (set_option(vid, value, &status) != 0) {
        if (status == status::no_vlan) refuse_missing(status, name);
        refuse<"VLAN \"{0}\" cannot set {1}">(status, name, what);
    }
    accept();
}

} // namespace

// set vlan <name> simple_loop_detection {on|off}
void set_vlan_simple_loop_detection(int32_t count, char** words) {
    set_option_of_vlan<read_option_switch, brgfdb_set_vlan_sld>(count, words, "simple loop detection.");
}

// set vlan <name> learninglimit {<limit>|none}; the message has a line feed of its own.
void set_vlan_learninglimit(int32_t count, char** words) {
    set_option_of_vlan<read_learning_limit, brgfdb_set_vlan_learninglimit>(count, words, "learning limit.\n");
}

// set vlan <name> ignorefdb {on|off}
void set_vlan_ignorefdb(int32_t count, char** words) {
    set_option_of_vlan<read_option_switch, brgfdb_set_vlan_ignore_fdb>(count, words, "ignore fdb.");
}

// set vlan <name> learning {on|off}; the library is told whether learning is off.
void set_vlan_learning(int32_t count, char** words) {
    set_option_of_vlan<read_inverted_switch, brgfdb_set_vlan_learning_off>(count, words, "learning off.");
}
