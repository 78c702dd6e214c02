// A process that forks while another of its threads is inside the library and holds one of its locks: the child
// has the lock as it was, but not the thread that would release it. What else a child may and may not do is tested
// in limits/fork_test.cpp. How the locks are used is written down in CONTRIBUTING.md.
#include <fcntl.h>

#include <array>
#include <atomic>
#include <fstream>

#include "client.h"
#include "trace_file.h"

namespace {

using namespace api;
using gateway::Reply;
using gateway::Request;

// A child that hangs is ended, which inAForkedChild() notices.
constexpr unsigned HANGS_AFTER_SECONDS = 10;

template <class Action>
int inAChildThatMustNotHang(Action action) {
    return inAForkedChild([action] {
        ::alarm(HANGS_AFTER_SECONDS);
        return action();
    });
}

class ForkedMeanwhile : public Connected {
  protected:
    int askInAChild() {
        return inAChildThatMustNotHang([this] { return -getStats(token_, &set_); });
    }
};

// Closing holds the list's lock until the Gateway has answered.
TEST_F(ForkedMeanwhile, ByAThreadThatClosesAConnectionTheChildIsRefusedItsParents) {
    ScriptedGateway silent;
    silent.answer([](const Request& request, Reply usual) { return request.type == 10 ? Reply{} : usual; });
    std::thread closing([&silent] {
        void* token = nullptr;
        char* version = nullptr;
        EXPECT_EQ(openGatewayConnection(silent.port(), &token, &version), 0);
        EXPECT_EQ(closeGatewayConnection(&token), 0);
    });
    silent.server().waitForRequests(6);  // five to open, and the close request
    EXPECT_EQ(askInAChild(), 123);
    silent.server().dropConnections();
    closing.join();
}

// Were a lock unusable, its own lines (31xx) would tell.
TEST_F(ForkedMeanwhile, ByNobodyTheChildHasUsableLocks) {
    const auto lines = tracedByAll([this] { EXPECT_EQ(askInAChild(), 123); });
    EXPECT_THAT(lines, testing::ElementsAre(testing::Field(&TraceLine::point, 2032)));
}

// A pipe that nobody reads, in place of standard error.
class StuckStandardError {
  public:
    StuckStandardError() : kept_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
        EXPECT_EQ(::pipe2(pipe_.data(), O_CLOEXEC), 0);
        EXPECT_GT(::fcntl(pipe_[1], F_SETPIPE_SZ, 4096), 0);
        const std::string filling(4096, '.');
        EXPECT_EQ(::write(pipe_[1], filling.data(), filling.size()), 4096);
        ::dup2(pipe_[1], STDERR_FILENO);
        ::close(pipe_[1]);
    }
    ~StuckStandardError() {
        ::dup2(kept_, STDERR_FILENO);
        ::close(kept_);
        ::close(pipe_[0]);
    }
    StuckStandardError(const StuckStandardError&) = delete;
    StuckStandardError& operator=(const StuckStandardError&) = delete;

    // Take what is in the pipe, so that its writer goes on.
    void drain() {
        std::array<char, 65536> bytes{};
        EXPECT_GT(::read(pipe_[0], bytes.data(), bytes.size()), 0);
    }

  private:
    int kept_;
    std::array<int, 2> pipe_{};
};

// Whether a thread of this process sleeps in a write to a pipe.
bool waitsForAPipe(pid_t thread) {
    std::ifstream stat("/proc/self/task/" + std::to_string(thread) + "/stat");
    std::string line;
    std::getline(stat, line);
    return line.find(") S ") != std::string::npos;
}

TEST_F(ForkedMeanwhile, ByAThreadThatTracesTheChildIsRefusedItsParentsConnection) {
    setAPITraceLevel(ZOLSTATS_TRACE_EXCEPTIONS);
    StuckStandardError stuck;
    std::atomic<pid_t> tracing{0};
    std::thread stuckInTheTrace([&tracing] {
        tracing = ::gettid();
        setAPITraceLevel(-1);
    });
    while (tracing == 0 || !waitsForAPipe(tracing)) {
        std::this_thread::yield();
    }
    EXPECT_EQ(inAChildThatMustNotHang([this] {
                  ::dup2(::open("/dev/null", O_WRONLY | O_CLOEXEC), STDERR_FILENO);
                  return -getStats(token_, &set_);
              }),
              123);
    stuck.drain();
    stuckInTheTrace.join();
    setAPITraceLevel(ZOLSTATS_TRACE_OFF);
}

}  // namespace
