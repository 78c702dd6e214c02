// What the exporter knows as JSON.
// Not a test of how browsers show it (pages_test.py).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "api.h"

#include <gmock/gmock.h>

#include <nlohmann/json.hpp>

#include "sample_scrapes.h"

namespace tools::exporter {
namespace {

using nlohmann::json;
using testing::Contains;
using testing::ElementsAre;
using testing::Pair;

json gatewaysOf(const std::vector<Fleet::Member>& members) {
    return json::parse(gatewaysDocument(members, secondsSince1970(SAMPLE_TIME + 5)).body);
}

json statisticsOf(const Scrape& scrape) {
    return json::parse(statisticsDocument(scrape).body);
}

Scrape scrapeOf(const std::string& group, const std::string& id, const std::string& value) {
    Scrape scrape = goodScrape();
    scrape.groups = {group};
    scrape.readings = {{0, id, value}};
    return scrape;
}

TEST(StatisticsDocument, TellsEachStatisticInTheGatewaysOrder) {
    EXPECT_EQ(statisticsOf(goodScrape())["statistics"],
              json::parse(R"([{"group": "CPU", "id": "LOAD", "value": "0.25"},
                              {"group": "MEMORY", "id": "FREE_KB", "value": "18446744073709551615"}])"));
}

TEST(StatisticsDocument, TellsWhenAndHowLongTheGatewayWasAsked) {
    const json document = statisticsOf(goodScrape());
    EXPECT_EQ(document["gateway"], "127.0.0.1:27400");
    EXPECT_EQ(document["time"], 1700000000.5);
    EXPECT_EQ(document["took"], json::parse(R"({"open": 0.001, "query": 0.0025, "walk": 0.00025})"));
    EXPECT_EQ(document["failure"], nullptr);
    EXPECT_EQ(document["groups"], json::parse(R"(["CPU", "MEMORY"])"));
}

TEST(StatisticsDocument, EscapesBytesThatAreNoText) {
    const std::string rightToLeft = "\xe2\x80\xae";
    EXPECT_EQ(statisticsOf(scrapeOf("\xff", rightToLeft + "ID", "a\nb\\"))["statistics"][0],
              (json{{"group", "\\xFF"}, {"id", "\\xE2\\x80\\xAEID"}, {"value", "a\\x0Ab\\\\"}}));
}

TEST(StatisticsDocument, LeavesVisibleCharactersOfAnyLanguageAlone) {
    EXPECT_EQ(statisticsOf(scrapeOf("Größe", "<script>\"'", "漢字"))["statistics"][0],
              (json{{"group", "Größe"}, {"id", "<script>\"'"}, {"value", "漢字"}}));
}

TEST(StatisticsDocument, TellsWhyThereAreNone) {
    const json document = statisticsOf(failedScrape(Reason::NotAGateway, "answers\x1b[2J"));
    EXPECT_EQ(document["failure"], (json{{"reason", "not_a_gateway"}, {"text", "answers\\x1B[2J"}}));
    EXPECT_EQ(document["statistics"], json::array());
}

TEST(StatisticsDocument, TellsTheGroupsThatTheGatewayHasNot) {
    Scrape scrape = goodScrape();
    scrape.rejectedGroups = {"DISK\n"};
    EXPECT_EQ(statisticsOf(scrape)["rejected_groups"], json::parse(R"(["DISK\\x0A"])"));
}

TEST(GatewaysDocument, TellsTheStateOfEach) {
    const json document = gatewaysOf({memberOf(goodScrape()),
                                      memberOf(failedScrape(Reason::Timeout, "late")),
                                      {{"::1", 1}, false, nullptr}});
    std::vector<std::string> states;
    for (const json& gateway : document["gateways"]) {
        states.push_back(gateway["name"].get<std::string>() + " " + gateway["state"].get<std::string>());
    }
    EXPECT_THAT(states, ElementsAre("127.0.0.1:27400 up", "gw2.example.org:27400 down", "[::1]:1 unasked"));
    EXPECT_EQ(document["time"], 1700000005.5);
}

TEST(GatewaysDocument, CountsStatisticsInsteadOfTellingThem) {
    const json last = gatewaysOf({memberOf(goodScrape())})["gateways"][0]["last"];
    EXPECT_EQ(last["statistics"], 2);
    EXPECT_EQ(last["groups"], 2);
}

TEST(GatewaysDocument, HasNoLastScrapeOfAGatewayThatWasNotAsked) {
    const json gateway = gatewaysOf({{{"gw", 1}, false, nullptr}})["gateways"][0];
    EXPECT_EQ(gateway["last"], nullptr);
    EXPECT_EQ(gateway["configured"], false);
}

TEST(ProblemDocument, HasTheStatusAndTheReason) {
    const http::Response response = problemDocument(403, "not \"allowed\"\n");
    EXPECT_EQ(response.status, 403);
    EXPECT_EQ(json::parse(response.body), (json{{"error", "not \"allowed\"\\x0A"}}));
}

TEST(Documents, AreJsonThatNobodyKeeps) {
    for (const http::Response& response :
         {problemDocument(400, ""), statisticsDocument(goodScrape()), gatewaysDocument({}, {})}) {
        EXPECT_EQ(response.contentType, "application/json");
        EXPECT_THAT(response.headers, Contains(Pair("Cache-Control", "no-store")));
    }
}

}  // namespace
}  // namespace tools::exporter
