// Headers of messages, and reading from a socket.
// The exchange built on them is tested in socketcomms_exchange_test.cpp, the requests in
// socketcomms_requests_test.cpp. The wire format is written down in docs/protocol.md.
#include "stapi_zol_socketcomms.h"

#include <gmock/gmock.h>

#include <cerrno>

#include "support/bytes.h"
#include "support/interruptions.h"
#include "support/peer.h"
#include "support/trace_capture.h"
#include "support/trace_reading.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::StartsWith;

unsigned char* bytesOf(Bytes& bytes) {
    return reinterpret_cast<unsigned char*>(bytes.data());
}

// ---- Headers

constexpr RequestHeader DISTINCT{0x01020304, 0x11121314, 0x21222324, 0x31323334, 0x41424344,
                                 5,          "Admin",    0x7E,       0x51525354};

Bytes written(const RequestHeader& header) {
    Bytes bytes(header.nameLength + 29, '?');
    writeHeader(&header, bytesOf(bytes));
    return bytes;
}

RequestHeader populated(Bytes bytes) {
    RequestHeader header{};
    header.name = "kept";
    populateHeader(bytesOf(bytes), &header);
    return header;
}

TEST(WriteHeader, LaysOutEveryFieldBigEndian) {
    EXPECT_EQ(written(DISTINCT),
              hex("01020304 11121314 21222324 41424344 31323334 00000005 41646D696E 7E 51525354"));
}

TEST(WriteHeader, PutsTheReturnCodeBeforeTheAuxWord) {
    const Bytes header = written(DISTINCT);
    EXPECT_EQ(header.substr(12, 4), word(DISTINCT.returnCode));
    EXPECT_EQ(header.substr(16, 4), word(DISTINCT.auxWord));
}

TEST(WriteHeader, CopiesAsManyBytesOfTheNameAsTheRecordSays) {
    RequestHeader header = DISTINCT;
    header.nameLength = 3;
    EXPECT_EQ(written(header).substr(20), hex("00000003 41646D 7E 51525354"));
}

TEST(WriteHeader, WritesNothingPastTheBodyLength) {
    Bytes bytes(35, '?');
    writeHeader(&DISTINCT, bytesOf(bytes));
    EXPECT_EQ(bytes.back(), '?');
}

TEST(PopulateHeader, ReadsEveryField) {
    const RequestHeader header =
        populated(hex("01020304 11121314 21222324 31323334 41424344 00000005 41646D696E 7E 51525354"));
    EXPECT_EQ(header.eyecatcher, 0x01020304U);
    EXPECT_EQ(header.version, 0x11121314U);
    EXPECT_EQ(header.requestType, 0x21222324U);
    EXPECT_EQ(header.nameLength, 5U);
    EXPECT_EQ(header.headerFlag, 0x7E);
    EXPECT_EQ(header.bodyLength, 0x51525354U);
}

TEST(PopulateHeader, ReadsTheFirstStatusWordAsAuxWordAndTheSecondAsReturnCode) {
    const RequestHeader header = populated(message({"Admin", 1, 33, -44}, ""));
    EXPECT_EQ(header.auxWord, 33);
    EXPECT_EQ(header.returnCode, -44);
}

TEST(PopulateHeader, FindsFlagAndBodyLengthBehindTheReplysOwnName) {
    const RequestHeader header = populated(message({"ab", 1, 0, 0, 0, 0x5A}, "body"));
    EXPECT_EQ(header.nameLength, 2U);
    EXPECT_EQ(header.headerFlag, 0x5A);
    EXPECT_EQ(header.bodyLength, 4U);
}

TEST(PopulateHeader, LeavesTheNameOfTheRequest) {
    EXPECT_STREQ(populated(message({"Admin"}, "")).name, "kept");
}

TEST(PopulateHeader, SwapsTheStatusWordsOfAHeaderThatItWrote) {
    const RequestHeader header = populated(written(DISTINCT));
    EXPECT_EQ(header.auxWord, DISTINCT.returnCode);
    EXPECT_EQ(header.returnCode, DISTINCT.auxWord);
}

TEST(HeaderTrace, WritesEntryAndExitOfTheWriter) {
    Bytes bytes(34, '\0');
    const TraceCapture trace(3);
    writeHeader(&DISTINCT, bytesOf(bytes));
    const void* req = &DISTINCT;
    const void* data = bytes.data();
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(3248, "ENTRY", "stapi_zol_socketcomms.writeHeader(req=%p, data=%p)", req, data),
                    line(3249, "EXIT", "stapi_zol_socketcomms.writeHeader(req=%p, data=%p)", req, data)));
}

TEST(HeaderTrace, WritesEntryAndExitOfTheReader) {
    Bytes bytes = message({"Admin"}, "");
    RequestHeader header{};
    const TraceCapture trace(3);
    populateHeader(bytesOf(bytes), &header);
    const void* data = bytes.data();
    const void* req = &header;
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(3246, "ENTRY", "stapi_zol_socketcomms.populateHeader(data=%p, req=%p)", data, req),
                    line(3247, "EXIT", "stapi_zol_socketcomms.populateHeader(data=%p, req=%p)", data, req)));
}

// ---- Reading

class ReadFromSocket : public testing::Test {
  protected:
    int reads(int dataSize) { return readFromSocket(peer.descriptor(), dataSize, buffer.data()); }

    Peer peer;
    Bytes buffer = Bytes(8, '?');
};

TEST_F(ReadFromSocket, FillsExactlyTheBytesAskedFor) {
    peer.reply("abcdefgh");
    EXPECT_EQ(reads(5), 0);
    EXPECT_EQ(buffer, "abcde???");
    EXPECT_EQ(reads(3), 0);
    EXPECT_EQ(buffer, "fghde???");
}

TEST_F(ReadFromSocket, JoinsBytesThatArriveInPieces) {
    peer.reply("abc");
    const Interruptions later(peer, [](const Peer& to) { to.reply("de"); });
    EXPECT_EQ(reads(5), 0);
    EXPECT_EQ(buffer, "abcde???");
}

TEST_F(ReadFromSocket, IsRepeatedWhileSignalsInterruptTheFirstRead) {
    const Interruptions later(peer, [](const Peer& to) { to.reply("abcde"); });
    EXPECT_EQ(reads(5), 0);
    EXPECT_EQ(buffer, "abcde???");
}

TEST_F(ReadFromSocket, GivesMinusOneWhenTheStreamEndsBeforeTheFirstByte) {
    peer.endReplies();
    EXPECT_EQ(reads(5), -1);
}

TEST_F(ReadFromSocket, GivesErrnoWhenTheFirstReadFails) {
    EXPECT_EQ(readFromSocket(-1, 5, buffer.data()), EBADF);
}

TEST_F(ReadFromSocket, GivesTheErrnoOfAResetConnection) {
    ASSERT_EQ(::send(peer.descriptor(), "x", 1, 0), 1);  // closing with this unread resets
    peer.hangUp();
    EXPECT_EQ(reads(5), ECONNRESET);
}

TEST_F(ReadFromSocket, GivesErrnoWhenALaterReadFails) {
    peer.reply("abc");
    ASSERT_EQ(::fcntl(peer.descriptor(), F_SETFL, O_NONBLOCK), 0);
    EXPECT_EQ(reads(5), EAGAIN);
    EXPECT_EQ(buffer, "abc?????");
}

class ReadFromSocketCutOff : public ReadFromSocket, public testing::WithParamInterface<int> {};

TEST_P(ReadFromSocketCutOff, GivesErrnoAsItWasFound) {
    peer.reply("abc");
    peer.endReplies();
    const TraceCapture trace(4);  // its lines leave errno alone
    errno = GetParam();
    EXPECT_EQ(reads(5), GetParam());
    EXPECT_EQ(buffer, "abc?????");
}

INSTANTIATE_TEST_SUITE_P(AnyErrno, ReadFromSocketCutOff, testing::Values(0, EINTR, ECONNRESET, 12345));

TEST_F(ReadFromSocket, TracesAWholeRead) {
    peer.reply("abcde");
    const TraceCapture trace(4);
    reads(5);
    const int fd = peer.descriptor();
    const void* to = buffer.data();
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(3239, "ENTRY",
                 "stapi_zol_socketcomms.readFromSocket(socketDesc=%d, dataSize=%d, dataBuf=%p)", fd, 5, to),
            line(
                3240, "DEBUG",
                "stapi_zol_socketcomms.readFromSocket recv(socketDesc=%d, dataSize=%d, dataBuf=%p) readData=%d)",
                fd, 5, to, 5),
            line(3243, "DATA", "stapi_zol_socketcomms.readFromSocket data=%p len=%d stopword=%8.8X", to, 5,
                 0),
            line(3245, "EXIT",
                 "stapi_zol_socketcomms.readFromSocket(socketDesc=%d, dataSize=%d, dataBuf=%p) rc=%d", fd, 5,
                 to, 0)));
    EXPECT_EQ(dumped(trace.lines(3243).front()), "abcde");
}

TEST_F(ReadFromSocket, TracesEachFurtherReadWithTheTotalSoFar) {
    peer.reply("abc");
    const TraceCapture trace(4);
    const Interruptions later(peer, [](const Peer& to) { to.reply("de"); });
    reads(5);
    const void* to = buffer.data();
    EXPECT_THAT(
        trace.lines(),
        Contains(line(
            3241, "DEBUG",
            "stapi_zol_socketcomms.readFromSocket recv(socketDesc=%d, dataSize=%d, dataBuf=%p) readData=%d, "
            "totaldata=%d)",
            peer.descriptor(), 5, to, 2, 5)));
    EXPECT_THAT(points(trace), ElementsAre(3239, 3240, 3241, 3243, 3245));
    EXPECT_EQ(dumped(trace.lines(3243).front()), "abcde");
}

TEST_F(ReadFromSocket, TracesAnEndInTheMiddleAndDumpsWhatCame) {
    peer.reply("abc");
    peer.endReplies();
    const TraceCapture trace(4);
    errno = EPROTO;
    reads(5);
    EXPECT_THAT(
        trace.lines(),
        Contains(line(3242, "*EXC*",
                      "stapi_zol_socketcomms.readFromSocket read returned an error code: errno=%d", EPROTO)));
    EXPECT_THAT(points(trace), ElementsAre(3239, 3240, 3241, 3242, 3243, 3245));
    EXPECT_EQ(dumped(trace.lines(3243).front()), "abc");
}

TEST_F(ReadFromSocket, TracesAFirstReadThatFailed) {
    const TraceCapture trace(4);
    readFromSocket(-1, 5, buffer.data());
    EXPECT_THAT(
        trace.lines(),
        Contains(line(3244, "*EXC*",
                      "stapi_zol_socketcomms.readFromSocket read returned an error code: errno=%d", EBADF)));
    EXPECT_THAT(points(trace), ElementsAre(3239, 3240, 3244, 3245));
}

TEST_F(ReadFromSocket, TracesNoDataWhenNoneCame) {
    peer.endReplies();
    const TraceCapture trace(4);
    reads(5);
    EXPECT_THAT(points(trace), ElementsAre(3239, 3240, 3245));
}

TEST(SocketcommsModule, CarriesItsVersionAndCopyright) {
    EXPECT_THAT(version4stapi_zol_socketcomms, StartsWith("\nQuorvane Version "));
    EXPECT_THAT(copyright4stapi_zol_socketcomms, StartsWith("\nCopyright "));
}

}  // namespace
