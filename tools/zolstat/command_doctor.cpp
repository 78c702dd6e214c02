// zolstat doctor: all that a support case asks for first, in one report.
// Not a cure; and not the place where the trace is made or cut (own_trace.h, trace_excerpt.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <fmt/chrono.h>
#include <fmt/format.h>
#include <sys/resource.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "ask.h"
#include "command.h"
#include "common/text.h"
#include "console.h"
#include "own_trace.h"
#include "patience.h"

namespace tools::zolstat {
namespace {

using zolstats::TraceLevel;

// A full trace of more statistics would be slower than the Gateway, and much longer than anybody reads.
constexpr std::size_t MOST_TRACED_STATISTICS = 1000;

void writeTitle(const std::string& title) {
    writeOutput(fmt::format("\n{}\n", title));
}

void writeRow(const char* name, const std::string& text) {
    writeOutput(fmt::format("  {:<12}{}\n", name, text));
}

double millisecondsSince(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
}

// ---- The tool itself

std::string systemName() {
    utsname name{};
    return uname(&name) == 0 ? fmt::format("{} {} {}", name.sysname, name.release, name.machine) : "unknown";
}

void writeVersions() {
    writeTitle("Versions");
    writeRow("zolstat", ZOLSTAT_VERSION);
    writeRow("library", std::string(zolstats::apiVersion()));
    writeRow("system", systemName());
}

std::vector<std::string> environmentOfTool() {
    std::vector<std::string> variables;
    for (char** variable = environ; *variable != nullptr; ++variable) {
        if (std::string_view(*variable).starts_with("ZOLSTAT_")) {
            variables.push_back(printable(*variable));
        }
    }
    std::sort(variables.begin(), variables.end());
    return variables;
}

void writeConfiguration(const Options& options) {
    writeTitle("Configuration");
    writeRow("file", options.configFile.empty() ? "none" : printable(options.configFile));
    const std::vector<std::string> variables = environmentOfTool();
    writeRow("environment", variables.empty() ? "no ZOLSTAT_ variables" : variables.front());
    for (std::size_t index = 1; index < variables.size(); ++index) {
        writeRow("", variables[index]);
    }
}

std::string limitText(rlim_t limit) {
    return limit == RLIM_INFINITY ? "without limit" : std::to_string(limit);
}

void writeLimits(const Options& options) {
    rlimit descriptors{};
    getrlimit(RLIMIT_NOFILE, &descriptors);
    writeTitle("Limits");
    writeRow("time", options.timeout.count() == 0
                         ? "none"
                         : fmt::format("{} s for connecting, and for each query",
                                       static_cast<double>(options.timeout.count()) / 1000));
    writeRow("connections", fmt::format("{} in one process", ZOLSTATS_MAX_CONNECTIONS));
    writeRow("id list", fmt::format("{} bytes", ZOLSTATS_MAX_ID_LIST));
    writeRow("descriptors", fmt::format("{}, could be raised to {}", limitText(descriptors.rlim_cur),
                                        limitText(descriptors.rlim_max)));
}

// ---- One Gateway

std::vector<std::string> writeAddresses(const Endpoint& gateway) {
    const auto start = std::chrono::steady_clock::now();
    std::vector<std::string> addresses = resolve(gateway.host);
    const double takenMs = millisecondsSince(start);
    writeRow("resolve", addresses.empty()
                            ? "the host name could not be resolved"
                            : fmt::format("{} in {:.3f} ms", fmt::join(addresses, ", "), takenMs));
    return addresses;
}

void writeConnect(const Endpoint& address, const Options& options, Patience& patience) {
    const Patience::Waiting waiting = patience.waitFor(address);
    const auto start = std::chrono::steady_clock::now();
    const bool connected = connectBarely(address.host, address.port, options.timeout);
    const std::string outcome = connected ? "connected" : std::generic_category().message(errno);
    writeRow("connect",
             fmt::format("{}: {} after {:.3f} ms", nameOf(address), outcome, millisecondsSince(start)));
}

Session open(const Endpoint& gateway, const Options& options, Patience& patience) {
    const auto start = std::chrono::steady_clock::now();
    Session session = [&] {
        const Patience::Waiting waiting = patience.waitFor(gateway);
        return Session(gateway, options.timeout);
    }();
    const std::string version = printable(session.protocolVersion());
    writeRow("open", fmt::format("at {} in {:.3f} ms, protocol version {}", session.address(),
                                 millisecondsSince(start), version.empty() ? "not told" : version));
    return session;
}

// How much there is of an answer.
struct Extent {
    std::size_t items = 0;
    std::size_t bytes = 0;
    int code = 0;  // negative if something was rejected
};

std::size_t bytesOf(const zolstats::Identifier& item) {
    return item.id.size();
}

std::size_t bytesOf(const zolstats::Statistic& item) {
    return item.id.size() + item.value.size();
}

template <typename Query>
Extent writeExtent(const char* name, Query query) {
    const auto start = std::chrono::steady_clock::now();
    Extent extent;
    for (const auto& item : query()) {
        extent.items += item.rejected() ? 0 : 1;
        extent.bytes += bytesOf(item);
        extent.code = std::min(extent.code, item.code);
    }
    writeRow(name,
             fmt::format("{}, {} bytes in {:.3f} ms{}", extent.items, extent.bytes, millisecondsSince(start),
                         extent.code < 0 ? fmt::format(", rejected (Gateway code {})", extent.code) : ""));
    return extent;
}

ExitCode writeSample(zolstats::Connection& gateway, const OwnTrace& trace) {
    const Extent groups = writeExtent("groups", [&] { return gateway.groups(); });
    trace.setLevel(TraceLevel::exceptions);
    const Extent ids = writeExtent("ids", [&] { return gateway.statisticIds(); });
    trace.setLevel(ids.items <= MOST_TRACED_STATISTICS ? TraceLevel::data : TraceLevel::exceptions);
    const Extent statistics = writeExtent("statistics", [&] { return gateway.statistics(); });
    trace.setLevel(TraceLevel::data);
    return std::min({groups.code, ids.code, statistics.code}) < 0 ? ExitCode::Rejected : ExitCode::Fine;
}

ExitCode writeFailure(const Endpoint& gateway, const Failure& failure) {
    writeRow("failure", failure.text);
    complainOf(nameOf(gateway), failure.text);
    return failure.exitCode;
}

ExitCode writeSession(const Endpoint& gateway, const Options& options, Patience& patience,
                      const OwnTrace& trace) {
    try {
        trace.setLevel(TraceLevel::data);
        Session session = open(gateway, options, patience);
        return writeSample(session.connection(), trace);
    } catch (const SessionFailed& failed) {
        return writeFailure(gateway, failed.failure());
    } catch (const zolstats::Error& error) {
        return writeFailure(gateway, queryFailure(error));
    }
}

template <typename Lines>
void writeTraceLines(const std::string& title, const Lines& lines) {
    writeRow("trace", title);
    for (const std::string& line : lines) {
        writeOutput(fmt::format("    {}\n", line));
    }
}

void writeTrace(OwnTrace& trace) {
    if (!trace.problem().empty()) {
        writeRow("trace", "none: " + trace.problem());
        return;
    }
    const TraceExcerpt excerpt = trace.excerpt();
    if (!excerpt.failures.empty()) {
        writeTraceLines("its failures", excerpt.failures);
    }
    writeTraceLines(fmt::format("the last {} of {} lines", excerpt.tail.size(), excerpt.lines), excerpt.tail);
}

ExitCode writeGateway(const Endpoint& gateway, const Options& options, Patience& patience) {
    writeTitle("Gateway " + nameOf(gateway));
    for (const std::string& address : writeAddresses(gateway)) {
        writeConnect({address, gateway.port}, options, patience);
    }
    OwnTrace trace;
    const ExitCode code = writeSession(gateway, options, patience, trace);
    writeTrace(trace);
    return code;
}

// One Gateway after the other: the trace belongs to the whole process.
ExitCode report(const Options& options) {
    requireFormat(options.layout, {Format::Table}, "'doctor' has no format but that of its report");
    const auto now = std::chrono::time_point_cast<std::chrono::seconds>(std::chrono::system_clock::now());
    writeOutput(fmt::format("zolstat doctor, {:%Y-%m-%dT%H:%M:%S}Z\n", fmt::gmtime(now)));
    writeVersions();
    writeConfiguration(options);
    writeLimits(options);
    Patience patience;
    ExitCode heaviest = ExitCode::Fine;
    for (const Endpoint& gateway : options.gateways) {
        heaviest = std::max(heaviest, writeGateway(gateway, options, patience));
    }
    writeOutput(fmt::format("\nEnd of the report, exit code {}\n", static_cast<int>(heaviest)));
    return heaviest;
}

Run attachDoctor(CLI::App&) {
    return report;
}

}  // namespace

const Command doctorCommand{.name = "doctor",
                            .help = "Report on Gateway, network and settings, for a support case",
                            .example = "zolstat doctor --gateway gw.example.org:27400 > report.txt",
                            .attach = attachDoctor,
                            .tracesItself = true};

}  // namespace tools::zolstat
