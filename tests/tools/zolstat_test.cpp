// What a user of zolstat sees: its output, complaints and exit codes, against a Gateway with known
// statistics. Not a test of the library: what the answers mean is tested beside it. The protocol between the
// library and the Gateway is written down in docs/protocol.md.
#include "command_lines.h"
#include "zolstat_fixture.h"

#include <algorithm>
#include <fstream>
#include <sstream>

namespace {

using namespace zolstat_testing;

// ---- Commands

TEST_F(Zolstat, ListsTheGroupsOneALine) {
    serve(TWO_GROUPS);
    expectFine(run({"groups"}), "CPU\nMEMORY\n");
}

TEST_F(Zolstat, ListsTheIdsOfAllStatistics) {
    serve(TWO_GROUPS);
    expectFine(run({"ids"}), "CPU_USER\nCPU_IDLE_PERCENT\nMEMORY_FREE_KB\n");
}

TEST_F(Zolstat, ListsTheIdsOfTheNamedGroupsInTheirOrder) {
    serve(TWO_GROUPS);
    expectFine(run({"ids", "MEMORY"}), "MEMORY_FREE_KB\n");
    expectFine(run({"ids", "MEMORY", "CPU"}), "MEMORY_FREE_KB\nCPU_USER\nCPU_IDLE_PERCENT\n");
}

TEST_F(Zolstat, ShowsAllStatisticsByGroupInTwoAlignedColumns) {
    serve(TWO_GROUPS);
    expectFine(run({"stats"}),
               "CPU\n"
               "  CPU_USER             1.5\n"
               "  CPU_IDLE_PERCENT   98.25\n"
               "MEMORY\n"
               "  MEMORY_FREE_KB    123456\n");
}

TEST_F(Zolstat, ShowsAllStatisticsWhenNoCommandIsGiven) {
    serve(TWO_GROUPS);
    expectFine(run({}), run({"stats"}).output);
}

TEST_F(Zolstat, ShowsTheNamedGroupOnly) {
    serve(TWO_GROUPS);
    expectFine(run({"stats", "MEMORY"}), "MEMORY\n  MEMORY_FREE_KB  123456\n");
}

TEST_F(Zolstat, ShowsANamedStatisticUnderItsGroup) {
    serve(TWO_GROUPS);
    expectFine(run({"stats", "CPU_USER"}), "CPU\n  CPU_USER  1.5\n");
}

TEST_F(Zolstat, TakesGroupsAndStatisticsTogetherWithBlanksOrColonsBetween) {
    serve(TWO_GROUPS);
    const std::string both =
        "CPU\n"
        "  CPU_USER           1.5\n"
        "MEMORY\n"
        "  MEMORY_FREE_KB  123456\n";
    expectFine(run({"stats", "CPU_USER", "MEMORY"}), both);
    expectFine(run({"stats", "CPU_USER:MEMORY"}), both);
}

TEST_F(Zolstat, TakesOptionsBehindTheCommandToo) {
    serve(TWO_GROUPS);
    expectFine(run({"groups", "--host", "localhost"}), "CPU\nMEMORY\n");
}

TEST_F(Zolstat, TakesNamesBehindAListOfColumns) {
    serve(TWO_GROUPS);
    expectFine(run({"stats", "--no-header", "--columns", "id,value", "CPU_USER", "MEMORY"}),
               "CPU_USER           1.5\n"
               "MEMORY_FREE_KB  123456\n");
}

TEST_F(Zolstat, ClosesItsConnectionProperly) {
    serve(TWO_GROUPS);
    run({"groups"});
    const std::vector<gateway::Request> requests = server().requests();
    ASSERT_FALSE(requests.empty());
    EXPECT_EQ(requests.back().name, "BASE");
    EXPECT_EQ(requests.back().type, 10U);
}

// ---- Odd contents

TEST_F(Zolstat, ShowsAGroupWithoutStatisticsWithoutRowsAndTheOthersWhole) {
    serve(EMPTY_GROUP_BETWEEN);
    const std::string table =
        "CPU\n"
        "  CPU_USER           1.5\n"
        "NOTHING\n"
        "MEMORY\n"
        "  MEMORY_FREE_KB  123456\n";
    expectFine(run({"stats"}), table);
    expectFine(run({"stats", "CPU", "NOTHING", "MEMORY"}), table);
    expectFine(run({"ids", "CPU", "NOTHING", "MEMORY"}), "CPU_USER\nMEMORY_FREE_KB\n");
}

TEST_F(Zolstat, ShowsNothingWhenTheGatewayHasNothing) {
    serve({});
    for (const char* command : {"groups", "ids", "stats"}) {
        expectFine(run({command}), "");
    }
}

TEST_F(Zolstat, LetsNoControlByteThroughToTheTerminal) {
    serve({{"G\x1b", {{"I\nD", "\x1b[31mred\x07\x7f\x9b\xc3\xa9"}}}});
    expectFine(run({"stats"}), "G\\x1B\n  I\\x0AD  \\x1B[31mred\\x07\\x7F\\x9B\\xC3\\xA9\n");
    expectFine(run({"ids"}), "I\\x0AD\n");
    expectFine(run({"groups"}), "G\\x1B\n");
}

TEST_F(Zolstat, LetsAnOverlongValueRunOutWithoutMovingTheOthers) {
    const std::string overlong(300, 'x');
    serve({{"G", {{"A", "1"}, {"B", overlong}}}});
    expectFine(run({"stats"}), "G\n  A  " + std::string(39, ' ') + "1\n  B  " + overlong + "\n");
}

TEST_F(Zolstat, ShowsAStatisticWithAnEmptyValue) {
    serve({{"G", {{"A", ""}, {"B", "12"}}}});
    expectFine(run({"stats"}), "G\n  A\n  B  12\n");
}

TEST_F(Zolstat, NamesAGroupThatNoQueryCanCarryAndShowsTheRest) {
    serve({{"", {}}, {std::string("N\0", 2), {{"A", "1"}}}, {"C:CPU", {}}, {"CPU", {{"CPU_USER", "1.5"}}}});
    const Finished finished = run({"stats"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.output, "N\\x00\nC:CPU\nCPU\n  CPU_USER  1.5\n");
    const std::string complaint = "zolstat: " + address() + ": no query can carry the name ";
    EXPECT_EQ(finished.error, complaint + "''\n" + complaint + "'N\\x00'\n" + complaint + "'C:CPU'\n");
    expectFine(run({"stats", "*_USER"}), "CPU\n  CPU_USER  1.5\n");
}

// ---- What the Gateway rejects

TEST_F(Zolstat, NamesWhatTheGatewayRejectsAndShowsTheRest) {
    serve(TWO_GROUPS);
    const Finished finished = run({"stats", "NO_SUCH", "MEMORY"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.output, "MEMORY\n  MEMORY_FREE_KB  123456\n");
    EXPECT_EQ(finished.error,
              "zolstat: " + address() + ": no group or statistic 'NO_SUCH' (Gateway code " + UNKNOWN + ")\n");
}

TEST_F(Zolstat, NamesTheGroupThatHasNoIdsToList) {
    serve(TWO_GROUPS);
    const Finished finished = run({"ids", "NO\tSUCH", "MEMORY"});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_EQ(finished.output, "MEMORY_FREE_KB\n");
    EXPECT_EQ(finished.error,
              "zolstat: " + address() + ": no group 'NO\\x09SUCH' (Gateway code " + UNKNOWN + ")\n");
}

TEST_F(Zolstat, TellsTheGatewaysCodeWhenThereIsNoListOfGroups) {
    serveRejecting("RESOURCE_GROUPS", -5);
    expectFailed(run({"groups"}), 1, "zolstat: " + address() + ": no list of groups (Gateway code -5)\n");
}

TEST_F(Zolstat, TellsTheGatewaysCodeWhenThereIsNoListOfStatistics) {
    serveRejecting("STAT_IDS", -77);
    expectFailed(run({"ids"}), 1, "zolstat: " + address() + ": no list of statistics (Gateway code -77)\n");
}

// ---- Connections that fail

TEST_F(Zolstat, SaysSoWhenNothingListens) {
    const ClosedPort port;
    expectFailed(program::run(ZOLSTAT, {"--port", port.text()}), 3,
                 "zolstat: 127.0.0.1:" + port.text() +
                     ": the connection was refused: nothing listens on that port (-135)\n");
}

TEST_F(Zolstat, SaysSoWhenTheHostsNameCannotBeResolved) {
    // Longer than a name's part may be, so that no name server is asked.
    const std::string name(64, 'x');
    expectFailed(program::run(ZOLSTAT, {"--host", name, "--port", "1"}), 3,
                 "zolstat: " + name + ":1: the host name could not be resolved (-132)\n");
}

TEST_F(Zolstat, SetsAnAddressWithColonsInBrackets) {
    const ClosedPort port;
    const Finished finished = program::run(ZOLSTAT, {"--host", "::1", "--port", port.text()});
    EXPECT_EQ(finished.exitCode, 3);
    EXPECT_EQ(finished.error.find("zolstat: [::1]:" + port.text() + ": "), 0U) << finished.error;
}

TEST_F(Zolstat, TakesAPeerThatLeavesWhileTheConnectionOpensForNoGateway) {
    serveCutOff("protocol", 0, gateway::Ending::Close);
    expectFailed(
        run({"groups"}), 6,
        "zolstat: " + address() +
            ": something listens there, but it does not answer as a Gateway does, or refuses (-122)\n");
}

class CutOff : public Zolstat, public testing::WithParamInterface<std::size_t> {};

TEST_P(CutOff, ReplyEndsTheToolWithTheCauseInWords) {
    serveCutOff("GET_STATS", GetParam(), gateway::Ending::Close);
    expectFailed(run({"stats", "MEMORY"}), 4,
                 "zolstat: " + address() +
                     ": the exchange with the Gateway failed (bad reply, or it reported an error) (-122)\n");
}

// Before any byte, in the header, at its end, and in the body.
INSTANTIATE_TEST_SUITE_P(Zolstat, CutOff, testing::Values(0, 1, 23, 34, 100));

TEST_F(Zolstat, SaysSoWhenTheConnectionIsResetBetweenTwoQueries) {
    serveCutOff("STAT_IDS", 0, gateway::Ending::Reset);
    const Finished finished = run({"ids", "CPU", "MEMORY"});
    EXPECT_EQ(finished.exitCode, 4);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.error.find("zolstat: " + address() + ": the "), 0U) << finished.error;
}

// ---- The command line

class WrongUsage : public Zolstat, public testing::WithParamInterface<Line> {};

TEST_P(WrongUsage, IsExplainedAndAsksNothingOfAGateway) {
    serve(TWO_GROUPS);
    const Finished finished = run(GetParam().arguments);
    EXPECT_EQ(finished.exitCode, 2);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.error.find("zolstat: "), 0U) << finished.error;
    EXPECT_NE(finished.error.find("\nRun 'zolstat --help' for help.\n"), std::string::npos) << finished.error;
    EXPECT_TRUE(server().requests().empty());
}

const Line WRONG_LINES[] = {
    {"UnknownOption", {"--no-such-option"}},
    {"UnknownCommand", {"no-such-command"}},
    {"TwoCommands", {"groups", "ids"}},
    {"ArgumentOfGroups", {"groups", "CPU"}},
    {"OptionWithoutValue", {"stats", "--host"}},
    {"TraceLevelTooHigh", {"--trace-level", "6"}},
    {"TraceLevelNegative", {"--trace-level", "-1"}},
    {"EmptyId", {"stats", ""}},
    {"EmptyLastId", {"stats", "CPU:"}},
    {"EmptyFirstId", {"ids", ":CPU"}},
    {"EmptyIdBetween", {"ids", "CPU::MEMORY"}},
    {"IdTooLong", {"ids", std::string(32766, 'x')}},
};
INSTANTIATE_TEST_SUITE_P(Zolstat, WrongUsage, testing::ValuesIn(WRONG_LINES), nameOf);

class WrongPort : public testing::TestWithParam<Line> {};

TEST_P(WrongPort, IsWrongUsage) {
    const Finished finished = program::run(ZOLSTAT, GetParam().arguments);
    EXPECT_EQ(finished.exitCode, 2);
    EXPECT_EQ(finished.error.find("zolstat: "), 0U) << finished.error;
    EXPECT_NE(finished.error.find("--port"), std::string::npos) << finished.error;
}

const Line WRONG_PORTS[] = {
    {"Zero", {"--port", "0"}},      {"TooHigh", {"--port", "65536"}},
    {"Negative", {"--port", "-1"}}, {"AWord", {"--port", "http"}},
    {"Empty", {"--port", ""}},      {"BeyondAnyInteger", {"--port", "99999999999999999999"}},
};
INSTANTIATE_TEST_SUITE_P(Zolstat, WrongPort, testing::ValuesIn(WRONG_PORTS), nameOf);

TEST_F(Zolstat, TakesAnIdAsLongAsARequestCarries) {
    serve(TWO_GROUPS);
    const Finished finished = run({"ids", std::string(32765, 'x')});
    EXPECT_EQ(finished.exitCode, 1);
    EXPECT_NE(finished.error.find("xxx' (Gateway code -"), std::string::npos);
}

TEST_F(Zolstat, HelpNamesEveryCommandOptionAndExitCode) {
    const Finished help = program::run(ZOLSTAT, {"--help"});
    EXPECT_EQ(help.exitCode, 0);
    EXPECT_EQ(help.error, "");
    for (const char* word : {"groups", "ids", "stats", "--host", "--port", "--trace-level", "--trace-file",
                             "127.0.0.1", "27400", "Exit codes: 0 "}) {
        EXPECT_NE(help.output.find(word), std::string::npos) << word;
    }
    EXPECT_NE(program::run(ZOLSTAT, {"stats", "--help"}).output.find("[GROUP-or-ID...]"), std::string::npos);
    EXPECT_NE(program::run(ZOLSTAT, {"ids", "--help"}).output.find("[GROUP...]"), std::string::npos);
}

// ---- Trace

std::string contentOf(const std::string& file) {
    std::ostringstream text;
    text << std::ifstream(file).rdbuf();
    return text.str();
}

const std::string BANNER = "Velmor Quorvane ZOLSTATS DLL trace V";

TEST_F(Zolstat, TracesToAFileUpToTheWantedLevel) {
    serve(TWO_GROUPS);
    const ScratchFolder folder;
    const std::string file = folder.path() / "trace";
    expectFine(run({"--trace-level", "4", "--trace-file", file, "groups"}), "CPU\nMEMORY\n");
    const std::string trace = contentOf(file);
    EXPECT_NE(trace.substr(0, trace.find('\n')).find(BANNER), std::string::npos) << trace;
    EXPECT_NE(trace.find("API.getResourceGroupIds(gwTok="), std::string::npos);
    EXPECT_NE(trace.find("stapi_zol_statquery.commsResourceGroupsIds data="), std::string::npos);
}

TEST_F(Zolstat, TracesEverythingToAFileWhenNoLevelIsGiven) {
    serve(TWO_GROUPS);
    const ScratchFolder folder;
    const std::string file = folder.path() / "trace";
    run({"--trace-file", file, "groups"});
    EXPECT_NE(contentOf(file).find("stapi_zol_statquery.commsResourceGroupsIds data="), std::string::npos);
}

TEST_F(Zolstat, TracesToStandardErrorWhenNoFileIsGiven) {
    serve(TWO_GROUPS);
    const Finished finished = run({"--trace-level", "2", "groups"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.output, "CPU\nMEMORY\n");
    EXPECT_NE(finished.error.find(BANNER), std::string::npos);
    EXPECT_NE(finished.error.find("API.getResourceGroupIds Getting Resource Group Ids\n"), std::string::npos);
    EXPECT_EQ(finished.error.find("API.getResourceGroupIds(gwTok="), std::string::npos)
        << "an entry line at level 2";
}

TEST_F(Zolstat, SaysSoWhenTheTraceFileCannotBeWritten) {
    serve(TWO_GROUPS);
    expectFailed(run({"--trace-file", "/dev/null/trace"}), 2,
                 "zolstat: /dev/null/trace: the trace file could not be opened for appending (-130)\n");
    EXPECT_TRUE(server().requests().empty());
}

// ---- Standard output

TEST_F(Zolstat, EndsQuietlyWhenTheReaderOfItsOutputHasLeft) {
    serve(TWO_GROUPS);
    expectFine(run({"stats"}, Output::PipeWithoutReader), "");
    expectFine(run({"--help"}, Output::PipeWithoutReader), "");
}

TEST_F(Zolstat, EndsWithTheHeaviestFailureThoughTheReaderOfItsOutputHasLeft) {
    serve(TWO_GROUPS);
    const ClosedPort closed;
    const std::string down = "127.0.0.1:" + closed.text();
    for (const char* command : {"stats", "ids", "groups", "ping"}) {
        const Finished finished = program::run(ZOLSTAT, {command, "--gateway", address(), "--gateway", down},
                                               Output::PipeWithoutReader);
        EXPECT_EQ(finished.exitCode, 3) << command;
        EXPECT_NE(finished.error.find(down + ": "), std::string::npos) << command;
    }
}

TEST_F(Zolstat, NeverWritesToTheGatewayWhenItsOutputIsClosed) {
    serve(TWO_GROUPS);
    expectFine(run({"stats"}, Output::Closed), "");
    for (const gateway::Request& request : server().requests()) {
        EXPECT_EQ(request.bytes.find("CPU_USER"), std::string::npos);
    }
    EXPECT_EQ(server().requests().back().name, "BASE");
}

TEST_F(Zolstat, SaysSoWhenItsOutputCannotBeWritten) {
    serve(TWO_GROUPS);
    expectFailed(run({"stats"}, Output::FullDevice), 5,
                 "zolstat: standard output: No space left on device\n");
}

// ---- With the stand-in Gateway as a program of its own

class WithDaemon : public testing::Test {
  protected:
    Finished run(const std::vector<std::string>& arguments) {
        std::vector<std::string> all{"--port", port_};
        all.insert(all.end(), arguments.begin(), arguments.end());
        return program::run(ZOLSTAT, all);
    }

  private:
    static std::string portOf(const std::string& line) { return line.substr(line.rfind(':') + 1); }

    program::Running daemon_{ZOL_GATEWAY_SIM, {"--port", "0", "--big", "1000", "--empty-group"}};
    std::string port_ = portOf(daemon_.readLine());
};

std::size_t countLines(const std::string& text) {
    return static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n'));
}

TEST_F(WithDaemon, ShowsAGroupOfAThousandStatistics) {
    const Finished finished = run({"stats", "BIG"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.error, "");
    EXPECT_EQ(countLines(finished.output), 1001U);
}

TEST_F(WithDaemon, ShowsEveryGroupThatItLists) {
    const std::string stats = '\n' + run({"stats"}).output;
    std::istringstream groups(run({"groups"}).output);
    std::size_t count = 0;
    for (std::string group; std::getline(groups, group); ++count) {
        EXPECT_NE(stats.find('\n' + group + '\n'), std::string::npos) << group;
    }
    EXPECT_GE(count, 8U);
}

TEST_F(WithDaemon, ShowsAsManyStatisticsAsItListsIds) {
    const std::size_t groups = countLines(run({"groups"}).output);
    EXPECT_EQ(countLines(run({"stats"}).output), groups + countLines(run({"ids"}).output));
}

}  // namespace
