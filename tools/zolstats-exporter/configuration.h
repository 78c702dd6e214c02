// What the owner of the exporter wants: command line and configuration file, read, checked and put together.
// Not the place where any of it is carried out.
// The file is described in docs/prometheus.md.
#ifndef EXPORTER_CONFIGURATION_H
#define EXPORTER_CONFIGURATION_H

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "http/web_configuration.h"
#include "mapping.h"
#include "pattern.h"
#include "worker.h"

namespace tools::exporter {

constexpr int DEFAULT_LISTEN_PORT = 9740;

enum class OnFailure { Up0, Status503 };

// One state of affairs. A reload makes another one; requests under way finish with theirs.
struct Configuration {
    std::vector<Endpoint> gateways{};
    Selection groups{};  // to ask them for; empty: all
    std::vector<TargetPattern> allowedTargets{};
    std::vector<Pattern> info{};
    Mapping mapping{};
    OnFailure onFailure = OnFailure::Up0;
    std::chrono::milliseconds timeout{9000};
    std::chrono::milliseconds timeoutOffset{500};
    std::shared_ptr<const http::WebConfiguration> web{};  // null: without TLS, for everybody
    // What a reload does not change: these hold from the start.
    Endpoint listen{"127.0.0.1", DEFAULT_LISTEN_PORT};
    std::size_t mostRequests = 512;  // in flight
    Habits habits{};

    // The owner has named it: a Gateway of the above, or a target that is allowed.
    bool allows(const Endpoint& target) const;
};

// Is not understood, or cannot be; what() tells why, with file and line where there are any.
class BadConfiguration : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// As given on the command line, a member for each option: not checked yet.
struct CommandLine {
    std::string configurationFile{};
    bool onlyCheck = false;
    std::vector<std::string> gateways{};
    std::vector<std::string> allowedTargets{};
    std::vector<std::string> info{};
    std::optional<std::string> listen{};
    std::optional<std::string> mappingFile{};
    std::optional<std::string> onFailure{};
    std::optional<std::string> webConfigurationFile{};
    std::optional<double> timeoutS{};
    std::optional<double> timeoutOffsetS{};
    std::optional<double> idleS{};
    std::optional<double> mostRequests{};
};

// Reads the file, if one is named; lists of command line and file are put together, of single values that of the
// command line holds. Throws BadConfiguration.
Configuration readConfiguration(const CommandLine& commandLine);

// Takes over what a reload does not change. Gives the keys of that of it which the owner wants otherwise now.
std::vector<std::string> keepWhatHoldsFromTheStart(Configuration& fresh, const Configuration& inForce);

}  // namespace tools::exporter

#endif
