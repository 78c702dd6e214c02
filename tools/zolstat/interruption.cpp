// Ctrl-C as a wish to end in order.
// Not for the library, which handles no signal; and not for the watch, which waits for signals beside keys.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "interruption.h"

#include <atomic>

namespace tools::zolstat {
namespace {

std::atomic<bool> isNoted{false};
static_assert(
    std::atomic<bool>::is_always_lock_free);  // nothing else may be touched while a signal is handled

void note(int) {
    isNoted = true;
}

}  // namespace

Interruption::Interruption() {
    isNoted = false;
    sigaction(SIGINT, nullptr, &before_);
    if (before_.sa_handler != SIG_IGN) {
        struct sigaction noting {};
        noting.sa_handler = note;
        noting.sa_flags = SA_RESTART | static_cast<int>(SA_RESETHAND);  // the second one finds what was usual
        sigaction(SIGINT, &noting, nullptr);
    }
}

Interruption::~Interruption() {
    sigaction(SIGINT, &before_, nullptr);
}

bool Interruption::noted() const {
    return isNoted;
}

}  // namespace tools::zolstat
