// zolstat: shows the statistics of running Gateways on the command line.
// Not part of the library: it uses nothing but zolstats/zolstats.hpp, as any application would.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fmt/format.h>

#include <exception>
#include <zolstats/zolstats.hpp>

#include "command_line.h"
#include "common/text.h"
#include "console.h"
#include "plugin.h"
#include "session.h"

namespace tools::zolstat {
namespace {

// The file first, so that the trace's opening line goes there too.
void setTrace(const Options& options) {
    try {
        if (!options.traceFile.empty()) {
            zolstats::setTraceFile(options.traceFile);
        }
        zolstats::setTraceLevel(static_cast<zolstats::TraceLevel>(options.traceLevel));
    } catch (const zolstats::Error& error) {
        throw UsageError(fmt::format("{}: {}", printable(options.traceFile), explain(error.code().value())));
    }
}

ExitCode end(const Ending& ending) {
    writeError(ending.error);
    writeOutput(ending.output);
    return ending.code;
}

ExitCode fail(ExitCode code, const std::exception& failure) {
    writeError(fmt::format("zolstat: {}\n", failure.what()));
    return code;
}

ExitCode carryOut(const Request& request) {
    if (!request.command->tracesItself) {
        setTrace(request.options);
    }
    return request.run(request.options);
}

// Whoever called it looks at standard output, and takes every other code for a fault of the plugin.
ExitCode carryOutAsPlugin(const Request& request) {
    constexpr PluginState state = PluginState::Unknown;
    try {
        return carryOut(request);
    } catch (const OutputClosed&) {
        return exitCodeOf(state);
    } catch (const OutputFailed& failure) {
        return fail(exitCodeOf(state), failure);
    } catch (const std::exception& failure) {
        return end({exitCodeOf(state), pluginLine(state, failure.what()), ""});
    }
}

ExitCode carryOut(int argc, const char* const* argv) {
    prepareConsole();
    const auto line = readCommandLine(argc, argv);
    if (const auto* ending = std::get_if<Ending>(&line)) {
        return end(*ending);
    }
    const Request& request = std::get<Request>(line);
    return request.command->isMonitoringPlugin ? carryOutAsPlugin(request) : carryOut(request);
}

ExitCode carryOutOrTell(int argc, const char* const* argv) {
    try {
        return carryOut(argc, argv);
    } catch (const OutputClosed&) {
        return ExitCode::Fine;
    } catch (const UsageError& failure) {
        return fail(ExitCode::Usage, failure);
    } catch (const std::exception& failure) {
        return fail(ExitCode::OutputFailed, failure);
    }
}

}  // namespace
}  // namespace tools::zolstat

int main(int argc, char** argv) {
    return static_cast<int>(tools::zolstat::carryOutOrTell(argc, argv));
}
