// What is known of each Gateway at the moment: its latest sample, and how it has been since.
// Not the place where anything is asked (feeder.h) or shown.
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_STATE_H
#define ZOLSTAT_WATCH_STATE_H

#include <optional>
#include <string>
#include <vector>

#include "history.h"
#include "mailbox.h"
#include "schedule.h"

namespace tools::zolstat::watch {

struct GatewayState {
    Delivery latest;  // nothing in it until `heard`
    History history{};
    Moment since{};  // the watch began, or the latest delivery came
    bool heard = false;

    bool isDown() const { return latest.sample.failure.has_value(); }
};

std::vector<GatewayState> statesOf(const std::vector<Endpoint>& gateways, Moment now);

// The changes of the delivery's readings are filled in on the way.
void take(Delivery delivery, GatewayState& state);

// In words, such as "connected" or "down, next try in 4 s: the connection was refused (-135)".
std::string statusOf(const GatewayState& state, const Ticks& ticks, Moment now);

std::vector<Sample> samplesOf(const std::vector<GatewayState>& states);

}  // namespace tools::zolstat::watch

#endif
