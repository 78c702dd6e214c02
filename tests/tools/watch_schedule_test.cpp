// When a watch reads and tries again, and how it tells the state of a Gateway.
// Not a test with Gateways and clocks (watch_text_test.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "watch/schedule.h"

#include <gmock/gmock.h>

#include "common/growing_pause.h"
#include "watch/state.h"

namespace tools::zolstat::watch {
namespace {

using namespace std::chrono_literals;

constexpr Moment START = Moment(1000s);

TEST(WatchTicks, StayWhereTheyAreHoweverLateOneIsKept) {
    const Ticks ticks(START, 250ms);
    EXPECT_EQ(ticks.after(START), START + 250ms);
    EXPECT_EQ(ticks.after(START + 249ms), START + 250ms);
    EXPECT_EQ(ticks.after(START + 250ms), START + 500ms);
}

TEST(WatchTicks, AreLeftOutWhenTheyHavePassed) {
    EXPECT_EQ(Ticks(START, 1s).after(START + 7100ms), START + 8s);
}

TEST(WatchTicks, DoNotDriftInAYear) {
    EXPECT_EQ(Ticks(START, 100ms).after(START + 365 * 24h + 30ms), START + 365 * 24h + 100ms);
}

TEST(WatchPauses, DoubleUpToHalfAMinuteAndBeginAnew) {
    GrowingPause pause(FIRST_PAUSE, LONGEST_PAUSE);
    for (const auto expected : {500ms, 1000ms, 2000ms, 4000ms, 8000ms, 16000ms, 30000ms, 30000ms}) {
        EXPECT_EQ(pause.next(), expected);
    }
    pause.reset();
    EXPECT_EQ(pause.next(), 500ms);
}

class WatchedState : public testing::Test {
  protected:
    void hear(Delivery delivery) {
        delivery.moment = START;
        take(std::move(delivery), state_);
    }
    std::string statusAfter(std::chrono::milliseconds time) const {
        return statusOf(state_, Ticks(START, 1s), START + time);
    }

  private:
    GatewayState state_ = statesOf({Endpoint{}}, START).at(0);
};

TEST_F(WatchedState, TellsThatConnectingTakesLong) {
    EXPECT_EQ(statusAfter(0s), "connecting");
    EXPECT_EQ(statusAfter(1900ms), "connecting");
    EXPECT_EQ(statusAfter(2s), "connecting for 2 s");
}

TEST_F(WatchedState, TellsThatAnAnswerTakesLong) {
    hear({});
    EXPECT_EQ(statusAfter(0s), "connected");
    EXPECT_EQ(statusAfter(2900ms), "connected");
    EXPECT_EQ(statusAfter(3s), "no answer for 3 s");
}

TEST_F(WatchedState, TellsWhatIsRejected) {
    Delivery delivery;
    delivery.sample.complaints = {"no group 'X'"};
    hear(delivery);
    EXPECT_EQ(statusAfter(0s), "connected; no group 'X'");
}

TEST_F(WatchedState, TellsWhyItIsDownAndWhenTheNextTryIs) {
    Delivery delivery;
    delivery.sample.failure = Failure{ExitCode::NoConnection, -135, "refused (-135)"};
    delivery.nextTry = START + 4s;
    hear(delivery);
    EXPECT_EQ(statusAfter(0s), "down, next try in 4 s: refused (-135)");
    EXPECT_EQ(statusAfter(3900ms), "down, next try in 1 s: refused (-135)");
    EXPECT_EQ(statusAfter(4s), "down, trying again: refused (-135)");
}

}  // namespace
}  // namespace tools::zolstat::watch
