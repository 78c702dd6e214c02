// Statistics calls: the Admin exchanges for a query and for the protocol version, and what they hand on.
// The parsers are tested in wire/call_data_test.cpp and its neighbours, whole requests in
// wire/golden_requests_test.cpp. The requests are written down in docs/protocol.md.
#include "stapi_zol_statcomms.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "stapi_zol_gwytok.h"
#include "support/peer.h"
#include "support/trace_capture.h"
#include "support/trace_reading.h"
#include "wire/call_data.h"

namespace {

using namespace testing_support;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::StartsWith;

constexpr int KEPT = -9999;

const Bytes MBEAN = "DefaultDomain:ProdId=com.velmor.zol,Activity=Control,type=Stats";

class Calls : public testing::Test {
  protected:
    // Queue the reply to an initialising call, with the id 7, and to the call itself.
    void initialised(const Header& header = {.name = "Admin"}) const {
        peer.reply(message(header, word(0) + word(0) + word(7)));
    }
    void answered(std::string_view payload) const {
        peer.reply(message({"Admin"}, word(1) + word(0) + Bytes(1, '\0') + Bytes(payload)));
    }

    [[nodiscard]] Bytes sentBehindTheFirst() const { return peer.received().substr(38); }

    [[nodiscard]] std::vector<int> why() const {
        return {reasons.errnoValue, reasons.gwyRc, reasons.authRc, reasons.adminRc};
    }

    Peer peer;
    FlowReasons reasons{KEPT, KEPT, KEPT, KEPT};
};

// ---- Initialising

class Initialise : public Calls {
  protected:
    int initialises() { return getInitAdminRequest(peer.descriptor(), &admin, &reasons); }

    AdminRequest admin = [] {
        AdminRequest record{};
        record.header = {1, 2, 3, 4, 5, 6, "other", 7, 8};
        record.callType = 5;
        return record;
    }();
};

TEST_F(Initialise, FillsTheWholeHeaderWhateverTheRecordHeld) {
    initialised();
    initialises();
    EXPECT_EQ(peer.received(), message({"Admin", 1, 0, 0, 0x00700000, 0}, word(0)));
}

TEST_F(Initialise, GivesTheGatewaysId) {
    initialised();
    EXPECT_EQ(initialises(), 0);
    EXPECT_EQ(admin.adminId, 7U);
    EXPECT_EQ(admin.callData, nullptr);
}

TEST_F(Initialise, ForgetsCallDataOfThePast) {
    unsigned char past = 0;
    admin.callData = &past;
    initialised();
    EXPECT_EQ(initialises(), 0);
    EXPECT_EQ(admin.callData, nullptr);
}

TEST_F(Initialise, FreesAPayloadThatAnInitialisingReplyShouldNotHave) {
    answered("payload");
    EXPECT_EQ(initialises(), 0);
    EXPECT_EQ(admin.callData, nullptr);
}

TEST_F(Initialise, GivesTheResultOfTheExchange) {
    peer.reply(message({"Admin"}, word(0) + word(66)));
    EXPECT_EQ(initialises(), -3);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, 66));
    peer.hangUp();
    EXPECT_EQ(initialises(), -1);
}

TEST_F(Initialise, IsTraced) {
    initialised();
    const TraceCapture trace(3);
    initialises();
    const int fd = peer.descriptor();
    const void* record = &admin;
    const void* reason = &reasons;
    EXPECT_EQ(
        trace.lines().front(),
        line(2214, "ENTRY", "stapi_zol_statcomms.getInitAdminRequest(socketDesc=%d, admin=%p, reasons=%p)",
             fd, record, reason));
    EXPECT_EQ(trace.lines().back(),
              line(2215, "EXIT",
                   "stapi_zol_statcomms.getInitAdminRequest(socketDesc=%d, admin=%p, reasons=%p) rc=%d", fd,
                   record, reason, 0));
}

// ---- Lengths

AdminRequest strings() {
    AdminRequest admin{};
    admin.country = "1";
    admin.language = "22";
    admin.blankString = "4444";
    admin.mbeanName = "88888888";
    admin.attributeName = "1616161616161616";
    admin.actionName = "32323232323232323232323232323232";
    admin.argument = "";
    admin.signature = "";
    return admin;
}

TEST(CallLength, OfAnInvocationCountsSevenStringsAnd27) {
    AdminRequest admin = strings();
    EXPECT_EQ(calculateCallLength(admin), 1U + 2 + 4 + 8 + 32 + 27);
    admin.argument = "argument";
    admin.signature = "sig";
    EXPECT_EQ(calculateCallLength(admin), 1U + 2 + 4 + 8 + 32 + 8 + 3 + 27);
}

TEST(CallLength, OfAnAttributeCountsFiveStringsAnd10) {
    EXPECT_EQ(calculateGetAttrCallLength(strings()), 1U + 2 + 4 + 8 + 16 + 10);
}

// The library notes the time of a line in timeStamp before it writes it.
void forgeTimestamp() {
    std::strcpy(timeStamp, "01/02/03 04:05:06:789");
}

TEST(CallLength, OfAnInvocationTracesItsEntryWithTheTimeOfTheLineBefore) {
    const TraceCapture trace(3);
    forgeTimestamp();
    calculateCallLength(strings());
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(2216, "ENTRY", "stapi_zol_statcomms.calculateCallLength"),
                            line(2217, "EXIT", "stapi_zol_statcomms.calculateCallLengthsize=%d", 74)));
    EXPECT_THAT(trace.lines().front().prefix, StartsWith("01/02/03 04:05:06:789 "));
    EXPECT_THAT(trace.lines().back().prefix, testing::Not(StartsWith("01/02/03 ")));
}

TEST(CallLength, OfAnAttributeTracesItsEntryWithTheTimeOfTheLineBefore) {
    const TraceCapture trace(3);
    forgeTimestamp();
    calculateGetAttrCallLength(strings());
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(2218, "ENTRY", "stapi_zol_statcomms.calculateGetAttrCallLength"),
                            line(2219, "EXIT", "stapi_zol_statcomms.calculateGetAttrCallLengthsize=%d", 41)));
    EXPECT_THAT(trace.lines().front().prefix, StartsWith("01/02/03 04:05:06:789 "));
    EXPECT_THAT(trace.lines().back().prefix, testing::Not(StartsWith("01/02/03 ")));
}

// ---- Queries

class Query : public Calls {
  protected:
    int asks(const char* type, const char* text) {
        return statCommsString(peer.descriptor(), type, text, &set.data, &capacity, &reasons);
    }
    void expectSet(const Bytes& expected) const { EXPECT_EQ(set.bytes(expected.size()), expected); }

    // Of a request, what follows call type, id, length and the items that all calls have.
    [[nodiscard]] Bytes sentAction() const { return sentBehindTheFirst().substr(34 + 12 + 4 + 4 + 2 + 65); }

    MessageBuffer set{Bytes(32768, '?')};
    int capacity = 32768;
};

const Bytes STATS = oneResponse(statsResponse("q", 0, {statistic("A", "1")}));
const Bytes STATS_ANSWER = statsSet({answered("q", 0, {statItem("A", "1")})});
const Bytes IDS = oneResponse(idsResponse("q", 0, {"A"}));
const Bytes IDS_ANSWER = idsSet({answered("q", 0, {idItem("A")})});

TEST_F(Query, InvokesTheActionWithTheQueryAsItsArgument) {
    initialised();
    answered(IDS);
    asks("STAT_IDS", "CPU:DISK");
    EXPECT_EQ(sentBehindTheFirst(),
              message({"Admin"}, word(5) + word(7) + word(0x7E) + item("US") + item("en") + item("") +
                                     item(MBEAN) + item("STAT_IDS") + word(1) + hex("ACED000574") +
                                     item("CPU:DISK") + word(1) + item("java.lang.String")));
}

TEST_F(Query, SendsAnEmptyQueryAsAnEmptyItem) {
    initialised();
    answered(IDS);
    asks("STAT_IDS", "");
    EXPECT_EQ(
        sentAction(),
        item("STAT_IDS") + hex("00000001 ACED000574 0000 00000001 0010 6A6176612E6C616E672E537472696E67"));
}

TEST_F(Query, SendsAgainWhatTheInitialisingReplyPutIntoTheHeader) {
    initialised({"Admin", 77, 0x31323334, 0, 0x00710000, 0x5A});
    answered(IDS);
    asks("STAT_IDS", "");
    EXPECT_EQ(sentBehindTheFirst().substr(0, 34),
              "Gate" + hex("00710000 00000001 00000000 31323334 00000005 41646D696E 5A 00000082"));
}

TEST_F(Query, SendsAsMuchOfTheNameAsTheInitialisingReplyHad) {
    // Framed as "Admin" the reply gives a byte of its body away and takes one from behind it.
    peer.reply(message({"Admi"}, "#" + word(0) + word(0) + word(7)) + "!");
    answered(IDS);
    EXPECT_EQ(asks("STAT_IDS", ""), 0);
    EXPECT_EQ(sentBehindTheFirst().substr(20, 9), hex("00000004 41646D69 00"));
}

TEST_F(Query, ForGetStatsParsesStatistics) {
    initialised();
    answered(STATS);
    EXPECT_EQ(asks("GET_STATS", ""), 0);
    expectSet(STATS_ANSWER);
}

class QueryForIds : public Query, public testing::WithParamInterface<const char*> {};

TEST_P(QueryForIds, IsEveryOtherQueryType) {
    initialised();
    answered(IDS);
    EXPECT_EQ(asks(GetParam(), ""), 0);
    expectSet(IDS_ANSWER);
}

INSTANTIATE_TEST_SUITE_P(Types, QueryForIds,
                         testing::Values("STAT_IDS", "RESOURCE_GROUPS", "get_stats", "GET_STAT", "GET_STATS ",
                                         ""));

TEST_F(Query, GrowsTheBufferWithTheAnswer) {
    const Bytes data(30000, 'd');
    initialised();
    answered(oneResponse(
        statsResponse("q", 0, {hex("7700") + item("A") + item(data), hex("7700") + item("B") + item(data)})));
    EXPECT_EQ(asks("GET_STATS", ""), 0);
    EXPECT_EQ(capacity, 65536);
    expectSet(statsSet({testing_support::answered("q", 0, {statItem("A", data), statItem("B", data)})}));
}

TEST_F(Query, EndsWithTheResultOfAFailedInitialisation) {
    peer.reply(message({"Admin"}, word(0) + word(66)));
    EXPECT_EQ(asks("GET_STATS", ""), -3);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, 66));
    EXPECT_THAT(sentBehindTheFirst(), IsEmpty());
}

TEST_F(Query, EndsWithTheResultOfAFailedInvocation) {
    initialised();
    peer.reply(message({"Admin", 1, 0, 99}, ""));
    EXPECT_EQ(asks("GET_STATS", ""), 99);
    EXPECT_THAT(why(), ElementsAre(KEPT, 99, KEPT, KEPT));
}

TEST_F(Query, EndsWithMinus3ForAnException) {
    initialised();
    peer.reply(message({"Admin"}, word(1) + word(0) + "\x01"));
    EXPECT_EQ(asks("GET_STATS", ""), -3);
}

TEST_F(Query, EndsWithTheParsersResult) {
    initialised();
    answered(hex("00 ACED"));
    EXPECT_EQ(asks("GET_STATS", ""), -122);
    expectSet(statsSet({}));
}

TEST_F(Query, HoldsTheParserToThePayload) {
    initialised();
    answered("");
    EXPECT_EQ(asks("STAT_IDS", ""), -122);
    expectSet(idsSet({}));
}

TEST_F(Query, GivesMinus122WhenTheReplyIsAnInitialisingOne) {
    initialised();
    initialised();
    EXPECT_EQ(asks("GET_STATS", ""), -122);
}

TEST_F(Query, GivesMinus122WhenAReplyCutInHalfEndsIt) {
    initialised();
    peer.reply(message({"Admin"}, word(1) + word(0) + Bytes(1, '\0') + STATS).substr(0, 60));
    peer.endReplies();
    EXPECT_EQ(asks("GET_STATS", ""), -122);
    EXPECT_THAT(why(), ElementsAre(ECONNRESET, KEPT, KEPT, KEPT));
}

TEST_F(Query, SurvivesTheSmallestBodyLengthBehindAVersionOfZero) {
    initialised({.name = "Admin", .version = 0});
    const Bytes header = message({"Admin"}, "");
    peer.reply(header.substr(0, header.size() - 4) + hex("80000000"));
    EXPECT_EQ(asks("GET_STATS", ""), -111);
}

TEST_F(Query, WithoutTextIsAQueryWithAnEmptyOne) {
    initialised();
    answered(STATS);
    EXPECT_EQ(statComms(peer.descriptor(), "GET_STATS", &set.data, &capacity, &reasons), 0);
    EXPECT_EQ(
        sentAction(),
        item("GET_STATS") + hex("00000001 ACED000574 0000 00000001 0010 6A6176612E6C616E672E537472696E67"));
    expectSet(STATS_ANSWER);
}

// ---- Trace of queries

TEST_F(Query, TracesAQueryForStatistics) {
    initialised();
    answered(STATS);
    const char* text = "ids";
    const TraceCapture trace(4);
    asks("GET_STATS", text);
    const int fd = peer.descriptor();
    const void* buffer = set.data;
    const void* reason = &reasons;
    const void* query = text;
    const void* payload = address(trace, 3203, "rc=");
    EXPECT_THAT(
        linesWithin(trace, 2200, 2213),
        ElementsAre(
            line(
                2208, "ENTRY",
                "stapi_zol_statcomms.statCommsString(socketDesc=%d, queryType=%s, queryString=%p, *buffer=%p, "
                "*bufferLen=%d, reasons=%p)",
                fd, "GET_STATS", query, buffer, 32768, reason),
            line(2209, "DEBUG", "stapi_zol_statcomms.statCommsString Successfully init'd the Admin Request"),
            line(2210, "DEBUG",
                 "stapi_zol_statcomms.statCommsString Successfully called the Gateway for Stats"),
            line(2212, "DEBUG", "stapi_zol_statcomms.statCommsString Free request callData %p", payload),
            line(
                2213, "EXIT",
                "stapi_zol_statcomms.statCommsString(socketDesc=%d, queryType=%s, queryString=%p, *buffer=%p, "
                "*bufferLen=%d, reasons=%p) rc=%d",
                fd, "GET_STATS", query, buffer, 32768, reason, 0)));
}

TEST_F(Query, DumpsThePayloadBeforeItParsesIt) {
    initialised();
    answered(STATS);
    const TraceCapture trace(4);
    asks("GET_STATS", "");
    const void* payload = address(trace, 3203, "rc=");
    EXPECT_THAT(
        trace.lines(2230),
        ElementsAre(line(2230, "DATA", "stapi_zol_statcomms.statCommsString data=%p len=%d stopword=%8.8X",
                         payload, static_cast<int>(STATS.size()), 0U)));
    EXPECT_EQ(dumped(trace.lines(2230).front()), STATS);
    EXPECT_LT(position(trace, 2230), position(trace, 2210));
    EXPECT_LT(position(trace, 2210), position(trace, 2220));
}

TEST_F(Query, TracesAQueryForIds) {
    initialised();
    answered(IDS);
    const TraceCapture trace(4);
    asks("STAT_IDS", "");
    EXPECT_THAT(
        trace.lines(),
        testing::Contains(line(
            2211, "DEBUG", "stapi_zol_statcomms.statCommsString Successfully called the Gateway for IDs")));
    EXPECT_THAT(trace.lines(2210), IsEmpty());
    EXPECT_LT(position(trace, 2230), position(trace, 2211));
    EXPECT_LT(position(trace, 2211), position(trace, 2224));
}

TEST_F(Query, TracesNoSuccessWhenItFails) {
    peer.reply(message({"Admin"}, word(0) + word(66)));
    const TraceCapture trace(4);
    asks("GET_STATS", "");
    std::vector<TraceLine> lines = linesWithin(trace, 2200, 2299);
    std::vector<int> numbers;
    for (const TraceLine& each : lines) {
        numbers.push_back(each.point);
    }
    EXPECT_THAT(numbers, ElementsAre(2208, 2214, 2215, 2213));
    EXPECT_THAT(lines.back().message, testing::EndsWith(" rc=-3"));
}

TEST_F(Query, CutsItsTypeInTheTraceAt24Characters) {
    peer.hangUp();
    const TraceCapture trace(3);
    asks("abcdefghijklmnopqrstuvwxyz", "");
    EXPECT_THAT(trace.lines(2208).front().message,
                testing::HasSubstr("queryType=abcdefghijklmnopqrstuvwx, "));
    EXPECT_THAT(trace.lines(2213).front().message,
                testing::HasSubstr("queryType=abcdefghijklmnopqrstuvwx, "));
}

TEST_F(Query, WithoutTextTracesItsOwnLinesAround) {
    initialised();
    answered(STATS);
    const TraceCapture trace(3);
    statComms(peer.descriptor(), "GET_STATS", &set.data, &capacity, &reasons);
    const int fd = peer.descriptor();
    const void* buffer = set.data;
    const void* reason = &reasons;
    EXPECT_EQ(
        trace.lines().front(),
        line(
            2206, "ENTRY",
            "stapi_zol_statcomms.statComms(socketDesc=%d, queryType=%s, buffer=%p, bufferLen=%d, reasons=%p)",
            fd, "GET_STATS", buffer, 32768, reason));
    EXPECT_EQ(
        trace.lines().back(),
        line(
            2207, "EXIT",
            "stapi_zol_statcomms.statComms(socketDesc=%d, queryType=%s, buffer=%p, bufferLen=%d, reasons=%p) rc=%d",
            fd, "GET_STATS", buffer, 32768, reason, 0));
}

// ---- The protocol version

class ProtocolVersion : public Calls {
  protected:
    ProtocolVersion() {
        token.socket = peer.descriptor();
        token.protocolVersion = static_cast<char*>(std::calloc(1, 64));
    }
    ~ProtocolVersion() override { std::free(token.protocolVersion); }

    int asks() { return statProtocolVer(&token, &reasons); }
    int asksAndGets(std::string_view payload) {
        initialised();
        answered(payload);
        return asks();
    }
    // The payload with a text whose length is stated as given.
    static Bytes version(unsigned statedLength, std::string_view text) {
        return "??????" + shortWord(statedLength) + Bytes(text);
    }

    GatewayToken token{};
};

TEST_F(ProtocolVersion, IsAskedForAsAnAttribute) {
    asksAndGets(version(3, "1_1"));
    EXPECT_EQ(sentBehindTheFirst(),
              message({"Admin"}, word(1) + word(7) + word(85) + item("US") + item("en") + item("") +
                                     item(MBEAN) + item("protocol")));
}

TEST_F(ProtocolVersion, IsStoredInTheToken) {
    const char* before = token.protocolVersion;
    EXPECT_EQ(asksAndGets(version(3, "1_1")), 0);
    EXPECT_STREQ(token.protocolVersion, "1_1");
    EXPECT_EQ(token.protocolVersion, before);
}

TEST_F(ProtocolVersion, MayBeEmpty) {
    std::strcpy(token.protocolVersion, "before");
    EXPECT_EQ(asksAndGets(version(0, "")), 0);
    EXPECT_STREQ(token.protocolVersion, "");
}

TEST_F(ProtocolVersion, EndsWithItsLengthAndNotWithThePayload) {
    EXPECT_EQ(asksAndGets(version(3, "1_1 and more")), 0);
    EXPECT_STREQ(token.protocolVersion, "1_1");
}

TEST_F(ProtocolVersion, Of63BytesStaysInTheUsualBuffer) {
    const char* before = token.protocolVersion;
    EXPECT_EQ(asksAndGets(version(63, Bytes(63, 'v'))), 0);
    EXPECT_EQ(token.protocolVersion, before);
    EXPECT_EQ(token.protocolVersion, Bytes(63, 'v'));
}

class LongProtocolVersion : public ProtocolVersion, public testing::WithParamInterface<unsigned> {};

TEST_P(LongProtocolVersion, GetsALargerBuffer) {
    const Bytes text(GetParam(), 'v');
    EXPECT_EQ(asksAndGets(version(GetParam(), text)), 0);
    EXPECT_EQ(token.protocolVersion, text);
}

INSTANTIATE_TEST_SUITE_P(From64Bytes, LongProtocolVersion, testing::Values(64U, 65U, 1000U, 32767U));

TEST_F(ProtocolVersion, MayGrowMoreThanOnce) {
    ASSERT_EQ(asksAndGets(version(100, Bytes(100, 'v'))), 0);
    ASSERT_EQ(asksAndGets(version(200, Bytes(200, 'w'))), 0);
    EXPECT_EQ(asksAndGets(version(3, "1_1")), 0);
    EXPECT_STREQ(token.protocolVersion, "1_1");
}

struct BadVersion {
    const char* name;
    Bytes payload;
};

class BadProtocolVersion : public ProtocolVersion, public testing::WithParamInterface<BadVersion> {};

TEST_P(BadProtocolVersion, IsABadReplyAndLeavesTheText) {
    std::strcpy(token.protocolVersion, "before");
    EXPECT_EQ(asksAndGets(GetParam().payload), -122);
    EXPECT_STREQ(token.protocolVersion, "before");
}

INSTANTIATE_TEST_SUITE_P(
    Payload, BadProtocolVersion,
    testing::Values(BadVersion{"Empty", ""}, BadVersion{"WithoutLength", "??????"},
                    BadVersion{"WithHalfALength", Bytes(7, '\0')},
                    BadVersion{"LengthPastTheEnd", "??????" + shortWord(4) + "1_1"},
                    BadVersion{"LengthWithoutText", "??????" + shortWord(1)},
                    BadVersion{"NegativeLength", "??????" + shortWord(0x8000) + Bytes(32768, 'v')},
                    BadVersion{"LengthOfMinusOne", "??????" + shortWord(0xFFFF) + Bytes(65535, 'v')}),
    [](const auto& each) { return each.param.name; });

TEST_F(ProtocolVersion, WithoutABufferGivesMinus111) {
    std::free(token.protocolVersion);
    token.protocolVersion = nullptr;
    EXPECT_EQ(asksAndGets(version(3, "1_1")), -111);
    EXPECT_EQ(token.protocolVersion, nullptr);
}

TEST_F(ProtocolVersion, EndsWithTheResultOfAFailedInitialisation) {
    peer.reply(message({"Admin", 1, 0, -4}, ""));
    EXPECT_EQ(asks(), -4);
    EXPECT_THAT(why(), ElementsAre(KEPT, -4, KEPT, KEPT));
}

TEST_F(ProtocolVersion, EndsWithTheResultOfAFailedCall) {
    initialised();
    peer.reply(message({"Admin"}, word(1) + word(66)));
    EXPECT_EQ(asks(), -3);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, 66));
}

TEST_F(ProtocolVersion, GivesMinus122WhenTheReplyIsAnInitialisingOne) {
    initialised();
    initialised();
    EXPECT_EQ(asks(), -122);
}

TEST_F(ProtocolVersion, IsTraced) {
    const TraceCapture trace(4);
    asksAndGets(version(3, "1_1"));
    const void* handle = &token;
    const void* buffer = token.protocolVersion;
    const void* payload = address(trace, 3203, "rc=");
    EXPECT_THAT(
        trace.lines(),
        IsSupersetOf(
            {line(2200, "ENTRY", "stapi_zol_statcomms.statProtocolVer(gwTokPtr=%p)", handle),
             line(2201, "DEBUG", "stapi_zol_statcomms.statProtocolVer Successfully init'd admin request"),
             line(
                 2202, "DEBUG",
                 "stapi_zol_statcomms.statProtocolVer Successfully got the protocol version from the Gateway"),
             line(2203, "DEBUG", "stapi_zol_statcomms.statProtocolVer Called malloc for %d bytes. rc=%p", 4,
                  buffer),
             line(2242, "DEBUG", "stapi_zol_statcomms.statProtocolVer Free request callData %p", payload),
             line(2205, "EXIT", "stapi_zol_statcomms.statProtocolVer(gwTokPtr=%p) rc=%d", handle, 0)}));
    std::vector<int> numbers = points(trace);
    std::erase_if(numbers, [](int point) { return point >= 3000; });
    EXPECT_THAT(numbers, ElementsAre(2200, 2214, 2215, 2201, 2218, 2219, 2202, 2203, 2242, 2205));
}

TEST_F(ProtocolVersion, TracesThatItHasNoBuffer) {
    std::free(token.protocolVersion);
    token.protocolVersion = nullptr;
    const TraceCapture trace(1);
    asksAndGets(version(3, "1_1"));
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(2204, "*EXC*",
                                 "stapi_zol_statcomms.statProtocolVerFailed to allocate %d bytes.", 4)));
}

TEST_F(ProtocolVersion, TracesABadReply) {
    const TraceCapture trace(1);
    asksAndGets(version(4, "1_1"));
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(2243, "*EXC*", "stapi_zol_statcomms.%s malformed call data at offset %d of %d",
                         "statProtocolVer", 6, 11)));
}

// ---- What the application is told

struct Told {
    int rc;
    std::int32_t gwyRc;
    int told;

    friend void PrintTo(const Told& each, std::ostream* out) { *out << each.rc << " with " << each.gwyRc; }
};

class ApplicationRc : public testing::TestWithParam<Told> {};

TEST_P(ApplicationRc, IsOneOfThree) {
    EXPECT_EQ(zolstats::applicationRc(GetParam().rc, {0, GetParam().gwyRc, 0, 0}), GetParam().told);
}

INSTANTIATE_TEST_SUITE_P(Of, ApplicationRc,
                         testing::Values(Told{0, 0, 0}, Told{0, 61444, 0}, Told{-1, 0, -102},
                                         Told{-1, 61444, -102}, Told{-4, 61444, -102}, Told{-4, -4, -122},
                                         Told{-4, 0, -122}, Told{-4, 61443, -122}, Told{-3, 61444, -122},
                                         Told{61444, 61444, -122}, Told{-2, 0, -122}, Told{-111, 0, -122},
                                         Told{-122, 0, -122}, Told{1, 1, -122}));

TEST(StatcommsModule, CarriesItsVersionAndCopyright) {
    EXPECT_THAT(version4stapi_zol_statcomms, StartsWith("\nQuorvane Version "));
    EXPECT_THAT(copyright4stapi_zol_statcomms, StartsWith("\nCopyright "));
}

}  // namespace
