// The commands of zolstat: one record each, from which the command line and its help are made.
// Not the place for options that all commands share (options.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_COMMAND_H
#define ZOLSTAT_COMMAND_H

#include <CLI/App.hpp>
#include <functional>
#include <initializer_list>
#include <span>
#include <string>

#include "exit_code.h"
#include "options.h"

namespace tools::zolstat {

// Carries the command out. What stands against it as a whole is thrown (UsageError, SessionFailed, OutputFailed).
using Run = std::function<ExitCode(const Options&)>;

struct Command {
    const char* name;
    const char* help;
    const char* example;       // shown at the end of its help
    Run (*attach)(CLI::App&);  // adds its own arguments and options; what it returns reads them when it runs
    bool isMonitoringPlugin = false;  // its exit codes, and how it tells what is wrong, are a plugin's
    bool tracesItself = false;        // --trace-level and --trace-file do not apply to it
};

extern const Command checkCommand;
extern const Command codesCommand;
extern const Command doctorCommand;
extern const Command groupsCommand;
extern const Command idsCommand;
extern const Command pingCommand;
extern const Command statsCommand;
extern const Command watchCommand;

std::span<const Command* const> allCommands();
const Command& defaultCommand();

// The command line asks for something that cannot be: found out only when it is carried out.
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Throws UsageError with this complaint where the command line asks for a format that the command does not offer. A
// default that holds for all commands, from a file or the environment, is left aside.
void requireFormat(const Layout& layout, std::initializer_list<Format> offered, const std::string& complaint);

// Adds the arguments by which groups and statistics are named, ':' or blanks between them; what they are is read from
// `names` when the command runs.
void addNames(CLI::App& line, Arguments& names, const char* argument, const char* help);

}  // namespace tools::zolstat

#endif
