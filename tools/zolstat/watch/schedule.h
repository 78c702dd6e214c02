// When a watch reads, and when it tries again after a failure.
// Has no clock of its own: moments are given.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_SCHEDULE_H
#define ZOLSTAT_WATCH_SCHEDULE_H

#include <chrono>

#include "trend.h"

namespace tools::zolstat::watch {

// Moments at equal distances from a start: however late one is kept, those after it stay where they are.
class Ticks {
  public:
    Ticks(Moment start, std::chrono::nanoseconds interval) : start_(start), interval_(interval) {}

    std::chrono::nanoseconds interval() const { return interval_; }
    // Those that have passed meanwhile are left out.
    Moment after(Moment now) const;

  private:
    Moment start_;
    std::chrono::nanoseconds interval_;
};

// Between attempts to reach a Gateway that is lost.
constexpr std::chrono::milliseconds FIRST_PAUSE{500};
constexpr std::chrono::milliseconds LONGEST_PAUSE{30000};

}  // namespace tools::zolstat::watch

#endif
