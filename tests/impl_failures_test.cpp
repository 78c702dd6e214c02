// The public calls when something below them fails that a Gateway cannot make fail: memory, locks, and
// modules that answer as they never do in practice. Such calls are replaced for the library while a test
// wants it. Which failures the library reports, and how, is written down in docs/return-codes.md.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdlib>
#include <optional>

#include "stapi_zol_gwytok.h"
#include "stapi_zol_impl.h"
#include "stapi_zol_statcomms.h"
#include "support/api_trace.h"
#include "support/hand_made_set.h"
#include "support/scripted_gateway.h"
#include "trace/failing_calls.h"

namespace {
std::optional<int> tokenCheckResult;  // what the check of a token gives, whatever the token
bool losesVersion = false;            // a token forgets its protocol version
}  // namespace

extern "C" {

int __real_verifyGatewayToken(void* token);
int __real_statProtocolVer(GatewayToken* token, FlowReasons* reasons);

int __wrap_verifyGatewayToken(void* token) {
    return tokenCheckResult.value_or(0) != 0 ? *tokenCheckResult : __real_verifyGatewayToken(token);
}

int __wrap_statProtocolVer(GatewayToken* token, FlowReasons* reasons) {
    const int rc = __real_statProtocolVer(token, reasons);
    if (losesVersion) {
        std::free(token->protocolVersion);
        token->protocolVersion = nullptr;
    }
    return rc;
}
}

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::ExitedWithCode;
using testing::IsEmpty;

// ---- Initialisation

// What the first call writes to standard error while the count-th making of a mutex fails; ends the process,
// with 0 if the code and the line are the expected ones.
[[noreturn]] void failFirstCall(int count, int expectedRc, const TraceLine& expectedLast) {
    std::FILE* const caught = std::tmpfile();
    ::dup2(::fileno(caught), STDERR_FILENO);
    const FailingMutexInit failing(count);
    const int rc = stapiInit();
    std::string text(4096, '\0');
    std::rewind(caught);
    text.resize(std::fread(text.data(), 1, text.size(), caught));
    const std::vector<TraceLine> lines = traceLines(text);
    std::_Exit(rc == expectedRc && !lines.empty() && lines.back() == expectedLast ? 0 : 1);
}

TEST(Initialisation, TellsThatTheListLockFailed) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        failFirstCall(2, -2,
                      line(1124, "*EXC*",
                           "stapi_zol_impl.stapiInit() Initialization of zolstats API Gateway Token List has "
                           "failed. rc=%d",
                           -2)),
        ExitedWithCode(0), "");
}

// Opening a local connection tries it once more, as it goes on like opening a remote one.
TEST(Initialisation, ThatFailsOnceDoesNotHinderOpeningALocalConnection) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
            const FailingMutexInit failing(1);
            std::_Exit(openGatewayConnection(0, nullptr, nullptr) == -107 ? 0 : 1);
        },
        ExitedWithCode(0), "");
}

// ---- Full memory

class FullMemory : public testing::Test {
  protected:
    HandMadeSet set_{idsSet({answered("Q", 0, {idItem("A")})})};
};

TEST_F(FullMemory, ForATextCopyLeavesNoText) {
    char* copy = static_cast<char*>(std::malloc(5));  // replaced, so freed even now
    const auto lines = traced([&copy] {
        const FailingAllocation failing(1);
        EXPECT_EQ(dup2ASCIIString("text", &copy), -1);
    });
    EXPECT_EQ(copy, nullptr);
    EXPECT_THAT(
        lines,
        ElementsAre(testing::Field(&TraceLine::point, 1108),
                    line(1109, "DEBUG", "stapi_zol_impl.dup2ASCIIString() called malloc for %d bytes. rc=%p",
                         5, address(nullptr)),
                    line(1113, "*EXC*", "stapi_zol_impl.dup2ASCIIString() malloc failed for %d bytes", 5),
                    line(1115, "EXIT", "stapi_zol_impl.dup2ASCIIString() readByteCount=%d rc=%d", 5, -1)));
}

TEST_F(FullMemory, ForACopysTokenLeavesNoCopy) {
    ResultSetToken* copy = set_.token();
    const auto lines = traced([&] {
        const FailingAllocation failing(1);
        EXPECT_EQ(copyResultSet(set_.token(), &copy), -111);
    });
    EXPECT_EQ(copy, nullptr);
    EXPECT_THAT(lines,
                Contains(line(1078, "*EXC*", "API.copyResultSet() Invalid source resultset zolStatRc=d")));
}

TEST_F(FullMemory, ForACopysBufferLeavesACopyWithoutABuffer) {
    ResultSetToken* copy = nullptr;
    const auto lines = traced([&] {
        const FailingAllocation failing(3);
        EXPECT_EQ(copyResultSet(set_.token(), &copy), -111);
    });
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy->head, nullptr);
    EXPECT_THAT(lines, Contains(line(1076, "DEBUG", "API.copyResultSet Called malloc for %d bytes. rc=%p",
                                     set_->resultSetBufferLen, address(nullptr))));
    EXPECT_THAT(lines, Contains(line(1077, "*EXC*", "API.copyResultSet() Malloc failed for %d bytes",
                                     set_->resultSetBufferLen)));
    IdData id{};
    EXPECT_EQ(getFirstId(copy, &id), -110);
    EXPECT_EQ(freeResultSet(&copy), 0);
}

TEST_F(FullMemory, ForAnIdListIsNoticedBeforeAnythingElse) {
    char* text = nullptr;
    for (ResultSetToken* set : {set_.token(), static_cast<ResultSetToken*>(nullptr)}) {
        const FailingAllocation failing(1);
        EXPECT_EQ(getIdQuery(set, &text), -111);
    }
    EXPECT_EQ(text, nullptr);
    EXPECT_EQ(getIdQuery(set_.token(), &text), 0);
}

// ---- Connections

class Connection : public testing::Test {
  protected:
    ~Connection() override {
        tokenCheckResult.reset();
        losesVersion = false;
        closeAllGatewayConnections();
    }
    int open() { return openGatewayConnection(gateway_.port(), &token_, &version_); }

    ScriptedGateway gateway_;
    char* version_ = nullptr;
    void* token_ = nullptr;
    ResultSetToken* set_ = nullptr;
};

TEST_F(Connection, WithoutAVersionStaysOpenAllTheSame) {
    char before = 0;
    version_ = &before;
    losesVersion = true;
    const auto lines = traced([this] { EXPECT_EQ(open(), 0); });
    EXPECT_EQ(version_, nullptr);
    EXPECT_THAT(lines,
                Contains(line(1002, "*EXC*",
                              "API.openRemoteGatewayConnection(gwTokPtr=0x%p) New gateway token has NULL "
                              "protocolVersion pointer",
                              token_)));
    EXPECT_EQ(getStats(token_, &set_), 0);
    EXPECT_EQ(closeGatewayConnection(&token_), 0);
}

// The version's copy is the last allocation of an opening: find out how many there are.
TEST_F(Connection, IsGivenUpWhenThereIsNoMemoryForTheVersion) {
    int count = 0;
    std::vector<TraceLine> lines;
    for (int rc = -1; rc != 0; closeGatewayConnection(&token_)) {
        ++count;
        const auto these = traced([&] {
            const FailingAllocation failing(count);
            rc = open();
        });
        lines = rc != 0 ? these : lines;
        ASSERT_TRUE(rc == 0 || token_ == nullptr) << rc;
    }
    EXPECT_GT(count, 10);
    EXPECT_THAT(lines, Contains(line(1121, "*EXC*",
                                     "stapi_zol_impl.dup2NativeString() malloc failed for %d bytes", 4)));
    EXPECT_THAT(lines, Contains(line(1123, "EXIT", "stapi_zol_impl.dup2NativeString() readByteCount=%d rc=%d",
                                     4, -1)));
    EXPECT_EQ(lines.back(),
              line(1003, "EXIT", "API.openGatewayConnection(port=%d) rc=%d", gateway_.port(), -111));
    gateway_.server().waitForConnections(0);
}

TEST_F(Connection, StaysUsableWhenThereIsNoMemoryForTheIdsOfAQuery) {
    ASSERT_EQ(open(), 0);
    const FailingAllocation failing(1);
    EXPECT_EQ(getStatsByStatId(token_, "S1", &set_), -111);
    EXPECT_THAT(gateway_.queries(), IsEmpty());
    EXPECT_EQ(getStatsByStatId(token_, "S1", &set_), 0);
}

// The check of a token never says that the connection is lost; if it did, this is what a query would do.
class LostByTheCheck : public Connection, public testing::WithParamInterface<int> {
  protected:
    // Whether a query drops the connection.
    template <class Query>
    bool drops(Query query) {
        EXPECT_EQ(open(), 0);
        tokenCheckResult = GetParam();
        EXPECT_EQ(query(), GetParam());
        tokenCheckResult.reset();
        return closeGatewayConnection(&token_) == -101;
    }
};

INSTANTIATE_TEST_SUITE_P(With, LostByTheCheck, testing::Values(-102, -122),
                         [](const auto& instance) { return "Minus" + std::to_string(-instance.param); });

TEST_P(LostByTheCheck, DropsTheConnectionExceptForResourceGroups) {
    EXPECT_TRUE(drops([this] { return getStats(token_, &set_); }));
    EXPECT_TRUE(drops([this] { return getStatIds(token_, &set_); }));
    EXPECT_FALSE(drops([this] { return getResourceGroupIds(token_, &set_); }));
    EXPECT_TRUE(drops([this] { return getStatsByStatGroupId(token_, "G1", &set_); }));
    EXPECT_TRUE(drops([this] { return getStatsByStatId(token_, "S1", &set_); }));
    EXPECT_TRUE(drops([this] { return getStatIdsByStatGroupId(token_, "G1", &set_); }));
    EXPECT_THAT(gateway_.queries(), IsEmpty());
}

TEST_P(LostByTheCheck, IsTracedByTheQueryByGroup) {
    ASSERT_EQ(open(), 0);
    void* const dropped = token_;
    EXPECT_THAT(traced(
                    [this] {
                        tokenCheckResult = GetParam();
                        getStatsByStatGroupId(token_, "G1", &set_);
                    },
                    EVENTS),
                ElementsAre(line(1038, "EVENT",
                                 "API.getStatsByStatGroupId Removing GatewayToken %p due to comms failure %d",
                                 dropped, GetParam())));
}

TEST_F(Connection, IsNotDroppedForAnyOtherResultOfTheCheck) {
    ASSERT_EQ(open(), 0);
    for (const int rc : {-101, -111, -123, -124}) {
        tokenCheckResult = rc;
        EXPECT_EQ(getStats(token_, &set_), rc);
    }
    tokenCheckResult.reset();
    EXPECT_EQ(getStats(token_, &set_), 0);
}

}  // namespace
