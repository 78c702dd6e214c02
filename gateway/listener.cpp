// Binding, listening and accepting, with failures as exceptions.
// Not the connections themselves: see server.cpp.
// The protocol is written down in docs/protocol.md.
#include "listener.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <memory>
#include <system_error>

namespace gateway {
namespace {

using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

[[noreturn]] void fail(int error, const std::string& what) {
    throw std::system_error(error, std::generic_category(), what);
}

Addresses resolve(const std::string& host, std::uint16_t port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    const int result = ::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (result == EAI_SYSTEM) {
        fail(errno, host);
    }
    if (result != 0) {
        fail(EADDRNOTAVAIL, host + ": " + ::gai_strerror(result));
    }
    return {found, &::freeaddrinfo};
}

// A listening socket, or none and errno.
Descriptor listenOn(const addrinfo& address) {
    Descriptor socket(::socket(address.ai_family, address.ai_socktype | SOCK_CLOEXEC, address.ai_protocol));
    const int on = 1;
    const bool listening = socket.number() >= 0 &&
                           ::setsockopt(socket.number(), SOL_SOCKET, SO_REUSEADDR, &on, sizeof on) == 0 &&
                           ::bind(socket.number(), address.ai_addr, address.ai_addrlen) == 0 &&
                           ::listen(socket.number(), SOMAXCONN) == 0;
    if (listening) {
        return socket;
    }
    const int error = errno;
    socket.close();
    errno = error;
    return Descriptor();
}

Descriptor listenOnAny(const std::string& host, std::uint16_t port) {
    const Addresses addresses = resolve(host, port);
    for (const addrinfo* address = addresses.get(); address != nullptr; address = address->ai_next) {
        if (Descriptor socket = listenOn(*address); socket.number() >= 0) {
            return socket;
        }
    }
    fail(errno, "cannot listen");
}

}  // namespace

Listener::Listener(const std::string& host, std::uint16_t port) : socket_(listenOnAny(host, port)) {}

std::uint16_t Listener::port() const {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    if (::getsockname(socket_.number(), reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        fail(errno, "getsockname");
    }
    // The port stands at the same place in both families.
    return ntohs(reinterpret_cast<const sockaddr_in&>(address).sin_port);
}

Descriptor Listener::accept() const {
    Descriptor connection(::accept4(socket_.number(), nullptr, nullptr, SOCK_CLOEXEC));
    if (connection.number() < 0) {
        fail(errno, "accept");
    }
    // A reply is one write and the client waits for it: nothing is gained by collecting.
    const int on = 1;
    ::setsockopt(connection.number(), IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return connection;
}

void Listener::end() const {
    ::shutdown(socket_.number(), SHUT_RDWR);
}

std::string peerName(const Descriptor& connection) {
    sockaddr_storage address{};
    socklen_t length = sizeof address;
    std::array<char, NI_MAXHOST> host{};
    std::array<char, NI_MAXSERV> port{};
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (::getpeername(connection.number(), generic, &length) != 0 ||
        ::getnameinfo(generic, length, host.data(), host.size(), port.data(), port.size(),
                      NI_NUMERICHOST | NI_NUMERICSERV) != 0) {
        return "?";
    }
    return std::string(host.data()) + ' ' + port.data();
}

}  // namespace gateway
