// The thread of the replaying peer, and one connection after the other.
// Nothing here knows what a client should do.
// The messages are written down in docs/protocol.md.
#include "replaying_peer.h"

#include <poll.h>
#include <sys/socket.h>

#include <algorithm>
#include <array>
#include <optional>
#include <system_error>
#include <utility>

namespace faults {
namespace {

using gateway::Descriptor;
using gateway::Ending;

constexpr int QUIET_MS = 50;
constexpr int NO_LIMIT = -1;

void sendBytes(const Descriptor& socket, std::string_view bytes) {
    while (!bytes.empty()) {
        const ssize_t sent = ::send(socket.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent <= 0) {
            return;  // the client has gone
        }
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
}

void sendReply(const Descriptor& socket, const Exchange& exchange) {
    const std::size_t step = exchange.byteByByte ? 1 : exchange.reply.size();
    for (std::size_t at = 0; at < exchange.reply.size(); at += step) {
        sendBytes(socket, std::string_view(exchange.reply).substr(at, step));
    }
}

void resetAtTheEnd(const Descriptor& socket) {
    const linger atOnce{1, 0};
    ::setsockopt(socket.number(), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
}

// One connection's way through its plan.
class Replay {
  public:
    Replay(const Descriptor& socket, const Plan& plan) : socket_(socket), plan_(plan) {}

    void run() {
        while (const auto request = nextRequest()) {
            const Exchange* exchange = exchangeFor(gateway::describe(*request));
            if (exchange == nullptr) {
                return;
            }
            sendReply(socket_, *exchange);
            if (exchange->ending != Ending::KeepOpen) {
                ending_ = exchange->ending;
                return;
            }
        }
    }
    [[nodiscard]] Ending ending() const { return ending_; }

  private:
    // Nothing when the client has closed the connection or stays quiet for too long.
    std::optional<gateway::Request> nextRequest() {
        std::array<char, 4096> part{};
        auto request = reader_.next();
        while (!request) {
            pollfd wait{socket_.number(), POLLIN, 0};
            const int limitMs = next_ > plan_.impatientFrom ? QUIET_MS : NO_LIMIT;
            const ssize_t count =
                ::poll(&wait, 1, limitMs) == 1 ? ::recv(socket_.number(), part.data(), part.size(), 0) : 0;
            if (count <= 0) {
                return std::nullopt;
            }
            reader_.append({part.data(), static_cast<std::size_t>(count)});
            request = reader_.next();
        }
        return request;
    }

    // The next exchange in which the same was asked; a client may leave some out. A request that a damaged
    // reply has led astray is answered with the next exchange of all.
    const Exchange* exchangeFor(const std::string& asked) {
        const Conversation& all = plan_.conversation;
        const auto rest = all.begin() + static_cast<std::ptrdiff_t>(next_);
        auto found = std::find_if(rest, all.end(), [&](const Exchange& each) { return each.asked == asked; });
        found = found != all.end() ? found : rest;
        if (found == all.end()) {
            return nullptr;
        }
        next_ = static_cast<std::size_t>(found - all.begin()) + 1;
        return &*found;
    }

    const Descriptor& socket_;
    const Plan& plan_;
    gateway::RequestReader reader_;
    std::size_t next_ = 0;
    Ending ending_ = Ending::Close;
};

std::string play(const Descriptor& socket, const Plan& plan) {
    Replay replay(socket, plan);
    try {
        replay.run();
    } catch (const gateway::BadFraming& problem) {
        return problem.what();
    }
    if (replay.ending() == Ending::Reset) {
        resetAtTheEnd(socket);
    }
    return "";
}

}  // namespace

ReplayingPeer::ReplayingPeer() : thread_([this] { acceptAll(); }) {}

ReplayingPeer::~ReplayingPeer() {
    listener_.end();
    thread_.join();
}

void ReplayingPeer::prepare(Plan plan) {
    const std::lock_guard lock(mutex_);
    plan_ = std::move(plan);
    ended_ = false;
}

std::string ReplayingPeer::waitForTheEnd() {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return ended_; });
    return problem_;
}

Plan ReplayingPeer::takePlan() {
    const std::lock_guard lock(mutex_);
    return std::move(plan_);
}

void ReplayingPeer::tellEnd(const std::string& problem) {
    const std::lock_guard lock(mutex_);
    problem_ = problem;
    ended_ = true;
    changed_.notify_all();
}

void ReplayingPeer::acceptAll() {
    try {
        for (;;) {
            Descriptor socket = listener_.accept();
            const std::string problem = play(socket, takePlan());
            socket.close();
            tellEnd(problem);
        }
    } catch (const std::system_error&) {
        return;  // no longer listening
    }
}

}  // namespace faults
