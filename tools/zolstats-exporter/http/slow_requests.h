// A watch over connections: it ends those whose peer takes too long to send a request, to ask again or to read an answer.
// Not the place where bytes are read or written (server.cpp); a peer that sends a byte now and then is slow all the same.
// Nothing here comes from the protocol of the Gateways.
#ifndef EXPORTER_HTTP_SLOW_REQUESTS_H
#define EXPORTER_HTTP_SLOW_REQUESTS_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <map>
#include <mutex>
#include <optional>
#include <thread>

namespace tools::exporter::http {

// What a connection waits for.
enum class Stage {
    Request,    // the peer, which has begun to ask: also in the handshake of TLS
    Answering,  // us
    Sending,    // the peer, to read the answer
    Idle        // the peer, which has its answer and may ask again
};

struct Patience {
    std::chrono::milliseconds request;
    std::chrono::milliseconds silence;   // in Sending and Idle
    std::size_t connections;             // at once
    std::chrono::milliseconds farewell;  // instead of `silence`, once all are to go
};

// Every call may come from any thread. A connection is known by its socket, which must be open from the first call for
// it until left() has returned. A connection is ended by a shutdown of its socket: whoever reads it sees the end.
class SlowRequests {
  public:
    explicit SlowRequests(Patience patience);
    ~SlowRequests();
    SlowRequests(const SlowRequests&) = delete;
    SlowRequests& operator=(const SlowRequests&) = delete;

    void enter(int socket, Stage stage);  // its time starts anew
    void left(int socket);

    // Returns when there may be one more, or when all are to go. The one that has kept us waiting longest makes room.
    void makeRoom();

    // From now on nobody is waited for but those who are being answered; returns when there are none of them any more.
    void sayFarewell();
    // Gives those who are to go the time of a farewell.
    void waitForLast();

  private:
    using Clock = std::chrono::steady_clock;
    struct Connection {
        Stage stage = Stage::Request;
        Clock::time_point since{};
        bool isCut = false;
    };

    using Connections = std::map<int, Connection>;

    static bool isWaiting(const Connection& connection);
    static void cut(int socket, Connection& connection);
    std::optional<Clock::time_point> deadlineOf(const Connection& connection) const;
    bool isAnyServed() const;
    bool isAnyLeaving() const;
    void cutLongestWaiting();
    std::optional<Clock::time_point> cutLate();
    void watch();

    const Patience patience_;
    std::mutex mutex_{};
    std::condition_variable changed_{};
    Connections connections_{};
    bool isFarewell_ = false;
    bool isOver_ = false;
    std::thread thread_;
};

}  // namespace tools::exporter::http

#endif
