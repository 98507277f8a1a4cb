// Tables for people.
#pragma once

#include <concepts>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

// What stands in one place. A text is shown as `shown` has it.
struct Cell {
    Cell(std::integral auto number) : text(std::to_string(number)), is_number(true) {}
    Cell(const std::string& bytes);
    Cell(const char* bytes) : Cell(std::string(bytes)) {}
    Cell(std::optional<int64_t> number) : text(number ? std::to_string(*number) : "-"), is_number(number.has_value()) {}

    std::string text;
    bool is_number = false;
};

struct Table {
    std::vector<std::string> headings;
    std::vector<std::vector<Cell>> rows;

    void add(std::vector<Cell> cells) { rows.push_back(std::move(cells)); }
};

// Columns as wide as their cells are on a terminal, numbers to the right, two blanks between. On a terminal
// the last column is broken into lines where the table would leave it; elsewhere a row is one line. Of a table without
// rows nothing is printed but `empty`.
void print_table(std::ostream& out, const Table& table, const std::string& empty);
