// How often the library asks for memory: a query as often whatever its size, once the connection's buffer has
// grown, and a walk not at all. How much it asks for is not tested here. What is promised about memory stands
// in docs/performance.md and at each call in zolstats.h.
#include "client.h"
#include "support/counted_allocations.h"

namespace {

using namespace api;
using testing_support::allocationsOf;

class Allocations : public Connected {
  protected:
    void answerStats(std::size_t count) {
        gateway_.answerQueriesWith(gateway::encodeStats(
            {{"Q", 0, std::vector(count, gateway::Statistic{"ID", std::string(100, 'v')})}}));
    }
    void answerIds(std::size_t count) {
        gateway_.answerQueriesWith(gateway::encodeIds({{"Q", 0, std::vector(count, std::string(100, 'i'))}}));
    }
    int askStats() {
        return allocationsOf([this] { getStats(token_, &set_); });
    }
    int askIds() {
        return allocationsOf([this] { getStatIds(token_, &set_); });
    }
    int askByIds() {
        return allocationsOf([this] { getStatsByStatId(token_, "A:B:C", &set_); });
    }

    // Items walked, without a container in the way.
    template <class Record>
    int walk(int (*first)(ResultSetToken*, Record*), int (*next)(ResultSetToken*, Record*)) {
        Record record{};
        int count = 0;
        for (int rc = first(set_, &record); rc == 0; rc = next(set_, &record)) {
            ++count;
        }
        return count;
    }

    static constexpr std::size_t MANY = 20000;
};

TEST_F(Allocations, AreCounted) {
    EXPECT_GT(askStats(), 0);
    EXPECT_GT(allocationsOf([this] {
                  ResultSetToken* copy = nullptr;
                  copyResultSet(set_, &copy);
                  freeResultSet(&copy);
              }),
              0);
}

TEST_F(Allocations, OfAQueryForStatisticsAreThoseOfASmallOneOnceTheBufferHasGrown) {
    answerStats(1);
    const int small = askStats();
    answerStats(MANY);
    EXPECT_GT(askStats(), small) << "the buffer grows";
    EXPECT_EQ(askStats(), small);
    EXPECT_EQ(askByIds(), small + 1) << "a copy of the ids";
}

TEST_F(Allocations, OfAQueryForIdsAreThoseOfASmallOneOnceTheBufferHasGrown) {
    answerIds(1);
    const int small = askIds();
    answerIds(MANY);
    EXPECT_GT(askIds(), small) << "the buffer grows";
    EXPECT_EQ(askIds(), small);
}

TEST_F(Allocations, ForTheBufferGrowWithTheLogarithmOfTheAnswer) {
    answerStats(1);
    const int small = askStats();
    answerStats(MANY);
    // From 32 KiB to the 4 MiB that take 20000 items of 110 bytes it doubles seven times.
    EXPECT_EQ(askStats(), small + 7);
}

TEST_F(Allocations, AreNotMadeByAWalkThroughStatistics) {
    answerStats(MANY);
    askStats();
    int walked = 0;
    EXPECT_EQ(allocationsOf([&] { walked = walk(getFirstStat, getNextStat); }), 0);
    EXPECT_EQ(walked, static_cast<int>(MANY));
}

TEST_F(Allocations, AreNotMadeByAWalkThroughIds) {
    answerIds(MANY);
    askIds();
    int walked = 0;
    EXPECT_EQ(allocationsOf([&] { walked = walk(getFirstId, getNextId); }), 0);
    EXPECT_EQ(walked, static_cast<int>(MANY));
}

TEST_F(Allocations, OfACopyDoNotDependOnItsSize) {
    const auto copyAndFree = [this] {
        ResultSetToken* copy = nullptr;
        copyResultSet(set_, &copy);
        freeResultSet(&copy);
    };
    answerStats(1);
    askStats();
    const int small = allocationsOf(copyAndFree);
    answerStats(MANY);
    askStats();
    EXPECT_EQ(allocationsOf(copyAndFree), small);
}

}  // namespace
