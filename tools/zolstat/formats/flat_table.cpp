// Samples as a table with chosen columns: a line for each reading, and the names of the columns above.
// Not a format for programs to read.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <algorithm>

#include "columns.h"
#include "common/number.h"
#include "common/text.h"
#include "renderers.h"
#include "table_parts.h"

namespace tools::zolstat {
namespace {

struct Cell {
    std::string text;
    Side side = Side::Left;
    Style style = Style::Plain;
};
using Row = std::vector<Cell>;

bool isNumeric(Column column) {
    return column == Column::Port || column == Column::Value || column == Column::Change ||
           column == Column::Code;
}

std::size_t widestOf(Column column) {
    return column == Column::Value || column == Column::Change ? WIDEST_VALUE : WIDEST_NAME;
}

Style styleOf(Column column, const Reading& reading) {
    if (reading.rejected()) {
        return Style::Rejected;
    }
    if (column == Column::Change && reading.change && reading.change->restarted) {
        return Style::Restarted;
    }
    return column == Column::Group ? Style::Group : Style::Plain;
}

Cell tableCellOf(Column column, const Sample& sample, const Reading& reading) {
    const bool isText = column == Column::Value && reading.value && !decimalOf(*reading.value);
    return {column == Column::Change ? rateText(reading) : printable(cellOf(column, sample, reading)),
            isNumeric(column) && !isText ? Side::Right : Side::Left, styleOf(column, reading)};
}

Row rowOf(const std::vector<Column>& columns, const Sample& sample, const Reading& reading) {
    Row row;
    row.reserve(columns.size());
    for (const Column column : columns) {
        row.push_back(tableCellOf(column, sample, reading));
    }
    return row;
}

Row headerOf(const std::vector<Column>& columns) {
    Row row;
    for (const Column column : columns) {
        row.push_back({std::string(nameOf(column)), isNumeric(column) ? Side::Right : Side::Left});
    }
    return row;
}

// The rows of one Gateway, under a heading where there is one.
struct Block {
    std::string heading{};
    std::vector<Row> rows{};
};

std::vector<Block> blocksOf(const Samples& samples, const Layout& layout) {
    const auto& columns = layout.columns;
    const bool namesHost = std::find(columns.begin(), columns.end(), Column::Host) != columns.end();
    std::vector<Block> blocks;
    if (layout.header) {
        blocks.push_back({"", {headerOf(columns)}});
    }
    for (const Sample& sample : samples) {
        if (!sample.failure) {
            Block& block =
                blocks.emplace_back(Block{headingOf(sample, samples.size() > 1 && !namesHost, layout)});
            block.rows.reserve(sample.readings.size());
            for (const Reading& reading : sample.readings) {
                block.rows.push_back(rowOf(columns, sample, reading));
            }
        }
    }
    return blocks;
}

using Widths = std::vector<std::size_t>;

Widths measure(const std::vector<Block>& blocks, const std::vector<Column>& columns) {
    Widths widths(columns.size(), 0);
    for (const Block& block : blocks) {
        for (const Row& row : block.rows) {
            for (std::size_t i = 0; i < row.size(); ++i) {
                widths[i] = std::max(widths[i], std::min(row[i].text.size(), widestOf(columns[i])));
            }
        }
    }
    return widths;
}

// Blanks stand outside the colours, and none at the line's end.
std::string renderRow(const Row& row, const Widths& widths, const Layout& layout) {
    std::string line;
    std::size_t blanks = 0;
    for (std::size_t i = 0; i < row.size(); ++i) {
        const std::size_t spare = widths[i] > row[i].text.size() ? widths[i] - row[i].text.size() : 0;
        const bool isRight = row[i].side == Side::Right;
        if (!row[i].text.empty()) {
            line += std::string(blanks + (isRight ? spare : 0), ' ');
            line += painted(row[i].text, row[i].style, layout);
            blanks = GAP + (isRight ? 0 : spare);
        } else {
            blanks += spare + GAP;
        }
    }
    return line + '\n';
}

}  // namespace

std::string renderFlatTable(const Samples& samples, Kind, const Layout& layout) {
    const std::vector<Block> blocks = blocksOf(samples, layout);
    const Widths widths = measure(blocks, layout.columns);
    std::string text;
    for (const Block& block : blocks) {
        text += block.heading;
        for (const Row& row : block.rows) {
            text += renderRow(row, widths, layout);
        }
    }
    return text;
}

}  // namespace tools::zolstat
