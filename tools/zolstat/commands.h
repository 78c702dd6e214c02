// The commands of zolstat: one row each, from which the command line and its help are made.
// Not the place for options that all commands share (options.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_COMMANDS_H
#define ZOLSTAT_COMMANDS_H

#include <span>
#include <string>
#include <vector>

#include "console.h"
#include "session.h"

namespace zolstat {

using Arguments = std::vector<std::string>;

struct Command {
    const char* name;
    const char* help;
    const char* argument;      // what its arguments are called; null if it takes none
    const char* argumentHelp;  // null likewise
    // What the Gateway rejects is reported on the console; a failed call is thrown.
    void (*run)(Session&, Console&, const Arguments&);
};

extern const Command groupsCommand;
extern const Command idsCommand;
extern const Command statsCommand;

std::span<const Command* const> allCommands();
const Command& defaultCommand();

// What several commands do: the groups that the Gateway has; a rejection is reported.
std::vector<std::string> askGroups(Session& session, Console& console);

}  // namespace zolstat

#endif
