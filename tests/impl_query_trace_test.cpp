// What the public calls trace on a connection: opening, the six queries, and closing, with a Gateway at the
// other end. What they do is tested in tests/api. Levels and line format are written down in docs/tracing.md.
#include <gmock/gmock.h>

#include <cstdlib>
#include <string>

#include "stapi_zol_gwytok.h"
#include "stapi_zol_impl.h"
#include "stapi_zol_resultsetbuffer.h"
#include "support/api_trace.h"
#include "support/scripted_gateway.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// ---- Opening

class OpenTrace : public testing::Test {
  protected:
    ~OpenTrace() override { closeAllGatewayConnections(); }
    int open(ScriptedGateway& gateway) { return openGatewayConnection(gateway.port(), &token_, &version_); }

    void* token_ = nullptr;
    char* version_ = nullptr;
};

// The Gateway's text stands in a buffer of the token's own at first; a line of a lower module tells where.
void* firstVersionBuffer(const TraceCapture& trace) {
    void* buffer = nullptr;
    int size = 0;
    std::sscanf(trace.lines(2203).at(0).message.c_str(),
                "stapi_zol_statcomms.statProtocolVer Called malloc for %d bytes. rc=%p", &size, &buffer);
    return buffer;
}

TEST_F(OpenTrace, OfALocalConnectionHoldsThatOfARemoteOne) {
    ScriptedGateway gateway;
    const int port = gateway.port();
    const TraceCapture trace(ALL);
    ASSERT_EQ(open(gateway), 0);
    std::vector<TraceLine> lines = trace.lines();
    std::erase_if(lines, [](const TraceLine& each) { return each.point > 1161; });
    EXPECT_THAT(
        lines,
        ElementsAre(
            line(1000, "ENTRY", "API.openGatewayConnection(port=%d, &gwTokPtr=0x%p, &protoColVersion=0x%p",
                 port, address(&token_), address(&version_)),
            line(
                1142, "ENTRY",
                "API.openRemoteGatewayConnection(hostname=%s, port=%d, &gwTokPtr=0x%p, &protoColVersion=0x%p",
                "127.0.0.1", port, address(&token_), address(&version_)),
            line(1116, "ENTRY", "stapi_zol_impl.dup2NativeString(source dataPtr=%p, &outputPtr=%p) ",
                 firstVersionBuffer(trace), address(&version_)),
            line(1117, "DEBUG", "stapi_zol_impl.dup2NativeString() called strdup for %d bytes. rc=0x%p", 4,
                 address(version_)),
            line(1120, "DEBUG", "stapi_zol_impl.dup2NativeString() about to memcpy for %d bytes. ", 4),
            line(1123, "EXIT", "stapi_zol_impl.dup2NativeString() readByteCount=%d rc=%d", 4, 0),
            line(1001, "EVENT",
                 "API.openRemoteGatewayConnection(&protoColVersion=0x%p) created String for proto@0x%p",
                 address(&version_), address(version_)),
            line(1003, "EXIT", "API.openRemoteGatewayConnection(port=%d) rc=%d", port, 0),
            line(1003, "EXIT", "API.openGatewayConnection(port=%d) rc=%d", port, 0)));
}

TEST_F(OpenTrace, OfARefusedArgumentHasNoException) {
    for (const int port : {0, -1, 65536}) {
        EXPECT_THAT(
            traced([&] { openRemoteGatewayConnection("host", port, &token_, &version_); }),
            ElementsAre(
                line(
                    1142, "ENTRY",
                    "API.openRemoteGatewayConnection(hostname=%s, port=%d, &gwTokPtr=0x%p, &protoColVersion=0x%p",
                    "host", port, address(&token_), address(&version_)),
                line(1003, "EXIT", "API.openRemoteGatewayConnection(port=%d) rc=%d", port, -107)));
    }
}

TEST_F(OpenTrace, ShowsANullHostAsNULL) {
    EXPECT_THAT(
        traced([this] { openRemoteGatewayConnection(nullptr, 1, &token_, &version_); }),
        ElementsAre(
            line(
                1142, "ENTRY",
                "API.openRemoteGatewayConnection(hostname=%s, port=%d, &gwTokPtr=0x%p, &protoColVersion=0x%p",
                "NULL", 1, address(&token_), address(&version_)),
            line(1003, "EXIT", "API.openRemoteGatewayConnection(port=%d) rc=%d", 1, -133)));
}

TEST_F(OpenTrace, TellsThatAVersionIsTooLongToHandOut) {
    gateway::Options options;
    options.protocolVersion = std::string(32766, 'v');
    ScriptedGateway gateway(options);
    const auto lines = traced([&] { open(gateway); });
    EXPECT_THAT(lines,
                Contains(line(1122, "*EXC*",
                              "stapi_zol_impl.dup2NativeString() supplied input data pointer was NULL or "
                              "overlength")));
    EXPECT_THAT(lines, Contains(line(1123, "EXIT", "stapi_zol_impl.dup2NativeString() readByteCount=%d rc=%d",
                                     32767, -2)));
    EXPECT_THAT(lines, Contains(line(1003, "EXIT", "API.openRemoteGatewayConnection(port=%d) rc=%d",
                                     gateway.port(), -111)));
}

// ---- A connection that is open

class ConnectionTrace : public OpenTrace {
  protected:
    ConnectionTrace() { EXPECT_EQ(open(gateway_), 0); }

    [[nodiscard]] const void* theSet() const { return static_cast<GatewayToken*>(token_)->connRSToken; }
    void loseBuffer() {
        auto* token = static_cast<GatewayToken*>(token_);
        std::free(token->resultSetBuf);
        token->resultSetBuf = nullptr;
    }
    std::vector<TraceLine> all(int (*query)(void*, ResultSetToken**), int level = ALL) {
        return traced([&] { query(token_, &set_); }, level);
    }
    std::vector<TraceLine> byIds(int (*query)(void*, const char*, ResultSetToken**), int level = ALL) {
        return traced([&] { query(token_, IDS, &set_); }, level);
    }
    // What a query leaves when the Gateway refuses it so that the connection counts as lost.
    void loseConnection() { gateway_.refuseQueries(-1); }

    static constexpr const char* IDS = "G1:S1";
    ScriptedGateway gateway_;
    ResultSetToken* set_ = nullptr;
};

TEST_F(ConnectionTrace, OfClosing) {
    const auto lines = traced([this] { closeGatewayConnection(&token_); });
    EXPECT_THAT(
        lines,
        ElementsAre(
            line(1004, "ENTRY", "API.closeGatewayConnection(&gwTokPtr=%p)", address(&token_)),
            line(1133, "EVENT", "API.closeGatewayConnection Closed Gateway connection for token %p",
                 address(&token_)),
            line(1006, "EXIT", "API.closeGatewayConnection(&gwTokPtrPtr=%p) rc=%d", address(&token_), 0)));
}

TEST_F(ConnectionTrace, OfClosingWithoutAnAddress) {
    EXPECT_THAT(
        traced([] { closeGatewayConnection(nullptr); }),
        ElementsAre(
            line(1004, "ENTRY", "API.closeGatewayConnection(&gwTokPtr=%p)", address(nullptr)),
            line(1005, "*EXC*", "API.closeGatewayConnection(&gwTokPtr=%p) Null gateway token Pointer",
                 address(nullptr)),
            line(1006, "EXIT", "API.closeGatewayConnection(&gwTokPtrPtr=%p) rc=%d", address(nullptr), -108)));
}

TEST_F(ConnectionTrace, OfClosingANullToken) {
    void* none = nullptr;
    EXPECT_THAT(traced([&none] { closeGatewayConnection(&none); }, EVENTS),
                ElementsAre(line(1005, "*EXC*", "API.closeGatewayConnection(gwTokPtr=%p) Null gateway token",
                                 address(nullptr))));
}

TEST_F(ConnectionTrace, OfClosingAnUnknownTokenHasItsEventAllTheSame) {
    void* closed = token_;
    closeGatewayConnection(&token_);
    EXPECT_THAT(
        traced([&closed] { closeGatewayConnection(&closed); }, EVENTS),
        ElementsAre(line(1133, "EVENT", "API.closeGatewayConnection Closed Gateway connection for token %p",
                         address(&closed))));
}

TEST_F(ConnectionTrace, OfClosingAll) {
    const auto entry = line(1007, "ENTRY", "API.closeAllGatewayConnections()");
    const auto event = line(1134, "EVENT", "API.closeAllGatewayConnections Closed all Gateway connections");
    EXPECT_THAT(traced([] { closeAllGatewayConnections(); }),
                ElementsAre(entry, event,
                            line(1008, "EXIT", "API.closeAllGatewayConnections() gwyTokRc=%d, rc=%d", 0, 0)));
    EXPECT_THAT(
        traced([] { closeAllGatewayConnections(); }),
        ElementsAre(entry, event,
                    line(1008, "EXIT", "API.closeAllGatewayConnections() gwyTokRc=%d, rc=%d", 1006, 0)));
}

// ---- getStats

TEST_F(ConnectionTrace, OfGetStats) {
    EXPECT_THAT(
        all(getStats),
        ElementsAre(line(1025, "ENTRY", "API.getStats(gwTok=%p,statRSPtr=%p)", token_, address(&set_)),
                    line(1130, "EVENT", "API.getStats Getting all Stats from the Gateway Daemon"),
                    line(1026, "DEBUG", "API.getStats() result set pointer (%p)", address(theSet())),
                    line(1029, "EXIT", "API.getStats(gwTok=%p,rs=%p) rc=%d", token_, address(&set_), 0)));
}

TEST_F(ConnectionTrace, OfGetStatsWithoutABuffer) {
    loseBuffer();
    EXPECT_THAT(
        all(getStats),
        ElementsAre(line(1025, "ENTRY", "API.getStats(gwTok=%p,statRSPtr=%p)", token_, address(&set_)),
                    line(1027, "*EXC*",
                         "API.getStats(gwTok=%p) resultSetBuf is NULL. Connection may have gone.", token_),
                    line(1029, "EXIT", "API.getStats(gwTok=%p,rs=%p) rc=%d", token_, address(&set_), -110)));
}

TEST_F(ConnectionTrace, OfGetStatsThatLosesTheConnection) {
    loseConnection();
    EXPECT_THAT(
        all(getStats, EVENTS),
        ElementsAre(line(1130, "EVENT", "API.getStats Getting all Stats from the Gateway Daemon"),
                    line(1028, "EVENT", "API.getStats Removing GatewayToken %p due to comms failure %d",
                         token_, -102)));
}

TEST_F(ConnectionTrace, OfGetStatsThatFailsTellsItsCode) {
    gateway_.refuseQueries(7);
    const auto lines = all(getStats);
    EXPECT_THAT(lines,
                Contains(line(1028, "EVENT", "API.getStats Removing GatewayToken %p due to comms failure %d",
                              token_, -122)));
    EXPECT_THAT(lines, Contains(line(1029, "EXIT", "API.getStats(gwTok=%p,rs=%p) rc=%d", token_,
                                     address(&set_), -122)));
}

// ---- getStatIds

TEST_F(ConnectionTrace, OfGetStatIds) {
    EXPECT_THAT(
        all(getStatIds),
        ElementsAre(line(1020, "ENTRY", "API.getStatIds(gwTok=%p,rs=%p)", token_, address(&set_)),
                    line(1130, "EVENT", "API.getStatIds Getting Stat Ids from the Gateway"),
                    line(1021, "DEBUG", "API.getStatIds() result set pointer (%p)", address(theSet())),
                    line(1024, "EXIT", "API.getStatIds(gwTok=%p,rs=%p) rc=%d", token_, address(&set_), 0)));
}

TEST_F(ConnectionTrace, OfGetStatIdsWithoutABuffer) {
    loseBuffer();
    EXPECT_THAT(all(getStatIds, EXCEPTIONS),
                ElementsAre(line(1022, "*EXC*",
                                 "API.getStatIds(gwTok=%p) resultSetBuf is NULL. Connection may have gone.",
                                 token_)));
}

TEST_F(ConnectionTrace, OfGetStatIdsThatLosesTheConnection) {
    loseConnection();
    EXPECT_THAT(
        all(getStatIds, EVENTS),
        Contains(line(1023, "EVENT", "API.getStatIds Removing GatewayToken %p due to comms failure %d",
                      token_, -102)));
}

// ---- getResourceGroupIds

TEST_F(ConnectionTrace, OfGetResourceGroupIds) {
    const auto lines = all(getResourceGroupIds);
    EXPECT_THAT(
        lines,
        ElementsAre(
            line(1009, "ENTRY", "API.getResourceGroupIds(gwTok=%p resGrpIdRSPtr=%p)", token_, address(&set_)),
            line(1128, "EVENT", "API.getResourceGroupIds Getting Resource Group Ids"),
            line(1010, "DEBUG", "API.getResourceGroupIds() result set pointer (%p)", address(theSet())),
            line(1011, "DEBUG", "API.getResourceGroupIds() result set buffer (%p)", address(set_->head)),
            line(1014, "EXIT", "API.getResourceGroupIds() rc=%d", 0)));
}

TEST_F(ConnectionTrace, OfGetResourceGroupIdsWithoutABuffer) {
    loseBuffer();
    EXPECT_THAT(
        all(getResourceGroupIds, EXCEPTIONS),
        ElementsAre(line(1012, "*EXC*",
                         "API.getResourceGroupIds(gwTok=%p) resultSetBuf is NULL. Connection may have gone.",
                         token_)));
}

TEST_F(ConnectionTrace, OfGetResourceGroupIdsThatLosesTheConnection) {
    loseConnection();
    EXPECT_THAT(all(getResourceGroupIds, EVENTS),
                Contains(line(1013, "EVENT",
                              "API.getResourceGroupIds Removing GatewayToken %p due to comms failure %d",
                              token_, -102)));
}

// ---- getStatsByStatId

TEST_F(ConnectionTrace, OfGetStatsByStatId) {
    const auto lines = byIds(getStatsByStatId);
    char* const kept = set_->queryString;
    EXPECT_THAT(
        lines, ElementsAre(
                   line(1030, "ENTRY", "API.getStatsByStatId(gwTok=%p,statIdsPtr=%p,statRSPtr=%p)", token_,
                        address(IDS), address(&set_)),
                   line(1108, "ENTRY", "stapi_zol_impl.dup2ASCIIString(dataPtr=%p, &outputPtr=%p) ",
                        address(IDS), address(&set_->queryString)),
                   line(1109, "DEBUG", "stapi_zol_impl.dup2ASCIIString() called malloc for %d bytes. rc=%p",
                        6, kept),
                   line(1112, "DEBUG",
                        "stapi_zol_impl.dup2ASCIIString() using memcpy() on writePtr(%p) bytes(%d)", kept, 6),
                   line(1115, "EXIT", "stapi_zol_impl.dup2ASCIIString() readByteCount=%d rc=%d", 6, 0),
                   line(1131, "EVENT", "API.getStatsByStatId Getting Stats for Stat Ids %s", IDS),
                   line(1031, "DEBUG", "API.getStatsByStatId() result set pointer (%p)", address(theSet())),
                   line(1034, "EXIT", "API.getStatsByStatId(gwTok=%p,statIdsPtr=%p,statRSPtr=%p) rc=%d",
                        token_, address(IDS), address(&set_), 0)));
    EXPECT_STREQ(kept, IDS);
}

TEST_F(ConnectionTrace, TellsWhatIsAskedForBeforeItIsAsked) {
    const TraceCapture trace(EVENTS);
    EXPECT_EQ(getStatsByStatId(token_, IDS, &set_), 0);
    EXPECT_EQ(trace.lines().front().point, 1131);
}

TEST_F(ConnectionTrace, OfGetStatsByStatIdWithoutABuffer) {
    loseBuffer();
    EXPECT_THAT(
        byIds(getStatsByStatId, EXCEPTIONS),
        ElementsAre(line(1032, "*EXC*",
                         "API.getStatsByStatId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.",
                         token_)));
}

TEST_F(ConnectionTrace, OfGetStatsByStatIdThatLosesTheConnection) {
    loseConnection();
    EXPECT_THAT(
        byIds(getStatsByStatId, EVENTS),
        Contains(line(1033, "EVENT", "API.getStatsByStatId Removing GatewayToken %p due to comms failure %d",
                      token_, -102)));
}

// ---- getStatsByStatGroupId

TEST_F(ConnectionTrace, OfGetStatsByStatGroupId) {
    const auto lines = byIds(getStatsByStatGroupId);
    EXPECT_EQ(lines.front(),
              line(1035, "ENTRY", "API.getStatsByStatGroupId(gwTok=%p,providerIdPtr=%p,statRSPtr=%p)", token_,
                   address(IDS), address(&set_)));
    EXPECT_THAT(
        std::vector(lines.end() - 3, lines.end()),
        ElementsAre(
            line(1132, "EVENT", "API.getStatsByStatGroupId Getting Stats for Stat Group Ids %s", IDS),
            line(1036, "DEBUG", "API.getStatsByStatGroupId() result set pointer (%p)", address(theSet())),
            line(1039, "EXIT", "API.getStatsByStatGroupId(gwTok=%p,providerIdPtr=%p,statRSPtr=%p) rc=%d",
                 token_, address(IDS), address(&set_), 0)));
}

TEST_F(ConnectionTrace, OfGetStatsByStatGroupIdWithoutABuffer) {
    loseBuffer();
    EXPECT_THAT(
        byIds(getStatsByStatGroupId, EXCEPTIONS),
        ElementsAre(line(
            1037, "*EXC*",
            "API.getStatsByStatGroupId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.", token_)));
}

TEST_F(ConnectionTrace, OfGetStatsByStatGroupIdThatFailsTellsOfNoRemoval) {
    loseConnection();
    EXPECT_THAT(byIds(getStatsByStatGroupId, EVENTS),
                ElementsAre(line(1132, "EVENT",
                                 "API.getStatsByStatGroupId Getting Stats for Stat Group Ids %s", IDS)));
}

// ---- getStatIdsByStatGroupId

TEST_F(ConnectionTrace, OfGetStatIdsByStatGroupId) {
    const auto lines = byIds(getStatIdsByStatGroupId);
    EXPECT_EQ(lines.front(),
              line(1015, "ENTRY", "API.getStatIdsByStatGroupId(gwTok=%p,providerIdsPtr=%p,statIdRsPtr=%p)",
                   token_, address(IDS), address(&set_)));
    EXPECT_THAT(
        std::vector(lines.end() - 3, lines.end()),
        ElementsAre(
            line(1129, "EVENT", "API.getStatIdsByStatGroupId Getting Stat Ids for Stat Group Ids %s", IDS),
            line(1016, "DEBUG", "API.getStatIdsByStatGroupId() result set pointer (%p)", address(theSet())),
            line(1019, "EXIT", "API.getStatIdsByStatGroupId(gwTok=%p,query=%s,rs=%p) rc=%d", token_, IDS,
                 address(&set_), 0)));
}

TEST_F(ConnectionTrace, OfGetStatIdsByStatGroupIdWithoutABuffer) {
    loseBuffer();
    EXPECT_THAT(byIds(getStatIdsByStatGroupId, EXCEPTIONS),
                ElementsAre(line(
                    1017, "*EXC*",
                    "API.getStatIdsByStatGroupId(gwTok=%p) resultSetBuf is NULL. Connection may have gone.",
                    token_)));
}

TEST_F(ConnectionTrace, OfGetStatIdsByStatGroupIdThatLosesTheConnection) {
    loseConnection();
    EXPECT_THAT(byIds(getStatIdsByStatGroupId, EVENTS),
                Contains(line(1018, "EVENT",
                              "API.getStatIdsByStatGroupId Removing GatewayToken %p due to comms failure %d",
                              token_, -102)));
}

TEST_F(ConnectionTrace, OfGetStatIdsByStatGroupIdSurvivesNullIds) {
    const auto lines = traced([this] { getStatIdsByStatGroupId(token_, nullptr, &set_); });
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines.back().message, testing::EndsWith(" rc=-126"));
}

// ---- Queries that are refused

TEST_F(ConnectionTrace, OfARefusedArgumentIsJustEntryAndExit) {
    EXPECT_THAT(traced([this] { getStats(nullptr, &set_); }),
                ElementsAre(line(1025, "ENTRY", "API.getStats(gwTok=%p,statRSPtr=%p)", address(nullptr),
                                 address(&set_)),
                            line(1029, "EXIT", "API.getStats(gwTok=%p,rs=%p) rc=%d", address(nullptr),
                                 address(&set_), -100)));
    EXPECT_THAT(traced([this] { getStats(token_, nullptr); }, EVENTS), IsEmpty());
    EXPECT_THAT(traced([this] { getStatsByStatId(token_, nullptr, &set_); }, EVENTS), IsEmpty());
}

TEST_F(ConnectionTrace, OfAnIdListThatIsTooLongHasNoQuery) {
    const std::string ids(32766, 'x');
    EXPECT_THAT(traced([&] { getStatsByStatId(token_, ids.c_str(), &set_); }, EVENTS),
                ElementsAre(line(
                    1114, "*EXC*",
                    "stapi_zol_impl.dup2ASCIIString() supplied input data pointer was NULL or overlength")));
    EXPECT_THAT(gateway_.queries(), IsEmpty());
}

TEST_F(ConnectionTrace, ShowsAnIdListWhole) {
    const std::string ids(32765, 'x');
    EXPECT_THAT(
        traced([&] { getStatsByStatId(token_, ids.c_str(), &set_); }, EVENTS),
        Contains(line(1131, "EVENT", "API.getStatsByStatId Getting Stats for Stat Ids %s", ids.c_str())));
}

// ---- State of the set, which no public call shows

TEST_F(ConnectionTrace, QueriesMarkTheSetAsTheirsExceptThatForResourceGroups) {
    all(getStats);
    for (int (*query)(void*, ResultSetToken**) : {getStats, getStatIds, getResourceGroupIds}) {
        set_->owner = 0x1111;
        ASSERT_EQ(query(token_, &set_), 0);
        EXPECT_EQ(set_->owner, query == getResourceGroupIds ? 0x1111U : 0x8888U);
    }
    for (auto* query : {getStatsByStatGroupId, getStatsByStatId, getStatIdsByStatGroupId}) {
        set_->owner = 0x1111;
        ASSERT_EQ(query(token_, IDS, &set_), 0);
        EXPECT_EQ(set_->owner, 0x8888U);
    }
}

TEST_F(ConnectionTrace, QueriesPointTheSetAtTheConnectionsBuffer) {
    const auto* token = static_cast<GatewayToken*>(token_);
    all(getStats);
    set_->queryIndex = 3;
    set_->next = nullptr;
    set_->head = nullptr;
    set_->resultSetBufferLen = 0;
    ASSERT_EQ(getResourceGroupIds(token_, &set_), 0);
    EXPECT_EQ(set_, theSet());
    EXPECT_EQ(set_->head, token->resultSetBuf);
    EXPECT_EQ(set_->next, token->resultSetBuf);
    EXPECT_EQ(set_->resultSetBufferLen, token->resultSetBufLen);
    EXPECT_EQ(set_->queryIndex, 0);
}

TEST_F(ConnectionTrace, AFailedQueryResetsTheSetAllTheSame) {
    all(getStats);
    StatData stat{};
    ASSERT_EQ(getFirstStat(set_, &stat), 0);
    loseConnection();
    set_->owner = 0x1111;
    ASSERT_EQ(getStatsByStatGroupId(token_, IDS, &set_), -102);
    EXPECT_EQ(set_->owner, 0x8888U);
    EXPECT_EQ(set_->queryIndex, 0);
    EXPECT_EQ(set_->next, set_->head);
}

TEST_F(ConnectionTrace, QueriesByIdsKeepTheirIdsInTheSet) {
    for (auto* query : {getStatsByStatGroupId, getStatsByStatId, getStatIdsByStatGroupId}) {
        for (const char* ids : {"G1:S1", "", "T1"}) {
            ASSERT_EQ(query(token_, ids, &set_), 0);
            EXPECT_STREQ(set_->queryString, ids);
        }
    }
    ASSERT_EQ(getStats(token_, &set_), 0);
    EXPECT_STREQ(set_->queryString, "T1") << "other queries leave it";
}

TEST_F(ConnectionTrace, TheVersionHandedOutIsTheTokensOwnText) {
    EXPECT_EQ(static_cast<GatewayToken*>(token_)->protocolVersion, version_);
    EXPECT_STREQ(version_, "1.0");
}

}  // namespace
