#include "dataplane/matcher.h"

#include <algorithm>

namespace dataplane {

constexpr size_t worth_an_index = 8; // rules

Matcher::Matcher(std::vector<Rule> rules) : rules_(std::move(rules)) {
    if (rules_.size() < worth_an_index) return;
    for (size_t first = 0; first < rules_.size(); first += RuleIndex::capacity)
        indices_.emplace_back(std::span(rules_).subspan(first, std::min(RuleIndex::capacity, rules_.size() - first)));
}

std::optional<size_t> Matcher::find(const FieldValues& values) const {
    if (indices_.empty()) return find_by_walking(rules_, values);
    size_t first = 0;
    for (const RuleIndex& index : indices_) {
        const std::span<const Rule> rules = std::span(rules_).subspan(first);
        if (const auto found = index.find(rules, values)) return first + *found;
        first += RuleIndex::capacity;
    }
    return std::nullopt;
}

} // namespace dataplane
