// What zolstat watch writes into a pipe, what it complains about, and how it ends there.
// Not a test of the screen (watch_screen_test.cpp) or of how a block looks.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <regex>

#include "command_lines.h"
#include "program.h"
#include "steered_gateway.h"

namespace {

using namespace std::chrono_literals;
using program::Finished;
using testing::AllOf;
using testing::Ne;
using testing::Not;
using testing::StartsWith;

const gateway::Snapshot ONE_GROUP{{"CPU", {{"CPU_USER", "1000"}}}};

gateway::Snapshot moreThanAPipeHolds() {
    gateway::Snapshot snapshot = ONE_GROUP;
    snapshot[0].statistics.assign(5000, {"CPU_USER", "1000 and so on"});
    return snapshot;
}

std::size_t count(const std::string& part, const std::string& text) {
    std::size_t found = 0;
    for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
        ++found;
    }
    return found;
}

class WatchText : public testing::Test {
  protected:
    Finished watch(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--port", std::to_string(gateway_.port()), "watch"});
        return program::run(ZOLSTAT, arguments);
    }
    // By a shell, which knows the words of `watch` as $0.
    std::string line(const std::string& arguments) const {
        return std::string(ZOLSTAT) + " --port " + std::to_string(gateway_.port()) + " watch " + arguments;
    }
    std::string complaint(const std::string& text) const {
        return "zolstat: " + gateway_.address() + ": " + text + "\n";
    }
    SteeredGateway& gateway() { return gateway_; }

  private:
    SteeredGateway gateway_{ONE_GROUP};
};

TEST_F(WatchText, IsOneBlockForEachReading) {
    const Finished finished = watch({"--count", "3", "--interval", "0.1"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.error, "");
    EXPECT_EQ(count("CPU_USER", finished.output), 3U);
}

TEST_F(WatchText, IsOneDocumentALineAsJson) {
    const Finished finished =
        program::run("/bin/sh", {"-c", line("--count 3 --interval 0.1 --format json") +
                                           " | jq -c '.samples[0].statistics[0].value'"});
    EXPECT_EQ(finished.output, "1000\n1000\n1000\n");
}

TEST_F(WatchText, TellsChangesFromTheSecondReadingOn) {
    gateway().countUp();
    const Finished finished = watch({"--count", "2", "--interval", "0.1", "--format", "ndjson"});
    const std::size_t second = finished.output.find('\n');
    EXPECT_EQ(finished.output.substr(0, second).find("\"change\":"), std::string::npos) << finished.output;
    EXPECT_NE(finished.output.find("\"change\":", second), std::string::npos) << finished.output;
}

TEST_F(WatchText, HasOneHeaderAsCsv) {
    const Finished finished = watch({"--count", "3", "--interval", "0.1", "--format", "csv"});
    EXPECT_EQ(count("time,host", finished.output), 1U);
    EXPECT_EQ(count("CPU_USER", finished.output), 3U);
}

TEST_F(WatchText, KeepsTheInterval) {
    const auto start = std::chrono::steady_clock::now();
    watch({"--count", "4", "--interval", "0.25"});
    EXPECT_GE(std::chrono::steady_clock::now() - start, 750ms);
}

TEST_F(WatchText, ReadsAllOverOneConnection) {
    watch({"--count", "3", "--interval", "0.1"});
    const auto requests = gateway().server().requests();
    EXPECT_EQ(std::count_if(requests.begin(), requests.end(),
                            [](const gateway::Request& request) {
                                return request.body.find("GET_STATS") != std::string::npos;
                            }),
              3);
    gateway().server().waitForConnections(0);
}

TEST_F(WatchText, ComesAtOnceThoughTheIntervalIsLong) {
    program::Running running(ZOLSTAT,
                             {"--port", std::to_string(gateway().port()), "watch", "--interval", "86400"});
    EXPECT_NE(running.readLine(), "");
}

TEST_F(WatchText, EndsAsSoonAsNobodyReadsOn) {
    const Finished finished =
        program::run("/bin/sh", {"-c", "{ " + line("--interval 3600") + "; echo $? >&2; } | head -n 1"});
    EXPECT_NE(finished.output, "");
    EXPECT_EQ(finished.error, "0\n");
}

TEST_F(WatchText, EndsQuietlyWhereNobodyReads) {
    const Finished finished = program::run(ZOLSTAT, {"--port", std::to_string(gateway().port()), "watch"},
                                           program::Output::PipeWithoutReader);
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.error, "");
}

TEST_F(WatchText, EndsByASignalThoughItsReaderHasStalled) {
    gateway().set(moreThanAPipeHolds());
    program::Running running(ZOLSTAT,
                             {"--port", std::to_string(gateway().port()), "watch", "--format", "json"});
    running.waitForOutput();
    EXPECT_EQ(running.endBy(SIGTERM), 128 + SIGTERM);
}

TEST_F(WatchText, IsWholeThoughItIsMoreThanAPipeHolds) {
    gateway().set(moreThanAPipeHolds());
    const Finished finished = program::run(
        "/bin/sh", {"-c", line("--count 2 --interval 0.1 --format raw") + " | grep -c '^1000 and so on$'"});
    EXPECT_EQ(finished.output, "10000\n");
}

TEST_F(WatchText, SaysSoWhenItsOutputCannotBeWritten) {
    const Finished finished = program::run(ZOLSTAT, {"--port", std::to_string(gateway().port()), "watch"},
                                           program::Output::FullDevice);
    EXPECT_EQ(finished.exitCode, 5);
    EXPECT_EQ(finished.error, "zolstat: standard output: No space left on device\n");
}

TEST_F(WatchText, ComplainsOnceAboutWhatIsRejected) {
    const Finished finished = watch({"--count", "3", "--interval", "0.1", "NO_SUCH", "X*", "CPU"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.error, complaint("nothing matches 'X*'") +
                                  complaint("no group or statistic 'NO_SUCH' (Gateway code -1)"));
    EXPECT_EQ(count("CPU_USER", finished.output), 3U);
}

TEST_F(WatchText, ComplainsOnceAboutAGatewayThatIsNotThere) {
    gateway().die();
    // More readings than attempts would come to in a minute.
    const Finished finished = watch({"--count", "10", "--interval", "0.1"});
    EXPECT_EQ(finished.exitCode, 3);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.error, complaint("the connection was refused: nothing listens on that port (-135)"));
}

TEST_F(WatchText, TellsOfALossAndGoesOnWhenTheGatewayIsBack) {
    program::Running running("/bin/sh", {"-c", "exec " + line("--interval 0.1 2>&1")});
    EXPECT_NE(running.readLine(), "");
    gateway().die();
    std::string told = running.readLine();
    while (told.find("zolstat: ") != 0) {
        told = running.readLine();
    }
    EXPECT_THAT(told, StartsWith("zolstat: " + gateway().address() + ": the "));
    gateway().comeBack();
    EXPECT_EQ(running.readLine(), "zolstat: " + gateway().address() + ": answers again");
    EXPECT_THAT(running.readLine(), AllOf(Ne(""), Not(StartsWith("zolstat"))));
}

TEST_F(WatchText, IsNotHeldBackByOneGatewayThatHangs) {
    SteeredGateway other({{"DISK", {{"READS", "7"}}}});
    other.hang();
    const Finished finished = watch({"--gateway", gateway().address(), "--gateway", other.address(),
                                     "--count", "3", "--interval", "0.2", "--timeout", "0"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(count("CPU_USER", finished.output), 3U);
    EXPECT_EQ(count("READS", finished.output), 0U);
}

TEST_F(WatchText, HoldsABlockBackUntilAllGatewaysHaveAnswered) {
    SteeredGateway other({{"DISK", {{"READS", "7"}}}});
    const Finished finished = watch({"--gateway", gateway().address(), "--gateway", other.address(),
                                     "--count", "2", "--interval", "0.8"});
    EXPECT_EQ(count("CPU_USER", finished.output), 2U);
    EXPECT_EQ(count("READS", finished.output), 2U);
}

TEST_F(WatchText, TakesALossForAReadingThatSaysNothing) {
    gateway().hang();
    const Finished finished = watch({"--count", "1", "--interval", "0.1", "--timeout", "0.5"});
    EXPECT_EQ(finished.exitCode, 3);
    EXPECT_EQ(finished.output, "");
    EXPECT_THAT(finished.error, StartsWith("zolstat: "));
}

// What a Gateway tells cannot always be asked for: it is told, and the watch goes on.
TEST_F(WatchText, OutlivesANameThatCannotBeAskedFor) {
    gateway().set({{std::string("G\0H", 3), {{"A", "1"}}}});
    const Finished finished = watch({"--count", "1"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_THAT(finished.error, StartsWith("zolstat: " + gateway().address() + ": "));
}

// ---- The command line

class WatchUsage : public WatchText, public testing::WithParamInterface<Line> {};

TEST_P(WatchUsage, IsExplainedAndAsksNothingOfAGateway) {
    const Finished finished = watch(GetParam().arguments);
    EXPECT_EQ(finished.exitCode, 2);
    EXPECT_EQ(finished.output, "");
    EXPECT_THAT(finished.error, StartsWith("zolstat: " + GetParam().arguments.at(0) + ": "));
    EXPECT_TRUE(gateway().server().requests().empty());
}

const Line WRONG_LINES[] = {
    {"IntervalTooShort", {"--interval", "0.09"}}, {"IntervalTooLong", {"--interval", "86401"}},
    {"IntervalNegative", {"--interval", "-1"}},   {"IntervalNoNumber", {"--interval", "nan"}},
    {"IntervalAWord", {"--interval", "often"}},   {"CountZero", {"--count", "0"}},
    {"CountTooHigh", {"--count", "1000000001"}},  {"CountNegative", {"--count", "-1"}},
    {"CountAFraction", {"--count", "1.5"}},
};
INSTANTIATE_TEST_SUITE_P(WatchText, WatchUsage, testing::ValuesIn(WRONG_LINES), nameOf);

TEST_F(WatchText, TakesTheLimitsOfItsOptions) {
    EXPECT_EQ(watch({"--count", "1", "--interval", "86400"}).exitCode, 0);
    EXPECT_EQ(watch({"--count", "1", "--interval", "0.1"}).exitCode, 0);
}

}  // namespace
