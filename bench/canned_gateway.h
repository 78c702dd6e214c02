// A Gateway that has every reply ready: the first request of its kind is answered by the usual encoder, all later ones
// with the same bytes. So a reply costs one recv() and one send(), and what is measured is the client.
// It answers the requests of this comparison only; the stand-in Gateway is another one.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_BENCH_CANNED_GATEWAY_H
#define ZOLSTATS_BENCH_CANNED_GATEWAY_H

#include <cstdint>
#include <mutex>
#include <stop_token>
#include <string>
#include <string_view>
#include <thread>
#include <unordered_map>
#include <vector>

#include "listener.h"
#include "wire.h"

namespace bench {

// Makes the replies, and keeps them. Any thread may ask.
class CannedReplies {
  public:
    // A reply; its bytes live as long as this object does.
    struct Reply {
        std::string bytes;
        bool isLast = false;  // the connection ends with it
    };

    // A Gateway that is wrong changes one byte of the last value in each answer.
    explicit CannedReplies(bool isWrong = false) : isWrong_(isWrong) {}

    // The reply to what has been received, or null as long as that is not a whole request.
    const Reply* find(std::string_view received);

  private:
    struct Hash : std::hash<std::string_view> {
        using is_transparent = void;
    };

    Reply make(const gateway::Request& request) const;
    std::string call(const gateway::Request& request) const;
    std::string statistics(const std::string& group) const;

    const bool isWrong_;
    std::mutex mutex_;
    std::unordered_map<std::string, Reply, Hash, std::equal_to<>> replies_;  // by the whole request
};

// Serves a few connections at once, each with a thread that was there before, on a port of the loopback address.
class CannedGateway {
  public:
    explicit CannedGateway(bool isWrong = false);
    ~CannedGateway();
    CannedGateway(const CannedGateway&) = delete;
    CannedGateway& operator=(const CannedGateway&) = delete;

    [[nodiscard]] std::uint16_t port() const { return listener_.port(); }

  private:
    void serveAll(const std::stop_token& stop);
    void serve(const gateway::Descriptor& connection);

    CannedReplies replies_;
    gateway::Listener listener_;
    std::vector<std::jthread> threads_;
};

}  // namespace bench

#endif
