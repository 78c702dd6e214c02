// A socket that listens, and who comes there.
// Not the place where connections are looked after (server.cpp).
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_HTTP_LISTENING_H
#define EXPORTER_HTTP_LISTENING_H

#include <sys/socket.h>

#include <atomic>
#include <optional>

#include "common/endpoint.h"

namespace tools::exporter::http {

class Listening {
  public:
    // At the first of the host's addresses that can be had; an empty host stands for all addresses of the machine, port
    // 0 for any free one. Throws std::runtime_error.
    explicit Listening(const Endpoint& endpoint);
    ~Listening();
    Listening(const Listening&) = delete;
    Listening& operator=(const Listening&) = delete;

    int port() const;

    // Waits for a connection, whose socket the caller then owns. Nothing after end().
    struct Guest {
        int socket = -1;
        sockaddr_storage address{};
        socklen_t addressSize = sizeof(sockaddr_storage);
    };
    std::optional<Guest> accept() const;

    // Nobody comes in any more. May be called while another thread waits in accept().
    void end();

  private:
    const int socket_;
    std::atomic<bool> isOver_ = false;
};

}  // namespace tools::exporter::http

#endif
