// One thread for each Gateway, which reads it again and again and comes back when it is lost.
// Not the place where anything is shown: what was read goes into the mailbox.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#include "feeder.h"

#include <condition_variable>
#include <mutex>

#include "common/growing_pause.h"
#include "common/text.h"
#include "selection.h"
#include "session.h"

namespace tools::zolstat::watch {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

constexpr auto TIME_TO_TAKE_LEAVE = 200ms;

}  // namespace

// What all workers see.
class Feeder::Shared {
  public:
    Mailbox& mailbox() { return mailbox_; }

    void end() {
        const std::lock_guard lock(mutex_);
        over_ = true;
        ended_.notify_all();
    }
    bool isOver() {
        const std::lock_guard lock(mutex_);
        return over_;
    }
    void waitUntil(Moment moment) {
        std::unique_lock lock(mutex_);
        ended_.wait_until(lock, moment, [this] { return over_; });
    }

  private:
    Mailbox mailbox_;
    std::mutex mutex_;
    std::condition_variable ended_;
    bool over_ = false;
};

// What one worker does.
class Feeder::Reader {
  public:
    Reader(std::shared_ptr<Shared> shared, std::size_t gateway, const Plan& plan)
        : shared_(std::move(shared)), number_(gateway), gateway_(plan.gateways[gateway]), plan_(plan) {}

    void run() {
        while (!shared_->isOver()) {
            try {
                watch();
            } catch (const SessionFailed& failed) {
                fail(failed.failure());
            } catch (const std::exception& failure) {  // what a Gateway told cannot be asked for
                fail({ExitCode::ConnectionLost, 0, printable(failure.what())});
            }
        }
    }

  private:
    // As long as one connection lasts.
    void watch() {
        Session session(gateway_, plan_.timeout);
        ++connection_;
        while (!shared_->isOver()) {
            watchSelection(session);
        }
    }

    void watchSelection(Session& session) {
        Sample opening{gateway_};
        const Selection selection(session, plan_.names, opening);
        const Moment end = Clock::now() + plan_.lifeOfASelection;
        do {
            read(session, selection, opening.complaints);
            pause_.reset();
            shared_->waitUntil(plan_.ticks.after(Clock::now()));
        } while (!shared_->isOver() && Clock::now() < end);
    }

    // What was wrong about the names when they were looked up stays wrong until the next time.
    void read(Session& session, const Selection& selection, const std::vector<std::string>& complaints) {
        Delivery delivery{{gateway_}};
        delivery.sample.complaints = complaints;
        delivery.connection = connection_;
        for (std::size_t part = 0; part < selection.parts() && !shared_->isOver(); ++part) {
            const Moment asked = Clock::now();
            selection.readPart(part, session, delivery.sample);
            // The Gateway looked at its statistics at some time in between.
            delivery.moments.resize(delivery.sample.readings.size(), asked + (Clock::now() - asked) / 2);
        }
        post(std::move(delivery));
    }

    void fail(const Failure& failure) {
        Delivery delivery{{gateway_}};
        delivery.sample.failure = failure;
        delivery.nextTry = Clock::now() + pause_.next();
        const Moment nextTry = delivery.nextTry;
        post(std::move(delivery));
        shared_->waitUntil(nextTry);
    }

    void post(Delivery delivery) {
        delivery.sample.time = std::chrono::system_clock::now();
        delivery.moment = Clock::now();
        shared_->mailbox().post(number_, std::move(delivery));
    }

    std::shared_ptr<Shared> shared_;
    std::size_t number_;
    Endpoint gateway_;
    Plan plan_;
    GrowingPause pause_{FIRST_PAUSE, LONGEST_PAUSE};
    std::uint64_t connection_ = 0;
};

Feeder::Feeder(const Plan& plan) : shared_(std::make_shared<Shared>()) {
    try {
        for (std::size_t gateway = 0; gateway < plan.gateways.size(); ++gateway) {
            workers_.emplace_back(
                [reader = std::make_shared<Reader>(shared_, gateway, plan)] { reader->run(); });
        }
    } catch (...) {  // too many threads
        end();
        throw;
    }
}

Feeder::~Feeder() {
    end();
}

void Feeder::end() {
    shared_->end();
    const Moment deadline = Clock::now() + TIME_TO_TAKE_LEAVE;
    for (DetachableThread& worker : workers_) {
        worker.joinBy(deadline);
    }
}

Mailbox& Feeder::mailbox() {
    return shared_->mailbox();
}

}  // namespace tools::zolstat::watch
