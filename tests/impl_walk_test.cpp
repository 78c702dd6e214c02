// Walks of result sets on buffers made by hand: by the four workers, which have the trace's line sites, and by the
// public calls, which go a way without them while nothing but exceptions is traced.
// The checks of the public calls are not tested here, nor are the trace lines.
// The layout of a result set buffer is told in stapi_zol_resultsetbuffer.h.
#include <gmock/gmock.h>

#include <climits>
#include <optional>
#include <string>
#include <tuple>

#include "stapi_zol_impl.h"
#include "support/hand_made_set.h"

namespace {

using namespace testing_support;
using testing::Combine;
using testing::Each;
using testing::ElementsAre;
using testing::Values;

enum class Kind { Stats, Ids };
enum class By { Workers, Calls };

// What one step of a walk tells, whatever the kind of set.
struct Step {
    int rc = 0;
    std::string query{};
    int code = 0;
    std::string id{};
    std::string data{};

    friend bool operator==(const Step&, const Step&) = default;
    friend void PrintTo(const Step& step, std::ostream* out) {
        *out << "rc " << step.rc << ", query '" << step.query << "' code " << step.code << ", id '" << step.id
             << "' = '" << step.data << "'";
    }
};

constexpr int END = -113;

std::string text(const unsigned char* bytes, int length) {
    return bytes != nullptr && length > 0 ? std::string(bytes, bytes + length) : std::string();
}

// The values that the tests give to their statistics.
std::string dataOf(const std::string& id) {
    return "data of " + id;
}

class Walk : public testing::TestWithParam<std::tuple<Kind, By>> {
  protected:
    static bool walksStats() { return std::get<Kind>(GetParam()) == Kind::Stats; }
    static bool usesCalls() { return std::get<By>(GetParam()) == By::Calls; }
    static Bytes item(const std::string& id) { return walksStats() ? statItem(id, dataOf(id)) : idItem(id); }
    static Bytes answer(const std::string& query, const std::vector<std::string>& ids, int code = 0) {
        std::vector<Bytes> items;
        for (const std::string& id : ids) {
            items.push_back(item(id));
        }
        return answered(query, code, items);
    }
    static Bytes set(const std::vector<Bytes>& elements) {
        return walksStats() ? statsSet(elements) : idsSet(elements);
    }

    static Bytes withoutTerminator(const Bytes& bytes) {
        return bytes.substr(0, bytes.size() - TERMINATOR.size());
    }
    void loadBytes(std::string_view bytes) { set_.emplace(bytes); }
    void load(const std::vector<Bytes>& elements) { loadBytes(set(elements)); }
    void stateCapacity(int bytes) { (*set_)->resultSetBufferLen = bytes; }
    ResultSetToken& token() { return *set_->token(); }

    Step first() {
        if (walksStats()) {
            return told((usesCalls() ? getFirstStat : getFirstStatInternal)(&token(), &stat_));
        }
        return told((usesCalls() ? getFirstId : getFirstIdInternal)(&token(), &id_));
    }
    Step next() {
        if (walksStats()) {
            return told((usesCalls() ? getNextStat : getNextStatInternal)(&token(), &stat_));
        }
        return told((usesCalls() ? getNextId : getNextIdInternal)(&token(), &id_));
    }

    // The ids of all items from the first on; an element that was rejected counts as "query!".
    std::vector<std::string> walkAll() { return collectFrom(first()); }
    std::vector<std::string> walkOn() { return collectFrom(next()); }

    static Step found(const std::string& query, const std::string& id, int code = 0) {
        return {0, query, code, id, walksStats() ? dataOf(id) : ""};
    }
    // What the record says of an element that was rejected before any item was read.
    static Step refused(const std::string& query, int code) { return {0, query, code, "", ""}; }
    static Step end() { return {END}; }

    std::optional<HandMadeSet> set_;
    StatData stat_{};
    IdData id_{};

  private:
    Step told(int rc) const {
        if (rc != 0) {
            return {rc};
        }
        if (walksStats()) {
            return {rc, text(stat_.queryElementPtr, stat_.queryElementLen), stat_.queryElementRC,
                    text(stat_.statId, stat_.statIdLen), text(stat_.statData, stat_.statDataLen)};
        }
        return {rc, text(id_.queryElementPtr, id_.queryElementLen), id_.queryElementRC,
                text(id_.id, id_.idLen), ""};
    }
    std::vector<std::string> collectFrom(Step step) {
        std::vector<std::string> ids;
        for (; step.rc == 0; step = next()) {
            ids.push_back(step.code < 0 ? step.query + "!" : step.id);
        }
        EXPECT_EQ(step.rc, END);
        return ids;
    }
};

INSTANTIATE_TEST_SUITE_P(Of, Walk, Combine(Values(Kind::Stats, Kind::Ids), Values(By::Workers, By::Calls)),
                         [](const auto& instance) {
                             return std::string(std::get<Kind>(instance.param) == Kind::Stats ? "Statistics"
                                                                                              : "Ids") +
                                    (std::get<By>(instance.param) == By::Workers ? "ByWorkers" : "ByCalls");
                         });

// ---- Through a well-formed set

TEST_P(Walk, GivesBothItemsOfAnElementAndThenTheEndForEver) {
    load({answer("Q", {"A", "B"})});
    EXPECT_EQ(first(), found("Q", "A"));
    EXPECT_EQ(next(), found("Q", "B"));
    EXPECT_EQ(next(), end());
    EXPECT_EQ(next(), end());
}

TEST_P(Walk, CountsTheItemsOfAnElementWhileItReadsThem) {
    load({answer("Q", {"A", "B", "C"}), answer("R", {"D"})});
    first();
    EXPECT_EQ(token().queryCount, 2);
    EXPECT_EQ(token().queryIndex, 1);
    EXPECT_EQ(token().elementResultCount, 3);
    EXPECT_EQ(token().elementResultIndex, 2);
    next();
    EXPECT_EQ(token().elementResultIndex, 3);
}

TEST_P(Walk, StandsAtTheNextElementAfterTheLastItemOfOne) {
    load({answer("Q", {"A", "B"})});
    first();
    next();
    EXPECT_EQ(token().elementResultIndex, 0);
    EXPECT_EQ(token().queryIndex, 2);
}

TEST_P(Walk, StandsJustPastTheItemThatItRead) {
    load({answer("Q", {"A", "B"})});
    first();
    EXPECT_EQ(token().next, set_->at(12 + 4 + 1 + 4 + 4 + item("A").size()));
}

TEST_P(Walk, GivesEachItemWithTheQueryAndTheCodeOfItsElement) {
    load({answer("GROUP1", {"A", "B"}), answer("G2", {"C"}, 7)});
    EXPECT_EQ(first(), found("GROUP1", "A"));
    EXPECT_EQ(next(), found("GROUP1", "B"));
    EXPECT_EQ(next(), found("G2", "C", 7));
    EXPECT_EQ(next(), end());
}

TEST_P(Walk, KeepsTheQueryOfTheElementInTheToken) {
    load({answer("GROUP", {"A"}, 3)});
    first();
    EXPECT_EQ(token().queryElementPtr, set_->at(16));
    EXPECT_EQ(token().queryElementLen, 5);
    EXPECT_EQ(token().queryElementRC, 3);
}

TEST_P(Walk, PointsIntoTheBufferAndCopiesNothing) {
    load({answer("Q", {"ID"})});
    first();
    const unsigned char* id = walksStats() ? stat_.statId : id_.id;
    EXPECT_EQ(id, set_->at(12 + 4 + 1 + 4 + 4 + 4));
    EXPECT_EQ(walksStats() ? stat_.queryElementPtr : id_.queryElementPtr, set_->at(16));
}

TEST_P(Walk, TakesIdsThatAreEmptyOrHoldAnyByte) {
    const std::string anyByte("\0\xff:\n", 4);
    load({answer("", {"", anyByte})});
    EXPECT_EQ(first(), found("", ""));
    EXPECT_EQ(next(), found("", anyByte));
    EXPECT_EQ(next(), end());
}

TEST_P(Walk, DoesNotMistakeTheTerminatorsBytesInsideAnItemForTheEnd) {
    load({answer("Q", {TERMINATOR, "B"})});
    EXPECT_THAT(walkAll(), ElementsAre(TERMINATOR, "B"));
}

TEST_P(Walk, ReadsOnToTheTerminatorWhateverTheElementCountSays) {
    for (const int count : {-1, 0, 1, 99}) {
        loadBytes(Bytes(walksStats() ? "ZOLSTSET" : "ZOLIDSET") + integer(count) + answer("Q", {"A"}) +
                  answer("R", {"B"}) + TERMINATOR);
        EXPECT_THAT(walkAll(), ElementsAre("A", "B")) << count;
        EXPECT_EQ(token().queryCount, count);
    }
}

TEST_P(Walk, OfManyElementsAndItemsVisitsAllInOrder) {
    std::vector<Bytes> elements;
    std::vector<std::string> expected;
    for (int element = 0; element < 30; ++element) {
        std::vector<std::string> ids;
        for (int each = 0; each <= element; ++each) {
            ids.push_back(std::to_string(element) + "." + std::to_string(each));
        }
        elements.push_back(answer(std::string(static_cast<std::size_t>(element), 'q'), ids));
        expected.insert(expected.end(), ids.begin(), ids.end());
    }
    load(elements);
    EXPECT_EQ(walkAll(), expected);
}

// ---- Elements that the Gateway rejected

TEST_P(Walk, ReportsARejectedFirstElementAndGoesOnWithTheNext) {
    load({rejected("BAD", -4), answer("Q", {"A"})});
    EXPECT_EQ(first(), refused("BAD", -4));
    EXPECT_EQ(next(), found("Q", "A"));
    EXPECT_EQ(next(), end());
}

TEST_P(Walk, StandsJustPastTheCodeOfARejectedElement) {
    load({rejected("BAD", -4), rejected("WORSE", -5)});
    first();
    EXPECT_EQ(token().next, set_->at(12 + 4 + 3 + 4));
    EXPECT_EQ(token().elementResultIndex, 0);
    EXPECT_EQ(token().queryIndex, 2);
    next();
    EXPECT_EQ(token().next, set_->at(12 + 4 + 3 + 4 + 4 + 5 + 4));
    EXPECT_EQ(token().elementResultIndex, 0);
    EXPECT_EQ(token().queryIndex, 3);
}

TEST_P(Walk, LeavesTheItemInTheRecordAloneWhenAnElementWasRejected) {
    load({answer("Q", {"A"}), rejected("BAD", -1)});
    first();
    EXPECT_EQ(next(), (Step{0, "BAD", -1, "A", walksStats() ? dataOf("A") : ""}));
    EXPECT_EQ(first(), found("Q", "A"));
}

TEST_P(Walk, LeavesTheItemInTheRecordAloneWhenTheFirstElementWasRejected) {
    load({rejected("BAD", -4)});
    const auto* mine = reinterpret_cast<const unsigned char*>("mine");
    stat_.statIdLen = stat_.statDataLen = id_.idLen = 4;
    stat_.statId = stat_.statData = id_.id = mine;
    EXPECT_EQ(first(), (Step{0, "BAD", -4, "mine", walksStats() ? "mine" : ""}));
}

TEST_P(Walk, PassesRejectedElementsBetweenAndBehindAnswers) {
    load({rejected("X", -1), answer("Q", {"A", "B"}), rejected("Y", -2), rejected("Z", -3),
          answer("R", {"C"}), rejected("W", INT_MIN)});
    EXPECT_THAT(walkAll(), ElementsAre("X!", "A", "B", "Y!", "Z!", "C", "W!"));
}

// ---- Elements that announce no items

TEST_P(Walk, DecodesAnItemFromWhatFollowsAnElementWithoutItems) {
    load({answered("EMPTY", 0, {}) + item("STRAY"), answer("Q", {"A"})});
    EXPECT_EQ(first(), found("EMPTY", "STRAY"));
    EXPECT_EQ(token().elementResultIndex, 0);
    EXPECT_EQ(token().queryIndex, 2);
    EXPECT_EQ(next(), found("Q", "A"));
    EXPECT_EQ(next(), end());
}

TEST_P(Walk, DecodesOneItemOfALaterElementWithoutItemsToo) {
    load({answer("Q", {"A"}), answered("EMPTY", 0, {}) + item("STRAY")});
    EXPECT_THAT(walkAll(), ElementsAre("A", "STRAY"));
}

TEST_P(Walk, DecodesOneItemOfAnElementWithANegativeCount) {
    load({counted("Q") + integer(0) + integer(-3) + item("STRAY"), answer("R", {"B"})});
    EXPECT_THAT(walkAll(), ElementsAre("STRAY", "B"));
}

TEST_P(Walk, EndsAtAnElementWithoutItemsThatNothingFollows) {
    load({answered("EMPTY", 0, {})});
    EXPECT_EQ(first(), end());
    EXPECT_EQ(next(), end());
    EXPECT_EQ(first(), end());
}

// ---- Starting

TEST_P(Walk, StartsWithANextStepAsWithAFirstOne) {
    load({answer("Q", {"A", "B"})});
    EXPECT_EQ(next(), found("Q", "A"));
    EXPECT_EQ(token().queryCount, 1);
    EXPECT_EQ(token().queryIndex, 1);
    EXPECT_EQ(token().elementResultIndex, 2);
    EXPECT_EQ(next(), found("Q", "B"));
    EXPECT_EQ(next(), end());
}

TEST_P(Walk, StartsWithANextStepAtTheHeadWhateverTheCursorHolds) {
    load({answer("Q", {"A"})});
    token().next = nullptr;
    token().elementResultIndex = 5;
    EXPECT_EQ(next(), found("Q", "A"));
}

TEST_P(Walk, StartsWithANextStepAtARejectedElementToo) {
    load({rejected("BAD", -9), answer("Q", {"A"})});
    EXPECT_EQ(next(), refused("BAD", -9));
    EXPECT_EQ(next(), found("Q", "A"));
}

TEST_P(Walk, CopiesTheEyecatcherWhenItStarts) {
    const std::string expected = walksStats() ? "ZOLSTSET" : "ZOLIDSET";
    const auto eyecatcher = [this] {
        return std::string(walksStats() ? stat_.eyecatcher : id_.eyecatcher, 8);
    };
    load({answer("Q", {"A", "B"})});
    first();
    EXPECT_EQ(eyecatcher(), expected);
    stat_ = {};
    id_ = {};
    next();
    EXPECT_EQ(eyecatcher(), std::string(8, '\0')) << "only a start copies it";
    token().queryIndex = 0;
    next();
    EXPECT_EQ(eyecatcher(), expected);
}

TEST_P(Walk, StartsAgainInTheMiddleOfAnElement) {
    load({answer("Q", {"A", "B", "C"}), answer("R", {"D"})});
    first();
    next();
    EXPECT_THAT(walkAll(), ElementsAre("A", "B", "C", "D"));
}

TEST_P(Walk, StartsAgainAfterTheEnd) {
    load({answer("Q", {"A"})});
    first();
    ASSERT_EQ(next(), end());
    EXPECT_EQ(first(), found("Q", "A"));
}

TEST_P(Walk, ChangesNothingOnceItHasEnded) {
    load({answer("Q", {"A"})});
    first();
    const ResultSetToken before = token();
    ASSERT_EQ(next(), end());
    EXPECT_EQ(token().next, before.next);
    EXPECT_EQ(token().queryIndex, before.queryIndex);
    EXPECT_EQ(token().elementResultIndex, before.elementResultIndex);
}

TEST_P(Walk, LeavesTheRecordAloneAtTheEnd) {
    load({answer("Q", {"A"})});
    first();
    const unsigned char* id = walksStats() ? stat_.statId : id_.id;
    ASSERT_EQ(next(), end());
    EXPECT_EQ(walksStats() ? stat_.statId : id_.id, id);
    EXPECT_EQ(walksStats() ? stat_.statIdLen : id_.idLen, 1);
}

// ---- Empty sets

TEST_P(Walk, EndsAtOnceWhereTheTerminatorStandsInPlaceOfTheElementCount) {
    loadBytes(Bytes(walksStats() ? "ZOLSTSET" : "ZOLIDSET") + TERMINATOR);
    EXPECT_EQ(first(), end());
    EXPECT_EQ(next(), end());
    EXPECT_EQ(next(), end());
}

TEST_P(Walk, EndsAtOnceInASetWithoutElements) {
    load(std::vector<Bytes>{});
    EXPECT_EQ(first(), end());
    EXPECT_EQ(next(), end());
    EXPECT_EQ(first(), end());
}

TEST_P(Walk, OfAnEmptySetThatWasNeverStartedEndsEveryTime) {
    for (const Bytes& bytes : {set({}), set({}).substr(0, 8) + TERMINATOR}) {
        loadBytes(bytes);
        EXPECT_EQ(next(), end());
        EXPECT_EQ(next(), end());
    }
}

// ---- Buffers that end too early or lie about their lengths

TEST_P(Walk, NeverLeavesABufferThatWasCutOffAnywhere) {
    const Bytes whole = set({answer("Q", {"A", "BB"}), rejected("BAD", -4), answer("R", {"CCC"})});
    const std::vector<std::string> all{"A", "BB", "BAD!", "CCC"};
    for (std::size_t length = 8; length < whole.size(); ++length) {
        loadBytes(whole.substr(0, length));
        const std::vector<std::string> seen = walkAll();
        ASSERT_LE(seen.size(), all.size());
        EXPECT_EQ(seen, std::vector(all.begin(), all.begin() + static_cast<long>(seen.size()))) << length;
        EXPECT_EQ(next(), end()) << length;
        EXPECT_EQ(walkAll(), seen) << length;
    }
}

TEST_P(Walk, EndsWithTheCapacityWhereThereIsNoRoomForATerminator) {
    const Bytes whole = set({answer("Q", {"A", "B"})});
    for (const std::size_t missing : {1U, 2U, 3U, 4U}) {
        loadBytes(whole.substr(0, whole.size() - missing));
        EXPECT_THAT(walkAll(), ElementsAre("A", "B")) << missing;
    }
}

TEST_P(Walk, DoesNotGiveAnItemThatLacksItsLastByte) {
    const Bytes whole = set({answer("Q", {"A", "B"})});
    loadBytes(whole.substr(0, whole.size() - TERMINATOR.size() - 1));
    EXPECT_THAT(walkAll(), ElementsAre("A"));
}

TEST_P(Walk, HoldsTheStatedCapacityEvenIfTheMemoryGoesOn) {
    const Bytes whole = set({answer("Q", {"A", "B"}), answer("R", {"C"})});
    loadBytes(whole);
    stateCapacity(static_cast<int>(whole.size() - TERMINATOR.size() - item("C").size()));
    EXPECT_THAT(walkAll(), ElementsAre("A", "B"));
}

TEST_P(Walk, TrustsABufferWithoutAStatedCapacity) {
    for (const int capacity : {0, -1, INT_MIN}) {
        load({answer("Q", {"A", "B"}), answer("R", {"C"})});
        stateCapacity(capacity);
        EXPECT_THAT(walkAll(), ElementsAre("A", "B", "C")) << capacity;
    }
}

TEST_P(Walk, EndsAtANegativeLengthAlsoWithoutAStatedCapacity) {
    for (const int length : {-1, INT_MIN}) {
        load({answer("Q", {"A"}), counted("Q") + integer(0) + integer(1) + integer(length) + "id..."});
        stateCapacity(0);
        EXPECT_THAT(walkAll(), ElementsAre("A")) << length;
    }
}

TEST_P(Walk, EndsAtALengthThatLeadsOutOfTheBuffer) {
    for (const int length : {-1, INT_MIN, INT_MAX, 6, 1000}) {
        // Five bytes follow each of these lengths.
        const std::vector<Bytes> broken{
            integer(length) + "query",
            counted("Q") + integer(0) + integer(1) + integer(length) + "id...",
        };
        for (const Bytes& element : broken) {
            loadBytes(withoutTerminator(set({answer("Q", {"A"}), element})));
            EXPECT_THAT(walkAll(), ElementsAre("A")) << length;
            EXPECT_EQ(next(), end());
            EXPECT_EQ(next(), end());
            EXPECT_THAT(walkAll(), ElementsAre("A")) << "a first step starts again";
        }
    }
}

TEST_P(Walk, EndsAtABrokenFirstElementEveryTime) {
    load({integer(-1) + "junk"});
    EXPECT_EQ(first(), end());
    EXPECT_EQ(next(), end());
    EXPECT_EQ(first(), end());
    token().queryIndex = 0;
    EXPECT_EQ(next(), end());
    EXPECT_EQ(next(), end());
}

TEST_P(Walk, EndsAtABrokenItemInTheMiddleOfAnElementEveryTime) {
    load({counted("Q") + integer(0) + integer(3) + item("A") + item("B") + integer(INT_MAX)});
    EXPECT_THAT(walkAll(), ElementsAre("A", "B"));
    EXPECT_EQ(next(), end());
    EXPECT_EQ(walkOn(), std::vector<std::string>{});
    EXPECT_THAT(walkAll(), ElementsAre("A", "B"));
}

TEST_P(Walk, LeavesTheItemInTheRecordAloneWhenItCannotReadTheNext) {
    load({counted("Q") + integer(0) + integer(2) + item("A") + integer(9) + "B"});
    first();
    ASSERT_EQ(next(), end());
    EXPECT_EQ(walksStats() ? text(stat_.statId, stat_.statIdLen) : text(id_.id, id_.idLen), "A");
}

// The calls do not get as far: such a set holds neither statistics nor ids.
TEST(WalkByWorkers, EndsInACapacityWithoutRoomForTheEyecatcher) {
    const Bytes whole = statsSet({answered("Q", 0, {statItem("A", "1")})});
    for (const int capacity : {1, 7}) {
        HandMadeSet set(whole);
        set->resultSetBufferLen = capacity;
        StatData stat{};
        IdData id{};
        EXPECT_EQ(getFirstStatInternal(set.token(), &stat), END);
        EXPECT_EQ(getFirstIdInternal(set.token(), &id), END);
    }
}

// A statistic has a second length, which can lie as well.
TEST(WalkOfStatistics, EndsAtADataLengthThatLeadsOutOfTheBuffer) {
    for (const int length : {-1, INT_MIN, INT_MAX, 6, 1000}) {
        HandMadeSet set("ZOLSTSET" + integer(1) + counted("Q") + integer(0) + integer(2) +
                        statItem("A", "1") + counted("B") + integer(length) + "value");
        StatData stat{};
        EXPECT_EQ(getFirstStatInternal(set.token(), &stat), 0);
        EXPECT_EQ(getNextStatInternal(set.token(), &stat), END) << length;
        EXPECT_EQ(getNextStatInternal(set.token(), &stat), END) << length;
        EXPECT_EQ(text(stat.statId, stat.statIdLen), "A") << "the record is filled whole or not at all";
        EXPECT_EQ(text(stat.statData, stat.statDataLen), "1");
    }
}

TEST(WalkOfStatistics, TakesDataThatIsEmptyOrLong) {
    const std::string longData(32767, 'x');
    HandMadeSet set(statsSet({answered("Q", 0, {statItem("A", ""), statItem("B", longData)})}));
    StatData stat{};
    ASSERT_EQ(getFirstStatInternal(set.token(), &stat), 0);
    EXPECT_EQ(stat.statDataLen, 0);
    ASSERT_EQ(getNextStatInternal(set.token(), &stat), 0);
    EXPECT_EQ(text(stat.statData, stat.statDataLen), longData);
}

}  // namespace
