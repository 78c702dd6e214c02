// The server over loopback: connections, their ends, and what a test may tell it to do.
// Not what is answered: see answers_test.cpp.
// The protocol is written down in docs/protocol.md.
#include "server.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <limits>
#include <mutex>
#include <optional>
#include <thread>

#include "client.h"

namespace {

std::atomic<int> acceptsToFail{0};

}  // namespace

// The linker puts this in the place of accept4 (see CMakeLists.txt): it can fail as if no descriptors were left.
extern "C" {
int __real_accept4(int socket, sockaddr* address, socklen_t* length, int flags);
int __wrap_accept4(int socket, sockaddr* address, socklen_t* length, int flags) {
    if (acceptsToFail > 0) {
        --acceptsToFail;
        errno = EMFILE;
        return -1;
    }
    return __real_accept4(socket, address, length, flags);
}
}

namespace {

using namespace requests;
using gateway::Ending;
using gateway::Options;
using gateway::Reply;
using gateway::Request;
using Clock = std::chrono::steady_clock;

const gateway::Snapshot SNAPSHOT{{"CPU", {{"CPU_USER", "1.5"}}}, {"LOAD", {{"LOAD_1", "0.07"}}}};
const Bytes HANDSHAKE_REPLY = message({"BASE", 5}, "");

constexpr int ONE_HOUR_MS = 3600 * 1000;

class ServerTest : public testing::Test {
  protected:
    ServerTest() {
        options_.statistics = [] { return SNAPSHOT; };
    }

    void start() { server_.emplace(options_); }
    void answerWith(std::function<Reply(const Request&, Reply)> script) {
        options_.script = std::move(script);
        start();
    }
    // A server whose answer to a handshake no socket buffer holds.
    void answerWithMoreThanFits() {
        answerWith([](const Request&, const Reply&) { return Reply{Bytes(64 << 20, 'x')}; });
    }
    Client connect() { return Client(server_->port()); }
    Client connectAuthorised() {
        Client client = connect();
        client.authorise();
        return client;
    }
    // Whether a connection of its own is served.
    void expectServing() { EXPECT_EQ(connect().ask(HANDSHAKE, 4), HANDSHAKE_REPLY); }

    Options options_;
    std::optional<gateway::Server> server_;
};

class RunningServer : public ServerTest {
  protected:
    RunningServer() { start(); }
};

// ---- A conversation

TEST_F(RunningServer, LeadsAConversationFromHandshakeToClose) {
    const Client client = connect();
    EXPECT_EQ(client.ask(HANDSHAKE, 4), HANDSHAKE_REPLY);
    const Bytes words = client.ask(ASK_FOR_WORDS, 4).substr(41);
    EXPECT_EQ(client.ask(handBack(words), 4).substr(33, 8), word(1) + word(0));
    const Bytes id = client.initialise();
    EXPECT_EQ(client.ask(getAttribute(id, "protocol"), 5).substr(49), Bytes("\0\3", 2) + "1.0");
    EXPECT_EQ(client.ask(invoke(client.initialise(), "STAT_IDS", ""), 5).substr(43),
              gateway::encodeIds({{"", 0, {"CPU_USER", "LOAD_1"}}}));
    EXPECT_EQ(client.ask(CLOSE, 4), message({"BASE", 10}, ""));
    EXPECT_EQ(client.end(), Client::End::Closed);
}

TEST_F(RunningServer, UnderstandsARequestThatComesByteByByte) {
    const Client client = connect();
    for (const char byte : HANDSHAKE) {
        client.send(std::string_view(&byte, 1));
    }
    EXPECT_EQ(client.readReply(4), HANDSHAKE_REPLY);
}

TEST_F(RunningServer, AnswersRequestsThatComeTogetherInOrder) {
    const Client client = connect();
    client.send(HANDSHAKE + ASK_FOR_WORDS + CLOSE);
    EXPECT_EQ(client.readReply(4), HANDSHAKE_REPLY);
    EXPECT_EQ(client.readReply(4).size(), 53U);
    EXPECT_EQ(client.readReply(4), message({"BASE", 10}, ""));
}

TEST_F(RunningServer, KeepsAuthorisationsApart) {
    const Client authorised = connectAuthorised();
    const Client other = connect();
    EXPECT_EQ(other.ask(INITIALISE, 5).substr(34), word(0) + word(3) + word(0));
    EXPECT_EQ(authorised.ask(INITIALISE, 5).substr(34, 8), word(0) + word(0));
}

TEST_F(RunningServer, TakesAListOf32KiB) {
    Bytes list = "LOAD_1";
    while (list.size() < 32768) {
        list += ":LOAD_1";
    }
    EXPECT_EQ(connectAuthorised().query("GET_STATS", list).substr(0, 5), hex("01") + word(4682));
}

// ---- Live figures

TEST(LiveServer, TellsTheFiguresOfTheMachineAndItsOwn) {
    const gateway::Server server;
    const Client client(server.port());
    client.authorise();
    const Bytes groups = client.query("RESOURCE_GROUPS", "");
    for (const char* group : {"CPU", "MEMORY", "LOAD", "PROCESSES", "DISK", "NETWORK", "GATEWAY"}) {
        EXPECT_NE(groups.find(item(group)), Bytes::npos) << group;
    }
    EXPECT_EQ(groups.find("BIG"), Bytes::npos);
    EXPECT_EQ(groups.find("EMPTY"), Bytes::npos);
}

TEST(LiveServer, CountsItsConnectionsRequestsAndBytes) {
    const gateway::Server server;
    Client first(server.port());
    server.waitForConnections(1);
    first.hangUp();
    server.waitForConnections(0);
    const Client client(server.port());
    client.authorise();
    const auto expectValue = [&](const std::string& id, const std::string& value) {
        EXPECT_EQ(client.query("GET_STATS", id), gateway::encodeStats({{id, 0, {{id, value}}}}));
    };
    expectValue("GATEWAY_CONNECTIONS_OPEN", "1");
    expectValue("GATEWAY_CONNECTIONS_TOTAL", "2");
    expectValue("GATEWAY_REQUESTS_GET_STATS", "3");
    expectValue("GATEWAY_REQUESTS_TOTAL", "11");
}

TEST(LiveServer, CountsBytesInAndOut) {
    const gateway::Server server;
    const Client client(server.port());
    client.authorise();                    // 51 + 37 + 53 bytes, and 33 + 53 + 53 in reply
    const Bytes id = client.initialise();  // 38, and 46 in reply
    const Bytes ask = invoke(id, "GET_STATS", "GATEWAY_BYTES_RECEIVED");
    const std::string received = std::to_string(51 + 37 + 53 + 38 + ask.size());
    EXPECT_NE(client.ask(ask, 5).find(item(received)), Bytes::npos);
}

TEST_F(ServerTest, HasABigAndAnEmptyGroupWhenAskedFor) {
    options_.big = 2;
    options_.emptyGroup = true;
    start();
    EXPECT_EQ(connectAuthorised().query("STAT_IDS", "BIG:EMPTY"),
              gateway::encodeIds({{"BIG", 0, {"BIG_1", "BIG_2"}}, {"EMPTY", 0, {}}}));
    EXPECT_EQ(connectAuthorised().query("RESOURCE_GROUPS", ""),
              gateway::encodeIds({{"", 0, {"CPU", "LOAD", "BIG", "EMPTY"}}}));
}

TEST_F(ServerTest, TellsTheProtocolVersionThatWasSet) {
    options_.protocolVersion = "7.8.9";
    start();
    const Client client = connectAuthorised();
    EXPECT_EQ(client.ask(getAttribute(client.initialise(), "protocol"), 5).substr(43),
              gateway::encodeText("7.8.9"));
}

// ---- Clients that misbehave

struct Nonsense {
    const char* kind;
    Bytes bytes;

    friend void PrintTo(const Nonsense& nonsense, std::ostream* out) { *out << nonsense.kind; }
};

class Garbage : public RunningServer, public testing::WithParamInterface<Nonsense> {};

TEST_P(Garbage, EndsItsOwnConnectionOnly) {
    const Client good = connect();
    const Client bad = connect();
    bad.sendWhatIsTaken(GetParam().bytes);
    EXPECT_NE(bad.end(), Client::End::Other);
    EXPECT_EQ(good.ask(HANDSHAKE, 4), HANDSHAKE_REPLY);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Garbage,
    testing::Values(Nonsense{"OtherProtocol", "GET / HTTP/1.1\r\n\r\n"}, Nonsense{"Zeros", Bytes(100, '\0')},
                    Nonsense{"AMebibyte", Bytes(1 << 20, '\xFF')},
                    Nonsense{"RightEyecatcherOnly", "Gate" + Bytes(1000, '\xFF')},
                    Nonsense{"BehindARequest", HANDSHAKE + "garbage"},
                    Nonsense{"LongName", message({std::string(25, 'n')}, "")},
                    Nonsense{"BodyOfAMebibyte", message({"Admin"}, Bytes(1 << 20, 'b'))}),
    testing::PrintToStringParamName());

TEST_F(RunningServer, ClosesTheConnectionOfAClientThatHangsUpWithinARequest) {
    Client client = connect();
    client.send(HANDSHAKE.substr(0, 30));
    server_->waitForConnections(1);
    client.hangUp();
    server_->waitForConnections(0);
    EXPECT_TRUE(server_->requests().empty());
}

TEST_F(RunningServer, ServesOthersWhileAClientStalls) {
    const Client stalled = connect();
    stalled.send(HANDSHAKE.substr(0, 30));
    expectServing();
    stalled.send(HANDSHAKE.substr(30));
    EXPECT_EQ(stalled.readReply(4), HANDSHAKE_REPLY);
}

TEST_F(ServerTest, ServesOthersWhileAClientDoesNotRead) {
    answerWith([](const Request& request, Reply usual) {
        return request.name == "Auth" ? Reply{Bytes(64 << 20, 'x')} : usual;
    });
    const Client deaf = connect();
    deaf.send(ASK_FOR_WORDS);
    server_->waitForRequests(1);
    expectServing();
}

// ---- What a test may ask for

TEST_F(RunningServer, KeepsRequestsInOrderAsTheyCame) {
    const Client client = connect();
    client.ask(HANDSHAKE, 4);
    client.ask(CLOSE, 4);
    const std::vector<Request> requests = server_->requests();
    ASSERT_EQ(requests.size(), 2U);
    EXPECT_EQ(requests[0].bytes, HANDSHAKE);
    EXPECT_EQ(requests[1].bytes, CLOSE);
}

TEST_F(ServerTest, KeepsNoRequestsWhenToldSoButCountsThem) {
    options_.keepRequests = false;
    start();
    const Client client = connect();
    client.ask(HANDSHAKE, 4);
    server_->waitForRequests(1);
    EXPECT_TRUE(server_->requests().empty());
}

TEST_F(RunningServer, WaitsForRequestsThatAreStillToCome) {
    const Client client = connect();
    auto waiting = std::async(std::launch::async, [&] { server_->waitForRequests(2); });
    client.send(HANDSHAKE + HANDSHAKE);
    waiting.get();
    EXPECT_EQ(server_->requests().size(), 2U);
}

TEST_F(RunningServer, CountsOpenConnections) {
    EXPECT_EQ(server_->openConnections(), 0U);
    Client first = connect();
    const Client second = connect();
    server_->waitForConnections(2);
    first.hangUp();
    server_->waitForConnections(1);
    EXPECT_EQ(server_->openConnections(), 1U);
}

TEST_F(ServerTest, GivesTheScriptTheRequestAndTheUsualReply) {
    std::promise<std::pair<Request, Reply>> given;
    answerWith([&](const Request& request, const Reply& usual) {
        given.set_value({request, usual});
        return usual;
    });
    connect().ask(HANDSHAKE, 4);
    const auto [request, usual] = given.get_future().get();
    EXPECT_EQ(request.bytes, HANDSHAKE);
    EXPECT_EQ(usual.bytes, HANDSHAKE_REPLY);
    EXPECT_EQ(usual.ending, Ending::KeepOpen);
}

TEST_F(ServerTest, SendsWhatTheScriptReturnsByteForByte) {
    answerWith([](const Request&, const Reply&) { return Reply{Bytes("\0any\xFF", 5)}; });
    const Client client = connect();
    client.send(HANDSHAKE);
    EXPECT_EQ(client.read(5), Bytes("\0any\xFF", 5));
    client.send(HANDSHAKE);
    EXPECT_EQ(client.read(5), Bytes("\0any\xFF", 5));
}

TEST_F(ServerTest, SendsNothingForAReplyWithoutBytesAndStaysConnected) {
    answerWith([](const Request&, const Reply&) { return Reply{}; });
    const Client client = connect();
    client.send(HANDSHAKE);
    server_->waitForRequests(1);
    client.send(HANDSHAKE);
    server_->waitForRequests(2);
    EXPECT_TRUE(client.hasNothing());
    EXPECT_EQ(server_->openConnections(), 1U);
}

TEST_F(ServerTest, ClosesAfterTheReplyWhenTheScriptSaysSo) {
    answerWith([](const Request&, const Reply&) { return Reply{"half", Ending::Close}; });
    const Client client = connect();
    client.send(HANDSHAKE);
    EXPECT_EQ(client.read(4), "half");
    EXPECT_EQ(client.end(), Client::End::Closed);
}

TEST_F(ServerTest, ResetsAfterTheReplyWhenTheScriptSaysSo) {
    answerWith([](const Request&, const Reply&) { return Reply{"", Ending::Reset}; });
    const Client client = connect();
    client.send(HANDSHAKE);
    EXPECT_EQ(client.end(), Client::End::Reset);
}

TEST_F(ServerTest, EndsTheConnectionOfAScriptThatThrows) {
    answerWith([](const Request& request, Reply usual) {
        return request.type == 10 ? throw std::runtime_error("script") : usual;
    });
    const Client client = connect();
    client.send(CLOSE);
    EXPECT_EQ(client.end(), Client::End::Closed);
    expectServing();
}

TEST_F(ServerTest, LogsALineForEachRequestAndForARefusedStream) {
    std::vector<std::string> lines;
    options_.log = [&](const std::string& line) { lines.push_back(line); };
    start();
    const Client client = connect();
    client.ask(HANDSHAKE, 4);
    client.send("garbage");
    EXPECT_EQ(client.end(), Client::End::Closed);
    server_.reset();
    EXPECT_THAT(lines,
                testing::ElementsAre(
                    testing::MatchesRegex("127\\.0\\.0\\.1 [0-9]+: BASE type 5: 33 bytes in reply"),
                    testing::MatchesRegex("127\\.0\\.0\\.1 [0-9]+: connection ended: bad eyecatcher")));
}

TEST_F(ServerTest, WaitsBeforeEachReply) {
    options_.delayMs = 50;
    start();
    const Client client = connect();
    for (int count = 0; count < 2; ++count) {
        const auto asked = Clock::now();
        client.ask(HANDSHAKE, 4);
        EXPECT_GE(Clock::now() - asked, std::chrono::milliseconds(50));
    }
}

// ---- Dropping and ending

TEST_F(RunningServer, ResetsAllConnectionsAndGoesOnListening) {
    const Client first = connect();
    const Client second = connect();
    server_->waitForConnections(2);
    server_->dropConnections();
    EXPECT_EQ(first.end(), Client::End::Reset);
    EXPECT_EQ(second.end(), Client::End::Reset);
    server_->waitForConnections(0);
    expectServing();
}

TEST_F(ServerTest, DropsAConnectionThatWaitsBeforeItsReply) {
    options_.delayMs = ONE_HOUR_MS;
    start();
    const Client client = connect();
    client.send(HANDSHAKE);
    server_->waitForRequests(1);
    server_->dropConnections();
    EXPECT_EQ(client.end(), Client::End::Reset);
}

TEST_F(ServerTest, DropsAConnectionWhoseClientDoesNotRead) {
    answerWithMoreThanFits();
    const Client client = connect();
    client.send(HANDSHAKE);
    EXPECT_EQ(client.read(1), "x");
    server_->dropConnections();
    server_->waitForConnections(0);
}

TEST_F(ServerTest, MayBeToldToDropByItsScript) {
    answerWith([this](const Request&, Reply usual) {
        server_->dropConnections();
        return usual;
    });
    const Client client = connect();
    client.send(HANDSHAKE);
    EXPECT_EQ(client.end(), Client::End::Reset);
}

TEST_F(RunningServer, EndsItsConnectionsWhenItEnds) {
    const Client idle = connect();
    const Client within = connect();
    within.send(HANDSHAKE.substr(0, 10));
    server_->waitForConnections(2);
    server_.reset();
    EXPECT_NE(idle.end(), Client::End::Other);
    EXPECT_NE(within.end(), Client::End::Other);
}

TEST_F(ServerTest, EndsWithoutWaitingForAReplysTime) {
    options_.delayMs = ONE_HOUR_MS;
    start();
    const Client client = connect();
    client.send(HANDSHAKE);
    server_->waitForRequests(1);
    server_.reset();
    EXPECT_NE(client.end(), Client::End::Other);
}

TEST_F(ServerTest, EndsWithoutWaitingForAClientThatDoesNotRead) {
    answerWithMoreThanFits();
    const Client client = connect();
    client.send(HANDSHAKE);
    EXPECT_EQ(client.read(1), "x");
    server_.reset();
}

TEST_F(RunningServer, ListensNoMoreWhenItHasEnded) {
    const std::uint16_t port = server_->port();
    server_.reset();
    EXPECT_THROW(Client{port}, std::system_error);
}

// ---- Many connections

TEST_F(RunningServer, ServesManyConnectionsAtOnce) {
    std::vector<Client> clients;
    for (int count = 0; count < 200; ++count) {
        clients.push_back(connectAuthorised());
    }
    server_->waitForConnections(200);
    for (const Client& client : clients) {
        EXPECT_EQ(client.query("GET_STATS", "LOAD_1").size(), clients[0].query("GET_STATS", "LOAD_1").size());
    }
}

TEST_F(RunningServer, ServesClientsOfManyThreads) {
    std::atomic<int> answered{0};
    std::vector<std::jthread> threads(8);
    for (std::jthread& thread : threads) {
        thread = std::jthread([&] {
            const Client client = connectAuthorised();
            for (int count = 0; count < 20; ++count) {
                answered +=
                    client.query("STAT_IDS", "") == gateway::encodeIds({{"", 0, {"CPU_USER", "LOAD_1"}}});
            }
        });
    }
    threads.clear();
    EXPECT_EQ(answered, 160);
}

std::size_t mappedBytes() {
    std::size_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    return pages * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
}

// The stacks of so many threads would take more, were they not given back.
TEST_F(RunningServer, TakesConnectionsInThousandsOneAfterTheOther) {
    const std::size_t before = mappedBytes();
    for (int count = 0; count < 3000; ++count) {
        EXPECT_EQ(connect().ask(CLOSE, 4).size(), 33U);
    }
    server_->waitForConnections(0);
    EXPECT_LT(mappedBytes(), before + (1U << 30));
}

TEST_F(ServerTest, AcceptsAgainAfterFailures) {
    acceptsToFail = 3;
    start();
    expectServing();
    EXPECT_EQ(acceptsToFail, 0);
}

// ---- Addresses

TEST_F(RunningServer, TakesAFreePort) {
    EXPECT_NE(server_->port(), 0);
    const gateway::Server other(options_);
    EXPECT_NE(other.port(), server_->port());
}

TEST_F(RunningServer, FailsOnAPortInUse) {
    Options same = options_;
    same.port = server_->port();
    EXPECT_THROW(gateway::Server{same}, std::system_error);
}

TEST_F(RunningServer, TakesAPortAgainThatWasInUse) {
    options_.port = server_->port();
    const Client client = connect();
    server_->waitForConnections(1);
    server_.reset();
    start();
    EXPECT_EQ(server_->port(), options_.port);
    expectServing();
}

// Documentation addresses belong to no machine.
TEST_F(ServerTest, FailsOnAnAddressOfAnotherMachine) {
    options_.host = "192.0.2.1";
    EXPECT_THROW(start(), std::system_error);
}

TEST_F(ServerTest, ListensOnIpv6WhereTheMachineHasIt) {
    options_.host = "::1";
    if (std::filesystem::exists("/proc/net/if_inet6")) {
        start();
        EXPECT_EQ(Client(server_->port(), "::1").ask(HANDSHAKE, 4), HANDSHAKE_REPLY);
    } else {
        EXPECT_THROW(start(), std::system_error);
    }
}

}  // namespace
