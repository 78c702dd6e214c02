// A watch as text: one block of it in each interval, for pipes, files and simple terminals.
// Not the layout of a block (formats/).
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "blocks.h"

#include <unistd.h>

#include <algorithm>

#include "ask.h"
#include "console.h"
#include "formats/format.h"
#include "waiting.h"

namespace tools::zolstat::watch {
namespace {

using Clock = std::chrono::steady_clock;

// Each thing once, when it begins: a Gateway that stays down says nothing new.
std::string whatIsNew(const GatewayState& before, const Sample& sample) {
    const std::string name = nameOf(sample.gateway);
    std::string lines;
    if (sample.failure && !before.isDown()) {
        lines += complaintOf(name, sample.failure->text);
    } else if (!sample.failure && before.isDown()) {
        lines += complaintOf(name, "answers again");
    }
    if (sample.complaints != before.latest.sample.complaints) {
        for (const std::string& complaint : sample.complaints) {
            lines += complaintOf(name, complaint);
        }
    }
    return lines;
}

}  // namespace

Blocks::Blocks(const Layout& layout, const Plan& plan, Mailbox& mailbox, Signals& signals)
    : layout_(layout),
      ticks_(plan.ticks),
      mailbox_(mailbox),
      signals_(signals),
      states_(statesOf(plan.gateways, Clock::now())),
      answered_(plan.gateways.size()) {
    layout_.changes = true;
    for (std::size_t gateway = 0; gateway < plan.gateways.size(); ++gateway) {
        waits_.emplace(gateway, patience_.waitFor(plan.gateways[gateway]));
    }
}

ExitCode Blocks::print(std::optional<std::uint64_t> count) {
    std::uint64_t printed = 0;
    while (!ending_ && printed != count) {
        const Moment end = ticks_.after(Clock::now());
        waitUntil(end, Until::AllReady);
        printed += !ending_ && printBlock() ? 1 : 0;
        if (printed != count) {
            waitUntil(end, Until::TheMoment);
        }
    }
    return ending_.value_or(exitCodeOf(samplesOf(states_)));
}

void Blocks::waitUntil(Moment moment, Until until) {
    while (!ending_ && Clock::now() < moment && !(until == Until::AllReady && areAllReady())) {
        if (waitAndSeeIfLeft({signals_.descriptor(), mailbox_.descriptor()}, STDOUT_FILENO, moment)) {
            ending_ = ExitCode::Fine;
        }
        takeSignal();
        takeDeliveries();
    }
}

void Blocks::takeSignal() {
    if (const auto signal = signals_.take()) {
        ending_ = endedBy(*signal);
    }
}

void Blocks::takeDeliveries() {
    for (auto& [gateway, delivery] : mailbox_.take()) {
        waits_.erase(gateway);
        write(STDERR_FILENO, whatIsNew(states_[gateway], delivery.sample));
        take(std::move(delivery), states_[gateway]);
        answered_[gateway] = true;
    }
}

bool Blocks::isReady(std::size_t gateway) const {
    return answered_[gateway] || states_[gateway].isDown();
}

bool Blocks::areAllReady() const {
    std::size_t gateway = 0;
    while (gateway < states_.size() && isReady(gateway)) {
        ++gateway;
    }
    return gateway == states_.size();
}

bool Blocks::printBlock() {
    std::vector<Sample> samples;
    for (std::size_t gateway = 0; gateway < states_.size(); ++gateway) {
        if (isReady(gateway)) {
            samples.push_back(states_[gateway].latest.sample);
        }
    }
    if (samples.empty()) {
        return false;
    }
    write(STDOUT_FILENO, render(std::move(samples), Kind::Statistics, layout_));
    layout_.header = false;
    answered_.assign(states_.size(), false);
    return true;
}

// Signals are blocked, so that none would end a write whose reader has stalled.
void Blocks::write(int descriptor, std::string_view text) {
    const auto line = patience_.giveWay();
    while (!ending_ && !text.empty()) {
        waitUntilWritable(descriptor, signals_.descriptor());
        takeSignal();
        text.remove_prefix(ending_ ? 0 : writeBeginning(descriptor, text));
    }
}

}  // namespace tools::zolstat::watch
