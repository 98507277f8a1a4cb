// The words for programs. They are the names of the numbers, so that code and output read alike.
#include "dataplane/outcome.h"

namespace dataplane {

const char* word_of(Verdict verdict) {
    switch (verdict) {
    case Verdict::forwarded: return "forwarded";
    case Verdict::flooded: return "flooded";
    case Verdict::delivered: return "delivered";
    case Verdict::dropped: return "dropped";
    }
    return "";
}

const char* word_of(DropReason reason) {
    switch (reason) {
    case DropReason::none: return "none";
    case DropReason::too_short: return "too_short";
    case DropReason::too_long: return "too_long";
    case DropReason::port_disabled: return "port_disabled";
    case DropReason::port_down: return "port_down";
    case DropReason::port_not_ether: return "port_not_ether";
    case DropReason::reserved_address: return "reserved_address";
    case DropReason::local_discard: return "local_discard";
    case DropReason::untagged_refused: return "untagged_refused";
    case DropReason::reserved_vid: return "reserved_vid";
    case DropReason::no_vlan: return "no_vlan";
    case DropReason::unknown_vlan: return "unknown_vlan";
    case DropReason::not_a_member: return "not_a_member";
    case DropReason::policed: return "policed";
    case DropReason::static_discard: return "static_discard";
    case DropReason::same_port: return "same_port";
    case DropReason::egress_not_a_member: return "egress_not_a_member";
    case DropReason::egress_disabled: return "egress_disabled";
    case DropReason::egress_down: return "egress_down";
    case DropReason::nobody_to_send_to: return "nobody_to_send_to";
    case DropReason::queue_full: return "queue_full";
    case DropReason::red: return "red";
    case DropReason::no_buffer: return "no_buffer";
    case DropReason::queue_removed: return "queue_removed";
    case DropReason::port_missing: return "port_missing";
    }
    return "";
}

const char* word_of(StepKind kind) {
    switch (kind) {
    case StepKind::received: return "received";
    case StepKind::link_dependency: return "link_dependency";
    case StepKind::link_mode_unset: return "link_mode_unset";
    case StepKind::tag_recognised: return "tag_recognised";
    case StepKind::priority_tag: return "priority_tag";
    case StepKind::tag_ignored: return "tag_ignored";
    case StepKind::priority_tag_ignored: return "priority_tag_ignored";
    case StepKind::other_tag: return "other_tag";
    case StepKind::untagged: return "untagged";
    case StepKind::link_frame_lifted: return "link_frame_lifted";
    case StepKind::local_entry: return "local_entry";
    case StepKind::taken_by_switch: return "taken_by_switch";
    case StepKind::not_forwarded: return "not_forwarded";
    case StepKind::vlan_by_tag: return "vlan_by_tag";
    case StepKind::vlan_by_protgroup: return "vlan_by_protgroup";
    case StepKind::vlan_by_membership: return "vlan_by_membership";
    case StepKind::vlan_by_pvid: return "vlan_by_pvid";
    case StepKind::member: return "member";
    case StepKind::let_in: return "let_in";
    case StepKind::list_matched: return "list_matched";
    case StepKind::list_not_matched: return "list_not_matched";
    case StepKind::no_list: return "no_list";
    case StepKind::class_by_rule: return "class_by_rule";
    case StepKind::class_by_priority: return "class_by_priority";
    case StepKind::class_by_tos: return "class_by_tos";
    case StepKind::class_by_default: return "class_by_default";
    case StepKind::counted: return "counted";
    case StepKind::within_rate: return "within_rate";
    case StepKind::recolored: return "recolored";
    case StepKind::over_rate: return "over_rate";
    case StepKind::learned: return "learned";
    case StepKind::moved: return "moved";
    case StepKind::refreshed: return "refreshed";
    case StepKind::not_learned_off: return "not_learned_off";
    case StepKind::not_learned_limit: return "not_learned_limit";
    case StepKind::not_learned_full: return "not_learned_full";
    case StepKind::not_learned_source: return "not_learned_source";
    case StepKind::not_learned_static: return "not_learned_static";
    case StepKind::not_learned_member: return "not_learned_member";
    case StepKind::fdb_ignored_by_port: return "fdb_ignored_by_port";
    case StepKind::fdb_ignored_by_vlan: return "fdb_ignored_by_vlan";
    case StepKind::group_address: return "group_address";
    case StepKind::static_entry: return "static_entry";
    case StepKind::own_address: return "own_address";
    case StepKind::learned_entry: return "learned_entry";
    case StepKind::unknown_address: return "unknown_address";
    case StepKind::sent: return "sent";
    case StepKind::drop_eligible_kept: return "drop_eligible_kept";
    case StepKind::not_sent_disabled: return "not_sent_disabled";
    case StepKind::not_sent_down: return "not_sent_down";
    case StepKind::priority_edited: return "priority_edited";
    case StepKind::queued: return "queued";
    case StepKind::best_effort: return "best_effort";
    case StepKind::mirrored: return "mirrored";
    case StepKind::not_mirrored: return "not_mirrored";
    case StepKind::copy_tagged: return "copy_tagged";
    case StepKind::copy_best_effort: return "copy_best_effort";
    case StepKind::kept: return "kept";
    case StepKind::dropped: return "dropped";
    case StepKind::done: return "done";
    }
    return "";
}

const char* word_of(OutputKind kind) {
    switch (kind) {
    case OutputKind::forwarded: return "forwarded";
    case OutputKind::flooded: return "flooded";
    case OutputKind::delivered: return "delivered";
    case OutputKind::mirrored: return "mirrored";
    }
    return "";
}

const char* word_of(KeptSetting setting) {
    switch (setting) {
    case KeptSetting::loop_breaker: return "loop_breaker";
    case KeptSetting::link_aggregation: return "link_aggregation";
    case KeptSetting::ip_interface: return "ip_interface";
    case KeptSetting::loop_detection: return "loop_detection";
    case KeptSetting::static_entry_flags: return "static_entry_flags";
    }
    return "";
}

const char* word_of(MirrorSkip skip) {
    switch (skip) {
    case MirrorSkip::not_classified: return "not_classified";
    case MirrorSkip::other_class: return "other_class";
    case MirrorSkip::disabled: return "disabled";
    case MirrorSkip::down: return "down";
    }
    return "";
}

} // namespace dataplane
