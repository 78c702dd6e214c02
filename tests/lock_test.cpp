// Tests of the lock record: when it counts as initialised, its result codes and its trace lines.
// Not here: threads that contend for the trace lock (trace/trace_threads_test.cpp).
// How the library uses its two locks is written down in docs/tracing.md and CONTRIBUTING.md.
#include "stapi_zol_lock.h"

#include <gmock/gmock.h>
#include <pthread.h>

#include <cerrno>

#include "support/trace_capture.h"
#include "support/watched_trace.h"

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing_support::isHeld;
using testing_support::line;
using testing_support::TraceCapture;

namespace {

constexpr std::uint32_t INITIALIZED = 0xFFEEDDCC;
constexpr std::uint32_t DESTROYED = 0xCCDDEEFF;

// A lock whose mutex reports misuse as an error.
class CheckingLock {
  public:
    CheckingLock() {
        pthread_mutexattr_t attributes;
        pthread_mutexattr_init(&attributes);
        pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_ERRORCHECK);
        pthread_mutex_init(&record.mutex, &attributes);
        pthread_mutexattr_destroy(&attributes);
        record.state = INITIALIZED;
    }
    ~CheckingLock() {
        pthread_mutex_unlock(&record.mutex);
        pthread_mutex_destroy(&record.mutex);
    }
    CheckingLock(const CheckingLock&) = delete;
    CheckingLock& operator=(const CheckingLock&) = delete;

    LockRecord record{};
};

class Lock : public testing::Test {
  protected:
    LockRecord lock{};
    TraceCapture trace{1};
};

TEST_F(Lock, AFreshRecordHasTheStateZero) {
    EXPECT_EQ(isLockInitialized(&lock), 0);
}

TEST_F(Lock, InitialisingGivesZeroAndMarksTheRecord) {
    EXPECT_EQ(initializeLock(&lock), 0);
    EXPECT_EQ(lock.state, INITIALIZED);
    EXPECT_EQ(isLockInitialized(&lock), static_cast<int>(0xFFEEDDCC));
}

TEST_F(Lock, AnInitialisedLockIsFree) {
    initializeLock(&lock);
    EXPECT_FALSE(isHeld(lock));
}

TEST_F(Lock, InitialisingAgainGivesOneAndLeavesAFreeLockFree) {
    initializeLock(&lock);
    EXPECT_EQ(initializeLock(&lock), 1);
    EXPECT_FALSE(isHeld(lock));
    EXPECT_EQ(lock.state, INITIALIZED);
}

TEST_F(Lock, InitialisingAgainGivesOneAndLeavesAHeldLockHeld) {
    initializeLock(&lock);
    requestLock(&lock);
    EXPECT_EQ(initializeLock(&lock), 1);
    EXPECT_TRUE(isHeld(lock));
    EXPECT_EQ(releaseLock(&lock), 0);
}

TEST_F(Lock, RequestTakesTheLock) {
    initializeLock(&lock);
    EXPECT_EQ(requestLock(&lock), 0);
    EXPECT_TRUE(isHeld(lock));
    releaseLock(&lock);
}

TEST_F(Lock, ReleaseGivesTheLockBack) {
    initializeLock(&lock);
    requestLock(&lock);
    EXPECT_EQ(releaseLock(&lock), 0);
    EXPECT_FALSE(isHeld(lock));
}

TEST_F(Lock, DestroyGivesZeroAndMarksTheRecord) {
    initializeLock(&lock);
    EXPECT_EQ(destroyLock(&lock), 0);
    EXPECT_EQ(lock.state, DESTROYED);
    EXPECT_EQ(isLockInitialized(&lock), static_cast<int>(0xCCDDEEFF));
}

TEST_F(Lock, ADestroyedLockCannotBeUsed) {
    initializeLock(&lock);
    destroyLock(&lock);
    EXPECT_EQ(requestLock(&lock), -1);
    EXPECT_EQ(releaseLock(&lock), -1);
    EXPECT_EQ(destroyLock(&lock), -1);
    EXPECT_EQ(lock.state, DESTROYED);
}

TEST_F(Lock, ADestroyedLockCanBeInitialisedAgain) {
    initializeLock(&lock);
    destroyLock(&lock);
    EXPECT_EQ(initializeLock(&lock), 0);
    EXPECT_EQ(requestLock(&lock), 0);
    EXPECT_EQ(releaseLock(&lock), 0);
}

TEST_F(Lock, RequestOfAFreshRecordFailsWithALine) {
    EXPECT_EQ(requestLock(&lock), -1);
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(3104, "*EXC*", "stapi_zol_lock.requestLock(lockPtr=%p) Lock not initialized",
                                 &lock)));
}

TEST_F(Lock, ReleaseOfAFreshRecordFailsWithALine) {
    EXPECT_EQ(releaseLock(&lock), -1);
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(3108, "*EXC*", "stapi_zol_lock.releaseLock(lockPtr=%p) Lock not initialized",
                                 &lock)));
}

TEST_F(Lock, DestroyOfAFreshRecordFailsWithALine) {
    EXPECT_EQ(destroyLock(&lock), -1);
    EXPECT_EQ(lock.state, 0U);
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(3112, "*EXC*", "stapi_zol_lock.destroyLock(lockPtr=%p) Lock not initialized",
                                 &lock)));
}

TEST_F(Lock, SuccessIsNeverTraced) {
    const TraceCapture everything(5);
    initializeLock(&lock);
    initializeLock(&lock);
    requestLock(&lock);
    releaseLock(&lock);
    destroyLock(&lock);
    EXPECT_THAT(everything.lines(), IsEmpty());
}

TEST_F(Lock, FailuresAreNotTracedAtLevelZero) {
    const TraceCapture nothing(0);
    requestLock(&lock);
    releaseLock(&lock);
    destroyLock(&lock);
    EXPECT_THAT(nothing.text(), IsEmpty());
}

// Taking the trace lock for the line would never come back here.
TEST_F(Lock, FailuresAreTracedWithoutTheTraceLock) {
    requestLock(&traceLock);
    EXPECT_EQ(requestLock(&lock), -1);
    releaseLock(&traceLock);
    EXPECT_THAT(trace.lines(3104), testing::SizeIs(1));
}

TEST_F(Lock, ALineWrittenWithoutTheTraceLockLeavesItFree) {
    const testing_support::WatchedTrace watched(1);
    requestLock(&lock);
    ASSERT_THAT(watched.writes(), testing::SizeIs(1));
    EXPECT_FALSE(watched.writes().front().underLock);
    EXPECT_FALSE(isHeld(traceLock));
}

class UnmarkedLock : public Lock, public testing::WithParamInterface<std::uint32_t> {};

TEST_P(UnmarkedLock, CountsAsNotInitialised) {
    lock.state = GetParam();
    EXPECT_EQ(isLockInitialized(&lock), static_cast<int>(GetParam()));
    EXPECT_EQ(requestLock(&lock), -1);
    EXPECT_EQ(releaseLock(&lock), -1);
    EXPECT_EQ(destroyLock(&lock), -1);
    EXPECT_EQ(lock.state, GetParam());
    EXPECT_EQ(initializeLock(&lock), 0);
}

INSTANTIATE_TEST_SUITE_P(StateWords, UnmarkedLock,
                         testing::Values(0U, 1U, 0xFFEEDDCBU, 0xFFEEDDCDU, DESTROYED, ~0U));

class MisusedLock : public testing::Test {
  protected:
    static constexpr int LEFT_OVER_ERRNO = 77;

    CheckingLock checking;
    LockRecord& lock = checking.record;
    TraceCapture trace{1};
};

// The pthread calls return their error and leave errno alone: the lines show what errno held before.
TEST_F(MisusedLock, ARequestThatFailsGivesMinusFourAndShowsErrno) {
    requestLock(&lock);
    errno = LEFT_OVER_ERRNO;
    EXPECT_EQ(requestLock(&lock), -4);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(3105, "*EXC*", "stapi_zol_lock.requestLock(lockPtr=%p) Lock request failed errno=%d",
                         &lock, LEFT_OVER_ERRNO)));
}

TEST_F(MisusedLock, AReleaseThatFailsGivesMinusFiveAndShowsErrno) {
    errno = LEFT_OVER_ERRNO;
    EXPECT_EQ(releaseLock(&lock), -5);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(3109, "*EXC*", "stapi_zol_lock.releaseLock(lockPtr=%p) Lock release failed errno=%d",
                         &lock, LEFT_OVER_ERRNO)));
}

TEST_F(MisusedLock, ADestroyThatFailsGivesMinusFourAndLeavesTheLockUsable) {
    requestLock(&lock);
    errno = LEFT_OVER_ERRNO;
    EXPECT_EQ(destroyLock(&lock), -4);
    EXPECT_EQ(lock.state, INITIALIZED);
    EXPECT_EQ(releaseLock(&lock), 0);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(3113, "*EXC*", "stapi_zol_lock.destroyLock(lockPtr=%p) Lock destroy failed errno=%d",
                         &lock, LEFT_OVER_ERRNO)));
}

}  // namespace
