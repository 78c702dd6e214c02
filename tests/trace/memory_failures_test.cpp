// Tests of a session with a Gateway in which each allocation fails in turn: codes, lines, and that nothing is
// left behind. What is lost or freed twice on the way is noticed by the sanitizers. Which failures the
// library reports, and how, is written down in docs/return-codes.md.
#include <gmock/gmock.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "failing_calls.h"
#include "server.h"
#include "stapi_zol_gwytok.h"
#include "stapi_zol_resultsetbuffer.h"
#include "support/trace_capture.h"

using testing::Contains;
using testing::ElementsAre;
using testing_support::FailingAllocation;
using testing_support::line;
using testing_support::TraceCapture;
using testing_support::TraceLine;

namespace {

constexpr int NO_MEMORY = -111;
constexpr int CONNECT_FAILED = -118;
constexpr int EXCHANGE_FAILED = -122;
constexpr int FIRST_BUFFER = 32768;
constexpr int VERSION_LENGTH = 100;  // more than the 63 that a token has room for at first

gateway::Options talkative() {
    gateway::Options options;
    options.protocolVersion = std::string(VERSION_LENGTH, '7');
    options.statistics = [] {
        return gateway::Snapshot{{"G", {{"A", std::string(20000, 'a')}, {"B", std::string(20000, 'b')}}}};
    };
    return options;
}

// All that an application does with a connection, until something fails.
class Session {
  public:
    explicit Session(int port) : port_(port) {}
    ~Session() {
        if (copy_ != nullptr) {
            freeResultSet(&copy_);
        }
        if (isOpen_) {
            closeGatewayConnection(&token_);
        }
    }
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    int run() {
        int rc = openGatewayConnection(port_, &token_, &version_);
        isOpen_ = rc == 0;
        rc = rc != 0 ? rc : getStatsByStatId(token_, "A:B", &set_);
        rc = rc != 0 ? rc : getStats(token_, &set_);
        rc = rc != 0 ? rc : copyResultSet(set_, &copy_);
        rc = rc != 0 ? rc : getIdQuery(copy_, &ids_);
        return rc != 0 ? rc : closeGatewayConnection(&token_);
    }

  private:
    const int port_;
    bool isOpen_ = false;
    void* token_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;
    ResultSetToken* copy_ = nullptr;
    char* ids_ = nullptr;
};

class SessionWithoutMemory : public testing::Test {
  protected:
    // A session whose count-th allocation fails; whether it had that many.
    bool runWithout(int count) {
        TraceCapture trace(1);
        const FailingAllocation failing(count);
        {
            Session session(gateway.port());
            result = session.run();
        }
        std::ranges::copy(trace.lines(), std::back_inserter(exceptions));
        return FailingAllocation::hasHappened();
    }
    void failEachInTurn() {
        int count = 1;
        while (runWithout(count)) {
            ++count;
        }
        ASSERT_GT(count, 30);
        ASSERT_EQ(result, 0);
    }

    gateway::Server gateway{talkative()};
    int result = 0;
    std::vector<TraceLine> exceptions;
};

// No memory is told as such where the library makes something of its own, as a failed connect or exchange
// where it is needed for a message, and not at all where it is needed to say goodbye.
TEST_F(SessionWithoutMemory, GivesTheCodeOfWhatCouldNotBeDone) {
    std::vector<int> results;
    for (int count = 1; runWithout(count); ++count) {
        results.push_back(result);
    }
    results.erase(std::unique(results.begin(), results.end()), results.end());
    EXPECT_THAT(results,
                ElementsAre(NO_MEMORY,        // the token and its result set
                            EXCHANGE_FAILED,  // room for the protocol version, missed when it arrives
                            NO_MEMORY,        // the token's buffer
                            CONNECT_FAILED,   // handshake and authorisation
                            EXCHANGE_FAILED,  // asking for the protocol version
                            NO_MEMORY,        // the version and the id list as texts of the library
                            EXCHANGE_FAILED,  // the queries
                            NO_MEMORY,        // the copy and the id query
                            0));              // the close request
}

TEST_F(SessionWithoutMemory, LeavesNoConnectionBehindAndTheNextOneSucceeds) {
    for (int count = 1; runWithout(count); ++count) {
        gateway.waitForConnections(0);
        EXPECT_EQ(Session(gateway.port()).run(), 0) << "after allocation " << count;
    }
}

TEST_F(SessionWithoutMemory, TellsWhatCouldNotBeAllocatedForATokenAndItsCopies) {
    failEachInTurn();
    const auto tokenSize = static_cast<int>(sizeof(GatewayToken));
    for (const TraceLine& expected : {
             line(2036, "*EXC*", "stapi_zol_gwytok.createGatewayToken Creation of resultset failed rc=%d",
                  -111),
             line(2039, "*EXC*", "stapi_zol_gwytok.createGatewayToken Failed to allocate %d bytes",
                  tokenSize),
             line(2041, "*EXC*", "stapi_zol_gwytok.createGatewayToken Failed to allocate %d bytes.",
                  FIRST_BUFFER),
             line(2204, "*EXC*", "stapi_zol_statcomms.statProtocolVerFailed to allocate %d bytes.",
                  VERSION_LENGTH + 1),
             line(1121, "*EXC*", "stapi_zol_impl.dup2NativeString() malloc failed for %d bytes",
                  VERSION_LENGTH + 1),
             line(1113, "*EXC*", "stapi_zol_impl.dup2ASCIIString() malloc failed for %d bytes", 4),
             line(1077, "*EXC*", "API.copyResultSet() Malloc failed for %d bytes", 2 * FIRST_BUFFER),
             line(1078, "*EXC*", "API.copyResultSet() Invalid source resultset zolStatRc=d"),
         }) {
        EXPECT_THAT(exceptions, Contains(expected));
    }
}

TEST_F(SessionWithoutMemory, TellsWhatCouldNotBeAllocatedForMessages) {
    failEachInTurn();
    for (const TraceLine& expected : {
             line(3202, "*EXC*", "stapi_zol_socketcomms.flowAdminRequestFailed to allocate %d bytes.", 38),
             line(3211, "*EXC*", "stapi_zol_socketcomms.flowAuthRequestFailed to allocate %d bytes.", 37),
             line(3217, "*EXC*", "stapi_zol_socketcomms.flowHandshakeRequestFailed to allocate %d bytes.",
                  51),
             line(3222, "*EXC*", "stapi_zol_socketcomms.flowCloseRequest Failed to allocate %d bytes.", 33),
             line(3231, "*EXC*", "stapi_zol_socketcomms.flowFailed to allocate %d bytes.", 33),
             line(3236, "*EXC*", "stapi_zol_socketcomms.flow Failed to allocate %d bytes.", 20),
         }) {
        EXPECT_THAT(exceptions, Contains(expected));
    }
}

}  // namespace
