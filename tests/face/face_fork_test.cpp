// A process that forks with connections open: the child's objects leave the parent's connections alone, however they
// are used or end. What the library promises of processes stands in zolstats.h under Conventions.
#include "face.h"
#include "face/calls.h"

namespace {

using namespace face;

class Forked : public Connected {
  protected:
    // Runs in a child; gives how often that called the library to close, or -1 if the action tells of a failure.
    template <class Action>
    static int closeCallsOfAChild(Action action) {
        return inAForkedChild([&action] {
            const int before = closeCalls;
            return action() ? closeCalls - before : -1;
        });
    }

    // The parent's connection works. What the child had sent on it would have come before this query.
    void expectUndisturbed() {
        EXPECT_EQ(itemsOf(connection_.statistics()), ALL_STATISTICS);
        EXPECT_EQ(gateway_.queries(), std::vector<std::string>{"GET_STATS()"});
        EXPECT_EQ(closeRequests(), 0U);
        EXPECT_EQ(gateway_.server().openConnections(), 1U);
    }
};

constexpr int REFUSED = -ZOLSTATS_WRONG_PROCESS;  // fits an exit code

TEST_F(Forked, LeavesTheConnectionAloneWhenItsObjectEnds) {
    EXPECT_EQ(closeCallsOfAChild([this] {
                  const Connection inherited = std::move(connection_);
                  return inherited.isOpen();
              }),
              0);
    expectUndisturbed();
}

TEST_F(Forked, LeavesTheConnectionAloneWhenItsObjectIsAssigned) {
    EXPECT_EQ(closeCallsOfAChild([this] {
                  connection_ = open();
                  const bool works = itemsOf(connection_.groups()).size() == 2;
                  connection_.close();
                  return works;
              }),
              1)
        << "the child's own is closed";
    gateway_.server().waitForConnections(1);
    EXPECT_EQ(itemsOf(connection_.statistics()), ALL_STATISTICS);
}

TEST_F(Forked, MayNotCloseTheConnection) {
    EXPECT_EQ(inAForkedChild([this] { return -codeOf([this] { connection_.close(); }); }), REFUSED);
    expectUndisturbed();
}

TEST_F(Forked, MayCloseAConnectionThatTheParentHasClosed) {
    connection_.close();
    EXPECT_EQ(inAForkedChild([this] { return -codeOf([this] { connection_.close(); }); }), 0);
}

TEST_F(Forked, MayNotAskAndEndsNothingByIt) {
    EXPECT_EQ(inAForkedChild([this] {
                  for (const Query& query : QUERIES) {
                      if (codeOf([&] { query.ask(connection_); }) != ZOLSTATS_WRONG_PROCESS) {
                          return 1;
                      }
                  }
                  return connection_.isOpen() ? 0 : 2;
              }),
              0);
    expectUndisturbed();
}

TEST_F(Forked, MayNotWalkTheParentsAnswer) {
    const Statistics answer = connection_.statistics();
    auto walk = answer.begin();
    EXPECT_EQ(inAForkedChild([&] { return -codeOf([&] { answer.begin(); }); }), REFUSED);
    EXPECT_EQ(inAForkedChild([&] { return -codeOf([&] { ++walk; }); }), REFUSED);
    EXPECT_EQ(inAForkedChild([&] { return -codeOf([&] { answer.copy(); }); }), REFUSED);
    ++walk;
    EXPECT_EQ(walk->id, "S2");
}

TEST_F(Forked, WalksAndFreesItsShareOfACopy) {
    const StatisticSet copy = connection_.statistics().copy();
    EXPECT_EQ(inAForkedChild([&] {
                  StatisticSet inherited = copy.copy();
                  return itemsOf(inherited) == ALL_STATISTICS && itemsOf(copy) == ALL_STATISTICS ? 0 : 1;
              }),
              0);
    EXPECT_EQ(itemsOf(copy), ALL_STATISTICS);
}

TEST_F(Forked, OpensAConnectionOfItsOwnBesideTheParents) {
    EXPECT_EQ(inAForkedChild([this] {
                  Connection own = open();
                  return itemsOf(own.groups()).size() == 2 ? 0 : 1;
              }),
              0);
    gateway_.server().waitForConnections(1);
    EXPECT_EQ(closeRequests(), 1U) << "of the child's own";
    EXPECT_EQ(itemsOf(connection_.statistics()), ALL_STATISTICS);
}

}  // namespace
