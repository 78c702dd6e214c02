// The command line of zolstat: its grammar, limits and help.
// Not the place where commands are listed (commands.cpp) or carried out.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "options.h"

#include <fmt/format.h>
#include <zolstats/zolstats.h>

#include <CLI/CLI.hpp>
#include <sstream>

namespace zolstat {
namespace {

constexpr const char* DESCRIPTION =
    "Show the statistics of a running Gateway. Without a command it does what 'stats' does.";
constexpr const char* FOOTER =
    "Exit codes: 0 fine; 1 the Gateway rejected something, the rest is shown; 2 wrong usage;\n"
    "3 no connection; 4 the connection was lost, or a query failed; 5 the output could not be written.";

// The Gateway takes ids as a list with ':' between them, and so do we.
Arguments splitIds(const Arguments& lists) {
    Arguments ids;
    for (const std::string& list : lists) {
        std::istringstream parts(list);
        for (std::string id; std::getline(parts, id, ':');) {
            ids.push_back(id);
        }
    }
    return ids;
}

std::string checkIds(const std::string& list) {
    if (list.size() > ZOLSTATS_MAX_ID_LIST) {
        return fmt::format("an id is too long (at most {} bytes)", ZOLSTATS_MAX_ID_LIST);
    }
    // An empty id would ask the Gateway for everything. The closing ':' makes an empty last part show up too.
    const bool hasEmptyId = (':' + list + ':').find("::") != std::string::npos;
    return hasEmptyId ? "an id is empty" : "";
}

void addSharedOptions(CLI::App& app, Options& options) {
    app.add_option("--host", options.host, "Host the Gateway runs on")
        ->capture_default_str()
        ->type_name("HOST");
    app.add_option("--port", options.port, "The Gateway's statistics port, 1 to 65535")
        ->capture_default_str()
        ->type_name("PORT")
        ->check(CLI::Range(1, 65535).description(""));
    app.add_option("--trace-level", options.traceLevel, "How much the library traces, 0 (nothing) to 5")
        ->capture_default_str()
        ->type_name("LEVEL")
        ->check(CLI::Range(ZOLSTATS_TRACE_OFF, ZOLSTATS_TRACE_ALL).description(""));
    app.add_option("--trace-file", options.traceFile,
                   "File to append the trace to instead of standard error; without\n"
                   "--trace-level everything is traced")
        ->type_name("FILE");
}

void addCommand(CLI::App& app, const Command& command, Options& options) {
    CLI::App* line = app.add_subcommand(command.name, command.help);
    line->callback([&] { options.command = &command; });
    if (command.argument != nullptr) {
        line->add_option("ids", options.arguments, command.argumentHelp)
            ->option_text(fmt::format("[{}...]", command.argument))
            ->check(checkIds);
    }
}

void finish(const CLI::App& app, Options& options) {
    options.arguments = splitIds(options.arguments);
    if (!options.traceFile.empty() && app.count("--trace-level") == 0) {
        options.traceLevel = ZOLSTATS_TRACE_ALL;
    }
}

std::string describeFailure(const CLI::App*, const CLI::Error& error) {
    return fmt::format("zolstat: {}\nRun 'zolstat --help' for help.\n", error.what());
}

Ending endingOf(const CLI::App& app, const CLI::ParseError& error) {
    std::ostringstream output;
    std::ostringstream errors;
    const int code = app.exit(error, output, errors);
    return {code == 0 ? ExitCode::Fine : ExitCode::Usage, output.str(), errors.str()};
}

}  // namespace

std::variant<Options, Ending> readCommandLine(int argc, const char* const* argv) {
    Options options;
    CLI::App app(DESCRIPTION, "zolstat");
    app.footer(FOOTER);
    app.require_subcommand(0, 1);
    app.fallthrough();  // options may stand behind the command too
    app.failure_message(describeFailure);
    addSharedOptions(app, options);
    for (const Command* command : allCommands()) {
        addCommand(app, *command, options);
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return endingOf(app, error);
    }
    finish(app, options);
    return options;
}

}  // namespace zolstat
