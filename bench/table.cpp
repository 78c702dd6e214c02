#include "table.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <ostream>
#include <utility>

namespace bench {
namespace {

using Cells = std::vector<std::string>;

bool isNumber(const std::string& cell) {
    return cell.empty() || std::isdigit(static_cast<unsigned char>(cell.front())) != 0 || cell.front() == '-';
}

// A column as wide as its widest cell; numbers stand at the right of it.
struct Layout {
    std::size_t width = 0;
    bool isRight = true;

    Layout(const std::vector<Cells>& rows, std::size_t column) {
        for (std::size_t row = 0; row < rows.size(); ++row) {
            width = std::max(width, rows[row][column].size());
            isRight = isRight && (row == 0 || isNumber(rows[row][column]));
        }
    }

    [[nodiscard]] std::string laidOut(const std::string& cell) const {
        const std::string blanks(width - cell.size(), ' ');
        return isRight ? blanks + cell : cell + blanks;
    }
};

std::string withoutBlanksAtEnd(const std::string& line) {
    return line.substr(0, line.find_last_not_of(' ') + 1);
}

}  // namespace

Table::Table(Cells titles) : rows_{std::move(titles)} {}

void Table::add(Cells cells) {
    cells.resize(rows_.front().size());
    rows_.push_back(std::move(cells));
}

void Table::print(std::ostream& out) const {
    std::vector<Layout> layouts;
    for (std::size_t column = 0; column < rows_.front().size(); ++column) {
        layouts.emplace_back(rows_, column);
    }
    for (const Cells& row : rows_) {
        std::string line;
        for (std::size_t column = 0; column < row.size(); ++column) {
            line += (column == 0 ? "" : "  ") + layouts[column].laidOut(row[column]);
        }
        out << withoutBlanksAtEnd(line) << '\n';
    }
    out << '\n' << std::flush;
}

std::string number(double value) {
    const double size = std::abs(value);
    const int decimals = size == std::floor(size) ? 0 : size < 1 ? 3 : size < 10 ? 2 : size < 100 ? 1 : 0;
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

}  // namespace bench
