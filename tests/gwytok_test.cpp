// The list of gateway tokens: finding, verifying and deleting one.
// Making a token, and what is done with the whole list, have test files of their own.
// How the list and its lock are used is written down in CONTRIBUTING.md.
#include "stapi_zol_gwytok.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/wait.h>

#include <chrono>
#include <climits>
#include <cstring>
#include <future>
#include <limits>
#include <set>

#include "stapi_zol_resultsetbuffer.h"
#include "support/gateway_tokens.h"

using namespace testing_support;
using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

int verifyInAnotherThread(GatewayToken* token) {
    return std::async(std::launch::async, verifyGatewayToken, token).get();
}

// Runs a check in a forked child.
bool holdsInChild(const std::function<bool()>& check) {
    const pid_t child = ::fork();
    if (child == 0) {
        ::_exit(check() ? 0 : 1);
    }
    int status = -1;
    return ::waitpid(child, &status, 0) == child && status == 0;
}

// ---- The lock

TEST_F(GatewayTokens, InitialisingTheListAgainReportsThatItWas) {
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(initGTL(), 1);
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(2030, "ENTRY", "stapi_zol_gwytok.initGTL()"),
                            line(2031, "EXIT", "stapi_zol_gwytok.initGTL() initLockRc=%d, rc=%d", 1, 0)));
}

TEST_F(GatewayTokens, InitialisingTheListAgainLeavesItsTokens) {
    GatewayToken* token = open();
    initGTL();
    EXPECT_EQ(verifyGatewayToken(token), 0);
}

// ---- Finding

TEST_F(GatewayTokens, AnEmptyListHoldsNoTokenAndCountsAsCorrupt) {
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(verifyGatewayToken(stranger()), -101);
    const void* target = stranger();
    const std::vector<TraceLine> lines = trace.lines();
    ASSERT_THAT(trace.points(2000, 2044), ElementsAre(2006, 2023, 2027, 2029, 2007, 2008));
    EXPECT_EQ(lines[0], line(2006, "ENTRY", "stapi_zol_gwytok.verifyGatewayToken(&gwTokPtr=%p)", target));
    EXPECT_EQ(lines[1], line(2023, "ENTRY", "stapi_zol_gwytok.findGatewayToken(target=%p,&parent=%p)", target,
                             NOTHING));
    EXPECT_EQ(lines[3], line(2029, "EXIT", "stapi_zol_gwytok.findGatewayToken(target=%p,&parent=%p) rc=%d",
                             target, NOTHING, 1001));
    EXPECT_EQ(lines[4],
              line(2007, "*EXC*",
                   "stapi_zol_gwytok.verifyGatewayToken(&gwTokPtr=%p) Gateway token not found - findRc=%d",
                   target, 1001));
    EXPECT_EQ(lines[5],
              line(2008, "EXIT", "stapi_zol_gwytok.verifyGatewayToken(&gwTokPtr=%p) rc=%d", target, -101));
}

TEST_F(GatewayTokens, DeletingTheOnlyTokenLeavesTheTailAtItsAddress) {
    GatewayToken* only = open();
    const std::string address = printed("%p", static_cast<void*>(only));
    remove(only);
    const TraceCapture trace(DATA_LEVEL);
    verifyGatewayToken(stranger());
    EXPECT_THAT(
        trace.lines(2027),
        ElementsAre(line(2027, "*EXC*",
                         "stapi_zol_gwytok.findGatewayToken() GTL state is corrupt - head(%p) tail (%s)",
                         NOTHING, address.c_str())));
}

TEST_F(GatewayTokens, ANullTokenIsNotFound) {
    open();
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(verifyGatewayToken(nullptr), -101);
    EXPECT_THAT(
        trace.lines(2028),
        ElementsAre(line(2028, "*EXC*", "stapi_zol_gwytok.findGatewayToken() Target was a null token")));
    EXPECT_THAT(
        trace.lines(2007),
        ElementsAre(line(2007, "*EXC*",
                         "stapi_zol_gwytok.verifyGatewayToken(&gwTokPtr=%p) Gateway token not found - "
                         "findRc=%d",
                         NOTHING, 1002)));
}

TEST_F(GatewayTokens, ANullTokenIsNotFoundInAnEmptyListEither) {
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(verifyGatewayToken(nullptr), -101);
    EXPECT_THAT(trace.points(2024, 2028), ElementsAre(2028));
}

TEST_F(GatewayTokens, TheStepsToAFoundTokenAreCountedFromTheSecond) {
    const std::vector<GatewayToken*> tokens = open(4);
    const TraceCapture trace(DATA_LEVEL);
    for (GatewayToken* token : tokens) {
        EXPECT_EQ(verifyGatewayToken(token), 0);
    }
    const auto foundAt = [](int steps) {
        return line(2026, "DEBUG", "stapi_zol_gwytok.findGatewayToken() Target token found at GTL Entry(%d)",
                    steps);
    };
    EXPECT_THAT(trace.lines(2026), ElementsAre(foundAt(0), foundAt(0), foundAt(1), foundAt(2)));
}

TEST_F(GatewayTokens, AnAbsentTokenIsReportedWithTheStepsAndTheLastOfTheList) {
    std::vector<GatewayToken*> tokens;
    for (const int steps : {0, 1, 2}) {
        tokens.push_back(open());
        const TraceCapture trace(DATA_LEVEL);
        EXPECT_EQ(verifyGatewayToken(stranger()), -101);
        EXPECT_THAT(
            trace.lines(2025),
            ElementsAre(line(2025, "DEBUG",
                             "stapi_zol_gwytok.findGatewayToken() Target token not found. GTL entries(%d) "
                             "head(%p) last(%p)",
                             steps, static_cast<void*>(tokens.front()), static_cast<void*>(tokens.back()))));
    }
}

TEST_F(GatewayTokens, AnAbsentTokenIsSoughtTo256StepsOnly) {
    open(256);
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(verifyGatewayToken(stranger()), -101);
    EXPECT_THAT(trace.points(2024, 2028), ElementsAre(2025));
    open();
    EXPECT_EQ(verifyGatewayToken(stranger()), -101);
    EXPECT_THAT(trace.lines(2024),
                ElementsAre(line(
                    2024, "*EXC*",
                    "stapi_zol_gwytok.findGatewayToken() GTL iteration has hit RUNAWAY limit %d.....", 256)));
    EXPECT_EQ(
        trace.lines(2007).back().message,
        printed("stapi_zol_gwytok.verifyGatewayToken(&gwTokPtr=%p) Gateway token not found - findRc=1005",
                static_cast<void*>(stranger())));
}

TEST_F(GatewayTokens, TheFirst257TokensAreFoundAndNoMore) {
    const std::vector<GatewayToken*> tokens = open(258);
    EXPECT_EQ(verifyGatewayToken(tokens[255]), 0);
    EXPECT_EQ(verifyGatewayToken(tokens[256]), 0);
    EXPECT_EQ(verifyGatewayToken(tokens[257]), -101);
    EXPECT_EQ(remove(tokens[257]), -101);
    EXPECT_EQ(remove(tokens[256]), 0);
}

// ---- Verifying

TEST_F(GatewayTokens, AreVerifiedForTheThreadThatMadeThem) {
    GatewayToken* token = open();
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(verifyGatewayToken(token), 0);
    EXPECT_THAT(trace.points(2000, 2044), ElementsAre(2006, 2023, 2026, 2029, 2008));
}

TEST_F(GatewayTokens, AreRefusedToAnotherThread) {
    GatewayToken* token = open();
    const TraceCapture trace(DATA_LEVEL);
    int other = 0;
    const auto verify = [&] {
        other = static_cast<int>(pthread_self());
        return verifyGatewayToken(token);
    };
    EXPECT_EQ(std::async(std::launch::async, verify).get(), -124);
    EXPECT_THAT(
        trace.lines(2033),
        ElementsAre(line(2033, "*EXC*",
                         "stapi_zol_gwytok.verifyGatewayToken TID mismatch: currentTid=%d, owningTid=%d",
                         other, static_cast<int>(pthread_self()))));
    EXPECT_THAT(trace.points(2000, 2044), ElementsAre(2006, 2023, 2026, 2029, 2033, 2008));
}

TEST_F(GatewayTokens, AreRefusedToAThreadThatDiffersInTheUpperHalfOfItsIdOnly) {
    GatewayToken* token = open();
    token->owningTid ^= pthread_t{1} << (std::numeric_limits<pthread_t>::digits - 1);
    EXPECT_EQ(verifyGatewayToken(token), -124);
}

TEST_F(GatewayTokens, AreRefusedToAForkedChild) {
    GatewayToken* token = open();
    const pid_t parent = ::getpid();
    EXPECT_TRUE(holdsInChild([&] {
        const TraceCapture trace(DATA_LEVEL);
        return verifyGatewayToken(token) == -123 &&
               trace.lines(2032) ==
                   std::vector{
                       line(2032, "*EXC*",
                            "stapi_zol_gwytok.verifyGatewayToken PID mismatch: currentPid=%d, owningPid=%d",
                            ::getpid(), parent)};
    }));
}

TEST_F(GatewayTokens, AreCheckedForTheProcessBeforeTheThread) {
    GatewayToken* token = open();
    token->owningPid += 1;
    EXPECT_EQ(verifyInAnotherThread(token), -123);
}

// ---- Deleting one

TEST_F(GatewayTokens, CannotBeDeletedThroughANullAddress) {
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(deleteGatewayToken(nullptr, 1), -108);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2009, "ENTRY", "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p, lockRequired=%d)", NOTHING,
                 1),
            line(2012, "EXIT", "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p, lockRequired=%d) rc=%d",
                 NOTHING, 1, -108)));
}

TEST_F(GatewayTokens, CannotBeDeletedWhenNull) {
    void* handle = nullptr;
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(deleteGatewayToken(&handle, 0), -100);
    EXPECT_THAT(trace.points(2000, 3300), ElementsAre(2009, 2012));
}

TEST_F(GatewayTokens, AreLeftAloneWhenNotInTheList) {
    open();
    const TraceCapture trace(DATA_LEVEL);
    void* handle = stranger();
    EXPECT_EQ(deleteGatewayToken(&handle, 1), -101);
    EXPECT_EQ(handle, stranger());
    EXPECT_THAT(trace.points(2000, 3300), ElementsAre(2009, 2023, 2025, 2029, 2012));
}

TEST_F(GatewayTokens, ClearTheCallersHandleWhenDeleted) {
    void* handle = open();
    EXPECT_EQ(deleteGatewayToken(&handle, 1), 0);
    EXPECT_EQ(handle, nullptr);
}

TEST_F(GatewayTokens, SayGoodbyeWhenDeleted) {
    remove(open());
    EXPECT_THAT(gateway.receivedToTheEnd(0), EndsWith(PROTOCOL_REQUEST + CLOSE_REQUEST));
}

TEST_F(GatewayTokens, AreDeletedThoughTheGatewayHasGone) {
    GatewayToken* token = open();
    gateway.hangUp();
    EXPECT_EQ(remove(token), 0);
    EXPECT_EQ(verifyGatewayToken(token), -101);
}

TEST_F(GatewayTokens, AreDeletedByAnyThread) {
    GatewayToken* token = open();
    EXPECT_EQ(std::async(std::launch::async, [&] { return remove(token); }).get(), 0);
    EXPECT_EQ(verifyGatewayToken(token), -101);
}

TEST_F(GatewayTokens, AreClosedJustBeforeTheyAreFreed) {
    GatewayToken* token = open();
    int status = -1;
    {
        const DuringTrace parts(DATA_LEVEL, "[2043]", [&] { status = token->connStatus; });
        remove(token);
    }
    EXPECT_EQ(status, 4);
}

TEST_F(GatewayTokens, AreMarkedAndDeletedWhenTheirSocketCannotBeClosed) {
    GatewayToken* token = open();
    int status = -1;
    system.close = [](int descriptor) { return passOn<int>("close", descriptor), failed(EIO); };
    {
        const DuringTrace parts(DATA_LEVEL, "[2043]", [&] { status = token->connStatus; });
        EXPECT_EQ(remove(token), 0);
    }
    EXPECT_EQ(status, 3);
}

TEST_F(GatewayTokens, AreDeletedStepByStep) {
    GatewayToken* token = open();
    void* handle = token;
    const void* buffer = token->resultSetBuf;
    const void* version = token->protocolVersion;
    const std::string address = printed("%p", handle);
    const TraceCapture trace(DATA_LEVEL);
    deleteGatewayToken(&handle, 1);
    const std::vector<TraceLine> lines = trace.lines(2043, 2044);
    EXPECT_THAT(
        lines,
        ElementsAre(line(2043, "DEBUG",
                         "stapi_zol_gwytok.deleteGatewayToken About to free resultSetBuffer (%p)", buffer),
                    line(2044, "DEBUG",
                         "stapi_zol_gwytok.deleteGatewayToken About to free protocolVersion String "
                         "(%p)",
                         version)));
    EXPECT_THAT(
        trace.lines(2010, 2012),
        ElementsAre(
            line(2010, "DEBUG", "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p) Free gateway token(%s) ",
                 &handle, address.c_str()),
            line(2011, "DEBUG", "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p) Freed gateway token(%p) ",
                 &handle, NOTHING),
            line(2012, "EXIT", "stapi_zol_gwytok.deleteGatewayToken(&gwTokPtr=%p, lockRequired=%d) rc=%d",
                 &handle, 1, 0)));
    EXPECT_THAT(trace.points(2000, 2044), ElementsAre(2009, 2023, 2026, 2029, 2043, 2044, 2010, 2011, 2012));
}

TEST_F(GatewayTokens, AreClosedThenLoseTheirResultSetThenTheirBuffers) {
    GatewayToken* token = open();
    const TraceCapture trace(DATA_LEVEL);
    remove(token);
    std::vector<int> milestones = trace.points(2000, 3300);
    const std::set<int> wanted = {2029, 3008, 3009, 2133, 2138, 2043, 2044, 2010};
    std::erase_if(milestones, [&](int point) { return wanted.count(point) == 0; });
    EXPECT_THAT(milestones, ElementsAre(2029, 3008, 3009, 2133, 2138, 2043, 2044, 2010));
}

TEST_F(GatewayTokens, AreDeletedWithoutAResultSetOrBuffers) {
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(removeUnfound(bareToken()), 0);
    EXPECT_THAT(trace.lines(2037), ElementsAre(line(2037, "*EXC*",
                                                    "stapi_zol_gwytok.deleteGatewayToken Unable to delete "
                                                    "ResultSet. rc=%d",
                                                    -127)));
    EXPECT_THAT(trace.points(2000, 2044), ElementsAre(2009, 2037, 2010, 2011, 2012));
}

TEST_F(GatewayTokens, AreDeletedWithoutAClosingWhenThereIsNoSocket) {
    const TraceCapture trace(DATA_LEVEL);
    removeUnfound(bareToken());
    EXPECT_THAT(trace.points(3000, 3300), IsEmpty());
}

TEST_F(GatewayTokens, CloseADescriptorOfZero) {
    GatewayToken* token = bareToken();
    token->socket = 0;
    system.close = [](int descriptor) -> std::optional<int> {
        EXPECT_EQ(descriptor, 0);
        return 0;
    };
    system.send = [](int, const void*, size_t, int) { return failed(ENOTSOCK); };
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(removeUnfound(token), 0);
    EXPECT_THAT(trace.points(3008, 3009), ElementsAre(3008, 3009));
}

// ---- What a deletion leaves of the list

TEST_F(GatewayTokens, AreChainedAtTheTail) {
    const std::vector<GatewayToken*> tokens = open(3);
    EXPECT_EQ(chainFrom(tokens.front()), tokens);
}

TEST_F(GatewayTokens, AnEmptiedListTakesTokensAgain) {
    remove(open());
    const std::vector<GatewayToken*> tokens = open(2);
    EXPECT_EQ(chainFrom(tokens.front()), tokens);
    EXPECT_EQ(verifyGatewayToken(tokens.back()), 0);
}

TEST_F(GatewayTokens, DeletingTheHeadMakesItsSuccessorTheHead) {
    const std::vector<GatewayToken*> tokens = open(3);
    EXPECT_EQ(remove(tokens[0]), 0);
    EXPECT_EQ(verifyGatewayToken(tokens[0]), -101);
    EXPECT_EQ(verifyGatewayToken(tokens[1]), 0);
    EXPECT_THAT(chainFrom(tokens[1]), ElementsAre(tokens[1], tokens[2]));
}

TEST_F(GatewayTokens, DeletingAMiddleTokenRelinksItsPredecessor) {
    const std::vector<GatewayToken*> tokens = open(4);
    EXPECT_EQ(remove(tokens[2]), 0);
    EXPECT_EQ(remove(tokens[1]), 0);
    EXPECT_THAT(chainFrom(tokens[0]), ElementsAre(tokens[0], tokens[3]));
}

TEST_F(GatewayTokens, DeletingAMiddleTokenLeavesTheTail) {
    const std::vector<GatewayToken*> tokens = open(3);
    remove(tokens[1]);
    GatewayToken* added = open();
    EXPECT_THAT(chainFrom(tokens[0]), ElementsAre(tokens[0], tokens[2], added));
}

TEST_F(GatewayTokens, DeletingTheLastTokenMovesTheTailToItsPredecessor) {
    const std::vector<GatewayToken*> tokens = open(3);
    EXPECT_EQ(remove(tokens[2]), 0);
    GatewayToken* added = open();
    EXPECT_THAT(chainFrom(tokens[0]), ElementsAre(tokens[0], tokens[1], added));
}

class DeletingWithoutLookup : public GatewayTokens, public testing::WithParamInterface<int> {};

TEST_P(DeletingWithoutLookup, MakesTheSuccessorTheHeadWhateverTheHeadWas) {
    const std::vector<GatewayToken*> tokens = open(3);
    const TraceCapture trace(DATA_LEVEL);
    void* middle = tokens[1];
    EXPECT_EQ(deleteGatewayToken(&middle, GetParam()), 0);
    EXPECT_EQ(middle, nullptr);
    EXPECT_THAT(trace.points(2009, 2029), ElementsAre(2009, 2010, 2011, 2012));
    EXPECT_EQ(verifyGatewayToken(tokens[2]), 0);
    EXPECT_EQ(verifyGatewayToken(tokens[0]), -101);
    tokens[0]->nextGwyTokPtr = tokens[2];
    removeUnfound(tokens[0]);
}

INSTANTIATE_TEST_SUITE_P(WithEachOtherValue, DeletingWithoutLookup, testing::Values(0, 2, -1));

TEST_F(GatewayTokens, KeepTheListLockedWhileOneIsClosed) {
    const std::vector<GatewayToken*> tokens = open(2);
    std::future<int> verification;
    system.poll = [&](pollfd*, nfds_t, int) -> std::optional<int> {
        verification = std::async(std::launch::async, verifyGatewayToken, tokens[1]);
        EXPECT_EQ(verification.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        return std::nullopt;
    };
    EXPECT_EQ(remove(tokens[0]), 0);
    EXPECT_EQ(verification.get(), -124);
}

TEST_F(GatewayTokens, MayBeOpenedVerifiedAndDeletedByManyThreadsAtOnce) {
    const auto openAndDelete = [this] {
        int failures = 0;
        for (int round = 0; round < 10; ++round) {
            GatewayToken* token = open();
            failures += verifyGatewayToken(token) != 0;
            failures += remove(token) != 0;
        }
        return failures;
    };
    std::vector<std::future<int>> threads;
    for (int each = 0; each < 6; ++each) {
        threads.push_back(std::async(std::launch::async, openAndDelete));
    }
    for (std::future<int>& each : threads) {
        EXPECT_EQ(each.get(), 0);
    }
    EXPECT_EQ(deleteGatewayTokens(), 1006);
}

}  // namespace
