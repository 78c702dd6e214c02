// Several threads with the face: connections of their own, copies handed over, and closing while the owner asks. Most of
// all to be run with a checker for data races. What threads may do is told at the head of zolstats.h.
#include <atomic>
#include <optional>

#include "face.h"
#include "face/calls.h"

namespace {

using namespace face;
using gateway::Reply;
using gateway::Request;

constexpr std::size_t REQUESTS_OF_AN_OPENING = 5;
constexpr std::size_t REQUESTS_OF_A_QUERY = 2;

class Threads : public Connected {
  protected:
    void fallSilent() {
        gateway_.answerQueries([](const Request&, const Reply&) { return Reply{}; });
    }
    void waitForTheQuery() {
        gateway_.server().waitForRequests(REQUESTS_OF_AN_OPENING + REQUESTS_OF_A_QUERY);
    }
};

TEST_F(Threads, UseConnectionsOfTheirOwnAtOnce) {
    std::atomic<std::size_t> items{0};
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([&] {
            Connection own = open();
            for (int times = 0; times < 10; ++times) {
                items += itemsOf(own.statistics()).size() + itemsOf(own.groups()).size();
            }
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(items, 4U * 10U * 5U);
    gateway_.server().waitForConnections(1);
}

TEST_F(Threads, WalkCopiesWhileTheOwnerGoesOnAsking) {
    std::vector<std::thread> walkers;
    std::atomic<std::size_t> items{0};
    for (int number = 0; number < 4; ++number) {
        walkers.emplace_back(
            [&items, copy = connection_.statistics().copy()] { items += itemsOf(copy).size(); });
    }
    for (int times = 0; times < 20; ++times) {
        EXPECT_EQ(itemsOf(connection_.groups()).size(), 2U);
    }
    for (std::thread& walker : walkers) {
        walker.join();
    }
    EXPECT_EQ(items, 12U);
}

// ---- Closing while the owner asks

class ClosedMeanwhile : public Threads, public testing::WithParamInterface<Query> {};
INSTANTIATE_TEST_SUITE_P(In, ClosedMeanwhile, testing::ValuesIn(QUERIES), queryName);

TEST_P(ClosedMeanwhile, FailsAndIsClosedOnce) {
    fallSilent();
    const int before = closeCalls;
    std::thread closing([this] {
        waitForTheQuery();
        connection_.close();
    });
    EXPECT_EQ(codeOf([this] { GetParam().ask(connection_); }), ZOLSTATS_EXCHANGE_FAILED);
    closing.join();
    EXPECT_FALSE(connection_.isOpen());
    EXPECT_EQ(closeCalls, before + 1);
    gateway_.server().waitForConnections(0);
}

TEST_F(Threads, ThatCloseJustWhenTheAnswerIsThereTakeItAway) {
    afterTheAnswer = [this] { std::thread([this] { connection_.close(); }).join(); };
    EXPECT_EQ(codeOf([this] { connection_.statistics(); }), ZOLSTATS_CONNECTION_LOST);
    EXPECT_FALSE(connection_.isOpen());
}

TEST_F(Threads, ThatCloseAtTheSameTimeCloseOnce) {
    const int before = closeCalls;
    std::vector<std::thread> threads;
    for (int number = 0; number < 4; ++number) {
        threads.emplace_back([this] { connection_.close(); });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    EXPECT_EQ(closeCalls, before + 1);
}

// Whatever the order in which they meet, an answer is whole or it is not given.
TEST_F(Threads, ThatCloseAtAnyMomentLeaveNoAnswerThatIsRead) {
    for (int times = 0; times < 50; ++times) {
        Connection each = open();
        std::thread closing([&each] { each.close(); });
        std::optional<Statistics> answer;
        const int code = codeOf([&] { answer = each.statistics(); });
        closing.join();
        EXPECT_TRUE(!answer || throwsStale([&answer] { answer->begin(); }));
        EXPECT_THAT(code, testing::AnyOf(ZOLSTATS_OK, ZOLSTATS_TOKEN_NOT_FOUND, ZOLSTATS_CONNECTION_LOST,
                                         ZOLSTATS_EXCHANGE_FAILED));
        EXPECT_FALSE(each.isOpen());
    }
    gateway_.server().waitForConnections(1);
}

TEST_F(Threads, ThatCloseAfterTheAnswerMakeItStale) {
    const Statistics answer = connection_.statistics();
    std::thread([this] { connection_.close(); }).join();
    EXPECT_TRUE(throwsStale([&answer] { answer.begin(); }));
}

}  // namespace
