// What a browser gets: pages put together from their files, and the headers that keep them in bounds.
// Not the place where it is decided which path is answered by what.
// Nothing here comes from the protocol of the Gateways.
#include "pages.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "common/escape.h"
#include "common/text.h"
#include "page_files.h"
#include "page_template.h"

namespace tools::exporter {
namespace {

using SystemTime = std::chrono::system_clock::time_point;

// Nothing comes from elsewhere, nothing goes elsewhere, and no text of a Gateway can become a script.
constexpr const char* CONTENT_SECURITY_POLICY =
    "default-src 'none'; script-src 'self'; style-src 'self'; connect-src 'self'; img-src 'self' data:; "
    "base-uri 'none'; form-action 'self'; frame-ancestors 'none'";

// HTML is not among them: the pages have holes, and addresses of their own.
constexpr std::array<std::pair<std::string_view, const char*>, 3> SERVED_TYPES{
    {{".css", "text/css; charset=utf-8"},
     {".js", "text/javascript; charset=utf-8"},
     {".svg", "image/svg+xml"}}};

http::Response bounded(const char* contentType, std::string body) {
    return {200,
            contentType,
            std::move(body),
            {{"Content-Security-Policy", CONTENT_SECURITY_POLICY},
             {"Referrer-Policy", "no-referrer"},
             {"Cache-Control", "no-cache"}}};
}

http::Response page(std::string_view file, const Fillings& fillings) {
    return bounded("text/html; charset=utf-8", filled(PAGE_FILES.at(file), fillings));
}

std::string ago(std::chrono::duration<double> age) {
    const double seconds = std::max(0.0, age.count());
    constexpr double minute = 60;
    constexpr double hour = 60 * minute;
    return seconds < 2 * minute ? fmt::format("{:.0f} s ago", seconds)
           : seconds < 2 * hour ? fmt::format("{:.0f} min ago", seconds / minute)
                                : fmt::format("{:.0f} h ago", seconds / hour);
}

std::string inMilliseconds(std::chrono::duration<double> time) {
    return fmt::format("{:.1f}", time.count() * 1000);
}

std::string momentOf(SystemTime time) {
    return fmt::format("{:%Y-%m-%d %H:%M:%S} UTC", fmt::gmtime(std::chrono::system_clock::to_time_t(time)));
}

// A Gateway of which nothing is known, and the template that the page's script makes new rows of.
Fillings blankRow(const std::string& name) {
    return {{"name", name},       {"target", asUrlArgument(name)},
            {"class", "unasked"}, {"state", "not asked yet"},
            {"details", ""},      {"moment", ""},
            {"age", ""},          {"open", ""},
            {"query", ""},        {"walk", ""},
            {"statistics", ""}};
}

std::string detailsOf(const Scrape& scrape) {
    if (scrape.failure) {
        return fmt::format("{}: {}", REASON_NAMES.at(static_cast<std::size_t>(scrape.failure->reason)),
                           printable(scrape.failure->text));
    }
    std::string details;
    for (const std::string& group : scrape.rejectedGroups) {
        details += (details.empty() ? "has no group " : ", ") + escaped(group, Alphabet::Utf8);
    }
    return details;
}

Fillings filledRow(const Scrape& scrape, SystemTime now) {
    Fillings row = blankRow(nameOf(scrape.gateway));
    row["class"] = row["state"] = scrape.failure ? "down" : "up";
    row["details"] = detailsOf(scrape);
    row["moment"] = momentOf(scrape.time);
    row["age"] = ago(now - scrape.time);
    row["open"] = inMilliseconds(scrape.took.open);
    row["query"] = inMilliseconds(scrape.took.query);
    row["walk"] = inMilliseconds(scrape.took.walk);
    row["statistics"] = scrape.failure ? "" : std::to_string(scrape.readings.size());
    return row;
}

std::string rowOf(const Fleet::Member& member, SystemTime now) {
    return filled(PAGE_FILES.at("gateway_row.html"),
                  member.last == nullptr ? blankRow(nameOf(member.gateway)) : filledRow(*member.last, now));
}

// "3 Gateways: 1 up, 1 down, 1 not asked yet"
std::string summaryOf(const std::vector<Fleet::Member>& members) {
    const auto count = [&members](auto&& fits) { return std::ranges::count_if(members, fits); };
    const auto unasked = count([](const Fleet::Member& member) { return member.last == nullptr; });
    const auto down = count([](const Fleet::Member& one) { return one.last && one.last->failure; });
    return fmt::format("{} Gateway{}: {} up, {} down, {} not asked yet", members.size(),
                       members.size() == 1 ? "" : "s", std::ssize(members) - unasked - down, down, unasked);
}

}  // namespace

http::Response landingPage(const std::vector<Fleet::Member>& members, SystemTime now) {
    std::string rows;
    for (const Fleet::Member& member : members) {
        rows += rowOf(member, now);
    }
    return page("landing.html", {{"version", EXPORTER_VERSION},
                                 {"summary", summaryOf(members)},
                                 {"rows", rows},
                                 {"blankRow", filled(PAGE_FILES.at("gateway_row.html"), blankRow(""))}});
}

http::Response livePage(const Endpoint& target) {
    const std::string name = nameOf(target);
    return page("live.html",
                {{"name", name}, {"target", asUrlArgument(name)}, {"version", EXPORTER_VERSION}});
}

std::optional<http::Response> pageFile(std::string_view path) {
    constexpr std::string_view folder = "/pages/";
    if (!path.starts_with(folder)) {
        return std::nullopt;
    }
    const auto file = PAGE_FILES.find(path.substr(folder.size()));
    const auto* type = std::ranges::find_if(
        SERVED_TYPES, [path](const auto& served) { return path.ends_with(served.first); });
    if (file == PAGE_FILES.end() || type == SERVED_TYPES.end()) {
        return std::nullopt;
    }
    return bounded(type->second, std::string(file->second));
}

}  // namespace tools::exporter
