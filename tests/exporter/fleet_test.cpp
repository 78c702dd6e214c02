// Which Gateways have a worker, and that none of them suffers from another.
// Not how one is scraped (worker_test.cpp).
// The protocol is written down in docs/protocol.md.
#include "fleet.h"

#include <list>

#include "support/answering_gateway.h"
#include "support/scripted_gateway.h"
#include "tools/steered_gateway.h"
#include "worker_fixture.h"

namespace tools::exporter {
namespace {

using testing::ElementsAre;
using testing::SizeIs;
using testing_support::ScriptedGateway;

const gateway::Snapshot CPU{{"CPU", {{"USER", "1"}}}};

// All addresses 127.x are this machine, and nothing listens there.
std::vector<Endpoint> gatewaysThatAreDown(int count) {
    static const testing_support::LoopbackPort port;
    std::vector<Endpoint> gateways;
    for (int i = 0; i < count; ++i) {
        gateways.push_back(
            {"127.1." + std::to_string(i / 100) + '.' + std::to_string(i % 100 + 1), port.number()});
    }
    return gateways;
}

Endpoint oneMore() {
    return {"127.2.0.1", 1};
}

std::string scrape(Fleet& fleet, const Endpoint& gateway, Clock::duration time = AMPLE) {
    const auto begin = Clock::now();
    return outcomeOf(*resultBy(begin + time, fleet.scrape(gateway, {}, begin + time), gateway, begin));
}

std::vector<std::string> namesOf(const std::vector<Fleet::Member>& members) {
    std::vector<std::string> names;
    for (const Fleet::Member& member : members) {
        names.push_back(member.gateway.host + (member.isConfigured ? " configured" : ""));
    }
    return names;
}

TEST(ExporterFleet, LetsAGatewayThatHangsCostItsOwnTimeOnly) {
    SteeredGateway hanging(CPU);
    SteeredGateway fine(CPU);
    Fleet fleet;
    hanging.hang();
    const auto scrapeOfHanging = fleet.scrape(at(hanging.port()), {}, Clock::now() + AMPLE);
    hanging.server().waitForRequests(1);
    EXPECT_EQ(scrape(fleet, at(fine.port())), "ok");
    EXPECT_NE(scrapeOfHanging.wait_for(0s), std::future_status::ready);
    hanging.answer();
    EXPECT_EQ(outcomeOf(*scrapeOfHanging.get()), "ok");
}

constexpr std::uint32_t CLOSE = 10;
constexpr std::size_t HEADER_LENGTH =
    34;  // of a reply to a query: more would be taken for the reply to the next request

// Answers a query with what is no answer, and does not react when the exporter takes leave of it.
class SulkingGateway {
  public:
    SulkingGateway() {
        gateway_.answer([this](const gateway::Request& request, const gateway::Reply& usual) {
            if (request.type == CLOSE) {
                released_.wait();
            }
            return ScriptedGateway::isQuery(request) ? gateway::Reply{std::string(HEADER_LENGTH, 'x')}
                                                     : usual;
        });
    }
    ~SulkingGateway() { release_.set_value(); }
    SulkingGateway(const SulkingGateway&) = delete;
    SulkingGateway& operator=(const SulkingGateway&) = delete;

    Endpoint endpoint() const { return at(gateway_.port()); }
    void waitForLeave() {
        constexpr std::size_t opening = 5;
        constexpr std::size_t query = 2;
        gateway_.server().waitForRequests(opening + query + 1);
    }

  private:
    std::promise<void> release_;
    std::shared_future<void> released_ = release_.get_future();
    ScriptedGateway gateway_;
};

// The library lets no other connection begin a query while it takes leave.
class ExporterLeave : public testing::TestWithParam<Selection> {};

TEST_P(ExporterLeave, TakesNoMoreThanTheTimeOfTheScrape) {
    SteeredGateway fine(CPU);
    SulkingGateway sulking;
    Fleet fleet;
    const auto scrapeOfSulking = fleet.scrape(sulking.endpoint(), GetParam(), Clock::now() + 1s);
    sulking.waitForLeave();
    const Stopwatch watch;
    EXPECT_EQ(scrape(fleet, at(fine.port())), "ok");
    EXPECT_LT(watch.time(), 5s);
    EXPECT_EQ(outcomeOf(*scrapeOfSulking.get()), "timeout");
}

INSTANTIATE_TEST_SUITE_P(AfterEachQuery, ExporterLeave, testing::Values(Selection{}, Selection{"CPU"}));

constexpr auto ALLOWED = 1s;
constexpr auto MOST_OF_IT = ALLOWED / 2;  // a busy machine may let the scrape begin late

Scrape timedOut(Fleet& fleet, const Endpoint& gateway) {
    const auto begin = Clock::now();
    const auto end = begin + ALLOWED;
    return *resultBy(end, fleet.scrape(gateway, {}, end), gateway, begin);
}

TEST(ExporterFleet, TellsThatTheTimeWentIntoAQueryWhereAGatewayHangs) {
    SteeredGateway hanging(CPU);
    Fleet fleet;
    scrape(fleet, at(hanging.port()));
    hanging.hang();
    const Scrape result = timedOut(fleet, at(hanging.port()));
    EXPECT_EQ(outcomeOf(result), "timeout");
    EXPECT_GE(result.took.query, MOST_OF_IT);
    EXPECT_EQ(result.took.open, 0s);
    EXPECT_EQ(result.protocolVersion, "1.0");
}

TEST(ExporterFleet, TellsThatTheTimeWentIntoOpeningWhereAPortOnlyAccepts) {
    testing_support::LoopbackPort port;
    port.listen(1);
    Fleet fleet;
    const Scrape result = timedOut(fleet, at(port.number()));
    EXPECT_EQ(outcomeOf(result), "timeout");
    EXPECT_GE(result.took.open, MOST_OF_IT);
    EXPECT_EQ(result.took.query, 0s);
}

TEST(ExporterFleet, SharesAScrapeAmongAllWhoAskForAGateway) {
    SteeredGateway gateway(CPU);
    Fleet fleet;
    gateway.hang();
    const auto first = fleet.scrape(at(gateway.port()), {}, Clock::now() + AMPLE);
    const auto second = fleet.scrape(at(gateway.port()), {}, Clock::now() + AMPLE);
    gateway.answer();
    EXPECT_EQ(first.get(), second.get());
}

TEST(ExporterFleet, TellsTheConfiguredGatewaysInTheirOrderAndTheProbedOnesByName) {
    Fleet fleet;
    fleet.configure({{"127.1.0.2", 1}, {"127.1.0.1", 1}, {"127.1.0.2", 1}});
    scrape(fleet, {"127.1.0.4", 1});
    scrape(fleet, {"127.1.0.3", 1});
    EXPECT_THAT(namesOf(fleet.members()),
                ElementsAre("127.1.0.2 configured", "127.1.0.1 configured", "127.1.0.3", "127.1.0.4"));
    EXPECT_EQ(fleet.members().at(0).last, nullptr);
    EXPECT_EQ(outcomeOf(*fleet.members().at(3).last), "connect");
}

TEST(ExporterFleet, LetsGoOfWhatIsConfiguredNoMore) {
    SteeredGateway gateway(CPU);
    Fleet fleet;
    fleet.configure({at(gateway.port()), oneMore()});
    EXPECT_EQ(scrape(fleet, at(gateway.port())), "ok");
    fleet.configure({oneMore()});
    gateway.server().waitForConnections(0);
    EXPECT_THAT(namesOf(fleet.members()), ElementsAre("127.2.0.1 configured"));
}

TEST(ExporterFleet, FinishesTheScrapesOfWhatIsConfiguredNoMore) {
    SteeredGateway gateway(CPU);
    Fleet fleet;
    fleet.configure({at(gateway.port())});
    gateway.hang();
    const auto waiting = fleet.scrape(at(gateway.port()), {}, Clock::now() + AMPLE);
    gateway.server().waitForRequests(1);
    fleet.configure({});
    EXPECT_THAT(fleet.members(), SizeIs(0));
    gateway.answer();
    EXPECT_EQ(outcomeOf(*waiting.get()), "ok");
    scrape(fleet, oneMore());
    gateway.server().waitForConnections(0);
}

TEST(ExporterFleet, KeepsTheConnectionsOfWhatStaysConfigured) {
    SteeredGateway gateway(CPU);
    Fleet fleet;
    scrape(fleet, at(gateway.port()));
    fleet.configure({at(gateway.port())});
    scrape(fleet, at(gateway.port()));
    fleet.configure({oneMore(), at(gateway.port())});
    scrape(fleet, at(gateway.port()));
    EXPECT_EQ(handshakes(gateway.server()), 1U);
}

TEST(ExporterFleet, LetsGoAtOnceOfManyThatHang) {
    std::list<SteeredGateway> gateways;
    Fleet fleet;
    std::vector<Endpoint> endpoints;
    for (int i = 0; i < 20; ++i) {
        gateways.emplace_back(CPU).hang();
        endpoints.push_back(at(gateways.back().port()));
    }
    fleet.configure(endpoints);
    for (SteeredGateway& gateway : gateways) {
        fleet.scrape(at(gateway.port()), {}, Clock::now() + AMPLE);
        gateway.server().waitForRequests(1);
    }
    const Stopwatch watch;
    fleet.configure({});
    EXPECT_LT(watch.time(), 2s);
}

TEST(ExporterFleet, TellsAllWhoWaitAndAllWhoComeThatItHasStopped) {
    SteeredGateway hanging(CPU);
    Fleet fleet;
    hanging.hang();
    const auto waiting = fleet.scrape(at(hanging.port()), {}, Clock::now() + 1h);
    hanging.server().waitForRequests(1);
    fleet.stop();
    EXPECT_EQ(outcomeOf(*waiting.get()), "internal");
    EXPECT_EQ(scrape(fleet, at(hanging.port())), "internal");
}

TEST(ExporterFleet, RefusesOneMoreThanTheMost) {
    Fleet fleet;
    fleet.configure(gatewaysThatAreDown(MOST_GATEWAYS));
    EXPECT_THROW(fleet.scrape(oneMore(), {}, Clock::now() + AMPLE), FleetIsFull);
    EXPECT_STREQ(FleetIsFull().what(),
                 "the exporter looks after 256 Gateways already, which is the most it can");
    EXPECT_EQ(scrape(fleet, gatewaysThatAreDown(MOST_GATEWAYS).back()), "connect");
}

TEST(ExporterFleet, RefusesAConfigurationOfMoreThanTheMostAndStaysAsItWas) {
    Fleet fleet;
    fleet.configure({oneMore()});
    EXPECT_THROW(fleet.configure(gatewaysThatAreDown(MOST_GATEWAYS + 1)), FleetIsFull);
    EXPECT_THAT(namesOf(fleet.members()), ElementsAre("127.2.0.1 configured"));
}

TEST(ExporterFleet, GivesThePlaceOfTheProbedGatewayThatWasAskedForLongestAgoToAnother) {
    Fleet fleet;
    const std::vector<Endpoint> gateways = gatewaysThatAreDown(MOST_GATEWAYS);
    fleet.configure({gateways.begin() + 2, gateways.end()});
    for (const auto& gateway : {gateways[0], gateways[1], gateways[0], oneMore()}) {
        scrape(fleet, gateway);
    }
    const auto names = namesOf(fleet.members());
    EXPECT_THAT(names, SizeIs(MOST_GATEWAYS));
    EXPECT_EQ(names.at(MOST_GATEWAYS - 2), gateways[0].host);
    EXPECT_EQ(names.back(), "127.2.0.1");
}

TEST(ExporterFleet, ServesMoreProbedGatewaysThanTheMostOneAfterAnother) {
    Fleet fleet;
    for (const Endpoint& gateway : gatewaysThatAreDown(300)) {
        EXPECT_EQ(scrape(fleet, gateway), "connect");
    }
    EXPECT_THAT(fleet.members(), SizeIs(MOST_GATEWAYS));
}

TEST(ExporterFleet, KeepsAProbedGatewayThatIsBeingAsked) {
    SteeredGateway hanging(CPU);
    Fleet fleet;
    fleet.configure(gatewaysThatAreDown(MOST_GATEWAYS - 1));
    hanging.hang();
    const auto waiting = fleet.scrape(at(hanging.port()), {}, Clock::now() + AMPLE);
    EXPECT_THROW(fleet.scrape(oneMore(), {}, Clock::now() + AMPLE), FleetIsFull);
    hanging.answer();
    EXPECT_EQ(outcomeOf(*waiting.get()), "ok");
}

TEST(ExporterFleet, PutsWhatIsConfiguredBeforeWhatIsProbed) {
    Fleet fleet;
    scrape(fleet, oneMore());
    fleet.configure(gatewaysThatAreDown(MOST_GATEWAYS));
    EXPECT_THAT(fleet.members(), SizeIs(MOST_GATEWAYS));
    EXPECT_TRUE(fleet.members().back().isConfigured);
}

TEST(ExporterResult, IsATimeoutWhereNoneHasCome) {
    std::promise<ScrapeResult> never;
    const auto now = Clock::now();
    const ScrapeResult result = resultBy(now + 1ms, never.get_future().share(), oneMore(), now - 1s);
    EXPECT_EQ(outcomeOf(*result), "timeout");
    EXPECT_GE(result->took.query, 1s);
    EXPECT_EQ(result->gateway, oneMore());
}

TEST(ExporterResult, IsThereAlsoWhenAskedForLate) {
    std::promise<ScrapeResult> promise;
    promise.set_value(std::make_shared<const Scrape>());
    EXPECT_EQ(outcomeOf(*resultBy(Clock::now() - 1s, promise.get_future().share(), oneMore(), Clock::now())),
              "ok");
}

TEST(ExporterResult, IsAFailureOfItsOwnWhereThereIsNoMemoryForOne) {
    std::promise<ScrapeResult> promise;
    promise.set_exception(std::make_exception_ptr(std::bad_alloc()));
    EXPECT_EQ(outcomeOf(*resultBy(Clock::now(), promise.get_future().share(), oneMore(), Clock::now())),
              "internal");
}

}  // namespace
}  // namespace tools::exporter
