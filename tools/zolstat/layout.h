// How results are to be shown: the choices of --format and its companions.
// Not the place where they are carried out (formats/).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_LAYOUT_H
#define ZOLSTAT_LAYOUT_H

#include <vector>

namespace tools::zolstat {

enum class Format { Table, Json, Ndjson, Csv, Prometheus, Raw };
enum class Column { Time, Host, Port, Group, Id, Value, Change, Code };
enum class Order { Gateway, Id, Value, Change };  // Gateway: as it was asked for and answered

struct Layout {
    Format format = Format::Table;
    std::vector<Column> columns{};  // empty: those that the format shows by itself
    Order order = Order::Gateway;
    bool header = true;
    // Whether the command line itself says so: a default of the user's that does not fit a command is left aside.
    bool formatIsExplicit = false;
    bool columnsAreExplicit = false;
    bool orderIsExplicit = false;
    bool colours = false;
    bool changes = false;   // more than one reading follows another, and tells how they move
    bool terminal = false;  // a terminal shows it: nothing but printable ASCII may go there
};

}  // namespace tools::zolstat

#endif
