// The six queries: the action and the text that each sends, the set that it leaves, and how a failure is
// told. The exchange and the parsers below them are tested in statcomms_test.cpp and wire/call_data_test.cpp.
// The queries are written down in docs/protocol.md.
#include "stapi_zol_statquery.h"

#include <gmock/gmock.h>

#include "support/peer.h"
#include "support/trace_capture.h"
#include "support/trace_reading.h"
#include "wire/call_data.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

const char* const IDS = "CPU:DISK";

// Where the six differ.
struct Query {
    const char* name;
    int (*ask)(int fd, unsigned char** buffer, int* bufferLen);
    const char* action;
    const char* text;
    bool forStats;
    TraceLine (*entry)(int fd, const void* buffer, int bufferLen);
    TraceLine (*exit)(int fd, const void* buffer, int bufferLen, int rc);
    TraceLine (*data)(const void* buffer);

    friend void PrintTo(const Query& query, std::ostream* out) { *out << query.name; }
};

const Query RESOURCE_GROUPS{
    "commsResourceGroupsIds",
    commsResourceGroupsIds,
    "RESOURCE_GROUPS",
    "",
    false,
    [](int fd, const void* buffer, int bufferLen) {
        return line(2300, "ENTRY",
                    "stapi_zol_statquery.commsResourceGroupsIds(socketDesc=%d, *buffer=%p, *bufferLen=%d)",
                    fd, buffer, bufferLen);
    },
    [](int fd, const void* buffer, int bufferLen, int rc) {
        return line(
            2301, "EXIT",
            "stapi_zol_statquery.commsResourceGroupsIds(socketDesc=%d, *buffer=%p, *bufferLen=%d) zolstatRc=%d",
            fd, buffer, bufferLen, rc);
    },
    [](const void* buffer) {
        return line(2312, "DATA", "stapi_zol_statquery.commsResourceGroupsIds data=%p len=%d stopword=%8.8X",
                    buffer, 0, 0x0E0F0E0FU);
    }};

const Query STAT_IDS_BY_GROUP{
    "commsStatIdsByStatGroupId",
    [](int fd, unsigned char** buffer, int* bufferLen) {
        return commsStatIdsByStatGroupId(fd, buffer, bufferLen, IDS);
    },
    "STAT_IDS",
    IDS,
    false,
    [](int fd, const void* buffer, int bufferLen) {
        return line(
            2302, "ENTRY",
            "stapi_zol_statquery.commsStatIdsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)",
            fd, buffer, bufferLen, static_cast<const void*>(IDS));
    },
    [](int fd, const void* buffer, int bufferLen, int rc) {
        return line(
            2303, "EXIT",
            "stapi_zol_statquery.commsStatIdsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) "
            "zolStatRc=%d",
            fd, buffer, bufferLen, static_cast<const void*>(IDS), rc);
    },
    [](const void* buffer) {
        return line(2313, "DATA",
                    "stapi_zol_statquery.commsStatIdsByStatGroupId data=%p len=%d stopword=%8.8X", buffer, 0,
                    0x0E0F0E0FU);
    }};

const Query STAT_IDS{
    "commsStatIds",
    commsStatIds,
    "STAT_IDS",
    "",
    false,
    [](int fd, const void* buffer, int bufferLen) {
        return line(2304, "ENTRY",
                    "stapi_zol_statquery.commsStatIds(socketDesc=%d, *buffer=%p, *bufferLen=%d)", fd, buffer,
                    bufferLen);
    },
    [](int fd, const void* buffer, int bufferLen, int rc) {
        return line(2305, "EXIT",
                    "stapi_zol_statquery.commsStatIds(socketDesc=%d, *buffer=%p, *bufferLen=%d) zolstatRc=%d",
                    fd, buffer, bufferLen, rc);
    },
    [](const void* buffer) {
        return line(2314, "DATA", "stapi_zol_statquery.commsStatIds data=%p len=%d stopword=%8.8X", buffer, 0,
                    0x0E0F0E0FU);
    }};

const Query STATS_BY_ID{
    "commsStatsByStatId",
    [](int fd, unsigned char** buffer, int* bufferLen) {
        return commsStatsByStatId(fd, buffer, bufferLen, IDS);
    },
    "GET_STATS",
    IDS,
    true,
    [](int fd, const void* buffer, int bufferLen) {
        return line(
            2306, "ENTRY",
            "stapi_zol_statquery.commsStatsByStatId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p)", fd,
            buffer, bufferLen, static_cast<const void*>(IDS));
    },
    [](int fd, const void* buffer, int bufferLen, int rc) {
        return line(
            2307, "EXIT",
            "stapi_zol_statquery.commsStatsByStatId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) zolStatRc=%d",
            fd, buffer, bufferLen, static_cast<const void*>(IDS), rc);
    },
    [](const void* buffer) {
        return line(2315, "DATA", "stapi_zol_statquery.commsStatsByStatId data=%p len=%d stopword=%8.8X",
                    buffer, 0, 0x0E0F0E0FU);
    }};

const Query STATS_BY_GROUP{
    "commsStatsByStatGroupId",
    [](int fd, unsigned char** buffer, int* bufferLen) {
        return commsStatsByStatGroupId(fd, buffer, bufferLen, IDS);
    },
    "GET_STATS",
    IDS,
    true,
    [](int fd, const void* buffer, int) {
        return line(
            2308, "ENTRY",
            "stapi_zol_statquery.commsStatsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen, ids=%p)", fd,
            buffer, static_cast<const void*>(IDS));
    },
    [](int fd, const void* buffer, int bufferLen, int rc) {
        return line(
            2309, "EXIT",
            "stapi_zol_statquery.commsStatsByStatGroupId(socketDesc=%d, *buffer=%p, *bufferLen=%d, ids=%p) "
            "zolStatRc=%d",
            fd, buffer, bufferLen, static_cast<const void*>(IDS), rc);
    },
    [](const void* buffer) {
        return line(2316, "DATA", "stapi_zol_statquery.commsStatsByStatGroupId data=%p len=%d stopword=%8.8X",
                    buffer, 0, 0x0E0F0E0FU);
    }};

const Query STATS{
    "commsStats",
    commsStats,
    "GET_STATS",
    "",
    true,
    [](int fd, const void* buffer, int bufferLen) {
        return line(2310, "ENTRY", "stapi_zol_statquery.commsStats(socketDesc=%d, *buffer=%p, *bufferLen=%d)",
                    fd, buffer, bufferLen);
    },
    [](int fd, const void* buffer, int bufferLen, int rc) {
        return line(2311, "EXIT",
                    "stapi_zol_statquery.commsStats(socketDesc=%d, *buffer=%p, *bufferLen=%d) zolstatRc=%d",
                    fd, buffer, bufferLen, rc);
    },
    [](const void* buffer) {
        return line(2317, "DATA", "stapi_zol_statquery.commsStats data=%p len=%d stopword=%8.8X", buffer, 0,
                    0x0E0F0E0FU);
    }};

class StatQuery : public testing::TestWithParam<Query> {
  protected:
    int asks() { return GetParam().ask(peer.descriptor(), &set.data, &capacity); }

    void initialised() const { peer.reply(message({"Admin"}, word(0) + word(0) + word(7))); }
    void replied(std::string_view payload) const {
        initialised();
        peer.reply(message({"Admin"}, word(1) + word(0) + Bytes(1, '\0') + Bytes(payload)));
    }
    // A usual answer, its call data and its set.
    void answers() const { replied(callData()); }
    static Bytes callData() {
        return oneResponse(GetParam().forStats ? statsResponse("q", 0, {statistic("A", "1")})
                                               : idsResponse("q", 0, {"A"}));
    }
    static Bytes answer() {
        return GetParam().forStats ? statsSet({answered("q", 0, {statItem("A", "1")})})
                                   : idsSet({answered("q", 0, {idItem("A")})});
    }

    void expectSet(const Bytes& expected) const { EXPECT_EQ(set.bytes(expected.size()), expected); }

    void loseTheBuffer() {
        std::free(set.data);
        set.data = nullptr;
    }

    Peer peer;
    MessageBuffer set{Bytes(32768, '?')};
    int capacity = 32768;
};

INSTANTIATE_TEST_SUITE_P(Six, StatQuery,
                         testing::Values(STATS, STAT_IDS, RESOURCE_GROUPS, STATS_BY_GROUP, STATS_BY_ID,
                                         STAT_IDS_BY_GROUP),
                         [](const auto& each) { return each.param.name; });

TEST_P(StatQuery, InvokesItsActionWithItsText) {
    answers();
    asks();
    const Bytes call = item("US") + item("en") + item("") +
                       item("DefaultDomain:ProdId=com.velmor.zol,Activity=Control,type=Stats") +
                       item(GetParam().action) + word(1) + hex("ACED000574") + item(GetParam().text) +
                       word(1) + item("java.lang.String");
    EXPECT_EQ(
        peer.received(),
        message({"Admin"}, word(0)) +
            message({"Admin"}, word(5) + word(7) + word(static_cast<std::uint32_t>(call.size())) + call));
}

TEST_P(StatQuery, LeavesItsAnswerInTheBuffer) {
    answers();
    EXPECT_EQ(asks(), 0);
    expectSet(answer());
}

TEST_P(StatQuery, HandsOutAGrownBuffer) {
    set.hold(Bytes(16, '?'));
    capacity = 16;
    answers();
    EXPECT_EQ(asks(), 0);
    EXPECT_EQ(capacity, 64);
    expectSet(answer());
}

TEST_P(StatQuery, SendsNothingWithoutABuffer) {
    loseTheBuffer();
    EXPECT_EQ(asks(), -103);
    EXPECT_THAT(peer.received(), IsEmpty());
}

TEST_P(StatQuery, TellsAPeerThatHasGoneAsALostConnection) {
    peer.hangUp();
    EXPECT_EQ(asks(), -102);
}

TEST_P(StatQuery, TellsAPeerThatGoesInBetweenAsAFailedExchange) {
    initialised();
    peer.endReplies();
    EXPECT_EQ(asks(), -122);
}

TEST_P(StatQuery, TellsEveryOtherFailureAsAFailedExchange) {
    peer.reply(message({"Admin"}, word(0) + word(66)));
    EXPECT_EQ(asks(), -122);
    initialised();
    peer.reply(message({"Admin"}, word(1) + word(0) + "\x01"));
    EXPECT_EQ(asks(), -122);
    peer.reply(message({"Admins"}, word(1) + word(0) + "\x01"));
    EXPECT_EQ(asks(), -122);
}

TEST_P(StatQuery, TellsMalformedCallDataAsAFailedExchangeAndLeavesAnEmptySet) {
    replied(hex("00 ACED"));
    EXPECT_EQ(asks(), -122);
    expectSet(GetParam().forStats ? statsSet({}) : idsSet({}));
}

TEST_P(StatQuery, TellsABufferThatCannotGrowAsAFailedExchangeAndLosesIt) {
    capacity = 0;
    answers();
    EXPECT_EQ(asks(), -122);
    EXPECT_EQ(set.data, nullptr);
}

class GatewayRc : public testing::TestWithParam<std::pair<std::int32_t, int>> {};

TEST_P(GatewayRc, IsTold) {
    const auto [gatewayRc, told] = GetParam();
    const Peer peer;
    MessageBuffer set(Bytes(64, '?'));
    int capacity = 64;
    peer.reply(message({"Admin", 1, 0, gatewayRc}, ""));
    EXPECT_EQ(commsStats(peer.descriptor(), &set.data, &capacity), told);
}

// A return code of -1 looks like a failed send. One of -4 is its own reason, and never that of a Gateway that
// has gone.
INSTANTIATE_TEST_SUITE_P(As, GatewayRc,
                         testing::Values(std::pair(-1, -102), std::pair(-4, -122), std::pair(61444, -122),
                                         std::pair(1, -122), std::pair(-103, -122),
                                         std::pair(INT32_MIN, -122)));

// ---- Trace

TEST_P(StatQuery, TracesItsEntryFirstAndItsExitLast) {
    answers();
    const void* before = set.data;
    const TraceCapture trace(3);
    asks();
    EXPECT_EQ(trace.lines().front(), GetParam().entry(peer.descriptor(), before, 32768));
    EXPECT_EQ(trace.lines().back(), GetParam().exit(peer.descriptor(), set.data, 32768, 0));
}

TEST_P(StatQuery, TracesTheBufferBeforeAndAfterItGrew) {
    set.hold(Bytes(16, '?'));
    capacity = 16;
    answers();
    const void* before = set.data;
    const TraceCapture trace(3);
    asks();
    EXPECT_EQ(trace.lines().front(), GetParam().entry(peer.descriptor(), before, 16));
    EXPECT_EQ(trace.lines().back(), GetParam().exit(peer.descriptor(), set.data, 64, 0));
}

TEST_P(StatQuery, TracesTheCodeThatItTells) {
    peer.hangUp();
    const TraceCapture trace(3);
    asks();
    EXPECT_EQ(trace.lines().back(), GetParam().exit(peer.descriptor(), set.data, 32768, -102));
}

TEST_P(StatQuery, DumpsTheSetUpToItsTerminator) {
    answers();
    const TraceCapture trace(4);
    asks();
    const TraceLine data = GetParam().data(set.data);
    ASSERT_THAT(trace.lines(), Contains(data));
    EXPECT_EQ(dumped(trace.lines(data.point).front()), answer().substr(0, answer().size() - 4));
    EXPECT_EQ(position(trace, data.point) + 2, static_cast<std::ptrdiff_t>(trace.lines().size()));
}

TEST_P(StatQuery, TracesDataWithoutADumpWhenThereIsNoBuffer) {
    loseTheBuffer();
    const TraceCapture trace(4);
    asks();
    const int fd = peer.descriptor();
    EXPECT_THAT(trace.lines(), ElementsAre(GetParam().entry(fd, nullptr, 32768), GetParam().data(nullptr),
                                           GetParam().exit(fd, nullptr, 32768, -103)));
    EXPECT_THAT(trace.lines().at(1).below, IsEmpty());
}

TEST_P(StatQuery, DumpsNothingWhenItFails) {
    replied(hex("00 ACED"));
    const TraceCapture trace(4);
    asks();
    EXPECT_THAT(trace.lines(GetParam().data(nullptr).point), IsEmpty());
}

TEST_P(StatQuery, DumpsNothingBelowItsLevel) {
    answers();
    const TraceCapture trace(3);
    asks();
    EXPECT_THAT(trace.lines(), Not(Contains(GetParam().data(set.data))));
}

TEST(StatqueryModule, CarriesItsVersionAndCopyright) {
    EXPECT_THAT(version4stapi_zol_statquery, StartsWith("\nQuorvane Version "));
    EXPECT_THAT(copyright4stapi_zol_statquery, StartsWith("\nCopyright "));
}

}  // namespace
