// The library calls that a damaged store is met with: one at least of each kind of statement that the core has.
#include "damaged_calls.h"

#include "platform/brgfdb.h"
#include "platform/portshm.h"
#include "platform/qual.h"
#include "platform/trapevent.h"

#include <iterator>

namespace {

int32_t answer;

constexpr uint8_t static_mac[mac_length] = {0, 0, 0x5e, 0, 0x53, 1};
constexpr uint8_t local_mac[mac_length] = {0, 0, 0x5e, 0, 0x53, 2};
constexpr uint8_t learned_mac[mac_length] = {0, 0, 0x5e, 0, 0x53, 3};
constexpr uint8_t other_mac[mac_length] = {0, 0, 0x5e, 0, 0x53, 9};

void set_flags(uint16_t flags, uint16_t bit) {
    PortParameters parameters{};
    parameters.flags = flags;
    brgfdb_set_param_to_port(1, &parameters, 0, 0, port_field::flag, bit, &answer);
}

void create_vlan(const char* name, int32_t vid) {
    brgfdb_create_vlan(name, &vid, &answer);
}

void add_rule(int32_t list, int32_t line) {
    ClassifyRule rule{};
    rule.marking = 2;
    rule.present = rule_field::vid;
    rule.vid = {.low = 10, .high = 20, .mask = 0xfff, .is_range = 1};
    brgfdb_add_classify_action_to_profile(list, line, &rule, &answer);
}

} // namespace

const NamedCall damaged_calls[] = {
    {"disp_classify of all", [] { brgfdb_disp_classify(every_list, &answer); }},
    {"disp_classify", [] { brgfdb_disp_classify(1, &answer); }},
    {"get_vid",
     [] {
         uint32_t vid = 0;
         brgfdb_get_vid("sales", &vid, &answer);
     }},
    {"get_stream_info",
     [] {
         StreamInfo info{};
         brgfdb_get_stream_info(0, &info, &answer);
     }},
    {"check_stream_in_port", [] { brgfdb_check_stream_in_port(1, &answer); }},
    {"check_queue_in_stream", [] { brgfdb_check_queue_in_stream(1, 1, &answer); }},
    {"stream_shaping_rate_update", [] { brgfdb_stream_shaping_rate_update(1, &answer); }},

    {"create_port", [] { brgfdb_create_port(9, 1, port_type::ether, &answer); }},
    {"enable_port", [] { brgfdb_enable_port(1, &answer); }},
    {"disable_port", [] { brgfdb_disable_port(1, &answer); }},
    {"set_param_to_port, tagged only", [] { set_flags(0, port_flag::accept_all_frames); }},
    {"set_param_to_port, filtering", [] { set_flags(port_flag::ingress_filtering, port_flag::ingress_filtering); }},
    {"set_param_to_port, loops",
     [] {
         const PortParameters parameters{};
         brgfdb_set_param_to_port(1, &parameters, 0, 1, port_field::loop_breaker, 0, &answer);
     }},
    {"set_default_class", [] { brgfdb_set_default_class(1, 0, 1, color::red, &answer); }},
    {"set_port_cosmap",
     [] {
         const uint32_t entries[priority_count] = {1, 2, 3, 4, 5, 6, 7, 0};
         brgfdb_set_port_cosmap(1, 0xff, entries, &answer);
     }},
    {"set_port_class_policing", [] { brgfdb_set_port_class_policing(1, 2, 64000, 8000, color::red, &answer); }},
    {"set_port_link_frames",
     [] { brgfdb_set_port_link_frames(1, link_frame::bpdu, link_frame_action::discard, &answer); }},
    {"set_link_mode", [] { brgfdb_set_link_mode(101, 1, &answer); }},
    {"set_link_depend", [] { brgfdb_set_link_depend(101, link_depend::ports, 3, &answer); }},
    {"set_ph_shaping", [] { brgfdb_set_ph_shaping(1, 64000, 8000, &answer); }},

    {"create_vlan, any id", [] { create_vlan("fresh", vlan_id::any); }},
    {"create_vlan", [] { create_vlan("other", 30); }},
    {"set_vlan_sld", [] { brgfdb_set_vlan_sld(10, 1, &answer); }},
    {"set_vlan_learninglimit of all", [] { brgfdb_set_vlan_learninglimit(vlan_id::every_vlan, 5, &answer); }},
    {"create_protgroup", [] { brgfdb_create_protgroup(9, &answer); }},
    {"add_prot_to_group", [] { brgfdb_add_prot_to_group(0x86dd, 7, &answer); }},
    {"add_prot_to_group, the same", [] { brgfdb_add_prot_to_group(0x0800, 7, &answer); }},
    {"remove_prot_from_group", [] { brgfdb_remove_prot_from_group(0x0800, 7, &answer); }},
    {"add_port_to_vlan", [] { brgfdb_add_port_to_vlan(10, 9, 0, default_tag_type, 0, 0, &answer); }},
    {"add_port_to_vlan, of a group", [] { brgfdb_add_port_to_vlan(10, 3, 0, default_tag_type, 1, 7, &answer); }},
    {"add_port_to_vlan, tagged", [] { brgfdb_add_port_to_vlan(10, 4, 1, default_tag_type, 0, 0, &answer); }},

    {"create_sfil", [] { brgfdb_create_sfil(10, other_mac, 1, 0, entry_owner::user, &answer); }},
    {"create_sfil, of what was learned", [] { brgfdb_create_sfil(10, learned_mac, 1, 0, entry_owner::user, &answer); }},
    {"create_sfil, the same", [] { brgfdb_create_sfil(10, static_mac, 1, 0, entry_owner::user, &answer); }},
    {"create_lfil", [] { brgfdb_create_lfil(2, other_mac, local_type::both, entry_owner::user, &answer); }},
    {"delete_sfil", [] { brgfdb_delete_sfil(10, static_mac, entry_owner::user, &answer); }},
    {"delete_lfil", [] { brgfdb_delete_lfil(2, local_mac, entry_owner::user, &answer); }},
    {"clear_fdb_vlan", [] { brgfdb_clear_fdb_vlan(10); }},
    {"clear_fdb", [] { brgfdb_clear_fdb(); }},

    {"create_stream", [] { brgfdb_create_stream(5, &answer); }},
    {"add_stream_to_port", [] { brgfdb_add_stream_to_port(5, 1, 5, &answer); }},
    {"set_qostype_in_stream", [] { brgfdb_set_qostype_in_stream(0, 1, 2048, 64, &answer); }},
    {"set_shaping_in_stream", [] { brgfdb_set_shaping_in_stream(0, 64000, 8000, 64000, 8000, &answer); }},
    {"set_stream_priority", [] { brgfdb_set_stream_priority(0, 3, &answer); }},
    {"set_stream_tosmap",
     [] {
         const uint32_t values[tosmap_entry_count] = {1};
         const uint32_t masks[tosmap_entry_count] = {255};
         brgfdb_set_stream_tosmap(0, 1, values, masks, &answer);
     }},
    {"create_queue", [] { brgfdb_create_queue(9, 256, 16384, &answer); }},
    {"add_queue_to_stream", [] { brgfdb_add_queue_to_stream(9, 1, 1, 1, 1, 1, &answer); }},
    {"set_queue_qos", [] { brgfdb_set_queue_qos(0, 0, 3, 4, &answer); }},
    {"set_queue_size", [] { brgfdb_set_queue_size(0, 0, 0, 512, 32768, &answer); }},
    {"set_red_in_stream", [] { brgfdb_set_red_in_stream(0, 3, color::red, 10, 0, 90, 50, &answer); }},
    {"rem_queue_from_stream", [] { brgfdb_rem_queue_from_stream(1, 0, 1, &answer); }},
    {"delete_queue", [] { brgfdb_delete_queue(1, &answer); }},
    {"rem_stream_from_port", [] { brgfdb_rem_stream_from_port(1, 1, 1, &answer); }},
    {"delete_stream", [] { brgfdb_delete_stream(1, &answer); }},

    {"create_classify_profile", [] { brgfdb_create_classify_profile(3, &answer); }},
    {"add_classify_action_to_profile, any line", [] { add_rule(1, any_line); }},
    {"add_classify_action_to_profile", [] { add_rule(1, 1); }},
    {"add_classify_profile_to_pv",
     [] {
         const ExtractionPoint points[extraction_point_count] = {{.offset = 14, .width = 2}};
         brgfdb_add_classify_profile_to_pv(1, 1, 10, points, &answer);
     }},
    {"rem_classify_profile_from_pv", [] { brgfdb_rem_classify_profile_from_pv(1, 10, &answer); }},
    {"rem_classify_action_from_profile", [] { brgfdb_rem_classify_action_from_profile(1, 1, &answer); }},
    {"rem_classify_all_from_profile", [] { brgfdb_rem_classify_all_from_profile(2, &answer); }},
    {"delete_classify_profile", [] { brgfdb_delete_classify_profile(2, &answer); }},

    {"create_mirror", [] { brgfdb_create_mirror(2, &answer); }},
    {"enable_mirror", [] { brgfdb_enable_mirror(1, &answer); }},
    {"set_mirror_source, enabled", [] { brgfdb_set_mirror_source(1, 1, 1, 0, &answer); }},
    {"disable_mirror", [] { brgfdb_disable_mirror(1, &answer); }},
    {"set_mirror_source", [] { brgfdb_set_mirror_source(1, 1, 4, 0, &answer); }},
    {"set_mirror_dest", [] { brgfdb_set_mirror_dest(1, 1, &answer); }},
    {"set_mirror_classify", [] { brgfdb_set_mirror_classify(1, 0, 1, color::red, &answer); }},
    {"set_mirror_tag", [] { brgfdb_set_mirror_tag(1, 1, default_tag_type, 20, &answer); }},
    {"delete_mirror", [] { brgfdb_delete_mirror(1, &answer); }},

    {"portshm_create_port", [] { portshm_create_port(9, port_kind::physical, 9); }},
    {"portshm_enable_port", [] { portshm_enable_port(1, port_kind::physical); }},
    {"portshm_add_port_vlan", [] { portshm_add_port_vlan(1, port_kind::physical, 30); }},
    {"portshm_set_port_linkmode", [] { portshm_set_port_linkmode(101, 1); }},
    {"portshm_delete_port", [] { portshm_delete_port(2, port_kind::physical); }},
    {"qual_register", [] { qual_register("vlan", "fresh", 7); }},
    {"qual_unregister", [] { qual_unregister("vlan", "sales"); }},
    {"libev_PortVlan_Status", [] { libev_PortVlan_Status(0, 1, "sales", trap_event::added); }},

    {"rem_port_from_vlan", [] { brgfdb_rem_port_from_vlan(10, 2, &answer); }},
    {"delete_port", [] { brgfdb_delete_port(2, &answer); }},
    {"delete_vlan", [] { brgfdb_delete_vlan(4100, &answer); }},
    {"delete_protgroup", [] { brgfdb_delete_protgroup(7, &answer); }},
};
const size_t damaged_call_count = std::size(damaged_calls);
