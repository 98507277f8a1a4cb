// The command reference: which words lead to which handler.
#include "main/dispatch.h"

#include "classify/classify.h"
#include "common/operands.h"
#include "fdb/fdb.h"
#include "mirror/mirror.h"
#include "port/port.h"
#include "qos/qos.h"
#include "vlan/vlan.h"

#include <array>
#include <iterator>
#include <utility>

namespace {

// The keyword is the fourth word, behind the operand of the object; an empty one takes any word, or none.
struct Command {
    const char* verb;
    const char* object;
    const char* keyword;
    void (*handle)(int32_t count, char** words);
};

// Any other keyword of an ether passes in silence, deliberately: no usage text, no document.
void ignore_sentence(int32_t /*count*/, char** /*words*/) {}

// The first row that matches is taken.
constexpr Command commands[] = {
    {"create", "port", "", create_port},
    {"create", "vlan", "", create_vlan},
    {"create", "stream", "", create_stream},
    {"create", "queue", "", create_queue},
    {"create", "sfdbentry", "", change_sfdbentry},
    {"create", "lfdbentry", "", change_lfdbentry},
    {"create", "clslist", "", create_clslist},
    {"create", "protgroup", "", create_protgroup},
    {"create", "mirror", "", create_mirror},

    {"delete", "port", "", delete_port},
    {"delete", "vlan", "", delete_vlan},
    {"delete", "stream", "", delete_stream},
    {"delete", "queue", "", delete_queue},
    {"delete", "dfdbentry", "", delete_dfdbentry},
    {"delete", "sfdbentry", "", change_sfdbentry},
    {"delete", "lfdbentry", "", change_lfdbentry},
    {"delete", "clslist", "", delete_clslist},
    {"delete", "protgroup", "", delete_protgroup},
    {"delete", "mirror", "", delete_mirror},

    {"add", "port", "", add_port},
    {"add", "clslist", "", add_clslist},
    {"add", "classify", "", add_classify},
    {"add", "protocol", "", add_protocol},

    {"remove", "port", "", remove_port},
    {"remove", "clslist", "", remove_clslist},
    {"remove", "classify", "", remove_classify},
    {"remove", "protocol", "", remove_protocol},

    {"set", "ether", "shaping", set_ether_shaping},
    {"set", "ether", "share", set_ether_share},
    {"set", "ether", "", ignore_sentence},
    {"set", "port", "class_policing", set_port_class_policing},
    {"set", "port", "default_class", set_port_default_class},
    {"set", "port", "cosmap", set_port_cosmap},
    {"set", "port", "link_mode", set_port_link_mode},
    {"set", "port", "link_depend", set_port_link_depend},
    {"set", "port", "bandwidth", set_port_bandwidth},
    {"set", "port", "link_frame", set_port_link_frame},
    {"set", "port", "", set_port_parameter},
    {"set", "vlan", "simple_loop_detection", set_vlan_simple_loop_detection},
    {"set", "vlan", "learninglimit", set_vlan_learninglimit},
    {"set", "vlan", "ignorefdb", set_vlan_ignorefdb},
    {"set", "vlan", "learning", set_vlan_learning},
    {"set", "stream", "shaping", set_stream_shaping},
    {"set", "stream", "priority", set_stream_priority},
    {"set", "stream", "tosmap", set_stream_tosmap},
    {"set", "queue", "pri", set_queue_pri},
    {"set", "queue", "queue_length", set_queue_length},
    {"set", "queue", "color", set_queue_color},
    {"set", "color", "", set_color},
    {"set", "mirror", "source", set_mirror_source},
    {"set", "mirror", "dest", set_mirror_dest},
    {"set", "mirror", "classify", set_mirror_classify},
    {"set", "mirror", "tag", set_mirror_tag},

    {"enable", "port", "", enable_port},
    {"enable", "mirror", "", enable_mirror},

    {"disable", "port", "", disable_port},
    {"disable", "mirror", "", disable_mirror},

    {"show", "clslist", "", show_clslist},
};

constexpr size_t command_count = std::size(commands);

// What the program carries of the rows, without a pointer that the loader would have to relocate at every start: each
// distinct word once, and where a row's words are among them.
struct Row {
    uint16_t verb;
    uint16_t object;
    uint16_t keyword;
};

struct Index {
    packing::Buffer words;
    std::array<Row, command_count> rows;
};

// The place of a word, which is added when it is new. It may be the end of another.
constexpr uint16_t place_of(const char* word, packing::Buffer& words) {
    for (size_t at = 0; at < words.size; ++at)
        if (is_word(word, words.bytes + at)) return static_cast<uint16_t>(at);
    const auto end = static_cast<uint16_t>(words.size);
    packing::append_word(words, word);
    return end;
}

constexpr Index command_index = [] {
    Index index{};
    for (size_t i = 0; i < command_count; ++i)
        index.rows[i] = {place_of(commands[i].verb, index.words), place_of(commands[i].object, index.words),
                         place_of(commands[i].keyword, index.words)};
    return index;
}();
constexpr std::array<Row, command_count> rows = command_index.rows;
constexpr auto row_words = packing::pack_with([](packing::Buffer& buffer) { buffer = command_index.words; });

bool matches(const Row& row, char** words) {
    const char* const text = row_words.bytes;
    if (!is_word(words[0], text + row.verb) || !is_word(words[1], text + row.object)) return false;
    return text[row.keyword] == '\0' || is_word(words[3], text + row.keyword);
}

// Each handler is called by its name, and only here: optimised as one unit, they become one function that sets up its
// frame and its addresses once.
template <size_t... Index>
void call_handler(size_t row, int32_t count, char** words, std::index_sequence<Index...> /*rows*/) {
    static_cast<void>(((row == Index && (commands[Index].handle(count, words), true)) || ...));
}

} // namespace

void dispatch(int32_t count, char** words) {
    if (count <= 1) show_usage();
    if (is_word(words[0], "set") && count <= 3) show_usage();

    for (size_t row = 0; row < command_count; ++row)
        if (matches(rows[row], words))
            return call_handler(row, count, words, std::make_index_sequence<command_count>{});
    show_usage();
}
