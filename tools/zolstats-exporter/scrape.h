// What one scrape of a Gateway has found out: readings, how long each phase took, and what went wrong.
// Not the place where a Gateway is asked (worker.h) or where readings become metrics (metrics.h).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef EXPORTER_SCRAPE_H
#define EXPORTER_SCRAPE_H

#include <array>
#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/endpoint.h"

namespace tools::exporter {

// Why a scrape has failed, or a part of it. The set is closed: each is a series of its own, 0 or 1.
enum class Reason {
    Resolve,      // the host's name stands for no address
    Connect,      // nothing listens there, or the network does not lead there
    Timeout,      // the deadline came first, whatever was under way
    NotAGateway,  // what answers does not speak the protocol, or refuses
    Lost,         // the connection ended while the Gateway was asked
    Rejected,     // a group cannot be read; the rest of the scrape is good
    Internal      // the exporter itself could not do it
};
inline constexpr std::array REASON_NAMES{"resolve", "connect",  "timeout", "not_a_gateway",
                                         "lost",    "rejected", "internal"};

struct Failure {
    Reason reason = Reason::Internal;
    std::string text{};  // for people, one line
};

struct Phases {
    // Resolving, connecting, authorising; zero where the connection was kept.
    std::chrono::duration<double> open{};
    // All queries, from the request to the whole answer.
    std::chrono::duration<double> query{};
    // Reading the items out of the answers.
    std::chrono::duration<double> walk{};
};

struct Reading {
    std::size_t group = 0;  // an index of Scrape::groups
    std::string id;
    std::string value;  // any bytes
};

// Shared by all who asked while it was under way, and not changed any more.
struct Scrape {
    Endpoint gateway;
    std::chrono::system_clock::time_point time{};  // of its end
    std::optional<Failure> failure{};              // of the scrape as a whole: there are no readings then
    // Asked for by name: refused by the Gateway, or no query can carry the name.
    std::vector<std::string> rejectedGroups{};
    // Listed by the Gateway, named by nobody, and not to be read.
    std::size_t unreadableGroups = 0;
    std::string protocolVersion{};  // empty if unknown
    Phases took{};
    std::vector<std::string> groups{};  // those that were read, in the Gateway's order
    std::vector<Reading> readings{};    // in the Gateway's order
};
using ScrapeResult = std::shared_ptr<const Scrape>;

// Which groups to ask for, in this order, each once; none stands for all that the Gateway has.
using Selection = std::vector<std::string>;

}  // namespace tools::exporter

#endif
