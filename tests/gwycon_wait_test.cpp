// The wait for a connect under way: how long, what ends it, and what it makes of that.
// What the result means for a connection is tested with the rest of connecting.
// Connecting is written down in docs/protocol.md.
#include <arpa/inet.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/time.h>

#include <chrono>
#include <cstring>
#include <memory>
#include <vector>

#include "stapi_zol_gwycon.h"
#include "support/slow_gateway.h"
#include "support/system_calls.h"
#include "support/trace_capture.h"

using namespace testing_support;
using testing::ElementsAre;

namespace {

constexpr int UNTOUCHED = -77;
constexpr int DATA_LEVEL = 4;
constexpr int DESCRIPTOR = 5;  // never looked at where poll() and getsockopt() are replaced

class WaitingForAConnect : public testing::Test {
  protected:
    int wait() { return waitForConnection(&socket, &error); }

    // The socket becomes ready with these events.
    void becomesReady(short events) {
        system.poll = [events](pollfd* wait, nfds_t, int) { return wait->revents = events, 1; };
    }
    void pendingErrorIs(int pending) {
        system.getsockopt = [pending](int, int, int, void* value, socklen_t*) {
            std::memcpy(value, &pending, sizeof pending);
            return 0;
        };
    }
    void waitFails(int reason) {
        system.poll = [reason](pollfd*, nfds_t, int) { return failed(reason); };
    }

    SystemCalls system;
    int socket = DESCRIPTOR;
    int error = UNTOUCHED;
};

// ---- What ends it

TEST_F(WaitingForAConnect, SucceedsWhenTheSocketIsWritableWithoutAPendingError) {
    becomesReady(POLLOUT);
    pendingErrorIs(0);
    EXPECT_EQ(wait(), 0);
    EXPECT_EQ(error, UNTOUCHED);
}

// A process that has closed its standard input gets it for its next socket.
TEST_F(WaitingForAConnect, TakesDescriptor0AsAnyOther) {
    socket = 0;
    becomesReady(POLLOUT);
    pendingErrorIs(0);
    EXPECT_EQ(wait(), 0);
}

TEST_F(WaitingForAConnect, AsksForWritableAndExceptionOnly) {
    system.poll = [](pollfd* wait, nfds_t count, int) {
        EXPECT_EQ(count, 1U);
        EXPECT_EQ(wait->fd, DESCRIPTOR);
        EXPECT_EQ(wait->events, POLLOUT | POLLPRI);
        return 0;
    };
    wait();
}

TEST_F(WaitingForAConnect, FailsWithThePendingErrorOfTheSocket) {
    becomesReady(POLLOUT);
    pendingErrorIs(EHOSTUNREACH);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(wait(), -100);
    EXPECT_EQ(error, EHOSTUNREACH);
    EXPECT_THAT(trace.lines(3015),
                ElementsAre(line(3015, "*EXC*",
                                 "stapi_zol_gwycon.waitForConnection socket %d connect() failed error %d",
                                 DESCRIPTOR, 113)));
}

TEST_F(WaitingForAConnect, LooksForAPendingErrorWhenTheSocketReportsOnlyThatThereIsOne) {
    becomesReady(POLLERR);
    pendingErrorIs(ECONNREFUSED);
    EXPECT_EQ(wait(), -100);
    EXPECT_EQ(error, ECONNREFUSED);
}

TEST_F(WaitingForAConnect, SucceedsWhenOnlyAnExceptionIsReported) {
    becomesReady(POLLPRI);
    pendingErrorIs(ECONNREFUSED);
    EXPECT_EQ(wait(), 0);
    EXPECT_EQ(error, UNTOUCHED);
}

TEST_F(WaitingForAConnect, LooksForAPendingErrorWhenAnExceptionIsNotAlone) {
    becomesReady(POLLPRI | POLLOUT);
    pendingErrorIs(ECONNREFUSED);
    EXPECT_EQ(wait(), -100);
}

TEST_F(WaitingForAConnect, ReadsThePendingErrorAsAnIntegerOfFourBytes) {
    becomesReady(POLLOUT);
    system.getsockopt = [](int descriptor, int level, int option, void*, socklen_t* size) {
        EXPECT_EQ(descriptor, DESCRIPTOR);
        EXPECT_EQ(level, SOL_SOCKET);
        EXPECT_EQ(option, SO_ERROR);
        EXPECT_EQ(*size, 4U);
        return 0;
    };
    EXPECT_EQ(wait(), 0);
}

TEST_F(WaitingForAConnect, DoesNotLookAtTheResultOfReadingThePendingError) {
    becomesReady(POLLOUT);
    system.getsockopt = [](int, int, int, void*, socklen_t*) { return failed(ENOTSOCK); };
    EXPECT_EQ(wait(), 0);
}

TEST_F(WaitingForAConnect, TimesOutAndLeavesTheErrorAlone) {
    system.poll = [](pollfd*, nfds_t, int) { return 0; };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(wait(), -103);
    EXPECT_EQ(error, UNTOUCHED);
    EXPECT_THAT(
        trace.lines(3016),
        ElementsAre(line(3016, "*EXC*", "stapi_zol_gwycon.waitForConnection socket %d connect timed out",
                         DESCRIPTOR)));
}

TEST_F(WaitingForAConnect, FailsWithTheErrorOfTheWait) {
    waitFails(ENOMEM);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(wait(), -100);
    EXPECT_EQ(error, ENOMEM);
    EXPECT_THAT(trace.lines(3017),
                ElementsAre(line(3017, "*EXC*",
                                 "stapi_zol_gwycon.waitForConnection select call failed with error %d", 12)));
}

TEST_F(WaitingForAConnect, WritesNoEntryAndNoExitLine) {
    becomesReady(POLLOUT);
    pendingErrorIs(0);
    const TraceCapture trace(DATA_LEVEL);
    wait();
    EXPECT_THAT(trace.lines(), ElementsAre(line(3014, "DEBUG",
                                                "stapi_zol_gwycon.waitForConnection Calling select() on "
                                                "socketdescriptor %d",
                                                DESCRIPTOR)));
}

TEST_F(WaitingForAConnect, FailsOnADescriptorThatIsNotOpen) {
    const int closed = ::socket(AF_INET, SOCK_STREAM, 0);
    ::close(closed);
    socket = closed;
    EXPECT_EQ(wait(), -100);
    EXPECT_EQ(error, EBADF);
}

TEST_F(WaitingForAConnect, FailsOnANegativeDescriptor) {
    socket = -1;
    EXPECT_EQ(wait(), -100);
    EXPECT_EQ(error, EBADF);
}

// ---- How long it waits

// Waits whose first poll() is interrupted after some seconds by a clock of our own.
class InterruptedWait : public WaitingForAConnect {
  protected:
    void interruptAfter(std::vector<int> elapsedSeconds) {
        system.time = [this](time_t*) { return now; };
        system.poll = [this, elapsedSeconds](pollfd*, nfds_t, int timeoutMs) {
            timeoutsMs.push_back(timeoutMs);
            if (timeoutsMs.size() > elapsedSeconds.size()) {
                return 0;
            }
            now = START + elapsedSeconds[timeoutsMs.size() - 1];
            return failed(EINTR);
        };
    }

    static constexpr time_t START = 1'000'000;
    time_t now = START;
    std::vector<int> timeoutsMs;
};

TEST_F(InterruptedWait, BeginsWithSixtySeconds) {
    interruptAfter({});
    wait();
    EXPECT_THAT(timeoutsMs, ElementsAre(60'000));
}

struct Interruption {
    int elapsedSeconds;
    int nextTimeoutMs;
};

class OnceInterruptedWait : public InterruptedWait, public testing::WithParamInterface<Interruption> {};

TEST_P(OnceInterruptedWait, GoesOnForTheRestOrForOneSecond) {
    interruptAfter({GetParam().elapsedSeconds});
    EXPECT_EQ(wait(), -103);
    EXPECT_THAT(timeoutsMs, ElementsAre(60'000, GetParam().nextTimeoutMs));
}

INSTANTIATE_TEST_SUITE_P(AfterEachTime, OnceInterruptedWait,
                         testing::Values(Interruption{-5, 1'000}, Interruption{0, 1'000},
                                         Interruption{1, 59'000}, Interruption{20, 40'000},
                                         Interruption{59, 1'000}, Interruption{60, 1'000},
                                         Interruption{61, 1'000}));

TEST_F(InterruptedWait, CountsFromItsStartEveryTime) {
    interruptAfter({10, 25, 50});
    wait();
    EXPECT_THAT(timeoutsMs, ElementsAre(60'000, 50'000, 35'000, 10'000));
}

TEST_F(InterruptedWait, IsTracedAtEveryCall) {
    interruptAfter({10, 25});
    const TraceCapture trace(DATA_LEVEL);
    wait();
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3014, 3014, 3014, 3016));
}

// ---- Real sockets

class Descriptor {
  public:
    explicit Descriptor(int value) : value_(value) {}
    ~Descriptor() { ::close(value_); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    [[nodiscard]] int value() const { return value_; }

  private:
    int value_;
};

int nonBlockingSocket() {
    return ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

// Begins to connect to a port of the loopback address.
void beginConnect(int descriptor, int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    ::connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

class ARealWait : public WaitingForAConnect {
  protected:
    ~ARealWait() override { ::close(socket); }

    void connectTo(int port) {
        socket = nonBlockingSocket();
        beginConnect(socket, port);
    }
};

TEST_F(ARealWait, SucceedsWhenThePeerListens) {
    const AnsweringGateway gateway("");
    connectTo(gateway.port());
    EXPECT_EQ(wait(), 0);
}

TEST_F(ARealWait, IsRefusedWhenNobodyListens) {
    const LoopbackPort closed;
    connectTo(closed.number());
    EXPECT_EQ(wait(), -100);
    EXPECT_EQ(error, ECONNREFUSED);
}

TEST_F(ARealWait, WorksOnADescriptorBeyondTheFirst1024) {
    rlimit limit{};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = limit.rlim_max;
    ::setrlimit(RLIMIT_NOFILE, &limit);
    const AnsweringGateway gateway("");
    connectTo(gateway.port());
    const Descriptor low(socket);
    socket = ::fcntl(low.value(), F_DUPFD_CLOEXEC, 1100);
    ASSERT_GE(socket, 1100);
    EXPECT_EQ(wait(), 0);
}

TEST_F(ARealWait, HasOneMoreSecondAfterASignalInItsFirst) {
    const FullQueue gateway;
    connectTo(gateway.port());
    system.time = [](time_t*) { return time_t{1'000'000}; };
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {};
    ::sigaction(SIGALRM, &interrupt, nullptr);
    const itimerval soon{{0, 0}, {0, 50'000}};
    const auto start = std::chrono::steady_clock::now();
    ::setitimer(ITIMER_REAL, &soon, nullptr);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(wait(), -103);
    EXPECT_THAT(trace.points(3000, 3020), ElementsAre(3014, 3014, 3016));
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
}

}  // namespace
