// Signals as something to wait for beside keys and deliveries, rather than as interruptions.
// Not for the library, which handles no signal.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_SIGNALS_H
#define ZOLSTAT_WATCH_SIGNALS_H

#include <csignal>
#include <initializer_list>
#include <optional>

#include "descriptor.h"
#include "exit_code.h"

namespace tools::zolstat::watch {

// While this object lives the signals wait to be taken, in this thread and in those that it starts later. A
// signal that the process was started to ignore stays ignored.
class Signals {
  public:
    Signals(std::initializer_list<int> signals);
    ~Signals();
    Signals(const Signals&) = delete;
    Signals& operator=(const Signals&) = delete;

    std::optional<int> take();
    int descriptor() const { return descriptor_.number(); }

  private:
    sigset_t before_{};
    Descriptor descriptor_;
};

// Stops the process as its SIGTSTP, one of the signals above, would have; returns when it is continued.
void stopProcess();

// As a shell tells that a signal has ended a program.
constexpr ExitCode endedBy(int signal) {
    return static_cast<ExitCode>(128 + signal);
}

}  // namespace tools::zolstat::watch

#endif
