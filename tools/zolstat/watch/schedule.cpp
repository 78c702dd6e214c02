// When a watch reads, and when it tries again after a failure.
// Has no clock of its own: moments are given.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "schedule.h"

namespace tools::zolstat::watch {

Moment Ticks::after(Moment now) const {
    return start_ + (std::chrono::nanoseconds(now - start_) / interval_ + 1) * interval_;
}

}  // namespace tools::zolstat::watch
