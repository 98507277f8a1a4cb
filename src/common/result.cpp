// Result documents and their messages.
#include "common/result.h"

#include "common/output.h"
#include "common/text.h"
#include "platform/brgfdb.h"

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace {

void print_refusal(int32_t code, const ShortText& message) {
    char document[sizeof message.text + 160];
    const int length = snprintf(document, sizeof document,
                                "<response>\n  <result>NG</result>\n  <error>\n    <errcode>%d</errcode>\n"
                                "    <errmsg>%s</errmsg>\n  </error>\n</response>\n",
                                code, message.text);
    print(document, static_cast<size_t>(length));
}

constexpr bool begins_with_digit(const char* name) {
    return *name >= '0' && *name <= '9';
}

const char* object_word(int32_t code) {
    switch (code) {
    case 101: return "blade";
    case status::no_port: return "port";
    case status::no_vlan: return "VLAN";
    case 104: return "SVLD";
    case status::no_fdb_entry: return "fdb";
    case status::no_stream: return "stream";
    case status::no_queue: return "queue";
    case status::no_ether: return "ether";
    case status::no_profile: return "classify profile";
    default: return "classify action";
    }
}

} // namespace

void act_puts() {
    constexpr char document[] = "<response>\n  <result>OK</result>\n</response>\n";
    print(document, sizeof document - 1);
}

void act_printf(int32_t code, const char* format, ...) {
    va_list values;
    va_start(values, format);
    const ShortText message = format_text_list(format, values);
    va_end(values);
    print_refusal(code, message);
}

void report_not_exist(int32_t code, const char* name, int32_t number) {
    const char* const object = object_word(code);
    if (name == nullptr)
        act_printf(code, "%s %d does not exist.", object, number);
    else if (begins_with_digit(name))
        act_printf(code, "%s %s does not exist.", object, name);
    else
        act_printf(code, "%s \"%s\" does not exist.", object, name);
}

// The bounds in these texts are texts only; some handlers accept more than they say.
void report_out_of_range(int32_t code, int32_t value) {
    switch (code) {
    case range_error::vlan_id: return act_printf(code, "VLAN id %d out of range. Valid range is 1-4094.", value);
    case range_error::pvid: return act_printf(code, "PVID %d out of range. Valid range is 0, 1-4094.", value);
    case range_error::aging: return act_printf(code, "aging %d out of range. Valid range is 60-1000000.", value);
    case range_error::tag_type: return act_printf(code, "tagtype %d out of range. Valid range is 0-ffff.", value);
    case range_error::learning_limit:
        return act_printf(code, "learning limit %d out of range. Valid range is 2-2048.", value);
    case range_error::port: return act_printf(code, "port %d out of range. Valid range is 1-4.", value);
    case range_error::stream: return act_printf(code, "stream %d out of range. Valid range is 1-%d", value, 256);
    case range_error::traffic_class: return act_printf(code, "class %d out of range. Valid range is 0-%d", value, 7);
    case range_error::rate:
        return act_printf(code, "rate %u is out of range. Valid range %d-%d.", static_cast<uint32_t>(value) / 1000, 64,
                          100000);
    case range_error::queue_size:
        return act_printf(code, "queue size %d is out of range. Valid range under %d.\n", value, 4194304);
    case range_error::burst: return act_printf(code, "burst %d is out of range. Valid range %d-%d.", value, 80, 32000);
    case range_error::protgroup: return act_printf(code, "protocol group %d is out of range.", value);
    case range_error::ether_type: return act_printf(code, "ether type %d is out of range.", value);
    case range_error::mirror: return act_printf(code, "mirror id %d is out of range.", value);
    case range_error::mirror_source_type: return act_printf(code, "mirror source type %d is out of range.", value);
    case range_error::mirror_source: return act_printf(code, "mirror source id %d is out of range.", value);
    case range_error::mirror_destination: return act_printf(code, "mirror destination port %d is out of range.", value);
    default: return act_printf(code, "stream priority %d is out of range. Valid range is 0-%d", value, 7);
    }
}

void report_invalid(int32_t code, const char* text) {
    switch (code) {
    case invalid::aftype: return act_printf(code, "aftype \"%s\" invalid.", text);
    case invalid::ingress_filter: return act_printf(code, "ingfil \"%s\" invalid.", text);
    case invalid::accept_tag: return act_printf(code, "accepttag \"%s\" invalid.", text);
    case invalid::accept_priority_tag: return act_printf(code, "acceptptag \"%s\" invalid.", text);
    case invalid::aging: return act_printf(code, "aging \"%s\" invalid.", text);
    case invalid::loop_breaker: return act_printf(code, "sldbkr \"%s\" invalid.", text);
    case invalid::vlan_id: return act_printf(code, "VLAN id \"%s\" invalid.", text);
    case invalid::tag: return act_printf(code, "tag \"%s\" invalid.", text);
    case invalid::tag_type: return act_printf(code, "tagtype \"%s\" invalid.", text);
    case invalid::loop_detection: return act_printf(code, "simple loop detection \"%s\" invalid.", text);
    case invalid::learning_limit: return act_printf(code, "learning limit \"%s\" invalid.", text);
    case invalid::mac_address: return act_printf(code, "mac address \"%s\" invalid.", text);
    case invalid::reserved_mac_address: return act_printf(code, "cannot specify reserved mac address \"%s\".", text);
    case invalid::protgroup: return act_printf(code, "protocol group \"%s\" invalid.", text);
    case invalid::ether_type: return act_printf(code, "ether type \"%s\" invalid.", text);
    case invalid::mirror: return act_printf(code, "mirror id  \"%s\" invalid.", text);
    case invalid::mirror_source_type: return act_printf(code, "mirror source type  \"%s\" invalid.", text);
    case invalid::mirror_source: return act_printf(code, "mirror source id  \"%s\" invalid.", text);
    case invalid::mirror_destination: return act_printf(code, "mirror destination port  \"%s\" invalid.", text);
    default: return act_printf(code, "%s", text);
    }
}

void accept() {
    act_puts();
    end_process();
}

void no_more_argument() {
    constexpr char line[] = "no more argument\n";
    print(line, sizeof line - 1);
    end_process();
}

void refuse(int32_t code, const char* format, ...) {
    va_list values;
    va_start(values, format);
    const ShortText message = format_text_list(format, values);
    va_end(values);
    print_refusal(code, message);
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

void end_process() {
    exit(EXIT_SUCCESS);
}
