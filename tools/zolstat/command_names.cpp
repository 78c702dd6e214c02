// zolstat groups and zolstat ids: the names of what a Gateway has, so that other programs can take them up.
// Not the values of statistics (command_stats.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <memory>

#include "ask.h"
#include "command.h"
#include "common/text.h"
#include "selection.h"

namespace tools::zolstat {
namespace {

void listGroups(Session& session, Sample& sample) {
    for (std::string& group : askGroups(session, sample)) {
        sample.readings.push_back({std::move(group)});
    }
}

void listIds(Ids ids, const std::string& group, const std::string& what, Sample& sample) {
    if (ids.rejected()) {
        reject(sample, what, ids.code);
        sample.readings.push_back({group, "", {}, ids.code});
    }
    for (std::string& id : ids.items) {
        sample.readings.push_back({group, std::move(id)});
    }
}

void listIdsOf(Session& session, const Arguments& groups, Sample& sample) {
    if (groups.empty()) {
        listIds(session.ids(), "", "no list of statistics", sample);
    }
    for (const std::string& group : groups) {
        listIds(session.idsOfGroup(group), group, fmt::format("no group '{}'", printable(group)), sample);
    }
}

Run attachGroups(CLI::App&) {
    return [](const Options& options) { return askAndShow(options, listGroups, Kind::Groups); };
}

Run attachIds(CLI::App& line) {
    const auto groups = std::make_shared<Arguments>();
    addNames(line, *groups, "GROUP", "Groups to list (default: all statistics)");
    return [groups](const Options& options) {
        const auto list = [&](Session& session, Sample& sample) { listIdsOf(session, *groups, sample); };
        return askAndShow(options, list, Kind::Ids);
    };
}

}  // namespace

const Command groupsCommand{"groups", "List the groups of statistics",
                            "zolstat groups --gateway gw.example.org:27400", attachGroups};
const Command idsCommand{"ids", "List the ids of statistics", "zolstat ids CPU MEMORY", attachIds};

}  // namespace tools::zolstat
