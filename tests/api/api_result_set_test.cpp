// Result sets in an application's hands: walking them, copies that outlive what they were made from, dumps,
// and id lists for further queries. What the queries answer is tested in api_query_test.cpp. What each call
// promises stands in zolstats.h.
#include "client.h"
#include "trace_file.h"

namespace {

using namespace api;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const Item S1{"", 0, "S1", "11"};
const Item S2{"", 0, "S2", "22"};
const Item T1{"", 0, "T1", "33"};

// ---- Walking

class WalkedSet : public Connected {
  protected:
    int firstStat() { return getFirstStat(set_, &stat_); }
    int nextStat() { return getNextStat(set_, &stat_); }

    StatData stat_{};
    IdData id_{};
};

TEST_F(WalkedSet, EndsAfterItsLastItemForEver) {
    statsOfIds("S1");
    EXPECT_EQ(firstStat(), 0);
    EXPECT_EQ(nextStat(), -113);
    EXPECT_EQ(nextStat(), -113);
}

TEST_F(WalkedSet, MayBeStartedWithANextCall) {
    stats();
    EXPECT_EQ(nextStat(), 0);
    EXPECT_EQ(itemOf(stat_), S1);
    EXPECT_EQ(nextStat(), 0);
    EXPECT_EQ(itemOf(stat_), S2);
}

TEST_F(WalkedSet, MayBeStartedAgainAtAnyTime) {
    stats();
    EXPECT_EQ(firstStat(), 0);
    EXPECT_EQ(nextStat(), 0);
    EXPECT_EQ(firstStat(), 0);
    EXPECT_EQ(itemOf(stat_), S1);
    EXPECT_THAT(statsOf(set_), ElementsAre(S1, S2, T1));
    EXPECT_THAT(statsOf(set_), ElementsAre(S1, S2, T1)) << "after the end as well";
}

TEST_F(WalkedSet, NamesItsKindInTheRecord) {
    stats();
    EXPECT_EQ(firstStat(), 0);
    EXPECT_EQ(std::string(stat_.eyecatcher, 8), "ZOLSTSET");
    statIds();
    EXPECT_EQ(getFirstId(set_, &id_), 0);
    EXPECT_EQ(std::string(id_.eyecatcher, 8), "ZOLIDSET");
}

TEST_F(WalkedSet, ReportsARejectedFirstElementAndGoesOn) {
    statsOfIds("NONE:S2");
    EXPECT_EQ(firstStat(), 0);
    EXPECT_EQ(stat_.queryElementRC, gateway::UNKNOWN_ID);
    EXPECT_EQ(stat_.statId, nullptr) << "the record's item is left alone";
    EXPECT_EQ(nextStat(), 0);
    EXPECT_EQ(itemOf(stat_), (Item{"S2", 0, "S2", "22"}));
    EXPECT_EQ(nextStat(), -113);
}

TEST_F(WalkedSet, OfTheOtherKindIsRefused) {
    stats();
    EXPECT_EQ(getFirstId(set_, &id_), -119);
    EXPECT_EQ(getNextId(set_, &id_), -119);
    statIds();
    EXPECT_EQ(firstStat(), -119);
    EXPECT_EQ(nextStat(), -119);
    EXPECT_THAT(idsOf(set_), SizeIs(3)) << "the right calls go on";
}

TEST_F(WalkedSet, NeedsARecordAndASet) {
    stats();
    EXPECT_EQ(getFirstStat(nullptr, &stat_), -127);
    EXPECT_EQ(getNextStat(nullptr, &stat_), -127);
    EXPECT_EQ(getFirstId(nullptr, &id_), -127);
    EXPECT_EQ(getNextId(nullptr, &id_), -127);
    EXPECT_EQ(getFirstStat(set_, nullptr), -129);
    EXPECT_EQ(getNextStat(set_, nullptr), -129);
    EXPECT_EQ(getFirstId(set_, nullptr), -128);
    EXPECT_EQ(getNextId(set_, nullptr), -128);
    EXPECT_THAT(statsOf(set_), SizeIs(3));
}

TEST_F(WalkedSet, OfAConnectionIsForItsThreadOnly) {
    stats();
    EXPECT_EQ(inAnotherThread([this] { return firstStat(); }), -124);
    EXPECT_EQ(inAnotherThread([this] { return nextStat(); }), -124);
    EXPECT_THAT(statsOf(set_), SizeIs(3));
}

TEST_F(WalkedSet, OfAConnectionIsForItsProcessOnly) {
    stats();
    EXPECT_EQ(inAForkedChild([this] { return -firstStat(); }), 123);
    EXPECT_THAT(statsOf(set_), SizeIs(3));
}

TEST_F(WalkedSet, OfTheWrongKindIsTraced) {
    stats();
    EXPECT_THAT(traced([this] { getFirstId(set_, &id_); }),
                ElementsAre(line(1151, "*EXC*", "API.getFirstId Resultset does not contain id data")));
}

// ---- Copies

class CopiedSet : public Connected {};

TEST_F(CopiedSet, IsNotTouchedByTheNextQuery) {
    const Copy copy = copyOf(stats());
    groupIds();
    EXPECT_THAT(statsOf(copy.get()), ElementsAre(S1, S2, T1));
}

TEST_F(CopiedSet, OutlivesItsConnection) {
    const Copy copy = copyOf(stats());
    ASSERT_EQ(closeGatewayConnection(&token_), 0);
    EXPECT_THAT(statsOf(copy.get()), ElementsAre(S1, S2, T1));
}

TEST_F(CopiedSet, OutlivesAConnectionThatWasDropped) {
    const Copy copy = copyOf(statIds());
    gateway_.refuseQueries(7);
    EXPECT_EQ(getStats(token_, &set_), -122);
    EXPECT_THAT(idsOf(copy.get()), SizeIs(3));
}

TEST_F(CopiedSet, OfAFormerConnectionMayBeWalkedByAnotherThread) {
    const Copy copy = copyOf(stats());
    ASSERT_EQ(closeGatewayConnection(&token_), 0);
    EXPECT_THAT(inAnotherThread([&] { return statsOf(copy.get()); }), ElementsAre(S1, S2, T1));
}

TEST_F(CopiedSet, MayBeWalkedInAForkedChild) {
    const Copy copy = copyOf(stats());
    EXPECT_EQ(inAForkedChild([&] { return static_cast<int>(statsOf(copy.get()).size()); }), 3);
}

TEST_F(CopiedSet, MayBeFreedByAnotherThread) {
    ResultSetToken* copy = copyOf(stats()).release();
    EXPECT_EQ(inAnotherThread([&] { return freeResultSet(&copy); }), 0);
    EXPECT_EQ(copy, nullptr);
}

TEST_F(CopiedSet, StartsAtItsBeginning) {
    StatData stat{};
    stats();
    EXPECT_EQ(getFirstStat(set_, &stat), 0);
    EXPECT_EQ(getNextStat(set_, &stat), 0);
    const Copy copy = copyOf(set_);
    EXPECT_EQ(getNextStat(copy.get(), &stat), 0);
    EXPECT_EQ(itemOf(stat), S1);
    EXPECT_EQ(getNextStat(set_, &stat), 0);
    EXPECT_EQ(itemOf(stat), T1) << "the source goes on where it was";
}

TEST_F(CopiedSet, CanBeCopiedItself) {
    Copy copy = copyOf(stats());
    const Copy second = copyOf(copy.get());
    copy.reset();
    EXPECT_THAT(statsOf(second.get()), SizeIs(3));
}

TEST_F(CopiedSet, OfAGrownSetHoldsAllOfIt) {
    std::vector<gateway::Statistic> many(4000, gateway::Statistic{"ID", "some data"});
    gateway_.answerQueriesWith(gateway::encodeStats({{"", 0, many}}));
    const Copy copy = copyOf(stats());
    ASSERT_EQ(closeGatewayConnection(&token_), 0);
    EXPECT_THAT(statsOf(copy.get()), SizeIs(4000));
}

TEST_F(CopiedSet, NeedsASourceAndAPlace) {
    ResultSetToken* copy = nullptr;
    stats();
    EXPECT_EQ(copyResultSet(nullptr, &copy), -127);
    EXPECT_EQ(copyResultSet(nullptr, nullptr), -127);
    EXPECT_EQ(copyResultSet(set_, nullptr), -125);
    EXPECT_EQ(copy, nullptr);
    EXPECT_THAT(statsOf(set_), SizeIs(3));
}

TEST_F(CopiedSet, IsMadeByTheOwnerOfTheSourceOnly) {
    ResultSetToken* copy = nullptr;
    stats();
    EXPECT_EQ(inAnotherThread([&] { return copyResultSet(set_, &copy); }), -124);
    EXPECT_EQ(inAForkedChild([&] { return -copyResultSet(set_, &copy); }), 123);
    EXPECT_EQ(copy, nullptr);
}

// ---- Freeing

class FreedSet : public Connected {};

TEST_F(FreedSet, ClearsItsVariableSoThatASecondTimeIsNoticed) {
    ResultSetToken* copy = copyOf(stats()).release();
    EXPECT_EQ(freeResultSet(&copy), 0);
    EXPECT_EQ(copy, nullptr);
    EXPECT_THAT(
        traced([&copy] { EXPECT_EQ(freeResultSet(&copy), -127); }),
        ElementsAre(line(1082, "*EXC*", "API.freeResultSet(&rsPtr=%p) Supplied result set token is NULL",
                         static_cast<void*>(&copy))));
}

TEST_F(FreedSet, NeedsAnAddress) {
    EXPECT_THAT(
        traced([] { EXPECT_EQ(freeResultSet(nullptr), -125); }),
        ElementsAre(line(1081, "*EXC*", "API.freeResultSet(&rsPtr=%p) Supplied result set pointer is NULL",
                         static_cast<void*>(nullptr))));
}

TEST_F(FreedSet, IsNeverThatOfAConnection) {
    ResultSetToken* set = stats();
    EXPECT_THAT(
        traced([&set] { EXPECT_EQ(freeResultSet(&set), -106); }),
        ElementsAre(line(1083, "*EXC*", "API.freeResultSet(rsPtr=%p) Cannot free result sets with owner=%d",
                         static_cast<void*>(set), 0x8888)));
    EXPECT_EQ(set, set_);
    EXPECT_THAT(statsOf(set), SizeIs(3));
    EXPECT_THAT(statsOf(stats()), SizeIs(3));
}

TEST_F(FreedSet, LeavesItsSourceAlone) {
    copyOf(stats()).reset();
    EXPECT_THAT(statsOf(set_), SizeIs(3));
}

// ---- Dumps

class DumpedSet : public Connected {
  protected:
    static std::string dump(ResultSetToken* set, int rc = 0) {
        resetTrace();
        const TemporaryFile file;
        setAPITraceFile(file.name());
        EXPECT_EQ(dumpResultSet(set), rc);
        setAPITraceFile(nullptr);
        return file.text();
    }
};

TEST_F(DumpedSet, ShowsItsContentWhateverTheLevel) {
    const std::string dumped = dump(statsOfIds("S1"));
    EXPECT_THAT(dumped, testing::StartsWith("Dump of ResultSet("));
    EXPECT_THAT(dumped, HasSubstr(" owner(8888) "));
    EXPECT_THAT(dumped, HasSubstr(" : ZOLSTSET........ \n"));
}

TEST_F(DumpedSet, MayBeACopyAndThenOfAnyThread) {
    const Copy copy = copyOf(stats());
    EXPECT_THAT(inAnotherThread([&] { return dump(copy.get()); }), HasSubstr(" owner(9999) "));
}

TEST_F(DumpedSet, IsRefusedToOthersAndWithoutASet) {
    EXPECT_THAT(dump(nullptr, -127), IsEmpty());
    stats();
    EXPECT_THAT(inAnotherThread([&] { return dump(set_, -124); }), IsEmpty());
    EXPECT_EQ(inAForkedChild([&] { return -dumpResultSet(set_); }), 123);
}

// ---- Id lists

class IdList : public Connected {
  protected:
    std::string of(ResultSetToken* set) {
        EXPECT_EQ(getIdQuery(set, &text_), 0);
        return text_;
    }
    char* text_ = nullptr;
};

TEST_F(IdList, OfGroupsAsksForTheirStatistics) {
    of(groupIds());
    EXPECT_STREQ(text_, "G1:G2");
    EXPECT_THAT(idsOf(idsOfGroups(text_)),
                ElementsAre(Item{"G1", 0, "S1"}, Item{"G1", 0, "S2"}, Item{"G2", 0, "T1"}));
}

TEST_F(IdList, OutlivesTheQueryItIsUsedFor) {
    of(statIds());
    statsOfIds(text_);
    EXPECT_STREQ(text_, "S1:S2:T1");
    EXPECT_THAT(gateway_.queries(), ElementsAre("STAT_IDS()", "GET_STATS(S1:S2:T1)"));
}

TEST_F(IdList, OfStatisticsHoldsTheirIds) {
    EXPECT_EQ(of(stats()), "S1:S2:T1");
}

TEST_F(IdList, LeavesOutWhatWasRejected) {
    EXPECT_EQ(of(statsOfIds("NONE:S1:NEITHER:T1")), "S1:T1");
}

TEST_F(IdList, OfACopyIsTheCopysOwn) {
    const Copy copy = copyOf(groupIds());
    const std::string mine = of(copy.get());
    char* const fromCopy = text_;
    of(statIds());
    EXPECT_STREQ(fromCopy, "G1:G2");
    ASSERT_EQ(closeGatewayConnection(&token_), 0);
    EXPECT_EQ(fromCopy, mine);
}

TEST_F(IdList, CannotBeMadeWhenNothingWasAnswered) {
    statsOfIds("NONE:NEITHER");
    EXPECT_EQ(getIdQuery(set_, &text_), -131);
    gateway_.answerQueriesWith(gateway::encodeIds({}));
    EXPECT_EQ(getIdQuery(groupIds(), &text_), -131);
    EXPECT_EQ(text_, nullptr);
}

TEST_F(IdList, NeedsASetAndAPlace) {
    stats();
    EXPECT_EQ(getIdQuery(nullptr, &text_), -127);
    EXPECT_EQ(getIdQuery(nullptr, nullptr), -127);
    EXPECT_EQ(getIdQuery(set_, nullptr), -109);
    EXPECT_EQ(inAnotherThread([this] { return getIdQuery(set_, &text_); }), -124);
    EXPECT_EQ(inAForkedChild([this] { return -getIdQuery(set_, &text_); }), 123);
    EXPECT_EQ(of(set_), "S1:S2:T1");
}

TEST_F(IdList, HoldsAsManyIdsAsFit) {
    std::vector<std::string> ids(4000, std::string(10, 'i'));
    gateway_.answerQueriesWith(gateway::encodeIds({{"", 0, ids}}));
    const std::string list = of(statIds());
    EXPECT_EQ(list.size(), 2909U * 11 - 1) << "one more would bring it to 32008 characters";
    gateway_.answerAsUsual();
    EXPECT_EQ(getStatsByStatId(token_, list.c_str(), &set_), 0);
    EXPECT_THAT(statsOf(set_), SizeIs(2909));
}

}  // namespace
