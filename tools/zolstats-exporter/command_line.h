// The command line of zolstats-exporter: its grammar and help.
// Not the place where its values are checked and put together with the configuration file (configuration.h).
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_COMMAND_LINE_H
#define EXPORTER_COMMAND_LINE_H

#include <optional>

#include "configuration.h"

namespace tools::exporter {

// What there is to do; or the exit code where nothing is left, since help was shown or a word was wrong.
struct Parsed {
    CommandLine commandLine{};
    std::optional<int> exitCode{};
};
Parsed parseCommandLine(int argumentCount, const char* const* arguments);

}  // namespace tools::exporter

#endif
