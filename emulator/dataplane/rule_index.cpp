#include "dataplane/rule_index.h"

#include <algorithm>
#include <bit>

namespace dataplane {
namespace {

// --- Sets ---

uint64_t bit_of(size_t number) {
    return uint64_t{1} << number;
}
// Without a call, which std::popcount is where the processor may have no instruction for it.
size_t count_of_bits(uint64_t bits) {
    bits -= bits >> 1 & 0x5555555555555555;
    bits = (bits & 0x3333333333333333) + (bits >> 2 & 0x3333333333333333);
    bits = (bits + (bits >> 4)) & 0x0f0f0f0f0f0f0f0f;
    return static_cast<size_t>(bits * 0x0101010101010101 >> 56);
}
void put_in(RuleSet& set, size_t rule) {
    set.words[rule / 64] |= bit_of(rule % 64);
    set.summary |= bit_of(rule / 64);
}
void take_out(RuleSet& set, size_t rule) {
    set.words[rule / 64] &= ~bit_of(rule % 64);
    if (set.words[rule / 64] == 0) set.summary &= ~bit_of(rule / 64);
}

// --- What rules want ---

// The values of one dimension that a rule wants; of a byte it may want several intervals.
struct Interval {
    uint32_t low = 0;
    uint32_t high = 0;
    uint16_t rule = 0;
};

struct Plan {
    std::vector<Interval> whole;
    std::array<std::vector<Interval>, 4> bytes;
};

// The values of which all but the free bits, the lowest ones, lie in low to high.
std::optional<Interval> interval_of(const FieldMatch& match, uint32_t free, uint16_t rule) {
    const uint64_t lowest = (uint64_t{match.low} + free) & ~uint64_t{free};
    const uint32_t highest = match.high | free;
    if (match.low > match.high || lowest > highest) return std::nullopt;
    return Interval{static_cast<uint32_t>(lowest), highest, rule};
}

void plan_bytes(const FieldMatch& match, uint16_t rule, Plan& plan) {
    for (size_t byte = 0; byte < plan.bytes.size(); ++byte) {
        const uint32_t mask = match.mask >> (8 * byte) & 0xff;
        const uint32_t wanted = match.low >> (8 * byte) & 0xff;
        for (uint32_t value = 0; mask != 0 && value <= 0xff; ++value)
            if ((value & mask) == wanted) plan.bytes[byte].push_back({value, value, rule});
    }
}

// Returns whether any value matches. A range under a mask that is no prefix is not planned.
bool plan_match(const FieldMatch& match, uint16_t rule, Plan& plan) {
    // What lies beyond the field is 0, and as good as looked at.
    const uint32_t free = ~match.mask & widest_value(match.field);
    const bool is_prefix = (free & (free + 1)) == 0;
    if (is_prefix) {
        const std::optional<Interval> interval = interval_of(match, free, rule);
        if (interval) plan.whole.push_back(*interval);
        return interval.has_value();
    }
    if (match.low != match.high) return true;
    if ((match.low & match.mask) != match.low) return false;
    plan_bytes(match, rule, plan);
    return true;
}

// --- Building a dimension ---

// So many words of sets a dimension may have; ranges beyond that are left out of it, the widest first.
constexpr uint64_t most_words = 0x40000;

void choose_classes(RuleDimension& dimension, const std::vector<Interval>& intervals) {
    constexpr uint32_t widest = 0xffffffff;
    std::vector<uint32_t>& starts = dimension.starts;
    starts.push_back(0);
    for (const Interval& interval : intervals) {
        starts.push_back(interval.low);
        if (interval.high != widest) starts.push_back(interval.high + 1);
    }
    std::sort(starts.begin(), starts.end());
    starts.erase(std::unique(starts.begin(), starts.end()), starts.end());
}

// As many buckets as there are classes, about, between the lowest and the highest bound.
void choose_buckets(RuleDimension& dimension) {
    const std::vector<uint32_t>& starts = dimension.starts;
    if (starts.size() < 2) return;
    const uint32_t lowest = starts[1];
    const uint32_t range = starts.back() - lowest;
    while (range >> dimension.bucket_shift > starts.size())
        ++dimension.bucket_shift;
    dimension.lowest_in_bucket = lowest;
    uint16_t number = 0;
    for (uint64_t bucket = 0; bucket <= range >> dimension.bucket_shift; ++bucket) {
        const uint64_t begin = lowest + (bucket << dimension.bucket_shift);
        while (number + 1U < starts.size() && starts[number + 1U] <= begin)
            ++number;
        dimension.buckets.push_back(number);
    }
    dimension.buckets.push_back(static_cast<uint16_t>(starts.size() - 1));
}

// An interval in classes: the first, and the one behind the last.
struct Span {
    uint32_t begin = 0;
    uint32_t end = 0;
    uint16_t rule = 0;
};

std::vector<Span> spans_of(const RuleDimension& dimension, const std::vector<Interval>& intervals) {
    const auto class_at = [&](uint64_t value) {
        const auto found = std::lower_bound(dimension.starts.begin(), dimension.starts.end(), value);
        return static_cast<uint32_t>(found - dimension.starts.begin());
    };
    std::vector<Span> spans;
    spans.reserve(intervals.size());
    for (const Interval& interval : intervals)
        spans.push_back({class_at(interval.low), class_at(uint64_t{interval.high} + 1), interval.rule});
    return spans;
}

// Takes the widest out until the rest has room.
void leave_out_widest(std::vector<Span>& spans, size_t classes) {
    if (classes * 64 <= most_words) return;
    const auto width = [](const Span& span) { return span.end - span.begin; };
    std::sort(spans.begin(), spans.end(), [&](const Span& one, const Span& other) {
        return width(one) != width(other) ? width(one) < width(other) : one.rule < other.rule;
    });
    uint64_t words = 0;
    size_t kept = 0;
    while (kept < spans.size() && words + width(spans[kept]) <= most_words)
        words += width(spans[kept++]);
    spans.resize(kept);
}

// Goes through the classes with the set of the rules that want the present one.
void fill_sets(RuleDimension& dimension, std::vector<Span> begins) {
    std::vector<Span> ends = begins;
    std::sort(begins.begin(), begins.end(), [](const Span& a, const Span& b) { return a.begin < b.begin; });
    std::sort(ends.begin(), ends.end(), [](const Span& a, const Span& b) { return a.end < b.end; });
    RuleSet present;
    auto begin = begins.begin();
    auto end = ends.begin();
    for (uint32_t number = 0; number < dimension.starts.size(); ++number) {
        for (; end != ends.end() && end->end <= number; ++end)
            take_out(present, end->rule);
        for (; begin != begins.end() && begin->begin <= number; ++begin)
            put_in(present, begin->rule);
        dimension.classes.push_back({present.summary, 0, static_cast<uint32_t>(dimension.words.size())});
        for (uint64_t left = present.summary; left != 0; left &= left - 1)
            dimension.words.push_back(present.words[static_cast<size_t>(std::countr_zero(left))]);
    }
}

// A dimension and which of its classes each rule wants.
struct Built {
    RuleDimension dimension;
    std::vector<Span> spans;
    bool has_pivots = false;
};

Built build(Field field, std::optional<uint8_t> byte, const std::vector<Interval>& intervals, const RuleSet& possible) {
    Built built;
    RuleDimension& dimension = built.dimension;
    dimension.field = field;
    dimension.is_byte = byte.has_value();
    dimension.shift = static_cast<uint8_t>(8 * byte.value_or(0));
    choose_classes(dimension, intervals);
    choose_buckets(dimension);
    built.spans = spans_of(dimension, intervals);
    leave_out_widest(built.spans, dimension.starts.size());
    dimension.others = possible;
    for (const Span& span : built.spans)
        take_out(dimension.others, span.rule);
    fill_sets(dimension, built.spans);
    return built;
}

// --- Pivots ---

// How many rules want the classes of a dimension, summed up from the first one on.
std::vector<uint64_t> sums_of_rules(const Built& built) {
    std::vector<int64_t> changes(built.dimension.starts.size() + 1);
    for (const Span& span : built.spans) {
        ++changes[span.begin];
        --changes[span.end];
    }
    std::vector<uint64_t> sums{0};
    int64_t rules = 0;
    for (const int64_t change : changes) {
        rules += change;
        sums.push_back(sums.back() + static_cast<uint64_t>(rules));
    }
    return sums;
}

// The dimension of each rule in which the fewest others want the same values: its pivot. Frames that match a rule are
// in a class of its pivot, so that the summaries of pivots have few words in common with a frame.
std::vector<size_t> pivots_of(const std::vector<Built>& all, size_t rule_count) {
    std::vector<size_t> pivots(rule_count, all.size());
    std::vector<uint64_t> fewest(rule_count, ~uint64_t{0});
    for (size_t place = 0; place < all.size(); ++place) {
        const std::vector<uint64_t> sums = sums_of_rules(all[place]);
        for (const Span& span : all[place].spans) {
            const uint64_t rules = (sums[span.end] - sums[span.begin]) / (span.end - span.begin);
            if (rules >= fewest[span.rule]) continue;
            fewest[span.rule] = rules;
            pivots[span.rule] = place;
        }
    }
    return pivots;
}

void note_pivots(Built& built, const std::vector<size_t>& pivots, size_t place) {
    for (const Span& span : built.spans) {
        if (pivots[span.rule] != place) continue;
        built.has_pivots = true;
        for (uint32_t number = span.begin; number < span.end; ++number)
            built.dimension.classes[number].pivots |= bit_of(span.rule / 64U);
    }
}

// Returns the words of rules without a pivot, which any frame may match.
uint64_t choose_pivots(std::vector<Built>& all, size_t rule_count) {
    const std::vector<size_t> pivots = pivots_of(all, rule_count);
    for (size_t place = 0; place < all.size(); ++place)
        note_pivots(all[place], pivots, place);
    uint64_t without = 0;
    for (size_t rule = 0; rule < rule_count; ++rule)
        if (pivots[rule] == all.size()) without |= bit_of(rule / 64);
    return without;
}

} // namespace

RuleIndex::RuleIndex(std::span<const Rule> rules) {
    std::array<Plan, field_count> plans;
    for (size_t place = 0; place < rules.size(); ++place) {
        uint32_t fields_seen = 0;
        put_in(possible_, place);
        for (const FieldMatch& match : rules[place].matches) {
            const auto field = static_cast<unsigned>(match.field);
            const bool is_once_more = (fields_seen >> field & 1U) != 0; // is not planned
            fields_seen |= 1U << field;
            if (!is_once_more && !plan_match(match, static_cast<uint16_t>(place), plans[field]))
                take_out(possible_, place);
        }
    }
    std::vector<Built> all;
    for (size_t number = 0; number < field_count; ++number) {
        const auto field = static_cast<Field>(number);
        if (!plans[number].whole.empty()) all.push_back(build(field, std::nullopt, plans[number].whole, possible_));
        for (uint8_t byte = 0; byte < 4; ++byte)
            if (!plans[number].bytes[byte].empty())
                all.push_back(build(field, byte, plans[number].bytes[byte], possible_));
    }
    without_pivot_ = choose_pivots(all, rules.size());
    const auto has_pivots = [](const Built& built) { return built.has_pivots; };
    pivot_count_ = static_cast<size_t>(std::stable_partition(all.begin(), all.end(), has_pivots) - all.begin());
    for (Built& built : all)
        dimensions_.push_back(std::move(built.dimension));
}

// --- Looking up ---

const RuleDimension::Class& RuleDimension::class_of(uint32_t field_value) const {
    const uint32_t value = is_byte ? field_value >> shift & 0xff : field_value;
    if (value < lowest_in_bucket || buckets.empty()) return classes.front();
    const size_t bucket = std::min<size_t>((value - lowest_in_bucket) >> bucket_shift, buckets.size() - 2);
    // Without a branch that depends on the value, as most would be guessed wrong.
    const uint32_t* base = &starts[buckets[bucket]];
    size_t count = size_t{buckets[bucket + 1]} - buckets[bucket] + 1;
    while (count > 1) {
        const size_t half = count / 2;
        base += base[half] <= value ? half : 0;
        count -= half;
    }
    return classes[static_cast<size_t>(base - starts.data())];
}

namespace {

// The set of a dimension that a frame is in.
struct Selected {
    const RuleSet* others;
    uint64_t summary; // of the rules that want its value
    uint64_t pivots;
    const uint64_t* words; // of them; of no meaning where there are none

    uint64_t word(size_t number) const {
        const uint64_t word = others->words[number];
        if ((summary >> number & 1U) == 0) return word;
        return word | words[count_of_bits(summary & (bit_of(number) - 1))];
    }
};

// In place, as a copy of what has just been written field by field is slow.
void select(const RuleDimension& dimension, const FieldValues& values, Selected& selected) {
    const auto field = static_cast<size_t>(dimension.field);
    selected.others = &dimension.others;
    selected.summary = 0;
    selected.pivots = 0;
    if ((values.present >> field & 1U) == 0) return;
    const RuleDimension::Class& its = dimension.class_of(values.value[field]);
    selected.summary = its.summary;
    selected.pivots = its.pivots;
    selected.words = dimension.words.data() + its.first_word;
}

constexpr size_t most_dimensions = field_count * 5; // each field, and each of its bytes

// Few enough to look at the rules rather than at further dimensions.
bool are_few(uint64_t rules) {
    for (int i = 0; i < 4; ++i)
        rules &= rules - 1;
    return rules == 0;
}

} // namespace

std::optional<size_t> RuleIndex::find(std::span<const Rule> rules, const FieldValues& values) const {
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): filled as far as they are needed
    std::array<Selected, most_dimensions> selected;
    uint64_t summary = possible_.summary;
    uint64_t pivots = without_pivot_;
    for (size_t place = 0; place < pivot_count_; ++place) {
        select(dimensions_[place], values, selected[place]);
        summary &= selected[place].others->summary | selected[place].summary;
        pivots |= selected[place].pivots;
    }
    size_t count = pivot_count_;
    for (summary &= pivots; summary != 0; summary &= summary - 1) {
        const auto number = static_cast<size_t>(std::countr_zero(summary));
        uint64_t word = possible_.words[number];
        for (size_t place = 0; place < dimensions_.size() && word != 0; ++place) {
            if (place >= pivot_count_ && are_few(word)) break;
            if (place == count) select(dimensions_[place], values, selected[count++]);
            word &= selected[place].word(number);
        }
        for (; word != 0; word &= word - 1) {
            const size_t rule = number * 64 + static_cast<size_t>(std::countr_zero(word));
            if (matches(rules[rule], values)) return rule;
        }
    }
    return std::nullopt;
}

} // namespace dataplane
