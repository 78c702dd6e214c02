// Copies of answers, which live by themselves: beyond the next query, beyond their connection, in other threads. Views,
// which do not, are tested in face_stale_test.cpp. What each call promises stands in zolstats.hpp.
#include "face.h"

namespace {

using namespace face;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

static_assert(!std::is_copy_constructible_v<StatisticSet> && !std::is_copy_assignable_v<StatisticSet>);
static_assert(std::is_nothrow_move_constructible_v<StatisticSet> &&
              std::is_nothrow_move_assignable_v<StatisticSet>);

class Copies : public Connected {
  protected:
    [[nodiscard]] StatisticSet copyOfAConnectionThatIsGone() const { return open().statistics().copy(); }
};

TEST_F(Copies, HaveTheItemsOfTheirAnswer) {
    EXPECT_EQ(itemsOf(connection_.statistics().copy()), ALL_STATISTICS);
    EXPECT_THAT(itemsOf(connection_.groups().copy()), ElementsAre(Item{"", 0, "G1"}, Item{"", 0, "G2"}));
    EXPECT_THAT(itemsOf(connection_.statisticsById("S1:NONE").copy()),
                ElementsAre(Item{"S1", 0, "S1", "11"}, Item{"NONE", gateway::UNKNOWN_ID}));
}

TEST_F(Copies, OutliveTheNextQuery) {
    const StatisticSet copy = connection_.statistics().copy();
    const auto walk = copy.begin();
    connection_.groups();
    EXPECT_EQ(walk->value, "11");
    EXPECT_EQ(itemsOf(copy), ALL_STATISTICS);
}

TEST_F(Copies, OutliveTheirConnection) {
    const StatisticSet copy = copyOfAConnectionThatIsGone();
    gateway_.server().waitForConnections(1);
    EXPECT_EQ(itemsOf(copy), ALL_STATISTICS);
    EXPECT_EQ(copy.idQuery(), "S1:S2:T1");
}

TEST_F(Copies, GoToAnotherThread) {
    std::thread([copy = connection_.statistics().copy()] {
        EXPECT_EQ(itemsOf(copy), ALL_STATISTICS);
    }).join();
}

TEST_F(Copies, AreReadFromTheirStartWhereverTheSourceStands) {
    const Statistics answer = connection_.statistics();
    auto walk = answer.begin();
    ++walk;
    const StatisticSet copy = answer.copy();
    EXPECT_EQ(copy.begin()->id, "S1");
    ++walk;
    EXPECT_EQ(walk->id, "T1") << "copying does not move the source";
}

TEST_F(Copies, OfEmptyAnswersAreEmpty) {
    gateway_.answerQueriesWith(gateway::encodeStats({}));
    const StatisticSet copy = connection_.statistics().copy();
    EXPECT_THAT(itemsOf(copy), IsEmpty());
    EXPECT_EQ(copy.begin(), copy.end());
    EXPECT_EQ(codeOf([&copy] { copy.idQuery(); }), ZOLSTATS_NO_IDS);
}

TEST_F(Copies, CanBeCopied) {
    const StatisticSet second = copyOfAConnectionThatIsGone().copy();
    EXPECT_EQ(itemsOf(second), ALL_STATISTICS);
}

TEST_F(Copies, MoveWithTheirWalks) {
    StatisticSet copy = connection_.statistics().copy();
    auto walk = copy.begin();
    const StatisticSet moved = std::move(copy);
    ++walk;
    EXPECT_EQ(walk->id, "S2");
    EXPECT_EQ(itemsOf(moved), ALL_STATISTICS);
}

TEST_F(Copies, ThatWereMovedFromAreRefused) {
    StatisticSet copy = connection_.statistics().copy();
    const StatisticSet moved = std::move(copy);
    EXPECT_EQ(copy.token(), nullptr);
    EXPECT_EQ(codeOf([&copy] { copy.begin(); }), ZOLSTATS_NULL_RESULT_SET);
    EXPECT_EQ(codeOf([&copy] { copy.copy(); }), ZOLSTATS_NULL_RESULT_SET);
    EXPECT_EQ(codeOf([&copy] { copy.idQuery(); }), ZOLSTATS_NULL_RESULT_SET);
    EXPECT_EQ(codeOf([&copy] { copy.dump(); }), ZOLSTATS_NULL_RESULT_SET);
}

TEST_F(Copies, SurviveBeingAssignedToThemselves) {
    StatisticSet copy = connection_.statistics().copy();
    StatisticSet& same = copy;
    copy = std::move(same);
    EXPECT_EQ(itemsOf(copy), ALL_STATISTICS);
}

TEST_F(Copies, AreReplacedByAssignment) {
    StatisticSet copy = connection_.statisticsById("T1").copy();
    copy = connection_.statistics().copy();
    EXPECT_EQ(itemsOf(copy), ALL_STATISTICS);
}

TEST_F(Copies, AreTakenOverFromTheCInterface) {
    ResultSetToken* made = nullptr;
    ASSERT_EQ(copyResultSet(connection_.groups().token(), &made), ZOLSTATS_OK);
    EXPECT_THAT(itemsOf(IdentifierSet(made)), SizeIs(2));
}

TEST_F(Copies, OfTheOtherKindAreRefused) {
    ResultSetToken* made = nullptr;
    ASSERT_EQ(copyResultSet(connection_.groups().token(), &made), ZOLSTATS_OK);
    const StatisticSet mistaken(made);
    EXPECT_EQ(codeOf([&mistaken] { mistaken.begin(); }), ZOLSTATS_WRONG_CONTENT);
}

}  // namespace
