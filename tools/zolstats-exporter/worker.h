// The thread that asks one Gateway: it keeps the connection between scrapes and answers all who ask at the same time
// with one scrape.
// Not the place where the Gateways of a process are counted (fleet.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef EXPORTER_WORKER_H
#define EXPORTER_WORKER_H

#include <chrono>
#include <cstddef>
#include <future>
#include <memory>
#include <stdexcept>

#include "common/detachable_thread.h"
#include "deadline.h"
#include "scrape.h"

namespace tools::exporter {

// How a worker treats its connection.
struct Habits {
    // So long after the last scrape the connection is closed.
    std::chrono::milliseconds idle{300000};
    // After a failed attempt to open, doubled by each further one. Meanwhile scrapes fail as that attempt did.
    std::chrono::milliseconds firstPause{500};
    std::chrono::milliseconds longestPause{15000};
    // No call at the Gateway takes longer, however patient the clients are; with time left, one begins anew.
    std::chrono::milliseconds longestCall{9000};
};

// Whose scrape it is: the owner's is never refused, and comes before those of probes that wait.
enum class Rank { Probe, Owner };

constexpr std::size_t MOST_WAITING = 8;

// MOST_WAITING scrapes of other selections wait for the Gateway already.
class TooManyWaiting : public std::runtime_error {
  public:
    TooManyWaiting();
};

// Every call may come from any thread.
class Worker {
  public:
    Worker(Endpoint gateway, Habits habits);
    // Stops, and waits a moment for the end of the thread. If that is stuck in the resolver, or opens a connection, it
    // ends by itself later.
    ~Worker();
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    // Ends a scrape that is under way, without waiting: those who wait for it are told a failure. Nothing may be asked
    // of it afterwards.
    void stop() noexcept;

    // Joins the scrape of the same selection that is waiting or under way, or asks for a new one. The result comes at
    // about the deadline at the latest, save that a resolver takes its own time, and that a scrape of another selection
    // may be under way: who must be on time waits no longer than until the deadline and calls the scrape timed out
    // (resultBy() in fleet.h). One whose deadline is later than that of the scrape it joins gives it that time too.
    // Throws TooManyWaiting.
    std::shared_future<ScrapeResult> scrape(const Selection& selection, Clock::time_point deadline,
                                            Rank rank = Rank::Probe);

    // What the last scrape has found out; null before the first.
    ScrapeResult last() const;
    // Whether a scrape is waiting or under way.
    bool isBusy() const;
    // Whether nobody has asked for so long that the connection was closed.
    bool isIdle() const;

  private:
    class Implementation;
    std::shared_ptr<Implementation> implementation_;  // by the thread too: it may outlive this object
    DetachableThread thread_;
};

}  // namespace tools::exporter

#endif
