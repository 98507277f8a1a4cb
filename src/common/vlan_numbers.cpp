// Reading VLAN ids and tag protocol identifiers.
#include "common/vlan_numbers.h"

#include "common/result.h"
#include "common/scan.h"

int32_t read_vlan_id(const char* word) {
    int32_t vid = 0;
    if (!read_number(word, vid)) refuse_invalid(invalid::vlan_id, word);
    if (!is_tagged_vlan_id(vid) && !is_local_vlan_id(vid)) refuse_out_of_range(range_error::vlan_id, vid);
    return vid;
}

uint16_t read_tag_type(const char* word) {
    uint32_t tag_type = 0;
    if (!read_hex_number(word, tag_type)) refuse_invalid(invalid::tag_type, word);
    if (tag_type > 0xffff) refuse_out_of_range(range_error::tag_type, static_cast<int32_t>(tag_type));
    return static_cast<uint16_t>(tag_type);
}
