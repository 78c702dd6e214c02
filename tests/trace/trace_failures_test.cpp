// Tests of failures that only a full memory, a lock that cannot be made or one that is used wrongly causes:
// codes, lines, and what is left behind. Not here: such failures in the very first call
// (first_call_failures_test.cpp). Which failures the library reports, and how, is written down in
// docs/return-codes.md.
#include <gmock/gmock.h>

#include <cerrno>

#include "api/client.h"
#include "api/trace_file.h"
#include "failing_calls.h"
#include "stapi_zol_lock.h"
#include "stapi_zol_resultsetbuffer.h"
#include "support/trace_capture.h"

using testing::AnyOf;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::Field;
using testing::Ge;
using testing::Gt;
using testing::Lt;
using testing::SizeIs;
using testing_support::FailingAllocation;
using testing_support::FailingMutexInit;
using testing_support::line;
using testing_support::TraceCapture;
using testing_support::TraceLine;

namespace {

constexpr int NO_MEMORY = -111;

TEST(FailingMutex, LeavesTheLockUninitialisedAndShowsErrno) {
    LockRecord lock{};
    const TraceCapture trace(1);
    const FailingMutexInit failing(1);
    errno = 77;
    EXPECT_EQ(initializeLock(&lock), -2);
    EXPECT_EQ(lock.state, 0U);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(3101, "*EXC*",
                         "stapi_zol_lock.initializeLock(lockPtr=%p) Lock initialization failed errno=%d",
                         &lock, 77)));
}

// Every mutex of this program tells of a wrong use.
class Locks : public api::Connected {
  protected:
    // All that takes a lock. A destination that cannot be had leaves the one that is read here.
    void useAll() {
        setAPITraceLevel(ZOLSTATS_TRACE_DATA);
        setAPITraceFile("/no such folder/trace");
        EXPECT_EQ(open(), 0);
        const api::Copy copy = api::copyOf(stats());
        dumpResultSet(copy.get());
        dumpState();
        closeGatewayConnection(&token_);
        closeAllGatewayConnections();
    }
};

TEST_F(Locks, AreNeitherTakenTwiceNorReleasedByAThreadThatDoesNotHoldThem) {
    const auto useTwice = [this] {
        useAll();
        useAll();  // stumbles over a lock that the first left behind
    };
    const auto lines = api::tracedByAll(useTwice, ZOLSTATS_TRACE_DATA);
    EXPECT_THAT(lines, SizeIs(Ge(100U)));
    EXPECT_THAT(lines, Each(Field(&TraceLine::point, AnyOf(Lt(3101), Gt(3113)))));
}

class FullMemory : public testing::Test {
  protected:
    static ResultSetToken* untouched() {
        static ResultSetToken nobody{};
        return &nobody;
    }
    static constexpr int TOKEN_SIZE = sizeof(ResultSetToken);

    ResultSetToken* token = untouched();
    TraceCapture trace{4};
};

TEST_F(FullMemory, ForAResultSetTokenClearsTheCallersPointer) {
    const FailingAllocation failing(1);
    EXPECT_EQ(createResultSet(&token, "ZOLRSROB", 0x8888), NO_MEMORY);
    EXPECT_EQ(token, nullptr);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2127, "ENTRY",
                 "stapi_zol_resultsetbuffer.createResultSet(&newRsTokPtr=%p,eyecatcher=ZOLRSROB,owner=8888)",
                 &token),
            line(2128, "DEBUG",
                 "stapi_zol_resultsetbuffer.createResultSet Called malloc for %d bytes. rc=(nil)",
                 TOKEN_SIZE),
            line(2129, "*EXC*", "stapi_zol_resultsetbuffer.createResultSet Failed to allocate %d bytes",
                 TOKEN_SIZE),
            line(
                2132, "EXIT",
                "stapi_zol_resultsetbuffer.createResultSet(&newRsTokPtr=%p,eyecatcher=ZOLRSROB,owner=8888) rc=-111",
                &token)));
}

// The line shows the token's size although it is the area that failed.
TEST_F(FullMemory, ForAnIdQueryAreaLeavesTheCallersPointerAndFreesTheToken) {
    const FailingAllocation failing(2);
    EXPECT_EQ(createResultSet(&token, "ZOLRSROB", 0x8888), NO_MEMORY);
    EXPECT_EQ(token, untouched());
    EXPECT_THAT(trace.lines(),
                testing::AllOf(
                    Contains(line(
                        2130, "DEBUG",
                        "stapi_zol_resultsetbuffer.createResultSet Called malloc for 32000 bytes. rc=(nil)")),
                    Contains(line(2131, "*EXC*",
                                  "stapi_zol_resultsetbuffer.createResultSet Failed to allocate %d bytes",
                                  TOKEN_SIZE))));
}

TEST_F(FullMemory, ForAResultSetBufferGivesNone) {
    const FailingAllocation failing(1);
    EXPECT_EQ(zolstats::allocateResultSetBuffer(100), nullptr);
}

}  // namespace
