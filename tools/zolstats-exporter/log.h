// Lines for the log of the service: standard error, which the journal keeps with its own times.
// Not a trace of the library (docs/tracing.md).
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_LOG_H
#define EXPORTER_LOG_H

#include <string>

namespace tools::exporter {

// A line, written as a whole, with what is not printable escaped.
void log(const std::string& line);

}  // namespace tools::exporter

#endif
