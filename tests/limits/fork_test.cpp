// A process that forks: the child cannot use its parent's connections, and nothing that it does with them,
// and no way it ends, disturbs the parent. That each query is refused to it is tested in
// api/api_query_test.cpp. What the library promises stands in zolstats.h under Conventions.
#include <csignal>
#include <cstdlib>

#include "api/client.h"
#include "api/trace_file.h"
#include "forked_gateway.h"

namespace {

using namespace api;
using testing::SizeIs;

// The process has no threads but its own, as one that forks should: its Gateway is in another.
class Forking : public testing::Test {
  protected:
    Forking() { EXPECT_EQ(openGatewayConnection(gateway_.port(), &token_, &version_), 0); }
    ~Forking() override { closeAllGatewayConnections(); }

    ResultSetToken* ask(int (*query)(void*, ResultSetToken**)) {
        EXPECT_EQ(query(token_, &set_), 0);
        return set_;
    }
    void expectUsable() {
        EXPECT_THAT(statsOf(ask(getStats)), SizeIs(3));
        EXPECT_THAT(idsOf(ask(getResourceGroupIds)), SizeIs(2));
    }

    limits::ForkedGateway gateway_;
    void* token_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;
};

// ---- Use in the child

TEST_F(Forking, RefusesAllSixQueriesToTheChildAndGoesOnInTheParent) {
    ask(getStats);
    EXPECT_EQ(inAForkedChild([this] {
                  ResultSetToken* none = nullptr;
                  const bool refused = getStats(token_, &none) == -123 && getStatIds(token_, &none) == -123 &&
                                       getResourceGroupIds(token_, &none) == -123 &&
                                       getStatsByStatId(token_, "S1", &none) == -123 &&
                                       getStatsByStatGroupId(token_, "G1", &none) == -123 &&
                                       getStatIdsByStatGroupId(token_, "G1", &none) == -123;
                  return refused && none == nullptr ? 0 : 1;
              }),
              0);
    EXPECT_THAT(statsOf(set_), SizeIs(3)) << "the parent's set is as it was";
    expectUsable();
}

TEST_F(Forking, RefusesWalksOfStatisticsToTheChild) {
    ResultSetToken* const set = ask(getStats);
    StatData record{};
    ASSERT_EQ(getFirstStat(set, &record), 0);
    EXPECT_EQ(inAForkedChild([&] { return -getFirstStat(set, &record); }), 123);
    EXPECT_EQ(inAForkedChild([&] { return -getNextStat(set, &record); }), 123);
    EXPECT_EQ(getNextStat(set, &record), 0);
    EXPECT_EQ(text(record.statId, record.statIdLen), "S2");
}

TEST_F(Forking, RefusesWalksOfIdsToTheChild) {
    ResultSetToken* const set = ask(getStatIds);
    IdData record{};
    ASSERT_EQ(getFirstId(set, &record), 0);
    EXPECT_EQ(inAForkedChild([&] { return -getFirstId(set, &record); }), 123);
    EXPECT_EQ(inAForkedChild([&] { return -getNextId(set, &record); }), 123);
    EXPECT_EQ(getNextId(set, &record), 0);
    EXPECT_EQ(text(record.id, record.idLen), "S2");
}

TEST_F(Forking, RefusesWalksToAChildOfTheChild) {
    ResultSetToken* const set = ask(getStats);
    StatData record{};
    EXPECT_EQ(inAForkedChild([&] { return inAForkedChild([&] { return -getFirstStat(set, &record); }); }),
              123);
}

TEST_F(Forking, LetsTheChildOpenAndCloseAConnectionOfItsOwn) {
    EXPECT_EQ(inAForkedChild([this] {
                  void* own = nullptr;
                  const bool works = openGatewayConnection(gateway_.port(), &own, &version_) == 0 &&
                                     getStats(own, &set_) == 0 && statsOf(set_).size() == 3 &&
                                     closeGatewayConnection(&own) == 0;
                  return works ? 0 : 1;
              }),
              0);
    expectUsable();
}

TEST_F(Forking, LetsTheChildFreeItsShareOfACopyWhileTheParentKeepsIts) {
    const Copy copy = copyOf(ask(getStats));
    EXPECT_EQ(inAForkedChild([&] {
                  ResultSetToken* shared = copy.get();
                  return -freeResultSet(&shared);
              }),
              0);
    EXPECT_THAT(statsOf(copy.get()), SizeIs(3));
}

// ---- Ways in which the child ends, having closed nothing

TEST_F(Forking, GoesOnAfterAChildThatEndsAtOnce) {
    EXPECT_EQ(inAForkedChild([] { return 7; }), 7);
    expectUsable();
}

TEST_F(Forking, GoesOnAfterAChildThatExitsWithAllThatBelongsToIt) {
    EXPECT_EQ(inAForkedChild([]() -> int { std::exit(7); }), 7);
    expectUsable();
}

TEST_F(Forking, GoesOnAfterAChildThatBecomesAnotherProgram) {
    EXPECT_EQ(inAForkedChild([] { return ::execl("/bin/sh", "sh", "-c", "exit 7", nullptr); }), 7);
    expectUsable();
}

TEST_F(Forking, GoesOnAfterAChildThatIsKilled) {
    const pid_t child = ::fork();
    if (child == 0) {
        std::raise(SIGKILL);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFSIGNALED(status));
    expectUsable();
}

TEST_F(Forking, GoesOnAfterManyChildren) {
    for (int each = 0; each < 50; ++each) {
        EXPECT_EQ(inAForkedChild([this] { return -getStats(token_, &set_); }), 123);
    }
    expectUsable();
}

// ---- What the child does not take along

// The program tells which of the parent's descriptors it got beyond the three usual ones.
TEST_F(Forking, PassesNoConnectionOnToAnotherProgram) {
    const TemporaryFile trace;
    setAPITraceFile(trace.name());
    EXPECT_EQ(inAForkedChild([] {
                  const char* count =
                      "for d in /proc/self/fd/*; do readlink $d; done | grep -c -e socket: -e trace-";
                  ::execl("/bin/sh", "sh", "-c", (std::string("exit $(") + count + ")").c_str(), nullptr);
                  return 255;
              }),
              0);
    setAPITraceFile(nullptr);
}

TEST_F(Forking, WritesNoTraceLineTwiceWhenTheChildExits) {
    const auto lines = tracedByAll(
        [this] {
            ask(getStats);
            EXPECT_EQ(inAForkedChild([]() -> int { std::exit(7); }), 7);
            ask(getStats);
        },
        ZOLSTATS_TRACE_EVENTS);
    EXPECT_EQ(
        std::count_if(lines.begin(), lines.end(), [](const TraceLine& each) { return each.point == 1130; }),
        2);
}

}  // namespace
