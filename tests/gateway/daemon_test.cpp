// zol-gateway-sim as its users meet it: options, outputs, signals and exit codes.
// Not what it answers: see answers_test.cpp and server_test.cpp.
// The protocol is written down in docs/protocol.md.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <filesystem>
#include <utility>
#include <vector>

#include "client.h"
#include "descriptor.h"

namespace {

using namespace requests;
using gateway::Descriptor;
using testing::HasSubstr;

std::pair<Descriptor, Descriptor> makePipe() {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
        throw std::system_error(errno, std::generic_category(), "pipe2");
    }
    return {Descriptor(ends[0]), Descriptor(ends[1])};
}

std::string readUpTo(const Descriptor& source, char last) {
    std::string text;
    char byte = 0;
    while (::read(source.number(), &byte, 1) == 1 && byte != last) {
        text += byte;
    }
    return text;
}

// The program, from its start to its end or to that of the test.
class Daemon {
  public:
    explicit Daemon(std::vector<std::string> arguments) {
        auto [output, outputWriter] = makePipe();
        auto [error, errorWriter] = makePipe();
        arguments.insert(arguments.begin(), ZOL_GATEWAY_SIM);
        spawn(arguments, outputWriter, errorWriter);
        output_ = std::move(output);
        error_ = std::move(error);
    }
    ~Daemon() {
        if (pid_ > 0) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, nullptr, 0);
        }
    }
    Daemon(const Daemon&) = delete;
    Daemon& operator=(const Daemon&) = delete;

    std::string outputLine() { return readUpTo(output_, '\n'); }
    std::string errorLine() { return readUpTo(error_, '\n'); }
    std::string wholeOutput() { return readUpTo(output_, '\0'); }
    std::string wholeError() { return readUpTo(error_, '\0'); }
    void closeOutputs() {
        output_.close();
        error_.close();
    }

    // The port in the line that is printed first.
    std::uint16_t port() {
        const std::string line = outputLine();
        return static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1)));
    }

    int endWith(int signal) {
        ::kill(pid_, signal);
        return exitCode();
    }
    // Negative: the signal that ended it.
    int exitCode() {
        int status = 0;
        ::waitpid(std::exchange(pid_, -1), &status, 0);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

  private:
    void spawn(const std::vector<std::string>& arguments, const Descriptor& output, const Descriptor& error) {
        std::vector<char*> argv;
        for (const std::string& argument : arguments) {
            argv.push_back(const_cast<char*>(argument.c_str()));
        }
        argv.push_back(nullptr);
        posix_spawn_file_actions_t actions;
        ::posix_spawn_file_actions_init(&actions);
        ::posix_spawn_file_actions_adddup2(&actions, output.number(), STDOUT_FILENO);
        ::posix_spawn_file_actions_adddup2(&actions, error.number(), STDERR_FILENO);
        const int result = ::posix_spawn(&pid_, argv[0], &actions, nullptr, argv.data(), environ);
        ::posix_spawn_file_actions_destroy(&actions);
        if (result != 0) {
            throw std::system_error(result, std::generic_category(), argv[0]);
        }
    }

    pid_t pid_ = -1;
    Descriptor output_;
    Descriptor error_;
};

void expectServing(std::uint16_t port, const std::string& host = "127.0.0.1") {
    EXPECT_EQ(Client(port, host).ask(HANDSHAKE, 4), message({"BASE", 5}, ""));
}

TEST(Daemon, PrintsWhereItListens) {
    Daemon daemon({"--port", "0"});
    const std::string line = daemon.outputLine();
    EXPECT_THAT(line, testing::MatchesRegex("zol-gateway-sim: listening on 127\\.0\\.0\\.1:[0-9]+"));
    expectServing(static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1))));
}

class EndingSignal : public testing::TestWithParam<int> {};

TEST_P(EndingSignal, EndsItCleanly) {
    Daemon daemon({"--port", "0"});
    const std::uint16_t port = daemon.port();
    const Client idle(port);
    idle.ask(HANDSHAKE, 4);
    const Client within(port);
    within.send(HANDSHAKE.substr(0, 10));
    EXPECT_EQ(daemon.endWith(GetParam()), 0);
    EXPECT_NE(idle.end(), Client::End::Other);
    EXPECT_EQ(daemon.wholeError(), "");
}

INSTANTIATE_TEST_SUITE_P(Signals, EndingSignal, testing::Values(SIGINT, SIGTERM), [](const auto& signal) {
    return std::string(signal.param == SIGINT ? "SIGINT" : "SIGTERM");
});

TEST(Daemon, EndsWhileAReplyIsStillWaitingForItsTime) {
    Daemon daemon({"--port", "0", "--delay", "3600000", "--verbose"});
    const Client client(daemon.port());
    client.send(HANDSHAKE);
    daemon.errorLine();
    EXPECT_EQ(daemon.endWith(SIGTERM), 0);
}

TEST(Daemon, OutlivesTheReadersOfItsOutputs) {
    Daemon daemon({"--port", "0", "--verbose"});
    const std::uint16_t port = daemon.port();
    daemon.closeOutputs();
    expectServing(port);
    expectServing(port);
    EXPECT_EQ(daemon.endWith(SIGTERM), 0);
}

TEST(Daemon, OutlivesClientsThatSendGarbage) {
    Daemon daemon({"--port", "0"});
    const std::uint16_t port = daemon.port();
    const Client bad(port);
    bad.sendWhatIsTaken(Bytes(100000, 'x'));
    EXPECT_NE(bad.end(), Client::End::Other);
    expectServing(port);
}

TEST(Daemon, HasTheGroupsAndTheVersionAskedFor) {
    Daemon daemon({"--port", "0", "--big", "2", "--empty-group", "--protocol-version", "9.9"});
    const Client client(daemon.port());
    client.authorise();
    EXPECT_THAT(client.query("RESOURCE_GROUPS", ""),
                testing::AllOf(HasSubstr(item("CPU")), HasSubstr(item("GATEWAY"))));
    EXPECT_THAT(client.query("STAT_IDS", "BIG:EMPTY"), HasSubstr(item("BIG_1") + item("BIG_2")));
    EXPECT_THAT(client.ask(getAttribute(client.initialise(), "protocol"), 5), HasSubstr(item("9.9")));
}

TEST(Daemon, WritesALineForEachRequestWhenAsked) {
    Daemon daemon({"--port", "0", "--verbose"});
    expectServing(daemon.port());
    EXPECT_THAT(daemon.errorLine(),
                testing::MatchesRegex("127\\.0\\.0\\.1 [0-9]+: BASE type 5: 33 bytes in reply"));
}

TEST(Daemon, ListensOnIpv6WhereTheMachineHasIt) {
    Daemon daemon({"--port", "0", "--host", "::1"});
    const std::string line = daemon.outputLine();
    if (std::filesystem::exists("/proc/net/if_inet6")) {
        EXPECT_THAT(line, HasSubstr("zol-gateway-sim: listening on [::1]:"));
        expectServing(static_cast<std::uint16_t>(std::stoi(line.substr(line.rfind(':') + 1))), "::1");
    } else {
        EXPECT_EQ(daemon.exitCode(), 1);
    }
}

TEST(Daemon, TellsWhyItCannotListen) {
    Daemon first({"--port", "0"});
    const std::string port = std::to_string(first.port());
    Daemon second({"--port", port});
    EXPECT_EQ(second.exitCode(), 1);
    EXPECT_EQ(second.wholeOutput(), "");
    EXPECT_EQ(second.wholeError(),
              "zol-gateway-sim: 127.0.0.1:" + port + ": cannot listen: Address already in use\n");
}

TEST(Daemon, ShowsItsOptions) {
    Daemon daemon({"--help"});
    EXPECT_EQ(daemon.exitCode(), 0);
    const std::string help = daemon.wholeOutput();
    for (const char* text : {"--host", "127.0.0.1", "--port", "27400", "--protocol-version", "--big",
                             "--empty-group", "--delay", "--verbose"}) {
        EXPECT_THAT(help, HasSubstr(text));
    }
}

struct Misuse {
    const char* kind;
    std::vector<std::string> arguments;

    friend void PrintTo(const Misuse& misuse, std::ostream* out) { *out << misuse.kind; }
};

class WrongUsage : public testing::TestWithParam<Misuse> {};

TEST_P(WrongUsage, IsRefused) {
    Daemon daemon(GetParam().arguments);
    EXPECT_EQ(daemon.exitCode(), 2);
    EXPECT_NE(daemon.wholeError(), "");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, WrongUsage,
    testing::Values(Misuse{"UnknownOption", {"--nonsense"}}, Misuse{"PortMissing", {"--port"}},
                    Misuse{"PortTooLarge", {"--port", "65536"}}, Misuse{"PortNegative", {"--port", "-1"}},
                    Misuse{"BigNegative", {"--big", "-1"}}, Misuse{"DelayNoNumber", {"--delay", "x"}},
                    Misuse{"VersionTooLong", {"--protocol-version", std::string(32768, 'v')}},
                    Misuse{"Operand", {"operand"}}),
    testing::PrintToStringParamName());

}  // namespace
