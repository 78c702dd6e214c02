// zolstat stats: the values of statistics.
// Not the place for their layout (formats/), nor for what a name may be (selection.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <CLI/CLI.hpp>
#include <memory>

#include "ask.h"
#include "command.h"
#include "selection.h"

namespace tools::zolstat {
namespace {

// A query for everything at once would be one round trip, but its answer does not tell the groups.
Run attachStats(CLI::App& line) {
    const auto names = std::make_shared<Arguments>();
    addNames(line, *names, "GROUP-or-ID",
             "Groups and statistics to show, or patterns of them such as 'CPU_*'\n(default: all groups)");
    return [names](const Options& options) {
        const auto read = [&](Session& session, Sample& sample) {
            Selection(session, *names, sample).read(session, sample);
        };
        return askAndShow(options, read, Kind::Statistics);
    };
}

}  // namespace

const Command statsCommand{"stats", "Show the values of statistics",
                           "zolstat stats CPU 'MEMORY_*' --format json", attachStats};

}  // namespace tools::zolstat
