// A trace of the library line by line, fit to be shown to others: without what authorises a connection.
// Not the place where traces are made.
// The lines of a trace are described in docs/tracing.md.
#ifndef TOOLS_COMMON_TRACE_LINES_H
#define TOOLS_COMMON_TRACE_LINES_H

#include <cstddef>
#include <functional>
#include <istream>
#include <string>

namespace tools {

struct TraceLine {
    std::string text;        // fit for a terminal
    bool isFailure = false;  // the first line of an exception
};

// Reads to the end and hands over line by line. Where a dump may hold what authorises, one line stands for it.
// Gives the number of lines of the whole trace.
std::size_t readTrace(std::istream& trace, const std::function<void(const TraceLine&)>& take);

}  // namespace tools

#endif
