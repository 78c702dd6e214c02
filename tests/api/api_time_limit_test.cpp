// The time limit that an application sets for its thread's calls: against Gateways that fall silent at each point of
// a conversation, or that send too slowly. That an exchange without a limit does what it always did is tested in
// socketcomms_time_test.cpp. What each call promises stands in zolstats.h.
#include <atomic>
#include <chrono>

#include "client.h"
#include "support/slow_gateway.h"
#include "trace_file.h"

namespace {

using namespace api;
using gateway::Reply;
using gateway::Request;
using Milliseconds = std::chrono::milliseconds;
using std::chrono::steady_clock;
using testing::AllOf;
using testing::ElementsAre;
using testing::Ge;
using testing::Lt;
using testing::Range;
using testing_support::FullQueue;
using testing_support::SlowGateway;

constexpr int LIMIT_MS = 150;
constexpr Milliseconds LIMIT{LIMIT_MS};
constexpr Milliseconds FAR_TOO_LONG{5000};  // generous: the machine may be busy

// How long an action takes.
template <class Action>
Milliseconds timeOf(Action action) {
    const auto start = steady_clock::now();
    action();
    return std::chrono::duration_cast<Milliseconds>(steady_clock::now() - start);
}

// Ends at the limit, neither before nor long after.
auto endsAtTheLimit() {
    return AllOf(Ge(LIMIT), Lt(FAR_TOO_LONG));
}

int limitNow() {
    int milliseconds = -1;
    EXPECT_EQ(getAPITimeout(&milliseconds), 0);
    return milliseconds;
}

class TimeLimit : public testing::Test {
  protected:
    ~TimeLimit() override {
        setAPITimeout(0);
        closeAllGatewayConnections();
    }

    int open(int port) { return openGatewayConnection(port, &token_, &version_); }

    void* token_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;
};

// ---- Setting it

TEST_F(TimeLimit, IsNoneAtFirst) {
    EXPECT_EQ(limitNow(), 0);
}

TEST_F(TimeLimit, IsToldAsItWasSet) {
    for (const int milliseconds : {1, 60000, 86400000, 0}) {
        EXPECT_EQ(setAPITimeout(milliseconds), 0);
        EXPECT_EQ(limitNow(), milliseconds);
    }
}

TEST_F(TimeLimit, IsNeitherNegativeNorLongerThanADay) {
    setAPITimeout(7);
    for (const int milliseconds : {-1, 86400001, INT32_MAX, INT32_MIN}) {
        EXPECT_EQ(setAPITimeout(milliseconds), -137) << milliseconds;
        EXPECT_EQ(limitNow(), 7);
    }
}

TEST_F(TimeLimit, IsToldToAnAddressOnly) {
    EXPECT_EQ(getAPITimeout(nullptr), -109);
}

TEST_F(TimeLimit, BelongsToTheThreadThatSetIt) {
    setAPITimeout(LIMIT_MS);
    EXPECT_EQ(inAnotherThread(limitNow), 0);
}

TEST_F(TimeLimit, IsTracedWhenItIsSetAndAskedFor) {
    int milliseconds = 0;
    EXPECT_THAT(traced(
                    [&] {
                        setAPITimeout(250);
                        getAPITimeout(&milliseconds);
                        setAPITimeout(-1);
                        getAPITimeout(nullptr);
                    },
                    3),
                ElementsAre(line(1143, "ENTRY", "API.setAPITimeout(milliseconds=%d)", 250),
                            line(1145, "EXIT", "API.setAPITimeout(milliseconds=%d) rc=%d", 250, 0),
                            line(1146, "ENTRY", "API.getAPITimeout(milliseconds=%p)", &milliseconds),
                            line(1148, "EXIT", "API.getAPITimeout(milliseconds=%p) rc=%d", &milliseconds, 0),
                            line(1143, "ENTRY", "API.setAPITimeout(milliseconds=%d)", -1),
                            line(1144, "*EXC*", "API.setAPITimeout() Supplied time limit %d was invalid", -1),
                            line(1145, "EXIT", "API.setAPITimeout(milliseconds=%d) rc=%d", -1, -137),
                            line(1146, "ENTRY", "API.getAPITimeout(milliseconds=(nil))"),
                            line(1147, "*EXC*", "API.getAPITimeout() Supplied pointer is NULL"),
                            line(1148, "EXIT", "API.getAPITimeout(milliseconds=(nil)) rc=%d", -109)));
}

// ---- Opening

constexpr int REQUESTS_OF_AN_OPENING = 5;  // handshake, two of the authorisation, two for the version

// A Gateway that does not answer the request with this number (from 0) any more.
class OpeningUnanswered : public TimeLimit, public testing::WithParamInterface<int> {
  protected:
    OpeningUnanswered() {
        gateway_.answer(
            [this](const Request&, Reply usual) { return answered_++ < GetParam() ? usual : Reply{}; });
        setAPITimeout(LIMIT_MS);
    }

    std::atomic<int> answered_{0};
    ScriptedGateway gateway_;
};

INSTANTIATE_TEST_SUITE_P(AtRequest, OpeningUnanswered, Range(0, REQUESTS_OF_AN_OPENING));

TEST_P(OpeningUnanswered, TimesOut) {
    int rc = 0;
    EXPECT_THAT(timeOf([&] { rc = open(gateway_.port()); }), endsAtTheLimit());
    EXPECT_EQ(rc, -134);
    EXPECT_EQ(token_, nullptr);
}

TEST_P(OpeningUnanswered, LeavesNothingOpen) {
    open(gateway_.port());
    gateway_.server().waitForConnections(0);
}

TEST_P(OpeningUnanswered, TellsOnceWhatHappened) {
    const auto lines = traced([this] { open(gateway_.port()); });
    EXPECT_THAT(lines, ElementsAre(line(1149, "*EXC*", "API.%s() time limit of %d ms has passed",
                                        "openGatewayConnection", LIMIT_MS)));
}

TEST_F(TimeLimit, OfAnOpeningHoldsForTheRemoteCallToo) {
    SlowGateway silent("", "");
    setAPITimeout(LIMIT_MS);
    const auto lines = traced([&] {
        EXPECT_EQ(openRemoteGatewayConnection("127.0.0.1", silent.port(), &token_, &version_), -134);
    });
    EXPECT_THAT(lines, ElementsAre(line(1149, "*EXC*", "API.%s() time limit of %d ms has passed",
                                        "openRemoteGatewayConnection", LIMIT_MS)));
}

TEST_F(TimeLimit, OfAnOpeningIncludesTheConnect) {
    const FullQueue gateway;
    setAPITimeout(LIMIT_MS);
    int rc = 0;
    EXPECT_THAT(timeOf([&] { rc = open(gateway.port()); }), endsAtTheLimit());
    EXPECT_EQ(rc, -134);
}

TEST_F(TimeLimit, OfAnOpeningIsNotExtendedByAByteNowAndThen) {
    SlowGateway gateway("", testing_support::openReplies());
    setAPITimeout(LIMIT_MS);
    int rc = 0;
    EXPECT_THAT(timeOf([&] { rc = open(gateway.port()); }), endsAtTheLimit());
    EXPECT_EQ(rc, -134);
}

TEST_F(TimeLimit, LeavesAFastGatewayAlone) {
    const ScriptedGateway gateway;
    setAPITimeout(FAR_TOO_LONG.count());
    ASSERT_EQ(open(gateway.port()), 0);
    ASSERT_EQ(getStats(token_, &set_), 0);
    EXPECT_THAT(statsOf(set_), testing::SizeIs(3));
    EXPECT_EQ(closeGatewayConnection(&token_), 0);
}

// ---- Queries

struct QueryCall {
    const char* name;
    int (*ask)(void* token, ResultSetToken** set);
    bool drops = true;

    friend void PrintTo(const QueryCall& call, std::ostream* out) { *out << call.name; }
};

const QueryCall QUERIES[] = {
    {"getStats", getStats},
    {"getStatIds", getStatIds},
    {"getResourceGroupIds", getResourceGroupIds},
    {"getStatsByStatGroupId",
     [](void* token, ResultSetToken** set) { return getStatsByStatGroupId(token, "G1", set); }, false},
    {"getStatsByStatId",
     [](void* token, ResultSetToken** set) { return getStatsByStatId(token, "S1", set); }},
    {"getStatIdsByStatGroupId",
     [](void* token, ResultSetToken** set) { return getStatIdsByStatGroupId(token, "G1", set); }},
};

class QueryUnanswered : public TimeLimit, public testing::WithParamInterface<QueryCall> {
  protected:
    QueryUnanswered() {
        EXPECT_EQ(open(gateway_.port()), 0);
        setAPITimeout(LIMIT_MS);
        gateway_.answer([](const Request&, const Reply&) { return Reply{}; });
    }

    int ask() { return GetParam().ask(token_, &set_); }

    ScriptedGateway gateway_;
};

INSTANTIATE_TEST_SUITE_P(Of, QueryUnanswered, testing::ValuesIn(QUERIES),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(QueryUnanswered, LosesItsConnection) {
    int rc = 0;
    EXPECT_THAT(timeOf([&] { rc = ask(); }), endsAtTheLimit());
    EXPECT_EQ(rc, -102);
}

TEST_P(QueryUnanswered, TellsOnceWhatHappened) {
    const auto lines = traced([this] { ask(); });
    EXPECT_THAT(lines, ElementsAre(line(1149, "*EXC*", "API.%s() time limit of %d ms has passed",
                                        GetParam().name, LIMIT_MS)));
}

TEST_P(QueryUnanswered, LeavesNoConnectionOnWhichTheNextWouldWait) {
    ask();
    setAPITimeout(0);
    int rc = 0;
    EXPECT_LT(timeOf([&] { rc = ask(); }), FAR_TOO_LONG);
    EXPECT_EQ(rc, GetParam().drops ? -101 : -102);
}

class AnswerCutShort : public TimeLimit {
  protected:
    // Opens, and is told the rest of the answer byte by byte.
    void openSlow(const std::string& atOnce, const std::string& slowly) {
        gateway_ = std::make_unique<SlowGateway>(testing_support::openReplies() + atOnce, slowly);
        ASSERT_EQ(open(gateway_->port()), 0);
        setAPITimeout(LIMIT_MS);
    }
    void expectToTimeOut() {
        int rc = 0;
        EXPECT_THAT(timeOf([&] { rc = getStats(token_, &set_); }), endsAtTheLimit());
        EXPECT_EQ(rc, -102);
    }

    const std::string answer_ = testing_support::message(
        {.name = "Admin"}, testing_support::word(5) + testing_support::word(0) + std::string(1001, '\0'));
    std::unique_ptr<SlowGateway> gateway_;
};

TEST_F(AnswerCutShort, AtItsBeginningTimesOut) {
    openSlow("", testing_support::adminInitReply());
    expectToTimeOut();
}

TEST_F(AnswerCutShort, InTheHeaderTimesOut) {
    openSlow(testing_support::adminInitReply() + answer_.substr(0, 20), "");
    expectToTimeOut();
}

TEST_F(AnswerCutShort, InTheBodyTimesOut) {
    openSlow(testing_support::adminInitReply() + answer_.substr(0, 500), "");
    expectToTimeOut();
}

TEST_F(AnswerCutShort, ThatGoesOnByteByByteTimesOut) {
    openSlow(testing_support::adminInitReply(), answer_);
    expectToTimeOut();
}

TEST_F(TimeLimit, OfAThreadDoesNotHoldForAnother) {
    gateway::Options slow;
    slow.delayMs = 20;
    const ScriptedGateway gateway(slow);
    setAPITimeout(1);
    EXPECT_EQ(inAnotherThread([&] { return open(gateway.port()); }), 0);
    EXPECT_EQ(open(gateway.port()), -134);
}

// ---- Closing

class ClosingUnanswered : public TimeLimit {
  protected:
    ClosingUnanswered() {
        gateway_.answer(
            [](const Request& request, Reply usual) { return request.type == 10 ? Reply{} : usual; });
        EXPECT_EQ(open(gateway_.port()), 0);
    }

    ScriptedGateway gateway_;
};

TEST_F(ClosingUnanswered, ClosesAtTheLimit) {
    setAPITimeout(LIMIT_MS);
    int rc = -1;
    EXPECT_THAT(timeOf([&] { rc = closeGatewayConnection(&token_); }), endsAtTheLimit());
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(token_, nullptr);
    gateway_.server().waitForConnections(0);
}

TEST_F(ClosingUnanswered, TellsWhatHappened) {
    setAPITimeout(LIMIT_MS);
    const auto lines = traced([this] { closeGatewayConnection(&token_); });
    EXPECT_THAT(lines, ElementsAre(line(1149, "*EXC*", "API.%s() time limit of %d ms has passed",
                                        "closeGatewayConnection", LIMIT_MS)));
}

TEST_F(ClosingUnanswered, TakesTheLimitForEachOfSeveralConnections) {
    void* second = nullptr;
    ASSERT_EQ(openGatewayConnection(gateway_.port(), &second, &version_), 0);
    setAPITimeout(LIMIT_MS);
    int rc = -1;
    std::vector<TraceLine> lines;
    EXPECT_THAT(timeOf([&] { lines = traced([&] { rc = closeAllGatewayConnections(); }); }),
                AllOf(Ge(2 * LIMIT), Lt(FAR_TOO_LONG)));
    EXPECT_EQ(rc, 0);
    const TraceLine told = line(1149, "*EXC*", "API.%s() time limit of %d ms has passed",
                                "closeAllGatewayConnections", LIMIT_MS);
    EXPECT_THAT(lines, ElementsAre(told, told));
    gateway_.server().waitForConnections(0);
}

TEST_F(ClosingUnanswered, KeepsOtherThreadsWaitingNoLonger) {
    std::thread closing([this] {
        setAPITimeout(LIMIT_MS);
        closeAllGatewayConnections();
    });
    gateway_.server().waitForRequests(REQUESTS_OF_AN_OPENING + 1);  // the close request
    EXPECT_LT(timeOf([&] { EXPECT_EQ(getStats(token_, &set_), -101); }), FAR_TOO_LONG);
    closing.join();
}

}  // namespace
