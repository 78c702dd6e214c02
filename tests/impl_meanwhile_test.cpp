// The moments between two steps of a call, in which another thread closes its connection: rare in practice, so
// some calls of the library are replaced by versions that let the other thread have its way behind them.
// Closing while a call waits for its Gateway is tested in api/api_closing_test.cpp. What each call promises
// stands in zolstats.h.
#include <gmock/gmock.h>
#include <netdb.h>

#include <functional>
#include <thread>

#include "stapi_zol_gwytok.h"
#include "stapi_zol_statcomms.h"
#include "stapi_zol_statquery.h"
#include "support/scripted_gateway.h"
#include "zolstats/zolstats.h"

namespace {

enum class Moment { None, NameResolved, VersionKnown, TokenCreated, TokenChecked, Answered };
Moment chosen = Moment::None;
std::function<void()> interfere;

// Once, in a thread of its own, at the chosen moment.
void arriveAt(Moment moment) {
    if (moment == chosen) {
        chosen = Moment::None;
        std::thread(interfere).join();
    }
}

template <class Result>
Result behind(Result result, Moment moment) {
    arriveAt(moment);
    return result;
}

}  // namespace

extern "C" {

int __real_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** list);
int __real_statProtocolVer(GatewayToken* token, FlowReasons* reasons);
int __real_createGatewayToken(void** token, const char* host, int port);
int __real_verifyGatewayToken(void* token);
int __real_commsStats(int socket, unsigned char** buffer, int* length);

int __wrap_getaddrinfo(const char* host, const char* service, const addrinfo* hints, addrinfo** list) {
    return behind(__real_getaddrinfo(host, service, hints, list), Moment::NameResolved);
}
int __wrap_statProtocolVer(GatewayToken* token, FlowReasons* reasons) {
    return behind(__real_statProtocolVer(token, reasons), Moment::VersionKnown);
}
int __wrap_createGatewayToken(void** token, const char* host, int port) {
    return behind(__real_createGatewayToken(token, host, port), Moment::TokenCreated);
}
int __wrap_verifyGatewayToken(void* token) {
    return behind(__real_verifyGatewayToken(token), Moment::TokenChecked);
}
int __wrap_commsStats(int socket, unsigned char** buffer, int* length) {
    return behind(__real_commsStats(socket, buffer, length), Moment::Answered);
}
}

namespace {

class ClosedMeanwhile : public testing::Test {
  protected:
    ~ClosedMeanwhile() override {
        chosen = Moment::None;
        closeAllGatewayConnections();
    }

    int open() { return openGatewayConnection(gateway_.port(), &token_, &version_); }
    static void closeAllAt(Moment moment) {
        chosen = moment;
        interfere = closeAllGatewayConnections;
    }
    // Another connection stays open.
    void closeThisAt(Moment moment) {
        ASSERT_EQ(open(), 0);
        ASSERT_EQ(openGatewayConnection(gateway_.port(), &other_, &version_), 0);
        chosen = moment;
        interfere = [this] {
            void* token = token_;
            EXPECT_EQ(closeGatewayConnection(&token), 0);
        };
    }
    void expectOnlyTheOtherOpen() {
        EXPECT_EQ(getStats(token_, &set_), -101);
        EXPECT_EQ(getStats(other_, &set_), 0);
        gateway_.server().waitForConnections(1);
    }
    void expectNoneOpen() {
        gateway_.server().waitForConnections(0);
        EXPECT_EQ(dumpGatewayTokens(), zolstats::GTL_EMPTY);
    }

    testing_support::ScriptedGateway gateway_;
    void* token_ = nullptr;
    void* other_ = nullptr;
    char* version_ = nullptr;
    ResultSetToken* set_ = nullptr;
};

TEST_F(ClosedMeanwhile, WhileItsHostIsResolvedAConnectionIsNotMadeAnyMore) {
    closeAllAt(Moment::NameResolved);
    EXPECT_EQ(open(), -118);
    EXPECT_EQ(token_, nullptr);
    expectNoneOpen();
    EXPECT_TRUE(gateway_.server().requests().empty());
}

TEST_F(ClosedMeanwhile, AfterItsLastExchangeAnOpeningFailsAsALostConnection) {
    closeAllAt(Moment::VersionKnown);
    EXPECT_EQ(open(), -102);
    EXPECT_EQ(token_, nullptr);
    expectNoneOpen();
}

TEST_F(ClosedMeanwhile, BeforeItsVersionIsHandedOutAnOpeningFailsAsALostConnection) {
    closeAllAt(Moment::TokenCreated);
    EXPECT_EQ(open(), -102);
    EXPECT_EQ(token_, nullptr);
    EXPECT_EQ(version_, nullptr);
    expectNoneOpen();
}

TEST_F(ClosedMeanwhile, AfterItsTokenWasCheckedAQueryDoesNotFindIt) {
    closeThisAt(Moment::TokenChecked);
    EXPECT_EQ(getStats(token_, &set_), -101);
    expectOnlyTheOtherOpen();
}

TEST_F(ClosedMeanwhile, AfterItsAnswerCameAQueryFailsAsALostConnection) {
    closeThisAt(Moment::Answered);
    EXPECT_EQ(getStats(token_, &set_), -102);
    EXPECT_EQ(set_, nullptr);
    expectOnlyTheOtherOpen();
}

// The token is found, but at its address there is another thread's connection by now.
TEST_F(ClosedMeanwhile, AndOpenedAtTheSameAddressByAnotherThreadAConnectionIsNotTaken) {
    GatewayToken* const found = [this] {
        EXPECT_EQ(open(), 0);
        return static_cast<GatewayToken*>(token_);
    }();
    const pthread_t owner = found->owningTid;
    chosen = Moment::TokenChecked;
    interfere = [found] { found->owningTid = pthread_self(); };
    EXPECT_EQ(getStats(token_, &set_), -101);
    found->owningTid = owner;
    EXPECT_EQ(getStats(token_, &set_), 0);
}

}  // namespace
