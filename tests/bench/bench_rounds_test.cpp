// How contestants take turns, and what is kept of it.
#include "rounds.h"

#include <gmock/gmock.h>

#include <stdexcept>
#include <thread>

namespace {

using namespace bench;
using std::chrono::milliseconds;

// Keeps who had a turn when.
class Turns {
  public:
    Contestant contestant(const std::string& name) {
        return {name, [] {}, [this, name] { order_ += name; }};
    }
    // Without the first look at each, which tells how long they take.
    [[nodiscard]] std::string order(std::size_t contestants) const { return order_.substr(contestants); }

  private:
    std::string order_;
};

TEST(BenchRounds, GoForwardsAndBackwards) {
    Turns turns;
    measureRounds({turns.contestant("a"), turns.contestant("b"), turns.contestant("c")}, 0);
    EXPECT_EQ(turns.order(3), "abccba");
}

TEST(BenchRounds, KeepAsManySamplesOfEach) {
    const auto measured = measureRounds({{"a", [] {}}, {"b", [] {}}}, 0.01);
    EXPECT_GE(measured[0].rounds.size(), 2U);
    EXPECT_EQ(measured[0].rounds.size(), measured[1].rounds.size());
    EXPECT_EQ(measured[0].samples.size(), measured[1].samples.size());
    EXPECT_EQ(measured[0].cpuRounds.size(), measured[0].rounds.size());
    EXPECT_EQ(measured[0].samples.size() % measured[0].rounds.size(), 0U);
}

TEST(BenchRounds, TellTimesInMicroseconds) {
    const auto measured =
        measureRounds({{"sleeping", [] { std::this_thread::sleep_for(milliseconds(2)); }}}, 0);
    for (const double sample : measured.front().samples) {
        EXPECT_GE(sample, 2000);
    }
    EXPECT_LT(measured.front().cpuRounds.front(), 2000) << "sleeping takes no processor";
}

TEST(BenchRounds, LetContestantsPrepareAndCleanUpEachTurn) {
    std::string calls;
    const Contestant contestant{"a", [&] { calls += calls.back() == 'r' ? "" : "r"; }, [&] { calls += "("; },
                                [&] { calls += ")"; }};
    measureRounds({contestant}, 0);
    EXPECT_EQ(calls, "(r)(r)(r)");
}

TEST(BenchRounds, AreFoundByName) {
    const auto measured = measureRounds({{"a", [] {}}, {"b", [] {}}}, 0);
    EXPECT_EQ(find(measured, "b").name, "b");
    EXPECT_THROW(find(measured, "c"), std::out_of_range);
}

}  // namespace
