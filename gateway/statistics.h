// What the Gateway has to tell: groups of statistics, taken at one moment.
// Knows nothing of how they travel.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_GATEWAY_STATISTICS_H
#define ZOLSTATS_GATEWAY_STATISTICS_H

#include <array>
#include <atomic>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace gateway {

// Ids of groups and of statistics are all different, as both travel in one argument, and hold no ':', which
// separates them.
struct Statistic {
    std::string id;
    std::string data{};  // usually a text; any bytes, up to 32767, that a reader can hold
};
struct Group {
    std::string id;
    std::vector<Statistic> statistics{};
};
using Snapshot = std::vector<Group>;

// What a request asks for, as far as requests are counted apart.
enum class Action : std::size_t {
    Handshake,
    Authorise,
    Initialise,
    GetAttribute,
    GetStats,
    StatIds,
    ResourceGroups,
    Close,
    Count  // not an action: their number
};

// The Gateway's own doings. All connections count, any query reads.
struct Activity {
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
    std::atomic<std::uint64_t> connectionsOpen{0};
    std::atomic<std::uint64_t> connectionsTotal{0};
    std::atomic<std::uint64_t> bytesReceived{0};
    std::atomic<std::uint64_t> bytesSent{0};
    std::atomic<std::uint64_t> requestsTotal{0};
    std::array<std::atomic<std::uint64_t>, static_cast<std::size_t>(Action::Count)> requests{};

    void count(Action action) { ++requests[static_cast<std::size_t>(action)]; }
};

// The machine's figures, read from /proc when called. A figure that this kernel does not offer has empty
// data.
Snapshot readMachine(const std::string& procFolder = "/proc");

Group ownFigures(const Activity& activity);

// "BIG" with `count` statistics "BIG_1", "BIG_2", ... whose data is their number.
Group bigGroup(int count);

// "EMPTY", without a statistic.
Group emptyGroup();

}  // namespace gateway

#endif
