// Listening sockets, opened here rather than by libmicrohttpd, which does not tell why it cannot.
// Not the place where connections are looked after.
// Nothing here comes from the protocol of the Gateways.
#include "listening.h"

#include <fmt/format.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <stdexcept>

namespace tools::exporter::http {
namespace {

constexpr int BACKLOG = 511;

using Addresses = std::unique_ptr<addrinfo, decltype(&freeaddrinfo)>;

[[noreturn]] void fail(const Endpoint& endpoint, const char* reason) {
    throw std::runtime_error(fmt::format("Cannot listen at {}: {}.", nameOf(endpoint), reason));
}

Addresses addressesOf(const Endpoint& endpoint) {
    addrinfo hints{};
    hints.ai_flags = AI_PASSIVE;
    hints.ai_socktype = SOCK_STREAM;
    const char* host = endpoint.host.empty() ? nullptr : endpoint.host.c_str();
    addrinfo* found = nullptr;
    if (const int code = getaddrinfo(host, std::to_string(endpoint.port).c_str(), &hints, &found);
        code != 0) {
        fail(endpoint, gai_strerror(code));
    }
    return {found, &freeaddrinfo};
}

// -1, and errno tells why, if that is impossible.
int listenAt(const addrinfo& address) {
    const int socket = ::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, 0);
    if (socket < 0) {
        return -1;
    }
    const int yes = 1;  // a restart need not wait for the last connections of the process before
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &yes, sizeof yes);
    if (bind(socket, address.ai_addr, address.ai_addrlen) == 0 && listen(socket, BACKLOG) == 0) {
        return socket;
    }
    const int reason = errno;
    close(socket);
    errno = reason;
    return -1;
}

int listenAt(const Endpoint& endpoint) {
    const auto addresses = addressesOf(endpoint);
    for (const auto* address = addresses.get(); address != nullptr; address = address->ai_next) {
        if (const int socket = listenAt(*address); socket >= 0) {
            return socket;
        }
    }
    fail(endpoint, std::strerror(errno));
}

// Something that passes: descriptors or memory have run out for now.
void waitALittle() {
    constexpr int PAUSE_MS = 50;
    poll(nullptr, 0, PAUSE_MS);
}

}  // namespace

Listening::Listening(const Endpoint& endpoint) : socket_(listenAt(endpoint)) {}

Listening::~Listening() {
    close(socket_);
}

int Listening::port() const {
    sockaddr_storage address{};
    socklen_t size = sizeof address;
    getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
    const auto* v6 = reinterpret_cast<const sockaddr_in6*>(&address);
    const auto* v4 = reinterpret_cast<const sockaddr_in*>(&address);
    return ntohs(address.ss_family == AF_INET6 ? v6->sin6_port : v4->sin_port);
}

std::optional<Listening::Guest> Listening::accept() const {
    while (!isOver_) {
        Guest guest;
        guest.socket = accept4(socket_, reinterpret_cast<sockaddr*>(&guest.address), &guest.addressSize,
                               SOCK_CLOEXEC | SOCK_NONBLOCK);
        if (guest.socket >= 0) {
            return guest;
        }
        if (!isOver_ && errno != EINTR && errno != ECONNABORTED) {
            waitALittle();
        }
    }
    return {};
}

// Linux wakes who waits in accept.
void Listening::end() {
    isOver_ = true;
    shutdown(socket_, SHUT_RDWR);
}

}  // namespace tools::exporter::http
