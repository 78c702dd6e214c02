// What the face adds to the calls of the library: no allocation for a walk, whatever its length, and none for a query.
// What the library itself asks for is tested in api/api_allocation_test.cpp. What is promised stands in zolstats.hpp.
#include "face.h"
#include "support/counted_allocations.h"

namespace {

using namespace face;
using testing_support::allocationsOf;

constexpr std::size_t MANY = 20000;

class FaceAllocations : public Connected {
  protected:
    void answerStatistics(std::size_t count) {
        gateway_.answerQueriesWith(gateway::encodeStats(
            {{"Q", 0, std::vector(count, gateway::Statistic{"ID", std::string(100, 'v')})}}));
    }
    void answerIds(std::size_t count) {
        gateway_.answerQueriesWith(gateway::encodeIds({{"Q", 0, std::vector(count, std::string(100, 'i'))}}));
    }
};

// The allocations of a walk that must have so many items.
template <class Answer>
int allocationsOfAWalk(const Answer& answer, std::size_t expected) {
    std::size_t items = 0;
    std::size_t bytes = 0;
    const int count = allocationsOf([&] {
        for (const auto& item : answer) {
            bytes += item.id.size();
            ++items;
        }
    });
    EXPECT_EQ(items, expected);
    EXPECT_GT(bytes, 0U);
    return count;
}

// The allocations of a query, by the face or by the call of the library.
template <class Ask>
int allocationsOfAQuery(Ask ask) {
    ask();
    return allocationsOf(ask);
}

TEST_F(FaceAllocations, AreCounted) {
    EXPECT_GT(allocationsOf([this] { connection_.statistics().copy(); }), 0);
    EXPECT_GT(allocationsOf([] { const std::vector<int> one(1); }), 0);
}

TEST_F(FaceAllocations, AreNotMadeByAWalkOfAnyLength) {
    for (const std::size_t length : {std::size_t{1}, std::size_t{100}, MANY}) {
        answerStatistics(length);
        EXPECT_EQ(allocationsOfAWalk(connection_.statistics(), length), 0);
        answerIds(length);
        EXPECT_EQ(allocationsOfAWalk(connection_.groups(), length), 0);
    }
}

TEST_F(FaceAllocations, AreNotMadeByAWalkThroughACopy) {
    for (const std::size_t length : {std::size_t{1}, MANY}) {
        answerStatistics(length);
        EXPECT_EQ(allocationsOfAWalk(connection_.statistics().copy(), length), 0);
        answerIds(length);
        EXPECT_EQ(allocationsOfAWalk(connection_.groups().copy(), length), 0);
    }
}

TEST_F(FaceAllocations, OfAQueryAreThoseOfTheLibrary) {
    void* token = nullptr;
    char* version = nullptr;
    ResultSetToken* set = nullptr;
    ASSERT_EQ(openGatewayConnection(gateway_.port(), &token, &version), ZOLSTATS_OK);
    const int ofTheLibrary = allocationsOfAQuery([&] { getStats(token, &set); });
    EXPECT_EQ(allocationsOfAQuery([this] { connection_.statistics(); }), ofTheLibrary);
    EXPECT_EQ(closeGatewayConnection(&token), ZOLSTATS_OK);
}

TEST_F(FaceAllocations, OfACopyAreThoseOfTheLibrary) {
    const Statistics answer = connection_.statistics();
    ResultSetToken* copy = nullptr;
    const int ofTheLibrary = allocationsOf([&] { copyResultSet(answer.token(), &copy); });
    EXPECT_EQ(freeResultSet(&copy), ZOLSTATS_OK);
    EXPECT_EQ(allocationsOf([&] { answer.copy(); }), ofTheLibrary);
}

}  // namespace
