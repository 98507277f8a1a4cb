// The command reference: which words lead to which handler.
#include "main/dispatch.h"

#include "classify/classify.h"
#include "common/keyword.h"
#include "common/usage.h"
#include "fdb/fdb.h"
#include "main/command_index.h"
#include "mirror/mirror.h"
#include "port/port.h"
#include "qos/qos.h"
#include "vlan/vlan.h"

namespace {

// Any other keyword of an ether passes in silence, deliberately: no usage text, no document.
void ignore_sentence(int32_t /*count*/, char** /*words*/) {}

// The first row that matches is taken. The keyword is the fourth word, behind the operand of the object; an empty one
// takes any word, or none.
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

} // namespace

void dispatch(int32_t count, char** words) {
    if (count <= 1) show_usage();
    if (is_word(words[0], "set") && count <= 3) show_usage();
    if (!call_first_match<commands>(count, words)) show_usage();
}
