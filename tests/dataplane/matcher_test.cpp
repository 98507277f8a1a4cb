// The prepared list against a walk through its rules.
#include "dataplane/matcher.h"
#include "dataplane/random.h"

#include <gtest/gtest.h>

using namespace dataplane;
using dataplane_test::Random;

namespace {

// Values that collide often enough for rules to be hit, and lie at the ends of a field often enough, too.
uint32_t random_value(Random& random, Field field) {
    const uint32_t widest = widest_value(field);
    switch (random.below(8)) {
    case 0: return 0;
    case 1: return widest;
    case 2: return random.bits() & widest;
    case 3: return (random.below(40) << 8) & widest;
    default: return random.below(40) & widest;
    }
}

uint32_t random_mask(Random& random, Field field) {
    switch (random.below(8)) {
    case 0: return random.bits();
    case 1: return 0;
    case 2: return 0xffffffffU << random.below(32);
    case 3: return 0xf0f;
    case 4: return widest_value(field);
    default: return 0xffffffff;
    }
}

FieldMatch random_match(Random& random) {
    FieldMatch match;
    match.field = static_cast<Field>(random.below(field_count));
    match.mask = random_mask(random, match.field);
    match.low = random_value(random, match.field);
    match.high = match.low;
    if (random.one_in(3)) match.high = random_value(random, match.field);
    // Mostly as lists have it; but a match that no value satisfies is to be told as such.
    if (!random.one_in(20)) {
        match.low &= match.mask;
        match.high &= match.mask;
        if (match.low > match.high) std::swap(match.low, match.high);
    }
    return match;
}

std::vector<Rule> random_rules(Random& random, size_t count, uint32_t most_matches) {
    std::vector<Rule> rules(count);
    for (size_t place = 0; place < count; ++place) {
        rules[place].line = static_cast<int32_t>(place + 1);
        for (uint32_t left = 1 + random.below(most_matches); left > 0; --left)
            rules[place].matches.push_back(random_match(random));
    }
    return rules;
}

FieldValues random_values(Random& random) {
    FieldValues values;
    for (size_t field = 0; field < field_count; ++field) {
        if (random.one_in(8)) continue;
        values.value[field] = random_value(random, static_cast<Field>(field));
        values.present = static_cast<uint16_t>(values.present | 1U << field);
    }
    return values;
}

// Values that some rule wants, so that rules far behind are found, too.
FieldValues values_for(Random& random, const Rule& rule) {
    FieldValues values = random_values(random);
    for (const FieldMatch& match : rule.matches) {
        const auto field = static_cast<size_t>(match.field);
        const uint32_t noise = random.bits() & ~match.mask;
        values.value[field] = ((random.one_in(2) ? match.low : match.high) | noise) & widest_value(match.field);
        values.present = static_cast<uint16_t>(values.present | 1U << field);
    }
    return values;
}

void expect_same(const Matcher& matcher, const FieldValues& values) {
    ASSERT_EQ(matcher.find(values), find_by_walking(matcher.rules(), values));
}

void compare(Random& random, const Matcher& matcher, int frames) {
    for (int i = 0; i < frames; ++i) {
        ASSERT_NO_FATAL_FAILURE(expect_same(matcher, random_values(random)));
        if (matcher.rules().empty()) continue;
        const auto wanted = random.below(static_cast<uint32_t>(matcher.rules().size()));
        ASSERT_NO_FATAL_FAILURE(expect_same(matcher, values_for(random, matcher.rules()[wanted])));
    }
}

TEST(Matcher, AgreesWithAWalkThroughShortLists) {
    for (uint32_t seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        const Matcher matcher(random_rules(random, random.below(100), 1 + random.below(6)));
        ASSERT_NO_FATAL_FAILURE(compare(random, matcher, 50));
    }
}

TEST(Matcher, AgreesWithAWalkThroughLongLists) {
    for (const size_t count : {size_t{64}, size_t{4095}, size_t{4096}, size_t{4097}, size_t{9000}}) {
        SCOPED_TRACE(count);
        Random random(static_cast<uint32_t>(count));
        const Matcher matcher(random_rules(random, count, 8));
        ASSERT_NO_FATAL_FAILURE(compare(random, matcher, 200));
    }
}

// One rule each, so that a wrong bound of one kind of match is not hidden by other rules.
TEST(Matcher, AgreesAboutEachValueOfANarrowField) {
    Random random(7);
    for (int round = 0; round < 400; ++round) {
        std::vector<Rule> rules(10);
        rules[9].matches.push_back(random_match(random));
        rules[9].matches[0].field = Field::tos;
        rules.front().matches.push_back({Field::vid, 1, 1});
        for (size_t place = 1; place < 9; ++place)
            rules[place].matches = rules.front().matches;
        const Matcher matcher(rules);
        for (uint32_t value = 0; value <= 0xff; ++value) {
            FieldValues values;
            values.value[static_cast<size_t>(Field::tos)] = value;
            values.present = 1U << static_cast<unsigned>(Field::tos);
            ASSERT_NO_FATAL_FAILURE(expect_same(matcher, values));
        }
    }
}

// More and wider ranges than an index has room for.
TEST(Matcher, AgreesWhereRangesOverlapBeyondAnyIndex) {
    Random random(11);
    std::vector<Rule> rules(4096);
    for (Rule& rule : rules) {
        const uint32_t one = random.bits();
        const uint32_t other = random.bits();
        rule.matches.push_back({Field::source_ip, std::min(one, other), std::max(one, other)});
        rule.matches.push_back({Field::tos, random.below(256), 255});
    }
    const Matcher matcher(rules);
    ASSERT_NO_FATAL_FAILURE(compare(random, matcher, 200));
}

// The index tells rules apart by itself where each looks at one interval or one byte of one field: asked with rules
// that match anything, it finds the same. Else the walk through what it leaves would make good for what it missed.
TEST(Matcher, TheIndexAloneTellsRulesApart) {
    for (uint32_t seed = 0; seed < 60; ++seed) {
        SCOPED_TRACE(seed);
        Random random(seed);
        std::vector<Rule> rules(1 + random.below(seed < 50 ? 200 : RuleIndex::capacity));
        for (Rule& rule : rules) {
            FieldMatch match;
            match.field = static_cast<Field>(random.below(field_count));
            const uint32_t widest = widest_value(match.field);
            match.low = match.high = random_value(random, match.field);
            switch (random.below(4)) {
            case 0: match.high = std::max(match.low, random_value(random, match.field)); break;
            case 1: match.mask = 0xffffffffU << random.below(6); break;
            case 2: match.mask = widest & 0x4d; break;
            default: break;
            }
            if (match.mask != 0xffffffff) match.low = match.high = match.low & match.mask & widest;
            rule.matches.push_back(match);
        }
        const RuleIndex index(rules);
        const std::vector<Rule> anything(rules.size());
        for (int i = 0; i < 200; ++i) {
            const FieldValues values =
                i % 2 == 0 ? random_values(random)
                           : values_for(random, rules[random.below(static_cast<uint32_t>(rules.size()))]);
            ASSERT_EQ(index.find(anything, values), find_by_walking(rules, values));
        }
    }
}

// Where sets would take too much room, the widest ranges are left out: they are looked at whatever the frame has.
TEST(Matcher, TheIndexLeavesOutTheWidestRanges) {
    std::vector<Rule> rules(RuleIndex::capacity);
    for (uint32_t place = 0; place < rules.size(); ++place) {
        const uint32_t low = place * 1000;
        const bool is_wide = place >= rules.size() / 2;
        rules[place].matches.push_back({Field::source_ip, low, is_wide ? 0xf0000000 + place : low + 10});
    }
    const RuleIndex index(rules);
    const std::vector<Rule> anything(rules.size());
    FieldValues values;
    values.present = 1U << static_cast<size_t>(Field::source_ip);
    size_t looked_at = 0;
    for (uint32_t place = 0; place < rules.size() / 2; ++place) {
        values.value[static_cast<size_t>(Field::source_ip)] = place * 1000;
        ASSERT_EQ(index.find(anything, values), place);
        values.value[static_cast<size_t>(Field::source_ip)] = place * 1000 + 11;
        const auto found = index.find(anything, values);
        ASSERT_GE(found.value_or(rules.size()), rules.size() / 2);
        if (found) ++looked_at;
    }
    EXPECT_GT(looked_at, 0U);
}

TEST(Matcher, FindsTheFirstOfTwo) {
    std::vector<Rule> rules(100);
    for (size_t place = 0; place < rules.size(); ++place)
        rules[place].matches.push_back(
            {Field::vid, static_cast<uint32_t>(place / 2), static_cast<uint32_t>(place / 2)});
    FieldValues values;
    values.value[static_cast<size_t>(Field::vid)] = 40;
    EXPECT_EQ(Matcher(rules).find(values), std::nullopt); // not present
    values.present = 1U << static_cast<unsigned>(Field::vid);
    EXPECT_EQ(Matcher(rules).find(values), 80U);
}

// More rules than one index holds.
TEST(Matcher, FindsTheOnlyOneOfVeryMany) {
    constexpr auto count = static_cast<uint32_t>(2 * RuleIndex::capacity + 1);
    std::vector<Rule> rules(count);
    for (uint32_t place = 0; place < count; ++place)
        rules[place].matches.push_back({Field::source_ip, place, place});
    const Matcher matcher(rules);
    FieldValues values;
    values.present = 1U << static_cast<unsigned>(Field::source_ip);
    for (const uint32_t place : {0U, count / 2 - 1, count / 2, count / 2 + 1, count - 2, count - 1}) {
        values.value[static_cast<size_t>(Field::source_ip)] = place;
        EXPECT_EQ(matcher.find(values), place);
    }
}

TEST(Matcher, ARuleWithoutMatchesMatchesAnyFrame) {
    std::vector<Rule> rules(20);
    for (size_t place = 0; place < 19; ++place)
        rules[place].matches.push_back({Field::priority, 3, 3});
    EXPECT_EQ(Matcher(rules).find({}), 19U);
}

TEST(Matcher, NoRulesMatchNothing) {
    EXPECT_EQ(Matcher().find({}), std::nullopt);
}

} // namespace
