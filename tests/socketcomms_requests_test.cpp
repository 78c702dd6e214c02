// The four kinds of request: handshake, close, authorisation and Admin calls, and what is made of their
// replies. The exchange below them is tested in socketcomms_test.cpp, whole messages byte for byte in
// wire/golden_requests_test.cpp. The wire format is written down in docs/protocol.md.
#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <memory>

#include "stapi_zol_socketcomms.h"
#include "support/bytes.h"
#include "support/peer.h"
#include "support/trace_capture.h"
#include "support/trace_reading.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr int KEPT = -9999;

class Request : public testing::Test {
  protected:
    [[nodiscard]] std::vector<int> why() const {
        return {reasons.errnoValue, reasons.gwyRc, reasons.authRc, reasons.adminRc};
    }

    Peer peer;
    FlowReasons reasons{KEPT, KEPT, KEPT, KEPT};
};

// ---- Handshake and close

using FixedFlow = int (*)(int, FlowReasons*);

class FixedRequest : public Request, public testing::WithParamInterface<FixedFlow> {
  protected:
    int flows() { return GetParam()(peer.descriptor(), &reasons); }
};

TEST_P(FixedRequest, SucceedsWithAReplyWithoutABody) {
    peer.reply(message({"BASE"}, ""));
    EXPECT_EQ(flows(), 0);
}

TEST_P(FixedRequest, DoesNotLookAtTheBodyOfTheReply) {
    peer.reply(message({"BASE"}, "whatever"));
    EXPECT_EQ(flows(), 0);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, KEPT));
}

TEST_P(FixedRequest, GivesTheGatewaysReturnCode) {
    peer.reply(message({"BASE", 5, 0, -17}, ""));
    EXPECT_EQ(flows(), -17);
    EXPECT_THAT(why(), ElementsAre(KEPT, -17, KEPT, KEPT));
}

TEST_P(FixedRequest, GivesMinusOneWhenThePeerHasGone) {
    peer.hangUp();
    EXPECT_EQ(flows(), -1);
    EXPECT_THAT(why(), ElementsAre(EPIPE, KEPT, KEPT, KEPT));
}

TEST_P(FixedRequest, GivesMinus122ForABadReply) {
    peer.reply(message({"BASES"}, ""));
    EXPECT_EQ(flows(), -122);
}

INSTANTIATE_TEST_SUITE_P(HandshakeAndClose, FixedRequest,
                         testing::Values(flowHandshakeRequest, flowCloseRequest), [](const auto& each) {
                             return each.param == flowCloseRequest ? "Close" : "Handshake";
                         });

TEST_F(Request, TracesTheHandshake) {
    peer.reply(message({"BASE"}, ""));
    const TraceCapture trace(4);
    flowHandshakeRequest(peer.descriptor(), &reasons);
    const int fd = peer.descriptor();
    const void* reason = &reasons;
    const void* request = address(trace, 3248, "data=");
    EXPECT_THAT(
        trace.lines(),
        testing::IsSupersetOf(
            {line(3215, "ENTRY", "stapi_zol_socketcomms.flowHandshakeRequest(socketDesc=%d, *reasons=%p)", fd,
                  reason),
             line(3216, "DEBUG",
                  "stapi_zol_socketcomms.flowHandshakeRequest Called malloc for %d bytes. rc=%p", 51,
                  request),
             line(3218, "DEBUG", "stapi_zol_socketcomms.flowHandshakeRequest Free handshake data %p",
                  request),
             line(3219, "EXIT",
                  "stapi_zol_socketcomms.flowHandshakeRequest(socketDesc=%d, *reasons=%p) rc=%d", fd, reason,
                  0)}));
    EXPECT_THAT(points(trace), ElementsAre(3215, 3216, 3248, 3249, 3225, 3226, 3230, 3239, 3240, 3243, 3245,
                                           3246, 3247, 3232, 3237, 3250, 3238, 3218, 3219));
}

TEST_F(Request, TracesTheClose) {
    peer.reply(message({"BASE"}, ""));
    const TraceCapture trace(4);
    flowCloseRequest(peer.descriptor(), &reasons);
    const int fd = peer.descriptor();
    const void* reason = &reasons;
    const void* request = address(trace, 3248, "data=");
    EXPECT_THAT(
        trace.lines(),
        testing::IsSupersetOf(
            {line(3220, "ENTRY", "stapi_zol_socketcomms.flowCloseRequest(socketDesc=%d, *reasons=%p)", fd,
                  reason),
             line(3221, "DEBUG", "stapi_zol_socketcomms.flowCloseRequest Called malloc for %d bytes. rc=%p",
                  33, request),
             line(3223, "DEBUG", "stapi_zol_socketcomms.flowCloseRequest Free close request data %p",
                  request),
             line(3224, "EXIT", "stapi_zol_socketcomms.flowCloseRequest(socketDesc=%d, *reasons=%p) rc=%d",
                  fd, reason, 0)}));
    EXPECT_THAT(points(trace), ElementsAre(3220, 3221, 3248, 3249, 3225, 3226, 3230, 3239, 3240, 3243, 3245,
                                           3246, 3247, 3232, 3237, 3250, 3238, 3223, 3224));
}

TEST_F(Request, TracesTheResultOfAFailedHandshakeAndClose) {
    const TraceCapture trace(3);
    flowHandshakeRequest(-1, &reasons);
    flowCloseRequest(-1, &reasons);
    const void* reason = &reasons;
    EXPECT_EQ(
        trace.lines(3219).front(),
        line(3219, "EXIT", "stapi_zol_socketcomms.flowHandshakeRequest(socketDesc=%d, *reasons=%p) rc=%d", -1,
             reason, -1));
    EXPECT_EQ(trace.lines(3224).front(),
              line(3224, "EXIT", "stapi_zol_socketcomms.flowCloseRequest(socketDesc=%d, *reasons=%p) rc=%d",
                   -1, reason, -1));
}

// ---- Authorisation

class Auth : public Request {
  protected:
    int flows() { return flowAuthRequest(peer.descriptor(), &request, &reasons); }
    void asks() { set(0, 4); }
    void answers() { set(1, 20); }

    AuthRequest request{{0x47617465, 0x00700000, 1, 0, 0, 4, "Auth", 0, 4}, 0, KEPT, {1, 2, 3, 4}, {5, 6}};

  private:
    void set(std::uint32_t step, std::uint32_t length) {
        request.authStep = step;
        request.header.bodyLength = length;
    }
};

TEST_F(Auth, SendsOnlyTheStepAtFirst) {
    peer.reply(message({"Auth"}, word(0) + word(0) + word(7) + word(8) + word(9)));
    asks();
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(peer.received(), message({"Auth"}, word(0)));
}

TEST_F(Auth, SendsTheStepAndFourWordsInTheSecondStep) {
    peer.reply(message({"Auth"}, word(1) + word(0)));
    answers();
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(peer.received(), message({"Auth"}, word(1) + word(1) + word(2) + word(3) + word(4)));
}

TEST_F(Auth, SendsNoWordsInAnyOtherStep) {
    peer.reply(message({"Auth"}, word(1) + word(0)));
    request.authStep = 2;
    flows();
    EXPECT_EQ(peer.received(), message({"Auth"}, word(2)));
}

TEST_F(Auth, SendsAgainWhatTheFirstReplyPutIntoTheHeader) {
    peer.reply(message({"Auth", 77, 0x31323334, 0, 0x00710000, 0x5A},
                       word(0) + word(0) + word(7) + word(8) + word(9)));
    peer.reply(message({"Auth"}, word(1) + word(0)));
    flows();
    (void)peer.received();
    answers();
    flows();
    EXPECT_EQ(peer.received(), message({"Auth", 77, 0, 0x31323334, 0x00710000, 0x5A},
                                       word(1) + word(7) + word(8) + word(9) + word(4)));
}

TEST_F(Auth, SendsAgainAsMuchOfTheNameAsTheFirstReplyHad) {
    // Read as if it were named "Auth", the first reply gives its first body byte away and takes one from
    // behind it.
    peer.reply(message({"Aut"}, "#" + word(0) + word(0) + word(7) + word(8) + word(9)) + "!");
    peer.reply(message({"Auth"}, word(1) + word(0)));
    EXPECT_EQ(flows(), 0);
    (void)peer.received();
    answers();
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(peer.received(), message({"Aut"}, word(1) + word(7) + word(8) + word(9) + word(4)));
}

TEST_F(Auth, KeepsTheThreeWordsOfTheGateway) {
    peer.reply(message({"Auth"}, word(0) + word(0) + word(7) + word(8) + word(9)));
    EXPECT_EQ(flows(), 0);
    EXPECT_THAT(request.authData, ElementsAre(7, 8, 9, 4));
    EXPECT_THAT(request.authResult, ElementsAre(5, 6));
    EXPECT_EQ(request.authRc, 0);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, KEPT));
}

TEST_F(Auth, FailsWhenTheReplysSecondWordIsNotZero) {
    peer.reply(message({"Auth"}, word(0) + word(-77) + word(7) + word(8) + word(9)));
    EXPECT_EQ(flows(), -2);
    EXPECT_EQ(request.authRc, -77);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, -77, KEPT));
    EXPECT_THAT(request.authData, ElementsAre(1, 2, 3, 4));
}

TEST_F(Auth, SucceedsWhenTheReplysFirstWordIsNotZeroWhateverTheSecond) {
    peer.reply(message({"Auth"}, word(1) + word(-77) + word(7) + word(8) + word(9)));
    answers();
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(request.authStep, 1U);
    EXPECT_EQ(request.authRc, -77);
    EXPECT_THAT(request.authResult, ElementsAre(7, 8));
    EXPECT_THAT(request.authData, ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, KEPT));
}

TEST_F(Auth, ReadsTheRequestWhenTheReplyHasNoBody) {
    peer.reply(message({"Auth"}, ""));
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(request.authStep, 0x47617465U);
    EXPECT_EQ(request.authRc, 0x00700000);
    EXPECT_THAT(request.authResult, ElementsAre(1, 0));  // request type and first status word
}

TEST_F(Auth, GivesTheGatewaysReturnCodeAndLooksNoFurther) {
    peer.reply(message({"Auth", 1, 0, 99}, word(0) + word(0) + word(7) + word(8) + word(9)));
    EXPECT_EQ(flows(), 99);
    EXPECT_THAT(request.authData, ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(why(), ElementsAre(KEPT, 99, KEPT, KEPT));
}

class AuthShortReply : public Auth, public testing::WithParamInterface<std::size_t> {};

TEST_P(AuthShortReply, ReadsAsZeroWhatItDoesNotCarry) {
    const Bytes body = word(0) + word(0) + word(0x07070707) + word(0x08080808) + word(0x09090909);
    const Bytes carried = body.substr(0, GetParam());
    peer.reply(message({"Auth"}, carried));
    EXPECT_EQ(flows(), 0);
    const Bytes seen = carried + Bytes(20 - carried.size(), '\0');
    EXPECT_EQ(word(request.authData[0]) + word(request.authData[1]) + word(request.authData[2]),
              seen.substr(8));
}

INSTANTIATE_TEST_SUITE_P(FromOneByteOn, AuthShortReply, testing::Range(std::size_t{1}, std::size_t{21}));

TEST_F(Auth, GivesMinus111WhenTheRequestCannotBeAllocated) {
    request.header.bodyLength = 0x80000000;  // a message of a negative size
    const TraceCapture trace(4);
    EXPECT_EQ(flows(), -111);
    EXPECT_THAT(peer.received(), IsEmpty());
    EXPECT_THAT(
        trace.lines(),
        Contains(line(3211, "*EXC*", "stapi_zol_socketcomms.flowAuthRequestFailed to allocate %d bytes.",
                      INT_MIN + 33)));
    EXPECT_THAT(points(trace), ElementsAre(3209, 3210, 3211, 3214));
}

TEST_F(Auth, TracesAStep) {
    peer.reply(message({"Auth"}, word(0) + word(0)));
    const TraceCapture trace(4);
    flows();
    const int fd = peer.descriptor();
    const void* record = &request;
    const void* reason = &reasons;
    const void* sent = address(trace, 3248, "data=");
    const void* body = address(trace, 3235, "rc=");
    EXPECT_THAT(
        trace.lines(),
        testing::IsSupersetOf(
            {line(3209, "ENTRY",
                  "stapi_zol_socketcomms.flowAuthRequest(socketDesc=%d, *request=%p, *reasons=%p)", fd,
                  record, reason),
             line(3210, "DEBUG", "stapi_zol_socketcomms.flowAuthRequest Called malloc for %d bytes. rc=%p",
                  37, sent),
             line(3213, "DEBUG", "stapi_zol_socketcomms.flowAuthRequest Free request data %p", body),
             line(3214, "EXIT",
                  "stapi_zol_socketcomms.flowAuthRequest(socketDesc=%d, *request=%p, *reasons=%p) rc=%d", fd,
                  record, reason, 0)}));
    EXPECT_EQ(points(trace).front(), 3209);
    EXPECT_EQ(position(trace, 3238) + 1, position(trace, 3213));
    EXPECT_EQ(points(trace).back(), 3214);
}

TEST_F(Auth, TracesARefusal) {
    peer.reply(message({"Auth"}, word(0) + word(-77)));
    const TraceCapture trace(3);
    flows();
    const void* record = &request;
    const void* reason = &reasons;
    EXPECT_THAT(trace.lines(),
                Contains(line(3212, "*EXC*",
                              "stapi_zol_socketcomms.flowAuthRequestAuth_Init request failed rc=%d", -77)));
    EXPECT_EQ(trace.lines().back(),
              line(3214, "EXIT",
                   "stapi_zol_socketcomms.flowAuthRequest(socketDesc=%d, *request=%p, *reasons=%p) rc=%d",
                   peer.descriptor(), record, reason, -2));
}

// ---- Admin calls

class Admin : public Request {
  protected:
    ~Admin() override { std::free(request.callData); }

    int flows() { return flowAdminRequest(peer.descriptor(), &request, &reasons); }

    void initialises() { request.header.bodyLength = 4; }
    void calls(std::int32_t callType, std::uint32_t callLength) {
        request.callType = callType;
        request.callLength = callLength;
        request.header.bodyLength = callLength + 12;
    }
    // The record's strings as items take 2 + 2 + 2 + 3, + 3 for an attribute or 3 + 4 + 5 + 2 + 4 + 3 for an
    // action.
    void getsAttribute() { calls(1, 12); }
    void invokes() { calls(5, 30); }

    [[nodiscard]] Bytes payload() const {
        return {reinterpret_cast<const char*>(request.callData), request.header.bodyLength};
    }

    static Bytes called(std::string_view payload) {
        return word(1) + word(0) + Bytes(1, '\0') + Bytes(payload);
    }

    AdminRequest request = [] {
        AdminRequest record{};
        record.header = {0x47617465, 0x00700000, 1, 0, 0, 5, "Admin", 0, 4};
        record.adminId = 0xA1A2A3A4;
        record.country = record.language = record.blankString = "";
        record.mbeanName = "m";
        record.attributeName = "t";
        record.actionName = "a";
        record.argument = "";
        record.signature = "s";
        return record;
    }();
};

const Bytes COMMON_ITEMS = hex("0000 0000 0000 0001 6D");

TEST_F(Admin, SendsTheCallTypeAloneToInitialise) {
    peer.reply(message({"Admin"}, word(0) + word(0) + word(7)));
    initialises();
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(peer.received(), message({"Admin"}, word(0)));
}

TEST_F(Admin, SendsTheAttributeBehindTheCommonItems) {
    peer.reply(message({"Admin"}, called("")));
    getsAttribute();
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(peer.received(),
              message({"Admin"}, word(1) + hex("A1A2A3A4") + word(12) + COMMON_ITEMS + hex("0001 74")));
}

TEST_F(Admin, SendsActionArgumentAndSignatureBehindTheCommonItems) {
    peer.reply(message({"Admin"}, called("")));
    invokes();
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(peer.received(),
              message({"Admin"}, word(5) + hex("A1A2A3A4") + word(30) + COMMON_ITEMS +
                                     hex("0001 61  00000001  ACED000574 0000  00000001  0001 73")));
}

TEST_F(Admin, SendsTheItemsInTheOrderCountryLanguageBlankMbean) {
    peer.reply(message({"Admin"}, called("")));
    request.country = "CC";
    request.language = "L";
    request.blankString = "bbb";
    calls(1, 18);
    flows();
    EXPECT_EQ(peer.received().substr(34 + 12), hex("0002 4343 0001 4C 0003 626262 0001 6D 0001 74"));
}

TEST_F(Admin, SendsOnlyTheCommonPartForAnyOtherPositiveCallType) {
    peer.reply(message({"Admin"}, called("")));
    calls(3, 9);
    flows();
    EXPECT_EQ(peer.received(), message({"Admin"}, word(3) + hex("A1A2A3A4") + word(9) + COMMON_ITEMS));
}

TEST_F(Admin, SendsTheCallTypeAloneForANegativeOne) {
    peer.reply(message({"Admin"}, called("")));
    request.callType = -1;
    flows();
    EXPECT_EQ(peer.received(), message({"Admin"}, word(-1)));
}

TEST_F(Admin, TakesTheAdminIdFromAnInitialisingReply) {
    peer.reply(message({"Admin"}, word(0) + word(0) + hex("DEADBEEF")));
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(request.adminId, 0xDEADBEEF);
    EXPECT_EQ(request.authRc, 0);
    EXPECT_EQ(request.callType, 0);
    EXPECT_EQ(request.callData, nullptr);
    EXPECT_EQ(request.header.bodyLength, 12U);
}

TEST_F(Admin, TakesAnInitialisingReplyToAnyOtherCallForOne) {
    peer.reply(message({"Admin"}, word(0) + word(0) + hex("DEADBEEF") + "more"));
    invokes();
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(request.adminId, 0xDEADBEEF);
    EXPECT_EQ(request.callData, nullptr);
}

TEST_F(Admin, HandsOutThePayloadBehindTheFlagAndItsLength) {
    peer.reply(message({"Admin"}, called("payload")));
    invokes();
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(request.header.bodyLength, 7U);
    EXPECT_EQ(payload(), "payload");
    EXPECT_EQ(request.callType, 1);
    EXPECT_EQ(request.exceptionFlag, 0);
    EXPECT_EQ(request.adminId, 0xA1A2A3A4);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, KEPT));
}

TEST_F(Admin, HandsOutAnEmptyPayloadForABodyOfNineBytes) {
    peer.reply(message({"Admin"}, called("")));
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(request.header.bodyLength, 0U);
    EXPECT_NE(request.callData, nullptr);
}

TEST_F(Admin, FailsForABodyOfEightBytes) {
    peer.reply(message({"Admin"}, word(1) + word(0)));
    EXPECT_EQ(flows(), -111);
    EXPECT_EQ(request.callData, nullptr);
    EXPECT_EQ(request.header.bodyLength, 8U);
}

class AdminShortReply : public Admin, public testing::WithParamInterface<std::size_t> {};

TEST_P(AdminShortReply, ReadsAsZeroWhatItDoesNotCarry) {
    const Bytes carried = (word(0) + word(0) + hex("DEADBEEF")).substr(0, GetParam());
    peer.reply(message({"Admin"}, carried));
    EXPECT_EQ(flows(), 0);
    EXPECT_EQ(word(request.adminId), (carried + Bytes(12, '\0')).substr(8, 4));
}

INSTANTIATE_TEST_SUITE_P(FromOneByteOn, AdminShortReply, testing::Range(std::size_t{1}, std::size_t{13}));

TEST_F(Admin, FailsWithTheAuthorisationCodeBeforeAnythingElse) {
    peer.reply(message({"Admin"}, word(0) + word(66) + hex("DEADBEEF")));
    EXPECT_EQ(flows(), -3);
    EXPECT_EQ(request.authRc, 66);
    EXPECT_EQ(request.adminId, 0xA1A2A3A4);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, 66));
}

TEST_F(Admin, FailsForTheExceptionFlagAndGivesNoReason) {
    peer.reply(message({"Admin"}, word(1) + word(0) + "\x80" + "payload"));
    invokes();
    EXPECT_EQ(flows(), -3);
    EXPECT_EQ(request.exceptionFlag, 0x80);
    EXPECT_EQ(request.callData, nullptr);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, KEPT));
}

TEST_F(Admin, FailsWithTheVersionAsItsCodeWhenTheReplyHasNoBody) {
    peer.reply(message({"Admin"}, ""));
    EXPECT_EQ(flows(), -3);
    EXPECT_EQ(request.callType, 0x47617465);
    EXPECT_THAT(why(), ElementsAre(KEPT, KEPT, KEPT, 7340032));
}

TEST_F(Admin, GivesTheGatewaysReturnCodeAndLooksNoFurther) {
    peer.reply(message({"Admin", 1, 0, -4}, called("payload")));
    EXPECT_EQ(flows(), -4);
    EXPECT_EQ(request.callData, nullptr);
    EXPECT_THAT(why(), ElementsAre(KEPT, -4, KEPT, KEPT));
}

class AdminBodyLength : public Admin, public testing::WithParamInterface<std::int32_t> {};

// A request of version 0 that is still in the buffer looks like an answer without a code or an exception.
TEST_P(AdminBodyLength, OfZeroOrLessNeverMakesAPayload) {
    const Bytes header = message({"Admin"}, "");
    peer.reply(header.substr(0, header.size() - 4) + word(GetParam()));
    request.header.version = 0;
    invokes();
    EXPECT_EQ(flows(), -111);
    EXPECT_EQ(request.callData, nullptr);
}

INSTANTIATE_TEST_SUITE_P(FromZeroToTheSmallest, AdminBodyLength,
                         testing::Values(0, -1, INT32_MIN + 9, INT32_MIN + 8, INT32_MIN));

TEST_F(Admin, TracesACall) {
    peer.reply(message({"Admin"}, called("payload")));
    invokes();
    const TraceCapture trace(4);
    flows();
    const int fd = peer.descriptor();
    const void* record = &request;
    const void* reason = &reasons;
    const void* sent = address(trace, 3248, "data=");
    const void* body = address(trace, 3235, "rc=");
    const void* kept = request.callData;
    EXPECT_THAT(
        trace.lines(),
        testing::IsSupersetOf(
            {line(3200, "ENTRY",
                  "stapi_zol_socketcomms.flowAdminRequest(socketDesc=%d, *request=%p, *reasons=%p)", fd,
                  record, reason),
             line(3201, "DEBUG", "stapi_zol_socketcomms.flowAdminRequest Called malloc for %d bytes. rc=%p",
                  76, sent),
             line(3203, "DEBUG", "stapi_zol_socketcomms.flowAdminRequest Called malloc for %d bytes. rc=%p",
                  7, kept),
             line(3207, "DEBUG", "stapi_zol_socketcomms.flowAdminRequest Free request data %p", body),
             line(3208, "EXIT",
                  "stapi_zol_socketcomms.flowAdminRequest(socketDesc=%d, *request=%p, *reasons=%p) rc=%d", fd,
                  record, reason, 0)}));
    EXPECT_THAT(points(trace),
                ElementsAre(3200, 3201, 3248, 3249, 3225, 3226, 3230, 3239, 3240, 3243, 3245, 3246, 3247,
                            3232, 3233, 3234, 3235, 3239, 3240, 3243, 3245, 3250, 3238, 3203, 3207, 3208));
}

TEST_F(Admin, TracesARefusal) {
    peer.reply(message({"Admin"}, word(0) + word(66)));
    const TraceCapture trace(1);
    flows();
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(
                    3206, "*EXC*",
                    "stapi_zol_socketcomms.flowAdminRequest Auth Request returned an error AuthRc=%d", 66)));
}

TEST_F(Admin, TracesAnException) {
    peer.reply(message({"Admin"}, word(1) + word(0) + "\x01"));
    const TraceCapture trace(1);
    flows();
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(
                    3205, "*EXC*",
                    "stapi_zol_socketcomms.flowAdminRequest Exception occured during request execution")));
}

TEST_F(Admin, TracesAPayloadOfNegativeSizeWithTheLengthOfTheBody) {
    peer.reply(message({"Admin"}, word(1) + word(0)));
    const TraceCapture trace(4);
    flows();
    const void* none = nullptr;
    EXPECT_THAT(
        trace.lines(),
        Contains(line(3203, "DEBUG",
                      "stapi_zol_socketcomms.flowAdminRequest Called malloc for %d bytes. rc=%p", -1, none)));
    EXPECT_THAT(trace.lines(),
                Contains(line(3204, "*EXC*",
                              "stapi_zol_socketcomms.flowAdminRequestFailed to allocate %d bytes.", 8)));
}

TEST_F(Admin, GivesMinus111WhenTheRequestCannotBeAllocated) {
    request.header.bodyLength = 0x80000000;  // a message of a negative size
    const TraceCapture trace(4);
    EXPECT_EQ(flows(), -111);
    EXPECT_THAT(peer.received(), IsEmpty());
    EXPECT_THAT(
        trace.lines(),
        Contains(line(3202, "*EXC*", "stapi_zol_socketcomms.flowAdminRequestFailed to allocate %d bytes.",
                      INT_MIN + 34)));
    EXPECT_THAT(points(trace), ElementsAre(3200, 3201, 3202, 3208));
}

}  // namespace
