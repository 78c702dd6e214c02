// Each allocation of the library fails in turn: the code and the lines that tell of it, that nothing is left
// behind, and that the next attempt succeeds. What is lost or freed twice on the way is noticed by the
// sanitizers. Not here: the first call of all (first_call_failures_test.cpp), and memory that the C library needs
// for itself, of which only opening a file is tried. The codes are written down in docs/return-codes.md.
#include <gmock/gmock.h>

#include <cerrno>
#include <cstdio>

#include "api/trace_file.h"
#include "operations.h"
#include "stapi_zol_gwytok.h"
#include "stapi_zol_resultsetbuffer.h"
#include "support/trace_capture.h"
#include "trace/failing_calls.h"

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing_support::FailingAllocation;
using testing_support::FailingCall;
using testing_support::line;
using testing_support::TraceCapture;
using testing_support::TraceLine;

namespace {
using FailingFile = FailingCall<struct FileKind>;
}

extern "C" {

FILE* __real_fopen(const char* name, const char* mode);
FILE* __wrap_fopen(const char* name, const char* mode);

FILE* __wrap_fopen(const char* name, const char* mode) {
    if (FailingFile::isNow()) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_fopen(name, mode);
}
}

namespace {

using namespace faults;

constexpr int NO_MEMORY = -111;
constexpr int CONNECTION_LOST = -102;
constexpr int CONNECT_FAILED = -118;
constexpr int EXCHANGE_FAILED = -122;
constexpr int NO_BUFFER = -110;
constexpr int NOT_FOUND = -101;
constexpr int NULL_TOKEN = -100;

using Failures = std::vector<Failure>;

class EveryAllocation : public testing::Test {
  protected:
    // An operation whose count-th allocation fails; whether it had that many.
    bool runWithout(int count, const Operation& operation, Failure& failure) {
        Client client(gateway_.port());
        operation.before(client);
        TraceCapture trace(1);
        bool happened = false;
        {
            const FailingAllocation failing(count);
            failure.rc = operation.run(client);
            happened = FailingAllocation::hasHappened();
        }
        trace.stop();
        EXPECT_TRUE(happened || failure.rc == 0);
        for (const TraceLine& each : trace.lines()) {
            failure.exceptions.push_back(each.point);
            exceptions_.push_back(each);
        }
        failure.again = happened ? operation.run(client) : 0;
        return happened;
    }

    // What comes of an operation when its first allocation fails, its second, and so on.
    Failures failuresOf(const Operation& operation) {
        Failures failures;
        for (Failure failure; runWithout(static_cast<int>(failures.size()) + 1, operation, failure);
             failure = {}) {
            failures.push_back(failure);
            gateway_.waitForConnections(0);
        }
        return failures;
    }

    gateway::Server gateway_{largeGateway()};
    std::vector<TraceLine> exceptions_;
};

// ---- The operations. No memory is told as such where the library makes something of its own, as a failed connect
// or exchange where it is needed for a message, and not at all where it is needed to say goodbye.

// When a reply could not be read its socket is of no more use, for saying goodbye either (3228, 3229).
TEST_F(EveryAllocation, OfOpeningFailsAsWhatItWasFor) {
    EXPECT_THAT(failuresOf(OPENING),
                ElementsAre(Failure{NO_MEMORY, {2039}},                   // the token
                            Failure{NO_MEMORY, {2129, 2036}},             // its result set
                            Failure{NO_MEMORY, {2131, 2036}},             // the set's id query area
                            Failure{EXCHANGE_FAILED, {2204}},             // room for the version
                            Failure{NO_MEMORY, {2041}},                   // the buffer
                            Failure{CONNECT_FAILED, {3217, 3005, 2004}},  // handshake: request
                            Failure{CONNECT_FAILED, {3231, 3005, 2004, 3228, 3229}},  // reply header
                            Failure{CONNECT_FAILED, {3211, 2004}},              // authorisation: request
                            Failure{CONNECT_FAILED, {3231, 2004, 3228, 3229}},  // reply header
                            Failure{CONNECT_FAILED, {3236, 2004, 3228, 3229}},  // reply body
                            Failure{CONNECT_FAILED, {3211, 2004}},              // its second step
                            Failure{CONNECT_FAILED, {3231, 2004, 3228, 3229}},  //
                            Failure{CONNECT_FAILED, {3236, 2004, 3228, 3229}},  //
                            Failure{EXCHANGE_FAILED, {3202}},                   // initialisation: request
                            Failure{EXCHANGE_FAILED, {3231, 3228, 3229}},       // reply header
                            Failure{EXCHANGE_FAILED, {3236, 3228, 3229}},       // reply body
                            Failure{EXCHANGE_FAILED, {3202}},                   // protocol version: request
                            Failure{EXCHANGE_FAILED, {3231, 3228, 3229}},       // reply header
                            Failure{EXCHANGE_FAILED, {3236, 3228, 3229}},       // reply body
                            Failure{EXCHANGE_FAILED, {3204}},                   // payload
                            Failure{EXCHANGE_FAILED, {2204}},                   // more room for it
                            Failure{NO_MEMORY, {1121}}));  // the application's copy of it
}

// Of two exchanges, and the growth of the buffer, which has no line of its own.
Failures failuresOfDroppingQuery() {
    Failures failures;
    for (const std::vector<int>& lines : std::initializer_list<std::vector<int>>{{3202},
                                                                                 {3231, 3228, 3229},
                                                                                 {3236, 3228, 3229},
                                                                                 {3202},
                                                                                 {3231, 3228, 3229},
                                                                                 {3236, 3228, 3229},
                                                                                 {3204},
                                                                                 {}}) {
        failures.push_back({EXCHANGE_FAILED, lines, NOT_FOUND});
    }
    return failures;
}

TEST_F(EveryAllocation, OfAQueryForAllFailsAsTheExchangeAndDropsTheConnection) {
    for (const std::size_t query : {0U, 1U, 2U}) {
        SCOPED_TRACE(QUERIES.at(query).name);
        EXPECT_THAT(failuresOf(asking(QUERIES.at(query))), ElementsAreArray(failuresOfDroppingQuery()));
    }
}

// The text of the ids is copied before anything is sent.
TEST_F(EveryAllocation, OfAQueryByIdsFailsAsTheExchangeAndDropsTheConnectionOnceItIsSent) {
    for (const std::size_t query : {4U, 5U}) {
        SCOPED_TRACE(QUERIES.at(query).name);
        Failures expected = failuresOfDroppingQuery();
        expected.insert(expected.begin(), Failure{NO_MEMORY, {1113}});
        EXPECT_THAT(failuresOf(asking(QUERIES.at(query))), ElementsAreArray(expected));
    }
}

// That query never drops a connection. Where a reply was left unread the connection is lost to the next query, lest
// it takes that reply for its own; without a buffer there is none.
TEST_F(EveryAllocation, OfAQueryForStatisticsByGroupLeavesTheConnectionOpen) {
    EXPECT_THAT(failuresOf(asking(QUERIES.at(3))),
                ElementsAre(Failure{NO_MEMORY, {1113}},                         // the text of the ids
                            Failure{EXCHANGE_FAILED, {3202}},                   // initialisation: request
                            Failure{EXCHANGE_FAILED, {3231}, CONNECTION_LOST},  // reply header
                            Failure{EXCHANGE_FAILED, {3236}, CONNECTION_LOST},  // reply body
                            Failure{EXCHANGE_FAILED, {3202}},                   // query: request
                            Failure{EXCHANGE_FAILED, {3231}, CONNECTION_LOST},  // reply header
                            Failure{EXCHANGE_FAILED, {3236}, CONNECTION_LOST},  // reply body
                            Failure{EXCHANGE_FAILED, {3204}},                   // payload
                            Failure{EXCHANGE_FAILED, {}, NO_BUFFER}));          // growth of the buffer
}

TEST_F(EveryAllocation, OfACopyFailsAsSuch) {
    EXPECT_THAT(failuresOf(COPYING), ElementsAre(Failure{NO_MEMORY, {2129, 1078}},  // the copy's token
                                                 Failure{NO_MEMORY, {2131, 1078}},  // its id query area
                                                 Failure{NO_MEMORY, {1077}}));      // its buffer
}

TEST_F(EveryAllocation, OfAnIdQueryFailsWithoutALine) {
    EXPECT_THAT(failuresOf(MAKING_AN_ID_QUERY), ElementsAre(Failure{NO_MEMORY}));
}

// The second attempt finds the token gone and its pointer cleared.
TEST_F(EveryAllocation, OfClosingCostsTheGoodbyeOnly) {
    EXPECT_THAT(failuresOf(CLOSING), ElementsAre(Failure{0, {3222}, NULL_TOKEN},    // the request
                                                 Failure{0, {3231}, NULL_TOKEN}));  // the reply header
}

TEST_F(EveryAllocation, OfATraceFileLeavesTheTraceWhereItWas) {
    const api::TemporaryFile file;
    const auto lines = api::tracedByAll([&] {
        const FailingFile failing(1);
        EXPECT_EQ(setAPITraceFile(file.name()), -130);
        EXPECT_EQ(setAPITraceLevel(6), -104);
    });
    EXPECT_THAT(
        lines, ElementsAre(testing::Field(&TraceLine::point, 1100), testing::Field(&TraceLine::point, 1095)));
    EXPECT_THAT(lines.front().message, testing::HasSubstr("failed with errno=12. Trace file destination"));
    EXPECT_EQ(setAPITraceFile(file.name()), 0);
    EXPECT_EQ(setAPITraceFile(nullptr), 0);
}

// ---- The lines

class LinesAboutMemory : public EveryAllocation {
  protected:
    void expectLines(const std::vector<TraceLine>& expected) const {
        for (const TraceLine& each : expected) {
            EXPECT_THAT(exceptions_, Contains(each));
        }
    }

    static constexpr int FIRST_BUFFER = 32768;
    static constexpr int TOKEN_SIZE = sizeof(GatewayToken);
    const int VERSION_SIZE = static_cast<int>(PROTOCOL_VERSION.size()) + 1;
};

TEST_F(LinesAboutMemory, TellWhatCouldNotBeAllocatedForATokenAndItsTexts) {
    failuresOf(OPENING);
    failuresOf(asking(QUERIES.back()));
    expectLines({
        line(2036, "*EXC*", "stapi_zol_gwytok.createGatewayToken Creation of resultset failed rc=%d", -111),
        line(2039, "*EXC*", "stapi_zol_gwytok.createGatewayToken Failed to allocate %d bytes", TOKEN_SIZE),
        line(2041, "*EXC*", "stapi_zol_gwytok.createGatewayToken Failed to allocate %d bytes.", FIRST_BUFFER),
        line(2204, "*EXC*", "stapi_zol_statcomms.statProtocolVerFailed to allocate %d bytes.", VERSION_SIZE),
        line(1121, "*EXC*", "stapi_zol_impl.dup2NativeString() malloc failed for %d bytes", VERSION_SIZE),
        line(1113, "*EXC*", "stapi_zol_impl.dup2ASCIIString() malloc failed for %d bytes", 4),
    });
}

TEST_F(LinesAboutMemory, TellWhatCouldNotBeAllocatedForACopy) {
    failuresOf(COPYING);
    expectLines({
        line(1077, "*EXC*", "API.copyResultSet() Malloc failed for %d bytes", 2 * FIRST_BUFFER),
        line(1078, "*EXC*", "API.copyResultSet() Invalid source resultset zolStatRc=d"),
    });
}

TEST_F(LinesAboutMemory, TellWhatCouldNotBeAllocatedForMessages) {
    failuresOf(OPENING);
    failuresOf(CLOSING);
    expectLines({
        line(3202, "*EXC*", "stapi_zol_socketcomms.flowAdminRequestFailed to allocate %d bytes.", 38),
        line(3211, "*EXC*", "stapi_zol_socketcomms.flowAuthRequestFailed to allocate %d bytes.", 37),
        line(3217, "*EXC*", "stapi_zol_socketcomms.flowHandshakeRequestFailed to allocate %d bytes.", 51),
        line(3222, "*EXC*", "stapi_zol_socketcomms.flowCloseRequest Failed to allocate %d bytes.", 33),
        line(3231, "*EXC*", "stapi_zol_socketcomms.flowFailed to allocate %d bytes.", 33),
        line(3236, "*EXC*", "stapi_zol_socketcomms.flow Failed to allocate %d bytes.", 20),
    });
}

}  // namespace
