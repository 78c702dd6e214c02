// A Gateway that does not listen to what it is asked: every connection gets the same replies at once, written
// beforehand, and then the end of the stream. What came in is read afterwards. Nothing here interprets a
// request; the stand-in Gateway does that. The wire format is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_ANSWERING_GATEWAY_H
#define ZOLSTATS_TESTS_ANSWERING_GATEWAY_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "support/bytes.h"

namespace testing_support {

// What opening and closing a connection puts on the wire, in order.
inline const Bytes HANDSHAKE_REQUEST =
    hex("47617465 00700000 00000005 00000000 00000000 00000004 42415345 00 00000012"
        "0002 656E 0002 4742 00000000000000000000");
inline const Bytes AUTH_INIT_REQUEST =
    hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000004 00000000");
inline const Bytes AUTH_ANSWER_REQUEST =
    hex("47617465 00700000 00000001 00000000 00000000 00000004 41757468 00 00000014"
        "00000001 11111111 A2222222 33333333 00000000");
inline const Bytes ADMIN_INIT_REQUEST =
    hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000004 00000000");
inline const Bytes PROTOCOL_REQUEST =
    hex("47617465 00700000 00000001 00000000 00000000 00000005 41646D696E 00 00000061"
        "00000001 00001234 00000055") +
    item("US") + item("en") + item("") +
    item("DefaultDomain:ProdId=com.velmor.zol,Activity=Control,type=Stats") + item("protocol");
inline const Bytes CLOSE_REQUEST =
    hex("47617465 00700000 0000000A 00000000 FFFFFFFF 00000004 42415345 00 00000000");

inline Bytes handshakeReply(std::int32_t gatewayCode = 0) {
    return message({.name = "BASE", .type = 5, .second = gatewayCode}, "");
}
inline Bytes authReply(std::int32_t authCode = 0) {
    return message({.name = "Auth"},
                   word(0) + word(authCode) + word(0x11111111U) + word(0xA2222222U) + word(0x33333333U));
}
inline Bytes adminInitReply() {
    return message({.name = "Admin"}, word(0) + word(0) + word(0x1234));
}
inline Bytes protocolReply(std::string_view version = "1_1") {
    return message({.name = "Admin"}, word(1) + word(0) + hex("00 00 ACED0005 74") + item(version));
}
inline Bytes closeReply() {
    return message({.name = "BASE", .type = 10}, "");
}

// All a connection needs up to the authorisation, and up to the token's protocol version.
inline Bytes connectReplies() {
    return handshakeReply() + authReply() + authReply();
}
inline Bytes openReplies() {
    return connectReplies() + adminInitReply() + protocolReply();
}

// A socket at a port of the loopback address: a free one, or one that a server has just left. As long as it does not
// listen, connecting to it is refused, and no other test that runs meanwhile gets it.
class LoopbackPort {
  public:
    explicit LoopbackPort(int number = 0) {
        const int isUsed = number != 0 ? 1 : 0;  // the server's last connections may not be forgotten yet
        ::setsockopt(socket_, SOL_SOCKET, SO_REUSEADDR, &isUsed, sizeof isUsed);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_port = htons(static_cast<std::uint16_t>(number));
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
            throw std::system_error(errno, std::generic_category(), "a port of the loopback address");
        }
    }
    ~LoopbackPort() { ::close(socket_); }
    LoopbackPort(const LoopbackPort&) = delete;
    LoopbackPort& operator=(const LoopbackPort&) = delete;

    void listen(int queueLength) const {
        if (::listen(socket_, queueLength) != 0) {
            throw std::system_error(errno, std::generic_category(), "listening on the loopback address");
        }
    }

    [[nodiscard]] int descriptor() const { return socket_; }

    [[nodiscard]] int number() const {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size);
        return ntohs(address.sin_port);
    }

  private:
    int socket_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

class AnsweringGateway {
  public:
    explicit AnsweringGateway(Bytes replies) : replies_(std::move(replies)) {
        listener_.listen(SOMAXCONN);
        if (::pipe(stop_.data()) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        server_ = std::thread([this] { serve(); });
    }
    ~AnsweringGateway() {
        ::close(stop_[1]);
        server_.join();
        hangUp();
        ::close(stop_[0]);
    }
    AnsweringGateway(const AnsweringGateway&) = delete;
    AnsweringGateway& operator=(const AnsweringGateway&) = delete;

    [[nodiscard]] int port() const { return listener_.number(); }

    // What connections from now on are told.
    void answer(Bytes replies) {
        const std::lock_guard lock(mutex_);
        replies_ = std::move(replies);
    }

    // The next size bytes of the index-th connection, fewer when it was closed before.
    [[nodiscard]] Bytes received(std::size_t index, std::size_t size) {
        Bytes bytes(size, '\0');
        const ssize_t count = ::recv(connection(index), bytes.data(), size, MSG_WAITALL);
        bytes.resize(count > 0 ? static_cast<std::size_t>(count) : 0);
        return bytes;
    }
    // All that is left of a connection that the library has closed.
    [[nodiscard]] Bytes receivedToTheEnd(std::size_t index) { return received(index, std::size_t{1} << 20); }

    [[nodiscard]] std::size_t connections() {
        const std::lock_guard lock(mutex_);
        return connections_.size();
    }

    // Close all connections.
    void hangUp() {
        const std::lock_guard lock(mutex_);
        for (const int connection : connections_) {
            ::close(connection);
        }
        connections_.clear();
    }

  private:
    void serve() {
        std::array<pollfd, 2> wait{{{listener_.descriptor(), POLLIN, 0}, {stop_[0], POLLIN, 0}}};
        while (::poll(wait.data(), wait.size(), -1) > 0 && wait[1].revents == 0) {
            const int connection = ::accept4(listener_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
            const std::lock_guard lock(mutex_);
            ::send(connection, replies_.data(), replies_.size(), MSG_NOSIGNAL);
            ::shutdown(connection, SHUT_WR);
            connections_.push_back(connection);
            accepted_.notify_all();
        }
    }

    int connection(std::size_t index) {
        std::unique_lock lock(mutex_);
        accepted_.wait(lock, [&] { return connections_.size() > index; });
        return connections_[index];
    }

    std::mutex mutex_;
    std::condition_variable accepted_;
    Bytes replies_;
    std::vector<int> connections_;
    LoopbackPort listener_;
    std::array<int, 2> stop_{};
    std::thread server_;
};

}  // namespace testing_support

#endif
