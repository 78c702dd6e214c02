// Signals that interrupt a blocking call again and again, and at the third do what it waits for. They count from
// when everything that came before has been read.
// The signals come from a timer of the process: one Interruptions at a time, in a test with one thread.
// What the other end says then is peer.h's business.
#ifndef ZOLSTATS_TESTS_INTERRUPTIONS_H
#define ZOLSTATS_TESTS_INTERRUPTIONS_H

#include <sys/time.h>

#include <cerrno>
#include <csignal>

#include "support/peer.h"

namespace testing_support {

class Interruptions {
  public:
    // action runs in a signal handler: it may use the peer, but must not allocate.
    using Action = void (*)(const Peer&);

    Interruptions(const Peer& peer, Action action) {
        peer_ = &peer;
        action_ = action;
        count_ = 0;
        struct sigaction handler {};
        handler.sa_handler = interrupt;  // without SA_RESTART, so that the call fails with EINTR
        sigaction(SIGALRM, &handler, &kept_);
        setTimer(1000);
    }
    ~Interruptions() {
        setTimer(0);
        sigaction(SIGALRM, &kept_, nullptr);
    }
    Interruptions(const Interruptions&) = delete;
    Interruptions& operator=(const Interruptions&) = delete;

  private:
    static void setTimer(suseconds_t intervalUs) {
        const itimerval timer{{0, intervalUs}, {0, intervalUs}};
        setitimer(ITIMER_REAL, &timer, nullptr);
    }

    static void interrupt(int) {
        const int keptErrno = errno;
        if (count_ < 3 && peer_->isReadUp()) {
            count_ = count_ + 1;
            if (count_ == 3) {
                action_(*peer_);
            }
        }
        errno = keptErrno;
    }

    static inline const Peer* peer_ = nullptr;
    static inline Action action_ = nullptr;
    static inline volatile std::sig_atomic_t count_ = 0;
    struct sigaction kept_ {};
};

}  // namespace testing_support

#endif
