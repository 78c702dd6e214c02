// Gateway tokens as a list: deleting all of them, describing and dumping them, and the levels at which they
// are traced. Finding, verifying and deleting one have a test file of their own. How the list and its lock
// are used is written down in CONTRIBUTING.md.
#include <gmock/gmock.h>

#include <chrono>
#include <cstring>
#include <future>
#include <set>

#include "stapi_zol_gwytok.h"
#include "stapi_zol_resultsetbuffer.h"
#include "support/gateway_tokens.h"
#include "support/watched_trace.h"

using namespace testing_support;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::SizeIs;

namespace {

// ---- Deleting all

TEST_F(GatewayTokens, NoneAreDeletedFromAnEmptyList) {
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(deleteGatewayTokens(), 1006);
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(2013, "ENTRY", "stapi_zol_gwytok.deleteGatewayTokens()"),
            line(2035, "EVENT", "stapi_zol_gwytok.deleteGatewayTokens() GTL is EMPTY"),
            line(2015, "EXIT", "stapi_zol_gwytok.deleteGatewayTokens() Entries deleted=%d rc=%d", 0, 1006)));
}

TEST_F(GatewayTokens, AreDescribedThenDeletedOneByOneFromTheHead) {
    const std::vector<GatewayToken*> tokens = open(2);
    const std::string first = described(tokens[0]);
    const std::string second = described(tokens[1]);
    const std::string firstAddress = printed("%p", static_cast<void*>(tokens[0]));
    const std::string secondAddress = printed("%p", static_cast<void*>(tokens[1]));
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(deleteGatewayTokens(), 0);
    EXPECT_THAT(
        trace.lines(2034),
        ElementsAre(
            line(2034, "EVENT", "stapi_zol_gwytok.deleteGatewayTokens(indexToken=%s) GTL entry 0001: %s",
                 firstAddress.c_str(), first.c_str()),
            line(2034, "EVENT", "stapi_zol_gwytok.deleteGatewayTokens(indexToken=%s) GTL entry 0002: %s",
                 secondAddress.c_str(), second.c_str())));
    EXPECT_THAT(trace.lines(2009), Each(testing::Field(&TraceLine::message, HasSubstr(", lockRequired=0)"))));
    EXPECT_THAT(trace.points(2000, 2044), ElementsAre(2013, 2034, 2009, 2043, 2044, 2010, 2011, 2012,  //
                                                      2034, 2009, 2043, 2044, 2010, 2011, 2012, 2015));
}

TEST_F(GatewayTokens, SayGoodbyeWhenAllAreDeleted) {
    open(2);
    deleteGatewayTokens();
    EXPECT_THAT(gateway.receivedToTheEnd(0), EndsWith(CLOSE_REQUEST));
    EXPECT_THAT(gateway.receivedToTheEnd(1), EndsWith(CLOSE_REQUEST));
}

TEST_F(GatewayTokens, KeepTheListLockedWhileAllAreClosed) {
    std::future<int> verification;
    open();
    system.poll = [&](pollfd*, nfds_t, int) -> std::optional<int> {
        verification = std::async(std::launch::async, verifyGatewayToken, stranger());
        EXPECT_EQ(verification.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        return std::nullopt;
    };
    EXPECT_EQ(deleteGatewayTokens(), 0);
    EXPECT_EQ(verification.get(), -101);
}

struct Walk {
    int tokens;
    int rc;
    int entries;
};

class WalkingTheList : public GatewayTokens, public testing::WithParamInterface<Walk> {
  protected:
    std::vector<GatewayToken*> tokens = open(GetParam().tokens);
};

TEST_P(WalkingTheList, DeletesTheFirst256AndReportsARunawayFrom256On) {
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(deleteGatewayTokens(), GetParam().rc);
    EXPECT_THAT(
        trace.lines(2015),
        ElementsAre(line(2015, "EXIT", "stapi_zol_gwytok.deleteGatewayTokens() Entries deleted=%d rc=%d",
                         GetParam().entries, GetParam().rc)));
    const auto left = tokens.begin() + GetParam().entries;
    for (auto token = left; token != tokens.end(); ++token) {
        EXPECT_EQ(verifyGatewayToken(*token), 0);
    }
    EXPECT_EQ(deleteGatewayTokens(), left == tokens.end() ? 1006 : 0);
    EXPECT_THAT(trace.lines(2034), SizeIs(tokens.size()));
}

TEST_P(WalkingTheList, DumpsTheFirst256AndReportsARunawayFrom256On) {
    const TraceCapture trace(3);
    EXPECT_EQ(dumpGatewayTokens(), GetParam().rc);
    EXPECT_THAT(trace.text(),
                HasSubstr(printed("Total number of Gateway Token List entries=%d\n", GetParam().entries)));
    EXPECT_THAT(trace.text(), HasSubstr(printed("Gateway Token List entry -%4.4d- : ", GetParam().entries)));
    EXPECT_THAT(trace.text(),
                Not(HasSubstr(printed("Gateway Token List entry -%4.4d- : ", GetParam().entries + 1))));
    EXPECT_THAT(trace.lines(2018),
                ElementsAre(line(2018, "EXIT", "stapi_zol_gwytok.dumpGatewayTokens() List length=%d rc=%d",
                                 GetParam().entries, GetParam().rc)));
    EXPECT_EQ(chainFrom(tokens.front()), tokens);
}

INSTANTIATE_TEST_SUITE_P(OfEachLength, WalkingTheList,
                         testing::Values(Walk{1, 0, 1}, Walk{255, 0, 255}, Walk{256, 1005, 256},
                                         Walk{257, 1005, 256}, Walk{300, 1005, 256}));

TEST_F(GatewayTokens, ARunawayWalkIsAnException) {
    open(256);
    const TraceCapture trace(1);
    dumpGatewayTokens();
    deleteGatewayTokens();
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(
            line(
                2017, "*EXC*",
                "stapi_zol_gwytok.dumpGatewayTokens() Gateway Token List iteration has hit RUNAWAY limit %d.....",
                256),
            line(2014, "*EXC*",
                 "stapi_zol_gwytok.deleteGatewayTokens() GTL iteration has hit RUNAWAY limit %d.....", 256)));
}

// ---- Describing

TEST(GatewayTokenText, NeedsABuffer) {
    EXPECT_EQ(formatGatewayToken(stranger(), nullptr), -103);
}

TEST(GatewayTokenText, TellsOfANullToken) {
    char text[512];
    EXPECT_EQ(formatGatewayToken(nullptr, text), 0);
    EXPECT_STREQ(text, "GatwayToken(NULL)");
}

class DescribedToken : public testing::Test {
  protected:
    std::string text() {
        char buffer[512];
        EXPECT_EQ(formatGatewayToken(&token, buffer), 0);
        return buffer;
    }
    [[nodiscard]] std::string own() const { return printed("%p", static_cast<const void*>(&token)); }

    GatewayToken token{};
};

TEST_F(DescribedToken, ShowsItsFields) {
    std::memcpy(token.eyecatcher, "ZOLGWTOK", 8);
    token.port = 2006;
    token.connStatus = 1;
    token.socket = 7;
    token.connRSToken = reinterpret_cast<ResultSetToken*>(0x1234);
    token.resultSetBuf = reinterpret_cast<unsigned char*>(0x5678);
    token.owningPid = 0x1A2B;
    token.owningTid = static_cast<pthread_t>(0x00007F12ABCDEF01);  // where it has 64 bits, half is shown
    token.nextGwyTokPtr = reinterpret_cast<GatewayToken*>(0x9ABC);
    EXPECT_EQ(text(),
              "GatwayToken(" + own() +
                  ") eyecatcher(ZOLGWTOK) port(2006) connStatus(1) socket(7) connRSToken(0x1234) "
                  "resultSetBuf(0x5678) owningPid(00001A2B) owningTid(ABCDEF01) nextGwyTokPtr(0x9abc)");
}

TEST_F(DescribedToken, ShowsNothingWhereThereIsNothing) {
    std::memcpy(token.eyecatcher, "ABC", 4);
    token.socket = -1;
    EXPECT_EQ(text(), "GatwayToken(" + own() +
                          ") eyecatcher(     ABC) port(0) connStatus(0) socket(-1) connRSToken((nil)) "
                          "resultSetBuf((nil)) owningPid(00000000) owningTid(00000000) nextGwyTokPtr((nil))");
}

TEST_F(DescribedToken, WritesNoTraceLine) {
    const TraceCapture trace(DATA_LEVEL);
    text();
    EXPECT_THAT(trace.lines(), IsEmpty());
}

// ---- Dumping

class DumpedTokens : public GatewayTokens {
  protected:
    // What a dump writes, whatever the level.
    static std::string dump() {
        const TraceCapture trace(0);
        dumpGatewayTokens();
        return trace.text();
    }
    static std::string entry(int number, const GatewayToken* token) {
        return printed("Gateway Token List entry -%4.4d- : ", number) + described(token) + '\n';
    }
    static std::string resultSet(const GatewayToken* token, const char* owner, const std::string& storage) {
        const ResultSetToken& set = *token->connRSToken;
        return printed("Dump of ResultSet(%p) owner(%s) buffer(%p) cursor(%p)\n",
                       static_cast<const void*>(&set), owner, static_cast<const void*>(set.head),
                       static_cast<const void*>(set.next)) +
               RULE + storage + RULE;
    }
    static std::string storageLine(const GatewayToken* token, int offset, const char* hexadecimal,
                                   const char* characters) {
        const auto address = reinterpret_cast<std::uintptr_t>(token->resultSetBuf + offset);
        return printed("0x%8.8X: %s : %s\n", static_cast<unsigned>(address), hexadecimal, characters);
    }
    // A buffer that holds nothing but its terminator.
    static std::string emptyStorage(const GatewayToken* token) {
        return storageLine(token, 0, (digits(TERMINATOR) + " 00000000 00000000 00000000").c_str(), "");
    }
    static std::string total(int entries) {
        return printed("Total number of Gateway Token List entries=%d\n", entries) + RULE;
    }

    inline static const std::string RULE = std::string(80, '-') + '\n';
    inline static const std::string TITLE = "Gateway Token List dump\n" + RULE;
};

TEST_F(DumpedTokens, TellOfAnEmptyList) {
    EXPECT_EQ(dump(), TITLE + "The Gateway Token List is EMPTY\n" + RULE + total(0));
}

TEST_F(DumpedTokens, GiveACodeForAnEmptyList) {
    const TraceCapture trace(DATA_LEVEL);
    EXPECT_EQ(dumpGatewayTokens(), 1006);
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(2016, "ENTRY", "stapi_zol_gwytok.dumpGatewayTokens()"),
                            line(2018, "EXIT", "stapi_zol_gwytok.dumpGatewayTokens() List length=%d rc=%d", 0,
                                 1006)));
}

TEST_F(DumpedTokens, ShowEachWithItsResultSet) {
    const std::vector<GatewayToken*> tokens = open(2);
    EXPECT_EQ(dump(), TITLE + entry(1, tokens[0]) + resultSet(tokens[0], "API", emptyStorage(tokens[0])) +
                          entry(2, tokens[1]) + resultSet(tokens[1], "API", emptyStorage(tokens[1])) +
                          total(2));
}

TEST_F(DumpedTokens, ShowTheBufferUpToItsTerminator) {
    const GatewayToken* token = open();
    const Bytes content = "ZOLSTSET" + integer(0) + TERMINATOR;
    std::memcpy(token->resultSetBuf, content.data(), content.size());
    EXPECT_THAT(dump(), HasSubstr(resultSet(
                            token, "API",
                            storageLine(token, 0, "5A4F4C53 54534554 00000000         ", "ZOLSTSET...."))));
}

TEST_F(DumpedTokens, ShowABufferWithoutATerminatorUpToItsCapacity) {
    const GatewayToken* token = open();
    std::memset(token->resultSetBuf, 'A', 64);
    token->connRSToken->resultSetBufferLen = 20;
    EXPECT_THAT(dump(),
                HasSubstr(resultSet(
                    token, "API",
                    storageLine(token, 0, "41414141 41414141 41414141 41414141", "AAAAAAAAAAAAAAAA ") +
                        storageLine(token, 16, "41414141                           ", "AAAA"))));
}

TEST_F(DumpedTokens, ShowNothingOfALostBuffer) {
    const GatewayToken* token = open();
    token->connRSToken->head = nullptr;
    EXPECT_THAT(dump(), HasSubstr(resultSet(token, "API", "")));
}

TEST_F(DumpedTokens, ShowAnyOtherOwnerAsTheUser) {
    const GatewayToken* token = open();
    token->connRSToken->owner = 0x1234;
    EXPECT_THAT(dump(), HasSubstr(resultSet(token, "USR", emptyStorage(token))));
}

TEST_F(DumpedTokens, ShowNoResultSetWhereThereIsNone) {
    GatewayToken* token = open();
    ResultSetToken* kept = std::exchange(token->connRSToken, nullptr);
    EXPECT_EQ(dump(), TITLE + entry(1, token) + total(1));
    token->connRSToken = kept;
}

TEST_F(DumpedTokens, AreWrittenUnderTheTraceLock) {
    open();
    const WatchedTrace trace(0);
    dumpGatewayTokens();
    EXPECT_THAT(trace.writes(), Each(testing::Field(&WatchedTrace::Write::underLock, true)));
    EXPECT_THAT(trace.text(), EndsWith(total(1)));
}

TEST_F(DumpedTokens, KeepTheListLocked) {
    GatewayToken* token = open();
    std::future<int> verification;
    {
        const DuringTrace dump(0, "Gateway Token List dump", [&] {
            verification = std::async(std::launch::async, verifyGatewayToken, token);
            EXPECT_EQ(verification.wait_for(std::chrono::milliseconds(50)), std::future_status::timeout);
        });
        dumpGatewayTokens();
    }
    EXPECT_EQ(verification.get(), -124);
}

TEST_F(DumpedTokens, AreLeftAsTheyWere) {
    GatewayToken* token = open();
    const std::string before = described(token);
    dump();
    EXPECT_EQ(verifyGatewayToken(token), 0);
    EXPECT_EQ(described(token), before);
}

// ---- Trace levels

class TokensAtALevel : public GatewayTokens, public testing::WithParamInterface<int> {
  protected:
    // The level words of all lines of deleting, failing and finding.
    static std::set<std::string> words(const TraceCapture& trace) {
        std::set<std::string> found;
        for (const TraceLine& each : trace.lines(2000, 2044)) {
            found.insert(each.level);
        }
        return found;
    }
};

TEST_P(TokensAtALevel, WriteTheLinesOfThatLevelOnly) {
    const std::vector<std::set<std::string>> expected = {{},
                                                         {"*EXC*"},
                                                         {"*EXC*", "EVENT"},
                                                         {"*EXC*", "EVENT", "ENTRY", "EXIT"},
                                                         {"*EXC*", "EVENT", "ENTRY", "EXIT", "DEBUG"},
                                                         {"*EXC*", "EVENT", "ENTRY", "EXIT", "DEBUG"}};
    const TraceCapture trace(GetParam());
    open();
    verifyGatewayToken(stranger());
    deleteGatewayTokens();
    EXPECT_EQ(words(trace), expected[static_cast<std::size_t>(GetParam())]);
}

INSTANTIATE_TEST_SUITE_P(Each, TokensAtALevel, testing::Range(0, 6));

}  // namespace
