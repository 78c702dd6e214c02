// The part of a trace that goes into a report.
// Not the place where traces are made (own_trace.cpp).
// The lines of a trace are described in docs/tracing.md.
#include "trace_excerpt.h"

#include "common/trace_lines.h"

namespace tools::zolstat {
namespace {

constexpr std::size_t MOST_FAILURES = 20;
constexpr std::size_t TAIL_LENGTH = 100;

void take(TraceExcerpt& excerpt, const TraceLine& line) {
    if (line.isFailure && excerpt.failures.size() < MOST_FAILURES) {
        excerpt.failures.push_back(line.text);
    }
    excerpt.tail.push_back(line.text);
    if (excerpt.tail.size() > TAIL_LENGTH) {
        excerpt.tail.pop_front();
    }
}

}  // namespace

TraceExcerpt excerptOf(std::istream& trace) {
    TraceExcerpt excerpt;
    excerpt.lines = readTrace(trace, [&](const TraceLine& line) { take(excerpt, line); });
    return excerpt;
}

}  // namespace tools::zolstat
