// A connection to one Gateway: each address of its name tried, answers as plain records, one thing asked for at a time.
// Not the place for decisions about what to ask or show; those are the commands'.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTAT_SESSION_H
#define ZOLSTAT_SESSION_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>
#include <zolstats/zolstats.hpp>

#include "common/asking.h"
#include "common/endpoint.h"
#include "sample.h"

namespace tools::zolstat {

// What failed, as it is to be told: thrown by everything here.
class SessionFailed : public std::runtime_error {
  public:
    explicit SessionFailed(Failure failure)
        : std::runtime_error(failure.text), failure_(std::move(failure)) {}
    const Failure& failure() const { return failure_; }

  private:
    Failure failure_;
};

struct Statistic {
    std::string id;
    std::string value;
};

// What the Gateway said to a query: items, or a negative code if it rejected what was asked for.
template <typename Item>
struct Answer {
    std::int32_t code = 0;
    std::vector<Item> items;

    bool rejected() const { return code < 0; }
};

using Ids = Answer<std::string>;
using Statistics = Answer<Statistic>;

// The library's code as a failure: how it shows in the exit code of a query.
Failure queryFailure(const zolstats::Error& error);

// To be used by the thread that made it. After a SessionFailed it is of no more use.
// Each query asks for one thing only: the protocol cannot tell what follows an answer without items, so a group that
// has no statistics would spoil those after it in the same answer.
class Session {
  public:
    // Every call, opening included, takes no longer than `limit` (zero: for ever); each address has a limit to itself,
    // and resolving the name takes as long as the system's resolver does.
    Session(const Endpoint& gateway, std::chrono::milliseconds limit);

    const Endpoint& gateway() const { return gateway_; }
    const std::string& address() const { return address_; }  // the numeric one that answered
    std::string protocolVersion() const { return std::string(connection_.protocolVersion()); }
    // For what the queries below do not offer.
    zolstats::Connection& connection() { return connection_; }

    Ids groups();
    Ids ids();
    Ids idsOfGroup(const std::string& group);
    Statistics statisticsOfGroup(const std::string& group);
    Statistics statistic(const std::string& id);

  private:
    struct Opened {
        std::string address;
        zolstats::Connection connection;
    };
    static Opened open(const Endpoint& gateway, std::chrono::milliseconds limit);
    Session(Endpoint gateway, std::chrono::milliseconds limit, Opened opened);

    template <typename Item, typename Query>
    Answer<Item> ask(Query query) const;

    Endpoint gateway_;
    std::chrono::milliseconds limit_;
    std::string address_;
    zolstats::Connection connection_;
};

}  // namespace tools::zolstat

#endif
