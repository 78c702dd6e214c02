// Pauses between attempts, so that a peer that is down is not beset.
// Has no clock of its own, and waits for nothing.
// Nothing here comes from the protocol.
#ifndef TOOLS_COMMON_GROWING_PAUSE_H
#define TOOLS_COMMON_GROWING_PAUSE_H

#include <algorithm>
#include <chrono>
#include <utility>

namespace tools {

// Each twice as long as the one before, up to the longest.
class GrowingPause {
  public:
    GrowingPause(std::chrono::milliseconds first, std::chrono::milliseconds longest)
        : first_(std::min(first, longest)), longest_(longest), pause_(first_) {}

    // Written so that no pause, however long, doubles beyond what its type holds.
    std::chrono::milliseconds next() {
        return std::exchange(pause_, pause_ > longest_ / 2 ? longest_ : pause_ * 2);
    }
    void reset() { pause_ = first_; }

  private:
    std::chrono::milliseconds first_;
    std::chrono::milliseconds longest_;
    std::chrono::milliseconds pause_;
};

}  // namespace tools

#endif
