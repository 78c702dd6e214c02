// What a user of zolstat ping sees: times of each step, and which step failed.
// Not a test of how long anything takes; only a Gateway that waits on purpose is held against its delay.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <poll.h>

#include <algorithm>
#include <csignal>
#include <nlohmann/json.hpp>
#include <regex>

#include "support/answering_gateway.h"
#include "zolstat_fixture.h"

namespace {

using namespace zolstat_testing;
using nlohmann::json;

constexpr const char* STEPS[] = {"resolve", "connect", "open", "query", "walk"};

class Ping : public Zolstat {
  protected:
    json pingAsJson(std::vector<std::string> arguments = {}) const {
        arguments.insert(arguments.begin(), {"ping", "--format", "json"});
        return json::parse(run(arguments).output);
    }

    std::size_t handshakes() const {
        const auto requests = server().requests();
        return static_cast<std::size_t>(
            std::count_if(requests.begin(), requests.end(),
                          [](const gateway::Request& request) { return request.type == 5; }));
    }
};

TEST_F(Ping, TimesEachStepOnce) {
    serve(TWO_GROUPS);
    const Finished finished = run({"ping"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.error, "");
    EXPECT_TRUE(std::regex_match(
        finished.output, std::regex(address() + " at 127\\.0\\.0\\.1: 1 round, 3 statistics, times in ms\n"
                                                "  resolve +\\d+\\.\\d{3}\n  connect +\\d+\\.\\d{3}\n"
                                                "  open +\\d+\\.\\d{3}\n  query +\\d+\\.\\d{3}\n"
                                                "  walk +\\d+\\.\\d{3}\n")))
        << finished.output;
}

TEST_F(Ping, GoesAsManyRoundsAsAskedForAndTellsTheSpread) {
    serve(TWO_GROUPS);
    const Finished finished = run({"ping", "-c", "3"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_NE(finished.output.find(": 3 rounds, 3 statistics"), std::string::npos) << finished.output;
    EXPECT_NE(finished.output.find("minimum     median    maximum\n"), std::string::npos) << finished.output;
    EXPECT_EQ(handshakes(), 3U);
}

TEST_F(Ping, OrdersMinimumMedianAndMaximum) {
    serve(TWO_GROUPS);
    const json document = pingAsJson({"-c", "4"});
    EXPECT_EQ(document["format_version"], 1);
    EXPECT_EQ(document["kind"], "ping");
    EXPECT_EQ(document["unit"], "ms");
    const json& gateway = document["gateways"].at(0);
    EXPECT_EQ(gateway["host"], "127.0.0.1");
    EXPECT_EQ(gateway["address"], "127.0.0.1");
    EXPECT_EQ(gateway["rounds"], 4);
    EXPECT_EQ(gateway["statistics"], 3);
    EXPECT_FALSE(gateway.contains("error"));
    for (const char* step : STEPS) {
        const json& times = gateway["steps"][step];
        EXPECT_GT(times["minimum"], 0) << step;
        EXPECT_LE(times["minimum"], times["median"]) << step;
        EXPECT_LE(times["median"], times["maximum"]) << step;
    }
}

// Five replies open a connection, two answer a query.
TEST_F(Ping, CountsTheWaitingOfAStepToThatStep) {
    constexpr int delayMs = 20;
    delayReplies(delayMs);
    serve(TWO_GROUPS);
    const json steps = pingAsJson()["gateways"].at(0)["steps"];
    EXPECT_GE(steps["open"]["minimum"], 5 * delayMs);
    EXPECT_GE(steps["query"]["minimum"], 2 * delayMs);
}

TEST_F(Ping, TellsAtWhichStepItFailedAndShowsTheOtherGateways) {
    serve(TWO_GROUPS);
    const ClosedPort closed;
    const std::string unknown(64, 'x');
    const Finished finished =
        program::run(ZOLSTAT, {"ping", "--gateway", address(), "--gateway", "127.0.0.1:" + closed.text(),
                               "--gateway", unknown + ":1"});
    EXPECT_EQ(finished.exitCode, 3);
    EXPECT_EQ(finished.error, "zolstat: 127.0.0.1:" + closed.text() +
                                  ": connect: the connection was refused: nothing listens on that port "
                                  "(-135)\nzolstat: " +
                                  unknown + ":1: resolve: the host name could not be resolved (-132)\n");
    EXPECT_NE(finished.output.find("  walk"), std::string::npos);
    EXPECT_NE(finished.output.find("  connect     failed\n"), std::string::npos) << finished.output;
    EXPECT_NE(finished.output.find("  resolve     failed\n"), std::string::npos) << finished.output;
}

// ---- Interrupted by Ctrl-C

TEST_F(Ping, TellsTheRoundsSoFarWhenItIsInterrupted) {
    serve(TWO_GROUPS);
    program::Running ping(ZOLSTAT, {"ping", "--gateway", address(), "-c", "1000000"});
    server().waitForRequests(100);
    ping.send(SIGINT);
    const Finished finished = ping.finish();
    EXPECT_EQ(finished.exitCode, 128 + SIGINT);
    EXPECT_TRUE(std::regex_search(finished.output, std::regex(": [1-9]\\d* rounds, 3 statistics, ")))
        << finished.output;
    EXPECT_NE(finished.output.find("\n  walk "), std::string::npos) << finished.output;
}

TEST_F(Ping, EndsAtOnceWhenItIsInterruptedAgain) {
    const testing_support::LoopbackPort silent;
    silent.listen(8);
    program::Running ping(ZOLSTAT, {"ping", "--port", std::to_string(silent.number()), "--timeout", "0"});
    pollfd caller{silent.descriptor(), POLLIN, 0};
    ASSERT_EQ(::poll(&caller, 1, -1), 1);
    ping.send(SIGINT);
    while (!ping.hasEnded()) {  // two that arrive together are one
        ping.send(SIGINT);
    }
    EXPECT_EQ(ping.finish().exitCode, 128 + SIGINT);
}

struct Fault {
    const char* action;  // whose reply is missing
    const char* step;
    int exitCode;
};

class PingFault : public Ping, public testing::WithParamInterface<Fault> {};

TEST_P(PingFault, ShowsInStepAndExitCode) {
    const auto& [action, step, exitCode] = GetParam();
    serveCutOff(action, 0, gateway::Ending::Close);
    const Finished finished = run({"ping", "--format", "json"});
    EXPECT_EQ(finished.exitCode, exitCode);
    EXPECT_EQ(finished.error.find("zolstat: " + address() + ": " + step + ": "), 0U) << finished.error;
    const json gateway = json::parse(finished.output)["gateways"].at(0);
    EXPECT_EQ(gateway["rounds"], 0);
    EXPECT_EQ(gateway["error"]["step"], step);
    EXPECT_EQ(gateway["error"]["exit_code"], exitCode);
    EXPECT_LT(gateway["error"]["code"], 0);
    EXPECT_TRUE(gateway["steps"].contains("connect"));
    EXPECT_FALSE(gateway["steps"].contains(step));
}

INSTANTIATE_TEST_SUITE_P(Replies, PingFault,
                         testing::Values(Fault{"protocol", "open", 6}, Fault{"GET_STATS", "query", 4}),
                         [](const auto& fault) { return std::string(fault.param.step); });

class WrongPing : public Ping, public testing::WithParamInterface<const char*> {};

TEST_P(WrongPing, CountIsWrongUsage) {
    serve(TWO_GROUPS);
    EXPECT_EQ(run({"ping", "-c", GetParam()}).exitCode, 2);
    EXPECT_TRUE(server().requests().empty());
}

INSTANTIATE_TEST_SUITE_P(Counts, WrongPing, testing::Values("0", "-1", "1000001", "many", "1.5", ""));

TEST_F(Ping, HasTwoFormatsOnly) {
    serve(TWO_GROUPS);
    expectFailed(run({"ping", "--format", "csv"}), 2,
                 "zolstat: 'ping' has the formats table and json only\n");
    EXPECT_TRUE(server().requests().empty());
}

}  // namespace
