// The commands of zolstat, all together, and what several of them do.
// Not the place for a command's own work, which has a file to itself.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "commands.h"

#include <array>

namespace zolstat {
namespace {

constexpr std::array ALL_COMMANDS{&groupsCommand, &idsCommand, &statsCommand};

}  // namespace

std::span<const Command* const> allCommands() {
    return ALL_COMMANDS;
}

const Command& defaultCommand() {
    return statsCommand;
}

std::vector<std::string> askGroups(Session& session, Console& console) {
    Ids groups = session.groups();
    if (groups.rejected()) {
        console.reject("no list of groups", groups.code);
    }
    return std::move(groups.items);
}

}  // namespace zolstat
