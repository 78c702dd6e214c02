#include "bare_connection.h"

#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <string>
#include <system_error>

#include "one_pass.h"
#include "requests.h"

namespace bench {
namespace {

constexpr std::size_t FIRST_CAPACITY = 4096;
constexpr int CONNECT_LIMIT_MS = 60'000;

[[noreturn]] void fail(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

int checked(int result, const char* what) {
    return result < 0 ? (fail(what), result) : result;
}

using Addresses = std::unique_ptr<addrinfo, decltype(&::freeaddrinfo)>;

Addresses resolve(std::uint16_t port) {
    char service[8];
    std::snprintf(service, sizeof service, "%u", unsigned{port});
    addrinfo hints{};
    hints.ai_flags = AI_ALL | AI_ADDRCONFIG;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo("127.0.0.1", service, &hints, &found) != 0) {
        fail("getaddrinfo");
    }
    return {found, &::freeaddrinfo};
}

void setOption(int socket, int level, int option, int value) {
    checked(::setsockopt(socket, level, option, &value, sizeof value), "setsockopt");
}

void setNonBlocking(int socket, int on) {
    checked(::ioctl(socket, FIONBIO, &on), "FIONBIO");
}

void waitForConnect(int socket) {
    pollfd wait{socket, POLLOUT | POLLPRI, 0};
    checked(::poll(&wait, 1, CONNECT_LIMIT_MS), "poll");
    int error = 0;
    socklen_t size = sizeof error;
    ::getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size);
    errno = error;
    checked(-error, "connect");
}

gateway::Descriptor connectTo(std::uint16_t port) {
    constexpr int SEND_BUFFER_SIZE = 64 * 1024;
    const Addresses address = resolve(port);
    gateway::Descriptor socket(checked(
        ::socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC, address->ai_protocol), "socket"));
    setOption(socket.number(), SOL_SOCKET, SO_KEEPALIVE, 1);
    setOption(socket.number(), IPPROTO_TCP, TCP_NODELAY, 1);
    setOption(socket.number(), SOL_SOCKET, SO_SNDBUF, SEND_BUFFER_SIZE);
    setNonBlocking(socket.number(), 1);
    if (::connect(socket.number(), address->ai_addr, address->ai_addrlen) < 0) {
        waitForConnect(socket.number());
    }
    setNonBlocking(socket.number(), 0);
    return socket;
}

std::size_t bodyLength(const char* reply, std::size_t headerLength) {
    return loadWord(reply + headerLength - 4);
}

}  // namespace

void ReplyBuffer::grow(std::size_t capacity, std::size_t kept) {
    if (capacity > capacity_) {
        auto grown = std::make_unique_for_overwrite<char[]>(capacity + PackedItems::READ_AHEAD);
        std::copy_n(bytes_.get(), kept, grown.get());
        bytes_ = std::move(grown);
        capacity_ = capacity;
    }
}

BareConnection::BareConnection(std::uint16_t port) : socket_(connectTo(port)) {
    buffer_.grow(FIRST_CAPACITY, 0);
    introduce();
}

BareConnection::~BareConnection() {
    try {
        exchangeInSteps(closeRequest(), BASE_HEADER_LENGTH);
    } catch (const std::system_error&) {  // the Gateway has gone already
    }
}

void BareConnection::introduce() {
    exchangeInSteps(handshakeRequest(), BASE_HEADER_LENGTH);
    const std::string_view words = exchangeInSteps(firstAuthRequest(), AUTH_HEADER_LENGTH);
    exchangeInSteps(secondAuthRequest(words.substr(AUTH_HEADER_LENGTH + 8, 12)), AUTH_HEADER_LENGTH);
    const std::string_view initialised = exchangeInSteps(initialiseRequest(), ADMIN_HEADER_LENGTH);
    adminId_ = loadWord(initialised.data() + ADMIN_ID_AT);
    exchangeInSteps(protocolRequest(adminId_), ADMIN_HEADER_LENGTH);
}

void BareConnection::send(std::string_view request) {
    if (::send(socket_.number(), request.data(), request.size(), MSG_NOSIGNAL) < 0) {
        fail("send");
    }
}

std::size_t BareConnection::receive(std::size_t at, std::size_t size, int flags) {
    const ssize_t count = ::recv(socket_.number(), buffer_.data() + at, size, flags);
    if (count <= 0) {
        errno = count == 0 ? ECONNRESET : errno;
        fail("recv");
    }
    return static_cast<std::size_t>(count);
}

std::string_view BareConnection::exchange(std::string_view request, std::size_t headerLength) {
    send(request);
    std::size_t received = 0;
    do {
        received += receive(received, buffer_.capacity() - received, 0);
    } while (received < headerLength);
    const std::size_t whole = headerLength + bodyLength(buffer_.data(), headerLength);
    if (received < whole) {
        buffer_.grow(whole, received);
        receive(received, whole - received, MSG_WAITALL);
    }
    return {buffer_.data(), whole};
}

std::string_view BareConnection::exchangeInSteps(std::string_view request, std::size_t headerLength) {
    send(request);
    pollfd wait{socket_.number(), POLLIN, 0};
    checked(::poll(&wait, 1, -1), "poll");
    receive(0, headerLength, MSG_WAITALL);
    const std::size_t whole = headerLength + bodyLength(buffer_.data(), headerLength);
    if (whole > headerLength) {
        buffer_.grow(whole, headerLength);
        receive(headerLength, whole - headerLength, MSG_WAITALL);
    }
    return {buffer_.data(), whole};
}

}  // namespace bench
