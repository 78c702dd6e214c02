// The test of first calls that fail, each in its own way, until one succeeds. It is alone in its program,
// since a library that is initialised stays so. Failures later on are in trace_failures_test.cpp. Which
// failures the library reports, and how, is written down in docs/return-codes.md.
#include <gmock/gmock.h>

#include <string>

#include "failing_calls.h"
#include "stapi_zol_diag.h"
#include "support/trace_line.h"
#include "zolstats/zolstats.h"

using testing::Each;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using testing_support::FailingAllocation;
using testing_support::FailingMutexInit;
using testing_support::line;

namespace {

// A first call, held to its result; gives what it wrote to standard error.
std::string firstCall(int expectedRc) {
    int level = -1;
    testing::internal::CaptureStderr();
    EXPECT_EQ(getAPITraceLevel(&level), expectedRc);
    EXPECT_EQ(level, expectedRc == 0 ? 0 : -1);
    return testing::internal::GetCapturedStderr();
}

// Every public call with a wrong argument. Where initialisation fails it gives that failure all the same;
// only closing looks at its arguments then.
struct WrongCall {
    int expectedRc;
    int (*call)();
};

void* noToken = nullptr;
void* someToken = &noToken;
ResultSetToken* noSet = nullptr;

const WrongCall WRONG_CALLS[] = {
    {-121, [] { return getAPITraceLevel(nullptr); }},
    {-121, [] { return setAPITraceLevel(6); }},
    {-121, [] { return setAPITraceFile(""); }},
    {-121, [] { return getStatsAPIVersion(nullptr); }},
    {-121, [] { return setAPITimeout(-1); }},
    {-121, [] { return getAPITimeout(nullptr); }},
    {-121, [] { return dumpState(); }},
    {-121, [] { return openRemoteGatewayConnection(nullptr, 0, nullptr, nullptr); }},
    {-121, [] { return closeGatewayConnection(&someToken); }},
    {-108, [] { return closeGatewayConnection(nullptr); }},
    {-100, [] { return closeGatewayConnection(&noToken); }},
    {-121, [] { return closeAllGatewayConnections(); }},
    {-121, [] { return getStats(nullptr, nullptr); }},
    {-121, [] { return getStatIds(nullptr, nullptr); }},
    {-121, [] { return getResourceGroupIds(nullptr, nullptr); }},
    {-121, [] { return getStatsByStatGroupId(nullptr, nullptr, nullptr); }},
    {-121, [] { return getStatsByStatId(nullptr, nullptr, nullptr); }},
    {-121, [] { return getStatIdsByStatGroupId(nullptr, nullptr, nullptr); }},
    {-121, [] { return getFirstStat(nullptr, nullptr); }},
    {-121, [] { return getNextStat(nullptr, nullptr); }},
    {-121, [] { return getFirstId(nullptr, nullptr); }},
    {-121, [] { return getNextId(nullptr, nullptr); }},
    {-121, [] { return copyResultSet(nullptr, nullptr); }},
    {-121, [] { return freeResultSet(&noSet); }},
    {-121, [] { return dumpResultSet(nullptr); }},
    {-121, [] { return getIdQuery(nullptr, nullptr); }},
};

// Each of them is a first call here, gives the failure's code, and leaves the level at exceptions.
void failInEveryCall() {
    testing::internal::CaptureStderr();
    for (const WrongCall& each : WRONG_CALLS) {
        SCOPED_TRACE(&each - WRONG_CALLS);
        const FailingMutexInit failing(1);
        EXPECT_EQ(each.call(), each.expectedRc);
        EXPECT_EQ(statAPITrace, 1);
    }
    EXPECT_THAT(testing_support::traceLines(testing::internal::GetCapturedStderr()),
                Each(Field(&testing_support::TraceLine::level, "*EXC*")));
}

void failForTheTraceLock() {
    const FailingMutexInit failing(1);
    const std::string written = firstCall(-121);
    EXPECT_THAT(written, HasSubstr("] [3101] *EXC*  stapi_zol_lock.initializeLock(lockPtr="));
    EXPECT_THAT(written, testing::EndsWith(
                             "stapi_zol_impl.stapiInit() Initialization of zolstats API trace has failed. "
                             "rc=-121\n"));
}

void failForTheNameBuffer() {
    const FailingAllocation failing(1);
    EXPECT_EQ(firstCall(-111),
              "stapi_zol_impl.stapiInit() Initialization of zolstats API trace has failed. rc=-111\n");
    EXPECT_EQ(statAPITraceFilename, nullptr);
}

void failForTheListLock() {
    const FailingMutexInit failing(1);
    EXPECT_THAT(
        testing_support::traceLines(firstCall(-2)),
        testing::ElementsAre(Field(&testing_support::TraceLine::point, 3101),
                             line(1124, "*EXC*",
                                  "stapi_zol_impl.stapiInit() Initialization of zolstats API Gateway Token "
                                  "List has failed. rc=%d",
                                  -2)));
}

// The name buffer is not made up for: later calls live without one.
void writeTheStateWithoutAName() {
    testing::internal::CaptureStderr();
    EXPECT_EQ(setAPITraceFile("/dev/null"), 0);
    EXPECT_EQ(setAPITraceFile(nullptr), 0);
    EXPECT_EQ(dumpState(), 0);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("zolstats state dump: API Version=1_1_0_1"));
    EXPECT_EQ(statAPITraceFilename, nullptr);
}

TEST(FirstCalls, AreTriedAgainUntilOneSucceeds) {
    failForTheTraceLock();
    EXPECT_EQ(statAPITrace, 1);
    failInEveryCall();
    failForTheNameBuffer();
    EXPECT_EQ(statAPITrace, 1);
    failForTheListLock();
    EXPECT_EQ(statAPITrace, 1);
    EXPECT_THAT(firstCall(0), IsEmpty());
    EXPECT_EQ(statAPITrace, 0);
    writeTheStateWithoutAName();
}

}  // namespace
