// What a support case gets from zolstat doctor: a whole report, whatever is wrong, and nothing that authorises.
// Not a test of the trace that it shows a part of.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <algorithm>
#include <csignal>
#include <filesystem>
#include <regex>
#include <sstream>

#include "support/slow_gateway.h"
#include "zolstat_fixture.h"

namespace {

using namespace zolstat_testing;

std::string portOption(int port) {
    return "--port=" + std::to_string(port);
}

// Each of the parts, in this order.
void expectInOrder(const std::string& report, const std::vector<std::string>& parts) {
    std::size_t position = 0;
    for (const std::string& part : parts) {
        const std::size_t found = report.find(part, position);
        ASSERT_NE(found, std::string::npos) << part << "\nis missing from the rest of\n" << report;
        position = found + part.size();
    }
}

void expectReport(const Finished& finished, int exitCode, const std::string& rest) {
    EXPECT_EQ(finished.exitCode, exitCode);
    expectInOrder(finished.output, {"zolstat doctor, ", "\nVersions\n", "\nConfiguration\n", "\nLimits\n",
                                    "\nGateway ", "\n  resolve ", rest, "\n  trace ",
                                    "\nEnd of the report, exit code " + std::to_string(exitCode) + "\n"});
}

class Doctor : public Zolstat {};

TEST_F(Doctor, ReportsVersionsLimitsAddressesAndTheExtentOfTheAnswers) {
    serve(TWO_GROUPS);
    const Finished finished = run({"doctor"});
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.error, "");
    expectReport(finished, 0, "\n  connect     " + address() + ": connected after ");
    expectInOrder(
        finished.output,
        {"  zolstat     1.1.0.1\n", "  library     1_1_0_1\n", "  system      Linux ",
         "  time        10 s for connecting, and for each query\n", "  connections 257 in one process\n",
         "  id list     32765 bytes\n", "  descriptors ", "\nGateway " + address() + "\n",
         "  resolve     127.0.0.1 in ", "  connect     ", "  open        at 127.0.0.1 in ",
         "protocol version 1.0\n", "  groups      2, 9 bytes in ", "  ids         3, 38 bytes in ",
         "  statistics  3, 52 bytes in ", "  trace       the last 100 of ", "API.closeGatewayConnection("});
}

TEST_F(Doctor, ShowsTheConfigurationThatIsInForce) {
    serve(TWO_GROUPS);
    const ScratchFolder folder;
    const std::string file = folder.write("doctor.toml", "timeout = 3\n");
    const Finished finished =
        runIn({"ZOLSTAT_TIMEOUT=2.5", "ZOLSTAT_COLOR=never"}, {"doctor", "--config", file});
    expectInOrder(finished.output,
                  {"  file        " + file + "\n", "  environment ZOLSTAT_COLOR=never\n",
                   "              ZOLSTAT_TIMEOUT=2.5\n", "  time        2.5 s for connecting"});
}

TEST_F(Doctor, GoesThroughAllGatewaysAndEndsWithTheHeaviestFailure) {
    serve(TWO_GROUPS);
    const ClosedPort closed;
    const std::string down = "127.0.0.1:" + closed.text();
    const Finished finished = program::run(ZOLSTAT, {"doctor", "--gateway", down, "--gateway", address()});
    EXPECT_EQ(finished.exitCode, 3);
    expectInOrder(finished.output, {"\nGateway " + down, "\n  failure ", "\nGateway " + address(),
                                    "\n  statistics  3", "exit code 3\n"});
}

TEST_F(Doctor, HasNoOtherFormat) {
    serve(TWO_GROUPS);
    expectFailed(run({"doctor", "--format", "json"}), 2,
                 "zolstat: 'doctor' has no format but that of its report\n");
    EXPECT_TRUE(server().requests().empty());
}

// ---- What goes wrong

TEST_F(Doctor, ReportsARefusedConnection) {
    const ClosedPort port;
    const Finished finished = program::run(ZOLSTAT, {"doctor", "--port", port.text()});
    expectReport(finished, 3, ": Connection refused after ");
    expectInOrder(finished.output,
                  {"failure     the connection was refused: nothing listens on that port (-135)\n",
                   "  trace       its failures\n", "[3006] *EXC*", "  trace       the last "});
    EXPECT_EQ(finished.error, "zolstat: 127.0.0.1:" + port.text() +
                                  ": the connection was refused: nothing listens on that port (-135)\n");
}

TEST_F(Doctor, ReportsANameThatCannotBeResolved) {
    const Finished finished = program::run(ZOLSTAT, {"doctor", "--host", std::string(64, 'x')});
    expectReport(finished, 3, "the host name could not be resolved\n  failure ");
}

TEST_F(Doctor, ReportsAPeerThatIsNoGateway) {
    const testing_support::AnsweringGateway peer("HTTP/1.0 400 Bad Request\r\n\r\n\x1b[31mno\r\n");
    const Finished finished = program::run(ZOLSTAT, {"doctor", portOption(peer.port())});
    expectReport(finished, 6, "connected after ");
    EXPECT_EQ(finished.output.find('\x1b'), std::string::npos);
    EXPECT_NE(finished.output.find("48545450"), std::string::npos) << "the dump shows what came instead";
}

TEST_F(Doctor, ReportsAPeerThatSaysNothingWhenItsTimeIsUp) {
    const testing_support::LoopbackPort silent;
    silent.listen(8);
    const Finished finished =
        program::run(ZOLSTAT, {"doctor", portOption(silent.number()), "--timeout", "0.3"});
    expectReport(finished, 3, "connected after ");
    EXPECT_NE(finished.output.find("[1149] *EXC*"), std::string::npos) << finished.output;
}

TEST_F(Doctor, ReportsAConnectionThatIsNeverAnswered) {
    const testing_support::FullQueue full;
    const Finished finished = program::run(ZOLSTAT, {"doctor", portOption(full.port()), "--timeout", "0.3"});
    expectReport(finished, 3, ": Connection timed out after ");
}

TEST_F(Doctor, ReportsAQueryThatIsCutOff) {
    serveCutOff("STAT_IDS", 20, gateway::Ending::Close);
    const Finished finished = run({"doctor"});
    expectReport(finished, 4, "\n  groups      2, 9 bytes");
    expectInOrder(finished.output, {"\n  failure ", "(-122)\n", "*EXC*"});
}

TEST_F(Doctor, ReportsWhatTheGatewayRejects) {
    serveRejecting("RESOURCE_GROUPS", -5);
    expectReport(run({"doctor"}), 1, "\n  groups      0, 0 bytes in ");
}

TEST_F(Doctor, LetsNoControlByteThroughToTheTerminal) {
    serveExcept("protocol", [](const gateway::Request& request, const gateway::Reply&) {
        const std::string text = gateway::encodeText("1\x1b[31m\n2");
        return gateway::Reply{gateway::encodeReply(request, 0, gateway::adminReplyBody(1, 0, 0, text))};
    });
    const Finished finished = run({"doctor"});
    EXPECT_EQ(finished.output.find('\x1b'), std::string::npos);
    EXPECT_NE(finished.output.find("protocol version 1\\x1B[31m\\x0A2\n"), std::string::npos);
}

// ---- What authorises

// "SECR" "ETAU" "TH!?": to be recognised in both halves of a dump.
constexpr std::array<std::uint32_t, 3> SECRET_WORDS{0x53454352, 0x45544155, 0x5448213F};

// The bytes of all dumps as they follow one another, without addresses and blanks.
std::string dumpedDigits(const std::string& report) {
    std::string digits;
    std::istringstream lines(report);
    const std::regex dump(" +0x[0-9A-F]{8}: ([0-9A-F ]+) : .*");
    std::smatch parts;
    for (std::string line; std::getline(lines, line);) {
        digits += std::regex_match(line, parts, dump) ? parts[1].str() : "";
    }
    std::erase(digits, ' ');
    return digits;
}

void expectNoSecret(const std::string& report) {
    const std::string digits = dumpedDigits(report);
    for (const char* secret : {"53454352", "45544155", "5448213F"}) {
        EXPECT_EQ(digits.find(secret), std::string::npos) << report;
    }
    EXPECT_FALSE(std::regex_search(report, std::regex("SECR|ETAU|TH!"))) << report;
    EXPECT_NE(report.find("(what stood here belongs to the authorisation)"), std::string::npos) << report;
}

gateway::Reply authorise(const gateway::Request& request, std::uint32_t step, std::uint32_t code) {
    return {gateway::encodeReply(request, 0, gateway::authReplyBody(step, code, SECRET_WORDS))};
}

TEST_F(Doctor, ShowsNoByteOfARefusedAuthorisation) {
    serveAuthorisation([](const gateway::Request& request, std::uint32_t step) {
        return authorise(request, 0, step == 0 ? 0 : 7);
    });
    const Finished finished = run({"doctor"});
    expectReport(finished, 6, "[3212] *EXC*");
    expectNoSecret(finished.output);
}

TEST_F(Doctor, ShowsNoByteOfAnAuthorisationThatTheFailureComesAfter) {
    serveAuthorisation([](const gateway::Request& request, std::uint32_t step) {
        // The rest of the exchange does not come to an end: what follows "Auth" is cut short.
        gateway::Reply reply = authorise(request, step, 0);
        reply.ending = step == 0 ? gateway::Ending::KeepOpen : gateway::Ending::Close;
        return reply;
    });
    const Finished finished = run({"doctor"});
    EXPECT_EQ(finished.exitCode, 6);
    expectNoSecret(finished.output);
}

TEST_F(Doctor, ShowsNoByteOfAnAuthorisationThatComesInWithTheReplyToTheNextRequest) {
    serveAuthorisation([](const gateway::Request& request, std::uint32_t step) {
        gateway::Reply reply = authorise(request, step, 0);
        reply.bytes.front() = 'X';  // the header is refused, and the body left in the stream
        return reply;
    });
    const Finished finished = run({"doctor"});
    expectReport(finished, 6, "[3251] *EXC*");
    expectInOrder(finished.output, {"flowAuthRequest(", "flowCloseRequest("});
    expectNoSecret(finished.output);
}

// ---- The trace's file

TEST_F(Doctor, LeavesNoFileBehind) {
    serve(TWO_GROUPS);
    const ScratchFolder folder;
    const Finished finished = runIn({"TMPDIR=" + folder.path().string()}, {"doctor"});
    expectReport(finished, 0, "\n  statistics  3");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(Doctor, LeavesNoFileBehindWhenItIsKilled) {
    const testing_support::LoopbackPort silent;
    silent.listen(8);
    const ScratchFolder folder;
    program::Running doctor("/usr/bin/env", {"TMPDIR=" + folder.path().string(), ZOLSTAT, "doctor",
                                             portOption(silent.number()), "--timeout", "0"});
    const program::Descriptor bare(::accept(silent.descriptor(), nullptr, nullptr));
    const program::Descriptor traced(::accept(silent.descriptor(), nullptr, nullptr));
    doctor.send(SIGKILL);
    EXPECT_EQ(doctor.finish().exitCode, 128 + SIGKILL);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST_F(Doctor, ReportsTheRestWhereNoTraceCanBeMade) {
    serve(TWO_GROUPS);
    const Finished finished = runIn({"TMPDIR=/dev/null"}, {"doctor"});
    expectReport(finished, 0, "\n  statistics  3");
    EXPECT_NE(finished.output.find("\n  trace       none: /dev/null/zolstat."), std::string::npos);
    EXPECT_EQ(finished.error, "");
}

TEST_F(Doctor, TracesToItsReportAndNotWhereTheUsersTraceGoes) {
    serve(TWO_GROUPS);
    const Finished finished = run({"doctor", "--trace-level", "1"});
    EXPECT_EQ(finished.error.find("ENTRY"), std::string::npos) << finished.error;
    EXPECT_NE(finished.output.find("ENTRY"), std::string::npos);
}

TEST_F(Doctor, MakesNoFileForTheUsersTrace) {
    serve(TWO_GROUPS);
    const ScratchFolder folder;
    const Finished finished = run({"doctor", "--trace-file", folder.path() / "user.trace"});
    expectReport(finished, 0, "\n  statistics  3");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

}  // namespace
