// Tests of result set tokens, their owner check, and the writers of a result set buffer.
// Not here: filling one from a reply (statcomms_test.cpp), walking it (impl_test.cpp), its dump (trace/).
// The layout of a buffer is written down in source/stapi_zol_resultsetbuffer.h.
#include "stapi_zol_resultsetbuffer.h"

#include <gmock/gmock.h>
#include <pthread.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <limits>
#include <string>
#include <thread>

#include "support/bytes.h"
#include "support/trace_capture.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::Bytes;
using testing_support::integer;
using testing_support::line;
using testing_support::TERMINATOR;
using testing_support::TraceCapture;

namespace {

constexpr unsigned API_OWNED = 0x8888;
constexpr unsigned USER_OWNED = 0x9999;
const char* const API_EYECATCHER = "ZOLRSROB";
const char* const USER_EYECATCHER = "ZOLRSUSR";

constexpr int NULL_PARAMETER = -103;
constexpr int NO_SUCH_OWNER = -116;
constexpr int WRONG_PROCESS = -123;
constexpr int WRONG_THREAD = -124;
constexpr int NULL_ADDRESS = -125;
constexpr int NULL_TOKEN = -127;

// ---- Tokens

class ResultSet : public testing::Test {
  protected:
    ~ResultSet() override {
        if (token != nullptr && token != untouched()) {
            deleteResultSet(&token);
        }
    }

    int create(const char* eyecatcher = API_EYECATCHER, unsigned owner = API_OWNED) {
        return createResultSet(&token, eyecatcher, owner);
    }
    // A pointer that no call would store.
    static ResultSetToken* untouched() {
        static ResultSetToken nobody{};
        return &nobody;
    }

    ResultSetToken* token = nullptr;
    TraceCapture trace{4};
};

TEST_F(ResultSet, OfAConnectionBelongsToTheCallingProcessAndThread) {
    EXPECT_EQ(create(API_EYECATCHER, API_OWNED), 0);
    ASSERT_NE(token, nullptr);
    EXPECT_EQ(Bytes(token->eyecatcher, 8), "ZOLRSROB");
    EXPECT_EQ(token->owner, 0x8888U);
    EXPECT_EQ(token->owningPid, static_cast<unsigned>(getpid()));
    EXPECT_TRUE(pthread_equal(token->owningTid, pthread_self()));
}

TEST_F(ResultSet, OfTheUserHasNoOwningProcessOrThread) {
    EXPECT_EQ(create(USER_EYECATCHER, USER_OWNED), 0);
    ASSERT_NE(token, nullptr);
    EXPECT_EQ(Bytes(token->eyecatcher, 8), "ZOLRSUSR");
    EXPECT_EQ(token->owner, 0x9999U);
    EXPECT_EQ(token->owningPid, 0U);
    EXPECT_EQ(token->owningTid, pthread_t{});
}

TEST_F(ResultSet, StartsEmptyAndUnread) {
    create();
    EXPECT_EQ(token->reserved, 0U);
    EXPECT_EQ(token->queryString, nullptr);
    EXPECT_EQ(token->queryIndex, 0);
    EXPECT_EQ(token->queryElementPtr, nullptr);
    EXPECT_EQ(token->queryElementLen, 0);
    EXPECT_EQ(token->queryElementRC, 0);
}

TEST_F(ResultSet, DependsOnNoMemoryThatNobodyWrote) {
    create();
    EXPECT_EQ(token->head, nullptr);
    EXPECT_EQ(token->next, nullptr);
    EXPECT_EQ(token->resultSetBufferLen, 0);
    EXPECT_EQ(token->queryCount, 0);
    EXPECT_EQ(token->elementResultCount, 0);
    EXPECT_EQ(token->elementResultIndex, 0);
}

TEST_F(ResultSet, HasAZeroedAreaOf32000BytesForIdQueries) {
    create();
    EXPECT_EQ(Bytes(token->verifiedQueryString, 32000), Bytes(32000, '\0'));
}

TEST_F(ResultSet, AnEyecatcherIsCopiedByItsLengthButNeverOverTheOwner) {
    create("AB");
    EXPECT_EQ(Bytes(token->eyecatcher, 8), Bytes("AB\0\0\0\0\0\0", 8));
    deleteResultSet(&token);
    create("ZOLRSROB and more");
    EXPECT_EQ(Bytes(token->eyecatcher, 8), "ZOLRSROB");
    EXPECT_EQ(token->owner, 0x8888U);
}

TEST_F(ResultSet, ItsCreationIsTraced) {
    create();
    const auto size = static_cast<int>(sizeof(ResultSetToken));
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2127, "ENTRY",
                 "stapi_zol_resultsetbuffer.createResultSet(&newRsTokPtr=%p,eyecatcher=%s,owner=%x)", &token,
                 "ZOLRSROB", 0x8888U),
            line(2128, "DEBUG", "stapi_zol_resultsetbuffer.createResultSet Called malloc for %d bytes. rc=%p",
                 size, token),
            line(2130, "DEBUG", "stapi_zol_resultsetbuffer.createResultSet Called malloc for %d bytes. rc=%p",
                 32000, token->verifiedQueryString),
            line(2132, "EXIT",
                 "stapi_zol_resultsetbuffer.createResultSet(&newRsTokPtr=%p,eyecatcher=%s,owner=%x) rc=%d",
                 &token, "ZOLRSROB", 0x8888U, 0)));
}

TEST_F(ResultSet, CannotBeCreatedWithoutAnAddressOrAnEyecatcher) {
    token = untouched();
    EXPECT_EQ(createResultSet(nullptr, API_EYECATCHER, API_OWNED), NULL_PARAMETER);
    EXPECT_EQ(createResultSet(&token, nullptr, API_OWNED), NULL_PARAMETER);
    EXPECT_EQ(token, untouched());
}

TEST_F(ResultSet, ANullEyecatcherIsNoticedBeforeABadOwner) {
    EXPECT_EQ(create(nullptr, 0x1234), NULL_PARAMETER);
    EXPECT_THAT(trace.lines(2132),
                ElementsAre(line(
                    2132, "EXIT",
                    "stapi_zol_resultsetbuffer.createResultSet(&newRsTokPtr=%p,eyecatcher=%s,owner=%x) rc=%d",
                    &token, "NULL", 0x1234U, -103)));
}

TEST_F(ResultSet, ARefusedCreationWritesNoExceptionLine) {
    const TraceCapture exceptions(1);
    create(nullptr);
    create(API_EYECATCHER, 0x1234);
    EXPECT_THAT(exceptions.lines(), IsEmpty());
}

class BadOwner : public ResultSet, public testing::WithParamInterface<unsigned> {};

TEST_P(BadOwner, GivesMinus116AndLeavesTheCallersPointerUntouched) {
    token = untouched();
    EXPECT_EQ(create(API_EYECATCHER, GetParam()), NO_SUCH_OWNER);
    EXPECT_EQ(token, untouched());
}

INSTANTIATE_TEST_SUITE_P(Owners, BadOwner,
                         testing::Values(0x1234U, 0U, 0x8887U, 0x8889U, 0x9998U, 0x999AU, 0x18888U, ~0U));

TEST_F(ResultSet, DeletingItClearsTheCallersPointer) {
    create();
    EXPECT_EQ(deleteResultSet(&token), 0);
    EXPECT_EQ(token, nullptr);
}

// What is not freed here, or freed twice, is noticed by the sanitizers.
TEST_F(ResultSet, DeletingItFreesItsTextsButNotItsBuffer) {
    std::array<unsigned char, 16> buffer{};
    create();
    token->queryString = strdup("AB:CD");
    token->head = buffer.data();
    EXPECT_EQ(deleteResultSet(&token), 0);
    EXPECT_EQ(token, nullptr);
}

TEST_F(ResultSet, DeletingItIsTracedStepByStep) {
    create();
    const void* const area = token->verifiedQueryString;
    const void* const address = token;
    const TraceCapture deletion(4);
    deleteResultSet(&token);
    EXPECT_THAT(
        deletion.lines(),
        ElementsAre(
            line(2133, "ENTRY", "stapi_zol_resultsetbuffer.deleteResultSet(&rsPtr=%p)", &token),
            line(2134, "DEBUG",
                 "stapi_zol_resultsetbuffer.deleteResultSet Free result set verifiedQueryString(%p)", area),
            line(2135, "DEBUG", "stapi_zol_resultsetbuffer.deleteResultSet Freed result set token(%p)", area),
            line(2136, "DEBUG", "stapi_zol_resultsetbuffer.deleteResultSet Free result set token(%p)",
                 address),
            line(2137, "DEBUG", "stapi_zol_resultsetbuffer.deleteResultSet Freed result set token(%p)",
                 address),
            line(2138, "EXIT", "stapi_zol_resultsetbuffer.deleteResultSet(&rsPtr=%p) rc=%d", &token, 0)));
}

TEST_F(ResultSet, DeletingOneWithoutItsQueryAreaLeavesOutThatStep) {
    create();
    std::free(token->verifiedQueryString);
    token->verifiedQueryString = nullptr;
    EXPECT_EQ(deleteResultSet(&token), 0);
    EXPECT_THAT(trace.lines(2134), IsEmpty());
    EXPECT_THAT(trace.lines(2135), IsEmpty());
    EXPECT_THAT(trace.lines(2137), testing::SizeIs(1));
}

TEST_F(ResultSet, DeletingAtANullAddressGivesMinus125) {
    EXPECT_EQ(deleteResultSet(nullptr), NULL_ADDRESS);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(2133, "ENTRY", "stapi_zol_resultsetbuffer.deleteResultSet(&rsPtr=(nil))"),
                    line(2138, "EXIT", "stapi_zol_resultsetbuffer.deleteResultSet(&rsPtr=(nil)) rc=-125")));
}

TEST_F(ResultSet, DeletingANullTokenGivesMinus127) {
    EXPECT_EQ(deleteResultSet(&token), NULL_TOKEN);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2133, "ENTRY", "stapi_zol_resultsetbuffer.deleteResultSet(&rsPtr=%p)", &token),
            line(2138, "EXIT", "stapi_zol_resultsetbuffer.deleteResultSet(&rsPtr=%p) rc=-127", &token)));
}

// ---- Owner check

class Owner : public ResultSet {
  protected:
    Owner() { create(); }

    int verifyInAnotherThread() {
        int rc = 0;
        std::thread([this, &rc] { rc = verifyAPIResultSetTokenOwner(token); }).join();
        return rc;
    }
    int verifyInAnotherProcess() {
        const pid_t child = fork();
        if (child == 0) {
            _exit(-verifyAPIResultSetTokenOwner(token));
        }
        int status = 0;
        waitpid(child, &status, 0);
        return WIFEXITED(status) ? -WEXITSTATUS(status) : 1;
    }

    const unsigned pid = static_cast<unsigned>(getpid());
    const unsigned tid = static_cast<unsigned>(pthread_self());
};

TEST_F(Owner, IsTheCreatingThread) {
    EXPECT_EQ(verifyAPIResultSetTokenOwner(token), 0);
    EXPECT_THAT(
        trace.lines(),
        Contains(line(2141, "ENTRY", "stapi_zol_resultsetbuffer.verifyAPIResultSetToken(rsPtr=%p)", token)));
    EXPECT_EQ(
        trace.lines().back(),
        line(2144, "EXIT", "stapi_zol_resultsetbuffer.verifyAPIResultSetToken(rsPtr=%p) rc=%d", token, 0));
}

TEST_F(Owner, IsNotAnotherThread) {
    EXPECT_EQ(verifyInAnotherThread(), WRONG_THREAD);
}

TEST_F(Owner, IsNotAChildProcess) {
    EXPECT_EQ(verifyInAnotherProcess(), WRONG_PROCESS);
}

TEST_F(Owner, OfAnotherProcessIsTraced) {
    token->owningPid = pid + 1;
    EXPECT_EQ(verifyAPIResultSetTokenOwner(token), WRONG_PROCESS);
    EXPECT_THAT(
        trace.lines(),
        Contains(line(
            2142, "*EXC*",
            "stapi_zol_resultsetbuffer.verifyAPIResultSetToken PID mismatch: currentPid=%x, owningPid=%x",
            pid, pid + 1)));
    EXPECT_THAT(
        trace.lines(2144),
        ElementsAre(line(2144, "EXIT", "stapi_zol_resultsetbuffer.verifyAPIResultSetToken(rsPtr=%p) rc=%d",
                         token, -123)));
}

TEST_F(Owner, OfAnotherThreadIsTraced) {
    token->owningTid = pthread_self() + 16;
    EXPECT_EQ(verifyAPIResultSetTokenOwner(token), WRONG_THREAD);
    EXPECT_THAT(
        trace.lines(),
        Contains(line(
            2143, "*EXC*",
            "stapi_zol_resultsetbuffer.verifyAPIResultSetToken TID mismatch: currentTid=%x, owningTid=%x",
            tid, tid + 16)));
    EXPECT_EQ(
        trace.lines().back(),
        line(2144, "EXIT", "stapi_zol_resultsetbuffer.verifyAPIResultSetToken(rsPtr=%p) rc=%d", token, -124));
}

TEST_F(Owner, IsComparedByProcessBeforeThread) {
    token->owningPid = pid + 1;
    token->owningTid = pthread_self() + 16;
    EXPECT_EQ(verifyAPIResultSetTokenOwner(token), WRONG_PROCESS);
    EXPECT_THAT(trace.lines(2143), IsEmpty());
}

TEST_F(Owner, IsComparedByWholeThreadIdsAndNotTheirLowHalves) {
    token->owningTid = pthread_self() ^ (pthread_t{1} << (std::numeric_limits<pthread_t>::digits - 1));
    EXPECT_EQ(verifyAPIResultSetTokenOwner(token), WRONG_THREAD);
}

// ---- Writers

class ResultSetBuffer : public testing::Test {
  protected:
    ResultSetBuffer() { area.fill(UNWRITTEN); }

    // What stands in front of the cursor, and a number of bytes behind it.
    [[nodiscard]] Bytes written(std::ptrdiff_t more = 0) const {
        const unsigned char* const end = cursor + more;
        return {area.data() + OFFSET, end};
    }
    [[nodiscard]] bool isUnwritten() const {
        return std::all_of(area.begin(), area.end(), [](unsigned char byte) { return byte == UNWRITTEN; });
    }

    // All that is read back of an integer written; which one it is depends on the host.
    static unsigned firstByteOf(std::int32_t value) {
        return static_cast<unsigned char>(integer(value).front());
    }

    static constexpr unsigned char UNWRITTEN = 0xEE;
    static constexpr std::ptrdiff_t OFFSET = 3;  // so that integers never stand aligned

    alignas(8) std::array<unsigned char, 512> area{};
    unsigned char* cursor = area.data() + OFFSET;
    TraceCapture trace{4};
};

TEST_F(ResultSetBuffer, AddIntegerWritesHostOrderAndAdvancesFour) {
    EXPECT_EQ(addInteger(&cursor, 0x01020304), 0);
    EXPECT_EQ(addInteger(&cursor, -1), 0);
    EXPECT_EQ(addInteger(&cursor, std::numeric_limits<int>::min()), 0);
    EXPECT_EQ(written(1),
              integer(0x01020304) + integer(-1) + integer(std::numeric_limits<int>::min()) + "\xEE");
}

TEST_F(ResultSetBuffer, AddIntegerIsTraced) {
    addInteger(&cursor, -5);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2108, "ENTRY", "stapi_zol_resultsetbuffer.addInteger(&bufWPtr=%p,rsInt=%d)", &cursor, -5),
            line(2110, "EXIT", "stapi_zol_resultsetbuffer.addInteger(&bufWPtr=%p,rsInt=%d) zolStatRc=%u",
                 &cursor, -5, 0U)));
}

// The code is printed without its sign: that is how these lines have always looked.
TEST_F(ResultSetBuffer, AddIntegerRefusesANullCursor) {
    cursor = nullptr;
    EXPECT_EQ(addInteger(&cursor, 7), NULL_PARAMETER);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2108, "ENTRY", "stapi_zol_resultsetbuffer.addInteger(&bufWPtr=%p,rsInt=7)", &cursor),
            line(2109, "*EXC*",
                 "stapi_zol_resultsetbuffer.addInteger(&bufWPtr=%p) function received a null parameter",
                 &cursor),
            line(2110, "EXIT",
                 "stapi_zol_resultsetbuffer.addInteger(&bufWPtr=%p,rsInt=7) zolStatRc=4294967193", &cursor)));
}

TEST_F(ResultSetBuffer, AddCharsCopiesBytesUnchanged) {
    const Bytes text("a\0\xFFz", 4);
    EXPECT_EQ(addChars(&cursor, text.data(), 4), 0);
    EXPECT_EQ(written(1), text + "\xEE");
}

TEST_F(ResultSetBuffer, AddCharsIsTraced) {
    const char* const text = "abc";
    unsigned char* const target = cursor;
    addChars(&cursor, text, 3);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2111, "ENTRY", "stapi_zol_resultsetbuffer.addChars(&bufWPtr=%p,textPtr=%p,charCount=%d)",
                 &cursor, text, 3),
            line(2114, "DEBUG", "stapi_zol_resultsetbuffer.addChars Copied %d bytes from %p to %p", 3, text,
                 target),
            line(2115, "EXIT",
                 "stapi_zol_resultsetbuffer.addChars(&bufWPtr=%p,textPtr=%p,charCount=%d) zolStatRc=%u",
                 &cursor, text, 3, 0U)));
}

TEST_F(ResultSetBuffer, AddCharsRefusesANullCursor) {
    const char* const text = "abc";
    cursor = nullptr;
    EXPECT_EQ(addChars(&cursor, text, 3), NULL_PARAMETER);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2111, "ENTRY", "stapi_zol_resultsetbuffer.addChars(&bufWPtr=%p,textPtr=%p,charCount=3)",
                 &cursor, text),
            line(2112, "*EXC*",
                 "stapi_zol_resultsetbuffer.addChars(&bufWPtr=%p) function received a null parameter",
                 &cursor),
            line(
                2115, "EXIT",
                "stapi_zol_resultsetbuffer.addChars(&bufWPtr=%p,textPtr=%p,charCount=3) zolStatRc=4294967193",
                &cursor, text)));
}

TEST_F(ResultSetBuffer, AddPlatformCharsConvertsNothing) {
    const Bytes text("ZOLSTSET\0\xFF", 10);
    EXPECT_EQ(addPlatformChars(&cursor, text.data(), 10), 0);
    EXPECT_EQ(written(1), text + "\xEE");
}

TEST_F(ResultSetBuffer, AddPlatformCharsIsTraced) {
    const char* const text = "ZOLIDSET";
    unsigned char* const target = cursor;
    addPlatformChars(&cursor, text, 8);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2116, "ENTRY",
                 "stapi_zol_resultsetbuffer.addPlatformChars(&bufWPtr=%p,textPtr=%p,charCount=%d)", &cursor,
                 text, 8),
            line(2118, "DEBUG", "stapi_zol_resultsetbuffer.addPlatformChars Copied %d bytes from %p to %p", 8,
                 text, target),
            line(
                2119, "EXIT",
                "stapi_zol_resultsetbuffer.addPlatformChars(&bufWPtr=%p,textPtr=%p,charCount=%d) zolStatRc=%u",
                &cursor, text, 8, 0U)));
}

TEST_F(ResultSetBuffer, AddPlatformCharsRefusesANullCursor) {
    const char* const text = "ZOLIDSET";
    cursor = nullptr;
    EXPECT_EQ(addPlatformChars(&cursor, text, 8), NULL_PARAMETER);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2116, "ENTRY",
                 "stapi_zol_resultsetbuffer.addPlatformChars(&bufWPtr=%p,textPtr=%p,charCount=8)", &cursor,
                 text),
            line(2117, "*EXC*",
                 "stapi_zol_resultsetbuffer.addPlatformChars(&bufWPtr=%p) function received a null parameter",
                 &cursor),
            line(
                2119, "EXIT",
                "stapi_zol_resultsetbuffer.addPlatformChars(&bufWPtr=%p,textPtr=%p,charCount=8) zolStatRc=4294967193",
                &cursor, text)));
}

TEST_F(ResultSetBuffer, TheWritersRefuseANullAddressToo) {
    EXPECT_EQ(addInteger(nullptr, 7), NULL_PARAMETER);
    EXPECT_EQ(addChars(nullptr, "abc", 3), NULL_PARAMETER);
    EXPECT_EQ(addPlatformChars(nullptr, "abc", 3), NULL_PARAMETER);
}

TEST_F(ResultSetBuffer, CopyingNoCharactersLeavesTheCursorWhereItIs) {
    EXPECT_EQ(addChars(&cursor, "abc", 0), 0);
    EXPECT_EQ(addPlatformChars(&cursor, "abc", 0), 0);
    EXPECT_THAT(written(), IsEmpty());
    EXPECT_TRUE(isUnwritten());
}

TEST_F(ResultSetBuffer, AddIdStrWritesLengthTextAndANulThatTheCursorDoesNotPass) {
    EXPECT_EQ(addIdStr(&cursor, "abc"), 0);
    EXPECT_EQ(cursor, area.data() + OFFSET + 7);
    EXPECT_EQ(written(2), integer(3) + "abc" + Bytes("\0\xEE", 2));
}

TEST_F(ResultSetBuffer, AddIdStrIsOverwrittenFromItsNulOn) {
    addIdStr(&cursor, "abc");
    addIdStr(&cursor, "");
    EXPECT_EQ(written(1), integer(3) + "abc" + integer(0) + Bytes(1, '\0'));
}

TEST_F(ResultSetBuffer, AddIdStrIsTracedStepByStepAndExitsWithoutItsCode) {
    const char* const id = "abc";
    unsigned char* const start = cursor;
    addIdStr(&cursor, id);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2100, "ENTRY", "stapi_zol_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=%p)", &cursor, id),
            line(2102, "DEBUG", "stapi_zol_resultsetbuffer.addIdStr Writing at address %p", start),
            line(2103, "DEBUG", "stapi_zol_resultsetbuffer.addIdStr Length of id string=%u", 3U),
            line(
                2104, "DEBUG",
                "stapi_zol_resultsetbuffer.addIdStr Wrote length value %u to address %p, which reads back as %u",
                3U, start, firstByteOf(3)),
            line(2105, "DEBUG", "stapi_zol_resultsetbuffer.addIdStr Wrote %u bytes to address %p", 3U,
                 start + 4),
            line(2106, "DEBUG", "stapi_zol_resultsetbuffer.addIdStr Write cursor is now %p", start + 7),
            line(2107, "EXIT", "stapi_zol_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=%p)", &cursor, id)));
}

TEST_F(ResultSetBuffer, AddIdStrReadsBackOnlyTheFirstByteOfALength) {
    const Bytes id(300, 'i');
    unsigned char* const start = cursor;
    EXPECT_EQ(addIdStr(&cursor, id.c_str()), 0);
    EXPECT_EQ(written(), integer(300) + id);
    EXPECT_THAT(trace.lines(2104),
                ElementsAre(line(2104, "DEBUG",
                                 "stapi_zol_resultsetbuffer.addIdStr Wrote length value %u to address %p, "
                                 "which reads back as %u",
                                 300U, start, firstByteOf(300))));
}

TEST_F(ResultSetBuffer, AddIdStrRefusesANullAddressAndANullText) {
    EXPECT_EQ(addIdStr(nullptr, "abc"), NULL_PARAMETER);
    EXPECT_EQ(addIdStr(&cursor, nullptr), NULL_PARAMETER);
    EXPECT_TRUE(isUnwritten());
    EXPECT_EQ(cursor, area.data() + OFFSET);
}

TEST_F(ResultSetBuffer, AddIdStrTracesANullText) {
    addIdStr(&cursor, nullptr);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2100, "ENTRY", "stapi_zol_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=(nil))", &cursor),
            line(
                2101, "*EXC*",
                "stapi_zol_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=(nil)) function received a null parameter",
                &cursor),
            line(2107, "EXIT", "stapi_zol_resultsetbuffer.addIdStr(&bufWPtr=%p,idString=(nil))", &cursor)));
}

// ---- Terminator

TEST_F(ResultSetBuffer, AddTerminatorLeavesTheCursorWhereItIs) {
    unsigned char* const start = cursor;
    EXPECT_EQ(addTerminator(cursor), 0);
    EXPECT_EQ(cursor, start);
    EXPECT_EQ(written(5), integer(0x0E0F0E0F) + "\xEE");
}

TEST_F(ResultSetBuffer, ATerminatorIsOverwrittenByTheNextWrite) {
    addTerminator(cursor);
    addChars(&cursor, "text", 4);
    EXPECT_EQ(written(1), "text\xEE");
}

TEST_F(ResultSetBuffer, AddTerminatorIsTraced) {
    addTerminator(cursor);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(2120, "ENTRY", "stapi_zol_resultsetbuffer.addTerminator(writeCursor=%p)", cursor),
                    line(2122, "EXIT", "stapi_zol_resultsetbuffer.addTerminator(writeCursor=%p) zolStatRc=%d",
                         cursor, 0)));
}

TEST_F(ResultSetBuffer, AddTerminatorRefusesANullCursor) {
    EXPECT_EQ(addTerminator(nullptr), NULL_PARAMETER);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2120, "ENTRY", "stapi_zol_resultsetbuffer.addTerminator(writeCursor=(nil))"),
            line(
                2121, "*EXC*",
                "stapi_zol_resultsetbuffer.addTerminator(writeCursor=(nil)) function received a null parameter"),
            line(2122, "EXIT", "stapi_zol_resultsetbuffer.addTerminator(writeCursor=(nil)) zolStatRc=-103")));
}

class Alignment : public ResultSetBuffer, public testing::WithParamInterface<int> {};

TEST_P(Alignment, DoesNotMatterToATerminator) {
    unsigned char* const position = area.data() + GetParam();
    int isTerminator = -1;
    addTerminator(position);
    EXPECT_EQ(checkTerminator(position, &isTerminator), 0);
    EXPECT_EQ(isTerminator, 1);
    EXPECT_EQ(checkTerminator(position + 1, &isTerminator), 0);
    EXPECT_EQ(isTerminator, 0);
}

INSTANTIATE_TEST_SUITE_P(Bytes, Alignment, testing::Range(0, 8));

class AlmostTerminator : public ResultSetBuffer, public testing::WithParamInterface<int> {};

TEST_P(AlmostTerminator, IsNone) {
    const Bytes word = integer(GetParam());
    int isTerminator = -1;
    EXPECT_EQ(checkTerminator(reinterpret_cast<const unsigned char*>(word.data()), &isTerminator), 0);
    EXPECT_EQ(isTerminator, 0);
}

INSTANTIATE_TEST_SUITE_P(Words, AlmostTerminator,
                         testing::Values(0, 0x0E0F0E0E, 0x0E0F0E10, 0x0F0E0F0E, 0x0E0F0000, 0x00000E0F, -1));

TEST_F(ResultSetBuffer, CheckTerminatorIsTraced) {
    int isTerminator = -1;
    addTerminator(cursor);
    const TraceCapture check(4);
    checkTerminator(cursor, &isTerminator);
    EXPECT_THAT(
        check.lines(),
        ElementsAre(
            line(2123, "ENTRY", "stapi_zol_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=%p)",
                 cursor, &isTerminator),
            line(2125, "DEBUG", "stapi_zol_resultsetbuffer.checkTerminator isRSTerm=%d", 1),
            line(2126, "EXIT",
                 "stapi_zol_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=%p) rc=%d", cursor,
                 &isTerminator, 0)));
}

TEST_F(ResultSetBuffer, CheckTerminatorRefusesNullPointers) {
    int isTerminator = -1;
    EXPECT_EQ(checkTerminator(nullptr, &isTerminator), NULL_PARAMETER);
    EXPECT_EQ(checkTerminator(cursor, nullptr), NULL_PARAMETER);
    EXPECT_EQ(isTerminator, -1);
    EXPECT_THAT(trace.lines(2125), IsEmpty());
}

TEST_F(ResultSetBuffer, CheckTerminatorTracesANullPointer) {
    checkTerminator(cursor, nullptr);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2123, "ENTRY", "stapi_zol_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=(nil))",
                 cursor),
            line(
                2124, "*EXC*",
                "stapi_zol_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=(nil)) function received a null "
                "parameter",
                cursor),
            line(2126, "EXIT",
                 "stapi_zol_resultsetbuffer.checkTerminator(dataCursor=%p, isRSTermPtr=(nil)) rc=-103",
                 cursor)));
}

}  // namespace
