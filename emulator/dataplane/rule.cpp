// Rules, looked at one by one.
#include "dataplane/rule.h"

namespace dataplane {
namespace {

bool holds(const FieldMatch& match, const FieldValues& values) {
    const auto field = static_cast<size_t>(match.field);
    if ((values.present >> field & 1U) == 0) return false;
    const uint32_t value = values.value[field] & match.mask;
    return value >= match.low && value <= match.high;
}

} // namespace

bool matches(const Rule& rule, const FieldValues& values) {
    for (const FieldMatch& match : rule.matches)
        if (!holds(match, values)) return false;
    return true;
}

std::optional<size_t> find_by_walking(const std::vector<Rule>& rules, const FieldValues& values) {
    for (size_t place = 0; place < rules.size(); ++place)
        if (matches(rules[place], values)) return place;
    return std::nullopt;
}

} // namespace dataplane
