// What a client asks for by its headers: which format, and until when.
// Not the place where it is given that.
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_NEGOTIATION_H
#define EXPORTER_NEGOTIATION_H

#include <chrono>
#include <optional>
#include <string>
#include <string_view>

#include "common/exposition.h"

namespace tools::exporter {

// By the header Accept: OpenMetrics 1.0 for those who rather take that, the text format for all others.
ExpositionFormat formatFor(std::string_view accept);

// The time that Prometheus leaves a scrape, by its header X-Prometheus-Scrape-Timeout-Seconds, less what the answer needs
// on its way: `offset`, but no more than half of it. `otherwise` where there is no such header, or no sense in it.
std::chrono::milliseconds timeoutFor(const std::optional<std::string>& header,
                                     std::chrono::milliseconds offset, std::chrono::milliseconds otherwise);

}  // namespace tools::exporter

#endif
