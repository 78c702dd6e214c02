// The exchange of a request for its reply: what is sent and waited for, what is made of any reply, and how it
// is traced. Headers and reading are tested in socketcomms_test.cpp, the requests in
// socketcomms_requests_test.cpp. The wire format is written down in docs/protocol.md.
#include <gmock/gmock.h>

#include <cerrno>
#include <climits>
#include <csignal>

#include "stapi_zol_socketcomms.h"
#include "support/bytes.h"
#include "support/interruptions.h"
#include "support/message_buffer.h"
#include "support/peer.h"
#include "support/system_calls.h"
#include "support/trace_capture.h"
#include "support/trace_reading.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

std::vector<int> words(const FlowReasons& reasons) {
    return {reasons.errnoValue, reasons.gwyRc, reasons.authRc, reasons.adminRc};
}

class Flow : public testing::Test {
  protected:
    int flows(const Bytes& bytes) { return flows(bytes, "Admin"); }
    int flows(const Bytes& bytes, const char* name) {
        buffer.hold(bytes);
        return flow(peer.descriptor(), static_cast<int>(bytes.size()), &buffer.data, name, &header, &reasons);
    }

    // What the reasons hold when an exchange has not touched them.
    static constexpr int KEPT = -9999;

    Peer peer;
    MessageBuffer buffer;
    RequestHeader header{};
    FlowReasons reasons{KEPT, KEPT, KEPT, KEPT};
};

TEST_F(Flow, SendsTheRequestByteForByte) {
    peer.reply(message({"Admin"}, "answer"));
    flows("the request");
    EXPECT_EQ(peer.received(), "the request");
}

TEST_F(Flow, ReplacesTheRequestByTheBodyOfTheReply) {
    peer.reply(message({"Admin"}, "answer"));
    EXPECT_EQ(flows("request"), 0);
    EXPECT_EQ(buffer.bytes(6), "answer");
}

TEST_F(Flow, FillsTheHeaderFromTheReply) {
    peer.reply(message({"Admin", 77, 33, 0, 0x00710000, 5}, "answer"));
    flows("request");
    EXPECT_EQ(header.requestType, 77U);
    EXPECT_EQ(header.auxWord, 33);
    EXPECT_EQ(header.version, 0x00710000U);
    EXPECT_EQ(header.headerFlag, 5);
    EXPECT_EQ(header.bodyLength, 6U);
}

TEST_F(Flow, LeavesTheReasonsAloneWhenItSucceeds) {
    peer.reply(message({"Admin"}, "answer"));
    flows("request");
    EXPECT_THAT(words(reasons), ElementsAre(KEPT, KEPT, KEPT, KEPT));
}

TEST_F(Flow, ReadsNothingPastTheReply) {
    peer.reply(message({"Admin"}, "answer") + message({"Admin"}, "second"));
    flows("request");
    EXPECT_EQ(flows("request"), 0);
    EXPECT_EQ(buffer.bytes(6), "second");
}

class FlowWithoutBody : public Flow, public testing::WithParamInterface<std::int32_t> {
  protected:
    // A header that announces so many bytes.
    static Bytes reply(std::int32_t bodyLength) {
        const Bytes header = message({"Admin"}, "");
        return header.substr(0, header.size() - 4) + word(bodyLength);
    }
};

TEST_P(FlowWithoutBody, LeavesTheRequestInTheBuffer) {
    peer.reply(reply(GetParam()));
    buffer.hold("request");
    const unsigned char* request = buffer.data;
    EXPECT_EQ(flow(peer.descriptor(), 7, &buffer.data, "Admin", &header, &reasons), 0);
    EXPECT_EQ(buffer.data, request);
    EXPECT_EQ(buffer.bytes(7), "request");
}

INSTANTIATE_TEST_SUITE_P(ZeroOrNegative, FlowWithoutBody, testing::Values(0, -1, INT32_MIN));

TEST_F(Flow, ReadsABodyOfOneByte) {
    peer.reply(message({"Admin"}, "!"));
    EXPECT_EQ(flows("request"), 0);
    EXPECT_EQ(buffer.bytes(1), "!");
}

TEST_F(Flow, GivesMinusOneWhenThereIsNothingToSend) {
    buffer.hold("x");
    EXPECT_EQ(flow(peer.descriptor(), 0, &buffer.data, "Admin", &header, &reasons), -1);
    EXPECT_EQ(flow(peer.descriptor(), -1, &buffer.data, "Admin", &header, &reasons), -1);
    EXPECT_EQ(flow(peer.descriptor(), 1, nullptr, "Admin", &header, &reasons), -1);
    EXPECT_THAT(peer.received(), IsEmpty());
    EXPECT_THAT(words(reasons), ElementsAre(KEPT, KEPT, KEPT, KEPT));
}

TEST_F(Flow, SendsARequestOfOneByte) {
    peer.reply(message({"Admin"}, ""));
    EXPECT_EQ(flows("x"), 0);
    EXPECT_EQ(peer.received(), "x");
}

TEST_F(Flow, GivesMinusOneAndErrnoWhenThePeerHasGone) {
    peer.hangUp();
    EXPECT_EQ(flows("request"), -1);
    EXPECT_THAT(words(reasons), ElementsAre(EPIPE, KEPT, KEPT, KEPT));
    EXPECT_EQ(buffer.bytes(7), "request");
}

TEST_F(Flow, GivesMinusOneAndErrnoForADescriptorThatIsNotOpen) {
    buffer.hold("request");
    EXPECT_EQ(flow(-1, 7, &buffer.data, "Admin", &header, &reasons), -1);
    EXPECT_THAT(words(reasons), ElementsAre(EBADF, KEPT, KEPT, KEPT));
}

volatile std::sig_atomic_t brokenPipes = 0;

TEST_F(Flow, RaisesNoSignalAndKeepsTheDispositionOfTheApplication) {
    struct sigaction counting {};
    counting.sa_handler = [](int) { brokenPipes = brokenPipes + 1; };
    struct sigaction before {};
    sigaction(SIGPIPE, &counting, &before);
    peer.hangUp();
    flows("request");
    struct sigaction after {};
    sigaction(SIGPIPE, &before, &after);
    EXPECT_EQ(brokenPipes, 0);
    EXPECT_EQ(after.sa_handler, counting.sa_handler);
}

TEST_F(Flow, DoesNotContinueAShortSend) {
    const Bytes request(std::size_t{8} << 20, 'r');
    ASSERT_EQ(::fcntl(peer.descriptor(), F_SETFL, O_NONBLOCK), 0);
    peer.reply(message({"Admin"}, "answer"));
    EXPECT_EQ(flows(request), 0);
    EXPECT_EQ(buffer.bytes(6), "answer");
    const std::size_t sent = peer.received().size();
    EXPECT_GT(sent, 0U);
    EXPECT_LT(sent, request.size());
}

TEST_F(Flow, WaitsThroughInterruptionsForTheReply) {
    static const Bytes reply = message({"Admin"}, "answer");
    const Interruptions later(peer, [](const Peer& to) { to.reply(reply); });
    EXPECT_EQ(flows("request"), 0);
    EXPECT_EQ(buffer.bytes(6), "answer");
}

TEST_F(Flow, RepeatsASendThatWasInterruptedBeforeItsFirstByte) {
    static const Bytes reply = message({"Admin"}, "answer");
    while (::send(peer.descriptor(), "filling", 7, MSG_DONTWAIT) > 0) {
    }
    const Interruptions later(peer, [](const Peer& to) {
        to.discard();
        to.reply(reply);
    });
    EXPECT_EQ(flows("request"), 0);
    EXPECT_EQ(peer.received(), "request");
}

TEST_F(Flow, GivesMinusOneWithoutAReasonOrALineWhenWaitingFails) {
    SystemCalls calls;
    calls.poll = [](pollfd*, nfds_t, int) { return failed(ENOMEM); };
    peer.reply(message({"Admin"}, "answer"));
    const TraceCapture trace(1);
    EXPECT_EQ(flows("request"), -1);
    EXPECT_THAT(words(reasons), ElementsAre(KEPT, KEPT, KEPT, KEPT));
    EXPECT_THAT(trace.lines(), IsEmpty());
}

TEST_F(Flow, GivesMinusOneWhenTheDescriptorIsClosedBeforeTheWait) {
    SystemCalls calls;
    calls.poll = [](pollfd* wait, nfds_t, int) {
        wait->revents = POLLNVAL;
        return 1;
    };
    peer.reply(message({"Admin"}, "answer"));
    EXPECT_EQ(flows("request"), -1);
}

TEST_F(Flow, WaitsWithoutLimitForTheOneDescriptorToBeReadable) {
    std::vector<int> waits;
    SystemCalls calls;
    calls.poll = [&waits](pollfd* wait, nfds_t count, int timeoutMs) -> std::optional<int> {
        waits = {wait->fd, wait->events, static_cast<int>(count), timeoutMs};
        return std::nullopt;
    };
    peer.reply(message({"Admin"}, "answer"));
    flows("request");
    EXPECT_THAT(waits, ElementsAre(peer.descriptor(), POLLIN, 1, -1));
}

TEST_F(Flow, GivesMinusOneAndErrnoWhenNothingIsSent) {
    SystemCalls calls;
    calls.send = [](int, const void*, size_t, int) {
        errno = ENOBUFS;
        return 0;
    };
    const TraceCapture trace(1);
    EXPECT_EQ(flows("request"), -1);
    EXPECT_THAT(words(reasons), ElementsAre(ENOBUFS, KEPT, KEPT, KEPT));
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(3228, "*EXC*", "stapi_zol_socketcomms.flow Unable to write data to socket rc=%d", 0),
                    line(3229, "*EXC*", "stapi_zol_socketcomms.flow Unable to send data to Gateway: errno=%d",
                         ENOBUFS)));
}

TEST_F(Flow, GivesMinus122AndMinusOneWhenThePeerClosesBeforeAnyByte) {
    peer.endReplies();
    EXPECT_EQ(flows("request"), -122);
    EXPECT_THAT(words(reasons), ElementsAre(-1, KEPT, KEPT, KEPT));
    EXPECT_EQ(buffer.bytes(7), "request");
}

TEST_F(Flow, GivesMinus122AndMinusOneWhenThePeerClosesBeforeTheBody) {
    peer.reply(message({"Admin"}, "answer").substr(0, 34));
    peer.endReplies();
    EXPECT_EQ(flows("request"), -122);
    EXPECT_THAT(words(reasons), ElementsAre(-1, KEPT, KEPT, KEPT));
}

class FlowCutOff : public Flow, public testing::WithParamInterface<std::size_t> {};

TEST_P(FlowCutOff, IsAlwaysAConnectionReset) {
    peer.reply(message({"Admin"}, "answer").substr(0, GetParam()));
    peer.endReplies();
    errno = 0;
    EXPECT_EQ(flows("request"), -122);
    EXPECT_THAT(words(reasons), ElementsAre(ECONNRESET, KEPT, KEPT, KEPT));
}

TEST_P(FlowCutOff, IsAConnectionResetAfterInterruptionsToo) {
    peer.reply(message({"Admin"}, "answer").substr(0, GetParam()));
    const Interruptions later(peer, [](const Peer& to) { to.endReplies(); });
    EXPECT_EQ(flows("request"), -122);
    EXPECT_EQ(reasons.errnoValue, ECONNRESET);
}

INSTANTIATE_TEST_SUITE_P(InHeaderAndBody, FlowCutOff, testing::Values(1, 4, 33, 35, 39));

TEST_F(Flow, RefusesAReplyWithoutTheEyecatcher) {
    Bytes reply = message({"Admin"}, "answer");
    reply[3] = 'f';
    peer.reply(reply);
    EXPECT_EQ(flows("request"), -122);
    EXPECT_THAT(words(reasons), ElementsAre(KEPT, KEPT, KEPT, KEPT));
    EXPECT_EQ(buffer.bytes(7), "request");
}

TEST_F(Flow, ComparesNeitherVersionNorTypeNorNameOfTheReply) {
    peer.reply(message({"other", 99, 0, 0, 1}, "answer"));
    EXPECT_EQ(flows("request"), 0);
    EXPECT_EQ(buffer.bytes(6), "answer");
}

TEST_F(Flow, MisframesAReplyWithAShorterName) {
    // The 34 bytes of a header named "Admin" take the first byte of this body, so that one more is missed at
    // its end.
    peer.reply(message({"BASE"}, "xyz") + "!");
    EXPECT_EQ(flows("request"), 0);
    EXPECT_EQ(header.nameLength, 4U);
    EXPECT_EQ(buffer.bytes(3), "yz!");
}

class FlowLongerName : public Flow, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(FlowLongerName, IsABadReply) {
    Bytes reply = message({"Admin"}, "answer");
    reply.replace(20, 4, word(GetParam()));
    peer.reply(reply);
    peer.endReplies();
    EXPECT_EQ(flows("request"), -122);
    EXPECT_THAT(words(reasons), ElementsAre(KEPT, KEPT, KEPT, KEPT));
    EXPECT_EQ(buffer.bytes(7), "request");
}

INSTANTIATE_TEST_SUITE_P(FromOneMoreToTheLargest, FlowLongerName,
                         testing::Values(6U, 9U, 0x7FFFFFFFU, 0x80000000U, 0xFFFFFFFFU));

class FlowGatewayRc : public Flow, public testing::WithParamInterface<std::int32_t> {};

TEST_P(FlowGatewayRc, IsTheResultAndTheReason) {
    peer.reply(message({"Admin", 1, 0, GetParam()}, "answer"));
    EXPECT_EQ(flows("request"), GetParam());
    EXPECT_THAT(words(reasons), ElementsAre(KEPT, GetParam(), KEPT, KEPT));
    EXPECT_EQ(buffer.bytes(6), "answer");
}

TEST_P(FlowGatewayRc, IsTheResultOfAReplyWithoutABodyToo) {
    peer.reply(message({"Admin", 1, 0, GetParam()}, ""));
    EXPECT_EQ(flows("request"), GetParam());
    EXPECT_THAT(words(reasons), ElementsAre(KEPT, GetParam(), KEPT, KEPT));
}

INSTANTIATE_TEST_SUITE_P(PositiveOrNegative, FlowGatewayRc,
                         testing::Values(1, -1, -4, 61444, INT_MAX, INT_MIN));

TEST_F(Flow, TakesTheFirstStatusWordForNoReturnCode) {
    peer.reply(message({"Admin", 1, -5, 0}, "answer"));
    EXPECT_EQ(flows("request"), 0);
}

// ---- Trace of the exchange

TEST_F(Flow, TracesAWholeExchangeInOrder) {
    peer.reply(message({"Admin"}, "answer"));
    const TraceCapture trace(4);
    flows("request");
    EXPECT_THAT(points(trace), ElementsAre(3225, 3226, 3230, 3239, 3240, 3243, 3245, 3246, 3247, 3232, 3233,
                                           3234, 3235, 3239, 3240, 3243, 3245, 3250, 3238));
}

TEST_F(Flow, TracesItsArguments) {
    peer.reply(message({"Admin"}, "answer"));
    const TraceCapture trace(3);
    flows("request");
    const int fd = peer.descriptor();
    const void* to = &header;
    const void* why = &reasons;
    const void* where = &buffer.data;
    const void* body = buffer.data;
    EXPECT_THAT(
        trace.lines(),
        Contains(
            line(3225, "ENTRY",
                 "stapi_zol_socketcomms.flow(socketDesc=%d, datalen=%d, &data=%p, requestName=%s, header=%p, "
                 "reasons=%p)",
                 fd, 7, where, "Admin", to, why)));
    EXPECT_THAT(
        trace.lines(),
        Contains(
            line(3238, "EXIT",
                 "stapi_zol_socketcomms.flow(socketDesc=%d, datalen=%d, data=%p, requestName=%s, header=%p, "
                 "reasons=%p) rc=%d",
                 fd, 7, body, "Admin", to, why, 0)));
}

TEST_F(Flow, DumpsTheRequest) {
    peer.reply(message({"Admin"}, "answer"));
    buffer.hold("request");
    const void* request = buffer.data;
    const TraceCapture trace(4);
    flow(peer.descriptor(), 7, &buffer.data, "Admin", &header, &reasons);
    EXPECT_THAT(trace.lines(),
                Contains(line(3226, "DATA", "stapi_zol_socketcomms.flow data=%p len=%d stopword=%8.8X",
                              request, 7, 0)));
    EXPECT_EQ(dumped(trace.lines(3226).front()), "request");
}

TEST_F(Flow, TracesWhatItAllocatesAndFrees) {
    peer.reply(message({"Admin"}, "answer"));
    buffer.hold("request");
    const void* request = buffer.data;
    const void* where = &buffer.data;
    const TraceCapture trace(4);
    flow(peer.descriptor(), 7, &buffer.data, "Admin", &header, &reasons);
    const void* replyHeader = address(trace, 3239, "dataBuf=");
    const void* body = buffer.data;
    const char* allocated = "stapi_zol_socketcomms.flow Called malloc for %d bytes. rc=%p";
    EXPECT_THAT(trace.lines(), Contains(line(3230, "DEBUG", allocated, 34, replyHeader)));
    EXPECT_THAT(trace.lines(),
                Contains(line(3232, "DEBUG", "stapi_zol_socketcomms.flow Free header data %p", replyHeader)));
    EXPECT_THAT(trace.lines(),
                Contains(line(3233, "DEBUG", "stapi_zol_socketcomms.flow Free call data %p", request)));
    EXPECT_THAT(trace.lines(),
                Contains(line(3234, "DEBUG", "stapi_zol_socketcomms.flow (re-)malloc call &data %p", where)));
    EXPECT_THAT(trace.lines(), Contains(line(3235, "DEBUG", allocated, 6, body)));
}

TEST_F(Flow, TracesAReplyWithoutABody) {
    peer.reply(message({"Admin"}, ""));
    const TraceCapture trace(4);
    flows("request");
    const void* request = buffer.data;
    EXPECT_THAT(
        trace.lines(),
        Contains(line(3237, "DEBUG",
                      "stapi_zol_socketcomms.flow Managed to read in whole response in one go. data=0x%p",
                      request)));
    EXPECT_THAT(points(trace),
                ElementsAre(3225, 3226, 3230, 3239, 3240, 3243, 3245, 3246, 3247, 3232, 3237, 3250, 3238));
}

TEST_F(Flow, TracesThatThereIsNothingToSendAndNoExit) {
    const TraceCapture trace(4);
    flow(peer.descriptor(), 0, &buffer.data, "Admin", &header, &reasons);
    EXPECT_THAT(points(trace), ElementsAre(3225, 3227));
    EXPECT_THAT(trace.lines(), Contains(line(3227, "*EXC*", "stapi_zol_socketcomms.flow No data to flow!!")));
}

TEST_F(Flow, TracesAFailedSend) {
    peer.hangUp();
    const TraceCapture trace(4);
    flows("request");
    EXPECT_THAT(
        trace.lines(),
        Contains(line(3228, "*EXC*", "stapi_zol_socketcomms.flow Unable to write data to socket rc=%d", -1)));
    EXPECT_THAT(trace.lines(),
                Contains(line(3229, "*EXC*",
                              "stapi_zol_socketcomms.flow Unable to send data to Gateway: errno=%d", EPIPE)));
    EXPECT_THAT(points(trace), ElementsAre(3225, 3226, 3228, 3229, 3238));
}

TEST_F(Flow, TracesAWrongEyecatcher) {
    Bytes reply = message({"Admin"}, "answer");
    reply.replace(0, 4, hex("DEADBEEF"));
    peer.reply(reply);
    const TraceCapture trace(1);
    flows("request");
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(3251, "*EXC*",
                                 "stapi_zol_socketcomms.flow Bad eyecatcher! Expected=0x%x, actual=0x%x",
                                 0x47617465U, 0xDEADBEEFU)));
}

TEST_F(Flow, TracesANameThatIsTooLong) {
    peer.reply(message({"Admins"}, "answer"));
    const TraceCapture trace(1);
    flows("request");
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(3251, "*EXC*", "stapi_zol_socketcomms.flow Bad name length! Expected=%d, actual=%d", 5, 6)));
}

TEST_F(Flow, TracesAnEventOnlyForASuccess) {
    const TraceCapture trace(2);
    peer.reply(message({"Admin"}, "answer"));
    flows("request");
    const TraceLine event =
        line(3250, "EVENT",
             "stapi_zol_socketcomms.flow Successfully sent and received data with Gateway on socket %d",
             peer.descriptor());
    EXPECT_THAT(trace.lines(), ElementsAre(event));
    peer.reply(message({"Admin", 1, 0, -4}, "answer"));
    flows("request");
    EXPECT_THAT(trace.lines(), ElementsAre(event));
}

TEST_F(Flow, CutsTheNameInTheTraceAt24Characters) {
    const char* name = "abcdefghijklmnopqrstuvwxyz";
    const TraceCapture trace(3);
    flow(peer.descriptor(), 0, &buffer.data, name, &header, &reasons);
    EXPECT_THAT(trace.lines(3225).front().message,
                testing::HasSubstr("requestName=abcdefghijklmnopqrstuvwx, header="));
}

using Levels = std::set<std::string>;

class FlowLevels : public Flow, public testing::WithParamInterface<std::pair<int, Levels>> {};

TEST_P(FlowLevels, LetThroughWhatReachesTheirThreshold) {
    const auto succeedAndFail = [this] {
        peer.reply(message({"Admin"}, "answer") + message({"Admins"}, ""));
        flows("request");
        flows("request");
    };
    EXPECT_EQ(levelsTraced(GetParam().first, succeedAndFail), GetParam().second);
}

const Levels EXCEPTIONS{"*EXC*"};
const Levels EVENTS{"*EXC*", "EVENT"};
const Levels CALLS{"*EXC*", "EVENT", "ENTRY", "EXIT"};
const Levels ALL{"*EXC*", "EVENT", "ENTRY", "EXIT", "DEBUG", "DATA"};

INSTANTIATE_TEST_SUITE_P(FromOffToAll, FlowLevels,
                         testing::Values(std::pair(0, Levels{}), std::pair(1, EXCEPTIONS),
                                         std::pair(2, EVENTS), std::pair(3, CALLS), std::pair(4, ALL),
                                         std::pair(5, ALL)),
                         [](const auto& each) { return std::to_string(each.param.first); });

}  // namespace
