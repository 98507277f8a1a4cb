#include "dataplane/rule_index.h"

#include <algorithm>
#include <bit>
#include <iterator>

namespace dataplane {
namespace {

// --- Sets ---

void put_in(RuleSet& set, size_t rule) {
    set[rule / 64] |= uint64_t{1} << (rule % 64);
}
void take_out(RuleSet& set, size_t rule) {
    set[rule / 64] &= ~(uint64_t{1} << (rule % 64));
}
bool has(const RuleSet& set, size_t rule) {
    return (set[rule / 64] >> (rule % 64) & 1U) != 0;
}
uint64_t summary_of(const RuleSet& set) {
    uint64_t summary = 0;
    for (size_t number = 0; number < set.size(); ++number)
        if (set[number] != 0) summary |= uint64_t{1} << number;
    return summary;
}
int size_of(const RuleSet& set) {
    int size = 0;
    for (const uint64_t word : set)
        size += std::popcount(word);
    return size;
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

enum class Planned : uint8_t { indexed, left_out, impossible };

Planned plan_match(const FieldMatch& match, uint16_t rule, Plan& plan) {
    // What lies beyond the field is 0, and as good as looked at.
    const uint32_t free = ~match.mask & widest_value(match.field);
    const bool is_prefix = (free & (free + 1)) == 0;
    if (is_prefix) {
        const std::optional<Interval> interval = interval_of(match, free, rule);
        if (interval) plan.whole.push_back(*interval);
        return interval ? Planned::indexed : Planned::impossible;
    }
    if (match.low != match.high) return Planned::left_out;
    if ((match.low & match.mask) != match.low) return Planned::impossible;
    plan_bytes(match, rule, plan);
    return Planned::indexed;
}

// --- Building a dimension ---

// So many words of sets a dimension may have; ranges beyond that are left out of it, the widest first.
constexpr uint64_t most_words = 256 * 1024;

void choose_classes(RuleDimension& dimension, const std::vector<Interval>& intervals) {
    constexpr uint32_t widest = 0xffffffff;
    constexpr uint32_t widest_in_table = 0xff;
    std::vector<uint32_t>& starts = dimension.starts;
    starts.push_back(0);
    for (const Interval& interval : intervals) {
        starts.push_back(interval.low);
        if (interval.high != widest) starts.push_back(interval.high + 1);
    }
    std::sort(starts.begin(), starts.end());
    starts.erase(std::unique(starts.begin(), starts.end()), starts.end());

    if (!dimension.is_byte && widest_value(dimension.field) > widest_in_table) return;
    for (uint32_t value = 0; value <= widest_in_table; ++value) {
        const auto next = std::upper_bound(starts.begin(), starts.end(), value);
        dimension.class_of.push_back(static_cast<uint16_t>(next - starts.begin() - 1));
    }
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
void leave_out_widest(std::vector<Span>& spans, size_t classes, RuleSet& left_out) {
    if (classes * std::tuple_size_v<RuleSet> <= most_words) return;
    const auto width = [](const Span& span) { return span.end - span.begin; };
    std::sort(spans.begin(), spans.end(), [&](const Span& one, const Span& other) {
        return width(one) != width(other) ? width(one) < width(other) : one.rule < other.rule;
    });
    uint64_t words = 0;
    size_t kept = 0;
    while (kept < spans.size() && words + width(spans[kept]) <= most_words)
        words += width(spans[kept++]);
    for (size_t place = kept; place < spans.size(); ++place)
        put_in(left_out, spans[place].rule);
    spans.resize(kept);
}

// Goes through the classes with the set of the rules that want the present one.
void fill_sets(RuleDimension& dimension, std::vector<Span> begins) {
    std::vector<Span> ends = begins;
    std::sort(begins.begin(), begins.end(), [](const Span& a, const Span& b) { return a.begin < b.begin; });
    std::sort(ends.begin(), ends.end(), [](const Span& a, const Span& b) { return a.end < b.end; });
    RuleSet present{};
    auto begin = begins.begin();
    auto end = ends.begin();
    for (uint32_t number = 0; number < dimension.starts.size(); ++number) {
        for (; end != ends.end() && end->end <= number; ++end)
            take_out(present, end->rule);
        for (; begin != begins.end() && begin->begin <= number; ++begin)
            put_in(present, begin->rule);
        dimension.summaries.push_back(summary_of(present));
        dimension.first.push_back(static_cast<uint32_t>(dimension.words.size()));
        std::copy_if(present.begin(), present.end(), std::back_inserter(dimension.words),
                     [](uint64_t word) { return word != 0; });
    }
}

void build(RuleDimension& dimension, const std::vector<Interval>& intervals, const RuleSet& possible,
           RuleSet& left_out) {
    choose_classes(dimension, intervals);
    std::vector<Span> spans = spans_of(dimension, intervals);
    leave_out_widest(spans, dimension.starts.size(), left_out);
    dimension.others = possible;
    for (const Span& span : spans)
        take_out(dimension.others, span.rule);
    dimension.others_summary = summary_of(dimension.others);
    fill_sets(dimension, std::move(spans));
}

} // namespace

RuleIndex::RuleIndex(std::span<const Rule> rules) {
    std::array<Plan, field_count> plans;
    for (size_t place = 0; place < rules.size(); ++place) {
        uint32_t fields_seen = 0;
        put_in(possible_, place);
        for (const FieldMatch& match : rules[place].matches) {
            const auto field = static_cast<unsigned>(match.field);
            const bool is_once_more = (fields_seen >> field & 1U) != 0;
            fields_seen |= 1U << field;
            const Planned planned =
                is_once_more ? Planned::left_out : plan_match(match, static_cast<uint16_t>(place), plans[field]);
            if (planned == Planned::left_out) put_in(left_out_, place);
            if (planned == Planned::impossible) take_out(possible_, place);
        }
    }
    possible_summary_ = summary_of(possible_);
    const auto add = [&](size_t field, uint8_t shift, bool is_byte, const std::vector<Interval>& intervals) {
        if (intervals.empty()) return;
        RuleDimension& dimension = dimensions_.emplace_back();
        dimension.field = static_cast<Field>(field);
        dimension.shift = shift;
        dimension.is_byte = is_byte;
        build(dimension, intervals, possible_, left_out_);
    };
    for (size_t field = 0; field < field_count; ++field) {
        add(field, 0, false, plans[field].whole);
        for (uint8_t byte = 0; byte < 4; ++byte)
            add(field, static_cast<uint8_t>(8 * byte), true, plans[field].bytes[byte]);
    }
    std::stable_sort(dimensions_.begin(), dimensions_.end(), [](const RuleDimension& one, const RuleDimension& other) {
        return size_of(one.others) < size_of(other.others);
    });
}

// --- Looking up ---

size_t RuleDimension::class_of_value(uint32_t value) const {
    if (!class_of.empty()) return class_of[value >> shift & 0xff];
    // Without a branch that depends on the value, as most would be guessed wrong.
    const uint32_t* base = starts.data();
    for (size_t count = starts.size(); count > 1;) {
        const size_t half = count / 2;
        base += base[half] <= value ? half : 0;
        count -= half;
    }
    return static_cast<size_t>(base - starts.data());
}

namespace {

// The set of a dimension that a frame is in.
struct Selected {
    const RuleDimension* dimension = nullptr;
    uint64_t summary = 0; // of the rules that want its value
    const uint64_t* words = nullptr;

    uint64_t word(int number) const {
        const uint64_t others = dimension->others[static_cast<size_t>(number)];
        if ((summary >> number & 1U) == 0) return others;
        return others | words[std::popcount(summary & ((uint64_t{1} << number) - 1))];
    }
};

Selected select(const RuleDimension& dimension, const FieldValues& values) {
    const auto field = static_cast<size_t>(dimension.field);
    Selected selected{&dimension};
    if ((values.present >> field & 1U) == 0) return selected;
    const size_t number = dimension.class_of_value(values.value[field]);
    selected.summary = dimension.summaries[number];
    selected.words = dimension.words.data() + dimension.first[number];
    return selected;
}

constexpr size_t most_dimensions = field_count * 5; // each field, and each of its bytes

} // namespace

std::optional<size_t> RuleIndex::find(std::span<const Rule> rules, const FieldValues& values) const {
    std::array<Selected, most_dimensions> selected;
    uint64_t summary = possible_summary_;
    for (size_t place = 0; place < dimensions_.size() && summary != 0; ++place) {
        selected[place] = select(dimensions_[place], values);
        summary &= dimensions_[place].others_summary | selected[place].summary;
    }
    for (; summary != 0; summary &= summary - 1) {
        const int number = std::countr_zero(summary);
        uint64_t word = possible_[static_cast<size_t>(number)];
        for (size_t place = 0; place < dimensions_.size() && word != 0; ++place)
            word &= selected[place].word(number);
        for (; word != 0; word &= word - 1) {
            const size_t rule = static_cast<size_t>(number) * 64 + static_cast<size_t>(std::countr_zero(word));
            if (!has(left_out_, rule) || matches(rules[rule], values)) return rule;
        }
    }
    return std::nullopt;
}

} // namespace dataplane
