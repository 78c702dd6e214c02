// A watch on a whole terminal: deliveries, keys and signals brought together.
// Not what is visible (view_model.cpp) and not drawing (screen.cpp).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "full_screen.h"

#include <fmt/chrono.h>
#include <fmt/format.h>
#include <unistd.h>

#include <algorithm>

#include "ask.h"
#include "waiting.h"

namespace tools::zolstat::watch {
namespace {

using namespace std::chrono_literals;
using Clock = std::chrono::steady_clock;

// What the status lines count in seconds must move on, too.
constexpr auto LIFE_OF_A_STATUS = 1s;

std::string titleFor(const Ticks& ticks) {
    return fmt::format("zolstat watch, every {:g} s",
                       std::chrono::duration<double>(ticks.interval()).count());
}

std::string timeOfDay(std::chrono::system_clock::time_point time) {
    return fmt::format("{:%H:%M:%S}", fmt::localtime(std::chrono::system_clock::to_time_t(time)));
}

}  // namespace

FullScreen::FullScreen(const Layout& layout, const Plan& plan, Mailbox& mailbox, Signals& signals)
    : ticks_(plan.ticks),
      mailbox_(mailbox),
      signals_(signals),
      states_(statesOf(plan.gateways, Clock::now())),
      counts_(plan.gateways.size()),
      model_(titleFor(plan.ticks), layout.order),
      screen_(layout.colours) {
    for (const Endpoint& gateway : plan.gateways) {
        content_.gateways.push_back({nameOf(gateway)});
    }
}

ExitCode FullScreen::show(std::optional<std::uint64_t> count) {
    while (!ending_ && !model_.isOver() && !hasSeen(count)) {
        if (Clock::now() >= contentDue_) {  // not for each key: there may be a hundred thousand statistics
            showContent();
        }
        model_.resize(screen_.height());
        screen_.draw(model_.page());
        if (waitAndSeeIfLeft({STDIN_FILENO, signals_.descriptor(), mailbox_.descriptor()}, STDIN_FILENO,
                             contentDue_)) {
            ending_ = endedBy(SIGHUP);
        }
        takeKeys();
        takeSignals();
        takeDeliveries();
    }
    return ending_.value_or(exitCodeOf(samplesOf(states_)));
}

// With several Gateways the slowest counts.
bool FullScreen::hasSeen(std::optional<std::uint64_t> count) const {
    return count && *std::min_element(counts_.begin(), counts_.end()) >= *count;
}

void FullScreen::takeKeys() {
    while (const auto key = screen_.key()) {
        model_.press(*key);
    }
}

void FullScreen::takeSignals() {
    while (const auto signal = signals_.take()) {
        handle(*signal);
    }
}

void FullScreen::handle(int signal) {
    switch (signal) {
        case SIGWINCH:
            screen_.fitToTerminal();
            break;
        case SIGTSTP:
            screen_.suspend();
            stopProcess();
            screen_.resume();
            break;
        case SIGCONT:
            screen_.resume();
            break;
        default:
            ending_ = endedBy(signal);
    }
}

void FullScreen::takeDeliveries() {
    for (auto& [gateway, delivery] : mailbox_.take()) {
        GatewayState& state = states_[gateway];
        take(std::move(delivery), state);
        ++counts_[gateway];
        contentDue_ = Clock::now();
        if (!state.isDown()) {  // otherwise what was read last stays to be seen
            content_.gateways[gateway].groups =
                groupsOf(state.latest.sample.readings, state.history, state.since);
            content_.time = timeOfDay(state.latest.sample.time);
        }
    }
}

void FullScreen::showContent() {
    const Moment now = Clock::now();
    for (std::size_t gateway = 0; gateway < states_.size(); ++gateway) {
        content_.gateways[gateway].status = statusOf(states_[gateway], ticks_, now);
        content_.gateways[gateway].down = states_[gateway].isDown();
    }
    model_.update(content_);
    contentDue_ = now + LIFE_OF_A_STATUS;
}

}  // namespace tools::zolstat::watch
