// The display of classification lists: a table of rules, whose fields are written as a sentence takes them.
#include "core/display.h"

#include "core/match_fields.h"
#include "core/query.h"
#include "core/refusal.h"
#include "platform/words.h"

#include <bit>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace emulator {

namespace {

constexpr size_t plain_fields = 9; // those before the extraction points, which share a column
constexpr size_t columns = 1 + plain_fields + 1;
constexpr const char* headings[columns] = {"class", "da",  "sa",  "tos",   "prot", "dp",
                                           "sp",    "vid", "cos", "etype", "ext"};

using Word = char[96];

// One rule as the words of a sentence: stream/class/color, the fields, the extraction points.
struct RuleText {
    int64_t line;
    Word words[columns];
};

[[gnu::format(printf, 2, 3)]] void add(Word& word, const char* format, ...) {
    const size_t length = strlen(word);
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(word + length, sizeof word - length, format, arguments);
    va_end(arguments);
}

void add_value(Word& word, MatchStyle style, uint32_t value) {
    switch (style) {
    case MatchStyle::decimal: return add(word, "%u", value);
    case MatchStyle::hex: return add(word, "%04x", value);
    case MatchStyle::extraction: return add(word, "%x", value);
    case MatchStyle::address:
        return add(word, "%u.%u.%u.%u", value >> 24, value >> 16 & 255U, value >> 8 & 255U, value & 255U);
    }
}

void add_mask(Word& word, const MatchField& field, uint32_t mask) {
    if (mask == field.full_mask()) return;
    const int prefix = std::countl_one(mask);
    const bool is_prefix = prefix == 32 || mask << prefix == 0;
    if (field.style == MatchStyle::address && is_prefix) return add(word, "/%d", prefix);
    add(word, "/%x", mask);
}

// Without its match a field takes anything.
void add_match(Word& word, const MatchField& field, const Rows& match) {
    add_value(word, field.style, static_cast<uint32_t>(match.number(1)));
    if (const OptionalNumber high = match.optional_number(2)) {
        add(word, "-");
        add_value(word, field.style, static_cast<uint32_t>(*high));
    }
    add_mask(word, field, static_cast<uint32_t>(match.number(3)));
}

// The four extraction points stand in one word: f0/f0,,1
void join_extractions(Word& joined, const Word (&words)[extraction_point_count]) {
    size_t last = 0;
    for (size_t i = 0; i < extraction_point_count; ++i)
        if (words[i][0] != '\0') last = i + 1;
    for (size_t i = 0; i < last; ++i)
        add(joined, "%s%s", i > 0 ? "," : "", words[i]);
}

void read_fields(int64_t list, RuleText& text) {
    Word extractions[extraction_point_count] = {};
    Rows matches("SELECT field, low, high, mask FROM classify_match WHERE list = ?1 AND line = ?2", list, text.line);
    while (matches.next()) {
        for (size_t i = 0; i < std::size(match_fields); ++i) {
            const MatchField& field = match_fields[i];
            if (strcmp(field.name, matches.text(0)) != 0) continue;
            add_match(i < plain_fields ? text.words[1 + i] : extractions[i - plain_fields], field, matches);
        }
    }
    join_extractions(text.words[columns - 1], extractions);
    for (auto& word : text.words)
        if (word[0] == '\0') strcpy(word, "*");
}

// Reads the rules of a list one after the other.
class RuleReader {
public:
    explicit RuleReader(int64_t list)
        : list_(list),
          rows_("SELECT line, stream, traffic_class, color FROM classify_rule WHERE list = ?1 ORDER BY line", list) {}

    bool next(RuleText& text) {
        if (!rows_.next()) return false;
        text = RuleText{};
        text.line = rows_.number(0);
        add(text.words[0], "%d/%d/%s", static_cast<int>(rows_.number(1)) + 1, static_cast<int>(rows_.number(2)),
            word_for(color_words, rows_.number(3)));
        read_fields(list_, text);
        return true;
    }

private:
    int64_t list_;
    Rows rows_;
};

struct Widths {
    int line = 4;
    int words[columns];
};

// Returns how many rules there are.
int64_t measure(int64_t list, Widths& widths) {
    for (size_t i = 0; i < columns; ++i)
        widths.words[i] = static_cast<int>(strlen(headings[i]));
    int64_t count = 0;
    RuleText text;
    for (RuleReader rules(list); rules.next(text); ++count) {
        const int digits = snprintf(nullptr, 0, "%lld", static_cast<long long>(text.line));
        if (digits > widths.line) widths.line = digits;
        for (size_t i = 0; i < columns; ++i) {
            const int length = static_cast<int>(strlen(text.words[i]));
            if (length > widths.words[i]) widths.words[i] = length;
        }
    }
    return count;
}

void print_list(int64_t list, OptionalNumber marking, Page& page) {
    Widths widths;
    const int64_t count = measure(list, widths);
    page.print("clslist %lld: ", static_cast<long long>(list));
    if (count == 0) return page.print("no rules\n");
    page.print("%lld %s, marking %s\n", static_cast<long long>(count), count == 1 ? "rule" : "rules",
               word_for(marking_words, marking.value_or(marking::normal)));

    page.print("%*s", widths.line, "line");
    for (size_t i = 0; i < columns; ++i)
        page.print("  %-*s", widths.words[i], headings[i]);
    page.trim_blanks();
    page.print("\n");
    RuleText text;
    for (RuleReader rules(list); rules.next(text);) {
        page.print("%*lld", widths.line, static_cast<long long>(text.line));
        for (size_t i = 0; i < columns; ++i)
            page.print("  %-*s", widths.words[i], text.words[i]);
        page.trim_blanks();
        page.print("\n");
    }
}

} // namespace

Page::~Page() {
    free(text_);
}

void Page::print(const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    const int needed = vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    if (needed >= 0 && !is_broken_) {
        const unsigned long room = length_ + static_cast<unsigned long>(needed) + 1;
        if (room > room_) {
            auto* const more = static_cast<char*>(realloc(text_, 2 * room));
            is_broken_ = more == nullptr;
            if (more != nullptr) {
                text_ = more;
                room_ = 2 * room;
            }
        }
        if (!is_broken_)
            length_ += static_cast<unsigned long>(vsnprintf(text_ + length_, room_ - length_, format, again));
    }
    va_end(again);
}

void Page::trim_blanks() {
    while (length_ > 0 && text_[length_ - 1] == ' ')
        text_[--length_] = '\0';
}

void Page::show() const {
    fwrite(text(), 1, length_, stdout);
    fflush(stdout);
}

int32_t display_classify(int32_t list, Page& page) {
    if (list != 0) {
        Rows rows("SELECT marking FROM classify_list WHERE list = ?1", list);
        if (!rows.next()) return status::no_profile;
        if (!exists("SELECT 1 FROM classify_rule WHERE list = ?1", list)) return status::no_action;
        print_list(list, rows.optional_number(0), page);
    } else {
        if (!exists("SELECT 1 FROM classify_list")) return status::no_profile_at_all;
        if (!exists("SELECT 1 FROM classify_rule")) return status::no_action;
        Rows lists("SELECT list, marking FROM classify_list ORDER BY list");
        for (const char* separator = ""; lists.next(); separator = "\n") {
            page.print("%s", separator);
            print_list(lists.number(0), lists.optional_number(1), page);
        }
    }
    return page.is_broken() ? refusal::unwritable : 0;
}

} // namespace emulator
