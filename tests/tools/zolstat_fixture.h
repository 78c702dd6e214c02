// A Gateway for tests of zolstat, with known statistics and faults on demand, and the tool run against it.
// Not the place for tests.
// The protocol between the library and the Gateway is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_ZOLSTAT_FIXTURE_H
#define ZOLSTATS_TESTS_ZOLSTAT_FIXTURE_H

#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <functional>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "answers.h"
#include "program.h"
#include "server.h"
#include "support/scratch_folder.h"
#include "wire.h"

namespace zolstat_testing {

using program::Finished;
using program::Output;
using testing_support::ScratchFolder;

inline const gateway::Snapshot TWO_GROUPS{
    {"CPU", {{"CPU_USER", "1.5"}, {"CPU_IDLE_PERCENT", "98.25"}}},
    {"MEMORY", {{"MEMORY_FREE_KB", "123456"}}},
};

inline const gateway::Snapshot EMPTY_GROUP_BETWEEN{
    {"CPU", {{"CPU_USER", "1.5"}}},
    {"NOTHING", {}},
    {"MEMORY", {{"MEMORY_FREE_KB", "123456"}}},
};

class Zolstat : public testing::Test {
  protected:
    void delayReplies(int delayMs) { options_.delayMs = delayMs; }

    void serve(const gateway::Snapshot& snapshot) {
        options_.statistics = [snapshot] { return snapshot; };
        start();
    }

    // Answers with `reply` to each request whose body holds `action`, as usual to the others.
    void serveExcept(const std::string& action,
                     std::function<gateway::Reply(const gateway::Request&, gateway::Reply)> reply) {
        options_.script = [=](const gateway::Request& request, gateway::Reply usual) {
            const bool concerned = request.body.find(action) != std::string::npos;
            return concerned ? reply(request, std::move(usual)) : usual;
        };
        serve(TWO_GROUPS);
    }

    // Lets `length` bytes of the reply through, then ends the connection.
    void serveCutOff(const std::string& action, std::size_t length, gateway::Ending ending) {
        serveExcept(action, [=](const gateway::Request&, const gateway::Reply& usual) {
            return gateway::Reply{usual.bytes.substr(0, length), ending};
        });
    }

    // Replies to authorisation requests by step, 0 and 1, are what `reply` makes of them; others are as usual.
    void serveAuthorisation(
        const std::function<gateway::Reply(const gateway::Request&, std::uint32_t step)>& reply) {
        options_.script = [=](const gateway::Request& request, gateway::Reply usual) {
            return request.name == "Auth" ? reply(request, gateway::decodeAuth(request.body).step) : usual;
        };
        serve(TWO_GROUPS);
    }

    void serveRejecting(const std::string& action, std::int32_t code) {
        serveExcept(action, [=](const gateway::Request& request, const gateway::Reply&) {
            const std::string payload = gateway::encodeIds({{"", code, {}}});
            return gateway::Reply{
                gateway::encodeReply(request, 0, gateway::adminReplyBody(5, 0, 0, payload))};
        });
    }

    Finished run(std::vector<std::string> arguments, Output output = Output::Caught) const {
        arguments.insert(arguments.begin(), {"--port", std::to_string(server_->port())});
        return program::run(ZOLSTAT, arguments, output);
    }

    // With further variables, as NAME=VALUE.
    Finished runIn(std::vector<std::string> environment, const std::vector<std::string>& arguments) const {
        environment.insert(environment.end(), {ZOLSTAT, "--port", std::to_string(server_->port())});
        environment.insert(environment.end(), arguments.begin(), arguments.end());
        return program::run("/usr/bin/env", environment);
    }

    std::string address() const { return "127.0.0.1:" + std::to_string(server_->port()); }
    const gateway::Server& server() const { return *server_; }

  private:
    void start() { server_ = std::make_unique<gateway::Server>(options_); }

    gateway::Options options_;
    std::unique_ptr<gateway::Server> server_;
};

inline const std::string UNKNOWN = std::to_string(gateway::UNKNOWN_ID);

inline void expectFine(const Finished& finished, const std::string& output) {
    EXPECT_EQ(finished.exitCode, 0);
    EXPECT_EQ(finished.output, output);
    EXPECT_EQ(finished.error, "");
}

inline void expectFailed(const Finished& finished, int exitCode, const std::string& error) {
    EXPECT_EQ(finished.exitCode, exitCode);
    EXPECT_EQ(finished.output, "");
    EXPECT_EQ(finished.error, error);
}

// A port that nothing listens on, and that nobody else gets while this object lives.
class ClosedPort {
  public:
    ClosedPort() : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (::bind(socket_.number(), generic, length) != 0 ||
            ::getsockname(socket_.number(), generic, &length) != 0) {
            throw std::system_error(errno, std::generic_category(), "bind");
        }
        port_ = std::to_string(ntohs(address.sin_port));
    }
    const std::string& text() const { return port_; }

  private:
    program::Descriptor socket_;
    std::string port_;
};

}  // namespace zolstat_testing

#endif
