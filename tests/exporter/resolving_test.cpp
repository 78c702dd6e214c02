// Scrapes of Gateways whose name stands for several addresses, or whose name the resolver takes its time for.
// Not a test of the system's resolver: that is replaced here for two names.
// The protocol is written down in docs/protocol.md.
#include <netdb.h>

#include <cstring>
#include <optional>

#include "support/answering_gateway.h"
#include "worker_fixture.h"

namespace {

constexpr const char* TWO_ADDRESSES = "two-addresses";  // 127.0.0.1 and, after it, 127.0.0.2
constexpr const char* HANGING = "hanging";              // until it is told otherwise

// Outlives a thread that waits for it beyond the end of its test.
struct Resolver {
    std::promise<void> arrival{};
    std::promise<void> leave{};
    std::shared_future<void> left{leave.get_future()};
};
std::shared_ptr<Resolver> resolver;

}  // namespace

extern "C" {

int __real_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** list);

int __wrap_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** list) {
    if (std::strcmp(host, HANGING) == 0) {
        const auto kept = resolver;
        kept->arrival.set_value();
        kept->left.wait();
        return EAI_AGAIN;
    }
    if (std::strcmp(host, TWO_ADDRESSES) != 0) {
        return __real_getaddrinfo(host, service, hints, list);
    }
    __real_getaddrinfo("127.0.0.1", service, hints, list);
    return __real_getaddrinfo("127.0.0.2", service, hints, &(*list)->ai_next);
}
}

namespace tools::exporter {
namespace {

std::string outcomeOf(int port, Clock::duration time = AMPLE) {
    Worker worker({TWO_ADDRESSES, port}, {});
    return outcomeOf(*worker.scrape({}, Clock::now() + time).get());
}

gateway::Options atSecondAddress(int port) {
    gateway::Options options;
    options.host = "127.0.0.2";
    options.port = static_cast<std::uint16_t>(port);
    return options;
}

TEST(ExporterAddresses, AreTriedOneAfterAnother) {
    const testing_support::LoopbackPort first;
    const gateway::Server second(atSecondAddress(first.number()));
    EXPECT_EQ(outcomeOf(first.number()), "ok");
}

TEST(ExporterAddresses, ShareTheTime) {
    const testing_support::LoopbackPort first;
    first.listen(1);  // and says nothing
    const gateway::Server second(atSecondAddress(first.number()));
    EXPECT_EQ(outcomeOf(first.number(), 4s), "ok");
}

TEST(ExporterAddresses, TellTheFailureThatCameFurthest) {
    testing_support::AnsweringGateway web("HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\n\r\n");
    EXPECT_EQ(outcomeOf(web.port()), "not_a_gateway");
}

class ExporterResolver : public testing::Test {
  protected:
    ExporterResolver() { resolver = std::make_shared<Resolver>(); }
    ~ExporterResolver() override { resolver->leave.set_value(); }

    std::shared_future<ScrapeResult> start() {
        auto scrape = worker_->scrape({}, Clock::now() + AMPLE);
        resolver->arrival.get_future().wait();
        return scrape;
    }

    const Endpoint gateway_{HANGING, 1};
    std::optional<Worker> worker_{std::in_place, gateway_, Habits{}};
};

TEST_F(ExporterResolver, KeepsNobodyBeyondTheDeadline) {
    const auto scrape = start();
    const auto now = Clock::now();
    EXPECT_EQ(outcomeOf(*resultBy(now + 10ms, scrape, gateway_, now)), "timeout");
}

TEST_F(ExporterResolver, KeepsNobodyWhoLetsGoOfTheGateway) {
    const auto scrape = start();
    worker_.reset();
    EXPECT_EQ(outcomeOf(*scrape.get()), "internal");
}

}  // namespace
}  // namespace tools::exporter
