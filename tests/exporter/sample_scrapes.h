// Scrapes and Gateways for tests of what is made of them.
// Not read from a Gateway.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef TESTS_EXPORTER_SAMPLE_SCRAPES_H
#define TESTS_EXPORTER_SAMPLE_SCRAPES_H

#include <chrono>
#include <memory>
#include <utility>

#include "fleet.h"

namespace tools::exporter {

inline std::chrono::system_clock::time_point secondsSince1970(double seconds) {
    return std::chrono::system_clock::time_point(
        std::chrono::duration_cast<std::chrono::system_clock::duration>(
            std::chrono::duration<double>(seconds)));
}

constexpr double SAMPLE_TIME = 1'700'000'000.5;  // 2023-11-14 22:13:20 UTC

inline Scrape goodScrape() {
    return {.gateway = {"127.0.0.1", 27400},
            .time = secondsSince1970(SAMPLE_TIME),
            .protocolVersion = "1.2",
            .took = {std::chrono::milliseconds(1), std::chrono::microseconds(2500),
                     std::chrono::microseconds(250)},
            .groups = {"CPU", "MEMORY"},
            .readings = {{0, "LOAD", "0.25"}, {1, "FREE_KB", "18446744073709551615"}}};
}

inline Scrape failedScrape(Reason reason, std::string text) {
    return {.gateway = {"gw2.example.org", 27400},
            .time = secondsSince1970(SAMPLE_TIME),
            .failure = Failure{reason, std::move(text)}};
}

inline Fleet::Member memberOf(Scrape scrape) {
    const Endpoint gateway = scrape.gateway;
    return {gateway, true, std::make_shared<const Scrape>(std::move(scrape))};
}

}  // namespace tools::exporter

#endif
