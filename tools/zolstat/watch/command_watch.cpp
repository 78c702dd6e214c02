// zolstat watch: the values of statistics again and again, with their changes.
// Not the screen (full_screen.h) or the blocks of text (blocks.h) that they are shown in.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <clocale>
#include <cmath>
#include <memory>

#include "blocks.h"
#include "command.h"
#include "feeder.h"
#include "full_screen.h"
#include "screen.h"
#include "signals.h"

namespace tools::zolstat {
namespace {

constexpr double SHORTEST_INTERVAL_SECONDS = 0.1;
constexpr double LONGEST_INTERVAL_SECONDS = 86400;
constexpr std::uint64_t HIGHEST_COUNT = 1'000'000'000;

struct Choices {
    Arguments names;
    double intervalSeconds = 1;
    std::optional<std::uint64_t> count;
};

watch::Plan planOf(const Options& options, const Choices& choices) {
    const std::chrono::nanoseconds interval(std::llround(choices.intervalSeconds * 1e9));
    return {options.gateways, choices.names, options.timeout, {std::chrono::steady_clock::now(), interval}};
}

// Whoever chooses a format or columns wants text.
bool wantsScreen(const Options& options) {
    return options.layout.format == Format::Table && options.layout.columns.empty() &&
           watch::Screen::isPossible();
}

void refuseTraceOnScreen(const Options& options) {
    if (options.traceLevel > 0 && options.traceFile.empty() && isatty(STDERR_FILENO) == 1) {
        throw UsageError("the trace would be written over the screen: --trace-file leads it elsewhere");
    }
}

// The signals first, since threads take over what is blocked; the screen last, so that it is gone first.
ExitCode watchOnScreen(const Options& options, const Choices& choices) {
    refuseTraceOnScreen(options);
    std::setlocale(LC_CTYPE, "");  // for the characters of the screen
    watch::Signals signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGWINCH, SIGTSTP, SIGCONT};
    const watch::Plan plan = planOf(options, choices);
    watch::Feeder feeder(plan);
    return watch::FullScreen(options.layout, plan, feeder.mailbox(), signals).show(choices.count);
}

ExitCode watchAsText(const Options& options, const Choices& choices) {
    watch::Signals signals{SIGINT, SIGTERM, SIGHUP, SIGQUIT};
    const watch::Plan plan = planOf(options, choices);
    watch::Feeder feeder(plan);
    return watch::Blocks(options.layout, plan, feeder.mailbox(), signals).print(choices.count);
}

// A range alone would let "nan" through.
std::string checkInterval(const std::string& text) {
    double seconds = 0;
    const bool fine = CLI::detail::lexical_cast(text, seconds) && seconds >= SHORTEST_INTERVAL_SECONDS &&
                      seconds <= LONGEST_INTERVAL_SECONDS;
    return fine ? "" : "the interval is not a number from 0.1 to 86400";
}

Run attachWatch(CLI::App& line) {
    const auto choices = std::make_shared<Choices>();
    addNames(line, choices->names, "GROUP-or-ID",
             "Groups and statistics to watch, or patterns of them such as 'CPU_*'\n(default: all groups)");
    line.add_option("--interval", choices->intervalSeconds,
                    "Seconds from one reading to the next, 0.1 to 86400")
        ->capture_default_str()
        ->type_name("SECONDS")
        ->check(checkInterval);
    line.add_option("--count", choices->count, "End after so many readings (default: go on)")
        ->type_name("NUMBER")
        ->check(CLI::Range(std::uint64_t{1}, HIGHEST_COUNT).description(""));
    return [choices](const Options& options) {
        return wantsScreen(options) ? watchOnScreen(options, *choices) : watchAsText(options, *choices);
    };
}

}  // namespace

const Command watchCommand{
    "watch",
    "Watch the values of statistics, on the whole terminal (? tells the keys); in a pipe, with\n"
    "--columns and with any --format but table, as a block of text in each interval",
    "zolstat watch CPU 'DISK_*' --interval 2", attachWatch};

}  // namespace tools::zolstat
