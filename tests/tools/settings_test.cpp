// Where zolstat takes its options from and which outweigh which, and what it makes of several Gateways and addresses.
// Not a test of what is wrong with them (bad_input_test.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <filesystem>

#include "zolstat_fixture.h"

namespace {

using namespace zolstat_testing;
namespace fs = std::filesystem;

const std::string BOTH_GROUPS = "CPU\nMEMORY\n";

constexpr const char* USUAL_FILE = ".config/zolstat.toml";

class Settings : public Zolstat {
  protected:
    void SetUp() override { serve(TWO_GROUPS); }

    // Without anything of the caller's own settings.
    static Finished runIn(std::vector<std::string> environment, const std::vector<std::string>& arguments) {
        environment.insert(environment.begin(), {"-i"});
        environment.emplace_back(ZOLSTAT);
        environment.insert(environment.end(), arguments.begin(), arguments.end());
        return program::run("/usr/bin/env", environment);
    }

    std::string port() const { return std::to_string(server().port()); }
    std::string closedPort() const { return closed_.text(); }
    std::string down() const { return "127.0.0.1:" + closed_.text(); }
    std::string complaintOfDown() const {
        return "zolstat: " + down() + ": the connection was refused: nothing listens on that port (-135)\n";
    }

    std::string home() const { return "HOME=" + home_.path().string(); }
    std::string configFolder() const { return "XDG_CONFIG_HOME=" + (home_.path() / ".config").string(); }

    ScratchFolder home_;

  private:
    ClosedPort closed_;
};

// ---- Command line, environment, configuration file

TEST_F(Settings, OfTheEnvironmentHoldWhereTheCommandLineSaysNothing) {
    expectFine(runIn({"ZOLSTAT_PORT=" + port()}, {"groups"}), BOTH_GROUPS);
    expectFine(runIn({"ZOLSTAT_GATEWAY=" + address()}, {"groups"}), BOTH_GROUPS);
}

TEST_F(Settings, OfTheCommandLineOutweighTheEnvironment) {
    expectFine(runIn({"ZOLSTAT_PORT=" + closedPort()}, {"groups", "--port", port()}), BOTH_GROUPS);
    expectFine(runIn({"ZOLSTAT_GATEWAY=" + down()}, {"groups", "--gateway", address()}), BOTH_GROUPS);
    expectFine(runIn({"ZOLSTAT_GATEWAY=" + down()}, {"groups", "--port", port()}), BOTH_GROUPS);
}

TEST_F(Settings, OfTheConfigurationFileHoldWhereNothingElseIsSaid) {
    const std::string file = home_.write("own.toml", "port = " + port() + "\n");
    expectFine(runIn({}, {"groups", "--config", file}), BOTH_GROUPS);
    expectFine(runIn({"ZOLSTAT_CONFIG=" + file}, {"groups"}), BOTH_GROUPS);
}

TEST_F(Settings, OfTheConfigurationFileAreFoundAtItsUsualPlace) {
    home_.write(USUAL_FILE, "port = " + port() + "\n");
    expectFine(runIn({home()}, {"groups"}), BOTH_GROUPS);
    expectFine(runIn({configFolder()}, {"groups"}), BOTH_GROUPS);
}

TEST_F(Settings, OfTheEnvironmentOutweighTheConfigurationFile) {
    home_.write(USUAL_FILE, "port = " + closedPort() + "\n");
    expectFine(runIn({home(), "ZOLSTAT_PORT=" + port()}, {"groups"}), BOTH_GROUPS);
}

TEST_F(Settings, OfTheCommandLineOutweighTheConfigurationFile) {
    home_.write(USUAL_FILE, "gateway = [\"" + down() + "\"]\n");
    expectFine(runIn({home()}, {"groups", "--port", port()}), BOTH_GROUPS);
    expectFine(runIn({home()}, {"groups", "--gateway", address()}), BOTH_GROUPS);
    expectFine(runIn({home(), "ZOLSTAT_PORT=" + port()}, {"groups"}), BOTH_GROUPS);
}

TEST_F(Settings, OfACommandStandInItsSectionOfTheFile) {
    home_.write(USUAL_FILE,
                "port = " + port() + "\n[check]\nwarning = [\"CPU_USER:1\", \"MEMORY_FREE_KB:10\"]\n");
    EXPECT_EQ(runIn({home()}, {"check"}).exitCode, 1);
}

// ---- Several Gateways

TEST_F(Settings, OfACommandMayStandInTheEnvironment) {
    EXPECT_EQ(runIn({"ZOLSTAT_WARNING=CPU_USER:1"}, {"--port", port(), "check"}).exitCode, 1);
    EXPECT_EQ(runIn({"ZOLSTAT_WARNING=CPU_USER:1"}, {"--port", port(), "check", "--warning", "CPU_USER:9"})
                  .exitCode,
              0);
}

TEST_F(Settings, ThatDoNotFitACommandAreLeftAsideUnlessTheyStandOnTheCommandLine) {
    home_.write(USUAL_FILE, "port = " + port() + "\nsort = \"change\"\ncolumns = [\"group\", \"change\"]\n");
    EXPECT_EQ(runIn({home()}, {"groups"}).exitCode, 0);
    EXPECT_EQ(runIn({home()}, {"groups", "--sort", "change"}).exitCode, 2);
    EXPECT_EQ(runIn({home()}, {"groups", "--columns", "change"}).exitCode, 2);
    EXPECT_EQ(runIn({home(), "ZOLSTAT_FORMAT=csv"}, {"ping"}).exitCode, 0);
    EXPECT_EQ(runIn({home()}, {"ping", "--format", "csv"}).exitCode, 2);
}

TEST_F(Settings, TakeNamesBehindAGateway) {
    expectFine(runIn({}, {"ids", "--gateway", address(), "MEMORY"}), "MEMORY_FREE_KB\n");
}

TEST_F(Settings, TakeAnIpv6AddressInBracketsForAHostToo) {
    const Finished finished = runIn({}, {"groups", "--host", "[::1]", "--port", closedPort()});
    EXPECT_EQ(finished.error.find("zolstat: [::1]:" + closedPort() + ": "), 0U) << finished.error;
}

TEST_F(Settings, MayNameSeveralGatewaysOneByOneInAFileAndInTheEnvironment) {
    const std::string file =
        home_.write("list", "# ours\n" + address() + "  # the first\n\n" + address() + "\n");
    std::size_t handshakes = 0;
    const auto countNew = [&] {
        std::size_t all = 0;
        for (const gateway::Request& request : server().requests()) {
            all += request.type == 5 ? 1 : 0;
        }
        return all - std::exchange(handshakes, all);
    };
    EXPECT_EQ(runIn({}, {"groups", "--gateway", address(), "--gateway", address()}).exitCode, 0);
    EXPECT_EQ(countNew(), 2U);
    EXPECT_EQ(runIn({}, {"groups", "--gateway", "@" + file, "--gateway", address()}).exitCode, 0);
    EXPECT_EQ(countNew(), 3U);
    EXPECT_EQ(runIn({"ZOLSTAT_GATEWAY=" + address() + " @" + file}, {"groups"}).exitCode, 0);
    EXPECT_EQ(countNew(), 3U);
}

TEST_F(Settings, LetOneOfThreeGatewaysBeDownAndShowTheOthers) {
    const Finished finished =
        runIn({}, {"stats", "MEMORY", "--gateway", address(), "--gateway", down(), "--gateway", address()});
    EXPECT_EQ(finished.exitCode, 3);
    EXPECT_EQ(finished.error, complaintOfDown());
    const std::size_t first = finished.output.find("MEMORY_FREE_KB");
    ASSERT_NE(first, std::string::npos);
    EXPECT_NE(finished.output.find("MEMORY_FREE_KB", first + 1), std::string::npos);
}

TEST_F(Settings, TellTheHeaviestOfSeveralFailures) {
    const Finished finished = runIn({}, {"stats", "NO_SUCH", "--gateway", address(), "--gateway", down()});
    EXPECT_EQ(finished.exitCode, 3);
    EXPECT_NE(finished.error.find("no group or statistic 'NO_SUCH'"), std::string::npos);
    EXPECT_NE(finished.error.find(complaintOfDown()), std::string::npos);
}

TEST(SettingsOfIpv6, NameAGatewayInBracketsWhereTheMachineHasIt) {
    if (!fs::exists("/proc/net/if_inet6")) {
        EXPECT_EQ(program::run(ZOLSTAT, {"groups", "--gateway", "[::1]:1"}).exitCode, 3);
        return;
    }
    gateway::Options options;
    options.host = "::1";
    options.statistics = [] { return TWO_GROUPS; };
    const gateway::Server server(options);
    const std::string port = std::to_string(server.port());
    expectFine(program::run(ZOLSTAT, {"groups", "--gateway", "[::1]:" + port}), BOTH_GROUPS);
    expectFine(program::run(ZOLSTAT, {"groups", "--host", "::1", "--port", port}), BOTH_GROUPS);
}

// ---- Patterns

TEST_F(Settings, OfPatternsShowTheGroupsThatMatchWholeAndOfOthersTheStatisticsThatDo) {
    const auto show = [&](const std::string& pattern) {
        return runIn({}, {"stats", pattern, "--port", port()});
    };
    expectFine(show("M*"), "MEMORY\n  MEMORY_FREE_KB  123456\n");
    expectFine(show("CPU_U*"), "CPU\n  CPU_USER  1.5\n");
    expectFine(show("?PU_USE[QRS]"), "CPU\n  CPU_USER  1.5\n");
    expectFine(show("*E*"),
               "CPU\n"
               "  CPU_USER             1.5\n"
               "  CPU_IDLE_PERCENT   98.25\n"
               "MEMORY\n"
               "  MEMORY_FREE_KB    123456\n");
}

}  // namespace
