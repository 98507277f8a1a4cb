// The store of the emulated switch, as the companion reads and writes it.
#pragma once

#include <cstdint>
#include <filesystem>
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

// A column of a row: a number, a text, or nothing.
struct Cell {
    std::optional<int64_t> number;
    std::optional<std::string> text;

    bool is_null() const { return !number && !text; }
    std::string str() const; // what a person reads; "-" for nothing
};
using Row = std::vector<Cell>;

struct Answer {
    std::vector<std::string> columns;
    std::vector<Row> rows;
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
std::filesystem::path store_path();

// One connection. Every failure throws `Failure` with the name of the file.
class Database {
public:
    // Opens the store, and makes an empty one where there is none.
    explicit Database(const std::filesystem::path& path);
    ~Database();
    Database(const Database&) = delete;
    Database& operator=(const Database&) = delete;

    Answer query(const std::string& sql, const std::vector<Parameter>& parameters = {});
    int64_t number(const std::string& sql, const std::vector<Parameter>& parameters = {});

    // Answers how many rows changed.
    int change(const std::string& sql, const std::vector<Parameter>& parameters = {});
    void script(const std::string& sql);

    // For what reads so much that it prepares its statements once (companion/statement.h).
    sqlite3* handle() const { return connection; }
    [[noreturn]] void fail();
    // A value that the store cannot have by itself, such as class 100: `what` names it.
    [[noreturn]] void fail_as_damaged(const std::string& what);

    // A copy of the whole store, consistent while others write.
    void copy_to(const std::filesystem::path& path);

private:
    std::filesystem::path file;
    sqlite3* connection = nullptr;
    sqlite3_stmt* prepare(const std::string& sql, const std::vector<Parameter>& parameters);
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
    Database& database;
    bool is_open = true;
};
