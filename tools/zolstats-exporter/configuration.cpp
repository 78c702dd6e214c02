// What the owner of the exporter wants, put together from command line and file.
// Not the place where any of it is carried out.
// The file is described in docs/prometheus.md.
#include "configuration.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <utility>

#include "common/asking.h"
#include "common/text.h"
#include "fleet.h"
#include "yaml.h"

namespace tools::exporter {
namespace {

using std::chrono::milliseconds;

// ---- Values, which do not know whether they come from the command line or from the file

class BadValue : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

constexpr double LONGEST_S = 86400;

milliseconds durationOf(double seconds, double leastS) {
    if (!(seconds >= leastS && seconds <= LONGEST_S)) {
        throw BadValue(fmt::format("{} s: from {} s to {} s is possible", seconds, leastS, LONGEST_S));
    }
    return milliseconds(std::lround(seconds * 1000));
}
milliseconds timeoutOf(double seconds) {
    return durationOf(seconds, 0.001);
}
milliseconds offsetOf(double seconds) {
    return durationOf(seconds, 0);
}

std::size_t numberOfRequests(double number) {
    constexpr double most = 100000;
    if (!(number >= 1 && number <= most) || number != std::floor(number)) {
        throw BadValue(fmt::format("{}: from 1 to {} requests are possible", number, most));
    }
    return static_cast<std::size_t>(number);
}

OnFailure onFailureOf(const std::string& text) {
    if (text != "up0" && text != "503") {
        throw BadValue(fmt::format("'{}': up0 or 503 is expected", printable(text)));
    }
    return text == "503" ? OnFailure::Status503 : OnFailure::Up0;
}

// 0 lets the system choose a port.
Endpoint listenOf(const std::string& text) {
    const bool choosesPort = text.ends_with(":0");
    Endpoint listen =
        parseEndpoint(choosesPort ? text.substr(0, text.size() - 1) + "1" : text, DEFAULT_LISTEN_PORT);
    listen.port = choosesPort ? 0 : listen.port;
    return listen;
}

TargetPattern targetPatternOf(const std::string& text) {
    return TargetPattern(text);
}
Pattern patternOf(const std::string& text) {
    return Pattern(text);
}

// The same group twice would be the same series twice.
std::string groupOf(const std::string& text, const Selection& others) {
    if (!canBeAskedFor(text)) {
        throw BadValue(fmt::format("'{}': no query can carry this name", printable(text)));
    }
    if (std::find(others.begin(), others.end(), text) != others.end()) {
        throw BadValue(fmt::format("'{}' is configured twice", printable(text)));
    }
    return text;
}

// ---- The two places that values come from

// Tells who said something that is wrong.
template <typename Read>
auto fromOption(const char* option, Read read) {
    try {
        return read();
    } catch (const std::runtime_error& problem) {
        throw BadConfiguration(fmt::format("{}: {}", option, problem.what()));
    }
}

template <typename Read>
auto fromFile(const Yaml& node, Read read) {
    try {
        return read();
    } catch (const BadYaml&) {
        throw;
    } catch (const std::runtime_error& problem) {
        throw node.error(problem.what());
    }
}

// Where a single value stands: the command line holds, then the file, then what was there before.
class Sources {
  public:
    explicit Sources(const Yaml* file) : file_(file) {}

    template <typename Value, typename Raw, typename Convert>
    void take(Value& value, const char* option, const std::optional<Raw>& given, const char* key,
              Convert convert) const {
        if (given) {
            value = fromOption(option, [&] { return convert(*given); });
        } else if (const Yaml* node = find(key)) {
            value = fromFile(*node, [&] { return convert(raw<Raw>(*node)); });
        }
    }

    // Those of the command line come first.
    template <typename Value, typename Convert>
    void takeAll(std::vector<Value>& values, const char* option, const std::vector<std::string>& given,
                 const char* key, Convert convert) const {
        for (const std::string& text : given) {
            values.push_back(fromOption(option, [&] { return convert(text); }));
        }
        if (const Yaml* list = find(key)) {
            for (const Yaml& item : list->list()) {
                values.push_back(fromFile(item, [&] { return convert(item.text()); }));
            }
        }
    }

  private:
    const Yaml* find(const char* key) const { return file_ == nullptr ? nullptr : file_->find(key); }

    template <typename Raw>
    static Raw raw(const Yaml& node) {
        if constexpr (std::is_same_v<Raw, std::string>) {
            return node.text();
        } else {
            return node.number();
        }
    }

    const Yaml* file_;
};

// Paths in a file are meant from where the file lies.
std::string pathFrom(const std::string& configurationFile, const std::string& path) {
    return (std::filesystem::path(configurationFile).parent_path() / path).string();
}

std::optional<std::string> pathOf(const std::optional<std::string>& given, const Yaml* file, const char* key,
                                  const std::string& configurationFile) {
    const Yaml* node = file == nullptr ? nullptr : file->find(key);
    if (given || node == nullptr) {
        return given;
    }
    return pathFrom(configurationFile, node->text());
}

// ---- Everything together

void allowKnownKeys(const Yaml& file) {
    file.allowKeys({"listen", "gateways", "groups", "allow_targets", "info", "mapping", "on_failure",
                    "timeout", "timeout_offset", "idle", "max_requests", "web_config"});
}

void takeWhatToAsk(Configuration& configuration, const CommandLine& line, const Sources& sources) {
    sources.takeAll(configuration.gateways, "--gateway", line.gateways, "gateways", gatewayOf);
    sources.takeAll(configuration.groups, "", {}, "groups",
                    [&](const std::string& text) { return groupOf(text, configuration.groups); });
    sources.takeAll(configuration.allowedTargets, "--allow-target", line.allowedTargets, "allow_targets",
                    targetPatternOf);
    sources.takeAll(configuration.info, "--info", line.info, "info", patternOf);
}

void takeHowToAsk(Configuration& configuration, const CommandLine& line, const Sources& sources) {
    sources.take(configuration.onFailure, "--on-failure", line.onFailure, "on_failure", onFailureOf);
    sources.take(configuration.timeout, "--timeout", line.timeoutS, "timeout", timeoutOf);
    sources.take(configuration.timeoutOffset, "--timeout-offset", line.timeoutOffsetS, "timeout_offset",
                 offsetOf);
    configuration.habits.longestCall = configuration.timeout;
    sources.take(configuration.habits.idle, "--idle", line.idleS, "idle", timeoutOf);
    sources.take(configuration.listen, "--listen", line.listen, "listen", listenOf);
    sources.take(configuration.mostRequests, "--max-requests", line.mostRequests, "max_requests",
                 numberOfRequests);
}

void takeOtherFiles(Configuration& configuration, const CommandLine& line, const Yaml* file) {
    if (const auto mapping = pathOf(line.mappingFile, file, "mapping", line.configurationFile)) {
        configuration.mapping = Mapping::read(*mapping);
    }
    if (const auto web = pathOf(line.webConfigurationFile, file, "web_config", line.configurationFile)) {
        configuration.web = http::WebConfiguration::read(*web);
    }
}

// The same Gateway twice would be the same series twice.
void checkGateways(const std::vector<Endpoint>& gateways) {
    if (gateways.size() > MOST_GATEWAYS) {
        throw BadConfiguration(fmt::format("{} Gateways are configured: one process serves {} at most",
                                           gateways.size(), MOST_GATEWAYS));
    }
    for (auto gateway = gateways.begin(); gateway != gateways.end(); ++gateway) {
        if (std::find(gateways.begin(), gateway, *gateway) != gateway) {
            throw BadConfiguration(fmt::format("{} is configured twice", nameOf(*gateway)));
        }
    }
}

Configuration put(const CommandLine& line, const Yaml* file) {
    Configuration configuration;
    const Sources sources(file);
    if (file != nullptr) {
        allowKnownKeys(*file);
    }
    takeWhatToAsk(configuration, line, sources);
    takeHowToAsk(configuration, line, sources);
    takeOtherFiles(configuration, line, file);
    checkGateways(configuration.gateways);
    return configuration;
}

}  // namespace

bool Configuration::allows(const Endpoint& target) const {
    return std::find(gateways.begin(), gateways.end(), target) != gateways.end() ||
           std::any_of(allowedTargets.begin(), allowedTargets.end(),
                       [&](const TargetPattern& pattern) { return pattern.fits(target); });
}

Configuration readConfiguration(const CommandLine& commandLine) {
    try {
        if (commandLine.configurationFile.empty()) {
            return put(commandLine, nullptr);
        }
        const Yaml file = Yaml::read(commandLine.configurationFile);
        return put(commandLine, &file);
    } catch (const BadYaml& problem) {
        throw BadConfiguration(problem.what());
    } catch (const BadMapping& problem) {
        throw BadConfiguration(problem.what());
    }
}

std::vector<std::string> keepWhatHoldsFromTheStart(Configuration& fresh, const Configuration& inForce) {
    std::vector<std::string> ignored;
    const auto keep = [&ignored](const char* key, auto& value, const auto& old) {
        if (value != old) {
            ignored.emplace_back(key);
            value = old;
        }
    };
    keep("listen", fresh.listen, inForce.listen);
    keep("idle", fresh.habits.idle, inForce.habits.idle);
    keep("max_requests", fresh.mostRequests, inForce.mostRequests);
    return ignored;
}

}  // namespace tools::exporter
