// One scrape of a Gateway after another: opened when needed, asked group by group, read into records.
// Not the place where scrapes are shared and waited for (worker.cpp), or where the library's codes are understood
// (gateway_connection.cpp). The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "scraper.h"

#include <fmt/format.h>

#include <algorithm>
#include <unordered_set>
#include <utility>

#include "common/asking.h"
#include "common/text.h"

namespace tools::exporter {
namespace {

// Adds the time that it lives to that of a phase.
class Stopwatch {
  public:
    explicit Stopwatch(std::chrono::duration<double>& phase) : phase_(phase) {}
    ~Stopwatch() { phase_ += Clock::now() - start_; }
    Stopwatch(const Stopwatch&) = delete;
    Stopwatch& operator=(const Stopwatch&) = delete;

  private:
    std::chrono::duration<double>& phase_;
    Clock::time_point start_ = Clock::now();
};

// Whoever came to wait for it meanwhile gave it more time than it had when it began; or it had more than a call takes.
bool hasMoreTimeNow(const Failure& failure, Clock::time_point formerEnd, const Deadline& deadline) {
    return failure.reason == Reason::Timeout && deadline.end() > formerEnd;
}

Scrape withoutReadings(Scrape scrape, Failure failure) {
    scrape.failure = std::move(failure);
    scrape.groups.clear();
    scrape.readings.clear();
    scrape.rejectedGroups.clear();
    scrape.unreadableGroups = 0;
    return scrape;
}

}  // namespace

Scrape failedScrape(const Endpoint& gateway, Failure failure) {
    return {.gateway = gateway, .time = std::chrono::system_clock::now(), .failure = std::move(failure)};
}

Scrape Scraper::scrape(const Selection& selection, const Deadline& deadline) {
    Scrape scrape{.gateway = gateway_};
    try {
        read(scrape, selection, deadline);
    } catch (const ScrapeFailed& failed) {
        scrape = withoutReadings(std::move(scrape), failed.failure());
    } catch (const std::exception& problem) {
        scrape = withoutReadings(std::move(scrape), {Reason::Internal, printable(problem.what())});
    }
    scrape.time = std::chrono::system_clock::now();
    return scrape;
}

// Again from the start, as often as there is more time; and once if a connection that was kept turns out to be dead:
// the Gateway may well have been restarted since.
void Scraper::read(Scrape& scrape, const Selection& selection, const Deadline& deadline) {
    for (;;) {
        const bool wasKept = connection_.isOpen();
        const auto end = connection_.endOfCall(deadline);
        try {
            return readOnce(scrape, selection, deadline);
        } catch (const ScrapeFailed& failed) {
            const bool isDead = wasKept && !hasAnswered_ && failed.failure().reason == Reason::Lost;
            if (!isDead && !hasMoreTimeNow(failed.failure(), end, deadline)) {
                throw;
            }
        }
        connection_.close();
        scrape = Scrape{.gateway = gateway_, .took = scrape.took};
    }
}

void Scraper::readOnce(Scrape& scrape, const Selection& selection, const Deadline& deadline) {
    hasAnswered_ = false;
    if (!connection_.isOpen()) {
        const Stopwatch watch(scrape.took.open);
        open(deadline);
    }
    scrape.protocolVersion = connection_.protocolVersion();
    std::unordered_set<std::string> seen;
    for (const std::string& group : selection.empty() ? listGroups(scrape.took, deadline) : selection) {
        if (!seen.insert(group).second || readGroup(scrape, group, deadline)) {
            continue;
        }
        if (selection.empty()) {
            ++scrape.unreadableGroups;
        } else {
            scrape.rejectedGroups.push_back(group);
        }
    }
}

void Scraper::open(const Deadline& deadline) {
    refuseWithinPause();
    if (deadline.hasPassed()) {
        throw ScrapeFailed({Reason::Timeout, "no time was left to connect"});
    }
    try {
        connection_.open(deadline);
        pause_.reset();
        setback_.reset();
    } catch (const ScrapeFailed& failed) {
        startPauseAfter(failed.failure());
        throw;
    }
}

// An attempt that ran out of time was a pause in itself; and who allows hardly any is not to make others wait.
void Scraper::startPauseAfter(const Failure& failure) {
    if (failure.reason != Reason::Timeout) {
        setback_ = Setback{failure, Clock::now() + pause_.next()};
    }
}

void Scraper::refuseWithinPause() const {
    const auto left = setback_ ? setback_->nextTry - Clock::now() : Clock::duration::zero();
    if (left > Clock::duration::zero()) {
        const double seconds = std::chrono::duration<double>(left).count();
        throw ScrapeFailed(
            {setback_->failure.reason,
             fmt::format("{}; the next try is due {:.1f} s after this", setback_->failure.text, seconds)});
    }
}

// The result of a query, which is good until the next, and how long it took.
template <typename Query>
auto Scraper::ask(Phases& took, Query query) {
    const Stopwatch watch(took.query);
    auto answer = query();
    hasAnswered_ = true;
    return answer;
}

std::vector<std::string> Scraper::listGroups(Phases& took, const Deadline& deadline) {
    const auto answer = ask(took, [&] { return connection_.groups(deadline); });
    const Stopwatch watch(took.walk);
    std::vector<std::string> groups;
    for (const zolstats::Identifier& group : answer) {
        if (group.rejected()) {
            throw ScrapeFailed(
                {Reason::NotAGateway, fmt::format("refuses to tell its groups ({})", group.code)});
        }
        groups.emplace_back(group.id);
    }
    return groups;
}

// The Gateway answers to the id of a statistic as to a group that has this one statistic. Only then the list tells
// which of both it is.
bool Scraper::isStatistic(Scrape& scrape, const std::string& name, std::size_t first,
                          const Deadline& deadline) {
    if (scrape.readings.size() != first + 1 || scrape.readings.back().id != name) {
        return false;
    }
    const std::vector<std::string> groups = listGroups(scrape.took, deadline);
    return std::find(groups.begin(), groups.end(), name) == groups.end();
}

// By a query of its own: an answer cannot be read beyond a group without statistics. False if the Gateway has no
// such group, or none that can be asked for.
bool Scraper::readGroup(Scrape& scrape, const std::string& group, const Deadline& deadline) {
    if (!canBeAskedFor(group)) {
        return false;
    }
    const std::size_t first = scrape.readings.size();
    if (!readAnswer(scrape, group, deadline) || isStatistic(scrape, group, first, deadline)) {
        scrape.readings.resize(first);
        return false;
    }
    scrape.groups.push_back(group);
    return true;
}

// False if the Gateway has rejected the group; a hostile one does so after it has told some of it.
bool Scraper::readAnswer(Scrape& scrape, const std::string& group, const Deadline& deadline) {
    const auto answer = ask(scrape.took, [&] { return connection_.statisticsOfGroup(group, deadline); });
    const Stopwatch watch(scrape.took.walk);
    for (const zolstats::Statistic& statistic : answer) {
        if (statistic.rejected()) {
            return false;
        }
        scrape.readings.push_back(
            {scrape.groups.size(), std::string(statistic.id), std::string(statistic.value)});
    }
    return true;
}

}  // namespace tools::exporter
