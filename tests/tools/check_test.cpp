// What a monitoring system sees of zolstat check: one line, performance data, four exit codes.
// Not the arithmetic of ranges (ranges_test.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <algorithm>

#include "zolstat_fixture.h"

namespace {

using namespace zolstat_testing;

constexpr int OK = 0;
constexpr int WARNING = 1;
constexpr int CRITICAL = 2;
constexpr int UNKNOWN_STATE = 3;

// Whatever happens, there is exactly one line, and it is on standard output.
void expectTold(const Finished& finished, int state, const std::string& line) {
    EXPECT_EQ(finished.exitCode, state);
    EXPECT_EQ(finished.output, "ZOLSTAT " + line + "\n");
    EXPECT_EQ(finished.error, "");
}

class Check : public Zolstat {
  protected:
    Finished check(std::vector<std::string> thresholds) const {
        thresholds.insert(thresholds.begin(), "check");
        return run(thresholds);
    }
};

TEST_F(Check, IsOkWhereTheValueIsInRange) {
    serve(TWO_GROUPS);
    expectTold(check({"--warning", "CPU_USER:2", "--critical", "CPU_USER:1:10"}), OK,
               "OK - CPU_USER = 1.5 | 'CPU_USER'=1.5;2;1:10");
}

TEST_F(Check, WarnsWhereTheValueIsOutsideOfTheWarningRangeOnly) {
    serve(TWO_GROUPS);
    expectTold(check({"--warning", "CPU_USER:1", "--critical", "CPU_USER:5"}), WARNING,
               "WARNING - CPU_USER = 1.5 (warning 1) | 'CPU_USER'=1.5;1;5");
}

TEST_F(Check, IsCriticalWhereTheValueIsOutsideOfBothRanges) {
    serve(TWO_GROUPS);
    expectTold(check({"--warning", "CPU_USER:1", "--critical", "CPU_USER:@1:2"}), CRITICAL,
               "CRITICAL - CPU_USER = 1.5 (critical @1:2) | 'CPU_USER'=1.5;1;@1:2");
}

TEST_F(Check, TellsTheWorstOfSeveralStatisticsFirst) {
    serve(TWO_GROUPS);
    expectTold(check({"-w", "CPU_IDLE_PERCENT:100", "-w", "CPU_USER:1", "-c", "MEMORY_FREE_KB:200000:"}),
               CRITICAL,
               "CRITICAL - MEMORY_FREE_KB = 123456 (critical 200000:); CPU_USER = 1.5 (warning 1); "
               "CPU_IDLE_PERCENT = 98.25 | 'CPU_IDLE_PERCENT'=98.25;100; 'CPU_USER'=1.5;1; "
               "'MEMORY_FREE_KB'=123456;;200000:");
}

TEST_F(Check, ComparesCountersOfManyDigitsExactly) {
    serve({{"G", {{"A", "98765432109876543210987654321"}}}});
    EXPECT_EQ(check({"-c", "A:98765432109876543210987654321"}).exitCode, OK);
    EXPECT_EQ(check({"-c", "A:98765432109876543210987654320"}).exitCode, CRITICAL);
    EXPECT_EQ(check({"-c", "A:98765432109876543210987654322:"}).exitCode, CRITICAL);
}

TEST_F(Check, WritesPerformanceDataAsPlainNumbers) {
    serve({{"G", {{"A", "+1.5e3"}}}});
    expectTold(check({"-w", "A:~:2000"}), OK, "OK - A = +1.5e3 | 'A'=1500;~:2000;");
}

TEST_F(Check, QuotesLabelsAndKeepsTheBarForThePerformanceData) {
    serve({{"G", {{"it's a|b=c", "1"}}}});
    expectTold(check({"-w", "it's a|b=c:2"}), OK, "OK - it's a/b=c = 1 | 'it''s a/b_c'=1;2;");
}

TEST_F(Check, DoesNotKnowWhatIsNotANumberAndGivesNoPerformanceDataForIt) {
    serve({{"G", {{"A", "up\n|and"}, {"B", "1"}}}});
    expectTold(check({"-w", "A:2", "-w", "B:0"}), UNKNOWN_STATE,
               "UNKNOWN - A = 'up\\x0A/and' is not a number; B = 1 (warning 0) | 'B'=1;0;");
    expectTold(check({"-w", "A:2", "-c", "B:0"}), CRITICAL,
               "CRITICAL - B = 1 (critical 0); A = 'up\\x0A/and' is not a number | 'B'=1;;0");
}

TEST_F(Check, DoesNotKnowAStatisticThatTheGatewayDoesNotHave) {
    serve(TWO_GROUPS);
    expectTold(check({"-w", "NO_SUCH:1"}), UNKNOWN_STATE, "UNKNOWN - NO_SUCH: there is no such statistic");
}

TEST_F(Check, DoesNotTakeAStatisticOfAGroupForTheOneThatIsNamedLikeTheGroup) {
    serve(
        {{"CPU", {{"CPU_USER", "1.5"}, {"CPU_IDLE_PERCENT", "98.25"}}}, {"LOAD", {{"LOAD_1_MINUTE", "1"}}}});
    expectTold(check({"-w", "CPU:3:9", "-w", "LOAD:3"}), UNKNOWN_STATE,
               "UNKNOWN - CPU: there is no such statistic, but a group of that name; "
               "LOAD: there is no such statistic, but a group of that name");
}

TEST_F(Check, JudgesAStatisticThatIsNamedLikeItsGroup) {
    serve({{"LOAD", {{"LOAD", "1"}}}});
    expectTold(check({"-w", "LOAD:3"}), OK, "OK - LOAD = 1 | 'LOAD'=1;3;");
}

TEST_F(Check, DoesNotKnowWhatAGatewayThatCannotBeReachedHas) {
    const ClosedPort port;
    expectTold(program::run(ZOLSTAT, {"check", "--port", port.text(), "-w", "A:1"}), UNKNOWN_STATE,
               "UNKNOWN - 127.0.0.1:" + port.text() +
                   ": the connection was refused: nothing listens on that port (-135)");
}

TEST_F(Check, DoesNotKnowAnythingWhenTheQueryIsCutOff) {
    serveCutOff("GET_STATS", 20, gateway::Ending::Close);
    expectTold(check({"-w", "CPU_USER:1"}), UNKNOWN_STATE,
               "UNKNOWN - " + address() +
                   ": the exchange with the Gateway failed (bad reply, or it reported an error) (-122)");
}

TEST_F(Check, NamesTheGatewayOfEachStatisticWhereThereAreSeveral) {
    serve(TWO_GROUPS);
    const ClosedPort closed;
    const std::string down = "127.0.0.1:" + closed.text();
    expectTold(
        program::run(ZOLSTAT, {"check", "--gateway", address(), "--gateway", down, "-w", "CPU_USER:2"}),
        UNKNOWN_STATE,
        "UNKNOWN - " + down + ": the connection was refused: nothing listens on that port (-135); " +
            address() + " CPU_USER = 1.5 | '" + address() + " CPU_USER'=1.5;2;");
}

TEST_F(Check, TakesItsRangesFromTheConfigurationFile) {
    serve(TWO_GROUPS);
    const ScratchFolder folder;
    const std::string file =
        folder.write("check.toml", "[check]\nwarning = [\"CPU_USER:1\", \"CPU_IDLE_PERCENT:100\"]\n");
    expectTold(check({"--config", file}), WARNING,
               "WARNING - CPU_USER = 1.5 (warning 1); CPU_IDLE_PERCENT = 98.25 | "
               "'CPU_USER'=1.5;1; 'CPU_IDLE_PERCENT'=98.25;100;");
}

struct Line {
    const char* name;
    std::vector<std::string> arguments;
};

void PrintTo(const Line& line, std::ostream* out) {
    *out << line.name;
}

class WrongCheck : public Check, public testing::WithParamInterface<Line> {};

TEST_P(WrongCheck, IsUnknownInOneLineAndAsksNothingOfAGateway) {
    serve(TWO_GROUPS);
    const Finished finished = run(GetParam().arguments);
    EXPECT_EQ(finished.exitCode, UNKNOWN_STATE);
    EXPECT_EQ(finished.output.find("ZOLSTAT UNKNOWN - "), 0U) << finished.output;
    EXPECT_EQ(std::count(finished.output.begin(), finished.output.end(), '\n'), 1);
    EXPECT_EQ(finished.error, "");
    EXPECT_TRUE(server().requests().empty());
}

const Line WRONG_LINES[] = {
    {"NoThreshold", {"check"}},
    {"NoRange", {"check", "-w", "CPU_USER"}},
    {"EmptyRange", {"check", "-w", "CPU_USER:"}},
    {"NoId", {"check", "-w", ":10"}},
    {"MalformedRange", {"check", "-c", "CPU_USER:ten"}},
    {"RangeUpsideDown", {"check", "-c", "CPU_USER:20:10"}},
    {"TwoRangesForOneId", {"check", "-w", "CPU_USER:1", "-w", "CPU_USER:2"}},
    {"UnknownOption", {"check", "--no-such-option"}},
    {"UnknownOptionBefore", {"--no-such-option", "check"}},
    {"Argument", {"check", "CPU_USER"}},
    {"ArgumentBehindARange", {"check", "-w", "CPU_USER:2", "CPU_IDLE_PERCENT:2"}},
    {"BadPort", {"--port", "http", "check", "-w", "CPU_USER:1"}},
    {"BadGateway", {"check", "--gateway", ":1", "-w", "CPU_USER:1"}},
    {"Format", {"check", "--format", "json", "-w", "CPU_USER:2"}},
    {"TraceFile", {"check", "--trace-file", "/dev/null/trace", "-w", "CPU_USER:1"}},
    {"Configuration", {"check", "--config", "/no/such/file", "-w", "CPU_USER:1"}},
};
INSTANTIATE_TEST_SUITE_P(Lines, WrongCheck, testing::ValuesIn(WRONG_LINES),
                         [](const auto& line) { return std::string(line.param.name); });

TEST_F(Check, IsUnknownWhenItsOutputCannotBeWritten) {
    serve(TWO_GROUPS);
    EXPECT_EQ(run({"check", "-w", "CPU_USER:2"}, Output::FullDevice).exitCode, UNKNOWN_STATE);
    EXPECT_EQ(run({"check", "-w", "CPU_USER:2"}, Output::PipeWithoutReader).exitCode, UNKNOWN_STATE);
}

}  // namespace
