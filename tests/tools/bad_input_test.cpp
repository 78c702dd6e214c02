// What a user of zolstat sees when something that it is given is wrong: one clear line, and the right exit code.
// Not a test of what it shows when all is well (zolstat_test.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include <algorithm>
#include <chrono>
#include <random>

#include "support/slow_gateway.h"
#include "zolstat_fixture.h"

namespace {

using namespace zolstat_testing;

constexpr int FINE = 0;
constexpr int REJECTED = 1;
constexpr int USAGE = 2;
constexpr int NO_CONNECTION = 3;
constexpr int CONNECTION_LOST = 4;
constexpr int NO_GATEWAY = 6;

const std::string HELP_LINE = "Run 'zolstat --help' for help.\n";

void expectWrongUsage(const Finished& finished, const std::string& problem) {
    expectFailed(finished, USAGE, "zolstat: " + problem + "\n" + HELP_LINE);
}

// Of a file with this content; '@' in what is to be said stands for its path.
void expectWrongConfiguration(const std::string& content, std::string problem) {
    const ScratchFolder folder;
    const std::string file = folder.write("bad.toml", content);
    if (problem.starts_with('@')) {
        problem.replace(0, 1, file);
    }
    expectWrongUsage(program::run(ZOLSTAT, {"groups", "--config", file}), problem);
}

class BadInput : public Zolstat {};

// ---- Names

TEST_F(BadInput, OfAnUnknownIdOrGroupIsNamed) {
    serve(TWO_GROUPS);
    expectFailed(
        run({"stats", "NO_SUCH"}), REJECTED,
        "zolstat: " + address() + ": no group or statistic 'NO_SUCH' (Gateway code " + UNKNOWN + ")\n");
    expectFailed(run({"ids", "NO_SUCH"}), REJECTED,
                 "zolstat: " + address() + ": no group 'NO_SUCH' (Gateway code " + UNKNOWN + ")\n");
}

TEST_F(BadInput, OfAPatternWithoutAMatchIsNamedAndTheRestIsShown) {
    serve(TWO_GROUPS);
    const Finished finished = run({"stats", "NO_*", "MEM*"});
    EXPECT_EQ(finished.exitCode, REJECTED);
    EXPECT_EQ(finished.output, "MEMORY\n  MEMORY_FREE_KB  123456\n");
    EXPECT_EQ(finished.error, "zolstat: " + address() + ": nothing matches 'NO_*'\n");
}

TEST_F(BadInput, OfAnUnfinishedPatternIsAPatternWithoutAMatch) {
    serve(TWO_GROUPS);
    expectFailed(run({"stats", "CPU_[A"}), REJECTED,
                 "zolstat: " + address() + ": nothing matches 'CPU_[A'\n");
}

TEST_F(BadInput, OfControlBytesIsToldWithoutThem) {
    expectWrongUsage(
        program::run(ZOLSTAT, {"\x1b[31m"}),
        "there is no command '\\x1B[31m'; 'zolstat stats \\x1B[31m' shows a group or a statistic");
}

// ---- Options

struct Wrong {
    const char* name;
    std::vector<std::string> arguments;
    const char* problem;
};

void PrintTo(const Wrong& wrong, std::ostream* out) {
    *out << wrong.name;
}

class WrongOption : public testing::TestWithParam<Wrong> {};

TEST_P(WrongOption, IsToldInOneLine) {
    expectWrongUsage(program::run(ZOLSTAT, GetParam().arguments), GetParam().problem);
}

const Wrong WRONG_OPTIONS[] = {
    {"Port", {"--port", "http"}, "--port: 'http' is not a number from 1 to 65535"},
    {"HostWithAPort", {"--host", "h:1"}, "--host: 'h:1': a port is for --port, or for --gateway"},
    {"GatewayAsAUrl", {"--gateway", "http://h:1"}, "--gateway: 'http://h:1': HOST:PORT is expected"},
    {"NoCommand", {"CPU"}, "there is no command 'CPU'; 'zolstat stats CPU' shows a group or a statistic"},
    {"Host", {"--host", ""}, "--host: the host is missing"},
    {"Timeout", {"--timeout", "soon"}, "--timeout: 'soon' is not a number of seconds from 0 to 86400"},
    {"TimeoutNegative", {"--timeout", "-1"}, "--timeout: '-1' is not a number of seconds from 0 to 86400"},
    {"TimeoutNotANumber",
     {"--timeout", "nan"},
     "--timeout: 'nan' is not a number of seconds from 0 to 86400"},
    {"TimeoutInfinite", {"--timeout", "inf"}, "--timeout: 'inf' is not a number of seconds from 0 to 86400"},
    {"TimeoutTooLong",
     {"--timeout", "86400.001"},
     "--timeout: '86400.001' is not a number of seconds from 0 to 86400"},
    {"Format", {"--format", "xml"}, "--format: 'xml' is none of csv, json, ndjson, prometheus, raw, table"},
    {"FormatAsANumber",
     {"--format", "1"},
     "--format: '1' is none of csv, json, ndjson, prometheus, raw, table"},
    {"Column",
     {"--columns", "id,colour"},
     "--columns: 'colour' is none of change, code, group, host, id, port, time, value"},
    {"Order", {"--sort", "size"}, "--sort: 'size' is none of change, id, value"},
    {"Colour", {"--color", "blue"}, "--color: 'blue' is none of always, auto, never"},
    {"GatewayUnclosed", {"--gateway", "[::1"}, "--gateway: '[::1': no address between '[' and ']'"},
    {"GatewayEmptyBrackets", {"--gateway", "[]:1"}, "--gateway: '[]:1': no address between '[' and ']'"},
    {"GatewayBehindBrackets",
     {"--gateway", "[::1]1"},
     "--gateway: '[::1]1': a ':' is expected after the ']'"},
    {"GatewayEmptyPort",
     {"--gateway", "host:"},
     "--gateway: 'host:': the port is not a number from 1 to 65535"},
    {"GatewayNoHost", {"--gateway", ":1"}, "--gateway: ':1': the host is missing"},
    {"GatewayEmpty", {"--gateway", ""}, "--gateway: '': the host is missing"},
    {"GatewayThreeParts",
     {"--gateway", "a:b:c"},
     "--gateway: 'a:b:c': an IPv6 address stands in brackets: [::1]:27400"},
    {"GatewayPortName",
     {"--gateway", "host:http"},
     "--gateway: 'host:http': the port is not a number from 1 to 65535"},
    {"GatewayPortTooHigh",
     {"--gateway", "host:65536"},
     "--gateway: 'host:65536': the port is not a number from 1 to 65535"},
    {"GatewayFileMissing",
     {"--gateway", "@/no/such/file"},
     "--gateway: '@/no/such/file': the file cannot be read"},
    {"GatewayFolder", {"--gateway", "@/"}, "--gateway: '@/': the file cannot be read"},
    {"ConfigMissing", {"--config", "/no/such/file"}, "/no/such/file was not readable (missing?)"},
    {"ConfigFolder", {"--config", "/"}, "/ was not readable (missing?)"},
};
INSTANTIATE_TEST_SUITE_P(BadInput, WrongOption, testing::ValuesIn(WRONG_OPTIONS),
                         [](const auto& wrong) { return std::string(wrong.param.name); });

TEST_F(BadInput, OfAFileOfGatewaysNamesFileAndLine) {
    const ScratchFolder folder;
    const std::string none = folder.write("none", "# nothing\n\n   \n");
    expectWrongUsage(program::run(ZOLSTAT, {"--gateway", "@" + none}),
                     "--gateway: '@" + none + "': the file names no Gateway");
    const std::string nested = folder.write("nested", "@other\n");
    expectWrongUsage(program::run(ZOLSTAT, {"--gateway", "@" + nested}),
                     "--gateway: " + nested + ", line 1: '@other': HOST:PORT is expected");
    const std::string bad = folder.write("bad", "127.0.0.1:1\nhost:http # a name\n");
    expectWrongUsage(program::run(ZOLSTAT, {"--gateway", "@" + bad}),
                     "--gateway: " + bad + ", line 2: 'host:http': the port is not a number from 1 to 65535");
}

std::string manyGateways(int count, const std::string& gateway) {
    std::string lines;
    for (int number = 0; number < count; ++number) {
        lines += gateway + '\n';
    }
    return lines;
}

TEST_F(BadInput, OfMoreGatewaysThanAProcessCanHaveConnectionsIsRefused) {
    serve(TWO_GROUPS);
    const ScratchFolder folder;
    const std::string tooMany = folder.write("too_many", manyGateways(257, address()));
    expectWrongUsage(program::run(ZOLSTAT, {"groups", "--gateway", "@" + tooMany}),
                     "--gateway: more than 256 Gateways");
    EXPECT_TRUE(server().requests().empty());
    const std::string asMany = folder.write("as_many", manyGateways(256, address()));
    EXPECT_EQ(program::run(ZOLSTAT, {"groups", "--gateway", "@" + asMany}).exitCode, FINE);
}

// ---- Environment and configuration file

struct Variable {
    const char* assignment;
    const char* problem;
};

void PrintTo(const Variable& variable, std::ostream* out) {
    *out << variable.assignment;
}

class WrongVariable : public testing::TestWithParam<Variable> {};

TEST_P(WrongVariable, IsToldWithItsNameAndLikeTheOption) {
    expectWrongUsage(program::run("/usr/bin/env", {GetParam().assignment, ZOLSTAT, "groups"}),
                     GetParam().problem);
}

INSTANTIATE_TEST_SUITE_P(
    BadInput, WrongVariable,
    testing::Values(
        Variable{"ZOLSTAT_PORT=http", "ZOLSTAT_PORT: --port: 'http' is not a number from 1 to 65535"},
        Variable{"ZOLSTAT_PORT=0", "ZOLSTAT_PORT: --port: '0' is not a number from 1 to 65535"},
        Variable{"ZOLSTAT_FORMAT=xml",
                 "ZOLSTAT_FORMAT: --format: 'xml' is none of csv, json, ndjson, prometheus, raw, table"},
        Variable{"ZOLSTAT_GATEWAY=host:1 :2", "ZOLSTAT_GATEWAY: --gateway: ':2': the host is missing"},
        Variable{"ZOLSTAT_CONFIG=/no/such/file", "/no/such/file was not readable (missing?)"}));

struct Configuration {
    const char* name;
    std::string content;
    const char* problem;
};

void PrintTo(const Configuration& configuration, std::ostream* out) {
    *out << configuration.name;
}

class WrongKey : public testing::TestWithParam<Configuration> {};

TEST_P(WrongKey, IsToldWithTheNameOfTheFile) {
    expectWrongConfiguration(GetParam().content, std::string("@: ") + GetParam().problem);
}

const Configuration WRONG_KEYS[] = {
    {"Unknown", "colour = \"auto\"\n", "there is no option 'colour'"},
    {"UnknownInASection", "[stats]\nport = 1\n", "there is no option 'stats.port'"},
    {"UnknownSection", "[nope]\nport = 1\n", "there is no option 'nope.port'"},
    {"NoAssignment", "port 1\n", "there is no option 'port 1'"},
    {"NoText", std::string("\0\x01\x1b[", 4), "there is no option '\\x00\\x01\\x1B['"},
    {"SeveralValues", "port = [1, 2]\n", "there is more than one value for 'port'"},
};
INSTANTIATE_TEST_SUITE_P(BadInput, WrongKey, testing::ValuesIn(WRONG_KEYS),
                         [](const auto& configuration) { return std::string(configuration.param.name); });

TEST_F(BadInput, OfAConfigurationsValueIsToldWithTheFileAndLikeTheOption) {
    expectWrongConfiguration("port = \"http\"\n", "@: --port: 'http' is not a number from 1 to 65535");
    expectWrongConfiguration("port =\n", "@: --port: '' is not a number from 1 to 65535");
    expectWrongConfiguration("[watch]\ninterval = \"abc\"\n",
                             "@: --interval: the interval is not a number from 0.1 to 86400");
    expectWrongConfiguration("gateway = [\"127.0.0.1:1\", \"a:b:c\"]\n",
                             "@: --gateway: 'a:b:c': an IPv6 address stands in brackets: [::1]:27400");
}

// ---- What listens there is no Gateway

std::string randomBytes(std::size_t count) {
    std::mt19937 generator(1);
    std::string bytes(count, '\0');
    std::generate(bytes.begin(), bytes.end(), [&] { return static_cast<char>(generator()); });
    return bytes;
}

struct Stranger {
    const char* name;
    std::string greeting;
};

void PrintTo(const Stranger& stranger, std::ostream* out) {
    *out << stranger.name;
}

class NoGateway : public testing::TestWithParam<Stranger> {};

TEST_P(NoGateway, IsRecognisedInOneLine) {
    const testing_support::AnsweringGateway stranger(GetParam().greeting);
    const std::string port = std::to_string(stranger.port());
    const Finished finished = program::run(ZOLSTAT, {"--port", port, "--timeout", "5"});
    EXPECT_EQ(finished.exitCode, NO_GATEWAY);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.error.find("zolstat: 127.0.0.1:" + port +
                                  ": something listens there, but it does not answer as a Gateway does, "
                                  "or refuses (-1"),
              0U)
        << finished.error;
    EXPECT_EQ(std::count(finished.error.begin(), finished.error.end(), '\n'), 1) << finished.error;
}

const Stranger STRANGERS[] = {
    {"ClosesAtOnce", ""},
    {"SpeaksHttp", "HTTP/1.1 400 Bad Request\r\nContent-Length: 0\r\nConnection: close\r\n\r\n"},
    {"GreetsLikeAMailServer", "220 mail.example.org ESMTP ready\r\n"},
    {"SaysHelloAsTlsDoes",
     std::string("\x16\x03\x01\x02\x00\x01\x00\x01\xfc\x03\x03", 11) + std::string(506, 'r')},
    {"AlertsAsTlsDoes", std::string("\x15\x03\x03\x00\x02\x02\x32", 7)},
    {"SendsRandomBytes", randomBytes(100000)},
    {"BeginsLikeAGateway", "Gate" + randomBytes(1000)},
};
INSTANTIATE_TEST_SUITE_P(BadInput, NoGateway, testing::ValuesIn(STRANGERS),
                         [](const auto& stranger) { return std::string(stranger.param.name); });

// ---- Time limits

constexpr std::chrono::milliseconds LIMIT{3000};
// What starting and ending a program may take on a busy machine.
constexpr std::chrono::milliseconds SLACK{2500};

// With the limit above; fails if the tool takes longer.
Finished runInTime(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--timeout", "3"});
    const auto start = std::chrono::steady_clock::now();
    Finished finished = program::run(ZOLSTAT, arguments);
    EXPECT_LT(std::chrono::steady_clock::now() - start, LIMIT + SLACK);
    return finished;
}

TEST_F(BadInput, OfAPeerThatSaysNothingTakesNoLongerThanTheTimeLimit) {
    const testing_support::LoopbackPort silent;
    silent.listen(8);
    const std::string port = std::to_string(silent.number());
    expectFailed(runInTime({"groups", "--port", port}), NO_CONNECTION,
                 "zolstat: 127.0.0.1:" + port +
                     ": something listens there, but it did not answer as a Gateway within 3 s (-134)\n");
}

TEST_F(BadInput, OfAPortThatAcceptsNothingTakesNoLongerThanTheTimeLimit) {
    const testing_support::FullQueue full;
    const std::string port = std::to_string(full.port());
    expectFailed(runInTime({"groups", "--port", port}), NO_CONNECTION,
                 "zolstat: 127.0.0.1:" + port +
                     ": connecting took longer than 60 seconds, or opening than the time limit (-134)\n");
}

class NoAnswer : public BadInput, public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(NoAnswer, ToAQueryTakesNoLongerThanTheTimeLimit) {
    serveExcept(GetParam().front(),
                [](const gateway::Request&, const gateway::Reply&) { return gateway::Reply{}; });
    std::vector<std::string> arguments(GetParam().begin() + 1, GetParam().end());
    arguments.insert(arguments.end(), {"--gateway", address()});
    expectFailed(runInTime(arguments), CONNECTION_LOST,
                 "zolstat: " + address() + ": the Gateway did not answer within 3 s (-102)\n");
}

TEST_F(BadInput, OfATimeLimitTooShortForTheClockIsNotTakenForNone) {
    const testing_support::LoopbackPort silent;
    silent.listen(8);
    const Finished finished =
        program::run(ZOLSTAT, {"groups", "--port", std::to_string(silent.number()), "--timeout", "0.0001"});
    EXPECT_EQ(finished.exitCode, NO_CONNECTION) << finished.error;
}

INSTANTIATE_TEST_SUITE_P(BadInput, NoAnswer,
                         testing::Values(std::vector<std::string>{"RESOURCE_GROUPS", "groups"},
                                         std::vector<std::string>{"STAT_IDS", "ids", "CPU"},
                                         std::vector<std::string>{"GET_STATS", "stats", "CPU"}));

}  // namespace
