// VLANs and tag types, as sentences name them.
#include "common/vlan_operands.h"

#include "common/result.h"
#include "common/scan.h"

int32_t vlan_name_to_vid(const char* name, uint32_t* vid) {
    int32_t status = 0;
    if (brgfdb_get_vid(name, vid, &status) == 0) return 0;
    *vid = 0;
    return -1;
}

uint32_t read_vlan(const char* name) {
    uint32_t vid = 0;
    if (vlan_name_to_vid(name, &vid) != 0) refuse_missing(status::no_vlan, name);
    return vid;
}

int32_t read_vlan_id(const char* word) {
    int32_t vid = 0;
    if (!parse_number(word, vid)) refuse_invalid(invalid::vlan_id, word);
    if (!is_tagged_vlan_id(vid) && !is_local_vlan_id(vid)) refuse_out_of_range(range_error::vlan_id, vid);
    return vid;
}

uint16_t read_tag_type(const char* word) {
    uint32_t tag_type = 0;
    if (!parse_hex_number(word, tag_type)) refuse_invalid(invalid::tag_type, word);
    if (tag_type > 0xffff) refuse_out_of_range(range_error::tag_type, static_cast<int32_t>(tag_type));
    return static_cast<uint16_t>(tag_type);
}
