// A connection to one Gateway that is kept from scrape to scrape, every call of which ends by a deadline.
// Not the place where it is decided when to open it and what to ask (scraper.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef EXPORTER_GATEWAY_CONNECTION_H
#define EXPORTER_GATEWAY_CONNECTION_H

#include <algorithm>
#include <atomic>
#include <memory>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <utility>
#include <zolstats/zolstats.hpp>

#include "deadline.h"
#include "scrape.h"

namespace tools::exporter {

class ScrapeFailed : public std::runtime_error {
  public:
    explicit ScrapeFailed(Failure failure) : std::runtime_error(failure.text), failure_(std::move(failure)) {}
    const Failure& failure() const { return failure_; }

  private:
    Failure failure_;
};

// Used by one thread, save where it says otherwise. Throws ScrapeFailed; after a query that failed the connection is
// of no more use.
class GatewayConnection {
  public:
    GatewayConnection(Endpoint gateway, Clock::duration longestCall)
        : gateway_(std::move(gateway)), longestCall_(longestCall) {}

    // When a call that begins now is over: by the deadline, or earlier.
    Clock::time_point endOfCall(const Deadline& deadline) const {
        return std::min(deadline.end(), Clock::now() + longestCall_);
    }
    // Tries the addresses of the host one after another, each with its share of the time that is left.
    void open(const Deadline& deadline);
    bool isOpen() const { return kept_.has_value(); }
    void close();
    // From any thread, once and for all: ends a query that is under way, and lets none begin. What only its time
    // ends, the opening of a connection, ends by itself.
    void cancel();

    std::string protocolVersion() const;
    // What is read of an answer must be read before the next query.
    zolstats::Identifiers groups(const Deadline& deadline);
    zolstats::Statistics statisticsOfGroup(const std::string& group, const Deadline& deadline);

  private:
    // The library knows so many connections in one process and no more, those of all Gateways together.
    class Slot {
      public:
        Slot();
        ~Slot();
        Slot(const Slot&) = delete;
        Slot& operator=(const Slot&) = delete;
    };
    struct Kept {
        std::unique_ptr<Slot> slot;
        zolstats::Connection connection;  // gone before its slot is free
    };
    class Asking;

    void openAddress(const std::string& address, Clock::time_point end);
    Failure openFailure(int code, const std::string& address, Clock::time_point end) const;
    void throwIfCancelled() const;
    template <typename Query>
    auto ask(const Deadline& deadline, Query query);

    const Endpoint gateway_;
    const Clock::duration longestCall_;
    std::atomic<bool> isCancelled_ = false;
    std::mutex mutex_;  // guards what follows; only the owning thread changes what is kept
    std::optional<Kept> kept_{};
    bool isAsking_ = false;
};

}  // namespace tools::exporter

#endif
