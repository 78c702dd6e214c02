// Tells on a terminal that a connection is long in coming, so that nobody wonders.
// Not a limit: how long anything may take is the library's concern.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_PATIENCE_H
#define ZOLSTAT_PATIENCE_H

#include <chrono>
#include <condition_variable>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "common/endpoint.h"

namespace tools::zolstat {

// From the second second on a line on standard error names who is waited for and counts the seconds; it is wiped when
// the waiting ends. Nothing is written where standard error is no terminal.
class Patience {
    struct Wait {
        std::string gateway;
        std::chrono::steady_clock::time_point start;
    };

  public:
    Patience();
    ~Patience();
    Patience(const Patience&) = delete;
    Patience& operator=(const Patience&) = delete;

    // Stands for the time that one Gateway is waited for.
    class Waiting {
      public:
        Waiting(Patience& patience, std::list<Wait>::iterator wait) : patience_(&patience), wait_(wait) {}
        ~Waiting() {
            if (patience_ != nullptr) {
                patience_->end(wait_);
            }
        }
        Waiting(Waiting&& other) noexcept
            : patience_(std::exchange(other.patience_, nullptr)), wait_(other.wait_) {}
        Waiting& operator=(Waiting&&) = delete;

      private:
        Patience* patience_;
        std::list<Wait>::iterator wait_;
    };

    [[nodiscard]] Waiting waitFor(const Endpoint& gateway);  // may be called by any thread
    // The line is wiped, and stays away as long as this is kept: for what is to be written meanwhile.
    [[nodiscard]] std::unique_lock<std::mutex> giveWay();

  private:
    void end(std::list<Wait>::iterator wait);
    void tellEverySecond(const std::stop_token& stop);
    std::string line() const;
    void show(const std::string& line);

    std::mutex mutex_;
    std::condition_variable_any changed_;
    std::list<Wait> waits_;
    bool shown_ = false;
    std::jthread thread_;  // last: it uses what stands above
};

// What the line says; at most `width` long: those who have no room in it are counted only.
std::string waitingLine(const std::vector<std::string>& gateways, std::chrono::seconds waited,
                        std::size_t width);

}  // namespace tools::zolstat

#endif
