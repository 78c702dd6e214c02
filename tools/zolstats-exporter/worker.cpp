// The thread that asks one Gateway, and who waits for it.
// Not the place where it is asked (scraper.cpp), or where the Gateways of a process are counted (fleet.cpp).
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "worker.h"

#include <fmt/format.h>

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <exception>
#include <iterator>
#include <mutex>
#include <optional>
#include <utility>

#include "log.h"
#include "scraper.h"

namespace tools::exporter {
namespace {

using namespace std::chrono_literals;

constexpr auto TIME_TO_TAKE_LEAVE = 200ms;

// A scrape that is waiting or under way, and the promise to all who wait for it.
struct Job {
    Job(Selection groups, Clock::time_point end)
        : selection(std::move(groups)), deadline(end), result(promise.get_future().share()) {}

    const Selection selection;
    Deadline deadline;
    std::promise<ScrapeResult> promise{};
    const std::shared_future<ScrapeResult> result;

    // Who comes after its end has time left, and gets a scrape of his own.
    bool canBeJoinedFor(const Selection& groups) const {
        return selection == groups && !deadline.hasPassed();
    }
};
using JobPointer = std::shared_ptr<Job>;
using Jobs = std::deque<JobPointer>;

// Or nothing, and why: there may not even be the memory for a result.
struct Outcome {
    ScrapeResult result{};
    std::exception_ptr problem{};
};

template <typename MakeScrape>
Outcome outcomeOf(MakeScrape makeScrape) {
    try {
        return {std::make_shared<const Scrape>(makeScrape()), nullptr};
    } catch (...) {
        return {nullptr, std::current_exception()};
    }
}

void tell(Job& job, const Outcome& outcome) {
    outcome.problem ? job.promise.set_exception(outcome.problem) : job.promise.set_value(outcome.result);
}

}  // namespace

class Worker::Implementation {
  public:
    Implementation(Endpoint gateway, Habits habits)
        : gateway_(std::move(gateway)), habits_(habits), scraper_(gateway_, habits_) {}

    // Of the thread.
    void run();

    std::shared_future<ScrapeResult> scrape(const Selection& selection, Clock::time_point deadline,
                                            Rank rank);
    void stop() noexcept;
    ScrapeResult last() const;
    bool isBusy() const;
    bool isIdle() const;
    Clock::time_point end() const { return stoppedAt_ + TIME_TO_TAKE_LEAVE; }

  private:
    JobPointer next();
    void carryOut(Job& job);
    void settle(Job& job, const Outcome& outcome);
    void logChange(const Scrape& scrape);
    JobPointer jobFor(const Selection& selection, Clock::time_point deadline, Rank rank);
    Jobs::iterator placeFor(Rank rank);
    Jobs takeAll();

    const Endpoint gateway_;
    const Habits habits_;
    Scraper scraper_;
    bool isDown_ = false;  // of the thread

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable changed_{};
    Jobs jobs_{};  // the first one is under way
    ScrapeResult last_{};
    bool isIdle_ = false;
    bool isStopped_ = false;
    Clock::time_point stoppedAt_{};
};

// ---- The thread

void Worker::Implementation::run() {
    while (const JobPointer job = next()) {
        carryOut(*job);
    }
    scraper_.close();
}

// Waits for a job, and closes the connection while none comes. Null at the end.
JobPointer Worker::Implementation::next() {
    const auto isWanted = [this] { return isStopped_ || !jobs_.empty(); };
    std::unique_lock lock(mutex_);
    if (!changed_.wait_for(lock, habits_.idle, isWanted)) {
        lock.unlock();
        scraper_.close();
        lock.lock();
        isIdle_ = !isWanted();
        changed_.wait(lock, isWanted);
    }
    return isStopped_ ? nullptr : jobs_.front();
}

void Worker::Implementation::carryOut(Job& job) {
    const Outcome outcome = outcomeOf([&] { return scraper_.scrape(job.selection, job.deadline); });
    settle(job, outcome);
    if (outcome.result) {
        logChange(*outcome.result);
    }
    if (!outcome.result || outcome.result->failure) {
        scraper_.close();
    }
}

// Not each scrape: a Gateway may be down for long.
void Worker::Implementation::logChange(const Scrape& scrape) {
    const bool wasDown = std::exchange(isDown_, scrape.failure.has_value());
    if (isDown_ && !wasDown) {
        log(fmt::format("{} is down: {}: {}", nameOf(gateway_),
                        REASON_NAMES.at(static_cast<std::size_t>(scrape.failure->reason)),
                        scrape.failure->text));
    } else if (wasDown && !isDown_) {
        log(fmt::format("{} is back", nameOf(gateway_)));
    }
}

void Worker::Implementation::settle(Job& job, const Outcome& outcome) {
    const std::lock_guard lock(mutex_);
    if (!isStopped_) {  // otherwise the job has been taken away, and whoever waits for it was told so
        jobs_.pop_front();
        last_ = outcome.result ? outcome.result : last_;
        tell(job, outcome);
    }
}

// ---- Whoever asks

std::shared_future<ScrapeResult> Worker::Implementation::scrape(const Selection& selection,
                                                                Clock::time_point deadline, Rank rank) {
    const std::lock_guard lock(mutex_);
    isIdle_ = false;
    return jobFor(selection, deadline, rank)->result;
}

JobPointer Worker::Implementation::jobFor(const Selection& selection, Clock::time_point deadline, Rank rank) {
    const auto job = std::find_if(jobs_.begin(), jobs_.end(),
                                  [&](const JobPointer& one) { return one->canBeJoinedFor(selection); });
    if (job != jobs_.end()) {
        (*job)->deadline.moveTo(deadline);
        return *job;
    }
    changed_.notify_one();
    return *jobs_.insert(placeFor(rank), std::make_shared<Job>(selection, deadline));
}

// After the one that is under way, or the last.
Jobs::iterator Worker::Implementation::placeFor(Rank rank) {
    if (rank == Rank::Owner) {
        return jobs_.empty() ? jobs_.end() : std::next(jobs_.begin());
    }
    if (jobs_.size() > MOST_WAITING) {
        throw TooManyWaiting();
    }
    return jobs_.end();
}

void Worker::Implementation::stop() noexcept {
    for (const JobPointer& job : takeAll()) {
        tell(*job, outcomeOf([&] {
            return failedScrape(gateway_, {Reason::Internal, "the exporter asks this Gateway no more"});
        }));
    }
    scraper_.cancel();
}

Jobs Worker::Implementation::takeAll() {
    const std::lock_guard lock(mutex_);
    stoppedAt_ = isStopped_ ? stoppedAt_ : Clock::now();
    isStopped_ = true;
    changed_.notify_one();
    return std::exchange(jobs_, {});
}

ScrapeResult Worker::Implementation::last() const {
    const std::lock_guard lock(mutex_);
    return last_;
}

bool Worker::Implementation::isBusy() const {
    const std::lock_guard lock(mutex_);
    return !jobs_.empty();
}

bool Worker::Implementation::isIdle() const {
    const std::lock_guard lock(mutex_);
    return isIdle_;
}

// ---- The face

TooManyWaiting::TooManyWaiting()
    : std::runtime_error(
          fmt::format("{} scrapes of other groups wait for this Gateway already", MOST_WAITING)) {}

Worker::Worker(Endpoint gateway, Habits habits)
    : implementation_(std::make_shared<Implementation>(std::move(gateway), habits)),
      thread_([implementation = implementation_] { implementation->run(); }) {}

Worker::~Worker() {
    stop();
    thread_.joinBy(implementation_->end());
}

void Worker::stop() noexcept {
    implementation_->stop();
}

std::shared_future<ScrapeResult> Worker::scrape(const Selection& selection, Clock::time_point deadline,
                                                Rank rank) {
    return implementation_->scrape(selection, deadline, rank);
}

ScrapeResult Worker::last() const {
    return implementation_->last();
}

bool Worker::isBusy() const {
    return implementation_->isBusy();
}

bool Worker::isIdle() const {
    return implementation_->isIdle();
}

}  // namespace tools::exporter
