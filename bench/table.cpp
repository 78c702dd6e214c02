#include "table.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <ostream>

namespace bench {
namespace {

std::string padding(const std::string& cell, std::size_t width) {
    return std::string(width - std::min(width, cell.size()), ' ');
}

}  // namespace

void Table::print(std::ostream& out) const {
    std::vector<std::size_t> widths(rows_.front().size());
    for (const auto& row : rows_) {
        for (std::size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    for (const auto& row : rows_) {
        out << row[0] << padding(row[0], row.size() > 1 ? widths[0] : 0);
        for (std::size_t column = 1; column < row.size(); ++column) {
            out << "  " << padding(row[column], widths[column]) << row[column];
        }
        out << '\n';
    }
}

std::string number(double value) {
    const double size = std::abs(value);
    const int decimals = size < 1 ? 3 : size < 10 ? 2 : size < 100 ? 1 : 0;
    char text[64];
    std::snprintf(text, sizeof text, "%.*f", decimals, value);
    return text;
}

void printHeading(std::ostream& out, const std::string& text) {
    out << '\n' << text << '\n';
}

}  // namespace bench
