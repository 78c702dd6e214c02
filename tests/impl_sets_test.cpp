// The public calls on a result set, with sets made by hand: their checks and their order, copying, freeing,
// dumping, and id lists. How a walk proceeds is tested in impl_walk_test.cpp. What each call promises stands
// in zolstats.h.
#include <gmock/gmock.h>

#include <cstring>
#include <memory>
#include <string>
#include <thread>

#include "stapi_zol_impl.h"
#include "support/hand_made_set.h"
#include "support/trace_capture.h"

namespace {

using namespace testing_support;
using testing::ElementsAre;
using testing::StrEq;
using testing::Values;

// Run something in a thread of its own.
template <class Action>
int inAnotherThread(Action action) {
    int rc = 0;
    std::thread([&] { rc = action(); }).join();
    return rc;
}

Bytes fewStats() {
    return statsSet({answered("Q", 0, {statItem("A", "1"), statItem("B", "2")})});
}
Bytes fewIds() {
    return idsSet({answered("Q", 0, {idItem("A"), idItem("BB"), idItem("C")})});
}

struct CopyDeleter {
    void operator()(ResultSetToken* copy) const { freeResultSet(&copy); }
};
using Copy = std::unique_ptr<ResultSetToken, CopyDeleter>;

Copy copyOf(ResultSetToken* source) {
    ResultSetToken* copy = nullptr;
    EXPECT_EQ(copyResultSet(source, &copy), 0);
    return Copy(copy);
}

std::string firstIdOf(ResultSetToken* set) {
    IdData id{};
    EXPECT_EQ(getFirstId(set, &id), 0);
    return {id.id, id.id + id.idLen};
}

std::string nextIdOf(ResultSetToken* set) {
    IdData id{};
    EXPECT_EQ(getNextId(set, &id), 0);
    return {id.id, id.id + id.idLen};
}

// ---- The checks that all calls on a set make

// A call on a result set with everything else given, and which content it takes.
struct SetCall {
    const char* name;
    int (*call)(ResultSetToken*);
    bool takesStats;
    bool takesIds;
};

void PrintTo(const SetCall& call, std::ostream* out) {
    *out << call.name;
}

template <class Record, int (*Call)(ResultSetToken*, Record*)>
int withRecord(ResultSetToken* set) {
    Record record{};
    return Call(set, &record);
}

int copyAndFree(ResultSetToken* set) {
    ResultSetToken* copy = nullptr;
    const int rc = copyResultSet(set, &copy);
    if (copy != nullptr) {
        freeResultSet(&copy);
    }
    return rc;
}

int askIdQuery(ResultSetToken* set) {
    char* text = nullptr;
    return getIdQuery(set, &text);
}

int dump(ResultSetToken* set) {
    const TraceCapture trace(0);
    return dumpResultSet(set);
}

class CallOnASet : public testing::TestWithParam<SetCall> {
  protected:
    static int call(HandMadeSet& set) { return GetParam().call(set.token()); }
    static Bytes fitting() { return GetParam().takesStats ? fewStats() : fewIds(); }
};

INSTANTIATE_TEST_SUITE_P(Api, CallOnASet,
                         Values(SetCall{"GetFirstStat", withRecord<StatData, getFirstStat>, true, false},
                                SetCall{"GetNextStat", withRecord<StatData, getNextStat>, true, false},
                                SetCall{"GetFirstId", withRecord<IdData, getFirstId>, false, true},
                                SetCall{"GetNextId", withRecord<IdData, getNextId>, false, true},
                                SetCall{"CopyResultSet", copyAndFree, true, true},
                                SetCall{"DumpResultSet", dump, true, true},
                                SetCall{"GetIdQuery", askIdQuery, true, true}),
                         [](const auto& instance) { return instance.param.name; });

TEST_P(CallOnASet, RefusesANullSet) {
    EXPECT_EQ(GetParam().call(nullptr), -127);
}

TEST_P(CallOnASet, RefusesASetWithoutABuffer) {
    HandMadeSet set(fitting());
    set->head = nullptr;
    EXPECT_EQ(call(set), -110);
}

TEST_P(CallOnASet, TakesTheContentThatItIsFor) {
    HandMadeSet stats(fewStats());
    HandMadeSet ids(fewIds());
    EXPECT_EQ(call(stats), GetParam().takesStats ? 0 : -119);
    EXPECT_EQ(call(ids), GetParam().takesIds ? 0 : -119);
}

TEST_P(CallOnASet, RefusesContentThatItDoesNotKnow) {
    for (const char* eyecatcher : {"ZOLSTSEt", "zOLIDSET", "ZOLRSROB", "\x0F\x0E\x0F\x0E...."}) {
        HandMadeSet set(resultSet(eyecatcher, {answered("Q", 0, {statItem("A", "1")})}));
        EXPECT_EQ(call(set), -119) << eyecatcher;
    }
}

TEST_P(CallOnASet, RefusesABufferWithoutRoomForAnEyecatcher) {
    HandMadeSet set(fitting().substr(0, 7));
    EXPECT_EQ(call(set), -119);
}

TEST_P(CallOnASet, TrustsABufferOfNoStatedCapacity) {
    HandMadeSet set(fitting());
    set->resultSetBufferLen = 0;
    EXPECT_EQ(call(set), 0);
}

TEST_P(CallOnASet, WorksForTheOwnerOfAConnectionsSet) {
    HandMadeSet set(fitting());
    set.belongToAConnection();
    EXPECT_EQ(call(set), 0);
}

TEST_P(CallOnASet, RefusesAnotherThread) {
    HandMadeSet set(fitting());
    set.belongToAConnection();
    EXPECT_EQ(inAnotherThread([&] { return call(set); }), -124);
    EXPECT_EQ(call(set), 0);
}

TEST_P(CallOnASet, RefusesAnotherProcessBeforeItLooksAtTheThread) {
    HandMadeSet set(fitting());
    set.belongToAConnection();
    set->owningPid += 1;
    EXPECT_EQ(call(set), -123);
    EXPECT_EQ(inAnotherThread([&] { return call(set); }), -123);
}

TEST_P(CallOnASet, WorksInAnyThreadAndProcessOnACopy) {
    HandMadeSet set(fitting());
    set.belongToAConnection();
    set->owner = 0x9999;
    set->owningPid += 1;
    EXPECT_EQ(inAnotherThread([&] { return call(set); }), 0);
}

TEST_P(CallOnASet, AsksNoOtherOwnerWhoIsCalling) {
    HandMadeSet set(fitting());
    set.belongToAConnection();
    set->owner = 0x1234;
    set->owningPid += 1;
    EXPECT_EQ(call(set), 0);
}

TEST_P(CallOnASet, LooksAtTheContentBeforeTheOwner) {
    HandMadeSet set(resultSet("ZOLXXSET", {}));
    set.belongToAConnection();
    set->owningPid += 1;
    EXPECT_EQ(call(set), -119);
}

// ---- Order of the checks of the walk

int firstIdRc(ResultSetToken* set) {
    return withRecord<IdData, getFirstId>(set);
}
int firstStatRc(ResultSetToken* set) {
    return withRecord<StatData, getFirstStat>(set);
}

template <class Record, int (*Call)(ResultSetToken*, Record*)>
void expectNullRecord(int code) {
    HandMadeSet noBuffer("");
    noBuffer->head = nullptr;
    EXPECT_EQ(Call(noBuffer.token(), nullptr), code);
    EXPECT_EQ(Call(nullptr, nullptr), -127);
}

TEST(WalkCall, RefusesANullStatisticBeforeItLooksIntoTheSet) {
    expectNullRecord<StatData, getFirstStat>(-129);
    expectNullRecord<StatData, getNextStat>(-129);
}

TEST(WalkCall, RefusesANullIdentifierBeforeItLooksIntoTheSet) {
    expectNullRecord<IdData, getFirstId>(-128);
    expectNullRecord<IdData, getNextId>(-128);
}

TEST(WalkCall, ThatIsRefusedLeavesThePositionAlone) {
    HandMadeSet set(fewIds());
    set.belongToAConnection();
    EXPECT_EQ(firstIdOf(set.token()), "A");
    EXPECT_EQ(getFirstId(set.token(), nullptr), -128);
    EXPECT_EQ(inAnotherThread([&] { return firstIdRc(set.token()); }), -124);
    EXPECT_EQ(firstStatRc(set.token()), -119);
    EXPECT_EQ(nextIdOf(set.token()), "BB");
}

// ---- Copying

TEST(CopyOfASet, HoldsTheWholeCapacityAndBelongsToTheCaller) {
    const Bytes bytes = fewIds() + "bytes behind the terminator";
    HandMadeSet source(bytes);
    source->reserved = 0x1234;
    const Copy copy = copyOf(source.token());
    EXPECT_EQ(std::string(copy->eyecatcher, 8), "ZOLRSUSR");
    EXPECT_EQ(copy->owner, 0x9999U);
    EXPECT_EQ(copy->reserved, 0x1234U);
    ASSERT_EQ(copy->resultSetBufferLen, static_cast<int>(bytes.size()));
    EXPECT_EQ(Bytes(copy->head, copy->head + bytes.size()), bytes);
    EXPECT_NE(copy->head, source->head);
}

TEST(CopyOfASet, TakesNothingFromABufferOfNoStatedCapacity) {
    HandMadeSet source(fewIds());
    source->resultSetBufferLen = 0;
    const Copy copy = copyOf(source.token());
    EXPECT_EQ(copy->resultSetBufferLen, 0);
    ASSERT_NE(copy->head, nullptr);
    EXPECT_EQ(Bytes(copy->head, copy->head + 8), Bytes(8, '\0'));
}

TEST(CopyOfASet, DoesNotTakeTheQueryTextAlong) {
    HandMadeSet source(fewIds());
    char query[] = "GROUP";
    source->queryString = query;
    const Copy copy = copyOf(source.token());
    EXPECT_EQ(copy->queryString, nullptr);
    EXPECT_STREQ(copy->verifiedQueryString, "");
}

TEST(CopyOfASet, StartsAtItsBeginningWhereverTheSourceStands) {
    HandMadeSet source(fewIds());
    EXPECT_EQ(firstIdOf(source.token()), "A");
    EXPECT_EQ(nextIdOf(source.token()), "BB");
    const Copy copy = copyOf(source.token());
    EXPECT_EQ(copy->next, copy->head);
    EXPECT_EQ(copy->queryIndex, 0);
    EXPECT_EQ(nextIdOf(copy.get()), "A");
    EXPECT_EQ(nextIdOf(source.token()), "C") << "the source goes on where it was";
}

TEST(CopyOfASet, OutlivesItsSource) {
    auto source = std::make_unique<HandMadeSet>(fewIds());
    const Copy copy = copyOf(source->token());
    source.reset();
    EXPECT_EQ(firstIdOf(copy.get()), "A");
}

TEST(CopyOfASet, CanBeCopied) {
    HandMadeSet source(fewIds());
    Copy copy = copyOf(source.token());
    const Copy second = copyOf(copy.get());
    copy.reset();
    EXPECT_EQ(firstIdOf(second.get()), "A");
}

TEST(CopyOfASet, OfAConnectionsSetMayBeUsedByAnotherThread) {
    HandMadeSet source(fewIds());
    source.belongToAConnection();
    const Copy copy = copyOf(source.token());
    EXPECT_EQ(inAnotherThread([&] { return firstIdRc(copy.get()); }), 0);
}

TEST(CopyOfASet, LeavesTheTargetAloneWhenTheSourceIsRefused) {
    HandMadeSet unknown("ZOLXXSET" + integer(0) + TERMINATOR);
    auto* const mine = unknown.token();
    ResultSetToken* target = mine;
    EXPECT_EQ(copyResultSet(unknown.token(), &target), -119);
    EXPECT_EQ(copyResultSet(nullptr, &target), -127);
    EXPECT_EQ(target, mine);
}

TEST(CopyOfASet, RefusesANullTargetAfterANullSource) {
    HandMadeSet noBuffer("");
    noBuffer->head = nullptr;
    EXPECT_EQ(copyResultSet(noBuffer.token(), nullptr), -125);
    EXPECT_EQ(copyResultSet(nullptr, nullptr), -127);
}

// ---- Freeing

TEST(FreeingASet, ClearsTheVariableSoThatASecondTimeIsNoticed) {
    HandMadeSet source(fewIds());
    ResultSetToken* copy = copyOf(source.token()).release();
    EXPECT_EQ(freeResultSet(&copy), 0);
    EXPECT_EQ(copy, nullptr);
    EXPECT_EQ(freeResultSet(&copy), -127);
}

TEST(FreeingASet, RefusesANullAddress) {
    EXPECT_EQ(freeResultSet(nullptr), -125);
}

TEST(FreeingASet, RefusesWhateverIsNotACopy) {
    for (const unsigned owner : {0x8888U, 0U, 0x9998U, 0xFFFFFFFFU}) {
        HandMadeSet set(fewIds());
        set->owner = owner;
        ResultSetToken* token = set.token();
        EXPECT_EQ(freeResultSet(&token), -106);
        EXPECT_EQ(token, set.token());
        EXPECT_EQ(set->head, set.at(0));
    }
}

TEST(FreeingASet, DoesNotMindACopyWithoutABuffer) {
    HandMadeSet source(fewIds());
    ResultSetToken* copy = copyOf(source.token()).release();
    std::free(copy->head);
    copy->head = nullptr;
    EXPECT_EQ(freeResultSet(&copy), 0);
    EXPECT_EQ(copy, nullptr);
}

TEST(FreeingASet, FreesTheTextOfAnIdQueryAsWell) {
    HandMadeSet source(fewIds());
    const Copy copy = copyOf(source.token());
    char* text = nullptr;
    EXPECT_EQ(getIdQuery(copy.get(), &text), 0);  // a leak of it would be reported at the end
}

// ---- Dumping

std::string dumped(HandMadeSet& set) {
    const TraceCapture trace(0);
    EXPECT_EQ(dumpResultSet(set.token()), 0);
    return trace.text();
}

const std::string RULE = std::string(80, '-') + "\n";

TEST(DumpOfASet, IsWrittenThoughTracingIsOff) {
    HandMadeSet set("ZOLIDSET" + TERMINATOR + "behind");
    const std::string head =
        printed("Dump of ResultSet(%p) owner(%x) head(%p) next(%p)\n", static_cast<void*>(set.token()),
                0x9999U, static_cast<void*>(set.at(0)), static_cast<void*>(set.at(0)));
    const std::string row =
        printed("0x%8.8X: ", static_cast<unsigned>(reinterpret_cast<std::uintptr_t>(set.at(0)))) +
        "5A4F4C49 44534554" + std::string(2 * 9, ' ') + " : ZOLIDSET\n";
    EXPECT_EQ(dumped(set), head + RULE + row + RULE);
}

TEST(DumpOfASet, WithoutATerminatorEndsWithTheCapacity) {
    HandMadeSet set("ZOLIDSET" + integer(1) + "no terminator here");
    EXPECT_THAT(dumped(set), testing::HasSubstr(" : erminator here\n" + RULE));
}

TEST(DumpOfASet, ReadsNotBeyondACopyThatEndsWithItsTerminator) {
    for (const std::size_t padding : {0U, 1U, 2U, 3U, 4U, 15U}) {
        HandMadeSet source(idsSet({answered(std::string(padding, 'q'), 0, {idItem("A")})}));
        const Copy copy = copyOf(source.token());
        EXPECT_EQ(dump(copy.get()), 0);
    }
}

// ---- Id lists

class IdQuery : public testing::Test {
  protected:
    int ask(std::string_view bytes) {
        set_.emplace(bytes);
        return again();
    }
    int again() {
        text_ = nullptr;
        return getIdQuery(set_->token(), &text_);
    }
    int askIds(const std::vector<std::string>& ids) {
        std::vector<Bytes> items;
        for (const std::string& id : ids) {
            items.push_back(idItem(id));
        }
        return ask(idsSet({answered("Q", 0, items)}));
    }
    static std::string longId(int length) { return std::string(static_cast<std::size_t>(length), 'x'); }
    [[nodiscard]] std::size_t length() const { return std::string_view(text_).size(); }

    std::optional<HandMadeSet> set_;
    char* text_ = nullptr;
};

TEST_F(IdQuery, JoinsIdsWithColons) {
    EXPECT_EQ(askIds({"A", "BB", "C"}), 0);
    EXPECT_STREQ(text_, "A:BB:C");
}

TEST_F(IdQuery, OfASingleIdIsThatId) {
    EXPECT_EQ(askIds({"ALONE"}), 0);
    EXPECT_STREQ(text_, "ALONE");
}

TEST_F(IdQuery, TakesTheIdsOfStatistics) {
    EXPECT_EQ(ask(statsSet({answered("Q", 0, {statItem("A", "value"), statItem("B", "")}),
                            answered("R", 0, {statItem("C", "value")})})),
              0);
    EXPECT_STREQ(text_, "A:B:C");
}

TEST_F(IdQuery, PassesOverElementsWhoseCodeIsNotZero) {
    EXPECT_EQ(
        ask(idsSet({rejected("BAD", -4), answered("Q", 0, {idItem("A")}), answered("ODD", 1, {idItem("NOT")}),
                    rejected("WORSE", -1), answered("R", 0, {idItem("B")})})),
        0);
    EXPECT_STREQ(text_, "A:B");
}

TEST_F(IdQuery, CannotBeMadeWhenAllElementsHaveACode) {
    EXPECT_EQ(ask(idsSet({rejected("BAD", -4), answered("ODD", 2, {idItem("A")})})), -131);
    EXPECT_EQ(text_, nullptr);
}

TEST_F(IdQuery, CannotBeMadeFromAnEmptySet) {
    EXPECT_EQ(ask(idsSet({})), -131);
    EXPECT_EQ(ask("ZOLIDSET" + TERMINATOR), -131);
    EXPECT_EQ(ask("ZOLSTSET" + TERMINATOR), -131);
}

TEST_F(IdQuery, NeedsACharacter) {
    EXPECT_EQ(askIds({""}), -131);
    EXPECT_EQ(askIds({"", ""}), 0);
    EXPECT_STREQ(text_, ":");
}

TEST_F(IdQuery, IsKeptInTheSetAndReplacedByTheNext) {
    ASSERT_EQ(askIds({"LONG.IDENTIFIER", "B"}), 0);
    const char* first = text_;
    EXPECT_EQ(first, (*set_)->verifiedQueryString);
    // The second id now has no length, and the buffer no terminator.
    std::memset(set_->at(12 + 4 + 1 + 4 + 4 + 4 + 15), 0, 4);
    ASSERT_EQ(again(), 0);
    EXPECT_EQ(text_, first);
    EXPECT_STREQ(text_, "LONG.IDENTIFIER:");
}

TEST_F(IdQuery, LeavesTheSetAtItsEndAsAWalkWould) {
    ASSERT_EQ(askIds({"A", "B"}), 0);
    IdData id{};
    EXPECT_EQ(getNextId(set_->token(), &id), -113);
    EXPECT_EQ(firstIdOf(set_->token()), "A");
}

TEST_F(IdQuery, StartsAtTheBeginningWhereverTheSetStands) {
    ASSERT_EQ(askIds({"A", "B"}), 0);
    firstIdOf(set_->token());
    ASSERT_EQ(again(), 0);
    EXPECT_STREQ(text_, "A:B");
}

TEST_F(IdQuery, TakesAFirstIdOf31998Characters) {
    ASSERT_EQ(askIds({longId(31998)}), 0);
    EXPECT_EQ(length(), 31998U);
}

TEST_F(IdQuery, DoesNotTakeAFirstIdOf31999Characters) {
    EXPECT_EQ(askIds({longId(31999)}), -131);
}

TEST_F(IdQuery, DoesNotCountTheSeparatorWhenItLooksForRoom) {
    ASSERT_EQ(askIds({longId(10), longId(31988)}), 0);
    EXPECT_EQ(length(), 31999U);
}

TEST_F(IdQuery, PassesOverAnIdWithoutRoomAndTakesAShorterOneLater) {
    ASSERT_EQ(askIds({longId(10), longId(31989), "Y", longId(32767), "Z"}), 0);
    EXPECT_STREQ(text_, "xxxxxxxxxx:Y:Z");
}

TEST_F(IdQuery, FillsUpToTheLastCharacterThatFits) {
    ASSERT_EQ(askIds({longId(31996), "A", "B", "C", "D"}), 0);
    // 31996 and "A" make 31998; from then on one more is 31999, which is too many.
    EXPECT_EQ(length(), 31998U);
}

TEST_F(IdQuery, RefusesANullOutputAfterANullSet) {
    HandMadeSet noBuffer("");
    noBuffer->head = nullptr;
    EXPECT_EQ(getIdQuery(noBuffer.token(), nullptr), -109);
    EXPECT_EQ(getIdQuery(nullptr, nullptr), -127);
}

}  // namespace
