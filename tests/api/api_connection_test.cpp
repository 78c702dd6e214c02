// Opening and closing connections: arguments, hosts and ports that lead nowhere, Gateways that refuse, the
// protocol version, and many connections at once. What is asked over a connection is tested in
// api_query_test.cpp. What each call promises stands in zolstats.h.
#include <climits>

#include "client.h"
#include "support/answering_gateway.h"
#include "trace_file.h"

namespace {

using namespace api;
using gateway::Ending;
using gateway::Reply;
using gateway::Request;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using testing::Values;
using testing::ValuesIn;
using testing_support::LoopbackPort;

// What dumpState() writes about the connections.
std::string stateDump() {
    resetTrace();
    const TemporaryFile file;
    setAPITraceFile(file.name());
    dumpState();
    setAPITraceFile(nullptr);
    return file.text();
}

void expectNoneOpen() {
    EXPECT_THAT(stateDump(), HasSubstr("The Gateway Token List is EMPTY\n"));
}

class Opening : public testing::Test {
  protected:
    ~Opening() override { closeAllGatewayConnections(); }

    int open(int port) { return openGatewayConnection(port, &token_, &version_); }
    int open(const ScriptedGateway& gateway) { return open(gateway.port()); }
    int openRemote(const char* host, int port) {
        return openRemoteGatewayConnection(host, port, &token_, &version_);
    }

    // Neither output was written to.
    void expectOutputsUntouched() const {
        EXPECT_EQ(token_, UNTOUCHED);
        EXPECT_EQ(version_, UNTOUCHED);
    }

    static inline char mark_ = 0;
    static inline char* const UNTOUCHED = &mark_;
    void* token_ = UNTOUCHED;
    char* version_ = UNTOUCHED;
};

// ---- Success

TEST_F(Opening, GivesAConnectionAndTheProtocolVersion) {
    const ScriptedGateway gateway;
    ASSERT_EQ(open(gateway), 0);
    EXPECT_NE(token_, nullptr);
    EXPECT_STREQ(version_, "1.0");
}

TEST_F(Opening, ByAnAddressWorksAsOnThisHost) {
    const ScriptedGateway gateway;
    ASSERT_EQ(openRemote("127.0.0.1", gateway.port()), 0);
    ResultSetToken* set = nullptr;
    ASSERT_EQ(getStats(token_, &set), 0);
    EXPECT_THAT(statsOf(set), SizeIs(3));
}

TEST_F(Opening, ByNameWorksAsByAddress) {
    gateway::Options options;
    options.host = "localhost";
    const ScriptedGateway gateway(options);
    ASSERT_EQ(openRemote("localhost", gateway.port()), 0);
    EXPECT_STREQ(version_, "1.0");
}

TEST_F(Opening, HandsOutAVersionOfAnyLength) {
    for (const std::size_t length : {0U, 1U, 62U, 63U, 64U, 65U, 1000U, 32764U, 32765U}) {
        gateway::Options options;
        options.protocolVersion = std::string(length, 'v');
        const ScriptedGateway gateway(options);
        ASSERT_EQ(open(gateway), 0) << length;
        EXPECT_EQ(version_, options.protocolVersion);
        EXPECT_EQ(closeGatewayConnection(&token_), 0);
    }
}

TEST_F(Opening, GivesUpTheConnectionWhenItsVersionIsTooLong) {
    for (const std::size_t length : {32766U, 32767U}) {
        gateway::Options options;
        options.protocolVersion = std::string(length, 'v');
        const ScriptedGateway gateway(options);
        EXPECT_EQ(open(gateway), -111) << length;
        EXPECT_EQ(token_, nullptr);
        EXPECT_EQ(version_, UNTOUCHED);
        expectNoneOpen();
    }
}

TEST_F(Opening, KeepsTheVersionAsLongAsTheConnection) {
    const ScriptedGateway gateway;
    ASSERT_EQ(open(gateway), 0);
    ResultSetToken* set = nullptr;
    EXPECT_EQ(getStats(token_, &set), 0);
    EXPECT_EQ(getStatIds(token_, &set), 0);
    EXPECT_STREQ(version_, "1.0");
}

// ---- Arguments

class BadPort : public Opening, public testing::WithParamInterface<int> {};

INSTANTIATE_TEST_SUITE_P(Number, BadPort, Values(0, -1, 65536, 65537, INT_MAX, INT_MIN),
                         [](const auto& instance) {
                             const int port = instance.param;
                             return port < 0 ? "Minus" + std::to_string(port).substr(1)
                                             : std::to_string(port);
                         });

TEST_P(BadPort, IsRefusedBeforeAnythingElse) {
    EXPECT_EQ(openGatewayConnection(GetParam(), nullptr, nullptr), -107);
    EXPECT_EQ(openRemoteGatewayConnection(nullptr, GetParam(), nullptr, nullptr), -107);
    EXPECT_EQ(open(GetParam()), -107);
    expectOutputsUntouched();
    expectNoneOpen();
}

TEST_P(BadPort, LeavesNoTraceBelowEntryAndExit) {
    EXPECT_THAT(traced([this] { open(GetParam()); }, ZOLSTATS_TRACE_EVENTS), IsEmpty());
}

TEST_F(Opening, TakesThePorts1And65535) {
    for (const int port : {1, 65535}) {
        EXPECT_NE(open(port), -107);
    }
}

TEST_F(Opening, ChecksItsArgumentsInTheirOrder) {
    EXPECT_EQ(openRemoteGatewayConnection(nullptr, 1, nullptr, nullptr), -108);
    EXPECT_EQ(openRemoteGatewayConnection(nullptr, 1, &token_, nullptr), -105);
    EXPECT_EQ(openRemoteGatewayConnection(nullptr, 1, &token_, &version_), -133);
    EXPECT_EQ(openGatewayConnection(1, nullptr, nullptr), -108);
    EXPECT_EQ(openGatewayConnection(1, &token_, nullptr), -105);
    expectOutputsUntouched();
}

// ---- Nobody there

TEST_F(Opening, IsRefusedWhereNothingListens) {
    const LoopbackPort port;
    EXPECT_EQ(open(port.number()), -135);
    EXPECT_EQ(openRemote("127.0.0.1", port.number()), -135);
    expectOutputsUntouched();
    expectNoneOpen();
}

// Names that no resolver has to be asked about.
TEST_F(Opening, DoesNotFindAHostThatCannotExist) {
    const std::string tooLong(300, 'x');
    for (const char* host : {"", "127.0.0.1 ", tooLong.c_str()}) {
        EXPECT_EQ(openRemote(host, 1), -132) << host;
    }
    expectOutputsUntouched();
    expectNoneOpen();
}

// The system refuses to connect a stream to a broadcast address in just this way.
TEST_F(Opening, TellsThatANetworkCannotBeReached) {
    EXPECT_EQ(openRemote("255.255.255.255", 1), -136);
    expectOutputsUntouched();
    expectNoneOpen();
}

TEST_F(Opening, TracesWhyAHostWasNotFound) {
    const auto lines = tracedByAll([this] { openRemote("", 1); });
    ASSERT_THAT(lines, SizeIs(2));
    EXPECT_EQ(lines[0].point, 3012);
    EXPECT_THAT(lines[0].message,
                testing::StartsWith("stapi_zol_gwycon.getHostInfo() Unable to resolve host (:1): "));
    EXPECT_EQ(lines[1],
              line(2004, "*EXC*",
                   "stapi_zol_gwytok.openStatsSocket() Failed to connect to Gateway %s:%u, connect rc = %d",
                   "", 1U, -101));
}

TEST_F(Opening, TracesThatItWasRefused) {
    const LoopbackPort port;
    EXPECT_THAT(tracedByAll([&] { open(port.number()); }),
                testing::Contains(line(
                    2004, "*EXC*",
                    "stapi_zol_gwytok.openStatsSocket() Failed to connect to Gateway %s:%u, connect rc = %d",
                    "127.0.0.1", static_cast<unsigned>(port.number()), -104)));
}

// ---- Gateways that refuse

// A request while opening, and what the Gateway replies.
struct Refusal {
    const char* name;
    int code;
    bool (*concerns)(const Request&);
    Reply (*reply)(const Request&, Reply usual);

    friend void PrintTo(const Refusal& refusal, std::ostream* out) { *out << refusal.name; }
};

bool isHandshake(const Request& request) {
    return request.type == 5;
}
bool isAuth(const Request& request) {
    return request.name == "Auth";
}
bool isSecondAuth(const Request& request) {
    return isAuth(request) && request.body.size() == 20;
}
bool isAdmin(const Request& request) {
    return request.name == "Admin";
}
bool isVersionRequest(const Request& request) {
    return isAdmin(request) && gateway::decodeCallType(request.body) == 1;
}

template <std::int32_t Code>
Reply code(const Request& request, Reply) {
    return {gateway::encodeReply(request, Code, "")};
}
Reply hangUp(const Request&, Reply) {
    return {"", Ending::Close};
}
Reply reset(const Request&, Reply) {
    return {"", Ending::Reset};
}
Reply garbage(const Request&, Reply) {
    return {std::string(200, '?')};
}
Reply refuseWords(const Request& request, Reply) {
    return {gateway::encodeReply(request, 0, gateway::authReplyBody(0, 2, {0, 0, 0}))};
}
Reply refuseAdmin(const Request& request, Reply) {
    return {gateway::encodeReply(request, 0, gateway::adminReplyBody(1, 3, 0, ""))};
}
Reply noVersion(const Request& request, Reply) {
    return {gateway::encodeReply(request, 0,
                                 gateway::adminReplyBody(1, 0, 0, std::string("\0\xac\xed\0\5t\0", 7)))};
}
Reply versionBeyondItsPayload(const Request& request, Reply) {
    return {gateway::encodeReply(
        request, 0, gateway::adminReplyBody(1, 0, 0, std::string("\0\xac\xed\0\5t\0\4abc", 11)))};
}

const Refusal REFUSALS[] = {
    {"HandshakeCode", -118, isHandshake, code<5>},
    {"HandshakeCodeMinus1", -118, isHandshake, code<-1>},
    {"HandshakeHangUp", -118, isHandshake, hangUp},
    {"HandshakeReset", -118, isHandshake, reset},
    {"HandshakeGarbage", -118, isHandshake, garbage},
    {"AuthCode", -118, isAuth, code<5>},
    {"AuthHangUp", -118, isAuth, hangUp},
    {"AuthRefused", -118, isAuth, refuseWords},
    {"SecondAuthRefused", -118, isSecondAuth, refuseWords},
    {"SecondAuthHangUp", -118, isSecondAuth, hangUp},
    {"AdminRefused", -122, isAdmin, refuseAdmin},
    {"AdminHangUp", -122, isAdmin, hangUp},
    {"VersionCode", -122, isVersionRequest, code<5>},
    {"VersionCodeMinus1", -102, isVersionRequest, code<-1>},
    {"VersionCodeMinus4", -122, isVersionRequest, code<-4>},
    {"VersionHangUp", -122, isVersionRequest, hangUp},
    {"VersionGarbage", -122, isVersionRequest, garbage},
    {"VersionMissing", -122, isVersionRequest, noVersion},
    {"VersionTooShort", -122, isVersionRequest, versionBeyondItsPayload},
};

class RefusedOpening : public Opening, public testing::WithParamInterface<Refusal> {
  protected:
    RefusedOpening() {
        gateway_.answer([refusal = GetParam()](const Request& request, Reply usual) {
            return refusal.concerns(request) ? refusal.reply(request, std::move(usual)) : usual;
        });
    }
    ScriptedGateway gateway_;
};

INSTANTIATE_TEST_SUITE_P(By, RefusedOpening, ValuesIn(REFUSALS),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(RefusedOpening, GivesItsCodeAndLeavesTheOutputsAlone) {
    EXPECT_EQ(open(gateway_), GetParam().code);
    expectOutputsUntouched();
}

TEST_P(RefusedOpening, LeavesNothingOpen) {
    open(gateway_);
    gateway_.server().waitForConnections(0);
    expectNoneOpen();
}

TEST_P(RefusedOpening, MayBeTriedAgain) {
    open(gateway_);
    gateway_.answerAsUsual();
    EXPECT_EQ(open(gateway_), 0);
}

// ---- Closing

class Closing : public Connected {};

TEST_F(Closing, ClearsTheVariable) {
    EXPECT_EQ(closeGatewayConnection(&token_), 0);
    EXPECT_EQ(token_, nullptr);
    EXPECT_EQ(closeGatewayConnection(&token_), -100);
}

TEST_F(Closing, TakesLeaveOfTheGatewayAndEndsTheConnection) {
    closeGatewayConnection(&token_);
    gateway_.server().waitForConnections(0);
    const Request last = gateway_.server().requests().back();
    EXPECT_EQ(last.name, "BASE");
    EXPECT_EQ(last.type, 10U);
    EXPECT_EQ(last.word16, -1);
}

TEST_F(Closing, RecognisesATokenThatWasClosed) {
    void* other = token_;
    closeGatewayConnection(&token_);
    void* const before = other;
    EXPECT_EQ(closeGatewayConnection(&other), -101);
    EXPECT_EQ(other, before);
}

TEST_F(Closing, RefusesNullPointers) {
    void* none = nullptr;
    EXPECT_EQ(closeGatewayConnection(nullptr), -108);
    EXPECT_EQ(closeGatewayConnection(&none), -100);
    EXPECT_EQ(gateway_.server().openConnections(), 1U);
}

TEST_F(Closing, RefusesAPointerThatNeverWasAToken) {
    void* nowhere = reinterpret_cast<void*>(8);
    EXPECT_EQ(closeGatewayConnection(&nowhere), -101);
    EXPECT_EQ(gateway_.server().openConnections(), 1U);
}

TEST_F(Closing, IsAllowedToAnotherThread) {
    EXPECT_EQ(inAnotherThread([this] { return closeGatewayConnection(&token_); }), 0);
    EXPECT_EQ(token_, nullptr);
    gateway_.server().waitForConnections(0);
}

TEST_F(Closing, SucceedsThoughTheGatewayHasGone) {
    gateway_.server().dropConnections();
    gateway_.server().waitForConnections(0);
    EXPECT_EQ(closeGatewayConnection(&token_), 0);
    EXPECT_EQ(token_, nullptr);
}

TEST_F(Closing, SucceedsThoughTheGatewayRefusesIt) {
    gateway_.answer(
        [](const Request& request, Reply) { return Reply{gateway::encodeReply(request, 9, "")}; });
    EXPECT_EQ(closeGatewayConnection(&token_), 0);
}

TEST_F(Closing, TellsWhatItWasGivenWrong) {
    void* none = nullptr;
    EXPECT_THAT(
        traced([&none] { closeGatewayConnection(&none); }),
        ElementsAre(line(1005, "*EXC*", "API.closeGatewayConnection(gwTokPtr=%p) Null gateway token", none)));
    EXPECT_THAT(
        traced([] { closeGatewayConnection(nullptr); }),
        ElementsAre(line(1005, "*EXC*", "API.closeGatewayConnection(&gwTokPtr=%p) Null gateway token Pointer",
                         static_cast<void*>(nullptr))));
}

TEST_F(Closing, OfOneConnectionLeavesTheOthers) {
    void* const first = token_;
    ASSERT_EQ(open(), 0);
    EXPECT_EQ(closeGatewayConnection(&token_), 0);
    token_ = first;
    EXPECT_THAT(statsOf(stats()), SizeIs(3));
}

// ---- Closing all, and many connections

class ManyConnections : public testing::Test {
  protected:
    ~ManyConnections() override {
        while (closeAllGatewayConnections() == -115) {
        }
    }
    void open(std::size_t count) {
        for (std::size_t opened = 0; opened < count; ++opened) {
            char* version = nullptr;
            tokens_.emplace_back();
            ASSERT_EQ(openGatewayConnection(gateway_.port(), &tokens_.back(), &version), 0);
        }
    }
    static int ask(void* token) {
        ResultSetToken* set = nullptr;
        return getStats(token, &set);
    }
    ScriptedGateway gateway_;
    std::vector<void*> tokens_;
};

TEST_F(ManyConnections, AreAllClosedAtOnce) {
    open(3);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    gateway_.server().waitForConnections(0);
    for (void* token : tokens_) {
        EXPECT_EQ(ask(token), -101);
    }
    expectNoneOpen();
}

TEST_F(ManyConnections, MayBeNoneWhenAllAreClosed) {
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    open(1);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
}

TEST_F(ManyConnections, AreAllClosedByAnotherThreadToo) {
    open(2);
    EXPECT_EQ(inAnotherThread([] { return closeAllGatewayConnections(); }), 0);
    EXPECT_EQ(ask(tokens_[0]), -101);
}

TEST_F(ManyConnections, UpTo255AreClosedWithoutComplaint) {
    open(255);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    expectNoneOpen();
}

TEST_F(ManyConnections, Of256AllAreClosedButTheLimitIsReported) {
    open(256);
    EXPECT_EQ(closeAllGatewayConnections(), -115);
    expectNoneOpen();
    EXPECT_EQ(closeAllGatewayConnections(), 0);
}

TEST_F(ManyConnections, BeyondTheLimitAreClosedByASecondCall) {
    open(258);
    EXPECT_EQ(closeAllGatewayConnections(), -115);
    EXPECT_EQ(ask(tokens_[255]), -101);
    EXPECT_EQ(ask(tokens_[256]), 0);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    expectNoneOpen();
}

TEST_F(ManyConnections, AreFoundUpTo257) {
    open(ZOLSTATS_MAX_CONNECTIONS + 1);
    EXPECT_EQ(ask(tokens_[0]), 0);
    EXPECT_EQ(ask(tokens_[256]), 0);
    EXPECT_EQ(ask(tokens_[257]), -101);
    void* beyond = tokens_[257];
    EXPECT_EQ(closeGatewayConnection(&beyond), -101);
    EXPECT_EQ(closeGatewayConnection(&tokens_[100]), 0);
    EXPECT_EQ(ask(tokens_[257]), 0) << "it has moved up";
}

TEST_F(ManyConnections, BeyondTheLimitMayStillFailToOpen) {
    open(ZOLSTATS_MAX_CONNECTIONS);
    gateway_.answer([](const Request& request, Reply usual) {
        return isVersionRequest(request) ? Reply{"", Ending::Close} : usual;
    });
    void* token = nullptr;
    char* version = nullptr;
    EXPECT_EQ(openGatewayConnection(gateway_.port(), &token, &version), -122);
    gateway_.server().waitForConnections(ZOLSTATS_MAX_CONNECTIONS);
    gateway_.answerAsUsual();
    EXPECT_EQ(closeAllGatewayConnections(), -115);
    EXPECT_EQ(closeAllGatewayConnections(), 0);
    expectNoneOpen();
}

}  // namespace
