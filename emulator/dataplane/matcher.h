// Classification: the first rule of a list that a frame matches.
#pragma once

#include "dataplane/rule_index.h"

namespace dataplane {

// The rules of one list, prepared so that finding the first that matches does not walk them all.
class Matcher {
public:
    Matcher() = default;
    explicit Matcher(std::vector<Rule> rules); // in the order of their lines

    // The place of the first rule that the frame matches, as `find_by_walking` has it.
    std::optional<size_t> find(const FieldValues& values) const;

    const std::vector<Rule>& rules() const { return rules_; }

private:
    std::vector<Rule> rules_;
    std::vector<RuleIndex> indices_; // one after the other; none of a short list, which is walked
};

} // namespace dataplane
