// What a watch reads from a Gateway, and how it follows what changes there.
// Not a test of what is shown of it (watch_screen_test.cpp, watch_text_test.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "watch/feeder.h"

#include <gmock/gmock.h>
#include <poll.h>

#include <chrono>

#include "steered_gateway.h"

namespace tools::zolstat::watch {
namespace {

using namespace std::chrono_literals;

constexpr int PATIENCE_MS = 25'000;  // a busy machine is slow

const gateway::Snapshot CPU{{"CPU", {{"CPU_USER", "1"}}}};
const gateway::Snapshot CPU_AND_DISK{{"CPU", {{"CPU_USER", "1"}}}, {"DISK", {{"READS", "7"}}}};

class WatchFeeder : public testing::Test {
  protected:
    void start(Moment::duration lifeOfASelection, const Arguments& names = {}) {
        const Ticks ticks(std::chrono::steady_clock::now(), 10ms);
        const Endpoint endpoint{"127.0.0.1", static_cast<std::uint16_t>(gateway_.port())};
        feeder_.emplace(Plan{{endpoint}, names, 10s, ticks, lifeOfASelection});
    }
    Delivery nextDelivery() {
        pollfd mail{feeder_->mailbox().descriptor(), POLLIN, 0};
        if (poll(&mail, 1, PATIENCE_MS) != 1) {
            throw std::runtime_error("nothing is delivered");
        }
        return std::move(feeder_->mailbox().take().at(0));
    }
    std::size_t countNextReadings() { return nextDelivery().sample.readings.size(); }
    void readUntilReadingsAre(std::size_t count) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(PATIENCE_MS);
        while (countNextReadings() != count) {
            ASSERT_LT(std::chrono::steady_clock::now(), deadline);
        }
    }
    SteeredGateway& gateway() { return gateway_; }

  private:
    SteeredGateway gateway_{CPU};
    std::optional<Feeder> feeder_;
};

TEST_F(WatchFeeder, FollowsGroupsThatComeAndGo) {
    start(50ms);
    EXPECT_EQ(countNextReadings(), 1U);
    gateway().set(CPU_AND_DISK);
    readUntilReadingsAre(2);
    gateway().set(CPU);
    readUntilReadingsAre(1);
}

TEST_F(WatchFeeder, ComplainsNoMoreOfANameOnceThereIsSuchAGroup) {
    start(50ms, {"D*"});
    EXPECT_EQ(nextDelivery().sample.complaints.size(), 1U);
    gateway().set(CPU_AND_DISK);
    readUntilReadingsAre(1);
    EXPECT_TRUE(nextDelivery().sample.complaints.empty());
}

TEST_F(WatchFeeder, LooksUpTheGroupsRarely) {
    start(1h);
    nextDelivery();
    gateway().set(CPU_AND_DISK);
    for (int reading = 0; reading < 10; ++reading) {
        EXPECT_EQ(countNextReadings(), 1U);
    }
}

TEST_F(WatchFeeder, TellsOneConnectionFromTheNext) {
    start(1h);
    const std::uint64_t first = nextDelivery().connection;
    EXPECT_EQ(nextDelivery().connection, first);
    gateway().die();
    while (!nextDelivery().sample.failure) {
    }
    gateway().comeBack();
    readUntilReadingsAre(1);
    EXPECT_NE(nextDelivery().connection, first);
}

}  // namespace
}  // namespace tools::zolstat::watch
