// What a watch makes of the values of a statistic: changes per second, restarts, trends.
// Not a test of how they look on the screen (watch_model_test.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "watch/history.h"

#include <gmock/gmock.h>

#include "common/number.h"

namespace tools::zolstat::watch {
namespace {

using namespace std::chrono_literals;
using std::nullopt;
using testing::Each;
using testing::ElementsAre;
using testing::Eq;

constexpr Moment START = Moment(1000s);

// One statistic, read at moments that the tests choose.
class WatchedStatistic : public testing::Test {
  protected:
    std::optional<Change> readAfter(std::chrono::nanoseconds pause, const std::string& value) {
        now_ += pause;
        return track_.add(now_, numberOf(value));
    }
    std::optional<Change> readAfterLoss(const std::string& value) {
        now_ += 12s;
        return track_.add(now_, numberOf(value), Between::Loss);
    }
    std::optional<Change> read(const std::string& value) { return readAfter(1s, value); }
    void readAll(const std::vector<std::string>& values) {
        std::for_each(values.begin(), values.end(), [this](const std::string& value) { read(value); });
    }
    void expectRestart(const std::optional<Change>& change) {
        ASSERT_TRUE(change.has_value());
        EXPECT_TRUE(change->restarted);
    }
    void expectRate(const std::optional<Change>& change, long double perSecond) {
        ASSERT_TRUE(change.has_value());
        EXPECT_FALSE(change->restarted);
        EXPECT_EQ(change->perSecond, perSecond);
    }
    Trend trend() const { return track_.trendUntil(now_); }
    std::vector<std::optional<float>> lastParts(std::ptrdiff_t count) const {
        const auto parts = trend().parts;
        return {parts.end() - count, parts.end()};
    }

  private:
    Track track_;
    Moment now_ = START;
};

using WatchedChange = WatchedStatistic;
using WatchedRestart = WatchedStatistic;
using WatchedTrend = WatchedStatistic;

TEST_F(WatchedChange, IsNoneAtTheFirstReading) {
    EXPECT_FALSE(read("5").has_value());
}

TEST_F(WatchedChange, IsADifferenceInASecond) {
    read("5");
    expectRate(read("12"), 7);
    expectRate(read("12"), 0);
    expectRate(read("11.5"), -0.5L);
}

TEST_F(WatchedChange, CountsTheTimeThatReallyPassed) {
    read("100");
    expectRate(readAfter(4s, "102"), 0.5L);
    expectRate(readAfter(250ms, "103"), 4);
}

TEST_F(WatchedChange, IsExactForCountersOfTwentyDigits) {
    read("18446744073709551610");
    expectRate(read("18446744073709551613"), 3);
    expectRate(read("18446744073709551614"), 1);
}

TEST_F(WatchedChange, IsNoneForATextNorForTheNumberAfterIt) {
    read("5");
    EXPECT_FALSE(read("n/a").has_value());
    EXPECT_FALSE(read("7").has_value());
    expectRate(read("8"), 1);
}

TEST_F(WatchedChange, IsNoneWhereItIsBeyondAllNumbers) {
    read("-1e4932");
    EXPECT_FALSE(read("1e4932").has_value());
}

TEST_F(WatchedChange, IsNoneWithoutTimeBetween) {
    read("5");
    EXPECT_FALSE(readAfter(0s, "6").has_value());
}

TEST_F(WatchedRestart, IsAnyFallAfterThreeRises) {
    readAll({"10", "20", "30", "40"});
    expectRestart(read("39"));
}

TEST_F(WatchedRestart, MayHaveHadPausesBetweenTheRises) {
    readAll({"10", "20", "20", "30", "30", "40", "40"});
    expectRestart(read("39"));
}

TEST_F(WatchedRestart, IsAFallNearToZeroAfterOneRise) {
    readAll({"10", "20"});
    expectRestart(read("3"));
}

TEST_F(WatchedRestart, IsNotASmallFallAfterTwoRises) {
    readAll({"10", "20", "30"});
    expectRate(read("28"), -2);
}

TEST_F(WatchedRestart, IsNotAFallOfWhatNeverRose) {
    readAll({"10", "10"});
    expectRate(read("0"), -10);
}

TEST_F(WatchedRestart, IsNotAFallOfWhatFellBefore) {
    readAll({"10", "9", "20", "30", "40", "50"});
    expectRate(read("5"), -45);
}

TEST_F(WatchedRestart, IsNotAFallBelowZero) {
    readAll({"10", "20"});
    expectRate(read("-5"), -25);
}

TEST_F(WatchedRestart, MayComeAgainBeforeItHasRisenAgain) {
    readAll({"10", "20", "30", "40", "50", "5"});
    expectRestart(read("0"));
    expectRate(read("7"), 7);
}

TEST_F(WatchedRestart, MayComeAgain) {
    readAll({"10", "20", "30", "40", "5", "6", "7", "8"});
    expectRestart(read("7"));
}

TEST_F(WatchedRestart, IsNotWhatJumpsToZeroAndBack) {
    readAll({"0", "5", "0", "7"});
    expectRate(read("0"), -7);
}

TEST_F(WatchedRestart, IsNotASlowFallOfWhatRoseForLong) {
    readAll({"10", "20", "30", "40", "50", "60", "70", "69"});
    expectRate(read("68"), -1);
}

TEST_F(WatchedRestart, IsAnyFallAcrossALoss) {
    readAll({"10", "10"});
    expectRestart(readAfterLoss("9"));
}

TEST_F(WatchedRestart, IsNotAFallAcrossALossOfWhatFellBefore) {
    readAll({"10", "9"});
    EXPECT_FALSE(readAfterLoss("2").has_value());
}

TEST_F(WatchedRestart, AcrossALossLeavesACounterWhatItIs) {
    readAll({"10", "20"});
    expectRestart(readAfterLoss("2"));
    expectRestart(readAfterLoss("1"));
    read("8");
    EXPECT_TRUE(trend().fromZero);
    expectRestart(read("0"));
}

TEST_F(WatchedRestart, IsFollowedByARateFromTheNewStart) {
    readAll({"10", "20", "30", "40", "5"});
    expectRate(read("7"), 2);
}

// ---- Trends

TEST_F(WatchedTrend, IsEmptyAtTheFirstReading) {
    read("5");
    EXPECT_THAT(trend().parts, Each(Eq(nullopt)));
}

TEST_F(WatchedTrend, ShowsTheRatesOfACounterFromZeroOn) {
    readAll({"100", "110", "120"});
    EXPECT_TRUE(trend().fromZero);
    EXPECT_EQ(trend().parts.at(28), 10.0F);
}

TEST_F(WatchedTrend, ShowsTheValuesOfWhatFalls) {
    readAll({"5", "4", "3"});
    EXPECT_FALSE(trend().fromZero);
    EXPECT_EQ(trend().parts.at(28), 4.0F);
    EXPECT_EQ(trend().parts.at(29), 3.0F);
}

TEST_F(WatchedTrend, HasAGapWhereALossWas) {
    readAll({"5", "6"});
    readAfterLoss("7");
    EXPECT_THAT(lastParts(6), Each(Eq(nullopt)));
    readAll({"7", "6"});  // its values are drawn now
    readAfterLoss("7");
    EXPECT_THAT(lastParts(6), Each(Eq(nullopt)));
}

TEST(WatchedMinute, WeighsValuesByHowLongTheyHeld) {
    Minute minute;
    minute.add(START, START + 500ms, 8);
    minute.add(START + 500ms, START + 2s, 4);
    EXPECT_EQ(minute.partsUntil(START).back(), 5.0F);
}

TEST(WatchedMinute, SpreadsOneValueOverAllTheTimeItHeld) {
    Minute minute;
    minute.add(START, START + 60s, 8);
    EXPECT_THAT(minute.partsUntil(START + 59s), Each(Eq(8.0F)));
}

TEST(WatchedMinute, HasAGapWhereNothingWasRead) {
    Minute minute;
    minute.add(START, START + 2s, 1);
    minute.add(START + 6s, START + 8s, 1);
    const auto parts = minute.partsUntil(START + 7s);
    EXPECT_EQ(parts.at(26), 1.0F);
    EXPECT_EQ(parts.at(27), nullopt);
    EXPECT_EQ(parts.at(28), nullopt);
    EXPECT_EQ(parts.at(29), 1.0F);
}

TEST(WatchedMinute, ForgetsWhatIsOlder) {
    Minute minute;
    minute.add(START, START + 2s, 1);
    EXPECT_EQ(minute.partsUntil(START + 59s).front(), 1.0F);
    EXPECT_THAT(minute.partsUntil(START + 60s), Each(Eq(nullopt)));
    minute.add(START + 118s, START + 120s, 2);
    EXPECT_THAT(minute.partsUntil(START + 60s), Each(Eq(nullopt)));
}

TEST(WatchedMinute, TakesAnIntervalOfManyMinutes) {
    Minute minute;
    minute.add(START, START + 24h, 3);
    EXPECT_THAT(minute.partsUntil(START + 24h - 1s), Each(Eq(3.0F)));
}

TEST(WatchedMinute, TakesNumbersBeyondItsOwn) {
    Minute minute;
    minute.add(START, START + 2s, -1e4000L);
    minute.add(START, START + 2s, 1e4000L);
    EXPECT_EQ(levelsOf({minute.partsUntil(START)}, TREND_PARTS).size(), TREND_PARTS);
}

Trend trendOf(const std::vector<float>& last, bool fromZero) {
    Trend trend{{}, fromZero};
    std::copy(last.begin(), last.end(), trend.parts.end() - static_cast<std::ptrdiff_t>(last.size()));
    return trend;
}

std::vector<std::optional<int>> lastLevels(const Trend& trend, std::size_t columns, std::ptrdiff_t count) {
    const auto levels = levelsOf(trend, columns);
    return {levels.end() - count, levels.end()};
}

TEST(WatchedLevels, ReachFromTheLowestToTheHighestValue) {
    EXPECT_THAT(lastLevels(trendOf({100, 107, 101}, false), 30, 4), ElementsAre(nullopt, 0, 7, 1));
}

TEST(WatchedLevels, ReachFromZeroForRates) {
    EXPECT_THAT(lastLevels(trendOf({70, 35}, true), 30, 2), ElementsAre(7, 4));
}

TEST(WatchedLevels, LieAtTheBottomForWhatNeverMoves) {
    EXPECT_THAT(lastLevels(trendOf({4, 4}, false), 30, 2), ElementsAre(0, 0));
    EXPECT_THAT(lastLevels(trendOf({0, 0}, true), 30, 2), ElementsAre(0, 0));
}

TEST(WatchedLevels, JoinPartsWhereThereAreFewerColumns) {
    EXPECT_THAT(lastLevels(trendOf({0, 0, 3, 5, 14, 14}, false), 15, 3), ElementsAre(0, 2, 7));
}

// ---- All statistics of a Gateway

class WatchedGateway : public testing::Test {
  protected:
    std::vector<Reading> take(std::vector<Reading> readings) {
        now_ += 1s;
        const std::vector<Moment> moments(readings.size(), now_);
        history_.take(readings, moments, connection_);
        return readings;
    }
    void pass(std::chrono::seconds time) { now_ += time; }
    void reconnect() { ++connection_; }
    const History& history() const { return history_; }
    Moment now() const { return now_; }

  private:
    History history_;
    std::uint64_t connection_ = 1;
    Moment now_ = START;
};

TEST_F(WatchedGateway, KeepsTheStatisticsOfGroupsApart) {
    take({{"G", "A", "1"}, {"H", "A", "100"}});
    const auto readings = take({{"G", "A", "2"}, {"H", "A", "200"}});
    EXPECT_EQ(readings[0].change->perSecond, 1);
    EXPECT_EQ(readings[1].change->perSecond, 100);
}

TEST_F(WatchedGateway, CountsAStatisticOnceThatIsAskedForTwice) {
    take({{"G", "A", "1"}, {"G", "A", "1"}});
    const auto readings = take({{"G", "A", "2"}, {"G", "A", "3"}});
    EXPECT_EQ(readings[0].change->perSecond, 1);
    EXPECT_EQ(readings[1].change->perSecond, 1);
}

TEST_F(WatchedGateway, ComparesWithTheReadingBeforeALoss) {
    take({{"G", "A", "1"}});
    pass(3s);
    take({});
    const auto readings = take({{"G", "A", "11"}});
    EXPECT_EQ(readings[0].change->perSecond, 2);
}

TEST_F(WatchedGateway, HasRestartedWhereAnythingFellOverANewConnection) {
    take({{"G", "A", "11"}, {"G", "B", "11"}});
    reconnect();
    const auto readings = take({{"G", "A", "1"}});
    EXPECT_TRUE(readings[0].change->restarted);
    EXPECT_EQ(take({{"G", "A", "3"}})[0].change->perSecond, 2);
    EXPECT_TRUE(take({{"G", "B", "10"}})[0].change->restarted);
}

TEST_F(WatchedGateway, HasNoChangeForWhatIsRejected) {
    take({{"G", "A", "1"}});
    EXPECT_FALSE(take({{"G", "A", {}, -1}})[0].change.has_value());
}

TEST_F(WatchedGateway, ForgetsWhatHasLongBeenGone) {
    take({{"G", "A", "1"}, {"G", "B", "1"}});
    pass(59s);
    take({{"G", "B", "2"}});
    EXPECT_EQ(history().size(), 2U);
    take({{"G", "B", "3"}});
    EXPECT_EQ(history().size(), 1U);
}

TEST_F(WatchedGateway, RemembersAllThroughALongLoss) {
    take({{"G", "A", "1"}, {"G", "B", "1"}});
    pass(1h);
    take({});
    EXPECT_EQ(history().size(), 2U);
    EXPECT_TRUE(take({{"G", "A", "2"}, {"G", "B", "1"}})[1].change.has_value());
}

TEST_F(WatchedGateway, HasATrendForWhatItKnows) {
    take({{"G", "A", "1"}});
    take({{"G", "A", "2"}});
    EXPECT_TRUE(history().trendOf({"G", "A"}, now()).fromZero);
    EXPECT_THAT(history().trendOf({"G", "B"}, now()).parts, Each(Eq(nullopt)));
}

}  // namespace
}  // namespace tools::zolstat::watch
