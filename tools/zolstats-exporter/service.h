// What the exporter answers to each request: the routes, and the state that stands behind them.
// Not the place where HTTP is spoken (http/server.h), and not the place where Gateways are asked (fleet.h).
// Every path is described in docs/prometheus.md.
#ifndef EXPORTER_SERVICE_H
#define EXPORTER_SERVICE_H

#include <atomic>
#include <cstdint>
#include <future>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

#include "admission.h"
#include "common/exposition.h"
#include "configuration.h"
#include "fleet.h"
#include "http/server.h"
#include "metrics.h"

namespace tools::exporter {

// Every call may come from any thread.
class Service {
  public:
    // Serves from then on. Throws BadConfiguration, and std::runtime_error where it cannot listen.
    explicit Service(CommandLine commandLine);

    // Requests under way are answered with what there is: none is waited for, save a trace.
    ~Service();
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    Endpoint address() const;  // where it listens

    // Reads the configuration anew, and tells in a line what became of it. Throws BadConfiguration, and the old one
    // then stays in force.
    std::string reload();

  private:
    std::shared_ptr<const Configuration> configuration() const;

    http::Response answer(const http::Request& request);
    using Answer = http::Response (Service::*)(const http::Request&);
    struct Route;
    static const Route* routeFor(const std::string& path);

    http::Response metrics(const http::Request& request);
    http::Response probe(const http::Request& request);
    http::Response landing(const http::Request& request);
    http::Response live(const http::Request& request);
    http::Response gateways(const http::Request& request);
    http::Response statistics(const http::Request& request);
    http::Response health(const http::Request& request);
    http::Response reloadOnRequest(const http::Request& request);

    std::shared_future<ScrapeResult> scrape(const Endpoint& gateway, const Selection& groups,
                                            Clock::time_point deadline, Rank rank);
    struct Question;
    Question questionOf(const http::Request& request) const;
    ScrapeResult ask(const Question& question);
    http::Response trace(const Question& question);
    OwnFigures ownFigures() const;

    const CommandLine commandLine_;
    std::mutex reloading_;
    mutable std::mutex mutex_;  // guards the three below
    std::shared_ptr<const Configuration> configuration_;
    bool lastReloadWorked_ = true;
    std::chrono::system_clock::time_point lastGoodReload_;

    std::atomic<std::uint64_t> scrapes_{0};
    Admission requests_;
    Admission traces_;
    Fleet fleet_;
    std::optional<http::Server> server_;  // from when all else is there until before it goes
};

}  // namespace tools::exporter

#endif
