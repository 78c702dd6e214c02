// Statistics as a table for the eye: column widths and lines.
// Not a format for programs to read, and not the place where anything is asked for or written.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "table.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

#include "text.h"

namespace zolstat {
namespace {

constexpr std::size_t INDENT = 2;
constexpr std::size_t GAP = 2;
// A longer value runs out to the right rather than pushing all others off the screen.
constexpr std::size_t WIDEST_VALUE_COLUMN = 40;

struct Widths {
    std::size_t id = 0;  // with its indent
    std::size_t value = 0;
};

std::size_t indentOf(const Section& section) {
    return section.group.empty() ? 0 : INDENT;
}

void escape(Section& section) {
    section.group = printable(section.group);
    for (Statistic& row : section.rows) {
        row = {printable(row.id), printable(row.value)};
    }
}

Widths measure(const std::vector<Section>& sections) {
    Widths widths;
    for (const Section& section : sections) {
        for (const Statistic& row : section.rows) {
            widths.id = std::max(widths.id, indentOf(section) + row.id.size());
            widths.value = std::max(widths.value, std::min(row.value.size(), WIDEST_VALUE_COLUMN));
        }
    }
    return widths;
}

std::string renderRow(const Statistic& row, std::size_t indent, Widths widths) {
    if (row.value.empty()) {
        return fmt::format("{:{}}{}\n", "", indent, row.id);
    }
    return fmt::format("{:{}}{:<{}}{:>{}}\n", "", indent, row.id, widths.id - indent + GAP, row.value,
                       widths.value);
}

std::string renderSection(const Section& section, Widths widths) {
    std::string text = section.group.empty() ? "" : section.group + '\n';
    for (const Statistic& row : section.rows) {
        text += renderRow(row, indentOf(section), widths);
    }
    return text;
}

}  // namespace

std::string renderTable(std::vector<Section> sections) {
    std::for_each(sections.begin(), sections.end(), escape);
    const Widths widths = measure(sections);
    std::string text;
    for (const Section& section : sections) {
        text += renderSection(section, widths);
    }
    return text;
}

std::string renderList(const std::vector<std::string>& ids) {
    std::string text;
    for (const std::string& id : ids) {
        text += printable(id) + '\n';
    }
    return text;
}

}  // namespace zolstat
