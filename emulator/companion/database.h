// The store of the emulated switch, as the companion reads and writes it.
#pragma once

#include "core/domains.h"
#include "platform/words.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

struct sqlite3;
struct sqlite3_stmt;

// What is wrong and what to do about it, in one line for a person. The program ends with status 1.
class Failure : public std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Another process has the store, for longer than this one was ready to wait.
class Locked : public Failure {
    using Failure::Failure;
};

// A parameter of a statement.
struct Parameter {
    Parameter(int64_t value) : number(value) {}
    Parameter(std::string value) : text(std::move(value)) {}
    Parameter(const char* value) : text(value) {}
    std::optional<int64_t> number;
    std::optional<std::string> text;
};

// The file that EMUSWITCH names, or that of the user.
std::string store_path();

class Database;

// The rows that a statement finds, one after the other, with their columns by name. A store is input like any other:
// what a column cannot hold on a switch (a text for a number, a number without a word) throws `Failure`, which says
// that the store is damaged, and where.
class Query {
public:
    Query(Database& source, const std::string& sql, const std::vector<Parameter>& parameters = {});

    // Goes to the first row, or the next one. False: there is none.
    bool next();

    int64_t number(const char* column) const; // in the domain of that column
    std::optional<int64_t> optional_number(const char* column) const;
    // Of what a library was told and keeps, right or wrong.
    int64_t any_number(const char* column) const;
    std::optional<int64_t> optional_any_number(const char* column) const;
    bool flag(const char* column) const; // 0 or 1
    std::string text(const char* column) const;
    std::optional<std::string> optional_text(const char* column) const;
    bool is_null(const char* column) const;

    template <size_t Count> std::string word(const char* column, const NumberedWord (&words)[Count]) const {
        const char* const found = word_for(words, number(column));
        if (found == nullptr) fail_as_damaged(column);
        return found;
    }
    template <size_t Count>
    std::optional<std::string> optional_word(const char* column, const NumberedWord (&words)[Count]) const {
        if (is_null(column)) return std::nullopt;
        return word(column, words);
    }

    // Says that the store is damaged, since this column of this row is what it is.
    [[noreturn]] void fail_as_damaged(const char* column) const;

private:
    struct Column {
        std::string name;
        const emulator::Domain* domain; // null: any number
    };
    size_t place_of(const char* column) const;
    int64_t number_in(const char* column, bool is_any) const;

    Database& database_;
    std::vector<Column> columns_;
    std::unique_ptr<sqlite3_stmt, int (*)(sqlite3_stmt*)> statement_;
};

// One connection. Every failure throws `Failure` with the name of the file.
class Database {
public:
    // The store, which is made where there is none, for changes. Who reads it all takes a snapshot.
    Database() : Database(store_path()) {}
    explicit Database(const std::string& path);
    // What the store held at one moment, in memory: whoever reads it may take long, and keeps nobody waiting.
    static Database snapshot();
    // Likewise of any file that holds a store, which is read and no more: of an earlier version, and one that this user
    // may not write, too. Locks of SQLite alone keep writers away meanwhile.
    static Database copy_of(const std::string& path);
    // A connection to an image of the store (companion/store_image.h), whose failures name the store.
    static Database image(const Database& store, const char* file_system);
    // A new switch, in memory.
    static Database fresh();

    // The first column of the first row; 0 where that is NULL.
    int64_t number(const std::string& sql, const std::vector<Parameter>& parameters = {});

    // Returns how many rows changed.
    int change(const std::string& sql, const std::vector<Parameter>& parameters = {});
    void script(const std::string& sql);

    // A copy of the whole store, consistent while others write.
    void copy_to(const std::string& path);

    // For what reads so much that it prepares its statements once (companion/statement.h).
    sqlite3* handle() const { return connection_.get(); }
    [[noreturn]] void fail();
    // A value that the store cannot have by itself, such as class 100: `what` names it.
    [[noreturn]] void fail_as_damaged(const std::string& what);
    [[noreturn]] void fail_as_damaged(sqlite3_stmt* row, int column);

private:
    friend class Query;
    struct InMemory {};
    static constexpr InMemory in_memory{};
    Database(InMemory /*where*/, std::string of) : file_(std::move(of)) { open(":memory:"); }
    struct Unjudged {};
    Database(Unjudged /*how*/, std::string of);
    Database(const char* file_system, std::string of) : file_(std::move(of)) { open("image", file_system); }
    void bring_up_to_date();
    void open(const std::string& name, const char* file_system = nullptr);
    void copy(sqlite3* target);

    std::string file_;
    std::unique_ptr<sqlite3, int (*)(sqlite3*)> connection_{nullptr, nullptr};
};

// A transaction that is undone unless it is committed.
class Transaction {
public:
    explicit Transaction(Database& target);
    ~Transaction();
    Transaction(const Transaction&) = delete;
    Transaction& operator=(const Transaction&) = delete;
    void commit();

private:
    Database& database_;
    bool is_open_ = true;
};

// The rows that belong to the rows of another query, both in the order of the columns that they have in common. A row
// that belongs to none is damage.
class Children {
public:
    Children(Database& source, const std::string& sql, std::vector<const char*> common);

    // Calls `take` with each row that belongs to this one.
    template <typename Take> void of(const Query& parent, Take take) {
        for (; is_at(parent); has_row_ = rows_.next())
            take(rows_);
    }

    // Behind the last of the others.
    void expect_end() const;

private:
    bool is_at(const Query& parent) const;

    Query rows_;
    std::vector<const char*> keys_;
    bool has_row_;
};
