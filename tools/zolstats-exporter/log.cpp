// Lines for the log of the service.
// Not a trace of the library (docs/tracing.md).
// Nothing here comes from the protocol of the Gateways.
#include "log.h"

#include <cstdio>

#include "common/text.h"

namespace tools::exporter {

void log(const std::string& line) {
    const std::string whole = "zolstats-exporter: " + printable(line) + '\n';
    std::fwrite(whole.data(), 1, whole.size(), stderr);
}

}  // namespace tools::exporter
