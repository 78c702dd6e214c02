// zolstat: shows the statistics of a running Gateway on the command line.
// Not part of the library: it uses nothing but zolstats/zolstats.h, as any application would.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fmt/format.h>

#include <exception>

#include "console.h"
#include "exit_code.h"
#include "options.h"
#include "session.h"
#include "text.h"

namespace zolstat {
namespace {

ExitCode runCommand(const Options& options, Console& console) {
    Session session(options.host, options.port);
    options.command->run(session, console, options.arguments);
    return console.anythingRejected() ? ExitCode::Rejected : ExitCode::Fine;
}

ExitCode runConnected(const Options& options) {
    Console console(peerName(options.host, options.port));
    try {
        return runCommand(options, console);
    } catch (const OpenFailed& failure) {
        console.complain(failure.what());
        return ExitCode::NoConnection;
    } catch (const CallFailed& failure) {
        console.complain(failure.what());
        return ExitCode::ConnectionLost;
    }
}

ExitCode run(const Options& options) {
    try {
        setTrace(options.traceLevel, options.traceFile);
    } catch (const CallFailed& failure) {
        writeError(fmt::format("zolstat: {}: {}\n", printable(options.traceFile), failure.what()));
        return ExitCode::Usage;
    }
    return runConnected(options);
}

ExitCode end(const Ending& ending) {
    writeError(ending.error);
    writeOutput(ending.output);
    return ending.code;
}

ExitCode carryOut(int argc, const char* const* argv) {
    prepareConsole();
    const auto request = readCommandLine(argc, argv);
    const auto* options = std::get_if<Options>(&request);
    return options != nullptr ? run(*options) : end(std::get<Ending>(request));
}

}  // namespace
}  // namespace zolstat

int main(int argc, char** argv) {
    using namespace zolstat;
    try {
        return static_cast<int>(carryOut(argc, argv));
    } catch (const OutputClosed&) {
        return static_cast<int>(ExitCode::Fine);
    } catch (const std::exception& failure) {
        writeError(fmt::format("zolstat: {}\n", failure.what()));
        return static_cast<int>(ExitCode::OutputFailed);
    }
}
