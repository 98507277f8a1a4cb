// Port mirrors: four of them, each copying the traffic of a source to a destination port. Surplus words are ignored in
// all their sentences.
#include "mirror/mirror.h"

#include "common/operands.h"
#include "common/qos_address.h"
#include "common/scan.h"
#include "common/vlan_operands.h"
#include "platform/brgfdb.h"

namespace {

constexpr NumberedText mirror_messages[] = {
    {status::mirror_failed, "mirror {0} unexpected error."},
    {status::mirror_id_out_of_range, "mirror {0} is range over."},
    {status::mirror_exists, "mirror {0} already exists."},
    {status::no_mirror, "mirror {0} does not exist."},
    {status::mirror_has_no_source, "mirror {0} does not set mirroring source."},
    {status::mirror_has_no_destination, "mirror {0} does not set mirroring destination."},
    {status::mirror_destination_is_source, "mirror {0} connot set destination port same to source."},
    {status::mirror_not_deletable_while_enabled, "mirror {0} cannot delete while enabled."},
    {status::mirror_already_enabled, "mirror {0} already enable."},
    {status::mirror_already_disabled, "mirror {0} already disable."},
    {status::mirror_not_modifiable_while_enabled, "mirror {0} cannot modify while enabled."},
    {otherwise, "unknown error at mirror {0}."},
};

void report_mirror_error(int32_t status, int32_t mirror) {
    report<mirror_messages>(status, mirror);
}

// The usual ending: OK and back to `dispatch` (common/result.h), or the library's error and the end of the process.
void finish(int32_t result, int32_t status, uint16_t mirror) {
    if (result != 0) {
        report_mirror_error(status, mirror);
        end_process();
    }
    act_puts();
}

// Mirrors and the ports that they mirror are 1 to 4.
static_assert(mirror_count == 4 && front_port_count == 4);
uint16_t read_one_to_four(const char* word, int32_t not_a_number, int32_t out_of_range, const char* shown) {
    int32_t number = 0;
    if (!parse_number(word, number)) refuse_invalid(not_a_number, shown);
    if (!is_within(number, 1, 4)) refuse_out_of_range(out_of_range, number);
    return static_cast<uint16_t>(number);
}

// The usual opening: as many words as the sentence needs, and the mirror.
uint16_t read_mirror(int32_t count, char** words, int32_t needed) {
    if (count < needed) show_usage();
    return read_one_to_four(words[2], invalid::mirror, range_error::mirror, words[2]);
}

template <auto change> void change_mirror(int32_t count, char** words) {
    const uint16_t mirror = read_mirror(count, words, 3);
    int32_t status = 0;
    const int32_t result = change(mirror, &status);
    finish(result, status, mirror);
}

struct Source {
    int32_t type;
    uint16_t port;
    uint16_t vid;
};

// port <port> {in|out} [vlan <name>], from words[4] on. Any word does for "vlan", and the name "all", or none, is no
// VLAN.
Source read_port_source(int32_t count, char** words) {
    static constexpr NumberedWord of_port[] = {{mirror_source::received, "in"}, {mirror_source::sent, "out"}};
    static constexpr NumberedWord of_port_in_vlan[] = {{mirror_source::received_in_vlan, "in"},
                                                       {mirror_source::sent_in_vlan, "out"}};

    if (count <= 6) show_usage();
    const uint16_t port = read_one_to_four(words[5], invalid::mirror_source, range_error::mirror_source, words[5]);
    if (count <= 8 || is_word(words[8], "all")) return {read_word<of_port>(words[6]), port, 0};
    const int32_t type = read_word<of_port_in_vlan>(words[6]);
    return {type, port, static_cast<uint16_t>(read_vlan(words[8]))};
}

Source read_source(int32_t count, char** words) {
    if (is_word(words[4], "port")) return read_port_source(count, words);
    if (is_word(words[4], "vlan")) return {mirror_source::vlan, 0, static_cast<uint16_t>(read_vlan(words[5]))};
    show_usage();
}

struct Tag {
    int32_t is_on;
    uint16_t tag_type;
    uint16_t vid;
};

// {on [tagtype <tagtype>] vid <vid>|off}, from words[4] on.
Tag read_tag(int32_t count, char** words) {
    if (!read_switch(words[4])) return {0, default_tag_type, 0};
    if (count <= 6) show_usage();
    if (is_word(words[5], "vid")) return {1, default_tag_type, static_cast<uint16_t>(read_vlan_id(words[6]))};

    require_word(words[5], "tagtype");
    if (count <= 8) show_usage();
    const uint16_t tag_type = read_tag_type(words[6]);
    require_word(words[7], "vid");
    return {1, tag_type, static_cast<uint16_t>(read_vlan_id(words[8]))};
}

} // namespace

// create mirror <num>
void create_mirror(int32_t count, char** words) {
    change_mirror<brgfdb_create_mirror>(count, words);
}

// delete mirror <num>
void delete_mirror(int32_t count, char** words) {
    change_mirror<brgfdb_delete_mirror>(count, words);
}

// enable mirror <num>
void enable_mirror(int32_t count, char** words) {
    change_mirror<brgfdb_enable_mirror>(count, words);
}

// disable mirror <num>
void disable_mirror(int32_t count, char** words) {
    change_mirror<brgfdb_disable_mirror>(count, words);
}

// set mirror <num> source port <port> {in|out} [vlan <name>]
// set mirror <num> source vlan <name>
void set_mirror_source(int32_t count, char** words) {
    const uint16_t mirror = read_mirror(count, words, 6);
    const Source source = read_source(count, words);

    int32_t status = 0;
    const int32_t result = brgfdb_set_mirror_source(mirror, source.type, source.port, source.vid, &status);
    finish(result, status, mirror);
}

// set mirror <num> dest port <port>
void set_mirror_dest(int32_t count, char** words) {
    const uint16_t mirror = read_mirror(count, words, 6);
    require_word(words[4], "port");
    // 321 has always quoted the word "port" in place of the operand.
    const uint16_t port =
        read_one_to_four(words[5], invalid::mirror_destination, range_error::mirror_destination, words[4]);

    int32_t status = 0;
    const int32_t result = brgfdb_set_mirror_dest(mirror, port, &status);
    finish(result, status, mirror);
}

// set mirror <num> classify <stream/class/color>; ranges, too, are a matter of the usage text here.
void set_mirror_classify(int32_t count, char** words) {
    const uint16_t mirror = read_mirror(count, words, 5);
    const Classification target = read_classification(words[4]);
    if (!is_stream(target.stream) || !is_class(target.traffic_class)) show_usage();

    int32_t status = 0;
    const int32_t result = brgfdb_set_mirror_classify(mirror, static_cast<uint16_t>(target.stream - 1),
                                                      target.traffic_class, target.color, &status);
    finish(result, status, mirror);
}

// set mirror <num> tag {on [tagtype <tagtype>] vid <vid>|off}
void set_mirror_tag(int32_t count, char** words) {
    const uint16_t mirror = read_mirror(count, words, 5);
    const Tag tag = read_tag(count, words);

    int32_t status = 0;
    const int32_t result = brgfdb_set_mirror_tag(mirror, tag.is_on, tag.tag_type, tag.vid, &status);
    finish(result, status, mirror);
}
