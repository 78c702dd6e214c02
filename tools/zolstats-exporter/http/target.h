// The target of a request, "/path?name=value", taken apart and decoded.
// Not the place where a Gateway is named ("common/endpoint.h").
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_HTTP_TARGET_H
#define EXPORTER_HTTP_TARGET_H

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tools::exporter::http {

struct Target {
    std::string path;
    std::vector<std::pair<std::string, std::string>> arguments{};
};

// Nothing where an escape is not one of two hexadecimal digits, where anything stands for a control character, where there
// is a space, and where there is no path.
std::optional<Target> parseTarget(std::string_view text);

}  // namespace tools::exporter::http

#endif
