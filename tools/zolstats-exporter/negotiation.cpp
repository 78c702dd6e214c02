// What a client asks for by its headers: Accept and the scrape's time-out taken apart.
// Not the place where it is given that.
// Nothing here comes from the protocol of the Gateways.
#include "negotiation.h"

#include <algorithm>
#include <cstdlib>

#include "common/number.h"
#include "http/caseless.h"

namespace tools::exporter {
namespace {

using http::isSameName;
using std::chrono::milliseconds;

// No Prometheus waits longer than the shortest interval that makes sense; a stranger is not to hold a thread for days.
constexpr double LONGEST_TIMEOUT_S = 120;

// What stands before the next separator, which goes with it; without blanks around it.
std::string_view nextPart(std::string_view& text, char separator) {
    const std::size_t end = std::min(text.find(separator), text.size());
    std::string_view part = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const std::size_t first = part.find_first_not_of(" \t");
    return first == std::string_view::npos ? ""
                                           : part.substr(first, part.find_last_not_of(" \t") + 1 - first);
}

std::string_view withoutQuotes(std::string_view text) {
    const bool isQuoted = text.size() >= 2 && text.starts_with('"') && text.ends_with('"');
    return isQuoted ? text.substr(1, text.size() - 2) : text;
}

struct MediaRange {
    std::string_view type;
    std::string_view version;
    double quality = 1;
};

MediaRange mediaRange(std::string_view text) {
    MediaRange range{nextPart(text, ';'), {}};
    while (!text.empty()) {
        std::string_view parameter = nextPart(text, ';');
        const std::string_view name = nextPart(parameter, '=');
        if (isSameName(name, "q")) {
            range.quality = static_cast<double>(numberOf(parameter).value_or(0));
        } else if (isSameName(name, "version")) {
            range.version = withoutQuotes(parameter);
        }
    }
    return range;
}

bool isOpenMetrics(const MediaRange& range) {
    return isSameName(range.type, "application/openmetrics-text") &&
           (range.version.empty() || range.version == "1.0.0");
}

bool isText(const MediaRange& range) {
    return isSameName(range.type, "text/plain") || isSameName(range.type, "text/*") || range.type == "*/*";
}

}  // namespace

ExpositionFormat formatFor(std::string_view accept) {
    double openMetrics = 0;
    double text = 0;
    while (!accept.empty()) {
        const MediaRange range = mediaRange(nextPart(accept, ','));
        if (isOpenMetrics(range)) {
            openMetrics = std::max(openMetrics, range.quality);
        } else if (isText(range)) {
            text = std::max(text, range.quality);
        }
    }
    return openMetrics > 0 && openMetrics >= text ? ExpositionFormat::OpenMetrics : ExpositionFormat::Text;
}

milliseconds timeoutFor(const std::optional<std::string>& header, milliseconds offset,
                        milliseconds otherwise) {
    const auto seconds = header ? numberOf(*header) : std::nullopt;
    if (!seconds || *seconds <= 0) {
        return otherwise;
    }
    const double allowedMs = std::min(static_cast<double>(*seconds), LONGEST_TIMEOUT_S) * 1000;
    const double offsetMs = std::min(static_cast<double>(offset.count()), allowedMs / 2);
    return std::max(milliseconds(1), milliseconds(static_cast<std::int64_t>(allowedMs - offsetMs)));
}

}  // namespace tools::exporter
