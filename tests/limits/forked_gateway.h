// A stand-in Gateway in a process of its own, so that neither its threads nor its descriptors nor its memory
// are those of the process under test. What it answers is settled when it starts; for answers that change see
// support/scripted_gateway.h. The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_FORKED_GATEWAY_H
#define ZOLSTATS_TESTS_FORKED_GATEWAY_H

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <system_error>

#include "descriptor.h"
#include "server.h"
#include "support/scripted_gateway.h"

namespace limits {

class ForkedGateway {
  public:
    // With the statistics of ScriptedGateway, and all answers as usual.
    ForkedGateway() : ForkedGateway(knowing(testing_support::ScriptedGateway::knownStatistics)) {}
    explicit ForkedGateway(const gateway::Options& options) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
            throw std::system_error(errno, std::generic_category(), "pipe2");
        }
        const gateway::Descriptor reader(ends[0]);
        gateway::Descriptor writer(ends[1]);
        const pid_t parent = ::getpid();
        process_ = ::fork();
        if (process_ == 0) {
            serve(options, writer.number(), parent);
        }
        writer.close();
        if (::read(reader.number(), &port_, sizeof port_) != sizeof port_) {
            throw std::runtime_error("the Gateway's process did not start");
        }
    }
    ~ForkedGateway() {
        ::kill(process_, SIGKILL);
        ::waitpid(process_, nullptr, 0);
    }
    ForkedGateway(const ForkedGateway&) = delete;
    ForkedGateway& operator=(const ForkedGateway&) = delete;

    [[nodiscard]] int port() const { return port_; }

    static gateway::Options knowing(std::function<gateway::Snapshot()> statistics) {
        gateway::Options options;
        options.statistics = std::move(statistics);
        options.keepRequests = false;
        return options;
    }

  private:
    // Until it is killed, or its parent ends.
    [[noreturn]] static void serve(const gateway::Options& options, int portReader, pid_t parent) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (::getppid() != parent) {
            ::_exit(1);
        }
        const gateway::Server server(options);
        const std::uint16_t port = server.port();
        if (::write(portReader, &port, sizeof port) != sizeof port) {
            ::_exit(1);
        }
        for (;;) {
            ::pause();
        }
    }

    pid_t process_ = -1;
    std::uint16_t port_ = 0;
};

}  // namespace limits

#endif
