// How a monitoring plugin ends: its states, and its one line of output.
// Not the place where the state is found (command_check.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "plugin.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "common/text.h"

namespace tools::zolstat {
namespace {

struct StateTraits {
    const char* name;
    int weight;
};
constexpr std::array<StateTraits, 4> STATES{{{"OK", 0}, {"WARNING", 1}, {"CRITICAL", 3}, {"UNKNOWN", 2}}};

const StateTraits& traitsOf(PluginState state) {
    return STATES.at(static_cast<std::size_t>(state));
}

// '|' begins the performance data, wherever it stands.
std::string withoutBar(std::string_view bytes) {
    std::string text = printable(bytes);
    std::replace(text.begin(), text.end(), '|', '/');
    return text;
}

// A quote is written twice; a '=' would end the label, however it is quoted.
std::string quoted(const std::string& label) {
    std::string text = "'";
    for (const char character : withoutBar(label)) {
        text += character == '=' ? '_' : character;
        text += character == '\'' ? "'" : "";
    }
    return text + '\'';
}

}  // namespace

PluginState worse(PluginState one, PluginState other) {
    return traitsOf(one).weight < traitsOf(other).weight ? other : one;
}

std::string pluginLine(PluginState state, std::string_view text, const std::vector<std::string>& data) {
    return fmt::format("ZOLSTAT {} - {}{}{}\n", traitsOf(state).name, withoutBar(text),
                       data.empty() ? "" : " | ", fmt::join(data, " "));
}

std::string performanceDatum(const std::string& label, const std::string& value, const std::string& warning,
                             const std::string& critical) {
    return fmt::format("{}={};{};{}", quoted(label), value, warning, critical);
}

}  // namespace tools::zolstat
