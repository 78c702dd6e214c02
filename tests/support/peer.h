// The other end of a connection, for tests without a server: what the library is to read is written
// beforehand, what it has sent is read afterwards. No thread is needed, as a socket pair keeps both until
// they are asked for.
#ifndef ZOLSTATS_TESTS_PEER_H
#define ZOLSTATS_TESTS_PEER_H

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>
#include <string_view>
#include <system_error>

namespace testing_support {

class Peer {
  public:
    Peer() {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data()) != 0) {
            throw std::system_error(errno, std::generic_category(), "socketpair");
        }
        const int size = 1 << 20;
        for (const int end : ends_) {
            ::setsockopt(end, SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
        }
    }
    ~Peer() {
        hangUp();
        ::close(ends_[0]);
    }
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    // The descriptor for the library's side.
    [[nodiscard]] int descriptor() const { return ends_[0]; }

    // Queue bytes for the library to read.
    void reply(std::string_view bytes) const {
        while (!bytes.empty()) {
            const ssize_t written = ::send(ends_[1], bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
            if (written <= 0) {
                throw std::system_error(errno, std::generic_category(), "the peer cannot queue its reply");
            }
            bytes.remove_prefix(static_cast<std::size_t>(written));
        }
    }

    // Whether the library has read all that was queued. Fit for a signal handler.
    [[nodiscard]] bool isReadUp() const {
        char byte = 0;
        return ::recv(ends_[0], &byte, 1, MSG_PEEK | MSG_DONTWAIT) <= 0;
    }

    // End the stream behind what was queued, but go on receiving.
    void endReplies() const { ::shutdown(ends_[1], SHUT_WR); }

    // Close this end.
    void hangUp() {
        if (ends_[1] >= 0) {
            ::close(ends_[1]);
        }
        ends_[1] = -1;
    }

    // Everything the library has sent since the last call.
    [[nodiscard]] std::string received() const {
        std::string bytes;
        std::array<char, 65536> part{};
        for (ssize_t count = 1; count > 0;) {
            count = ::recv(ends_[1], part.data(), part.size(), MSG_DONTWAIT);
            bytes.append(part.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
        }
        return bytes;
    }

    // Throw away what the library has sent so far. Fit for a signal handler.
    void discard() const {
        std::array<char, 65536> part{};
        while (::recv(ends_[1], part.data(), part.size(), MSG_DONTWAIT) > 0) {
        }
    }

  private:
    std::array<int, 2> ends_{};
};

}  // namespace testing_support

#endif
