// The queries and walks of their answers. How long an answer lives is tested in face_stale_test.cpp, what a query throws
// when its connection is lost in face_loss_test.cpp. What each call promises stands in zolstats.hpp.
#include "face.h"

namespace {

using namespace face;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;
using testing::SizeIs;

class AnyQuery : public Connected, public testing::WithParamInterface<Query> {};
INSTANTIATE_TEST_SUITE_P(Of, AnyQuery, testing::ValuesIn(QUERIES), queryName);

TEST_P(AnyQuery, AsksTheGateway) {
    GetParam().ask(connection_);
    EXPECT_THAT(gateway_.queries(), ElementsAre(GetParam().action));
}

TEST_P(AnyQuery, AnswersTheSameAgain) {
    const std::vector<Item> first = GetParam().ask(connection_);
    EXPECT_THAT(first, testing::Not(IsEmpty()));
    EXPECT_EQ(GetParam().ask(connection_), first);
}

TEST_P(AnyQuery, AnswersWithoutItemsAreEmpty) {
    const bool ofStatistics = std::string(GetParam().action).starts_with("GET");
    gateway_.answerQueriesWith(ofStatistics ? gateway::encodeStats({}) : gateway::encodeIds({}));
    EXPECT_THAT(GetParam().ask(connection_), IsEmpty());
}

class Queries : public Connected {};

// ---- Answers

TEST_F(Queries, ForAllStatisticsGiveEachWithItsValue) {
    EXPECT_THAT(itemsOf(connection_.statistics()), ElementsAreArray(ALL_STATISTICS));
}

TEST_F(Queries, ForIdsGiveTheIds) {
    EXPECT_THAT(itemsOf(connection_.statisticIds()),
                ElementsAre(Item{"", 0, "S1"}, Item{"", 0, "S2"}, Item{"", 0, "T1"}));
    EXPECT_THAT(itemsOf(connection_.groups()), ElementsAre(Item{"", 0, "G1"}, Item{"", 0, "G2"}));
}

TEST_F(Queries, ByIdsGiveThePartOfTheQueryThatEachItemAnswers) {
    EXPECT_THAT(itemsOf(connection_.statisticsOfGroups("G2:G1")),
                ElementsAre(Item{"G2", 0, "T1", "33"}, Item{"G1", 0, "S1", "11"}, Item{"G1", 0, "S2", "22"}));
    EXPECT_THAT(itemsOf(connection_.statisticsById("T1:S1")),
                ElementsAre(Item{"T1", 0, "T1", "33"}, Item{"S1", 0, "S1", "11"}));
    EXPECT_THAT(itemsOf(connection_.idsOfGroups("G2")), ElementsAre(Item{"G2", 0, "T1"}));
}

// The library leaves the fields of the item before as they were.
TEST_F(Queries, GiveARejectedPartWithoutIdAndValue) {
    EXPECT_THAT(
        itemsOf(connection_.statisticsById("S1:NONE:T1")),
        ElementsAre(Item{"S1", 0, "S1", "11"}, Item{"NONE", gateway::UNKNOWN_ID}, Item{"T1", 0, "T1", "33"}));
    EXPECT_THAT(itemsOf(connection_.idsOfGroups("G2:NONE:G2")),
                ElementsAre(Item{"G2", 0, "T1"}, Item{"NONE", gateway::UNKNOWN_ID}, Item{"G2", 0, "T1"}));
}

TEST_F(Queries, TellWhichPartsAreRejected) {
    std::vector<bool> rejected;
    for (const Statistic& statistic : connection_.statisticsById("NONE:S1")) {
        rejected.push_back(statistic.rejected());
    }
    for (const Identifier& id : connection_.idsOfGroups("NONE:G2")) {
        rejected.push_back(id.rejected());
    }
    EXPECT_THAT(rejected, ElementsAre(true, false, true, false));
}

TEST_F(Queries, RejectByNegativeCodesOnly) {
    EXPECT_FALSE((Statistic{{}, 0, {}, {}}.rejected()));
    EXPECT_FALSE((Identifier{{}, 7, {}}.rejected()));
    EXPECT_TRUE((Statistic{{}, -1, {}, {}}.rejected()));
    EXPECT_TRUE((Identifier{{}, -7, {}}.rejected()));
}

TEST_F(Queries, GiveValuesOfAnyLengthAndAnyBytes) {
    std::vector<gateway::Statistic> statistics;
    std::vector<Item> expected;
    for (const std::size_t length : {0U, 1U, 255U, 1024U, 32767U}) {
        std::string value(length, '\xfe');
        value.replace(0, length / 2, std::string(length / 2, '\0'));
        statistics.push_back({"L" + std::to_string(length), value});
        expected.push_back({"Q", 5, statistics.back().id, value});
    }
    gateway_.answerQueriesWith(gateway::encodeStats({{"Q", 5, statistics}}));
    EXPECT_EQ(itemsOf(connection_.statistics()), expected);
}

TEST_F(Queries, GiveIdsOfManyItems) {
    gateway_.answerQueriesWith(gateway::encodeIds({{"Q", 0, std::vector(20000, std::string("ID"))}}));
    EXPECT_THAT(itemsOf(connection_.groups()), SizeIs(20000));
}

// ---- Arguments

TEST_F(Queries, TakeTheLongestListOfIdsAndNoLongerOne) {
    EXPECT_THAT(itemsOf(connection_.statisticsById(std::string(ZOLSTATS_MAX_ID_LIST, 'x'))), SizeIs(1));
    EXPECT_EQ(codeOf([this] { connection_.statisticsById(std::string(ZOLSTATS_MAX_ID_LIST + 1, 'x')); }),
              ZOLSTATS_NO_MEMORY);
    EXPECT_TRUE(connection_.isOpen());
    EXPECT_THAT(itemsOf(connection_.statistics()), SizeIs(3));
}

TEST_F(Queries, RefuseIdsWithANulInsteadOfAskingForLess) {
    const std::string ids("S1\0:T1", 6);
    EXPECT_THROW(connection_.statisticsById(ids), std::invalid_argument);
    EXPECT_THROW(connection_.statisticsOfGroups(ids), std::invalid_argument);
    EXPECT_THROW(connection_.idsOfGroups(ids), std::invalid_argument);
    EXPECT_THAT(gateway_.queries(), IsEmpty());
}

// ---- Walks

class Walks : public Connected {};

TEST_F(Walks, CanStartAgain) {
    const Statistics answer = connection_.statistics();
    EXPECT_EQ(itemsOf(answer), itemsOf(answer));
    auto walk = answer.begin();
    ++walk;
    EXPECT_EQ(walk->id, "S2");
    EXPECT_EQ(answer.begin()->id, "S1");
}

TEST_F(Walks, ShareThePositionOfTheirAnswer) {
    const Identifiers answer = connection_.groups();
    auto first = answer.begin();
    auto second = answer.begin();
    ++first;
    EXPECT_EQ(first->id, "G2");
    ++second;
    EXPECT_EQ(second, answer.end());
}

TEST_F(Walks, StayAtTheEnd) {
    auto walk = connection_.groups().begin();
    ++walk;
    walk++;
    EXPECT_EQ(walk, std::default_sentinel);
    ++walk;
    EXPECT_EQ(walk, std::default_sentinel);
    EXPECT_EQ(walk->id, "");
}

TEST_F(Walks, OutliveTheViewTheyCameFrom) {
    auto walk = connection_.statistics().begin();
    const Statistic first = *walk;
    ++walk;
    EXPECT_EQ(first.value, "11");
    EXPECT_EQ(walk->value, "22");
}

TEST_F(Walks, GoOnWhenTheViewIsMoved) {
    Statistics answer = connection_.statistics();
    auto walk = answer.begin();
    const Statistics moved = std::move(answer);
    ++walk;
    EXPECT_EQ(walk->id, "S2");
}

TEST_F(Walks, AreOfTheirOwnConnection) {
    Connection second = open();
    const Statistics one = connection_.statistics();
    const Identifiers other = second.groups();
    auto walk = one.begin();
    EXPECT_THAT(itemsOf(other), SizeIs(2));
    ++walk;
    EXPECT_EQ(walk->id, "S2");
}

TEST_F(Walks, AreForTheThreadOfTheConnection) {
    const Statistics answer = connection_.statistics();
    auto walk = answer.begin();
    EXPECT_EQ(inAnotherThread([&] { return codeOf([&] { answer.begin(); }); }), ZOLSTATS_WRONG_THREAD);
    EXPECT_EQ(inAnotherThread([&] { return codeOf([&] { ++walk; }); }), ZOLSTATS_WRONG_THREAD);
}

// ---- Lists of ids

TEST_F(Walks, GiveTheirIdsAsAList) {
    EXPECT_EQ(connection_.statistics().idQuery(), "S1:S2:T1");
    EXPECT_EQ(connection_.groups().idQuery(), "G1:G2");
}

TEST_F(Walks, GiveAListThatTheNextQueryTakes) {
    EXPECT_THAT(itemsOf(connection_.statisticsOfGroups(connection_.groups().idQuery())), SizeIs(3));
}

TEST_F(Walks, WithoutIdsGiveNoList) {
    EXPECT_EQ(codeOf([this] { connection_.statisticsById("NONE").idQuery(); }), ZOLSTATS_NO_IDS);
}

}  // namespace
