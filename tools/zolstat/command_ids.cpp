// zolstat ids: the ids of statistics, one a line, so that other programs can take them up.
// Not their values (command_stats.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fmt/format.h>

#include "commands.h"
#include "table.h"
#include "text.h"

namespace zolstat {
namespace {

std::vector<std::string> askAllIds(Session& session, Console& console) {
    Ids ids = session.ids();
    if (ids.rejected()) {
        console.reject("no list of statistics", ids.code);
    }
    return std::move(ids.items);
}

std::vector<std::string> askIdsOfGroups(Session& session, Console& console, const Arguments& groups) {
    std::vector<std::string> all;
    for (const std::string& group : groups) {
        const Ids ids = session.idsOfGroup(group);
        if (ids.rejected()) {
            console.reject(fmt::format("no group '{}'", printable(group)), ids.code);
        }
        all.insert(all.end(), ids.items.begin(), ids.items.end());
    }
    return all;
}

void listIds(Session& session, Console& console, const Arguments& groups) {
    console.print(
        renderList(groups.empty() ? askAllIds(session, console) : askIdsOfGroups(session, console, groups)));
}

}  // namespace

const Command idsCommand{"ids", "List the ids of statistics", "GROUP",
                         "Groups to list (default: all statistics)", listIds};

}  // namespace zolstat
