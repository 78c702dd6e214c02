// The command line of zolstats-exporter.
// Not the place where its values are checked and put together with the configuration file (configuration.cpp).
// Nothing here comes from the protocol of the Gateways.
#include "command_line.h"

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace tools::exporter {
namespace {

constexpr const char* DESCRIPTION = "Make every Gateway a target of Prometheus.";
constexpr const char* FOOTER =
    "A scrape of /metrics tells of all Gateways named here, one of /probe?target=HOST:PORT of that\n"
    "one, if it is allowed. SIGHUP, or POST to /-/reload, reads the files anew.\n\n"
    "Exit codes: 0 fine; 1 it could not start or go on; 2 wrong usage or configuration.\n\n"
    "Example: zolstats-exporter --gateway gw1.example.org:27400 --allow-target '*.example.org:27400'";

// One value an option; it may be repeated.
void addList(CLI::App& app, const std::string& name, std::vector<std::string>& values,
             const std::string& help, const std::string& kind) {
    app.add_option(name, values, help)->type_name(kind)->allow_extra_args(false);
}

void addGatewayOptions(CLI::App& app, CommandLine& line) {
    addList(app, "--gateway", line.gateways, "A Gateway to tell of on /metrics; may be repeated",
            "HOST:PORT");
    addList(app, "--allow-target", line.allowedTargets,
            "Targets that /probe may ask: '*' is a part of a name, '**' anything; may be repeated",
            "PATTERN");
    addList(app, "--info", line.info, "Ids whose texts are told, by zol_stat_info; may be repeated",
            "PATTERN");
    app.add_option("--mapping", line.mappingFile, "Rules that give ids metric names of their own")
        ->type_name("FILE");
    app.add_option("--on-failure", line.onFailure, "What a probe of a Gateway that fails gives: up0 or 503")
        ->type_name("KIND");
}

void addTimeOptions(CLI::App& app, CommandLine& line) {
    app.add_option("--timeout", line.timeoutS, "For a scrape, where Prometheus does not tell its own (9)")
        ->type_name("SECONDS");
    app.add_option("--timeout-offset", line.timeoutOffsetS,
                   "How much sooner than Prometheus allows a scrape ends (0.5)")
        ->type_name("SECONDS");
    app.add_option("--idle", line.idleS, "How long a connection is kept without a scrape (300)")
        ->type_name("SECONDS");
}

void addServerOptions(CLI::App& app, CommandLine& line) {
    app.add_option("--listen", line.listen, "Where to serve (127.0.0.1:9740)")->type_name("HOST:PORT");
    app.add_option("--web-config", line.webConfigurationFile, "TLS, users and headers")->type_name("FILE");
    app.add_option("--max-requests", line.mostRequests, "How many are worked on at a time (512)")
        ->type_name("NUMBER");
    app.add_option("--config", line.configurationFile, "What this command line does not say")
        ->type_name("FILE");
    app.add_flag("--check-config", line.onlyCheck, "Only check command line and files");
}

// Mostly a variable of a script is not set then. After "--config=" the parser takes the next option for the value.
const char* problemOf(const std::string& value) {
    return value.empty() || value.starts_with("--") ? "the value is missing" : "";
}

void requireValues(CLI::App& app) {
    const CLI::Validator isThere(problemOf, "");
    for (CLI::Option* option :
         app.get_options([](const CLI::Option* one) { return one->get_items_expected_max() > 0; })) {
        option->check(isThere);
    }
}

}  // namespace

Parsed parseCommandLine(int argumentCount, const char* const* arguments) {
    constexpr int wrongUsage = 2;
    Parsed parsed;
    CLI::App app(DESCRIPTION, "zolstats-exporter");
    app.footer(FOOTER);
    app.set_version_flag("--version", EXPORTER_VERSION);
    addGatewayOptions(app, parsed.commandLine);
    addTimeOptions(app, parsed.commandLine);
    addServerOptions(app, parsed.commandLine);
    requireValues(app);
    try {
        app.parse(argumentCount, arguments);
    } catch (const CLI::ParseError& error) {
        parsed.exitCode = app.exit(error) == 0 ? 0 : wrongUsage;
    }
    return parsed;
}

}  // namespace tools::exporter
