// The rules of classification lists.
#include "classify/classify.h"

#include "classify/extraction.h"
#include "classify/match.h"
#include "common/operands.h"
#include "common/qos_address.h"
#include "common/scan.h"
#include "platform/brgfdb.h"

namespace {

constexpr uint16_t any_16_bits = 0xffff;
constexpr uint8_t any_8_bits = 0xff;
constexpr uint16_t highest_vid = 4095;
constexpr uint8_t highest_cos = 7;

// <stream/class/color>. The class is read as 8 bits, so 263 is 7.
void read_target(const char* word, ClassifyRule& rule) {
    int32_t stream = 0;
    uint8_t traffic_class = 0;
    std::string_view color;
    if (!scan_decimal(word, stream) || !scan_literal(word, '/') || !scan_octet(word, traffic_class) ||
        !scan_literal(word, '/') || !scan_text(word, color))
        show_usage();
    if (!is_stream(stream)) refuse_out_of_range(range_error::stream, stream);
    require_class(traffic_class);
    rule.stream = static_cast<uint16_t>(stream - 1);
    rule.traffic_class = traffic_class;
    rule.color = static_cast<uint8_t>(read_color(color));
}

// <da> <sa> <tos> <prot> <dp> <sp> <vid> <cos> <etype> <ext>. What cannot be read matches anything.
void parse_matches(char** operands, ClassifyRule& rule) {
    const auto mark = [&rule](uint32_t field, bool is_given) {
        if (is_given) rule.present |= field;
    };
    mark(rule_field::destination_address, parse_address_match(operands[0], rule.destination_address));
    mark(rule_field::source_address, parse_address_match(operands[1], rule.source_address));
    mark(rule_field::tos, parse_decimal_match(operands[2], any_8_bits, rule.tos));
    mark(rule_field::protocol, parse_protocol_match(operands[3], rule.protocol));
    mark(rule_field::destination_port, parse_decimal_match(operands[4], any_16_bits, rule.destination_port));
    mark(rule_field::source_port, parse_decimal_match(operands[5], any_16_bits, rule.source_port));
    mark(rule_field::vid, parse_decimal_match(operands[6], highest_vid, rule.vid));
    mark(rule_field::cos, parse_decimal_match(operands[7], highest_cos, rule.cos));
    mark(rule_field::ether_type, parse_hex_match(operands[8], rule.ether_type));
    rule.present |= parse_extraction_matches(operands[9], rule.extraction);
}

// [line <line_no>] at the end of nineteen words; with any other count there is no line.
int32_t read_line(int32_t count, char** words) {
    if (count != 19) return any_line;
    require_word(words[17], "line");
    return read_number(words[18]);
}

constexpr NumberedText rule_creation_messages[] = {
    {status::too_many_actions, "maximum classify action in profile."},
    {status::no_memory_in_profile, "no memory in classify profile {0}."},
    {status::profile_has_other_mode, "differnt mode in profile {0}.(dscp/dot1p)"},
    {otherwise, "cannot add classify action to profile {0}."},
};

constexpr NumberedText rule_removal_messages[] = {
    {status::no_memory_in_profile, "no memory classify profile {0}."},
    {otherwise, "cannot remove classify action {1}."},
};

} // namespace

// add classify <stream/class/color> {normal|dscp|dot1p}
//     <da> <sa> <tos> <prot> <dp> <sp> <vid> <cos> <etype> <ext>
//     to clslist <listno> [line <line_no>]
void add_classify(int32_t count, char** words) {
    if (count < 17) show_usage();
    require_word(words[14], "to");
    require_word(words[15], "clslist");
    ClassifyRule rule{};
    read_target(words[2], rule);
    rule.marking = static_cast<uint32_t>(read_word<marking_words>(words[3]));
    parse_matches(words + 4, rule);
    const int32_t list = read_number(words[16]);
    const int32_t line = read_line(count, words);

    int32_t status = 0;
    if (brgfdb_add_classify_action_to_profile(list, line, &rule, &status) == 0) accept();
    if (status == status::no_profile) refuse_missing(status, list);
    refuse<rule_creation_messages>(status, list);
}

// remove classify from clslist <listno> line {all|<line_no>}
void remove_classify(int32_t count, char** words) {
    if (count < 7) show_usage();
    require_word(words[2], "from");
    require_word(words[3], "clslist");
    const int32_t list = read_number(words[4]);
    require_word(words[5], "line");
    const bool is_all = is_word(words[6], "all");
    const int32_t line = is_all ? 0 : read_number(words[6]);
    if (count > 7) no_more_argument();

    int32_t status = 0;
    const int32_t result = is_all ? brgfdb_rem_classify_all_from_profile(list, &status)
                                  : brgfdb_rem_classify_action_from_profile(list, line, &status);
    if (result == 0) accept();
    if (status == status::no_profile) refuse_missing(status, list);
    if (status == status::no_action) refuse_missing(status, line);
    refuse<rule_removal_messages>(status, list, line);
}
