// Waiting for several things at once: keys, signals, deliveries, a moment.
// Not the place where anything of these is taken.
// The protocol that the statistics come by is written down in docs/protocol.md.
#include "waiting.h"

#include <poll.h>

#include <algorithm>
#include <array>
#include <vector>

namespace tools::zolstat::watch {
namespace {

// Rounded up, so that the moment has really come afterwards.
int millisecondsUntil(Moment moment) {
    const auto rest =
        std::chrono::ceil<std::chrono::milliseconds>(moment - std::chrono::steady_clock::now()).count();
    return static_cast<int>(std::max<decltype(rest)>(rest, 0));
}

}  // namespace

bool waitAndSeeIfLeft(std::initializer_list<int> readable, int left, Moment moment) {
    std::vector<pollfd> descriptors{{left, 0, 0}};  // that its other end is gone is told unasked
    for (const int descriptor : readable) {
        descriptors.push_back({descriptor, POLLIN, 0});
    }
    poll(descriptors.data(), descriptors.size(), millisecondsUntil(moment));
    return (descriptors.front().revents & (POLLERR | POLLHUP)) != 0;
}

void waitUntilWritable(int descriptor, int readable) {
    std::array<pollfd, 2> descriptors{{{descriptor, POLLOUT, 0}, {readable, POLLIN, 0}}};
    poll(descriptors.data(), descriptors.size(), -1);
}

}  // namespace tools::zolstat::watch
