// What the exporter knows as JSON: one function for each part of a document.
// Not the metrics (metrics.cpp), and not the place where Gateways are asked.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "api.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "common/escape.h"
#include "common/text.h"

namespace tools::exporter {
namespace {

using Json = nlohmann::ordered_json;

double secondsSince1970(std::chrono::system_clock::time_point time) {
    return std::chrono::duration<double>(time.time_since_epoch()).count();
}

std::string shown(const std::string& bytes) {
    return escaped(bytes, Alphabet::Utf8);
}

Json shownEach(const std::vector<std::string>& texts) {
    Json each = Json::array();
    for (const std::string& text : texts) {
        each.push_back(shown(text));
    }
    return each;
}

Json failureOf(const Scrape& scrape) {
    if (!scrape.failure) {
        return nullptr;
    }
    return {{"reason", REASON_NAMES.at(static_cast<std::size_t>(scrape.failure->reason))},
            {"text", printable(scrape.failure->text)}};
}

Json outcomeOf(const Scrape& scrape) {
    return {{"gateway", nameOf(scrape.gateway)},
            {"time", secondsSince1970(scrape.time)},
            {"failure", failureOf(scrape)},
            {"rejected_groups", shownEach(scrape.rejectedGroups)},
            {"protocol_version", shown(scrape.protocolVersion)},
            {"took",
             {{"open", scrape.took.open.count()},
              {"query", scrape.took.query.count()},
              {"walk", scrape.took.walk.count()}}}};
}

Json summaryOf(const Scrape& scrape) {
    Json summary = outcomeOf(scrape);
    summary["groups"] = scrape.groups.size();
    summary["statistics"] = scrape.readings.size();
    return summary;
}

Json readingsOf(const Scrape& scrape) {
    Json readings = Json::array();
    for (const Reading& reading : scrape.readings) {
        readings.push_back({{"group", shown(scrape.groups.at(reading.group))},
                            {"id", shown(reading.id)},
                            {"value", shown(reading.value)}});
    }
    return readings;
}

const char* stateOf(const ScrapeResult& last) {
    return last == nullptr ? "unasked" : last->failure ? "down" : "up";
}

http::Response documentOf(const Json& content, int status = 200) {
    return {status, "application/json", content.dump() + '\n', {{"Cache-Control", "no-store"}}};
}

}  // namespace

http::Response gatewaysDocument(const std::vector<Fleet::Member>& members,
                                std::chrono::system_clock::time_point now) {
    Json gateways = Json::array();
    for (const Fleet::Member& member : members) {
        gateways.push_back({{"name", nameOf(member.gateway)},
                            {"configured", member.isConfigured},
                            {"state", stateOf(member.last)},
                            {"last", member.last == nullptr ? Json(nullptr) : summaryOf(*member.last)}});
    }
    return documentOf(
        {{"version", EXPORTER_VERSION}, {"time", secondsSince1970(now)}, {"gateways", std::move(gateways)}});
}

http::Response statisticsDocument(const Scrape& scrape) {
    Json document = outcomeOf(scrape);
    document["groups"] = shownEach(scrape.groups);
    document["statistics"] = readingsOf(scrape);
    return documentOf(document);
}

http::Response problemDocument(int status, const std::string& text) {
    return documentOf({{"error", printable(text)}}, status);
}

}  // namespace tools::exporter
