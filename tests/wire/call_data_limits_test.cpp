// Call data that is cut off, lies about its lengths, or does not fit into the buffer.
// Every input ends exactly where its memory ends, so that under a sanitizer a read beyond it shows.
// The layout is written down in docs/protocol.md.
#include <gmock/gmock.h>

#include <cstdint>
#include <functional>

#include "stapi_zol_impl.h"
#include "support/trace_capture.h"
#include "support/trace_reading.h"
#include "wire/call_data.h"

namespace {

using namespace testing_support;
using testing::Contains;
using testing::ElementsAre;

enum class Kind { Stats, Ids };

void PrintTo(Kind kind, std::ostream* out) {
    *out << (kind == Kind::Stats ? "Stats" : "Ids");
}

struct Case {
    const char* name;
    Kind kind;
    Bytes callData;
    int endBytes;  // at its end, that are stepped over and not read

    friend void PrintTo(const Case& each, std::ostream* out) { *out << each.name; }
};

class Limits : public ParserTest {
  protected:
    int parse(Kind kind, const Bytes& callData) {
        return kind == Kind::Stats ? parseStats(callData) : parseIds(callData);
    }
    void expectEmptySet(Kind kind) {
        const Bytes expected = kind == Kind::Stats ? statsSet({}) : idsSet({});
        EXPECT_EQ(set(expected), expected);
    }
};

std::string caseName(const testing::TestParamInfo<Case>& each) {
    return each.param.name;
}

// ---- Cut off

class CutOff : public Limits, public testing::WithParamInterface<Case> {};

TEST_P(CutOff, IsMalformedAtEveryOffsetAndLeavesAnEmptySet) {
    const auto& [name, kind, callData, endBytes] = GetParam();
    for (std::size_t length = 0; length < callData.size() - static_cast<std::size_t>(endBytes); ++length) {
        SCOPED_TRACE(length);
        EXPECT_EQ(parse(kind, callData.substr(0, length)), -122);
        expectEmptySet(kind);
    }
}

TEST_P(CutOff, IsWholeWithoutTheBytesAtItsEndThatNobodyReads) {
    const auto& [name, kind, callData, endBytes] = GetParam();
    for (int missing = 0; missing <= endBytes; ++missing) {
        EXPECT_EQ(parse(kind, callData.substr(0, callData.size() - static_cast<std::size_t>(missing))), 0);
    }
}

const Bytes SOME_IDS = idsResponse("q", 0, {"A", "", "CC"});
const Bytes SOME_STATISTICS = statsResponse("q", 0, {statistic("A", "12"), statistic("B", "")});
const Bytes CHUNKED =
    statsResponse("q", 0,
                  {firstBlock("A", 12, "one") + longBlock("two") + shortBlock("345") + shortBlock("678"),
                   longBlock(item("B") + item("whole"))});

INSTANTIATE_TEST_SUITE_P(
    CallData, CutOff,
    testing::Values(
        Case{"Ids", Kind::Ids, oneResponse(SOME_IDS), 1},
        Case{"IdsWithoutIds", Kind::Ids, oneResponse(idsResponse("q", 0, {})), 1},
        Case{"IdsInALongBlock", Kind::Ids, oneResponse(idsResponse("q", 0, {Bytes(300, 'i')})), 1},
        Case{"IdsOfSeveralResponses", Kind::Ids, responses({SOME_IDS, rejection("bad", -1), SOME_IDS}), 1},
        Case{"IdsRejectedAtLast", Kind::Ids, responses({SOME_IDS, rejection("bad", -1)}), 1},
        Case{"NoResponses", Kind::Ids, responses({}), 0},
        Case{"Statistics", Kind::Stats, oneResponse(SOME_STATISTICS), 2},
        Case{"StatisticsInChunks", Kind::Stats, oneResponse(CHUNKED), 2},
        Case{"StatisticsOfSeveralResponses", Kind::Stats,
             responses({SOME_STATISTICS, rejection("bad", -1), statsHead("none", 0, 0) + statisticClass(),
                        CHUNKED}),
             2},
        Case{"StatisticsRejectedAtLast", Kind::Stats, responses({CHUNKED, rejection("bad", -1)}), 1},
        Case{"StatisticsWithNothingBehindTheLastCount", Kind::Stats,
             responses({SOME_STATISTICS, statsHead("none", 0, 0)}), 0},
        Case{"StatisticsWithAnEndByteBehindTheLastCount", Kind::Stats,
             responses({SOME_STATISTICS, statsHead("none", 0, 0) + hex("78")}), 1},
        Case{"StatisticsCutInALongChunk", Kind::Stats,
             oneResponse(statsResponse(
                 "q", 0, {firstBlock("A", 1500, Bytes(1000, 'b')) + longBlock(Bytes(500, 'e'))})),
             2}),
    caseName);

TEST_F(Limits, AnEmptyResponseMustBeFollowedUnlessItIsTheLast) {
    EXPECT_EQ(parseStats(hex("01 00000002") + statsHead("none", 0, 0)), -122);
    expectEmptySet(Kind::Stats);
}

TEST_F(Limits, AWalkOfTheEmptySetFindsNothing) {
    ASSERT_EQ(parseStats(hex("00 ACED")), -122);
    HandMadeSet walked(buffer.bytes(16));
    StatData statistic{};
    EXPECT_EQ(getFirstStatInternal(walked.token(), &statistic), -113);
}

TEST_F(Limits, DataThatIsCutOffAfterItsFirstStatisticKeepsNothingOfIt) {
    const Bytes whole = oneResponse(SOME_STATISTICS);
    ASSERT_EQ(parseStats(whole), 0);
    ASSERT_EQ(parseStats(whole.substr(0, whole.size() - 3)), -122);
    expectEmptySet(Kind::Stats);
}

TEST_F(Limits, CountsWithoutTheirItemsEndTheParse) {
    EXPECT_EQ(parseIds(hex("01 7FFFFFFF") + SOME_IDS), -122);
    EXPECT_EQ(parseStats(hex("01 7FFFFFFF") + SOME_STATISTICS), -122);
    EXPECT_EQ(parseIds(oneResponse(objectHead() + shortBlock(item("q") + word(0) + word(INT32_MAX)))), -122);
    EXPECT_EQ(parseStats(oneResponse(statsHead("q", 0, INT32_MAX) + statisticClass())), -122);
}

// The data ends where the buffer does, so that a look behind it is a look out of bounds.
TEST_F(Limits, AnIdThatLeadsOutOfTheDataIsNotFollowed) {
    const Bytes block = hex("77 04 FFFF") + Bytes(30, '?');
    EXPECT_EQ(parseStats(oneResponse(statsResponse("q", 0, {statistic("A", "1"), block, block}))), -122);
    expectEmptySet(Kind::Stats);
}

TEST_F(Limits, AContinuationThatNeverComesEndsTheParse) {
    EXPECT_EQ(parseStats(oneResponse(statsHead("q", 0, 1) + statisticClass() + Bytes(5, '?') +
                                     firstBlock("A", 9, "one"))),
              -122);
    EXPECT_EQ(parseStats(oneResponse(statsHead("q", 0, 1) + statisticClass() + Bytes(5, '?') +
                                     firstBlock("A", 9, "one") + shortBlock("two"))),
              -122);
}

TEST_F(Limits, AContinuationOfOneByteIsMissedAsWell) {
    EXPECT_EQ(parseStats(oneResponse(statsHead("q", 0, 1) + statisticClass() + Bytes(5, '?') +
                                     firstBlock("A", 4, "one"))),
              -122);
}

TEST_F(Limits, AreToldWithParserOffsetAndLength) {
    const TraceCapture trace(1);
    parseStats(hex("00 ACED"));  // the class name length would stand at 7
    parseIds(hex("01 00"));
    const char* text = "stapi_zol_statcomms.%s malformed call data at offset %d of %d";
    EXPECT_THAT(trace.lines(), ElementsAre(line(2243, "*EXC*", text, "parseStatsData", 7, 3),
                                           line(2243, "*EXC*", text, "parseIdsData", 1, 2)));
}

// ---- Lengths of 32768 and more

struct LengthField {
    const char* name;
    Kind kind;
    // Complete call data in which the field has this value.
    std::function<Bytes(unsigned)> callData;

    friend void PrintTo(const LengthField& each, std::ostream* out) { *out << each.name; }
};

class Length : public Limits, public testing::WithParamInterface<LengthField> {
  protected:
    Bytes callData(unsigned length) { return GetParam().callData(length); }
    int parsed(unsigned length) { return parse(GetParam().kind, callData(length)); }
};

TEST_P(Length, Of32767IsTaken) {
    EXPECT_EQ(parsed(32767), 0);
}

TEST_P(Length, Of32768IsMalformed) {
    EXPECT_EQ(parsed(32768), -122);
    expectEmptySet(GetParam().kind);
}

TEST_P(Length, Of65535IsMalformed) {
    EXPECT_EQ(parsed(65535), -122);
    expectEmptySet(GetParam().kind);
}

TEST_P(Length, IsToldWithItsOffset) {
    const TraceCapture trace(1);
    const Bytes bytes = callData(32768);
    parse(GetParam().kind, bytes);
    const char* parser = GetParam().kind == Kind::Stats ? "parseStatsData" : "parseIdsData";
    EXPECT_THAT(
        trace.lines(),
        ElementsAre(line(2243, "*EXC*", "stapi_zol_statcomms.%s malformed call data at offset %d of %d",
                         parser, static_cast<int>(bytes.find(hex("8000"))), static_cast<int>(bytes.size()))));
}

Bytes filler(unsigned length) {
    return Bytes(length, 'f');
}

Bytes oneStatistic(const Bytes& blocks) {
    return oneResponse(statsResponse("q", 0, {blocks}));
}

const Bytes ID_BLOCK = shortBlock(item("q") + word(0) + word(0)) + hex("78");

INSTANTIATE_TEST_SUITE_P(
    Field, Length,
    testing::Values(
        LengthField{"ClassName", Kind::Ids,
                    [](unsigned n) { return oneResponse(objectHead(filler(n)) + ID_BLOCK); }},
        LengthField{"SuperclassName", Kind::Ids,
                    [](unsigned n) { return oneResponse(objectHead("c", filler(n)) + ID_BLOCK); }},
        LengthField{"QueryOfIds", Kind::Ids,
                    [](unsigned n) {
                        return oneResponse(objectHead() + longBlock(item(filler(n)) + word(0) + word(0)) +
                                           hex("78"));
                    }},
        LengthField{"QueryOfStatistics", Kind::Stats,
                    [](unsigned n) {
                        return oneResponse(objectHead() + longBlock(item(filler(n)) + word(-1)) + hex("78"));
                    }},
        LengthField{"Id", Kind::Ids,
                    [](unsigned n) { return oneResponse(idsResponse("q", 0, {filler(n)})); }},
        LengthField{"StatisticClassName", Kind::Stats,
                    [](unsigned n) {
                        return oneResponse(statsHead("q", 0, 1) + statisticClass(filler(n)) + Bytes(5, '?') +
                                           statistic("A", "1") + hex("7878"));
                    }},
        LengthField{"ClassNameBehindNoStatistics", Kind::Stats,
                    [](unsigned n) { return oneResponse(statsHead("q", 0, 0) + statisticClass(filler(n))); }},
        LengthField{"StatisticId", Kind::Stats,
                    [](unsigned n) { return oneStatistic(hex("77 FF") + item(filler(n)) + item("1")); }},
        LengthField{"StatisticData", Kind::Stats,
                    [](unsigned n) { return oneStatistic(hex("77 FF") + item("A") + item(filler(n))); }},
        LengthField{"DataOfSeveralBlocks", Kind::Stats,
                    [](unsigned n) {
                        return oneStatistic(firstBlock("A", n, "one") + longBlock(filler(20000)) +
                                            longBlock(filler(n - 20003)));
                    }},
        LengthField{"FirstBlock", Kind::Stats,
                    [](unsigned n) { return oneStatistic(longBlock(item("A") + item(filler(n - 5)))); }},
        LengthField{
            "FurtherBlock", Kind::Stats,
            [](unsigned n) { return oneStatistic(firstBlock("A", 32767, "one") + longBlock(filler(n))); }}),
    [](const auto& each) { return each.param.name; });

TEST_F(Limits, AFirstBlockMayEndWithTheDataLength) {
    EXPECT_EQ(parseStats(oneStatistic(hex("7A 00000007") + item("AAA") + shortWord(2) + longBlock("12"))), 0);
    const Bytes expected = statsSet({answered("q", 0, {statItem("AAA", "12")})});
    EXPECT_EQ(set(expected), expected);
}

TEST_F(Limits, AFirstBlockTooSmallForItsIdIsMalformed) {
    EXPECT_EQ(parseStats(oneStatistic(hex("7A 00000006") + item("AAA") + shortWord(2) + longBlock("12"))),
              -122);
    expectEmptySet(Kind::Stats);
    EXPECT_EQ(parseStats(oneStatistic(hex("7A 00000000") + item("AAA") + item("12"))), -122);
}

// ---- Growth of the buffer

class Growth : public Limits {
  protected:
    // Call data and set of one response with these ids.
    static Bytes ids(const std::vector<Bytes>& each) { return oneResponse(idsResponse("q", 0, each)); }
    static Bytes idsAnswer(const std::vector<Bytes>& each) {
        std::vector<Bytes> items;
        for (const Bytes& id : each) {
            items.push_back(idItem(id));
        }
        return idsSet({answered("q", 0, items)});
    }

    // What had been written when the buffer grew, each time.
    static std::vector<int> growths(const TraceCapture& trace) {
        std::vector<int> written;
        for (const TraceLine& each : trace.lines(2244)) {
            const std::string key = "totaldatawritten=";
            written.push_back(std::stoi(each.message.substr(each.message.find(key) + key.size())));
        }
        return written;
    }

    // The growths while call data is parsed into a buffer of that capacity.
    std::vector<int> growthsOf(Kind kind, const Bytes& callData, int startingCapacity) {
        useCapacity(startingCapacity);
        const TraceCapture trace(3);
        EXPECT_EQ(parse(kind, callData), 0);
        return growths(trace);
    }
};

// Layout of the set of one id: header 12, query 4 + 1, code 4, count 4, id length at 25, id at 29, terminator
// behind it.
constexpr int ID_LENGTH_AT = 25;
constexpr int ID_AT = 29;

TEST_F(Growth, OfTheUsualBufferDoublesItAndKeepsItsContent) {
    const std::vector<Bytes> many(3500, "IDENTIFIER");
    ASSERT_EQ(parseIds(ids(many)), 0);
    EXPECT_EQ(capacity, 65536);
    EXPECT_EQ(set(idsAnswer(many)), idsAnswer(many));
}

TEST_F(Growth, IsNotNeededForAnIntegerThatEndsWithTheBuffer) {
    EXPECT_THAT(growthsOf(Kind::Ids, ids({"ABCD"}), ID_LENGTH_AT + 4), ElementsAre(ID_AT));
}

TEST_F(Growth, IsNeededForAnIntegerThatEndsOneByteLater) {
    EXPECT_THAT(growthsOf(Kind::Ids, ids({"ABCD"}), ID_LENGTH_AT + 3), ElementsAre(ID_LENGTH_AT));
}

TEST_F(Growth, IsNotNeededForBytesThatEndWithTheBuffer) {
    EXPECT_THAT(growthsOf(Kind::Ids, ids({"ABCD"}), ID_AT + 4), ElementsAre(ID_AT + 4));
}

TEST_F(Growth, IsNeededForBytesThatEndOneByteLater) {
    EXPECT_THAT(growthsOf(Kind::Ids, ids({"ABCD"}), ID_AT + 3), ElementsAre(ID_AT));
}

class TerminatorRoom : public Growth, public testing::WithParamInterface<Kind> {
  protected:
    static Bytes callData() {
        return GetParam() == Kind::Ids ? ids({"ABCD"})
                                       : oneResponse(statsResponse("q", 0, {statistic("A", "1")}));
    }
    static Bytes answer() {
        return GetParam() == Kind::Ids ? idsAnswer({"ABCD"})
                                       : statsSet({answered("q", 0, {statItem("A", "1")})});
    }
};

TEST_P(TerminatorRoom, IsThereWhenTheTerminatorEndsWithTheBuffer) {
    const int size = static_cast<int>(answer().size());
    EXPECT_THAT(growthsOf(GetParam(), callData(), size), ElementsAre());
    EXPECT_EQ(capacity, size);
    EXPECT_EQ(set(answer()), answer());
}

TEST_P(TerminatorRoom, IsMadeWhenTheTerminatorWouldEndOneByteLater) {
    const int size = static_cast<int>(answer().size());
    EXPECT_THAT(growthsOf(GetParam(), callData(), size - 1), ElementsAre(size - 4));
    EXPECT_EQ(capacity, 2 * (size - 1));
    EXPECT_EQ(set(answer()), answer());
}

TEST_P(TerminatorRoom, IsMadeWhenTheItemsFillTheBufferExactly) {
    const int size = static_cast<int>(answer().size());
    EXPECT_THAT(growthsOf(GetParam(), callData(), size - 4), ElementsAre(size - 4));
    EXPECT_EQ(set(answer()), answer());
}

INSTANTIATE_TEST_SUITE_P(OfBothParsers, TerminatorRoom, testing::Values(Kind::Stats, Kind::Ids));

TEST_F(Growth, GoesOnUntilTheAppendFits) {
    const Bytes id(100, 'i');
    EXPECT_THAT(growthsOf(Kind::Ids, ids({id}), 16), ElementsAre(16, ID_AT, ID_AT, ID_AT));
}

TEST_F(Growth, FromAnyCapacityGivesTheSameSet) {
    const Bytes stats = responses({SOME_STATISTICS, rejection("bad", -1), CHUNKED});
    const Bytes expected =
        statsSet({answered("q", 0, {statItem("A", "12"), statItem("B", "")}), rejected("bad", -1),
                  answered("q", 0, {statItem("A", "onetwo345678"), statItem("B", "whole")})});
    for (int start = 12; start <= static_cast<int>(expected.size()) + 1; ++start) {
        SCOPED_TRACE(start);
        useCapacity(start);
        ASSERT_EQ(parseStats(stats), 0);
        EXPECT_EQ(set(expected), expected);
        EXPECT_GE(capacity, static_cast<int>(expected.size()));
    }
}

TEST_F(Growth, MakesRoomForTheEmptySetOfMalformedDataToo) {
    useCapacity(12);
    EXPECT_EQ(parseIds(hex("00 ACED")), -122);
    expectEmptySet(Kind::Ids);
    EXPECT_EQ(capacity, 24);
}

TEST_F(Growth, LeavesZerosBehindTheTerminatorForTheLastLineOfADump) {
    ASSERT_EQ(parseIds(ids({"A"})), 0);
    const Bytes expected = idsAnswer({"A"}) + Bytes(16, '\0');
    EXPECT_EQ(set(expected), expected);
}

// A capacity that cannot be doubled makes every growth fail.
class FailedGrowth : public Growth, public testing::WithParamInterface<std::tuple<Kind, int>> {
  protected:
    FailedGrowth() {
        buffer.hold(Bytes(16, '?'));
        capacity = std::get<int>(GetParam());
    }
};

TEST_P(FailedGrowth, EndsTheParseAndLeavesNoBuffer) {
    const Kind kind = std::get<Kind>(GetParam());
    EXPECT_EQ(parse(kind, kind == Kind::Ids ? ids({"A"}) : oneResponse(SOME_STATISTICS)), -111);
    EXPECT_EQ(buffer.data, nullptr);
    EXPECT_EQ(capacity, std::get<int>(GetParam()));
}

TEST_P(FailedGrowth, GoesBeforeMalformedData) {
    const Kind kind = std::get<Kind>(GetParam());
    EXPECT_EQ(parse(kind, hex("00")), -111);
    EXPECT_EQ(buffer.data, nullptr);
}

TEST_P(FailedGrowth, LeavesNoBufferForTheEmptySetOfMalformedDataEither) {
    const Kind kind = std::get<Kind>(GetParam());
    EXPECT_EQ(parse(kind, hex("01")), -111);
    EXPECT_EQ(buffer.data, nullptr);
}

TEST_P(FailedGrowth, ReadsNoFurther) {
    const Kind kind = std::get<Kind>(GetParam());
    const TraceCapture trace(4);
    parse(kind, kind == Kind::Ids ? responses({SOME_IDS, SOME_IDS})
                                  : responses({SOME_STATISTICS, SOME_STATISTICS}));
    EXPECT_EQ(trace.lines(2244).size(), 1U);
    EXPECT_LE(trace.lines(2227).size() + trace.lines(2222).size(), 1U);
}

TEST_P(FailedGrowth, LeavesTheTraceToTellWhatWasWrittenBefore) {
    const TraceCapture trace(4);
    parseStats(oneResponse(SOME_STATISTICS));
    EXPECT_THAT(trace.lines(2241),
                ElementsAre(line(2241, "DEBUG",
                                 "stapi_zol_statcomms.parseStatsData parsed data total = %d bytes ", 12)));
}

INSTANTIATE_TEST_SUITE_P(OfBothParsers, FailedGrowth,
                         testing::Combine(testing::Values(Kind::Stats, Kind::Ids),
                                          testing::Values(0, -1, INT32_MIN)));

// ---- The growth function itself

class Reallocation : public ParserTest {
  protected:
    int grows(int bytes, int written) {
        buffer.hold(Bytes("content").append(static_cast<std::size_t>(bytes) - 7, '?'));
        capacity = bytes;
        cursor = buffer.data + written;
        return reallocResultsSetBuffer(&buffer.data, &capacity, &cursor, written);
    }

    unsigned char* cursor = nullptr;
};

TEST_F(Reallocation, DoublesTheCapacityAndMovesTheCursor) {
    EXPECT_EQ(grows(100, 7), 0);
    EXPECT_EQ(capacity, 200);
    EXPECT_EQ(cursor, buffer.data + 7);
    EXPECT_EQ(buffer.bytes(7), "content");
}

TEST_F(Reallocation, GivesSixteenZeroedBytesBeyondTheCapacity) {
    ASSERT_EQ(grows(100, 7), 0);
    EXPECT_EQ(buffer.bytes(216).substr(200), Bytes(16, '\0'));
}

TEST_F(Reallocation, PlacesTheCursorByTheBytesWritten) {
    buffer.hold(Bytes(100, '?'));
    capacity = 100;
    ASSERT_EQ(reallocResultsSetBuffer(&buffer.data, &capacity, &cursor, 42), 0);
    EXPECT_EQ(cursor, buffer.data + 42);
}

TEST_F(Reallocation, FailsPastWhatALengthCanHoldAndFreesTheOldArea) {
    capacity = 0x40000000;
    EXPECT_EQ(reallocResultsSetBuffer(&buffer.data, &capacity, &cursor, 7), -111);
    EXPECT_EQ(buffer.data, nullptr);
    EXPECT_EQ(capacity, 0x40000000);
    EXPECT_EQ(cursor, nullptr);
}

TEST_F(Reallocation, IsTraced) {
    const TraceCapture trace(3);
    buffer.hold(Bytes(100, '?'));
    capacity = 100;
    const void* before = buffer.data;
    const void* cursorBefore = cursor = buffer.data + 7;
    reallocResultsSetBuffer(&buffer.data, &capacity, &cursor, 7);
    const void* after = buffer.data;
    const void* cursorAfter = buffer.data + 7;
    EXPECT_THAT(trace.lines(),
                ElementsAre(line(2244, "ENTRY",
                                 "stapi_zol_statcomms.reallocResultsSetBuffer(*resultSetBuffer=%p, "
                                 "*resultSetBufferLen=%d, *buffer=%p, totaldatawritten=%d)",
                                 before, 100, cursorBefore, 7),
                            line(2245, "EXIT",
                                 "stapi_zol_statcomms.reallocResultsSetBuffer(*resultSetBuffer=%p, "
                                 "*resultSetBufferLen=%d, *buffer=%p) rc=%d)",
                                 after, 200, cursorAfter, 0)));
}

TEST_F(Reallocation, TracesItsFailure) {
    capacity = 0x40000000;
    const TraceCapture trace(3);
    reallocResultsSetBuffer(&buffer.data, &capacity, &cursor, 7);
    const void* none = nullptr;
    EXPECT_THAT(trace.lines(),
                Contains(line(2245, "EXIT",
                              "stapi_zol_statcomms.reallocResultsSetBuffer(*resultSetBuffer=%p, "
                              "*resultSetBufferLen=%d, *buffer=%p) rc=%d)",
                              none, 0x40000000, none, -111)));
}

}  // namespace
