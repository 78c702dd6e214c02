// Statistics as a table for the eye.
// Not a format for programs to read, and not the place where anything is asked for or written.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_TABLE_H
#define ZOLSTAT_TABLE_H

#include <string>
#include <vector>

#include "session.h"

namespace zolstat {

// The rows of one group; rows without a group's name above them are not indented.
struct Section {
    std::string group;
    std::vector<Statistic> rows;
};

// Ids to the left, values to the right, in the same two columns for all sections. Whatever a terminal should
// not see is escaped.
std::string renderTable(std::vector<Section> sections);

// One id a line.
std::string renderList(const std::vector<std::string>& ids);

}  // namespace zolstat

#endif
