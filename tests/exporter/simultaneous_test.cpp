// Many slow Gateways that are scraped at the same time.
// Not a test of anything else: it takes a machine that does nothing else meanwhile.
// The protocol is written down in docs/protocol.md.
#include <list>

#include "support/scripted_gateway.h"
#include "worker_fixture.h"

namespace tools::exporter {
namespace {

using testing_support::ScriptedGateway;

constexpr int MANY = 100;
constexpr auto LIMIT = 1500ms;

// A Gateway that thinks for a second before it tells its groups, and tells the rest at once.
class SlowGateway {
  public:
    Endpoint endpoint() const { return at(server_.port()); }

  private:
    static gateway::Options options() {
        gateway::Options options;
        options.statistics = ScriptedGateway::knownStatistics;
        options.script = [](const gateway::Request& request, gateway::Reply usual) {
            if (ScriptedGateway::isQuery(request) &&
                gateway::decodeAdmin(request.body).member == "RESOURCE_GROUPS") {
                std::this_thread::sleep_for(1s);
            }
            return usual;
        };
        return options;
    }

    gateway::Server server_{options()};
};

Clock::duration timeToScrape(const std::list<SlowGateway>& gateways) {
    Fleet fleet;
    const Stopwatch watch;
    std::vector<std::shared_future<ScrapeResult>> scrapes;
    for (const SlowGateway& gateway : gateways) {
        scrapes.push_back(fleet.scrape(gateway.endpoint(), {}, Clock::now() + AMPLE));
    }
    for (const auto& scrape : scrapes) {
        EXPECT_EQ(outcomeOf(*scrape.get()), "ok");
    }
    return watch.time();
}

// Where something else takes the processors meanwhile, another round tells.
TEST(ExporterScrapes, OfManySlowGatewaysTakeAsLongAsThatOfOne) {
    const std::list<SlowGateway> gateways(MANY);
    Clock::duration shortest = Clock::duration::max();
    for (int round = 0; round < 5 && shortest > LIMIT; ++round) {
        shortest = std::min(shortest, timeToScrape(gateways));
    }
    EXPECT_LE(shortest, LIMIT);
}

}  // namespace
}  // namespace tools::exporter
