// Connections as objects: opening, closing, moving, and what they tell of themselves. What they are asked is tested in
// face_query_test.cpp, how they are lost in face_loss_test.cpp. What each call promises stands in zolstats.hpp.
#include "face.h"
#include "face/calls.h"
#include "support/answering_gateway.h"

namespace {

using namespace face;
using testing::SizeIs;

static_assert(!std::is_copy_constructible_v<Connection> && !std::is_copy_assignable_v<Connection>);
static_assert(std::is_nothrow_move_constructible_v<Connection> &&
              std::is_nothrow_move_assignable_v<Connection>);
static_assert(!std::is_default_constructible_v<Connection>);

class Connections : public Connected {
  protected:
    void expectUsable(Connection& connection) { EXPECT_EQ(itemsOf(connection.statistics()), ALL_STATISTICS); }
};

// ---- Opening

TEST_F(Connections, AreOpenOnceTheyAreThere) {
    EXPECT_TRUE(connection_.isOpen());
    EXPECT_EQ(gateway_.server().openConnections(), 1U);
    expectUsable(connection_);
}

TEST_F(Connections, CanBeOpenedByTheNameOfAHost) {
    Connection remote = Connection::openRemote("localhost", gateway_.port());
    expectUsable(remote);
    gateway_.server().waitForConnections(2);
}

TEST_F(Connections, TellTheVersionOfTheProtocol) {
    gateway::Options options;
    options.protocolVersion = "7_8";
    const ScriptedGateway other(options);
    EXPECT_EQ(Connection::openLocal(other.port()).protocolVersion(), "7_8");
    EXPECT_EQ(connection_.protocolVersion(), gateway::Options{}.protocolVersion);
}

TEST_F(Connections, TellTheVersionAlsoWhenTheyAreClosed) {
    const std::string before(connection_.protocolVersion());
    connection_.close();
    EXPECT_EQ(connection_.protocolVersion(), before);
}

struct Refusal {
    const char* name;
    int code;
    Connection (*open)();

    friend void PrintTo(const Refusal& refusal, std::ostream* out) { *out << refusal.name; }
};

Connection openWhereNobodyListens() {
    const testing_support::LoopbackPort port;
    return Connection::openLocal(port.number());
}

const Refusal REFUSALS[] = {
    {"PortZero", ZOLSTATS_BAD_PORT, [] { return Connection::openLocal(0); }},
    {"NegativePort", ZOLSTATS_BAD_PORT, [] { return Connection::openLocal(-1); }},
    {"PortTooLarge", ZOLSTATS_BAD_PORT, [] { return Connection::openRemote("127.0.0.1", 65536); }},
    {"NoSuchHost", ZOLSTATS_HOST_NOT_FOUND, [] { return Connection::openRemote("", 1); }},
    {"NobodyThere", ZOLSTATS_CONNECTION_REFUSED, openWhereNobodyListens},
    {"NoNetwork", ZOLSTATS_NETWORK_UNREACHABLE, [] { return Connection::openRemote("255.255.255.255", 1); }},
};

class RefusedConnection : public testing::TestWithParam<Refusal> {};
INSTANTIATE_TEST_SUITE_P(By, RefusedConnection, testing::ValuesIn(REFUSALS),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(RefusedConnection, ThrowsItsCodeAndClosesNothing) {
    const int before = closeCalls;
    EXPECT_EQ(codeOf(GetParam().open), GetParam().code);
    EXPECT_EQ(closeCalls, before);
}

TEST_F(Connections, AreNotOpenedToAHostCutShortAtANul) {
    EXPECT_THROW(Connection::openRemote(std::string("127.0.0.1\0.example", 18), gateway_.port()),
                 std::invalid_argument);
    EXPECT_EQ(gateway_.server().openConnections(), 1U);
}

// ---- Closing

TEST_F(Connections, CloseThemselvesWithLeave) {
    { const Connection second = open(); }
    gateway_.server().waitForConnections(1);
    EXPECT_EQ(closeRequests(), 1U);
    expectUsable(connection_);
}

TEST_F(Connections, CloseThemselvesWhenAnExceptionPasses) {
    EXPECT_THROW(
        {
            Connection second = open();
            second.statisticsById(std::string(ZOLSTATS_MAX_ID_LIST + 1, 'x'));
        },
        Error);
    gateway_.server().waitForConnections(1);
}

TEST_F(Connections, MayBeClosedEarlyAndAgain) {
    const int before = closeCalls;
    connection_.close();
    EXPECT_FALSE(connection_.isOpen());
    gateway_.server().waitForConnections(0);
    connection_.close();
    EXPECT_EQ(closeCalls, before + 1);
}

TEST_F(Connections, AreNotClosedTwiceByTheirEnd) {
    const int before = closeCalls;
    { open().close(); }
    EXPECT_EQ(closeCalls, before + 1);
}

TEST_F(Connections, MayBeClosedByAnotherThread) {
    std::thread([this] { connection_.close(); }).join();
    EXPECT_FALSE(connection_.isOpen());
    gateway_.server().waitForConnections(0);
}

TEST_F(Connections, MayEndInAnotherThread) {
    std::thread([moved = std::move(connection_)] {}).join();
    gateway_.server().waitForConnections(0);
}

TEST_F(Connections, ThatAreClosedTellSoWhenTheyAreAsked) {
    connection_.close();
    for (const Query& query : QUERIES) {
        EXPECT_EQ(codeOf([&] { query.ask(connection_); }), ZOLSTATS_TOKEN_NOT_FOUND) << query.name;
    }
}

TEST_F(Connections, AreUsedByNoOtherThread) {
    for (const Query& query : QUERIES) {
        EXPECT_EQ(inAnotherThread([&] { return codeOf([&] { query.ask(connection_); }); }),
                  ZOLSTATS_WRONG_THREAD)
            << query.name;
    }
    expectUsable(connection_);
}

TEST_F(Connections, ThatAreMovedToAnotherThreadBelongToTheOneThatOpenedThem) {
    Connection moved = std::move(connection_);
    EXPECT_EQ(inAnotherThread([&] { return codeOf([&] { moved.statistics(); }); }), ZOLSTATS_WRONG_THREAD);
    expectUsable(moved);
}

// ---- Moving

TEST_F(Connections, MoveWithoutClosing) {
    const int before = closeCalls;
    Connection moved = std::move(connection_);
    EXPECT_EQ(closeCalls, before);
    EXPECT_TRUE(moved.isOpen());
    EXPECT_EQ(moved.protocolVersion(), gateway::Options{}.protocolVersion);
    expectUsable(moved);
}

TEST_F(Connections, ThatWereMovedFromAreClosedOnes) {
    const Connection moved = std::move(connection_);
    EXPECT_FALSE(connection_.isOpen());
    EXPECT_EQ(connection_.protocolVersion(), "");
    for (const Query& query : QUERIES) {
        EXPECT_EQ(codeOf([&] { query.ask(connection_); }), ZOLSTATS_TOKEN_NOT_FOUND) << query.name;
    }
    connection_.close();
    EXPECT_TRUE(moved.isOpen());
}

TEST_F(Connections, CanBeOpenedAnewInTheSameVariable) {
    connection_.close();
    connection_ = open();
    expectUsable(connection_);
    const Connection moved = std::move(connection_);
    connection_ = open();
    expectUsable(connection_);
}

TEST_F(Connections, AreClosedWhenAnotherIsAssigned) {
    Connection second = open();
    connection_ = std::move(second);
    gateway_.server().waitForConnections(1);
    expectUsable(connection_);
    EXPECT_FALSE(second.isOpen());
}

TEST_F(Connections, AreClosedWhenAMovedFromOneIsAssigned) {
    Connection second = open();
    const Connection moved = std::move(second);
    connection_ = std::move(second);
    EXPECT_FALSE(connection_.isOpen());
    gateway_.server().waitForConnections(1);
}

TEST_F(Connections, SurviveBeingAssignedToThemselves) {
    Connection& same = connection_;
    connection_ = std::move(same);
    EXPECT_TRUE(connection_.isOpen());
    expectUsable(connection_);
    Connection moved = std::move(connection_);
    connection_ = std::move(same);
    EXPECT_FALSE(connection_.isOpen());
}

TEST_F(Connections, CanBeKeptInAContainerAndSwapped) {
    std::vector<Connection> many;
    for (int count = 0; count < 5; ++count) {
        many.push_back(open());
    }
    std::swap(many.front(), connection_);
    many.erase(many.begin());
    gateway_.server().waitForConnections(5);
    for (Connection& each : many) {
        expectUsable(each);
    }
    expectUsable(connection_);
}

}  // namespace
