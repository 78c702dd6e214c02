// The six queries over a connection: what they ask, what they answer, what they refuse, and when they drop
// the connection. How a result set is walked and kept is tested in api_result_set_test.cpp. What each call
// promises stands in zolstats.h.
#include <climits>

#include "client.h"
#include "trace_file.h"

namespace {

using namespace api;
using gateway::Ending;
using gateway::Reply;
using gateway::Request;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using testing::Values;
using testing::ValuesIn;

struct Query {
    const char* name;
    const char* action;
    int (*all)(void*, ResultSetToken**);  // one of the two is null
    int (*byIds)(void*, const char*, ResultSetToken**);
    bool answersStats;
    bool drops = true;  // the connection, when the query fails

    int operator()(void* token, ResultSetToken** set, const char* ids = "S1") const {
        return all != nullptr ? all(token, set) : byIds(token, ids, set);
    }
    friend void PrintTo(const Query& query, std::ostream* out) { *out << query.name; }
};

const Query BY_GROUP{"GetStatsByStatGroupId", "GET_STATS", nullptr, getStatsByStatGroupId, true, false};
const Query QUERIES[] = {
    {"GetStats", "GET_STATS", getStats, nullptr, true},
    {"GetStatIds", "STAT_IDS", getStatIds, nullptr, false},
    {"GetResourceGroupIds", "RESOURCE_GROUPS", getResourceGroupIds, nullptr, false},
    {"GetStatsByStatId", "GET_STATS", nullptr, getStatsByStatId, true},
    BY_GROUP,
    {"GetStatIdsByStatGroupId", "STAT_IDS", nullptr, getStatIdsByStatGroupId, false},
};

std::string queryName(const testing::TestParamInfo<Query>& instance) {
    return instance.param.name;
}

class AnyQuery : public Connected, public testing::WithParamInterface<Query> {
  protected:
    int ask(const char* ids = "S1") { return GetParam()(token_, &set_, ids); }
    [[nodiscard]] bool takesIds() const { return GetParam().byIds != nullptr; }
    std::vector<Item> items() { return GetParam().answersStats ? statsOf(set_) : idsOf(set_); }
    // The whole connection still works.
    void expectUsable() { EXPECT_THAT(statsOf(stats()), SizeIs(3)); }
};

INSTANTIATE_TEST_SUITE_P(Of, AnyQuery, ValuesIn(QUERIES), queryName);

// ---- What is asked

TEST_P(AnyQuery, AsksForItsAction) {
    ASSERT_EQ(ask("G1:S1"), 0);
    EXPECT_THAT(gateway_.queries(),
                ElementsAre(std::string(GetParam().action) + (takesIds() ? "(G1:S1)" : "()")));
}

TEST_P(AnyQuery, AnswersWithTheSameSetEachTime) {
    ASSERT_EQ(ask(), 0);
    ResultSetToken* const first = set_;
    set_ = nullptr;
    ASSERT_EQ(ask(), 0);
    EXPECT_EQ(set_, first);
}

TEST_P(AnyQuery, StandsBeforeTheFirstItemAgain) {
    ASSERT_EQ(ask("G1"), 0);
    const std::vector<Item> before = items();
    ASSERT_EQ(ask("G1"), 0);
    EXPECT_EQ(items(), before);
}

// ---- Refused arguments

TEST_P(AnyQuery, RefusesANullToken) {
    EXPECT_EQ(GetParam()(nullptr, nullptr, nullptr), -100);
    EXPECT_EQ(GetParam()(nullptr, &set_, "S1"), -100);
}

TEST_P(AnyQuery, RefusesANullPlaceForTheSet) {
    EXPECT_EQ(GetParam()(token_, nullptr), -125);
    EXPECT_THAT(gateway_.queries(), IsEmpty());
    expectUsable();
}

TEST_P(AnyQuery, RefusesATokenThatWasClosed) {
    void* const closed = token_;
    ASSERT_EQ(closeGatewayConnection(&token_), 0);
    EXPECT_EQ(GetParam()(closed, &set_), -101);
    EXPECT_EQ(set_, nullptr);
    ASSERT_EQ(open(), 0);
    expectUsable();
}

TEST_P(AnyQuery, RefusesAPointerThatNeverWasAToken) {
    auto* const nowhere = reinterpret_cast<void*>(8);
    EXPECT_EQ(GetParam()(nowhere, &set_), -101) << "it must not be read through";
    EXPECT_EQ(GetParam()(&token_, &set_), -101);
    expectUsable();
}

TEST_P(AnyQuery, RefusesAnotherThread) {
    EXPECT_EQ(inAnotherThread([this] { return ask(); }), -124);
    EXPECT_THAT(gateway_.queries(), IsEmpty());
    expectUsable();
}

TEST_P(AnyQuery, RefusesAForkedChild) {
    EXPECT_EQ(inAForkedChild([this] { return -ask(); }), 123);
    EXPECT_THAT(gateway_.queries(), IsEmpty());
    expectUsable();
}

TEST_P(AnyQuery, ThatIsRefusedLeavesTheVariableAlone) {
    ASSERT_EQ(ask(), 0);
    ResultSetToken* const before = set_;
    EXPECT_EQ(GetParam()(nullptr, &set_), -100);
    EXPECT_EQ(inAnotherThread([this] { return ask(); }), -124);
    EXPECT_EQ(set_, before);
}

class QueryByIds : public AnyQuery {};
INSTANTIATE_TEST_SUITE_P(Of, QueryByIds, Values(QUERIES[3], QUERIES[4], QUERIES[5]), queryName);

TEST_P(QueryByIds, RefusesNullIdsBeforeItLooksAtThePlaceForTheSet) {
    EXPECT_EQ(GetParam()(token_, nullptr, nullptr), -126);
    EXPECT_EQ(GetParam()(token_, &set_, nullptr), -126);
    expectUsable();
}

TEST_P(QueryByIds, SendsAnEmptyList) {
    EXPECT_EQ(ask(""), 0);
    EXPECT_THAT(gateway_.queries(), ElementsAre(std::string(GetParam().action) + "()"));
}

TEST_P(QueryByIds, SendsAListOf32765Characters) {
    const std::string ids(32765, 'x');
    EXPECT_EQ(ask(ids.c_str()), 0);
    EXPECT_THAT(gateway_.queries(), ElementsAre(std::string(GetParam().action) + "(" + ids + ")"));
}

TEST_P(QueryByIds, RefusesALongerListAndSendsNothing) {
    for (const std::size_t length : {32766U, 32767U, 65535U, 65536U, 1000000U}) {
        const std::string ids(length, 'x');
        EXPECT_EQ(ask(ids.c_str()), -111) << length;
    }
    EXPECT_THAT(gateway_.queries(), IsEmpty());
    expectUsable();
}

TEST_P(QueryByIds, SendsAnyBytesAsTheyStand) {
    EXPECT_EQ(ask("\x01 \xc3\xa4::\xff"), 0);
    EXPECT_THAT(gateway_.queries(), ElementsAre(std::string(GetParam().action) + "(\x01 \xc3\xa4::\xff)"));
}

TEST_P(QueryByIds, CopiesTheListBeforeItReturns) {
    std::string ids = "G1";
    ASSERT_EQ(ask(ids.c_str()), 0);
    ids = "??";
    expectUsable();
}

TEST_P(QueryByIds, ReportsAnUnknownIdByANegativeCode) {
    ASSERT_EQ(ask("NOBODY"), 0);
    EXPECT_THAT(items(), ElementsAre(Item{"NOBODY", gateway::UNKNOWN_ID}));
    expectUsable();
}

// ---- What is answered

class Queries : public Connected {};

TEST_F(Queries, ForAllStatisticsAnswerWithAllOfThem) {
    EXPECT_THAT(statsOf(stats()),
                ElementsAre(Item{"", 0, "S1", "11"}, Item{"", 0, "S2", "22"}, Item{"", 0, "T1", "33"}));
}

TEST_F(Queries, ForIdsAnswerWithTheIds) {
    EXPECT_THAT(idsOf(statIds()), ElementsAre(Item{"", 0, "S1"}, Item{"", 0, "S2"}, Item{"", 0, "T1"}));
    EXPECT_THAT(idsOf(groupIds()), ElementsAre(Item{"", 0, "G1"}, Item{"", 0, "G2"}));
}

TEST_F(Queries, ByIdsAnswerEachIdByItself) {
    EXPECT_THAT(
        statsOf(statsOfIds("T1:NONE:S1")),
        ElementsAre(Item{"T1", 0, "T1", "33"}, Item{"NONE", gateway::UNKNOWN_ID}, Item{"S1", 0, "S1", "11"}));
    EXPECT_THAT(idsOf(idsOfGroups("G1:G2")),
                ElementsAre(Item{"G1", 0, "S1"}, Item{"G1", 0, "S2"}, Item{"G2", 0, "T1"}));
    ASSERT_EQ(getStatsByStatGroupId(token_, "G2:G1", &set_), 0);
    EXPECT_THAT(statsOf(set_),
                ElementsAre(Item{"G2", 0, "T1", "33"}, Item{"G1", 0, "S1", "11"}, Item{"G1", 0, "S2", "22"}));
}

TEST_F(Queries, OverwriteTheSetOfTheQueryBefore) {
    ResultSetToken* const first = stats();
    statIds();
    EXPECT_THAT(idsOf(first), SizeIs(3));
    StatData stat{};
    EXPECT_EQ(getFirstStat(first, &stat), -119);
    stats();
    EXPECT_THAT(statsOf(first), SizeIs(3));
}

TEST_F(Queries, OfSeveralConnectionsDoNotMeet) {
    void* other = nullptr;
    char* version = nullptr;
    ResultSetToken* otherSet = nullptr;
    ASSERT_EQ(openGatewayConnection(gateway_.port(), &other, &version), 0);
    ASSERT_EQ(getResourceGroupIds(other, &otherSet), 0);
    stats();
    EXPECT_NE(otherSet, set_);
    EXPECT_THAT(idsOf(otherSet), SizeIs(2));
    EXPECT_THAT(statsOf(set_), SizeIs(3));
}

TEST_F(Queries, AnswerLargeAndSmallInTurn) {
    gateway::Snapshot large{{"BIG", {}}};
    for (int number = 0; number < 5000; ++number) {
        large[0].statistics.push_back({"BIG_" + std::to_string(number), std::string(50, 'v')});
    }
    gateway_.answerQueriesWith(gateway::encodeStats({{"all", 0, large[0].statistics}}));
    const std::vector<Item> items = statsOf(stats());
    ASSERT_THAT(items, SizeIs(5000));
    EXPECT_EQ(items.back(), (Item{"all", 0, "BIG_4999", std::string(50, 'v')}));
    gateway_.answerAsUsual();
    EXPECT_THAT(statsOf(stats()), SizeIs(3));
    EXPECT_THAT(idsOf(groupIds()), SizeIs(2));
}

TEST_F(Queries, AnswerWithDataOfAnyLengthAndAnyBytes) {
    std::vector<gateway::Statistic> statistics;
    std::vector<Item> expected;
    for (const std::size_t length : {0U, 1U, 255U, 256U, 1000U, 1024U, 1025U, 2048U, 32767U}) {
        std::string data(length, '\xfe');
        data.replace(0, length / 2, std::string(length / 2, '\0'));
        statistics.push_back({"L" + std::to_string(length), data});
        expected.push_back({"Q", 5, statistics.back().id, data});
    }
    gateway_.answerQueriesWith(gateway::encodeStats({{"Q", 5, statistics}}));
    EXPECT_EQ(statsOf(stats()), expected);
}

TEST_F(Queries, AnswerWithoutAnyElementGivesAnEmptySet) {
    gateway_.answerQueriesWith(gateway::encodeIds({}));
    EXPECT_THAT(idsOf(groupIds()), IsEmpty());
}

// ---- Failing exchanges

// A way for an exchange to fail, and the code that the query gives for it.
struct Failure {
    const char* name;
    int code;
    Reply (*reply)(const Request&, Reply usual);

    friend void PrintTo(const Failure& failure, std::ostream* out) { *out << failure.name; }
};

Reply withCode(const Request& request, std::int32_t code) {
    return {gateway::encodeReply(request, code, "")};
}
Reply withBody(const Request& request, std::string_view body) {
    return {gateway::encodeReply(request, 0, body)};
}
Reply cut(Reply usual, std::size_t length, Ending ending = Ending::Close) {
    return {usual.bytes.substr(0, length), ending};
}
Reply spoiled(Reply usual, std::size_t at) {
    usual.bytes.at(at) = '?';
    return usual;
}

const Failure FAILURES[] = {
    {"CodeMinus1", -102, [](const Request& request, Reply) { return withCode(request, -1); }},
    {"CodeMinus4", -122, [](const Request& request, Reply) { return withCode(request, -4); }},
    {"Code7", -122, [](const Request& request, Reply) { return withCode(request, 7); }},
    {"EndWithoutAReply", -122,
     [](const Request&, Reply) {
         return Reply{"", Ending::Close};
     }},
    {"ResetWithoutAReply", -122,
     [](const Request&, Reply) {
         return Reply{"", Ending::Reset};
     }},
    {"EndInTheHeader", -122, [](const Request&, Reply usual) { return cut(usual, 20); }},
    {"EndBehindTheHeader", -122, [](const Request&, Reply usual) { return cut(usual, 34); }},
    {"EndInTheBody", -122, [](const Request&, Reply usual) { return cut(usual, usual.bytes.size() - 1); }},
    {"WrongEyecatcher", -122, [](const Request&, Reply usual) { return spoiled(usual, 0); }},
    {"LongName", -122, [](const Request&, Reply usual) { return spoiled(usual, 23); }},
    {"NoBody", -122, [](const Request& request, Reply) { return withCode(request, 0); }},
    {"ShortBody", -122,
     [](const Request& request, Reply) { return withBody(request, std::string("\0\0\0\5", 4)); }},
    {"AuthorisationRefused", -122,
     [](const Request& request, Reply) { return withBody(request, gateway::adminReplyBody(5, 1, 0, "")); }},
    {"ExceptionInTheGateway", -122,
     [](const Request& request, Reply) { return withBody(request, gateway::adminReplyBody(5, 0, 1, "")); }},
    {"NoCallData", -122,
     [](const Request& request, Reply) { return withBody(request, gateway::adminReplyBody(5, 0, 0, "")); }},
    {"NoPayload", -122,
     [](const Request& request, Reply) { return withBody(request, gateway::initialiseReplyBody(0, 1)); }},
    {"CallDataCutOff", -122,
     [](const Request& request, Reply) {
         const std::string data = gateway::encodeStats({{"Q", 0, {{"S1", "11"}}}});
         return withBody(request, gateway::adminReplyBody(5, 0, 0, data.substr(0, data.size() / 2)));
     }},
};

class FailingQuery : public Connected, public testing::WithParamInterface<std::tuple<Query, Failure>> {
  protected:
    [[nodiscard]] const Query& query() const { return std::get<Query>(GetParam()); }
    int fail() {
        gateway_.answerQueries(std::get<Failure>(GetParam()).reply);
        const int rc = query()(token_, &set_);
        gateway_.answerAsUsual();
        return rc;
    }
};

INSTANTIATE_TEST_SUITE_P(Of, FailingQuery, testing::Combine(ValuesIn(QUERIES), ValuesIn(FAILURES)),
                         [](const auto& instance) {
                             return std::string(std::get<Query>(instance.param).name) +
                                    std::get<Failure>(instance.param).name;
                         });

TEST_P(FailingQuery, GivesItsCodeAndLeavesTheVariableAlone) {
    EXPECT_EQ(fail(), std::get<Failure>(GetParam()).code);
    EXPECT_EQ(set_, nullptr);
}

TEST_P(FailingQuery, DropsTheConnectionOrLeavesItToTheCaller) {
    fail();
    const std::size_t before = gateway_.queries().size();
    if (query().drops) {
        gateway_.server().waitForConnections(0);
        EXPECT_EQ(query()(token_, &set_), -101);
        EXPECT_EQ(gateway_.queries().size(), before);
        EXPECT_EQ(closeGatewayConnection(&token_), -101);
    } else {
        EXPECT_NE(query()(token_, &set_), -101);
        EXPECT_EQ(closeGatewayConnection(&token_), 0);
    }
}

TEST_P(FailingQuery, LeavesTheLibraryUsable) {
    fail();
    ASSERT_EQ(open(), 0);
    EXPECT_THAT(statsOf(stats()), SizeIs(3));
}

// ---- Lost and kept connections

TEST_F(Queries, OnAConnectionThatWasResetGiveMinus102) {
    gateway_.server().dropConnections();
    gateway_.server().waitForConnections(0);
    EXPECT_EQ(getStats(token_, &set_), -102);
    EXPECT_EQ(getStats(token_, &set_), -101);
}

TEST_F(Queries, ByGroupGoOnOnTheConnectionThatFailed) {
    gateway_.refuseQueries(7);
    EXPECT_EQ(getStatsByStatGroupId(token_, "G1", &set_), -122);
    EXPECT_EQ(gateway_.server().openConnections(), 1U);
    gateway_.answerAsUsual();
    ASSERT_EQ(getStatsByStatGroupId(token_, "G1", &set_), 0);
    EXPECT_THAT(statsOf(set_), SizeIs(2));
}

TEST_F(Queries, ByGroupGiveMinus102AgainAndAgainOnceTheConnectionIsGone) {
    gateway_.server().dropConnections();
    gateway_.server().waitForConnections(0);
    EXPECT_EQ(getStatsByStatGroupId(token_, "G1", &set_), -102);
    EXPECT_EQ(getStatsByStatGroupId(token_, "G1", &set_), -102);
    EXPECT_EQ(closeGatewayConnection(&token_), 0);
}

TEST_F(Queries, ThatDropTheConnectionTakeLeaveOfTheGateway) {
    gateway_.refuseQueries(7);
    EXPECT_EQ(getStats(token_, &set_), -122);
    gateway_.server().waitForConnections(0);
    EXPECT_EQ(gateway_.server().requests().back().type, 10U);
}

TEST_F(Queries, ThatDropOneConnectionLeaveOthersOpen) {
    void* const first = token_;
    ASSERT_EQ(open(), 0);
    gateway_.refuseQueries(7);
    EXPECT_EQ(getStats(token_, &set_), -122);
    gateway_.answerAsUsual();
    token_ = first;
    EXPECT_THAT(statsOf(stats()), SizeIs(3));
}

TEST_F(Queries, ThatFailEmptyTheSetOfTheQueryBefore) {
    ResultSetToken* const before = stats();
    gateway_.answerQueriesWith(std::string("\x01\0\0\0\1", 5));
    EXPECT_EQ(getStatsByStatGroupId(token_, "G1", &set_), -122);
    EXPECT_THAT(statsOf(before), IsEmpty());
}

// ---- What the trace tells of refusals

TEST_F(Queries, TraceWhyATokenWasRefused) {
    void* const closed = token_;
    ASSERT_EQ(closeGatewayConnection(&token_), 0);
    const auto lines = traced([&] { getStats(closed, &set_); }, ZOLSTATS_TRACE_CALLS);
    EXPECT_THAT(lines, testing::Contains(line(1029, "EXIT", "API.getStats(gwTok=%p,rs=%p) rc=%d", closed,
                                              static_cast<void*>(&set_), -101)));
}

TEST_F(Queries, TraceThatAnIdListIsTooLong) {
    const std::string ids(32766, 'x');
    EXPECT_THAT(traced([&] { getStatsByStatId(token_, ids.c_str(), &set_); }),
                ElementsAre(line(
                    1114, "*EXC*",
                    "stapi_zol_impl.dup2ASCIIString() supplied input data pointer was NULL or overlength")));
}

}  // namespace
