// Readings in the order of --sort.
// Not the place where they are laid out.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_FORMATS_ORDER_H
#define ZOLSTAT_FORMATS_ORDER_H

#include <vector>

#include "layout.h"
#include "sample.h"

namespace tools::zolstat {

enum class Within { Gateway, Group };

// Ascending; what compares equal stays as it stood. By value: numbers exactly, then texts by their bytes, then
// what has none. By change: rates, then restarts, then what has none.
void sort(std::vector<Reading>& readings, Kind kind, Order order, Within within);

}  // namespace tools::zolstat

#endif
