// The library is a good guest: whatever it is asked, and however that fails, the process is afterwards what
// it was before. That broken connections raise no signal is tested in broken_connection_test.cpp. What the
// library promises stands in zolstats.h under Conventions.
#include <csignal>
#include <cstdlib>
#include <functional>
#include <stdexcept>
#include <utility>

#include "api/client.h"
#include "api/trace_file.h"
#include "forked_gateway.h"
#include "process_state.h"
#include "support/answering_gateway.h"

namespace {

using namespace limits;
using api::TemporaryFile;
using gateway::Ending;
using gateway::Reply;
using gateway::Request;
using testing::Each;
using testing::IsEmpty;
using testing::ResultOf;
using testing::SizeIs;

// ---- A process that is none of the usual ones, so that a return to the defaults is noticed as well

volatile std::sig_atomic_t signalsTaken = 0;

void takeSignal(int) {
    signalsTaken = signalsTaken + 1;
}

// Once a process, and before the library is called for the first time.
void becomeUnusual() {
    struct sigaction action {};
    action.sa_handler = takeSignal;
    action.sa_flags = SA_RESTART;
    ::sigaddset(&action.sa_mask, SIGTERM);
    ::sigaction(SIGPIPE, &action, nullptr);
    ::sigaction(SIGUSR1, &action, nullptr);
    sigset_t blocked{};
    ::sigaddset(&blocked, SIGUSR2);
    ::pthread_sigmask(SIG_BLOCK, &blocked, nullptr);
    // In one respect only: neither the default locale nor the one that the environment names is like that.
    if (std::setlocale(LC_CTYPE, "C.UTF-8") == nullptr) {
        throw std::runtime_error("there is no locale but the default one");
    }
    ::umask(027);
    ::setenv("ZOLSTATS_TEST", "a variable of the application", 1);
}

// While it lives, what is written to standard output goes to a file.
class StandardOutputCapture {
  public:
    StandardOutputCapture() : kept_(::dup(STDOUT_FILENO)) {
        std::fflush(stdout);
        const gateway::Descriptor file(::open(file_.name(), O_WRONLY | O_CLOEXEC));
        ::dup2(file.number(), STDOUT_FILENO);
    }
    ~StandardOutputCapture() {
        std::fflush(stdout);
        ::dup2(kept_.number(), STDOUT_FILENO);
    }
    StandardOutputCapture(const StandardOutputCapture&) = delete;
    StandardOutputCapture& operator=(const StandardOutputCapture&) = delete;

    [[nodiscard]] std::string text() const {
        std::fflush(stdout);
        return file_.text();
    }

  private:
    TemporaryFile file_;
    gateway::Descriptor kept_;
};

// ---- Gateways that misbehave when they are asked to

Reply misbehave(const Request& request, Reply usual) {
    if (!api::ScriptedGateway::isQuery(request)) {
        return usual;
    }
    const std::string how = gateway::decodeAdmin(request.body).argument;
    if (how == "close in mid-reply") {
        return {usual.bytes.substr(0, usual.bytes.size() / 2), Ending::Close};
    }
    if (how == "reset") {
        return {"", Ending::Reset};
    }
    if (how == "stay silent") {
        return {""};
    }
    if (how == "garbage") {
        return {std::string(200, '?')};
    }
    if (how == "malformed") {
        return {gateway::encodeReply(request, 0, gateway::adminReplyBody(5, 0, 0, "\1\1\1\1\1"))};
    }
    return how == "refuse" ? Reply{gateway::encodeReply(request, 5, "")} : usual;
}

Reply refuseAuthorisation(const Request& request, Reply usual) {
    return request.name != "Auth"
               ? usual
               : Reply{gateway::encodeReply(request, 0, gateway::authReplyBody(0, 2, {0, 0, 0}))};
}

gateway::Options scripted(Reply (*script)(const Request&, Reply)) {
    gateway::Options options = ForkedGateway::knowing(api::ScriptedGateway::knownStatistics);
    options.script = script;
    return options;
}

// ---- What an application may do, from the beginning to the end

class Application {
  public:
    int open() { return openGatewayConnection(gateway_.port(), &token_, &version_); }
    int openAt(const char* host, int port) {
        return openRemoteGatewayConnection(host, port, &token_, &version_);
    }
    int openRefused() { return openGatewayConnection(refusing_.port(), &token_, &version_); }
    int ask(const char* ids) { return getStatsByStatId(token_, ids, &set_); }
    int close() { return closeGatewayConnection(&token_); }

    // Runs something on an open connection and gives its result.
    template <class Action>
    int connected(Action action) {
        const int opened = open();
        const int result = opened != 0 ? opened : action();
        const int closed = closeAllGatewayConnections();
        return closed != 0 ? closed : result;
    }

    ForkedGateway gateway_{scripted(misbehave)};
    ForkedGateway refusing_{scripted(refuseAuthorisation)};
    void* token_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;
};

int walkStats(ResultSetToken* set) {
    StatData record{};
    int rc = getFirstStat(set, &record);
    while (rc == 0) {
        rc = getNextStat(set, &record);
    }
    return rc;
}

int walkIds(ResultSetToken* set) {
    IdData record{};
    int rc = getFirstId(set, &record);
    while (rc == 0) {
        rc = getNextId(set, &record);
    }
    return rc;
}

int sumOf(std::initializer_list<int> codes) {
    int sum = 0;
    for (const int code : codes) {
        sum += code;
    }
    return sum;
}

int askEverything(Application& my) {
    return my.connected([&] {
        return sumOf({getStats(my.token_, &my.set_), walkStats(my.set_), getStatIds(my.token_, &my.set_),
                      walkIds(my.set_), getResourceGroupIds(my.token_, &my.set_),
                      getStatsByStatGroupId(my.token_, "G1:G2", &my.set_), my.ask("S1:none:S2"),
                      walkStats(my.set_), getStatIdsByStatGroupId(my.token_, "G1", &my.set_)});
    });
}

int keepAndFreeCopies(Application& my) {
    const api::StandardErrorCapture capture;
    return my.connected([&] {
        ResultSetToken* copy = nullptr;
        char* ids = nullptr;
        return sumOf({getStatIds(my.token_, &my.set_), copyResultSet(my.set_, &copy), getIdQuery(copy, &ids),
                      dumpResultSet(copy), freeResultSet(&copy)});
    });
}

int closeTwice(Application& my) {
    my.open();
    void* again = my.token_;
    my.close();
    return closeGatewayConnection(&again);
}

int queryAfterDrop(Application& my) {
    return my.connected([&] {
        my.ask("reset");
        return my.ask("S1");
    });
}

int runOutOfTime(Application& my) {
    return my.connected([&] { return setAPITimeout(20) + my.ask("stay silent") + setAPITimeout(0); });
}

int giveNullArguments(Application& my) {
    return my.connected([&] {
        ResultSetToken* none = nullptr;
        return sumOf({openGatewayConnection(0, nullptr, nullptr),
                      openRemoteGatewayConnection(nullptr, 1, &my.token_, &my.version_),
                      closeGatewayConnection(nullptr), getStats(nullptr, nullptr),
                      getStatsByStatId(my.token_, nullptr, &my.set_), getStats(my.token_, nullptr),
                      getFirstStat(nullptr, nullptr), getNextId(nullptr, nullptr),
                      copyResultSet(nullptr, nullptr), freeResultSet(&none), dumpResultSet(nullptr),
                      getIdQuery(nullptr, nullptr), getAPITraceLevel(nullptr), getStatsAPIVersion(nullptr)});
    });
}

int switchTheTrace(Application& my) {
    const TemporaryFile one;
    const TemporaryFile other;
    int level = 0;
    getAPITraceLevel(&level);
    int rc = setAPITraceFile(one.name());
    for (int each = ZOLSTATS_TRACE_OFF; each <= ZOLSTATS_TRACE_ALL; ++each) {
        rc += setAPITraceLevel(each) + my.open() + my.ask("S1") + dumpState() + my.close();
    }
    return rc + setAPITraceFile(other.name()) + setAPITraceLevel(level) + setAPITraceFile(nullptr);
}

int traceToStandardError(Application& my) {
    const api::StandardErrorCapture capture;
    int level = 0;
    getAPITraceLevel(&level);
    const int rc = setAPITraceFile(nullptr) + setAPITraceLevel(ZOLSTATS_TRACE_ALL) + askEverything(my);
    return rc + setAPITraceLevel(level);
}

struct Doing {
    const char* name;
    int result;
    int (*act)(Application&);

    friend void PrintTo(const Doing& doing, std::ostream* out) { *out << doing.name; }
};

constexpr int THREE_WALKS_TO_THE_END = 3 * -113;
constexpr int CODES_OF_NULLS =
    -107 - 133 - 108 - 100 - 126 - 125 - 127 - 127 - 127 - 127 - 127 - 127 - 109 - 109;

const Doing DOINGS[] = {
    {"OpensAndCloses", 0, [](Application& my) { return my.open() + my.close(); }},
    {"AsksEverything", THREE_WALKS_TO_THE_END, askEverything},
    {"KeepsAndFreesCopies", 0, keepAndFreeCopies},
    {"ClosesAll", 0, [](Application& my) { return my.open() + my.open() + closeAllGatewayConnections(); }},
    {"ClosesTwice", -101, closeTwice},
    {"IsRefusedByAPort", -135,
     [](Application& my) {
         const testing_support::LoopbackPort notListening;
         return my.openAt("127.0.0.1", notListening.number());
     }},
    {"DoesNotFindAHost", -132, [](Application& my) { return my.openAt(std::string(300, 'x').c_str(), 1); }},
    {"DoesNotReachANetwork", -136, [](Application& my) { return my.openAt("255.255.255.255", 1); }},
    {"IsNotAuthorised", -118, [](Application& my) { return my.openRefused(); }},
    {"IsCutOffInMidReply", -122,
     [](Application& my) { return my.connected([&] { return my.ask("close in mid-reply"); }); }},
    {"IsReset", -122, [](Application& my) { return my.connected([&] { return my.ask("reset"); }); }},
    {"GetsGarbage", -122, [](Application& my) { return my.connected([&] { return my.ask("garbage"); }); }},
    {"GetsMalformedData", -122,
     [](Application& my) { return my.connected([&] { return my.ask("malformed"); }); }},
    {"IsRefusedAQuery", -122, [](Application& my) { return my.connected([&] { return my.ask("refuse"); }); }},
    {"RunsOutOfTime", -102, runOutOfTime},
    {"AsksForABadTimeLimit", -137, [](Application&) { return setAPITimeout(-1); }},
    {"AsksAfterItsConnectionWasDropped", -101, queryAfterDrop},
    {"AsksForTooManyIds", -111,
     [](Application& my) { return my.connected([&] { return my.ask(std::string(40000, 'x').c_str()); }); }},
    {"GivesNullArguments", CODES_OF_NULLS, giveNullArguments},
    {"NamesABadTraceFile", -130, [](Application&) { return setAPITraceFile("/no/such/folder/trace"); }},
    {"AsksForABadTraceLevel", -104, [](Application&) { return setAPITraceLevel(6); }},
    {"SwitchesTheTrace", 0, switchTheTrace},
    {"TracesToStandardError", THREE_WALKS_TO_THE_END, traceToStandardError},
    {"DumpsItsState", 0,
     [](Application& my) {
         const api::StandardErrorCapture capture;
         return my.connected([] { return dumpState(); });
     }},
    {"Forks", -123,
     [](Application& my) {
         return my.connected([&] { return -api::inAForkedChild([&] { return -my.ask("S1"); }); });
     }},
};

// ---- The tests

class GoodGuest : public testing::Test {
  protected:
    GoodGuest() {
        static const bool unusual = (becomeUnusual(), true);
        static_cast<void>(unusual);
    }

    // What is written to standard output meanwhile.
    template <class Action>
    std::string outputOf(Action action) {
        const StandardOutputCapture capture;
        action();
        return capture.text();
    }

    // A trace of everything, in a file that is closed again.
    template <class Action>
    static void whileTracing(Action action) {
        const TemporaryFile file;
        setAPITraceFile(file.name());
        setAPITraceLevel(ZOLSTATS_TRACE_ALL);
        action();
        setAPITraceLevel(ZOLSTATS_TRACE_OFF);
        setAPITraceFile(nullptr);
    }

    Application application_;
};

class AnyDoing : public GoodGuest, public testing::WithParamInterface<Doing> {
  protected:
    int act() { return GetParam().act(application_); }
};

INSTANTIATE_TEST_SUITE_P(That, AnyDoing, testing::ValuesIn(DOINGS),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(AnyDoing, LeavesTheProcessAsItWas) {
    const ProcessState before = processState();
    EXPECT_EQ(act(), GetParam().result);
    EXPECT_EQ(processState(), before);
    EXPECT_EQ(signalsTaken, 0);
}

TEST_P(AnyDoing, LeavesTheProcessAsItWasWhenItIsTraced) {
    const ProcessState before = processState();
    whileTracing([this] { EXPECT_EQ(act(), GetParam().result); });
    EXPECT_EQ(processState(), before);
}

TEST_P(AnyDoing, WritesNothingToStandardOutput) {
    EXPECT_THAT(outputOf([this] { act(); }), IsEmpty());
    EXPECT_THAT(outputOf([this] { whileTracing([this] { act(); }); }), IsEmpty());
}

TEST_F(GoodGuest, IsOneAfterAllDoingsInARowToo) {
    const ProcessState before = processState();
    for (int round = 0; round < 3; ++round) {
        for (const Doing& doing : DOINGS) {
            EXPECT_EQ(doing.act(application_), doing.result) << doing.name;
        }
    }
    EXPECT_EQ(processState(), before);
}

// ---- Descriptors

class GoodGuestsDescriptors : public GoodGuest {
  protected:
    ~GoodGuestsDescriptors() override { closeAllGatewayConnections(); }

    // The numbers of those that an action has opened and left open.
    template <class Action>
    static std::vector<int> openedBy(Action action) {
        const auto before = openDescriptors();
        action();
        std::vector<int> opened;
        for (const auto& [number, target] : openDescriptors()) {
            if (before.find(number) == before.end()) {
                opened.push_back(number);
            }
        }
        return opened;
    }
    void open(int count) {
        for (int each = 0; each < count; ++each) {
            EXPECT_EQ(application_.open(), 0);
        }
    }
};

MATCHER(IsClosedOnExec, "") {
    return isClosedOnExec(arg);
}

TEST_F(GoodGuestsDescriptors, AreOneForEachConnection) {
    const std::vector<int> opened = openedBy([this] { open(5); });
    EXPECT_THAT(opened, SizeIs(5));
    EXPECT_THAT(opened, Each(IsClosedOnExec()));
}

TEST_F(GoodGuestsDescriptors, AreOneForTheTraceFile) {
    const TemporaryFile file;
    const TemporaryFile other;
    const std::vector<int> opened = openedBy([&] {
        setAPITraceFile(file.name());
        setAPITraceFile("/no/such/folder/trace");
        setAPITraceFile(other.name());
    });
    EXPECT_THAT(opened, SizeIs(1));
    EXPECT_THAT(opened, Each(IsClosedOnExec()));
    setAPITraceFile(nullptr);
}

TEST_F(GoodGuestsDescriptors, AreNoMoreWhileConnectionsAreUsed) {
    open(1);
    EXPECT_THAT(openedBy([this] {
                    ResultSetToken* copy = nullptr;
                    EXPECT_EQ(application_.ask("S1"), 0);
                    EXPECT_EQ(copyResultSet(application_.set_, &copy), 0);
                    EXPECT_EQ(walkStats(copy), -113);
                    EXPECT_EQ(freeResultSet(&copy), 0);
                }),
                IsEmpty());
}

TEST_F(GoodGuestsDescriptors, AreGivenBackWithAConnectionThatIsDropped) {
    EXPECT_THAT(openedBy([this] {
                    open(1);
                    EXPECT_EQ(application_.ask("reset"), -122);
                }),
                IsEmpty());
}

}  // namespace
