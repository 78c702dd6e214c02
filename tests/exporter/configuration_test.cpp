// Tests of the exporter's configuration: what command line and file say together, and how mistakes are told.
// Not tests of what is done with it (service_test.py).
// Nothing here comes from the protocol of the Gateways.
#include "configuration.h"

#include <gmock/gmock.h>

#include <string>

#include "support/scratch_folder.h"

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using tools::Endpoint;
using tools::exporter::BadConfiguration;
using tools::exporter::CommandLine;
using tools::exporter::Configuration;
using tools::exporter::OnFailure;
using tools::exporter::readConfiguration;

class ExporterConfiguration : public testing::Test {
  protected:
    CommandLine withFile(const std::string& content) const {
        CommandLine line;
        line.configurationFile = folder_.write("exporter.yml", content);
        return line;
    }

    const testing_support::ScratchFolder folder_;
};

std::string problemOf(const CommandLine& line) {
    try {
        readConfiguration(line);
        return "none";
    } catch (const BadConfiguration& problem) {
        return problem.what();
    }
}

// ---- What holds

TEST_F(ExporterConfiguration, AllowsNobodyAndListensOnThisMachineUnlessTold) {
    const Configuration configuration = readConfiguration({});
    EXPECT_THAT(configuration.gateways, testing::IsEmpty());
    EXPECT_FALSE(configuration.allows({"127.0.0.1", 27400}));
    EXPECT_EQ(configuration.listen, (Endpoint{"127.0.0.1", 9740}));
    EXPECT_EQ(configuration.timeout, 9s);
    EXPECT_EQ(configuration.timeoutOffset, 500ms);
    EXPECT_EQ(configuration.onFailure, OnFailure::Up0);
}

TEST_F(ExporterConfiguration, TakesAllThatAFileMaySay) {
    folder_.write("web.yml", "http_server_config: {headers: {X-Frame-Options: deny}}\n");
    const Configuration configuration =
        readConfiguration(withFile("listen: 127.0.0.1:0\n"
                                   "gateways: [gw1, 'gw2:27401', '[::1]:27402']\n"
                                   "groups: [CPU, MEMORY]\n"
                                   "allow_targets: ['*.example.org:27400']\n"
                                   "info: ['*_VERSION']\n"
                                   "on_failure: 503\n"
                                   "timeout: 4.5\n"
                                   "timeout_offset: 0\n"
                                   "idle: 60\n"
                                   "max_requests: 7\n"
                                   "web_config: web.yml\n"));
    EXPECT_EQ(configuration.listen, (Endpoint{"127.0.0.1", 0}));
    EXPECT_THAT(configuration.gateways,
                ElementsAre(Endpoint{"gw1", 27400}, Endpoint{"gw2", 27401}, Endpoint{"::1", 27402}));
    EXPECT_THAT(configuration.groups, ElementsAre("CPU", "MEMORY"));
    EXPECT_TRUE(configuration.allows({"gw7.example.org", 27400}));
    EXPECT_TRUE(configuration.info.at(0).fits("OS_VERSION"));
    EXPECT_EQ(configuration.onFailure, OnFailure::Status503);
    EXPECT_EQ(configuration.timeout, 4500ms);
    EXPECT_EQ(configuration.timeoutOffset, 0ms);
    EXPECT_EQ(configuration.habits.idle, 60s);
    EXPECT_EQ(configuration.mostRequests, 7U);
    EXPECT_THAT(configuration.web->headers(), ElementsAre(testing::Pair("X-Frame-Options", "deny")));
}

TEST_F(ExporterConfiguration, ListensOnItsOwnPortWhereOnlyAHostIsNamed) {
    EXPECT_EQ(readConfiguration(withFile("listen: 127.0.0.2\n")).listen, (Endpoint{"127.0.0.2", 9740}));
    EXPECT_EQ(readConfiguration(withFile("listen: '[::1]'\n")).listen, (Endpoint{"::1", 9740}));
}

TEST_F(ExporterConfiguration, LetsTheCommandLineWinAndPutsListsTogether) {
    CommandLine line = withFile("gateways: [gw1]\ntimeout: 3\n");
    line.gateways = {"gw0"};
    line.timeoutS = 2;
    const Configuration configuration = readConfiguration(line);
    EXPECT_THAT(configuration.gateways, ElementsAre(Endpoint{"gw0", 27400}, Endpoint{"gw1", 27400}));
    EXPECT_EQ(configuration.timeout, 2s);
}

TEST_F(ExporterConfiguration, AllowsItsOwnGatewaysToBeProbed) {
    const Configuration configuration = readConfiguration(withFile("gateways: ['gw1:27401']\n"));
    EXPECT_TRUE(configuration.allows({"gw1", 27401}));
    EXPECT_FALSE(configuration.allows({"gw1", 27400}));
}

// ---- Reloads

TEST_F(ExporterConfiguration, KeepsWhatHoldsFromTheStart) {
    const Configuration inForce = readConfiguration({});
    Configuration fresh =
        readConfiguration(withFile("listen: 127.0.0.1:1\nidle: 60\nmax_requests: 7\ntimeout: 3\n"));
    EXPECT_THAT(keepWhatHoldsFromTheStart(fresh, inForce), ElementsAre("listen", "idle", "max_requests"));
    EXPECT_EQ(fresh.listen, inForce.listen);
    EXPECT_EQ(fresh.habits.idle, inForce.habits.idle);
    EXPECT_EQ(fresh.mostRequests, inForce.mostRequests);
    EXPECT_EQ(fresh.timeout, 3s);
    EXPECT_THAT(keepWhatHoldsFromTheStart(fresh, inForce), testing::IsEmpty());
}

// ---- Mistakes

struct Mistake {
    std::string content;
    std::string problem;  // behind the file's name
};

void PrintTo(const Mistake& mistake, std::ostream* out) {
    *out << testing::PrintToString(mistake.content);
}

class MistakeInAFile : public ExporterConfiguration, public testing::WithParamInterface<Mistake> {};

TEST_P(MistakeInAFile, IsToldWithItsLine) {
    EXPECT_THAT(problemOf(withFile(GetParam().content)), HasSubstr("exporter.yml:" + GetParam().problem));
}

INSTANTIATE_TEST_SUITE_P(
    ExporterConfiguration, MistakeInAFile,
    testing::Values(Mistake{"gateways: [gw1]\ngatways: [gw2]\n", "2: "},
                    Mistake{"gateways:\n  - gw1\n  - 'gw2:port'\n",
                            "3: 'gw2:port': the port is not a number"},
                    Mistake{"\n\ntimeout: -1\n", "3: -1 s: from 0.001 s to 86400 s is possible"},
                    Mistake{"timeout: soon\n", "1: "}, Mistake{"on_failure: down\n", "1: 'down': up0 or 503"},
                    Mistake{"max_requests: 0\n", "1: 0: from 1 to 100000 requests"},
                    Mistake{"max_requests: 1.5\n", "1: 1.5: from 1"}, Mistake{"gateways: gw1\n", "1: "},
                    Mistake{"listen: '::1'\n", "1: '::1': an IPv6 address stands in brackets: [::1]:9740"},
                    Mistake{"groups:\n  - CPU\n  - CPU\n", "3: 'CPU' is configured twice"},
                    Mistake{"groups: ['A:B']\n", "1: 'A:B': no query can carry this name"},
                    Mistake{"groups: ['']\n", "1: '': no query"},
                    Mistake{"gateways:\n  - gw1\n  - 'é:1'\n", "3: '\\xC3\\xA9:1': the host is neither"},
                    Mistake{"gateways: ['a b:1']\n", "1: 'a b:1': the host is neither"},
                    Mistake{"gateways: [\"\\e[31m:1\"]\n", "1: '\\x1B[31m:1': the host is neither"},
                    Mistake{"allow_targets: ['gw[12].x:1']\n", "1: 'gw[12].x:1': the host fits neither"},
                    Mistake{"listen: 127.0.0.1:70000\n", "1: '127.0.0.1:70000': the port"}));

TEST_F(ExporterConfiguration, NamesTheOptionThatIsWrong) {
    CommandLine line;
    line.timeoutOffsetS = -3;
    EXPECT_EQ(problemOf(line), "--timeout-offset: -3 s: from 0 s to 86400 s is possible");
}

TEST_F(ExporterConfiguration, TakesNoGatewayTwice) {
    CommandLine line = withFile("gateways: [gw1]\n");
    line.gateways = {"gw1:27400"};
    EXPECT_EQ(problemOf(line), "gw1:27400 is configured twice");
    line.gateways = {"Gw1:27400"};
    EXPECT_EQ(problemOf(line), "gw1:27400 is configured twice");
}

TEST_F(ExporterConfiguration, TakesTwoHundredAndFiftySixGatewaysAtMost) {
    CommandLine line;
    for (int i = 1; i <= 256; ++i) {
        line.gateways.push_back("gw" + std::to_string(i));
    }
    EXPECT_EQ(problemOf(line), "none");
    line.gateways.emplace_back("gw257");
    EXPECT_EQ(problemOf(line), "257 Gateways are configured: one process serves 256 at most");
}

TEST_F(ExporterConfiguration, TellsOfAFileThatIsNotThere) {
    CommandLine line;
    line.configurationFile = folder_.path() / "nowhere.yml";
    EXPECT_THAT(problemOf(line), HasSubstr("nowhere.yml: "));
}

}  // namespace
