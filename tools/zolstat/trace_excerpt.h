// The part of a trace that goes into a report: failures and the end, without what authorises a connection.
// Not the place where traces are made (own_trace.h).
// The lines of a trace are described in docs/tracing.md.
#ifndef ZOLSTAT_TRACE_EXCERPT_H
#define ZOLSTAT_TRACE_EXCERPT_H

#include <cstddef>
#include <deque>
#include <istream>
#include <string>
#include <vector>

namespace tools::zolstat {

struct TraceExcerpt {
    std::size_t lines = 0;                // of the whole trace
    std::vector<std::string> failures{};  // the first lines of exceptions
    std::deque<std::string> tail{};       // the last lines, of whatever kind
};

// Reads to the end. All lines are fit for a terminal.
TraceExcerpt excerptOf(std::istream& trace);

}  // namespace tools::zolstat

#endif
