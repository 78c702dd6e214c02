// The time that an exchange may take: one deadline for a whole call, whatever the peer and the system do, and the
// same system calls as ever without a limit. How the application sets the limit is tested in
// api/api_time_limit_test.cpp. What an exchange is, is written down in docs/protocol.md.
#include <gmock/gmock.h>

#include <chrono>
#include <string>
#include <vector>

#include "stapi_zol_socketcomms.h"
#include "support/bytes.h"
#include "support/interruptions.h"
#include "support/message_buffer.h"
#include "support/peer.h"
#include "support/system_calls.h"

using testing::AllOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::IsEmpty;
using testing::Le;
using testing::Lt;
using namespace testing_support;

namespace {

constexpr int LIMIT_MS = 60;
constexpr int FAR_TOO_LONG_MS = 5000;

// The reports of calls whose time is up.
std::vector<std::string> reports;

void report(const char* call, int limitMs) {
    reports.push_back(std::string(call) + " " + std::to_string(limitMs));
}

class TimedExchange : public testing::Test {
  protected:
    TimedExchange() { reports.clear(); }
    ~TimedExchange() override { zolstats::setTimeLimit(0); }

    int handshake() { return flowHandshakeRequest(peer_.descriptor(), &reasons_); }
    // One call as the application makes it.
    int timedHandshake(int limitMs = LIMIT_MS) {
        zolstats::setTimeLimit(limitMs);
        const zolstats::TimedCall call("handshake", report);
        return handshake();
    }
    template <class Action>
    static int msOf(Action action) {
        const auto start = std::chrono::steady_clock::now();
        action();
        return static_cast<int>(
            std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start)
                .count());
    }
    void replyToHandshake() const { peer_.reply(message({.name = "BASE", .type = 5}, "")); }

    Peer peer_;
    FlowReasons reasons_{};
    SystemCalls system_;
};

// ---- Without a limit

TEST_F(TimedExchange, WithoutALimitWaitsOnceAndForEver) {
    std::vector<int> timeouts;
    system_.poll = [&](pollfd*, nfds_t, int timeoutMs) {
        timeouts.push_back(timeoutMs);
        return std::nullopt;
    };
    replyToHandshake();
    EXPECT_EQ(timedHandshake(0), 0);
    EXPECT_THAT(timeouts, ElementsAre(-1));
}

TEST_F(TimedExchange, WithoutALimitSetsNothingOnTheSocket) {
    int calls = 0;
    system_.setsockopt = [&](int, int, int, const void*, socklen_t) {
        ++calls;
        return std::nullopt;
    };
    replyToHandshake();
    EXPECT_EQ(timedHandshake(0), 0);
    EXPECT_EQ(calls, 0);
}

// ---- With one

TEST_F(TimedExchange, InTimeSucceeds) {
    replyToHandshake();
    EXPECT_EQ(timedHandshake(FAR_TOO_LONG_MS), 0);
    EXPECT_THAT(reports, IsEmpty());
}

TEST_F(TimedExchange, NeverWaitsLongerThanItsLimit) {
    std::vector<int> timeouts;
    system_.poll = [&](pollfd*, nfds_t, int timeoutMs) {
        timeouts.push_back(timeoutMs);
        return std::nullopt;
    };
    replyToHandshake();
    EXPECT_EQ(timedHandshake(FAR_TOO_LONG_MS), 0);
    EXPECT_THAT(timeouts, Each(AllOf(Ge(0), Le(FAR_TOO_LONG_MS))));
}

TEST_F(TimedExchange, EndsAsALostConnectionWhenNothingComes) {
    int rc = 0;
    EXPECT_THAT(msOf([&] { rc = timedHandshake(); }), AllOf(Ge(LIMIT_MS), Lt(FAR_TOO_LONG_MS)));
    EXPECT_EQ(rc, -1);
    EXPECT_THAT(reports, ElementsAre("handshake 60"));
}

TEST_F(TimedExchange, EndsAsALostConnectionWhenTheReplyStops) {
    peer_.reply("Gate");
    EXPECT_EQ(timedHandshake(), -1);
    EXPECT_EQ(reasons_.errnoValue, ETIMEDOUT);
}

TEST_F(TimedExchange, ShutsTheSocketDown) {
    timedHandshake();
    zolstats::setTimeLimit(0);
    EXPECT_LT(msOf([&] { EXPECT_EQ(handshake(), -1); }), FAR_TOO_LONG_MS);
    EXPECT_EQ(reasons_.errnoValue, EPIPE);
}

// What has come is not read any more: it would be the answer to a later request.
TEST_F(TimedExchange, IsOverEvenIfTheReplyIsThereByThen) {
    system_.send = [&](int, const void*, size_t size, int) -> std::optional<ssize_t> {
        SystemCalls::stop();
        ::poll(nullptr, 0, LIMIT_MS);
        replyToHandshake();
        return static_cast<ssize_t>(size);
    };
    EXPECT_EQ(timedHandshake(), -1);
}

TEST_F(TimedExchange, IsNotExtendedByInterruptions) {
    const Interruptions interruptions(peer_, [](const Peer&) {});
    int rc = 0;
    EXPECT_THAT(msOf([&] { rc = timedHandshake(); }), AllOf(Ge(LIMIT_MS), Lt(FAR_TOO_LONG_MS)));
    EXPECT_EQ(rc, -1);
}

TEST_F(TimedExchange, EndsWhenThePeerTakesNoRequest) {
    const int small = 1;
    ::setsockopt(peer_.descriptor(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    MessageBuffer request(std::string(1 << 20, 'r'));
    RequestHeader header{};
    zolstats::setTimeLimit(LIMIT_MS);
    const zolstats::TimedCall call("large", report);
    EXPECT_LT(msOf([&] {
                  EXPECT_EQ(flow(peer_.descriptor(), 1 << 20, &request.data, "Admin", &header, &reasons_),
                            -1);
              }),
              FAR_TOO_LONG_MS);
    EXPECT_THAT(reports, ElementsAre("large 60"));
}

TEST_F(TimedExchange, EndsWhenThereWasNoRoomForTheRequestInTime) {
    system_.send = [](int, const void*, size_t, int) {
        SystemCalls::stop();
        ::poll(nullptr, 0, LIMIT_MS);
        return failed(EAGAIN);
    };
    EXPECT_EQ(timedHandshake(), -1);
    EXPECT_EQ(reasons_.errnoValue, EAGAIN);
    EXPECT_THAT(reports, ElementsAre("handshake 60"));
}

TEST_F(TimedExchange, FailsWhenTheSystemCannotWait) {
    int waits = 0;
    system_.poll = [&](pollfd*, nfds_t, int) -> std::optional<int> {
        return ++waits == 1 ? std::optional<int>() : failed(ENOMEM);
    };
    replyToHandshake();
    EXPECT_EQ(timedHandshake(FAR_TOO_LONG_MS), -122);
    EXPECT_EQ(reasons_.errnoValue, ENOMEM);
    EXPECT_THAT(reports, IsEmpty());
}

TEST_F(TimedExchange, LeavesSendingWithoutALimitBehind) {
    replyToHandshake();
    timedHandshake(FAR_TOO_LONG_MS);
    timeval limit{1, 1};
    socklen_t size = sizeof limit;
    ::getsockopt(peer_.descriptor(), SOL_SOCKET, SO_SNDTIMEO, &limit, &size);
    EXPECT_EQ(limit.tv_sec, 0);
    EXPECT_EQ(limit.tv_usec, 0);
}

// ---- The call as a whole

TEST_F(TimedExchange, SharesItsTimeWithTheOthersOfTheCall) {
    zolstats::setTimeLimit(LIMIT_MS);
    const zolstats::TimedCall call("both", report);
    EXPECT_EQ(handshake(), -1);
    EXPECT_EQ(handshake(), -1);
    EXPECT_EQ(reasons_.errnoValue, ETIMEDOUT);
    EXPECT_THAT(reports, ElementsAre("both 60"));
}

TEST_F(TimedExchange, BelongsToTheOutermostCall) {
    zolstats::setTimeLimit(LIMIT_MS);
    const zolstats::TimedCall outer("outer", report);
    {
        const zolstats::TimedCall inner("inner", report);
        EXPECT_EQ(handshake(), -1);
    }
    EXPECT_TRUE(zolstats::timeWasUp());
    EXPECT_THAT(reports, ElementsAre("outer 60"));
}

TEST_F(TimedExchange, HasItsWholeTimeAgainAfterARestart) {
    zolstats::setTimeLimit(LIMIT_MS);
    const zolstats::TimedCall call("call", report);
    handshake();
    const Peer other;
    zolstats::restartTime();
    EXPECT_FALSE(zolstats::timeWasUp());
    EXPECT_GE(msOf([&] { flowHandshakeRequest(other.descriptor(), &reasons_); }), LIMIT_MS);
    EXPECT_THAT(reports, ElementsAre("call 60", "call 60"));
}

TEST_F(TimedExchange, TellsTheNextCallNothingOfThisOne) {
    timedHandshake();
    EXPECT_FALSE(zolstats::timeWasUp());
}

}  // namespace
