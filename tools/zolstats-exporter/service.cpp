// What the exporter answers to each request.
// Not an HTTP server (http/server.cpp), and not the place where Gateways are asked (fleet.cpp).
// Every path is described in docs/prometheus.md.
#include "service.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <future>
#include <utility>
#include <vector>

#include "api.h"
#include "negotiation.h"
#include "pages.h"
#include "traced_scrape.h"

namespace tools::exporter {
namespace {

using http::Request;
using http::Response;

// A trace takes a process, and much time and space; those who look at one are people.
constexpr std::size_t MOST_TRACES = 4;
constexpr std::chrono::milliseconds LONGEST_TRACE{10000};
constexpr std::size_t MOST_GROUPS = 100;  // in a request

// The request cannot be answered as it was meant.
class Refused : public std::runtime_error {
  public:
    Refused(int status, const std::string& text) : std::runtime_error(text), status_(status) {}
    int status() const { return status_; }

  private:
    int status_;
};

Response plain(int status, const std::string& text) {
    Response response;
    response.status = status;
    response.body = text + '\n';
    return response;
}

Response tooBusy() {
    Response response = plain(503, "too many requests are being worked on");
    response.headers.emplace_back("Retry-After", "1");
    return response;
}

bool isForPrograms(std::string_view path) {
    return path.starts_with("/api/");
}

// ---- What a request is about

Endpoint targetOf(const Request& request) {
    const std::string text = request.argument("target").value_or("");
    if (text.empty()) {
        throw Refused(400, "the target is missing: /probe?target=HOST:PORT");
    }
    try {
        return gatewayOf(text);
    } catch (const BadEndpoint& problem) {
        throw Refused(400, problem.what());
    }
}

// Each is searched for among those before it, and asked for by a query of its own.
Selection groupsOf(const Request& request) {
    const std::vector<std::string> groups = request.allOf("collect[]");
    if (groups.size() > MOST_GROUPS) {
        throw Refused(400, fmt::format("a request may name {} groups at most", MOST_GROUPS));
    }
    Selection selection;
    for (const std::string& group : groups) {
        if (std::find(selection.begin(), selection.end(), group) == selection.end()) {
            selection.push_back(group);
        }
    }
    return selection;
}

std::chrono::milliseconds timeoutOf(const Request& request, const Configuration& configuration) {
    return timeoutFor(request.headers.first("X-Prometheus-Scrape-Timeout-Seconds"),
                      configuration.timeoutOffset, configuration.timeout);
}

ExpositionFormat formatOf(const Request& request) {
    return formatFor(request.headers.first("Accept").value_or(""));
}

Response exposed(const Exposition& exposition, ExpositionFormat format) {
    Response response;
    response.contentType = contentType(format);
    response.body = exposition.text();
    return response;
}

std::string reloaded(const std::vector<std::string>& ignored) {
    return ignored.empty() ? "reloaded"
                           : fmt::format("reloaded, but for what takes a restart to change: {}",
                                         fmt::join(ignored, ", "));
}

}  // namespace

// ---- Routes

struct Service::Route {
    std::string_view path;
    std::string_view method;
    bool asksGateways;  // and so is one of those whose number is limited
    Answer answer;
};

const Service::Route* Service::routeFor(const std::string& path) {
    static const std::array routes{
        Route{"/", "GET", false, &Service::landing},
        Route{"/live", "GET", false, &Service::live},
        Route{"/metrics", "GET", true, &Service::metrics},
        Route{"/probe", "GET", true, &Service::probe},
        Route{"/api/gateways", "GET", false, &Service::gateways},
        Route{"/api/statistics", "GET", true, &Service::statistics},
        Route{"/-/healthy", "GET", false, &Service::health},
        Route{"/-/ready", "GET", false, &Service::health},
        Route{"/-/reload", "POST", false, &Service::reloadOnRequest},
    };
    const auto* const route =
        std::find_if(routes.begin(), routes.end(), [&](const Route& one) { return one.path == path; });
    return route != routes.end() ? route : nullptr;
}

http::Response Service::answer(const Request& request) {
    const Route* route = routeFor(request.path);
    if (route == nullptr) {
        return pageFile(request.path).value_or(plain(404, "there is nothing at this path"));
    }
    if (request.method != route->method) {
        Response response = plain(405, fmt::format("this path takes {} only", route->method));
        response.headers.emplace_back("Allow", route->method);
        return response;
    }
    const auto ticket = route->asksGateways ? requests_.enter() : std::nullopt;
    if (route->asksGateways && !ticket) {
        return tooBusy();
    }
    try {
        return (this->*route->answer)(request);
    } catch (const Refused& refused) {
        return isForPrograms(request.path) ? problemDocument(refused.status(), refused.what())
                                           : plain(refused.status(), refused.what());
    }
}

// ---- The state behind them

Service::Service(CommandLine commandLine)
    : commandLine_(std::move(commandLine)),
      configuration_(std::make_shared<const Configuration>(readConfiguration(commandLine_))),
      lastGoodReload_(std::chrono::system_clock::now()),
      requests_(configuration_->mostRequests),
      traces_(MOST_TRACES),
      fleet_(configuration_->habits) {
    fleet_.configure(configuration_->gateways);
    server_.emplace(
        configuration_->listen, [this](const Request& request) { return answer(request); }, http::Limits{},
        configuration_->web);
}

Service::~Service() {
    fleet_.stop();
}

Endpoint Service::address() const {
    return {configuration()->listen.host, server_->port()};
}

std::shared_ptr<const Configuration> Service::configuration() const {
    const std::lock_guard lock(mutex_);
    return configuration_;
}

// What may fail comes first.
std::string Service::reload() {
    const std::lock_guard oneAtATime(reloading_);
    try {
        auto fresh = std::make_shared<Configuration>(readConfiguration(commandLine_));
        const auto ignored = keepWhatHoldsFromTheStart(*fresh, *configuration());
        server_->replace(fresh->web);
        fleet_.configure(fresh->gateways);
        const std::lock_guard lock(mutex_);
        configuration_ = std::move(fresh);
        lastReloadWorked_ = true;
        lastGoodReload_ = std::chrono::system_clock::now();
        return reloaded(ignored);
    } catch (const std::runtime_error& problem) {
        const std::lock_guard lock(mutex_);
        lastReloadWorked_ = false;
        throw BadConfiguration(problem.what());
    }
}

OwnFigures Service::ownFigures() const {
    OwnFigures figures;
    figures.scrapes = scrapes_;
    figures.gateways = fleet_.members().size();
    figures.requestsInFlight = requests_.inside();
    figures.requestsRefused = requests_.refused();
    const std::lock_guard lock(mutex_);
    figures.lastReloadWorked = lastReloadWorked_;
    figures.lastGoodReload = lastGoodReload_;
    return figures;
}

// ---- Scrapes

std::shared_future<ScrapeResult> Service::scrape(const Endpoint& gateway, const Selection& groups,
                                                 Clock::time_point deadline, Rank rank) {
    try {
        auto result = fleet_.scrape(gateway, groups, deadline, rank);
        ++scrapes_;
        return result;
    } catch (const FleetIsFull& problem) {
        throw Refused(503, problem.what());
    } catch (const TooManyWaiting& problem) {
        throw Refused(503, problem.what());
    }
}

// ---- /metrics

http::Response Service::metrics(const Request& request) {
    const auto configuration = this->configuration();
    const auto timeout = timeoutOf(request, *configuration);
    const Clock::time_point begin = Clock::now();
    const Clock::time_point deadline = begin + timeout;

    std::vector<std::shared_future<ScrapeResult>> scrapes;
    for (const Endpoint& gateway : configuration->gateways) {
        scrapes.push_back(scrape(gateway, configuration->groups, deadline, Rank::Owner));
    }
    const ExpositionFormat format = formatOf(request);
    Exposition exposition(format);
    const Rendering rendering{true, timeout, configuration->mapping, configuration->info};
    for (std::size_t i = 0; i < scrapes.size(); ++i) {
        addScrape(exposition, *resultBy(deadline, scrapes[i], configuration->gateways[i], begin), rendering);
    }
    addOwnFigures(exposition, ownFigures());
    addProcessFigures(exposition);
    return exposed(exposition, format);
}

// ---- /probe

struct Service::Question {
    std::shared_ptr<const Configuration> configuration;
    Endpoint target;
    Selection groups;
    std::chrono::milliseconds timeout;
};

Service::Question Service::questionOf(const Request& request) const {
    auto configuration = this->configuration();
    const Endpoint target = targetOf(request);
    if (!configuration->allows(target)) {
        throw Refused(403,
                      fmt::format("{} is not among the targets that this exporter may ask (--allow-target)",
                                  nameOf(target)));
    }
    const auto timeout = timeoutOf(request, *configuration);
    return {std::move(configuration), target, groupsOf(request), timeout};
}

ScrapeResult Service::ask(const Question& question) {
    const Clock::time_point begin = Clock::now();
    const Clock::time_point deadline = begin + question.timeout;
    return resultBy(deadline, scrape(question.target, question.groups, deadline, Rank::Probe),
                    question.target, begin);
}

http::Response Service::trace(const Question& question) {
    const auto ticket = traces_.enter();
    const auto limit = std::min(question.timeout, LONGEST_TRACE);
    return ticket ? plain(200, tracedScrape(question.target, question.groups, limit)) : tooBusy();
}

http::Response Service::probe(const Request& request) {
    const Question question = questionOf(request);
    if (request.argument("debug") == "1") {
        return trace(question);
    }
    const ScrapeResult result = ask(question);
    if (result->failure && question.configuration->onFailure == OnFailure::Status503) {
        return plain(503, result->failure->text);
    }
    const ExpositionFormat format = formatOf(request);
    Exposition exposition(format);
    const Configuration& configuration = *question.configuration;
    addScrape(exposition, *result, {false, question.timeout, configuration.mapping, configuration.info});
    return exposed(exposition, format);
}

// ---- Pages

http::Response Service::landing(const Request&) {
    return landingPage(fleet_.members(), std::chrono::system_clock::now());
}

http::Response Service::live(const Request& request) {
    return livePage(questionOf(request).target);
}

http::Response Service::gateways(const Request&) {
    return gatewaysDocument(fleet_.members(), std::chrono::system_clock::now());
}

http::Response Service::statistics(const Request& request) {
    return statisticsDocument(*ask(questionOf(request)));
}

// ---- Management

http::Response Service::health(const Request&) {
    return plain(200, "fine");
}

http::Response Service::reloadOnRequest(const Request&) {
    try {
        return plain(200, reload());
    } catch (const BadConfiguration& problem) {
        return plain(500, fmt::format("not reloaded, the old configuration stays: {}", problem.what()));
    }
}

}  // namespace tools::exporter
