// The command line of zolstat, with the environment and the configuration file behind it.
// Not the place where commands are listed (command.h) or carried out.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_COMMAND_LINE_H
#define ZOLSTAT_COMMAND_LINE_H

#include <string>
#include <variant>

#include "command.h"

namespace tools::zolstat {

struct Request {
    Options options;
    const Command* command = &defaultCommand();
    Run run;
};

// There is nothing to carry out: help was asked for, or the command line is wrong.
struct Ending {
    ExitCode code;
    std::string output;
    std::string error;
};

// What the command line says holds, then what the environment says (ZOLSTAT_PORT for --port and so on), then the
// configuration file.
std::variant<Request, Ending> readCommandLine(int argc, const char* const* argv);

}  // namespace tools::zolstat

#endif
