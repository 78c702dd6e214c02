// Ctrl-C as a wish to end in order: what has been found out so far can still be told.
// Not for the library, which handles no signal; and not for the watch, which waits for signals beside keys.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_INTERRUPTION_H
#define ZOLSTAT_INTERRUPTION_H

#include <csignal>

namespace tools::zolstat {

// While this object lives the first SIGINT is only noted; a second one ends the process. Where the process was started
// to ignore it, it stays ignored. One at a time.
class Interruption {
  public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    bool noted() const;  // from any thread

  private:
    struct sigaction before_ {};
};

}  // namespace tools::zolstat

#endif
