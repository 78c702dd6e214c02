// A Gateway whose statistics and moods a test changes while programs watch it.
// Not a program: it lives in the test.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_STEERED_GATEWAY_H
#define ZOLSTATS_TESTS_STEERED_GATEWAY_H

#include <condition_variable>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "server.h"
#include "support/answering_gateway.h"

class SteeredGateway {
  public:
    explicit SteeredGateway(gateway::Snapshot snapshot) : snapshot_(std::move(snapshot)) { comeBack(); }
    ~SteeredGateway() { answer(); }
    SteeredGateway(const SteeredGateway&) = delete;
    SteeredGateway& operator=(const SteeredGateway&) = delete;

    int port() const { return port_; }
    std::string address() const { return "127.0.0.1:" + std::to_string(port_); }
    const gateway::Server& server() const { return *server_; }

    void set(const gateway::Snapshot& snapshot) {
        const std::lock_guard lock(mutex_);
        snapshot_ = snapshot;
    }
    // The first statistic of the first group.
    void set(const std::string& value) {
        const std::lock_guard lock(mutex_);
        snapshot_.at(0).statistics.at(0).data = value;
    }

    // Each query finds one more there.
    void countUp() {
        const std::lock_guard lock(mutex_);
        step_ = 1;
    }

    // No request is answered any more.
    void hang() {
        const std::lock_guard lock(mutex_);
        hangs_ = true;
    }
    void answer() {
        const std::lock_guard lock(mutex_);
        hangs_ = false;
        changed_.notify_all();
    }

    void die() {
        server_.reset();
        deadPort_.emplace(port_);
    }
    // On the same port as before.
    void comeBack() {
        deadPort_.reset();
        gateway::Options options;
        options.port = static_cast<std::uint16_t>(port_);
        options.statistics = [this] {
            const std::lock_guard lock(mutex_);
            if (step_ != 0) {
                std::string& counter = snapshot_.at(0).statistics.at(0).data;
                counter = std::to_string(std::stoll(counter) + step_);
            }
            return snapshot_;
        };
        options.script = [this](const gateway::Request&, gateway::Reply usual) {
            std::unique_lock lock(mutex_);
            changed_.wait(lock, [this] { return !hangs_; });
            return usual;
        };
        server_ = std::make_unique<gateway::Server>(std::move(options));
        port_ = server_->port();
    }

    // So many requests more than there were.
    void waitForRequests(std::size_t more) const {
        server_->waitForRequests(server_->requests().size() + more);
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    gateway::Snapshot snapshot_;
    int step_ = 0;
    bool hangs_ = false;
    int port_ = 0;
    std::optional<testing_support::LoopbackPort> deadPort_;
    std::unique_ptr<gateway::Server> server_;  // last: its threads use what stands above
};

#endif
