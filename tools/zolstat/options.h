// The command line of zolstat, read into a record.
// Not the place where commands are listed (commands.h) or carried out.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_OPTIONS_H
#define ZOLSTAT_OPTIONS_H

#include <string>
#include <variant>

#include "commands.h"
#include "exit_code.h"

namespace zolstat {

struct Options {
    std::string host = "127.0.0.1";
    int port = 27400;
    int traceLevel = 0;
    std::string traceFile;  // empty: standard error
    const Command* command = &defaultCommand();
    Arguments arguments;
};

// There is nothing to carry out: help was asked for, or the command line is wrong.
struct Ending {
    ExitCode code;
    std::string output;
    std::string error;
};

std::variant<Options, Ending> readCommandLine(int argc, const char* const* argv);

}  // namespace zolstat

#endif
