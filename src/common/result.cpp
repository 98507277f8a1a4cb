// Result documents and their messages.
#include "common/result.h"

#include "common/output.h"
#include "platform/brgfdb.h"

#include <cstdlib>

namespace {

// What does not exist.
constexpr NumberedWord objects[] = {
    {101, "blade"},
    {status::no_port, "port"},
    {status::no_vlan, "VLAN"},
    {104, "SVLD"},
    {status::no_fdb_entry, "fdb"},
    {status::no_stream, "stream"},
    {status::no_queue, "queue"},
    {status::no_ether, "ether"},
    {status::no_profile, "classify profile"},
    {otherwise, "classify action"},
};

// The bounds in these texts are texts only; some handlers accept more than they say.
constexpr NumberedText range_messages[] = {
    {range_error::vlan_id, "VLAN id {0} out of range. Valid range is 1-4094."},
    {range_error::pvid, "PVID {0} out of range. Valid range is 0, 1-4094."},
    {range_error::aging, "aging {0} out of range. Valid range is 60-1000000."},
    {range_error::tag_type, "tagtype {0} out of range. Valid range is 0-ffff."},
    {range_error::learning_limit, "learning limit {0} out of range. Valid range is 2-2048."},
    {range_error::port, "port {0} out of range. Valid range is 1-4."},
    {range_error::stream, "stream {0} out of range. Valid range is 1-256"},
    {range_error::traffic_class, "class {0} out of range. Valid range is 0-7"},
    {range_error::rate, "rate {0} is out of range. Valid range 64-100000."},
    {range_error::queue_size, "queue size {0} is out of range. Valid range under 4194304.\n"},
    {range_error::burst, "burst {0} is out of range. Valid range 80-32000."},
    {range_error::protgroup, "protocol group {0} is out of range."},
    {range_error::ether_type, "ether type {0} is out of range."},
    {range_error::mirror, "mirror id {0} is out of range."},
    {range_error::mirror_source_type, "mirror source type {0} is out of range."},
    {range_error::mirror_source, "mirror source id {0} is out of range."},
    {range_error::mirror_destination, "mirror destination port {0} is out of range."},
    {otherwise, "stream priority {0} is out of range. Valid range is 0-7"},
};

constexpr NumberedText invalid_messages[] = {
    {invalid::aftype, "aftype \"{0}\" invalid."},
    {invalid::ingress_filter, "ingfil \"{0}\" invalid."},
    {invalid::accept_tag, "accepttag \"{0}\" invalid."},
    {invalid::accept_priority_tag, "acceptptag \"{0}\" invalid."},
    {invalid::aging, "aging \"{0}\" invalid."},
    {invalid::loop_breaker, "sldbkr \"{0}\" invalid."},
    {invalid::vlan_id, "VLAN id \"{0}\" invalid."},
    {invalid::tag, "tag \"{0}\" invalid."},
    {invalid::tag_type, "tagtype \"{0}\" invalid."},
    {invalid::loop_detection, "simple loop detection \"{0}\" invalid."},
    {invalid::learning_limit, "learning limit \"{0}\" invalid."},
    {invalid::mac_address, "mac address \"{0}\" invalid."},
    {invalid::reserved_mac_address, "cannot specify reserved mac address \"{0}\"."},
    {invalid::protgroup, "protocol group \"{0}\" invalid."},
    {invalid::ether_type, "ether type \"{0}\" invalid."},
    {invalid::mirror, "mirror id  \"{0}\" invalid."},
    {invalid::mirror_source_type, "mirror source type  \"{0}\" invalid."},
    {invalid::mirror_source, "mirror source id  \"{0}\" invalid."},
    {invalid::mirror_destination, "mirror destination port  \"{0}\" invalid."},
    {otherwise, "{0}"},
};

constexpr bool begins_with_digit(const char* name) {
    return *name >= '0' && *name <= '9';
}

} // namespace

void act_puts() {
    static constexpr char document[] = "<response>\n  <result>OK</result>\n</response>\n";
    print(document, sizeof document - 1);
}

void act_printf(int32_t code, const ShortText& message) {
    const char* const packed =
        packing::message<"<response>\n  <result>NG</result>\n  <error>\n    <errcode>{0}</errcode>\n"
                         "    <errmsg>{1}</errmsg>\n  </error>\n</response>\n",
                         int32_t, const char*>();
    const Operand operands[] = {code, message.text};
    char document[sizeof(ShortText) + 160];
    print(document, fill(document, sizeof document, packed, operands));
}

void report_listed(int32_t code, const char* packed_messages, const Operand* operands) {
    act_printf(code, compose_packed(find_text(packed_messages, code), operands));
}

void report_not_exist(int32_t code, const char* name, int32_t number) {
    const char* const object = find_text(packing::words<objects>(), code);
    if (name == nullptr)
        act_printf(code, compose<"{0} {1} does not exist.">(object, number));
    else if (begins_with_digit(name))
        act_printf(code, compose<"{0} {1} does not exist.">(object, name));
    else
        act_printf(code, compose<"{0} \"{1}\" does not exist.">(object, name));
}

void report_out_of_range(int32_t code, int32_t value) {
    const bool is_rate = code == range_error::rate;
    report<range_messages>(code, is_rate ? static_cast<int32_t>(static_cast<uint32_t>(value) / 1000) : value);
}

void report_invalid(int32_t code, const char* text) {
    report<invalid_messages>(code, text);
}

void accept() {
    act_puts();
    end_process();
}

void refuse_missing(int32_t code, const char* name) {
    report_not_exist(code, name, 0);
    end_process();
}

void refuse_missing(int32_t code, int32_t number) {
    report_not_exist(code, nullptr, number);
    end_process();
}

void refuse_out_of_range(int32_t code, int32_t value) {
    report_out_of_range(code, value);
    end_process();
}

void refuse_invalid(int32_t code, const char* text) {
    report_invalid(code, text);
    end_process();
}

void refuse_listed(int32_t code, const char* packed_messages, const Operand* operands) {
    report_listed(code, packed_messages, operands);
    end_process();
}

void refuse_packed(int32_t code, const char* packed_message, const Operand* operands) {
    act_printf(code, compose_packed(packed_message, operands));
    end_process();
}

void end_process() {
    exit(EXIT_SUCCESS);
}
