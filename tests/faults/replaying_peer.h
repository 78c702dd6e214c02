// The Gateway's end of a connection, played from a recording: each request is answered with the bytes that
// were written down for it, whole or damaged, and the connection ends where the plan says so.
// It decides nothing about faults; every_byte_test.cpp does. The messages are written down in docs/protocol.md.
#ifndef ZOLSTATS_TESTS_REPLAYING_PEER_H
#define ZOLSTATS_TESTS_REPLAYING_PEER_H

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "answers.h"
#include "descriptor.h"
#include "listener.h"

namespace faults {

// One request, in a few words, and what is sent for it.
struct Exchange {
    std::string asked;
    std::string reply;
    bool byteByByte = false;
    gateway::Ending ending = gateway::Ending::KeepOpen;  // behind the reply
};
using Conversation = std::vector<Exchange>;

// A client that waits for bytes which a damaged reply has promised waits for ever: from that exchange on the
// connection ends when no request follows soon.
struct Plan {
    static constexpr std::size_t PATIENT = SIZE_MAX;

    Conversation conversation;
    std::size_t impatientFrom = PATIENT;
};

class ReplayingPeer {
  public:
    ReplayingPeer();
    ~ReplayingPeer();
    ReplayingPeer(const ReplayingPeer&) = delete;
    ReplayingPeer& operator=(const ReplayingPeer&) = delete;

    [[nodiscard]] int port() const { return listener_.port(); }

    // What the next connection is told.
    void prepare(Plan plan);
    // Blocks until that connection has ended and its descriptor is closed. Gives what was wrong with the
    // requests that came, if anything.
    [[nodiscard]] std::string waitForTheEnd();

  private:
    void acceptAll();
    Plan takePlan();
    void tellEnd(const std::string& problem);

    std::mutex mutex_;
    std::condition_variable changed_;
    Plan plan_;
    std::string problem_;
    bool ended_ = false;
    const gateway::Listener listener_{"127.0.0.1", 0};
    std::thread thread_;
};

}  // namespace faults

#endif
