// Where options come from besides the command line: the environment and the configuration file.
// Not the place where options are described (command_line.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_CONFIGURATION_H
#define ZOLSTAT_CONFIGURATION_H

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace tools::zolstat {

using Words = std::vector<std::string>;

// Parses the command line; what it leaves open is taken from the environment (ZOLSTAT_PORT for --port and so on), and
// what that leaves open from the file of --config, by default ~/.config/zolstat.toml. Throws CLI::ParseError.
void parse(CLI::App& app, const Words& commandLine);

// Whether the command line itself has the option.
bool isGiven(const Words& commandLine, const std::string& option);

// Where the value of an option comes from, if not from the command line: the name of a variable or of the file; empty
// otherwise.
std::string sourceOf(const CLI::App& app, const Words& commandLine, const std::string& option);

}  // namespace tools::zolstat

#endif
