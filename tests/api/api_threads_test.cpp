// Several threads in the library at once: their first calls, connections of their own, copies handed over,
// and changes of the trace meanwhile. Most of all to be run with a checker for data races. What threads may
// do is told at the head of zolstats.h.
#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cstdlib>

#include "client.h"
#include "trace_file.h"

namespace {
std::atomic<int> mutexesMade{0};
std::atomic<bool> lingers{false};  // the making of a mutex gives way to other threads
}  // namespace

// Stands before the system's for the whole process, the shared library included, whose initialisation makes two mutexes.
extern "C" int pthread_mutex_init(pthread_mutex_t* mutex, const pthread_mutexattr_t* attributes) {
    using Function = int (*)(pthread_mutex_t*, const pthread_mutexattr_t*);
    static const auto real = reinterpret_cast<Function>(::dlsym(RTLD_NEXT, "pthread_mutex_init"));
    ++mutexesMade;
    for (int turns = 0; lingers && turns < 1000; ++turns) {
        std::this_thread::yield();
    }
    return real(mutex, attributes);
}

namespace {

using namespace api;
using testing::Each;
using testing::ExitedWithCode;
using testing::SizeIs;

// Run something in so many threads and give the results. They wait for each other awake, since threads that have to be
// woken would hardly ever meet.
template <class Action>
std::vector<int> inThreads(int count, Action action) {
    std::vector<int> results(static_cast<std::size_t>(count));
    std::atomic<int> missing{count};
    std::vector<std::thread> threads;
    for (int number = 0; number < count; ++number) {
        threads.emplace_back([&, number] {
            for (--missing; missing > 0;) {
            }
            results[static_cast<std::size_t>(number)] = action(number);
        });
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    return results;
}

// Open, ask, walk, close; gives how many items were seen, or a code.
int visit(int port) {
    void* token = nullptr;
    char* version = nullptr;
    ResultSetToken* set = nullptr;
    int rc = openGatewayConnection(port, &token, &version);
    if (rc == 0) {
        rc = getStats(token, &set);
    }
    const int seen = rc == 0 ? static_cast<int>(statsOf(set).size()) : rc;
    closeGatewayConnection(&token);
    return seen;
}

// On standard error, where a checker for data races writes; the process of such a test ends too early for its exit code to
// tell of one.
constexpr char NO_REPORT[] = "^$";

int openAndClose(int port) {
    void* token = nullptr;
    char* version = nullptr;
    const int rc = openGatewayConnection(port, &token, &version);
    return rc != 0 ? rc : closeGatewayConnection(&token);
}

TEST(FirstCallsOfSeveralThreads, AllSucceedAndLeaveTracingOff) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const auto results = inThreads(2, [](int) {
                int level = -1;
                return getAPITraceLevel(&level) == 0 ? level : -1000;
            });
            std::_Exit(results == std::vector{0, 0} ? 0 : 1);
        },
        ExitedWithCode(0), NO_REPORT);
}

TEST(FirstCallsOfSeveralThreads, InitialiseTheLibraryOnce) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            lingers = true;
            const int before = mutexesMade;
            inThreads(2, [](int) { return setAPITraceLevel(0); });
            std::_Exit(mutexesMade - before == 2 ? 0 : 1);
        },
        ExitedWithCode(0), NO_REPORT);
}

TEST(FirstCallsOfSeveralThreads, MayOpenConnections) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const ScriptedGateway gateway;
            const auto results = inThreads(4, [&gateway](int) { return visit(gateway.port()); });
            std::_Exit(results == std::vector(4, 3) ? 0 : 1);
        },
        ExitedWithCode(0), NO_REPORT);
}

TEST(SeveralThreads, UseConnectionsOfTheirOwnAtOnce) {
    const ScriptedGateway gateway;
    EXPECT_THAT(inThreads(8,
                          [&gateway](int) {
                              const int seen = visit(gateway.port());
                              return seen == 3 ? visit(gateway.port()) : seen;
                          }),
                Each(3));
}

class ThreadsAndSets : public Connected {};

TEST_F(ThreadsAndSets, MayWalkCopiesWhileTheOwnerGoesOnAsking) {
    std::vector<Copy> copies;
    for (int number = 0; number < 4; ++number) {
        copies.push_back(copyOf(stats()));
    }
    std::vector<std::thread> walkers;
    std::atomic<std::size_t> seen{0};
    for (const Copy& copy : copies) {
        walkers.emplace_back([&seen, set = copy.get()] { seen += statsOf(set).size(); });
    }
    for (int times = 0; times < 20; ++times) {
        EXPECT_THAT(idsOf(groupIds()), SizeIs(2));
    }
    for (std::thread& walker : walkers) {
        walker.join();
    }
    EXPECT_EQ(seen, 12U);
}

TEST_F(ThreadsAndSets, MayWalkACopyAfterTheConnectionWasClosed) {
    const Copy copy = copyOf(stats());
    std::thread walker([&copy] { EXPECT_THAT(statsOf(copy.get()), SizeIs(3)); });
    EXPECT_EQ(closeGatewayConnection(&token_), 0);
    walker.join();
}

TEST_F(ThreadsAndSets, MayHandAConnectionsOwnSetToNobody) {
    ResultSetToken* const set = stats();
    EXPECT_THAT(inThreads(4,
                          [set](int) {
                              StatData stat{};
                              return getFirstStat(set, &stat);
                          }),
                Each(-124));
}

class ThreadsAndTrace : public testing::Test {
  protected:
    ThreadsAndTrace() { resetTrace(); }
    ~ThreadsAndTrace() override { resetTrace(); }
};

// Number 0 changes the trace, the others use connections.
template <class Change>
std::vector<int> visitWhile(const ScriptedGateway& gateway, Change change) {
    return inThreads(3, [&](int number) {
        if (number != 0) {
            return visit(gateway.port());
        }
        for (int times = 0; times < 20; ++times) {
            change(times);
        }
        return 3;
    });
}

TEST_F(ThreadsAndTrace, MayChangeTheLevelWhileOthersTrace) {
    const ScriptedGateway gateway;
    const TemporaryFile file;
    setAPITraceFile(file.name());
    EXPECT_THAT(visitWhile(gateway, [](int times) { setAPITraceLevel(times % 6); }), Each(3));
}

TEST_F(ThreadsAndTrace, MayChangeTheDestinationWhileOthersTrace) {
    const ScriptedGateway gateway;
    const TemporaryFile first;
    const TemporaryFile second;
    setAPITraceFile(first.name());
    setAPITraceLevel(4);
    EXPECT_THAT(
        visitWhile(gateway,
                   [&](int times) { setAPITraceFile(times % 2 == 0 ? second.name() : first.name()); }),
        Each(3));
}

TEST_F(ThreadsAndTrace, MayDumpTheStateWhileOthersOpenAndClose) {
    const ScriptedGateway gateway;
    const TemporaryFile file;
    setAPITraceFile(file.name());
    EXPECT_THAT(inThreads(3,
                          [&gateway](int number) {
                              if (number != 0) {
                                  return openAndClose(gateway.port());
                              }
                              for (int times = 0; times < 20; ++times) {
                                  dumpState();
                              }
                              return 0;
                          }),
                Each(0));
}

}  // namespace
