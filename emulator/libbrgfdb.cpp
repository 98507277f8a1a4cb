// libbrgfdb of the emulated switch: each function is written down and made by the core.
#include "core/call.h"
#include "core/classify.h"
#include "core/display.h"
#include "core/fdb.h"
#include "core/members.h"
#include "core/mirrors.h"
#include "core/ports.h"
#include "core/protgroups.h"
#include "core/queues.h"
#include "core/streams.h"
#include "core/vlans.h"

#include <dlfcn.h>
#include <netdb.h>

using emulator::Call;
using emulator::MacText;
using notation::Hex;
using notation::Mac;
using notation::ParameterRecord;
using notation::PointTable;
using notation::RuleRecord;
using notation::Words;

int32_t brgfdb_create_port(int32_t port, int32_t ether, int32_t type, int32_t* status) {
    return Call(__func__, port, ether, type).make(status, [&] { return emulator::create_port(port, ether, type); });
}
int32_t brgfdb_delete_port(int32_t port, int32_t* status) {
    return Call(__func__, port).make(status, [&] { return emulator::delete_port(port); });
}
int32_t brgfdb_check_stream_in_port(int32_t port, int32_t* status) {
    return Call(__func__, port).make(status, [&] { return emulator::check_stream_in_port(port); });
}
int32_t brgfdb_enable_port(int32_t port, int32_t* status) {
    return Call(__func__, port).make(status, [&] { return emulator::enable_port(port); });
}
int32_t brgfdb_disable_port(int32_t port, int32_t* status) {
    return Call(__func__, port).make(status, [&] { return emulator::disable_port(port); });
}
int32_t brgfdb_set_param_to_port(int32_t port, const PortParameters* parameters, uint32_t aging, uint32_t loop_breaker,
                                 uint32_t fields, uint32_t flag_bit, int32_t* status) {
    return Call(__func__, port, ParameterRecord{parameters}, aging, loop_breaker, Hex{fields, 4}, Hex{flag_bit, 4})
        .make(status,
              [&] { return emulator::set_param_to_port(port, *parameters, aging, loop_breaker, fields, flag_bit); });
}
int32_t brgfdb_set_default_class(int32_t port, int32_t stream, int32_t traffic_class, int32_t color, int32_t* status) {
    return Call(__func__, port, stream, traffic_class, color).make(status, [&] {
        return emulator::set_default_class(port, stream, traffic_class, color);
    });
}
int32_t brgfdb_set_port_cosmap(int32_t port, uint32_t entry_mask, const uint32_t* entries, int32_t* status) {
    return Call(__func__, port, Hex{entry_mask, 2}, Words{entries, priority_count, false}).make(status, [&] {
        return emulator::set_port_cosmap(port, entry_mask, entries);
    });
}
int32_t brgfdb_set_port_class_policing(int32_t port, int32_t traffic_class, int32_t rate, int32_t burst, int32_t color,
                                       int32_t* status) {
    return Call(__func__, port, traffic_class, rate, burst, color).make(status, [&] {
        return emulator::set_port_class_policing(port, traffic_class, rate, burst, color);
    });
}
int32_t brgfdb_set_port_bandwidth_calc_mode(int32_t port, int32_t mode, int32_t* status) {
    return Call(__func__, port, mode).make(status, [&] { return emulator::set_port_bandwidth_calc_mode(port, mode); });
}
int32_t brgfdb_set_port_link_frames(int32_t port, int32_t kind, int32_t action, int32_t* status) {
    return Call(__func__, port, kind, action).make(status, [&] {
        return emulator::set_port_link_frames(port, kind, action);
    });
}
int32_t brgfdb_set_link_mode(int32_t port, int32_t mode, int32_t* status) {
    return Call(__func__, port, mode).make(status, [&] { return emulator::set_link_mode(port, mode); });
}
int32_t brgfdb_set_link_depend(int32_t port, int32_t type, uint32_t port_mask, int32_t* status) {
    return Call(__func__, port, type, Hex{port_mask}).make(status, [&] {
        return emulator::set_link_depend(port, type, port_mask);
    });
}
int32_t brgfdb_set_ph_shaping(int32_t ether, int32_t rate, int32_t burst, int32_t* status) {
    return Call(__func__, ether, rate, burst).make(status, [&] {
        return emulator::set_ph_shaping(ether, rate, burst);
    });
}
int32_t brgfdb_stream_shaping_rate_update(int32_t port, int32_t* status) {
    return Call(__func__, port).make(status, [&] { return emulator::stream_shaping_rate_update(port); });
}
int32_t brgfdb_get_vid(const char* name, uint32_t* vid, int32_t* status) {
    Call call(__func__, name);
    return call.make(status, [&] {
        const int32_t refusal = emulator::get_vid(name, *vid);
        if (refusal == 0) call.answer("vid", *vid);
        return refusal;
    });
}
int32_t brgfdb_create_vlan(const char* name, int32_t* vid, int32_t* status) {
    Call call(__func__, name, *vid);
    return call.make(status, [&] {
        const int32_t refusal = emulator::create_vlan(name, *vid);
        if (refusal == 0) call.answer("vid", static_cast<uint32_t>(*vid));
        return refusal;
    });
}
int32_t brgfdb_delete_vlan(uint32_t vid, int32_t* status) {
    return Call(__func__, vid).make(status, [&] { return emulator::delete_vlan(vid); });
}
int32_t brgfdb_add_port_to_vlan(uint32_t vid, int32_t port, int32_t tagged, uint32_t tag_type, int32_t by_protgroup,
                                uint16_t protgroup, int32_t* status) {
    return Call(__func__, vid, port, tagged, Hex{tag_type, 4}, by_protgroup, protgroup).make(status, [&] {
        return emulator::add_port_to_vlan(vid, port, tagged, tag_type, by_protgroup, protgroup);
    });
}
int32_t brgfdb_rem_port_from_vlan(uint32_t vid, int32_t port, int32_t* status) {
    return Call(__func__, vid, port).make(status, [&] { return emulator::rem_port_from_vlan(vid, port); });
}
int32_t brgfdb_set_vlan_sld(uint32_t vid, int32_t on, int32_t* status) {
    return Call(__func__, vid, on).make(status, [&] { return emulator::set_vlan_sld(vid, on); });
}
int32_t brgfdb_set_vlan_learninglimit(uint32_t vid, int32_t limit, int32_t* status) {
    return Call(__func__, vid, limit).make(status, [&] { return emulator::set_vlan_learninglimit(vid, limit); });
}
int32_t brgfdb_set_vlan_ignore_fdb(uint32_t vid, int32_t on, int32_t* status) {
    return Call(__func__, vid, on).make(status, [&] { return emulator::set_vlan_ignore_fdb(vid, on); });
}
int32_t brgfdb_set_vlan_learning_off(uint32_t vid, int32_t off, int32_t* status) {
    return Call(__func__, vid, off).make(status, [&] { return emulator::set_vlan_learning_off(vid, off); });
}
int32_t brgfdb_create_protgroup(uint16_t protgroup, int32_t* status) {
    return Call(__func__, protgroup).make(status, [&] { return emulator::create_protgroup(protgroup); });
}
int32_t brgfdb_delete_protgroup(uint16_t protgroup, int32_t* status) {
    return Call(__func__, protgroup).make(status, [&] { return emulator::delete_protgroup(protgroup); });
}
int32_t brgfdb_add_prot_to_group(uint16_t ether_type, uint16_t protgroup, int32_t* status) {
    return Call(__func__, Hex{ether_type, 4}, protgroup).make(status, [&] {
        return emulator::add_prot_to_group(ether_type, protgroup);
    });
}
int32_t brgfdb_remove_prot_from_group(uint16_t ether_type, uint16_t protgroup, int32_t* status) {
    return Call(__func__, Hex{ether_type, 4}, protgroup).make(status, [&] {
        return emulator::remove_prot_from_group(ether_type, protgroup);
    });
}
int32_t brgfdb_create_mirror(uint16_t mirror, int32_t* status) {
    return Call(__func__, mirror).make(status, [&] { return emulator::create_mirror(mirror); });
}
int32_t brgfdb_delete_mirror(uint16_t mirror, int32_t* status) {
    return Call(__func__, mirror).make(status, [&] { return emulator::delete_mirror(mirror); });
}
int32_t brgfdb_enable_mirror(uint16_t mirror, int32_t* status) {
    return Call(__func__, mirror).make(status, [&] { return emulator::enable_mirror(mirror); });
}
int32_t brgfdb_disable_mirror(uint16_t mirror, int32_t* status) {
    return Call(__func__, mirror).make(status, [&] { return emulator::disable_mirror(mirror); });
}
int32_t brgfdb_set_mirror_source(uint16_t mirror, int32_t type, uint16_t port, uint16_t vid, int32_t* status) {
    return Call(__func__, mirror, type, port, vid).make(status, [&] {
        return emulator::set_mirror_source(mirror, type, port, vid);
    });
}
int32_t brgfdb_set_mirror_dest(uint16_t mirror, uint16_t port, int32_t* status) {
    return Call(__func__, mirror, port).make(status, [&] { return emulator::set_mirror_dest(mirror, port); });
}
int32_t brgfdb_set_mirror_classify(uint16_t mirror, uint16_t stream, int32_t traffic_class, int32_t color,
                                   int32_t* status) {
    return Call(__func__, mirror, stream, traffic_class, color).make(status, [&] {
        return emulator::set_mirror_classify(mirror, stream, traffic_class, color);
    });
}
int32_t brgfdb_set_mirror_tag(uint16_t mirror, int32_t on, uint16_t tag_type, uint16_t vid, int32_t* status) {
    return Call(__func__, mirror, on, Hex{tag_type, 4}, vid).make(status, [&] {
        return emulator::set_mirror_tag(mirror, on, tag_type, vid);
    });
}
int32_t brgfdb_create_stream(int32_t stream_index, int32_t* status) {
    return Call(__func__, stream_index).make(status, [&] { return emulator::create_stream(stream_index); });
}
int32_t brgfdb_delete_stream(int32_t stream_index, int32_t* status) {
    return Call(__func__, stream_index).make(status, [&] { return emulator::delete_stream(stream_index); });
}
int32_t brgfdb_add_stream_to_port(int32_t stream_index, int32_t port, int32_t stream, int32_t* status) {
    return Call(__func__, stream_index, port, stream).make(status, [&] {
        return emulator::add_stream_to_port(stream_index, port, stream);
    });
}
int32_t brgfdb_rem_stream_from_port(int32_t stream_index, int32_t port, int32_t stream, int32_t* status) {
    return Call(__func__, stream_index, port, stream).make(status, [&] {
        return emulator::rem_stream_from_port(stream_index, port, stream);
    });
}
int32_t brgfdb_check_queue_in_stream(int32_t port, int32_t stream, int32_t* status) {
    return Call(__func__, port, stream).make(status, [&] { return emulator::check_queue_in_stream(port, stream); });
}
int32_t brgfdb_set_qostype_in_stream(int32_t stream_index, int32_t type, int32_t first_parameter,
                                     int32_t second_parameter, int32_t* status) {
    return Call(__func__, stream_index, type, first_parameter, second_parameter).make(status, [&] {
        return emulator::set_qostype_in_stream(stream_index, type, first_parameter, second_parameter);
    });
}
int32_t brgfdb_get_stream_info(int32_t stream_index, StreamInfo* info, int32_t* status) {
    Call call(__func__, stream_index);
    return call.make(status, [&] {
        const int32_t refusal = emulator::get_stream_info(stream_index, *info);
        if (refusal == 0) call.answer("type", static_cast<uint32_t>(info->type));
        return refusal;
    });
}
int32_t brgfdb_set_shaping_in_stream(int32_t stream_index, int32_t min_rate, int32_t min_burst, int32_t max_rate,
                                     int32_t max_burst, int32_t* status) {
    return Call(__func__, stream_index, min_rate, min_burst, max_rate, max_burst).make(status, [&] {
        return emulator::set_shaping_in_stream(stream_index, min_rate, min_burst, max_rate, max_burst);
    });
}
int32_t brgfdb_set_stream_priority(int32_t stream_index, int32_t priority, int32_t* status) {
    return Call(__func__, stream_index, priority).make(status, [&] {
        return emulator::set_stream_priority(stream_index, priority);
    });
}
int32_t brgfdb_set_stream_tosmap(int32_t stream_index, uint32_t present, const uint32_t* values, const uint32_t* masks,
                                 int32_t* status) {
    return Call(__func__, stream_index, Hex{present, 2}, Words{values, tosmap_entry_count, true},
                Words{masks, tosmap_entry_count, true})
        .make(status, [&] { return emulator::set_stream_tosmap(stream_index, present, values, masks); });
}
int32_t brgfdb_create_queue(int32_t queue_index, int32_t blocks, int32_t length, int32_t* status) {
    return Call(__func__, queue_index, blocks, length).make(status, [&] {
        return emulator::create_queue(queue_index, blocks, length);
    });
}
int32_t brgfdb_delete_queue(int32_t queue_index, int32_t* status) {
    return Call(__func__, queue_index).make(status, [&] { return emulator::delete_queue(queue_index); });
}
int32_t brgfdb_add_queue_to_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class,
                                   int32_t stream_type, int32_t priority, int32_t weighted, int32_t* status) {
    return Call(__func__, queue_index, stream_index, traffic_class, stream_type, priority, weighted).make(status, [&] {
        return emulator::add_queue_to_stream(queue_index, stream_index, traffic_class, stream_type, priority, weighted);
    });
}
int32_t brgfdb_rem_queue_from_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class,
                                     int32_t* status) {
    return Call(__func__, queue_index, stream_index, traffic_class).make(status, [&] {
        return emulator::rem_queue_from_stream(queue_index, stream_index, traffic_class);
    });
}
int32_t brgfdb_set_queue_qos(int32_t queue_index, int32_t stream_index, int32_t priority, int32_t ratio,
                             int32_t* status) {
    return Call(__func__, queue_index, stream_index, priority, ratio).make(status, [&] {
        return emulator::set_queue_qos(queue_index, stream_index, priority, ratio);
    });
}
int32_t brgfdb_set_queue_size(int32_t queue_index, int32_t stream_index, int32_t traffic_class, int32_t blocks,
                              int32_t length, int32_t* status) {
    return Call(__func__, queue_index, stream_index, traffic_class, blocks, length).make(status, [&] {
        return emulator::set_queue_size(queue_index, stream_index, traffic_class, blocks, length);
    });
}
int32_t brgfdb_set_red_in_stream(int32_t stream_index, int32_t traffic_class, int32_t color, int32_t min_threshold,
                                 int32_t min_drop, int32_t max_threshold, int32_t max_drop, int32_t* status) {
    return Call(__func__, stream_index, traffic_class, color, min_threshold, min_drop, max_threshold, max_drop)
        .make(status, [&] {
            return emulator::set_red_in_stream(stream_index, traffic_class, color, min_threshold, min_drop,
                                               max_threshold, max_drop);
        });
}
int32_t brgfdb_clear_fdb() {
    return Call(__func__).make([&] { return emulator::clear_fdb(); });
}
int32_t brgfdb_clear_fdb_vlan(uint32_t vid) {
    return Call(__func__, vid).make([&] { return emulator::clear_fdb_vlan(vid); });
}
int32_t brgfdb_create_sfil(uint32_t vid, const uint8_t* mac, int32_t port, uint8_t action, int32_t of_system,
                           int32_t* status) {
    return Call(__func__, vid, Mac{mac}, port, Hex{action, 2}, of_system).make(status, [&] {
        return emulator::create_sfil(vid, MacText(mac), port, action, of_system);
    });
}
int32_t brgfdb_delete_sfil(uint32_t vid, const uint8_t* mac, int32_t of_system, int32_t* status) {
    return Call(__func__, vid, Mac{mac}, of_system).make(status, [&] {
        return emulator::delete_sfil(vid, MacText(mac), of_system);
    });
}
int32_t brgfdb_create_lfil(int32_t port, const uint8_t* mac, int32_t type, int32_t of_system, int32_t* status) {
    return Call(__func__, port, Mac{mac}, type, of_system).make(status, [&] {
        return emulator::create_lfil(port, MacText(mac), type, of_system);
    });
}
int32_t brgfdb_delete_lfil(int32_t port, const uint8_t* mac, int32_t of_system, int32_t* status) {
    return Call(__func__, port, Mac{mac}, of_system).make(status, [&] {
        return emulator::delete_lfil(port, MacText(mac), of_system);
    });
}
int32_t brgfdb_create_classify_profile(int32_t list, int32_t* status) {
    return Call(__func__, list).make(status, [&] { return emulator::create_classify_profile(list); });
}
int32_t brgfdb_delete_classify_profile(int32_t list, int32_t* status) {
    return Call(__func__, list).make(status, [&] { return emulator::delete_classify_profile(list); });
}
int32_t brgfdb_add_classify_profile_to_pv(int32_t list, int32_t port, uint32_t vid, const ExtractionPoint* points,
                                          int32_t* status) {
    return Call(__func__, list, port, vid, PointTable{points}).make(status, [&] {
        return emulator::add_classify_profile_to_pv(list, port, vid, points);
    });
}
int32_t brgfdb_rem_classify_profile_from_pv(int32_t port, uint32_t vid, int32_t* status) {
    return Call(__func__, port, vid).make(status, [&] { return emulator::rem_classify_profile_from_pv(port, vid); });
}
int32_t brgfdb_add_classify_action_to_profile(int32_t list, int32_t line, const ClassifyRule* rule, int32_t* status) {
    return Call(__func__, list, line, RuleRecord{rule}).make(status, [&] {
        return emulator::add_classify_action_to_profile(list, line, *rule);
    });
}
int32_t brgfdb_rem_classify_action_from_profile(int32_t list, int32_t line, int32_t* status) {
    return Call(__func__, list, line).make(status, [&] {
        return emulator::rem_classify_action_from_profile(list, line);
    });
}
int32_t brgfdb_rem_classify_all_from_profile(int32_t list, int32_t* status) {
    return Call(__func__, list).make(status, [&] { return emulator::rem_classify_all_from_profile(list); });
}
int32_t brgfdb_disp_classify(int32_t list, int32_t* status) {
    emulator::Display display(list);
    emulator::store::reserve_for_copy();
    Call call(__func__, list);
    const int32_t result = call.make(status, [&] {
        const int32_t refusal = display.prepare();
        if (refusal == 0) call.answer_print(display.beginning(), display.is_whole());
        return refusal;
    });
    if (result != 0) return result;
    const emulator::OneThread alone;
    const int32_t failure = display.show(); // with the store free again: that may take long, and whoever reads too
    if (failure == 0) return 0;
    *status = failure;
    return -1;
}

// The system's own, written down. It has to stand in for the C library's function in every program that loads this
// library: the tool asks for a protocol before it calls anything of ours, the number depends on the machine, and
// without it in the log a rule that names its protocol could not be played elsewhere. No later call tells it: the rule
// carries a number, but not whether it was asked for, and a name that is not known makes no call at all. Whoever else
// asks gets the system's answer all the same, and a line in the log.
protoent* getprotobyname(const char* name) {
    using Lookup = protoent* (*)(const char*);
    static const auto system_lookup = reinterpret_cast<Lookup>(dlsym(RTLD_NEXT, "getprotobyname"));
    protoent* const entry = system_lookup(name);
    Call call(__func__, name);
    if (entry != nullptr) call.answer("number", static_cast<uint32_t>(entry->p_proto));
    call.make([] { return 0; });
    return entry;
}
