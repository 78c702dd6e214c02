// The watch over connections: one thread that sleeps until the first of them is late.
// Not the place where it is decided how long peers may take (Limits in server.h).
// Nothing here comes from the protocol of the Gateways.
#include "slow_requests.h"

#include <sys/socket.h>

#include <algorithm>

namespace tools::exporter::http {

SlowRequests::SlowRequests(Patience patience) : patience_(patience), thread_([this] { watch(); }) {}

SlowRequests::~SlowRequests() {
    {
        std::lock_guard lock(mutex_);
        isOver_ = true;
    }
    changed_.notify_all();
    thread_.join();
}

void SlowRequests::enter(int socket, Stage stage) {
    std::lock_guard lock(mutex_);
    auto& connection = connections_[socket];
    connection.stage = stage;
    connection.since = Clock::now();
    changed_.notify_all();
}

void SlowRequests::left(int socket) {
    std::lock_guard lock(mutex_);
    connections_.erase(socket);
    changed_.notify_all();
}

void SlowRequests::makeRoom() {
    std::unique_lock lock(mutex_);
    while (connections_.size() >= patience_.connections && !isFarewell_) {
        if (!isAnyLeaving()) {
            cutLongestWaiting();
        }
        changed_.wait(lock);
    }
}

void SlowRequests::sayFarewell() {
    std::unique_lock lock(mutex_);
    isFarewell_ = true;
    changed_.notify_all();
    changed_.wait(lock, [this] { return !isAnyServed(); });
}

void SlowRequests::waitForLast() {
    std::unique_lock lock(mutex_);
    changed_.wait_for(lock, patience_.farewell, [this] { return connections_.empty(); });
}

// Those are the ones that can be spared.
bool SlowRequests::isWaiting(const Connection& connection) {
    return !connection.isCut && (connection.stage == Stage::Request || connection.stage == Stage::Idle);
}

void SlowRequests::cut(int socket, Connection& connection) {
    connection.isCut = true;
    shutdown(socket, SHUT_RDWR);
}

std::optional<SlowRequests::Clock::time_point> SlowRequests::deadlineOf(const Connection& connection) const {
    const bool isServed = connection.stage == Stage::Answering || connection.stage == Stage::Sending;
    if (connection.isCut || connection.stage == Stage::Answering) {
        return {};
    }
    if (isFarewell_) {
        return isServed ? connection.since + patience_.farewell : connection.since;
    }
    return connection.since + (connection.stage == Stage::Request ? patience_.request : patience_.silence);
}

bool SlowRequests::isAnyServed() const {
    return std::any_of(connections_.begin(), connections_.end(), [](const auto& each) {
        const auto& [stage, since, isCut] = each.second;
        return stage == Stage::Answering || (stage == Stage::Sending && !isCut);
    });
}

bool SlowRequests::isAnyLeaving() const {
    return std::any_of(connections_.begin(), connections_.end(),
                       [](const auto& each) { return each.second.isCut; });
}

void SlowRequests::cutLongestWaiting() {
    const auto longest =
        std::min_element(connections_.begin(), connections_.end(), [](const auto& one, const auto& other) {
            return std::pair(!isWaiting(one.second), one.second.since) <
                   std::pair(!isWaiting(other.second), other.second.since);
        });
    if (longest != connections_.end() && isWaiting(longest->second)) {
        cut(longest->first, longest->second);
    }
}

// The time when the next one will be late.
std::optional<SlowRequests::Clock::time_point> SlowRequests::cutLate() {
    const auto now = Clock::now();
    std::optional<Clock::time_point> next;
    for (auto& [socket, connection] : connections_) {
        const auto deadline = deadlineOf(connection);
        if (deadline && *deadline <= now) {
            cut(socket, connection);
            changed_.notify_all();
        } else if (deadline) {
            next = std::min(next.value_or(*deadline), *deadline);
        }
    }
    return next;
}

void SlowRequests::watch() {
    std::unique_lock lock(mutex_);
    while (!isOver_) {
        if (const auto next = cutLate()) {
            changed_.wait_until(lock, *next);
        } else {
            changed_.wait(lock);
        }
    }
}

}  // namespace tools::exporter::http
