// What the walk of a result set traces: the public calls and the workers behind them.
// How a walk proceeds is tested in impl_walk_test.cpp.
// Levels and line format are written down in docs/tracing.md.
#include <gmock/gmock.h>

#include <optional>

#include "stapi_zol_impl.h"
#include "support/api_trace.h"
#include "support/hand_made_set.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

// ---- Walking statistics

// Offsets in the sets below: an element with a query of one character has its items 13 bytes on.
constexpr std::size_t FIRST_ELEMENT = 12;
constexpr std::size_t FIRST_ITEM = FIRST_ELEMENT + 4 + 1 + 4 + 4;

class StatWalkTrace : public testing::Test {
  protected:
    void load(const std::vector<Bytes>& elements) { set_.emplace(statsSet(elements)); }
    std::vector<TraceLine> first(int level = ALL) {
        return traced([this] { getFirstStatInternal(token(), &stat_); }, level);
    }
    std::vector<TraceLine> next(int level = ALL) {
        return traced([this] { getNextStatInternal(token(), &stat_); }, level);
    }
    ResultSetToken* token() { return set_->token(); }
    void* tokenAddress() { return set_->token(); }
    void* at(std::size_t offset) { return set_->at(offset); }

    std::optional<HandMadeSet> set_;
    StatData stat_{};
};

TEST_F(StatWalkTrace, OfAFirstStep) {
    load({answered("Q", 3, {statItem("A", "1"), statItem("B", "2")})});
    EXPECT_THAT(
        first(),
        ElementsAre(
            line(1058, "ENTRY", "stapi_zol_impl.getFirstStatInternal(rsPtr=%p,statDataPtr=%p)",
                 tokenAddress(), address(&stat_)),
            line(
                1060, "DEBUG",
                "stapi_zol_impl.getFirstStatInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, "
                "queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d",
                1, 1, tokenAddress(), at(FIRST_ELEMENT), 1, at(FIRST_ELEMENT + 4), 3),
            line(
                1061, "DEBUG",
                "stapi_zol_impl.getFirstStatInternal Caching new query element details. Resultset=%p, Datacursor=%p, "
                "queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d",
                tokenAddress(), at(FIRST_ELEMENT), 1, at(FIRST_ELEMENT + 4), 3),
            line(1139, "EVENT",
                 "stapi_zol_impl.getFirstStatInternal Successfully retrieved first stat from resultset %p",
                 tokenAddress()),
            line(1063, "EXIT", "stapi_zol_impl.getFirstStatInternal() last=%d rc=%d", 0, 0)));
}

TEST_F(StatWalkTrace, OfAFirstStepThatEndsAnElement) {
    load({answered("Q", 0, {statItem("A", "1")})});
    EXPECT_THAT(first(), Contains(line(1062, "DEBUG", "End of subset queryIndex=%d. Resultset=%p", 2,
                                       tokenAddress())));
}

TEST_F(StatWalkTrace, OfAFirstStepToARejectedElementHasNoEvent) {
    load({rejected("Q", -4)});
    EXPECT_THAT(first(EVENTS), IsEmpty());
    EXPECT_THAT(first(CALLS),
                Contains(line(1063, "EXIT", "stapi_zol_impl.getFirstStatInternal() last=%d rc=%d", 0, 0)));
}

TEST_F(StatWalkTrace, OfAFirstStepInAnEmptySet) {
    set_.emplace("ZOLSTSET" + TERMINATOR);
    EXPECT_THAT(
        first(),
        ElementsAre(line(1058, "ENTRY", "stapi_zol_impl.getFirstStatInternal(rsPtr=%p,statDataPtr=%p)",
                         tokenAddress(), address(&stat_)),
                    line(1063, "EXIT", "stapi_zol_impl.getFirstStatInternal() last=%d rc=%d", 1, -113)));
}

TEST_F(StatWalkTrace, OfANextStepThatStarts) {
    load({answered("Q", 0, {statItem("A", "1"), statItem("BB", "2")})});
    EXPECT_THAT(
        next(),
        ElementsAre(
            line(1064, "ENTRY", "stapi_zol_impl.getNextStatInternal(rsPtr=%p,statDataPtr=%p)", tokenAddress(),
                 address(&stat_)),
            line(1066, "DEBUG",
                 "stapi_zol_impl.getNextStatInternal No getFirstStat() called on Resultset=%p. Datacursor=%p",
                 tokenAddress(), at(FIRST_ELEMENT)),
            line(
                1067, "DEBUG",
                "stapi_zol_impl.getNextStatInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, "
                "queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d",
                1, 1, tokenAddress(), at(FIRST_ELEMENT), 1, at(FIRST_ELEMENT + 4), 0),
            testing::Field(&TraceLine::point, 1069),
            line(1140, "EVENT",
                 "stapi_zol_impl.getNextStatInternal Successfully retrieved the next stat from resultset %p",
                 tokenAddress()),
            line(1071, "EXIT", "stapi_zol_impl.getNextStatInternal() rc=%d", 0)));
}

TEST_F(StatWalkTrace, OfANextStepThatEndsAnElement) {
    load({answered("Q", 0, {statItem("A", "1"), statItem("BB", "2")})});
    first();
    const auto lines = next();
    EXPECT_THAT(lines,
                Contains(line(1069, "DEBUG",
                              "Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, "
                              "statIdLen=%d",
                              1, 2, tokenAddress(), at(FIRST_ITEM + 10 + 11), 2)));
    EXPECT_THAT(
        lines, Contains(line(1070, "DEBUG", "End of subset queryIndex=%d. Resultset=%p", 2, tokenAddress())));
}

TEST_F(StatWalkTrace, OfANextStepToARejectedElement) {
    load({rejected("BAD", -4)});
    EXPECT_THAT(next(EVENTS),
                ElementsAre(line(1068, "EVENT",
                                 "stapi_zol_impl.getNextStatInternal(rsPtr=%p,statDataPtr=%p) Found negative "
                                 "queryElementRC(%d)",
                                 tokenAddress(), address(&stat_), -4)));
}

TEST_F(StatWalkTrace, OfANextStepAtTheEnd) {
    load({answered("Q", 0, {statItem("A", "1")})});
    first();
    EXPECT_THAT(next(),
                ElementsAre(line(1064, "ENTRY", "stapi_zol_impl.getNextStatInternal(rsPtr=%p,statDataPtr=%p)",
                                 tokenAddress(), address(&stat_)),
                            line(1071, "EXIT", "stapi_zol_impl.getNextStatInternal() rc=%d", -113)));
}

TEST_F(StatWalkTrace, OfThePublicCallsFramesTheWorkers) {
    load({answered("Q", 0, {statItem("A", "1"), statItem("B", "2")})});
    const auto firstLines = traced([this] { getFirstStat(token(), &stat_); }, CALLS);
    EXPECT_EQ(firstLines.front(), line(1156, "ENTRY", "API.getFirstStat(rsPtr=%p,statDataPtr=%p)",
                                       tokenAddress(), address(&stat_)));
    EXPECT_EQ(firstLines.back(), line(1158, "EXIT", "API.getFirstStat() rc=%d", 0));
    const auto nextLines = traced([this] { getNextStat(token(), &stat_); }, CALLS);
    EXPECT_EQ(nextLines.front(), line(1159, "ENTRY", "API.getNextStat(rsPtr=%p,statDataPtr=%p)",
                                      tokenAddress(), address(&stat_)));
    EXPECT_EQ(nextLines.back(), line(1161, "EXIT", "API.getNextStat() rc=%d", 0));
}

TEST_F(StatWalkTrace, TellsThatASetHoldsNoStatistics) {
    set_.emplace(idsSet({}));
    EXPECT_THAT(traced([this] { getFirstStat(token(), &stat_); }, EXCEPTIONS),
                ElementsAre(line(1157, "*EXC*", "API.getFirstStat Resultset does not contain statistics")));
    EXPECT_THAT(traced([this] { getNextStat(token(), &stat_); }, EXCEPTIONS),
                ElementsAre(line(1160, "*EXC*", "API.getNextStat Resultset does not contain statistics")));
}

TEST_F(StatWalkTrace, HasNoExceptionForNullPointersOrALostBuffer) {
    load({});
    set_->token()->head = nullptr;
    EXPECT_THAT(traced([this] { getFirstStat(nullptr, &stat_); }, EVENTS), IsEmpty());
    EXPECT_THAT(traced([this] { getFirstStat(token(), nullptr); }, EVENTS), IsEmpty());
    EXPECT_THAT(traced([this] { getFirstStat(token(), &stat_); }, EVENTS), IsEmpty());
}

// ---- Walking identifiers

class IdWalkTrace : public testing::Test {
  protected:
    void load(const std::vector<Bytes>& elements) { set_.emplace(idsSet(elements)); }
    std::vector<TraceLine> first(int level = ALL) {
        return traced([this] { getFirstIdInternal(token(), &id_); }, level);
    }
    std::vector<TraceLine> next(int level = ALL) {
        return traced([this] { getNextIdInternal(token(), &id_); }, level);
    }
    ResultSetToken* token() { return set_->token(); }
    void* tokenAddress() { return set_->token(); }
    void* at(std::size_t offset) { return set_->at(offset); }

    std::optional<HandMadeSet> set_;
    IdData id_{};
};

TEST_F(IdWalkTrace, OfAFirstStep) {
    load({answered("Q", 0, {idItem("ABC"), idItem("B")})});
    EXPECT_THAT(
        first(),
        ElementsAre(
            line(1043, "ENTRY", "stapi_zol_impl.getFirstIdInternal(rsPtr=%p,idDataPtr=%p)", tokenAddress(),
                 address(&id_)),
            line(
                1045, "DEBUG",
                "stapi_zol_impl.getFirstIdInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, "
                "queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d",
                1, 1, tokenAddress(), at(FIRST_ELEMENT), 1, at(FIRST_ELEMENT + 4), 0),
            line(1047, "DEBUG", "stapi_zol_impl.getFirstIdInternal queryIndex=%d, idLen=%d", 1, 3),
            line(1137, "EVENT",
                 "stapi_zol_impl.getFirstIdInternal Successfully retrieved first Id from resultset %p",
                 tokenAddress()),
            line(1049, "EXIT", "stapi_zol_impl.getFirstIdInternal() endOfResults=%d zolStatRc=%d", 0, 0)));
}

TEST_F(IdWalkTrace, OfAFirstStepThatEndsAnElement) {
    load({answered("Q", 0, {idItem("A")})});
    EXPECT_THAT(first(), Contains(line(1048, "DEBUG", "End of subset queryIndex=%d. Resultset=%p", 2,
                                       tokenAddress())));
}

TEST_F(IdWalkTrace, OfAFirstStepToARejectedElement) {
    load({rejected("BAD", -4)});
    EXPECT_THAT(
        first(EVENTS),
        ElementsAre(
            line(1046, "EVENT",
                 "stapi_zol_impl.getFirstIdInternal(rsPtr=%p,idDataPtr=%p) Found negative queryElementRC(%d)",
                 tokenAddress(), address(&id_), -4)));
}

TEST_F(IdWalkTrace, OfAFirstStepInAnEmptySet) {
    load({});
    EXPECT_THAT(first(CALLS),
                Contains(line(1049, "EXIT",
                              "stapi_zol_impl.getFirstIdInternal() endOfResults=%d zolStatRc=%d", 1, -113)));
}

TEST_F(IdWalkTrace, OfANextStepThatStarts) {
    load({answered("Q", 0, {idItem("A"), idItem("B")})});
    EXPECT_THAT(
        next(),
        ElementsAre(
            line(1050, "ENTRY", "stapi_zol_impl.getNextIdInternal(rsPtr=%p,idDataPtr=%p)", tokenAddress(),
                 address(&id_)),
            line(1052, "DEBUG",
                 "stapi_zol_impl.getNextIdInternal No getFirstId() called on Resultset=%p. Datacursor=%p",
                 tokenAddress(), at(FIRST_ELEMENT)),
            line(
                1053, "DEBUG",
                "stapi_zol_impl.getNextIdInternal Processing query header %d of %d. Resultset=%p, Datacursor=%p, "
                "queryElementLen=%d, queryElementPtr=%p, queryElementRC=%d",
                1, 1, tokenAddress(), at(FIRST_ELEMENT), 1, at(FIRST_ELEMENT + 4), 0),
            testing::Field(&TraceLine::point, 1055),
            line(1138, "EVENT",
                 "stapi_zol_impl.getNextIdInternal Successfully retrieved the next Id from resultset %p",
                 tokenAddress()),
            line(1057, "EXIT", "stapi_zol_impl.getNextIdInternal() rc=%d", 0)));
}

TEST_F(IdWalkTrace, OfANextStepThatEndsAnElement) {
    load({answered("Q", 0, {idItem("A"), idItem("BB")})});
    first();
    const auto lines = next();
    EXPECT_THAT(lines,
                Contains(line(
                    1055, "DEBUG",
                    "Processing queryIndex=%d, elementResultIndex=%d. Resultset=%p, dataCursor=%p, idLen=%d",
                    1, 2, tokenAddress(), at(FIRST_ITEM + 5 + 6), 2)));
    EXPECT_THAT(
        lines, Contains(line(1056, "DEBUG", "End of subset queryIndex=%d. Resultset=%p", 2, tokenAddress())));
}

TEST_F(IdWalkTrace, OfANextStepToARejectedElement) {
    load({rejected("BAD", -7)});
    EXPECT_THAT(
        next(EVENTS),
        ElementsAre(
            line(1054, "EVENT",
                 "stapi_zol_impl.getNextIdInternal(rsPtr=%p,idDataPtr=%p) Found negative queryElementRC(%d)",
                 tokenAddress(), address(&id_), -7)));
}

TEST_F(IdWalkTrace, OfThePublicCallsFramesTheWorkers) {
    load({answered("Q", 0, {idItem("A"), idItem("B")})});
    const auto firstLines = traced([this] { getFirstId(token(), &id_); }, CALLS);
    EXPECT_EQ(firstLines.front(),
              line(1150, "ENTRY", "API.getFirstId(rsPtr=%p,idDataPtr=%p)", tokenAddress(), address(&id_)));
    EXPECT_EQ(firstLines.back(), line(1152, "EXIT", "API.getFirstId() zolStatRc=%d", 0));
    const auto nextLines = traced([this] { getNextId(token(), &id_); }, CALLS);
    EXPECT_EQ(nextLines.front(),
              line(1153, "ENTRY", "API.getNextId(rsPtr=%p,idDataPtr=%p)", tokenAddress(), address(&id_)));
    EXPECT_EQ(nextLines.back(), line(1155, "EXIT", "API.getNextId() rc=%d", 0));
}

TEST_F(IdWalkTrace, TellsThatASetHoldsNoIds) {
    set_.emplace(statsSet({}));
    EXPECT_THAT(traced([this] { getFirstId(token(), &id_); }, EXCEPTIONS),
                ElementsAre(line(1151, "*EXC*", "API.getFirstId Resultset does not contain id data")));
    EXPECT_THAT(traced([this] { getNextId(token(), &id_); }, EXCEPTIONS),
                ElementsAre(line(1154, "*EXC*", "API.getNextId Resultset does not contain id data")));
}

}  // namespace
