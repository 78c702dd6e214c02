// Sending to a peer that has gone: an error code for the caller, and no signal for the process, whatever its
// disposition is. Here the Gateway is in the process, as it can tell when it has gone. What the library
// promises stands in zolstats.h under Conventions.
#include <csignal>

#include "api/client.h"
#include "process_state.h"

namespace {

using namespace api;

volatile std::sig_atomic_t signalsSeen = 0;

void countSignal(int) {
    signalsSeen = signalsSeen + 1;
}

// While it lives, a signal is blocked or let through in this thread.
class SignalMask {
  public:
    SignalMask(int how, int signalNumber) {
        sigset_t set{};
        ::sigaddset(&set, signalNumber);
        ::pthread_sigmask(how, &set, &kept_);
    }
    ~SignalMask() { ::pthread_sigmask(SIG_SETMASK, &kept_, nullptr); }
    SignalMask(const SignalMask&) = delete;
    SignalMask& operator=(const SignalMask&) = delete;

  private:
    sigset_t kept_{};
};

class BrokenConnection : public Connected {
  protected:
    ~BrokenConnection() override { std::signal(SIGPIPE, SIG_DFL); }

    void breakConnection() {
        gateway_.server().dropConnections();
        gateway_.server().waitForConnections(0);
    }
    // The first send meets the reset, the ones after it a pipe that is known to be broken; so does the close
    // request. This query leaves its connection open.
    void sendIntoTheVoid() {
        breakConnection();
        for (int each = 0; each < 3; ++each) {
            EXPECT_EQ(getStatsByStatGroupId(token_, "G1", &set_), ZOLSTATS_CONNECTION_LOST);
        }
        EXPECT_EQ(closeGatewayConnection(&token_), 0);
    }
    int openAndSendIntoTheVoid() {
        const int rc = open();
        sendIntoTheVoid();
        return rc;
    }
};

TEST_F(BrokenConnection, DoesNotEndAProcessThatLeavesTheSignalAtItsDefault) {
    std::signal(SIGPIPE, SIG_DFL);
    const SignalMask letThrough(SIG_UNBLOCK, SIGPIPE);
    sendIntoTheVoid();
}

TEST_F(BrokenConnection, CallsNoHandlerOfTheApplication) {
    signalsSeen = 0;
    std::signal(SIGPIPE, countSignal);
    const SignalMask letThrough(SIG_UNBLOCK, SIGPIPE);
    sendIntoTheVoid();
    EXPECT_EQ(signalsSeen, 0);
}

TEST_F(BrokenConnection, LeavesNoSignalPendingForAThreadThatBlocksIt) {
    const SignalMask blocked(SIG_BLOCK, SIGPIPE);
    sendIntoTheVoid();
    const sigset_t pending = limits::pendingSignals();
    EXPECT_EQ(::sigismember(&pending, SIGPIPE), 0);
}

TEST_F(BrokenConnection, RaisesNothingInAnotherThreadEither) {
    signalsSeen = 0;
    std::signal(SIGPIPE, countSignal);
    closeGatewayConnection(&token_);
    const SignalMask blocked(SIG_BLOCK, SIGPIPE);
    EXPECT_EQ(inAnotherThread([this] {
                  const SignalMask letThrough(SIG_UNBLOCK, SIGPIPE);
                  return openAndSendIntoTheVoid();
              }),
              0);
    EXPECT_EQ(signalsSeen, 0);
}

TEST_F(BrokenConnection, ThatAQueryDropsRaisesNothingByItsCloseRequest) {
    signalsSeen = 0;
    std::signal(SIGPIPE, countSignal);
    breakConnection();
    EXPECT_EQ(getStats(token_, &set_), ZOLSTATS_CONNECTION_LOST);
    EXPECT_EQ(getStats(token_, &set_), ZOLSTATS_TOKEN_NOT_FOUND);
    EXPECT_EQ(signalsSeen, 0);
}

}  // namespace
