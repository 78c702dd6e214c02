// The socket that a server listens on.
// Knows nothing of what is said on the connections that it accepts.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_GATEWAY_LISTENER_H
#define ZOLSTATS_GATEWAY_LISTENER_H

#include <cstdint>
#include <string>

#include "descriptor.h"

namespace gateway {

class Listener {
  public:
    // The host is a name or a number, IPv4 or IPv6; port 0 takes a free one. Throws std::system_error.
    Listener(const std::string& host, std::uint16_t port);

    [[nodiscard]] std::uint16_t port() const;

    // Blocks until a client connects. Throws std::system_error, also once `end` was called.
    [[nodiscard]] Descriptor accept() const;
    void end() const;

  private:
    Descriptor socket_;
};

// The peer's address and port, or "?" once it is gone.
std::string peerName(const Descriptor& connection);

}  // namespace gateway

#endif
