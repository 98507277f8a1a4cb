// A statement that is prepared once and read column by column: for what reads many rows, or reads them often.
#pragma once

#include "companion/database.h"

#include <sqlite3.h>

#include <concepts>
#include <limits>
#include <memory>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

class Statement {
public:
    // `sql` has to live as long as the statement. It is prepared when it is first used.
    Statement(Database& owner, const char* text) : database_(owner), sql_(text) {}
    ~Statement() { sqlite3_finalize(prepared_); }
    Statement(const Statement&) = delete;
    Statement& operator=(const Statement&) = delete;

    // Calls visit() for each row. The columns are read with the functions below meanwhile.
    template <typename Visit, typename... Values> void for_each(Visit visit, Values... values) {
        start();
        const std::unique_ptr<sqlite3_stmt, Reset> running(prepared_);
        [[maybe_unused]] int place = 0;
        (bind(++place, values), ...);
        while (has_row())
            visit();
    }

    // The first column of the one row that there is.
    template <typename... Values> int64_t only_number(Values... values) {
        int64_t found = 0;
        for_each([&] { found = number(0); }, values...);
        return found;
    }

    // Changes the store. Returns how many rows it changed.
    template <typename... Values> int change(Values... values) {
        for_each([] {}, values...);
        return sqlite3_changes(database_.handle());
    }

    bool is_null(int column) const { return sqlite3_column_type(prepared_, column) == SQLITE_NULL; }
    std::string_view text(int column) const;

    // A number in the domain of its column, as `Query` has them, that fits its type; a store where it is none is
    // damaged.
    template <typename Number = int64_t> Number number(int column) const {
        return in_range<Number>(column, std::numeric_limits<int64_t>::min(), std::numeric_limits<int64_t>::max());
    }
    template <typename Number> std::optional<Number> optional_number(int column) const {
        if (is_null(column)) return std::nullopt;
        return number<Number>(column);
    }
    bool flag(int column) const { return in_range<int>(column, 0, 1) == 1; }

    // The same where the table has less in such a column than others have.
    template <typename Number> Number in_range(int column, int64_t lowest, int64_t highest) const {
        using Held = typename std::conditional_t<std::is_enum_v<Number>, std::underlying_type<Number>,
                                                 std::type_identity<Number>>::type;
        const emulator::Domain* const domain = domains_[static_cast<size_t>(column)];
        const bool is_number = sqlite3_column_type(prepared_, column) == SQLITE_INTEGER;
        const int64_t found = sqlite3_column_int64(prepared_, column);
        const bool is_in_domain = domain == nullptr || domain->contains(found);
        if (!is_number || !is_in_domain || found < lowest || found > highest || !std::in_range<Held>(found))
            fail_as_damaged(column);
        return static_cast<Number>(found);
    }
    [[noreturn]] void fail_as_damaged(int column) const;

private:
    struct Reset {
        void operator()(sqlite3_stmt* statement) const { sqlite3_reset(statement); }
    };
    void start();
    bool has_row();
    void bind(int place, std::integral auto value) {
        sqlite3_bind_int64(prepared_, place, static_cast<int64_t>(value));
    }
    void bind(int place, const char* text) { sqlite3_bind_text(prepared_, place, text, -1, SQLITE_STATIC); }

    Database& database_;
    const char* sql_;
    sqlite3_stmt* prepared_ = nullptr;
    std::vector<const emulator::Domain*> domains_; // of the columns; null: any number
};
