// The watch over connections, on pairs of sockets: a connection that is cut ends for its peer.
// Not a test of the server.
// Nothing here comes from the protocol of the Gateways.
#include "http/slow_requests.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <future>

namespace {

using namespace std::chrono_literals;
using tools::exporter::http::Patience;
using tools::exporter::http::SlowRequests;
using tools::exporter::http::Stage;

class Connection {
  public:
    Connection() { EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends_.data()), 0); }
    ~Connection() {
        close(ends_[0]);
        close(ends_[1]);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    int socket() const { return ends_[0]; }
    bool endsWithin(std::chrono::milliseconds limit) const {
        pollfd peer{ends_[1], POLLIN, 0};
        return poll(&peer, 1, static_cast<int>(limit.count())) == 1;
    }

  private:
    std::array<int, 2> ends_{};
};

constexpr auto LONG = 10s;
constexpr auto SHORT = 50ms;
constexpr auto AT_ONCE = 5000ms;  // on a busy machine
constexpr Patience ENDLESS{LONG * 6, LONG * 6, 100, LONG * 6};

TEST(HttpSlowRequests, ARequestThatTakesTooLongEndsItsConnection) {
    Connection slow;
    SlowRequests watch({SHORT, LONG, 100, LONG});
    watch.enter(slow.socket(), Stage::Request);
    EXPECT_TRUE(slow.endsWithin(AT_ONCE));
}

TEST(HttpSlowRequests, SilenceHasALimitOfItsOwnBetweenRequestsAndInReadingAnAnswer) {
    Connection idle;
    Connection sending;
    Connection asking;
    SlowRequests watch({LONG, SHORT, 100, LONG});
    watch.enter(idle.socket(), Stage::Idle);
    watch.enter(sending.socket(), Stage::Sending);
    watch.enter(asking.socket(), Stage::Request);
    EXPECT_TRUE(idle.endsWithin(AT_ONCE));
    EXPECT_TRUE(sending.endsWithin(AT_ONCE));
    EXPECT_FALSE(asking.endsWithin(0ms));
}

TEST(HttpSlowRequests, WhoIsBeingAnsweredIsNotCut) {
    Connection answered;
    SlowRequests watch({1ms, 1ms, 100, LONG});
    watch.enter(answered.socket(), Stage::Answering);
    EXPECT_FALSE(answered.endsWithin(SHORT * 2));
}

TEST(HttpSlowRequests, TheOneThatHasKeptUsWaitingLongestMakesRoomAndNobodyElse) {
    Connection answered;
    Connection first;
    Connection second;
    auto patience = ENDLESS;
    patience.connections = 3;
    SlowRequests watch(patience);
    watch.enter(answered.socket(), Stage::Answering);
    watch.enter(second.socket(), Stage::Request);
    watch.makeRoom();
    watch.enter(first.socket(), Stage::Idle);
    watch.enter(second.socket(), Stage::Idle);
    auto room = std::async(std::launch::async, [&] { watch.makeRoom(); });
    EXPECT_TRUE(first.endsWithin(AT_ONCE));
    EXPECT_EQ(room.wait_for(SHORT), std::future_status::timeout);
    watch.left(first.socket());
    EXPECT_EQ(room.wait_for(AT_ONCE), std::future_status::ready);
    EXPECT_FALSE(second.endsWithin(0ms));
    EXPECT_FALSE(answered.endsWithin(0ms));
}

TEST(HttpSlowRequests, WhereAllAreBeingAnsweredRoomComesWithTheFirstAnswerThatIsRead) {
    Connection answered;
    auto patience = ENDLESS;
    patience.connections = 1;
    SlowRequests watch(patience);
    watch.enter(answered.socket(), Stage::Answering);
    auto room = std::async(std::launch::async, [&] { watch.makeRoom(); });
    EXPECT_EQ(room.wait_for(SHORT), std::future_status::timeout);
    EXPECT_FALSE(answered.endsWithin(0ms));
    watch.enter(answered.socket(), Stage::Idle);
    EXPECT_TRUE(answered.endsWithin(AT_ONCE));
    watch.left(answered.socket());
    EXPECT_EQ(room.wait_for(AT_ONCE), std::future_status::ready);
}

TEST(HttpSlowRequests, AFarewellEndsTheWaitForRoom) {
    Connection gone;
    auto patience = ENDLESS;
    patience.connections = 1;
    SlowRequests watch(patience);
    watch.enter(gone.socket(), Stage::Idle);
    auto room = std::async(std::launch::async, [&] { watch.makeRoom(); });
    watch.sayFarewell();
    EXPECT_EQ(room.wait_for(AT_ONCE), std::future_status::ready);
}

TEST(HttpSlowRequests, AConnectionThatHasLeftIsNotTouched) {
    Connection gone;
    Connection stays;
    SlowRequests watch({SHORT, LONG, 100, LONG});
    watch.enter(gone.socket(), Stage::Request);
    watch.left(gone.socket());
    watch.enter(stays.socket(), Stage::Request);
    EXPECT_TRUE(stays.endsWithin(AT_ONCE));
    EXPECT_FALSE(gone.endsWithin(0ms));
}

TEST(HttpSlowRequests, AFarewellCutsWhoIsWaitedForAndWaitsForWhoIsServed) {
    Connection idle;
    Connection answered;
    SlowRequests watch(ENDLESS);
    watch.enter(idle.socket(), Stage::Idle);
    watch.enter(answered.socket(), Stage::Answering);
    auto farewell = std::async(std::launch::async, [&] { watch.sayFarewell(); });
    EXPECT_TRUE(idle.endsWithin(AT_ONCE));
    watch.enter(answered.socket(), Stage::Sending);
    EXPECT_EQ(farewell.wait_for(SHORT), std::future_status::timeout);
    watch.enter(answered.socket(), Stage::Idle);
    EXPECT_EQ(farewell.wait_for(AT_ONCE), std::future_status::ready);
    EXPECT_TRUE(answered.endsWithin(AT_ONCE));
}

TEST(HttpSlowRequests, AFarewellDoesNotWaitLongForWhoDoesNotRead) {
    Connection sending;
    SlowRequests watch({LONG * 6, LONG * 6, 100, SHORT});
    watch.enter(sending.socket(), Stage::Sending);
    auto farewell = std::async(std::launch::async, [&] { watch.sayFarewell(); });
    EXPECT_EQ(farewell.wait_for(AT_ONCE), std::future_status::ready);
    EXPECT_TRUE(sending.endsWithin(AT_ONCE));
}

}  // namespace
