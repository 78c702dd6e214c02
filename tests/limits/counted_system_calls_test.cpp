// The means by which other tests tell which system calls are made.
#include "support/counted_system_calls.h"

#include <gmock/gmock.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <stdexcept>
#include <vector>

namespace {

using testing_support::systemCallsOf;

void nothing() {}

void askForParent() {
    ::syscall(SYS_getppid);
}

TEST(CountedSystemCalls, TellsTheCallsOfTheActionInTheirOrder) {
    const auto action = [] {
        askForParent();
        ::syscall(SYS_getuid);
        askForParent();
    };
    EXPECT_THAT(systemCallsOf(nothing, action), testing::ElementsAre(SYS_getppid, SYS_getuid, SYS_getppid));
}

TEST(CountedSystemCalls, TellsNoneOfAnActionThatMakesNone) {
    EXPECT_THAT(systemCallsOf(nothing, nothing), testing::IsEmpty());
}

TEST(CountedSystemCalls, LeavesOutWhatPreparesTheAction) {
    EXPECT_THAT(systemCallsOf(askForParent, nothing), testing::IsEmpty());
}

TEST(CountedSystemCalls, LetsTheActionUseWhatWasPreparedForIt) {
    int prepared = 0;
    const auto action = [&prepared] {
        for (int call = 0; call < prepared; ++call) {
            askForParent();
        }
    };
    EXPECT_THAT(systemCallsOf([&prepared] { prepared = 3; }, action), testing::SizeIs(3));
    EXPECT_EQ(prepared, 0) << "the child's variables are its own";
}

TEST(CountedSystemCalls, DeliversSignals) {
    static volatile sig_atomic_t delivered = 0;
    const auto prepare = [] { ::signal(SIGUSR1, [](int) { delivered = 1; }); };
    const auto action = [] {
        ::syscall(SYS_tgkill, ::syscall(SYS_getpid), ::syscall(SYS_gettid), SIGUSR1);
        if (delivered == 1) {
            askForParent();
        }
    };
    EXPECT_THAT(systemCallsOf(prepare, action), testing::Contains(SYS_getppid));
}

TEST(CountedSystemCalls, FailsWithAnActionThatThrows) {
    EXPECT_THROW(systemCallsOf(nothing, [] { throw 1; }), std::runtime_error);
}

TEST(CountedSystemCalls, FailsWithAPreparationThatThrows) {
    EXPECT_THROW(systemCallsOf([] { throw 1; }, nothing), std::runtime_error);
}

TEST(CountedSystemCalls, FailsWithAnActionThatEndsTheChild) {
    EXPECT_THROW(systemCallsOf(nothing, [] { ::raise(SIGKILL); }), std::runtime_error);
    EXPECT_THROW(systemCallsOf(nothing, [] { ::_exit(1); }), std::runtime_error);
}

}  // namespace
