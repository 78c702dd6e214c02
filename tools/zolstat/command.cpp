// The commands of zolstat, all together, and what several of them take.
// Not the place for a command's own work, which has a file to itself.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "command.h"

#include <fmt/format.h>
#include <zolstats/zolstats.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <sstream>

namespace tools::zolstat {
namespace {

constexpr std::array ALL_COMMANDS{&groupsCommand, &idsCommand,    &statsCommand, &watchCommand,
                                  &pingCommand,   &doctorCommand, &checkCommand, &codesCommand};

// The Gateway takes ids as a list with ':' between them, and so do we.
Arguments splitNames(const Arguments& lists) {
    Arguments names;
    for (const std::string& list : lists) {
        std::istringstream parts(list);
        for (std::string name; std::getline(parts, name, ':');) {
            names.push_back(name);
        }
    }
    return names;
}

std::string checkNames(const std::string& list) {
    if (list.size() > ZOLSTATS_MAX_ID_LIST) {
        return fmt::format("an id is too long (at most {} bytes)", ZOLSTATS_MAX_ID_LIST);
    }
    // An empty id would ask the Gateway for everything. The closing ':' makes an empty last part show up too.
    const bool hasEmptyName = (':' + list + ':').find("::") != std::string::npos;
    return hasEmptyName ? "an id is empty" : "";
}

}  // namespace

std::span<const Command* const> allCommands() {
    return ALL_COMMANDS;
}

const Command& defaultCommand() {
    return statsCommand;
}

void requireFormat(const Layout& layout, std::initializer_list<Format> offered,
                   const std::string& complaint) {
    if (layout.formatIsExplicit &&
        std::find(offered.begin(), offered.end(), layout.format) == offered.end()) {
        throw UsageError(complaint);
    }
}

void addNames(CLI::App& line, Arguments& names, const char* argument, const char* help) {
    line.add_option_function<Arguments>(
            argument, [&names](const Arguments& lists) { names = splitNames(lists); }, help)
        ->option_text(" ")
        ->check(checkNames);
}

}  // namespace tools::zolstat
