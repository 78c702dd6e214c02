// A Gateway for tests of the client library: a server with few and known statistics, whose answers to queries
// a test can replace while connections are open. What it answers of its own accord is the stand-in Gateway's
// business. The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_SCRIPTED_GATEWAY_H
#define ZOLSTATS_TESTS_SCRIPTED_GATEWAY_H

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include "server.h"

namespace testing_support {

class ScriptedGateway {
  public:
    using Answer = std::function<gateway::Reply(const gateway::Request&, gateway::Reply)>;

    // Group G1 with the statistics S1 = "11" and S2 = "22", and group G2 with T1 = "33".
    static gateway::Snapshot knownStatistics() {
        return {{"G1", {{"S1", "11"}, {"S2", "22"}}}, {"G2", {{"T1", "33"}}}};
    }

    ScriptedGateway() : ScriptedGateway(gateway::Options{}) {}
    explicit ScriptedGateway(gateway::Options options) : server_(prepared(std::move(options))) {}

    [[nodiscard]] int port() const { return server_.port(); }
    gateway::Server& server() { return server_; }

    // Every later request goes through here, or every later query only.
    void answer(Answer how) {
        const std::lock_guard lock(mutex_);
        answer_ = std::move(how);
    }
    void answerQueries(Answer how) {
        answer([how = std::move(how)](const gateway::Request& request, gateway::Reply usual) {
            return isQuery(request) ? how(request, std::move(usual)) : usual;
        });
    }
    // Refuse every later query with this return code.
    void refuseQueries(std::int32_t code) {
        answerQueries([code](const gateway::Request& request, const gateway::Reply&) {
            return gateway::Reply{gateway::encodeReply(request, code, "")};
        });
    }
    void answerQueriesWith(const std::string& callData) {
        answerQueries([callData](const gateway::Request& request, const gateway::Reply&) {
            return gateway::Reply{
                gateway::encodeReply(request, 0, gateway::adminReplyBody(5, 0, 0, callData))};
        });
    }
    void answerAsUsual() { answer(nullptr); }

    static bool isQuery(const gateway::Request& request) {
        return request.name == "Admin" && gateway::decodeCallType(request.body) == 5;
    }

    // The queries that came, as "ACTION(argument)".
    [[nodiscard]] std::vector<std::string> queries() const {
        std::vector<std::string> found;
        for (const gateway::Request& request : server_.requests()) {
            if (isQuery(request)) {
                const gateway::AdminCall call = gateway::decodeAdmin(request.body);
                found.push_back(call.member + "(" + call.argument + ")");
            }
        }
        return found;
    }

  private:
    gateway::Options prepared(gateway::Options options) {
        if (!options.statistics) {
            options.statistics = knownStatistics;
        }
        options.script = [this](const gateway::Request& request, gateway::Reply usual) {
            const Answer how = current();
            return how ? how(request, std::move(usual)) : usual;
        };
        return options;
    }
    Answer current() {
        const std::lock_guard lock(mutex_);
        return answer_;
    }

    std::mutex mutex_;
    Answer answer_;
    gateway::Server server_;
};

}  // namespace testing_support

#endif
