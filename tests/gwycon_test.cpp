// Connecting, authorising and closing on the level of sockets, against a Gateway on the loopback address.
// The wait for a connect under way has a test file of its own, and so has the token that an application
// holds. Handshake and authorisation are written down in docs/protocol.md.
#include "stapi_zol_gwycon.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <netinet/tcp.h>

#include <cstring>
#include <set>

#include "support/answering_gateway.h"
#include "support/bytes.h"
#include "support/peer.h"
#include "support/system_calls.h"
#include "support/trace_capture.h"

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::Ge;

namespace {

constexpr int UNTOUCHED = -77;
constexpr int DATA_LEVEL = 4;
constexpr char LOCAL_HOST[] = "127.0.0.1";

bool isOpen(int descriptor) {
    return ::fcntl(descriptor, F_GETFD) != -1;
}

int optionOf(int descriptor, int level, int option) {
    int value = 0;
    socklen_t size = sizeof value;
    EXPECT_EQ(::getsockopt(descriptor, level, option, &value, &size), 0);
    return value;
}

class Connecting : public testing::Test {
  protected:
    ~Connecting() override {
        if (socket >= 0) {
            ::close(socket);
        }
    }

    int connectTo(int port, const char* host = LOCAL_HOST) { return connectToGateway(port, host, &socket); }
    int connectToIt() { return connectTo(gateway.port()); }

    // connect() fails at once.
    void connectFails(int error) {
        system.connect = [error](int, const sockaddr*, socklen_t) { return failed(error); };
    }
    // connect() goes on in the background and ends with that error.
    void connectFailsLater(int error) {
        connectFails(EINPROGRESS);
        system.poll = [](pollfd* wait, nfds_t, int) { return wait->revents = POLLOUT, 1; };
        system.getsockopt = [error](int, int, int, void* value, socklen_t*) {
            std::memcpy(value, &error, sizeof error);
            return 0;
        };
    }
    // connect() succeeds but reports result.
    void connectReports(int error) {
        system.connect = [error](int descriptor, const sockaddr* address, socklen_t size) {
            ::fcntl(descriptor, F_SETFL, 0);
            const int rc = passOn<int>("connect", descriptor, address, size);
            ::fcntl(descriptor, F_SETFL, O_NONBLOCK);
            return error == 0 ? rc : failed(error);
        };
    }
    void blockingSwitchFails(int error) {
        system.ioctl = [error](int, unsigned long, void* onOrOff) -> std::optional<int> {
            return onOrOff == &sockOptOff ? std::optional(failed(error)) : std::nullopt;
        };
    }
    void optionFails(int failing) {
        system.setsockopt = [failing](int, int, int option, const void*, socklen_t) -> std::optional<int> {
            return option == failing ? std::optional(failed(ENOPROTOOPT)) : std::nullopt;
        };
    }

    AnsweringGateway gateway{connectReplies()};
    SystemCalls system;
    int socket = UNTOUCHED;
};

// ---- A connection that succeeds

TEST_F(Connecting, ShakesHandsThenAuthorisesInTwoSteps) {
    EXPECT_EQ(connectToIt(), 0);
    const Bytes expected = HANDSHAKE_REQUEST + AUTH_INIT_REQUEST + AUTH_ANSWER_REQUEST;
    EXPECT_EQ(gateway.received(0, expected.size()), expected);
}

TEST_F(Connecting, SendsNothingBehindTheSecondAuthorisationStep) {
    connectToIt();
    closeConnection(&socket);
    EXPECT_EQ(gateway.receivedToTheEnd(0),
              HANDSHAKE_REQUEST + AUTH_INIT_REQUEST + AUTH_ANSWER_REQUEST + CLOSE_REQUEST);
    socket = UNTOUCHED;
}

TEST_F(Connecting, KeepsTheConnectionAliveAndWithoutDelay) {
    connectToIt();
    EXPECT_EQ(optionOf(socket, SOL_SOCKET, SO_KEEPALIVE), 1);
    EXPECT_EQ(optionOf(socket, IPPROTO_TCP, TCP_NODELAY), 1);
}

TEST_F(Connecting, LeavesTheSocketBlocking) {
    connectToIt();
    EXPECT_EQ(::fcntl(socket, F_GETFL) & O_NONBLOCK, 0);
}

TEST_F(Connecting, ClosesTheSocketOnExec) {
    connectToIt();
    EXPECT_EQ(::fcntl(socket, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(Connecting, GivesTheSocketASendBufferForTheLargestRequest) {
    connectToIt();
    EXPECT_THAT(optionOf(socket, SOL_SOCKET, SO_SNDBUF), Ge(65536));
}

TEST_F(Connecting, SucceedsWithoutTheLargerSendBuffer) {
    optionFails(SO_SNDBUF);
    EXPECT_EQ(connectToIt(), 0);
}

TEST_F(Connecting, SetsKeepAliveThenNoDelayWithAnIntegerOfOneEach) {
    std::vector<std::string> options;
    system.setsockopt = [&](int, int level, int option, const void* value,
                            socklen_t size) -> std::optional<int> {
        if (option != SO_SNDBUF || level != SOL_SOCKET) {
            options.push_back(printed("%d/%d=%d (%u)", level, option, *static_cast<const int*>(value), size));
        }
        return std::nullopt;
    };
    connectToIt();
    EXPECT_THAT(options, ElementsAre(printed("%d/%d=1 (4)", SOL_SOCKET, SO_KEEPALIVE),
                                     printed("%d/%d=1 (4)", IPPROTO_TCP, TCP_NODELAY)));
}

TEST_F(Connecting, SwitchesTheSocketToNonBlockingAndBack) {
    std::vector<void*> switches;
    system.ioctl = [&](int, unsigned long request, void* onOrOff) {
        EXPECT_EQ(request, static_cast<unsigned long>(FIONBIO));
        switches.push_back(onOrOff);
        return std::nullopt;
    };
    connectToIt();
    EXPECT_THAT(switches, ElementsAre(&sockOptOn, &sockOptOff));
}

TEST_F(Connecting, IsNotBlockingWhileItConnects) {
    system.connect = [](int descriptor, const sockaddr*, socklen_t) {
        EXPECT_NE(::fcntl(descriptor, F_GETFL) & O_NONBLOCK, 0);
        return std::nullopt;
    };
    EXPECT_EQ(connectToIt(), 0);
}

TEST_F(Connecting, StoresTheDescriptorBeforeItConnects) {
    system.connect = [this](int descriptor, const sockaddr*, socklen_t) {
        EXPECT_EQ(socket, descriptor);
        return std::nullopt;
    };
    EXPECT_EQ(connectToIt(), 0);
}

TEST_F(Connecting, DoesNotWaitForAConnectThatIsMadeAtOnce) {
    connectReports(0);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), 0);
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3000, 3013, 3002, 3003, 3004, 3010, 3011, 3007));
}

TEST_F(Connecting, WaitsForAConnectThatIsUnderWay) {
    connectReports(EINPROGRESS);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), 0);
    EXPECT_THAT(trace.points(3000, 3020),
                ElementsAre(3000, 3013, 3002, 3018, 3014, 3003, 3004, 3010, 3011, 3007));
}

TEST_F(Connecting, TracesEachStepThatSucceeds) {
    connectReports(EINPROGRESS);
    const TraceCapture trace(DATA_LEVEL);
    connectToIt();
    const int port = gateway.port();
    const void* host = LOCAL_HOST;
    const std::vector<TraceLine> lines = trace.lines(3000, 3020);
    EXPECT_THAT(lines,
                Contains(line(3000, "ENTRY",
                              "stapi_zol_gwycon.connectToGateway(port=%d, ipAddr=%p, socketDescriptorPtr=%p)",
                              port, host, &socket)));
    EXPECT_THAT(
        lines,
        Contains(line(3013, "DEBUG",
                      "stapi_zol_gwycon.connectToGateway Creating socket for family %d, type %d, protocol %d",
                      AF_INET, SOCK_STREAM, IPPROTO_TCP)));
    EXPECT_THAT(lines, Contains(line(3002, "DEBUG", "stapi_zol_gwycon.connectToGateway() Created socket: %d",
                                     socket)));
    EXPECT_THAT(lines, Contains(line(3018, "DEBUG",
                                     "stapi_zol_gwycon.connectToGateway() Waiting for connect to complete")));
    EXPECT_THAT(lines,
                Contains(line(3003, "DEBUG", "stapi_zol_gwycon.connectToGateway() Connected to Gateway %s:%u",
                              "127.0.0.1", port)));
    EXPECT_THAT(lines, Contains(line(3004, "DEBUG",
                                     "stapi_zol_gwycon.connectToGateway() Flowed Handshake to the Gateway")));
    EXPECT_THAT(
        lines,
        Contains(
            line(3007, "EXIT",
                 "stapi_zol_gwycon.connectToGateway(port=%d, ipAddr=%p, socketDescriptorPtr=%p) connectRc=%d",
                 port, host, &socket, 0)));
}

// ---- Name resolution

TEST_F(Connecting, ResolvesForAStreamOfAnyFamily) {
    addrinfo asked{};
    system.getaddrinfo = [&](const char*, const char*, const addrinfo* hints, addrinfo**) {
        asked = *hints;
        return EAI_NONAME;
    };
    addrinfo expected{};
    expected.ai_flags = 0x30;
    expected.ai_family = AF_UNSPEC;
    expected.ai_socktype = SOCK_STREAM;
    connectTo(1);
    EXPECT_EQ(std::memcmp(&asked, &expected, sizeof asked), 0);
}

TEST_F(Connecting, ResolvesTheHostWithThePortInDecimal) {
    std::string asked;
    system.getaddrinfo = [&](const char* host, const char* service, const addrinfo*, addrinfo**) {
        asked = printed("%s:%s", host, service);
        return EAI_NONAME;
    };
    connectTo(65535, "gateway.example");
    EXPECT_EQ(asked, "gateway.example:65535");
}

TEST_F(Connecting, ResolvesANullHostToTheLoopbackAddress) {
    system.getaddrinfo = [](const char* host, const char* service, const addrinfo* hints, addrinfo** list) {
        EXPECT_EQ(host, nullptr);
        addrinfo oldFamily = *hints;
        oldFamily.ai_family = AF_INET;
        return passOn<int>("getaddrinfo", host, service, static_cast<const addrinfo*>(&oldFamily), list);
    };
    EXPECT_EQ(connectTo(gateway.port(), nullptr), 0);
}

TEST_F(Connecting, ReportsAHostThatIsNotResolved) {
    system.getaddrinfo = [](const char*, const char*, const addrinfo*, addrinfo**) { return EAI_NONAME; };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectTo(2006, "nowhere"), -101);
    EXPECT_EQ(socket, UNTOUCHED);
    EXPECT_THAT(trace.lines(3012), ElementsAre(line(3012, "*EXC*",
                                                    "stapi_zol_gwycon.getHostInfo() Unable to resolve host "
                                                    "(nowhere:2006): Name or service not known(-2)")));
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3000, 3012, 3007));
}

TEST_F(Connecting, TriesTheFirstAddressOnly) {
    const LoopbackPort closed;
    const std::string closedService = std::to_string(closed.number());
    system.getaddrinfo = [&](const char* host, const char* service, const addrinfo* hints, addrinfo** list) {
        const int rc = passOn<int>("getaddrinfo", host, closedService.c_str(), hints, list);
        EXPECT_EQ(passOn<int>("getaddrinfo", host, service, hints, &(*list)->ai_next), 0);
        return rc;
    };
    EXPECT_EQ(connectToIt(), -104);
    EXPECT_EQ(gateway.connections(), 0U);
}

TEST_F(Connecting, FreesTheAddressListWhateverTheResult) {
    int freed = 0;
    system.freeaddrinfo = [&](addrinfo*) { return ++freed; };
    EXPECT_EQ(connectToIt(), 0);
    EXPECT_EQ(freed, 1);
    ::close(socket);
    connectFails(ECONNREFUSED);
    EXPECT_EQ(connectToIt(), -104);
    EXPECT_EQ(freed, 2);
}

// ---- The socket cannot be had or set up

TEST_F(Connecting, ReportsASocketThatCannotBeCreated) {
    system.socket = [](int, int, int) { return failed(EMFILE); };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), -102);
    EXPECT_EQ(socket, -1);
    EXPECT_THAT(trace.lines(3001), ElementsAre(line(3001, "*EXC*",
                                                    "stapi_zol_gwycon.connectToGateway() Unable to create a "
                                                    "socket: Too many open files(24)")));
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3000, 3013, 3001, 3007));
}

TEST_F(Connecting, StopsWhenTheSocketIsNotWantedAnyMore) {
    socket = zolstats::SOCKET_UNWANTED;
    const TraceCapture trace(1);
    EXPECT_EQ(connectToIt(), -102);
    EXPECT_THAT(trace.lines(), ElementsAre(line(3001, "*EXC*",
                                                "stapi_zol_gwycon.connectToGateway() Unable to create a "
                                                "socket: Operation canceled(125)")));
    EXPECT_NE(::fcntl(socket, F_GETFD), -1) << "it is the caller's to close";
}

class ConnectingWithoutAnOption : public Connecting, public testing::WithParamInterface<int> {};

TEST_P(ConnectingWithoutAnOption, FailsAndTracesTheDescriptor) {
    optionFails(GetParam());
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), -102);
    EXPECT_THAT(
        trace.lines(3002),
        ElementsAre(line(3002, "DEBUG",
                         "stapi_zol_gwycon.connectToGateway() Set socket to KeepAlive or NoDelay failed: %d",
                         socket)));
    EXPECT_TRUE(isOpen(socket));
    EXPECT_EQ(gateway.connections(), 0U);
}

INSTANTIATE_TEST_SUITE_P(Each, ConnectingWithoutAnOption, testing::Values(SO_KEEPALIVE, TCP_NODELAY));

TEST_F(Connecting, FailsWhenTheSocketCannotBeMadeNonBlocking) {
    system.ioctl = [](int, unsigned long, void*) { return failed(ENOTTY); };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), -102);
    EXPECT_THAT(trace.lines(3019),
                ElementsAre(line(3019, "DEBUG",
                                 "stapi_zol_gwycon.connectToGateway() Set Non-Blocking IOCTL "
                                 "failed with Rc=%d, errno=%d",
                                 -1, 25)));
    EXPECT_TRUE(isOpen(socket));
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3000, 3013, 3002, 3019, 3007));
}

// ---- The connect fails

struct ConnectFailure {
    int error;
    int rc;
    const char* text;
};

class ConnectingThatFails : public Connecting, public testing::WithParamInterface<ConnectFailure> {
  protected:
    static TraceLine failureLine() {
        return line(3006, "*EXC*", "stapi_zol_gwycon.connectToGateway() Unable to connect to Gateway: %s",
                    GetParam().text);
    }
};

TEST_P(ConnectingThatFails, IsClassifiedByTheErrorOfConnect) {
    connectFails(GetParam().error);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), GetParam().rc);
    EXPECT_THAT(trace.lines(3006), ElementsAre(failureLine()));
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3000, 3013, 3002, 3006, 3007));
}

TEST_P(ConnectingThatFails, IsClassifiedByThePendingErrorOfTheSocket) {
    connectFailsLater(GetParam().error);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), GetParam().rc);
    EXPECT_THAT(trace.lines(3006), ElementsAre(failureLine()));
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3000, 3013, 3002, 3018, 3014, 3015, 3006, 3007));
}

TEST_P(ConnectingThatFails, IsClassifiedByTheErrorOfTheSwitchBackToBlocking) {
    connectReports(0);
    blockingSwitchFails(GetParam().error);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), GetParam().rc);
    EXPECT_THAT(trace.lines(3020),
                ElementsAre(line(3020, "DEBUG",
                                 "stapi_zol_gwycon.connectToGateway() Set Blocking IOCTL failed "
                                 "with Rc=%d, errno=%d",
                                 -1, GetParam().error)));
    EXPECT_THAT(trace.lines(3006), ElementsAre(failureLine()));
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3000, 3013, 3002, 3003, 3020, 3006, 3007));
}

TEST_P(ConnectingThatFails, LeavesTheSocketOpenForItsOwnerToClose) {
    connectFails(GetParam().error);
    connectToIt();
    EXPECT_TRUE(isOpen(socket));
}

INSTANTIATE_TEST_SUITE_P(WithEachError, ConnectingThatFails,
                         testing::Values(ConnectFailure{ECONNREFUSED, -104, "Connection refused(111)"},
                                         ConnectFailure{ENETUNREACH, -105, "Network is unreachable(101)"},
                                         ConnectFailure{EHOSTUNREACH, -100, "No route to host(113)"},
                                         ConnectFailure{ETIMEDOUT, -100, "Connection timed out(110)"},
                                         ConnectFailure{EACCES, -100, "Permission denied(13)"}));

TEST_F(Connecting, IsRefusedByAClosedLocalPort) {
    const LoopbackPort closed;
    EXPECT_EQ(connectTo(closed.number()), -104);
}

TEST_F(Connecting, TimesOutWithTheErrorOfAConnectUnderWay) {
    connectFails(EINPROGRESS);
    system.poll = [](pollfd*, nfds_t, int) { return 0; };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), -103);
    EXPECT_THAT(trace.lines(3006),
                ElementsAre(line(3006, "*EXC*",
                                 "stapi_zol_gwycon.connectToGateway() Unable to connect to "
                                 "Gateway: Operation now in progress(115)")));
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3000, 3013, 3002, 3018, 3014, 3016, 3006, 3007));
}

TEST_F(Connecting, FailsWhenTheWaitFails) {
    connectFails(EINPROGRESS);
    system.poll = [](pollfd*, nfds_t, int) { return failed(ENOMEM); };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), -100);
    EXPECT_THAT(trace.lines(3006),
                ElementsAre(line(3006, "*EXC*",
                                 "stapi_zol_gwycon.connectToGateway() Unable to connect to "
                                 "Gateway: Cannot allocate memory(12)")));
}

// ---- Handshake and authorisation fail

TEST_F(Connecting, FailsWhenTheGatewayRejectsTheHandshake) {
    gateway.answer(handshakeReply(0xF005));
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), -100);
    EXPECT_THAT(trace.lines(3005),
                ElementsAre(line(3005, "*EXC*",
                                 "stapi_zol_gwycon.connectToGateway() Handshake flows failed "
                                 "rc=%d errno=%s gwyRc=%d authRc=%d",
                                 0xF005, "Success", 0xF005, 0)));
    EXPECT_TRUE(isOpen(socket));
}

TEST_F(Connecting, SendsNothingBehindAFailedHandshake) {
    gateway.answer(handshakeReply(1));
    connectToIt();
    ::close(socket);
    socket = UNTOUCHED;
    EXPECT_EQ(gateway.receivedToTheEnd(0), HANDSHAKE_REQUEST);
}

TEST_F(Connecting, FailsWhenTheGatewayDoesNotAnswerTheHandshake) {
    gateway.answer("");
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), -100);
    EXPECT_THAT(trace.lines(3005),
                ElementsAre(line(3005, "*EXC*",
                                 "stapi_zol_gwycon.connectToGateway() Handshake flows failed "
                                 "rc=-122 errno=Unknown error -1 gwyRc=0 authRc=0")));
}

TEST_F(Connecting, GivesTheResultOfARefusedAuthorisation) {
    gateway.answer(handshakeReply() + authReply(5));
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(connectToIt(), -2);
    EXPECT_TRUE(isOpen(socket));
    EXPECT_THAT(trace.points(3000, 3020),
                ElementsAre(3000, 3013, 3002, 3018, 3014, 3003, 3004, 3010, 3011, 3007));
}

TEST_F(Connecting, GivesTheResultOfAnAuthorisationThatIsNotAnswered) {
    gateway.answer(handshakeReply());
    EXPECT_EQ(connectToIt(), -122);
}

// ---- Authorising

class Authorising : public testing::Test {
  protected:
    int authorise() { return authorizeConnection(gateway.descriptor(), &reasons); }

    Peer gateway;
    FlowReasons reasons{};
};

TEST_F(Authorising, HandsTheGatewaysWordsBackWithAFourthOfZero) {
    gateway.reply(authReply() + authReply());
    EXPECT_EQ(authorise(), 0);
    EXPECT_EQ(gateway.received(), AUTH_INIT_REQUEST + AUTH_ANSWER_REQUEST);
}

TEST_F(Authorising, KeepsTheRestOfTheFirstRepliesHeaderInTheSecondStep) {
    const Bytes words = word(0) + word(0) + word(7) + word(8) + word(9);
    gateway.reply(message({.name = "Auth", .type = 3, .first = 6, .version = 0x00710002, .flag = 4}, words));
    gateway.reply(authReply());
    EXPECT_EQ(authorise(), 0);
    EXPECT_EQ(
        gateway.received(),
        AUTH_INIT_REQUEST + hex("47617465 00710002 00000001 00000000 00000006 00000004 41757468 04 00000014"
                                "00000001 00000007 00000008 00000009 00000000"));
}

TEST_F(Authorising, StopsAfterAFirstStepThatIsRefused) {
    gateway.reply(authReply(12));
    EXPECT_EQ(authorise(), -2);
    EXPECT_EQ(reasons.authRc, 12);
    EXPECT_EQ(gateway.received(), AUTH_INIT_REQUEST);
}

TEST_F(Authorising, GivesTheResultOfARefusedSecondStep) {
    gateway.reply(authReply() + authReply(13));
    EXPECT_EQ(authorise(), -2);
    EXPECT_EQ(reasons.authRc, 13);
}

TEST_F(Authorising, GivesTheGatewaysReturnCode) {
    gateway.reply(message({.name = "Auth", .second = 88}, ""));
    EXPECT_EQ(authorise(), 88);
    EXPECT_EQ(reasons.gwyRc, 88);
}

TEST_F(Authorising, TracesEntryAndResult) {
    gateway.reply(authReply(1));
    const TraceCapture trace(DATA_LEVEL);
    authorise();
    const int descriptor = gateway.descriptor();
    EXPECT_THAT(
        trace.lines(3000, 3020),
        ElementsAre(
            line(3010, "ENTRY", "stapi_zol_gwycon.authorizeConnection(socketDescriptor=%d, reasons=%p)",
                 descriptor, &reasons),
            line(3011, "EXIT", "stapi_zol_gwycon.authorizeConnection(socketDescriptor=%d, reasons=%p) rc=%d",
                 descriptor, &reasons, -2)));
}

// ---- Closing

class Closing : public testing::Test {
  protected:
    ~Closing() override { EXPECT_FALSE(isOpen(descriptor)); }

    // The peer keeps its end: what is closed here is a descriptor of our own.
    Peer gateway;
    int descriptor = ::dup(gateway.descriptor());
};

TEST_F(Closing, SendsTheCloseRequestFirst) {
    gateway.reply(closeReply());
    EXPECT_EQ(closeConnection(&descriptor), 0);
    EXPECT_EQ(gateway.received(), CLOSE_REQUEST);
}

TEST_F(Closing, LeavesTheDescriptorsValue) {
    gateway.reply(closeReply());
    const int before = descriptor;
    closeConnection(&descriptor);
    EXPECT_EQ(descriptor, before);
}

TEST_F(Closing, SucceedsWhateverTheGatewayAnswers) {
    gateway.reply(message({.name = "BASE", .second = 99}, ""));
    EXPECT_EQ(closeConnection(&descriptor), 0);
}

TEST_F(Closing, SucceedsWhenThePeerHasGone) {
    gateway.hangUp();
    EXPECT_EQ(closeConnection(&descriptor), 0);
}

TEST_F(Closing, ReportsADescriptorThatCannotBeClosed) {
    gateway.hangUp();
    ::close(descriptor);
    EXPECT_EQ(closeConnection(&descriptor), -1);
}

TEST_F(Closing, TracesEntryAndResult) {
    gateway.hangUp();
    ::close(descriptor);
    const TraceCapture trace(DATA_LEVEL);
    closeConnection(&descriptor);
    EXPECT_THAT(
        trace.lines(3000, 3020),
        ElementsAre(
            line(3008, "ENTRY", "stapi_zol_gwycon.closeConnection(socketDescriptorPtr=%p)", &descriptor),
            line(3009, "EXIT",
                 "stapi_zol_gwycon.closeConnection(socketDescriptorPtr=%p) closeConnectionRc=%d", &descriptor,
                 -1)));
}

// ---- Trace levels and constants

struct LevelWords {
    int level;
    std::set<std::string> words;
};

class ConnectingAtALevel : public Connecting, public testing::WithParamInterface<LevelWords> {};

TEST_P(ConnectingAtALevel, WritesTheLinesOfThatLevelOnly) {
    connectFailsLater(ECONNREFUSED);
    const TraceCapture trace(GetParam().level);
    connectToIt();
    std::set<std::string> words;
    for (const TraceLine& each : trace.lines(3000, 3020)) {
        words.insert(each.level);
    }
    EXPECT_EQ(words, GetParam().words);
}

INSTANTIATE_TEST_SUITE_P(Each, ConnectingAtALevel,
                         testing::Values(LevelWords{0, {}}, LevelWords{1, {"*EXC*"}},
                                         LevelWords{2, {"*EXC*"}}, LevelWords{3, {"*EXC*", "ENTRY", "EXIT"}},
                                         LevelWords{4, {"*EXC*", "ENTRY", "EXIT", "DEBUG"}},
                                         LevelWords{5, {"*EXC*", "ENTRY", "EXIT", "DEBUG"}}));

TEST(SocketSwitches, AreOneAndZero) {
    EXPECT_EQ(sockOptOn, 1U);
    EXPECT_EQ(sockOptOff, 0U);
}

}  // namespace
