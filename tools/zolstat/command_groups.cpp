// zolstat groups: the groups that the Gateway's statistics come in.
// Not the statistics themselves (command_stats.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "commands.h"
#include "table.h"

namespace zolstat {
namespace {

void listGroups(Session& session, Console& console, const Arguments&) {
    console.print(renderList(askGroups(session, console)));
}

}  // namespace

const Command groupsCommand{"groups", "List the groups of statistics", nullptr, nullptr, listGroups};

}  // namespace zolstat
