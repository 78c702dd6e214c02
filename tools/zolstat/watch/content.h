// What a watch has to show: Gateways, their groups, the statistics of each.
// Not what of it is visible (view_model.h) or how it is drawn (screen.h).
// The protocol that the statistics come by is written down in docs/protocol.md.
#ifndef ZOLSTAT_WATCH_CONTENT_H
#define ZOLSTAT_WATCH_CONTENT_H

#include <optional>
#include <string>
#include <vector>

#include "history.h"
#include "sample.h"

namespace tools::zolstat::watch {

// All texts are as they came from the Gateway: any bytes.

struct StatisticContent {
    std::string id;
    std::string value{};
    int code = 0;  // negative: rejected, and the other fields say nothing
    std::optional<Change> change{};
    Trend trend{};
};

struct GroupContent {
    std::string name;  // empty: of statistics that belong to none
    int code = 0;      // negative: rejected
    std::vector<StatisticContent> statistics{};
};

struct GatewayContent {
    std::string name;
    std::string status{};  // in words, fit for a terminal
    bool down = false;     // what stands in the groups is of the past
    std::vector<GroupContent> groups{};
};

struct Content {
    std::vector<GatewayContent> gateways{};
    std::string time{};  // of the latest reading, in words
};

// The readings of a sample, put in their groups; each statistic once.
std::vector<GroupContent> groupsOf(const std::vector<Reading>& readings, const History& history, Moment now);

// "+1.5", "restart", or nothing.
std::string textOf(const std::optional<Change>& change);

}  // namespace tools::zolstat::watch

#endif
