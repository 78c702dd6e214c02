// What a browser gets: the page of all Gateways, the live view of one, and the files that both need.
// Not the place where it is decided which path is answered by what, or which Gateway may be asked.
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_PAGES_H
#define EXPORTER_PAGES_H

#include <chrono>
#include <optional>
#include <string_view>
#include <vector>

#include "fleet.h"
#include "http/server.h"

namespace tools::exporter {

// For "/". Complete without JavaScript; with it the page keeps itself up to date from api/gateways.
http::Response landingPage(const std::vector<Fleet::Member>& members,
                           std::chrono::system_clock::time_point now);

// For "/live". Gets its figures from api/statistics?target=.
http::Response livePage(const Endpoint& target);

// A file below "/pages/"; nothing if there is none for this path.
std::optional<http::Response> pageFile(std::string_view path);

}  // namespace tools::exporter

#endif
