// Signals as something to wait for beside keys and deliveries, rather than as interruptions.
// Not for the library, which handles no signal.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "signals.h"

#include <sys/signalfd.h>

namespace tools::zolstat::watch {
namespace {

bool isIgnored(int signal) {
    struct sigaction action {};
    return sigaction(signal, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

sigset_t setOf(std::initializer_list<int> signals) {
    sigset_t set;
    sigemptyset(&set);
    for (const int signal : signals) {
        if (!isIgnored(signal)) {
            sigaddset(&set, signal);
        }
    }
    return set;
}

int openBlocked(const sigset_t& set, sigset_t& before) {
    pthread_sigmask(SIG_BLOCK, &set, &before);
    return signalfd(-1, &set, SFD_CLOEXEC | SFD_NONBLOCK);
}

}  // namespace

Signals::Signals(std::initializer_list<int> signals)
    : descriptor_(openBlocked(setOf(signals), before_), "signalfd") {}

Signals::~Signals() {
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
}

std::optional<int> Signals::take() {
    signalfd_siginfo info{};
    return read(descriptor_.number(), &info, sizeof info) == sizeof info
               ? std::optional(static_cast<int>(info.ssi_signo))
               : std::nullopt;
}

void stopProcess() {
    struct sigaction usual {};
    struct sigaction before {};
    usual.sa_handler = SIG_DFL;
    sigaction(SIGTSTP, &usual, &before);
    raise(SIGTSTP);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGTSTP);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);  // here it stops
    pthread_sigmask(SIG_BLOCK, &set, nullptr);
    sigaction(SIGTSTP, &before, nullptr);
}

}  // namespace tools::zolstat::watch
