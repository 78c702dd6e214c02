// The command line of zolstat: its grammar, limits and help.
// Not the place where commands are listed (command.cpp) or carried out.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "command_line.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>
#include <memory>
#include <sstream>
#include <zolstats/zolstats.hpp>

#include "common/text.h"
#include "configuration.h"
#include "console.h"
#include "plugin.h"

namespace tools::zolstat {
namespace {

constexpr const char* DESCRIPTION =
    "Show the statistics of a running Gateway. Without a command it does what 'stats' does.";
constexpr const char* FOOTER =
    "Every option may also stand in the configuration file or in the environment, as ZOLSTAT_PORT\n"
    "for --port.\n\n"
    "Exit codes: 0 fine; 1 the Gateway rejected something, the rest is shown; 2 wrong usage;\n"
    "3 no connection; 4 the connection was lost, or a query failed; 5 the output could not be\n"
    "written; 6 what listens there is no Gateway. 'check' ends as monitoring plugins do.\n\n"
    "Example: zolstat stats CPU --format json";

const std::map<std::string, Format> FORMATS{
    {"table", Format::Table},           {"json", Format::Json},
    {"ndjson", Format::Ndjson},         {"csv", Format::Csv},
    {"prometheus", Format::Prometheus}, {"raw", Format::Raw},
};
const std::map<std::string, Column> COLUMNS{
    {"time", Column::Time}, {"host", Column::Host},   {"port", Column::Port},     {"group", Column::Group},
    {"id", Column::Id},     {"value", Column::Value}, {"change", Column::Change}, {"code", Column::Code},
};
const std::map<std::string, Order> ORDERS{
    {"id", Order::Id}, {"value", Order::Value}, {"change", Order::Change}};

// Each takes a connection, and the library finds only so many of them again.
constexpr std::size_t MAX_GATEWAYS = ZOLSTATS_MAX_CONNECTIONS - 1;

enum class Colour { Auto, Always, Never };
const std::map<std::string, Colour> COLOURS{
    {"auto", Colour::Auto}, {"always", Colour::Always}, {"never", Colour::Never}};

// What becomes options only when all of it is known.
struct Choices {
    std::string host = Endpoint{}.host;
    int port = DEFAULT_PORT;
    std::vector<Endpoint> gateways;
    double timeoutSeconds = 10;
    bool noHeader = false;
    Colour colour = Colour::Auto;
};

// Takes one of the names, and no number in its place.
template <typename Choice>
CLI::Validator choiceOf(const std::map<std::string, Choice>& choices) {
    const auto take = [&choices](std::string& text) -> std::string {
        const auto found = choices.find(text);
        if (found != choices.end()) {
            text = std::to_string(static_cast<int>(found->second));
            return "";
        }
        std::vector<std::string> names;
        for (const auto& [name, choice] : choices) {
            names.push_back(name);
        }
        return fmt::format("'{}' is none of {}", text, fmt::join(names, ", "));
    };
    return {take, ""};
}

// Takes an IPv6 address in brackets as well as without.
std::string takeHost(std::string& text) {
    if (text.size() > 2 && text.starts_with('[') && text.ends_with(']')) {
        text = text.substr(1, text.size() - 2);
    }
    if (text.find(':') != std::string::npos && text.find(':') == text.rfind(':')) {
        return fmt::format("'{}': a port is for --port, or for --gateway", text);
    }
    return text.empty() ? "the host is missing" : "";
}

std::string checkPort(const std::string& text) {
    int port = 0;
    const bool fits = CLI::detail::lexical_cast(text, port) && port >= 1 && port <= 65535;
    return fits ? "" : fmt::format("'{}' is not a number from 1 to 65535", text);
}

// Asked the other way round, a text such as "nan" would do.
std::string checkSeconds(const std::string& text) {
    constexpr int longest = ZOLSTATS_MAX_TIMEOUT / 1000;
    double seconds = -1;
    const bool fits = CLI::detail::lexical_cast(text, seconds) && seconds >= 0 && seconds <= longest;
    return fits ? "" : fmt::format("'{}' is not a number of seconds from 0 to {}", text, longest);
}

std::vector<Endpoint> parseGateways(const std::vector<std::string>& texts) {
    std::vector<Endpoint> gateways;
    try {
        for (const std::string& text : texts) {
            const std::vector<Endpoint> parsed = parseEndpoints(text);
            gateways.insert(gateways.end(), parsed.begin(), parsed.end());
        }
    } catch (const BadEndpoint& problem) {
        throw CLI::ValidationError("--gateway", problem.what());
    }
    return gateways;
}

void addGatewayOptions(CLI::App& app, Choices& choices) {
    app.add_option("--host", choices.host, "Host the Gateway runs on")
        ->capture_default_str()
        ->type_name("HOST")
        ->transform(CLI::Validator(takeHost, ""));
    app.add_option("--port", choices.port, "The Gateway's statistics port, 1 to 65535")
        ->capture_default_str()
        ->type_name("PORT")
        ->check(checkPort);
    app.add_option_function<std::vector<std::string>>(
           "--gateway",
           [&choices](const std::vector<std::string>& texts) { choices.gateways = parseGateways(texts); },
           "Instead of --host and --port, and as often as there are Gateways to ask:\n"
           "HOST:PORT, [IPV6]:PORT, or @FILE with one of these a line")
        ->type_name("HOST:PORT")
        ->allow_extra_args(false)  // what follows is a name
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--timeout", choices.timeoutSeconds,
                   "Seconds that connecting, and each query, may take; 0 is without limit")
        ->capture_default_str()
        ->type_name("SECONDS")
        ->check(checkSeconds);
}

void addLayoutOptions(CLI::App& app, Layout& layout, Choices& choices) {
    app.add_option("--format", layout.format,
                   "How to show the results: table, json, ndjson, csv, prometheus or raw")
        ->type_name("FORMAT")
        ->transform(choiceOf(FORMATS));
    app.add_option(
           "--columns", layout.columns,
           "Which columns to show, separated by ',': time, host, port, group, id,\nvalue, change, code")
        ->type_name("COLUMN,...")
        ->delimiter(',')
        ->allow_extra_args(false)  // what follows is a name
        ->transform(choiceOf(COLUMNS));
    app.add_option("--sort", layout.order, "Sort by id, value or change (default: the Gateway's order)")
        ->type_name("COLUMN")
        ->transform(choiceOf(ORDERS));
    app.add_flag("--no-header", choices.noHeader, "Leave out the line that names the columns");
    app.add_option("--color", choices.colour,
                   "Colours: auto (on a terminal, and without NO_COLOR), always or never")
        ->type_name("WHEN")
        ->transform(choiceOf(COLOURS));
}

void addTraceOptions(CLI::App& app, Options& options) {
    app.add_option("--trace-level", options.traceLevel, "How much the library traces, 0 (nothing) to 5")
        ->capture_default_str()
        ->type_name("LEVEL")
        ->check(CLI::Range(ZOLSTATS_TRACE_OFF, ZOLSTATS_TRACE_ALL).description(""));
    app.add_option("--trace-file", options.traceFile,
                   "File to append the trace to instead of standard error; without\n"
                   "--trace-level everything is traced")
        ->type_name("FILE");
}

void addCommand(CLI::App& app, const Command& command, Request& request) {
    CLI::App* line = app.add_subcommand(command.name, command.help);
    line->footer(
        fmt::format("Example: {}\n\n'zolstat --help' tells the options of all commands.", command.example));
    const Run own = command.attach(*line);
    line->callback([&request, &command, own] {
        request.command = &command;
        request.run = own;
    });
    if (&command == request.command) {
        request.run = own;  // unless another is chosen
    }
}

bool wantsColours(Colour colour) {
    const char* noColour = std::getenv("NO_COLOR");
    const bool allowed = noColour == nullptr || *noColour == '\0';
    return colour == Colour::Always || (colour == Colour::Auto && allowed && outputIsTerminal());
}

void finishLayout(const Choices& choices, const Words& commandLine, Layout& layout) {
    layout.header = !choices.noHeader;
    layout.formatIsExplicit = isGiven(commandLine, "format");
    layout.columnsAreExplicit = isGiven(commandLine, "columns");
    layout.orderIsExplicit = isGiven(commandLine, "sort");
    layout.colours = wantsColours(choices.colour);
    layout.terminal = outputIsTerminal();
}

void finish(const CLI::App& app, const Choices& choices, Options& options) {
    if (choices.gateways.size() > MAX_GATEWAYS) {
        throw CLI::ValidationError("--gateway", fmt::format("more than {} Gateways", MAX_GATEWAYS));
    }
    options.gateways =
        choices.gateways.empty() ? std::vector{Endpoint{choices.host, choices.port}} : choices.gateways;
    options.configFile = app["--config"]->as<std::string>();
    // Rounded up, since a limit of 0 is none.
    options.timeout = std::chrono::milliseconds(std::llround(std::ceil(choices.timeoutSeconds * 1000)));
    if (!options.traceFile.empty() && app.count("--trace-level") == 0) {
        options.traceLevel = ZOLSTATS_TRACE_ALL;
    }
}

// Of an option whose value is wrong, the message names the option only.
std::string withSource(const CLI::App& app, const Words& commandLine, const std::string& message) {
    if (!message.starts_with("--")) {
        return message;
    }
    const std::string source = sourceOf(app, commandLine, message.substr(2, message.find_first_of(": ") - 2));
    return source.empty() ? message : source + ": " + message;
}

std::string explain(const CLI::App& app, const Words& commandLine, const CLI::ParseError& error) {
    const bool isUnexpected = error.get_exit_code() == static_cast<int>(CLI::ExitCodes::ExtrasError);
    const std::vector<std::string> unknown = app.remaining();
    if (isUnexpected && app.get_subcommands().empty() && !unknown.empty() &&
        !unknown.front().starts_with('-')) {
        return fmt::format("there is no command '{0}'; 'zolstat stats {0}' shows a group or a statistic",
                           unknown.front());
    }
    return withSource(app, commandLine, error.what());
}

bool isForMonitoring(const CLI::App& app) {
    return std::any_of(allCommands().begin(), allCommands().end(), [&](const Command* command) {
        return command->isMonitoringPlugin && app.got_subcommand(command->name);
    });
}

Ending endingOf(const CLI::App& app, const Words& commandLine, const CLI::ParseError& error) {
    if (error.get_exit_code() == 0) {
        std::ostringstream help;
        app.exit(error, help, help);
        return {ExitCode::Fine, help.str(), ""};
    }
    const std::string text = explain(app, commandLine, error);
    if (isForMonitoring(app)) {
        return {exitCodeOf(PluginState::Unknown), pluginLine(PluginState::Unknown, text), ""};
    }
    return {ExitCode::Usage, "",
            fmt::format("zolstat: {}\nRun 'zolstat --help' for help.\n", printable(text))};
}

}  // namespace

std::variant<Request, Ending> readCommandLine(int argc, const char* const* argv) {
    const Words commandLine(argv + 1, argv + argc);
    Request request;
    Choices choices;
    CLI::App app(DESCRIPTION, "zolstat");
    app.footer(FOOTER);
    app.set_version_flag("--version",
                         fmt::format("zolstat {} (API {})", ZOLSTAT_VERSION, zolstats::apiVersion()),
                         "Print the version of this program and of the library, and exit");
    app.require_subcommand(0, 1);
    app.fallthrough();  // options may stand behind the command too
    app.option_defaults()->multi_option_policy(CLI::MultiOptionPolicy::TakeLast);
    addGatewayOptions(app, choices);
    addLayoutOptions(app, request.options.layout, choices);
    addTraceOptions(app, request.options);
    for (const Command* command : allCommands()) {
        addCommand(app, *command, request);
    }
    try {
        parse(app, commandLine);
        finish(app, choices, request.options);
        finishLayout(choices, commandLine, request.options.layout);
        return request;
    } catch (const CLI::ParseError& error) {
        return endingOf(app, commandLine, error);
    }
}

}  // namespace tools::zolstat
