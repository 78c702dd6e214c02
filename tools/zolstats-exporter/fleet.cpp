// The Gateways that this process looks after: who has a worker, and who gives way.
// Not the place where it is decided who may be probed (configuration.cpp), or where a Gateway is asked (worker.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "fleet.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <mutex>
#include <system_error>
#include <tuple>
#include <utility>

#include "common/text.h"
#include "scraper.h"

namespace tools::exporter {
namespace {

using namespace std::chrono_literals;

// A scrape that runs out of time ends at the same deadline as the patience of who waits for it, and knows more.
constexpr auto TIME_TO_TELL = 100ms;

struct ByName {
    bool operator()(const Endpoint& one, const Endpoint& other) const {
        return std::tie(one.host, one.port) < std::tie(other.host, other.port);
    }
};

struct Place {
    std::unique_ptr<Worker> worker;
    bool isConfigured = false;
    Clock::time_point asked{};
};
using Workers = std::vector<std::unique_ptr<Worker>>;
using Places = std::map<Endpoint, Place, ByName>;

// All are told before the first is waited for, so that they leave at the same time. Nobody holds a lock meanwhile.
void dismiss(const Places& places) {
    for (const auto& [gateway, place] : places) {
        place.worker->stop();
    }
}

ScrapeResult resultOf(const Endpoint& gateway, Failure failure) {
    return std::make_shared<const Scrape>(failedScrape(gateway, std::move(failure)));
}

std::shared_future<ScrapeResult> ready(ScrapeResult result) {
    std::promise<ScrapeResult> promise;
    promise.set_value(std::move(result));
    return promise.get_future().share();
}

std::vector<Endpoint> withoutRepetitions(const std::vector<Endpoint>& gateways) {
    std::vector<Endpoint> unique;
    std::copy_if(gateways.begin(), gateways.end(), std::back_inserter(unique), [&](const Endpoint& gateway) {
        return std::find(unique.begin(), unique.end(), gateway) == unique.end();
    });
    return unique;
}

}  // namespace

FleetIsFull::FleetIsFull()
    : std::runtime_error(fmt::format("the exporter looks after {} Gateways already, which is the most it can",
                                     MOST_GATEWAYS)) {}

class Fleet::Implementation {
  public:
    explicit Implementation(Habits habits) : habits_(habits) {}
    ~Implementation() { stop(); }
    Implementation(const Implementation&) = delete;
    Implementation& operator=(const Implementation&) = delete;

    void configure(const std::vector<Endpoint>& gateways);
    void stop();
    std::shared_future<ScrapeResult> scrape(const Endpoint& gateway, const Selection& selection,
                                            Clock::time_point deadline, Rank rank);
    std::vector<Member> members() const;

  private:
    void retire(Places& leaving);
    Workers takeFinished();
    Places newcomersAmong(const std::vector<Endpoint>& gateways) const;
    void moveConfigured(const std::vector<Endpoint>& gateways, Places& next);
    void moveProbed(bool areIdle, Places& next);
    std::shared_future<ScrapeResult> scrapeAt(const Endpoint& gateway, const Selection& selection,
                                              Clock::time_point deadline, Rank rank);
    Place& placeOf(const Endpoint& gateway);
    Places::node_type makeRoom();
    static Member memberAt(Places::const_iterator place);

    const Habits habits_;
    mutable std::mutex mutex_;  // guards what follows
    std::vector<Endpoint> configured_{};
    Places places_{};
    Workers retired_{};  // those who are configured no more, but still awaited
    bool isStopped_ = false;
};

// ---- Configuring

// If that fails, everything is as before: places are only moved once all newcomers have theirs.
void Fleet::Implementation::configure(const std::vector<Endpoint>& gateways) {
    std::vector<Endpoint> unique = withoutRepetitions(gateways);
    if (unique.size() > MOST_GATEWAYS) {
        throw FleetIsFull();
    }
    Places next;  // then those that leave
    Workers finished;
    {
        const std::lock_guard lock(mutex_);
        next = newcomersAmong(unique);
        moveConfigured(unique, next);
        moveProbed(false, next);
        moveProbed(true, next);
        configured_.swap(unique);
        places_.swap(next);
        retire(next);
        finished = takeFinished();
    }
    dismiss(next);
}

// Who waits for a scrape gets it: those are let go when it is over, and something else is asked of the fleet.
void Fleet::Implementation::retire(Places& leaving) {
    for (auto place = leaving.begin(); place != leaving.end();) {
        const auto here = place++;
        if (here->second.worker->isBusy()) {
            retired_.push_back(std::move(here->second.worker));
            leaving.erase(here);
        }
    }
}

Workers Fleet::Implementation::takeFinished() {
    Workers finished;
    const auto busy = std::partition(retired_.begin(), retired_.end(),
                                     [](const auto& worker) { return !worker->isBusy(); });
    std::move(retired_.begin(), busy, std::back_inserter(finished));
    retired_.erase(retired_.begin(), busy);
    return finished;
}

Places Fleet::Implementation::newcomersAmong(const std::vector<Endpoint>& gateways) const {
    Places newcomers;
    for (const Endpoint& gateway : gateways) {
        if (!places_.contains(gateway)) {
            newcomers.emplace(gateway, Place{std::make_unique<Worker>(gateway, habits_), true, {}});
        }
    }
    return newcomers;
}

void Fleet::Implementation::moveConfigured(const std::vector<Endpoint>& gateways, Places& next) {
    for (const Endpoint& gateway : gateways) {
        if (Places::node_type place = places_.extract(gateway)) {
            place.mapped().isConfigured = true;
            next.insert(std::move(place));
        }
    }
}

// As many as there is room for.
void Fleet::Implementation::moveProbed(bool areIdle, Places& next) {
    for (auto place = places_.begin(); place != places_.end() && next.size() < MOST_GATEWAYS;) {
        const auto here = place++;
        if (!here->second.isConfigured && here->second.worker->isIdle() == areIdle) {
            next.insert(places_.extract(here));
        }
    }
}

void Fleet::Implementation::stop() {
    Places leaving;
    Workers retired;
    {
        const std::lock_guard lock(mutex_);
        isStopped_ = true;
        retired_.swap(retired);
        configured_.clear();
        places_.swap(leaving);
    }
    for (const auto& worker : retired) {
        worker->stop();
    }
    dismiss(leaving);
}

// ---- Scraping

// Whoever gives way is gone, with its connection, before there is another; nobody holds the lock meanwhile.
std::shared_future<ScrapeResult> Fleet::Implementation::scrape(const Endpoint& gateway,
                                                               const Selection& selection,
                                                               Clock::time_point deadline, Rank rank) {
    for (;;) {
        Places::node_type leaving;
        Workers finished;
        const std::lock_guard lock(mutex_);
        finished = takeFinished();
        if (isStopped_) {
            return ready(resultOf(gateway, {Reason::Internal, "the exporter ends"}));
        }
        if (places_.contains(gateway) || places_.size() < MOST_GATEWAYS) {
            return scrapeAt(gateway, selection, deadline, rank);
        }
        leaving = makeRoom();
    }
}

std::shared_future<ScrapeResult> Fleet::Implementation::scrapeAt(const Endpoint& gateway,
                                                                 const Selection& selection,
                                                                 Clock::time_point deadline, Rank rank) {
    try {
        Place& place = placeOf(gateway);
        place.asked = Clock::now();
        return place.worker->scrape(selection, deadline, rank);
    } catch (const std::system_error& problem) {  // no thread for it
        return ready(resultOf(gateway, {Reason::Internal, printable(problem.what())}));
    }
}

Place& Fleet::Implementation::placeOf(const Endpoint& gateway) {
    const auto place = places_.find(gateway);
    if (place != places_.end()) {
        return place->second;
    }
    return places_.emplace(gateway, Place{std::make_unique<Worker>(gateway, habits_), false, {}})
        .first->second;
}

Places::node_type Fleet::Implementation::makeRoom() {
    auto longestAgo = places_.end();
    for (auto place = places_.begin(); place != places_.end(); ++place) {
        const bool canLeave = !place->second.isConfigured && !place->second.worker->isBusy();
        if (canLeave && (longestAgo == places_.end() || place->second.asked < longestAgo->second.asked)) {
            longestAgo = place;
        }
    }
    if (longestAgo == places_.end()) {
        throw FleetIsFull();
    }
    return places_.extract(longestAgo);
}

// ---- Telling

std::vector<Fleet::Member> Fleet::Implementation::members() const {
    const std::lock_guard lock(mutex_);
    std::vector<Member> all;
    for (const Endpoint& gateway : configured_) {
        all.push_back(memberAt(places_.find(gateway)));
    }
    for (auto place = places_.begin(); place != places_.end(); ++place) {
        if (!place->second.isConfigured) {
            all.push_back(memberAt(place));
        }
    }
    return all;
}

Fleet::Member Fleet::Implementation::memberAt(Places::const_iterator place) {
    return {place->first, place->second.isConfigured, place->second.worker->last()};
}

// ---- The face

Fleet::Fleet(Habits habits) : implementation_(std::make_unique<Implementation>(habits)) {}
Fleet::~Fleet() = default;

void Fleet::configure(const std::vector<Endpoint>& gateways) {
    implementation_->configure(gateways);
}

void Fleet::stop() {
    implementation_->stop();
}

std::shared_future<ScrapeResult> Fleet::scrape(const Endpoint& gateway, const Selection& selection,
                                               Clock::time_point deadline, Rank rank) {
    return implementation_->scrape(gateway, selection, deadline, rank);
}

std::vector<Fleet::Member> Fleet::members() const {
    return implementation_->members();
}

ScrapeResult resultBy(Clock::time_point deadline, const std::shared_future<ScrapeResult>& scrape,
                      const Endpoint& gateway, Clock::time_point begin) {
    if (scrape.wait_until(deadline + TIME_TO_TELL) != std::future_status::ready) {
        Scrape missing = failedScrape(gateway, {Reason::Timeout, "the Gateway has not answered in time"});
        missing.took.query = Clock::now() - begin;
        return std::make_shared<const Scrape>(std::move(missing));
    }
    try {
        return scrape.get();
    } catch (const std::exception& problem) {
        return resultOf(gateway, {Reason::Internal, printable(problem.what())});
    }
}

}  // namespace tools::exporter
