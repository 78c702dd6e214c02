// Making a gateway token, from its memory to a connection that is in the list, and what remains when that
// fails. And the library's first steps, in processes of their own. Finding and deleting tokens have test
// files of their own. How the list and its lock are used is written down in CONTRIBUTING.md.
#include <fcntl.h>
#include <gmock/gmock.h>

#include <cstddef>
#include <cstring>

#include "stapi_zol_gwytok.h"
#include "stapi_zol_resultsetbuffer.h"
#include "support/gateway_tokens.h"

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace {

class OpenedToken : public GatewayTokens {
  protected:
    GatewayToken* token = open();
};

// ---- What a new token is

TEST(GatewayTokenRecord, HasItsFieldsInOrder) {
    EXPECT_EQ(offsetof(GatewayToken, eyecatcher), 0U);
    EXPECT_EQ(offsetof(GatewayToken, port), 8U);
    EXPECT_EQ(offsetof(GatewayToken, connStatus), 12U);
    EXPECT_EQ(offsetof(GatewayToken, socket), 16U);
    EXPECT_LT(offsetof(GatewayToken, socket), offsetof(GatewayToken, connRSToken));
    EXPECT_LT(offsetof(GatewayToken, connRSToken), offsetof(GatewayToken, resultSetBuf));
    EXPECT_LT(offsetof(GatewayToken, resultSetBuf), offsetof(GatewayToken, resultSetBufLen));
    EXPECT_LT(offsetof(GatewayToken, resultSetBufLen), offsetof(GatewayToken, owningPid));
    EXPECT_LT(offsetof(GatewayToken, owningPid), offsetof(GatewayToken, owningTid));
    EXPECT_LT(offsetof(GatewayToken, owningTid), offsetof(GatewayToken, protocolVersion));
    EXPECT_LT(offsetof(GatewayToken, protocolVersion), offsetof(GatewayToken, nextGwyTokPtr));
}

TEST_F(OpenedToken, IsConnected) {
    EXPECT_EQ(std::string(token->eyecatcher, 8), "ZOLGWTOK");
    EXPECT_EQ(token->port, gateway.port());
    EXPECT_EQ(token->connStatus, 1);
    EXPECT_NE(::fcntl(token->socket, F_GETFD), -1);
    EXPECT_EQ(token->nextGwyTokPtr, nullptr);
}

TEST_F(OpenedToken, BelongsToTheCallingThread) {
    EXPECT_EQ(token->owningPid, static_cast<unsigned>(::getpid()));
    EXPECT_NE(pthread_equal(token->owningTid, pthread_self()), 0);
    EXPECT_EQ(verifyGatewayToken(token), 0);
}

TEST_F(OpenedToken, HasABufferThatHoldsJustTheTerminator) {
    EXPECT_EQ(token->resultSetBufLen, 32768);
    EXPECT_EQ(Bytes(reinterpret_cast<const char*>(token->resultSetBuf), 4), TERMINATOR);
}

TEST_F(OpenedToken, HasAResultSetOnItsBuffer) {
    const ResultSetToken& set = *token->connRSToken;
    EXPECT_EQ(std::string(set.eyecatcher, 8), "ZOLRSROB");
    EXPECT_EQ(set.owner, 0x8888U);
    EXPECT_EQ(set.head, token->resultSetBuf);
    EXPECT_EQ(set.resultSetBufferLen, 32768);
    EXPECT_EQ(verifyAPIResultSetTokenOwner(token->connRSToken), 0);
}

TEST_F(OpenedToken, HoldsTheGatewaysProtocolVersion) {
    EXPECT_STREQ(token->protocolVersion, "1_1");
}

TEST_F(OpenedToken, HasAskedForNothingButTheProtocolVersion) {
    remove(token);
    EXPECT_EQ(gateway.receivedToTheEnd(0), HANDSHAKE_REQUEST + AUTH_INIT_REQUEST + AUTH_ANSWER_REQUEST +
                                               ADMIN_INIT_REQUEST + PROTOCOL_REQUEST + CLOSE_REQUEST);
}

class ProtocolVersionText : public GatewayTokens, public testing::WithParamInterface<int> {};

TEST_P(ProtocolVersionText, IsKeptWhole) {
    const std::string version(static_cast<std::size_t>(GetParam()), 'v');
    gateway.answer(connectReplies() + adminInitReply() + protocolReply(version));
    EXPECT_EQ(open()->protocolVersion, version);
}

INSTANTIATE_TEST_SUITE_P(OfEachLength, ProtocolVersionText, testing::Values(0, 63, 64, 65, 1000));

// ---- Its making in the trace

TEST_F(GatewayTokens, AreMadeStepByStep) {
    void* handle = nullptr;
    const TraceCapture trace(DATA_LEVEL);
    createGatewayToken(&handle, LOCAL_HOST, gateway.port());
    const int port = gateway.port();
    EXPECT_THAT(
        trace.lines(2000, 2044),
        ElementsAre(
            line(2000, "ENTRY", "stapi_zol_gwytok.createGatewayToken(&gwTokPtr=%p,port=%d)", &handle, port),
            line(2038, "DEBUG", "stapi_zol_gwytok.createGatewayToken Called malloc for %d bytes. rc=%p",
                 static_cast<int>(sizeof(GatewayToken)), handle),
            line(2040, "DEBUG", "stapi_zol_gwytok.createGatewayToken Called malloc for %d bytes. rc=%p",
                 32768, handle),
            line(2019, "ENTRY", "stapi_zol_gwytok.chainGatewayToken(&gwTokPtr=%p)", handle),
            line(2022, "EXIT", "stapi_zol_gwytok.chainGatewayToken(&gwTokPtr=%p) rc=%d", handle, 0),
            line(2002, "ENTRY",
                 "stapi_zol_gwytok.openStatsSocket(gwTokPtr=%p) Attempting to connect to %s:%d", handle,
                 "127.0.0.1", port),
            line(2003, "EVENT",
                 "stapi_zol_gwytok.openStatsSocket() Connected to Gateway %s:%u - socketDescriptor(%d)",
                 "127.0.0.1", port, static_cast<GatewayToken*>(handle)->socket),
            line(2005, "EXIT", "stapi_zol_gwytok.openStatsSocket(gwTokPtr=%p, hostname=%s, port=%d) rc=%d",
                 handle, "127.0.0.1", port, 0),
            line(2033, "EVENT", "stapi_zol_gwytok.createGatewayToken(&gwTokPtr=%p) %s", &handle,
                 described(static_cast<GatewayToken*>(handle)).c_str()),
            line(2001, "EXIT", "stapi_zol_gwytok.createGatewayToken(&gwTokPtr=%p,port=%d) rc=%d", &handle,
                 port, 0)));
}

TEST_F(GatewayTokens, AreInTheListBeforeTheyAreConnected) {
    const GatewayToken* first = open();
    system.connect = [&](int descriptor, const sockaddr*, socklen_t) -> std::optional<int> {
        GatewayToken* made = first->nextGwyTokPtr;
        EXPECT_EQ(verifyGatewayToken(made), 0);
        EXPECT_EQ(made->connStatus, 0);
        EXPECT_EQ(made->socket, descriptor);
        return std::nullopt;
    };
    open();
}

TEST_F(GatewayTokens, HaveNoSocketBeforeTheirHostIsResolved) {
    const GatewayToken* first = open();
    system.getaddrinfo = [&](const char*, const char*, const addrinfo*, addrinfo**) -> std::optional<int> {
        EXPECT_EQ(first->nextGwyTokPtr->socket, -1);
        return std::nullopt;
    };
    open();
}

// ---- Failures

class FailingToOpen : public GatewayTokens {
  protected:
    int tryToOpen(const char* host = LOCAL_HOST) {
        void* handle = &untouched;
        const int rc = createGatewayToken(&handle, host, gateway.port());
        EXPECT_EQ(handle, &untouched);
        EXPECT_EQ(first->nextGwyTokPtr, nullptr);
        return rc;
    }
    void connectFails(int error) {
        system.connect = [error](int, const sockaddr*, socklen_t) { return failed(error); };
    }
    // Notes which descriptor the next socket gets.
    void watchSocket() {
        system.socket = [this](int family, int type, int protocol) {
            return socket = passOn<int>("socket", family, type, protocol);
        };
    }

    // A token opened before, which must stay the only one.
    GatewayToken* first = open();
    int untouched = 0;
    int socket = -1;
};

struct Refusal {
    int error;
    int connectRc;
    int rc;
};

class FailingToConnect : public FailingToOpen, public testing::WithParamInterface<Refusal> {};

TEST_P(FailingToConnect, TellsTheApplicationWhy) {
    connectFails(GetParam().error);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(tryToOpen(), GetParam().rc);
    EXPECT_THAT(
        trace.lines(2004),
        ElementsAre(line(2004, "*EXC*",
                         "stapi_zol_gwytok.openStatsSocket() Failed to connect to Gateway %s:%u, connect rc "
                         "= %d",
                         "127.0.0.1", gateway.port(), GetParam().connectRc)));
    EXPECT_THAT(trace.lines(2005).at(0).message, EndsWith(printed(" rc=%d", GetParam().rc)));
    EXPECT_THAT(trace.lines(2001).at(0).message, EndsWith(printed(" rc=%d", GetParam().rc)));
    EXPECT_EQ(verifyGatewayToken(first), 0);
}

INSTANTIATE_TEST_SUITE_P(WithEachError, FailingToConnect,
                         testing::Values(Refusal{ECONNREFUSED, -104, -135}, Refusal{ENETUNREACH, -105, -136},
                                         Refusal{EHOSTUNREACH, -100, -118}));

TEST_F(FailingToOpen, IsReportedForAClosedPort) {
    const LoopbackPort closed;
    void* handle = &untouched;
    EXPECT_EQ(createGatewayToken(&handle, LOCAL_HOST, closed.number()), -135);
    EXPECT_EQ(handle, &untouched);
    EXPECT_EQ(first->nextGwyTokPtr, nullptr);
}

TEST_F(FailingToOpen, ClosesTheSocketOfARefusedConnectionWithACloseRequestFirst) {
    watchSocket();
    connectFails(ECONNREFUSED);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(tryToOpen(), -135);
    EXPECT_THAT(trace.points(3220, 3224), ElementsAre(3220, 3221, 3223, 3224));
    EXPECT_EQ(::fcntl(socket, F_GETFD), -1);
}

TEST_F(FailingToOpen, SendsNothingWhenTheHostIsNotResolved) {
    system.getaddrinfo = [](const char*, const char*, const addrinfo*, addrinfo**) { return EAI_NONAME; };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(tryToOpen("nowhere"), -132);
    EXPECT_THAT(trace.points(3008, 3009), IsEmpty());
    EXPECT_THAT(trace.points(3200, 3300), IsEmpty());
}

TEST_F(FailingToOpen, ReportsAConnectThatTimesOut) {
    connectFails(EINPROGRESS);
    system.poll = [](pollfd*, nfds_t, int timeoutMs) {
        return timeoutMs >= 0 ? std::optional(0) : std::nullopt;
    };
    EXPECT_EQ(tryToOpen(), -134);
}

TEST_F(FailingToOpen, ReportsASocketThatCannotBeCreated) {
    system.socket = [](int, int, int) { return failed(EMFILE); };
    EXPECT_EQ(tryToOpen(), -118);
}

TEST_F(FailingToOpen, ReportsAHandshakeThatIsRejected) {
    gateway.answer(handshakeReply(3));
    EXPECT_EQ(tryToOpen(), -118);
}

TEST_F(FailingToOpen, ReportsAnAuthorisationThatIsRefused) {
    gateway.answer(handshakeReply() + authReply(5));
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(tryToOpen(), -118);
    EXPECT_THAT(trace.lines(2004).at(0).message, EndsWith("connect rc = -2"));
    EXPECT_EQ(gateway.receivedToTheEnd(1), HANDSHAKE_REQUEST + AUTH_INIT_REQUEST + CLOSE_REQUEST);
}

TEST_F(FailingToOpen, MarksTheTokenAsNotConnected) {
    connectFails(ECONNREFUSED);
    int status = -1;
    {
        const DuringTrace failure(DATA_LEVEL, "[2004]", [&] { status = first->nextGwyTokPtr->connStatus; });
        tryToOpen();
    }
    EXPECT_EQ(status, 2);
}

TEST_F(FailingToOpen, NamesANullHost) {
    connectFails(ECONNREFUSED);
    const TraceCapture trace(DATA_LEVEL);
    tryToOpen(nullptr);
    const std::string port = std::to_string(gateway.port());
    EXPECT_THAT(trace.lines(2002).at(0).message, EndsWith(") Attempting to connect to NULL:" + port));
    EXPECT_THAT(trace.lines(2004).at(0).message, HasSubstr("connect to Gateway NULL:" + port + ","));
    EXPECT_THAT(trace.lines(2005).at(0).message, HasSubstr(", hostname=NULL, port=" + port + ")"));
}

TEST_F(FailingToOpen, RollsBackStepByStep) {
    connectFails(ECONNREFUSED);
    const TraceCapture trace(DATA_LEVEL);
    tryToOpen();
    EXPECT_THAT(trace.points(2000, 2044),
                ElementsAre(2000, 2038, 2040, 2019, 2022, 2002, 2004, 2005,  //
                            2009, 2023, 2026, 2029, 2043, 2044, 2010, 2011, 2012, 2001));
    EXPECT_THAT(trace.lines(2009).at(0).message, EndsWith("lockRequired=1)"));
}

TEST_F(FailingToOpen, RemovesItsTokenBeyondTheSearchLimitToo) {
    const std::vector<GatewayToken*> tokens = open(257);
    connectFails(ECONNREFUSED);
    void* handle = nullptr;
    EXPECT_EQ(createGatewayToken(&handle, LOCAL_HOST, gateway.port()), -135);
    EXPECT_EQ(tokens.back()->nextGwyTokPtr, nullptr);
}

// ---- The protocol version cannot be had

struct VersionFailure {
    const char* name;
    Bytes replies;
    int versionRc;
    int rc;
};

class FailingToLearnTheVersion : public FailingToOpen, public testing::WithParamInterface<VersionFailure> {
  protected:
    FailingToLearnTheVersion() { gateway.answer(connectReplies() + GetParam().replies); }
};

TEST_P(FailingToLearnTheVersion, RemovesTheTokenAndTellsWhy) {
    std::string removed;
    system.connect = [&](int, const sockaddr*, socklen_t) -> std::optional<int> {
        removed = printed("%p", static_cast<void*>(first->nextGwyTokPtr));
        return std::nullopt;
    };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(tryToOpen(), GetParam().rc);
    EXPECT_THAT(
        trace.lines(2042),
        ElementsAre(line(2042, "EVENT",
                         "stapi_zol_gwytok.createGatewayToken Removing GatewayToken %s due to comms failure "
                         "%d",
                         removed.c_str(), GetParam().versionRc)));
    EXPECT_THAT(gateway.receivedToTheEnd(1), EndsWith(CLOSE_REQUEST));
}

Bytes rejectedAdmin(std::int32_t gatewayCode) {
    return message({.name = "Admin", .second = gatewayCode}, "");
}

INSTANTIATE_TEST_SUITE_P(
    BecauseOf, FailingToLearnTheVersion,
    testing::Values(
        VersionFailure{"NoAnswer", "", -122, -122},                            //
        VersionFailure{"GatewayCodeOfMinusOne", rejectedAdmin(-1), -1, -102},  //
        VersionFailure{"GatewayCodeOfMinusFour", rejectedAdmin(-4), -4, -122},
        VersionFailure{"GatewayCode", rejectedAdmin(0xF004), 0xF004, -122},
        VersionFailure{"Authorisation", message({.name = "Admin"}, word(0) + word(9) + word(0)), -3, -122},
        VersionFailure{"Exception",
                       adminInitReply() + message({.name = "Admin"}, word(1) + word(0) + hex("01")), -3,
                       -122},
        VersionFailure{"NoPayload",
                       adminInitReply() + message({.name = "Admin"}, word(1) + word(0) + hex("00")), -122,
                       -122},
        VersionFailure{"TooShortAPayload",
                       adminInitReply() + message({.name = "Admin"},
                                                  word(1) + word(0) + hex("00 00ACED000574 0004") + "1_1"),
                       -122, -122}),
    [](const auto& each) { return each.param.name; });

TEST_F(FailingToOpen, ReportsAVersionRequestThatCannotBeSentAsALostConnection) {
    system.send = [sent = 0](int, const void*, size_t, int) mutable -> std::optional<ssize_t> {
        return ++sent > 3 ? std::optional<ssize_t>(failed(EPIPE)) : std::nullopt;
    };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(tryToOpen(), -102);
    EXPECT_THAT(trace.lines(2042).at(0).message, EndsWith(" due to comms failure -1"));
}

// ---- Before anything else has run

// Runs in a process of its own, where neither lock nor list was touched yet.
class FreshLibrary : public testing::Test {
  protected:
    FreshLibrary() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

    static auto succeeds() { return testing::ExitedWithCode(0); }
    // Mutexes can be made, but for the count-th and all later ones.
    static void mutexesFailFrom(SystemCalls& system, int count) {
        system.pthread_mutex_init = [left = count](pthread_mutex_t*, const pthread_mutexattr_t*) mutable {
            return --left <= 0 ? std::optional(EAGAIN) : std::nullopt;
        };
    }
};

TEST_F(FreshLibrary, InitialisesItsListOnce) {
    EXPECT_EXIT(std::exit(initGTL() == 0 && initGTL() == 1 ? 0 : 1), succeeds(), "");
}

TEST_F(FreshLibrary, TellsThatItsListLockWasMade) {
    const auto initialise = [] {
        initTrace();
        statAPITrace = 3;
        std::exit(initGTL());
    };
    EXPECT_EXIT(initialise(), succeeds(),
                HasSubstr("[2031] EXIT   stapi_zol_gwytok.initGTL() initLockRc=0, rc=0\n"));
}

TEST_F(FreshLibrary, ReportsAListLockThatCannotBeMade) {
    const auto initialise = [] {
        SystemCalls system;
        initTrace();
        statAPITrace = 3;
        mutexesFailFrom(system, 1);
        std::exit(initGTL() == -2 ? 0 : 1);
    };
    EXPECT_EXIT(initialise(), succeeds(),
                HasSubstr("[2031] EXIT   stapi_zol_gwytok.initGTL() initLockRc=-2, rc=-121\n"));
}

TEST_F(FreshLibrary, IsNotInitialisedWithoutItsListLock) {
    const auto initialise = [] {
        SystemCalls system;
        mutexesFailFrom(system, 2);
        std::exit(stapiInit() == -2 ? 0 : 1);
    };
    EXPECT_EXIT(initialise(), succeeds(), "");
}

TEST_F(FreshLibrary, IsInitialisedOnceTheListLockCanBeMade) {
    const auto initialise = [] {
        {
            SystemCalls system;
            mutexesFailFrom(system, 2);
            stapiInit();
        }
        std::exit(stapiInit() == 0 && verifyGatewayToken(stranger()) == -101 ? 0 : 1);
    };
    EXPECT_EXIT(initialise(), succeeds(), "");
}

// With a head but no tail a list takes no token.
void openOnAListWithoutATail() {
    const AnsweringGateway gateway(openReplies());
    const TraceCapture trace(DATA_LEVEL);
    GatewayToken* head = stranger();
    removeUnfound(bareToken(head));
    void* handle = nullptr;
    EXPECT_EQ(createGatewayToken(&handle, LOCAL_HOST, gateway.port()), -115);
    EXPECT_EQ(handle, nullptr);
    EXPECT_THAT(
        trace.lines(2020),
        ElementsAre(line(2020, "*EXC*",
                         "stapi_zol_gwytok.chainGatewayToken() GTL state is corrupt - head(%p) tail (%p)",
                         static_cast<void*>(head), NOTHING)));
    EXPECT_THAT(trace.points(2000, 2044), testing::IsSupersetOf({2000, 2019, 2020, 2022, 2001}));
    EXPECT_THAT(trace.points(2000, 2044), Not(Contains(2002)));
    EXPECT_EQ(verifyGatewayToken(head), -123);
    EXPECT_EQ(head->nextGwyTokPtr, nullptr);
    std::exit(testing::Test::HasFailure() ? 1 : 0);
}

TEST_F(FreshLibrary, DoesNotChainATokenToAListWithoutATail) {
    EXPECT_EXIT(openOnAListWithoutATail(), succeeds(), "");
}

}  // namespace
