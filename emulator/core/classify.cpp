// Classification lists, their bindings and rules.
#include "core/classify.h"

#include "core/limits.h"
#include "core/match_fields.h"
#include "core/ports.h"
#include "core/refusal.h"
#include "core/vlans.h"

#include <cstring>

namespace emulator {

namespace {

// What a slot of a rule asks. A range has a high value.
struct Match {
    uint32_t low;
    uint32_t high;
    uint32_t mask;
    uint32_t is_range;

    bool is_empty() const { return (low | high | mask | is_range) == 0; }
    bool is_sound() const { return is_range == 1 ? low < high : is_range == 0 && high == 0; }
};

uint32_t word_of(const ClassifyRule& rule, const MatchField& field, size_t index) {
    uint32_t word = 0;
    const char* const at = reinterpret_cast<const char*>(&rule) + field.offset + index * field.word;
    if (field.word == 1) {
        word = static_cast<uint8_t>(*at);
    } else if (field.word == 2) {
        uint16_t half = 0;
        memcpy(&half, at, sizeof half);
        word = half;
    } else {
        memcpy(&word, at, sizeof word);
    }
    return word;
}

Match read_match(const ClassifyRule& rule, const MatchField& field) {
    if (field.style == MatchStyle::extraction) return {word_of(rule, field, 0), 0, word_of(rule, field, 1), 0};
    return {word_of(rule, field, 0), word_of(rule, field, 1), word_of(rule, field, 2), word_of(rule, field, 3)};
}

constexpr uint32_t known_fields() {
    uint32_t known = 0;
    for (const MatchField& field : match_fields)
        known |= field.present;
    return known;
}

// A slot without its bit has to be empty, and a range to go upwards.
bool is_sound(const ClassifyRule& rule) {
    if ((rule.present & ~known_fields()) != 0) return false;
    for (const MatchField& field : match_fields) {
        const Match match = read_match(rule, field);
        if ((rule.present & field.present) == 0 ? !match.is_empty() : !match.is_sound()) return false;
    }
    return true;
}

// Words of match memory: one, and one for each field, two for a range.
int64_t words_of(const ClassifyRule& rule) {
    int64_t words = 1;
    for (const MatchField& field : match_fields)
        if ((rule.present & field.present) != 0) words += 1 + read_match(rule, field).is_range;
    return words;
}

bool fits_in_memory(int32_t list, int32_t line, const ClassifyRule& rule) {
    constexpr int64_t longest_rule = 1 + 2 * 9 + 4;
    const int64_t room = limit("words_per_clslist");
    if (room >= longest_rule * limit("rules_per_clslist")) return true;
    const int64_t rules =
        find_number("SELECT count(*) FROM classify_rule WHERE list = ?1 AND line <> ?2", list, line).value_or(0);
    const int64_t fields =
        find_number("SELECT count(*) + count(high) FROM classify_match WHERE list = ?1 AND line <> ?2", list, line)
            .value_or(0);
    return rules + fields + words_of(rule) <= room;
}

// The line after the last, else the lowest that is free.
OptionalNumber find_free_line(int32_t list) {
    const int64_t last_allowed = limit("rules_per_clslist");
    const int64_t last =
        find_optional_number("SELECT max(line) AS line FROM classify_rule WHERE list = ?1", list).value_or(0);
    if (last < last_allowed) return last + 1;

    int64_t candidate = 1;
    Rows lines("SELECT line FROM classify_rule WHERE list = ?1 ORDER BY line", list);
    while (lines.next() && lines.number(0) == candidate)
        ++candidate;
    if (candidate > last_allowed) return std::nullopt;
    return candidate;
}

void store_rule(int32_t list, int64_t line, const ClassifyRule& rule) {
    change("REPLACE INTO classify_rule (list, line, stream, traffic_class, color) VALUES (?1, ?2, ?3, ?4, ?5)", list,
           line, rule.stream, rule.traffic_class, rule.color);
    for (const MatchField& field : match_fields) {
        if ((rule.present & field.present) == 0) continue;
        const Match match = read_match(rule, field);
        change("INSERT INTO classify_match (list, line, field, low, high, mask) VALUES (?1, ?2, ?3, ?4, ?5, ?6)", list,
               line, field.name, match.low, match.is_range == 1 ? OptionalNumber(match.high) : std::nullopt,
               match.mask);
    }
}

// A list that holds no rule any more has no marking mode either.
void forget_marking_of_empty(int32_t list) {
    if (!exists("SELECT 1 FROM classify_rule WHERE list = ?1", list))
        change("UPDATE classify_list SET marking = NULL WHERE list = ?1", list);
}

bool list_exists(int32_t list) {
    return exists("SELECT 1 FROM classify_list WHERE list = ?1", list);
}

bool is_member(int32_t port, uint32_t vid) {
    return exists("SELECT 1 FROM vlan_member WHERE vid = ?1 AND port = ?2", vid, port);
}

} // namespace

int32_t create_classify_profile(int32_t list) {
    if (list_exists(list)) return status::profile_exists;
    // There are no more lists than the highest number says, so that most often none need counting.
    const int64_t highest = find_optional_number("SELECT max(list) AS list FROM classify_list").value_or(0);
    if (is_full("clslists", highest + 1, "SELECT count(*) FROM classify_list")) return status::too_many_profiles;
    change("INSERT INTO classify_list (list) VALUES (?1)", list);
    return 0;
}

int32_t delete_classify_profile(int32_t list) {
    if (!list_exists(list)) return status::no_profile;
    if (exists("SELECT 1 FROM classify_rule WHERE list = ?1", list)) return status::profile_has_action;
    if (exists("SELECT 1 FROM list_binding WHERE list = ?1", list)) return status::profile_in_use;
    change("DELETE FROM classify_list WHERE list = ?1", list);
    return 0;
}

int32_t add_classify_profile_to_pv(int32_t list, int32_t port, uint32_t vid, const ExtractionPoint* points) {
    if (!port_exists(port)) return status::no_port;
    if (!vlan_exists(vid)) return status::no_vlan;
    if (!list_exists(list)) return status::no_profile_to_bind;
    if (!is_member(port, vid)) return status::port_not_in_vlan;
    const OptionalNumber bound = find_number("SELECT list FROM list_binding WHERE vid = ?1 AND port = ?2", vid, port);
    if (bound && *bound != list) return status::pair_has_other_profile;
    // The same list again only changes the extraction points.
    change("REPLACE INTO list_binding (vid, port, list) VALUES (?1, ?2, ?3)", vid, port, list);
    for (size_t i = 0; i < extraction_point_count; ++i) {
        if (points[i].offset == 0 && points[i].width == 0) continue;
        change("INSERT INTO extraction_point (vid, port, point, byte_offset, width) VALUES (?1, ?2, ?3, ?4, ?5)", vid,
               port, i + 1, points[i].offset, points[i].width);
    }
    return 0;
}

int32_t rem_classify_profile_from_pv(int32_t port, uint32_t vid) {
    if (!port_exists(port)) return status::no_port;
    if (!vlan_exists(vid)) return status::no_vlan;
    if (!is_member(port, vid)) return status::port_not_in_vlan;
    const int64_t removed = change("DELETE FROM list_binding WHERE vid = ?1 AND port = ?2", vid, port);
    return removed == 1 ? 0 : status::pair_has_no_profile;
}

// A rule for a line that is in use takes the place of the one there.
int32_t add_classify_action_to_profile(int32_t list, int32_t line, const ClassifyRule& rule) {
    Rows rows("SELECT marking FROM classify_list WHERE list = ?1", list);
    if (!rows.next()) return status::no_profile;
    if (line < 0 || !is_sound(rule)) return refusal::invalid_value;
    if (line > limit("rules_per_clslist")) return status::too_many_actions;

    const OptionalNumber marking = rows.optional_number(0);
    const bool is_alone = !exists("SELECT 1 FROM classify_rule WHERE list = ?1 AND line <> ?2", list, line);
    if (!is_alone && marking != rule.marking) return status::profile_has_other_mode;
    const OptionalNumber place = line != 0 ? OptionalNumber(line) : find_free_line(list);
    if (!place) return status::too_many_actions;
    if (!fits_in_memory(list, line, rule)) return status::no_memory_in_profile;

    store_rule(list, *place, rule);
    if (marking != rule.marking) change("UPDATE classify_list SET marking = ?2 WHERE list = ?1", list, rule.marking);
    return 0;
}

int32_t rem_classify_action_from_profile(int32_t list, int32_t line) {
    if (!list_exists(list)) return status::no_profile;
    if (change("DELETE FROM classify_rule WHERE list = ?1 AND line = ?2", list, line) == 0) return status::no_action;
    forget_marking_of_empty(list);
    return 0;
}

int32_t rem_classify_all_from_profile(int32_t list) {
    if (!list_exists(list)) return status::no_profile;
    if (change("DELETE FROM classify_rule WHERE list = ?1", list) == 0) return status::no_action;
    forget_marking_of_empty(list);
    return 0;
}

} // namespace emulator
