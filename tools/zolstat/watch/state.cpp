// What is known of each Gateway at the moment: its latest sample, and how it has been since.
// Not the place where anything is asked (feeder.cpp) or shown.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "state.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>

namespace tools::zolstat::watch {
namespace {

using namespace std::chrono_literals;

// So much later than expected is worth a word.
constexpr auto PATIENCE = 2s;

std::chrono::seconds wholeSeconds(Moment::duration duration) {
    return std::chrono::floor<std::chrono::seconds>(duration);
}

// The reason last: it may be longer than the screen is wide.
std::string statusOfLost(const GatewayState& state, Moment now) {
    const auto rest = std::chrono::ceil<std::chrono::seconds>(state.latest.nextTry - now);
    const std::string next = rest > 0s ? fmt::format("next try in {} s", rest.count()) : "trying again";
    return fmt::format("down, {}: {}", next, state.latest.sample.failure->text);
}

std::string withComplaints(std::string status, const std::vector<std::string>& complaints) {
    for (const std::string& complaint : complaints) {
        status += "; " + complaint;
    }
    return status;
}

}  // namespace

std::vector<GatewayState> statesOf(const std::vector<Endpoint>& gateways, Moment now) {
    std::vector<GatewayState> states;
    for (const Endpoint& gateway : gateways) {
        states.push_back({{{gateway}}, {}, now});
    }
    return states;
}

void take(Delivery delivery, GatewayState& state) {
    state.history.take(delivery.sample.readings, delivery.moments, delivery.connection);
    state.latest = std::move(delivery);
    state.since = state.latest.moment;
    state.heard = true;
}

std::string statusOf(const GatewayState& state, const Ticks& ticks, Moment now) {
    if (state.isDown()) {
        return statusOfLost(state, now);
    }
    const auto silence = wholeSeconds(now - state.since);
    if (!state.heard) {
        return silence >= PATIENCE ? fmt::format("connecting for {} s", silence.count()) : "connecting";
    }
    if (silence >= ticks.interval() + PATIENCE) {
        return fmt::format("no answer for {} s", silence.count());
    }
    return withComplaints("connected", state.latest.sample.complaints);
}

std::vector<Sample> samplesOf(const std::vector<GatewayState>& states) {
    std::vector<Sample> samples;
    std::transform(states.begin(), states.end(), std::back_inserter(samples),
                   [](const GatewayState& state) { return state.latest.sample; });
    return samples;
}

}  // namespace tools::zolstat::watch
