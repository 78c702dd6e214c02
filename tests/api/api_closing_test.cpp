// Connections that one thread closes while another is in a call on them, and dumps of the state meanwhile. That
// nothing is freed under the call, or left behind, is noticed by the sanitizers. What each call promises stands in
// zolstats.h.
#include <atomic>
#include <functional>

#include "client.h"
#include "support/slow_gateway.h"
#include "trace_file.h"

namespace {

using namespace api;
using gateway::Reply;
using gateway::Request;
using testing::AnyOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Not;
using testing::Range;
using testing_support::FullQueue;

constexpr std::size_t REQUESTS_OF_AN_OPENING = 5;
constexpr int EVENTS = 2;

std::string stateDump() {
    const TemporaryFile file;
    setAPITraceFile(file.name());
    dumpState();
    setAPITraceFile(nullptr);
    return file.text();
}

// How another thread may close: the one connection, or all.
struct Close {
    const char* name;
    int (*run)(void** token);

    friend void PrintTo(const Close& how, std::ostream* out) { *out << how.name; }
};
const Close CLOSES[] = {
    {"One", closeGatewayConnection},
    {"All", [](void**) { return closeAllGatewayConnections(); }},
};

// ---- While a query waits for its answer

class DuringAQuery : public Connected, public testing::WithParamInterface<Close> {
  protected:
    // Never answer a query, or only with its first bytes.
    void fallSilent(std::size_t bytes = 0) {
        gateway_.answerQueries(
            [bytes](const Request&, const Reply& usual) { return Reply{usual.bytes.substr(0, bytes)}; });
    }
    void waitForTheQuery() { gateway_.server().waitForRequests(REQUESTS_OF_AN_OPENING + 2); }

    // Ask; do something in another thread when the query has reached the Gateway, then close. Gives the query's code.
    int askWhile(const std::function<void()>& meanwhile = [] {}) {
        void* token = token_;
        std::thread closing([&] {
            waitForTheQuery();
            meanwhile();
            EXPECT_EQ(GetParam().run(&token), 0);
        });
        const int rc = getStats(token_, &set_);
        closing.join();
        return rc;
    }
};

INSTANTIATE_TEST_SUITE_P(Closing, DuringAQuery, testing::ValuesIn(CLOSES),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(DuringAQuery, EndsTheQueryAsAFailedExchange) {
    fallSilent();
    EXPECT_EQ(askWhile(), -122);
    EXPECT_EQ(set_, nullptr);
}

TEST_P(DuringAQuery, EndsTheQueryInTheMiddleOfAnAnswer) {
    fallSilent(40);
    EXPECT_EQ(askWhile(), -122);
}

TEST_P(DuringAQuery, LeavesNoConnection) {
    fallSilent();
    askWhile();
    EXPECT_EQ(getStats(token_, &set_), -101);
    EXPECT_THAT(stateDump(), HasSubstr("The Gateway Token List is EMPTY\n"));
    gateway_.server().waitForConnections(0);
}

TEST_P(DuringAQuery, IsTraced) {
    fallSilent();
    const auto lines = tracedByAll([this] { askWhile(); }, EVENTS);
    EXPECT_THAT(lines, Contains(testing::Field(&TraceLine::message,
                                               HasSubstr("is in use by its owner, who frees it."))));
}

TEST_P(DuringAQuery, OfTheStateThatShowsTheConnectionInUse) {
    fallSilent();
    std::string dump;
    askWhile([&dump] { dump = stateDump(); });
    EXPECT_THAT(dump, HasSubstr("connStatus(1)"));
    EXPECT_THAT(dump, HasSubstr("\nThe connection is in use, its ResultSet is not shown\n"));
    EXPECT_THAT(dump, Not(HasSubstr("Dump of ResultSet")));
}

TEST_F(Connected, IsShownWithItsResultSetWhenNoCallUsesIt) {
    stats();
    EXPECT_THAT(stateDump(), HasSubstr("Dump of ResultSet"));
}

// The query that must not drop a connection leaves none behind that was closed meanwhile.
TEST_F(Connected, IsFreedAfterAnyQueryDuringWhichItWasClosed) {
    gateway_.answerQueries([](const Request&, const Reply&) { return Reply{}; });
    std::thread closing([this] {
        gateway_.server().waitForRequests(REQUESTS_OF_AN_OPENING + 2);
        closeAllGatewayConnections();
    });
    EXPECT_EQ(getStatsByStatGroupId(token_, "G1", &set_), -122);
    closing.join();
    EXPECT_EQ(getStatsByStatGroupId(token_, "G1", &set_), -101);
}

TEST_F(Connected, IsTracedWhenItIsClosedInUse) {
    gateway_.answerQueries([](const Request&, const Reply&) { return Reply{}; });
    void* token = token_;
    const auto lines = tracedByAll(
        [&] {
            std::thread closing([&] {
                gateway_.server().waitForRequests(REQUESTS_OF_AN_OPENING + 2);
                closeGatewayConnection(&token);
            });
            getStats(token_, &set_);
            closing.join();
        },
        EVENTS);
    EXPECT_THAT(lines,
                Contains(line(2045, "EVENT",
                              "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p) Gateway token(%p) is in use "
                              "by its owner, who frees it. The socket is shut down",
                              &token, token_)));
    EXPECT_EQ(token, nullptr);
}

// Other connections are none of its business.
TEST_F(Connected, StaysUsableWhenAnotherIsClosedInUse) {
    ScriptedGateway silent;
    std::atomic<void*> other{nullptr};
    std::thread asking([&] {
        void* token = nullptr;
        ResultSetToken* set = nullptr;
        EXPECT_EQ(openGatewayConnection(silent.port(), &token, &version_), 0);
        silent.answerQueries([](const Request&, const Reply&) { return Reply{}; });
        other = token;
        EXPECT_EQ(getStats(token, &set), -122);
    });
    silent.server().waitForRequests(REQUESTS_OF_AN_OPENING + 2);
    void* token = other;
    EXPECT_EQ(closeGatewayConnection(&token), 0);
    asking.join();
    EXPECT_THAT(statsOf(stats()), testing::SizeIs(3));
}

// ---- While a connection is being opened

class DuringAnOpening : public testing::TestWithParam<int> {
  protected:
    int openWhileAllAreClosed(const std::function<void()>& waitForTheOpening) {
        std::thread closing([&] {
            waitForTheOpening();
            EXPECT_EQ(closeAllGatewayConnections(), 0);
        });
        const int rc = openGatewayConnection(port_, &token_, &version_);
        closing.join();
        return rc;
    }

    int port_ = 0;
    void* token_ = nullptr;
    char* version_ = nullptr;
};

INSTANTIATE_TEST_SUITE_P(AtRequest, DuringAnOpening, Range(0, static_cast<int>(REQUESTS_OF_AN_OPENING)));

TEST_P(DuringAnOpening, EndsIt) {
    ScriptedGateway gateway;
    std::atomic<int> answered{0};
    gateway.answer([&](const Request&, Reply usual) { return answered++ < GetParam() ? usual : Reply{}; });
    port_ = gateway.port();
    const auto waits = [&] { gateway.server().waitForRequests(static_cast<std::size_t>(GetParam()) + 1); };
    EXPECT_THAT(openWhileAllAreClosed(waits), AnyOf(-118, -122));
    EXPECT_EQ(token_, nullptr);
    gateway.server().waitForConnections(0);
    EXPECT_THAT(stateDump(), HasSubstr("The Gateway Token List is EMPTY\n"));
}

TEST_F(DuringAnOpening, EndsTheConnectItself) {
    const FullQueue gateway;
    port_ = gateway.port();
    const auto waits = [] {
        while (stateDump().find("socket(-1)") != std::string::npos ||
               stateDump().find("GatwayToken(") == std::string::npos) {
            std::this_thread::yield();
        }
    };
    EXPECT_EQ(openWhileAllAreClosed(waits), -118);
}

}  // namespace
