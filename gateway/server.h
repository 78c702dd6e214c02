// A stand-in Gateway on a TCP port: it answers as a Gateway does, or as a test tells it to.
// Not a Gateway: its statistics are those of the machine it runs on, and it manages nothing.
// The protocol is written down in docs/protocol.md.
#ifndef ZOLSTATS_GATEWAY_SERVER_H
#define ZOLSTATS_GATEWAY_SERVER_H

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "answers.h"
#include "statistics.h"
#include "wire.h"

namespace gateway {

struct Options {
    std::string host = "127.0.0.1";
    std::uint16_t port = 0;  // 0: any free one
    std::string protocolVersion = "1.0";

    // The three functions below are called by the threads of the connections: `log` by one at a time, the
    // other two by any number at once, so they guard what they share.

    std::function<Snapshot()> statistics;  // at each query; by default the live figures
    std::function<void(const std::string&)>
        log;  // one line for each request and for each refused stream, if set
    // Given each request and the reply that would usually go out; what it returns is sent instead, byte for
    // byte. An exception ends the connection.
    std::function<Reply(const Request&, Reply usual)> script;

    int delayMs = 0;           // before each reply
    int big = 0;               // a further group "BIG" of so many statistics
    bool emptyGroup = false;   // a further group "EMPTY" without any
    bool keepRequests = true;  // for requests(); a server that runs for days must not
};

// Listens from its construction (which throws std::system_error where that is impossible) to its destruction,
// which ends all connections and waits for their threads. One thread for each connection. Every call may come
// from any thread.
class Server {
  public:
    explicit Server(Options options = {});
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    [[nodiscard]] std::uint16_t port() const;

    // All requests received so far, in order. A request is among them before it is answered.
    [[nodiscard]] std::vector<Request> requests() const;
    // Blocks until so many requests came in all; throws std::runtime_error after 10 seconds.
    void waitForRequests(std::size_t count) const;

    [[nodiscard]] std::size_t openConnections() const;
    // Blocks until exactly so many connections are open; throws std::runtime_error after 10 seconds.
    void waitForConnections(std::size_t count) const;

    // Resets all connections and goes on listening. It does not wait for their end: a script may call it.
    void dropConnections();

  private:
    class Implementation;
    std::unique_ptr<Implementation> implementation_;
};

}  // namespace gateway

#endif
