// A trace of the tool's own: what the library does while this object lives goes to a file that nobody else sees.
// Not the trace that --trace-level and --trace-file ask for: whoever uses this one leaves those aside.
// The lines of a trace are described in docs/tracing.md.
#ifndef ZOLSTAT_OWN_TRACE_H
#define ZOLSTAT_OWN_TRACE_H

#include <fstream>
#include <string>
#include <zolstats/zolstats.hpp>

#include "trace_excerpt.h"

namespace tools::zolstat {

class OwnTrace {
  public:
    OwnTrace();
    ~OwnTrace();
    OwnTrace(const OwnTrace&) = delete;
    OwnTrace& operator=(const OwnTrace&) = delete;

    // Why there is no trace; empty if there is one.
    const std::string& problem() const { return problem_; }

    void setLevel(zolstats::TraceLevel level) const;
    TraceExcerpt excerpt();

  private:
    std::string problem_;
    std::ifstream file_;  // has no name any more: whatever ends the process, nothing is left behind
};

}  // namespace tools::zolstat

#endif
