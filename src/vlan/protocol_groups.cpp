// Protocol groups: numbered sets of Ethernet types.
#include "vlan/vlan.h"

#include "common/arithmetic.h"
#include "common/operands.h"
#include "common/scan.h"
#include "platform/brgfdb.h"
#include "vlan/protgroup.h"

namespace {

constexpr NumberedText protgroup_messages[] = {
    {status::too_many_protgroups, "maximum number of protocol groups."},
    {status::protgroup_exists, "protocol group {0} already exists."},
    {status::no_protgroup, "protocol group {0} does not exist."},
    {status::too_many_protocols, "maximum number of protocol in group {0}."},
    {status::protocol_in_group, "protocol {1:04x} already exists in group {0}."},
    {status::protocol_in_other_group, "protocol {1:04x} already exists in other group."},
    {status::protocol_not_in_group, "protocol {1:04x} does not exist in group {0}."},
    {status::protgroup_in_use, "some port use protocol group {0} yet."},
    {otherwise, "unknown"},
};

[[noreturn]] void refuse_protgroup(int32_t status, uint16_t protgroup, uint16_t ether_type) {
    report_protgroup_error(status, protgroup, ether_type);
    end_process();
}

// create protgroup <gid>, delete protgroup <gid>
template <auto change> void change_protgroup(int32_t count, char** words) {
    if (count < 3) show_usage();
    const uint16_t protgroup = read_protgroup(words[2], words[2]);

    int32_t status = 0;
    if (change(protgroup, &status) != 0) refuse_protgroup(status, protgroup, 0);
    act_puts();
}

// add protocol <protocol> to protgroup <gid>, remove protocol <protocol> from protgroup <gid>
//
// What is no number is refused with the word "protocol" for the operand, deliberately: callers know the documents so.
template <auto change> void change_protocol(int32_t count, char** words, const char* preposition) {
    if (count <= 5) show_usage();
    require_word(words[3], preposition);
    require_word(words[4], "protgroup");

    const char* const shown = words[1];
    uint32_t ether_type = 0;
    if (!parse_hex_number(words[2], ether_type)) refuse_invalid(invalid::ether_type, shown);
    if (ether_type > 0xffff) refuse_out_of_range(range_error::ether_type, static_cast<int32_t>(ether_type));
    const uint16_t protgroup = read_protgroup(words[5], shown);

    int32_t status = 0;
    if (change(static_cast<uint16_t>(ether_type), protgroup, &status) != 0)
        refuse_protgroup(status, protgroup, static_cast<uint16_t>(ether_type));
    act_puts();
}

} // namespace

uint16_t read_protgroup(const char* word, const char* shown) {
    int32_t protgroup = 0;
    if (!parse_number(word, protgroup)) refuse_invalid(invalid::protgroup, shown);
    if (!is_within(protgroup, 0, 0xffff)) refuse_out_of_range(range_error::protgroup, protgroup);
    return static_cast<uint16_t>(protgroup);
}

void report_protgroup_error(int32_t status, uint16_t protgroup, uint16_t ether_type) {
    // Any status without a row gets the message "unknown". It is told as an invalid value, deliberately: where the
    // catalogue of those has a message for the number, that one is printed, with "unknown" for the value.
    const bool is_catalogue_code = is_within(status, invalid::aftype, invalid::mirror_destination);
    if (is_catalogue_code) return report_invalid(status, "unknown");
    report<protgroup_messages>(status, protgroup, ether_type);
}

void create_protgroup(int32_t count, char** words) {
    change_protgroup<brgfdb_create_protgroup>(count, words);
}

void delete_protgroup(int32_t count, char** words) {
    change_protgroup<brgfdb_delete_protgroup>(count, words);
}

void add_protocol(int32_t count, char** words) {
    change_protocol<brgfdb_add_prot_to_group>(count, words, "to");
}

void remove_protocol(int32_t count, char** words) {
    change_protocol<brgfdb_remove_prot_from_group>(count, words, "from");
}
