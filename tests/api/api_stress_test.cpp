// Many threads that do everything at once: connections of their own, copies handed from thread to thread, and changes
// of the trace meanwhile. To be run with a checker for data races most of all. What threads may do is told at the
// head of zolstats.h.
#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <regex>
#include <sstream>

#include "client.h"
#include "trace_file.h"

namespace {

using namespace api;
using testing::AnyOf;
using testing::IsEmpty;

constexpr int CLIENTS = 16;
constexpr int ROUNDS = 8;

// Where threads leave copies for each other.
class Exchange {
  public:
    void give(Copy copy) {
        const std::lock_guard lock(mutex_);
        copies_.push_back(std::move(copy));
        changed_.notify_one();
    }
    Copy take() {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return !copies_.empty(); });
        Copy copy = std::move(copies_.front());
        copies_.pop_front();
        return copy;
    }

  private:
    std::mutex mutex_;
    std::condition_variable changed_;
    std::deque<Copy> copies_;
};

// One connection from its opening to its end; how many statistics were seen on it, and in a copy of another thread.
std::size_t visit(int port, Exchange& copies) {
    void* token = nullptr;
    char* version = nullptr;
    ResultSetToken* set = nullptr;
    char* ids = nullptr;
    EXPECT_EQ(openGatewayConnection(port, &token, &version), 0);
    EXPECT_STREQ(version, "1.0");
    EXPECT_EQ(getStatIds(token, &set), 0);
    EXPECT_EQ(getIdQuery(set, &ids), 0);
    EXPECT_EQ(getStatsByStatId(token, ids, &set), 0);
    const std::size_t seen = statsOf(set).size();
    copies.give(copyOf(set));
    EXPECT_EQ(closeGatewayConnection(&token), 0);
    return seen + statsOf(copies.take().get()).size();
}

// Lines of a trace at any level below the one with dumps of storage, and those of a dump of the state.
bool isWhole(const std::string& line) {
    static const std::regex whole(
        R"(\d\d/\d\d/\d\d \d\d:\d\d:\d\d:\d\d\d \[0x[0-9A-F]{8},0x[0-9A-F]{8}\] \[\d{4}\] .{6} (API|stapi_zol_).*)"
        R"(|\*\*\* \d\d/\d\d/\d\d .* \*\*\*|-{80}|zolstats state dump: API Version=1_1_0_1 .*|Gateway Token List dump)"
        R"(|Gateway Token List entry -\d{4}- : GatwayToken\(.*|The Gateway Token List is EMPTY)"
        R"(|Total number of Gateway Token List entries=\d+|The connection is in use, its ResultSet is not shown)"
        R"(|Dump of ResultSet\(.*|0x[0-9A-F]{8}.*)");
    return std::regex_match(line, whole);
}

std::vector<std::string> brokenLinesOf(const TemporaryFile& file) {
    std::vector<std::string> broken;
    std::istringstream stream(file.text());
    for (std::string line; std::getline(stream, line);) {
        if (!isWhole(line)) {
            broken.push_back(line);
        }
    }
    return broken;
}

// Runs the clients, and with each visit of theirs every disturbance once more, in a thread of its own.
class Crowd : public testing::Test {
  protected:
    Crowd() { resetTrace(); }
    ~Crowd() override { resetTrace(); }

    template <class... Disturbance>
    void runWhile(Disturbance... disturb) {
        std::vector<std::thread> threads;
        (threads.emplace_back([this, disturb] { disturbEachVisit(disturb); }), ...);
        for (int number = 0; number < CLIENTS; ++number) {
            threads.emplace_back([this] { runClient(); });
        }
        for (std::thread& each : threads) {
            each.join();
        }
    }

    std::atomic<std::size_t> seen_{0};

  private:
    template <class Disturbance>
    void disturbEachVisit(Disturbance disturb) {
        for (int time = 0; time < CLIENTS * ROUNDS; ++time) {
            visits_.wait(time);
            disturb(time);
        }
    }
    void runClient() {
        for (int round = 0; round < ROUNDS; ++round) {
            seen_ += visit(gateway_.port(), copies_);
            ++visits_;
            visits_.notify_all();
        }
    }

    const ScriptedGateway gateway_;
    Exchange copies_;
    std::atomic<int> visits_{0};
};

constexpr std::size_t STATISTICS_SEEN = std::size_t{2} * 3 * CLIENTS * ROUNDS;

TEST_F(Crowd, SeesEveryStatisticWhateverHappensToTheTrace) {
    const TemporaryFile first;
    const TemporaryFile second;
    setAPITraceFile(first.name());
    runWhile([](int time) { setAPITraceLevel(time % 4); },
             [&](int time) { setAPITraceFile(time % 2 == 0 ? first.name() : second.name()); },
             [](int) { dumpState(); });
    EXPECT_EQ(seen_, STATISTICS_SEEN);
    EXPECT_THAT(brokenLinesOf(first), IsEmpty());
    EXPECT_THAT(brokenLinesOf(second), IsEmpty());
}

void visitUnlessClosed(int port) {
    void* token = nullptr;
    char* version = nullptr;
    ResultSetToken* set = nullptr;
    int rc = openGatewayConnection(port, &token, &version);
    EXPECT_THAT(rc, AnyOf(0, -102, -118, -122));
    for (int query = 0; query < 3 && rc == 0; ++query) {
        rc = getStats(token, &set);
        EXPECT_THAT(rc, AnyOf(0, -101, -102, -122));
    }
}

// Whatever a thread sees of its connection then is a code: the sanitizers see the rest.
TEST(ThreadsWhoseConnectionsAreClosedAtAnyTime, GetCodes) {
    const ScriptedGateway gateway;
    std::atomic<int> left{8};
    std::vector<std::thread> threads;
    for (int number = left; number > 0; --number) {
        threads.emplace_back([&] {
            for (int round = 0; round < 20; ++round) {
                visitUnlessClosed(gateway.port());
            }
            --left;
        });
    }
    while (left > 0) {
        closeAllGatewayConnections();
        std::this_thread::yield();
    }
    for (std::thread& each : threads) {
        each.join();
    }
    closeAllGatewayConnections();
}

}  // namespace
