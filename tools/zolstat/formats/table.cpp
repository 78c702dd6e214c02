// Samples as a table for the eye: groups with their statistics in aligned columns, or names one a line.
// Not a format for programs to read.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include <algorithm>

#include "common/text.h"
#include "renderers.h"
#include "table_parts.h"

namespace tools::zolstat {
namespace {

constexpr std::size_t INDENT = 2;

struct Row {
    std::string group;
    std::string id;  // with its indent; empty: the group has no statistics
    std::string value;
    std::string rate;
    Style rateStyle = Style::Plain;
};

Row rowOf(const Reading& reading) {
    const bool isGroupOnly = reading.id.empty() && !reading.value;
    const std::size_t indent = reading.group.empty() || isGroupOnly ? 0 : INDENT;
    const bool restarted = reading.change && reading.change->restarted;
    return {printable(reading.group), std::string(indent, ' ') + printable(reading.id),
            printable(reading.value.value_or("")), rateText(reading),
            restarted ? Style::Restarted : Style::Plain};
}

struct Widths {
    std::size_t id = 0;
    std::size_t value = 0;
    std::size_t rate = 0;
};

void widen(std::size_t& width, const std::string& text, std::size_t most) {
    width = std::max(width, std::min(text.size(), most));
}

Widths measure(const std::vector<Row>& rows) {
    Widths widths;
    for (const Row& row : rows) {
        widen(widths.id, row.id, WIDEST_NAME);
        widen(widths.value, row.value, WIDEST_VALUE);
        widen(widths.rate, row.rate, WIDEST_VALUE);
    }
    return widths;
}

std::string renderRow(const Row& row, const Widths& widths, const Layout& layout) {
    if (row.value.empty()) {
        return row.id + '\n';
    }
    std::string line = aligned(row.id, Side::Left, widths.id + GAP);
    line += aligned(row.value, Side::Right, widths.value);
    if (!row.rate.empty()) {
        line +=
            std::string(widths.rate - row.rate.size() + GAP, ' ') + painted(row.rate, row.rateStyle, layout);
    }
    return line + '\n';
}

std::string renderStatistics(const Sample& sample, const Layout& layout) {
    std::vector<Row> rows;
    rows.reserve(sample.readings.size());
    for (const Reading& reading : sample.readings) {
        if (!reading.rejected()) {
            rows.push_back(rowOf(reading));
        }
    }
    const Widths widths = measure(rows);
    std::string text;
    std::string group;
    for (const Row& row : rows) {
        if (row.group != group) {
            group = row.group;
            text += painted(group, Style::Group, layout) + '\n';
        }
        text += row.id.empty() ? "" : renderRow(row, widths, layout);
    }
    return text;
}

std::string renderNames(const Sample& sample, Kind kind, const Layout& layout) {
    std::string text;
    for (const Reading& reading : sample.readings) {
        if (!reading.rejected()) {
            const bool isGroup = kind == Kind::Groups;
            text += painted(printable(isGroup ? reading.group : reading.id),
                            isGroup ? Style::Group : Style::Plain, layout) +
                    '\n';
        }
    }
    return text;
}

}  // namespace

std::string renderTable(const Samples& samples, Kind kind, const Layout& layout) {
    std::string text;
    for (const Sample& sample : samples) {
        if (!sample.failure) {
            text += headingOf(sample, samples.size() > 1, layout);
            text += kind == Kind::Statistics ? renderStatistics(sample, layout)
                                             : renderNames(sample, kind, layout);
        }
    }
    return text;
}

}  // namespace tools::zolstat
