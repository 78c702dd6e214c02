// A client for tests of the stand-in Gateway: a plain socket and the few messages that a query takes.
// Not the client library, so that a mistake which both share cannot hide.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_GATEWAY_CLIENT_H
#define ZOLSTATS_TESTS_GATEWAY_CLIENT_H

#include <netdb.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>

#include "descriptor.h"
#include "requests.h"

class Client {
  public:
    // How a stream has ended.
    enum class End { Closed, Reset, Other };

    explicit Client(std::uint16_t port, const std::string& host = "127.0.0.1") : Client() {
        connect(port, host);
    }

    // Without a connection yet.
    Client() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}

    void connect(std::uint16_t port, const std::string& host = "127.0.0.1") {
        addrinfo hints{};
        hints.ai_flags = AI_NUMERICHOST | AI_NUMERICSERV;
        hints.ai_socktype = SOCK_STREAM;
        addrinfo* address = nullptr;
        if (::getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &address) != 0) {
            throw std::runtime_error("no address: " + host);
        }
        if (address->ai_family != AF_INET) {
            socket_ = gateway::Descriptor(::socket(address->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0));
        }
        const int result = ::connect(socket_.number(), address->ai_addr, address->ai_addrlen);
        const int error = errno;
        ::freeaddrinfo(address);
        check(result, error, "connect");
        limitWaiting();
    }

    void send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t count = ::send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
            check(count, errno, "send");
            bytes.remove_prefix(static_cast<std::size_t>(count));
        }
    }

    // The whole stream of a peer that does not listen any more may not be sent.
    void sendWhatIsTaken(std::string_view bytes) const {
        ::send(socket_.number(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
    }

    [[nodiscard]] std::string read(std::size_t length) const {
        std::string bytes(length, '\0');
        if (length == 0) {
            return bytes;  // recv would wait for a byte all the same
        }
        const ssize_t count = ::recv(socket_.number(), bytes.data(), length, MSG_WAITALL);
        check(count, errno, "recv");
        bytes.resize(static_cast<std::size_t>(count));
        return bytes;
    }

    // One whole reply, of which the name has this length.
    [[nodiscard]] std::string readReply(std::size_t nameLength) const {
        std::string reply = read(29 + nameLength);
        return reply + read(wordAt(reply, 25 + nameLength));
    }

    std::string ask(std::string_view request, std::size_t nameLength) const {
        send(request);
        return readReply(nameLength);
    }

    // How the stream ends, after whatever still comes.
    [[nodiscard]] End end() const {
        std::string bytes(65536, '\0');
        for (;;) {
            const ssize_t count = ::recv(socket_.number(), bytes.data(), bytes.size(), 0);
            if (count <= 0) {
                return count == 0 ? End::Closed : errno == ECONNRESET ? End::Reset : End::Other;
            }
        }
    }

    // Whether nothing has come for a moment. It may come later.
    [[nodiscard]] bool hasNothing() const {
        char byte = 0;
        return ::recv(socket_.number(), &byte, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && errno == EAGAIN;
    }

    void hangUp() { socket_.close(); }

    // ---- A conversation

    void authorise() const {
        ask(requests::HANDSHAKE, 4);
        const std::string reply = ask(requests::ASK_FOR_WORDS, 4);
        ask(requests::handBack(reply.substr(33 + 8, 12)), 4);
    }

    // The admin id, as it travels.
    [[nodiscard]] std::string initialise() const { return ask(requests::INITIALISE, 5).substr(34 + 8, 4); }

    // The call data that answers a query on an authorised connection.
    [[nodiscard]] std::string query(const std::string& action, const std::string& argument) const {
        return ask(requests::invoke(initialise(), action, argument), 5).substr(34 + 9);
    }

  private:
    static std::uint32_t wordAt(const std::string& bytes, std::size_t offset) {
        std::uint32_t value = 0;
        for (const char byte : bytes.substr(offset, 4)) {
            value = value << 8 | static_cast<std::uint8_t>(byte);
        }
        return value;
    }

    static void check(ssize_t result, int error, const char* what) {
        if (result < 0) {
            throw std::system_error(error, std::generic_category(), what);
        }
    }

    // A test that waits in vain fails; it does not hang.
    void limitWaiting() const {
        const timeval limit{20, 0};
        ::setsockopt(socket_.number(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit);
        ::setsockopt(socket_.number(), SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit);
    }

    gateway::Descriptor socket_;
};

#endif
