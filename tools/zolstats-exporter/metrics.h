// Scrapes as metrics: which there are, how they are named and labelled.
// Not the place where a Gateway is asked (worker.h) or where the formats are written (common/exposition.h).
// Every metric is described in docs/prometheus.md.
#ifndef EXPORTER_METRICS_H
#define EXPORTER_METRICS_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "common/exposition.h"
#include "mapping.h"
#include "pattern.h"
#include "scrape.h"

namespace tools::exporter {

struct Rendering {
    bool labelsGateways = false;  // with the label `gateway`, where an exposition tells of several
    std::chrono::duration<double> timeout{};  // how long the scrapes might take
    const Mapping& mapping;
    const std::vector<Pattern>& info;  // ids whose texts are told by zol_stat_info; others are left out
};

void addScrape(Exposition& exposition, const Scrape& scrape, const Rendering& rendering);

// What the exporter tells of itself, on /metrics only.
struct OwnFigures {
    std::uint64_t scrapes = 0;  // of Gateways, since the start
    std::size_t gateways = 0;   // that have a worker
    std::size_t requestsInFlight = 0;
    std::uint64_t requestsRefused = 0;  // because too many were in flight
    bool lastReloadWorked = true;
    std::chrono::system_clock::time_point lastGoodReload{};
};
void addOwnFigures(Exposition& exposition, const OwnFigures& figures);

// process_cpu_seconds_total, process_resident_memory_bytes, process_open_fds and the others that every client
// library of Prometheus has. A figure that the system does not give is left out.
void addProcessFigures(Exposition& exposition);

}  // namespace tools::exporter

#endif
