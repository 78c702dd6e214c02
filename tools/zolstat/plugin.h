// How a monitoring plugin ends: its states, its exit codes, its one line of output.
// Not the place where the state is found (command_check.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_PLUGIN_H
#define ZOLSTAT_PLUGIN_H

#include <string>
#include <string_view>
#include <vector>

#include "exit_code.h"

namespace tools::zolstat {

enum class PluginState { Ok = 0, Warning = 1, Critical = 2, Unknown = 3 };

// What is certain to be bad outweighs what is not known, and that what is nearly bad.
PluginState worse(PluginState one, PluginState other);

constexpr ExitCode exitCodeOf(PluginState state) {
    return static_cast<ExitCode>(state);
}

// "ZOLSTAT OK - text | data data" with its line end; fit for a terminal, and with no '|' but the one.
std::string pluginLine(PluginState state, std::string_view text,
                       const std::vector<std::string>& performanceData = {});

// 'label'=value;warning;critical
std::string performanceDatum(const std::string& label, const std::string& value, const std::string& warning,
                             const std::string& critical);

}  // namespace tools::zolstat

#endif
