// The columns that csv, raw and the flat table have in common: their names, their order, what stands in them.
// Not the place for widths, separators or escapes.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_FORMATS_COLUMNS_H
#define ZOLSTAT_FORMATS_COLUMNS_H

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "layout.h"
#include "sample.h"

namespace tools::zolstat {

std::string_view nameOf(Column column);

// Those that were asked for, or all that this kind of readings fills.
std::vector<Column> columnsOf(Kind kind, const Layout& layout);

// The bytes as they are; empty for what there is none of.
std::string cellOf(Column column, const Sample& sample, const Reading& reading);

// RFC 3339, in UTC and with milliseconds: 2024-02-29T23:59:59.007Z
std::string timestamp(std::chrono::system_clock::time_point time);

// A number per second as a decimal text, "restart", or empty if there is none.
std::string changeText(const Reading& reading);

}  // namespace tools::zolstat

#endif
