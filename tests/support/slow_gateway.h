// Gateways that are not there in time: one that accepts nothing, and one that sends a byte now and then.
// They listen to nothing that they are asked; the stand-in Gateway does that.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_SLOW_GATEWAY_H
#define ZOLSTATS_TESTS_SLOW_GATEWAY_H

#include <fcntl.h>

#include "support/answering_gateway.h"

namespace testing_support {

// A port whose queue of connections is full: a further connect is never answered.
class FullQueue {
  public:
    FullQueue() {
        listener_.listen(0);
        while (connects()) {
        }
    }
    ~FullQueue() {
        for (const int each : queued_) {
            ::close(each);
        }
    }
    FullQueue(const FullQueue&) = delete;
    FullQueue& operator=(const FullQueue&) = delete;

    [[nodiscard]] int port() const { return listener_.number(); }

  private:
    bool connects() {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        ::getsockname(listener_.descriptor(), reinterpret_cast<sockaddr*>(&address), &size);
        queued_.push_back(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0));
        ::connect(queued_.back(), reinterpret_cast<sockaddr*>(&address), size);
        pollfd wait{queued_.back(), POLLOUT, 0};
        return ::poll(&wait, 1, 100) == 1;
    }

    LoopbackPort listener_;
    std::vector<int> queued_;
};

// Sends some bytes at once to the only connection that it takes, then others one by one, then nothing more.
class SlowGateway {
  public:
    SlowGateway(Bytes atOnce, Bytes slowly) : atOnce_(std::move(atOnce)), slowly_(std::move(slowly)) {
        port_.listen(1);
        if (::pipe2(stop_.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe");
        }
        server_ = std::thread([this] { serve(); });
    }
    ~SlowGateway() {
        ::close(stop_[1]);
        server_.join();
        ::close(stop_[0]);
    }
    SlowGateway(const SlowGateway&) = delete;
    SlowGateway& operator=(const SlowGateway&) = delete;

    [[nodiscard]] int port() const { return port_.number(); }

  private:
    static constexpr int BYTE_INTERVAL_MS = 20;

    // Whether the test is still on after so much time, or when someone connects.
    bool goesOn(int waitMs, int accepting = -1) const {
        std::array<pollfd, 2> wait{{{stop_[0], POLLIN, 0}, {accepting, POLLIN, 0}}};
        ::poll(wait.data(), wait.size(), waitMs);
        return wait[0].revents == 0;
    }

    void serve() {
        if (!goesOn(-1, port_.descriptor())) {
            return;
        }
        const int connection = ::accept4(port_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
        ::send(connection, atOnce_.data(), atOnce_.size(), MSG_NOSIGNAL);
        for (const char byte : slowly_) {
            if (!goesOn(BYTE_INTERVAL_MS)) {
                break;
            }
            ::send(connection, &byte, 1, MSG_NOSIGNAL);
        }
        goesOn(-1);
        ::close(connection);
    }

    Bytes atOnce_;
    Bytes slowly_;
    LoopbackPort port_;
    std::array<int, 2> stop_{};
    std::thread server_;
};

}  // namespace testing_support

#endif
