// libbrgfdb, recorded; and the protocol database, so that a test does not depend on the machine's /etc/protocols.
#include "recorder.h"

#include "platform/brgfdb.h"

#include <netdb.h>

#include <cstring>

using notation::Hex;
using notation::Mac;
using notation::ParameterRecord;
using notation::PointTable;
using notation::RuleRecord;
using notation::Words;
using recorder::call;
using recorder::exchange;
using recorder::give;
using recorder::tell;

// Answers a `struct protoent` with the scripted number; without one the name is not known. The C library's own is
// found after this one.
protoent* getprotobyname(const char* name) {
    const recorder::Answer answer = exchange(__func__, name);
    if (answer.value[0] == '\0') return nullptr;
    static char name_of_entry[] = "scripted";
    static char* no_aliases[] = {nullptr};
    static protoent entry{name_of_entry, no_aliases, 0};
    entry.p_proto = recorder::to_number(answer.value);
    return &entry;
}

int32_t brgfdb_create_port(int32_t port, int32_t ether, int32_t type, int32_t* status) {
    return call(status, __func__, port, ether, type);
}
int32_t brgfdb_delete_port(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}
int32_t brgfdb_check_stream_in_port(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}
int32_t brgfdb_enable_port(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}
int32_t brgfdb_disable_port(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}
int32_t brgfdb_set_param_to_port(int32_t port, const PortParameters* parameters, uint32_t aging, uint32_t loop_breaker,
                                 uint32_t fields, uint32_t flag_bit, int32_t* status) {
    return call(status, __func__, port, ParameterRecord{parameters}, aging, loop_breaker, Hex{fields, 4},
                Hex{flag_bit, 4});
}
int32_t brgfdb_set_default_class(int32_t port, int32_t stream, int32_t traffic_class, int32_t color, int32_t* status) {
    return call(status, __func__, port, stream, traffic_class, color);
}
int32_t brgfdb_set_port_cosmap(int32_t port, uint32_t entry_mask, const uint32_t* entries, int32_t* status) {
    return call(status, __func__, port, Hex{entry_mask, 2}, Words{entries, 8, false});
}
int32_t brgfdb_set_port_class_policing(int32_t port, int32_t traffic_class, int32_t rate, int32_t burst, int32_t color,
                                       int32_t* status) {
    return call(status, __func__, port, traffic_class, rate, burst, color);
}
int32_t brgfdb_set_port_bandwidth_calc_mode(int32_t port, int32_t mode, int32_t* status) {
    return call(status, __func__, port, mode);
}
int32_t brgfdb_set_port_link_frames(int32_t port, int32_t kind, int32_t action, int32_t* status) {
    return call(status, __func__, port, kind, action);
}
int32_t brgfdb_set_link_mode(int32_t port, int32_t mode, int32_t* status) {
    return call(status, __func__, port, mode);
}
int32_t brgfdb_set_link_depend(int32_t port, int32_t type, uint32_t port_mask, int32_t* status) {
    return call(status, __func__, port, type, Hex{port_mask});
}
int32_t brgfdb_set_ph_shaping(int32_t ether, int32_t rate, int32_t burst, int32_t* status) {
    return call(status, __func__, ether, rate, burst);
}
int32_t brgfdb_stream_shaping_rate_update(int32_t port, int32_t* status) {
    return call(status, __func__, port);
}
int32_t brgfdb_get_vid(const char* name, uint32_t* vid, int32_t* status) {
    const recorder::Answer answer = exchange(__func__, name);
    *vid = static_cast<uint32_t>(recorder::to_number(answer.value));
    return give(answer, status);
}
int32_t brgfdb_create_vlan(const char* name, int32_t* vid, int32_t* status) {
    const recorder::Answer answer = exchange(__func__, name, *vid);
    if (answer.value[0] != '\0') *vid = recorder::to_number(answer.value);
    return give(answer, status);
}
int32_t brgfdb_delete_vlan(uint32_t vid, int32_t* status) {
    return call(status, __func__, vid);
}
int32_t brgfdb_add_port_to_vlan(uint32_t vid, int32_t port, int32_t tagged, uint32_t tag_type, int32_t by_protgroup,
                                uint16_t protgroup, int32_t* status) {
    return call(status, __func__, vid, port, tagged, Hex{tag_type, 4}, by_protgroup, protgroup);
}
int32_t brgfdb_rem_port_from_vlan(uint32_t vid, int32_t port, int32_t* status) {
    return call(status, __func__, vid, port);
}
int32_t brgfdb_set_vlan_sld(uint32_t vid, int32_t on, int32_t* status) {
    return call(status, __func__, vid, on);
}
int32_t brgfdb_set_vlan_learninglimit(uint32_t vid, int32_t limit, int32_t* status) {
    return call(status, __func__, vid, limit);
}
int32_t brgfdb_set_vlan_ignore_fdb(uint32_t vid, int32_t on, int32_t* status) {
    return call(status, __func__, vid, on);
}
int32_t brgfdb_set_vlan_learning_off(uint32_t vid, int32_t off, int32_t* status) {
    return call(status, __func__, vid, off);
}
int32_t brgfdb_create_protgroup(uint16_t protgroup, int32_t* status) {
    return call(status, __func__, protgroup);
}
int32_t brgfdb_delete_protgroup(uint16_t protgroup, int32_t* status) {
    return call(status, __func__, protgroup);
}
int32_t brgfdb_add_prot_to_group(uint16_t ether_type, uint16_t protgroup, int32_t* status) {
    return call(status, __func__, Hex{ether_type, 4}, protgroup);
}
int32_t brgfdb_remove_prot_from_group(uint16_t ether_type, uint16_t protgroup, int32_t* status) {
    return call(status, __func__, Hex{ether_type, 4}, protgroup);
}
int32_t brgfdb_create_mirror(uint16_t mirror, int32_t* status) {
    return call(status, __func__, mirror);
}
int32_t brgfdb_delete_mirror(uint16_t mirror, int32_t* status) {
    return call(status, __func__, mirror);
}
int32_t brgfdb_enable_mirror(uint16_t mirror, int32_t* status) {
    return call(status, __func__, mirror);
}
int32_t brgfdb_disable_mirror(uint16_t mirror, int32_t* status) {
    return call(status, __func__, mirror);
}
int32_t brgfdb_set_mirror_source(uint16_t mirror, int32_t type, uint16_t port, uint16_t vid, int32_t* status) {
    return call(status, __func__, mirror, type, port, vid);
}
int32_t brgfdb_set_mirror_dest(uint16_t mirror, uint16_t port, int32_t* status) {
    return call(status, __func__, mirror, port);
}
int32_t brgfdb_set_mirror_classify(uint16_t mirror, uint16_t stream, int32_t traffic_class, int32_t color,
                                   int32_t* status) {
    return call(status, __func__, mirror, stream, traffic_class, color);
}
int32_t brgfdb_set_mirror_tag(uint16_t mirror, int32_t on, uint16_t tag_type, uint16_t vid, int32_t* status) {
    return call(status, __func__, mirror, on, Hex{tag_type, 4}, vid);
}
int32_t brgfdb_create_stream(int32_t stream_index, int32_t* status) {
    return call(status, __func__, stream_index);
}
int32_t brgfdb_delete_stream(int32_t stream_index, int32_t* status) {
    return call(status, __func__, stream_index);
}
int32_t brgfdb_add_stream_to_port(int32_t stream_index, int32_t port, int32_t stream, int32_t* status) {
    return call(status, __func__, stream_index, port, stream);
}
int32_t brgfdb_rem_stream_from_port(int32_t stream_index, int32_t port, int32_t stream, int32_t* status) {
    return call(status, __func__, stream_index, port, stream);
}
int32_t brgfdb_check_queue_in_stream(int32_t port, int32_t stream, int32_t* status) {
    return call(status, __func__, port, stream);
}
int32_t brgfdb_set_qostype_in_stream(int32_t stream_index, int32_t type, int32_t first_parameter,
                                     int32_t second_parameter, int32_t* status) {
    return call(status, __func__, stream_index, type, first_parameter, second_parameter);
}
int32_t brgfdb_get_stream_info(int32_t stream_index, StreamInfo* info, int32_t* status) {
    const recorder::Answer answer = exchange(__func__, stream_index);
    memset(info, 0xee, 288); // all that a caller has to provide room for
    const int32_t type = recorder::to_number(answer.value);
    memcpy(reinterpret_cast<char*>(info) + 16, &type, sizeof type);
    return give(answer, status);
}
int32_t brgfdb_set_shaping_in_stream(int32_t stream_index, int32_t min_rate, int32_t min_burst, int32_t max_rate,
                                     int32_t max_burst, int32_t* status) {
    return call(status, __func__, stream_index, min_rate, min_burst, max_rate, max_burst);
}
int32_t brgfdb_set_stream_priority(int32_t stream_index, int32_t priority, int32_t* status) {
    return call(status, __func__, stream_index, priority);
}
int32_t brgfdb_set_stream_tosmap(int32_t stream_index, uint32_t present, const uint32_t* values, const uint32_t* masks,
                                 int32_t* status) {
    return call(status, __func__, stream_index, Hex{present, 2}, Words{values, 8, true}, Words{masks, 8, true});
}
int32_t brgfdb_create_queue(int32_t queue_index, int32_t blocks, int32_t length, int32_t* status) {
    return call(status, __func__, queue_index, blocks, length);
}
int32_t brgfdb_delete_queue(int32_t queue_index, int32_t* status) {
    return call(status, __func__, queue_index);
}
int32_t brgfdb_add_queue_to_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class,
                                   int32_t stream_type, int32_t priority, int32_t weighted, int32_t* status) {
    return call(status, __func__, queue_index, stream_index, traffic_class, stream_type, priority, weighted);
}
int32_t brgfdb_rem_queue_from_stream(int32_t queue_index, int32_t stream_index, int32_t traffic_class,
                                     int32_t* status) {
    return call(status, __func__, queue_index, stream_index, traffic_class);
}
int32_t brgfdb_set_queue_qos(int32_t queue_index, int32_t stream_index, int32_t priority, int32_t ratio,
                             int32_t* status) {
    return call(status, __func__, queue_index, stream_index, priority, ratio);
}
int32_t brgfdb_set_queue_size(int32_t queue_index, int32_t stream_index, int32_t traffic_class, int32_t blocks,
                              int32_t length, int32_t* status) {
    return call(status, __func__, queue_index, stream_index, traffic_class, blocks, length);
}
int32_t brgfdb_set_red_in_stream(int32_t stream_index, int32_t traffic_class, int32_t color, int32_t min_threshold,
                                 int32_t min_drop, int32_t max_threshold, int32_t max_drop, int32_t* status) {
    return call(status, __func__, stream_index, traffic_class, color, min_threshold, min_drop, max_threshold, max_drop);
}
int32_t brgfdb_clear_fdb() {
    return tell(__func__);
}
int32_t brgfdb_clear_fdb_vlan(uint32_t vid) {
    return tell(__func__, vid);
}
int32_t brgfdb_create_sfil(uint32_t vid, const uint8_t* mac, int32_t port, uint8_t action, int32_t of_system,
                           int32_t* status) {
    return call(status, __func__, vid, Mac{mac}, port, Hex{action, 2}, of_system);
}
int32_t brgfdb_delete_sfil(uint32_t vid, const uint8_t* mac, int32_t of_system, int32_t* status) {
    return call(status, __func__, vid, Mac{mac}, of_system);
}
int32_t brgfdb_create_lfil(int32_t port, const uint8_t* mac, int32_t type, int32_t of_system, int32_t* status) {
    return call(status, __func__, port, Mac{mac}, type, of_system);
}
int32_t brgfdb_delete_lfil(int32_t port, const uint8_t* mac, int32_t of_system, int32_t* status) {
    return call(status, __func__, port, Mac{mac}, of_system);
}
int32_t brgfdb_create_classify_profile(int32_t list, int32_t* status) {
    return call(status, __func__, list);
}
int32_t brgfdb_delete_classify_profile(int32_t list, int32_t* status) {
    return call(status, __func__, list);
}
int32_t brgfdb_add_classify_profile_to_pv(int32_t list, int32_t port, uint32_t vid, const ExtractionPoint* points,
                                          int32_t* status) {
    return call(status, __func__, list, port, vid, PointTable{points});
}
int32_t brgfdb_rem_classify_profile_from_pv(int32_t port, uint32_t vid, int32_t* status) {
    return call(status, __func__, port, vid);
}
int32_t brgfdb_add_classify_action_to_profile(int32_t list, int32_t line, const ClassifyRule* rule, int32_t* status) {
    return call(status, __func__, list, line, RuleRecord{rule});
}
int32_t brgfdb_rem_classify_action_from_profile(int32_t list, int32_t line, int32_t* status) {
    return call(status, __func__, list, line);
}
int32_t brgfdb_rem_classify_all_from_profile(int32_t list, int32_t* status) {
    return call(status, __func__, list);
}
int32_t brgfdb_disp_classify(int32_t list, int32_t* status) {
    const recorder::Answer answer = exchange(__func__, list);
    recorder::write_all(STDOUT_FILENO, answer.prints, strlen(answer.prints));
    return give(answer, status);
}
