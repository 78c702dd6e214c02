// Samples for shell scripts: values or names, one a line, or columns with tabs between.
// Not the place where columns are chosen (columns.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "columns.h"
#include "common/escape.h"
#include "common/text.h"
#include "renderers.h"

namespace tools::zolstat {
namespace {

const std::string* bareOf(const Reading& reading, Kind kind) {
    if (kind == Kind::Statistics) {
        return reading.value ? &*reading.value : nullptr;
    }
    return kind == Kind::Groups ? &reading.group : &reading.id;
}

std::string renderBare(const Reading& reading, Kind kind, bool terminal) {
    const std::string* bare = bareOf(reading, kind);
    return bare == nullptr ? "" : (terminal ? printable(*bare) : *bare) + '\n';
}

// A tab or a line end within a cell would be taken for a separator: here everything is escaped.
std::string renderCells(const Sample& sample, const Reading& reading, const Layout& layout) {
    std::string line;
    const char* separator = "";
    for (const Column column : layout.columns) {
        line += separator +
                escaped(cellOf(column, sample, reading), layout.terminal ? Alphabet::Ascii : Alphabet::Utf8);
        separator = "\t";
    }
    return line + '\n';
}

}  // namespace

std::string renderRaw(const Samples& samples, Kind kind, const Layout& layout) {
    std::string text;
    for (const Sample& sample : samples) {
        for (const Reading& reading : sample.readings) {
            if (!reading.rejected()) {
                text += layout.columns.empty() ? renderBare(reading, kind, layout.terminal)
                                               : renderCells(sample, reading, layout);
            }
        }
    }
    return text;
}

}  // namespace tools::zolstat
