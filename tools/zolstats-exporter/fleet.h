// The Gateways that this process looks after: a worker for each that is configured, and for each that a probe names.
// Not the place where it is decided who may be probed (configuration.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef EXPORTER_FLEET_H
#define EXPORTER_FLEET_H

#include <cstddef>
#include <memory>
#include <stdexcept>
#include <vector>

#include "worker.h"

namespace tools::exporter {

// As many connections as the library opens in one process.
constexpr std::size_t MOST_GATEWAYS = 256;

// There are MOST_GATEWAYS already, which are configured or being asked.
class FleetIsFull : public std::runtime_error {
  public:
    FleetIsFull();
};

// Every call may come from any thread.
class Fleet {
  public:
    explicit Fleet(Habits habits = {});
    ~Fleet();
    Fleet(const Fleet&) = delete;
    Fleet& operator=(const Fleet&) = delete;

    // The Gateways that have a worker whether or not they are asked, at most MOST_GATEWAYS; those of an earlier call
    // that are not among them any more are let go, once nobody waits for a scrape of theirs; that is not waited for.
    void configure(const std::vector<Endpoint>& gateways);

    // Ends all scrapes under way: who waits for one is told a failure, and so is whoever asks afterwards.
    void stop();

    // Of the probed ones that are not being asked, the one that was asked for longest ago gives its place to another.
    // Throws FleetIsFull and TooManyWaiting.
    std::shared_future<ScrapeResult> scrape(const Endpoint& gateway, const Selection& selection,
                                            Clock::time_point deadline, Rank rank = Rank::Probe);

    // What is known of each, the configured ones first, then the probed ones by name.
    struct Member {
        Endpoint gateway;
        bool isConfigured = false;
        ScrapeResult last;  // null before the first scrape
    };
    std::vector<Member> members() const;

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

// What a future holds some moments after the deadline: its result, or a scrape that has timed out, which then has
// waited since `begin` for an answer. May be asked for late.
ScrapeResult resultBy(Clock::time_point deadline, const std::shared_future<ScrapeResult>& scrape,
                      const Endpoint& gateway, Clock::time_point begin);

}  // namespace tools::exporter

#endif
