// One scrape with its trace, in a child process: the trace's level and destination belong to a whole process, and this one
// goes on serving others.
// Not a part of usual scrapes (worker.h).
// The lines of a trace are described in docs/tracing.md.
#ifndef EXPORTER_TRACED_SCRAPE_H
#define EXPORTER_TRACED_SCRAPE_H

#include <chrono>
#include <optional>
#include <string>

#include "scrape.h"

namespace tools::exporter {

// The parent's side: starts this same program anew and gives what the child has written, fit to be shown to others.
// Blocks until the child has ended, which is not later than somewhat after the limit.
std::string tracedScrape(const Endpoint& gateway, const Selection& selection,
                         std::chrono::milliseconds limit);

// The child's side: carries it out if the arguments are those that the parent gives, and gives the exit code.
std::optional<int> runTracedScrape(int argumentCount, char** arguments);

}  // namespace tools::exporter

#endif
