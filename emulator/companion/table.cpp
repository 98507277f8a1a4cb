// Laying out tables.
#include "companion/table.h"

#include <algorithm>

namespace {

constexpr size_t terminal_width = 80;
constexpr size_t narrowest_last_column = 16;

// Breaks a text at blanks so that no line is longer than `width`, as far as the words allow.
std::vector<std::string> wrap(const std::string& text, size_t width) {
    std::vector<std::string> lines;
    std::string rest = text;
    while (rest.size() > width) {
        size_t cut = rest.rfind(' ', width);
        if (cut == std::string::npos || cut == 0) cut = rest.find(' ');
        if (cut == std::string::npos) break;
        lines.push_back(rest.substr(0, cut));
        rest.erase(0, cut + 1);
    }
    lines.push_back(rest);
    return lines;
}

std::string without_trailing_blanks(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

} // namespace

void print_table(std::ostream& out, const Answer& rows, const std::string& empty) {
    if (rows.rows.empty()) {
        out << empty << "\n";
        return;
    }
    const size_t count = rows.columns.size();
    std::vector<size_t> widths(count);
    std::vector<bool> is_number(count, true);
    for (size_t i = 0; i < count; ++i) {
        widths[i] = rows.columns[i].size();
        for (const Row& row : rows.rows) {
            widths[i] = std::max(widths[i], row[i].str().size());
            if (row[i].text) is_number[i] = false;
        }
    }
    size_t before_last = 0;
    for (size_t i = 0; i + 1 < count; ++i)
        before_last += widths[i] + 2;
    const size_t last_width =
        before_last + narrowest_last_column < terminal_width ? terminal_width - before_last : narrowest_last_column;

    const auto print_row = [&](const std::vector<std::string>& cells) {
        std::string line;
        for (size_t i = 0; i + 1 < count; ++i) {
            const std::string padding(widths[i] - cells[i].size(), ' ');
            line += is_number[i] ? padding + cells[i] : cells[i] + padding;
            line += "  ";
        }
        const std::vector<std::string> last = wrap(cells.back(), last_width);
        const bool to_the_right = is_number.back() && cells.back().size() < widths.back();
        if (to_the_right) line += std::string(widths.back() - cells.back().size(), ' ');
        out << without_trailing_blanks(line + last.front()) << "\n";
        for (size_t i = 1; i < last.size(); ++i)
            out << std::string(before_last, ' ') << last[i] << "\n";
    };

    print_row(rows.columns);
    for (const Row& row : rows.rows) {
        std::vector<std::string> cells;
        for (const Cell& cell : row)
            cells.push_back(cell.str());
        print_row(cells);
    }
}
