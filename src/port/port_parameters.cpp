// The scalar settings of a port: set port <port> <parameter> <value>.
#include "port/port.h"

#include "common/arithmetic.h"
#include "common/operands.h"
#include "common/scan.h"
#include "common/vlan_operands.h"
#include "platform/brgfdb.h"

namespace {

// One setting, as the bridge library takes it.
struct Setting {
    PortParameters parameters{};
    uint32_t aging = 0; // seconds
    uint32_t loop_breaker = 0;
    uint32_t fields = 0;
    uint32_t flag_bit = 0;
};

// A parameter that is one bit of the flags word. Ignoring tags is not accepting them: "ignoretag" and "ignoreptag"
// write the bits of "accept_tag" and "accept_ptag" the other way round.
struct FlagParameter {
    char keyword[12];
    char set_word[8];
    char clear_word[8];
    uint16_t bit;
    int32_t bad_value; // three of them share the code of "ignoreptag"
};

constexpr FlagParameter flag_parameters[] = {
    {"aftype", "all", "tagonly", port_flag::accept_all_frames, invalid::aftype},
    {"ingfil", "on", "off", port_flag::ingress_filtering, invalid::ingress_filter},
    {"accept_tag", "on", "off", port_flag::accept_tagged, invalid::accept_tag},
    {"ignoretag", "off", "on", port_flag::accept_tagged, invalid::ignore_tag},
    {"accept_ptag", "on", "off", port_flag::accept_priority_tagged, invalid::accept_priority_tag},
    {"ignoreptag", "off", "on", port_flag::accept_priority_tagged, invalid::ignore_priority_tag},
    {"cosedit", "on", "off", port_flag::cos_editing, invalid::ignore_priority_tag},
    {"ignorefdb", "on", "off", port_flag::ignore_fdb, invalid::ignore_priority_tag},
};

constexpr NumberedText parameter_messages[] = {
    {status::no_loop_breaker, "port {0} does not support sldbreaker."},
    {status::vlan_mode_refused, "cannot set vlan mode of port {0}."},
    {otherwise, "port {0} cannot set parameter."},
};

void require_front_port(int32_t port) {
    if (!is_within(port, 1, front_port_count)) refuse_out_of_range(range_error::port, port);
}

Setting read_flag(const FlagParameter& flag, const char* value) {
    const bool is_set = is_word(value, flag.set_word);
    if (!is_set && !is_word(value, flag.clear_word)) refuse_invalid(flag.bad_value, value);
    Setting setting;
    setting.parameters.flags = is_set ? flag.bit : uint16_t{0};
    setting.fields = port_field::flag;
    setting.flag_bit = flag.bit;
    return setting;
}

// A number, else the name of a VLAN, whose id is taken as it is. Local VLAN ids pass although the message of 202 does
// not name them.
Setting read_pvid(const char* value) {
    int32_t number = 0;
    uint32_t pvid = 0;
    if (parse_number(value, number)) {
        if (number != 0 && !is_tagged_vlan_id(number) && !is_local_vlan_id(number))
            refuse_out_of_range(range_error::pvid, number);
        pvid = static_cast<uint32_t>(number);
    } else {
        pvid = read_vlan(value);
    }
    Setting setting;
    setting.parameters.pvid = static_cast<uint16_t>(pvid);
    setting.fields = port_field::pvid;
    return setting;
}

Setting read_own_tag_type(const char* value) {
    Setting setting;
    setting.parameters.tag_type = read_tag_type(value);
    setting.fields = port_field::tag_type;
    return setting;
}

Setting read_aging(const char* value) {
    int32_t seconds = 0;
    if (!parse_number(value, seconds)) refuse_invalid(invalid::aging, value);
    if (!is_within(seconds, 60, 1000000)) refuse_out_of_range(range_error::aging, seconds);
    Setting setting;
    setting.aging = static_cast<uint32_t>(seconds);
    setting.fields = port_field::aging;
    return setting;
}

Setting read_loop_breaker(const char* value) {
    Setting setting;
    setting.loop_breaker = read_switch(value, invalid::loop_breaker) ? 1 : 0;
    setting.fields = port_field::loop_breaker;
    return setting;
}

Setting read_setting(int32_t port, const char* keyword, const char* value) {
    if (is_word(keyword, "aftype") || is_word(keyword, "aging")) require_front_port(port);
    for (const FlagParameter& flag : flag_parameters)
        if (is_word(keyword, flag.keyword)) return read_flag(flag, value);
    if (is_word(keyword, "pvid")) return read_pvid(value);
    if (is_word(keyword, "tagtype")) return read_own_tag_type(value);
    if (is_word(keyword, "aging")) return read_aging(value);
    if (is_word(keyword, "sldbreaker")) return read_loop_breaker(value);
    show_usage();
}

} // namespace

void set_port_parameter(int32_t count, char** words) {
    if (count <= 4) show_usage();
    const int32_t port = read_number(words[2]);
    const Setting setting = read_setting(port, words[3], words[4]);
    if (count > 5) no_more_argument();

    int32_t status = 0;
    if (brgfdb_set_param_to_port(port, &setting.parameters, setting.aging, setting.loop_breaker, setting.fields,
                                 setting.flag_bit, &status) >= 0)
        accept();
    if (status == status::no_port) refuse_missing(status, port);
    refuse<parameter_messages>(status, port);
}
