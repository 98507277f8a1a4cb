// Laying out tables.
#include "companion/table.h"

#include "companion/names.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <optional>

namespace {

// Of standard output; none where that is no terminal.
std::optional<size_t> terminal_width() {
    constexpr size_t usual = 80;
    winsize size{};
    if (isatty(STDOUT_FILENO) == 0) return std::nullopt;
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

constexpr size_t narrowest_last_column = 16;

struct Column {
    size_t width = 0;
    bool is_number = true;
};

// Breaks a text at blanks so that no line is wider than `width`, as far as the words allow.
std::vector<std::string> wrap(const std::string& text, size_t width) {
    std::vector<std::string> lines(1);
    for (size_t at = 0; at <= text.size();) {
        const size_t end = std::min(text.find(' ', at), text.size());
        const std::string word = text.substr(at, end - at);
        std::string& line = lines.back();
        if (at == 0)
            line = word;
        else if (columns_of(line) + 1 + columns_of(word) <= width)
            line += " " + word;
        else
            lines.push_back(word);
        at = end + 1;
    }
    return lines;
}

std::vector<Column> measure(const Table& table) {
    std::vector<Column> columns(table.headings.size());
    for (size_t i = 0; i < columns.size(); ++i) {
        columns[i].width = columns_of(table.headings[i]);
        for (const std::vector<Cell>& row : table.rows) {
            columns[i].width = std::max(columns[i].width, columns_of(row[i].text));
            if (!row[i].is_number) columns[i].is_number = false;
        }
    }
    return columns;
}

std::string padded(const std::string& text, const Column& column) {
    const std::string padding(column.width - columns_of(text), ' ');
    return column.is_number ? padding + text : text + padding;
}

std::string without_trailing_blanks(std::string line) {
    line.erase(line.find_last_not_of(' ') + 1);
    return line;
}

class Printer {
public:
    Printer(std::ostream& target, const std::vector<Column>& measured) : out_(target), columns_(measured) {
        for (size_t i = 0; i + 1 < columns_.size(); ++i)
            before_last_ += columns_[i].width + 2;
        const std::optional<size_t> width = terminal_width();
        if (!width)
            last_width_ = std::numeric_limits<size_t>::max();
        else
            last_width_ = std::max(*width, before_last_ + narrowest_last_column) - before_last_;
    }

    void print(const std::vector<std::string>& texts) {
        std::string line;
        for (size_t i = 0; i + 1 < columns_.size(); ++i)
            line += padded(texts[i], columns_[i]) + "  ";
        std::vector<std::string> last{texts.back()};
        if (columns_.back().is_number)
            last[0] = padded(last[0], columns_.back());
        else if (columns_of(last[0]) > last_width_)
            last = wrap(last[0], last_width_);
        out_ << without_trailing_blanks(line + last[0]) << "\n";
        for (size_t i = 1; i < last.size(); ++i)
            out_ << std::string(before_last_, ' ') << last[i] << "\n";
    }

private:
    std::ostream& out_;
    const std::vector<Column>& columns_;
    size_t before_last_ = 0;
    size_t last_width_ = 0;
};

} // namespace

Cell::Cell(const std::string& bytes) : text(shown(bytes)) {}

void print_table(std::ostream& out, const Table& table, const std::string& empty) {
    if (table.rows.empty()) {
        out << empty << "\n";
        return;
    }
    const std::vector<Column> columns = measure(table);
    Printer printer(out, columns);
    printer.print(table.headings);
    std::vector<std::string> texts(columns.size());
    for (const std::vector<Cell>& row : table.rows) {
        for (size_t i = 0; i < texts.size(); ++i)
            texts[i] = row[i].text;
        printer.print(texts);
    }
}
