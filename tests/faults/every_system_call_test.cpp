// Each system call of opening, querying and closing fails in turn: the code that the application gets, that no
// descriptor and no connection is left behind, and that the next session succeeds. What each module makes of such
// failures is tested with the module, calls that a signal interrupts too. The codes are written down in
// docs/return-codes.md.
#include <gmock/gmock.h>

#include <algorithm>
#include <optional>

#include "operations.h"
#include "support/system_calls.h"
#include "trace/failing_calls.h"

using testing::AnyOf;
using testing::Each;
using testing::ElementsAre;
using testing::Ge;
using testing::SizeIs;
using testing_support::failed;
using testing_support::passOn;
using testing_support::SystemCalls;

namespace {
using FailingSystemCall = testing_support::FailingCall<struct SystemCallKind>;
using FailingReceive = testing_support::FailingCall<struct ReceiveKind>;
}  // namespace

extern "C" ssize_t recv(int descriptor, void* bytes, size_t size, int flags) {
    return FailingReceive::isNow() ? failed(ECONNRESET)
                                   : passOn<ssize_t>("recv", descriptor, bytes, size, flags);
}

namespace {

using namespace faults;

constexpr int LOST = -102;
constexpr int CONNECT_FAILED = -118;
constexpr int EXCHANGE_FAILED = -122;
constexpr int NOT_FOUND = -101;

using Codes = std::vector<int>;

// Instead of a call, for the one whose turn it is to fail.
struct FailWith {
    int error;

    template <class... Values>
    std::optional<int> operator()(Values...) const {
        return FailingSystemCall::isNow() ? std::optional(failed(error)) : std::nullopt;
    }
};

// How long a call may take makes no difference to what a failure gives, but for waiting.
enum class Limit { WithoutALimit, WithALimit };

void PrintTo(Limit limit, std::ostream* out) {
    *out << (limit == Limit::WithALimit ? "WithALimit" : "WithoutALimit");
}

class EverySystemCall : public testing::TestWithParam<Limit> {
  protected:
    EverySystemCall() { EXPECT_EQ(setAPITimeout(hasLimit() ? LONG_ENOUGH_MS : 0), 0); }
    ~EverySystemCall() override { EXPECT_EQ(setAPITimeout(0), 0); }

    [[nodiscard]] static bool hasLimit() { return GetParam() == Limit::WithALimit; }

    // What an operation gives when the first call of the kind that fails is the first, the second, and so on.
    template <class FailingKind = FailingSystemCall>
    Codes codesOf(const Operation& operation) {
        Codes codes;
        for (int rc = 0; runWithFailing<FailingKind>(static_cast<int>(codes.size()) + 1, operation, rc);) {
            codes.push_back(rc);
            expectNothingLeft();
        }
        return codes;
    }
    // The same without repetitions.
    template <class FailingKind = FailingSystemCall>
    Codes differentCodesOf(const Operation& operation) {
        Codes codes = codesOf<FailingKind>(operation);
        codes.erase(std::unique(codes.begin(), codes.end()), codes.end());
        return codes;
    }

    // The queries give that code wherever such a call fails. All but one drop the connection then.
    template <class FailingKind = FailingSystemCall>
    void expectOfQueries(int code) {
        for (const Query& query : QUERIES) {
            SCOPED_TRACE(query.name);
            EXPECT_EQ(differentCodesOf<FailingKind>(asking(query)), Codes{code});
            EXPECT_EQ(closeAfterFailing<FailingKind>(query), query.keepsConnection ? 0 : NOT_FOUND);
        }
    }

    SystemCalls system_;

  private:
    static constexpr int LONG_ENOUGH_MS = 60000;

    template <class FailingKind>
    bool runWithFailing(int count, const Operation& operation, int& rc) {
        Client client(gateway_.port());
        operation.before(client);
        const FailingKind failing(count);
        rc = operation.run(client);
        EXPECT_TRUE(FailingKind::hasHappened() || rc == 0);
        return FailingKind::hasHappened();
    }

    template <class FailingKind>
    int closeAfterFailing(const Query& query) {
        Client client(gateway_.port());
        openConnection(client);
        {
            const FailingKind failing(1);
            EXPECT_NE(client.ask(query), 0);
        }
        return client.close();
    }

    void expectNothingLeft() {
        gateway_.waitForConnections(0);
        EXPECT_EQ(openDescriptorsInTheEnd(descriptors_), descriptors_);
        Client client(gateway_.port());
        EXPECT_EQ(client.open(), 0);
        for (const Query& query : QUERIES) {
            EXPECT_EQ(client.ask(query), 0);
        }
        EXPECT_EQ(client.close(), 0);
        gateway_.waitForConnections(0);
    }

    gateway::Server gateway_{largeGateway()};
    const std::ptrdiff_t descriptors_ = openDescriptors();
};

INSTANTIATE_TEST_SUITE_P(Calls, EverySystemCall, testing::Values(Limit::WithoutALimit, Limit::WithALimit),
                         testing::PrintToStringParamName());

// ---- Opening only

TEST_P(EverySystemCall, ThatResolvesAHostFailsAsAHostUnknown) {
    for (const int error : {EAI_FAIL, EAI_MEMORY, EAI_SYSTEM}) {
        system_.getaddrinfo = [error](const char*, const char*, const addrinfo*, addrinfo**) {
            return FailingSystemCall::isNow() ? std::optional(error) : std::nullopt;
        };
        EXPECT_THAT(codesOf(OPENING), ElementsAre(ZOLSTATS_HOST_NOT_FOUND));
    }
}

TEST_P(EverySystemCall, ThatMakesASocketFailsAsAConnect) {
    for (const int error : {EMFILE, ENFILE, ENOMEM, ECONNREFUSED}) {
        system_.socket = FailWith{error};
        EXPECT_THAT(codesOf(OPENING), ElementsAre(CONNECT_FAILED));
    }
}

// Without a larger send buffer the usual one has to do.
TEST_P(EverySystemCall, ThatSetsASocketUpFailsAsAConnectUnlessItCanDoWithout) {
    system_.setsockopt = FailWith{ENOBUFS};
    Codes codes = codesOf(OPENING);
    ASSERT_THAT(codes, SizeIs(Ge(3U)));
    EXPECT_THAT(Codes(codes.begin(), codes.begin() + 3), ElementsAre(CONNECT_FAILED, CONNECT_FAILED, 0));
    EXPECT_THAT(Codes(codes.begin() + 3, codes.end()), Each(0)) << "limits of sending";
}

// The second one comes when the connection stands, and its error tells as that of the connect itself would.
TEST_P(EverySystemCall, ThatSwitchesWaitingOffOrOnFailsAsAConnect) {
    for (const auto& [error, code] : {std::pair{EINVAL, CONNECT_FAILED},
                                      {ECONNREFUSED, ZOLSTATS_CONNECTION_REFUSED},
                                      {ENETUNREACH, ZOLSTATS_NETWORK_UNREACHABLE}}) {
        system_.ioctl = FailWith{error};
        EXPECT_THAT(codesOf(OPENING), ElementsAre(CONNECT_FAILED, code));
    }
}

TEST_P(EverySystemCall, ThatConnectsFailsAsItsErrorTells) {
    for (const auto& [error, code] : {std::pair{ECONNREFUSED, ZOLSTATS_CONNECTION_REFUSED},
                                      {ENETUNREACH, ZOLSTATS_NETWORK_UNREACHABLE},
                                      {EHOSTUNREACH, ZOLSTATS_CONNECT_FAILED},
                                      {ETIMEDOUT, ZOLSTATS_CONNECT_FAILED},
                                      {EADDRNOTAVAIL, ZOLSTATS_CONNECT_FAILED}}) {
        system_.connect = FailWith{error};
        EXPECT_THAT(codesOf(OPENING), ElementsAre(code));
    }
}

// ---- Exchanges

TEST_P(EverySystemCall, ThatWaitsFailsAsALostConnection) {
    for (const int error : {ENOMEM, EINVAL}) {
        system_.poll = FailWith{error};
        EXPECT_THAT(differentCodesOf(CLOSING), ElementsAre(0));
        if (!hasLimit()) {
            EXPECT_THAT(differentCodesOf(OPENING), ElementsAre(CONNECT_FAILED, LOST));
            expectOfQueries(LOST);
        }
    }
}

// With a limit each part of a reply is waited for.
TEST_P(EverySystemCall, ThatWaitsForAPartOfAReplyFailsAsAFailedExchangeToo) {
    system_.poll = FailWith{ENOMEM};
    EXPECT_THAT(codesOf(OPENING), Each(AnyOf(CONNECT_FAILED, LOST, EXCHANGE_FAILED)));
    for (const Query& query : QUERIES) {
        EXPECT_THAT(codesOf(asking(query)), Each(AnyOf(LOST, EXCHANGE_FAILED)));
    }
}

TEST_P(EverySystemCall, ThatSendsFailsAsALostConnection) {
    for (const int error : {EPIPE, ECONNRESET, ENOBUFS}) {
        system_.send = FailWith{error};
        EXPECT_THAT(codesOf(OPENING),
                    ElementsAre(CONNECT_FAILED, CONNECT_FAILED, CONNECT_FAILED, LOST, LOST));
        EXPECT_THAT(codesOf(CLOSING), ElementsAre(0));
        expectOfQueries(LOST);
    }
}

TEST_P(EverySystemCall, ThatReceivesFailsAsAnExchange) {
    EXPECT_THAT(differentCodesOf<FailingReceive>(OPENING), ElementsAre(CONNECT_FAILED, EXCHANGE_FAILED));
    EXPECT_THAT(differentCodesOf<FailingReceive>(CLOSING), ElementsAre(0));
    expectOfQueries<FailingReceive>(EXCHANGE_FAILED);
}

// ---- The end. A descriptor is gone even if closing it failed.

TEST_P(EverySystemCall, ThatClosesMayFailUnnoticed) {
    system_.close = [](int descriptor) -> std::optional<int> {
        if (!FailingSystemCall::isNow()) {
            return std::nullopt;
        }
        passOn<int>("close", descriptor);
        return failed(EIO);
    };
    EXPECT_THAT(codesOf(CLOSING), ElementsAre(0));
}

}  // namespace
