// What tests of scrapes share: how a scrape is asked for, and how its result is told in a few words.
// Not a Gateway: those are in support/ and tools/.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_EXPORTER_WORKER_FIXTURE_H
#define ZOLSTATS_TESTS_EXPORTER_WORKER_FIXTURE_H

#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "fleet.h"
#include "server.h"

namespace tools::exporter {

using namespace std::chrono_literals;

constexpr auto AMPLE = 20s;  // no scrape that is to succeed takes so long, on the slowest machine

inline Endpoint at(int port) {
    return {"127.0.0.1", port};
}

// "GROUP.ID=VALUE" of each reading.
inline std::vector<std::string> readingsOf(const Scrape& scrape) {
    std::vector<std::string> texts;
    for (const Reading& reading : scrape.readings) {
        texts.push_back(scrape.groups.at(reading.group) + '.' + reading.id + '=' + reading.value);
    }
    return texts;
}

// "ok", or the name of the reason why not.
inline std::string outcomeOf(const Scrape& scrape) {
    return scrape.failure ? REASON_NAMES.at(static_cast<std::size_t>(scrape.failure->reason)) : "ok";
}

constexpr std::uint32_t HANDSHAKE = 5;

inline std::size_t handshakes(const gateway::Server& server) {
    const auto requests = server.requests();
    return static_cast<std::size_t>(std::count_if(
        requests.begin(), requests.end(), [](const auto& request) { return request.type == HANDSHAKE; }));
}

class Stopwatch {
  public:
    Clock::duration time() const { return Clock::now() - start_; }

  private:
    Clock::time_point start_ = Clock::now();
};

}  // namespace tools::exporter

#endif
