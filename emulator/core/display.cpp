// The display of classification lists: a table of rules, whose fields are written as a sentence takes them.
#include "core/display.h"

#include "core/match_text.h"
#include "core/query.h"
#include "core/refusal.h"
#include "platform/words.h"

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

struct Word {
    char letters[96] = "";
    size_t length = 0;
};

// One rule as the words of a sentence: stream/class/color, the fields, the extraction points.
struct RuleText {
    int64_t line = 0;
    Word words[columns];
};

template <typename Write> void write_word(Word& word, Write write) {
    notation::Text text(word.letters, sizeof word.letters);
    write(text);
    word.length = text.length;
}

// The four extraction points stand in one word: f0/f0,,1
void join_extractions(Word& joined, const Word (&words)[extraction_point_count]) {
    size_t last = 0;
    for (size_t i = 0; i < extraction_point_count; ++i)
        if (words[i].length > 0) last = i + 1;
    write_word(joined, [&](notation::Text& text) {
        for (size_t i = 0; i < last; ++i) {
            if (i > 0) text.put(',');
            text.put(words[i].letters);
        }
    });
}

// Reads the rules of a list one after the other: a row for each field, or one for a rule without any.
class RuleReader {
public:
    RuleReader(sqlite3* database, int64_t list) {
        store::note_result(
            sqlite3_prepare_v2(
                database,
                "SELECT line, stream, traffic_class, color, field, low, high, mask FROM classify_rule"
                " LEFT JOIN classify_match USING (list, line) WHERE classify_rule.list = ?1 ORDER BY line",
                -1, &rows_, nullptr),
            database);
        bind(rows_, 1, list);
        for (int column = 0; rows_ != nullptr && column < sqlite3_column_count(rows_); ++column)
            domains_[column] = find_domain(sqlite3_column_name(rows_, column));
        step();
    }
    ~RuleReader() { sqlite3_finalize(rows_); }
    RuleReader(const RuleReader&) = delete;
    RuleReader& operator=(const RuleReader&) = delete;

    bool next(RuleText& text) {
        if (!has_row_) return false;
        text = RuleText{};
        text.line = number(0);
        read_class(text.words[0]);
        Word extractions[extraction_point_count];
        for (const int64_t line = sqlite3_column_int64(rows_, 0); has_row_ && sqlite3_column_int64(rows_, 0) == line;
             step())
            read_match(text, extractions);
        join_extractions(text.words[columns - 1], extractions);
        for (Word& word : text.words)
            if (word.length == 0) write_word(word, [](notation::Text& star) { star.put('*'); });
        return store::failure() == 0;
    }

private:
    void step() {
        const int result = rows_ != nullptr ? sqlite3_step(rows_) : SQLITE_DONE;
        store::note_result(result, sqlite3_db_handle(rows_));
        has_row_ = result == SQLITE_ROW;
    }
    int64_t number(int column) const { return read_number(rows_, column, domains_[column]); }

    void read_class(Word& word) const {
        const int64_t stream = number(1);
        const int64_t traffic_class = number(2);
        const char* const color = read_word(rows_, 3, color_words);
        if (store::failure() != 0) return;
        write_word(word, [&](notation::Text& text) {
            notation::write_unsigned(text, static_cast<uint32_t>(stream) + 1);
            text.put('/');
            notation::write_unsigned(text, static_cast<uint32_t>(traffic_class));
            text.put('/');
            text.put(color);
        });
    }

    void read_match(RuleText& text, Word (&extractions)[extraction_point_count]) const {
        const auto* const name = reinterpret_cast<const char*>(sqlite3_column_text(rows_, 4));
        if (name == nullptr) return; // a rule that takes anything
        const bool is_range = sqlite3_column_type(rows_, 6) != SQLITE_NULL;
        const StoredMatch match{number(5), is_range ? OptionalNumber(number(6)) : std::nullopt, number(7)};
        if (store::failure() != 0) return;
        for (size_t i = 0; i < std::size(match_fields); ++i) {
            const MatchField& field = match_fields[i];
            if (strcmp(field.name, name) != 0) continue;
            if (!match.fits(field)) return note_damage(rows_, 5);
            Word& word = i < plain_fields ? text.words[1 + i] : extractions[i - plain_fields];
            return write_word(word, [&](notation::Text& out) { write_match(out, field, match); });
        }
        note_damage(rows_, 4);
    }

    sqlite3_stmt* rows_ = nullptr;
    const Domain* domains_[8] = {};
    bool has_row_ = false;
};

struct Widths {
    size_t line = 4;
    size_t words[columns];
};

// Returns how many rules there are.
int64_t measure(sqlite3* database, int64_t list, Widths& widths) {
    for (size_t i = 0; i < columns; ++i)
        widths.words[i] = strlen(headings[i]);
    int64_t count = 0;
    RuleText text;
    for (RuleReader rules(database, list); rules.next(text); ++count) {
        const auto digits = static_cast<size_t>(snprintf(nullptr, 0, "%lld", static_cast<long long>(text.line)));
        if (digits > widths.line) widths.line = digits;
        for (size_t i = 0; i < columns; ++i)
            if (text.words[i].length > widths.words[i]) widths.words[i] = text.words[i].length;
    }
    return count;
}

void write_heading(Page& page, int64_t list, int64_t count, OptionalNumber marking) {
    page.put("clslist ");
    page.put(list, 0);
    if (count == 0) return page.put(": no rules\n");
    const char* const word = word_for(marking_words, marking.value_or(-1));
    if (word == nullptr) return store::note_damage("a list of rules has no marking");
    page.put(": ");
    page.put(count, 0);
    page.put(count == 1 ? " rule, marking " : " rules, marking ");
    page.put(word);
    page.put("\n");
}

void write_list(sqlite3* database, int64_t list, OptionalNumber marking, Page& page) {
    Widths widths;
    const int64_t count = measure(database, list, widths);
    write_heading(page, list, count, marking);
    if (count == 0 || store::failure() != 0) return;
    for (size_t blanks = strlen("line"); blanks < widths.line; ++blanks)
        page.put(" ");
    page.put("line");
    for (size_t i = 0; i < columns; ++i) {
        page.put("  ");
        page.put(headings[i], widths.words[i]);
    }
    page.end_line();
    RuleText text;
    for (RuleReader rules(database, list); rules.next(text);) {
        page.put(text.line, widths.line);
        for (size_t i = 0; i < columns; ++i) {
            page.put("  ");
            page.put(text.words[i].letters, widths.words[i]);
        }
        page.end_line();
    }
}

// Rules that are laid out within the call.
constexpr int64_t few = 200;

bool are_few(int32_t list) {
    const int64_t found =
        list != 0
            ? find_number("SELECT count(*) FROM (SELECT 1 FROM classify_rule WHERE list = ?1 LIMIT ?2)", list, few + 1)
                  .value_or(0)
            : find_number("SELECT count(*) FROM (SELECT 1 FROM classify_rule LIMIT ?1)", few + 1).value_or(0);
    return found <= few;
}

int32_t check(int32_t list) {
    if (list != 0) {
        if (!exists("SELECT 1 FROM classify_list WHERE list = ?1", list)) return status::no_profile;
        return exists("SELECT 1 FROM classify_rule WHERE list = ?1", list) ? 0 : status::no_action;
    }
    if (!exists("SELECT 1 FROM classify_list")) return status::no_profile_at_all;
    return exists("SELECT 1 FROM classify_rule") ? 0 : status::no_action;
}

} // namespace

Page::~Page() {
    free(text_);
}

bool Page::make_room(size_t more) {
    if (is_broken_ || length_ + more < room_) return !is_broken_;
    const size_t room = 2 * (length_ + more + 1);
    auto* const text = static_cast<char*>(realloc(text_, room));
    if (text == nullptr) {
        is_broken_ = true;
        return false;
    }
    text_ = text;
    room_ = room;
    return true;
}

void Page::put(const char* text, size_t width) {
    const size_t length = strlen(text);
    const size_t blanks = length < width ? width - length : 0;
    if (!make_room(length + blanks)) return;
    memcpy(text_ + length_, text, length);
    memset(text_ + length_ + length, ' ', blanks);
    length_ += length + blanks;
    text_[length_] = '\0';
}

void Page::put(int64_t number, size_t width) {
    char digits[24];
    snprintf(digits, sizeof digits, "%*lld", static_cast<int>(width), static_cast<long long>(number));
    put(digits);
}

void Page::end_line() {
    while (length_ > 0 && text_[length_ - 1] == ' ')
        --length_;
    put("\n");
}

void Page::show() const {
    fwrite(text(), 1, length_, stdout);
    fflush(stdout);
}

int32_t Display::prepare() {
    if (const int32_t refusal = check(list_); refusal != 0) return refusal;
    is_whole_ = are_few(list_);
    int32_t status = 0;
    copy_ = store::copy(status);
    if (copy_ == nullptr) return status;
    if (is_whole_) {
        write_all();
    } else {
        const int64_t first =
            list_ != 0 ? list_ : find_optional_number("SELECT min(list) AS list FROM classify_list").value_or(0);
        write_heading(page_, first,
                      find_number("SELECT count(*) FROM classify_rule WHERE list = ?1", first).value_or(0),
                      find_optional_number("SELECT marking FROM classify_list WHERE list = ?1", first));
    }
    return page_.is_broken() ? refusal::no_memory : 0;
}

void Display::write_all() {
    sqlite3_stmt* lists = nullptr;
    store::note_result(sqlite3_prepare_v2(copy_,
                                          "SELECT list, marking FROM classify_list WHERE ?1 IN (0, list) ORDER BY list",
                                          -1, &lists, nullptr),
                       copy_);
    bind(lists, 1, list_);
    const char* separator = "";
    while (lists != nullptr && store::failure() == 0) {
        const int result = sqlite3_step(lists);
        store::note_result(result, copy_);
        if (result != SQLITE_ROW) break;
        const OptionalNumber marking = read_optional_number(lists, 1);
        page_.put(separator);
        write_list(copy_, read_number(lists, 0), marking, page_);
        separator = "\n";
    }
    sqlite3_finalize(lists);
}

int32_t Display::show() {
    if (!is_whole_) {
        page_.clear();
        store::forget_failure();
        write_all();
    }
    if (page_.is_broken()) return refusal::no_memory;
    if (store::failure() == 0) page_.show();
    return store::failure();
}

} // namespace emulator
