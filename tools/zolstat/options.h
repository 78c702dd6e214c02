// The choices that all commands of zolstat share, as the command line, the environment and the configuration file give
// them. Not the place where commands are listed (command.h) or carried out.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_OPTIONS_H
#define ZOLSTAT_OPTIONS_H

#include <chrono>
#include <string>
#include <vector>

#include "common/endpoint.h"
#include "layout.h"

namespace tools::zolstat {

using Arguments = std::vector<std::string>;

struct Options {
    std::vector<Endpoint> gateways;     // at least one
    std::chrono::milliseconds timeout;  // for each call of the library; zero: none
    Layout layout;
    int traceLevel = 0;
    std::string traceFile;   // empty: standard error
    std::string configFile;  // empty: none was given, and there is none at its usual place
};

}  // namespace tools::zolstat

#endif
