// Samples as comma-separated values: RFC 4180, but for line ends without carriage returns.
// Not the place where columns are chosen (columns.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "columns.h"
#include "common/escape.h"
#include "renderers.h"

namespace tools::zolstat {
namespace {

std::string quoted(std::string text) {
    if (text.find_first_of(",\"") == std::string::npos) {
        return text;
    }
    for (auto at = text.find('"'); at != std::string::npos; at = text.find('"', at + 2)) {
        text.insert(at, 1, '"');
    }
    return '"' + text + '"';
}

std::string headerOf(const std::vector<Column>& columns) {
    std::string line;
    for (const Column column : columns) {
        line += (line.empty() ? "" : ",") + std::string(nameOf(column));
    }
    return line + '\n';
}

}  // namespace

std::string renderCsv(const Samples& samples, Kind kind, const Layout& layout) {
    const std::vector<Column> columns = columnsOf(kind, layout);
    const Alphabet alphabet = layout.terminal ? Alphabet::Ascii : Alphabet::Utf8;
    std::string text = layout.header ? headerOf(columns) : "";
    for (const Sample& sample : samples) {
        for (const Reading& reading : sample.readings) {
            const char* separator = "";
            for (const Column column : columns) {
                text += separator + quoted(escaped(cellOf(column, sample, reading), alphabet));
                separator = ",";
            }
            text += '\n';
        }
    }
    return text;
}

}  // namespace tools::zolstat
