// When a scrape is over.
// Not a timer: whoever waits looks at it.
// Nothing here comes from the protocol.
#ifndef EXPORTER_DEADLINE_H
#define EXPORTER_DEADLINE_H

#include <atomic>
#include <chrono>

namespace tools::exporter {

using Clock = std::chrono::steady_clock;

// Read by the thread that scrapes, moved on by one thread at a time.
class Deadline {
  public:
    explicit Deadline(Clock::time_point end) : end_(end) {}

    void moveTo(Clock::time_point end) {
        if (end > end_.load()) {
            end_ = end;
        }
    }
    Clock::time_point end() const { return end_; }
    bool hasPassed() const { return Clock::now() >= end(); }

  private:
    std::atomic<Clock::time_point> end_;
};

}  // namespace tools::exporter

#endif
