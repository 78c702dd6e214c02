// Connections that a query loses: they are closed once, by the library or by the face, and nothing remains of them. The
// address of a lost one may be another connection's at once, so a second close must never reach the library. What each
// call promises stands in zolstats.hpp.
#include "api/trace_file.h"
#include "face.h"
#include "face/calls.h"

namespace {

using namespace face;
using testing::HasSubstr;

// How the Gateway refuses a query, and what the query throws then.
struct Failure {
    const char* name;
    std::int32_t gatewayCode;
    int code;

    friend void PrintTo(const Failure& failure, std::ostream* out) { *out << failure.name; }
};

const Failure FAILURES[] = {
    {"Lost", -1, ZOLSTATS_CONNECTION_LOST},
    {"Failed", 7, ZOLSTATS_EXCHANGE_FAILED},
};

class Loss : public Connected, public testing::WithParamInterface<std::tuple<Query, Failure>> {
  protected:
    [[nodiscard]] const Query& query() const { return std::get<Query>(GetParam()); }

    // The connection's query fails; gives its code.
    int lose() {
        gateway_.refuseQueries(std::get<Failure>(GetParam()).gatewayCode);
        const int code = codeOf([this] { query().ask(connection_); });
        gateway_.answerAsUsual();
        return code;
    }
    [[nodiscard]] int closesHere() const { return query().closesHere ? 1 : 0; }
    static std::string state() {
        const api::TemporaryFile file;
        zolstats::setTraceFile(file.name());
        zolstats::writeState();
        zolstats::traceToStandardError();
        return file.text();
    }

    const int closesBefore_ = closeCalls;
};

INSTANTIATE_TEST_SUITE_P(In, Loss, testing::Combine(testing::ValuesIn(QUERIES), testing::ValuesIn(FAILURES)),
                         [](const auto& instance) {
                             return std::string(std::get<Query>(instance.param).name) +
                                    std::get<Failure>(instance.param).name;
                         });

TEST_P(Loss, IsThrownAndClosesTheConnection) {
    EXPECT_EQ(lose(), std::get<Failure>(GetParam()).code);
    EXPECT_FALSE(connection_.isOpen());
    gateway_.server().waitForConnections(0);
}

TEST_P(Loss, LeavesNothingOpenInTheLibrary) {
    lose();
    EXPECT_THAT(state(), HasSubstr("The Gateway Token List is EMPTY\n"));
}

TEST_P(Loss, ClosesOnceAndNeverAgain) {
    lose();
    EXPECT_EQ(closeCalls, closesBefore_ + closesHere());
    connection_.close();
    { const Connection gone = std::move(connection_); }
    EXPECT_EQ(closeCalls, closesBefore_ + closesHere());
}

TEST_P(Loss, TellsFurtherQueriesThatTheConnectionIsNotOpen) {
    lose();
    EXPECT_EQ(codeOf([this] { query().ask(connection_); }), ZOLSTATS_TOKEN_NOT_FOUND);
    EXPECT_EQ(closeCalls, closesBefore_ + closesHere());
}

TEST_P(Loss, DoesNotCloseAConnectionThatTookItsPlace) {
    lose();
    Connection next = open();
    { const Connection gone = std::move(connection_); }
    EXPECT_EQ(closeCalls, closesBefore_ + closesHere());
    EXPECT_EQ(itemsOf(next.statistics()), ALL_STATISTICS);
}

TEST_P(Loss, CanBeMendedByANewConnection) {
    lose();
    connection_ = open();
    EXPECT_EQ(itemsOf(connection_.statistics()), ALL_STATISTICS);
    EXPECT_EQ(closeCalls, closesBefore_ + closesHere());
}

TEST_P(Loss, OfAGatewayThatHasGoneIsNoticedByTheQuery) {
    gateway_.server().dropConnections();
    gateway_.server().waitForConnections(0);
    EXPECT_TRUE(connection_.isOpen()) << "nobody has asked yet";
    EXPECT_EQ(codeOf([this] { query().ask(connection_); }), ZOLSTATS_CONNECTION_LOST);
    EXPECT_FALSE(connection_.isOpen());
}

// ---- What is no loss

TEST_F(Connected, StaysOpenAfterAQueryThatWasNotSent) {
    codeOf([this] { connection_.statisticsById(std::string(ZOLSTATS_MAX_ID_LIST + 1, 'x')); });
    EXPECT_TRUE(connection_.isOpen());
    EXPECT_EQ(itemsOf(connection_.statistics()), ALL_STATISTICS);
}

TEST_F(Connected, LearnsFromItsNextQueryThatItWasClosedBehindItsBack) {
    const int before = closeCalls;
    ASSERT_EQ(closeAllGatewayConnections(), ZOLSTATS_OK);
    EXPECT_EQ(codeOf([this] { connection_.statistics(); }), ZOLSTATS_TOKEN_NOT_FOUND);
    EXPECT_FALSE(connection_.isOpen());
    connection_.close();
    EXPECT_EQ(closeCalls, before);
}

}  // namespace
